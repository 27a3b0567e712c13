// Sums and products of positions in 128 bits, brought back to 64 with a check: what does not fit is refused.
#pragma once

#include <cstdint>

#include "Enums.h"
#include "PositionCalculatorInstruments.h"
#include "currencytype.h"
#include "except.h"

namespace pos {

__extension__ using Int128 = __int128;

[[nodiscard]] constexpr Int128 Magnitude(Int128 value) noexcept { return value < 0 ? -value : value; }

[[nodiscard]] constexpr bool FitsInt64(Int128 value) noexcept { return value == static_cast<std::int64_t>(value); }

[[noreturn]] inline void RefuseOverflow(Isin isin)
{
    throw kv7base::CZ9Error(Z9ERR_COMMON_OVERFLOW, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
}

[[nodiscard]] inline std::int64_t Narrowed(Int128 value, Isin isin)
{
    if (!FitsInt64(value)) RefuseOverflow(isin);
    return static_cast<std::int64_t>(value);
}

/// Fixed-point product of a and b, refused when it does not fit 64 bits.
[[nodiscard]] inline t_bsum_int CheckedProduct(t_bsum_int a, t_bsum_int b, Isin isin)
{
    constexpr Int128 scale = kv7base::exp10s<5>;
    const t_bsum_int product = a * b;
    const Int128 rounding = product.AsPlain() * scale - Int128{a.AsPlain()} * b.AsPlain();
    // Half a unit at most, unless whole multiples of 2^64 were cut off.
    if (2 * Magnitude(rounding) > scale) RefuseOverflow(isin);
    return product;
}

/// Money of one unit of price: money of a step over the step, turned into an amount. A quotient that is no amount (a
/// step of 0) is refused.
[[nodiscard]] inline t_bsum_int MoneyOfPriceUnit(const SInstrCLR& instrument)
{
    const t_bsum_int money(instrument.GetMinStepPrice() / instrument.GetMinStep());
    if (money.IsNAN()) RefuseOverflow(instrument.isin);
    return money;
}

} // namespace pos
