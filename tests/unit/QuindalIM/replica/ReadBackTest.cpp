// Risks read back from the calculator: matrices, final rows and points of every kind of node and instrument, and the
// search through a participant's book.
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ReadBackMarket.h"
#include "kv7errors.h"

namespace test::ReadBackTest {
namespace {

using namespace read_back;
using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using testing::Each;
using testing::ElementsAre;

constexpr std::array AllMatrices{Matrix_Volatility, Matrix_InterestRate, Matrix_VolatMismatch, Matrix_Expiration};
constexpr std::array FinalTypes{Matrix_Final, Matrix_FinalWithPositiveValues};
constexpr std::array BothSides{VolatilityRiskNode, ExpirationRiskNode};

[[nodiscard]] std::vector<double> CellsOf(const kv7im::RiskMatrix& matrix)
{
    std::vector<double> cells;
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
            cells.push_back(matrix[row][column]);
    return cells;
}
[[nodiscard]] std::vector<double> CellsOf(const kv7im::RiskRow& row)
{
    std::vector<double> cells;
    for (std::size_t column = 0; column < row.size(); ++column)
        cells.push_back(row[column]);
    return cells;
}

[[nodiscard]] const kv7im::RiskMatrix& MatrixOf(const kv7im::Profile& profile, eChooseRiskType matrix)
{
    switch (matrix) {
    case Matrix_InterestRate:
        return profile.InterestRate();
    case Matrix_VolatMismatch:
        return profile.VolatilityMismatch();
    case Matrix_Expiration:
        return profile.Expiration();
    default:
        return profile.Volatility();
    }
}

/// The same numbers, and NaN where NaN is.
testing::AssertionResult SameCells(const std::vector<double>& cells, const std::vector<double>& expected)
{
    if (cells.size() != expected.size())
        return testing::AssertionFailure() << cells.size() << " cells instead of " << expected.size();
    for (std::size_t i = 0; i < cells.size(); ++i)
        if (!(cells[i] == expected[i] || (std::isnan(cells[i]) && std::isnan(expected[i]))))
            return testing::AssertionFailure() << "cell " << i << ": " << cells[i] << " instead of " << expected[i];
    return testing::AssertionSuccess();
}

class ReadBack : public testing::Test
{
protected:
    [[nodiscard]] Reading Of(eChooseRiskType type, const std::string& instrument) const
    {
        return tree.OfClient(type, instrument, client);
    }
    [[nodiscard]] const kv7im::CumulativePositionByFutures& PositionOn(Isin isin)
    {
        return *tree.Client(client).GetPortfolio().GetFuturesPositionByIsin(isin);
    }
    [[nodiscard]] const kv7im::RiskNodeOptionSeries& SeriesNode(Isin futures, const char* code)
    {
        return *PositionOn(futures).GetRiskNodeOptionSeriesByVFCode(code);
    }

    /// A node that a client has, by the code that it is read under.
    struct Named
    {
        std::string code;
        const kv7im::RiskNodeBase* node;
        std::string contract;
    };
    [[nodiscard]] std::vector<Named> NodesWithMatrices()
    {
        const kv7im::Portfolio& book = tree.Client(client).GetPortfolio();
        return {{"FUT", &PositionOn(FUT).GetOwnerRiskNode(), "BC"},
                {"NET-1", &PositionOn(NetOne).GetOwnerRiskNode(), "NET"},
                {"ALONE", &SeriesNode(FUT, "ALONE"), "BC"},
                {"DEL", &SeriesNode(FUT, "DEL"), "BC"},
                {"NETPUT", &SeriesNode(NetOne, "NETPUT"), "NET"},
                {"FINE", &SeriesNode(GroupOne, "FINE"), "G1"},
                {"NET", book.GetRisksNodeOfLevelMMS("NET"), "NET"},
                {"G1", book.GetRisksNodeOfLevelMMS("G1"), "G1"}};
    }

    TreeWithBook tree;
    static constexpr const char* client = "AA01001";
};

// ---- Arrays -----------------------------------------------------------------------------------------------------

TEST_F(ReadBack, AMatrixComesRowByRowAndEachRowRunsThroughThePricePoints)
{
    const Reading futures = Of(Matrix_Volatility, "FUT");
    EXPECT_EQ(futures.points, 3U);
    EXPECT_EQ(futures.scenarios, 3U);
    EXPECT_THAT(futures.cells, ElementsAre(-200, 0, 200, -200, 0, 200, -200, 0, 200));

    // A call at 750, sold at 60: worth 0, 50 and 150, in every scenario.
    const Reading call = Of(Matrix_Volatility, "ALONE");
    ASSERT_EQ(call.cells.size(), 9U);
    const double expected[] = {60.0, 10.0, -90.0};
    for (std::size_t i = 0; i < call.cells.size(); ++i)
        EXPECT_NEAR(call.cells[i], expected[i % 3], 1e-4) << i;

    // A put that volatility is felt by, sold: the higher the volatility, the more it costs.
    const Reading put = Of(Matrix_Volatility, "NETPUT");
    ASSERT_EQ(put.scenarios, 3U);
    EXPECT_GT(put.Row(0)[1], put.Row(1)[1]);
    EXPECT_GT(put.Row(1)[1], put.Row(2)[1]);
}

TEST_F(ReadBack, EveryMatrixOfEveryNodeIsTheNodesOwnOnBothSides)
{
    for (const Named& named : NodesWithMatrices()) {
        for (const eChooseRiskType side : BothSides) {
            const kv7im::Risk risk = side == ExpirationRiskNode ? named.node->Expiration() : named.node->Volatility();
            const kv7im::Profile& profile = risk.GetRisk();
            for (const eChooseRiskType matrix : AllMatrices) {
                SCOPED_TRACE(named.code + ", type " + std::to_string(static_cast<int>(matrix | side)));
                const kv7im::RiskMatrix& expected = MatrixOf(profile, matrix);
                const Reading reading = Of(matrix | side, named.code);
                EXPECT_EQ(reading.code, 0);
                EXPECT_EQ(reading.scenarios, expected.RowsCount());
                EXPECT_EQ(reading.points, expected.RowsCount() == 0 ? 0U : expected.ColsCount());
                EXPECT_TRUE(SameCells(reading.cells, CellsOf(expected)));
                EXPECT_EQ(PointsOf(reading.info), PointsOf(profile.GetSpecialRiskPoints()));
                EXPECT_EQ(reading.info.SubPointsCount,
                          static_cast<std::int32_t>(profile.GetParameters().subPointsCount));
            }
        }
    }
}

// The prices of delivery are 750, 800 and 850, and a price is in scope of those within 50. The call at 825, bought at
// 10, is exercised at 850 alone: at 800 for -25, at 900 for 75. Three of them, so each result is less 10, times 3.
TEST_F(ReadBack, TheExpirationMatrixHasARowADeliveryAndNaNOutOfItsScope)
{
    const Reading reading = Of(Matrix_Expiration, "DEL");
    const double out = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(reading.scenarios, 3U);
    EXPECT_TRUE(SameCells(reading.cells, {-30, -30, out, out, -30, out, out, -105, 195}));

    // Mixed in, every row is the worst delivery by point, and the rows of the deliveries are gone.
    EXPECT_TRUE(SameCells(Of(Matrix_Volatility | ExpirationRiskNode, "DEL").cells,
                          {-30, -105, 195, -30, -105, 195, -30, -105, 195}));
    EXPECT_EQ(Of(Matrix_Expiration | ExpirationRiskNode, "DEL").scenarios, 0U);
    EXPECT_EQ(Of(Matrix_Expiration, "ALONE").scenarios, 0U) << "nothing is delivered";
}

TEST_F(ReadBack, SubPointsStandBehindThePricePointsAndAreCounted)
{
    const Reading reading = Of(Matrix_Volatility, "FINE");
    EXPECT_GT(reading.info.SubPointsCount, 0);
    EXPECT_EQ(reading.points, 3U + static_cast<std::size_t>(reading.info.SubPointsCount));
    const Reading final = Of(Matrix_Final, "FINE");
    EXPECT_EQ(final.points, 3U) << "folded onto the price points";
    EXPECT_EQ(final.info.SubPointsCount, 0);
    EXPECT_EQ(Of(Matrix_Volatility, "FUT").info.SubPointsCount, 0);
}

TEST_F(ReadBack, ATypeWithoutAMatrixGivesThePointsOfItsSideAndLeavesTheSizes)
{
    for (const eChooseRiskType side : BothSides) {
        std::size_t points = 17;
        std::size_t scenarios = 4;
        double arr[2] = {Guard, Guard};
        Info info;
        EXPECT_EQ(tree.calculator.GetClientFutRisksArray(side, "FUT", client, arr, points, scenarios, info), 0);
        EXPECT_EQ(points, 17U);
        EXPECT_EQ(scenarios, 4U);
        EXPECT_THAT(arr, Each(Guard));
        EXPECT_EQ(PointsOf(info), PointsOf(PositionOn(FUT).GetOwnerRiskNode().Volatility().GetSpecialRiskPoints()));
    }
    const Reading sized = Of(ExpirationRiskNode, "FUT");
    EXPECT_EQ(sized.points, 0U);
    EXPECT_EQ(sized.scenarios, 0U);
}

// The length of the rows is read off the last one.
TEST_F(ReadBack, AMatrixWithoutRowsHasNoScenariosAndLeavesThePoints)
{
    std::size_t points = 17;
    std::size_t scenarios = 4;
    double arr[1] = {Guard};
    Info info;
    EXPECT_EQ(tree.calculator.GetClientFutRisksArray(Matrix_Expiration, "FUT", client, arr, points, scenarios, info),
              0);
    EXPECT_EQ(points, 17U);
    EXPECT_EQ(scenarios, 0U);
    EXPECT_THAT(arr, Each(Guard));
}

// ---- Final rows -------------------------------------------------------------------------------------------------

TEST_F(ReadBack, AFinalRowKeepsGainsOnlyWhereItsTypeSaysSo)
{
    EXPECT_THAT(Of(Matrix_FinalWithPositiveValues, "FUT").cells, ElementsAre(-200, 0, 200));
    EXPECT_THAT(Of(Matrix_Final, "FUT").cells, ElementsAre(-200, 0, 0));
}

// The delivery side is the worse of both at each point.
TEST_F(ReadBack, AFinalRowIsThatOfTheSideThatBitZeroNames)
{
    const std::vector<double> volatility = Of(Matrix_FinalWithPositiveValues, "DEL").cells;
    const std::vector<double> delivery = Of(Matrix_FinalWithPositiveValues | ExpirationRiskNode, "DEL").cells;
    const double outcomes[] = {-30.0, -105.0, 195.0};
    ASSERT_EQ(delivery.size(), 3U);
    for (std::size_t i = 0; i < delivery.size(); ++i)
        EXPECT_EQ(delivery[i], std::min(volatility[i], outcomes[i]));
    EXPECT_NE(volatility, delivery);
}

TEST_F(ReadBack, AFinalRowIsTheRolledUpAndCorrectedNode)
{
    for (const Named& named : NodesWithMatrices()) {
        const kv7im::CSpecBaseContract& contract =
            *tree.Instruments().GetBaseContract(kv7im::AccessByStatus::eCurrent, named.contract);
        for (const eChooseRiskType final : FinalTypes) {
            SCOPED_TRACE(named.code + ", type " + std::to_string(static_cast<int>(final)));
            kv7im::RolledUpRiskNode expected = named.node->GetRolledUpRiskNode(
                final == Matrix_Final ? kv7im::Risk::CollapseProperty::Negative
                                      : kv7im::Risk::CollapseProperty::NegativeAndPositive);
            expected.ApplyCorrection(contract);
            const Reading volatility = Of(final, named.code);
            EXPECT_EQ(volatility.scenarios, 1U);
            EXPECT_EQ(volatility.info.SubPointsCount, 0);
            EXPECT_EQ(volatility.cells, CellsOf(expected.Volatility()));
            EXPECT_EQ(PointsOf(volatility.info), PointsOf(expected.VolatilityPoints()));
            const Reading delivery = Of(final | ExpirationRiskNode, named.code);
            EXPECT_EQ(delivery.cells, CellsOf(expected.Expiration()));
            EXPECT_EQ(PointsOf(delivery.info), PointsOf(expected.ExpirationPoints()));
        }
    }
}

// One futures sold at 800 and five puts at 650 sold for nothing: at the left end of the grid, 700, the book gains 100
// and the puts are not worth anything. Two tiers further down, at 600, the futures gains 200 and the puts cost 250: a
// loss of 50. Measured by the end of the grid that loss counts: floors are -100 there. With the gain cut to 0 the floor
// is 0, and the stress point is lifted onto it.
TEST_F(ReadBack, CutToLossesTheEndsOfTheGridLiftTheStressPoints)
{
    tree.AddClient("AA01002");
    kv7im::InstrumentsRepository& instruments = tree.Instruments();
    ASSERT_EQ(instruments.InsertVirtFutures(InSpread(HandSeries("LOW"))), 0U);
    ASSERT_EQ(HandOption("LOW", 31, Enums::OptionType::Put, 650.0).InsertInto(instruments), 0U);
    tree.Set("AA01002", FUT, {-1, 800.0});
    tree.Set("AA01002", 31, {-5, 0.0});

    const Reading kept = tree.OfClient(Matrix_FinalWithPositiveValues, "FUT", "AA01002");
    EXPECT_NEAR(kept.cells[0], 100.0, 1e-4);
    EXPECT_NEAR(kept.info.PnL3D, -50.0, 1e-4);
    const Reading cut = tree.OfClient(Matrix_Final, "FUT", "AA01002");
    EXPECT_EQ(cut.cells[0], 0.0);
    EXPECT_EQ(cut.info.PnL3D, 0.0);
}

// A premium-style call at 750, worth 0, 50 and 150, of which the last clearing left one at a settlement price of 50:
// its value is 50. A radius of 0.1 takes a tenth of what value and result make together: 5, 10 and 20. Cut to losses
// first, the zeros lose 5 each.
TEST(ReadBackOfCurvature, GainsThatAreCutBendAsZerosDo)
{
    plain::Market market;
    market.edgeCoeff = 0.0;
    market.currencies = {{840, 0.1}};
    market.baseContracts = {HandBaseContract()};
    market.baseContracts.front().MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.futures = {HandFutures()};
    kv7im::OptionSeriesParameters premium = HandSeries("PREMIUM");
    premium.marginStyle = Enums::MarginStyle::Equity;
    market.series = {premium};
    market.options = {HandOption("PREMIUM", AloneCall, Enums::OptionType::Call, 750.0, 50.0)};
    Tree tree(MakeRepository(market));
    tree.AddAccount("ACCOUNT", MarginRule::Netting);
    tree.AddFirm("AA01", "ACCOUNT", MarginRule::Netting);
    tree.AddClient("AA01001");
    const Tree::Margins margins = tree.Set("AA01001", AloneCall, {1, 0.0, 1});

    const auto near = [](double expected) { return testing::DoubleNear(expected, 1e-3); };
    EXPECT_THAT(tree.OfClient(Matrix_FinalWithPositiveValues, "PREMIUM", "AA01001").cells,
                ElementsAre(near(-5.0), near(40.0), near(130.0)));
    EXPECT_NEAR(margins.volatility, 5.0, 1e-3);
    EXPECT_THAT(tree.OfClient(Matrix_Final, "PREMIUM", "AA01001").cells,
                ElementsAre(near(-5.0), near(-5.0), near(-5.0)));
}

// ---- Levels -----------------------------------------------------------------------------------------------------

// Three bought and one sold: two bought, in every cell. The put brings its own.
TEST_F(ReadBack, AnMMSIsTheSumOfItsFutures)
{
    const std::vector<double> one = Of(Matrix_Volatility, "NET-1").cells;
    const std::vector<double> two = Of(Matrix_Volatility, "NET-2").cells;
    const std::vector<double> both = Of(Matrix_Volatility, "NET").cells;
    EXPECT_THAT(two, ElementsAre(100, 0, -100, 100, 0, -100, 100, 0, -100));
    ASSERT_EQ(both.size(), 9U);
    for (std::size_t i = 0; i < both.size(); ++i)
        EXPECT_NEAR(both[i], one[i] + two[i], 1e-9);
}

TEST_F(ReadBack, AnMCSHasItsRowsAndNothingElseWhateverTheType)
{
    const kv7im::RiskNodeMCS& node = *tree.Client(client).GetPortfolio().GetRisksNodeOfLevelMCS("GROUP");
    for (const eChooseRiskType bits : {VolatilityRiskNode, Matrix_Volatility, Matrix_InterestRate, Matrix_VolatMismatch,
                                       Matrix_Expiration, Matrix_Final, Matrix_FinalWithPositiveValues}) {
        SCOPED_TRACE(static_cast<int>(bits));
        const Reading volatility = Of(bits, "GROUP");
        EXPECT_EQ(volatility.points, 3U);
        EXPECT_EQ(volatility.scenarios, 1U);
        EXPECT_EQ(volatility.cells, CellsOf(node.VolatilityRow()));
        EXPECT_EQ(PointsOf(volatility.info), PointsOf(node.VolatilityPoints()));
        EXPECT_EQ(volatility.info.SubPointsCount, 0);
        const Reading delivery = Of(bits | ExpirationRiskNode, "GROUP");
        EXPECT_EQ(delivery.cells, CellsOf(node.ExpirationRow()));
        EXPECT_EQ(PointsOf(delivery.info), PointsOf(node.ExpirationPoints()));
    }
}

// Ten puts at 725, bought for nothing, are worth 250 at 700, where no delivery near by exercises them: the delivery row
// has 0 there. Forty puts at 650 sold cost 2000 more at 600 than the others bring: -750. That loss counts as far as the
// end of the row says so: 250 by the values, nothing by the deliveries.
TEST_F(ReadBack, BothSidesOfAnMCSHavePointsOfTheirOwn)
{
    kv7im::InstrumentsRepository& instruments = tree.Instruments();
    ASSERT_EQ(instruments.InsertVirtFutures(Deliverable(InSpread(HandSeries("G2D", "G2-1")))), 0U);
    ASSERT_EQ(instruments.InsertVirtFutures(InSpread(HandSeries("G2N", "G2-1"))), 0U);
    ASSERT_EQ(HandOption("G2D", 41, Enums::OptionType::Put, 725.0).InsertInto(instruments), 0U);
    ASSERT_EQ(HandOption("G2N", 42, Enums::OptionType::Put, 650.0).InsertInto(instruments), 0U);
    plain::Rules rules;
    rules.clearings = 1;
    tree.AddClient("AA01002", rules);
    tree.Set("AA01002", 41, {10, 0.0});
    tree.Set("AA01002", 42, {-40, 0.0});
    EXPECT_NEAR(tree.OfClient(VolatilityRiskNode, "GROUP", "AA01002").info.PnL3D, -250.0, 0.1);
    EXPECT_NEAR(tree.OfClient(ExpirationRiskNode, "GROUP", "AA01002").info.PnL3D, 0.0, 0.1);
}

// The futures alone: -200, 0, 200 of which the loss goes up. The groups: one and two futures, which each contract gives
// by its losses, and the rates at the ends with them.
TEST_F(ReadBack, AFirmAndAnAccountUnderHalfNettingGiveWhatCameFromBelow)
{
    for (const eChooseRiskType type : {VolatilityRiskNode, Matrix_Volatility, Matrix_InterestRate, Matrix_Expiration,
                                       Matrix_Final, Matrix_FinalWithPositiveValues}) {
        EXPECT_THAT(tree.OfFirm(type, "FUT", "AA01").cells, ElementsAre(-200, 0, 0));
        EXPECT_THAT(tree.OfAccount(type, "FUT", "ACCOUNT").cells, ElementsAre(-200, 0, 0));
    }
    const kv7im::Portfolio& firm = tree.Firm("AA01").GetPortfolio();
    const kv7im::Portfolio& account = tree.Account("ACCOUNT").GetPortfolio();
    for (const char* const code : {"FUT", "ALONE", "DEL", "NET", "FINE", "G1", "G2", "GROUP"}) {
        SCOPED_TRACE(code);
        for (const auto& [book, reading, delivery] :
             {std::tuple(&firm, tree.OfFirm(Matrix_Final, code, "AA01"),
                         tree.OfFirm(Matrix_Final | ExpirationRiskNode, code, "AA01")),
              std::tuple(&account, tree.OfAccount(Matrix_Final, code, "ACCOUNT"),
                         tree.OfAccount(Matrix_Final | ExpirationRiskNode, code, "ACCOUNT"))}) {
            const kv7im::RolledUpRiskNode* const entry = book->GetHalfNettingRisksByCode(code);
            ASSERT_NE(entry, nullptr);
            EXPECT_EQ(reading.scenarios, 1U);
            EXPECT_EQ(reading.info.SubPointsCount, 0);
            EXPECT_EQ(reading.cells, CellsOf(entry->Volatility()));
            EXPECT_EQ(PointsOf(reading.info), PointsOf(entry->VolatilityPoints()));
            EXPECT_EQ(delivery.cells, CellsOf(entry->Expiration()));
            EXPECT_EQ(PointsOf(delivery.info), PointsOf(entry->ExpirationPoints()));
        }
    }
    EXPECT_EQ(tree.OfFirm(Matrix_Final, "NET-1", "AA01").scenarios, 0U) << "a futures in spread goes up in its MMS";
}

// A book of its own behind what came from below: the entry counts, and without an entry the book does.
TEST_F(ReadBack, UnderHalfNettingTheEntryFromBelowCountsBeforeTheBook)
{
    kv7im::Portfolio& firm = tree.Firm("AA01").GetPortfolio();
    ASSERT_EQ(firm.SetPosition(FUT, -7, 800.0, 0), 0U);
    EXPECT_THAT(tree.OfFirm(Matrix_FinalWithPositiveValues, "FUT", "AA01").cells, ElementsAre(-200, 0, 0));
    ASSERT_EQ(firm.SetPosition(TwinFutures, -7, 800.0, 0), 0U);
    EXPECT_THAT(tree.OfFirm(Matrix_FinalWithPositiveValues, "TWIN", "AA01").cells, ElementsAre(700, 0, -700));
}

TEST_F(ReadBack, AFirmAndAnAccountUnderNettingGiveTheirOwnBooks)
{
    tree.AddAccount("NETTING", MarginRule::Netting);
    tree.AddFirm("BB01", "NETTING", MarginRule::Netting);
    tree.AddClient("BB01001");
    tree.Set("BB01001", FUT, {5, 800.0});
    tree.Set("BB01", FUT, {-1, 800.0}, AccountHierarchyRecordType::Broker);
    tree.Set("NETTING", FUT, {4, 800.0}, AccountHierarchyRecordType::SettlementAccount);
    EXPECT_THAT(tree.OfFirm(Matrix_FinalWithPositiveValues, "FUT", "BB01").cells, ElementsAre(100, 0, -100));
    EXPECT_THAT(tree.OfAccount(Matrix_FinalWithPositiveValues, "FUT", "NETTING").cells, ElementsAre(-400, 0, 400));
    EXPECT_EQ(tree.OfFirm(Matrix_Volatility, "FUT", "BB01").scenarios, 3U);
    EXPECT_EQ(tree.OfAccount(Matrix_Volatility, "FUT", "NETTING").scenarios, 3U);
}

// A firm under Gross below an account under HalfNetting keeps what comes by; nothing of it is an entry of its own rule.
TEST_F(ReadBack, AFirmAndAnAccountUnderGrossHaveNothingToRead)
{
    tree.AddAccount("GROSS", MarginRule::Gross);
    tree.AddFirm("CC01", "GROSS", MarginRule::Gross);
    tree.AddClient("CC01001");
    tree.Set("CC01001", FUT, {5, 800.0});
    EXPECT_EQ(tree.OfFirm(Matrix_Final, "FUT", "CC01").scenarios, 0U);
    EXPECT_EQ(tree.OfAccount(Matrix_Final, "FUT", "GROSS").scenarios, 0U);

    tree.AddFirm("CC02", "ACCOUNT", MarginRule::Gross);
    tree.AddClient("CC02001");
    tree.Set("CC02001", FUT, {5, 800.0});
    EXPECT_NE(tree.Firm("CC02").GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);
    EXPECT_EQ(tree.OfFirm(Matrix_Final, "FUT", "CC02").scenarios, 0U);
    EXPECT_THAT(tree.OfAccount(Matrix_Final, "FUT", "ACCOUNT").cells, ElementsAre(-700, 0, 0));
}

// "TWIN" is a futures, an option series and a base contract with a futures in spread. Each steps in while those before
// it are not held.
TEST_F(ReadBack, WhatIsNotHeldFallsThroughToTheNextOfThatName)
{
    const auto row = [&] { return Of(Matrix_FinalWithPositiveValues, "TWIN").cells; };
    EXPECT_THAT(row(), ElementsAre());
    tree.Set(client, TwinNear, {4, 800.0});
    EXPECT_EQ(row(), Of(Matrix_FinalWithPositiveValues, "TWIN-1").cells) << "the MMS";
    tree.Set(client, OtherOne, {1, 800.0});
    EXPECT_EQ(row(), Of(Matrix_FinalWithPositiveValues, "TWIN-1").cells) << "no option of the series is held yet";
    tree.Set(client, TwinCall, {1, 60.0}); // worth 0, 50, 150
    EXPECT_NEAR(row()[2], 90.0, 1e-4) << "the series";
    tree.Set(client, TwinFutures, {-3, 800.0});
    EXPECT_THAT(row(), ElementsAre(300, 0, -300)) << "the futures";
}

TEST_F(ReadBack, OfAFlatPositionIsZero)
{
    tree.Set(client, FUT, {0, 800.0});
    EXPECT_THAT(Of(Matrix_Volatility, "FUT").cells, testing::AllOf(testing::SizeIs(9), Each(0.0)));
}

TEST_F(ReadBack, NothingUnderTheCodeGivesNoSizesAndLeavesThePoints)
{
    for (const char* const instrument : {"TWIN", "TWIN-1", "NOBODY", ""}) {
        std::size_t points = 2;
        std::size_t scenarios = 2;
        double arr[4] = {Guard, Guard, Guard, Guard};
        Info info;
        info.ZL = 5.0;
        info.SubPointsCount = 9;
        EXPECT_EQ(
            tree.calculator.GetClientMcsRisksArray(Matrix_Final, instrument, client, arr, points, scenarios, info), 0);
        EXPECT_EQ(points, 0U);
        EXPECT_EQ(scenarios, 0U);
        EXPECT_THAT(arr, Each(Guard));
        EXPECT_EQ(info.ZL, 5.0);
        EXPECT_EQ(info.SubPointsCount, 9);
    }
}

TEST_F(ReadBack, TheThreeOperationsOfAClientsNodesAreOne)
{
    for (const MatricesOperation operation :
         {&QuindalIM::CCalcGO::GetClientFutRisksArray, &QuindalIM::CCalcGO::GetClientMmsRisksArray,
          &QuindalIM::CCalcGO::GetClientMcsRisksArray}) {
        for (const char* const code : {"FUT", "DEL", "NET", "GROUP"}) {
            const Reading reading = Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
                return (tree.calculator.*operation)(Matrix_Final, code, client, arr, points, scenarios, info);
            });
            EXPECT_EQ(reading.cells, tree.OfClient(Matrix_Final, code, client).cells);
        }
    }
}

// ---- Series by their own operations -----------------------------------------------------------------------------

TEST_F(ReadBack, ASeriesIsGivenByItsOwnOperationsAsByTheSearch)
{
    for (const MatricesOperation operation :
         {&QuindalIM::CCalcGO::GetClientVfRisksArray, &QuindalIM::CCalcGO::GetClientDeliveryRisksArray}) {
        for (const char* const code : {"ALONE", "DEL", "NETPUT", "FINE"}) {
            for (const eChooseRiskType side : BothSides) {
                for (const eChooseRiskType type :
                     {Matrix_Volatility, Matrix_Expiration, Matrix_Final, Matrix_FinalWithPositiveValues}) {
                    const Reading reading = Read([&](double* arr, std::size_t& points, std::size_t& scenarios,
                                                     Info& info) {
                        return (tree.calculator.*operation)(type | side, code, client, arr, points, scenarios, info);
                    });
                    const Reading expected = tree.OfClient(type | side, code, client);
                    EXPECT_EQ(reading.scenarios, expected.scenarios);
                    EXPECT_TRUE(SameCells(reading.cells, expected.cells)) << code;
                    EXPECT_EQ(PointsOf(reading.info), PointsOf(expected.info));
                }
            }
        }
    }
}

TEST_F(ReadBack, ASeriesThatIsNotHeldHasNoSizes)
{
    tree.AddClient("AA01002");
    for (const bool futuresIsHeld : {false, true}) {
        if (futuresIsHeld) tree.Set("AA01002", FUT, {1, 800.0});
        std::size_t points = 3;
        std::size_t scenarios = 3;
        double arr[1] = {Guard};
        Info info;
        EXPECT_EQ(
            tree.calculator.GetClientVfRisksArray(Matrix_Volatility, "ALONE", "AA01002", arr, points, scenarios, info),
            0);
        EXPECT_EQ(points, 0U);
        EXPECT_EQ(scenarios, 0U);
        EXPECT_THAT(arr, Each(Guard));
    }
}

// It is looked up as a series and as nothing else.
TEST_F(ReadBack, AFuturesIsNoSeries)
{
    std::size_t points = 0;
    std::size_t scenarios = 0;
    Info info;
    EXPECT_EQ(tree.calculator.GetClientVfRisksArray(Matrix_Volatility, "FUT", client, nullptr, points, scenarios, info),
              Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND);
}

// The put at 850 is worth 150, 50 and 0 and was bought at 60. A client without such options has nothing of it: neither
// in the sum of the spread nor as a series.
TEST(ReadBackOfClients, PremiumStyleOptionsAreReadWhereTheyCount)
{
    constexpr const char* client = "AA01001";
    constexpr Isin premiumPut = 16;
    plain::Market market = HandMarketToRead();
    kv7im::OptionSeriesParameters premium = InSpread(HandSeries("PREMIUM", "NET-1"));
    premium.marginStyle = Enums::MarginStyle::Equity;
    market.series.push_back(premium);
    market.options.push_back(HandOption("PREMIUM", premiumPut, Enums::OptionType::Put, 850.0));
    Tree tree(MakeRepository(market));
    tree.AddAccount("ACCOUNT", MarginRule::Netting);
    tree.AddFirm("AA01", "ACCOUNT", MarginRule::Netting);
    tree.AddClient(client);
    const auto seriesOf = [&](const auto& operation) {
        return Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            return (tree.calculator.*operation)(Matrix_Volatility, "PREMIUM", client, arr, points, scenarios, info);
        });
    };

    tree.Client(client).SetNotUseNOV(1);
    tree.Set(client, NetOne, {1, 800.0});
    tree.Set(client, premiumPut, {1, 60.0});
    EXPECT_THAT(tree.OfClient(Matrix_Volatility, "NET", client).Row(0), ElementsAre(-100.0, 0.0, 100.0));
    EXPECT_EQ(tree.OfClient(Matrix_Volatility, "PREMIUM", client).points, 0U);
    EXPECT_EQ(seriesOf(&QuindalIM::CCalcGO::GetClientVfRisksArray).points, 0U);
    EXPECT_EQ(seriesOf(&QuindalIM::CCalcGO::GetClientDeliveryRisksArray).points, 0U);

    tree.Client(client).SetNotUseNOV(0);
    EXPECT_EQ(tree.OfClient(Matrix_Volatility, "PREMIUM", client).points, 3U);
    EXPECT_EQ(seriesOf(&QuindalIM::CCalcGO::GetClientVfRisksArray).points, 3U);
    EXPECT_GT(tree.OfClient(Matrix_Volatility, "NET", client).cells[0], -100.0) << "the put gains there";
}

// ---- Instruments ------------------------------------------------------------------------------------------------

class ReadBackOfInstruments : public ReadBack
{
protected:
    [[nodiscard]] Reading Of(eChooseRiskType type, const char* instrument, bool isOption,
                             Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default) const
    {
        return Read([&, isOption](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            return tree.calculator.GetRiskPoints(type, instrument, isOption, arr, points, scenarios, info, level);
        });
    }
};

TEST_F(ReadBackOfInstruments, AFuturesIsItsPricesInEveryScenario)
{
    const Reading reading = Of(Matrix_Volatility, "FUT", false);
    EXPECT_THAT(reading.cells, ElementsAre(700, 800, 900, 700, 800, 900, 700, 800, 900));
    // Tiers of 0.1875 and 0.25 of 800; tails of (3 - 3 * 0.125 + 0.125^2) * 100 below and (3 + ...) * 100 above; the
    // charges are 0.
    EXPECT_THAT(PointsOf(reading.info), ElementsAre(0, 800.0 - 264.0625, 600, 650, 950, 1000, 800.0 + 339.0625, 0));
    EXPECT_EQ(reading.info.SubPointsCount, 0);

    // Rates of 0.03125 down and 0.0625 up, half a year: e^-0.015625 - 1 of 700 at the left, e^0.03125 - 1 of 900 at the
    // right, nothing at the centre.
    const Reading rates = Of(Matrix_InterestRate, "NET-1", false);
    ASSERT_EQ(rates.scenarios, 2U);
    EXPECT_THAT(rates.Row(0), ElementsAre(0, 0, testing::DoubleNear(900.0 * std::expm1(0.03125), 1e-9)));
    EXPECT_THAT(rates.Row(1), ElementsAre(testing::DoubleNear(700.0 * std::expm1(-0.015625), 1e-9), 0, 0));
    EXPECT_THAT(Of(Matrix_VolatMismatch, "FUT", false).cells, testing::AllOf(testing::SizeIs(6), Each(0.0)));
    EXPECT_EQ(Of(Matrix_Expiration, "FUT", false).scenarios, 0U);
}

TEST_F(ReadBackOfInstruments, AnOptionIsItsValuesOverTheColumnsOfItsSeries)
{
    const Reading call = Of(Matrix_Volatility, "ALONE-11", true);
    ASSERT_EQ(call.points, 3U);
    ASSERT_EQ(call.scenarios, 3U);
    const double worth[] = {0.0, 50.0, 150.0};
    for (std::size_t i = 0; i < call.cells.size(); ++i)
        EXPECT_NEAR(call.cells[i], worth[i % 3], 1e-4);
    EXPECT_NEAR(call.info.PnL3U, 250.0, 1e-4) << "at 1000";

    const Reading fine = Of(Matrix_Volatility, "FINE-14", true);
    EXPECT_GT(fine.info.SubPointsCount, 0);
    EXPECT_EQ(fine.points, 3U + static_cast<std::size_t>(fine.info.SubPointsCount));
    EXPECT_EQ(Of(Matrix_Expiration, "DEL-12", true).scenarios, 3U) << "prices of delivery";
}

TEST_F(ReadBackOfInstruments, EveryMatrixOfEveryLevelIsThatOfTheProfile)
{
    const auto& instruments = tree.Instruments();
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        for (const eChooseRiskType matrix : AllMatrices) {
            for (const char* const code : {"FUT", "NET-1"}) {
                const kv7im::Profile profile = instruments.GetFutures(code)->CopyProfile(level);
                const Reading reading = Of(matrix | ExpirationRiskNode, code, false, level); // bit 0 means nothing here
                EXPECT_TRUE(SameCells(reading.cells, CellsOf(MatrixOf(profile, matrix))));
                EXPECT_EQ(PointsOf(reading.info), PointsOf(profile.GetSpecialRiskPoints()));
            }
            for (const char* const code : {"NETPUT-13", "FINE-14", "DEL-12"}) {
                const kv7im::Profile profile =
                    instruments.GetOption(kv7im::AccessByStatus::eCurrent, std::string_view(code))->CopyProfile(level);
                const Reading reading = Of(matrix, code, true, level);
                EXPECT_TRUE(SameCells(reading.cells, CellsOf(MatrixOf(profile, matrix))));
                EXPECT_EQ(PointsOf(reading.info), PointsOf(profile.GetSpecialRiskPoints()));
                EXPECT_EQ(reading.info.SubPointsCount,
                          static_cast<std::int32_t>(profile.GetParameters().subPointsCount));
            }
        }
    }
}

// Prices have no collapse.
TEST_F(ReadBackOfInstruments, AFinalTypeIsOneWithoutAMatrix)
{
    for (const eChooseRiskType type :
         {VolatilityRiskNode, ExpirationRiskNode, Matrix_Final, Matrix_FinalWithPositiveValues}) {
        std::size_t points = 6;
        std::size_t scenarios = 5;
        double arr[1] = {Guard};
        Info info;
        EXPECT_EQ(tree.calculator.GetRiskPoints(type, "FUT", false, arr, points, scenarios, info,
                                                Enums::ClientRiskLevel::Low),
                  0);
        EXPECT_EQ(points, 6U);
        EXPECT_EQ(scenarios, 5U);
        EXPECT_THAT(arr, Each(Guard));
        EXPECT_EQ(info.PnL2D, 700.0) << "its points all the same: 0.125 of 800";
    }
}

TEST_F(ReadBackOfInstruments, AreRefusedWithTheCodeOfTheirKind)
{
    EXPECT_EQ(Of(Matrix_Volatility, "NOBODY", false).code, Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(Of(Matrix_Volatility, "ALONE-11", false).code, Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(Of(Matrix_Volatility, "ALONE", true).code, Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND);
    EXPECT_EQ(Of(Matrix_Volatility, "FUT", true).code, Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND);
    for (const int level : {-1, 5, 1000})
        for (const bool isOption : {false, true})
            EXPECT_EQ(Of(Matrix_Volatility, isOption ? "ALONE-11" : "FUT", isOption,
                         static_cast<Enums::ClientRiskLevel>(level))
                          .code,
                      Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
}

// As a null text does. A copying call without an array asks for its code otherwise.
TEST_F(ReadBackOfInstruments, ALevelThatThereIsNotIsRefusedBeforeTheArrayIsAskedFor)
{
    for (const bool isOption : {false, true})
        for (const int level : {0, 5}) {
            std::size_t points = 3;
            std::size_t scenarios = 5;
            Info info;
            EXPECT_EQ(tree.calculator.GetRiskPoints(Matrix_Volatility, isOption ? "ALONE-11" : "FUT", isOption, nullptr,
                                                    points, scenarios, info,
                                                    static_cast<Enums::ClientRiskLevel>(level)),
                      level == 5 ? Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS : Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
            EXPECT_EQ(std::pair(points, scenarios), std::pair(std::size_t{3}, std::size_t{5}));
        }
}

} // namespace
} // namespace test::ReadBackTest
