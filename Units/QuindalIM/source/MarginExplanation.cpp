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
#include "instruments/SpecFutures.h"

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

ContractGrid GridOf(const std::string& code, const Contract& contract, std::size_t entity)
{
    const kv7im::RiskMatrix& cells = contract.node.Cells(MarginSide::Volatility, explanation::Table::Volatility);
    ContractGrid grid;
    grid.code = code;
    grid.entity = entity;
    grid.futures = contract.futures->Code;
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
            explained.grids.push_back(GridOf(code, contract, index));
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
