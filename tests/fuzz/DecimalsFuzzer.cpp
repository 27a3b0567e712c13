// Decimals out of any text and any bytes. A packed decimal that was read prints a text that reads as the same bytes;
// one that was refused leaves its target alone. A fixed-point amount does the same, and both read the same number.
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "Require.h"
#include "Z9BCDII.h"
#include "currencytype.h"

namespace {

constexpr std::uint32_t notWritten =
    Z9BCDII_RESULT_OVERFLOW | Z9BCDII_RESULT_BAD | Z9BCDII_OPERAND_BAD | Z9BCDII_OPERAND_NAN;
constexpr std::uint32_t inexact = Z9BCDII_RESULT_PREC | Z9BCDII_NOT_STRICT_FORMAT;

// Room for the head and for as many digits as a head byte can claim.
using Packed = std::array<unsigned char, 2 + 128>;

Packed Zero(unsigned char digits, unsigned char scale) { return {scale, digits}; }

std::string Text(const Packed& value)
{
    std::array<char, 80> text{};
    const std::uint32_t flags = Z9BCDII2Str(text.data(), text.size(), value.data());
    Require((flags & notWritten) == 0, "a decimal has a text");
    return text.data();
}

void RequireRoundTrip(const Packed& value)
{
    Packed again = Zero(value[1], value[0]);
    const std::uint32_t flags = Z9BCDIIGetFromStr(again.data(), Text(value).c_str());
    Require((flags & (notWritten | inexact)) == 0, "the text of a decimal is read without loss");
    Require(Z9BCDIICmp(again.data(), value.data()) == 0, "the text of a decimal reads as the same value");

    double nearest = 0.0;
    Require((Z9BCDII2Double(&nearest, value.data()) & notWritten) == 0, "a decimal has a nearest double");
    Require(std::isfinite(nearest) && std::signbit(nearest) == ((flags & Z9BCDII_RESULT_NEGATIVE) != 0),
            "which is finite and of the same sign");

    std::int64_t units = 0;
    if ((Z9BCDII2Int64(&units, value.data(), value[0]) & notWritten) != 0) return; // more than 64 bits hold
    Require((Z9BCDIIGetFromInt64(again.data(), units, value[0]) & (notWritten | inexact)) == 0,
            "units come back into a decimal");
    Require(Z9BCDIICmp(again.data(), value.data()) == 0, "as the same value");
}

void TryPackedText(unsigned char digits, unsigned char scale, const std::string& text)
{
    Packed value = Zero(digits, scale);
    const Packed before = value;
    const std::uint32_t flags = Z9BCDIIGetFromStr(value.data(), text.c_str());
    if ((flags & notWritten) != 0)
        Require(value == before, "a refused text leaves the target alone");
    else
        RequireRoundTrip(value);
}

void TryPackedBytes(const std::string& bytes)
{
    Packed value{};
    std::memcpy(value.data(), bytes.data(), std::min(bytes.size(), value.size()));
    std::array<char, 80> text{};
    const std::uint32_t flags = Z9BCDII2Str(text.data(), text.size(), value.data());
    if ((flags & notWritten) == 0) RequireRoundTrip(value);
}

template <int N>
void TryAmount(const std::string& text)
{
    Currency<N> amount;
    if (amount.StrictSet(text.c_str()) != Z9ERR_OK) {
        Require(amount.AsPlain() == 0, "a refused text leaves the amount alone");
        return;
    }
    Currency<N> again;
    Require(again.StrictSet(amount.AsString().c_str()) == Z9ERR_OK && again.AsPlain() == amount.AsPlain(),
            "the text of an amount reads as the same amount");

    Packed packed = Zero(19, N); // holds every amount
    const std::uint32_t flags = Z9BCDIIGetFromStr(packed.data(), text.c_str());
    std::int64_t units = 0;
    Require((flags & (notWritten | inexact)) == 0, "an amount's text is a packed decimal's too");
    Require((Z9BCDII2Int64(&units, packed.data(), N) & notWritten) == 0 && units == amount.AsPlain(),
            "and both are the same number");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size); // takes numbers from the end
    const auto digits = input.ConsumeIntegralInRange<unsigned char>(1, Z9BCDII_MAX_DIGITS);
    const auto scale = input.ConsumeIntegralInRange<unsigned char>(0, digits);
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    TryPackedText(digits, scale, bytes);
    TryPackedBytes(bytes);
    TryAmount<2>(bytes);
    TryAmount<5>(bytes);
    return 0;
}
