// Series of every kind that a kernel tells apart.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OptionFamily.h"
#include "SameBits.h"

// A way for a series to be.
struct SeriesKind
{
    std::int32_t riskPointsN = 2;
    std::int32_t volatNum = 3;
    bool subPoints = false;
    bool deliveries = false; // the node has rows for them; the options always do
    bool lossesOnly = false;
    bool collateral = false;

    [[nodiscard]] std::string Text() const
    {
        return "N " + std::to_string(riskPointsN) + ", scenarios " + std::to_string(volatNum) +
               (subPoints ? ", sub-points" : "") + (deliveries ? ", deliveries" : "") +
               (lossesOnly ? ", losses only" : "") + (collateral ? ", collateral" : "");
    }
};

inline std::vector<SeriesKind> AllSeriesKinds()
{
    std::vector<SeriesKind> kinds;
    for (const std::int32_t riskPointsN : {1, 2, 3, 4, 40})
        for (unsigned flags = 0; flags < 16; ++flags)
            kinds.push_back({riskPointsN, 3 + riskPointsN % 5, (flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0,
                             (flags & 8) != 0});
    return kinds;
}

inline OptionFamily FamilyOf(const SeriesKind& kind)
{
    BaseContractSample contract;
    contract.RiskPointsN = kind.riskPointsN;
    contract.VolatNum = kind.volatNum;
    contract.CFRisk = 0.1;
    FuturesSample futures;
    futures.CalcFutPrice = 1003.7;
    futures.RealCalcPrice = 1001.3;
    futures.InterestRateRiskUp = 0.3;
    futures.InterestRateRiskDown = 0.2;
    futures.MRAddOnUp = 0.01;
    futures.MRAddOnDown = 0.02;
    if (kind.collateral) futures.Attribute = Enums::InstrumentStatus::Collateral;
    kv7im::OptionSeriesParameters series = SeriesOnSample();
    series.SubRisk = kind.subPoints;
    series.EnforceHalfNetting = kind.lossesOnly;
    series.settlementType = Enums::SettlementType::Deliverable;
    series.ExpClearingsCC = 3;
    series.R = 0.1;
    series.InterestRateRiskUp = 0.05;
    series.InterestRateRiskDown = 0.04;
    if (kind.collateral) series.marginStyle = Enums::MarginStyle::Equity;
    return OptionFamily(contract, futures, series, {925.0, 1000.0, 1077.0, 300.0});
}
