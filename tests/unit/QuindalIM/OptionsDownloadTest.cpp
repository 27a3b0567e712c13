// Option series and options of a download: each attribute to its field, the rows of text, the failures.
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "DownloadFixture.h"
#include "InstrumentElements.h"
#include "XmlDocument.h"
#include "except.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace test::OptionsDownloadTest {
namespace {

using kv7im::AccessByStatus;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OptionsDownloadTest : public DownloadFixture
{
protected:
    /// The futures and what stands above it, then the given elements.
    bool DownloadOnFutures(const std::vector<Element>& elements)
    {
        std::vector<Element> all{currency, baseContract, futures};
        all.insert(all.end(), elements.begin(), elements.end());
        return Download(all);
    }
    [[nodiscard]] const kv7im::CSpecVirtFutures& Series() const
    {
        const auto* found = instruments.GetVirtualFutures(AccessByStatus::eCurrent, "SER-12.26");
        if (found == nullptr) throw std::runtime_error("no series");
        return *found;
    }
    /// Rows of a table from its front.
    template <class GetNext>
    std::vector<std::string> Rows(void (QuindalIM::Dictionary::*setOnFirst)() noexcept, GetNext getNext)
    {
        std::vector<std::string> rows;
        (calculator.GetTablesData().*setOnFirst)();
        for (std::string row; (calculator.GetTablesData().*getNext)(row, false);)
            rows.push_back(row);
        return rows;
    }
    std::vector<std::string> SeriesRows()
    {
        return Rows(&QuindalIM::Dictionary::SetOnFirstOptionSeries, &QuindalIM::Dictionary::GetNextOptionSeries);
    }
    std::vector<std::string> OptionRows()
    {
        return Rows(&QuindalIM::Dictionary::SetOnFirstOption, &QuindalIM::Dictionary::GetNextOption);
    }
};

/// Attributes of the element that are not numbers.
bool IsText(const std::string& name) { return name.starts_with("Code"); }

// What becomes of each element

TEST_F(OptionsDownloadTest, EachAttributeOfASeriesFindsItsField)
{
    ASSERT_TRUE(DownloadOnFutures({optionSeries})) << LastError();
    const kv7im::CSpecVirtFutures& series = Series();
    EXPECT_EQ(series.CodeRF, "FUT-12.26");
    EXPECT_EQ(series.A, 21.5);
    EXPECT_EQ(series.B, 22.5);
    EXPECT_EQ(series.C, 0.5);
    EXPECT_EQ(series.D, -1.25);
    EXPECT_EQ(series.E, 2.25);
    EXPECT_EQ(series.S, 0.0625);
    EXPECT_EQ(series.StrikeStep, 50.0);
    EXPECT_EQ(series.ExpClearingsSA, 3);
    EXPECT_EQ(series.ExpClearingsBF, 4);
    EXPECT_EQ(series.ExpClearingsCC, 5);
    EXPECT_EQ(series.VolatilityRisk, 0.125);
    EXPECT_EQ(series.VolatilityRiskMismatch, 0.1875);
    EXPECT_EQ(series.TimeToExpiration, 0.25);
    EXPECT_EQ(series.A_Bach, 0.75);
    EXPECT_EQ(series.B_Bach, 0.875);
    EXPECT_EQ(series.C_Bach, 0.375);
    EXPECT_EQ(series.D_Bach, -0.25);
    EXPECT_EQ(series.E_Bach, 1.75);
    EXPECT_EQ(series.S_Bach, 0.03125);
    EXPECT_EQ(series.M_Bach, 110.0);
    EXPECT_EQ(series.MinStep, 0.5);
    EXPECT_EQ(series.MinStepPrice, 6.5);
    EXPECT_EQ(series.LotCoeff, 10);
    EXPECT_EQ(series.R, 0.07);
    EXPECT_EQ(series.InterestRateRiskUp, 0.011);
    EXPECT_EQ(series.InterestRateRiskDown, 0.012);
    EXPECT_EQ(series.FixedSpotDiscount, 1.5);
    EXPECT_EQ(series.ProjectedSpotDiscount, 2.5);
    EXPECT_EQ(series.R2, 0.03);
    EXPECT_EQ(series.InterestRate2RiskUp, 0.013);
    EXPECT_EQ(series.InterestRate2RiskDown, 0.014);
    EXPECT_TRUE(series.IsInSpread);

    EXPECT_EQ(calculator.SetOnFirstOptionSeries(), 1);
    EXPECT_THAT(SeriesRows(),
                ElementsAre("SER-12.26;FUT-12.26;21.5;22.5;0.5;-1.25;2.25;;1;0.0625;50;3;4;5;0.125;0.1875;"
                            "0.25;0.75;0.875;0.375;-0.25;1.75;0.03125;110;1;1;1;1;2;1;0.5;6.5;10;0.07;0.011;"
                            "0.012;1.5;2.5;0.03;0.013;0.014"))
        << "the date of the expiration is not sent: an empty column";
}

TEST_F(OptionsDownloadTest, EachStyleAndEachFlagHasAnAttributeOfItsOwn)
{
    const char* const names[] = {"MarginStyle", "SettlementType", "ExerciseStyle",     "UseNullVolat",
                                 "SubRisk",     "SpreadAspect",   "EnforceHalfNetting"};
    for (const char* chosen : names) {
        Element element = optionSeries;
        for (const char* name : names)
            element = element.With(name, name != chosen ? "0" : std::string(name) == "SpreadAspect" ? "2" : "1");
        ASSERT_TRUE(DownloadOnFutures({element})) << chosen << LastError();
        const kv7im::CSpecVirtFutures& series = Series();
        const auto is = [chosen](const char* name) { return std::string(name) == chosen; };
        EXPECT_EQ(series.marginStyle == Enums::MarginStyle::Equity, is("MarginStyle")) << chosen;
        EXPECT_EQ(series.settlementType == Enums::SettlementType::Deliverable, is("SettlementType")) << chosen;
        EXPECT_EQ(series.exerciseStyle == Enums::ExerciseStyle::European, is("ExerciseStyle")) << chosen;
        EXPECT_EQ(series.UseNullVolat, is("UseNullVolat")) << chosen;
        EXPECT_EQ(series.SubRisk, is("SubRisk")) << chosen;
        EXPECT_EQ(series.IsInSpread, is("SpreadAspect")) << chosen;
        EXPECT_EQ(series.EnforceHalfNetting, is("EnforceHalfNetting")) << chosen;
    }
}

TEST_F(OptionsDownloadTest, EachAttributeOfAnOptionFindsItsField)
{
    const Element put = option.With("Code", "OPT-1000P").With("OptType", "1").With("CalcOptPrice", "13.5");
    ASSERT_TRUE(DownloadOnFutures({optionSeries, option, put})) << LastError();
    const kv7im::CSpecOption* call = instruments.GetOption(AccessByStatus::eCurrent, "OPT-1000C");
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(call->CodeVF, "SER-12.26");
    EXPECT_EQ(call->isin, 3) << "the base contract took 1, the futures 2";
    EXPECT_EQ(call->Strike, 1000.125);
    EXPECT_FALSE(call->isPut());
    EXPECT_EQ(call->CalcOptPrice, 12.25);
    const kv7im::CSpecOption* found = instruments.GetOption(AccessByStatus::eCurrent, "OPT-1000P");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->isin, 4);
    EXPECT_TRUE(found->isPut());
    EXPECT_EQ(found->CalcOptPrice, 13.5);

    EXPECT_EQ(calculator.SetOnFirstOption(), 2);
    EXPECT_THAT(OptionRows(),
                ElementsAre("OPT-1000C;SER-12.26;1000.125;2;12.25;;;", "OPT-1000P;SER-12.26;1000.125;1;13.5;;;"))
        << "three columns that this reply does not have";
}

TEST_F(OptionsDownloadTest, NumbersOfAnOptionDoNotPassThroughFixedPoint)
{
    ASSERT_TRUE(
        DownloadOnFutures({optionSeries, option.With("Strike", "1000.1234567").With("CalcOptPrice", "0.0000012")}))
        << LastError();
    const kv7im::CSpecOption* found = instruments.GetOption(AccessByStatus::eCurrent, "OPT-1000C");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Strike, 1000.1234567);
    EXPECT_EQ(found->CalcOptPrice, 0.0000012);
}

TEST_F(OptionsDownloadTest, ColumnsOfTheTablesShowWhatIsSentBeyondTheAttributesThatAreRead)
{
    std::string xml = Document({currency, baseContract, futures, optionSeries, option});
    const auto add = [&xml](const std::string& tag, const std::string& attribute) {
        xml.insert(xml.find("<" + tag + " ") + tag.size() + 1, " " + attribute);
    };
    add("VirtFutures", "ExpiredDate=\"2026-12-17 19:00:00\"");
    add("Option", "BaseGOSell=\"1.5\" SynthBaseGO=\"2.5\" BaseGOBuy=\"3.5\"");
    ASSERT_TRUE(Download(PlainReply(xml))) << LastError();
    EXPECT_THAT(SeriesRows(), ElementsAre(HasSubstr(";2.25;2026-12-17 19:00:00;1;")));
    EXPECT_THAT(OptionRows(), ElementsAre("OPT-1000C;SER-12.26;1000.125;2;12.25;1.5;2.5;3.5"));
}

TEST_F(OptionsDownloadTest, TagsAreFoundWithoutRegardToCaseAndOthersPassedOver)
{
    std::string xml = Document({currency, baseContract, futures, optionSeries, option});
    const auto replace = [&xml](const std::string& from, const std::string& to) {
        xml.replace(xml.find(from), from.size(), to);
    };
    replace("<VirtFutures", "<OptionSeries Code=\"x\"/><VIRTfutures");
    replace("<Option ", "<Options/><oPTION ");
    ASSERT_TRUE(Download(PlainReply(xml))) << LastError();
    EXPECT_EQ(instruments.CountVirtualFutures(), 1u);
    EXPECT_EQ(instruments.CountOptions(), 1u);
}

TEST_F(OptionsDownloadTest, ADownloadReplacesTheListsAndTheTables)
{
    ASSERT_TRUE(DownloadOnFutures({optionSeries, option}));
    ASSERT_TRUE(DownloadOnFutures({optionSeries, option.With("Code", "OTHER")})) << LastError();
    EXPECT_EQ(calculator.SetOnFirstOptionSeries(), 1);
    EXPECT_EQ(calculator.SetOnFirstOption(), 1);
    EXPECT_EQ(SeriesRows().size(), 1u);
    EXPECT_THAT(OptionRows(), ElementsAre(HasSubstr("OTHER;")));
    EXPECT_EQ(instruments.GetOption(AccessByStatus::eCurrent, "OPT-1000C"), nullptr);
}

// Failures

TEST_F(OptionsDownloadTest, EveryAttributeIsRequiredAndWithoutItThereIsNoRow)
{
    for (const std::string& name : optionSeries.Names()) {
        EXPECT_FALSE(DownloadOnFutures({optionSeries.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr("No such node (<xmlattr>." + name + ")"));
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
        EXPECT_THAT(SeriesRows(), IsEmpty()) << name;
        EXPECT_EQ(instruments.CountVirtualFutures(), 0u) << name;
    }
    for (const std::string& name : option.Names()) {
        EXPECT_FALSE(DownloadOnFutures({optionSeries, option.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr("No such node (<xmlattr>." + name + ")"));
        EXPECT_THAT(OptionRows(), IsEmpty()) << name;
        EXPECT_EQ(instruments.CountOptions(), 0u) << name;
    }
}

/// The order of the exchange's list, which is not the one of the exported function: S_Black stands before UseNullVolat.
TEST_F(OptionsDownloadTest, AttributesAreReadInTheOrderOfTheExchange)
{
    const auto missing = [this](const Element& element) {
        EXPECT_FALSE(DownloadOnFutures({optionSeries, element}));
        return LastError();
    };
    // From the back, each attribute that goes is the first one that is missing.
    for (const Element& element : {optionSeries.With("Code", "SECOND"), option}) {
        Element rest = element;
        std::vector<std::string> names = element.Names();
        for (; !names.empty(); names.pop_back()) {
            rest = rest.Without(names.back());
            EXPECT_THAT(missing(rest), HasSubstr("(<xmlattr>." + names.back() + ")"));
        }
    }
}

TEST_F(OptionsDownloadTest, EveryNumberMustBeANumber)
{
    for (const std::string& name : optionSeries.Names()) {
        if (IsText(name)) continue;
        EXPECT_FALSE(DownloadOnFutures({optionSeries.With(name, "1..")})) << name;
        EXPECT_THAT(LastError(),
                    HasSubstr("String \"1..\" should not contain characters except for representation of"));
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
    }
    for (const std::string& name : option.Names()) {
        if (IsText(name)) continue;
        EXPECT_FALSE(DownloadOnFutures({optionSeries, option.With(name, "")})) << name;
        EXPECT_THAT(LastError(), HasSubstr("String \"\" should not contain characters except for representation of"));
    }
}

/// Whole numbers refuse a fraction and what their type cannot hold.
TEST_F(OptionsDownloadTest, WholeNumbersHaveTheirTypes)
{
    const std::pair<const char*, const char*> tooLarge[] = {
        {"UseNullVolat", "128"},          {"SubRisk", "128"},
        {"SpreadAspect", "-129"},         {"EnforceHalfNetting", "128"},
        {"LotCoeff", "2147483648"},       {"ExpClearingsSA", "2147483648"},
        {"ExpClearingsBF", "2147483648"}, {"MarginStyle", "2147483648"},
        {"SettlementType", "2147483648"}, {"ExpClearingsCC", "2147483648"},
        {"ExerciseStyle", "2147483648"}};
    for (const auto& [name, value] : tooLarge) {
        EXPECT_FALSE(DownloadOnFutures({optionSeries.With(name, value)})) << name;
        EXPECT_EQ(LastError(), "stol") << name;
        EXPECT_FALSE(DownloadOnFutures({optionSeries.With(name, "1.5")})) << name;
        EXPECT_THAT(LastError(), HasSubstr("representation of integer")) << name;
    }
    EXPECT_FALSE(DownloadOnFutures({optionSeries, option.With("OptType", "128")}));
    EXPECT_EQ(LastError(), "stol");
}

TEST_F(OptionsDownloadTest, ACodeIsAtMostTwentyFiveCharacters)
{
    const std::string fits(25, 'S');
    EXPECT_TRUE(DownloadOnFutures({optionSeries.With("Code", fits), option.With("CodeVF", fits)})) << LastError();
    EXPECT_FALSE(DownloadOnFutures({optionSeries.With("Code", fits + "S")}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_BUFFER_TOO_SMALL);
    EXPECT_FALSE(DownloadOnFutures({optionSeries, option.With("Code", fits + "S")}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_BUFFER_TOO_SMALL);
    EXPECT_EQ(instruments.CountOptions(), 0u);
}

TEST_F(OptionsDownloadTest, ARefusedSeriesFailsWithItsCodeAndStopsTheDownload)
{
    EXPECT_FALSE(DownloadOnFutures({optionSeries.With("LotCoeff", "0"), option}));
    EXPECT_THAT(LastError(),
                HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertOptionSeries with code: SER-12.26 - failed"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    EXPECT_THAT(log.Take(), Contains("ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters error - " + LastError()));
    EXPECT_EQ(instruments.CountFutures(), 1u) << "what went in before stays";
    EXPECT_EQ(instruments.CountOptions(), 0u);
    EXPECT_THAT(SeriesRows(), IsEmpty());
    EXPECT_EQ(calculator.SetOnFirstOptionSeries(), 1) << "the list has the entry all the same";
}

TEST_F(OptionsDownloadTest, ValuesOutsideTheirEnumerationsReachTheChecksOfTheRepository)
{
    const std::pair<const char*, Z9ERR> cases[] = {{"MarginStyle", Z9ERR_CALCGO_MARGIN_STYLE_OUT_OF_RANGE},
                                                   {"SettlementType", Z9ERR_CALCGO_SETTLEMENT_TYPE_OUT_OF_RANGE},
                                                   {"ExerciseStyle", Z9ERR_CALCGO_EXERCISE_STYLE_OUT_OF_RANGE}};
    for (const auto& [name, code] : cases) {
        EXPECT_FALSE(DownloadOnFutures({optionSeries.With(name, "2")})) << name;
        EXPECT_EQ(core.GetLastErrorCode(), code) << name;
    }
}

TEST_F(OptionsDownloadTest, ParentsComeBeforeTheirChildren)
{
    EXPECT_FALSE(Download({currency, baseContract, optionSeries, futures}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    EXPECT_THAT(LastError(), HasSubstr("Futures (FUT-12.26) not found while inserting virtual futures (SER-12.26)"));
    EXPECT_FALSE(DownloadOnFutures({option, optionSeries}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND);
    EXPECT_THAT(LastError(), HasSubstr("Virtual Futures Code: SER-12.26"));
    EXPECT_THAT(OptionRows(), IsEmpty());
}

TEST_F(OptionsDownloadTest, RepeatsFailTheDownload)
{
    EXPECT_FALSE(DownloadOnFutures({optionSeries, optionSeries}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS);
    EXPECT_EQ(SeriesRows().size(), 1u) << "the refused one has no row";
    EXPECT_FALSE(DownloadOnFutures({optionSeries, option, option}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS);
    EXPECT_EQ(OptionRows().size(), 1u);
}

/// In a reply the accounting speaks first; the repository's refusal of an option shows where only the accounting knows
/// the series.
TEST_F(OptionsDownloadTest, AnOptionThatTheRepositoryRefusesFailsWithItsCode)
{
    ASSERT_TRUE(DownloadOnFutures({}));
    kv7im::OptionSeriesParameters refused;
    refused.Code = "REFUSED";
    refused.CodeRF = "FUT-12.26";
    ASSERT_NE(calculator.InsertOptionSeries(refused), Z9ERR_OK) << "its smallest step is 0";
    const QuindalIM::XmlDocument document(Document({option.With("Code", "OPT").With("CodeVF", "REFUSED")}));
    try {
        QuindalIM::InsertInstruments(calculator, document.Root("root"));
        FAIL() << "nothing was raised";
    } catch (const kv7base::CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
        EXPECT_THAT(error.what(),
                    HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertOption with code: OPT - failed"));
        EXPECT_STREQ(error.GetLocation().function_name(), "GetInstrumentParameters");
    }
    EXPECT_THAT(OptionRows(), IsEmpty());
}

TEST_F(OptionsDownloadTest, PercentSignsOfTheServerAreNoFormats)
{
    EXPECT_FALSE(DownloadOnFutures({optionSeries.With("Code", "%s%n%d").With("LotCoeff", "0")}));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("InsertOptionSeries with code: %%s%%n%%d - failed")))
        << "doubled by the error";
}

} // namespace
} // namespace test::OptionsDownloadTest
