#include "MarginExplanation.h"

#include <algorithm>
#include <tuple>

#include "Broker.h"
#include "Client.h"
#include "MarginExplanationLevels.h"
#include "MarginExplanationTree.h"
#include "MarginExplanationWorst.h"
#include "Primitives.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"

namespace QuindalIM {

namespace {

using explanation::BookTree;
using explanation::Contract;
using explanation::Entity;
using explanation::Trail;

struct WeightedSide
{
    MarginSide side;
    double weight;
};

// The sides that the margin is made of, with their weights.
std::vector<WeightedSide> SidesThatCount(double deliveryWeight)
{
    std::vector<WeightedSide> sides;
    if (deliveryWeight != 1.0) sides.push_back({MarginSide::Volatility, 1.0 - deliveryWeight});
    if (deliveryWeight != 0.0) sides.push_back({MarginSide::Delivery, deliveryWeight});
    return sides;
}

void AddSide(const Trail& trail, const WeightedSide& side, double ratio, std::vector<MarginShare>& shares)
{
    for (std::size_t item = 0; item < shares.size(); ++item) {
        MarginShare& share = shares[item];
        (side.side == MarginSide::Volatility ? share.volatility : share.delivery) += trail.money[item];
        share.margin += side.weight * ratio * trail.money[item];
        if (trail.gated[item]) share.isGated = true;
    }
}

// Names the entity in the shares of its items: those that a cut of all its contracts would mark.
void NameEntity(const Entity& entity, std::size_t index, std::vector<MarginShare>& shares)
{
    Trail trail(shares.size());
    for (const auto& [code, contract] : entity.contracts)
        contract.node.Gate(trail);
    for (std::size_t item = 0; item < shares.size(); ++item)
        if (trail.gated[item]) shares[item].entity = index;
}

EntityExplanation Explain(const std::pair<MarginEntity, std::string>& name, const Entity& entity,
                          const MarginExplanation& terms, std::vector<MarginShare>& shares)
{
    EntityExplanation explained;
    explained.kind = name.first;
    explained.code = name.second;
    explained.ratio = entity.ratio;
    for (const WeightedSide& side : SidesThatCount(terms.weight)) {
        Trail trail(shares.size());
        explained.sides.push_back(explanation::ExplainWorst(entity, side.side, trail));
        explained.margin += side.weight * terms.ratio * explained.sides.back().margin;
        AddSide(trail, side, terms.ratio, shares);
    }
    return explained;
}

// The part of the margin that the worst cells take from a contract.
double MarginOf(const std::string& contract, const EntityExplanation& entity, const MarginExplanation& terms)
{
    double margin = 0.0;
    for (const SideOutcome& side : entity.sides)
        for (const ContractOutcome& outcome : side.contracts)
            if (outcome.code == contract)
                margin -= (side.side == MarginSide::Delivery ? terms.weight : 1.0 - terms.weight) * terms.ratio *
                          entity.ratio * outcome.money;
    return margin;
}

// The shift by which a series is valued in a scenario.
double ShiftOf(const kv7im::CSpecVirtFutures& series, std::size_t scenario, std::size_t scenarios)
{
    if (scenario == 0 && series.UseNullVolat) return -1.0;
    return (2.0 * static_cast<double>(scenario) / static_cast<double>(scenarios - 1) - 1.0) * series.VolatilityRisk;
}

// Takes in the shifts of the series in a node, scenario by scenario.
void AddShifts(const explanation::Node& node, std::vector<VolatilityShift>& shifts)
{
    for (const explanation::Node& part : node.parts)
        AddShifts(part, shifts);
    if (node.series == nullptr) return;
    const bool isFirst = shifts.empty();
    shifts.resize(static_cast<std::size_t>(node.series->Futures->BaseContract->VolatNum));
    for (std::size_t scenario = 0; scenario < shifts.size(); ++scenario) {
        const double shift = ShiftOf(*node.series, scenario, shifts.size());
        VolatilityShift& range = shifts[scenario];
        range = isFirst ? VolatilityShift{shift, shift}
                        : VolatilityShift{std::min(range.lowest, shift), std::max(range.highest, shift)};
    }
}

// The worst results with deliveries, where a delivery is worse than no delivery at any price.
std::vector<double> DeliveriesOf(const explanation::Node& node, std::size_t columns)
{
    std::vector<double> deliveries;
    bool isWorse = false;
    const auto worst = [&](MarginSide side, std::size_t column) {
        return node.Cell(node.WorstCell(side, explanation::Table::Volatility, column));
    };
    for (std::size_t column = 0; column < columns; ++column) {
        deliveries.push_back(worst(MarginSide::Delivery, column));
        if (deliveries.back() < worst(MarginSide::Volatility, column)) isWorse = true;
    }
    return isWorse ? deliveries : std::vector<double>{};
}

ContractGrid GridOf(const std::string& code, const Contract& contract, const MarginExplanation& explained)
{
    const kv7im::RiskMatrix& cells = contract.node.Cells(MarginSide::Volatility, explanation::Table::Volatility);
    ContractGrid grid;
    grid.code = code;
    grid.entity = explained.entities.size() - 1;
    grid.margin = MarginOf(code, explained.entities.back(), explained);
    grid.futures = contract.futures->Code;
    grid.currentPrice = contract.futures->CalcFutPrice;
    AddShifts(contract.node, grid.shifts);
    grid.deliveries = DeliveriesOf(contract.node, cells.ColsCount());
    for (std::size_t column = 0; column < cells.ColsCount(); ++column)
        grid.prices.push_back(contract.futures->CalculatePointX(column, contract.collapsed.GetRiskLevel()));
    for (std::size_t scenario = 0; scenario < cells.RowsCount(); ++scenario) {
        std::vector<double>& row = grid.scenarios.emplace_back();
        for (std::size_t column = 0; column < cells.ColsCount(); ++column)
            row.push_back(cells[scenario][column]);
    }
    return grid;
}

} // namespace

MarginExplanation ExplainMargin(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant,
                                double deliveryWeight, double ratio)
{
    MarginExplanation explained;
    explained.volatility = book.GetVolatilityInitialMargin();
    explained.delivery = book.GetDeliveryVolatilityInitialMargin();
    explained.weight = deliveryWeight;
    explained.ratio = ratio;
    explained.unrounded = ((1 - deliveryWeight) * explained.volatility + deliveryWeight * explained.delivery) * ratio;
    explained.margin = Domain::RoundInitialMargin(explained.unrounded);

    const BookTree tree = explanation::OpenTree(book, participant);
    explained.shares = tree.items;
    for (const auto& [name, entity] : tree.entities) {
        const std::size_t index = explained.entities.size();
        NameEntity(entity, index, explained.shares);
        explained.entities.push_back(Explain(name, entity, explained, explained.shares));
        for (const auto& [code, contract] : entity.contracts)
            explained.grids.push_back(GridOf(code, contract, explained));
    }
    std::sort(explained.shares.begin(), explained.shares.end(), [](const MarginShare& a, const MarginShare& b) {
        return std::tie(a.entity, a.instrument, a.kind) < std::tie(b.entity, b.instrument, b.kind);
    });
    explained.levels = explanation::LevelsOf(book, participant, explained);
    return explained;
}

MarginExplanation ExplainMargin(const BraskClient& client)
{
    const t_weight_int own = client.GetExpWeight();
    const t_weight_int weight = own == t_weight_int(-1.0) ? client.GetBroker().GetExpWeightClientDefault() : own;
    return ExplainMargin(client.IsNotUseNOV() ? client.GetPortfolioWithoutEquityOptions() : client.GetPortfolio(),
                         client, weight.AsDouble(), client.GetClgoRatio().AsDouble());
}

} // namespace QuindalIM
