// How option series and options enter the repository: checks, construction, and the indices that lead to them.
#include <memory>
#include <utility>

#include "instruments/InstrumentChecks.h"
#include "instruments/InstrumentTables.h"
#include "instruments/InstrumentTexts.h"
#include "instruments/InstrumentsRepository.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

OptionSeriesParameters ParametersOf(const SVirtFuturesStruct& r)
{
    return {.Code = TextOfField(r.Code),
            .CodeRF = TextOfField(r.CodeRF),
            .A = r.A_Black,
            .B = r.B_Black,
            .C = r.C_Black,
            .D = r.D_Black,
            .E = r.E_Black,
            .S = r.S_Black,
            .UseNullVolat = r.UseNullVolat,
            .StrikeStep = r.StrikeStep,
            .ExpClearingsSA = r.ExpClearingsSA,
            .ExpClearingsBF = r.ExpClearingsBF,
            .ExpClearingsCC = r.ExpClearingsCC,
            .VolatilityRisk = r.VolatilityRisk,
            .VolatilityRiskMismatch = r.VolatilityRiskMismatch,
            .TimeToExpiration = r.TimeToExpiration,
            .A_Bach = r.A_Bach,
            .B_Bach = r.B_Bach,
            .C_Bach = r.C_Bach,
            .D_Bach = r.D_Bach,
            .E_Bach = r.E_Bach,
            .S_Bach = r.S_Bach,
            .M_Bach = r.M_Bach,
            .marginStyle = r.MarginStyle,
            .settlementType = r.SettlementType,
            .exerciseStyle = r.ExerciseStyle,
            .SubRisk = r.SubRisk,
            .SpreadAspect = r.SpreadAspect,
            .EnforceHalfNetting = r.EnforceHalfNetting,
            .MinStep = r.MinStep,
            .MinStepPrice = r.MinStepPrice,
            .LotCoeff = r.LotCoeff,
            .R = r.r,
            .InterestRateRiskUp = r.InterestRateRiskUp,
            .InterestRateRiskDown = r.InterestRateRiskDown,
            .FixedSpotDiscount = r.FixedSpotDiscount,
            .ProjectedSpotDiscount = r.ProjectedSpotDiscount,
            .R2 = r.r2,
            .InterestRate2RiskUp = r.InterestRate2RiskUp,
            .InterestRate2RiskDown = r.InterestRate2RiskDown};
}

/// Makes an option in the node of its series; it is as it was when that throws.
const CSpecOption& EnterOption(VirtualFuturesNode& series, const OptionParameters& p)
{
    const bool isPut = p.OptionType == Enums::OptionType::Put;
    StorageOptions& options = series.storage();
    const auto option =
        options.emplace(series.get(), std::string(p.Code), series.Code(), p.Isin, p.Strike, isPut, p.CalcOptPrice)
            .first;
    try {
        BesideKeys(*option).RecalcInvariants();
    } catch (...) {
        options.erase(option);
        throw;
    }
    return *option;
}

} // namespace

// Series.

Z9ERR InstrumentsRepository::InsertVirtFutures(const SVirtFuturesStruct& record)
{
    return InsertVirtFutures(ParametersOf(record));
}

Z9ERR InstrumentsRepository::InsertVirtFutures(OptionSeriesParameters parameters)
{
    const auto node = storageFutures.get<ByCode>().find(std::string_view(parameters.CodeRF));
    if (node == storageFutures.get<ByCode>().end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
    if (VirtualFuturesExists(parameters.Code)) return Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_ALREADY_EXIST;

    const CSpecFutures& futures = *node->GetCurrent();
    CSpecBaseContract& baseContract = *futures.BaseContract;
    VirtFuturesParameters candidate{std::move(parameters), futures.IsCollateral(), futures.MinStep,
                                    baseContract.assetClass};
    if (const Z9ERR refusal = CheckVirtFutures(candidate, futures); refusal != Z9ERR_OK) return refusal;

    const Enums::AssetClass formerClass = std::exchange(baseContract.assetClass, candidate.AssetClass);
    try {
        EnterVirtFutures(node, candidate);
    } catch (...) {
        baseContract.assetClass = formerClass;
        throw;
    }
    return Z9ERR_OK;
}

Z9ERR InstrumentsRepository::CheckVirtFutures(VirtFuturesParameters& parameters, const CSpecFutures& futures) const
{
    const VirtFuturesContext context(telemetryAlertsCollector, "InsertVirtFutures", parameters.Code, parameters.CodeRF,
                                     futures.CodeBC, parameters.IsCollateral);
    if (const Z9ERR refusal = RunChecks(VirtFuturesChecks, context, parameters); refusal != Z9ERR_OK) return refusal;

    parameters.AdjustedSubRiskStep =
        CSpecVirtFutures::CalculateAdjustedSubRiskStep(parameters.StrikeStep, parameters.LotCoeff);
    return RunChecks(VirtFuturesLateChecks, context, parameters);
}

void InstrumentsRepository::EnterVirtFutures(StorageFutures::iterator futures, const VirtFuturesParameters& parameters)
{
    auto series = std::make_unique<CSpecVirtFutures>(futures->GetCurrent(), parameters, parameters.AdjustedSubRiskStep);
    series->RecalcInvariants();
    const VirtualFuturesNode node(std::move(series));

    const auto entry = storageIndexVirtualFuturesToFutures.emplace(parameters.Code, futures).first;
    try {
        BesideKeys(*futures).InsertVirtualFuturesNode(node);
    } catch (...) {
        storageIndexVirtualFuturesToFutures.erase(entry);
        throw;
    }
}

// Options.

Z9ERR InstrumentsRepository::InsertOption(const char* code, const char* codeVF, double strike,
                                          Enums::OptionType optionType, double calcOptPrice, Isin isin)
{
    return InsertOption(OptionParameters{TextOrThrow(code, "Code"), TextOrThrow(codeVF, "CodeVF"), strike, optionType,
                                         calcOptPrice, isin});
}

Z9ERR InstrumentsRepository::InsertOption(const SOptionStruct& r)
{
    return InsertOption(OptionParameters{ViewOfField(r.Code), ViewOfField(r.CodeVF), r.Strike.AsDouble(), r.OptType,
                                         r.CalcOptPrice.AsDouble(), r.Isin});
}

Z9ERR InstrumentsRepository::InsertOption(const OptionParameters& p)
{
    const auto owner = storageIndexVirtualFuturesToFutures.find(p.CodeVF);
    if (owner == storageIndexVirtualFuturesToFutures.end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
    StorageVirtualFutures& storage = BesideKeys(*owner->second).GetCurrentStorage();
    const auto series = storage.find(p.CodeVF);
    if (series == storage.end()) return Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND;
    // Positions find an option by its code or its isin alone, so both are unique in the whole market.
    const auto [entry, isNew] = storageIndexOptionToFutures.emplace(p.Isin, kv7base::HashedCode(p.Code), owner->second);
    if (!isNew) return Z9ERR_CALCGO_API_ERROR_OPTION_ALREADY_EXIST;
    try {
        BesideKeys(*entry).SetCurrent(EnterOption(series->second, p));
    } catch (...) {
        storageIndexOptionToFutures.erase(entry);
        throw;
    }
    return Z9ERR_OK;
}

} // namespace kv7im
