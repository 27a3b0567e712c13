#include "InstrumentElements.h"

#include <array>
#include <cstdint>
#include <locale>
#include <string>

#include <boost/algorithm/string/predicate.hpp>

#include "CalcGOConsts.h"
#include "CalcGOEx.h"
#include "TableRecords.h"
#include "TablesData.h"
#include "Z9Time.h"
#include "except.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "instruments/OptionSeriesParameters.h"
#include "z9log.h"

namespace QuindalIM {

using kv7base::CZ9Error;

namespace {

// A failure is reported under the name of the whole download, whichever element it is found in.
#define KV7_DOWNLOAD_LOCATION ::kv7base::source_location::current(__LINE__, 0, __FILE__, "GetInstrumentParameters")

// Attributes are read one statement each, in the order in which the exchange lists them: the first one that is missing
// or malformed is the one that the failure names.

template <class T>
[[nodiscard]] T Number(pugi::xml_node element, const char* name)
{
    return FromString<T>(GetAttr(element, name));
}

/// A code that has no room in a record is refused: cut off, it might name another instrument.
void ReadCode(pugi::xml_node element, const char* name, t_instr& field)
{
    const std::string code = GetAttr(element, name);
    if (!SetInstr(field, code))
        throw CZ9Error(Z9ERR_COMMON_BUFFER_TOO_SMALL, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::%s is too long: %s", name, code.c_str());
}

[[nodiscard]] std::string ReadCode(pugi::xml_node element, const char* name)
{
    t_instr field = {};
    ReadCode(element, name, field);
    return field;
}

[[nodiscard]] Z9TIME ReadTime(pugi::xml_node element, const char* name)
{
    const std::string text = GetAttr(element, name);
    Z9TIME time = {};
    const Z9ERR result = Z9TimeGetFromStr(&time, text.c_str());
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::%s is not a time: %s", name, text.c_str());
    return time;
}

void InsertCommonParameters(CCalcGOEx& calculator, pugi::xml_node element)
{
    // A server that has no edge coefficient to give sends 0; a quarter is used then, not the repository's default.
    constexpr double EdgeCoeffOfNone = 0.25;
    constexpr const char* EdgeCoeffOfNoneText = "0.25";

    std::string text = GetAttr(element, "EdgeCoeff");
    double EdgeCoeff = FromString<double>(text);
    if (EdgeCoeff == 0.0) {
        EdgeCoeff = EdgeCoeffOfNone;
        text = EdgeCoeffOfNoneText;
    }
    calculator.SetCommonParams(EdgeCoeff);
    calculator.GetTablesData().AddCommonParameters(text);
}

void InsertCurrency(CCalcGOEx& calculator, pugi::xml_node element)
{
    SCurrencyStruct record;
    record.IndicatorID = Number<int>(element, "IndicatorID");
    record.Radius = Number<double>(element, "Radius");

    const Z9ERR result = calculator.InsertCurrency(record.IndicatorID, record.Radius);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::InsertCurrency with IndicatorID: %d - failed",
                 static_cast<int>(record.IndicatorID));
    calculator.GetTablesData().AddCurrency(element);
}

/// MarketRisk1High is the rate between the concentration limits at the level High; the default level adds no word.
void ReadMarketRisks(pugi::xml_node element, kv7im::BaseContractParameters& contract)
{
    for (const Enums::ClientRiskLevelRow& level : Enums::ClientRiskLevels) {
        const auto rate = [&](const char* name) {
            return Number<double>(element, (name + std::string(level.columnSuffix)).c_str());
        };
        contract.MarketRisk[level.value] = rate("MarketRisk");
        contract.MarketRisk1[level.value] = rate("MarketRisk1");
        contract.MarketRisk2[level.value] = rate("MarketRisk2");
    }
}

[[nodiscard]] kv7im::BaseContractParameters ReadBaseContract(pugi::xml_node element)
{
    kv7im::BaseContractParameters contract;
    contract.Code = ReadCode(element, "Code");
    contract.CodeMCS = ReadCode(element, "CodeMCS");
    contract.VolatNum = std::int32_t{Number<signed char>(element, "VolatNum")};
    contract.MSPType = static_cast<Enums::MSPType>(Number<signed char>(element, "MSPType"));
    contract.ShortOptionMinimumCharge = Number<double>(element, "ShortOptionMinimumCharge");
    contract.CurrencyId = Number<int>(element, "IndicatorID");
    ReadMarketRisks(element, contract);
    contract.ConcentrationLimit1 = Number<long>(element, "ConcentrationLimit1");
    contract.ConcentrationLimit2 = Number<long>(element, "ConcentrationLimit2");
    contract.RiskPointsN = Number<int>(element, "RiskPointsN");
    contract.WindowSizePercentage = Number<double>(element, "WindowSizePercentage");
    contract.OptionModel = static_cast<Enums::OptionModel>(Number<signed char>(element, "OptionModel"));
    contract.SpotPrice = Number<double>(element, "SpotPrice");
    contract.AssetClass = static_cast<Enums::AssetClass>(Number<int>(element, "AssetClass"));
    contract.CFRisk = Number<double>(element, "CFRisk");
    return contract;
}

void InsertBaseContract(CCalcGOEx& calculator, pugi::xml_node element)
{
    const kv7im::BaseContractParameters contract = ReadBaseContract(element);
    const Z9ERR result = calculator.InsertBaseContractEx(contract);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::InsertBaseContractEx with code: %s - failed",
                 contract.Code.c_str());
    calculator.GetTablesData().AddBaseContract(element);
}

/// The isin is the server's. TASBaseFutCode: the base futures of a trade-at-settlement futures stays a code until the
/// calculator finds its isin.
[[nodiscard]] kv7im::FuturesParameters ReadFutures(pugi::xml_node element, std::string& TASBaseFutCode)
{
    kv7im::FuturesParameters futures;
    futures.Code = ReadCode(element, "Code");
    futures.CodeBC = ReadCode(element, "CodeBC");
    futures.Isin = Number<int>(element, "Isin");
    const t_bprice calcFutPrice(Number<double>(element, "CalcFutPrice"));
    futures.SpreadAspect = static_cast<Enums::SpreadAspect>(Number<signed char>(element, "SpreadAspect"));
    futures.MinStepPrice = Number<double>(element, "MinStepPrice");
    const t_bprice realCalcPrice(Number<double>(element, "RealCalcPrice"));
    futures.MinStep = Number<double>(element, "MinStep");
    // What the margin has no use for must be there all the same, and be what it says.
    static_cast<void>(ReadTime(element, "ExpiredDate"));
    static_cast<void>(Number<int>(element, "Spot"));
    futures.XLot = Number<double>(element, "XLot");
    static_cast<void>(Number<int>(element, "Lot"));
    futures.InterestRateRiskUp = Number<double>(element, "InterestRateRiskUp");
    futures.InterestRateRiskDown = Number<double>(element, "InterestRateRiskDown");
    futures.TimeToExpiration = Number<double>(element, "TimeToExpiration");
    futures.NormalizedSpot = Number<double>(element, "NormalizedSpot");
    futures.Attribute = static_cast<Enums::InstrumentStatus>(Number<int>(element, "Attribute"));
    futures.MRAddOnUp = Number<double>(element, "MRAddOnUp");
    futures.MRAddOnDown = Number<double>(element, "MRAddOnDown");
    futures.EnforceIMSHalfNetting = Number<signed char>(element, "EnforceIMSHalfNetting") != 0;
    TASBaseFutCode = GetAttr(element, "TASBaseFutCode");
    futures.CalcFutPrice = calcFutPrice.AsDouble(); // five decimals, whatever the server sends
    futures.RealCalcPrice = realCalcPrice.AsDouble();
    return futures;
}

void InsertFutures(CCalcGOEx& calculator, pugi::xml_node element)
{
    std::string TASBaseFutCode;
    const kv7im::FuturesParameters futures = ReadFutures(element, TASBaseFutCode);
    const Z9ERR result = calculator.InsertFutures(futures, TASBaseFutCode);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::InsertFutures with code: %s - failed", futures.Code.c_str());

    int isin = futures.Isin; // the server's, not the calculator's
    calculator.GetRealIsinStorage().SaveIsinCode(isin, futures.Code.c_str());
    calculator.GetTablesData().AddFutures(element);
}

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile read");
void ReadBlackScholesSmile(pugi::xml_node element, kv7im::OptionSeriesParameters& series)
{
    series.A = Number<double>(element, "A_Black");
    series.B = Number<double>(element, "B_Black");
    series.C = Number<double>(element, "C_Black");
    series.D = Number<double>(element, "D_Black");
    series.E = Number<double>(element, "E_Black");
    series.S = Number<double>(element, "S_Black");
}

void ReadBachelierSmile(pugi::xml_node element, kv7im::OptionSeriesParameters& series)
{
    series.A_Bach = Number<double>(element, "A_Bach");
    series.B_Bach = Number<double>(element, "B_Bach");
    series.C_Bach = Number<double>(element, "C_Bach");
    series.D_Bach = Number<double>(element, "D_Bach");
    series.E_Bach = Number<double>(element, "E_Bach");
    series.S_Bach = Number<double>(element, "S_Bach");
    series.M_Bach = Number<double>(element, "M_Bach");
}

void ReadRatesAndDiscounts(pugi::xml_node element, kv7im::OptionSeriesParameters& series)
{
    series.R = Number<double>(element, "r");
    series.InterestRateRiskUp = Number<double>(element, "InterestRateRiskUp");
    series.InterestRateRiskDown = Number<double>(element, "InterestRateRiskDown");
    series.FixedSpotDiscount = Number<double>(element, "FixedSpotDiscount");
    series.ProjectedSpotDiscount = Number<double>(element, "ProjectedSpotDiscount");
    series.R2 = Number<double>(element, "r2");
    series.InterestRate2RiskUp = Number<double>(element, "InterestRate2RiskUp");
    series.InterestRate2RiskDown = Number<double>(element, "InterestRate2RiskDown");
}

[[nodiscard]] kv7im::OptionSeriesParameters ReadOptionSeries(pugi::xml_node element)
{
    kv7im::OptionSeriesParameters series;
    series.Code = ReadCode(element, "Code");
    series.CodeRF = ReadCode(element, "CodeRF");
    ReadBlackScholesSmile(element, series);
    series.UseNullVolat = Number<signed char>(element, "UseNullVolat") != 0;
    series.StrikeStep = Number<double>(element, "StrikeStep");
    series.ExpClearingsSA = Number<int>(element, "ExpClearingsSA");
    series.ExpClearingsBF = Number<int>(element, "ExpClearingsBF");
    series.ExpClearingsCC = Number<int>(element, "ExpClearingsCC");
    series.VolatilityRisk = Number<double>(element, "VolatilityRisk");
    series.VolatilityRiskMismatch = Number<double>(element, "VolatilityRiskMismatch");
    series.TimeToExpiration = Number<double>(element, "TimeToExpiration");
    ReadBachelierSmile(element, series);
    series.marginStyle = static_cast<Enums::MarginStyle>(Number<int>(element, "MarginStyle"));
    series.settlementType = static_cast<Enums::SettlementType>(Number<int>(element, "SettlementType"));
    series.exerciseStyle = static_cast<Enums::ExerciseStyle>(Number<int>(element, "ExerciseStyle"));
    series.SubRisk = Number<signed char>(element, "SubRisk") != 0;
    series.SpreadAspect = static_cast<Enums::SpreadAspect>(Number<signed char>(element, "SpreadAspect"));
    series.EnforceHalfNetting = Number<signed char>(element, "EnforceHalfNetting") != 0;
    series.MinStep = Number<double>(element, "MinStep");
    series.MinStepPrice = Number<double>(element, "MinStepPrice");
    series.LotCoeff = Number<int>(element, "LotCoeff");
    ReadRatesAndDiscounts(element, series);
    return series;
}

void InsertOptionSeries(CCalcGOEx& calculator, pugi::xml_node element)
{
    const kv7im::OptionSeriesParameters series = ReadOptionSeries(element);
    const Z9ERR result = calculator.InsertOptionSeries(series);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::InsertOptionSeries with code: %s - failed", series.Code.c_str());
    calculator.GetTablesData().AddOptionSeries(element);
}

void InsertOption(CCalcGOEx& calculator, pugi::xml_node element)
{
    const std::string code = ReadCode(element, "Code");
    const std::string codeVF = ReadCode(element, "CodeVF");
    const double strike = Number<double>(element, "Strike");
    const auto type = static_cast<Enums::OptionType>(Number<signed char>(element, "OptType"));
    const double calcOptPrice = Number<double>(element, "CalcOptPrice"); // unlike a futures' price as it stands

    const Z9ERR result = calculator.InsertOption(code.c_str(), codeVF.c_str(), strike, type, calcOptPrice);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_DOWNLOAD_LOCATION)
            .Fmt("CZ9MQCore::GetInstrumentParameters::InsertOption with code: %s - failed", code.c_str());
    calculator.GetTablesData().AddOption(element);
}

[[nodiscard]] SMultilegDictionaryStruct ReadMultileg(pugi::xml_node element, std::string& codeLeg)
{
    SMultilegDictionaryStruct record;
    record.Isin = Number<int>(element, "Isin"); // the server's isin, like IsinLeg
    record.IsinLeg = Number<int>(element, "IsinLeg");
    record.LegOrderNum = Number<signed char>(element, "LegOrderNum");
    record.LegsQuantity = Number<int>(element, "LegsQuantity");
    record.QuantityRatio = Number<int>(element, "QuantityRatio");
    codeLeg = GetAttr(element, "CodeLeg");
    return record;
}

/// Keeps one leg until all instruments are in. A leg that is no futures of this reply is left out: the others are of
/// use without it.
void PreloadMultileg(CCalcGOEx& calculator, pugi::xml_node element)
{
    std::string codeLeg;
    const SMultilegDictionaryStruct record = ReadMultileg(element, codeLeg);
    int isinLeg = record.IsinLeg;
    if (!calculator.GetRealIsinStorage().Find(isinLeg)) {
        KV7TRACE_ERROR_WITH_CODE_EX(
            Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS, LogCategory,
            "CZ9MQCore::GetInstrumentParameters::InsertMultileg with code: %s - no such futures", codeLeg.c_str());
        return;
    }
    calculator.PreloadMultileg(record);
}

/// Inserts the multilegs whose legs have all come, each with its row in the table.
void InsertMultilegs(CCalcGOEx& calculator)
{
    calculator.ValidateAndInsertMultilegs();
    calculator.SetOnFirstMultileg();
    for (std::string code; calculator.GetNextMultileg(code) == Z9ERR_OK;)
        calculator.GetTablesData().AddMultileg(code);
}

struct ElementKind
{
    const char* tag;
    void (*insert)(CCalcGOEx& calculator, pugi::xml_node element);
};

constexpr std::array ElementKinds{
    ElementKind{"CommonParameters", InsertCommonParameters},
    ElementKind{"Currency", InsertCurrency},
    ElementKind{"BaseContract", InsertBaseContract},
    ElementKind{"Futures", InsertFutures},
    ElementKind{"VirtFutures", InsertOptionSeries},
    ElementKind{"Option", InsertOption},
    ElementKind{"Multileg", PreloadMultileg},
};

} // namespace

void InsertInstruments(CCalcGOEx& calculator, pugi::xml_node root)
{
    const std::locale& classic = std::locale::classic();
    for (const pugi::xml_node& element : root.children())
        for (const ElementKind& kind : ElementKinds)
            if (boost::algorithm::iequals(element.name(), kind.tag, classic)) kind.insert(calculator, element);
    InsertMultilegs(calculator);
}

#undef KV7_DOWNLOAD_LOCATION

} // namespace QuindalIM
