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

} // namespace calls
