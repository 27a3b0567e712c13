#include "Provenance.h"

#include <ostream>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "QuindalIM.h"
#include "TextTable.h"
#include "UtcText.h"

namespace quindal {

namespace {

std::string TimeText(const MarketSource& market) { return market.time ? UtcText(*market.time) : ""; }

std::string NameOfTime(const MarketSource& market) { return market.isServer ? "received" : "changed"; }

/// What is known, by name and value.
std::vector<Cells> Lines(const MarketSource& market)
{
    std::vector<Cells> lines{{market.isServer ? "server" : "market", market.name}, {"sha256", market.sha256}};
    if (market.time) lines.push_back({NameOfTime(market), TimeText(market)});
    lines.push_back({"library", GetQuindalIMLibraryVersion()});
    return lines;
}

std::vector<Cells> Lines(const Provenance& provenance)
{
    std::vector<Cells> lines = Lines(provenance.market);
    lines.push_back({"currency", provenance.currency.empty() ? "not named by the market" : provenance.currency});
    return lines;
}

void WriteLines(std::ostream& out, const std::vector<Cells>& lines)
{
    WriteTable(out, lines, 2);
    out << '\n';
}

} // namespace

void WriteProvenance(std::ostream& out, const Provenance& provenance) { WriteLines(out, Lines(provenance)); }
void WriteProvenance(std::ostream& out, const MarketSource& market) { WriteLines(out, Lines(market)); }

std::string ProvenanceLine(const Provenance& provenance)
{
    std::string text;
    for (const Cells& line : Lines(provenance))
        text += (text.empty() ? "" : "; ") + line[0] + ": " + line[1];
    return text;
}

nlohmann::ordered_json ProvenanceJson(const Provenance& provenance)
{
    const MarketSource& market = provenance.market;
    nlohmann::ordered_json source{{market.isServer ? "server" : "file", market.name}, {"sha256", market.sha256}};
    if (market.time) source[NameOfTime(market)] = TimeText(market);
    nlohmann::ordered_json object{{"market", source}, {"library", GetQuindalIMLibraryVersion()}};
    if (!provenance.currency.empty()) object["currency"] = provenance.currency;
    return object;
}

std::string ProvenanceColumns() { return ",market,market_sha256,market_time,library,currency"; }

std::string ProvenanceCells(const Provenance& provenance)
{
    const MarketSource& market = provenance.market;
    return ',' + CsvCell(market.name) + ',' + market.sha256 + ',' + TimeText(market) + ',' +
           GetQuindalIMLibraryVersion() + ',' + provenance.currency;
}

} // namespace quindal
