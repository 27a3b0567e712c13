// ExportCalls: the exported functions with few arguments, plain numbers for the rest. The numbers are easy to work by
// hand: see Futures.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "QuindalIM.h"

namespace calls {

/// Rates of 0.1 at every level and every size of position, one price point on either side of the centre.
inline std::int32_t BaseContract(std::intptr_t calc, const char* code, const char* mcs = "",
                                 std::int64_t concentrationLimit1 = 1000000, std::int32_t volatNum = 3)
{
    constexpr double rate = 0.1;
    return InsertBaseContract(calc, code, mcs, volatNum, QUINDAL_MSP_FIXED_PRICE_STEP, 0, 0.0, rate, rate, rate, rate,
                              rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, concentrationLimit1,
                              1000000, 1, 0.5, QUINDAL_OPTION_MODEL_BLACK_SCHOLES, 0.0, QUINDAL_ASSET_CLASS_STOCK, 0.0);
}

/// Price and spot 1000, so that the grid is 900, 1000, 1100; one step of 1 is worth 1. Alone, out of any spread.
inline std::int32_t Futures(std::intptr_t calc, const char* code, const char* baseContract, const char* tracked = "",
                            double price = 1000.0)
{
    const QuindalAttribute attribute = *tracked == '\0' ? QUINDAL_ATTRIBUTE_NONE : QUINDAL_ATTRIBUTE_TAS;
    return InsertFutures(calc, code, baseContract, price, QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD, 1.0, 1000.0, 1.0, 1.0,
                         0.0, 0.0, 0.25, 1000.0, attribute, 0.0, 0.0, 0, tracked);
}

inline std::int32_t Account(std::intptr_t calc, const char* id, QuindalMarginRule rule = QUINDAL_MARGIN_RULE_NETTING)
{
    return RegisterSettlementAccount(calc, id, rule, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                                     QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0);
}

inline std::int32_t Firm(std::intptr_t calc, const char* code, const char* account = "")
{
    return RegisterFirm(calc, code, 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, account,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_NETTING,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0);
}

inline std::int32_t Part(std::intptr_t calc, const char* code, double goRatio = 1.0)
{
    return RegisterPart(calc, code, 0, 0, 0.5, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                        goRatio, 1.0, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0);
}

/// The five GO outputs, each holding a value of its own until it is written.
struct Margins
{
    double volatility = -1.0;
    double delivery = -2.0;
    double part = -3.0;
    double firm = -4.0;
    double account = -5.0;

    friend bool operator==(const Margins&, const Margins&) = default;
};

inline std::int32_t Position(std::intptr_t calc, const char* code, const char* instrument, std::int64_t quantity,
                             double price, Margins& margins,
                             QuindalAccountHierarchyRecordType type = QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
{
    return SetPosition(calc, code, instrument, quantity, price, &margins.volatility, &margins.delivery, &margins.part,
                       &margins.firm, &margins.account, type, 0);
}

inline std::int32_t Order(std::intptr_t calc, const char* code, const char* instrument, std::int32_t isBuy,
                          double price, std::int64_t deltaQuantity, Margins& margins)
{
    return ChangeOrder(calc, code, instrument, isBuy, price, deltaQuantity, &margins.volatility, &margins.delivery,
                       &margins.part, &margins.firm, &margins.account);
}

/// Buffers and values of GetNextFutures, each holding a value of its own until it is written.
struct FuturesEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;
    std::array<char, 32> baseContract{"untouched"};
    std::int32_t baseContractSize = 32;
    double limit = -1, calcFutPrice = -2;
    QuindalSpreadAspect spreadAspect = -3;
    double minStepPrice = -4, realCalcPrice = -5, minStep = -6, xLot = -7, rateUp = -8, rateDown = -9;
    double timeToExpiration = -10, normalizedSpot = -11;
    QuindalAttribute attribute = -12;
    double addOnUp = -13, addOnDown = -14;
    std::int8_t enforceHalfNetting = -15;
    std::array<char, 32> tracked{"untouched"};
    std::int32_t trackedSize = 32;

    std::int32_t GetNext(std::intptr_t calc, QuindalClientRiskLevel level = QUINDAL_CLIENT_RISK_LEVEL_DEFAULT)
    {
        return GetNextFutures(calc, level, code.data(), &codeSize, baseContract.data(), &baseContractSize, &limit,
                              &calcFutPrice, &spreadAspect, &minStepPrice, &realCalcPrice, &minStep, &xLot, &rateUp,
                              &rateDown, &timeToExpiration, &normalizedSpot, &attribute, &addOnUp, &addOnDown,
                              &enforceHalfNetting, tracked.data(), &trackedSize);
    }
    friend bool operator==(const FuturesEntry&, const FuturesEntry&) = default;
};

/// The same of GetNextBaseContract. Rates in the order of the signature.
struct BaseContractEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;
    std::array<char, 32> mcs{"untouched"};
    std::int32_t mcsSize = 32;
    std::int32_t volatNum = -1, pointsNum = -2;
    QuindalMSPType mspType = -3;
    std::int32_t currencyId = -4;
    double minimumCharge = -5;
    std::array<double, 15> rates{};
    std::int64_t limit1 = -6, limit2 = -7;
    double window = -8;
    QuindalOptionModel optionModel = -9;
    double spotPrice = -10;
    QuindalAssetClass assetClass = -11;
    double cfRisk = -12;

    std::int32_t GetNext(std::intptr_t calc)
    {
        return GetNextBaseContract(calc, code.data(), &codeSize, mcs.data(), &mcsSize, &volatNum, &pointsNum, &mspType,
                                   &currencyId, &minimumCharge, &rates[0], &rates[1], &rates[2], &rates[3], &rates[4],
                                   &rates[5], &rates[6], &rates[7], &rates[8], &rates[9], &rates[10], &rates[11],
                                   &rates[12], &rates[13], &rates[14], &limit1, &limit2, &window, &optionModel,
                                   &spotPrice, &assetClass, &cfRisk);
    }
    friend bool operator==(const BaseContractEntry&, const BaseContractEntry&) = default;
};

/// Arguments of InsertOptionSeries: a flat smile of 20 per cent, no rates, no sub-points, alone; one step of 1 is worth
/// 1, so that a series on Futures can be worked by hand.
struct OptionSeriesArguments
{
    double A_Black = 20.0;
    double B_Black = 0.0;
    double C_Black = 0.0;
    double D_Black = 0.0;
    double E_Black = 1.0;
    std::int8_t UseNullVolat = 0;
    double S_Black = 0.0;
    double StrikeStep = 100.0;
    std::int32_t ExpClearingsSA = 0;
    std::int32_t ExpClearingsBF = 0;
    std::int32_t ExpClearingsCC = 0;
    double VolatilityRisk = 0.25;
    double VolatilityRiskMismatch = 0.0;
    double TimeToExpiration = 0.25;
    double A_Bach = 1.0;
    double B_Bach = 0.0;
    double C_Bach = 0.0;
    double D_Bach = 0.0;
    double E_Bach = 1.0;
    double S_Bach = 0.0;
    double M_Bach = 100.0;
    QuindalMarginStyle MarginStyle = QUINDAL_MARGIN_STYLE_FUTURES;
    QuindalSettlementType SettlementType = QUINDAL_SETTLEMENT_TYPE_CASH_SETTLED;
    QuindalExerciseStyle ExerciseStyle = QUINDAL_EXERCISE_STYLE_EUROPEAN;
    std::int8_t SubRisk = 0;
    QuindalSpreadAspect SpreadAspect = QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD;
    std::int8_t EnforceHalfNetting = 0;
    double MinStep = 1.0;
    double MinStepPrice = 1.0;
    std::int32_t LotCoeff = 1;
    double r = 0.0;
    double InterestRateRiskUp = 0.0;
    double InterestRateRiskDown = 0.0;
    double FixedSpotDiscount = 0.0;
    double ProjectedSpotDiscount = 0.0;
    double r2 = 0.0;
    double InterestRate2RiskUp = 0.0;
    double InterestRate2RiskDown = 0.0;

    std::int32_t Insert(std::intptr_t calc, const char* code, const char* futures) const
    {
        return InsertOptionSeries(calc, code, futures, A_Black, B_Black, C_Black, D_Black, E_Black, UseNullVolat,
                                  S_Black, StrikeStep, ExpClearingsSA, ExpClearingsBF, ExpClearingsCC, VolatilityRisk,
                                  VolatilityRiskMismatch, TimeToExpiration, A_Bach, B_Bach, C_Bach, D_Bach, E_Bach,
                                  S_Bach, M_Bach, MarginStyle, SettlementType, ExerciseStyle, SubRisk, SpreadAspect,
                                  EnforceHalfNetting, MinStep, MinStepPrice, LotCoeff, r, InterestRateRiskUp,
                                  InterestRateRiskDown, FixedSpotDiscount, ProjectedSpotDiscount, r2,
                                  InterestRate2RiskUp, InterestRate2RiskDown);
    }
    /// Every number a value of its own that is stored as it is, so that no two can be exchanged unseen; all styles and
    /// flags set.
    static OptionSeriesArguments AllDifferent();
    friend bool operator==(const OptionSeriesArguments&, const OptionSeriesArguments&) = default;
};

inline std::int32_t OptionSeries(std::intptr_t calc, const char* code, const char* futures)
{
    return OptionSeriesArguments().Insert(calc, code, futures);
}

inline std::int32_t Option(std::intptr_t calc, const char* code, const char* series, double strike = 1000.0,
                           QuindalOptionType type = QUINDAL_OPTION_TYPE_CALL, double price = 10.0)
{
    return InsertOption(calc, code, series, strike, type, price);
}

inline OptionSeriesArguments OptionSeriesArguments::AllDifferent()
{
    return {.A_Black = 21.5,
            .B_Black = 22.5,
            .C_Black = 0.5,
            .D_Black = -1.25,
            .E_Black = 2.25,
            .UseNullVolat = 1,
            .S_Black = 0.0625,
            .StrikeStep = 50.0,
            .ExpClearingsSA = 3,
            .ExpClearingsBF = 4,
            .ExpClearingsCC = 5,
            .VolatilityRisk = 0.125,
            .VolatilityRiskMismatch = 0.1875,
            .TimeToExpiration = 0.25,
            .A_Bach = 0.75,
            .B_Bach = 0.875,
            .C_Bach = 0.375,
            .D_Bach = -0.25,
            .E_Bach = 1.75,
            .S_Bach = 0.03125,
            .M_Bach = 110.0,
            .MarginStyle = QUINDAL_MARGIN_STYLE_EQUITY,
            .SettlementType = QUINDAL_SETTLEMENT_TYPE_DELIVERABLE,
            .ExerciseStyle = QUINDAL_EXERCISE_STYLE_EUROPEAN,
            .SubRisk = 1,
            .SpreadAspect = QUINDAL_SPREAD_ASPECT_IN_SPREAD,
            .EnforceHalfNetting = 1,
            .MinStep = 0.5,
            .MinStepPrice = 6.5,
            .LotCoeff = 10,
            .r = 0.07,
            .InterestRateRiskUp = 0.011,
            .InterestRateRiskDown = 0.012,
            .FixedSpotDiscount = 1.5,
            .ProjectedSpotDiscount = 2.5,
            .r2 = 0.03,
            .InterestRate2RiskUp = 0.013,
            .InterestRate2RiskDown = 0.014};
}

/// Buffers and values of GetNextOptionSeries, each holding a value of its own until it is written.
struct OptionSeriesEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;
    std::array<char, 32> futures{"untouched"};
    std::int32_t futuresSize = 32;
    double sqrtT = -1.0;
    OptionSeriesArguments values = Untouched();

    std::int32_t GetNext(std::intptr_t calc)
    {
        OptionSeriesArguments& v = values;
        return GetNextOptionSeries(
            calc, code.data(), &codeSize, futures.data(), &futuresSize, &sqrtT, &v.A_Black, &v.B_Black, &v.C_Black,
            &v.D_Black, &v.E_Black, &v.UseNullVolat, &v.S_Black, &v.StrikeStep, &v.ExpClearingsSA, &v.ExpClearingsBF,
            &v.ExpClearingsCC, &v.VolatilityRisk, &v.VolatilityRiskMismatch, &v.TimeToExpiration, &v.A_Bach, &v.B_Bach,
            &v.C_Bach, &v.D_Bach, &v.E_Bach, &v.S_Bach, &v.M_Bach, &v.MarginStyle, &v.SettlementType, &v.ExerciseStyle,
            &v.SubRisk, &v.SpreadAspect, &v.EnforceHalfNetting, &v.MinStep, &v.MinStepPrice, &v.LotCoeff, &v.r,
            &v.InterestRateRiskUp, &v.InterestRateRiskDown, &v.FixedSpotDiscount, &v.ProjectedSpotDiscount, &v.r2,
            &v.InterestRate2RiskUp, &v.InterestRate2RiskDown);
    }
    friend bool operator==(const OptionSeriesEntry&, const OptionSeriesEntry&) = default;

private:
    static OptionSeriesArguments Untouched()
    {
        return {.A_Black = -2,
                .B_Black = -3,
                .C_Black = -4,
                .D_Black = -5,
                .E_Black = -6,
                .UseNullVolat = -7,
                .S_Black = -8,
                .StrikeStep = -9,
                .ExpClearingsSA = -10,
                .ExpClearingsBF = -11,
                .ExpClearingsCC = -12,
                .VolatilityRisk = -13,
                .VolatilityRiskMismatch = -14,
                .TimeToExpiration = -15,
                .A_Bach = -16,
                .B_Bach = -17,
                .C_Bach = -18,
                .D_Bach = -19,
                .E_Bach = -20,
                .S_Bach = -21,
                .M_Bach = -22,
                .MarginStyle = -23,
                .SettlementType = -24,
                .ExerciseStyle = -25,
                .SubRisk = -26,
                .SpreadAspect = -27,
                .EnforceHalfNetting = -28,
                .MinStep = -29,
                .MinStepPrice = -30,
                .LotCoeff = -31,
                .r = -32,
                .InterestRateRiskUp = -33,
                .InterestRateRiskDown = -34,
                .FixedSpotDiscount = -35,
                .ProjectedSpotDiscount = -36,
                .r2 = -37,
                .InterestRate2RiskUp = -38,
                .InterestRate2RiskDown = -39};
    }
};

/// The same of GetNextOption.
struct OptionEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;
    std::array<char, 32> series{"untouched"};
    std::int32_t seriesSize = 32;
    double strike = -1.0;
    QuindalOptionType type = -2;
    double calcOptPrice = -3.0;

    std::int32_t GetNext(std::intptr_t calc)
    {
        return GetNextOption(calc, code.data(), &codeSize, series.data(), &seriesSize, &strike, &type, &calcOptPrice);
    }
    friend bool operator==(const OptionEntry&, const OptionEntry&) = default;
};

} // namespace calls
