// Memory that ends in the middle of a position change: whichever allocation fails, position and margins are those of
// before the change or those of after it, and what follows comes out as if nothing had happened. In both modes.
#include <array>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "EmptyPool.h"
#include "EngineBook.h"
#include "FailingAllocations.h"
#include "HandMarket.h"

namespace test::PositionFailureTest {
namespace {

using namespace kv7im;

/// A kind of series, and of the futures around it.
struct MarketKind
{
    bool inSpread;
    bool subPoints;
    bool deliverable;
    bool inGroup; // of base contracts
    bool lossesOnly;
    bool wide; // the values of an option are an allocation of their own
};

constexpr Isin Call = 10;
constexpr Isin Put = 11;
constexpr Isin NextMonth = 2;

/// Premium-style options on a contract that is priced through a currency, so that net option value and curvature count.
plain::Market MarketOf(const MarketKind& kind)
{
    plain::Market market;
    market.edgeCoeff = 0.75;
    market.currencies = {{1, 0.05}};
    BaseContractSample contract = HandBaseContract("BC", kind.inGroup ? "GROUP" : "");
    contract.RiskPointsN = kind.wide ? 500 : 20;
    contract.VolatNum = kind.wide ? 5 : 3;
    contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    contract.CurrencyId = 1;
    market.baseContracts = {contract};
    for (FuturesSample futures : {HandFutures(), HandFutures("FUT2", NextMonth)}) {
        futures.SpreadAspect = Enums::SpreadAspect::InSpread;
        market.futures.push_back(futures);
    }
    OptionSeriesParameters series = HandSeries("S");
    series.marginStyle = Enums::MarginStyle::Equity;
    if (kind.inSpread) series = InSpread(series);
    if (kind.deliverable) series = Deliverable(series);
    series.SubRisk = kind.subPoints;
    series.EnforceHalfNetting = kind.lossesOnly;
    market.series = {series};
    market.options = {HandOption("S", Call, Enums::OptionType::Call, 750.0, 40.0),
                      HandOption("S", Put, Enums::OptionType::Put, 850.0, 50.0)};
    return market;
}

struct Change
{
    Isin isin;
    std::int64_t quantity;
    double price;
};

/// How a position is set: plainly, or in the mode of positions alone, where the market has gone against it.
enum class Mode
{
    Plain,
    PositionsOnly,
};

/// One book after some changes.
class Book
{
public:
    Book(const InstrumentsRepository& repository, Mode mode, const std::vector<Change>& changes)
        : m_engine(repository, RulesOf()), m_mode(mode)
    {
        for (const Change& change : changes)
            Set(change);
    }
    void Set(const Change& change)
    {
        const auto& [isin, quantity, price] = change;
        const double market = quantity < 0 ? price + 7.0 : price - 7.0;
        EXPECT_EQ(m_mode == Mode::Plain
                      ? m_engine.portfolio.SetPosition(isin, quantity, price, quantity)
                      : m_engine.portfolio.SetPosition_PositionsOnly(isin, quantity, price, market, quantity),
                  0);
    }
    [[nodiscard]] bool Holds(const Change& change) const
    {
        const CSpecPosition* const position = m_engine.portfolio.GetSpecPosition(change.isin);
        return position != nullptr && position->GetQuantity() == change.quantity;
    }
    [[nodiscard]] bool HasMarginsOf(const Book& other) const
    {
        return Near(m_engine.portfolio.GetVolatilityInitialMargin(),
                    other.m_engine.portfolio.GetVolatilityInitialMargin()) &&
               Near(m_engine.portfolio.GetDeliveryVolatilityInitialMargin(),
                    other.m_engine.portfolio.GetDeliveryVolatilityInitialMargin());
    }

private:
    static plain::Rules RulesOf()
    {
        plain::Rules rules;
        rules.calendar = Enums::SpreadMarginType::Netting;
        rules.interContract = Enums::SpreadMarginType::Netting;
        rules.clearings = 1;
        return rules;
    }
    static bool Near(double a, double b) { return std::abs(a - b) < 1e-6 * (1.0 + std::abs(b)); }

    EngineBook m_engine;
    Mode m_mode;
};

/// Makes the last change with room for so many allocations. False when there was enough.
bool FailsWithRoomFor(long count, const MarketKind& kind, Mode mode, const std::vector<Change>& changes)
{
    const auto repository = MakeRepository(MarketOf(kind)); // its options are not valued yet
    const std::vector<Change> earlier(changes.begin(), changes.end() - 1);
    const Change& last = changes.back();
    Book book(*repository, mode, earlier);
    bool failed = false;
    testing_support::WithAnEmptyPool([&] {
        try {
            const testing_support::RoomForAllocations room(count);
            book.Set(last);
        } catch (...) {
            failed = true;
        }
    });
    if (!failed) return false;
    Book before(*repository, mode, earlier);
    Book after(*repository, mode, changes);
    EXPECT_TRUE(book.HasMarginsOf(book.Holds(last) ? after : before)) << "room for " << count;

    const Change another{NextMonth, 7, 801.0};
    for (Book* each : {&book, &after}) {
        each->Set(another);
        for (int time = 0; time < 2; ++time) // of positions alone the option value knows the loss of the change before
            each->Set(last);
    }
    EXPECT_TRUE(book.HasMarginsOf(after)) << "after a second try, room for " << count;
    const Book empty(*repository, mode, {});
    for (const Isin isin : {FUT, NextMonth, Call, Put})
        book.Set({isin, 0, 0.0});
    EXPECT_TRUE(book.HasMarginsOf(empty)) << "closed again, room for " << count;
    return true;
}

long FailuresOf(Mode mode)
{
    const std::array stories{
        std::vector<Change>{{Call, 3, 60.0}},
        std::vector<Change>{{NextMonth, 2, 790.0}, {Call, 3, 60.0}},
        std::vector<Change>{{Call, 3, 60.0}, {Put, -2, 40.0}},
        std::vector<Change>{{Call, 3, 60.0}, {Call, -5, 30.0}},
        std::vector<Change>{{Call, 3, 60.0}, {FUT, 4, 810.0}},
        std::vector<Change>{{FUT, 4, 810.0}},
    };
    long failures = 0;
    for (unsigned bits = 0; bits < 64; bits += bits < 32 ? 1 : 15) {
        const MarketKind kind{(bits & 1) != 0, (bits & 2) != 0,  (bits & 4) != 0,
                              (bits & 8) != 0, (bits & 16) != 0, (bits & 32) != 0};
        for (const std::vector<Change>& story : stories) {
            bool fails = true;
            for (long count = 0; fails && !testing::Test::HasFailure(); ++count) {
                testing_support::WithAnEmptyPool([&] { fails = FailsWithRoomFor(count, kind, mode, story); });
                failures += fails ? 1 : 0;
            }
        }
    }
    return failures;
}

// Even a plain change of one futures asks for memory ten times.
TEST(PositionFailure, LeavesABookAsItWasOrAsItShallBe) { EXPECT_GT(FailuresOf(Mode::Plain), 10 * 32 * 6); }

TEST(PositionFailure, LeavesABookOfPositionsAloneAsItWasOrAsItShallBe)
{
    EXPECT_GT(FailuresOf(Mode::PositionsOnly), 10 * 32 * 6);
}

} // namespace
} // namespace test::PositionFailureTest
