#include "MarginExplanationTree.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "WrappingArithmetic.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"

namespace QuindalIM::explanation {

namespace {

using kv7im::CSpecFutures;
using kv7im::CSpecPosition;
using kv7im::CSpecPositionOptionsBase;
using kv7im::CumulativePositionByFutures;
using kv7im::Risk;

// Rounding that the engine's increments may leave, against the money of the cell.
constexpr double Rounding = 1e-9;

bool ExpiresBefore(const CSpecFutures& a, const CSpecFutures& b)
{
    return std::tuple(a.TimeToExpiration, a.isin) < std::tuple(b.TimeToExpiration, b.isin);
}

// Positions in instruments of one kind, by code and isin.
template <class Position>
using ByCode = std::map<std::pair<std::string, Isin>, const Position*>;

ByCode<CumulativePositionByFutures> PositionsOf(const kv7im::Portfolio& book)
{
    ByCode<CumulativePositionByFutures> sorted;
    for (const auto& [isin, position] : book.RangePositions())
        sorted[{position.GetCode(), isin}] = &position;
    return sorted;
}

std::map<std::string, ByCode<CSpecPositionOptionsBase>> OptionsBySeries(const CumulativePositionByFutures& position)
{
    std::map<std::string, ByCode<CSpecPositionOptionsBase>> series;
    for (const auto& [isin, option] : position.RangeOptions())
        series[option->GetOption().CodeVF][{option->GetCode(), isin}] = option.get();
    return series;
}

Contract MakeContract(const CSpecFutures& futures, Node node, Enums::ClientRiskLevel level)
{
    const kv7im::RolledUpRiskNode collapsed(node.results.front(), node.results.back(), node.OptionValue(), 0.0, level);
    Contract contract{&futures, std::move(node), collapsed, collapsed};
    contract.final.ApplyCorrection(*futures.BaseContract);
    return contract;
}

std::int64_t ContractsOf(const OrdersMap& orders)
{
    using namespace kv7base; // sums that wrap around, since no sum may fail here
    std::int64_t sum = 0;
    for (const auto& [key, info] : orders)
        sum = info.deltaQuantity < 0 ? WrappingSub(sum, info.deltaQuantity) : WrappingAdd(sum, info.deltaQuantity);
    return sum;
}

class Builder
{
public:
    Builder(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant)
        : m_participant(participant), m_level(participant.GetRiskLevel())
    {
        for (const auto& [code, position] : PositionsOf(book))
            Add(*position);
        for (auto& [code, group] : m_groups)
            Complete(code, group);
    }
    [[nodiscard]] BookTree Take() noexcept { return std::move(m_tree); }

private:
    /// A base contract of which futures are still being gathered.
    struct Group
    {
        Entity* entity;
        const CSpecFutures* futures; // the one held that expires first
        Node sum;
    };

    void Add(const CumulativePositionByFutures& position);
    void AddSeries(const CumulativePositionByFutures& position, const ByCode<CSpecPositionOptionsBase>& options,
                   Node& futures);
    void AddToGroup(const CumulativePositionByFutures& position, Node node);
    void Complete(const std::string& code, Group& group);

    template <class RiskOf>
    void AddLeaves(const CSpecPosition& position, Isin isin, const RiskOf& riskOf, std::vector<Node>& leaves);
    void AddLeavesOfFutures(const CumulativePositionByFutures& position, std::vector<Node>& leaves);
    void AddLeavesOfOption(const CSpecPositionOptionsBase& position, std::vector<Node>& leaves);
    void AddResidue(const CumulativePositionByFutures& position, Node& futures);
    [[nodiscard]] std::size_t ItemOf(MarginShare::Kind kind, Isin isin, const CSpecPosition& position);
    [[nodiscard]] Entity& EntityOf(MarginEntity kind, const std::string& code, double ratio)
    {
        return m_tree.entities.try_emplace({kind, code}, Entity{ratio, {}, {}}).first->second;
    }

    const kv7im::RiskParticipant& m_participant;
    Enums::ClientRiskLevel m_level;
    BookTree m_tree;
    std::map<std::string, Group> m_groups; // by base contract
};

// A futures with its series in spread, and each series that stands alone.
void Builder::Add(const CumulativePositionByFutures& position)
{
    const CSpecFutures& futures = *position.GetFutures();
    std::vector<Node> leaves;
    AddLeavesOfFutures(position, leaves);
    Node node = Node::Sum(futures.GetProfile(m_level).GetParameters(), std::move(leaves), futures.IsCollateral());
    for (const auto& [code, options] : OptionsBySeries(position))
        AddSeries(position, options, node);
    if (futures.IsCollateral()) AddResidue(position, node);
    if (node.parts.empty()) return;

    if (position.HasLevelMMS()) return AddToGroup(position, std::move(node));
    EntityOf(MarginEntity::Futures, position.GetCode(), position.GetOwnerRiskNode().GetBrokerBaseContractGORatio())
        .contracts.emplace(position.GetCode(), MakeContract(futures, std::move(node), m_level));
}

// Adds a series. Its node has the dimensions of the book's own: no delivery rows where the participant does not count
// deliveries.
void Builder::AddSeries(const CumulativePositionByFutures& position, const ByCode<CSpecPositionOptionsBase>& options,
                        Node& futures)
{
    std::vector<Node> leaves;
    for (const auto& [code, option] : options)
        AddLeavesOfOption(*option, leaves);
    if (leaves.empty()) return;

    const kv7im::CSpecVirtFutures& series = *options.begin()->second->GetOption().VirtFutures;
    const kv7im::RiskNodeOptionSeries& held = *position.GetRiskNodeOptionSeriesByVFCode(series.Code);
    Node node = Node::Series(series, m_level, held.GetParameters(), std::move(leaves));
    if (!options.begin()->second->IsInSpread())
        EntityOf(MarginEntity::OptionSeries, series.Code, held.GetBrokerBaseContractGORatio())
            .contracts.emplace(series.Code, MakeContract(*position.GetFutures(), std::move(node), m_level));
    else
        futures.Add(series.EnforceHalfNetting ? Node::LossesOf(std::move(node), series.Code) : std::move(node));
}

// Between the months of a base contract neither stress nets.
void Builder::AddToGroup(const CumulativePositionByFutures& position, Node node)
{
    const CSpecFutures& futures = *position.GetFutures();
    const auto [entry, isNew] = m_groups.try_emplace(position.GetRiskNameMMS());
    Group& group = entry->second;
    if (isNew) {
        const bool isMCS = position.HasLevelMCS();
        const double ratio = position.GetFuturesGroupRisk().GetBrokerBaseContractGORatio();
        group.entity = &EntityOf(isMCS ? MarginEntity::MCS : MarginEntity::BaseContract,
                                 isMCS ? position.GetRiskNameMCS() : position.GetRiskNameMMS(), ratio);
        if (isMCS && !group.entity->mcs)
            group.entity->mcs.emplace(static_cast<std::size_t>(futures.BaseContract->PointsNum), ratio, m_level);
        group.sum = Node::Sum(futures.GetProfile(m_level).GetParameters(), {}, true);
        group.futures = &futures;
    }
    if (ExpiresBefore(futures, *group.futures)) group.futures = &futures;
    group.sum.Add(position.GivesLossesOnly() ? Node::LossesOf(std::move(node), futures.Code) : std::move(node));
}

void Builder::Complete(const std::string& code, Group& group)
{
    Contract contract = MakeContract(*group.futures, std::move(group.sum), m_level);
    if (group.entity->mcs) {
        contract.mcs.emplace().futures = group.futures;
        if (m_participant.GetInterContractSpreadMarginType() == Enums::SpreadMarginType::Netting)
            contract.mcs->nettingPropertiesICS = static_cast<unsigned int>(group.futures->BaseContract->WindowSize);
        group.entity->mcs->AddGroup(contract.collapsed, *contract.mcs);
    }
    group.entity->contracts.emplace(code, std::move(contract));
}

// Adds the leaves of a position and of its orders. riskOf(kind) is the risk of either.
template <class RiskOf>
void Builder::AddLeaves(const CSpecPosition& position, Isin isin, const RiskOf& riskOf, std::vector<Node>& leaves)
{
    const auto add = [&](MarginShare::Kind kind, double optionValue) {
        Risk risk = riskOf(kind);
        risk.GetSpecialRiskPoints().ScaleCharges(m_participant.GetShortOptionMinimumChargeRatio());
        leaves.push_back(Node::Leaf(ItemOf(kind, isin, position), std::move(risk), optionValue));
    };
    if (position.GetQuantity() != 0) add(MarginShare::Kind::Position, position.GetNOVi());
    if (!position.GetOrders().empty()) add(MarginShare::Kind::Orders, 0.0);
}

void Builder::AddLeavesOfFutures(const CumulativePositionByFutures& position, std::vector<Node>& leaves)
{
    const CSpecFutures& futures = *position.GetFutures();
    const kv7im::CSpecPositionFutures& held = position.GetFuturesPositionSpec();
    const auto riskOf = [&](MarginShare::Kind kind) {
        const std::int64_t quantity = held.GetQuantity();
        if (kind == MarginShare::Kind::Position)
            return futures.TransformToPosition(quantity, held.UsableWAPrice(quantity, held.GetWAPrice()), m_level);
        const auto discount = m_participant.GetNoFutDiscount() ? kv7type::Discount::No : kv7type::Discount::Yes;
        return futures.TransformToOrder(held.GetOrders(), discount, m_level);
    };
    AddLeaves(held, position.GetIsin(), riskOf, leaves);
}

void Builder::AddLeavesOfOption(const CSpecPositionOptionsBase& position, std::vector<Node>& leaves)
{
    const kv7im::CSpecOption& option = position.GetOption();
    const auto riskOf = [&](MarginShare::Kind kind) {
        if (kind == MarginShare::Kind::Position)
            return option.TransformToPosition(position.GetQuantity(), position.GetWAPrice(), m_level);
        return option.TransformToOrder(position.GetOrders(), m_level);
    };
    AddLeaves(position, position.GetOptIsin(), riskOf, leaves);
}

// Adds what cancelled orders have left behind. A collateral instrument takes only the losses of a rate stress; a
// cancelled order comes as a gain, so its former loss stays until the book is rebuilt. Where that is more than rounding
// it is a share of the orders.
void Builder::AddResidue(const CumulativePositionByFutures& position, Node& futures)
{
    const Risk book = position.GetOwnerRiskNode().Volatility();
    const kv7im::RiskMatrix& held = book.GetRisk().InterestRate();
    const kv7im::RiskMatrix& explained = futures.results.front().GetRisk().InterestRate();
    Risk residue(book.GetRisk().GetParameters());
    bool any = false;
    for (std::size_t row = 0; row < held.RowsCount(); ++row) {
        for (std::size_t column = 0; column < held.ColsCount(); ++column) {
            const double beyond = held[row][column] - explained[row][column];
            if (!(std::abs(beyond) > Rounding * (1.0 + std::abs(held[row][column])))) continue;
            residue.GetRisk().InterestRate()[row][column] = beyond;
            any = true;
        }
    }
    if (!any) return;
    futures.Add(
        Node::Leaf(ItemOf(MarginShare::Kind::Orders, position.GetIsin(), position.GetFuturesPositionSpec()), residue));
}

std::size_t Builder::ItemOf(MarginShare::Kind kind, Isin isin, const CSpecPosition& position)
{
    std::vector<MarginShare>& items = m_tree.items;
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const MarginShare& item) { return item.isin == isin && item.kind == kind; });
    if (found != items.end()) return static_cast<std::size_t>(found - items.begin());
    MarginShare item;
    item.instrument = position.GetCode();
    item.isin = isin;
    item.kind = kind;
    if (kind == MarginShare::Kind::Position) {
        item.quantity = position.GetQuantity();
        item.price = position.GetWAPrice();
    } else {
        item.quantity = ContractsOf(position.GetOrders());
    }
    items.push_back(item);
    return items.size() - 1;
}

} // namespace

BookTree OpenTree(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant)
{
    return Builder(book, participant).Take();
}

} // namespace QuindalIM::explanation
