// QuindalIM.hpp over a real router and server: lifetimes, margins worked out by hand, errors, allocations.
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

#include "AllocationProbe.h"
#include "CppHeaderFixture.h"

namespace test::CppHeaderTest {
namespace {

using namespace quindal::test;
using namespace quindalim;
using testing::StartsWith;

static_assert(!std::is_copy_constructible_v<Library> && !std::is_copy_assignable_v<Library>);
static_assert(!std::is_copy_constructible_v<Calculator> && !std::is_copy_assignable_v<Calculator>);
static_assert(std::is_nothrow_move_constructible_v<Library> && std::is_nothrow_move_assignable_v<Library>);
static_assert(std::is_nothrow_move_constructible_v<Calculator> && std::is_nothrow_move_assignable_v<Calculator>);
static_assert(!std::is_convertible_v<MarginRule, int> && !std::is_convertible_v<int, MarginRule>);

class CppLifetimes : public CppHeaderFixture
{};

TEST_F(CppLifetimes, TheEndOfTheLibraryIsItsStop)
{
    Start();
    calculator.reset();
    library.reset();
    EXPECT_EQ(DeInitQuindalIM(), QUINDAL_ERR_NOT_INITIALIZED);
    Start();
    EXPECT_TRUE(calculator->edgeCoefficient()) << "and it starts again";
}

TEST_F(CppLifetimes, TheEndOfTheCalculatorLeavesNothingBehind)
{
    Start();
    EnterHandMarket();
    EnterHandAccounts();
    calculator.reset();
    calculator = library->calculator().value();
    EXPECT_TRUE(calculator->baseContracts().value().empty());
    EXPECT_TRUE(calculator->loadInstruments()) << "the calculator is empty";
    EXPECT_TRUE(calculator->registerFirm({"AA01"}));
}

TEST_F(CppLifetimes, WhatIsMovedIsOwnedOnce)
{
    Start();
    Calculator moved = std::move(*calculator);
    EXPECT_EQ(calculator->handle(), 0);
    EXPECT_EQ(calculator->edgeCoefficient().code(), QUINDAL_ERR_WRONG_ARGUMENTS);
    EXPECT_TRUE(calculator->close()) << "there is nothing left to close";
    EXPECT_TRUE(moved.edgeCoefficient());
    calculator = std::move(moved);
    EXPECT_TRUE(calculator->edgeCoefficient());

    Library other = std::move(*library);
    EXPECT_TRUE(library->stop()) << "it is the other's to stop";
    EXPECT_TRUE(calculator->edgeCoefficient());
    *library = std::move(other);
    EXPECT_TRUE(library->stop());
    EXPECT_EQ(calculator->edgeCoefficient().code(), QUINDAL_ERR_NOT_INITIALIZED);
}

TEST_F(CppLifetimes, ASecondCalculatorIsRefusedUntilTheFirstIsClosed)
{
    Start();
    const Result<Calculator> second = library->calculator();
    EXPECT_EQ(second.code(), QUINDAL_ERR_ALREADY_INITIALIZED);
    EXPECT_STREQ(second.error().text(), "there is a calculator already");
    EXPECT_TRUE(calculator->close());
    calculator = library->calculator().value();
    EXPECT_TRUE(calculator->edgeCoefficient());
}

TEST_F(CppLifetimes, AStartThatFailsTellsWhyAndMayBeTriedAgain)
{
    Serve();
    EXPECT_EQ(Library::start(File("absent.ini"), User, Password).code(), QUINDAL_ERR_INI_CANNOT_OPEN);
    EXPECT_EQ(Library::start(Ini(), User, "wrong").code(), QUINDAL_ERR_LOGIN_ERROR);
    const Failure refused = Library::start(Ini(), User, std::string(256, 'x')).error();
    EXPECT_STREQ(refused.parameter, "password");
    EXPECT_STREQ(refused.reason, "is too long");
    Start();
    EXPECT_EQ(Library::start(Ini(), User, Password).code(), QUINDAL_ERR_ALREADY_INITIALIZED);
    EXPECT_TRUE(calculator->edgeCoefficient()) << "the first is not disturbed";
}

class CppMargins : public CppHeaderFixture
{
protected:
    void SetUp() override
    {
        Start();
        EnterHandMarket();
        EnterHandAccounts();
    }
    [[nodiscard]] double Order(std::string_view client, std::string_view instrument, Side side, double price) const
    {
        const double with = calculator->changeOrder({client, instrument, side, price, 2}).value().go;
        EXPECT_EQ(calculator->changeOrder({client, instrument, side, price, -2}).value().go, 300.0) << "cancelled";
        return with;
    }
};

// 3 contracts x 10 of money x 10 to the end of the grid; the figures of orders stand in
// docs/api/positions-and-orders.md.
TEST_F(CppMargins, AreThoseOfTheExampleWorkedOutByHand)
{
    const Margins margins = calculator->setPosition({"AA01001", "ABC-3.27", 3, 100.0}).value();
    EXPECT_DOUBLE_EQ(margins.volatility, 300.0);
    EXPECT_DOUBLE_EQ(margins.delivery, 300.0);
    EXPECT_DOUBLE_EQ(margins.go, 300.0);
    EXPECT_DOUBLE_EQ(Order("AA01001", "ABC-3.27", Side::Buy, 98.0), 460.0);
    EXPECT_DOUBLE_EQ(Order("AA01001", "ABC-3.27", Side::Sell, 101.0), 300.0);
    EXPECT_DOUBLE_EQ(Order("AA01001", "ABC-3.27-6.27", Side::Buy, 3.0), 320.0);
}

TEST_F(CppMargins, APriceOfZeroIsTheCalculatedPrice)
{
    EXPECT_DOUBLE_EQ(calculator->setPosition({"AA01001", "ABC-3.27", 3}).value().go, 300.0); // held at 100
}

TEST_F(CppMargins, FollowTheParametersOfTheClient)
{
    ASSERT_TRUE(calculator->setPosition({"AA01001", "ABC-3.27", 3, 100.0}));
    Client client{"AA01001"};
    client.noFutDiscount = true;
    ASSERT_TRUE(calculator->changeClient(client));
    EXPECT_DOUBLE_EQ(Order("AA01001", "ABC-3.27", Side::Buy, 98.0), 500.0);

    client = {"AA01002", SpreadMarginType::HalfNetting};
    client.goRatio = 1.0;
    ASSERT_TRUE(calculator->registerClient(client));
    ASSERT_TRUE(calculator->setPosition({"AA01002", "ABC-3.27", 3, 100.0}));
    EXPECT_DOUBLE_EQ(Order("AA01002", "ABC-3.27-6.27", Side::Buy, 3.0), 520.0);

    client = {"AA01003"};
    client.goRatio = 1.5;
    ASSERT_TRUE(calculator->registerClient(client));
    EXPECT_DOUBLE_EQ(calculator->setPosition({"AA01003", "ABC-3.27", 3, 100.0}).value().go, 450.0);
}

TEST_F(CppMargins, FollowTheRatioOfTheFirm)
{
    ASSERT_TRUE(calculator->setFirmRatio("AA01", "ABC", 2.0));
    EXPECT_DOUBLE_EQ(calculator->setPosition({"AA01001", "ABC-3.27", 3, 100.0}).value().go, 600.0);
    EXPECT_EQ(calculator->setFirmRatio("AA02", "ABC", 2.0).code(), QUINDAL_ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND);
}

TEST_F(CppMargins, FirmsAndAccountsHaveRecordsOfTheirOwn)
{
    EXPECT_TRUE(calculator->setLevelPosition(AccountLevel::Firm, {"AA01", "ABC-3.27", 3, 100.0}));
    EXPECT_TRUE(calculator->setLevelPosition(AccountLevel::SettlementAccount, {"ACCOUNT1", "ABC-3.27", 3, 100.0}));
    EXPECT_TRUE(calculator->setLevelPosition(AccountLevel::Client, {"AA01001", "ABC-3.27", 3, 100.0}));
    EXPECT_EQ(calculator->setLevelPosition(AccountLevel::Firm, {"AA02", "ABC-3.27", 3, 100.0}).code(),
              QUINDAL_ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(calculator->setLevelPosition(AccountLevel::SettlementAccount, {"OTHER", "ABC-3.27", 3, 100.0}).code(),
              QUINDAL_ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
}

TEST_F(CppMargins, GoWithTheParticipantsAndInstrumentsStay)
{
    ASSERT_TRUE(calculator->clearParticipants());
    EXPECT_EQ(calculator->setPosition({"AA01001", "ABC-3.27", 3}).code(),
              QUINDAL_ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(calculator->futures().value().size(), 2u);
    ASSERT_TRUE(calculator->clearAll());
    EXPECT_TRUE(calculator->futures().value().empty());
}

TEST_F(CppMargins, AnErrorCarriesCodeNameTextAndFunction)
{
    const Result<Margins> result = calculator->setPosition({"AA01001", "ABC-9.27", 3});
    EXPECT_FALSE(result);
    try {
        static_cast<void>(result.value());
        FAIL() << "no exception";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), 94813);
        EXPECT_STREQ(error.name(), "QUINDAL_ERR_NOT_FOUND");
        EXPECT_STREQ(error.text(), "QuindalIM not found");
        EXPECT_STREQ(error.failure().function, "SetPosition");
        EXPECT_EQ(error.failure().parameter, nullptr);
        EXPECT_STREQ(error.what(), "SetPosition: QuindalIM not found (94813, QUINDAL_ERR_NOT_FOUND)");
    }
    EXPECT_THROW(calculator->registerFirm({"AA01"}).value(), Error) << "it is there already";
    EXPECT_THROW(static_cast<void>(Library::start(Ini(), User, Password).value()), Error);
}

TEST(CppResults, NameEachCode)
{
#define EXPECT_NAME(name, number, text) EXPECT_STREQ(nameOf(number), #name);
    QUINDAL_IM_CODES(EXPECT_NAME)
#undef EXPECT_NAME
    EXPECT_STREQ(nameOf(1), "QUINDAL_ERR_?");
    EXPECT_STREQ(textOf(QUINDAL_ERR_NOT_FOUND), "QuindalIM not found");
    EXPECT_THAT(std::string(libraryVersion()), StartsWith(QUINDAL_IM_VERSION_TEXT));
}

TEST(CppResults, AValueHasNoError)
{
    const Result<double> value(1.5);
    EXPECT_TRUE(value);
    EXPECT_EQ(value.code(), QUINDAL_OK);
    EXPECT_EQ(value.value(), 1.5);
    EXPECT_EQ(Attribute::Spot | Attribute::Tas, static_cast<Attribute>(1048577));
    EXPECT_EQ((Attribute::Spot | Attribute::Tas) & Attribute::Tas, Attribute::Tas);
}

class CppAllocations : public CppHeaderFixture
{};

TEST_F(CppAllocations, PositionsAndOrdersTakeNothingFromTheHeap)
{
    Start(false);
    EnterHandMarket();
    EnterHandAccounts();
    const auto round = [this](std::int64_t quantity) {
        return calculator->setPosition({"AA01001", "ABC-3.27", quantity, 100.5}).code() |
               calculator->changeOrder({"AA01001", "ABC-6.27", Side::Buy, 99.25, quantity}).code() |
               calculator->changeOrder({"AA01001", "ABC-6.27", Side::Buy, 99.25, -quantity}).code();
    };
    ASSERT_EQ(round(1) | round(2), 0);
    const std::string absent(CodeLength, 'X');
    const std::string tooLong(CodeLength + 1, 'X');
    const testing_support::AllocationProbe probe;
    std::int32_t codes = 0;
    for (std::int64_t quantity = -20; quantity <= 20; ++quantity)
        codes |= round(quantity);
    const std::int32_t refused = calculator->setPosition({"AA01001", tooLong, 1}).code();
    EXPECT_EQ(probe.Count(), 0u);
    EXPECT_EQ(codes, 0);
    EXPECT_EQ(refused, QUINDAL_ERR_WRONG_ARGUMENTS);
    EXPECT_EQ(calculator->setPosition({"AA01001", absent, 1}).code(), QUINDAL_ERR_NOT_FOUND) << "and this one is asked";
}

} // namespace
} // namespace test::CppHeaderTest
