// PartPrices: the prices of the two parts of a deal in a trading instrument. An instrument of one leg trades at its own
// price. A pair (a spread of two legs) is quoted by the difference of its legs: its first part trades at the settlement
// price of the first leg, and its second part takes up the difference.
//
// Errors:       CZ9Error. A type that is none: Z9ERR_POSITION_CALCULATOR_INCORRECT_INSTR_TYPE, "InstrType: %d"; a price
//               that leaves 64 bits: Z9ERR_COMMON_OVERFLOW.
#pragma once

#include <cstdint>

#include "Enums.h"
#include "currencytype.h"

namespace pos {

/// Price of the first part: `price` of a futures or an option, secondPrice (the first leg's settlement price) of a
/// pair.
[[nodiscard]] t_bprice_int CalcFirstPartPrice(Enums::TradingInstrType type, t_bprice_int price,
                                              t_bprice_int secondPrice);

/// Price of the second part: 0 for a futures or an option; for a pair (price + secondPrice |a|) / |b|, rounded half
/// away from zero. a and b are the contracts of the first and the second leg in a pair, whatever their side. A b of 0:
/// Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO.
[[nodiscard]] t_bprice_int CalcSecondPartPrice(Enums::TradingInstrType type, t_bprice_int price,
                                               t_bprice_int secondPrice, std::int32_t a, std::int32_t b);

} // namespace pos
