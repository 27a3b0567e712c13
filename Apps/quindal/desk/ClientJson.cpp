#include "ClientJson.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "DeskJson.h"
#include "ExplainCells.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;
using QuindalIM::MarginExplanation;
using QuindalIM::MarginShare;

/// Part of the longest bar; 0 where there is none.
double Bar(double value, double longest) { return longest > 0.0 ? value / longest : 0.0; }

ordered_json LevelsJson(const MarginExplanation& explanation)
{
    double longest = 0.0;
    for (const QuindalIM::LevelMargin& level : explanation.levels)
        longest = std::max(longest, level.margin);
    ordered_json levels = ordered_json::array();
    for (const QuindalIM::LevelMargin& level : explanation.levels)
        levels.push_back({{"name", TextOf(level.level)},
                          {"margin", MoneyText(level.margin)},
                          {"saved", level.level == QuindalIM::NettingLevel::Gross ? "" : MoneyText(level.saved)},
                          {"bar", Bar(level.margin, longest)}});
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
    for (const Cells& row : MeaningsOf(worstCells))
        words.push_back({{"word", row[0]}, {"meaning", row[1]}});
    return words;
}

ordered_json SharesJson(const MarginExplanation& explanation)
{
    double longest = 0.0;
    for (const MarginShare& share : explanation.shares)
        longest = std::max(longest, std::abs(share.margin));
    ordered_json shares = ordered_json::array();
    for (const MarginShare& share : explanation.shares) {
        const bool isPosition = share.kind == MarginShare::Kind::Position;
        shares.push_back({{"instrument", share.instrument},
                          {"kind", KindText(share)},
                          {"of", TextOf(explanation.entities[share.entity])},
                          {"quantity", std::to_string(share.quantity)},
                          {"price", isPosition ? PriceText(share.price) : ""},
                          {"share", MoneyText(share.margin)},
                          {"part", PercentText(share.margin, explanation.unrounded)},
                          {"bar", Bar(share.margin, longest)}});
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
    const std::vector<Cells> worstCells = WorstCells(explanation);
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

} // namespace quindal
