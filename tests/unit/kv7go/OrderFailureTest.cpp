// Memory that ends in the middle of a change of orders or of a refresh: whichever allocation fails, the book is as it
// was, both legs of a spread among it, and what follows comes out as if nothing had happened.
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AwkwardMarket.h"
#include "EmptyPool.h"
#include "EngineBook.h"
#include "FailingAllocations.h"

namespace test::OrderFailureTest {
namespace {

using namespace kv7im;
using awkward::Call750;
using awkward::Multileg;
using awkward::NextMonth;
using awkward::Put850;

/// One book, and what is done to it.
class Book
{
public:
    Book(const InstrumentsRepository& repository, const plain::Rules& rules) : m_engine(repository, rules) {}

    void Set(Isin isin, std::int64_t quantity, double price)
    {
        EXPECT_EQ(m_engine.portfolio.SetPosition(isin, quantity, price, quantity), 0U);
        m_engine.cleared[isin] = quantity;
    }
    void Order(Isin isin, const std::vector<SClearingDeltaOrder>& records)
    {
        EXPECT_EQ(m_engine.portfolio.ChangeOrder(isin, records.size(), records.data()), 0U);
    }
    void Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        const SClearingDeltaOrder record = Record(key, quantity, isin, isin);
        EXPECT_EQ(m_engine.portfolio.ChangeOrder(isin, 1, &record), 0U);
    }
    void Refresh() { EXPECT_EQ(m_engine.portfolio.Refresh(), 0U); }

    [[nodiscard]] bool HasMarginsOf(const Book& other) const
    {
        const plain::Margins mine = m_engine.Margins();
        const plain::Margins others = other.m_engine.Margins();
        return Near(mine.volatility, others.volatility) && Near(mine.delivery, others.delivery);
    }
    /// Open orders, and quantities held, of all instruments.
    [[nodiscard]] bool HoldsWhatIsHeldBy(const Book& other) const
    {
        for (const Isin isin : {FUT, NextMonth, awkward::OtherContract, Call750, Put850})
            if (QuantitiesOf(isin) != other.QuantitiesOf(isin)) return false;
        return true;
    }

private:
    static bool Near(double a, double b) { return std::abs(a - b) < 1e-6 * (1.0 + std::abs(b)); }

    /// By price, side and kind; the position itself stands under an empty text.
    [[nodiscard]] std::map<std::string, std::int64_t> QuantitiesOf(Isin isin) const
    {
        std::map<std::string, std::int64_t> quantities{{"", 0}};
        const CSpecPosition* const position = m_engine.portfolio.GetSpecPosition(isin);
        if (position == nullptr) return quantities;
        quantities[""] = position->GetQuantity();
        for (const auto& [key, info] : position->GetOrders())
            quantities[std::to_string(key.calculatedPrice.AsPlain()) + "/" +
                       std::to_string(static_cast<int>(key.direction)) + "/" +
                       std::to_string(static_cast<int>(key.type))] = info.deltaQuantity;
        return quantities;
    }

    EngineBook m_engine;
};

using Step = std::function<void(Book&)>;

/// What has been done to a book, and the last step, which fails.
struct Story
{
    const char* name;
    std::vector<Step> earlier;
    Step last;
};

Step Set(Isin isin, std::int64_t quantity, double price)
{
    return [=](Book& book) { book.Set(isin, quantity, price); };
}
Step Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
{
    return [=](Book& book) { book.Order(isin, key, quantity); };
}
Step Orders(Isin isin, const std::vector<SClearingDeltaOrder>& records)
{
    return [=](Book& book) { book.Order(isin, records); };
}
Step Refresh()
{
    return [](Book& book) { book.Refresh(); };
}

std::vector<Story> Stories()
{
    const std::vector<SClearingDeltaOrder> many{Record(Buy(801.0), 3), Record(Sell(803.0), 4), Record(Buy(805.0), 5),
                                                Record(Buy(801.0), -1), Record(Sell(808.0), 7)};
    return {
        {"the first order", {}, Order(FUT, Buy(805.0), 3)},
        {"an order beside a position and another order",
         {Set(FUT, 4, 803.0), Order(FUT, Buy(801.0), 2)},
         Order(FUT, Sell(808.0), 5)},
        {"an order on top of its own", {Order(FUT, Buy(801.0), 2)}, Order(FUT, Buy(801.0), 3)},
        {"a cancelled order", {Set(NextMonth, 1, 790.0), Order(FUT, Buy(801.0), 2)}, Order(FUT, Buy(801.0), -2)},
        {"several records", {Order(FUT, Buy(801.0), 2)}, Orders(FUT, many)},
        {"the first order in an option", {}, Order(Call750, Buy(61.0), 3)},
        {"an order in an option beside another",
         {Set(Call750, 2, 55.0), Set(FUT, -1, 801.0)},
         Order(Put850, Sell(44.0), 2)},
        {"a cancelled order in an option",
         {Order(Call750, Buy(61.0), 3), Set(FUT, 1, 801.0)},
         Order(Call750, Buy(61.0), -3)},
        {"the first order in a spread", {}, Order(Multileg, Buy(25.0), 2)},
        {"an order in a spread beside its legs",
         {Set(FUT, 4, 803.0), Order(NextMonth, Buy(801.0), 1)},
         Order(Multileg, Sell(3.0), 2)},
        {"several records in a spread",
         {Order(Multileg, Buy(25.0), 2)},
         Orders(Multileg, {Record(Buy(25.0), -2), Record(Sell(3.0), 1), Record(Sell(4.0), 2), Record(Buy(1.0), 9)})},
        {"a cancelled order in a spread", {Order(Multileg, Buy(25.0), 2)}, Order(Multileg, Buy(25.0), -2)},
        {"a refresh",
         {Set(FUT, 4, 803.0), Set(NextMonth, -2, 799.0), Set(Call750, 2, 55.0), Order(FUT, Buy(801.0), 2),
          Order(Put850, Sell(44.0), 2), Order(Multileg, Buy(25.0), 2)},
         Refresh()},
    };
}

/// Makes the last step with room for so many allocations. False when there was enough.
bool FailsWithRoomFor(long count, const plain::Market& market, const plain::Rules& rules, const Story& story)
{
    const auto repository = MakeRepository(market); // its options are not valued yet
    Book book(*repository, rules);
    Book before(*repository, rules);
    Book after(*repository, rules);
    for (const Step& step : story.earlier)
        step(book);
    bool failed = false;
    testing_support::WithAnEmptyPool([&] {
        try {
            const testing_support::RoomForAllocations room(count);
            story.last(book);
        } catch (...) {
            failed = true;
        }
    });
    if (!failed) return false;
    for (const Step& step : story.earlier) {
        step(before);
        step(after);
    }
    EXPECT_TRUE(book.HasMarginsOf(before)) << story.name << ", room for " << count;
    EXPECT_TRUE(book.HoldsWhatIsHeldBy(before)) << story.name << ", room for " << count;

    story.last(after);
    for (Book* const each : {&book, &after})
        each->Order(NextMonth, Sell(795.0), 7);
    story.last(book);
    EXPECT_TRUE(book.HasMarginsOf(after)) << story.name << ", after a second try, room for " << count;
    EXPECT_TRUE(book.HoldsWhatIsHeldBy(after)) << story.name << ", after a second try, room for " << count;
    return true;
}

/// Every allocation of the last step in its turn.
long FailuresOf(const plain::Market& market, const plain::Rules& rules, const Story& story)
{
    long failures = 0;
    bool fails = true;
    for (long count = 0; fails && !testing::Test::HasFailure(); ++count) {
        testing_support::WithAnEmptyPool([&] { fails = FailsWithRoomFor(count, market, rules, story); });
        failures += fails ? 1 : 0;
    }
    return failures;
}

TEST(OrderFailure, LeavesABookAsItWas)
{
    long failures = 0;
    for (const Story& story : Stories())
        for (unsigned bits = 0; bits < awkward::Markets; ++bits) {
            failures += FailuresOf(awkward::MarketOf(bits), awkward::RulesOf(bits), story);
            ASSERT_FALSE(testing::Test::HasFailure()) << story.name << ", market " << bits;
        }
    EXPECT_GT(failures, 10 * 32 * 5); // orders on top of their own ask for none, first ones and refreshes for many
}

// A spread whose two legs are one futures, as a record is that a duplicate order number has closed.
TEST(OrderFailure, LeavesTheOneFuturesOfASpreadAsItWas)
{
    plain::Market market = awkward::MarketOf(8);
    market.multilegs[0].SecondLeg = FUT;
    for (const Story& story : Stories()) {
        static_cast<void>(FailuresOf(market, awkward::RulesOf(1), story));
        ASSERT_FALSE(testing::Test::HasFailure()) << story.name;
    }
}

} // namespace
} // namespace test::OrderFailureTest
