// Exported functions: the cursors that read currencies, base contracts and futures back.
#include "QuindalIM.h"

#include <array>
#include <limits>
#include <string>
#include <tuple>

#include "BoundaryValues.h"
#include "CalcGOConsts.h"
#include "CodeBuffers.h"
#include "CursorFrame.h"
#include "EntryValues.h"
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

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
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
    static_assert(Enums::ClientRiskLevels.size() == 5, "each risk level has its arguments");
    using enum Enums::ClientRiskLevel;
    using kv7im::LevelOf;
    using Contract = kv7im::CSpecBaseContract;
    const std::tuple values{
        OutputOf{"VolatNum", VolatNum, &Contract::VolatNum},
        OutputOf{"PointsNum", PointsNum, &Contract::RiskPointsN}, // points on either side, as it was given
        OutputOf{"MSPType", MSPType, &Contract::MSPTypeVal},
        OutputOf{"CurrencyId", CurrencyId, &Contract::IndicatorID},
        OutputOf{"ShortOptionMinimumCharge", ShortOptionMinimumCharge, &Contract::ShortOptionMinimumCharge},
        OutputOf{"MarketRisk", MarketRisk, LevelOf{&Contract::MarketRisk, Default}},
        OutputOf{"MarketRisk1", MarketRisk1, LevelOf{&Contract::MarketRisk1, Default}},
        OutputOf{"MarketRisk2", MarketRisk2, LevelOf{&Contract::MarketRisk2, Default}},
        OutputOf{"MarketRiskLow", MarketRiskLow, LevelOf{&Contract::MarketRisk, Low}},
        OutputOf{"MarketRisk1Low", MarketRisk1Low, LevelOf{&Contract::MarketRisk1, Low}},
        OutputOf{"MarketRisk2Low", MarketRisk2Low, LevelOf{&Contract::MarketRisk2, Low}},
        OutputOf{"MarketRiskMedium", MarketRiskMedium, LevelOf{&Contract::MarketRisk, Medium}},
        OutputOf{"MarketRisk1Medium", MarketRisk1Medium, LevelOf{&Contract::MarketRisk1, Medium}},
        OutputOf{"MarketRisk2Medium", MarketRisk2Medium, LevelOf{&Contract::MarketRisk2, Medium}},
        OutputOf{"MarketRiskHigh", MarketRiskHigh, LevelOf{&Contract::MarketRisk, High}},
        OutputOf{"MarketRisk1High", MarketRisk1High, LevelOf{&Contract::MarketRisk1, High}},
        OutputOf{"MarketRisk2High", MarketRisk2High, LevelOf{&Contract::MarketRisk2, High}},
        OutputOf{"MarketRiskExceptional", MarketRiskExceptional, LevelOf{&Contract::MarketRisk, Exceptional}},
        OutputOf{"MarketRisk1Exceptional", MarketRisk1Exceptional, LevelOf{&Contract::MarketRisk1, Exceptional}},
        OutputOf{"MarketRisk2Exceptional", MarketRisk2Exceptional, LevelOf{&Contract::MarketRisk2, Exceptional}},
        OutputOf{"ConcentrationLimit1", ConcentrationLimit1, &Contract::ConcentrationLimit1},
        OutputOf{"ConcentrationLimit2", ConcentrationLimit2, &Contract::ConcentrationLimit2},
        OutputOf{"WindowSizePercentage", WindowSizePercentage, &Contract::WindowSizePercentage},
        OutputOf{"OptionModel", OptionModel, &Contract::optionModel},
        OutputOf{"SpotPrice", SpotPrice, &Contract::SpotPrice},
        OutputOf{"AssetClass", AssetClass, &Contract::assetClass},
        OutputOf{"CFRisk", CFRisk, &Contract::CFRisk}};
    return Export(
        "GetNextBaseContract", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        PointersOf(std::array{PointerArgument{"BaseContractCode", BaseContractCode},
                              PointerArgument{"MCSCode", MCSCode},
                              PointerArgument{"BaseContractCodeSize", BaseContractCodeSize},
                              PointerArgument{"MCSCodeSize", MCSCodeSize}},
                   values),
        [&](ExportCall& call) -> Z9ERR {
            const Contract* contract = GetQuindalImCalculator(QuindalIMCalculator).GetNextBaseContract();
            if (contract == nullptr) return EndOfData(call);
            if (!CopyCodes(std::array{CodeBuffer{BaseContractCode, BaseContractCodeSize, contract->Code},
                                      CodeBuffer{MCSCode, MCSCodeSize, contract->CodeMCS}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call)
                .Given("BaseContractCode", BaseContractCode, "BaseContractCodeSize", *BaseContractCodeSize)
                .Given("MCSCode", MCSCode, "MCSCodeSize", *MCSCodeSize)
                .GiveAll(*contract, values);
            return call.SetError(Z9ERR_OK);
        });
}

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
int32_t GetNextFutures(intptr_t QuindalIMCalculator, QuindalClientRiskLevel ClientRiskLevel, char* FuturesCode,
                       int32_t* FuturesCodeSize, char* BaseContractCode, int32_t* BaseContractCodeSize, double* Limit,
                       double* CalcFutPrice, QuindalSpreadAspect* SpreadAspect, double* MinStepPrice,
                       double* RealCalcPrice, double* MinStep, double* XLot, double* InterestRateRiskUp,
                       double* InterestRateRiskDown, double* TimeToExpiration, double* NormalizedSpot,
                       QuindalAttribute* Attribute, double* MRAddOnUp, double* MRAddOnDown,
                       int8_t* EnforceIMSHalfNetting, char* TASBaseFutCode, int32_t* TASBaseFutCodeSize)
{
    using Futures = kv7im::CSpecFutures;
    const auto limit = [level = static_cast<Enums::ClientRiskLevel>(ClientRiskLevel)](const Futures& futures) {
        return LimitAt(futures, level);
    };
    const std::tuple values{OutputOf{"Limit", Limit, limit},
                            OutputOf{"CalcFutPrice", CalcFutPrice, &Futures::CalcFutPrice},
                            OutputOf{"SpreadAspect", SpreadAspect, SpreadAspectOf<Futures>},
                            OutputOf{"MinStepPrice", MinStepPrice, &Futures::MinStepPrice},
                            OutputOf{"RealCalcPrice", RealCalcPrice, &Futures::RealCalcPrice},
                            OutputOf{"MinStep", MinStep, &Futures::MinStep},
                            OutputOf{"XLot", XLot, &Futures::XLot},
                            OutputOf{"InterestRateRiskUp", InterestRateRiskUp, &Futures::InterestRateRiskUp},
                            OutputOf{"InterestRateRiskDown", InterestRateRiskDown, &Futures::InterestRateRiskDown},
                            OutputOf{"TimeToExpiration", TimeToExpiration, &Futures::TimeToExpiration},
                            OutputOf{"NormalizedSpot", NormalizedSpot, &Futures::NormalizedSpot},
                            OutputOf{"Attribute", Attribute, &Futures::Attribute},
                            OutputOf{"MRAddOnUp", MRAddOnUp, &Futures::MRAddOnUp},
                            OutputOf{"MRAddOnDown", MRAddOnDown, &Futures::MRAddOnDown},
                            OutputOf{"EnforceIMSHalfNetting", EnforceIMSHalfNetting, &Futures::EnforceIMSHalfNetting}};
    return Export(
        "GetNextFutures",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator).Add("ClientRiskLevel", ClientRiskLevel);
        },
        PointersOf(std::array{PointerArgument{"FuturesCode", FuturesCode},
                              PointerArgument{"BaseContractCode", BaseContractCode},
                              PointerArgument{"TASBaseFutCode", TASBaseFutCode},
                              PointerArgument{"FuturesCodeSize", FuturesCodeSize},
                              PointerArgument{"BaseContractCodeSize", BaseContractCodeSize}},
                   values, std::array{PointerArgument{"TASBaseFutCodeSize", TASBaseFutCodeSize}}),
        [&](ExportCall& call) -> Z9ERR {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            const Futures* futures = calculator.GetNextFutures();
            if (futures == nullptr) return EndOfData(call);
            std::string trackedCode;
            if (const Z9ERR result = FindTASBaseFutCode(call, calculator, *futures, trackedCode); result != Z9ERR_OK)
                return call.SetError(result);
            if (!CopyCodes(std::array{CodeBuffer{FuturesCode, FuturesCodeSize, futures->Code},
                                      CodeBuffer{BaseContractCode, BaseContractCodeSize, futures->CodeBC},
                                      CodeBuffer{TASBaseFutCode, TASBaseFutCodeSize, trackedCode}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call)
                .Given("FuturesCode", FuturesCode, "FuturesCodeSize", *FuturesCodeSize)
                .Given("BaseContractCode", BaseContractCode, "BaseContractCodeSize", *BaseContractCodeSize)
                .GiveAll(*futures, values)
                .Given("TASBaseFutCode", TASBaseFutCode, "TASBaseFutCodeSize", *TASBaseFutCodeSize);
            return call.SetError(Z9ERR_OK);
        });
}
