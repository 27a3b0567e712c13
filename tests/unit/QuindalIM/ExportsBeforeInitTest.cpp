// The built library as a stranger sees it: every export before InitQuindalIM, with zero handles and with a null in each
// place where a pointer stands. Nothing but the public header is used.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "QuindalIM.h"
#include "Z9Err.h"
#include "Z9Ini.h"
#include "Z9Log.h"

namespace test::ExportsBeforeInitTest {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

/// The default log of the process in a file of the test's own.
class DefaultLogFile
{
public:
    DefaultLogFile()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-exports-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_folder = name;
        std::ofstream(m_folder / "log.ini") << "[log]\nfile = " << (m_folder / "log").string() << "\n";
        Z9INI_HANDLE ini = nullptr;
        if (Z9IniCustOpen(&ini, (m_folder / "log.ini").c_str()) != 0 || Z9LogOpenEx(ini, "log") != 0)
            throw std::runtime_error("no log");
        static_cast<void>(Z9IniCustClose(ini));
    }
    ~DefaultLogFile()
    {
        static_cast<void>(Z9LogClose());
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    DefaultLogFile(const DefaultLogFile&) = delete;
    DefaultLogFile& operator=(const DefaultLogFile&) = delete;

    /// Lines since the last call.
    std::vector<std::string> Take()
    {
        std::ifstream file(m_folder / "log");
        std::vector<std::string> lines;
        std::size_t number = 0;
        for (std::string line; std::getline(file, line);)
            if (number++ >= m_taken) lines.push_back(line);
        m_taken = number;
        return lines;
    }

private:
    std::filesystem::path m_folder;
    std::size_t m_taken = 0;
};

/// Places that pointer arguments point at.
struct Room
{
    std::array<char, 64> text{"AA00001"};
    std::int32_t size = 64;
    std::int8_t small = 0;
    std::int32_t number = 0;
    std::int64_t large = 0;
    double real = 0.0;
};

/// One export, called with a null in the place that `nullPlace` counts among its pointers (-1: nowhere), and the names
/// of its pointers in the order in which they are looked at.
struct Case
{
    std::string function;
    std::vector<std::string> pointers;
    std::int32_t codeWithoutNull;
    std::function<std::int32_t(Room&, const std::string& null)> call;
};

template <class T>
T* Unless(bool null, T* place)
{
    return null ? nullptr : place;
}

std::vector<Case> AllWithPointers()
{
    const auto setOnFirst = [](const char* name, std::int32_t (*function)(std::intptr_t, std::int32_t*)) {
        return Case{name, {"count"}, 94821, [function](Room& room, const std::string& null) {
                        return function(0, Unless(null == "count", &room.number));
                    }};
    };
    return {
        {"CreateQuindalIMCalculator",
         {"QuindalIMCalculator"},
         94821,
         [](Room&, const std::string& null) {
             std::intptr_t calc = 0;
             return CreateQuindalIMCalculator(Unless(!null.empty(), &calc));
         }},
        {"GetCommonParams",
         {"EdgeCoeff"},
         94821,
         [](Room& room, const std::string& null) { return GetCommonParams(0, Unless(!null.empty(), &room.real)); }},
        {"InsertBaseContract",
         {"BaseContractCode", "MCSCode"},
         94821,
         [](Room&, const std::string& null) {
             return calls::BaseContract(0, Unless(null == "BaseContractCode", "BC"), Unless(null == "MCSCode", ""));
         }},
        {"InsertFutures",
         {"FuturesCode", "BaseContractCode", "TASBaseFutCode"},
         94821,
         [](Room&, const std::string& null) {
             return InsertFutures(0, Unless(null == "FuturesCode", "F"), Unless(null == "BaseContractCode", "B"), 1.0,
                                  0, 1.0, 1.0, 1.0, 1.0, 0.0, 0.0, 1.0, 1.0, 0, 0.0, 0.0, 0,
                                  Unless(null == "TASBaseFutCode", ""));
         }},
        {"InsertOptionSeries",
         {"OptionSeriesCode", "FuturesCode"},
         94821,
         [](Room&, const std::string& null) {
             return calls::OptionSeries(0, Unless(null == "OptionSeriesCode", "S"), Unless(null == "FuturesCode", "F"));
         }},
        {"InsertOption",
         {"OptionCode", "OptionSeriesCode"},
         94821,
         [](Room&, const std::string& null) {
             return calls::Option(0, Unless(null == "OptionCode", "O"), Unless(null == "OptionSeriesCode", "S"));
         }},
        {"InsertMultileg",
         {"Code"}, // under this name in the log
         94821,
         [](Room&, const std::string& null) { return InsertMultileg(0, Unless(!null.empty(), "M-1-2")); }},
        setOnFirst("SetOnFirstCurrency", SetOnFirstCurrency),
        setOnFirst("SetOnFirstBaseContract", SetOnFirstBaseContract),
        setOnFirst("SetOnFirstFutures", SetOnFirstFutures),
        setOnFirst("SetOnFirstOptionSeries", SetOnFirstOptionSeries),
        setOnFirst("SetOnFirstOption", SetOnFirstOption),
        setOnFirst("SetOnFirstMultileg", SetOnFirstMultileg),
        {"GetNextCurrency",
         {"CurrencyId", "CurvatureRadius"},
         94821,
         [](Room& room, const std::string& null) {
             return GetNextCurrency(0, Unless(null == "CurrencyId", &room.number),
                                    Unless(null == "CurvatureRadius", &room.real));
         }},
        {"GetNextBaseContract",
         {"BaseContractCode",
          "MCSCode",
          "BaseContractCodeSize",
          "MCSCodeSize",
          "VolatNum",
          "PointsNum",
          "MSPType",
          "CurrencyId",
          "ShortOptionMinimumCharge",
          "MarketRisk",
          "MarketRisk1",
          "MarketRisk2",
          "MarketRiskLow",
          "MarketRisk1Low",
          "MarketRisk2Low",
          "MarketRiskMedium",
          "MarketRisk1Medium",
          "MarketRisk2Medium",
          "MarketRiskHigh",
          "MarketRisk1High",
          "MarketRisk2High",
          "MarketRiskExceptional",
          "MarketRisk1Exceptional",
          "MarketRisk2Exceptional",
          "ConcentrationLimit1",
          "ConcentrationLimit2",
          "WindowSizePercentage",
          "OptionModel",
          "SpotPrice",
          "AssetClass",
          "CFRisk"},
         94821,
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             const auto number = [&](const char* name) { return Unless(null == name, &room.number); };
             const auto small = [&](const char* name) { return Unless(null == name, &room.small); };
             const auto large = [&](const char* name) { return Unless(null == name, &room.large); };
             const auto text = [&](const char* name) { return Unless(null == name, room.text.data()); };
             return GetNextBaseContract(
                 0, text("BaseContractCode"), number("BaseContractCodeSize"), text("MCSCode"), number("MCSCodeSize"),
                 number("VolatNum"), number("PointsNum"), small("MSPType"), number("CurrencyId"),
                 real("ShortOptionMinimumCharge"), real("MarketRisk"), real("MarketRisk1"), real("MarketRisk2"),
                 real("MarketRiskLow"), real("MarketRisk1Low"), real("MarketRisk2Low"), real("MarketRiskMedium"),
                 real("MarketRisk1Medium"), real("MarketRisk2Medium"), real("MarketRiskHigh"), real("MarketRisk1High"),
                 real("MarketRisk2High"), real("MarketRiskExceptional"), real("MarketRisk1Exceptional"),
                 real("MarketRisk2Exceptional"), large("ConcentrationLimit1"), large("ConcentrationLimit2"),
                 real("WindowSizePercentage"), small("OptionModel"), real("SpotPrice"), number("AssetClass"),
                 real("CFRisk"));
         }},
        {"GetNextFutures",
         {"FuturesCode",
          "BaseContractCode",
          "TASBaseFutCode",
          "FuturesCodeSize",
          "BaseContractCodeSize",
          "Limit",
          "CalcFutPrice",
          "SpreadAspect",
          "MinStepPrice",
          "RealCalcPrice",
          "MinStep",
          "XLot",
          "InterestRateRiskUp",
          "InterestRateRiskDown",
          "TimeToExpiration",
          "NormalizedSpot",
          "Attribute",
          "MRAddOnUp",
          "MRAddOnDown",
          "EnforceIMSHalfNetting",
          "TASBaseFutCodeSize"},
         94821,
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             const auto number = [&](const char* name) { return Unless(null == name, &room.number); };
             const auto small = [&](const char* name) { return Unless(null == name, &room.small); };
             const auto text = [&](const char* name) { return Unless(null == name, room.text.data()); };
             return GetNextFutures(0, 0, text("FuturesCode"), number("FuturesCodeSize"), text("BaseContractCode"),
                                   number("BaseContractCodeSize"), real("Limit"), real("CalcFutPrice"),
                                   small("SpreadAspect"), real("MinStepPrice"), real("RealCalcPrice"), real("MinStep"),
                                   real("XLot"), real("InterestRateRiskUp"), real("InterestRateRiskDown"),
                                   real("TimeToExpiration"), real("NormalizedSpot"), number("Attribute"),
                                   real("MRAddOnUp"), real("MRAddOnDown"), small("EnforceIMSHalfNetting"),
                                   text("TASBaseFutCode"), number("TASBaseFutCodeSize"));
         }},
        {"GetNextOptionSeries",
         {"OptionSeriesCode",
          "FuturesCode",
          "OptionSeriesCodeSize",
          "FuturesCodeSize",
          "SqrtT",
          "A_Black",
          "B_Black",
          "C_Black",
          "D_Black",
          "E_Black",
          "UseNullVolat",
          "S_Black",
          "StrikeStep",
          "ExpClearingsSA",
          "ExpClearingsBF",
          "ExpClearingsCC",
          "VolatilityRisk",
          "VolatilityRiskMismatch",
          "TimeToExpiration",
          "A_Bach",
          "B_Bach",
          "C_Bach",
          "D_Bach",
          "E_Bach",
          "S_Bach",
          "M_Bach",
          "MarginStyle",
          "SettlementType",
          "ExerciseStyle",
          "SubRisk",
          "SpreadAspect",
          "EnforceHalfNetting",
          "MinStep",
          "MinStepPrice",
          "LotCoeff",
          "r",
          "InterestRateRiskUp",
          "InterestRateRiskDown",
          "FixedSpotDiscount",
          "ProjectedSpotDiscount",
          "r2",
          "InterestRate2RiskUp",
          "InterestRate2RiskDown"},
         94821,
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             const auto number = [&](const char* name) { return Unless(null == name, &room.number); };
             const auto small = [&](const char* name) { return Unless(null == name, &room.small); };
             const auto text = [&](const char* name) { return Unless(null == name, room.text.data()); };
             return GetNextOptionSeries(
                 0, text("OptionSeriesCode"), number("OptionSeriesCodeSize"), text("FuturesCode"),
                 number("FuturesCodeSize"), real("SqrtT"), real("A_Black"), real("B_Black"), real("C_Black"),
                 real("D_Black"), real("E_Black"), small("UseNullVolat"), real("S_Black"), real("StrikeStep"),
                 number("ExpClearingsSA"), number("ExpClearingsBF"), number("ExpClearingsCC"), real("VolatilityRisk"),
                 real("VolatilityRiskMismatch"), real("TimeToExpiration"), real("A_Bach"), real("B_Bach"),
                 real("C_Bach"), real("D_Bach"), real("E_Bach"), real("S_Bach"), real("M_Bach"), number("MarginStyle"),
                 number("SettlementType"), number("ExerciseStyle"), small("SubRisk"), small("SpreadAspect"),
                 small("EnforceHalfNetting"), real("MinStep"), real("MinStepPrice"), number("LotCoeff"), real("r"),
                 real("InterestRateRiskUp"), real("InterestRateRiskDown"), real("FixedSpotDiscount"),
                 real("ProjectedSpotDiscount"), real("r2"), real("InterestRate2RiskUp"), real("InterestRate2RiskDown"));
         }},
        {"GetNextOption",
         {"OptionCode", "OptionSeriesCode", "OptionCodeSize", "OptionSeriesCodeSize", "Strike", "OptionType",
          "CalcOptPrice"},
         94821,
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             const auto number = [&](const char* name) { return Unless(null == name, &room.number); };
             const auto small = [&](const char* name) { return Unless(null == name, &room.small); };
             const auto text = [&](const char* name) { return Unless(null == name, room.text.data()); };
             return GetNextOption(0, text("OptionCode"), number("OptionCodeSize"), text("OptionSeriesCode"),
                                  number("OptionSeriesCodeSize"), real("Strike"), small("OptionType"),
                                  real("CalcOptPrice"));
         }},
        {"GetNextMultileg",
         {"MultilegCode", "MultilegCodeSize"},
         94821,
         [](Room& room, const std::string& null) {
             return GetNextMultileg(0, Unless(null == "MultilegCode", room.text.data()),
                                    Unless(null == "MultilegCodeSize", &room.number));
         }},
        {"RegisterSettlementAccount",
         {"SettlementAccountId"},
         94821,
         [](Room&, const std::string& null) { return calls::Account(0, Unless(!null.empty(), "ACC")); }},
        {"RegisterFirm",
         {"BrokerCode"},
         94821,
         [](Room&, const std::string& null) { return calls::Firm(0, Unless(!null.empty(), "AA00")); }},
        {"RegisterPart",
         {"ClientCode"},
         94821,
         [](Room&, const std::string& null) { return calls::Part(0, Unless(!null.empty(), "AA00001")); }},
        {"ChangePart",
         {"Code"},
         94821,
         [](Room&, const std::string& null) { return ChangePart(0, Unless(!null.empty(), "AA00001"), 0, 0, 0.5); }},
        {"InsertBrokerBaseContractParam",
         {"Code", "CodeBC"},
         94821,
         [](Room&, const std::string& null) {
             return InsertBrokerBaseContractParam(0, Unless(null == "Code", "AA00"), Unless(null == "CodeBC", "BC"),
                                                  1.0);
         }},
        {"SetPosition",
         {"InstrCode", "Code", "VolatilityPartGO", "DeliveryAndVolatilityPartGO", "PartGO", "FirmGO",
          "SettlementAccountGO"},
         94820, // no link: it is looked at before the state of the library
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             return SetPosition(0, Unless(null == "Code", "AA00001"), Unless(null == "InstrCode", "FUT"), 1, 0.0,
                                real("VolatilityPartGO"), real("DeliveryAndVolatilityPartGO"), real("PartGO"),
                                real("FirmGO"), real("SettlementAccountGO"), QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 0);
         }},
        {"ChangeOrder",
         {"Code", "InstrCode", "VolatilityPartGO", "DeliveryAndVolatilityPartGO", "PartGO", "FirmGO",
          "SettlementAccountGO"},
         94820,
         [](Room& room, const std::string& null) {
             const auto real = [&](const char* name) { return Unless(null == name, &room.real); };
             return ChangeOrder(0, Unless(null == "Code", "AA00001"), Unless(null == "InstrCode", "FUT"), 1, 0.0, 1,
                                real("VolatilityPartGO"), real("DeliveryAndVolatilityPartGO"), real("PartGO"),
                                real("FirmGO"), real("SettlementAccountGO"));
         }},
    };
}

TEST(ExportsBeforeInit, EveryNullPointerIsRefusedUnderItsName)
{
    DefaultLogFile log;
    for (const Case& test : AllWithPointers()) {
        for (const std::string& pointer : test.pointers) {
            Room room;
            EXPECT_EQ(test.call(room, pointer), 94811) << test.function << " with a null " << pointer;
            EXPECT_THAT(log.Take(),
                        ElementsAre(EndsWith(" ERROR [QuindalIM] " + test.function + ": " + pointer + " is null")));
        }
    }
}

TEST(ExportsBeforeInit, WithoutANullTheyNeedTheLibraryStartedOrTheLink)
{
    for (const Case& test : AllWithPointers()) {
        Room room;
        EXPECT_EQ(test.call(room, ""), test.codeWithoutNull) << test.function;
    }
    EXPECT_EQ(SetCommonParams(0, 0.5), 94821);
    EXPECT_EQ(InsertCurrency(0, 840, 0.05), 94821);
    EXPECT_EQ(ClearAll(0), 94821);
    EXPECT_EQ(ClearParts(0), 94821);
    EXPECT_EQ(GetInstrumentParameters(0, nullptr), 94821);
    EXPECT_EQ(DestroyQuindalIMCalculator(0), 94821);
    EXPECT_EQ(DeInitQuindalIM(), 94821);
}

TEST(ExportsBeforeInit, AHandleThatIsNotZeroMakesNoDifference)
{
    std::int32_t number = 7;
    double real = 8.0;
    EXPECT_EQ(GetNextCurrency(12345, &number, &real), 94821);
    EXPECT_EQ(DestroyQuindalIMCalculator(12345), 94821);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(real, 8.0);
}

TEST(ExportsBeforeInit, InitNeedsAnIniFileBeforeItLooksAtTheUser)
{
    EXPECT_EQ(InitQuindalIM(nullptr, nullptr, nullptr), 94811);
    EXPECT_EQ(InitQuindalIM("", "user", "password"), 94811);
}

TEST(ExportsBeforeInit, VersionAndDescriptionsAreThereFromTheStart)
{
    EXPECT_STREQ(GetQuindalIMLibraryVersion(), "9.9.64.4654");
    EXPECT_STREQ(GetErrorCodeDescription(94808), "QuindalIM common error");
    EXPECT_STREQ(GetErrorCodeDescription(94212), "Settlement Account GO not enough");
    EXPECT_EQ(GetErrorCodeDescription(94214), GetErrorCodeDescription(-1));
    EXPECT_STREQ(Z9ErrGetDescrStr(94808), "QuindalIM common error") << "registered while the library was loaded";
}

TEST(ExportsBeforeInit, EveryCodeIsDescribedToTheLetter)
{
#define CODE_TEXT(code, name, text) EXPECT_STREQ(GetErrorCodeDescription(code), text);
#include "../kv7base/CodeTexts.inc"
#undef CODE_TEXT
}

} // namespace
} // namespace test::ExportsBeforeInitTest
