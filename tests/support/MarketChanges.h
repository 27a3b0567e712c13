// MarketChanges: samples as changes of instruments that are there already, and a repository taken through them.
#pragma once

#include <algorithm>
#include <string>

#include "InstrumentSamples.h"
#include "PlainMarket.h"
#include "instruments/InstrumentsRepository.h"

namespace market_changes {

/// A code as records have it.
template <class Record>
void SetCode(Record& record, const std::string& code)
{
    std::copy_n(code.c_str(), std::min(code.size(), sizeof(record.Code) - 1), record.Code);
}

inline kv7im::SBaseContractChanges Of(const BaseContractSample& s)
{
    return {s.Code,
            s.MarketRisk,
            s.MarketRisk1,
            s.MarketRisk2,
            s.MarketRiskLow,
            s.MarketRisk1Low,
            s.MarketRisk2Low,
            s.MarketRiskMedium,
            s.MarketRisk1Medium,
            s.MarketRisk2Medium,
            s.MarketRiskHigh,
            s.MarketRisk1High,
            s.MarketRisk2High,
            s.MarketRiskExceptional,
            s.MarketRisk1Exceptional,
            s.MarketRisk2Exceptional,
            s.SpotPrice,
            s.ConcentrationLimit1,
            s.ConcentrationLimit2,
            s.OptionModel,
            s.CFRisk};
}

inline kv7im::SFuturesChanges Of(const FuturesSample& s)
{
    return {s.Isin,
            t_bprice_int(s.CalcFutPrice),
            t_bprice_int(s.RealCalcPrice),
            s.MinStepPrice,
            s.InterestRateRiskUp,
            s.InterestRateRiskDown,
            s.TimeToExpiration,
            s.NormalizedSpot,
            s.MRAddOnUp,
            s.MRAddOnDown,
            s.EnforceIMSHalfNetting,
            s.SpreadAspect};
}

inline kv7im::SVirtFuturesChanges Of(const kv7im::OptionSeriesParameters& s)
{
    kv7im::SVirtFuturesChanges changes{.A = s.A,
                                       .B = s.B,
                                       .C = s.C,
                                       .D = s.D,
                                       .E = s.E,
                                       .S = s.S,
                                       .UseNullVolat = s.UseNullVolat,
                                       .ExpClearingsSA = s.ExpClearingsSA,
                                       .ExpClearingsBF = s.ExpClearingsBF,
                                       .ExpClearingsCC = s.ExpClearingsCC,
                                       .VolatilityRisk = s.VolatilityRisk,
                                       .VolatilityRiskMismatch = s.VolatilityRiskMismatch,
                                       .TimeToExpiration = s.TimeToExpiration,
                                       .A_Bach = s.A_Bach,
                                       .B_Bach = s.B_Bach,
                                       .C_Bach = s.C_Bach,
                                       .D_Bach = s.D_Bach,
                                       .E_Bach = s.E_Bach,
                                       .S_Bach = s.S_Bach,
                                       .M_Bach = s.M_Bach,
                                       .EnforceHalfNetting = s.EnforceHalfNetting,
                                       .MinStepPrice = s.MinStepPrice,
                                       .R = s.R,
                                       .InterestRateRiskUp = s.InterestRateRiskUp,
                                       .InterestRateRiskDown = s.InterestRateRiskDown,
                                       .ProjectedSpotDiscount = s.ProjectedSpotDiscount,
                                       .R2 = s.R2,
                                       .InterestRate2RiskUp = s.InterestRate2RiskUp,
                                       .InterestRate2RiskDown = s.InterestRate2RiskDown,
                                       .SpreadAspect = s.SpreadAspect};
    SetCode(changes, s.Code);
    return changes;
}

/// The two parameters of a series that a change of its own carries.
inline kv7im::SOptionSeriesChanges SpreadOf(const kv7im::OptionSeriesParameters& s)
{
    kv7im::SOptionSeriesChanges changes{.EnforceHalfNetting = s.EnforceHalfNetting, .SpreadAspect = s.SpreadAspect};
    SetCode(changes, s.Code);
    return changes;
}

/// Changes every instrument of a market in the order in which it was inserted; the code of the first refusal.
inline Z9ERR UpdateAll(kv7im::InstrumentsRepository& repository, const plain::Market& market)
{
    Z9ERR code = 0;
    const auto keep = [&code](Z9ERR result) {
        if (code == 0) code = result;
    };
    for (const BaseContractSample& contract : market.baseContracts)
        keep(repository.UpdateBaseContract(Of(contract)));
    for (const FuturesSample& futures : market.futures)
        keep(repository.UpdateFutures(Of(futures)));
    for (const kv7im::OptionSeriesParameters& series : market.series)
        keep(repository.UpdateVirtFutures(Of(series)));
    for (const OptionSample& option : market.options)
        keep(repository.UpdateOption(option.Isin, option.CalcOptPrice));
    return code;
}

} // namespace market_changes
