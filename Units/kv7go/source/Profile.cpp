#include "Profile.h"

#include <unistd.h>

#include "except.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

constexpr std::size_t StressRows = 2; // up and down

// The system grants more memory than it has and ends the process when the pages are touched. An instrument whose grids
// this machine cannot hold is refused before the first of them is made.
const Parameters& CheckedForMemory(const Parameters& parameters)
{
    constexpr double grids = Enums::PossibleClientRiskLevelValues.size() + 1; // one a level, and the one they copy
    const double rows = static_cast<double>(parameters.scenariosVolatilityCount) +
                        static_cast<double>(parameters.expirationScenariosCount) + 2.0 * StressRows;
    const double bytes = grids * rows * static_cast<double>(RegistersOf(parameters.length()) * sizeof(RiskItem));
    const double machine =
        static_cast<double>(::sysconf(_SC_PHYS_PAGES)) * static_cast<double>(::sysconf(_SC_PAGESIZE));
    if (bytes > machine)
        throw kv7base::CZ9Error(Z9ERR_COMMON_NO_MEMORY, KV7_CURRENT_LOCATION).Fmt("Can't allocate new node");
    return parameters;
}

} // namespace

Profile::Profile(const Parameters& parameters)
    : profileParameters(parameters),
      volatilityMatrix(parameters.length(), parameters.scenariosVolatilityCount, true),
      interestRateMatrix(parameters.length(), StressRows, true),
      volatilityMismatchMatrix(parameters.length(), StressRows, true),
      expirationRiskMatrix(parameters.length(), parameters.expirationScenariosCount, true)
{}

void Profile::ExpandSubPoints(std::size_t count, const BindsRow* binding)
{
    profileParameters.subPointsCount = count;
    for (RiskMatrix* matrix :
         {&volatilityMatrix, &interestRateMatrix, &volatilityMismatchMatrix, &expirationRiskMatrix})
        matrix->ResizePoint(profileParameters.length(), binding);
}

void Profile::ExpandExpirationMatrix(std::size_t count)
{
    profileParameters.expirationScenariosCount = count;
    expirationRiskMatrix.ResizeRows(count);
}

void Profile::ExcludeExpiration()
{
    profileParameters.expirationScenariosCount = 0;
    expirationRiskMatrix.ResizeRows(0);
}

bool Profile::operator==(const Profile& other) const noexcept
{
    return volatilityMatrix == other.volatilityMatrix && interestRateMatrix == other.interestRateMatrix &&
           volatilityMismatchMatrix == other.volatilityMismatchMatrix && specialRiskPoints == other.specialRiskPoints;
}

StoredProfiles::StoredProfiles(const Parameters& parameters) : profile(Profile(CheckedForMemory(parameters))) {}

} // namespace kv7im
