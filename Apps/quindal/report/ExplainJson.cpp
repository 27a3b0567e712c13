#include "ExplainJson.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "ExplainWords.h"

namespace quindal {

namespace {

using namespace QuindalIM;
using nlohmann::ordered_json;

constexpr std::array<std::string_view, 5> LevelNames{"gross", "series", "futures", "baseContract", "acrossContracts"};
constexpr std::array<std::string_view, 4> ContractNames{"pricePoint", "stressPoint", "edgeFloor", "nothing"};
constexpr std::array<std::string_view, 2> DirectionNames{"up", "down"};

template <class Enumeration, std::size_t Size>
std::string_view Of(const std::array<std::string_view, Size>& names, Enumeration value)
{
    return names.at(static_cast<std::size_t>(value));
}

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
    return {{"kind", WordOf(entity.kind)},
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
    ordered_json object{{"code", grid.code},       {"margin", grid.margin},
                        {"futures", grid.futures}, {"currentPrice", grid.currentPrice},
                        {"prices", grid.prices},   {"scenarios", grid.scenarios}};
    if (!grid.shifts.empty()) {
        ordered_json& shifts = object["volatilityShifts"] = ordered_json::array();
        for (const VolatilityShift& shift : grid.shifts)
            shifts.push_back({shift.lowest, shift.highest});
    }
    if (!grid.deliveries.empty()) object["deliveries"] = grid.deliveries;
    return object;
}

ordered_json ShareJson(const MarginShare& share, const EntityExplanation& entity)
{
    const bool isPosition = share.kind == MarginShare::Kind::Position;
    ordered_json object{
        {"instrument", share.instrument}, {"kind", isPosition ? "position" : "orders"}, {"quantity", share.quantity}};
    if (isPosition) object["price"] = share.price;
    object.update({{"entityKind", WordOf(entity.kind)},
                   {"entity", entity.code},
                   {"volatility", share.volatility},
                   {"delivery", share.delivery},
                   {"margin", share.margin},
                   {"cut", share.isGated}});
    return object;
}

ordered_json SharesJson(const MarginExplanation& explanation)
{
    ordered_json shares = ordered_json::array();
    for (const MarginShare& share : explanation.shares)
        shares.push_back(ShareJson(share, explanation.entities[share.entity]));
    return shares;
}

void PutExplanation(ordered_json& document, const MarginExplanation& explanation)
{
    document.update({{"unrounded", explanation.unrounded},
                     {"volatilityGO", explanation.volatility},
                     {"deliveryAndVolatilityGO", explanation.delivery},
                     {"deliveryWeight", explanation.weight},
                     {"ratio", explanation.ratio},
                     {"levels", JsonArray(explanation.levels)},
                     {"entities", JsonArray(explanation.entities)},
                     {"shares", SharesJson(explanation)},
                     {"grids", JsonArray(explanation.grids)}});
}

void PutMembers(ordered_json& document, const std::vector<Member>& members)
{
    document["members"] = ordered_json::array();
    for (const Member& member : members)
        document["members"].push_back({{"code", member.code}, {"GO", member.GO}});
}

} // namespace

std::string_view WordOf(MarginEntity entity)
{
    static constexpr std::array<std::string_view, 4> names{"MCS", "baseContract", "futures", "optionSeries"};
    return Of(names, entity);
}

ordered_json ExplanationJson(const ExplainedMargin& explained, const Provenance& provenance)
{
    static constexpr std::array<const char*, 3> holders{"client", "firm", "settlementAccount"};
    ordered_json document{{"provenance", ProvenanceJson(provenance)}};
    document[holders.at(static_cast<std::size_t>(explained.kind))] = explained.code;
    if (!explained.rule.empty()) document["marginRule"] = explained.rule;
    document["GO"] = explained.GO;
    if (explained.livesByMembers)
        PutMembers(document, explained.members);
    else
        PutExplanation(document, explained.explanation);
    return document;
}

} // namespace quindal
