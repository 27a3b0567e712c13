// Exported functions with arguments of every sort. Whatever a caller sends, each function comes back with a code that
// has a text and a constant, writes nothing when it fails, and leaves another client's figures alone, to the last bit.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "LibraryHost.h"
#include "MarginMarket.h"
#include "QuindalIM.hpp"
#include "RiskArrayExports.h"

namespace test::ArbitraryArgumentsTest {
namespace {

using namespace quindal::test;

constexpr const char* Bystander = "AA01001"; // is never named by the arbitrary calls
constexpr const char* Subject = "AA01002";

double AnyNumber()
{
    using Limits = std::numeric_limits<double>;
    return *rc::gen::oneOf(
        rc::gen::arbitrary<double>(), rc::gen::map(rc::gen::inRange(-3000, 3000), [](int n) { return n * 0.5; }),
        rc::gen::element(0.0, -0.0, 0.000001, 1e10, 1e11, -1e11, 1e300, Limits::max(), Limits::lowest(),
                         Limits::denorm_min(), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()));
}

template <class Integer>
Integer AnyInteger()
{
    using Limits = std::numeric_limits<Integer>;
    return *rc::gen::oneOf(rc::gen::arbitrary<Integer>(),
                           rc::gen::element<Integer>(0, 1, -1, 2, 100, Limits::max(), Limits::min()));
}

/// A code that is known, or nearly, or any text.
std::string AnyCode()
{
    std::string code =
        *rc::gen::oneOf(rc::gen::string<std::string>(),
                        rc::gen::element<std::string>("BC-1", "BC-2", "BC-1-2", "BC-2-1", "BC-1-3", "BC-1-1", "BC-1-",
                                                      "--", "-", "BC", "IN", "IN-C950", "", "AA01", "AA01003",
                                                      "A A0100", "aa01002", "AA0100", "AA010011", Subject));
    std::erase(code, '\0'); // it would end there
    return code;
}
/// The subject, as often as any code.
std::string AnyClient() { return *rc::gen::arbitrary<bool>() ? Subject : AnyCode(); }

/// One of a family whose functions take the same arguments.
template <class Function, std::size_t Count>
Function AnyOf(const std::array<Function, Count>& family)
{
    return family[*rc::gen::inRange<std::size_t>(0, Count)];
}

class ArbitraryArguments : public LibraryHost
{
protected:
    void SetUp() override
    {
        StartAll();
        plain::Market market{{HandContract("BC")},
                             {TwoMoneyFutures("BC-1", "BC", 1), TwoMoneyFutures("BC-2", "BC", 2, 1020.0, 1.0)},
                             {}};
        market.series = {TwoMoneySeries("IN", "BC-1")};
        market.options = {NamedOption("IN-C950", "IN", Enums::OptionType::Call, 950.0, 60.0, 100)};
        market.multilegs = {HandMultileg("BC-1-2", 3, market.futures.front(), market.futures.back())};
        InsertMarket(calc, market);
        ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
        for (const char* const client : {Bystander, Subject})
            ASSERT_EQ(RegisterClient(calc, client, {}), 0);
        calls::Margins margins;
        ASSERT_EQ(calls::Position(calc, Bystander, "IN-C950", 2, 61.0, margins), 0);
        ASSERT_EQ(PlaceOrder(calc, Bystander, "BC-1", true, 990.0, 3, margins), 0);
        ASSERT_EQ(PlaceOrder(calc, Bystander, "BC-1-2", false, 15.0, 4, margins), 0);
        figures = FiguresOfBystander();
        ASSERT_GT(figures.part, 0.0);
    }
    void TearDown() override { EXPECT_EQ(FiguresOfBystander(), figures); }

    [[nodiscard]] calls::Margins FiguresOfBystander() const
    {
        calls::Margins margins;
        EXPECT_EQ(PlaceOrder(calc, Bystander, "BC-1", true, 1.0, 0, margins), 0);
        return margins;
    }
    static void ExpectToBeAnswered(std::int32_t code)
    {
        const char* const text = GetErrorCodeDescription(code);
        RC_ASSERT(text != nullptr);
        RC_ASSERT(std::strlen(text) > 0);
        RC_ASSERT(std::string(quindalim::nameOf(code)) != "QUINDAL_ERR_?");
    }

    calls::Margins figures;
};

TEST_F(ArbitraryArguments, OfOrdersAndPositions)
{
    EXPECT_TRUE(rc::check([&] {
        calls::Margins margins;
        const std::string client = AnyClient();
        const std::string instrument = AnyCode();
        const std::int32_t code =
            *rc::gen::arbitrary<bool>()
                ? ChangeOrder(calc, client.c_str(), instrument.c_str(), AnyInteger<std::int32_t>(), AnyNumber(),
                              AnyInteger<std::int64_t>(), &margins.volatility, &margins.delivery, &margins.part,
                              &margins.firm, &margins.account)
                : SetPosition(calc, client.c_str(), instrument.c_str(), AnyInteger<std::int64_t>(), AnyNumber(),
                              &margins.volatility, &margins.delivery, &margins.part, &margins.firm, &margins.account,
                              AnyInteger<QuindalAccountHierarchyRecordType>(), AnyInteger<std::int64_t>());
        ExpectToBeAnswered(code);
        if (code != 0) RC_ASSERT(margins == calls::Margins());
        RC_ASSERT(FiguresOfBystander() == figures);
    }));
}

TEST_F(ArbitraryArguments, OfParametersOfAClient)
{
    calls::Margins margins;
    ASSERT_EQ(PlaceOrder(calc, Subject, "BC-1-2", true, 25.0, 7, margins), 0);
    EXPECT_TRUE(rc::check([&] {
        const std::string client = AnyClient();
        ExpectToBeAnswered(
            ChangePart(calc, client.c_str(), AnyInteger<std::int32_t>(), AnyInteger<std::int32_t>(), AnyNumber()));
        RC_ASSERT(FiguresOfBystander() == figures);
    }));
    // The book of the subject is still there.
    ASSERT_EQ(ChangePart(calc, Subject, 0, 0, 0.5), 0);
    ASSERT_EQ(PlaceOrder(calc, Subject, "BC-1-2", true, 25.0, 0, margins), 0);
    EXPECT_NEAR(margins.volatility, 70.0, 1e-9); // 5 above the distance of the grids, 2 of money, 7 spreads
    EXPECT_DOUBLE_EQ(margins.part, 70.0);
}

TEST_F(ArbitraryArguments, OfMultilegs)
{
    EXPECT_TRUE(rc::check([&] {
        const std::int32_t inserted = InsertMultileg(calc, AnyCode().c_str());
        ExpectToBeAnswered(inserted);
        std::int32_t count = 0;
        RC_ASSERT(SetOnFirstMultileg(calc, &count) == 0);
        RC_ASSERT(count >= 1);

        std::array<char, 64> buffer;
        buffer.fill('#');
        const std::int32_t capacity = *rc::gen::oneOf(
            rc::gen::inRange(0, 65), rc::gen::element(-1, 0, 6, 7, std::numeric_limits<std::int32_t>::min()));
        std::int32_t size = capacity;
        const std::int32_t code = GetNextMultileg(calc, buffer.data(), &size);
        RC_ASSERT(size == 7); // "BC-1-2" is the first
        const auto end = buffer.begin() + std::max(capacity, 0);
        if (capacity >= 7) {
            RC_ASSERT(code == 0);
            RC_ASSERT(std::string(buffer.data()) == "BC-1-2");
        } else {
            RC_ASSERT(code == 7);
            RC_ASSERT(std::count(buffer.begin(), end, '#') == end - buffer.begin());
        }
        RC_ASSERT(std::count(end, buffer.end(), '#') == buffer.end() - end);
    }));
}

// They answer the same to everybody, and look at nothing.
TEST_F(ArbitraryArguments, OfRiskArrays)
{
    EXPECT_TRUE(rc::check([&] {
        const std::string instrument = AnyCode();
        const std::string client = AnyClient();
        const std::intptr_t handle = *rc::gen::arbitrary<bool>() ? calc : 0;
        const auto type = AnyInteger<std::int32_t>();
        double cell = 7.0;
        std::int32_t points = 8;
        std::int32_t scenarios = 9;
        ExtraRisksInfo info{};
        info.ZL = 10.0;
        double* const cells = *rc::gen::arbitrary<bool>() ? &cell : nullptr;
        RC_ASSERT(AnyOf(calls::RiskMatrices)(handle, type, instrument.c_str(), client.c_str(), cells, &points,
                                             &scenarios, &info) == 94819);
        RC_ASSERT(AnyOf(calls::RiskRows)(handle, type, instrument.c_str(), client.c_str(), cells, &points, &info) ==
                  94819);
        RC_ASSERT(GetRiskPoints(handle, type, instrument.c_str(), *rc::gen::arbitrary<bool>(), cells, &points,
                                &scenarios, &info, AnyInteger<std::int32_t>()) == 94819);
        RC_ASSERT(GetOptionRisksArray(handle, type, instrument.c_str(), cells, &points, &scenarios, &info,
                                      AnyInteger<std::int32_t>()) == 94819);
        RC_ASSERT(cell == 7.0);
        RC_ASSERT(points == 8);
        RC_ASSERT(scenarios == 9);
        RC_ASSERT(info.ZL == 10.0);
    }));
}

} // namespace
} // namespace test::ArbitraryArgumentsTest
