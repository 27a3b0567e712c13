#include "ExplainCells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace quindal {

using namespace QuindalIM;

namespace {

constexpr std::array<std::string_view, 2> Directions{"up", "down"};

/// A word of the worst cells, the texts that it occurs in, and what it means.
struct CellWord
{
    std::string_view word;
    std::array<std::string_view, 2> texts;
    std::string_view meaning;
};
constexpr std::array CellWords{
    CellWord{"PnL2D, PnL3D", {"PnL2D", "PnL3D"}, "the two stress steps below the grid"},
    CellWord{"PnL2U, PnL3U", {"PnL2U", "PnL3U"}, "the two stress steps above the grid"},
    CellWord{"ZL, ZR", {"stress point ZL", "stress point ZR"}, "the far ends below and above, of which a share counts"},
    CellWord{"DownRisk, UpRisk", {"DownRisk", "UpRisk"}, "the least charge of short options"},
    CellWord{"by the edge", {"by the edge", ""}, "no worse than what the edge of the grid implies"},
    CellWord{"volatility", {", volatility ", ""}, "the scenario: how far it moves the volatility of the options"},
    CellWord{"rates", {"rates up", "rates down"}, "stress of the interest rates"},
    CellWord{"mismatch", {"mismatch up", "mismatch down"}, "stress by volatilities that move apart"},
    CellWord{"sub-point", {"sub-point ", ""}, "a price between two points of the grid, close to a strike"},
    CellWord{"deliveries", {", deliveries", ""}, "worse with the options delivered than with them held"},
    CellWord{"its gain is cut", {"its gain is cut", ""}, "losses only are taken of it, and it has none in this cell"}};
static_assert(std::ranges::all_of(kv7im::stress::Points,
                                  [](const kv7im::stress::Point& row) {
                                      return std::ranges::any_of(CellWords, [&](const CellWord& words) {
                                          return words.word.find(row.name) != std::string_view::npos;
                                      });
                                  }),
              "each stress point is explained");

std::string WithRatio(const EntityExplanation& entity)
{
    const std::string text = TextOf(entity);
    return entity.ratio == 1.0 ? text : text + " x " + PriceText(entity.ratio);
}

std::string Stresses(const std::optional<std::size_t>& rateRow, const std::optional<std::size_t>& mismatchRow)
{
    std::string text;
    if (rateRow) text = "rates " + std::string(Directions.at(*rateRow));
    if (mismatchRow) text += (text.empty() ? "mismatch " : ", mismatch ") + std::string(Directions.at(*mismatchRow));
    return text;
}

std::string GridCell(const ContractOutcome& contract, const ContractGrid* grid)
{
    std::string text = PriceText(*contract.price) + " (point " + std::to_string(*contract.pricePoint) + ")";
    if (contract.isDelivery) text += ", deliveries";
    const std::string scenario = contract.scenario && grid != nullptr ? ScenarioText(*grid, *contract.scenario) : "";
    return scenario.empty() ? text : text + ", " + scenario;
}

std::string CellText(const ContractOutcome& contract, const ContractGrid* grid)
{
    switch (contract.kind) {
    case ContractOutcome::Kind::PricePoint:
        return "at " + GridCell(contract, grid);
    case ContractOutcome::Kind::StressPoint:
    case ContractOutcome::Kind::EdgeFloor:
        return "stress point " + std::string(NameOf(*contract.stressPoint));
    default:
        return contract.isCut ? "its gain is cut" : "nothing";
    }
}

std::string CellText(const PartOutcome& part)
{
    std::string text = part.isCut ? ", its gain is cut" : "";
    if (part.subPoint) text += ", sub-point " + PriceText(*part.subPoint);
    if (part.deliveryPrice) text += ", delivery at " + PriceText(*part.deliveryPrice);
    const std::string stresses = Stresses(part.rateRow, part.mismatchRow);
    if (!stresses.empty()) text += ", " + stresses;
    return text.empty() ? text : text.substr(2);
}

std::string CellText(const SideOutcome& side)
{
    if (!side.isLoss) return "no loss";
    if (side.stressPoint) return "stress point " + std::string(NameOf(*side.stressPoint));
    return "price point " + std::to_string(*side.pricePoint);
}

// Adds the edge that a contract goes by, its stresses and its parts, in lines of their own.
void AddDetails(std::vector<Cells>& rows, const ContractOutcome& contract, const ContractGrid* grid,
                const std::string& indent)
{
    const auto add = [&](const std::string& detail) {
        if (!detail.empty()) rows.push_back({"", "", "  " + detail, "", ""});
    };
    if (contract.kind == ContractOutcome::Kind::EdgeFloor)
        add(contract.price ? "by the edge at " + GridCell(contract, grid) : "by the edge of the grid");
    add(Stresses(contract.rateRow, contract.mismatchRow));
    for (const PartOutcome& part : contract.parts)
        rows.push_back({indent + part.code, "", CellText(part), "", ""});
}

void AddSide(std::vector<Cells>& rows, const MarginExplanation& explanation, std::size_t index, const SideOutcome& side)
{
    const EntityExplanation& entity = explanation.entities[index];
    const auto gridOf = [&](const ContractOutcome& contract) { return GridOf(explanation, index, contract.code); };
    const bool isGroup = entity.kind == MarginEntity::MCS;
    const bool isKnown = !isGroup && side.isLoss;
    rows.push_back({WithRatio(entity), std::string(NameOf(side.side)),
                    isKnown ? CellText(side.contracts.front(), gridOf(side.contracts.front())) : CellText(side),
                    isKnown ? MoneyText(side.contracts.front().money) : "", MoneyText(side.margin)});
    for (const ContractOutcome& contract : side.contracts) {
        if (isGroup)
            rows.push_back(
                {"  " + contract.code, "", CellText(contract, gridOf(contract)), MoneyText(contract.money), ""});
        AddDetails(rows, contract, gridOf(contract), isGroup ? "    " : "  ");
    }
}

std::string_view CutText(const MarginShare& share)
{
    if (!share.isGated) return "";
    return share.margin == 0.0 ? ", cut" : ", partly cut";
}

} // namespace

std::string_view TextOf(NettingLevel level)
{
    static constexpr std::array<std::string_view, 5> texts{
        "each position alone", "options within their series", "series within their futures",
        "months within their base contract", "base contracts within their MCS"};
    return texts.at(static_cast<std::size_t>(level));
}

std::string TextOf(const EntityExplanation& entity) { return std::string(NameOf(entity.kind)) + ' ' + entity.code; }

std::vector<const MarginShare*> LargestShares(const MarginExplanation& explanation, std::size_t top)
{
    std::vector<const MarginShare*> shares;
    for (const MarginShare& share : explanation.shares)
        shares.push_back(&share);
    if (top == 0) return shares;
    std::ranges::stable_sort(shares,
                             [](const auto* a, const auto* b) { return std::abs(a->margin) > std::abs(b->margin); });
    if (shares.size() > top) shares.resize(top);
    return shares;
}

std::string KindText(const MarginShare& share)
{
    return std::string(share.kind == MarginShare::Kind::Position ? "position" : "orders").append(CutText(share));
}

std::string FormulaText(const MarginExplanation& explanation)
{
    const std::string w = PriceText(explanation.weight);
    const std::string volatility = MoneyText(explanation.volatility) + " volatility GO";
    const std::string delivery = MoneyText(explanation.delivery) + " delivery GO";
    std::string text = explanation.weight == 0.0   ? volatility
                       : explanation.weight == 1.0 ? delivery
                                                   : "(1 - " + w + ") x " + volatility + " + " + w + " x " + delivery;
    if (explanation.ratio != 1.0) text += ", times " + PriceText(explanation.ratio);
    return text + ", rounded up";
}

std::vector<Cells> WorstCells(const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Margin of", "Side", "Worst cell", "Result", "Margin"}};
    for (std::size_t entity = 0; entity < explanation.entities.size(); ++entity)
        for (const SideOutcome& side : explanation.entities[entity].sides)
            AddSide(rows, explanation, entity, side);
    return rows;
}

std::vector<Cells> MeaningsOf(const std::vector<Cells>& worstCells)
{
    const auto occurs = [&](std::string_view text) {
        return !text.empty() && std::any_of(worstCells.begin(), worstCells.end(),
                                            [&](const Cells& row) { return row[2].find(text) != std::string::npos; });
    };
    std::vector<Cells> rows;
    for (const CellWord& word : CellWords)
        if (std::any_of(word.texts.begin(), word.texts.end(), occurs))
            rows.push_back({std::string(word.word), std::string(word.meaning)});
    return rows;
}

} // namespace quindal
