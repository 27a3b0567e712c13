// Words of an explanation, which its report and its picture share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "MarginExplanation.h"

namespace quindal {

[[nodiscard]] std::string_view NameOf(QuindalIM::MarginSide side);                   ///< "volatility", "delivery"
[[nodiscard]] std::string_view NameOf(QuindalIM::MarginEntity entity);               ///< "MCS", "base contract", ...
[[nodiscard]] std::string_view NameOf(kv7im::SpecialRiskPoints::MappingPoint point); ///< "PnL3D", ...
[[nodiscard]] std::string PriceText(double price);                                   ///< shortest text of ten digits
[[nodiscard]] std::string MoneyText(double money);                     ///< grouped cents; a zero has no sign
[[nodiscard]] std::string PercentText(double part, double whole);      ///< "41.2 %"; empty where the whole is 0
[[nodiscard]] std::string ShiftText(QuindalIM::VolatilityShift shift); ///< "+12 %", "-10 to -25 %", "unchanged"

/// What a scenario of a grid is: "volatility +12 %". Empty for a grid without options, whose scenarios are all alike.
[[nodiscard]] std::string ScenarioText(const QuindalIM::ContractGrid& grid, std::size_t scenario);
/// The grid of a contract of an entity, by its index; null when there is none.
[[nodiscard]] const QuindalIM::ContractGrid* GridOf(const QuindalIM::MarginExplanation& explanation, std::size_t entity,
                                                    std::string_view contract);

} // namespace quindal
