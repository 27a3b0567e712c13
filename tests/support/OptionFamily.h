// OptionFamily: one futures with one option series and its options, built by hand without a repository.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "InstrumentSamples.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

/// A series on FuturesSample, with a smile, both shocks and sub-points 25 apart; Futures-style, not deliverable.
inline kv7im::OptionSeriesParameters SeriesOnSample()
{
    kv7im::OptionSeriesParameters series;
    series.Code = "SER";
    series.CodeRF = "FUT";
    series.A = 30.0;
    series.B = 10.0;
    series.C = 1.0;
    series.D = -3.0;
    series.E = 2.0;
    series.StrikeStep = 25.0;
    series.VolatilityRisk = 0.3;
    series.VolatilityRiskMismatch = 0.1;
    series.TimeToExpiration = 0.25;
    series.A_Bach = 3.0;
    series.C_Bach = 1.0;
    series.E_Bach = 2.0;
    series.M_Bach = 100.0;
    series.SubRisk = true;
    series.SpreadAspect = Enums::SpreadAspect::InSpread;
    series.MinStep = 1.0;
    series.MinStepPrice = 2.0;
    return series;
}

struct OptionFamily
{
    /// A call and then a put at every strike.
    OptionFamily(const BaseContractSample& contractSample, const FuturesSample& futuresSample,
                 const kv7im::OptionSeriesParameters& parameters, const std::vector<double>& strikes)
        : contract(contractSample.Make()), futures(futuresSample.Make(*contract))
    {
        futures->RecalcInvariants();
        series = std::make_shared<kv7im::CSpecVirtFutures>(
            futures.get(), parameters,
            kv7im::CSpecVirtFutures::CalculateAdjustedSubRiskStep(parameters.StrikeStep, parameters.LotCoeff));
        series->RecalcInvariants();
        Isin isin = 100;
        for (const double strike : strikes)
            for (const bool isPut : {false, true})
                options.push_back(MakeOption(isin++, strike, isPut));
    }

    [[nodiscard]] const kv7im::CSpecOption& Option(std::size_t index) const { return *options[index]; }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
    std::shared_ptr<kv7im::CSpecVirtFutures> series;
    std::vector<std::unique_ptr<kv7im::CSpecOption>> options;

private:
    [[nodiscard]] std::unique_ptr<kv7im::CSpecOption> MakeOption(Isin isin, double strike, bool isPut) const
    {
        auto option = std::make_unique<kv7im::CSpecOption>(series.get(), "OPT" + std::to_string(isin), series->Code,
                                                           isin, strike, isPut, 40.0);
        option->RecalcInvariants();
        return option;
    }
};
