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

inline kv7im::SBaseContractChanges Of(const kv7im::BaseContractParameters& s)
{
    kv7im::SBaseContractChanges changes(s.Code);
    changes.MarketRisk = s.MarketRisk;
    changes.MarketRisk1 = s.MarketRisk1;
    changes.MarketRisk2 = s.MarketRisk2;
    changes.SpotPrice = s.SpotPrice;
    changes.ConcentrationLimit1 = s.ConcentrationLimit1;
    changes.ConcentrationLimit2 = s.ConcentrationLimit2;
    changes.OptionModel = s.OptionModel;
    changes.CFRisk = s.CFRisk;
    return changes;
}

inline kv7im::SFuturesChanges Of(const kv7im::FuturesParameters& s)
{
    return {.CalcFutPrice = t_bprice_int(s.CalcFutPrice),
            .RealCalcPrice = t_bprice_int(s.RealCalcPrice),
            .MinStepPrice = s.MinStepPrice,
            .InterestRateRiskUp = s.InterestRateRiskUp,
            .InterestRateRiskDown = s.InterestRateRiskDown,
            .TimeToExpiration = s.TimeToExpiration,
            .NormalizedSpot = s.NormalizedSpot,
            .MRAddOnUp = s.MRAddOnUp,
            .MRAddOnDown = s.MRAddOnDown,
            .Isin = s.Isin,
            .EnforceIMSHalfNetting = s.EnforceIMSHalfNetting,
            .SpreadAspect = s.SpreadAspect};
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
