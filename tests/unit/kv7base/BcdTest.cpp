#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "except.h"
#include "z9bcd.h"

namespace test::BcdTest {
namespace {

using kv7base::CZ9BCD;
using kv7base::CZ9Error;
using testing::HasSubstr;

/// Code and text of the CZ9Error that an action throws; code 0 when it throws none.
struct Failure
{
    Z9ERR code = Z9ERR_OK;
    std::string text;
};

Failure FailureOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const CZ9Error& e) {
        return {e.GetCode(), e.what()};
    }
    return {};
}

template <int N, int M>
CZ9BCD<N, M> Nan()
{
    CZ9BCD<N, M> value;
    value.SetNAN();
    return value;
}

TEST(Bcd, TheHeadBytesSayTheDigitsAndZeroIsAllZero)
{
    const t_bprice zero;
    const auto& bytes = zero.GetValueArray();
    ASSERT_EQ(bytes.size(), 11U); // 2 + 16/2 + 1, the odd 5 adds one
    EXPECT_EQ(bytes[0], 5);
    EXPECT_EQ(bytes[1], 16);
    for (std::size_t i = 2; i < bytes.size(); ++i)
        EXPECT_EQ(bytes[i], 0) << i;
    EXPECT_EQ(t_bprice::m_type, 16 * 256 + 5);
    EXPECT_EQ(sizeof(t_bround), 15U);      // 2 + 13
    EXPECT_EQ((sizeof(CZ9BCD<3, 2>)), 4U); // 2 + 1 + 1
    EXPECT_EQ(zero, t_bprice::Zero);
}

TEST(Bcd, ResultFlagsBecomeCodesInOrderOfWeight)
{
    using kv7base::detail::DecimalResultCode;
    EXPECT_EQ(DecimalResultCode(0), Z9ERR_OK);
    EXPECT_EQ(DecimalResultCode(0x146), Z9ERR_OK) << "zero, negative, lost precision, loose format";
    EXPECT_EQ(DecimalResultCode(Z9BCDII_RESULT_OVERFLOW | Z9BCDII_OPERAND_NAN), Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(DecimalResultCode(Z9BCDII_OPERAND_BAD | Z9BCDII_RESULT_BAD), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(DecimalResultCode(Z9BCDII_OPERAND_NAN), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(DecimalResultCode(Z9BCDII_RESULT_BAD), Z9ERR_COMMON_INTERNAL_ERROR);
    EXPECT_EQ(DecimalResultCode(0x8000), Z9ERR_COMMON_INTERNAL_ERROR);
}

TEST(Bcd, DoublesRoundToTheNearestDigitHalvesAwayFromZero)
{
    EXPECT_EQ(t_bprice(101.5).AsInt64Plain(5), 10150000);
    EXPECT_EQ(t_bprice(-0.000005).AsInt64Plain(5), -1);    // the double is 0.00000500000000000000041
    EXPECT_EQ((CZ9BCD<16, 2>(0.125).AsInt64Plain(2)), 13); // 0.125 is exact: a real half
    EXPECT_EQ((CZ9BCD<16, 2>(-0.125).AsInt64Plain(2)), -13);
    // 1.005 is 1.00499999999999989: taken apart exactly it stays below the half.
    EXPECT_EQ((CZ9BCD<16, 2>(1.005).AsInt64Plain(2)), 100);
}

TEST(Bcd, ADoubleThatIsNoNumberFailsWithWrongArguments)
{
    const Failure failure = FailureOf([] { (void)t_bprice(std::nan("")); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(failure.text, HasSubstr("CZ9BCD nan"));
}

TEST(Bcd, ADoubleThatDoesNotFitOverflows)
{
    const Failure failure = FailureOf([] { (void)t_bprice(1e11); }); // 11 whole digits are the most
    EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(failure.text, HasSubstr("CZ9BCD 100000000000.000000"));
    EXPECT_EQ(t_bprice(99999999999.0).AsInt64(), 99999999999);
    EXPECT_EQ(FailureOf([] { (void)t_bprice(std::numeric_limits<double>::infinity()); }).code, Z9ERR_COMMON_OVERFLOW);
}

TEST(Bcd, AssignmentOfADoubleThatFailsLeavesTheValue)
{
    t_bprice price(3.5);
    const Failure failure = FailureOf([&] { price = std::nan(""); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(failure.text, HasSubstr("operator= m_val(3.50000) dbl(nan)"));
    EXPECT_EQ(price, t_bprice(3.5));
    price = 4.5;
    EXPECT_EQ(price.AsDouble(), 4.5);
    price.Set(1.25);
    EXPECT_EQ(price.AsString(), "1.25000");
}

TEST(Bcd, APriceThatIsNoNumberHasNoPlainValue)
{
    const auto price = Nan<16, 5>();
    EXPECT_TRUE(price.IsNAN());
    const Failure plain = FailureOf([&] { (void)price.AsInt64Plain(5); });
    EXPECT_EQ(plain.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(plain.text, HasSubstr("AsInt64Plain m_val(nan)"));
    const Failure amount = FailureOf([&] { (void)price.AsDouble(); });
    EXPECT_EQ(amount.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(amount.text, HasSubstr("AsDouble m_val(nan)"));
}

TEST(Bcd, PlainValuesCountTheUnitsAskedFor)
{
    const t_bprice price(std::string("-123.45678"));
    EXPECT_EQ(price.AsInt64Plain(5), -12345678);
    EXPECT_EQ(price.AsInt64Plain(2), -12346); // rounded, halves away from zero
    EXPECT_EQ(price.AsInt64(), -123);
    EXPECT_EQ(ToPriceInt(price), t_bprice_int::FromPlain(-12345678));
}

TEST(Bcd, IntegersAreWholes)
{
    EXPECT_EQ(t_bprice(7).AsString(), "7.00000");
    EXPECT_EQ(t_bprice(std::int64_t{-99999999999}).AsString(), "-99999999999.00000");
    EXPECT_EQ(FailureOf([] { (void)t_bprice(std::int64_t{100000000000}); }).code, Z9ERR_COMMON_OVERFLOW);
}

TEST(Bcd, CountsOfUnitsKeepTheirPlace)
{
    EXPECT_EQ(t_bround::FromPlain(-250).AsString(), "-2.50");
    EXPECT_EQ(t_bprice::FromPlain(1).AsString(), "0.00001");
    EXPECT_EQ((kv7base::CZ9BCD<3, 2>::FromPlain(-999).AsString()), "-9.99");
    const Failure failure = FailureOf([] { (void)kv7base::CZ9BCD<3, 2>::FromPlain(1000); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(failure.text, HasSubstr("CZ9BCD i64(1000)"));
}

TEST(Bcd, WeightsThatArriveAsDoublesHaveOneWholeDigit)
{
    EXPECT_EQ(ToWeightInt(1.0).AsPlain(), 100);
    EXPECT_EQ(ToWeightInt(0.335).AsPlain(), 34); // the double is 0.33500000000000002
    EXPECT_EQ(ToWeightInt(-9.99).AsPlain(), -999);
    EXPECT_EQ(FailureOf([] { (void)ToWeightInt(10.0); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(FailureOf([] { (void)ToWeightInt(-10.0); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(FailureOf([] { (void)ToWeightInt(9.996); }).code, Z9ERR_COMMON_OVERFLOW) << "10.00 once rounded";
    EXPECT_EQ(FailureOf([] { (void)ToWeightInt(std::nan("")); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST(Bcd, SumsAreExactAndOverflowIsTold)
{
    const t_bround a(std::string("900000000000000000000000.01"));
    const t_bround b(std::string("0.02"));
    EXPECT_EQ((a + b).AsString(), "900000000000000000000000.03");
    EXPECT_EQ((b - a).AsString(), "-899999999999999999999999.99");
    const Failure sum = FailureOf([&] { (void)(a + a); });
    EXPECT_EQ(sum.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(sum.text, HasSubstr("operator+ p(0.00), a(900000000000000000000000.01), "
                                    "b(900000000000000000000000.01)"));
    const t_bround minus = t_bround::Zero - a;
    const Failure difference = FailureOf([&] { (void)(minus - a); });
    EXPECT_EQ(difference.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(difference.text, HasSubstr("operator- p(0.00), a(-900000000000000000000000.01), b(9000"));
    EXPECT_EQ(FailureOf([&] { (void)(a + Nan<26, 2>()); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST(Bcd, ValuesOrderByAmountAndANanStandsBelowAll)
{
    EXPECT_LT(t_bprice(-1.0), t_bprice(0.5));
    EXPECT_GT(t_bprice(2.0), t_bprice(1.99999));
    EXPECT_EQ(t_bprice(1.5), t_bprice(std::string("1.5")));
    EXPECT_NE(t_bprice(1.5), t_bprice(1.50001));
    t_bprice least, most;
    least.SetMin();
    most.SetMax();
    EXPECT_EQ(most.AsString(), "99999999999.99999");
    EXPECT_EQ(least.AsString(), "-99999999999.99999");
    EXPECT_LT((Nan<16, 5>()), least);
    EXPECT_EQ((Nan<16, 5>()), (Nan<16, 5>()));
}

TEST(Bcd, SignsAreToldAndANanHasNone)
{
    EXPECT_TRUE(t_bprice().IsZero());
    EXPECT_TRUE(t_bprice(-0.00001).IsNeg());
    EXPECT_TRUE(t_bprice(0.00001).IsPositive());
    const auto nan = Nan<16, 5>();
    EXPECT_FALSE(nan.IsZero() || nan.IsNeg() || nan.IsPositive());
}

TEST(Bcd, TextsAreReadLooselyOrStrictly)
{
    t_bprice price(std::string("1.234565")); // rounded to 1.23457
    EXPECT_EQ(price.AsString(), "1.23457");
    EXPECT_EQ(price.StrictSet(" 2.5"), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(price.StrictSet("x"), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(price.StrictSet("2.123456"), Z9ERR_COMMON_OVERFLOW) << "a sixth digit has no room";
    EXPECT_EQ(price.StrictSet("123456789012"), Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(price.AsString(), "1.23457") << "a refused text changes nothing";
    EXPECT_EQ(price.StrictSet("-2.5"), Z9ERR_OK);
    EXPECT_EQ(price.AsString(), "-2.50000");
    EXPECT_EQ(FailureOf([&] { price.Set(std::string("abc")); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(price.AsString(), "-2.50000");
}

TEST(Bcd, RoundKeepsDigitsInFiveStyles)
{
    struct Case
    {
        const char* amount;
        int digits;
        const char *nearest, *up, *down, *fromZero, *trunc;
    };
    const Case cases[] = {
        {"1.23500", 2, "1.24000", "1.24000", "1.23000", "1.24000", "1.23000"},
        {"-1.23500", 2, "-1.24000", "-1.23000", "-1.24000", "-1.24000", "-1.23000"},
        {"1.23400", 2, "1.23000", "1.24000", "1.23000", "1.24000", "1.23000"},
        {"1.50000", 0, "2.00000", "2.00000", "1.00000", "2.00000", "1.00000"},
        {"1250.00000", -2, "1300.00000", "1300.00000", "1200.00000", "1300.00000", "1200.00000"},
        {"1.23456", 5, "1.23456", "1.23456", "1.23456", "1.23456", "1.23456"},
    };
    for (const Case& c : cases) {
        const t_bprice amount{std::string(c.amount)};
        EXPECT_EQ(amount.Round(c.digits).AsString(), c.nearest) << c.amount;
        EXPECT_EQ(amount.Round(c.digits, ROUND_UP).AsString(), c.up) << c.amount;
        EXPECT_EQ(amount.Round(c.digits, ROUND_DOWN).AsString(), c.down) << c.amount;
        EXPECT_EQ(amount.Round(c.digits, ROUND_FROMZERO).AsString(), c.fromZero) << c.amount;
        EXPECT_EQ(amount.Round(c.digits, ROUND_TRUNC).AsString(), c.trunc) << c.amount;
    }
    t_bprice most;
    most.SetMax();
    EXPECT_EQ(FailureOf([&] { (void)most.Round(0); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(most.Round(-2000000000).AsString(), "0.00000");
    EXPECT_TRUE((Nan<16, 5>().Round(2).IsNAN()));
}

TEST(Bcd, DigitsAreCountedFromThePoint)
{
    const t_bprice price(std::string("-908.07612"));
    EXPECT_EQ(price.Digit(2), 9);
    EXPECT_EQ(price.Digit(1), 0);
    EXPECT_EQ(price.Digit(0), 8);
    EXPECT_EQ(price.Digit(-1), 0);
    EXPECT_EQ(price.Digit(-2), 7);
    EXPECT_EQ(price.Digit(-5), 2);
    EXPECT_EQ(price.Digit(-6), 0);
    EXPECT_EQ(price.Digit(40), 0);
}

TEST(Bcd, NegationAndRemainderAreExact)
{
    t_bprice price(12.5);
    price.Neg();
    EXPECT_EQ(price.AsString(), "-12.50000");
    EXPECT_EQ(price.Mod(5.0).AsString(), "-2.50000");
    EXPECT_EQ(t_bprice(0.3).Mod(0.1), t_bprice::Zero); // in decimals nothing is left
    EXPECT_EQ(FailureOf([&] { (void)price.Mod(0.0); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(FailureOf([&] { (void)Nan<16, 5>().Mod(1.0); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST(Bcd, ValuesAreCopiedByteForByte)
{
    const t_bprice price(-7.25);
    unsigned char record[sizeof(t_bprice)];
    std::memcpy(record, &price, sizeof record);
    EXPECT_EQ(t_bprice::Create(record), price);

    t_bprice copy{kv7base::eSkipInit};
    std::memcpy(&copy, record, sizeof record);
    EXPECT_EQ(copy, price);
    copy.InitNAN();
    EXPECT_TRUE(copy.IsNAN());
    copy.Init();
    EXPECT_EQ(copy, t_bprice::Zero);
}

// Texts are read by this unit and not by the platform, which has a reader of its own: one must be as good as the other.

template <int N, int M>
void ExpectTheTextIsReadAsThePlatformReadsIt(const std::string& text)
{
    const std::string where = "'" + text + "' as " + std::to_string(N) + "," + std::to_string(M);
    CZ9BCD<N, M> expected;
    const std::uint32_t flags = Z9BCDIIGetFromStr(expected.GetValue(), text.c_str());
    const Z9ERR code = kv7base::detail::DecimalResultCode(flags);

    CZ9BCD<N, M> value;
    EXPECT_EQ(FailureOf([&] { value.Set(text); }).code, code) << where;
    EXPECT_EQ(value.GetValueArray(), expected.GetValueArray()) << where;

    const bool isStrict = (flags & (Z9BCDII_NOT_STRICT_FORMAT | Z9BCDII_OPERAND_BAD)) == 0;
    const bool isExact = (flags & Z9BCDII_RESULT_PREC) == 0;
    const Z9ERR strictCode = !isStrict ? Z9ERR_COMMON_WRONG_ARGUMENTS : !isExact ? Z9ERR_COMMON_OVERFLOW : code;
    CZ9BCD<N, M> strict;
    EXPECT_EQ(strict.StrictSet(text.c_str()), strictCode) << where;
    if (strictCode != Z9ERR_OK) expected.Init();
    EXPECT_EQ(strict.GetValueArray(), expected.GetValueArray()) << where;
}

void ExpectTheTextIsReadAsThePlatformReadsIt(const std::string& text)
{
    ExpectTheTextIsReadAsThePlatformReadsIt<16, 5>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<26, 2>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<3, 2>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<1, 0>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<1, 1>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<63, 0>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<63, 31>(text);
    ExpectTheTextIsReadAsThePlatformReadsIt<63, 63>(text);
}

TEST(Bcd, TextsAreReadAsThePlatformReadsThem)
{
    for (const char* text :
         {"",     " ",   "-",     "+",    ".",     "-.",      "1",   "1.",   ".5",       "+.5", "-0",
          "-0.0", "0",   "00012", "1..",  "1.2.3", "1 2",     " 1",  "1 ",   "\t-2.5\n", "--1", "+-1",
          "1e5",  "nan", "inf",   "0x10", "9.995", "9.99499", "0.5", "0.45", "-0.05"})
        ExpectTheTextIsReadAsThePlatformReadsIt(text);
    // Around each length that is put together of parts of eighteen digits, and around the most that a value may have.
    for (const std::size_t wholes : {17U, 18U, 19U, 35U, 36U, 37U, 54U, 55U, 62U, 63U, 64U, 200U})
        for (const char digit : {'1', '5', '9'})
            for (const std::size_t behind : {0U, 1U, 5U, 18U, 63U, 64U}) {
                const std::string text = std::string(wholes, digit) + "." + std::string(behind, digit);
                ExpectTheTextIsReadAsThePlatformReadsIt(text);
                ExpectTheTextIsReadAsThePlatformReadsIt("-000" + text);
                ExpectTheTextIsReadAsThePlatformReadsIt("0." + text.substr(0, wholes));
            }
}

// Halves, what is next to a half, any bits at all, and prices as a market has them.
std::vector<double> PricesToRound()
{
    std::vector<double> prices{0.0,  -0.0,   1e-8, 1e-9, 5e-6, 4.9999999e-6, 0.000005,      0.000015,
                               71.1, 3302.5, 1e10, 1e11, 1e20, 1e-300,       99999999999.0, 123456789.123455};
    std::mt19937_64 random(20261122);
    for (int i = 0; i < 5000; ++i) {
        prices.push_back(static_cast<double>(random() % 200000000000) / 100000);
        prices.push_back(static_cast<double>(random() % 200000000000) / 200000);
        prices.push_back(std::ldexp(static_cast<double>(random() % 100000000), -static_cast<int>(random() % 30)));
        prices.push_back(std::bit_cast<double>(random()));
    }
    for (std::size_t i = 0, count = prices.size(); i < count; ++i) {
        prices.push_back(-prices[i]);
        prices.push_back(std::nextafter(prices[i], 0.0));
        prices.push_back(std::nextafter(prices[i], 1e9));
    }
    return prices;
}

TEST(Bcd, APriceThatArrivesAsADoubleIsRoundedAsItsDecimalIs)
{
    for (const double price : PricesToRound()) {
        std::optional<t_bprice_int> ofDecimal;
        std::optional<t_bprice_int> ofDouble;
        const Failure expected = FailureOf([&] { ofDecimal = ToPriceInt(t_bprice(price)); });
        const Failure failure = FailureOf([&] { ofDouble = ToPriceInt(price); });
        ASSERT_EQ(ofDouble, ofDecimal) << price;
        ASSERT_EQ(failure.code, expected.code) << price;
        ASSERT_EQ(failure.text, expected.text) << price;
    }
}

TEST(Bcd, BytesThatMakeNoDecimalHaveNoText)
{
    t_bprice price(1.5);
    price.GetValue()[0] = 17; // more digits behind the point than there are
    EXPECT_EQ(FailureOf([&] { (void)price.AsString(); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_FALSE(price.IsNAN());
}

} // namespace
} // namespace test::BcdTest
