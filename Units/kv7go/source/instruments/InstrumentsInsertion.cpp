// How base contracts and futures enter the repository: checks, construction, and what is recomputed afterwards.
#include "instruments/InstrumentsRepository.h"

#include <utility>

#include "instruments/FetchAhead.h"
#include "instruments/IndexRanges.h"
#include "instruments/InstrumentChecks.h"
#include "instruments/InstrumentTables.h"
#include "instruments/InstrumentTexts.h"
#include "instruments/StressRates.h"
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

} // namespace

// Base contracts.

Z9ERR InstrumentsRepository::InsertBaseContract(const SBaseContractStruct& r)
{
    return InsertBaseContract(BaseContractParameters{
        .Code = TextOfField(r.Code),
        .CodeMCS = TextOfField(r.CodeMCS),
        .VolatNum = r.VolatNum,
        .MSPType = r.MSPType,
        .CurrencyId = r.IndicatorID,
        .ShortOptionMinimumCharge = r.ShortOptionMinimumCharge,
        .SpotPrice = r.SpotPrice,
        .MarketRisk = {r.MarketRisk, r.MarketRiskLow, r.MarketRiskMedium, r.MarketRiskHigh, r.MarketRiskExceptional},
        .MarketRisk1 = {r.MarketRisk1, r.MarketRisk1Low, r.MarketRisk1Medium, r.MarketRisk1High,
                        r.MarketRisk1Exceptional},
        .MarketRisk2 = {r.MarketRisk2, r.MarketRisk2Low, r.MarketRisk2Medium, r.MarketRisk2High,
                        r.MarketRisk2Exceptional},
        .ConcentrationLimit1 = r.ConcentrationLimit1,
        .ConcentrationLimit2 = r.ConcentrationLimit2,
        .RiskPointsN = r.RiskPointsN,
        .IsinVCB = r.IsinVCB,
        .WindowSizePercentage = r.WindowSizePercentage,
        .OptionModel = r.OptionModel,
        .AssetClass = r.AssetClass,
        .CFRisk = r.CFRisk,
        .Signs = r.Signs});
}

Z9ERR InstrumentsRepository::InsertBaseContract(BaseContractParameters parameters)
{
    if (const Z9ERR refusal = CheckBaseContract(parameters); refusal != Z9ERR_OK) return refusal;
    auto baseContract = std::make_shared<CSpecBaseContract>(parameters, GetCurvatureRadius(parameters.CurrencyId));
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

Z9ERR InstrumentsRepository::InsertFutures(const SFuturesStruct& r)
{
    return InsertFutures(FuturesParameters{.Code = TextOfField(r.Code),
                                           .CodeBC = TextOfField(r.CodeBC),
                                           .CalcFutPrice = r.CalcFutPrice.AsDouble(),
                                           .SpreadAspect = r.SpreadAspect,
                                           .MinStepPrice = r.MinStepPrice,
                                           .RealCalcPrice = r.RealCalcPrice.AsDouble(),
                                           .MinStep = r.MinStep,
                                           .XLot = r.XLot,
                                           .Isin = r.Isin,
                                           .InterestRateRiskUp = r.InterestRateRiskUp,
                                           .InterestRateRiskDown = r.InterestRateRiskDown,
                                           .TimeToExpiration = r.TimeToExpiration,
                                           .NormalizedSpot = r.NormalizedSpot,
                                           .Attribute = static_cast<Enums::InstrumentStatus>(r.Attribute),
                                           .MRAddOnUp = r.MRAddOnUp,
                                           .MRAddOnDown = r.MRAddOnDown,
                                           .EnforceIMSHalfNetting = r.EnforceIMSHalfNetting,
                                           .TASBaseFutIsinID = r.TASBaseFutIsinID});
}

Z9ERR InstrumentsRepository::InsertFutures(FuturesParameters parameters)
{
    if (const Z9ERR refusal = CheckFutures(parameters); refusal != Z9ERR_OK) return refusal;
    const auto futures = std::make_shared<CSpecFutures>(FindBaseContract(parameters.CodeBC), parameters, m_EdgeCoeff);
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
    RecalculateFuturesOf(baseContract);
    if (baseContract.TASBaseContractCode.empty()) return Z9ERR_OK;

    CSpecBaseContract* const tasBaseContract = FindBaseContract(baseContract.TASBaseContractCode);
    if (tasBaseContract == nullptr) return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;
    CopyBaseContractParametersForTAS(baseContract, *tasBaseContract);
    RecalculateFuturesOf(*tasBaseContract);
    return Z9ERR_OK;
}

void InstrumentsRepository::RecalculateFuturesOf(const CSpecBaseContract& baseContract)
{
    const StressRates rates(baseContract);
    const auto family = RangeFuturesByBaseContract(baseContract.Code);
    FetchAhead ahead(family);
    for (const FuturesNode& node : family) {
        ahead.Step();
        // Parents before children: a series reads the grid its futures computed a moment ago.
        node.GetCurrent()->RecalcInvariants(rates);
        for (auto& [seriesCode, series] : BesideKeys(node).GetCurrentStorage())
            series.RecalcInvariants();
    }
}

void InstrumentsRepository::ValueOptionsOf(std::string_view codeBC) const
{
    for (const FuturesNode& node : RangeFuturesByBaseContract(codeBC))
        for (const auto& [seriesCode, series] : node.GetCurrentStorage())
            series.ValueAllOptions();
}

} // namespace kv7im
