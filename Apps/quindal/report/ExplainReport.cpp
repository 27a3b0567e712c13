#include "ExplainReport.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <vector>

#include <nlohmann/json.hpp>

#include "Printable.h"
#include "TextTable.h"

namespace quindal {

namespace {

using namespace QuindalIM;
using nlohmann::ordered_json;

constexpr std::array<std::string_view, 5> LevelTexts{"each position alone", "options within their series",
                                                     "series within their futures", "months within their base contract",
                                                     "base contracts within their MCS"};
constexpr std::array<std::string_view, 5> LevelNames{"gross", "series", "futures", "baseContract", "acrossContracts"};
constexpr std::array<std::string_view, 4> ContractNames{"pricePoint", "stressPoint", "edgeFloor", "nothing"};
constexpr std::array<std::string_view, 4> EntityNames{"MCS", "baseContract", "futures", "optionSeries"};
constexpr std::array<std::string_view, 2> DirectionNames{"up", "down"};

template <class Enumeration, std::size_t Size>
std::string_view Of(const std::array<std::string_view, Size>& names, Enumeration value)
{
    return names.at(static_cast<std::size_t>(value));
}

// ---- The table ----------------------------------------------------------------------------------------------------

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

std::string TextOf(const EntityExplanation& entity) { return std::string(NameOf(entity.kind)) + ' ' + entity.code; }

std::string WithRatio(const EntityExplanation& entity)
{
    const std::string text = TextOf(entity);
    return entity.ratio == 1.0 ? text : text + " x " + PriceText(entity.ratio);
}

std::string Stresses(const std::optional<std::size_t>& rateRow, const std::optional<std::size_t>& mismatchRow)
{
    std::string text;
    if (rateRow) text = "rates " + std::string(Of(DirectionNames, *rateRow));
    if (mismatchRow)
        text += (text.empty() ? "mismatch " : ", mismatch ") + std::string(Of(DirectionNames, *mismatchRow));
    return text;
}

std::string GridCell(const ContractOutcome& contract)
{
    std::string text = PriceText(*contract.price) + " (point " + std::to_string(*contract.pricePoint) + ")";
    if (contract.isDelivery) text += ", deliveries";
    if (contract.scenario) text += ", scenario " + std::to_string(*contract.scenario);
    return text;
}

std::string TextOf(const ContractOutcome& contract)
{
    switch (contract.kind) {
    case ContractOutcome::Kind::PricePoint:
        return "at " + GridCell(contract);
    case ContractOutcome::Kind::StressPoint:
    case ContractOutcome::Kind::EdgeFloor:
        return "stress point " + std::string(NameOf(*contract.stressPoint));
    default:
        return contract.isCut ? "its gain is cut" : "nothing";
    }
}

std::string TextOf(const PartOutcome& part)
{
    std::string text = part.isCut ? ", its gain is cut" : "";
    if (part.subPoint) text += ", sub-point " + PriceText(*part.subPoint);
    if (part.deliveryPrice) text += ", delivery at " + PriceText(*part.deliveryPrice);
    const std::string stresses = Stresses(part.rateRow, part.mismatchRow);
    if (!stresses.empty()) text += ", " + stresses;
    return text.empty() ? text : text.substr(2);
}

std::string TextOf(const SideOutcome& side)
{
    if (!side.isLoss) return "no loss";
    if (side.stressPoint) return "stress point " + std::string(NameOf(*side.stressPoint));
    return "price point " + std::to_string(*side.pricePoint);
}

// Adds the edge that a contract goes by, its stresses and its parts, in lines of their own.
void AddDetails(std::vector<Cells>& rows, const ContractOutcome& contract, const std::string& indent)
{
    const auto add = [&](const std::string& detail) {
        if (!detail.empty()) rows.push_back({"", "", "  " + detail, "", ""});
    };
    if (contract.kind == ContractOutcome::Kind::EdgeFloor)
        add(contract.price ? "by the edge at " + GridCell(contract) : "by the edge of the grid");
    add(Stresses(contract.rateRow, contract.mismatchRow));
    for (const PartOutcome& part : contract.parts)
        rows.push_back({indent + part.code, "", TextOf(part), "", ""});
}

void AddSide(std::vector<Cells>& rows, const EntityExplanation& entity, const SideOutcome& side)
{
    const bool isGroup = entity.kind == MarginEntity::MCS;
    const bool isKnown = !isGroup && side.isLoss;
    rows.push_back({WithRatio(entity), std::string(NameOf(side.side)),
                    isKnown ? TextOf(side.contracts.front()) : TextOf(side),
                    isKnown ? MoneyText(side.contracts.front().money) : "", MoneyText(side.margin)});
    for (const ContractOutcome& contract : side.contracts) {
        if (isGroup) rows.push_back({"  " + contract.code, "", TextOf(contract), MoneyText(contract.money), ""});
        AddDetails(rows, contract, isGroup ? "    " : "  ");
    }
}

void WriteHead(std::ostream& out, const std::string& client, const MarginExplanation& explanation)
{
    out << "GO of " << Printable(client) << ": " << MoneyText(explanation.margin) << '\n';
    if (explanation.shares.empty()) {
        out << "Nothing is held and nothing is ordered.\n";
        return;
    }
    const std::string w = PriceText(explanation.weight);
    const std::string volatility = MoneyText(explanation.volatility) + " volatility GO";
    const std::string delivery = MoneyText(explanation.delivery) + " delivery GO";
    if (explanation.weight == 0.0)
        out << "  = " << volatility;
    else if (explanation.weight == 1.0)
        out << "  = " << delivery;
    else
        out << "  = (1 - " << w << ") x " << volatility << " + " << w << " x " << delivery;
    if (explanation.ratio != 1.0) out << ", times " << PriceText(explanation.ratio);
    out << ", rounded up\n";
}

std::string_view CutText(const MarginShare& share)
{
    if (!share.isGated) return "";
    return share.margin == 0.0 ? ", cut" : ", partly cut";
}

void WriteTables(std::ostream& out, const std::string& client, const MarginExplanation& explanation)
{
    WriteHead(out, client, explanation);
    if (explanation.shares.empty()) return;
    out << '\n';
    WriteTable(out, LevelRows(explanation), 1);
    out << '\n';
    const std::vector<Cells> worstCells = WorstCellRows(explanation);
    WriteTable(out, worstCells, 3);
    out << '\n';
    WriteTable(out, ShareRows(explanation), 3);
    const std::vector<Cells> meanings = MeaningRows(worstCells);
    if (meanings.empty()) return;
    out << '\n';
    WriteTable(out, meanings, 2);
}

// ---- JSON ---------------------------------------------------------------------------------------------------------

template <class Value>
void Put(ordered_json& object, const char* name, const std::optional<Value>& value)
{
    if (value) object[name] = *value;
}
void Put(ordered_json& object, const char* name, const std::optional<kv7im::SpecialRiskPoints::MappingPoint>& point)
{
    if (point) object[name] = NameOf(*point);
}
void PutStresses(ordered_json& object, const std::optional<std::size_t>& rateRow,
                 const std::optional<std::size_t>& mismatchRow)
{
    if (rateRow) object["rates"] = Of(DirectionNames, *rateRow);
    if (mismatchRow) object["mismatch"] = Of(DirectionNames, *mismatchRow);
}

// Declared before the arrays that are made of it.
ordered_json Json(const PartOutcome& part);
ordered_json Json(const ContractOutcome& contract);
ordered_json Json(const SideOutcome& side);
ordered_json Json(const EntityExplanation& entity);
ordered_json Json(const LevelMargin& level);
ordered_json Json(const ContractGrid& grid);

template <class Item>
ordered_json JsonArray(const std::vector<Item>& items)
{
    ordered_json array = ordered_json::array();
    for (const Item& item : items)
        array.push_back(Json(item));
    return array;
}

ordered_json Json(const PartOutcome& part)
{
    ordered_json object{{"code", part.code}, {"cut", part.isCut}};
    Put(object, "subPoint", part.subPoint);
    Put(object, "deliveryRow", part.deliveryRow);
    Put(object, "deliveryPrice", part.deliveryPrice);
    PutStresses(object, part.rateRow, part.mismatchRow);
    return object;
}

ordered_json Json(const ContractOutcome& contract)
{
    ordered_json object{{"code", contract.code},
                        {"kind", Of(ContractNames, contract.kind)},
                        {"money", contract.money},
                        {"cut", contract.isCut}};
    Put(object, "stressPoint", contract.stressPoint);
    if (contract.pricePoint) {
        Put(object, "pricePoint", contract.pricePoint);
        Put(object, "price", contract.price);
        object["delivery"] = contract.isDelivery;
        Put(object, "scenario", contract.scenario);
        object["cell"] = contract.cell;
        PutStresses(object, contract.rateRow, contract.mismatchRow);
    }
    object["parts"] = JsonArray(contract.parts);
    return object;
}

ordered_json Json(const SideOutcome& side)
{
    ordered_json object{{"side", NameOf(side.side)}, {"margin", side.margin}, {"loss", side.isLoss}};
    Put(object, "pricePoint", side.pricePoint);
    Put(object, "stressPoint", side.stressPoint);
    object["contracts"] = JsonArray(side.contracts);
    return object;
}

ordered_json Json(const EntityExplanation& entity)
{
    return {{"kind", Of(EntityNames, entity.kind)},
            {"code", entity.code},
            {"ratio", entity.ratio},
            {"margin", entity.margin},
            {"sides", JsonArray(entity.sides)}};
}

ordered_json Json(const LevelMargin& level)
{
    return {{"level", Of(LevelNames, level.level)}, {"margin", level.margin}, {"saved", level.saved}};
}

ordered_json Json(const ContractGrid& grid)
{
    return {{"code", grid.code}, {"futures", grid.futures}, {"prices", grid.prices}, {"scenarios", grid.scenarios}};
}

ordered_json ShareJson(const MarginShare& share, const EntityExplanation& entity)
{
    const bool isPosition = share.kind == MarginShare::Kind::Position;
    ordered_json object{
        {"instrument", share.instrument}, {"kind", isPosition ? "position" : "orders"}, {"quantity", share.quantity}};
    if (isPosition) object["price"] = share.price;
    object.update({{"entityKind", Of(EntityNames, entity.kind)},
                   {"entity", entity.code},
                   {"volatility", share.volatility},
                   {"delivery", share.delivery},
                   {"margin", share.margin},
                   {"cut", share.isGated}});
    return object;
}

void WriteJson(std::ostream& out, const std::string& client, const MarginExplanation& explanation,
               const Provenance& provenance)
{
    ordered_json document{{"provenance", ProvenanceJson(provenance)},
                          {"client", client},
                          {"GO", explanation.margin},
                          {"unrounded", explanation.unrounded},
                          {"volatilityGO", explanation.volatility},
                          {"deliveryAndVolatilityGO", explanation.delivery},
                          {"deliveryWeight", explanation.weight},
                          {"ratio", explanation.ratio},
                          {"levels", JsonArray(explanation.levels)},
                          {"entities", JsonArray(explanation.entities)},
                          {"shares", ordered_json::array()},
                          {"grids", JsonArray(explanation.grids)}};
    for (const MarginShare& share : explanation.shares)
        document["shares"].push_back(ShareJson(share, explanation.entities[share.entity]));
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

// ---- Rows of the tables -------------------------------------------------------------------------------------------

std::vector<Cells> LevelRows(const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Netting", "Margin", "Saved"}};
    for (const LevelMargin& level : explanation.levels)
        rows.push_back({std::string(Of(LevelTexts, level.level)), MoneyText(level.margin),
                        level.level == NettingLevel::Gross ? "" : MoneyText(level.saved)});
    return rows;
}

std::vector<Cells> WorstCellRows(const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Margin of", "Side", "Worst cell", "Result", "Margin"}};
    for (const EntityExplanation& entity : explanation.entities)
        for (const SideOutcome& side : entity.sides)
            AddSide(rows, entity, side);
    return rows;
}

std::vector<Cells> MeaningRows(const std::vector<Cells>& worstCells)
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

std::vector<Cells> ShareRows(const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Share of", "", "in the margin of", "Quantity", "Price", "Share"}};
    for (const MarginShare& share : explanation.shares) {
        const bool isPosition = share.kind == MarginShare::Kind::Position;
        rows.push_back({share.instrument, std::string(isPosition ? "position" : "orders").append(CutText(share)),
                        TextOf(explanation.entities[share.entity]), std::to_string(share.quantity),
                        isPosition ? PriceText(share.price) : "", MoneyText(share.margin)});
    }
    rows.push_back({"Total", "", "", "", "", MoneyText(explanation.unrounded)});
    return rows;
}

void WriteExplanation(std::ostream& out, const std::string& client, const MarginExplanation& explanation,
                      const Provenance& provenance, ExplainFormat format)
{
    if (format == ExplainFormat::Json)
        WriteJson(out, client, explanation, provenance);
    else
        WriteTables(out, client, explanation);
}

} // namespace quindal
