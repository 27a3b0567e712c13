// Exported functions: the cursors that read currencies, base contracts and futures back.
#include "QuindalIM.h"

#include <array>
#include <limits>
#include <string>

#include "BoundaryValues.h"
#include "CalcGOConsts.h"
#include "CodeBuffers.h"
#include "CursorFrame.h"
#include "Enums.h"
#include "ExportFrame.h"
#include "LibraryState.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "z9log.h"

using namespace QuindalIM;

namespace {

[[nodiscard]] double LimitAt(const kv7im::CSpecFutures& futures, Enums::ClientRiskLevel level)
{
    return IsClientRiskLevel(level) ? futures.Limit[level] : std::numeric_limits<double>::quiet_NaN();
}

/// Code of the futures that this one tracks; empty when it tracks none.
[[nodiscard]] Z9ERR FindTASBaseFutCode(const ExportCall& call, const CCalcGOEx& calculator,
                                       const kv7im::CSpecFutures& futures, std::string& code)
{
    if (futures.TASBaseFutIsinID == 0) return Z9ERR_OK;
    const Z9ERR result = calculator.GetCodeByIsin(futures.TASBaseFutIsinID, code);
    if (result != Z9ERR_OK)
        KV7TRACE_ERROR_EX(LogCategory, "%s: TASBaseFutIsinID (%d) not found", call.Name(), futures.TASBaseFutIsinID);
    return result;
}

} // namespace

int32_t SetOnFirstCurrency(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstCurrency", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstCurrency);
}

int32_t SetOnFirstBaseContract(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstBaseContract", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstBaseContract);
}

int32_t SetOnFirstFutures(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstFutures", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstFutures);
}

int32_t GetNextCurrency(intptr_t QuindalIMCalculator, int32_t* CurrencyId, double* CurvatureRadius)
{
    return Export(
        "GetNextCurrency", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        {{"CurrencyId", CurrencyId}, {"CurvatureRadius", CurvatureRadius}},
        [&](ExportCall& call) -> Z9ERR {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            if (calculator.GetNextCurrency(*CurrencyId, *CurvatureRadius) != Z9ERR_OK) return EndOfData(call);
            call.Params().Add("CurrencyId", *CurrencyId).Add("CurvatureRadius", *CurvatureRadius);
            return call.SetError(Z9ERR_OK);
        });
}

int32_t GetNextBaseContract(intptr_t QuindalIMCalculator, char* BaseContractCode, int32_t* BaseContractCodeSize,
                            char* MCSCode, int32_t* MCSCodeSize, int32_t* VolatNum, int32_t* PointsNum,
                            QuindalMSPType* MSPType, int32_t* CurrencyId, double* ShortOptionMinimumCharge,
                            double* MarketRisk, double* MarketRisk1, double* MarketRisk2, double* MarketRiskLow,
                            double* MarketRisk1Low, double* MarketRisk2Low, double* MarketRiskMedium,
                            double* MarketRisk1Medium, double* MarketRisk2Medium, double* MarketRiskHigh,
                            double* MarketRisk1High, double* MarketRisk2High, double* MarketRiskExceptional,
                            double* MarketRisk1Exceptional, double* MarketRisk2Exceptional,
                            int64_t* ConcentrationLimit1, int64_t* ConcentrationLimit2, double* WindowSizePercentage,
                            QuindalOptionModel* OptionModel, double* SpotPrice, QuindalAssetClass* AssetClass,
                            double* CFRisk)
{
    return Export(
        "GetNextBaseContract", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        {{"BaseContractCode", BaseContractCode},
         {"MCSCode", MCSCode},
         {"BaseContractCodeSize", BaseContractCodeSize},
         {"MCSCodeSize", MCSCodeSize},
         {"VolatNum", VolatNum},
         {"PointsNum", PointsNum},
         {"MSPType", MSPType},
         {"CurrencyId", CurrencyId},
         {"ShortOptionMinimumCharge", ShortOptionMinimumCharge},
         {"MarketRisk", MarketRisk},
         {"MarketRisk1", MarketRisk1},
         {"MarketRisk2", MarketRisk2},
         {"MarketRiskLow", MarketRiskLow},
         {"MarketRisk1Low", MarketRisk1Low},
         {"MarketRisk2Low", MarketRisk2Low},
         {"MarketRiskMedium", MarketRiskMedium},
         {"MarketRisk1Medium", MarketRisk1Medium},
         {"MarketRisk2Medium", MarketRisk2Medium},
         {"MarketRiskHigh", MarketRiskHigh},
         {"MarketRisk1High", MarketRisk1High},
         {"MarketRisk2High", MarketRisk2High},
         {"MarketRiskExceptional", MarketRiskExceptional},
         {"MarketRisk1Exceptional", MarketRisk1Exceptional},
         {"MarketRisk2Exceptional", MarketRisk2Exceptional},
         {"ConcentrationLimit1", ConcentrationLimit1},
         {"ConcentrationLimit2", ConcentrationLimit2},
         {"WindowSizePercentage", WindowSizePercentage},
         {"OptionModel", OptionModel},
         {"SpotPrice", SpotPrice},
         {"AssetClass", AssetClass},
         {"CFRisk", CFRisk}},
        [&](ExportCall& call) -> Z9ERR {
            using enum Enums::ClientRiskLevel;
            const kv7im::CSpecBaseContract* contract =
                GetQuindalImCalculator(QuindalIMCalculator).GetNextBaseContract();
            if (contract == nullptr) return EndOfData(call);
            if (!CopyCodes(std::array{CodeBuffer{BaseContractCode, BaseContractCodeSize, contract->Code},
                                      CodeBuffer{MCSCode, MCSCodeSize, contract->CodeMCS}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call)
                .Given("BaseContractCode", BaseContractCode, "BaseContractCodeSize", *BaseContractCodeSize)
                .Given("MCSCode", MCSCode, "MCSCodeSize", *MCSCodeSize)
                .Give("VolatNum", VolatNum, contract->VolatNum)
                .Give("PointsNum", PointsNum, contract->RiskPointsN) // points on either side, as it was given
                .Give("MSPType", MSPType, contract->MSPTypeVal)
                .Give("CurrencyId", CurrencyId, contract->IndicatorID)
                .Give("ShortOptionMinimumCharge", ShortOptionMinimumCharge, contract->ShortOptionMinimumCharge)
                .Give("MarketRisk", MarketRisk, contract->MarketRisk[Default])
                .Give("MarketRisk1", MarketRisk1, contract->MarketRisk1[Default])
                .Give("MarketRisk2", MarketRisk2, contract->MarketRisk2[Default])
                .Give("MarketRiskLow", MarketRiskLow, contract->MarketRisk[Low])
                .Give("MarketRisk1Low", MarketRisk1Low, contract->MarketRisk1[Low])
                .Give("MarketRisk2Low", MarketRisk2Low, contract->MarketRisk2[Low])
                .Give("MarketRiskMedium", MarketRiskMedium, contract->MarketRisk[Medium])
                .Give("MarketRisk1Medium", MarketRisk1Medium, contract->MarketRisk1[Medium])
                .Give("MarketRisk2Medium", MarketRisk2Medium, contract->MarketRisk2[Medium])
                .Give("MarketRiskHigh", MarketRiskHigh, contract->MarketRisk[High])
                .Give("MarketRisk1High", MarketRisk1High, contract->MarketRisk1[High])
                .Give("MarketRisk2High", MarketRisk2High, contract->MarketRisk2[High])
                .Give("MarketRiskExceptional", MarketRiskExceptional, contract->MarketRisk[Exceptional])
                .Give("MarketRisk1Exceptional", MarketRisk1Exceptional, contract->MarketRisk1[Exceptional])
                .Give("MarketRisk2Exceptional", MarketRisk2Exceptional, contract->MarketRisk2[Exceptional])
                .Give("ConcentrationLimit1", ConcentrationLimit1, contract->ConcentrationLimit1)
                .Give("ConcentrationLimit2", ConcentrationLimit2, contract->ConcentrationLimit2)
                .Give("WindowSizePercentage", WindowSizePercentage, contract->WindowSizePercentage)
                .Give("OptionModel", OptionModel, contract->optionModel)
                .Give("SpotPrice", SpotPrice, contract->SpotPrice)
                .Give("AssetClass", AssetClass, contract->assetClass)
                .Give("CFRisk", CFRisk, contract->CFRisk);
            return call.SetError(Z9ERR_OK);
        });
}

int32_t GetNextFutures(intptr_t QuindalIMCalculator, QuindalClientRiskLevel ClientRiskLevel, char* FuturesCode,
                       int32_t* FuturesCodeSize, char* BaseContractCode, int32_t* BaseContractCodeSize, double* Limit,
                       double* CalcFutPrice, QuindalSpreadAspect* SpreadAspect, double* MinStepPrice,
                       double* RealCalcPrice, double* MinStep, double* XLot, double* InterestRateRiskUp,
                       double* InterestRateRiskDown, double* TimeToExpiration, double* NormalizedSpot,
                       QuindalAttribute* Attribute, double* MRAddOnUp, double* MRAddOnDown,
                       int8_t* EnforceIMSHalfNetting, char* TASBaseFutCode, int32_t* TASBaseFutCodeSize)
{
    return Export(
        "GetNextFutures",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator).Add("ClientRiskLevel", ClientRiskLevel);
        },
        {{"FuturesCode", FuturesCode},
         {"BaseContractCode", BaseContractCode},
         {"TASBaseFutCode", TASBaseFutCode},
         {"FuturesCodeSize", FuturesCodeSize},
         {"BaseContractCodeSize", BaseContractCodeSize},
         {"Limit", Limit},
         {"CalcFutPrice", CalcFutPrice},
         {"SpreadAspect", SpreadAspect},
         {"MinStepPrice", MinStepPrice},
         {"RealCalcPrice", RealCalcPrice},
         {"MinStep", MinStep},
         {"XLot", XLot},
         {"InterestRateRiskUp", InterestRateRiskUp},
         {"InterestRateRiskDown", InterestRateRiskDown},
         {"TimeToExpiration", TimeToExpiration},
         {"NormalizedSpot", NormalizedSpot},
         {"Attribute", Attribute},
         {"MRAddOnUp", MRAddOnUp},
         {"MRAddOnDown", MRAddOnDown},
         {"EnforceIMSHalfNetting", EnforceIMSHalfNetting},
         {"TASBaseFutCodeSize", TASBaseFutCodeSize}},
        [&](ExportCall& call) -> Z9ERR {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            const kv7im::CSpecFutures* futures = calculator.GetNextFutures();
            if (futures == nullptr) return EndOfData(call);
            std::string trackedCode;
            if (const Z9ERR result = FindTASBaseFutCode(call, calculator, *futures, trackedCode); result != Z9ERR_OK)
                return call.SetError(result);
            if (!CopyCodes(std::array{CodeBuffer{FuturesCode, FuturesCodeSize, futures->Code},
                                      CodeBuffer{BaseContractCode, BaseContractCodeSize, futures->CodeBC},
                                      CodeBuffer{TASBaseFutCode, TASBaseFutCodeSize, trackedCode}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            using enum Enums::SpreadAspect;
            Outputs(call)
                .Given("FuturesCode", FuturesCode, "FuturesCodeSize", *FuturesCodeSize)
                .Given("BaseContractCode", BaseContractCode, "BaseContractCodeSize", *BaseContractCodeSize)
                .Give("Limit", Limit, LimitAt(*futures, static_cast<Enums::ClientRiskLevel>(ClientRiskLevel)))
                .Give("CalcFutPrice", CalcFutPrice, futures->CalcFutPrice)
                .Give("SpreadAspect", SpreadAspect, futures->IsInSpread ? InSpread : NotInSpread)
                .Give("MinStepPrice", MinStepPrice, futures->MinStepPrice)
                .Give("RealCalcPrice", RealCalcPrice, futures->RealCalcPrice)
                .Give("MinStep", MinStep, futures->MinStep)
                .Give("XLot", XLot, futures->XLot)
                .Give("InterestRateRiskUp", InterestRateRiskUp, futures->InterestRateRiskUp)
                .Give("InterestRateRiskDown", InterestRateRiskDown, futures->InterestRateRiskDown)
                .Give("TimeToExpiration", TimeToExpiration, futures->TimeToExpiration)
                .Give("NormalizedSpot", NormalizedSpot, futures->NormalizedSpot)
                .Give("Attribute", Attribute, futures->Attribute)
                .Give("MRAddOnUp", MRAddOnUp, futures->MRAddOnUp)
                .Give("MRAddOnDown", MRAddOnDown, futures->MRAddOnDown)
                .Give("EnforceIMSHalfNetting", EnforceIMSHalfNetting, futures->EnforceIMSHalfNetting ? 1 : 0)
                .Given("TASBaseFutCode", TASBaseFutCode, "TASBaseFutCodeSize", *TASBaseFutCodeSize);
            return call.SetError(Z9ERR_OK);
        });
}
