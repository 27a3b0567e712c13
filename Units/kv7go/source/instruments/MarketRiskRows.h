// MarketRiskRows: the fifteen rates of market risk as the rows of a table, level by level in the order of the exchange.
#pragma once

#include "Enums.h"

static_assert(Enums::ClientRiskLevels.size() == 5, "each risk level has its rows");

/// ROW(field, level, name, code): the member that holds the rates, the level, what the exchange puts behind the name of
/// the rate at that level, and the code of its refusal without its ending.
#define KV7_MARKET_RISKS_AT(ROW, level, name, suffix)                                                                  \
    ROW(MarketRisk, level, name, MR##suffix), ROW(MarketRisk1, level, name, MR1##suffix),                              \
        ROW(MarketRisk2, level, name, MR2##suffix)
#define KV7_MARKET_RISKS(ROW)                                                                                          \
    KV7_MARKET_RISKS_AT(ROW, Default, , ), KV7_MARKET_RISKS_AT(ROW, Low, Low, _LOW),                                   \
        KV7_MARKET_RISKS_AT(ROW, Medium, Medium, _MEDIUM), KV7_MARKET_RISKS_AT(ROW, High, High, _HIGH),                \
        KV7_MARKET_RISKS_AT(ROW, Exceptional, Exceptional, _EXCEPTIONAL)
