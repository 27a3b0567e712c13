// What QuindalIM.hpp refuses before the library is called, and that each value stands in its place: every number of
// QuindalIM.h that goes in is tried, and every one that comes back.
#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "CppHeaderFixture.h"

namespace test::CppHeaderArgumentsTest {
namespace {

using namespace quindal::test;
using namespace quindalim;

/// A number of a record: the parameter of QuindalIM.h and its place.
template <class Record>
struct Number
{
    const char* parameter;
    std::function<double&(Record&)> place;
};

#define PLACE(Record, parameter, place)                                                                                \
    Number<Record>                                                                                                     \
    {                                                                                                                  \
        parameter, [](Record& record) -> double& { return record.place; }                                              \
    }

const std::vector<Number<Currency>> NumbersOfCurrency{PLACE(Currency, "CurvatureRadius", curvatureRadius)};
const std::vector<Number<BaseContract>> NumbersOfBaseContract{
    PLACE(BaseContract, "ShortOptionMinimumCharge", shortOptionMinimumCharge),
    PLACE(BaseContract, "MarketRisk", standard.marketRisk),
    PLACE(BaseContract, "MarketRisk1", standard.marketRisk1),
    PLACE(BaseContract, "MarketRisk2", standard.marketRisk2),
    PLACE(BaseContract, "MarketRiskLow", low.marketRisk),
    PLACE(BaseContract, "MarketRisk1Low", low.marketRisk1),
    PLACE(BaseContract, "MarketRisk2Low", low.marketRisk2),
    PLACE(BaseContract, "MarketRiskMedium", medium.marketRisk),
    PLACE(BaseContract, "MarketRisk1Medium", medium.marketRisk1),
    PLACE(BaseContract, "MarketRisk2Medium", medium.marketRisk2),
    PLACE(BaseContract, "MarketRiskHigh", high.marketRisk),
    PLACE(BaseContract, "MarketRisk1High", high.marketRisk1),
    PLACE(BaseContract, "MarketRisk2High", high.marketRisk2),
    PLACE(BaseContract, "MarketRiskExceptional", exceptional.marketRisk),
    PLACE(BaseContract, "MarketRisk1Exceptional", exceptional.marketRisk1),
    PLACE(BaseContract, "MarketRisk2Exceptional", exceptional.marketRisk2),
    PLACE(BaseContract, "WindowSizePercentage", windowSizePercentage),
    PLACE(BaseContract, "SpotPrice", spotPrice),
    PLACE(BaseContract, "CFRisk", cfRisk)};
const std::vector<Number<Futures>> NumbersOfFutures{PLACE(Futures, "CalcFutPrice", calcFutPrice),
                                                    PLACE(Futures, "MinStepPrice", minStepPrice),
                                                    PLACE(Futures, "RealCalcPrice", realCalcPrice),
                                                    PLACE(Futures, "MinStep", minStep),
                                                    PLACE(Futures, "XLot", xLot),
                                                    PLACE(Futures, "InterestRateRiskUp", interestRateRiskUp),
                                                    PLACE(Futures, "InterestRateRiskDown", interestRateRiskDown),
                                                    PLACE(Futures, "TimeToExpiration", timeToExpiration),
                                                    PLACE(Futures, "NormalizedSpot", normalizedSpot),
                                                    PLACE(Futures, "MRAddOnUp", mrAddOnUp),
                                                    PLACE(Futures, "MRAddOnDown", mrAddOnDown)};
const std::vector<Number<OptionSeries>> NumbersOfSeries{
    PLACE(OptionSeries, "A_Black", black.a),
    PLACE(OptionSeries, "B_Black", black.b),
    PLACE(OptionSeries, "C_Black", black.c),
    PLACE(OptionSeries, "D_Black", black.d),
    PLACE(OptionSeries, "E_Black", black.e),
    PLACE(OptionSeries, "S_Black", black.s),
    PLACE(OptionSeries, "StrikeStep", strikeStep),
    PLACE(OptionSeries, "VolatilityRisk", volatilityRisk),
    PLACE(OptionSeries, "VolatilityRiskMismatch", volatilityRiskMismatch),
    PLACE(OptionSeries, "TimeToExpiration", timeToExpiration),
    PLACE(OptionSeries, "A_Bach", bachelier.a),
    PLACE(OptionSeries, "B_Bach", bachelier.b),
    PLACE(OptionSeries, "C_Bach", bachelier.c),
    PLACE(OptionSeries, "D_Bach", bachelier.d),
    PLACE(OptionSeries, "E_Bach", bachelier.e),
    PLACE(OptionSeries, "S_Bach", bachelier.s),
    PLACE(OptionSeries, "M_Bach", mBach),
    PLACE(OptionSeries, "MinStep", minStep),
    PLACE(OptionSeries, "MinStepPrice", minStepPrice),
    PLACE(OptionSeries, "r", r),
    PLACE(OptionSeries, "InterestRateRiskUp", interestRateRiskUp),
    PLACE(OptionSeries, "InterestRateRiskDown", interestRateRiskDown),
    PLACE(OptionSeries, "FixedSpotDiscount", fixedSpotDiscount),
    PLACE(OptionSeries, "ProjectedSpotDiscount", projectedSpotDiscount),
    PLACE(OptionSeries, "r2", r2),
    PLACE(OptionSeries, "InterestRate2RiskUp", interestRate2RiskUp),
    PLACE(OptionSeries, "InterestRate2RiskDown", interestRate2RiskDown)};
const std::vector<Number<Option>> NumbersOfOption{PLACE(Option, "Strike", strike),
                                                  PLACE(Option, "CalcOptPrice", calcOptPrice)};
const std::vector<Number<SettlementAccount>> NumbersOfAccount{
    PLACE(SettlementAccount, "ShortOptionMinimumChargeRatio", shortOptionMinimumChargeRatio)};
const std::vector<Number<Firm>> NumbersOfFirm{
    PLACE(Firm, "ExpWeight", expWeight), PLACE(Firm, "ExpWeightClientDefault", expWeightClientDefault),
    PLACE(Firm, "ShortOptionMinimumChargeRatio", shortOptionMinimumChargeRatio)};
const std::vector<Number<Client>> NumbersOfClient{
    PLACE(Client, "ExpWeight", expWeight), PLACE(Client, "GORatio", goRatio),
    PLACE(Client, "ShortOptionMinimumChargeRatio", shortOptionMinimumChargeRatio)};
const std::vector<Number<Client>> NumbersOfAChange{PLACE(Client, "ExpWeight", expWeight)};
const std::vector<Number<Position>> NumbersOfPosition{PLACE(Position, "WAPrice", price)};
const std::vector<Number<OrderChange>> NumbersOfOrder{PLACE(OrderChange, "Price", price)};

/// "InsertFutures.MinStep" of each number that a function of QuindalIM.h takes, those of the risk arrays aside.
std::set<std::string> NumbersOfTheHeader()
{
    std::ifstream file(QUINDAL_HEADER);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    text = std::regex_replace(text, std::regex(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)"), "");
    std::set<std::string> numbers;
    const std::regex declaration(R"(QUINDAL_API int32_t (\w+)\(([^)]*)\))");
    const std::regex number(R"(\bdouble (\w+))");
    for (std::sregex_iterator found(text.begin(), text.end(), declaration), end; found != end; ++found) {
        const std::string parameters = (*found)[2];
        for (std::sregex_iterator each(parameters.begin(), parameters.end(), number); each != end; ++each)
            numbers.insert((*found)[1].str() + "." + (*each)[1].str());
    }
    return numbers;
}

class CppArguments : public CppHeaderFixture
{
protected:
    void SetUp() override { Start(); }

    template <class Outcome>
    void ExpectRefusal(const Outcome& result, std::int32_t code, const char* function, const char* parameter,
                       const char* reason)
    {
        const Failure failure = result.error();
        EXPECT_EQ(failure.code, code) << function << " " << parameter;
        EXPECT_STREQ(failure.function, function);
        EXPECT_STREQ(failure.parameter, parameter);
        EXPECT_STREQ(failure.reason, reason) << function << " " << parameter;
        refused.insert(std::string(function) + "." + parameter);
        functions.insert(function);
    }
    /// NaN and infinities in each number of a record, one at a time.
    template <class Record, class Call>
    void ExpectFiniteNumbers(const char* function, const std::vector<Number<Record>>& numbers, const Call& call)
    {
        using Limits = std::numeric_limits<double>;
        for (const Number<Record>& number : numbers)
            for (const double value :
                 {Limits::quiet_NaN(), Limits::signaling_NaN(), Limits::infinity(), -Limits::infinity()}) {
                Record record;
                number.place(record) = value;
                ExpectRefusal(call(record), QUINDAL_ERR_COMMON_WRONG_ARGUMENTS, function, number.parameter,
                              "is not a finite number");
            }
    }
    /// A zero byte and too many bytes in a text.
    template <class Call>
    void ExpectWholeTexts(const char* function, const char* parameter, const Call& call)
    {
        ExpectRefusal(call(std::string("AB\0C", 4)), QUINDAL_ERR_WRONG_ARGUMENTS, function, parameter,
                      "has a zero byte");
        ExpectRefusal(call(std::string(CodeLength + 1, 'X')), QUINDAL_ERR_WRONG_ARGUMENTS, function, parameter,
                      "is too long");
    }
    void TearDown() override
    {
        EXPECT_EQ(CallsOf("CreateQuindalIMCalculator"), 1u) << "the log has the calls";
        for (const std::string& function : functions)
            EXPECT_EQ(CallsOf(function), 0u) << function << " was called";
    }

    std::set<std::string> refused; // "InsertFutures.MinStep"
    std::set<std::string> functions;
};

TEST_F(CppArguments, NumbersAreFiniteAllOfThem)
{
    const auto insert = [this](const auto& record) { return calculator->insert(record); };
    ExpectFiniteNumbers("InsertCurrency", NumbersOfCurrency, insert);
    ExpectFiniteNumbers("InsertBaseContract", NumbersOfBaseContract, insert);
    ExpectFiniteNumbers("InsertFutures", NumbersOfFutures, insert);
    ExpectFiniteNumbers("InsertOptionSeries", NumbersOfSeries, insert);
    ExpectFiniteNumbers("InsertOption", NumbersOfOption, insert);
    ExpectFiniteNumbers("RegisterSettlementAccount", NumbersOfAccount,
                        [this](const auto& record) { return calculator->registerSettlementAccount(record); });
    ExpectFiniteNumbers("RegisterFirm", NumbersOfFirm,
                        [this](const auto& record) { return calculator->registerFirm(record); });
    ExpectFiniteNumbers("RegisterPart", NumbersOfClient,
                        [this](const auto& record) { return calculator->registerClient(record); });
    ExpectFiniteNumbers("ChangePart", NumbersOfAChange,
                        [this](const auto& record) { return calculator->changeClient(record); });
    ExpectFiniteNumbers("SetPosition", NumbersOfPosition,
                        [this](const auto& record) { return calculator->setPosition(record); });
    ExpectFiniteNumbers("SetPosition", NumbersOfPosition, [this](const auto& record) {
        return calculator->setLevelPosition(AccountLevel::Firm, record);
    });
    ExpectFiniteNumbers("ChangeOrder", NumbersOfOrder,
                        [this](const auto& record) { return calculator->changeOrder(record); });
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ExpectRefusal(calculator->setEdgeCoefficient(nan), QUINDAL_ERR_COMMON_WRONG_ARGUMENTS, "SetCommonParams",
                  "EdgeCoeff", "is not a finite number");
    ExpectRefusal(calculator->setFirmRatio("AA01", "ABC", nan), QUINDAL_ERR_COMMON_WRONG_ARGUMENTS,
                  "InsertBrokerBaseContractParam", "GORatio", "is not a finite number");
    EXPECT_EQ(refused, NumbersOfTheHeader());
}

TEST_F(CppArguments, AmountsThatWouldSpoilABookAreRefused)
{
    const char* const bounds = "is not from -1e12 to 1e12";
    constexpr std::int32_t code = QUINDAL_ERR_COMMON_WRONG_ARGUMENTS;
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const auto position = [this](std::int64_t quantity, double price, std::int64_t cleared) {
        return calculator->setPosition({"AA01001", "ABC", quantity, price, cleared});
    };
    ExpectRefusal(position(1, 1e300, 1), code, "SetPosition", "WAPrice", bounds);
    ExpectRefusal(position(-most, 1, 1), code, "SetPosition", "Quantity", bounds);
    ExpectRefusal(position(1, 1, most), code, "SetPosition", "afterLastClearingQuantity", bounds);
    const auto order = [this](double price, std::int64_t quantity) {
        return calculator->changeOrder({"AA01001", "ABC", Side::Sell, price, quantity});
    };
    ExpectRefusal(order(-1e13, 1), code, "ChangeOrder", "Price", bounds);
    ExpectRefusal(order(1, most), code, "ChangeOrder", "DeltaQuantity", bounds);
}

TEST_F(CppArguments, TextsAreHandedOnWholeOrNotAtAll)
{
    const auto with = [this](auto record, auto place) {
        return [this, record, place](const std::string& text) {
            auto changed = record;
            changed.*place = text;
            return calculator->insert(changed);
        };
    };
    ExpectWholeTexts("InsertBaseContract", "BaseContractCode", with(BaseContract(), &BaseContract::code));
    ExpectWholeTexts("InsertBaseContract", "MCSCode", with(BaseContract(), &BaseContract::mcsCode));
    ExpectWholeTexts("InsertFutures", "FuturesCode", with(Futures(), &Futures::code));
    ExpectWholeTexts("InsertFutures", "BaseContractCode", with(Futures(), &Futures::baseContractCode));
    ExpectWholeTexts("InsertFutures", "TASBaseFutCode", with(Futures(), &Futures::tasBaseFutCode));
    ExpectWholeTexts("InsertOptionSeries", "OptionSeriesCode", with(OptionSeries(), &OptionSeries::code));
    ExpectWholeTexts("InsertOptionSeries", "FuturesCode", with(OptionSeries(), &OptionSeries::futuresCode));
    ExpectWholeTexts("InsertOption", "OptionCode", with(Option(), &Option::code));
    ExpectWholeTexts("InsertOption", "OptionSeriesCode", with(Option(), &Option::optionSeriesCode));
    ExpectWholeTexts("InsertMultileg", "MultilegCode", with(Multileg(), &Multileg::code));
    ExpectWholeTexts("GetInstrumentParameters", "DataTime",
                     [this](const std::string& text) { return calculator->loadInstruments(text); });
    ExpectWholeTexts("RegisterSettlementAccount", "SettlementAccountId",
                     [this](const std::string& text) { return calculator->registerSettlementAccount({text}); });
    ExpectWholeTexts("RegisterFirm", "BrokerCode",
                     [this](const std::string& text) { return calculator->registerFirm({text}); });
    ExpectWholeTexts("RegisterFirm", "SettlementAccountId", [this](const std::string& text) {
        return calculator->registerFirm({"AA01", text});
    });
    ExpectWholeTexts("RegisterPart", "ClientCode",
                     [this](const std::string& text) { return calculator->registerClient({text}); });
    ExpectWholeTexts("ChangePart", "Code",
                     [this](const std::string& text) { return calculator->changeClient({text}); });
    ExpectWholeTexts("InsertBrokerBaseContractParam", "Code",
                     [this](const std::string& text) { return calculator->setFirmRatio(text, "ABC", 1); });
    ExpectWholeTexts("InsertBrokerBaseContractParam", "CodeBC",
                     [this](const std::string& text) { return calculator->setFirmRatio("AA01", text, 1); });
    ExpectWholeTexts("SetPosition", "Code", [this](const std::string& text) {
        return calculator->setPosition({text, "ABC", 1});
    });
    ExpectWholeTexts("SetPosition", "InstrCode", [this](const std::string& text) {
        return calculator->setPosition({"AA01001", text, 1});
    });
    ExpectWholeTexts("ChangeOrder", "Code", [this](const std::string& text) {
        return calculator->changeOrder({text, "ABC", Side::Buy, 1.0, 1});
    });
    ExpectWholeTexts("ChangeOrder", "InstrCode", [this](const std::string& text) {
        return calculator->changeOrder({"AA01001", text, Side::Buy, 1.0, 1});
    });
}

class CppInstruments : public CppHeaderFixture
{
protected:
    /// The number that an element of the market has under the name of a parameter.
    [[nodiscard]] static double InTheMarket(const std::string& element, const std::string& parameter)
    {
        const std::string market = SmallMarket;
        std::size_t at = market.find("<" + element + " ");
        at = market.find(" " + parameter + "=\"", at);
        return std::stod(market.substr(at + parameter.size() + 3));
    }
    template <class Record>
    static void ExpectNumbers(const std::string& element, Record record, const std::vector<Number<Record>>& numbers)
    {
        for (const Number<Record>& number : numbers)
            EXPECT_EQ(number.place(record), InTheMarket(element, number.parameter))
                << element << " " << number.parameter;
    }
    /// All instruments of the small market, each value in its place.
    void ExpectSmallMarket() const
    {
        const Currency currency = calculator->currencies().value().at(0);
        EXPECT_EQ(currency.currencyId, 840);
        EXPECT_EQ(currency.curvatureRadius, InTheMarket("Currency", "Radius"));
        ExpectBaseContract(calculator->baseContracts().value().at(0));
        ExpectFutures(calculator->futures().value().at(0));
        ExpectSeries(calculator->optionSeries().value().at(0));
        const Option option = calculator->options().value().at(0);
        ExpectNumbers("Option", option, NumbersOfOption);
        EXPECT_EQ(option.code, "INDX-12.26M17P3300");
        EXPECT_EQ(option.optionSeriesCode, "INDX-12.26M17");
        EXPECT_EQ(option.optionType, OptionType::Put);
    }
    static void ExpectBaseContract(const BaseContract& contract)
    {
        ExpectNumbers("BaseContract", contract, NumbersOfBaseContract);
        EXPECT_EQ(contract.code, "INDX");
        EXPECT_EQ(contract.mcsCode, "GROUP");
        EXPECT_EQ(contract.volatNum, 3);
        EXPECT_EQ(contract.mspType, MspType::CurrencyIndicatorPriceStep);
        EXPECT_EQ(contract.currencyId, 840);
        EXPECT_EQ(contract.concentrationLimit1, 60000);
        EXPECT_EQ(contract.concentrationLimit2, 180000);
        EXPECT_EQ(contract.riskPointsN, 4);
        EXPECT_EQ(contract.optionModel, OptionModel::BlackScholes);
        EXPECT_EQ(contract.assetClass, AssetClass::Index);
    }
    static void ExpectFutures(const Futures& futures)
    {
        ExpectNumbers("Futures", futures, NumbersOfFutures);
        EXPECT_EQ(futures.code, "INDX-12.26");
        EXPECT_EQ(futures.baseContractCode, "INDX");
        EXPECT_EQ(futures.spreadAspect, SpreadAspect::InSpread);
        EXPECT_EQ(futures.attribute, Attribute::None);
        EXPECT_TRUE(futures.enforceImsHalfNetting);
        EXPECT_EQ(futures.tasBaseFutCode, "");
    }
    static void ExpectSeries(const OptionSeries& series)
    {
        ExpectNumbers("VirtFutures", series, NumbersOfSeries);
        EXPECT_EQ(series.code, "INDX-12.26M17");
        EXPECT_EQ(series.futuresCode, "INDX-12.26");
        EXPECT_TRUE(series.useNullVolat && series.subRisk && series.enforceHalfNetting);
        EXPECT_EQ(series.expClearingsSA, 3);
        EXPECT_EQ(series.expClearingsBF, 4);
        EXPECT_EQ(series.expClearingsCC, 5);
        EXPECT_EQ(series.marginStyle, MarginStyle::Equity);
        EXPECT_EQ(series.settlementType, SettlementType::Deliverable);
        EXPECT_EQ(series.exerciseStyle, ExerciseStyle::European);
        EXPECT_EQ(series.spreadAspect, SpreadAspect::InSpread);
        EXPECT_EQ(series.lotCoeff, 10);
        EXPECT_EQ(series.sqrtT, 0.25); // of 0.0625 years
    }
};

TEST_F(CppInstruments, ComeFromTheServerWithEachValueInItsPlace)
{
    Start();
    ASSERT_TRUE(calculator->loadInstruments());
    ExpectSmallMarket();
    EXPECT_EQ(calculator->edgeCoefficient().value(), 0.5);
    EXPECT_EQ(calculator->loadInstruments().code(), QUINDAL_ERR_INSTRUMENTS_ALREADY_LOADED);
}

TEST_F(CppInstruments, AreInsertedWithEachValueInItsPlace)
{
    Start();
    ASSERT_TRUE(calculator->loadInstruments());
    const auto currencies = calculator->currencies().value();
    const auto contracts = calculator->baseContracts().value();
    const auto futures = calculator->futures().value();
    const auto series = calculator->optionSeries().value();
    const auto options = calculator->options().value();
    ASSERT_TRUE(calculator->clearAll());
    EXPECT_TRUE(calculator->options().value().empty());
    ASSERT_TRUE(calculator->insert(currencies.at(0)));
    ASSERT_TRUE(calculator->insert(contracts.at(0)));
    ASSERT_TRUE(calculator->insert(futures.at(0)));
    ASSERT_TRUE(calculator->insert(series.at(0)));
    ASSERT_TRUE(calculator->insert(options.at(0)));
    ExpectSmallMarket();
}

TEST_F(CppInstruments, AreReadBackAtALevelOfRisk)
{
    Start();
    ASSERT_TRUE(calculator->setEdgeCoefficient(0.25));
    EXPECT_EQ(calculator->edgeCoefficient().value(), 0.25);
    EnterHandMarket();
    BaseContract other = HandBaseContract();
    other.code = "XYZ";
    other.high.marketRisk = 0.2;
    ASSERT_TRUE(calculator->insert(other));
    Futures tracked = HandFutures("XYZ-3.27", 100, 0.25);
    tracked.baseContractCode = "XYZ";
    ASSERT_TRUE(calculator->insert(tracked));
    Futures tas = tracked;
    tas.code = "XYT-3.27";
    tas.attribute = Attribute::Tas;
    tas.tasBaseFutCode = tracked.code;
    ASSERT_TRUE(calculator->insert(tas));

    std::map<std::string, Futures> high;
    for (const Futures& futures : calculator->futures(ClientRiskLevel::High).value())
        high[futures.code] = futures;
    EXPECT_DOUBLE_EQ(high.at("XYZ-3.27").limit, 10.0); // half of 0.2 x 100
    EXPECT_DOUBLE_EQ(high.at("ABC-3.27").limit, 5.0);  // half of 0.1 x 100
    EXPECT_EQ(high.at("XYT-3.27").tasBaseFutCode, "XYZ-3.27");
    EXPECT_EQ(high.at("XYT-3.27").attribute, Attribute::Tas);
    EXPECT_EQ(calculator->futures().value().size(), 4u);
    EXPECT_EQ(calculator->multilegs().value().at(0).code, "ABC-3.27-6.27");
}

TEST_F(CppInstruments, ARefusedSeriesIsLeftOut)
{
    Start();
    EnterHandMarket();
    OptionSeries series;
    series.code = "BAD";
    series.futuresCode = "ABC-3.27";
    series.minStep = series.minStepPrice = series.strikeStep = 1;
    series.timeToExpiration = 0.25;
    series.lotCoeff = 0;
    EXPECT_EQ(calculator->insert(series).code(), QUINDAL_ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    EXPECT_TRUE(calculator->optionSeries().value().empty());
    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstOptionSeries(calculator->handle(), &count), 0);
    EXPECT_EQ(count, 1) << "the library counts it";
}

class CppStopped : public CppHeaderFixture
{};

TEST_F(CppStopped, EachMethodSaysThatTheLibraryIsNotStarted)
{
    Start();
    ASSERT_TRUE(library->stop());
    const Calculator& stopped = *calculator;
    EXPECT_EQ(stopped.loadInstruments().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.setEdgeCoefficient(0.5).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.edgeCoefficient().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(Currency{840, 0.1}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(HandBaseContract()).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(HandFutures("ABC-3.27", 100, 0.25)).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(OptionSeries()).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(Option()).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.insert(Multileg{"ABC-3.27-6.27"}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.clearAll().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.currencies().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.baseContracts().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.futures().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.optionSeries().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.options().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.multilegs().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.registerSettlementAccount({"ACCOUNT1"}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.registerFirm({"AA01"}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.registerClient({"AA01001"}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.changeClient({"AA01001"}).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.setFirmRatio("AA01", "ABC", 1).code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(stopped.clearParticipants().code(), QUINDAL_ERR_NOT_INITIALIZED);
    // These two look at the link first.
    EXPECT_EQ(stopped.setPosition({"AA01001", "ABC", 1}).code(), QUINDAL_ERR_NOT_CONNECTED);
    EXPECT_EQ(stopped.setLevelPosition(AccountLevel::Firm, {"AA01", "ABC", 1}).code(), QUINDAL_ERR_NOT_CONNECTED);
    EXPECT_EQ(stopped.changeOrder({"AA01001", "ABC", Side::Buy, 1.0, 1}).code(), QUINDAL_ERR_NOT_CONNECTED);
    EXPECT_EQ(library->calculator().code(), QUINDAL_ERR_ALREADY_INITIALIZED);
    EXPECT_EQ(calculator->close().code(), QUINDAL_ERR_NOT_INITIALIZED);
    EXPECT_EQ(library->calculator().code(), QUINDAL_ERR_NOT_INITIALIZED);
}

} // namespace
} // namespace test::CppHeaderArgumentsTest
