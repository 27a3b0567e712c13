// Exported functions: common parameters and the insertion of instruments.
#include "QuindalIM.h"

#include <string>
#include <tuple>
#include <utility>

#include "CalcGOConsts.h"
#include "EntryValues.h"
#include "Enums.h"
#include "ExportFrame.h"
#include "LibraryState.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "z9log.h"

using namespace QuindalIM;

int32_t SetCommonParams(intptr_t QuindalIMCalculator, double EdgeCoeff)
{
    return Export(
        "SetCommonParams",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator).Add("EdgeCoeff", EdgeCoeff);
        },
        {},
        [&](ExportCall& call) {
            GetQuindalImCalculator(QuindalIMCalculator).SetCommonParams(EdgeCoeff);
            return call.SetError(Z9ERR_OK);
        });
}

int32_t GetCommonParams(intptr_t QuindalIMCalculator, double* EdgeCoeff)
{
    return Export(
        "GetCommonParams", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        {{"EdgeCoeff", EdgeCoeff}},
        [&](ExportCall& call) {
            *EdgeCoeff = GetQuindalImCalculator(QuindalIMCalculator).GetCommonParams();
            call.Params().Add("EdgeCoeff", *EdgeCoeff);
            return call.SetError(Z9ERR_OK);
        });
}

int32_t InsertCurrency(intptr_t QuindalIMCalculator, int32_t CurrencyId, double CurvatureRadius)
{
    return Export(
        "InsertCurrency",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("CurrencyId", CurrencyId)
                .Add("CurvatureRadius", CurvatureRadius);
        },
        {},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.InsertCurrency(CurrencyId, CurvatureRadius));
        });
}

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
int32_t InsertBaseContract(intptr_t QuindalIMCalculator, const char* BaseContractCode, const char* MCSCode,
                           int32_t VolatNum, QuindalMSPType MSPType, int32_t CurrencyId,
                           double ShortOptionMinimumCharge, double MarketRisk, double MarketRisk1, double MarketRisk2,
                           double MarketRiskLow, double MarketRisk1Low, double MarketRisk2Low, double MarketRiskMedium,
                           double MarketRisk1Medium, double MarketRisk2Medium, double MarketRiskHigh,
                           double MarketRisk1High, double MarketRisk2High, double MarketRiskExceptional,
                           double MarketRisk1Exceptional, double MarketRisk2Exceptional, int64_t ConcentrationLimit1,
                           int64_t ConcentrationLimit2, int32_t RiskPointsN, double WindowSizePercentage,
                           QuindalOptionModel OptionModel, double SpotPrice, QuindalAssetClass AssetClass,
                           double CFRisk)
{
    static_assert(Enums::ClientRiskLevels.size() == 5, "each risk level has its arguments");
    using enum Enums::ClientRiskLevel;
    using kv7im::LevelOf;
    using Contract = kv7im::BaseContractParameters;
    const std::tuple values{
        InputOf{"VolatNum", VolatNum, &Contract::VolatNum},
        InputOf{"MSPType", MSPType, &Contract::MSPType},
        InputOf{"CurrencyId", CurrencyId, &Contract::CurrencyId},
        InputOf{"ShortOptionMinimumCharge", ShortOptionMinimumCharge, &Contract::ShortOptionMinimumCharge},
        InputOf{"MarketRisk", MarketRisk, LevelOf{&Contract::MarketRisk, Default}},
        InputOf{"MarketRisk1", MarketRisk1, LevelOf{&Contract::MarketRisk1, Default}},
        InputOf{"MarketRisk2", MarketRisk2, LevelOf{&Contract::MarketRisk2, Default}},
        InputOf{"MarketRiskLow", MarketRiskLow, LevelOf{&Contract::MarketRisk, Low}},
        InputOf{"MarketRisk1Low", MarketRisk1Low, LevelOf{&Contract::MarketRisk1, Low}},
        InputOf{"MarketRisk2Low", MarketRisk2Low, LevelOf{&Contract::MarketRisk2, Low}},
        InputOf{"MarketRiskMedium", MarketRiskMedium, LevelOf{&Contract::MarketRisk, Medium}},
        InputOf{"MarketRisk1Medium", MarketRisk1Medium, LevelOf{&Contract::MarketRisk1, Medium}},
        InputOf{"MarketRisk2Medium", MarketRisk2Medium, LevelOf{&Contract::MarketRisk2, Medium}},
        InputOf{"MarketRiskHigh", MarketRiskHigh, LevelOf{&Contract::MarketRisk, High}},
        InputOf{"MarketRisk1High", MarketRisk1High, LevelOf{&Contract::MarketRisk1, High}},
        InputOf{"MarketRisk2High", MarketRisk2High, LevelOf{&Contract::MarketRisk2, High}},
        InputOf{"MarketRiskExceptional", MarketRiskExceptional, LevelOf{&Contract::MarketRisk, Exceptional}},
        InputOf{"MarketRisk1Exceptional", MarketRisk1Exceptional, LevelOf{&Contract::MarketRisk1, Exceptional}},
        InputOf{"MarketRisk2Exceptional", MarketRisk2Exceptional, LevelOf{&Contract::MarketRisk2, Exceptional}},
        InputOf{"ConcentrationLimit1", ConcentrationLimit1, &Contract::ConcentrationLimit1},
        InputOf{"ConcentrationLimit2", ConcentrationLimit2, &Contract::ConcentrationLimit2},
        InputOf{"RiskPointsN", RiskPointsN, &Contract::RiskPointsN},
        InputOf{"WindowSizePercentage", WindowSizePercentage, &Contract::WindowSizePercentage},
        InputOf{"OptionModel", OptionModel, &Contract::OptionModel},
        InputOf{"SpotPrice", SpotPrice, &Contract::SpotPrice},
        InputOf{"AssetClass", AssetClass, &Contract::AssetClass},
        InputOf{"CFRisk", CFRisk, &Contract::CFRisk}};
    return Export(
        "InsertBaseContract",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("BaseContractCode", BaseContractCode)
                .Add("MCSCode", MCSCode);
            AddAll(params, values);
        },
        {{"BaseContractCode", BaseContractCode}, {"MCSCode", MCSCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            Contract contract{.Code = BaseContractCode, .CodeMCS = MCSCode};
            AssignAll(contract, values);
            return call.SetError(calculator.InsertBaseContractEx(std::move(contract)));
        });
}

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
int32_t InsertFutures(intptr_t QuindalIMCalculator, const char* FuturesCode, const char* BaseContractCode,
                      double CalcFutPrice, QuindalSpreadAspect SpreadAspect, double MinStepPrice, double RealCalcPrice,
                      double MinStep, double XLot, double InterestRateRiskUp, double InterestRateRiskDown,
                      double TimeToExpiration, double NormalizedSpot, QuindalAttribute Attribute, double MRAddOnUp,
                      double MRAddOnDown, int8_t EnforceIMSHalfNetting, const char* TASBaseFutCode)
{
    using Futures = kv7im::FuturesParameters;
    const std::tuple values{InputOf{"CalcFutPrice", CalcFutPrice, &Futures::CalcFutPrice},
                            InputOf{"SpreadAspect", SpreadAspect, &Futures::SpreadAspect},
                            InputOf{"MinStepPrice", MinStepPrice, &Futures::MinStepPrice},
                            InputOf{"RealCalcPrice", RealCalcPrice, &Futures::RealCalcPrice},
                            InputOf{"MinStep", MinStep, &Futures::MinStep},
                            InputOf{"XLot", XLot, &Futures::XLot},
                            InputOf{"InterestRateRiskUp", InterestRateRiskUp, &Futures::InterestRateRiskUp},
                            InputOf{"InterestRateRiskDown", InterestRateRiskDown, &Futures::InterestRateRiskDown},
                            InputOf{"TimeToExpiration", TimeToExpiration, &Futures::TimeToExpiration},
                            InputOf{"NormalizedSpot", NormalizedSpot, &Futures::NormalizedSpot},
                            InputOf{"Attribute", Attribute, &Futures::Attribute},
                            InputOf{"MRAddOnUp", MRAddOnUp, &Futures::MRAddOnUp},
                            InputOf{"MRAddOnDown", MRAddOnDown, &Futures::MRAddOnDown},
                            InputOf{"EnforceIMSHalfNetting", EnforceIMSHalfNetting, &Futures::EnforceIMSHalfNetting}};
    return Export(
        "InsertFutures",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("FuturesCode", FuturesCode)
                .Add("BaseContractCode", BaseContractCode);
            AddAll(params, values);
            params.Add("TASBaseFutCode", TASBaseFutCode);
        },
        {{"FuturesCode", FuturesCode}, {"BaseContractCode", BaseContractCode}, {"TASBaseFutCode", TASBaseFutCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            Futures futures{.Code = FuturesCode, .CodeBC = BaseContractCode};
            AssignAll(futures, values);
            return call.SetError(calculator.InsertFutures(std::move(futures), TASBaseFutCode));
        });
}

int32_t GetInstrumentParameters(intptr_t QuindalIMCalculator, const char* DataTime)
{
    return Export(
        "GetInstrumentParameters",
        [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator).Add("DataTime", DataTime); },
        {}, // DataTime may be null: the present dictionary
        [&](ExportCall& call) -> Z9ERR {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            if (!calculator.IsEmpty()) return call.SetError(Z9ERR_QUINDAL_IM_INSTRUMENTS_ALREADY_LOADED);

            std::string datetime;
            if (DataTime != nullptr && *DataTime != '\0') datetime = std::string(DataTime) + "/000"; // milliseconds
            if (g_mq_core.GetInstrumentParameters(calculator, datetime.empty() ? nullptr : datetime.c_str()))
                return call.SetError(Z9ERR_OK);

            return call.SetError(Z9ERR_QUINDAL_IM_COMMON_ERROR, g_mq_core.GetLastError());
        });
}

int32_t ClearAll(intptr_t QuindalIMCalculator)
{
    return Export(
        "ClearAll", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); }, {},
        [&](ExportCall& call) {
            GetQuindalImCalculator(QuindalIMCalculator).ClearAll();
            return call.SetError(Z9ERR_OK);
        });
}

int32_t ClearParts(intptr_t QuindalIMCalculator)
{
    return Export(
        "ClearParts", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); }, {},
        [&](ExportCall& call) {
            GetQuindalImCalculator(QuindalIMCalculator).RemoveAllParticipants();
            return call.SetError(Z9ERR_OK);
        });
}
