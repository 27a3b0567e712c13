// Nodes and containers of instruments: keys, the two views of a transaction, and the commit.
#include "instruments/InstrumentsStorages.h"

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"

namespace test::InstrumentsStoragesTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Family : public testing::Test
{
protected:
    std::shared_ptr<CSpecBaseContract> m_bc = BaseContractSample([](auto& c) { c.CodeMCS = "GROUP"; }).Make();
    FuturesNode NodeOf(const FuturesSample& futures) { return FuturesNode(futures.Make(*m_bc)); }
};

TEST_F(Family, OutsideATransactionTheNewViewIsTheCurrentOne)
{
    const BaseContractNode bcNode(m_bc);
    EXPECT_EQ(bcNode.GetCurrent(), m_bc.get());
    EXPECT_EQ(bcNode.GetChanged(), m_bc.get());
    EXPECT_EQ(bcNode.Get(eNew), m_bc.get());
    EXPECT_EQ(bcNode.GetStatus(), Status::NotChanged);

    const FuturesNode node = NodeOf({});
    EXPECT_EQ(node.GetChanged(), node.GetCurrent());
    EXPECT_EQ(node.Get(eNew), node.Get(eCurrent));
    EXPECT_EQ(node.GetStatus(), Status::NotChanged);
    EXPECT_EQ(node.GetRealCalcPrice(), 1000.0);
}

TEST_F(Family, ACopyIsSeenInTheNewViewOnlyOnceTheStatusSaysSo)
{
    FuturesNode node = NodeOf({});
    node.InitializeChangedInstrument(m_bc.get());
    EXPECT_EQ(node.GetChanged(), node.GetCurrent());
    node.SetStatus(Status::WasChanged);
    EXPECT_NE(node.GetChanged(), node.GetCurrent());
    node.GetChanged()->RealCalcPrice = 5.0;
    EXPECT_EQ(node.GetRealCalcPrice(), 5.0);
    EXPECT_EQ(node.GetCurrent()->RealCalcPrice, 1000.0);
}

TEST_F(Family, TheGroupCodesOfAFuturesFollowItsSpreadFlag)
{
    const FuturesNode inSpread = NodeOf({});
    EXPECT_EQ(inSpread.GetMMS(), "BC");
    EXPECT_EQ(inSpread.GetMCS(), "GROUP");

    const FuturesNode alone = NodeOf(FuturesSample([](auto& f) { f.SpreadAspect = Enums::SpreadAspect::NotInSpread; }));
    EXPECT_EQ(alone.GetMMS(), "");
    EXPECT_EQ(alone.GetMCS(), "");

    const auto ungrouped = BaseContractSample{}.Make();
    const FuturesNode withoutGroup(FuturesSample{}.Make(*ungrouped));
    EXPECT_EQ(withoutGroup.GetMMS(), "BC");
    EXPECT_EQ(withoutGroup.GetMCS(), "");
}

TEST_F(Family, ACopyOfABaseContractCarriesEverythingItHasLearnt)
{
    m_bc->ShiftCoefficient = 0.0625;
    m_bc->RecalcShiftingMarketRisk();
    m_bc->TASBaseContractCode = "TASBC";
    m_bc->ConcentrationLimit1Spot = 12.0;
    m_bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin = 9;
    m_bc->currentMinimalTimeValueForConcentrationLimitRecalc = 0.25;
    BaseContractNode node(m_bc);
    node.InitializeChangedInstrument();
    node.SetStatus(Status::WasChanged);

    const CSpecBaseContract& copy = *node.GetChanged();
    EXPECT_NE(&copy, m_bc.get());
    EXPECT_EQ(copy.Code, "BC");
    EXPECT_EQ(copy.CodeMCS, "GROUP");
    EXPECT_EQ(copy.ShiftCoefficient, 0.0625);
    EXPECT_EQ(copy.MarketRiskUp[Enums::ClientRiskLevel::Default], 0.3125);
    EXPECT_EQ(copy.MarketRisk2Down[Enums::ClientRiskLevel::Default], 0.4375);
    EXPECT_EQ(copy.TASBaseContractCode, "TASBC");
    EXPECT_EQ(copy.ConcentrationLimit1Spot, 12.0);
    EXPECT_EQ(copy.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 9);
    EXPECT_EQ(copy.currentMinimalTimeValueForConcentrationLimitRecalc, 0.25);
    EXPECT_EQ(copy.VolatNum, 3);
    EXPECT_EQ(copy.WindowSize, 1);
}

TEST_F(Family, ACommitMakesTheCopyCurrentOnce)
{
    BaseContractNode node(m_bc);
    node.InitializeChangedInstrument();
    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(node.GetCurrent(), m_bc.get()) << "no transaction, no commit";

    node.SetStatus(Status::WasChanged);
    CSpecBaseContract* const copy = node.GetChanged();
    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(node.GetCurrent(), copy);
    EXPECT_EQ(m_bc.use_count(), 1) << "the old object is released by the node";

    node.SwapNewestInstrumentAsRegularAndClearNewNodes(); // the status is not reset yet
    EXPECT_EQ(node.GetCurrent(), copy);
    node.SetStatus(Status::NotChanged);
    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(node.GetCurrent(), copy);
    EXPECT_EQ(node.GetChanged(), copy);
}

TEST_F(Family, ACommitOfAFuturesTakesItsChangedSpreadFlagIntoTheGroupCodes)
{
    FuturesNode node = NodeOf({});
    const auto changedBC = std::make_shared<CSpecBaseContract>(*m_bc);
    node.InitializeChangedInstrument(changedBC.get());
    node.SetStatus(Status::WasChanged);
    CSpecFutures* const copy = node.GetChanged();
    EXPECT_EQ(copy->BaseContract, changedBC.get());
    copy->IsInSpread = false;
    EXPECT_EQ(node.GetMMS(), "BC") << "the keys are those of the current object";

    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(node.GetCurrent(), copy);
    EXPECT_EQ(node.GetMMS(), "");
    EXPECT_EQ(node.GetMCS(), "");
    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(node.GetCurrent(), copy);
}

TEST_F(Family, FuturesAreFoundByEveryIndex)
{
    StorageFutures storage;
    storage.insert(NodeOf({"F1", 1}));
    storage.insert(NodeOf({"F2", 2}));
    storage.insert(NodeOf(FuturesSample([](auto& f) {
        f.Code = "F3";
        f.SpreadAspect = Enums::SpreadAspect::NotInSpread;
        f.Isin = 3;
    })));
    using namespace std::string_view_literals;

    EXPECT_EQ(storage.get<ByCode>().find("F2"sv)->GetIsin(), 2);
    EXPECT_EQ(storage.get<ByIsin>().find(3)->GetCode(), "F3");
    EXPECT_EQ(storage.get<ByBaseContract>().count("BC"sv), 3u);
    EXPECT_EQ(storage.get<ByStatus>().count(Status::NotChanged), 3u);
    EXPECT_EQ(storage.get<ByMMS>().count("BC"sv), 2u);
    EXPECT_EQ(storage.get<ByMMS>().count(""sv), 1u);
    EXPECT_EQ(storage.get<ByMCS>().count("GROUP"sv), 2u);
}

TEST_F(Family, ACodeOrAnIsinEntersOnce)
{
    StorageFutures storage;
    EXPECT_TRUE(storage.insert(NodeOf({"F1", 1})).second);
    EXPECT_FALSE(storage.insert(NodeOf({"F1", 2})).second);
    EXPECT_FALSE(storage.insert(NodeOf({"F2", 1})).second);
    StorageBaseContract contracts;
    EXPECT_TRUE(contracts.insert(BaseContractNode(m_bc)).second);
    EXPECT_FALSE(contracts.insert(BaseContractNode(m_bc)).second);
}

TEST_F(Family, AStatusChangesInsideTheContainer)
{
    StorageFutures storage;
    storage.insert(NodeOf({"F1", 1}));
    storage.insert(NodeOf({"F2", 2}));
    auto& byIsin = storage.get<ByIsin>();
    EXPECT_TRUE(byIsin.modify(byIsin.find(2), StatusChange<FuturesNode>(Status::WasChanged)));
    EXPECT_EQ(storage.get<ByStatus>().count(Status::WasChanged), 1u);
    EXPECT_EQ(storage.get<ByStatus>().find(Status::WasChanged)->GetCode(), "F2");

    StorageBaseContract contracts;
    contracts.insert(BaseContractNode(m_bc));
    contracts.modify(contracts.begin(), StatusChange<BaseContractNode>(Status::WasChanged));
    EXPECT_EQ(contracts.get<ByStatus>().count(Status::WasChanged), 1u);
    EXPECT_EQ(contracts.get<ByMCS>().count(std::string_view("GROUP")), 1u);
}

TEST_F(Family, ACommitInsideTheContainerMovesTheFuturesToItsNewGroup)
{
    StorageFutures storage;
    storage.insert(NodeOf({}));
    const auto commitOutOfSpread = [this](FuturesNode& node) {
        node.SetStatus(Status::WasChanged);
        node.InitializeChangedInstrument(m_bc.get());
        node.GetChanged()->IsInSpread = false;
        node.SwapNewestInstrumentAsRegularAndClearNewNodes();
        node.SetStatus(Status::NotChanged);
    };
    storage.modify(storage.begin(), commitOutOfSpread);
    EXPECT_EQ(storage.get<ByMMS>().count(std::string_view("BC")), 0u);
    EXPECT_EQ(storage.get<ByMMS>().count(std::string_view("")), 1u);
    EXPECT_EQ(storage.get<ByMCS>().count(std::string_view("")), 1u);
}

TEST_F(Family, ACopyThatThrowsInsideTheContainerTakesTheNodeOut)
{
    StorageFutures storage;
    storage.insert(NodeOf({}));
    EXPECT_THROW(storage.modify(storage.begin(), [](FuturesNode&) { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_TRUE(storage.empty());
}

TEST_F(Family, AChangeBesideTheKeysThatThrowsLeavesTheNodeWhereItIs)
{
    StorageFutures storage;
    const auto node = storage.insert(NodeOf({})).first;
    const auto fail = [](FuturesNode&) { throw std::bad_alloc(); };
    EXPECT_THROW(fail(BesideKeys(*node)), std::bad_alloc);
    EXPECT_EQ(storage.size(), 1u);
    EXPECT_EQ(storage.get<ByCode>().find(std::string_view("FUT"))->GetIsin(), 1);
    BesideKeys(*node).GetCurrent()->RealCalcPrice = 5.0;
    EXPECT_EQ(storage.begin()->GetRealCalcPrice(), 5.0);
}

/// A futures with the series S1 (options A of isin 101 and B of isin 102) and S2 (option C of isin 103).
class FamilyWithOptions : public Family
{
protected:
    FamilyWithOptions()
    {
        m_node.GetCurrent()->RecalcInvariants();
        AddSeries("S1");
        AddSeries("S2");
        AddOption("A", "S1", 101, 10.0);
        AddOption("B", "S1", 102, 20.0);
        AddOption("C", "S2", 103, 30.0);
    }
    void AddSeries(const std::string& code)
    {
        VirtualFuturesNode series(OptionSeriesSample(code, "FUT").Make(*m_node.GetCurrent()));
        series.get()->RecalcInvariants();
        m_node.InsertVirtualFuturesNode(series);
    }
    void AddOption(const std::string& code, const std::string& seriesCode, Isin isin, double price)
    {
        VirtualFuturesNode& series = m_node.GetCurrentStorage().find(seriesCode)->second;
        const OptionSample option{.Code = code, .CodeVF = seriesCode, .CalcOptPrice = price, .Isin = isin};
        series.storage().insert(option.Make(*series.get()));
    }
    void OpenTransaction()
    {
        m_node.InitializeChangedInstrument(m_changedBC.get());
        m_node.SetStatus(Status::WasChanged);
    }
    [[nodiscard]] const VirtualFuturesNode& Series(AccessByStatus access, std::string_view code) const
    {
        return m_node.GetVirtualFuturesIterator(access, code)->second;
    }
    /// Changes the settlement price of an option of a storage.
    static void SetPrice(StorageVirtualFutures& storage, std::string_view series, Isin isin, double price)
    {
        StorageOptions& options = storage.find(series)->second.storage();
        auto& index = options.get<ByIsin>();
        index.modify(index.find(isin), [price](CSpecOption& option) { option.ChangeOptionParams(&price); });
    }

    std::shared_ptr<CSpecBaseContract> m_changedBC = std::make_shared<CSpecBaseContract>(*m_bc);
    FuturesNode m_node = NodeOf({});
};

template <class Range>
std::vector<std::string> CodesOf(const Range& options)
{
    std::vector<std::string> codes;
    for (const CSpecOption& option : options)
        codes.push_back(option.Code);
    return codes;
}

TEST_F(FamilyWithOptions, OptionsOfASeriesAreFoundByEveryIndex)
{
    const VirtualFuturesNode& series = Series(eCurrent, "S1");
    EXPECT_EQ(series.Code(), "S1");
    EXPECT_EQ(series->StrikeStep, 50.0);
    EXPECT_EQ(series.GetOption("A"), series.GetOption(101));
    EXPECT_EQ(series.GetOption(std::string("B"))->CalcOptPrice, 20.0);
    EXPECT_EQ(series.GetOption("C"), nullptr) << "of another series";
    EXPECT_EQ(series.GetOption(103), nullptr);
    EXPECT_EQ(series.GetOption(101)->VirtFutures, series.get());
    EXPECT_THAT(CodesOf(series.RangeOptionsByCode()), UnorderedElementsAre("A", "B"));
    EXPECT_THAT(CodesOf(series.RangeOptionsByIsin()), UnorderedElementsAre("A", "B"));
    EXPECT_THAT(CodesOf(series.RangeOptionsByVirtualFuturesCode("S1")), ElementsAre("A", "B"));
    EXPECT_THAT(CodesOf(series.RangeOptionsByVirtualFuturesCode("S2")), IsEmpty());
    EXPECT_THAT(CodesOf(series.RangeOptionsByFuturesIsin(1)), ElementsAre("A", "B"));
    EXPECT_THAT(CodesOf(series.RangeOptionsByFuturesIsin(2)), IsEmpty());
}

TEST_F(FamilyWithOptions, ACodeOrAnIsinOfAnOptionEntersASeriesOnce)
{
    VirtualFuturesNode& series = m_node.GetCurrentStorage().find("S1")->second;
    EXPECT_FALSE(series.storage().insert(OptionSample{.Code = "A", .Isin = 999}.Make(*series.get())).second);
    EXPECT_FALSE(series.storage().insert(OptionSample{.Code = "NEW", .Isin = 101}.Make(*series.get())).second);
    EXPECT_EQ(series.storage().size(), 2u);
    EXPECT_EQ(series.GetOption(101)->Code, "A");
}

TEST_F(FamilyWithOptions, ACopyOfASeriesNodeSharesTheSeriesAndHasItsOwnOptions)
{
    const VirtualFuturesNode& series = Series(eCurrent, "S1");
    const VirtualFuturesNode copy(series);
    EXPECT_EQ(copy.get(), series.get());
    EXPECT_EQ(copy.storage().size(), 2u);
    EXPECT_NE(copy.GetOption(101), series.GetOption(101));
    EXPECT_EQ(copy.GetOption(101)->VirtFutures, series.get());
}

TEST_F(FamilyWithOptions, AKnownSeriesStaysWhereItIs)
{
    const CSpecVirtFutures* const present = m_node.GetVirtualFutures(eCurrent, "S1");
    const VirtualFuturesNode repeat(OptionSeriesSample("S1", "FUT").Make(*m_node.GetCurrent()));
    const auto entry = m_node.InsertVirtualFuturesNode(repeat);
    EXPECT_EQ(entry->second.get(), present);
    EXPECT_EQ(entry->second.storage().size(), 2u);
    EXPECT_EQ(m_node.CountVirtualFutures(eCurrent), 2u);
}

TEST_F(FamilyWithOptions, SeriesAreFoundByTheirCodeAndByTheirOptions)
{
    const StorageVirtualFutures& storage = m_node.Storage(eCurrent);
    EXPECT_EQ(m_node.GetVirtualFutures(eCurrent, "S2")->Code, "S2");
    EXPECT_EQ(m_node.GetVirtualFutures(eCurrent, "S3"), nullptr);
    EXPECT_EQ(m_node.GetVirtualFuturesIterator(eCurrent, "S3"), storage.end());
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, 103)->first, "S2");
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, "B")->first, "S1");
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, 104), storage.end());
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, "D"), storage.end());

    std::vector<std::string> series, options;
    for (const auto& entry : m_node.EnumerateVirtualFutures(eCurrent))
        series.push_back(entry.second.Code());
    for (const auto& [isin, code] : m_node.EnumerateOptions())
        options.push_back(std::to_string(isin) + " of " + code);
    EXPECT_THAT(series, UnorderedElementsAre("S1", "S2"));
    EXPECT_THAT(options, UnorderedElementsAre("101 of S1", "102 of S1", "103 of S2"));
}

TEST_F(FamilyWithOptions, AnOptionThatIsTakenOutLeadsToNoSeries)
{
    StorageOptions& options = m_node.GetCurrentStorage().find("S1")->second.storage();
    EXPECT_EQ(options.get<ByIsin>().erase(101), 1u);
    EXPECT_EQ(options.get<ByIsin>().erase(777), 0u) << "never there";
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, 101), m_node.Storage(eCurrent).end());
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, "A"), m_node.Storage(eCurrent).end());
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eCurrent, 102)->first, "S1");
}

TEST_F(FamilyWithOptions, TheSettlementPriceOfAnOptionIsThatOfTheNewestObject)
{
    EXPECT_EQ(m_node.GetRealCalcPriceOption(102), 20.0);
    EXPECT_EQ(m_node.GetRealCalcPriceOption(104), 0.0) << "never there";
    OpenTransaction();
    SetPrice(m_node.GetChangedStorage(), "S1", 102, 25.0);
    EXPECT_EQ(m_node.GetRealCalcPriceOption(102), 25.0);
    EXPECT_EQ(Series(eCurrent, "S1").GetOption(102)->CalcOptPrice, 20.0);
    EXPECT_EQ(m_node.GetRealCalcPriceOption(104), 0.0);
}

TEST_F(FamilyWithOptions, OutsideATransactionTheNewSeriesAreTheCurrentOnes)
{
    EXPECT_EQ(&m_node.Storage(eNew), &m_node.Storage(eCurrent));
    EXPECT_EQ(&m_node.GetChangedStorage(), &m_node.GetCurrentStorage());
    m_node.InitializeChangedInstrument(m_changedBC.get());
    EXPECT_EQ(&m_node.Storage(eNew), &m_node.GetCurrentStorage()) << "not before the status says so";
    m_node.SetStatus(Status::WasChanged);
    EXPECT_NE(&m_node.Storage(eNew), &m_node.GetCurrentStorage());
    EXPECT_EQ(&m_node.Storage(eCurrent), &m_node.GetCurrentStorage());
}

TEST_F(FamilyWithOptions, AChangedFuturesHasCopiesOfItsSeriesAndOptionsUnderItself)
{
    OpenTransaction();
    const CSpecFutures* const changed = m_node.GetChanged();
    EXPECT_EQ(changed->BaseContract, m_changedBC.get());
    EXPECT_EQ(m_node.CountVirtualFutures(eNew), 2u);
    for (const char* code : {"S1", "S2"}) {
        const VirtualFuturesNode& current = Series(eCurrent, code);
        const VirtualFuturesNode& copy = Series(eNew, code);
        EXPECT_NE(copy.get(), current.get());
        EXPECT_EQ(copy->Futures, changed);
        EXPECT_EQ(current->Futures, m_node.GetCurrent()) << "the current ones stay where they are";
        ASSERT_EQ(copy.storage().size(), current.storage().size());
        for (const CSpecOption& option : copy.RangeOptionsByCode()) {
            EXPECT_EQ(option.VirtFutures, copy.get());
            const CSpecOption* const original = current.GetOption(option.isin);
            ASSERT_NE(original, nullptr);
            EXPECT_NE(original, &option);
            EXPECT_EQ(original->VirtFutures, current.get());
            EXPECT_EQ(option.CalcOptPrice, original->CalcOptPrice);
        }
    }
    EXPECT_THAT(CodesOf(Series(eNew, "S1").RangeOptionsByVirtualFuturesCode("S1")), ElementsAre("A", "B"));
    EXPECT_EQ(m_node.GetVirtualFuturesByOptionIterator(eNew, 103)->second.get(), Series(eNew, "S2").get())
        << "both views have one option index";
}

TEST_F(FamilyWithOptions, ACommitExchangesTheSeriesAndReleasesTheOldOnes)
{
    const auto price = [this](AccessByStatus access) { return Series(access, "S2").GetOption(103)->CalcOptPrice; };
    m_node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(m_node.CountVirtualFutures(eCurrent), 2u) << "no transaction, no commit";

    OpenTransaction();
    SetPrice(m_node.GetChangedStorage(), "S2", 103, 35.0);
    const CSpecVirtFutures* const copy = m_node.GetVirtualFutures(eNew, "S2");
    const CSpecFutures* const futures = m_node.GetChanged();
    EXPECT_EQ(price(eCurrent), 30.0);
    m_node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(price(eCurrent), 35.0);
    EXPECT_EQ(m_node.GetVirtualFutures(eCurrent, "S2"), copy);
    EXPECT_EQ(copy->Futures, futures);
    EXPECT_EQ(m_node.GetCurrent(), futures);
    EXPECT_EQ(&m_node.Storage(eNew), &m_node.GetCurrentStorage()) << "nothing new is left";

    m_node.SwapNewestInstrumentAsRegularAndClearNewNodes(); // the status is not reset yet
    EXPECT_EQ(m_node.GetVirtualFutures(eCurrent, "S2"), copy);
    m_node.SetStatus(Status::NotChanged);
    m_node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    EXPECT_EQ(m_node.GetVirtualFutures(eCurrent, "S2"), copy);
    EXPECT_EQ(m_node.CountVirtualFutures(eCurrent), 2u);
}

TEST_F(FamilyWithOptions, OptionsThatNobodyHasLookedAtAreValuedOnDemandAllAtOnce)
{
    // The charge of a call is 1024 x 0.125 x the upper rate, 0.25 here. What is valued keeps it.
    const VirtualFuturesNode& series = Series(eCurrent, "S1");
    series.ValueAllOptions();
    m_bc->ShiftCoefficient = 0.0625;
    m_bc->RecalcShiftingMarketRisk();
    for (const CSpecOption& option : series.RangeOptionsByCode())
        EXPECT_EQ(option.GetPoints(Enums::ClientRiskLevel::Default).GetUpRisk(), 32.0);
    EXPECT_EQ(Series(eCurrent, "S2").GetOption(103)->GetPoints(Enums::ClientRiskLevel::Default).GetUpRisk(), 40.0);

    m_node.GetCurrentStorage().find("S1")->second.RecalcInvariants();
    EXPECT_EQ(series.GetOption(101)->GetPoints(Enums::ClientRiskLevel::Default).GetUpRisk(), 40.0);
}

} // namespace
} // namespace test::InstrumentsStoragesTest
