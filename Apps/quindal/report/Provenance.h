// Provenance: what a report was computed from and by. It depends on the input alone, so that the same input gives the
// same report, byte for byte; when a report was made is what its file says.
#pragma once

#include <iosfwd>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "MarketSource.h"

namespace quindal {

struct Provenance
{
    MarketSource market;
    std::string currency; ///< Of all money, as the user has named it; empty: market files do not name it.
};

/// Lines for the head of a table, with an empty one behind them.
void WriteProvenance(std::ostream& out, const Provenance& provenance);
/// The same about a market of which no margin is computed: without a currency.
void WriteProvenance(std::ostream& out, const MarketSource& market);
/// The same in one line: "market: market.xml; changed: ...".
[[nodiscard]] std::string ProvenanceLine(const Provenance& provenance);

/// The object "provenance" of JSON. What is not known is absent.
[[nodiscard]] nlohmann::ordered_json ProvenanceJson(const Provenance& provenance);

/// Names of the last columns of CSV, each behind a comma, and their cells. What is not known is empty.
[[nodiscard]] std::string ProvenanceColumns();
[[nodiscard]] std::string ProvenanceCells(const Provenance& provenance);

} // namespace quindal
