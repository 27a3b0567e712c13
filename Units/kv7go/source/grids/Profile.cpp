#include "grids/Profile.h"

#include "grids/MachineMemory.h"

namespace kv7im {

namespace {

constexpr std::size_t StressRows = 2; // up and down

const Parameters& CheckedForMemory(const Parameters& parameters)
{
    constexpr double grids = Enums::PossibleClientRiskLevelValues.size() + 1; // one a level, and the one they copy
    const double rows = static_cast<double>(parameters.scenariosVolatilityCount) +
                        static_cast<double>(parameters.expirationScenariosCount) + 2.0 * StressRows;
    RefuseBeyondMachine(grids * rows * static_cast<double>(RegistersOf(parameters.length()) * sizeof(RiskItem)));
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

StoredProfiles::StoredProfiles(const Parameters& parameters) : profile(Profile(CheckedForMemory(parameters))) {}

} // namespace kv7im
