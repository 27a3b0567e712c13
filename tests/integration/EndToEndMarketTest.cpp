// The shared library over a real router and server: instruments in and out, the account tree, positions, orders.
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gmock/gmock.h>

#include "LibraryHost.h"

namespace test::EndToEndMarketTest {
namespace {

using namespace quindal::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class Download : public LibraryHost
{};

TEST_F(Download, FillsTheCalculatorWithTheMarketPlainOrCompressed)
{
    for (const bool compress : {true, false}) {
        SCOPED_TRACE(compress ? "compressed" : "plain");
        Serve(SmallMarket, compress);
        StartAll();
        ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);

        double edgeCoeff = 0.0;
        EXPECT_EQ(GetCommonParams(calc, &edgeCoeff), 0);
        EXPECT_EQ(edgeCoeff, 0.5);
        std::int32_t count = -1;
        EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
        EXPECT_EQ(count, 1);
        std::int32_t currency = 0;
        double radius = 0.0;
        EXPECT_EQ(GetNextCurrency(calc, &currency, &radius), 0);
        EXPECT_EQ(currency, 840);
        EXPECT_EQ(radius, 0.045);
        EXPECT_EQ(GetNextCurrency(calc, &currency, &radius), 94810);

        EXPECT_EQ(SetOnFirstBaseContract(calc, &count), 0);
        EXPECT_EQ(count, 1);
        calls::BaseContractEntry contract;
        EXPECT_EQ(contract.GetNext(calc), 0);
        EXPECT_STREQ(contract.code.data(), "INDX");
        EXPECT_STREQ(contract.mcs.data(), "GROUP");
        EXPECT_THAT(contract.rates, ElementsAre(0.1, 0.15, 0.2, 0.09, 0.14, 0.19, 0.11, 0.16, 0.21, 0.12, 0.17, 0.22,
                                                0.13, 0.18, 0.23));
        EXPECT_EQ(SetOnFirstFutures(calc, &count), 0);
        EXPECT_EQ(count, 1);
        calls::FuturesEntry futures;
        EXPECT_EQ(futures.GetNext(calc), 0);
        EXPECT_STREQ(futures.code.data(), "INDX-12.26");
        EXPECT_EQ(futures.addOnDown, 0.002);

        EXPECT_EQ(SetOnFirstOptionSeries(calc, &count), 0);
        EXPECT_EQ(count, 1);
        calls::OptionSeriesEntry series;
        EXPECT_EQ(series.GetNext(calc), 0);
        EXPECT_STREQ(series.code.data(), "INDX-12.26M17");
        EXPECT_STREQ(series.futures.data(), "INDX-12.26");
        EXPECT_EQ(series.sqrtT, 0.25) << "of a sixteenth of a year";
        calls::OptionSeriesArguments sent = calls::OptionSeriesArguments::AllDifferent();
        sent.TimeToExpiration = 0.0625;
        EXPECT_EQ(series.values, sent);
        EXPECT_EQ(SetOnFirstOption(calc, &count), 0);
        EXPECT_EQ(count, 1);
        calls::OptionEntry option;
        EXPECT_EQ(option.GetNext(calc), 0);
        EXPECT_STREQ(option.code.data(), "INDX-12.26M17P3300");
        EXPECT_STREQ(option.series.data(), "INDX-12.26M17");
        EXPECT_EQ(option.strike, 3300.5);
        EXPECT_EQ(option.type, QUINDAL_OPTION_TYPE_PUT);
        EXPECT_EQ(option.calcOptPrice, 41.25);
        ASSERT_EQ(ClearAll(calc), 0);
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
}

TEST_F(Download, AMarketWithNothingInItIsAMarketToo)
{
    Serve("<root/>");
    StartAll();
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    std::int32_t count = -1;
    EXPECT_EQ(SetOnFirstFutures(calc, &count), 0);
    EXPECT_EQ(count, 0);
}

TEST_F(Download, AnEdgeCoefficientOfZeroCountsAsAQuarter)
{
    Serve(R"(<root><CommonParameters EdgeCoeff="0"/></root>)");
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    double edgeCoeff = 0.0;
    EXPECT_EQ(GetCommonParams(calc, &edgeCoeff), 0);
    EXPECT_EQ(edgeCoeff, 0.25);
}

TEST_F(Download, IsRefusedOnAFilledCalculatorUntilClearAll)
{
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    EXPECT_STREQ(GetErrorCodeDescription(94995), "Instruments already loaded. Please call ClearAll()");
    ASSERT_EQ(ClearParts(calc), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995) << "instruments are still there";
    ASSERT_EQ(ClearAll(calc), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);
}

TEST_F(Download, IsAllowedAfterCurrenciesAndCommonParametersAlone)
{
    StartAll();
    ASSERT_EQ(InsertCurrency(calc, 978, 0.5), 0);
    ASSERT_EQ(SetCommonParams(calc, 0.125), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, ""), 0);
    std::int32_t count = 0;
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
    EXPECT_EQ(count, 1) << "the download replaces everything";
}

TEST_F(Download, IsRefusedOnceAnAccountAFirmOrAnInstrumentWasEntered)
{
    StartAll();
    ASSERT_EQ(calls::Account(calc, "ACCOUNT"), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    ASSERT_EQ(ClearAll(calc), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    ASSERT_EQ(ClearAll(calc), 0);
    EXPECT_NE(calls::BaseContract(calc, "BC", "", -1), 0) << "a negative limit is refused";
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995) << "and the calculator is no longer empty all the same";
}

TEST_F(Download, AnIncompleteElementStopsItAndKeepsWhatCameBefore)
{
    Serve(R"(<root><Currency IndicatorID="840" Radius="0.045"/><Currency IndicatorID="978"/></root>)");
    StartAll();
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94808);
    std::int32_t count = -1;
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("No such node (<xmlattr>.Radius)")));
}

TEST_F(Download, LeavesACopyOfTheDocumentWhereTheIniFileAsksForOne)
{
    Serve();
    const std::string ini = Ini("[QuindalIM::options]\nxmlPath = " + File("copy.xml") + "\n");
    ASSERT_EQ(InitQuindalIM(ini.c_str(), User, Password), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    ASSERT_EQ(GetInstrumentParameters(calc, "2026/11/21/10/15/30"), 0);
    std::ifstream copy(File("copy.xml"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), SmallMarket);
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("RequestInstruments with datetime: "
                                                               "2026/11/21/10/15/30/000")));
}

/// The code of the next multileg; the size goes in as the capacity and comes out as the size needed.
struct MultilegEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;

    std::int32_t GetNext(std::intptr_t calc) { return GetNextMultileg(calc, code.data(), &codeSize); }
};

/// The small market with a second futures and the two rows of a calendar spread, behind a row whose leg nobody knows.
std::string MarketWithASpread()
{
    std::string market = SmallMarket;
    const std::size_t begin = market.find("<Futures ");
    const std::size_t end = market.find("/>", begin) + 2;
    std::string far = market.substr(begin, end - begin);
    far.replace(far.find("INDX-12.26"), 10, "INDX-3.27").replace(far.find("1001"), 4, "1002");
    far.replace(far.find("3302.5"), 6, "3369.0").replace(far.find("3302.0"), 6, "3368.5");
    return market.insert(end, far + R"(
  <Multileg Isin="1101" IsinLeg="1009" LegOrderNum="2" LegsQuantity="2" QuantityRatio="1" CodeLeg="INDX-6.27"/>
  <Multileg Isin="1102" IsinLeg="1002" LegOrderNum="2" LegsQuantity="2" QuantityRatio="1" CodeLeg="INDX-3.27"/>
  <Multileg Isin="1102" IsinLeg="1001" LegOrderNum="1" LegsQuantity="2" QuantityRatio="-1" CodeLeg="INDX-12.26"/>)");
}

TEST_F(Download, BringsCalendarSpreadsThatOrdersCanStandInAndPositionsCannot)
{
    Serve(MarketWithASpread());
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    EXPECT_THAT(Lines(File("library.log")),
                Contains(HasSubstr("InsertMultileg with code: INDX-6.27 - no such futures")));
    std::int32_t count = -1;
    ASSERT_EQ(SetOnFirstMultileg(calc, &count), 0);
    ASSERT_EQ(count, 1);
    MultilegEntry spread;
    ASSERT_EQ(spread.GetNext(calc), 0);
    EXPECT_STREQ(spread.code.data(), "INDX-12.26-3.27");
    EXPECT_EQ(spread.codeSize, 16);
    EXPECT_EQ(spread.GetNext(calc), 94810);

    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    calls::Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA01001", "INDX-12.26-3.27", 1, 0.0, 1, margins), 2) << "it has no calculated price";
    EXPECT_EQ(margins, calls::Margins());
    ASSERT_EQ(calls::Position(calc, "AA01001", "INDX-12.26-3.27", 1, 66.5, margins), 0);
    EXPECT_EQ(margins.part, 0.0) << "the legs hold the positions";
    ASSERT_EQ(calls::Order(calc, "AA01001", "INDX-12.26-3.27", 1, 66.5, 1, margins), 0);
    EXPECT_GT(margins.part, 0.0);
    ASSERT_EQ(calls::Order(calc, "AA01001", "INDX-12.26-3.27", 1, 66.5, -1, margins), 0);
    EXPECT_EQ(margins.part, 0.0);
}

// Every argument a value of its own, so that no two fields can be exchanged unseen.
class Cursors : public LibraryHost
{
protected:
    void SetUp() override { StartAll(); }

    [[nodiscard]] std::int32_t InsertContract(const char* code)
    {
        return InsertBaseContract(calc, code, "GROUP", 5, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP, 840, 0.125, 0.01,
                                  0.02, 0.03, 0.04, 0.05, 0.06, 0.07, 0.08, 0.09, 0.10, 0.11, 0.12, 0.13, 0.14, 0.15,
                                  1000, 2000, 7, 0.25, QUINDAL_OPTION_MODEL_BACHELIER, 110.5,
                                  QUINDAL_ASSET_CLASS_COMMODITY, 0.375);
    }
    [[nodiscard]] std::int32_t InsertContractFutures(const char* code)
    {
        return InsertFutures(calc, code, "BC", 100.5, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 1.25, 100.75, 0.5, 10.0, 0.01,
                             0.02, 0.375, 99.5, QUINDAL_ATTRIBUTE_DELIVERY, 0.003, 0.004, 1, "");
    }
};

TEST_F(Cursors, GiveBackEveryFieldOfABaseContract)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.045), 0);
    ASSERT_EQ(InsertContract("BC"), 0);
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstBaseContract(calc, &count), 0);
    EXPECT_EQ(count, 1);
    calls::BaseContractEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "BC");
    EXPECT_EQ(entry.codeSize, 3);
    EXPECT_STREQ(entry.mcs.data(), "GROUP");
    EXPECT_EQ(entry.mcsSize, 6);
    EXPECT_EQ(entry.volatNum, 5);
    EXPECT_EQ(entry.pointsNum, 7);
    EXPECT_EQ(entry.mspType, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP);
    EXPECT_EQ(entry.currencyId, 840);
    EXPECT_EQ(entry.minimumCharge, 0.125);
    EXPECT_THAT(entry.rates,
                ElementsAre(0.01, 0.02, 0.03, 0.04, 0.05, 0.06, 0.07, 0.08, 0.09, 0.10, 0.11, 0.12, 0.13, 0.14, 0.15));
    EXPECT_EQ(entry.limit1, 1000);
    EXPECT_EQ(entry.limit2, 2000);
    EXPECT_EQ(entry.window, 0.25);
    EXPECT_EQ(entry.optionModel, QUINDAL_OPTION_MODEL_BACHELIER);
    EXPECT_EQ(entry.spotPrice, 110.5);
    EXPECT_EQ(entry.assetClass, QUINDAL_ASSET_CLASS_COMMODITY);
    EXPECT_EQ(entry.cfRisk, 0.375);
    calls::BaseContractEntry untouched;
    EXPECT_EQ(untouched.GetNext(calc), 94810);
    EXPECT_EQ(untouched, calls::BaseContractEntry()) << "the end of data writes nothing";
}

// The limit is half the move of the level, whose rate is a share of the spot: 0.01, 0.04, 0.07, 0.10 and 0.13
// times 99.5, halved.
TEST_F(Cursors, GiveBackEveryFieldOfAFuturesAndItsLimitAtEachLevel)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.045), 0);
    ASSERT_EQ(InsertContract("BC"), 0);
    ASSERT_EQ(InsertContractFutures("FUT"), 0);
    constexpr double limits[] = {0.4975, 1.99, 3.4825, 4.975, 6.4675};
    for (std::int32_t level = QUINDAL_CLIENT_RISK_LEVEL_DEFAULT; level <= QUINDAL_CLIENT_RISK_LEVEL_EXCEPTIONAL;
         ++level) {
        std::int32_t count = 0;
        ASSERT_EQ(SetOnFirstFutures(calc, &count), 0);
        EXPECT_EQ(count, 1);
        calls::FuturesEntry entry;
        ASSERT_EQ(entry.GetNext(calc, level), 0);
        EXPECT_STREQ(entry.code.data(), "FUT");
        EXPECT_EQ(entry.codeSize, 4);
        EXPECT_STREQ(entry.baseContract.data(), "BC");
        EXPECT_EQ(entry.baseContractSize, 3);
        EXPECT_NEAR(entry.limit, limits[level], 1e-12) << "level " << level;
        EXPECT_EQ(entry.calcFutPrice, 100.5);
        EXPECT_EQ(entry.spreadAspect, QUINDAL_SPREAD_ASPECT_IN_SPREAD);
        EXPECT_EQ(entry.minStepPrice, 1.25);
        EXPECT_EQ(entry.realCalcPrice, 100.75);
        EXPECT_EQ(entry.minStep, 0.5);
        EXPECT_EQ(entry.xLot, 10.0);
        EXPECT_EQ(entry.rateUp, 0.01);
        EXPECT_EQ(entry.rateDown, 0.02);
        EXPECT_EQ(entry.timeToExpiration, 0.375);
        EXPECT_EQ(entry.normalizedSpot, 99.5);
        EXPECT_EQ(entry.attribute, QUINDAL_ATTRIBUTE_DELIVERY);
        EXPECT_EQ(entry.addOnUp, 0.003);
        EXPECT_EQ(entry.addOnDown, 0.004);
        EXPECT_EQ(entry.enforceHalfNetting, 1);
        EXPECT_STREQ(entry.tracked.data(), "");
        EXPECT_EQ(entry.trackedSize, 1);
    }
}

TEST_F(Cursors, GiveBackEveryFieldOfASeriesAndOfAnOption)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    const calls::OptionSeriesArguments given = calls::OptionSeriesArguments::AllDifferent();
    ASSERT_EQ(given.Insert(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER", 987.5, QUINDAL_OPTION_TYPE_PUT, 12.25), 0);
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstOptionSeries(calc, &count), 0);
    EXPECT_EQ(count, 1);
    calls::OptionSeriesEntry series;
    ASSERT_EQ(series.GetNext(calc), 0);
    EXPECT_STREQ(series.code.data(), "SER");
    EXPECT_EQ(series.codeSize, 4);
    EXPECT_STREQ(series.futures.data(), "FUT");
    EXPECT_EQ(series.futuresSize, 4);
    EXPECT_EQ(series.sqrtT, 0.5);
    EXPECT_EQ(series.values, given);
    ASSERT_EQ(SetOnFirstOption(calc, &count), 0);
    EXPECT_EQ(count, 1);
    calls::OptionEntry option;
    ASSERT_EQ(option.GetNext(calc), 0);
    EXPECT_STREQ(option.code.data(), "OPT");
    EXPECT_EQ(option.codeSize, 4);
    EXPECT_STREQ(option.series.data(), "SER");
    EXPECT_EQ(option.seriesSize, 4);
    EXPECT_EQ(option.strike, 987.5);
    EXPECT_EQ(option.type, QUINDAL_OPTION_TYPE_PUT);
    EXPECT_EQ(option.calcOptPrice, 12.25);
    calls::OptionSeriesEntry noSeries;
    calls::OptionEntry noOption;
    EXPECT_EQ(noSeries.GetNext(calc), 94810);
    EXPECT_EQ(noOption.GetNext(calc), 94810);
    EXPECT_EQ(noSeries, calls::OptionSeriesEntry()) << "the end of data writes nothing";
    EXPECT_EQ(noOption, calls::OptionEntry());
}

TEST_F(Cursors, ATradeAtSettlementContractMayBeInsertedBeforeTheOneItTracks)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::BaseContract(calc, "TAS"), 0);
    ASSERT_EQ(calls::Futures(calc, "TAS-1", "TAS", "FUT-1"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT-1", "BC"), 0);
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstFutures(calc, &count), 0);
    ASSERT_EQ(count, 2);
    for (int i = 0; i < 2; ++i) {
        calls::FuturesEntry entry;
        ASSERT_EQ(entry.GetNext(calc), 0);
        const bool tracks = std::strcmp(entry.code.data(), "TAS-1") == 0;
        EXPECT_STREQ(entry.tracked.data(), tracks ? "FUT-1" : "");
        EXPECT_EQ(entry.trackedSize, tracks ? 6 : 1);
    }
}

// A buffer that is too small gives 7 and the sizes needed, nothing else, and the entry is passed over.
TEST_F(Cursors, ASmallBufferGivesTheSizesAndMovesOn)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.045), 0);
    ASSERT_EQ(InsertContract("BC"), 0);
    ASSERT_EQ(InsertContractFutures("FUT-1"), 0);
    ASSERT_EQ(InsertContractFutures("FUT-2"), 0);
    for (const std::int32_t capacity : {0, 1, 5}) { // 5 is the length, 6 is needed
        SCOPED_TRACE(capacity);
        std::int32_t count = 0;
        ASSERT_EQ(SetOnFirstFutures(calc, &count), 0);
        ASSERT_EQ(count, 2);
        calls::FuturesEntry small;
        small.codeSize = capacity;
        EXPECT_EQ(small.GetNext(calc), 7);
        calls::FuturesEntry onlySizes;
        onlySizes.codeSize = 6;
        onlySizes.baseContractSize = 3;
        onlySizes.trackedSize = 1;
        EXPECT_EQ(small, onlySizes);

        calls::FuturesEntry exact; // length + 1 is enough
        exact.codeSize = 6;
        EXPECT_EQ(exact.GetNext(calc), 0) << "the next entry";
        EXPECT_EQ(std::strncmp(exact.code.data(), "FUT-", 4), 0);
        EXPECT_EQ(exact.codeSize, 6);
        calls::FuturesEntry end;
        EXPECT_EQ(end.GetNext(calc), 94810) << "the entry that did not fit is not offered again";
    }
}

TEST_F(Cursors, CurrenciesComeInTheOrderOfInsertionAndNotBeforeTheCursorIsSet)
{
    for (const std::int32_t id : {978, 840, 156})
        ASSERT_EQ(InsertCurrency(calc, id, id * 0.001), 0);
    EXPECT_EQ(InsertCurrency(calc, 840, 0.5), 94791);
    std::int32_t id = -1;
    double radius = -1.0;
    EXPECT_EQ(GetNextCurrency(calc, &id, &radius), 94810);
    EXPECT_EQ(id, -1);
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstCurrency(calc, &count), 0);
    EXPECT_EQ(count, 3);
    for (const std::int32_t expected : {978, 840, 156}) {
        ASSERT_EQ(GetNextCurrency(calc, &id, &radius), 0);
        EXPECT_EQ(id, expected);
        EXPECT_EQ(radius, expected * 0.001);
    }
    EXPECT_EQ(GetNextCurrency(calc, &id, &radius), 94810);
}

TEST_F(Cursors, MultilegsComeInTheOrderOfInsertionUnderTheirCodes)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    for (const char* futures : {"FUT-1", "FUT-2", "FUT-3"})
        ASSERT_EQ(calls::Futures(calc, futures, "BC"), 0);
    EXPECT_EQ(InsertMultileg(calc, "FUT-1"), 94723) << "no two legs";
    EXPECT_EQ(InsertMultileg(calc, "FUT-1-4"), 94715) << "no such leg";
    for (const char* multileg : {"FUT-2-3", "FUT-1-2", "FUT-1-3"})
        ASSERT_EQ(InsertMultileg(calc, multileg), 0);
    EXPECT_EQ(InsertMultileg(calc, "FUT-1-2"), 94792);
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstMultileg(calc, &count), 0);
    ASSERT_EQ(count, 3);
    MultilegEntry none{{"untouched"}, 0};
    EXPECT_EQ(none.GetNext(calc), 7) << "FUT-2-3 does not fit and is passed over";
    EXPECT_EQ(none.codeSize, 8);
    EXPECT_STREQ(none.code.data(), "untouched");
    for (const char* expected : {"FUT-1-2", "FUT-1-3"}) {
        MultilegEntry exact{{"untouched"}, 8};
        ASSERT_EQ(exact.GetNext(calc), 0);
        EXPECT_STREQ(exact.code.data(), expected);
    }
    EXPECT_EQ(MultilegEntry().GetNext(calc), 94810);
}

TEST_F(Cursors, InstrumentsNeedTheirParentAndAreTakenOnce)
{
    EXPECT_EQ(calls::Futures(calc, "FUT", "BC"), 94714);
    EXPECT_THAT(Lines(File("trace.log")), Contains(HasSubstr("94714,CalcGO: Base contract not found,InsertFutures")));
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    EXPECT_EQ(calls::Futures(calc, "FUT", "BC"), 94520);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER"), 94515);
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "NONE"), 94510);
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 94519);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER"), 94521);
}

class Participants : public LibraryHost
{};

TEST_F(Participants, NoMoreClientsAreRegisteredThanTheServerAllows)
{
    partCount = 2;
    StartAll();
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    EXPECT_EQ(calls::Part(calc, "BB01001"), 94720) << "no such firm";
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    EXPECT_EQ(calls::Part(calc, "AA01001"), 94717) << "registered already, below the limit";
    ASSERT_EQ(calls::Part(calc, "AA01002"), 0);
    EXPECT_EQ(calls::Part(calc, "AA01003"), 94818);
    EXPECT_EQ(calls::Part(calc, "AA01001"), 94818) << "the limit comes first, even for one that is there";
    EXPECT_THAT(Lines(File("library.log")),
                Contains(HasSubstr("RegisterPart: Exceeded limit on number of participants (max 2)")));
    ASSERT_EQ(ClearParts(calc), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    EXPECT_EQ(calls::Part(calc, "AA01003"), 0) << "removed clients count no longer";
}

TEST_F(Participants, AreRefusedForBadCodesAndRepeats)
{
    StartAll();
    EXPECT_EQ(calls::Firm(calc, "AA1"), 94811);
    EXPECT_EQ(calls::Firm(calc, nullptr), 94811);
    EXPECT_EQ(calls::Part(calc, "AA0100"), 94811);
    const std::vector<std::string> log = Lines(File("library.log"));
    EXPECT_THAT(log, Contains(HasSubstr("RegisterFirm: Length of BrokerCode must be 4 symbols")));
    EXPECT_THAT(log, Contains(HasSubstr("RegisterPart: Length of ClientCode must be 7 symbols")));

    EXPECT_EQ(calls::Account(calc, "ACCOUNT-0001"), 0);
    EXPECT_EQ(calls::Account(calc, "ACCOUNT-0001"), 94740);
    EXPECT_EQ(calls::Account(calc, "ACCOUNT-0001-AND-MORE"), 94740) << "the first twelve characters count";
    EXPECT_EQ(calls::Account(calc, "OTHER", 1), 94723);
    EXPECT_EQ(calls::Firm(calc, "AA01", "NO-SUCH-ACC"), 0) << "a firm may stand without an account";
    EXPECT_EQ(calls::Firm(calc, "AA01"), 94719);
    EXPECT_EQ(InsertBrokerBaseContractParam(calc, "BB01", "BC", 1.5), 94720);
}

class Positions : public LibraryHost
{
protected:
    void SetUp() override
    {
        StartAll();
        ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
        ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
        ASSERT_EQ(calls::Account(calc, "ACCOUNT"), 0);
        ASSERT_EQ(calls::Firm(calc, "AA01", "ACCOUNT"), 0);
        ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    }

    // Each output holds a value of its own before the call.
    calls::Margins margins;
    const calls::Margins untouched{};
};

// The grid is 900, 1000, 1100 and a point is worth 1: three long at the calculated price lose 300.
TEST_F(Positions, OfAClientWriteItsThreeFiguresAndLeaveTheTwoAbove)
{
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT", 3, 0.0, margins), 0);
    EXPECT_NEAR(margins.volatility, 300.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 300.0, 1e-9);
    EXPECT_EQ(margins.part, 300.0);
    EXPECT_EQ(margins.firm, untouched.firm);
    EXPECT_EQ(margins.account, untouched.account);
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT", 0, 0.0, margins), 0);
    EXPECT_EQ(margins.part, 0.0);
}

TEST_F(Positions, OfAFirmAndOfAnAccountWriteNothing)
{
    ASSERT_EQ(calls::Position(calc, "AA01", "FUT", 3, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_BROKER), 0);
    EXPECT_EQ(margins, untouched);
    ASSERT_EQ(calls::Position(calc, "ACCOUNT", "FUT", 3, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT),
              0);
    EXPECT_EQ(margins, untouched);
    ASSERT_EQ(calls::Position(calc, "ACCOUNT", "FUT", 3, 0.0, margins, 3), 0) << "any other level is an account's";
    EXPECT_EQ(margins, untouched);
}

// Two bought at 1000 lose 200 at 900, three sold at 970 lose 390 at 1100; of both it is the worse, for at 900 and at
// 1100 one of them loses nothing. Cancelled, they are gone.
TEST_F(Positions, TakeOrdersBesideThemThatAddWhatTheyCouldLose)
{
    ASSERT_EQ(calls::Order(calc, "AA01001", "FUT", 1, 0.0, 2, margins), 0);
    EXPECT_NEAR(margins.volatility, 200.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 200.0, 1e-9);
    EXPECT_EQ(margins.part, 200.0);
    EXPECT_EQ(margins.firm, 0.0) << "unlike a position, an order writes a zero here";
    EXPECT_EQ(margins.account, 0.0);
    ASSERT_EQ(calls::Order(calc, "AA01001", "FUT", 0, 970.0, 3, margins), 0);
    EXPECT_EQ(margins.part, 390.0);
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT", 1, 0.0, margins), 0);
    EXPECT_EQ(margins.part, 300.0) << "one held loses 100 more at 900, and gains 100 at 1100";
    ASSERT_EQ(calls::Order(calc, "AA01001", "FUT", 1, 0.0, -2, margins), 0);
    EXPECT_EQ(margins.part, 290.0);
    ASSERT_EQ(calls::Order(calc, "AA01001", "FUT", 0, 970.0, -3, margins), 0);
    EXPECT_EQ(margins.part, 100.0);
}

TEST_F(Positions, AndOrdersOfUnknownNamesWriteNothing)
{
    EXPECT_EQ(calls::Order(calc, "AA01001", "NONE", 1, 0.0, 3, margins), 94813);
    EXPECT_EQ(calls::Order(calc, "AA01001", "BC", 1, 1000.0, 3, margins), 94260) << "a base contract holds no order";
    EXPECT_EQ(calls::Order(calc, "AA01002", "FUT", 1, 0.0, 3, margins), 94309);
    EXPECT_EQ(margins, untouched);
    EXPECT_EQ(calls::Order(calc, nullptr, nullptr, 1, 0.0, 3, margins), 94811);
    EXPECT_THAT(Lines(File("library.log")).back(), HasSubstr("ChangeOrder: Code is null")) << "the client first";
}

TEST_F(Positions, ThatAreRefusedWriteNothing)
{
    EXPECT_EQ(calls::Position(calc, "AA01001", "NONE", 3, 0.0, margins), 94813);
    EXPECT_EQ(calls::Position(calc, "AA01001", "BC", 3, 0.0, margins), 94260) << "a base contract holds no position";
    EXPECT_EQ(calls::Position(calc, "AA01002", "FUT", 3, 0.0, margins), 94309);
    EXPECT_EQ(calls::Position(calc, "AA02", "FUT", 3, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_BROKER), 94312);
    EXPECT_NE(calls::Position(calc, "NO-ACCOUNT", "FUT", 3, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT),
              0);
    EXPECT_EQ(margins, untouched);
}

TEST_F(Positions, WithNullPointersAreRefusedByNameTheInstrumentFirst)
{
    double figure = 7.0;
    EXPECT_EQ(SetPosition(calc, nullptr, nullptr, 1, 0.0, &figure, &figure, &figure, &figure, &figure, 2, 0), 94811);
    EXPECT_THAT(Lines(File("library.log")).back(), HasSubstr("ERROR [QuindalIM] SetPosition: InstrCode is null"));
    EXPECT_EQ(SetPosition(calc, nullptr, "FUT", 1, 0.0, &figure, &figure, &figure, &figure, &figure, 2, 0), 94811);
    EXPECT_THAT(Lines(File("library.log")).back(), HasSubstr("SetPosition: Code is null"));
    EXPECT_EQ(SetPosition(calc, "AA01001", "FUT", 1, 0.0, &figure, &figure, &figure, nullptr, &figure, 2, 0), 94811);
    EXPECT_THAT(Lines(File("library.log")).back(), HasSubstr("SetPosition: FirmGO is null"));
    EXPECT_EQ(figure, 7.0);
}

} // namespace
} // namespace test::EndToEndMarketTest
