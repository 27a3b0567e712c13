#include "MarginExplanation.h"

#include <algorithm>
#include <tuple>

#include "Broker.h"
#include "Client.h"
#include "MarginExplanationLevels.h"
#include "MarginExplanationTree.h"
#include "Primitives.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"

namespace QuindalIM {

namespace {

using explanation::BookTree;
using explanation::Contract;
using explanation::Entity;
using explanation::SideTrail;

struct WeightedSide
{
    MarginSide side;
    double weight;
};

// The sides that the margin is made of.
std::vector<WeightedSide> SidesThatCount(double deliveryWeight)
{
    std::vector<WeightedSide> sides;
    if (deliveryWeight != 1.0) sides.push_back({MarginSide::Volatility, 1.0 - deliveryWeight});
    if (deliveryWeight != 0.0) sides.push_back({MarginSide::Delivery, deliveryWeight});
    return sides;
}

void AddSide(const SideTrail& found, double factor, const std::vector<std::size_t>& items,
             std::vector<MarginShare>& shares)
{
    for (const std::size_t item : items) {
        const double money = found.trail.MoneyOf(item);
        MarginShare& share = shares[item];
        (found.outcome.side == MarginSide::Volatility ? share.volatility : share.delivery) += money;
        share.margin += factor * money;
        if (found.trail.IsGated(item)) share.isGated = true;
    }
}

EntityExplanation Explain(const BookTree& tree, std::size_t index, const MarginExplanation& terms,
                          std::vector<MarginShare>& shares)
{
    const Entity& entity = tree.Entities()[index];
    EntityExplanation explained;
    explained.kind = entity.kind;
    explained.code = entity.code;
    explained.ratio = entity.ratio;
    const std::vector<std::size_t> items = tree.ItemsOf(entity);
    for (const std::size_t item : items)
        shares[item].entity = index;
    for (const WeightedSide& side : SidesThatCount(terms.weight)) {
        SideTrail found = tree.Explain(entity, side.side);
        AddSide(found, side.weight * terms.ratio, items, shares);
        explained.margin += side.weight * terms.ratio * found.outcome.margin;
        explained.sides.push_back(std::move(found.outcome));
    }
    return explained;
}

ContractGrid GridOf(const Contract& contract, std::size_t entity, Enums::ClientRiskLevel level)
{
    const kv7im::RiskMatrix& cells = contract.node->On(MarginSide::Volatility).GetRisk().Volatility();
    ContractGrid grid;
    grid.code = contract.code;
    grid.entity = entity;
    grid.futures = contract.futures->Code;
    for (std::size_t column = 0; column < cells.ColsCount(); ++column)
        grid.prices.push_back(contract.futures->CalculatePointX(column, level));
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

    const BookTree tree(book, participant);
    explained.shares = tree.Items();
    for (std::size_t index = 0; index < tree.Entities().size(); ++index) {
        explained.entities.push_back(Explain(tree, index, explained, explained.shares));
        for (const Contract& contract : tree.Entities()[index].contracts)
            explained.grids.push_back(GridOf(contract, index, tree.Level()));
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
