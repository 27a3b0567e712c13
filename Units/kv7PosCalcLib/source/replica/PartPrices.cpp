#include "replica/PartPrices.h"

#include "replica/CheckedSums.h"

namespace pos {
namespace {

using kv7base::CZ9Error;

[[noreturn]] void RefuseType(Enums::TradingInstrType type)
{
    throw CZ9Error(Z9ERR_POSITION_CALCULATOR_INCORRECT_INSTR_TYPE, KV7_CURRENT_LOCATION)
        .Fmt("InstrType: %d", static_cast<int>(type));
}

/// Halves go away from zero; the divisor is above 0.
Int128 RoundedQuotient(Int128 dividend, Int128 divisor) noexcept
{
    const Int128 quotient = dividend / divisor;
    const Int128 away = dividend < 0 ? -1 : 1;
    return 2 * Magnitude(dividend % divisor) >= divisor ? quotient + away : quotient;
}

} // namespace

t_bprice_int CalcFirstPartPrice(Enums::TradingInstrType type, t_bprice_int price, t_bprice_int secondPrice)
{
    switch (type) {
    case Enums::TradingInstrType::Futures:
    case Enums::TradingInstrType::Option:
        return price;
    case Enums::TradingInstrType::Multileg:
        return secondPrice;
    }
    RefuseType(type);
}

t_bprice_int CalcSecondPartPrice(Enums::TradingInstrType type, t_bprice_int price, t_bprice_int secondPrice,
                                 std::int32_t a, std::int32_t b)
{
    switch (type) {
    case Enums::TradingInstrType::Futures:
    case Enums::TradingInstrType::Option:
        return {};
    case Enums::TradingInstrType::Multileg:
        break;
    default:
        RefuseType(type);
    }
    if (b == 0) throw CZ9Error(Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO, KV7_CURRENT_LOCATION);
    // A price times a whole number of contracts is exact in 128 bits; only what is left at the end must fit 64.
    const Int128 sum = price.AsPlain() + secondPrice.AsPlain() * Magnitude(a);
    const Int128 part = RoundedQuotient(sum, Magnitude(b));
    if (!FitsInt64(part)) throw CZ9Error(Z9ERR_COMMON_OVERFLOW, KV7_CURRENT_LOCATION);
    return t_bprice_int::FromPlain(static_cast<std::int64_t>(part));
}

} // namespace pos
