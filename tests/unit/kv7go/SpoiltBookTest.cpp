// What a book remembers of positions and orders that are too large for its cells, or no numbers, and when it is taken
// anew. Price and spot of the futures are 800, a price unit is worth 1: a contract at 800 counts 800 + 800 + 800.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "kv7errors.h"

namespace test::SpoiltBookTest {
namespace {

constexpr Isin NEXT = 2;
constexpr Isin Call850 = 10;
constexpr Isin PremiumCall750 = 11;
constexpr double HalfACentLost =
    0.005 * 9007199254740992.0; // times 2^53: a double of this size is rounded by half a cent

plain::Market MarketOf()
{
    plain::Market market{{HandBaseContract("BC")}, {HandFutures(), HandFutures("NEXT", NEXT)}, {}};
    market.series = {HandSeries("S"), HandSeries("PREMIUM")};
    market.series.back().marginStyle = Enums::MarginStyle::Equity;
    market.options = {HandOption("S", Call850, Enums::OptionType::Call, 850.0),
                      HandOption("PREMIUM", PremiumCall750, Enums::OptionType::Call, 750.0, 60.0)};
    return market;
}

struct Desk
{
    void Set(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity = 0)
    {
        EXPECT_EQ(engine.portfolio.SetPosition(isin, quantity, price, novQuantity), Z9ERR_OK);
    }
    void Order(Isin isin, double price, std::int64_t quantity)
    {
        const SClearingDeltaOrder record = Record(Buy(price), quantity, isin);
        EXPECT_EQ(engine.portfolio.ChangeOrder(isin, 1, &record), Z9ERR_OK);
    }
    [[nodiscard]] bool IsSuspect() const { return engine.portfolio.IsSuspect(); }
    [[nodiscard]] double Margin() const { return engine.portfolio.GetVolatilityInitialMargin(); }

    std::unique_ptr<kv7im::InstrumentsRepository> repository = MakeRepository(MarketOf());
    EngineBook engine{*repository, plain::Rules{}};
};

TEST(SpoiltBook, RemembersWhatIsRoundedByMoreThanHalfACent)
{
    Desk desk;
    kv7im::Portfolio& book = desk.engine.portfolio;
    EXPECT_EQ(kv7im::Portfolio::MagnitudeThatKeepsCents, HalfACentLost);
    book.NoteMagnitude(HalfACentLost);
    EXPECT_FALSE(book.IsSuspect());
    EXPECT_FALSE(book.IsSpoiltFor(0.0));

    const double larger = std::nextafter(HalfACentLost, 1e300);
    book.NoteMagnitude(larger);
    EXPECT_TRUE(book.IsSuspect());
    EXPECT_TRUE(book.IsSpoiltFor(0.0));
    EXPECT_FALSE(book.IsSpoiltFor(larger / 999.0));
    EXPECT_TRUE(book.IsSpoiltFor(larger / 1001.0));

    book.NoteMagnitude(1.0);
    EXPECT_TRUE(book.IsSpoiltFor(larger / 1001.0)) << "the largest is remembered, not the last";
    book.ForgetMagnitude();
    EXPECT_FALSE(book.IsSuspect());
}

TEST(SpoiltBook, NothingIsSpoiltForWhatIsNoNumber)
{
    Desk desk;
    kv7im::Portfolio& book = desk.engine.portfolio;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (const double spoiler : {nan, infinite}) {
        book.NoteMagnitude(spoiler);
        book.NoteMagnitude(1e300); // does not take its place
        EXPECT_TRUE(book.IsSpoiltFor(1e300));
        EXPECT_FALSE(book.IsSpoiltFor(nan));
        EXPECT_FALSE(book.IsSpoiltFor(infinite));
        book.ForgetMagnitude();
    }
}

// 2400 a contract of the futures, 50 + 800 + 800 + 850 = 2500 of the option.
TEST(SpoiltBook, APositionCountsItsContractsAtItsPriceAndThatOfTheMarket)
{
    const auto most = [](double contract) { return static_cast<std::int64_t>(HalfACentLost / contract); };
    for (const auto& [isin, price, quantity] :
         {std::tuple(FUT, 800.0, most(2400.0)), std::tuple(Call850, 50.0, most(2500.0))})
        for (const int side : {1, -1}) {
            Desk desk;
            desk.Set(isin, side * quantity, price);
            EXPECT_FALSE(desk.IsSuspect()) << isin;
            desk.Set(isin, side * (quantity + 1), price);
            EXPECT_TRUE(desk.IsSuspect()) << isin;
        }
    Desk desk;
    desk.Set(Call850, 0, 50.0, most(2500.0) + 1);
    EXPECT_TRUE(desk.IsSuspect()) << "the net option value is money too";
    Desk other;
    other.Order(FUT, 800.0, most(2400.0));
    EXPECT_FALSE(other.IsSuspect());
    other.Order(FUT, 800.0, most(2400.0) + 1);
    EXPECT_TRUE(other.IsSuspect());
}

// 10^13 contracts of 2400; 10^10 are a thousandth of them.
TEST(SpoiltBook, IsTakenAnewWhereLessThanAThousandthIsLeft)
{
    Desk desk;
    desk.Set(NEXT, 3, 789.42);
    desk.Set(FUT, 10'000'000'000'000, 800.0);
    desk.Set(FUT, 10'000'000'000, 800.0);
    EXPECT_TRUE(desk.IsSuspect()) << "the increments are kept";
    desk.Set(FUT, 9'000'000'000, 800.0);
    EXPECT_FALSE(desk.IsSuspect());

    Desk fresh;
    fresh.Set(NEXT, 3, 789.42);
    fresh.Set(FUT, 9'000'000'000, 800.0);
    EXPECT_EQ(desk.Margin(), fresh.Margin());
}

TEST(SpoiltBook, StaysAsItIsWhileSomethingElseInItIsNoNumber)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    Desk desk;
    desk.Set(NEXT, 3, 789.42);
    const double right = desk.Margin();
    EXPECT_GT(right, 0.0);
    desk.Set(FUT, 1, nan);
    desk.Set(Call850, 1, nan);
    desk.Set(FUT, 0, 0.0);
    EXPECT_TRUE(desk.IsSuspect());
    desk.Set(Call850, 0, nan);
    EXPECT_TRUE(desk.IsSuspect()) << "no contracts at no price are no number either";
    desk.Set(Call850, 0, 0.0);
    EXPECT_FALSE(desk.IsSuspect());
    EXPECT_EQ(desk.Margin(), right);
}

// The net option value counts the contracts of the last clearing, before and after.
TEST(SpoiltBook, TakenAnewKeepsTheNetOptionValue)
{
    Desk desk;
    desk.Set(NEXT, 3, 789.42);
    desk.Set(PremiumCall750, 4, 60.0, 2);
    const double right = desk.Margin();
    desk.Set(FUT, 1'000'000'000'000, 800.0);
    desk.Set(FUT, 0, 0.0);
    EXPECT_FALSE(desk.IsSuspect());
    EXPECT_EQ(desk.engine.portfolio.GetSpecPosition(PremiumCall750)->GetNOVi(), 2 * 60.0);
    EXPECT_EQ(desk.Margin(), right);
}

TEST(SpoiltBook, AnOrderThatGoesTakesItAnewAsAPositionDoes)
{
    for (const Isin isin : {FUT, Call850}) {
        Desk desk;
        desk.Set(NEXT, 3, 789.42);
        desk.Order(isin, 800.0, 2);
        const double right = desk.Margin();
        desk.Order(isin, 800.0, 1'000'000'000'000);
        EXPECT_GT(desk.Margin(), right);
        desk.Order(isin, 800.0, -1'000'000'000'000);
        EXPECT_FALSE(desk.IsSuspect());
        EXPECT_EQ(desk.Margin(), right);
        const kv7im::CSpecPosition* const position = desk.engine.portfolio.GetSpecPosition(isin);
        ASSERT_NE(position, nullptr);
        EXPECT_EQ(QuantityOf(position->GetOrders(), Buy(800.0)), 2);
    }
}

} // namespace
} // namespace test::SpoiltBookTest
