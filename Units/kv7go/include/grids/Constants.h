// Constants: the numeric limits and fixed values of the margin model.
#pragma once

#include <cstdint>

namespace kv7im::Constants {

// Stress points of a contract quoted in per cent of its nominal: fixed and out of reach, both cover factors are 0.
inline constexpr double PercentageZPointFixedValue = 100000.0;

// Price points between the grid's own, and delivery prices, of an option series.
inline constexpr std::int32_t MaximumValueSubPointCount = 200;
inline constexpr std::int32_t MaxDeliveryScenariosCountInOneLimit = 24;
inline constexpr double MinimumSqrtTValue = 0.007555; // root of MinimumTimeToExpirationForVF, in years

// Half width of the price grid, in points.
inline constexpr std::int32_t MinimalPointsNumberConst = 1;
inline constexpr std::int32_t MaximumPointsNumberConst = 500;

// Short option minimum charge, share of the spot.
inline constexpr double MaximumSOMC = 1.0;
inline constexpr double MinimumSOMC = 0.0;
inline constexpr double DefaultSOMC = 0.1;

// Volatility scenarios: down, as it stands, up.
inline constexpr std::int32_t MinimalVolatNumConst = 3;

// Coefficients of the volatility smile.
inline constexpr double MinimalC = 0.0;
inline constexpr double MinimalE_Black = 1.0;
inline constexpr double MaximumE_Black = 15.0;
inline constexpr double MinimalE_Bach = 1.0;

// Share of the far stress points' result that is taken at face value.
inline constexpr double DefaultEdgeCoeffValue = 0.75;

// Half an hour in years: an option is never nearer to its expiry than this.
inline constexpr double MinimumTimeToExpirationForVF = 0.000057078025;

// Multiplier that a firm may put on the margin of one base contract.
inline constexpr double MinimumBrokerBaseContractGORatio = 0.0;
inline constexpr double MaximumBrokerBaseContractGORatio = 10.0;
inline constexpr double DefaultBrokerBaseContractGORatio = 1.0;

inline constexpr double Epsilon = 1e-10;

} // namespace kv7im::Constants
