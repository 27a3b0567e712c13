// The text tables of a download: reading of attributes and numbers, rows and headers, the map of the server's isins.
#include "TablesData.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <locale>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "CommaLocale.h"
#include "XmlDocument.h"
#include "except.h"
#include "kv7errors.h"

namespace test::TablesDataTest {
namespace {

using QuindalIM::AttributeList;
using QuindalIM::Dictionary;
using QuindalIM::FromString;
using QuindalIM::GetAttr;
using QuindalIM::RealIsinStorage;
using QuindalIM::Table;
using testing::HasSubstr;

/// The element of a one-element document, and the document with it.
class Element
{
public:
    explicit Element(const std::string& xml) : m_document(xml), m_element(m_document.Root(NameOf(xml).c_str())) {}
    operator pugi::xml_node() const { return m_element; } // NOLINT(*-explicit-*): it is one in all but its life

private:
    [[nodiscard]] static std::string NameOf(const std::string& xml)
    {
        return xml.substr(1, xml.find_first_of(" /") - 1);
    }

    QuindalIM::XmlDocument m_document;
    pugi::xml_node m_element;
};

struct Refusal
{
    Z9ERR code = Z9ERR_OK;
    std::string text;
    std::string function;
};

template <class T>
Refusal RefusalOf(const std::string& text)
{
    try {
        static_cast<void>(FromString<T>(text));
    } catch (const kv7base::CZ9Error& error) {
        return {error.GetCode(), error.what(), error.GetLocation().function_name()};
    }
    return {};
}

template <class T>
std::string OutOfRangeOf(const std::string& text)
{
    try {
        static_cast<void>(FromString<T>(text));
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "in range";
}

TEST(GetAttr, GivesTheTextOfTheAttribute)
{
    EXPECT_EQ(GetAttr(Element(R"(<Futures Code="FUT-1" CodeBC=""/>)"), "Code"), "FUT-1");
    EXPECT_EQ(GetAttr(Element(R"(<Futures Code="FUT-1" CodeBC=""/>)"), "CodeBC"), "");
    EXPECT_EQ(GetAttr(Element(R"(<Futures Code="A&amp;B&lt;"/>)"), "Code"), "A&B<");
}

TEST(GetAttr, NamesAMissingAttribute)
{
    try {
        static_cast<void>(GetAttr(Element("<Futures/>"), "Code"));
        FAIL() << "nothing was raised";
    } catch (const QuindalIM::NoSuchNode& error) {
        EXPECT_STREQ(error.what(), "No such node (<xmlattr>.Code)");
    }
}

TEST(GetAttr, IsCaseSensitive)
{
    EXPECT_THROW(static_cast<void>(GetAttr(Element(R"(<Futures code="F"/>)"), "Code")), QuindalIM::NoSuchNode);
}

TEST(FromString, ReadsNumbersThatFillTheWholeText)
{
    EXPECT_EQ(FromString<int>("12"), 12);
    EXPECT_EQ(FromString<int>("-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(FromString<signed char>("-128"), -128);
    EXPECT_EQ(FromString<signed char>("5"), 5); // the number, not the letter
    EXPECT_EQ(FromString<long>("9223372036854775807"), std::numeric_limits<long>::max());
    EXPECT_EQ(FromString<double>("0.25"), 0.25);
    EXPECT_EQ(FromString<double>("-1.5e3"), -1500.0);
}

TEST(FromString, TakesWhatTheStandardConversionTakes)
{
    EXPECT_EQ(FromString<int>(" \t+7"), 7); // blanks in front and a plus
    EXPECT_EQ(FromString<int>("010"), 10);  // decimal, never octal
    EXPECT_EQ(FromString<double>(" +.5"), 0.5);
    EXPECT_EQ(FromString<double>("0x10"), 16.0); // hexadecimal, for floating point only
    EXPECT_EQ(FromString<double>("inf"), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(FromString<double>("nan")));
}

TEST(FromString, RefusesAnythingBehindAnIntegerAndNamesTheText)
{
    const Refusal refusal = RefusalOf<int>("12x");
    EXPECT_EQ(refusal.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(refusal.text,
                HasSubstr("String \"12x\" should not contain characters except for representation of integer"));
    EXPECT_EQ(refusal.function, "FromString<int>");
}

TEST(FromString, RefusesAnythingBehindAFloatingPointNumberAndNamesTheText)
{
    const Refusal refusal = RefusalOf<double>("1.5 ");
    EXPECT_EQ(refusal.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(
        refusal.text,
        HasSubstr("String \"1.5 \" should not contain characters except for representation of floating-point number"));
    EXPECT_EQ(refusal.function, "FromString<double>");
}

TEST(FromString, IsNamedAfterItsTypeInTheRefusal)
{
    EXPECT_EQ(RefusalOf<signed char>("1x").function, "FromString<signed char>");
    EXPECT_EQ(RefusalOf<long>("1x").function, "FromString<long int>");
}

TEST(FromString, RefusesTextThatIsNoNumberInTheSameWords)
{
    for (const char* text : {"", " ", "x", "-", "one"}) {
        const std::string quoted = std::string("String \"") + text + "\" should not contain characters except for ";
        EXPECT_THAT(RefusalOf<int>(text).text, HasSubstr(quoted + "representation of integer")) << text;
        EXPECT_THAT(RefusalOf<signed char>(text).text, HasSubstr(quoted + "representation of integer")) << text;
        EXPECT_THAT(RefusalOf<long>(text).text, HasSubstr(quoted + "representation of integer")) << text;
        EXPECT_THAT(RefusalOf<double>(text).text, HasSubstr(quoted + "representation of floating-point number"))
            << text;
    }
}

TEST(FromString, RefusesFractionsAndExponentsInIntegers)
{
    EXPECT_EQ(RefusalOf<int>("1.0").code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(RefusalOf<long>("1e3").code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(RefusalOf<int>("0x10").code, Z9ERR_COMMON_WRONG_ARGUMENTS);
}

/// C++ streams with a decimal comma and grouped digits, too.
class CommaStreams
{
public:
    CommaStreams() : m_before(std::locale::global(std::locale(std::locale::classic(), new Commas))) {}
    ~CommaStreams() { std::locale::global(m_before); }
    CommaStreams(const CommaStreams&) = delete;
    CommaStreams& operator=(const CommaStreams&) = delete;

private:
    struct Commas : std::numpunct<char>
    {
        [[nodiscard]] char do_decimal_point() const override { return ','; }
        [[nodiscard]] char do_thousands_sep() const override { return '.'; }
        [[nodiscard]] std::string do_grouping() const override { return "\3"; }
    };
    std::locale m_before;
};

TEST(FromString, ReadsTheSameInEveryLocale)
{
    const CommaStreams streams;
    const testing_support::CommaLocale host; // last: the streams' locale sets the C library's, too
    EXPECT_EQ(FromString<double>("1234.25"), 1234.25);
    EXPECT_EQ(FromString<double>("-1.5e3"), -1500.0);
    EXPECT_EQ(FromString<int>("1234567"), 1234567);
    EXPECT_EQ(FromString<long>("9223372036854775807"), std::numeric_limits<long>::max());
    for (const char* text : {"0,25", "1.234,5"})
        EXPECT_EQ(RefusalOf<double>(text).code, Z9ERR_COMMON_WRONG_ARGUMENTS) << text;
    for (const char* text : {"1.234", "1,234"})
        EXPECT_EQ(RefusalOf<int>(text).code, Z9ERR_COMMON_WRONG_ARGUMENTS) << text;
}

TEST(FromString, RefusesADecimalComma) { EXPECT_EQ(RefusalOf<double>("0,25").code, Z9ERR_COMMON_WRONG_ARGUMENTS); }

TEST(FromString, RefusesWhatStandsBehindAZeroByte)
{
    EXPECT_EQ(RefusalOf<int>(std::string("1\0", 2)).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(RefusalOf<double>(std::string("1\0", 2)).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST(FromString, LeavesNumbersBeyondTheTypeToTheStandardException)
{
    EXPECT_EQ(OutOfRangeOf<int>("2147483648"), "stol"); // fits a long, not an int
    EXPECT_EQ(OutOfRangeOf<int>("9223372036854775808"), "stol");
    EXPECT_EQ(OutOfRangeOf<signed char>("128"), "stol");
    EXPECT_EQ(OutOfRangeOf<signed char>("-129"), "stol");
    EXPECT_EQ(OutOfRangeOf<long>("9223372036854775808"), "stoll");
    EXPECT_EQ(OutOfRangeOf<double>("1e999"), "stod");
}

TEST(AttributeList, JoinsItsNamesAsTheHeaderRow)
{
    EXPECT_EQ(AttributeList({"Code", "CodeBC", "Lot"}).GetAttributeListName(), "Code;CodeBC;Lot");
    EXPECT_EQ(AttributeList({"Code"}).GetAttributeListName(), "Code");
    EXPECT_EQ(AttributeList({}).GetAttributeListName(), "");
    EXPECT_EQ(AttributeList({"Code", "CodeBC", "Lot"}).GetSize(), 3u);
}

TEST(AttributeList, TakesAttributesInItsOwnOrder)
{
    EXPECT_EQ(AttributeList({"Code", "CodeBC"}).GetAttributeList(Element(R"(<F CodeBC="BC" Other="1" Code="FUT"/>)")),
              "FUT;BC");
}

TEST(AttributeList, LeavesTheFieldOfAMissingAttributeEmpty)
{
    const AttributeList list{"First", "Middle", "Last"};
    EXPECT_EQ(list.GetAttributeList(Element(R"(<F First="1" Last="3"/>)")), "1;;3");
    EXPECT_EQ(list.GetAttributeList(Element(R"(<F Middle="2"/>)")), ";2;");
    EXPECT_EQ(list.GetAttributeList(Element("<F/>")), ";;");
}

TEST(AttributeList, TakesValuesAsTheyStandSeparatorsIncluded)
{
    EXPECT_EQ(AttributeList({"A", "B"}).GetAttributeList(Element(R"(<F A="1;2" B=" 3 "/>)")), "1;2; 3 ");
}

TEST(Table, GivesTheHeaderWithoutMovingTheCursor)
{
    Table table("Code;CodeBC");
    table.AddRow("F1;BC");
    table.AddRow("F2;BC");
    std::string row;
    ASSERT_TRUE(table.GetNextRow(row, false));
    EXPECT_EQ(row, "F1;BC");
    ASSERT_TRUE(table.GetNextRow(row, true));
    EXPECT_EQ(row, "Code;CodeBC");
    ASSERT_TRUE(table.GetNextRow(row, false));
    EXPECT_EQ(row, "F2;BC");
}

TEST(Table, SaysFalseAtTheEndAndLeavesTheRow)
{
    Table table("Code");
    table.AddRow("F1");
    std::string row;
    ASSERT_TRUE(table.GetNextRow(row, false));
    EXPECT_FALSE(table.GetNextRow(row, false));
    EXPECT_EQ(row, "F1");
    EXPECT_TRUE(table.GetNextRow(row, true)); // the header is there at the end, too
}

TEST(Table, BeginsAgainWhenSetOnFirst)
{
    Table table("Code");
    table.AddRow("F1");
    std::string row;
    ASSERT_TRUE(table.GetNextRow(row, false));
    table.SetOnFirst();
    row.clear();
    ASSERT_TRUE(table.GetNextRow(row, false));
    EXPECT_EQ(row, "F1");
}

TEST(Table, LosesItsRowsAndItsCursorWhenCleared)
{
    Table table("Code");
    table.AddRow("F1");
    std::string row;
    ASSERT_TRUE(table.GetNextRow(row, false));
    table.Clear();
    EXPECT_FALSE(table.GetNextRow(row, false));
    table.AddRow("F2");
    ASSERT_TRUE(table.GetNextRow(row, false)) << "the cursor must stand on the first row again";
    EXPECT_EQ(row, "F2");
}

TEST(Dictionary, NamesTheColumnsOfEachTable)
{
    Dictionary dictionary;
    std::string row;
    ASSERT_TRUE(dictionary.GetCommonParameters(row, true));
    EXPECT_EQ(row, "EdgeCoeff");
    ASSERT_TRUE(dictionary.GetNextCurrency(row, true));
    EXPECT_EQ(row, "IndicatorID;Radius");
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, true));
    EXPECT_EQ(row, "Code;CodeMCS;VolatNum;MSPType;ShortOptionMinimumCharge;IndicatorID;MarketRisk;MarketRisk1;"
                   "MarketRisk2;MarketRiskLow;MarketRisk1Low;MarketRisk2Low;MarketRiskMedium;MarketRisk1Medium;"
                   "MarketRisk2Medium;MarketRiskHigh;MarketRisk1High;MarketRisk2High;MarketRiskExceptional;"
                   "MarketRisk1Exceptional;MarketRisk2Exceptional;ConcentrationLimit1;ConcentrationLimit2;RiskPointsN;"
                   "WindowSizePercentage;OptionModel;SpotPrice;AssetClass;CFRisk");
    ASSERT_TRUE(dictionary.GetNextFutures(row, true));
    EXPECT_EQ(row,
              "Code;CodeBC;CalcFutPrice;SpreadAspect;MinStepPrice;BaseGO;RealCalcPrice;ExpiredDate;MinStep;Lot;XLot;"
              "InterestRateRiskUp;InterestRateRiskDown;TimeToExpiration;NormalizedSpot;Attribute;MRAddOnUp;"
              "MRAddOnDown;EnforceIMSHalfNetting");
    ASSERT_TRUE(dictionary.GetNextOptionSeries(row, true));
    EXPECT_EQ(row, "Code;CodeRF;A_Black;B_Black;C_Black;D_Black;E_Black;ExpiredDate;UseNullVolat;S_Black;StrikeStep;"
                   "ExpClearingsSA;ExpClearingsBF;ExpClearingsCC;VolatilityRisk;VolatilityRiskMismatch;"
                   "TimeToExpiration;A_Bach;B_Bach;C_Bach;D_Bach;E_Bach;S_Bach;M_Bach;MarginStyle;SettlementType;"
                   "ExerciseStyle;SubRisk;SpreadAspect;EnforceHalfNetting;MinStep;MinStepPrice;LotCoeff;r;"
                   "InterestRateRiskUp;InterestRateRiskDown;FixedSpotDiscount;ProjectedSpotDiscount;r2;"
                   "InterestRate2RiskUp;InterestRate2RiskDown");
    ASSERT_TRUE(dictionary.GetNextOption(row, true));
    EXPECT_EQ(row, "Code;CodeVF;Strike;OptType;CalcOptPrice;BaseGOSell;SynthBaseGO;BaseGOBuy");
    ASSERT_TRUE(dictionary.GetNextMultileg(row, true));
    EXPECT_EQ(row, "Code");
}

TEST(Dictionary, GivesTheNamesOfBaseContractsWithoutMovingTheCursor)
{
    Dictionary dictionary;
    dictionary.AddBaseContract(Element(R"(<BaseContract Code="B1"/>)"));
    dictionary.AddBaseContract(Element(R"(<BaseContract Code="B2"/>)"));
    std::string row;
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, false));
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, true));
    EXPECT_TRUE(row.starts_with("Code;CodeMCS;VolatNum;"));
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, false));
    EXPECT_TRUE(row.starts_with("B2;"));
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, true)) << "at the end, too";
    EXPECT_FALSE(dictionary.GetNextBaseContract(row, false));
}

TEST(Dictionary, KeepsAFuturesWithAnEmptyColumnForEachAttributeItLacks)
{
    Dictionary dictionary;
    dictionary.AddFutures(Element(R"(<Futures Code="F" CodeBC="B" CalcFutPrice="1" XLot="2" Isin="7"/>)"));
    std::string row;
    ASSERT_TRUE(dictionary.GetNextFutures(row, false));
    // Nineteen columns; BaseGO and whatever the server left out are empty, Isin is no column.
    EXPECT_EQ(row, "F;B;1;;;;;;;;2;;;;;;;;");
}

TEST(Dictionary, KeepsASeriesAndAnOptionWithAnEmptyColumnForEachAttributeTheyLack)
{
    Dictionary dictionary;
    dictionary.AddOptionSeries(Element(
        R"(<VirtFutures Code="S" CodeRF="F" S_Black="2" UseNullVolat="1" InterestRate2RiskDown="3" Isin="7"/>)"));
    dictionary.AddOption(Element(R"(<Option Code="O" CodeVF="S" CalcOptPrice="5" BaseGOBuy="6" Isin="7"/>)"));
    std::string row;
    ASSERT_TRUE(dictionary.GetNextOptionSeries(row, false));
    // Forty-one columns: the third to the eighth are empty, then the flag and the shift, then thirty more and the last.
    EXPECT_EQ(row, "S;F" + std::string(6, ';') + ";1;2" + std::string(31, ';') + "3");
    EXPECT_EQ(std::count(row.begin(), row.end(), ';'), 40);
    ASSERT_TRUE(dictionary.GetNextOption(row, false));
    EXPECT_EQ(row, "O;S;;;5;;;6");
}

TEST(Dictionary, TakesTheCommonParametersAsTheyStand)
{
    Dictionary dictionary;
    dictionary.AddCommonParameters(" 0.750 ");
    std::string row;
    ASSERT_TRUE(dictionary.GetCommonParameters(row, false));
    EXPECT_EQ(row, " 0.750 ");
    EXPECT_FALSE(dictionary.GetCommonParameters(row, false));
    dictionary.SetOnFirstCommonParameters();
    EXPECT_TRUE(dictionary.GetCommonParameters(row, false));
}

TEST(Dictionary, TakesTheCodeOfAMultilegAsItStands)
{
    Dictionary dictionary;
    dictionary.AddMultileg("FUT-12.26-3.27");
    dictionary.AddMultileg(" A;B ");
    std::string row;
    ASSERT_TRUE(dictionary.GetNextMultileg(row, false));
    EXPECT_EQ(row, "FUT-12.26-3.27");
    ASSERT_TRUE(dictionary.GetNextMultileg(row, true));
    EXPECT_EQ(row, "Code");
    ASSERT_TRUE(dictionary.GetNextMultileg(row, false)) << "the header has moved no cursor";
    EXPECT_EQ(row, " A;B ");
    EXPECT_FALSE(dictionary.GetNextMultileg(row, false));
    dictionary.SetOnFirstMultileg();
    EXPECT_TRUE(dictionary.GetNextMultileg(row, false));
    EXPECT_FALSE(dictionary.GetNextOption(row, false)) << "every other table is empty";
}

TEST(Dictionary, ReadsEachTableThroughACursorOfItsOwn)
{
    Dictionary dictionary;
    dictionary.AddCurrency(Element(R"(<Currency IndicatorID="1" Radius="0.5"/>)"));
    dictionary.AddBaseContract(Element(R"(<BaseContract Code="BC"/>)"));
    dictionary.AddFutures(Element(R"(<Futures Code="F"/>)"));
    dictionary.AddOptionSeries(Element(R"(<VirtFutures Code="S"/>)"));
    dictionary.AddOption(Element(R"(<Option Code="O1"/>)"));
    dictionary.AddOption(Element(R"(<Option Code="O2"/>)"));
    std::string row;
    ASSERT_TRUE(dictionary.GetNextCurrency(row, false));
    EXPECT_EQ(row, "1;0.5");
    EXPECT_FALSE(dictionary.GetNextCurrency(row, false));
    ASSERT_TRUE(dictionary.GetNextBaseContract(row, false));
    EXPECT_EQ(row, "BC" + std::string(28, ';'));
    ASSERT_TRUE(dictionary.GetNextFutures(row, false));
    EXPECT_EQ(row, "F" + std::string(18, ';'));
    ASSERT_TRUE(dictionary.GetNextOptionSeries(row, false));
    EXPECT_EQ(row, "S" + std::string(40, ';'));
    EXPECT_FALSE(dictionary.GetNextOptionSeries(row, false));
    ASSERT_TRUE(dictionary.GetNextOption(row, false));
    EXPECT_EQ(row, "O1" + std::string(7, ';'));

    dictionary.SetOnFirstCurrency();
    EXPECT_TRUE(dictionary.GetNextCurrency(row, false));
    EXPECT_FALSE(dictionary.GetNextFutures(row, false));
    dictionary.SetOnFirstBaseContract();
    dictionary.SetOnFirstFutures();
    EXPECT_TRUE(dictionary.GetNextBaseContract(row, false));
    EXPECT_TRUE(dictionary.GetNextFutures(row, false));
    ASSERT_TRUE(dictionary.GetNextOption(row, false));
    EXPECT_EQ(row, "O2" + std::string(7, ';')) << "its cursor has stayed";
    EXPECT_FALSE(dictionary.GetNextOption(row, false));
    dictionary.SetOnFirstOptionSeries();
    dictionary.SetOnFirstOption();
    EXPECT_TRUE(dictionary.GetNextOptionSeries(row, false));
    EXPECT_TRUE(dictionary.GetNextOption(row, false));
}

TEST(Dictionary, IsEmptyInEveryTableWhenCleared)
{
    Dictionary dictionary;
    dictionary.AddCommonParameters("0.75");
    dictionary.AddCurrency(Element("<Currency/>"));
    dictionary.AddBaseContract(Element("<BaseContract/>"));
    dictionary.AddFutures(Element("<Futures/>"));
    dictionary.AddOptionSeries(Element("<VirtFutures/>"));
    dictionary.AddOption(Element("<Option/>"));
    dictionary.AddMultileg("FUT-12.26-3.27");
    dictionary.Clear();
    std::string row;
    EXPECT_FALSE(dictionary.GetCommonParameters(row, false));
    EXPECT_FALSE(dictionary.GetNextCurrency(row, false));
    EXPECT_FALSE(dictionary.GetNextBaseContract(row, false));
    EXPECT_FALSE(dictionary.GetNextFutures(row, false));
    EXPECT_FALSE(dictionary.GetNextOptionSeries(row, false));
    EXPECT_FALSE(dictionary.GetNextOption(row, false));
    EXPECT_FALSE(dictionary.GetNextMultileg(row, false));
    EXPECT_TRUE(dictionary.GetNextFutures(row, true)) << "the headers stay";
}

TEST(RealIsinStorage, KeepsTheFirstCodeOfAnIsin)
{
    RealIsinStorage storage;
    int isin = 1001;
    storage.SaveIsinCode(isin, "FUT-1");
    storage.SaveIsinCode(isin, "FUT-2");
    std::string code;
    ASSERT_TRUE(storage.Find(isin, code));
    EXPECT_EQ(code, "FUT-1");
    EXPECT_TRUE(storage.Find(isin));
}

TEST(RealIsinStorage, LeavesTheCodeOfAnUnknownIsinAlone)
{
    RealIsinStorage storage;
    int isin = 1001;
    storage.SaveIsinCode(isin, "FUT-1");
    std::string code = "as it was";
    int other = 1002;
    EXPECT_FALSE(storage.Find(other));
    EXPECT_FALSE(storage.Find(other, code));
    EXPECT_EQ(code, "as it was");
    storage.Clear();
    EXPECT_FALSE(storage.Find(isin));
}

} // namespace
} // namespace test::TablesDataTest
