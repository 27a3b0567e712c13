// InstrumentSamples: a base contract, a futures, an option series, an option and a calendar spread with plain numbers,
// to be changed field by field.
//
// The numbers are chosen to be worked by hand: five price points, three scenarios, rates that are sums of powers of
// two.
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Enums.h"
#include "grids/Constants.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

/// Rates below, between and above the concentration limits are different at every level.
struct BaseContractSample : kv7im::BaseContractParameters
{
    BaseContractSample()
    {
        Code = "BC";
        VolatNum = 3;
        CurrencyId = 840;
        ShortOptionMinimumCharge = 0.125;
        SpotPrice = 100.0;
        MarketRisk = {0.25, 0.125, 0.3125, 0.375, 0.5};
        MarketRisk1 = {0.375, 0.1875, 0.4375, 0.5, 0.75};
        MarketRisk2 = {0.5, 0.25, 0.5625, 0.625, 0.875};
        ConcentrationLimit1 = 1000;
        ConcentrationLimit2 = 5000;
        RiskPointsN = 2;
        IsinVCB = 77;
        WindowSizePercentage = 0.5;
    }
    explicit BaseContractSample(std::string code, std::string codeMCS = "") : BaseContractSample()
    {
        Code = std::move(code);
        CodeMCS = std::move(codeMCS);
    }
    template <std::invocable<BaseContractSample&> Change>
    explicit BaseContractSample(Change change) : BaseContractSample()
    {
        change(*this);
    }

    [[nodiscard]] std::shared_ptr<kv7im::CSpecBaseContract> Make(double curvatureRadius = 0.0) const
    {
        return std::make_shared<kv7im::CSpecBaseContract>(*this, curvatureRadius);
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertBaseContract(*this);
    }
};

struct FuturesSample : kv7im::FuturesParameters
{
    FuturesSample()
    {
        Code = "FUT";
        CodeBC = std::string("BC"); // gcc 12 sees an overflow in the assignment of a literal here
        CalcFutPrice = 1000.0;
        SpreadAspect = Enums::SpreadAspect::InSpread;
        MinStepPrice = 10.0;
        RealCalcPrice = 1000.0;
        MinStep = 5.0;
        XLot = 100.0;
        Isin = 1;
        TimeToExpiration = 0.5;
        NormalizedSpot = 1024.0;
    }
    FuturesSample(std::string code, ::Isin isin, std::string codeBC = "BC") : FuturesSample()
    {
        Code = std::move(code);
        CodeBC = std::move(codeBC);
        Isin = isin;
    }
    template <std::invocable<FuturesSample&> Change>
    explicit FuturesSample(Change change) : FuturesSample()
    {
        change(*this);
    }

    /// As the constructor leaves it: the profile is not computed.
    [[nodiscard]] std::shared_ptr<kv7im::CSpecFutures>
    Make(kv7im::CSpecBaseContract& baseContract, double edgeCoeff = kv7im::Constants::DefaultEdgeCoeffValue) const
    {
        return std::make_shared<kv7im::CSpecFutures>(&baseContract, *this, edgeCoeff);
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertFutures(*this);
    }
};

/// A flat smile of 32 per cent, no shocks, no rates, no sub-points, nothing delivered: every check is satisfied.
struct OptionSeriesSample : kv7im::OptionSeriesParameters
{
    OptionSeriesSample()
    {
        Code = "SER";
        CodeRF = "FUT";
        A = 32.0;
        E = 1.0;
        StrikeStep = 50.0;
        TimeToExpiration = 0.25;
        A_Bach = 2.0;
        E_Bach = 1.0;
        M_Bach = 100.0;
        SpreadAspect = Enums::SpreadAspect::InSpread;
        MinStep = 5.0;
        MinStepPrice = 10.0;
    }
    OptionSeriesSample(std::string code, std::string codeRF) : OptionSeriesSample()
    {
        Code = std::move(code);
        CodeRF = std::move(codeRF);
    }

    /// As the constructor leaves it: the grid is not computed.
    [[nodiscard]] std::unique_ptr<kv7im::CSpecVirtFutures> Make(kv7im::CSpecFutures& futures) const
    {
        return std::make_unique<kv7im::CSpecVirtFutures>(&futures, *this, StrikeStep / LotCoeff);
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertVirtFutures(*this);
    }
};

struct OptionSample
{
    std::string Code = "OPT";
    std::string CodeVF = "SER";
    double Strike = 1000.0;
    Enums::OptionType OptionType = Enums::OptionType::Call;
    double CalcOptPrice = 64.0;
    ::Isin Isin = 101;

    [[nodiscard]] kv7im::CSpecOption Make(kv7im::CSpecVirtFutures& series) const
    {
        return {&series, Code, CodeVF, Isin, Strike, OptionType == Enums::OptionType::Put, CalcOptPrice};
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertOption(Code.c_str(), CodeVF.c_str(), Strike, OptionType, CalcOptPrice, Isin);
    }
};

/// The near leg is sold and the far leg bought, one for one.
struct MultilegSample
{
    std::string Code = "FUT-1-2";
    ::Isin Isin = 201;
    ::Isin FirstLeg = 1;
    ::Isin SecondLeg = 2;
    std::int32_t FirstRatio = -1;
    std::int32_t SecondRatio = 1;

    /// The repository knows a multileg by its isin only.
    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        if (const Z9ERR code = repository.InsertMultileg(Isin, FirstLeg, FirstRatio, 1); code != 0) return code;
        return repository.InsertMultileg(Isin, SecondLeg, SecondRatio, 2);
    }
};
