// All that a dictionary of instruments holds, as lines of text in a fixed order: two snapshots are equal when nothing
// has changed between them.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "PositionCalculatorInstruments.h"

namespace accounting {

template <class... Fields>
std::string Line(const char* table, const Fields&... fields)
{
    std::ostringstream line;
    line.precision(17);
    line << table;
    ((line << ' ' << fields), ...);
    return line.str();
}

/// Legs as isin and contracts.
inline std::string Legs(const std::vector<pos::SInstrQuantity>& legs)
{
    std::string text;
    for (const pos::SInstrQuantity& leg : legs)
        text += "[" + std::to_string(leg.instrCLR->isin) + " x " + std::to_string(leg.quantityCoeff) + "]";
    return text;
}

inline std::vector<std::string> Snapshot(const pos::PositionCalculatorInstruments& instruments)
{
    std::vector<std::string> lines;
    const auto& fixed = instruments.GetConstInstruments();
    const auto& priced = instruments.GetCurrentInstrument();
    for (const auto& [id, row] : fixed.m_baseContracts)
        lines.push_back(Line("base contract", id, row.isin, row.is_curr, row.indicatorIndex));
    for (const auto& [id, row] : fixed.m_tradeModes)
        lines.push_back(Line("trade mode", id, static_cast<int>(row.status), static_cast<int>(row.price_type),
                             static_cast<int>(row.auct_type), row.shouldCollectFeeForInternalTrades,
                             row.shouldTakeIntoAccountPrice1, row.shouldReplicatePrice1));
    for (const auto& [isin, row] : fixed.m_multilegs)
        lines.push_back(Line("multileg", isin, row.isin, int{row.lastInsertedLegNum}, Legs(row.instruments)));
    for (const auto& [id, row] : fixed.m_instruments)
        lines.push_back(Line("instrument", id, row.isin_clr, row.code_clr, row.tradeModeID, row.minStepTraded,
                             row.minStepPriceTraded, static_cast<int>(row.type), row.tradeMode != nullptr,
                             Legs(row.instruments)));
    for (const auto& [isin, row] : priced.m_futures)
        lines.push_back(Line("futures", isin, row.isin, row.code, row.settlPriceReal.AsString(), row.baseContractID,
                             row.minStep, row.minStepPrice, row.timeToExpiration, static_cast<int>(row.attribute),
                             row.xlot, row.bc->isin));
    for (const auto& [code, row] : priced.m_virtFutures)
        lines.push_back(Line("series", code, row.codeFutures, row.isinFutures, static_cast<int>(row.marginStyle),
                             row.minStep, row.minStepPrice, row.fut->isin));
    for (const auto& [isin, row] : priced.m_options)
        lines.push_back(Line("option", isin, row.isin, row.code, row.codeVF, static_cast<int>(row.optType),
                             row.calcOptPrice.AsString(), row.virtFutures->codeFutures));
    for (const auto& [id, row] : priced.m_tradeinstruments)
        lines.push_back(Line("rate", id, row.isin_clr, row.fixedFeeRate));
    for (const auto& [isin, type] : instruments.GetInstrTypes())
        lines.push_back(Line("type", isin, static_cast<int>(type)));
    std::sort(lines.begin(), lines.end());
    return lines;
}

} // namespace accounting
