#include "Profile.h"

namespace kv7im {

namespace {

constexpr std::size_t StressRows = 2; // up and down

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

BaseProfile::BaseProfile(const Parameters& parameters) : profile(Profile(parameters)) {}

} // namespace kv7im
