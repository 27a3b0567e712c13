#include "MarginExplanationTree.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "currencytype.h"
#include "instruments/SpecOption.h"

namespace QuindalIM::explanation {

namespace {

using kv7im::CSpecFutures;
using kv7im::CSpecPosition;
using kv7im::CSpecPositionOptionsBase;
using kv7im::CumulativePositionByFutures;
using kv7im::Risk;
using kv7im::RiskNodeFutures;

// Rounding that the engine's increments may leave, against the money of the cell.
constexpr double Rounding = 1e-9;

template <class T>
void SortByCode(std::vector<const T*>& positions)
{
    std::sort(positions.begin(), positions.end(), [](const T* a, const T* b) { return a->GetCode() < b->GetCode(); });
}

std::vector<const CumulativePositionByFutures*> SortedPositions(const kv7im::Portfolio& book)
{
    std::vector<const CumulativePositionByFutures*> sorted;
    for (const auto& [isin, position] : book.RangePositions())
        sorted.push_back(&position);
    SortByCode(sorted);
    return sorted;
}

// Positions of each series, by the codes of the series and of the options.
std::map<std::string, std::vector<const CSpecPositionOptionsBase*>>
OptionsBySeries(const CumulativePositionByFutures& position)
{
    std::map<std::string, std::vector<const CSpecPositionOptionsBase*>> series;
    for (const auto& [isin, option] : position.RangeOptions())
        series[option->GetOption().CodeVF].push_back(option.get());
    for (auto& [code, options] : series)
        SortByCode(options);
    return series;
}

bool ExpiresBefore(const CSpecFutures& a, const CSpecFutures& b)
{
    return std::tuple(a.TimeToExpiration, a.isin) < std::tuple(b.TimeToExpiration, b.isin);
}

} // namespace

BookTree::BookTree(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant)
    : m_participant(participant), m_level(participant.GetRiskLevel())
{
    for (const CumulativePositionByFutures* const position : SortedPositions(book))
        Add(*position);
    CompleteGroups();
    std::sort(m_entities.begin(), m_entities.end(),
              [](const Entity& a, const Entity& b) { return std::tie(a.kind, a.code) < std::tie(b.kind, b.code); });
}

std::size_t BookTree::ItemOf(MarginShare::Kind kind, Isin isin, const CSpecPosition& position)
{
    const auto found = std::find_if(m_items.begin(), m_items.end(),
                                    [&](const MarginShare& item) { return item.isin == isin && item.kind == kind; });
    if (found != m_items.end()) return static_cast<std::size_t>(found - m_items.begin());
    MarginShare item;
    item.instrument = position.GetCode();
    item.isin = isin;
    item.kind = kind;
    if (kind == MarginShare::Kind::Position) {
        item.quantity = position.GetQuantity();
        item.price = position.GetWAPrice();
    } else {
        using namespace kv7base::detail; // whatever the sum, it is no reason to fail
        for (const auto& [key, info] : position.GetOrders())
            item.quantity = info.deltaQuantity < 0 ? WrappingSub(item.quantity, info.deltaQuantity)
                                                   : WrappingAdd(item.quantity, info.deltaQuantity);
    }
    m_items.push_back(item);
    return m_items.size() - 1;
}

// transform(kind): the risk of the position or of its orders.
template <class Transform>
std::vector<const Leaf*> BookTree::LeavesOf(const CSpecPosition& position, Isin isin, const Transform& transform)
{
    std::vector<const Leaf*> leaves;
    const auto add = [&](MarginShare::Kind kind, double optionValue) {
        Risk risk = transform(kind);
        risk.GetSpecialRiskPoints().ScaleCharges(m_participant.GetShortOptionMinimumChargeRatio());
        leaves.push_back(&Make<Leaf>(ItemOf(kind, isin, position), std::move(risk), optionValue));
    };
    if (position.GetQuantity() != 0) add(MarginShare::Kind::Position, position.GetNOVi());
    if (!position.GetOrders().empty()) add(MarginShare::Kind::Orders, 0.0);
    return leaves;
}

std::vector<const Leaf*> BookTree::LeavesOfFutures(const CumulativePositionByFutures& position)
{
    const CSpecFutures& futures = *position.GetFutures();
    const kv7im::CSpecPositionFutures& held = position.GetFuturesPositionSpec();
    return LeavesOf(held, position.GetIsin(), [&](MarginShare::Kind kind) {
        const std::int64_t quantity = held.GetQuantity();
        if (kind == MarginShare::Kind::Position)
            return futures.TransformToPosition(quantity, held.UsableWAPrice(quantity, held.GetWAPrice()), m_level);
        const auto discount = m_participant.GetNoFutDiscount() ? kv7type::Discount::No : kv7type::Discount::Yes;
        return futures.TransformToOrder(held.GetOrders(), discount, m_level);
    });
}

std::vector<const Leaf*> BookTree::LeavesOfOption(const CSpecPositionOptionsBase& position)
{
    const kv7im::CSpecOption& option = position.GetOption();
    return LeavesOf(position, position.GetOptIsin(), [&](MarginShare::Kind kind) {
        return kind == MarginShare::Kind::Position
                   ? option.TransformToPosition(position.GetQuantity(), position.GetWAPrice(), m_level)
                   : option.TransformToOrder(position.GetOrders(), m_level);
    });
}

// A futures with its series in spread, and each series that stands alone.
void BookTree::Add(const CumulativePositionByFutures& position)
{
    const CSpecFutures& futures = *position.GetFutures();
    const double ratio = position.GetOwnerRiskNode().GetBrokerBaseContractGORatio();
    auto node = std::make_unique<RiskNodeFutures>(futures.GetProfile(m_level).GetParameters(), ratio, m_level,
                                                  futures.IsCollateral());
    std::vector<const Node*> parts;
    const auto add = [&](const Leaf& leaf) {
        *node += leaf.On(MarginSide::Volatility);
        parts.push_back(&leaf);
    };
    for (const Leaf* const leaf : LeavesOfFutures(position))
        add(*leaf);
    for (const auto& [code, options] : OptionsBySeries(position)) {
        const Series* const series = MakeSeries(position, options);
        if (series == nullptr) continue;
        if (options.front()->IsInSpread())
            parts.push_back(
                &AddToFutures(*series, options.front()->GetOption().VirtFutures->EnforceHalfNetting, *node));
        else
            FindOrAddEntity(MarginEntity::OptionSeries, code, series->Engine().GetBrokerBaseContractGORatio())
                .contracts.push_back({code, &futures, series, &series->Engine()});
    }
    if (futures.IsCollateral())
        if (const Leaf* const residue = ResidueOf(position, *node)) add(*residue);
    if (parts.empty()) return;

    const RiskNodeFutures& sum = *node;
    const Sum& made = Make<Sum>(std::move(node), std::move(parts), Sum::LossesOf{futures.IsCollateral(), true});
    if (position.HasLevelMMS()) return AddToGroup(position, made, sum);
    FindOrAddEntity(MarginEntity::Futures, position.GetCode(), ratio)
        .contracts.push_back({position.GetCode(), &futures, &made, &sum});
}

// The node has the dimensions of the book's own: no delivery rows where the participant does not count deliveries.
const Series* BookTree::MakeSeries(const CumulativePositionByFutures& position,
                                   const std::vector<const CSpecPositionOptionsBase*>& options)
{
    std::vector<const Leaf*> leaves;
    for (const CSpecPositionOptionsBase* const option : options)
        for (const Leaf* const leaf : LeavesOfOption(*option))
            leaves.push_back(leaf);
    if (leaves.empty()) return nullptr;

    using EngineNode = kv7im::RiskNodeOptionSeries;
    const kv7im::CSpecVirtFutures& series = *options.front()->GetOption().VirtFutures;
    const EngineNode& held = *position.GetRiskNodeOptionSeriesByVFCode(series.Code);
    const kv7im::Parameters& dimensions = held.Volatility().GetRisk().GetParameters();
    const double ratio = held.GetBrokerBaseContractGORatio();
    return &Make<Series>(series,
                         dimensions.hasSubPoints()
                             ? EngineNode(dimensions, series.GetBindingArray(m_level), ratio, m_level)
                             : EngineNode(dimensions, ratio, m_level),
                         leaves);
}

const Node& BookTree::AddToFutures(const Series& series, bool lossesOnly, RiskNodeFutures& futures)
{
    if (!lossesOnly) {
        futures += series.Engine();
        return series;
    }
    futures += series.Engine().GetTransformedRisk();
    return Make<LossesOnly>(series, series.Code());
}

// A collateral instrument takes the losses of a rate stress only. A cancelled order comes as a gain, so that what it
// once added stays until the book is taken anew; it is a share of the orders. Null where there is no more than rounding
// beyond the parts.
const Leaf* BookTree::ResidueOf(const CumulativePositionByFutures& position, const RiskNodeFutures& parts)
{
    const kv7im::RiskMatrix& held = position.GetOwnerRiskNode().Volatility().GetRisk().InterestRate();
    const kv7im::RiskMatrix& explained = parts.Volatility().GetRisk().InterestRate();
    Risk residue(parts.Volatility().GetRisk().GetParameters());
    bool any = false;
    for (std::size_t row = 0; row < held.RowsCount(); ++row) {
        for (std::size_t column = 0; column < held.ColsCount(); ++column) {
            const double beyond = held[row][column] - explained[row][column];
            if (!(std::abs(beyond) > Rounding * (1.0 + std::abs(held[row][column])))) continue;
            residue.GetRisk().InterestRate()[row][column] = beyond;
            any = true;
        }
    }
    if (!any) return nullptr;
    return &Make<Leaf>(ItemOf(MarginShare::Kind::Orders, position.GetIsin(), position.GetFuturesPositionSpec()),
                       std::move(residue));
}

void BookTree::AddToGroup(const CumulativePositionByFutures& position, const Sum& sum, const RiskNodeFutures& futures)
{
    const CSpecFutures& instrument = *position.GetFutures();
    const bool isMCS = position.HasLevelMCS();
    const double ratio = position.GetFuturesGroupRisk().GetBrokerBaseContractGORatio();
    const Entity& entity = FindOrAddEntity(isMCS ? MarginEntity::MCS : MarginEntity::BaseContract,
                                           isMCS ? position.GetRiskNameMCS() : position.GetRiskNameMMS(), ratio);
    const auto index = static_cast<std::size_t>(&entity - m_entities.data());
    const std::string& code = position.GetRiskNameMMS();
    auto open = std::find_if(m_openContracts.begin(), m_openContracts.end(),
                             [&](const OpenContract& contract) { return contract.code == code; });
    if (open == m_openContracts.end())
        open = m_openContracts.insert(
            open, OpenContract{index,
                               code,
                               &instrument,
                               std::make_unique<kv7im::RiskNodeMMS>(*instrument.BaseContract, ratio, m_level),
                               {}});
    if (ExpiresBefore(instrument, *open->futures)) open->futures = &instrument;

    if (position.GivesLossesOnly()) {
        *open->node += futures.GetTransformedRisk();
        open->parts.push_back(&Make<LossesOnly>(sum, instrument.Code));
    } else {
        *open->node += futures;
        open->parts.push_back(&sum);
    }
}

Entity& BookTree::FindOrAddEntity(MarginEntity kind, const std::string& code, double ratio)
{
    const auto found = std::find_if(m_entities.begin(), m_entities.end(),
                                    [&](const Entity& entity) { return entity.kind == kind && entity.code == code; });
    if (found != m_entities.end()) return *found;
    m_entities.push_back({kind, code, ratio, {}, nullptr});
    return m_entities.back();
}

// Between the months of a base contract neither stress nets.
void BookTree::CompleteGroups()
{
    std::sort(m_openContracts.begin(), m_openContracts.end(),
              [](const OpenContract& a, const OpenContract& b) { return a.code < b.code; });
    for (OpenContract& contract : m_openContracts) {
        Entity& entity = m_entities[contract.entity];
        kv7im::RiskNodeMMS& node = *contract.node;
        const Sum& sum = Make<Sum>(std::move(contract.node), std::move(contract.parts), Sum::LossesOf{true, true});
        entity.contracts.push_back({contract.code, contract.futures, &sum, &node});
        if (entity.kind != MarginEntity::MCS) continue;
        if (entity.mcs == nullptr)
            entity.mcs = std::make_unique<kv7im::RiskNodeMCS>(node.Volatility().GetRisk().GetParameters().pointsCount,
                                                              entity.ratio, m_level);
        kv7im::RiskNodeMMSToMCSProxy& given =
            node |
            kv7im::RiskNodeMMS::PropertiesForICS{m_participant.GetInterContractSpreadMarginType(), contract.futures};
        *entity.mcs += given;
        entity.contracts.back().mcs = &given;
    }
}

// What a cut of all its contracts would mark is all that the entity has.
std::vector<std::size_t> BookTree::ItemsOf(const Entity& entity) const
{
    Trail trail(m_items.size());
    for (const Contract& contract : entity.contracts)
        contract.node->Gate(trail);
    std::vector<std::size_t> items;
    for (std::size_t item = 0; item < m_items.size(); ++item)
        if (trail.IsGated(item)) items.push_back(item);
    return items;
}

namespace {

// The first of the smallest results of a row and of the stress points; the row comes first.
struct Worst
{
    Worst(const kv7im::RiskRow& row, const kv7im::SpecialRiskPoints& points)
    {
        for (std::size_t column = 0; column < row.size(); ++column)
            Take(row[column], column, false);
        for (std::size_t point = 0; point < points.size(); ++point)
            Take(points.pData()[point], point, true);
    }

    double money = 0.0; // 0: nothing loses
    std::size_t index = 0;
    bool isPoint = false;

private:
    void Take(double result, std::size_t at, bool point) noexcept
    {
        if (!(result < money)) return; // a NaN never is
        money = result;
        index = at;
        isPoint = point;
    }
};

// The outcome as far as the entity knows it.
SideOutcome Describe(const Worst& worst, MarginSide side, double ratio)
{
    SideOutcome outcome;
    outcome.side = side;
    outcome.margin = std::abs(worst.money) * ratio;
    outcome.isLoss = worst.money < 0.0;
    if (!outcome.isLoss) return outcome;
    if (worst.isPoint)
        outcome.stressPoint = static_cast<kv7im::SpecialRiskPoints::MappingPoint>(worst.index);
    else
        outcome.pricePoint = worst.index;
    return outcome;
}

void ShareAlone(const Contract& contract, MarginSide side, const Worst& worst, double ratio, Trail& trail)
{
    trail.Begin(contract.code);
    trail.Contract().money = worst.money;
    const Outline outline(contract, side);
    if (worst.isPoint)
        outline.SharePoint(worst.index, -ratio, trail);
    else
        outline.ShareRow(worst.index, -ratio, trail);
}

void ShareInMCS(const Contract& contract, MarginSide side, const Worst& worst, double ratio, Trail& trail)
{
    if (worst.isPoint)
        Outline(contract, MarginSide::Volatility).SharePointOfMCS(worst.index, -ratio, trail);
    else
        Outline(contract, side).ShareRowOfMCS(worst.index, -ratio, trail);
}

// Beside the row of deliveries of an MCS stand the stress points of the volatility side.
Worst WorstOf(const Entity& entity, MarginSide side)
{
    if (entity.mcs != nullptr)
        return Worst(side == MarginSide::Volatility ? entity.mcs->VolatilityRow() : entity.mcs->ExpirationRow(),
                     entity.mcs->VolatilityPoints());
    const Outline outline(entity.contracts.front(), side);
    return Worst(outline.Row(), outline.Points());
}

} // namespace

SideTrail BookTree::Explain(const Entity& entity, MarginSide side) const
{
    const Worst worst = WorstOf(entity, side);
    SideTrail result{Describe(worst, side, entity.ratio), Trail(m_items.size())};
    if (!result.outcome.isLoss) return result;
    for (const Contract& contract : entity.contracts)
        (entity.mcs != nullptr ? ShareInMCS : ShareAlone)(contract, side, worst, entity.ratio, result.trail);
    result.outcome.contracts = result.trail.TakeContracts();
    return result;
}

} // namespace QuindalIM::explanation
