// How base contracts and futures enter the repository: checks, construction, and what is recomputed afterwards.
#include "instruments/InstrumentsRepository.h"

#include <utility>

#include "instruments/IndexRanges.h"
#include "instruments/InstrumentChecks.h"
#include "instruments/InstrumentTables.h"
#include "instruments/InstrumentTexts.h"
#include "kv7errors.h"
#include "z9log.h"

namespace kv7im {

namespace {

/// The scenario in the middle is the volatility as it stands, so the number is odd, and at least three.
std::int32_t OddScenarioCount(std::int32_t volatNum) noexcept
{
    if (volatNum < Constants::MinimalVolatNumConst) return Constants::MinimalVolatNumConst;
    return volatNum % 2 == 0 ? volatNum + 1 : volatNum; // the largest int32 is odd
}

void CorrectVolatNum(const Context& context, BaseContractParameters& parameters)
{
    const std::int32_t corrected = OddScenarioCount(parameters.VolatNum);
    if (corrected == parameters.VolatNum) return;
    KV7TRACE_ERROR_WITH_CODE_EX(
        Z9ERR_CALCGO_API_ERROR_VOLATNUM_MUST_BE_ODD, "InstrumentsRepository",
        "InsertBaseContract with Code(%s) has potential error: wrong VolatNum(%d) forcibly set (%d)",
        parameters.Code.c_str(), parameters.VolatNum, corrected);
    parameters.VolatNum = corrected;
    context.Notify(Alert::VolatNum);
}

std::shared_ptr<CSpecBaseContract> MakeBaseContract(const BaseContractParameters& p, double curvatureRadius)
{
    return std::make_shared<CSpecBaseContract>(
        p.Code.c_str(), p.CodeMCS.c_str(), p.VolatNum, p.MSPType, p.ShortOptionMinimumCharge, p.CurrencyId,
        curvatureRadius, p.SpotPrice, p.MarketRisk, p.MarketRisk1, p.MarketRisk2, p.MarketRiskLow, p.MarketRisk1Low,
        p.MarketRisk2Low, p.MarketRiskMedium, p.MarketRisk1Medium, p.MarketRisk2Medium, p.MarketRiskHigh,
        p.MarketRisk1High, p.MarketRisk2High, p.MarketRiskExceptional, p.MarketRisk1Exceptional,
        p.MarketRisk2Exceptional, p.ConcentrationLimit1, p.ConcentrationLimit2, p.RiskPointsN, p.IsinVCB,
        p.WindowSizePercentage, p.OptionModel, p.AssetClass, p.CFRisk, p.Signs);
}

std::shared_ptr<CSpecFutures> MakeFutures(const FuturesParameters& p, CSpecBaseContract& baseContract, double edgeCoeff)
{
    // Any value but 0 puts the futures in spread here; a later change is stricter.
    const bool isInSpread = static_cast<std::int8_t>(p.SpreadAspect) != 0;
    return std::make_shared<CSpecFutures>(
        &baseContract, p.Code, p.CodeBC, p.Isin, p.CalcFutPrice, isInSpread, p.MinStepPrice, p.RealCalcPrice, p.MinStep,
        p.XLot, p.InterestRateRiskUp, p.InterestRateRiskDown, p.TimeToExpiration, edgeCoeff, p.NormalizedSpot,
        p.Attribute, p.MRAddOnUp, p.MRAddOnDown, p.EnforceIMSHalfNetting, p.TASBaseFutIsinID);
}

} // namespace

// Base contracts.

Z9ERR InstrumentsRepository::InsertBaseContract(
    const char* code, const char* codeMCS, std::int32_t volatNum, Enums::MSPType mspType, std::int32_t currencyId,
    double shortOptionMinimumCharge, double spotPrice, double marketRisk, double marketRisk1, double marketRisk2,
    double marketRiskLow, double marketRisk1Low, double marketRisk2Low, double marketRiskMedium,
    double marketRisk1Medium, double marketRisk2Medium, double marketRiskHigh, double marketRisk1High,
    double marketRisk2High, double marketRiskExceptional, double marketRisk1Exceptional, double marketRisk2Exceptional,
    std::int64_t concentrationLimit1, std::int64_t concentrationLimit2, std::int32_t riskPointsN, std::int32_t isinVCB,
    double windowSizePercentage, Enums::OptionModel optionModel, Enums::AssetClass assetClass, double cfRisk,
    Enums::BaseContractSigns signs)
{
    return InsertBaseContract(BaseContractParameters{TextOrThrow(code, "Code"),
                                                     TextOrThrow(codeMCS, "CodeMCS"),
                                                     volatNum,
                                                     mspType,
                                                     currencyId,
                                                     shortOptionMinimumCharge,
                                                     spotPrice,
                                                     marketRisk,
                                                     marketRisk1,
                                                     marketRisk2,
                                                     marketRiskLow,
                                                     marketRisk1Low,
                                                     marketRisk2Low,
                                                     marketRiskMedium,
                                                     marketRisk1Medium,
                                                     marketRisk2Medium,
                                                     marketRiskHigh,
                                                     marketRisk1High,
                                                     marketRisk2High,
                                                     marketRiskExceptional,
                                                     marketRisk1Exceptional,
                                                     marketRisk2Exceptional,
                                                     concentrationLimit1,
                                                     concentrationLimit2,
                                                     riskPointsN,
                                                     isinVCB,
                                                     windowSizePercentage,
                                                     optionModel,
                                                     assetClass,
                                                     cfRisk,
                                                     signs});
}

Z9ERR InstrumentsRepository::InsertBaseContract(const SBaseContractStruct& r)
{
    return InsertBaseContract(BaseContractParameters{TextOfField(r.Code),
                                                     TextOfField(r.CodeMCS),
                                                     r.VolatNum,
                                                     r.MSPType,
                                                     r.IndicatorID,
                                                     r.ShortOptionMinimumCharge,
                                                     r.SpotPrice,
                                                     r.MarketRisk,
                                                     r.MarketRisk1,
                                                     r.MarketRisk2,
                                                     r.MarketRiskLow,
                                                     r.MarketRisk1Low,
                                                     r.MarketRisk2Low,
                                                     r.MarketRiskMedium,
                                                     r.MarketRisk1Medium,
                                                     r.MarketRisk2Medium,
                                                     r.MarketRiskHigh,
                                                     r.MarketRisk1High,
                                                     r.MarketRisk2High,
                                                     r.MarketRiskExceptional,
                                                     r.MarketRisk1Exceptional,
                                                     r.MarketRisk2Exceptional,
                                                     r.ConcentrationLimit1,
                                                     r.ConcentrationLimit2,
                                                     r.RiskPointsN,
                                                     r.IsinVCB,
                                                     r.WindowSizePercentage,
                                                     r.OptionModel,
                                                     r.AssetClass,
                                                     r.CFRisk,
                                                     r.Signs});
}

Z9ERR InstrumentsRepository::InsertBaseContract(BaseContractParameters parameters)
{
    if (const Z9ERR refusal = CheckBaseContract(parameters); refusal != Z9ERR_OK) return refusal;
    auto baseContract = MakeBaseContract(parameters, GetCurvatureRadius(parameters.CurrencyId));
    if (!SharesGridWithMCS(*baseContract)) return Z9ERR_CALCGO_API_ERROR_RISKPOINTSN_IN_MCS_NOT_EQUAL;
    storageBaseContracts.insert(BaseContractNode(std::move(baseContract)));
    return Z9ERR_OK;
}

Z9ERR InstrumentsRepository::CheckBaseContract(BaseContractParameters& parameters) const
{
    const Context context(telemetryAlertsCollector, "InsertBaseContract", parameters.Code);
    if (const Z9ERR refusal = RunChecks(BaseContractChecks, context, parameters); refusal != Z9ERR_OK) return refusal;

    if (BaseContractExists(parameters.Code)) return Z9ERR_CALCGO_API_ERROR_BC_ALREADY_EXIST;
    if (!AssertIn(Z9ERR_CALCGO_INVALID_MSPTYPE, context, Enums::PossibleMSPTypeValues, "MSPType", parameters.MSPType))
        return Z9ERR_CALCGO_INVALID_MSPTYPE;
    if (parameters.MSPType == Enums::MSPType::CurrencyIndicatorPriceStep && !HasCurrency(parameters.CurrencyId))
        return Z9ERR_CALCGO_API_ERROR_CURRENCY_NOT_FOUND;
    CorrectVolatNum(context, parameters);
    if (!AssertIn(Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT, context, Enums::PossibleOptionModelValues, "OptionModel",
                  parameters.OptionModel))
        return Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT;
    if (!AssertIn(Z9ERR_CALCGO_INVALID_ASSET_CLASS, context, Enums::PossibleAssetClassValues, "AssetClass",
                  parameters.AssetClass))
        return Z9ERR_CALCGO_INVALID_ASSET_CLASS;
    return RunChecks(BaseContractLateChecks, context, parameters);
}

bool InstrumentsRepository::SharesGridWithMCS(const CSpecBaseContract& baseContract) const
{
    if (!baseContract.HasMCS()) return true;
    // The risks of a group are added column by column, so its contracts share one grid.
    for (const BaseContractNode& node : RangeBaseContractByMCS(baseContract.CodeMCS))
        if (node.GetCurrent()->RiskPointsN != baseContract.RiskPointsN) return false;
    return true;
}

// Futures.

Z9ERR InstrumentsRepository::InsertFutures(const char* code, const char* codeBC, double calcFutPrice,
                                           Enums::SpreadAspect spreadAspect, double minStepPrice, double realCalcPrice,
                                           double minStep, double xLot, Isin isin, double interestRateRiskUp,
                                           double interestRateRiskDown, double timeToExpiration, double normalizedSpot,
                                           Enums::InstrumentStatus attribute, double mrAddOnUp, double mrAddOnDown,
                                           bool enforceIMSHalfNetting, Isin tasBaseFutIsinID)
{
    return InsertFutures(FuturesParameters{TextOrThrow(code, "Code"), TextOrThrow(codeBC, "CodeBC"), calcFutPrice,
                                           spreadAspect, minStepPrice, realCalcPrice, minStep, xLot, isin,
                                           interestRateRiskUp, interestRateRiskDown, timeToExpiration, normalizedSpot,
                                           attribute, mrAddOnUp, mrAddOnDown, enforceIMSHalfNetting, tasBaseFutIsinID});
}

Z9ERR InstrumentsRepository::InsertFutures(const SFuturesStruct& r)
{
    return InsertFutures(FuturesParameters{
        TextOfField(r.Code), TextOfField(r.CodeBC), r.CalcFutPrice.AsDouble(), r.SpreadAspect, r.MinStepPrice,
        r.RealCalcPrice.AsDouble(), r.MinStep, r.XLot, r.Isin, r.InterestRateRiskUp, r.InterestRateRiskDown,
        r.TimeToExpiration, r.NormalizedSpot, static_cast<Enums::InstrumentStatus>(r.Attribute), r.MRAddOnUp,
        r.MRAddOnDown, r.EnforceIMSHalfNetting, r.TASBaseFutIsinID});
}

Z9ERR InstrumentsRepository::InsertFutures(FuturesParameters parameters)
{
    if (const Z9ERR refusal = CheckFutures(parameters); refusal != Z9ERR_OK) return refusal;
    const std::shared_ptr<CSpecFutures> futures =
        MakeFutures(parameters, *FindBaseContract(parameters.CodeBC), m_EdgeCoeff);
    storageFutures.insert(FuturesNode(futures));
    try {
        return SettleInsertedFutures(*futures);
    } catch (...) {
        RemoveInsertedFutures(*futures);
        throw;
    }
}

Z9ERR InstrumentsRepository::CheckFutures(FuturesParameters& parameters) const
{
    const FuturesContext context(telemetryAlertsCollector, "InsertFutures", parameters.Code, parameters.CodeBC);
    if (const Z9ERR refusal = RunChecks(FuturesChecks, context, parameters); refusal != Z9ERR_OK) return refusal;

    if (!BaseContractExists(parameters.CodeBC)) return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;
    if (FuturesExists(parameters.Code)) return Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST;
    if (FuturesExists(parameters.Isin)) return Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST;
    return Z9ERR_OK;
}

Z9ERR InstrumentsRepository::SettleInsertedFutures(CSpecFutures& futures)
{
    KeepBorrowedValues(); // an open change keeps the values of before
    if (const Z9ERR failure = CopyParametersForTAS(futures); failure != Z9ERR_OK) return failure;
    if (futures.BaseContract->CorrectShiftParamsByFutures(&futures))
        return RecalculateFuturesBaseProfile(*futures.BaseContract);
    futures.RecalcInvariants();
    return Z9ERR_OK;
}

void InstrumentsRepository::RemoveInsertedFutures(const CSpecFutures& futures)
{
    const auto link = storageTASBaseFutIsinIDToIsin.find(futures.TASBaseFutIsinID);
    if (futures.IsTAS && link != storageTASBaseFutIsinIDToIsin.end() && link->second == futures.isin)
        storageTASBaseFutIsinIDToIsin.erase(link);
    storageFutures.get<ByIsin>().erase(futures.isin);
}

Z9ERR InstrumentsRepository::CopyParametersForTAS(CSpecFutures& futures)
{
    if (!futures.IsTAS) return CopyParametersToTAS(futures);
    CopyParametersFromTracked(futures);
    return Z9ERR_OK;
}

Z9ERR InstrumentsRepository::CopyParametersToTAS(const CSpecFutures& tracked)
{
    const auto link = storageTASBaseFutIsinIDToIsin.find(tracked.isin);
    if (link == storageTASBaseFutIsinIDToIsin.end()) return Z9ERR_OK;
    CSpecFutures* const tas = FindFutures(link->second);
    if (tas == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    ValueOptionsOf(tas->BaseContract->Code); // only the futures itself is recomputed here
    tracked.BaseContract->TASBaseContractCode = tas->BaseContract->Code;
    tas->RealCalcPrice = tracked.RealCalcPrice;
    CopyBaseContractParametersForTAS(*tracked.BaseContract, *tas->BaseContract);
    tas->RecalcInvariants();
    return Z9ERR_OK;
}

void InstrumentsRepository::CopyParametersFromTracked(CSpecFutures& tas)
{
    storageTASBaseFutIsinIDToIsin.emplace(tas.TASBaseFutIsinID, tas.isin); // the first one to track a futures stays
    const CSpecFutures* const tracked = FindFutures(tas.TASBaseFutIsinID);
    if (tracked == nullptr) return; // it may come later

    ValueOptionsOf(tas.BaseContract->Code); // their charges follow the shift as it is now
    tracked->BaseContract->TASBaseContractCode = tas.BaseContract->Code;
    tas.RealCalcPrice = tracked->RealCalcPrice;
    CopyBaseContractParametersForTAS(*tracked->BaseContract, *tas.BaseContract);
}

void InstrumentsRepository::CopyBaseContractParametersForTAS(const CSpecBaseContract& source,
                                                             CSpecBaseContract& target) noexcept
{
    target.ConcentrationLimit1Spot = source.ConcentrationLimit1Spot;
    target.ConcentrationLimit2Spot = source.ConcentrationLimit2Spot;
    target.ShiftCoefficient = source.ShiftCoefficient;
    target.RecalcShiftingMarketRisk();
}

Z9ERR InstrumentsRepository::RecalculateFuturesBaseProfile(const CSpecBaseContract& baseContract)
{
    RecalculateFuturesOf(baseContract.Code);
    if (baseContract.TASBaseContractCode.empty()) return Z9ERR_OK;

    CSpecBaseContract* const tasBaseContract = FindBaseContract(baseContract.TASBaseContractCode);
    if (tasBaseContract == nullptr) return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;
    CopyBaseContractParametersForTAS(baseContract, *tasBaseContract);
    RecalculateFuturesOf(tasBaseContract->Code);
    return Z9ERR_OK;
}

void InstrumentsRepository::RecalculateFuturesOf(std::string_view codeBC)
{
    ChangeEach(storageFutures.get<ByBaseContract>(), codeBC, [](FuturesNode& node) {
        // Parents before children: a series reads the grid its futures computed a moment ago.
        node.GetCurrent()->RecalcInvariants();
        for (auto& [seriesCode, series] : node.GetCurrentStorage())
            series.RecalcInvariants();
    });
}

void InstrumentsRepository::ValueOptionsOf(std::string_view codeBC) const
{
    for (const FuturesNode& node : RangeFuturesByBaseContract(codeBC))
        for (const auto& [seriesCode, series] : node.GetCurrentStorage())
            series.ValueAllOptions();
}

} // namespace kv7im
