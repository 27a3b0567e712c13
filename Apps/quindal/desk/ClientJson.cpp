#include "ClientJson.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "CsvCell.h"
#include "DeskJson.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;
using QuindalIM::MarginExplanation;
using QuindalIM::MarginShare;

/// Part of the longest bar; 0 where there is none.
double Bar(double value, double longest) { return longest > 0.0 ? value / longest : 0.0; }

ordered_json LevelsJson(const MarginExplanation& explanation)
{
    const std::vector<Cells> rows = LevelRows(explanation);
    double longest = 0.0;
    for (const QuindalIM::LevelMargin& level : explanation.levels)
        longest = std::max(longest, level.margin);
    ordered_json levels = ordered_json::array();
    for (std::size_t i = 0; i < explanation.levels.size(); ++i)
        levels.push_back({{"name", rows[i + 1][0]},
                          {"margin", rows[i + 1][1]},
                          {"saved", rows[i + 1][2]},
                          {"bar", Bar(explanation.levels[i].margin, longest)}});
    return levels;
}

/// Indentation of a row: two blanks a level, of the first cell with text.
std::size_t DepthOf(const Cells& row)
{
    const std::string& text = row[0].empty() ? row[2] : row[0];
    const std::size_t blanks = text.find_first_not_of(' ');
    return blanks == std::string::npos ? 0 : blanks / 2;
}

std::string Trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first);
}

ordered_json WorstCellsJson(const std::vector<Cells>& rows)
{
    ordered_json cells = ordered_json::array();
    for (std::size_t i = 1; i < rows.size(); ++i)
        cells.push_back({{"of", Trimmed(rows[i][0])},
                         {"side", rows[i][1]},
                         {"cell", Trimmed(rows[i][2])},
                         {"result", rows[i][3]},
                         {"margin", rows[i][4]},
                         {"depth", DepthOf(rows[i])}});
    return cells;
}

ordered_json MeaningsJson(const std::vector<Cells>& worstCells)
{
    ordered_json words = ordered_json::array();
    for (const Cells& row : MeaningRows(worstCells))
        words.push_back({{"word", row[0]}, {"meaning", row[1]}});
    return words;
}

ordered_json SharesJson(const MarginExplanation& explanation)
{
    const std::vector<Cells> rows = ShareRows(explanation);
    double longest = 0.0;
    for (const MarginShare& share : explanation.shares)
        longest = std::max(longest, std::abs(share.margin));
    ordered_json shares = ordered_json::array();
    for (std::size_t i = 0; i < explanation.shares.size(); ++i) {
        const Cells& row = rows[i + 1];
        shares.push_back({{"instrument", row[0]},
                          {"kind", row[1]},
                          {"of", row[2]},
                          {"quantity", row[3]},
                          {"price", row[4]},
                          {"share", row[5]},
                          {"bar", Bar(explanation.shares[i].margin, longest)}});
    }
    return shares;
}

std::string AccountOf(const DeskBook& book, const std::string& firm)
{
    for (const FirmFigures& figures : book.Figures().firms)
        if (figures.code == firm) return figures.settlementAccount;
    return {};
}

} // namespace

ordered_json ClientJson(const DeskBook& book, const std::string& client, const MarginExplanation& explanation)
{
    const std::string firm = FirmOf(client);
    const std::vector<Cells> worstCells = WorstCellRows(explanation);
    return {{"code", client},
            {"firm", firm},
            {"account", AccountOf(book, firm)},
            {"GO", MoneyJson(explanation.margin)},
            {"volatilityGO", MoneyJson(explanation.volatility)},
            {"deliveryGO", MoneyJson(explanation.delivery)},
            {"unrounded", MoneyJson(explanation.unrounded)},
            {"weight", PriceText(explanation.weight)},
            {"ratio", PriceText(explanation.ratio)},
            {"levels", LevelsJson(explanation)},
            {"worst", WorstCellsJson(worstCells)},
            {"words", MeaningsJson(worstCells)},
            {"shares", SharesJson(explanation)}};
}

std::string SharesCsv(const std::string& client, const MarginExplanation& explanation, const Provenance& provenance)
{
    std::string csv = "client,instrument,kind,of_kind,of,quantity,price,share" + ProvenanceColumns() + '\n';
    for (const MarginShare& share : explanation.shares) {
        const QuindalIM::EntityExplanation& entity = explanation.entities[share.entity];
        const bool isPosition = share.kind == MarginShare::Kind::Position;
        csv += CsvCell(client) + ',' + CsvCell(share.instrument) + (isPosition ? ",position," : ",orders,") +
               std::string(NameOf(entity.kind)) + ',' + CsvCell(entity.code) + ',' + std::to_string(share.quantity) +
               ',' + (isPosition ? ordered_json(share.price).dump() : "") + ',' + ordered_json(share.margin).dump() +
               ProvenanceCells(provenance) + '\n';
    }
    return csv;
}

} // namespace quindal
