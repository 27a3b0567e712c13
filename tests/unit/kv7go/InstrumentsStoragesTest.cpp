// Nodes and containers of instruments: keys, the two views of a transaction, and the commit.
#include "InstrumentsStorages.h"

#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"

namespace {

using namespace kv7im;
using enum AccessByStatus;

class Family : public testing::Test
{
protected:
    std::shared_ptr<CSpecBaseContract> m_bc = BaseContractSample{.CodeMCS = "GROUP"}.Make();
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

    const FuturesNode alone = NodeOf({.SpreadAspect = Enums::SpreadAspect::NotInSpread});
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
    storage.insert(NodeOf({.Code = "F1", .Isin = 1}));
    storage.insert(NodeOf({.Code = "F2", .Isin = 2}));
    storage.insert(NodeOf({.Code = "F3", .SpreadAspect = Enums::SpreadAspect::NotInSpread, .Isin = 3}));
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
    EXPECT_TRUE(storage.insert(NodeOf({.Code = "F1", .Isin = 1})).second);
    EXPECT_FALSE(storage.insert(NodeOf({.Code = "F1", .Isin = 2})).second);
    EXPECT_FALSE(storage.insert(NodeOf({.Code = "F2", .Isin = 1})).second);
    StorageBaseContract contracts;
    EXPECT_TRUE(contracts.insert(BaseContractNode(m_bc)).second);
    EXPECT_FALSE(contracts.insert(BaseContractNode(m_bc)).second);
}

TEST_F(Family, AStatusChangesInsideTheContainer)
{
    StorageFutures storage;
    storage.insert(NodeOf({.Code = "F1", .Isin = 1}));
    storage.insert(NodeOf({.Code = "F2", .Isin = 2}));
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

} // namespace
