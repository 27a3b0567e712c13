// Recalculations that fail: a client whose book answers with a code, and memory that ends somewhere in the pass.
#include <cmath>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EmptyPool.h"
#include "FailingAllocations.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "LogCapture.h"
#include "MarketChanges.h"
#include "RecalculationTree.h"
#include "kv7errors.h"

namespace test::RecalculationFailureTest {
namespace {

using namespace recalculation;
using Enums::MarginRule;
using Enums::OptionType;
using Enums::SpreadAspect;
using testing::ElementsAre;

constexpr Isin Call750 = 10;
constexpr Isin Put850 = 11;
constexpr Isin SPREAD = 201;

/// Two months of a contract within a group, a series alone on the first month and one in spread on the second.
plain::Market MarketOf()
{
    plain::Market market = ThreeFutures("GROUP");
    market.series = {HandSeries("ALONE"), InSpread(HandSeries("IN", "NEXT"))};
    market.options = {HandOption("ALONE", Call750, OptionType::Call, 750.0),
                      HandOption("IN", Put850, OptionType::Put, 850.0)};
    market.multilegs = {MultilegSample{}};
    return market;
}

/// The next day: other prices, the first month leaves the spread, its series enters it.
plain::Market NextDay()
{
    plain::Market market = MarketOf();
    market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 810.0;
    market.futures[0].SpreadAspect = SpreadAspect::NotInSpread;
    market.futures[1].CalcFutPrice = market.futures[1].RealCalcPrice = 835.0;
    market.series[0].SpreadAspect = SpreadAspect::InSpread;
    market.series[1].SpreadAspect = SpreadAspect::NotInSpread;
    return market;
}

Books BooksOf()
{
    Books books;
    for (std::size_t c = 0; c < Clients; ++c) {
        const auto n = static_cast<std::int64_t>(c + 1);
        books.clients[c] = {{FUT, {n, 805.0}}, {NEXT, {-n, 815.0}}, {Call750, {2 * n, 60.0}}, {Put850, {-n, 35.0}}};
        books.orders.push_back({c, {SPREAD, c % 2 == 0, 18.0, n}});
        books.orders.push_back({c, {FUT, true, 795.0, 2}});
    }
    books.firms = {books.clients[0], books.clients[1]};
    books.account = books.clients[2];
    return books;
}

/// What the levels of a tree know of the next day: where they have been through it and back they have their entries for
/// both shapes, and only their contents can get lost.
enum class NextDayIs
{
    Known,
    New,
};

/// A tree that stands before the pass, with the changes recomputed.
struct Desk
{
    explicit Desk(const Rules& rules, NextDayIs nextDay = NextDayIs::Known)
        : repository(MakeRepository(MarketOf())),
          changed(MakeRepository(NextDay())),
          tree(*repository, rules),
          fresh(*changed, rules)
    {
        tree.Enter(BooksOf());
        fresh.Enter(BooksOf());
        if (nextDay == NextDayIs::Known)
            for (const plain::Market& day : {NextDay(), MarketOf()}) {
                Open(day);
                Tree::Check(Recalculate());
            }
        Open(NextDay());
    }
    void Open(const plain::Market& day)
    {
        Tree::Check(market_changes::UpdateAll(*repository, day));
        Tree::Check(repository->UpdateComplete());
    }
    [[nodiscard]] Z9ERR Recalculate()
    {
        return margin_orchestrator::RecalcChangedInstruments(tree.participants, *repository, false);
    }

    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    std::unique_ptr<kv7im::InstrumentsRepository> changed;
    Tree tree;
    Tree fresh;
};

/// What becomes of the pass when one allocation in it fails, or all from there on.
enum class End
{
    Done,
    GaveACode,
    Threw,
};
template <class Failing>
End RecalculateWith(long before, Desk& desk)
{
    try {
        const Failing failing(before);
        return desk.Recalculate() == Z9ERR_OK ? End::Done : End::GaveACode;
    } catch (...) {
        return End::Threw;
    }
}

/// A leg order that names no multileg: whatever it is taken anew for, its book answers with Z9ERR_INSTRUMENT_ABSENT.
void PlaceOrphanOfASpread(BraskClient& client)
{
    const SClearingDeltaOrder record =
        Record(KeyOf(KeyPriceType::Direction::Buy, 25.0, KeyPriceType::Type::SecondLeg), 1, FUT, 0);
    Tree::Check(client.GetPortfolio().ChangeOrder(FUT, 1, &record));
}

/// Has the client report all its losses to the firm once more.
void TellAnew(BraskClient& client, BraskBroker& firm)
{
    kv7im::RolledUpRisksVector deltas;
    for (const auto& [isin, position] : client.GetPortfolio().RangePositions())
        client.GetPortfolio().GetAllDeltaRolledUpRiskNodesByFutures(position, deltas);
    EXPECT_FALSE(deltas.empty());
    firm.GetPortfolio().AddRolledUpRiskNodes(deltas);
}

/// A pass that fails at each allocation in turn, until none fails any more. Each time the changes are not released
/// while a book needs the old objects, a second try makes up for what is missing, and then every level is that of a
/// fresh tree, whichever level it was that had no memory. Gives how often it was a client that failed.
template <class Failing>
int FailAtEveryAllocation(MarginRule firm, MarginRule account, NextDayIs nextDay = NextDayIs::Known)
{
    int failedClients = 0;
    End end = End::Threw;
    for (long before = 0; end != End::Done && !testing::Test::HasFailure(); ++before) {
        SCOPED_TRACE("firm " + std::to_string(static_cast<int>(firm)) + ", account " +
                     std::to_string(static_cast<int>(account)) + ", behind " + std::to_string(before));
        testing_support::WithAnEmptyPool([&] {
            Desk desk(RulesOf(firm, account), nextDay);
            end = RecalculateWith<Failing>(before, desk);
            failedClients += end == End::GaveACode ? 1 : 0;
            if (end != End::Done) {
                EXPECT_EQ(desk.repository->GetFutures(FUT)->RealCalcPrice, 800.0) << "released too early";
                EXPECT_EQ(desk.Recalculate(), Z9ERR_OK);
            }
            EXPECT_EQ(desk.repository->GetFutures(FUT)->RealCalcPrice, 810.0);
            EXPECT_FALSE(margin_orchestrator::HasBooksToRecalculate(desk.tree.participants));
            EXPECT_EQ(DifferencesOf(desk.tree, desk.fresh), "");
            for (Tree* const each : {&desk.tree, &desk.fresh}) // on objects that are there
                each->SetPosition(0, FUT, {7, 808.0});
            for (std::size_t c = 0; c < Clients; ++c)
                EXPECT_NEAR(desk.tree.clients[c]->GetInitialMargin(), desk.fresh.clients[c]->GetInitialMargin(), 1e-9);
        });
    }
    return failedClients;
}

constexpr std::pair<MarginRule, MarginRule> SomeRules[] = {{MarginRule::HalfNetting, MarginRule::HalfNetting},
                                                           {MarginRule::HalfNetting, MarginRule::Gross},
                                                           {MarginRule::Netting, MarginRule::Netting},
                                                           {MarginRule::Netting, MarginRule::HalfNetting}};

TEST(RecalculationFailure, ASecondTryMakesUpForOneFailedAllocation)
{
    for (const auto& [firm, account] : SomeRules)
        EXPECT_GT(FailAtEveryAllocation<testing_support::OneFailingAllocation>(firm, account), 10);
}

TEST(RecalculationFailure, ASecondTryMakesUpForExhaustedMemory)
{
    for (const auto& [firm, account] : SomeRules)
        static_cast<void>(FailAtEveryAllocation<testing_support::RoomForAllocations>(firm, account));
}

// A level above has no entry yet for the shape of the next day, and no memory for it when its clients have reported.
TEST(RecalculationFailure, ASecondTryMakesUpForReportsThatGotLostOnTheWayUp)
{
    for (const auto& [firm, account] : SomeRules) {
        static_cast<void>(FailAtEveryAllocation<testing_support::OneFailingAllocation>(firm, account, NextDayIs::New));
        static_cast<void>(FailAtEveryAllocation<testing_support::RoomForAllocations>(firm, account, NextDayIs::New));
    }
}

// A book that could not be taken anew stands as it stood, groups and margins included.
TEST(RecalculationFailure, AFuturesIsTakenAnewOrStaysAsItWas)
{
    bool fails = true;
    long count = 0;
    for (; fails && !testing::Test::HasFailure(); ++count) {
        SCOPED_TRACE("room for " + std::to_string(count));
        testing_support::WithAnEmptyPool([&] {
            Desk desk(RulesOf(MarginRule::HalfNetting, MarginRule::HalfNetting));
            BraskClient& client = *desk.tree.clients[0];
            kv7im::Portfolio& book = client.GetPortfolio();
            const plain::Margins before{book.GetVolatilityInitialMargin(), book.GetDeliveryVolatilityInitialMargin()};
            const kv7im::CSpecFutures* const old = book.GetFuturesPositionByIsin(FUT)->GetFutures();
            client.GetInstrumentsForUpdate().SetRecalculated(FUT);
            try {
                const testing_support::RoomForAllocations room(count);
                fails = book.RecalcFuturesPositionInPortfolio(FUT, false) != Z9ERR_OK;
            } catch (...) {
                fails = true;
                EXPECT_EQ(book.GetVolatilityInitialMargin(), before.volatility);
                EXPECT_EQ(book.GetDeliveryVolatilityInitialMargin(), before.delivery);
                EXPECT_EQ(book.GetFuturesPositionByIsin(FUT)->GetFutures(), old);
            }
            // What follows comes out as if nothing had happened.
            EXPECT_EQ(desk.Recalculate(), Z9ERR_OK);
            EXPECT_EQ(DifferencesOf(desk.tree, desk.fresh), "");
        });
    }
    EXPECT_GT(count, 10);
}

// Its line in the log names the client and the isin. The other clients are taken anew, and the levels above hold what
// has become of the client's book: the orders and options behind the orphan are lost.
TEST(RecalculationFailure, AClientThatFailsIsLoggedAndTheOthersGoOn)
{
    using enum MarginRule;
    for (const auto& [firm, account] : {std::pair(HalfNetting, HalfNetting), std::pair(HalfNetting, Gross)}) {
        Desk desk(RulesOf(firm, account));
        PlaceOrphanOfASpread(*desk.tree.clients[1]);
        LogCapture log;
        EXPECT_EQ(desk.Recalculate(), Z9ERR_INSTRUMENT_ABSENT);
        EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] RecalcBrokerByIsin(AA01002, 1): Risks recalculation "
                                            "failed. (code 94260)"));
        EXPECT_EQ(desk.repository->GetFutures(FUT)->RealCalcPrice, 810.0) << "no book stands on the old objects";

        // The same loss in the fresh tree.
        const kv7im::Portfolio& book = desk.tree.clients[1]->GetPortfolio();
        const kv7im::CSpecPosition& left = *book.GetSpecPosition(FUT);
        EXPECT_EQ(left.GetQuantity(), 2);
        EXPECT_EQ(book.GetSpecPosition(Call750), nullptr);
        Books books = BooksOf();
        books.clients[1].erase(Call750);
        Tree fresh(*desk.changed, RulesOf(firm, account));
        fresh.Enter(books);
        for (const std::size_t c : {0U, 2U, 3U})
            EXPECT_NEAR(desk.tree.clients[c]->GetInitialMargin(), fresh.clients[c]->GetInitialMargin(), 1e-9);
        // What the firm and the account hold is what their clients have: told anew, nothing is missing.
        const double before = desk.tree.firms[0]->GetPortfolio().GetVolatilityInitialMargin();
        TellAnew(*desk.tree.clients[1], *desk.tree.firms[0]);
        EXPECT_NEAR(desk.tree.firms[0]->GetPortfolio().GetVolatilityInitialMargin(), before, 1e-9);
    }
}

// An account under Netting has its own positions taken anew even where no firm leads to it.
TEST(RecalculationFailure, AnAccountWithoutFirmsIsTakenAnewToo)
{
    const auto repository = MakeRepository(MarketOf());
    Tree tree(*repository, RulesOf(MarginRule::HalfNetting, MarginRule::HalfNetting));
    tree.registrar.RegisterSettlementAccount(AccountRecord("ID2"), MarginRule::Netting, false,
                                             GetDummySettlementAccount()->GetOwner());
    const BraskSettlementAccountPtr lone = tree.participants.GetSettlementAccountById("ID2");
    Tree::Check(margin_orchestrator::SetPositionSettlementAccount(*lone, FUT, 2, 800.0, 0));
    EXPECT_EQ(lone->GetInitialMargin(), 200.0);
    Tree::Check(market_changes::UpdateAll(*repository, NextDay()));
    Tree::Check(repository->UpdateComplete());
    EXPECT_TRUE(margin_orchestrator::HasBooksToRecalculate(tree.participants));
    EXPECT_EQ(margin_orchestrator::RecalcChangedInstruments(tree.participants, *repository, false), Z9ERR_OK);
    EXPECT_FALSE(margin_orchestrator::HasBooksToRecalculate(tree.participants));
    EXPECT_EQ(lone->GetInitialMargin(), 180.0); // the grid has gone up by 10
}

} // namespace
} // namespace test::RecalculationFailureTest
