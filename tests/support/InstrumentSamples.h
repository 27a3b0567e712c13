// InstrumentSamples: a base contract and a futures with plain numbers, to be changed field by field.
//
// The numbers are chosen to be worked by hand: five price points, three scenarios, rates that are sums of powers of
// two.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Constants.h"
#include "Enums.h"
#include "InstrumentsRepository.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

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
