// Exported functions: common parameters and the insertion of instruments.
#include "QuindalIM.h"

#include <string>

#include "CalcGOConsts.h"
#include "Enums.h"
#include "ExportFrame.h"
#include "LibraryState.h"
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
    return Export(
        "InsertBaseContract",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("BaseContractCode", BaseContractCode)
                .Add("MCSCode", MCSCode)
                .Add("VolatNum", VolatNum)
                .Add("MSPType", MSPType)
                .Add("CurrencyId", CurrencyId)
                .Add("ShortOptionMinimumCharge", ShortOptionMinimumCharge)
                .Add("MarketRisk", MarketRisk)
                .Add("MarketRisk1", MarketRisk1)
                .Add("MarketRisk2", MarketRisk2)
                .Add("MarketRiskLow", MarketRiskLow)
                .Add("MarketRisk1Low", MarketRisk1Low)
                .Add("MarketRisk2Low", MarketRisk2Low)
                .Add("MarketRiskMedium", MarketRiskMedium)
                .Add("MarketRisk1Medium", MarketRisk1Medium)
                .Add("MarketRisk2Medium", MarketRisk2Medium)
                .Add("MarketRiskHigh", MarketRiskHigh)
                .Add("MarketRisk1High", MarketRisk1High)
                .Add("MarketRisk2High", MarketRisk2High)
                .Add("MarketRiskExceptional", MarketRiskExceptional)
                .Add("MarketRisk1Exceptional", MarketRisk1Exceptional)
                .Add("MarketRisk2Exceptional", MarketRisk2Exceptional)
                .Add("ConcentrationLimit1", ConcentrationLimit1)
                .Add("ConcentrationLimit2", ConcentrationLimit2)
                .Add("RiskPointsN", RiskPointsN)
                .Add("WindowSizePercentage", WindowSizePercentage)
                .Add("OptionModel", OptionModel)
                .Add("SpotPrice", SpotPrice)
                .Add("AssetClass", AssetClass)
                .Add("CFRisk", CFRisk);
        },
        {{"BaseContractCode", BaseContractCode}, {"MCSCode", MCSCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.InsertBaseContractEx(
                BaseContractCode, MCSCode, VolatNum, static_cast<Enums::MSPType>(MSPType), CurrencyId,
                ShortOptionMinimumCharge, MarketRisk, MarketRisk1, MarketRisk2, MarketRiskLow, MarketRisk1Low,
                MarketRisk2Low, MarketRiskMedium, MarketRisk1Medium, MarketRisk2Medium, MarketRiskHigh, MarketRisk1High,
                MarketRisk2High, MarketRiskExceptional, MarketRisk1Exceptional, MarketRisk2Exceptional,
                ConcentrationLimit1, ConcentrationLimit2, RiskPointsN, WindowSizePercentage,
                static_cast<Enums::OptionModel>(OptionModel), SpotPrice, static_cast<Enums::AssetClass>(AssetClass),
                CFRisk));
        });
}

int32_t InsertFutures(intptr_t QuindalIMCalculator, const char* FuturesCode, const char* BaseContractCode,
                      double CalcFutPrice, QuindalSpreadAspect SpreadAspect, double MinStepPrice, double RealCalcPrice,
                      double MinStep, double XLot, double InterestRateRiskUp, double InterestRateRiskDown,
                      double TimeToExpiration, double NormalizedSpot, QuindalAttribute Attribute, double MRAddOnUp,
                      double MRAddOnDown, int8_t EnforceIMSHalfNetting, const char* TASBaseFutCode)
{
    return Export(
        "InsertFutures",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("FuturesCode", FuturesCode)
                .Add("BaseContractCode", BaseContractCode)
                .Add("CalcFutPrice", CalcFutPrice)
                .Add("SpreadAspect", SpreadAspect)
                .Add("MinStepPrice", MinStepPrice)
                .Add("RealCalcPrice", RealCalcPrice)
                .Add("MinStep", MinStep)
                .Add("XLot", XLot)
                .Add("InterestRateRiskUp", InterestRateRiskUp)
                .Add("InterestRateRiskDown", InterestRateRiskDown)
                .Add("TimeToExpiration", TimeToExpiration)
                .Add("NormalizedSpot", NormalizedSpot)
                .Add("Attribute", Attribute)
                .Add("MRAddOnUp", MRAddOnUp)
                .Add("MRAddOnDown", MRAddOnDown)
                .Add("EnforceIMSHalfNetting", EnforceIMSHalfNetting)
                .Add("TASBaseFutCode", TASBaseFutCode);
        },
        {{"FuturesCode", FuturesCode}, {"BaseContractCode", BaseContractCode}, {"TASBaseFutCode", TASBaseFutCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.InsertFutures(
                FuturesCode, BaseContractCode, CalcFutPrice, static_cast<Enums::SpreadAspect>(SpreadAspect),
                MinStepPrice, RealCalcPrice, MinStep, XLot, InterestRateRiskUp, InterestRateRiskDown, TimeToExpiration,
                NormalizedSpot, static_cast<Enums::InstrumentStatus>(Attribute), MRAddOnUp, MRAddOnDown,
                EnforceIMSHalfNetting != 0, TASBaseFutCode));
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
