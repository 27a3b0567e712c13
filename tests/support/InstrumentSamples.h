// InstrumentSamples: a base contract, a futures, an option series, an option and a calendar spread with plain numbers,
// to be changed field by field.
//
// The numbers are chosen to be worked by hand: five price points, three scenarios, rates that are sums of powers of
// two.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Enums.h"
#include "grids/Constants.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

struct BaseContractSample
{
    std::string Code = "BC";
    std::string CodeMCS = "";
    std::int32_t VolatNum = 3;
    Enums::MSPType MSPType = Enums::MSPType::FixedPriceStep;
    std::int32_t CurrencyId = 840;
    double ShortOptionMinimumCharge = 0.125;
    double SpotPrice = 100.0;
    // One triple of rates a level: below, between and above the concentration limits.
    double MarketRisk = 0.25, MarketRisk1 = 0.375, MarketRisk2 = 0.5;
    double MarketRiskLow = 0.125, MarketRisk1Low = 0.1875, MarketRisk2Low = 0.25;
    double MarketRiskMedium = 0.3125, MarketRisk1Medium = 0.4375, MarketRisk2Medium = 0.5625;
    double MarketRiskHigh = 0.375, MarketRisk1High = 0.5, MarketRisk2High = 0.625;
    double MarketRiskExceptional = 0.5, MarketRisk1Exceptional = 0.75, MarketRisk2Exceptional = 0.875;
    std::int64_t ConcentrationLimit1 = 1000;
    std::int64_t ConcentrationLimit2 = 5000;
    std::int32_t RiskPointsN = 2;
    std::int32_t IsinVCB = 77;
    double WindowSizePercentage = 0.5;
    Enums::OptionModel OptionModel = Enums::OptionModel::BlackScholes;
    Enums::AssetClass AssetClass = Enums::AssetClass::Stock;
    double CFRisk = 0.0;
    Enums::BaseContractSigns Signs = Enums::BaseContractSigns::None;

    [[nodiscard]] std::shared_ptr<kv7im::CSpecBaseContract> Make(double curvatureRadius = 0.0) const
    {
        return std::make_shared<kv7im::CSpecBaseContract>(
            Code.c_str(), CodeMCS.c_str(), VolatNum, MSPType, ShortOptionMinimumCharge, CurrencyId, curvatureRadius,
            SpotPrice, MarketRisk, MarketRisk1, MarketRisk2, MarketRiskLow, MarketRisk1Low, MarketRisk2Low,
            MarketRiskMedium, MarketRisk1Medium, MarketRisk2Medium, MarketRiskHigh, MarketRisk1High, MarketRisk2High,
            MarketRiskExceptional, MarketRisk1Exceptional, MarketRisk2Exceptional, ConcentrationLimit1,
            ConcentrationLimit2, RiskPointsN, IsinVCB, WindowSizePercentage, OptionModel, AssetClass, CFRisk, Signs);
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertBaseContract(
            Code.c_str(), CodeMCS.c_str(), VolatNum, MSPType, CurrencyId, ShortOptionMinimumCharge, SpotPrice,
            MarketRisk, MarketRisk1, MarketRisk2, MarketRiskLow, MarketRisk1Low, MarketRisk2Low, MarketRiskMedium,
            MarketRisk1Medium, MarketRisk2Medium, MarketRiskHigh, MarketRisk1High, MarketRisk2High,
            MarketRiskExceptional, MarketRisk1Exceptional, MarketRisk2Exceptional, ConcentrationLimit1,
            ConcentrationLimit2, RiskPointsN, IsinVCB, WindowSizePercentage, OptionModel, AssetClass, CFRisk, Signs);
    }
};

struct FuturesSample
{
    std::string Code = "FUT";
    std::string CodeBC = "BC";
    double CalcFutPrice = 1000.0;
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::InSpread;
    double MinStepPrice = 10.0;
    double RealCalcPrice = 1000.0;
    double MinStep = 5.0;
    double XLot = 100.0;
    ::Isin Isin = 1;
    double InterestRateRiskUp = 0.0;
    double InterestRateRiskDown = 0.0;
    double TimeToExpiration = 0.5;
    double NormalizedSpot = 1024.0;
    Enums::InstrumentStatus Attribute = Enums::InstrumentStatus::None;
    double MRAddOnUp = 0.0;
    double MRAddOnDown = 0.0;
    bool EnforceIMSHalfNetting = false;
    ::Isin TASBaseFutIsinID = 0;

    /// As the constructor leaves it: the profile is not computed.
    [[nodiscard]] std::shared_ptr<kv7im::CSpecFutures>
    Make(kv7im::CSpecBaseContract& baseContract, double edgeCoeff = kv7im::Constants::DefaultEdgeCoeffValue) const
    {
        return std::make_shared<kv7im::CSpecFutures>(
            &baseContract, Code, CodeBC, Isin, CalcFutPrice, SpreadAspect != Enums::SpreadAspect::NotInSpread,
            MinStepPrice, RealCalcPrice, MinStep, XLot, InterestRateRiskUp, InterestRateRiskDown, TimeToExpiration,
            edgeCoeff, NormalizedSpot, Attribute, MRAddOnUp, MRAddOnDown, EnforceIMSHalfNetting, TASBaseFutIsinID);
    }

    [[nodiscard]] Z9ERR InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        return repository.InsertFutures(Code.c_str(), CodeBC.c_str(), CalcFutPrice, SpreadAspect, MinStepPrice,
                                        RealCalcPrice, MinStep, XLot, Isin, InterestRateRiskUp, InterestRateRiskDown,
                                        TimeToExpiration, NormalizedSpot, Attribute, MRAddOnUp, MRAddOnDown,
                                        EnforceIMSHalfNetting, TASBaseFutIsinID);
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
