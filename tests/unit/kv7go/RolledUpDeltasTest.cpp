// What orders and changes of the spread do on the road from one participant to the next. Worked out by hand.
//
// FUT has the grid 700, 800, 900, NEXT 720, 820, 920; one unit of price is one unit of money.
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "except.h"
#include "kv7errors.h"

namespace test::RolledUpDeltasTest {
namespace {

using namespace kv7im;
using Enums::OptionType;
using Enums::SpreadAspect;
using Enums::SpreadMarginType;
using testing::DoubleNear;
using testing::Each;
using testing::Pointwise;

constexpr double Tolerance = 1e-6;
constexpr Isin NEXT = 2;
constexpr Isin SPREAD = 201;
constexpr Isin Call750 = 10; // worth   0, 50, 150 over 700, 800 and 900
constexpr Isin Put850 = 11;  //       150, 50,   0

/// Two months in spread.
plain::Market MarketOf(const std::string& group = "")
{
    FuturesSample nearLeg = HandFutures();
    FuturesSample farLeg = HandFutures("NEXT", NEXT);
    nearLeg.TimeToExpiration = 0.25;
    farLeg.CalcFutPrice = farLeg.RealCalcPrice = 820.0;
    for (FuturesSample* const leg : {&nearLeg, &farLeg})
        leg->SpreadAspect = SpreadAspect::InSpread;
    plain::Market market{{HandBaseContract("BC", group)}, {nearLeg, farLeg}, {}, 0.0};
    market.multilegs = {MultilegSample{}};
    return market;
}

plain::Market MarketOf(const OptionSeriesParameters& series)
{
    plain::Market market = MarketOf();
    market.series = {series};
    market.options = {HandOption("S", Call750, OptionType::Call, 750.0),
                      HandOption("S", Put850, OptionType::Put, 850.0)};
    return market;
}

plain::Rules RulesOf(SpreadMarginType calendar = SpreadMarginType::Netting)
{
    plain::Rules rules;
    rules.calendar = calendar;
    return rules;
}

/// A client and the firm above it.
struct Floors
{
    explicit Floors(const plain::Market& market, SpreadMarginType calendar = SpreadMarginType::Netting)
        : repository(MakeRepository(market)),
          lower(*repository, RulesOf(calendar)),
          upper(*repository, RulesOf(calendar))
    {}

    [[nodiscard]] RolledUpRisksVector DeltasOf(Isin isin)
    {
        RolledUpRisksVector deltas;
        lower.portfolio.GetDeltaRolledUpRiskNodes(isin, deltas);
        return deltas;
    }
    [[nodiscard]] RolledUpRisksVector AllDeltasOf(Isin isin)
    {
        RolledUpRisksVector deltas;
        lower.portfolio.GetAllDeltaRolledUpRiskNodesByFutures(*lower.portfolio.GetFuturesPositionByIsin(isin), deltas);
        return deltas;
    }
    void Set(Isin isin, std::int64_t quantity, double price)
    {
        EXPECT_EQ(lower.portfolio.SetPosition(isin, quantity, price, 0), Z9ERR_OK);
        upper.portfolio.AddRolledUpRiskNodes(DeltasOf(isin));
    }
    void Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        const SClearingDeltaOrder record = Record(key, quantity, isin, isin);
        EXPECT_EQ(lower.portfolio.ChangeOrder(isin, 1, &record), Z9ERR_OK);
    }
    void ExpectMargins(double ofLower, double ofUpper) const
    {
        EXPECT_NEAR(lower.Margins().volatility, ofLower, Tolerance);
        EXPECT_NEAR(lower.Margins().delivery, ofLower, Tolerance);
        EXPECT_NEAR(upper.Margins().volatility, ofUpper, Tolerance);
        EXPECT_NEAR(upper.Margins().delivery, ofUpper, Tolerance);
    }

    std::unique_ptr<InstrumentsRepository> repository;
    EngineBook lower;
    EngineBook upper;
};

std::vector<double> CellsOf(const RiskRow& row)
{
    std::vector<double> cells(row.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        cells[i] = row[i];
    return cells;
}

/// One change in the name of an isin, of these losses over the grid.
void ExpectChange(const std::pair<Isin, RolledUpRiskNode>& change, Isin isin, const std::vector<double>& cells,
                  bool ofSpreadAspect = false)
{
    EXPECT_EQ(change.first, isin);
    EXPECT_EQ(change.second.GetIsFromSpreadAspectChange(), ofSpreadAspect);
    EXPECT_THAT(CellsOf(change.second.Volatility()), Pointwise(DoubleNear(Tolerance), cells));
    EXPECT_THAT(CellsOf(change.second.Expiration()), Pointwise(DoubleNear(Tolerance), cells));
}

void ExpectZero(const RolledUpRiskNode& delta)
{
    EXPECT_THAT(CellsOf(delta.Volatility()), Each(0.0));
    EXPECT_THAT(CellsOf(delta.Expiration()), Each(0.0));
    for (const SpecialRiskPoints* const points : {&delta.VolatilityPoints(), &delta.ExpirationPoints()})
        EXPECT_THAT(std::vector<double>(points->pData(), points->pData() + points->size()), Each(0.0));
    EXPECT_EQ(delta.GetNOVj(), 0.0);
}

// Orders.

// Two bid at 810: 2 x (-110, -10, 0).
TEST(RolledUpDeltas, OrdersGoUpAsTheirLosses)
{
    Floors floors(MarketOf());
    floors.Order(FUT, Buy(810.0), 2);
    const RolledUpRisksVector deltas = floors.DeltasOf(FUT);
    ASSERT_EQ(deltas.size(), 1U);
    ExpectChange(deltas[0], FUT, {-220.0, -20.0, 0.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(220.0, 220.0);
    floors.Order(FUT, Buy(810.0), -2);
    floors.upper.portfolio.AddRolledUpRiskNodes(floors.DeltasOf(FUT));
    floors.ExpectMargins(0.0, 0.0);
}

TEST(RolledUpDeltas, OrdersInASeriesAloneGoUpUnderTheirSeries)
{
    Floors floors(MarketOf(HandSeries("S")));
    floors.Order(Call750, Sell(60.0), 1);
    const RolledUpRisksVector deltas = floors.DeltasOf(Call750);
    ASSERT_EQ(deltas.size(), 1U);
    ExpectChange(deltas[0], Call750, {0.0, 0.0, -90.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(90.0, 90.0);
    EXPECT_NE(floors.upper.portfolio.GetHalfNettingRisksByCode("S"), nullptr);
}

TEST(RolledUpDeltas, OrdersInASeriesInSpreadGoUpUnderTheirContract)
{
    Floors floors(MarketOf(InSpread(HandSeries("S"))));
    floors.Order(Call750, Sell(60.0), 1);
    const RolledUpRisksVector deltas = floors.DeltasOf(Call750);
    ASSERT_EQ(deltas.size(), 1U);
    ExpectChange(deltas[0], FUT, {0.0, 0.0, -90.0});
}

// Multilegs.

// Both legs are in the contract of the first one, so it speaks for both: 5 everywhere for a spread bought 5 above its
// fair price.
TEST(RolledUpDeltas, ACompleteMultilegSpeaksForItsFirstLeg)
{
    Floors floors(MarketOf());
    floors.Order(SPREAD, Buy(25.0), 1);
    const RolledUpRisksVector deltas = floors.DeltasOf(SPREAD);
    ASSERT_EQ(deltas.size(), 1U);
    ExpectChange(deltas[0], FUT, {-5.0, -5.0, -5.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(5.0, 5.0);

    const RolledUpRisksVector again = floors.DeltasOf(SPREAD);
    ASSERT_EQ(again.size(), 1U);
    ExpectZero(again[0].second);
    ExpectZero(floors.DeltasOf(NEXT)[0].second);
}

// Also where the second leg belongs to another contract, whose change then waits for the next one that asks for it.
TEST(RolledUpDeltas, ACompleteMultilegOverTwoContractsStillSpeaksForItsFirstLegOnly)
{
    plain::Market market = MarketOf();
    market.baseContracts.push_back(HandBaseContract("FAR"));
    market.futures[1].CodeBC = "FAR";
    Floors floors(market, SpreadMarginType::HalfNetting);
    floors.Order(SPREAD, Buy(25.0), 1);
    const RolledUpRisksVector deltas = floors.DeltasOf(SPREAD);
    ASSERT_EQ(deltas.size(), 1U);
    ExpectChange(deltas[0], FUT, {0.0, 0.0, -100.0});
    const RolledUpRisksVector ofFarLeg = floors.DeltasOf(NEXT);
    ASSERT_EQ(ofFarLeg.size(), 1U);
    ExpectChange(ofFarLeg[0], NEXT, {-105.0, -5.0, 0.0});
}

// With one leg out of spread each speaks for itself, the first one first: the near leg sold at 800 in its contract, the
// far leg bought at 825 alone.
TEST(RolledUpDeltas, AnIncompleteMultilegSpeaksForBothLegs)
{
    plain::Market market = MarketOf();
    market.futures[1].SpreadAspect = SpreadAspect::NotInSpread;
    Floors floors(market);
    floors.Order(SPREAD, Buy(25.0), 1);
    const RolledUpRisksVector deltas = floors.DeltasOf(SPREAD);
    ASSERT_EQ(deltas.size(), 2U);
    ExpectChange(deltas[0], FUT, {0.0, 0.0, -100.0});
    ExpectChange(deltas[1], NEXT, {-105.0, -5.0, 0.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(205.0, 205.0);
    EXPECT_NE(floors.upper.portfolio.GetHalfNettingRisksByCode("BC"), nullptr);
    EXPECT_NE(floors.upper.portfolio.GetHalfNettingRisksByCode("NEXT"), nullptr);
    EXPECT_EQ(floors.upper.portfolio.GetHalfNettingRisksByCode("FUT"), nullptr);

    const RolledUpRisksVector again = floors.DeltasOf(SPREAD);
    ASSERT_EQ(again.size(), 2U);
    ExpectZero(again[0].second);
    ExpectZero(again[1].second);
}

TEST(RolledUpDeltas, AnIsinThatNamesNothingPushesNothing)
{
    Floors floors(MarketOf());
    EXPECT_TRUE(floors.DeltasOf(999).empty());
    EXPECT_TRUE(floors.lower.portfolio.Empty());
}

// A change in the name of a multileg has no entry of its own.
TEST(RolledUpDeltas, AChangeInTheNameOfAMultilegIsDropped)
{
    Floors floors(MarketOf());
    floors.Order(FUT, Buy(810.0), 2);
    floors.upper.portfolio.AddRolledUpRiskNode(SPREAD, floors.DeltasOf(FUT)[0].second);
    floors.ExpectMargins(220.0, 0.0);
    EXPECT_EQ(floors.upper.portfolio.GetHalfNettingRisksByCode("BC"), nullptr);
}

// All that is held on one futures.

// The futures with its series in spread is one change, the series alone another, however many of its options are held.
TEST(RolledUpDeltas, EverythingOnAFuturesIsItselfAndEachSeriesAloneOnce)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.series.push_back(InSpread(HandSeries("T")));
    market.options.push_back(HandOption("T", 30, OptionType::Call, 750.0));
    Floors floors(market);
    EXPECT_EQ(floors.lower.portfolio.SetPosition(FUT, -1, 800.0, 0), Z9ERR_OK);
    EXPECT_EQ(floors.lower.portfolio.SetPosition(30, 1, 60.0, 0), Z9ERR_OK);
    EXPECT_EQ(floors.lower.portfolio.SetPosition(Call750, 1, 60.0, 0), Z9ERR_OK);
    EXPECT_EQ(floors.lower.portfolio.SetPosition(Put850, 1, 60.0, 0), Z9ERR_OK);
    const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
    ASSERT_EQ(deltas.size(), 2U);
    ExpectChange(deltas[0], FUT, {0.0, -10.0, -10.0}); // 100 - 60, -10, -100 + 90
    EXPECT_TRUE(deltas[1].first == Call750 || deltas[1].first == Put850);
    ExpectChange(deltas[1], deltas[1].first, {0.0, -20.0, 0.0}); // -60 + 90, -10 - 10, 90 - 60
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(30.0, 30.0);
    for (const auto& [isin, delta] : floors.AllDeltasOf(FUT))
        ExpectZero(delta);
}

// As many changes as there are series: a futures sold and a call sold at 60 in each of nine series by itself, 0, 0,
// -90.
TEST(RolledUpDeltas, EverythingOnAFuturesMayBeManyChanges)
{
    plain::Market market = MarketOf();
    for (int i = 0; i < 9; ++i) {
        const std::string code = "S" + std::to_string(i);
        market.series.push_back(HandSeries(code));
        market.options.push_back(HandOption(code, 30 + i, OptionType::Call, 750.0));
    }
    Floors floors(market);
    EXPECT_EQ(floors.lower.portfolio.SetPosition(FUT, -1, 800.0, 0), Z9ERR_OK);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(floors.lower.portfolio.SetPosition(30 + i, -1, 60.0, 0), Z9ERR_OK);
    const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
    ASSERT_EQ(deltas.size(), 10U);
    for (const auto& delta : deltas) // beyond those that stand in place too
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&delta) % alignof(RolledUpRiskNode), 0U);
    ExpectChange(deltas[0], FUT, {0.0, 0.0, -100.0});
    for (std::size_t i = 1; i < deltas.size(); ++i)
        ExpectChange(deltas[i], deltas[i].first, {0.0, 0.0, -90.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(910.0, 910.0);
}

TEST(RolledUpDeltas, AFuturesThatTheRepositoryLacksRaisesInstrumentAbsent)
{
    Floors floors(MarketOf());
    EXPECT_EQ(floors.lower.portfolio.SetPosition(FUT, -1, 800.0, 0), Z9ERR_OK);
    const auto empty = std::make_unique<InstrumentsRepository>();
    floors.lower.SwitchTo(*empty);
    try {
        static_cast<void>(floors.AllDeltasOf(FUT));
        FAIL() << "nothing was raised";
    } catch (const kv7base::CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_INSTRUMENT_ABSENT);
        EXPECT_THAT(error.what(), testing::HasSubstr("Instrument is absent, GetAllDeltaRolledUpRiskNodesByFutures: "
                                                     "Cannot find instrument by isin 1"));
    }
}

// Changes of the spread. Within a transaction the current instruments are those before the change, the new ones those
// after it, and a participant reads the new ones of what has been recalculated.

/// Opens a transaction on a futures. The repository itself opens none, so its node is asked.
FuturesNode& OpenChange(const InstrumentsRepository& repository, Isin isin)
{
    for (const FuturesNode& node : repository.RangeFuturesByIsin()) {
        if (node.GetIsin() != isin) continue;
        auto& open = const_cast<FuturesNode&>(node);
        open.InitializeChangedInstrument(node.GetCurrent()->BaseContract);
        open.SetStatus(Status::WasChanged); // key of an index that is not read here
        return open;
    }
    throw std::logic_error("no such futures");
}

/// Takes the client's futures anew on the new instruments, and tells the firm of it.
void Recalculate(Floors& floors, const std::set<Isin>& isins)
{
    for (EngineBook* const book : {&floors.lower, &floors.upper})
        for (const Isin isin : isins)
            book->Instruments().SetRecalculated(isin);
    EXPECT_EQ(floors.lower.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
}

// FUT bought is -100, 0, 100, two of NEXT sold are 200, 0, -200: together 100, 0, -100. Once FUT has left, it stands
// with -100, 0, 0 for itself, and its contract is 0, 0, -200 without it: 0, 0, -100 more.
TEST(RolledUpDeltas, AFuturesThatLeavesTheSpreadLeavesItsContractWithoutIt)
{
    for (const std::string group : {"", "GROUP"}) {
        Floors floors(MarketOf(group));
        floors.Set(FUT, 1, 800.0);
        floors.Set(NEXT, -2, 820.0);
        floors.ExpectMargins(100.0, 100.0);

        OpenChange(*floors.repository, FUT).GetChanged()->IsInSpread = false;
        Recalculate(floors, {FUT});
        floors.ExpectMargins(300.0, 100.0);
        const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
        ASSERT_EQ(deltas.size(), 2U);
        ExpectChange(deltas[0], FUT, {-100.0, 0.0, 0.0});
        ExpectChange(deltas[1], FUT, {0.0, 0.0, -100.0}, true);
        floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
        floors.ExpectMargins(300.0, 300.0);
        EXPECT_NEAR(floors.upper.portfolio.GetHalfNettingRisksByCode("FUT")->Volatility()[0], -100.0, Tolerance);
        EXPECT_NEAR(floors.upper.portfolio.GetHalfNettingRisksByCode("BC")->Volatility()[2], -200.0, Tolerance);
    }
}

// The other way: -100, 0, 0 for itself and 0, 0, -200 of the contract become 100, 0, -100 together. What it said for
// itself is taken back whole; below, its entry stays with nothing in it, so that it may leave again.
TEST(RolledUpDeltas, AFuturesThatEntersTheSpreadTakesBackWhatItSaidForItself)
{
    for (const std::string group : {"", "GROUP"}) {
        plain::Market market = MarketOf(group);
        market.futures[0].SpreadAspect = SpreadAspect::NotInSpread;
        Floors floors(market);
        floors.Set(FUT, 1, 800.0);
        floors.Set(NEXT, -2, 820.0);
        floors.ExpectMargins(300.0, 300.0);

        OpenChange(*floors.repository, FUT).GetChanged()->IsInSpread = true;
        Recalculate(floors, {FUT});
        floors.ExpectMargins(100.0, 300.0);
        const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
        ASSERT_EQ(deltas.size(), 2U);
        ExpectChange(deltas[0], FUT, {0.0, 0.0, 100.0});
        ExpectChange(deltas[1], FUT, {100.0, 0.0, 0.0}, true);
        floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
        floors.ExpectMargins(100.0, 100.0);
        for (const EngineBook* const book : {&floors.lower, &floors.upper})
            EXPECT_EQ(book->portfolio.GetHalfNettingRisksByCode("FUT")->Volatility()[0], 0.0);
        for (const auto& [isin, delta] : floors.AllDeltasOf(FUT)) // told once more it takes nothing back
            ExpectZero(delta);
    }
}

/// The spread of a series within a transaction; both of its options are read from it then.
void ChangeSeries(Floors& floors, bool inSpread)
{
    StorageVirtualFutures& storage = OpenChange(*floors.repository, FUT).GetChangedStorage();
    storage.find("S")->second.get()->IsInSpread = inSpread;
    Recalculate(floors, {FUT, Call750, Put850});
}

// A futures sold is 100, 0, -100, a call and a put bought at 60 each are 30, -20, 30. Apart they are 100 and 20 of
// margin, together 130, -20, -70.
TEST(RolledUpDeltas, ASeriesThatEntersTheSpreadTakesBackWhatItSaidForItselfOnce)
{
    Floors floors(MarketOf(HandSeries("S")));
    floors.Set(FUT, -1, 800.0);
    floors.Set(Call750, 1, 60.0);
    floors.Set(Put850, 1, 60.0);
    floors.ExpectMargins(120.0, 120.0);

    ChangeSeries(floors, true);
    floors.ExpectMargins(70.0, 120.0);
    const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
    ASSERT_EQ(deltas.size(), 2U) << "once for the series, however many options of it are held";
    ExpectChange(deltas[0], FUT, {0.0, -20.0, 30.0});
    EXPECT_TRUE(deltas[1].first == Call750 || deltas[1].first == Put850);
    ExpectChange(deltas[1], deltas[1].first, {0.0, 20.0, 0.0}, true);
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(70.0, 70.0);
}

TEST(RolledUpDeltas, ASeriesThatLeavesTheSpreadSpeaksForItself)
{
    Floors floors(MarketOf(InSpread(HandSeries("S"))));
    floors.Set(FUT, -1, 800.0);
    floors.Set(Call750, 1, 60.0);
    floors.Set(Put850, 1, 60.0);
    floors.ExpectMargins(70.0, 70.0);

    ChangeSeries(floors, false);
    floors.ExpectMargins(120.0, 70.0);
    const RolledUpRisksVector deltas = floors.AllDeltasOf(FUT);
    ASSERT_EQ(deltas.size(), 2U);
    ExpectChange(deltas[0], FUT, {0.0, 20.0, -30.0});
    ExpectChange(deltas[1], deltas[1].first, {0.0, -20.0, 0.0});
    floors.upper.portfolio.AddRolledUpRiskNodes(deltas);
    floors.ExpectMargins(120.0, 120.0);
    EXPECT_NEAR(floors.upper.portfolio.GetHalfNettingRisksByCode("S")->Volatility()[1], -20.0, Tolerance);
}

// Orders move with their instruments: two of FUT bid at 800 without and within the spread of NEXT.
TEST(RolledUpDeltas, OrdersFollowTheirFuturesOutOfTheSpread)
{
    Floors floors(MarketOf());
    floors.Order(FUT, Buy(800.0), 2);
    floors.upper.portfolio.AddRolledUpRiskNodes(floors.DeltasOf(FUT));
    floors.Set(NEXT, -1, 820.0); // 100, 0, -100 beside -200, 0, 0
    floors.ExpectMargins(100.0, 100.0);
    OpenChange(*floors.repository, FUT).GetChanged()->IsInSpread = false;
    Recalculate(floors, {FUT});
    floors.upper.portfolio.AddRolledUpRiskNodes(floors.AllDeltasOf(FUT));
    floors.ExpectMargins(300.0, 300.0);
}

} // namespace
} // namespace test::RolledUpDeltasTest
