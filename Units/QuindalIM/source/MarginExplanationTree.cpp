#include "MarginExplanationTree.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "WrappingArithmetic.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
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

kv7type::Discount DiscountOf(const kv7im::RiskParticipant& participant)
{
    return participant.GetNoFutDiscount() ? kv7type::Discount::No : kv7type::Discount::Yes;
}

Risk WithCharges(Risk risk, const kv7im::RiskParticipant& participant)
{
    risk.GetSpecialRiskPoints().ScaleCharges(participant.GetShortOptionMinimumChargeRatio());
    return risk;
}

std::vector<const CumulativePositionByFutures*> SortedPositions(const kv7im::Portfolio& book)
{
    std::vector<const CumulativePositionByFutures*> sorted;
    for (const auto& [isin, position] : book.RangePositions())
        sorted.push_back(&position);
    std::sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) { return a->GetCode() < b->GetCode(); });
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
        std::sort(options.begin(), options.end(),
                  [](const auto* a, const auto* b) { return a->GetCode() < b->GetCode(); });
    return series;
}

bool ExpiresBefore(const CSpecFutures& a, const CSpecFutures& b)
{
    return std::tuple(a.TimeToExpiration, a.isin) < std::tuple(b.TimeToExpiration, b.isin);
}

// What the engine's matrix has beyond the sum of the parts, where it is more than rounding.
bool TakeResidue(const kv7im::RiskMatrix& engine, const Grid& parts, Grid& residue)
{
    bool any = false;
    for (std::size_t row = 0; row < residue.Rows(); ++row) {
        for (std::size_t column = 0; column < residue.Columns(); ++column) {
            const double cell = engine[row][column];
            const double beyond = cell - parts.At(row, column);
            if (!(std::abs(beyond) > Rounding * (1.0 + std::abs(cell)))) continue;
            residue.At(row, column) = beyond;
            any = true;
        }
    }
    return any;
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

std::size_t BookTree::PositionItem(const std::string& code, Isin isin, const CSpecPosition& position)
{
    MarginShare item;
    item.instrument = code;
    item.isin = isin;
    item.quantity = position.GetQuantity();
    item.price = position.GetWAPrice();
    m_items.push_back(item);
    return m_items.size() - 1;
}

std::size_t BookTree::OrdersItem(const std::string& code, Isin isin, const CSpecPosition& position)
{
    const auto sameItem = [&](const MarginShare& item) {
        return item.isin == isin && item.kind == MarginShare::Kind::Orders;
    };
    const auto found = std::find_if(m_items.begin(), m_items.end(), sameItem);
    if (found != m_items.end()) return static_cast<std::size_t>(found - m_items.begin());
    MarginShare item;
    item.instrument = code;
    item.isin = isin;
    item.kind = MarginShare::Kind::Orders;
    // Whatever the sum, it is no reason to fail.
    for (const auto& [key, info] : position.GetOrders())
        item.quantity = info.deltaQuantity < 0 ? kv7base::WrappingSub(item.quantity, info.deltaQuantity)
                                               : kv7base::WrappingAdd(item.quantity, info.deltaQuantity);
    m_items.push_back(item);
    return m_items.size() - 1;
}

// A futures with its series in spread, and each series that stands alone.
void BookTree::Add(const CumulativePositionByFutures& position)
{
    SideNodes parts;
    AddLeavesOfFutures(position, parts);
    for (const auto& [code, options] : OptionsBySeries(position)) {
        const std::optional<Nodes> series = MakeSeries(position, options);
        if (!series) continue;
        if (options.front()->IsInSpread()) {
            parts.volatility.push_back(series->first);
            parts.delivery.push_back(series->second);
            continue;
        }
        const double ratio = position.GetRiskNodeOptionSeriesByVFCode(code)->GetBrokerBaseContractGORatio();
        FindOrAddEntity(MarginEntity::OptionSeries, code, ratio)
            .contracts.push_back({code, position.GetFutures(), series->first, series->second});
    }
    if (position.GetFutures()->IsCollateral()) AddCollateralResidue(position, parts);
    if (parts.volatility.empty()) return;

    const Nodes futures = MakeFutures(position, parts);
    if (position.HasLevelMMS()) return AddToGroup(position, futures);
    const double ratio = position.GetFuturesGroupRisk().GetBrokerBaseContractGORatio();
    FindOrAddEntity(MarginEntity::Futures, position.GetCode(), ratio)
        .contracts.push_back({position.GetCode(), position.GetFutures(), futures.first, futures.second});
}

void BookTree::AddLeavesOfFutures(const CumulativePositionByFutures& position, SideNodes& parts)
{
    const CSpecFutures& futures = *position.GetFutures();
    const kv7im::CSpecPositionFutures& held = position.GetFuturesPositionSpec();
    const kv7im::Parameters dimensions = futures.GetProfile(m_level).GetParameters();
    const auto add = [&](std::size_t item, const Risk& risk) {
        const Node& leaf = Make<Leaf>(item, WithCharges(risk, m_participant), dimensions, 0.0);
        parts.volatility.push_back(&leaf);
        parts.delivery.push_back(&leaf);
    };
    if (const std::int64_t quantity = held.GetQuantity(); quantity != 0)
        add(PositionItem(position.GetCode(), position.GetIsin(), held),
            futures.TransformToPosition(quantity, held.UsableWAPrice(quantity, held.GetWAPrice()), m_level));
    if (!held.GetOrders().empty())
        add(OrdersItem(position.GetCode(), position.GetIsin(), held),
            futures.TransformToOrder(held.GetOrders(), DiscountOf(m_participant), m_level));
}

// A collateral instrument takes the losses of a rate stress only. A cancelled order comes as a gain, so that what it
// once added stays until the book is taken anew; it is a share of the orders.
void BookTree::AddCollateralResidue(const CumulativePositionByFutures& position, SideNodes& parts)
{
    const Nodes sums = MakeFutures(position, parts);
    const auto add = [&](const Risk& engine, const Node& sum, std::vector<const Node*>& side) {
        Sheet residue(sum.Cells().Scenarios(), sum.Cells().Columns());
        if (!TakeResidue(engine.GetRisk().InterestRate(), sum.Cells()[Table::InterestRate],
                         residue[Table::InterestRate]))
            return;
        const std::size_t item = OrdersItem(position.GetCode(), position.GetIsin(), position.GetFuturesPositionSpec());
        side.push_back(&Make<Leaf>(item, std::move(residue)));
    };
    add(position.GetOwnerRiskNode().Volatility(), *sums.first, parts.volatility);
    add(position.GetOwnerRiskNode().Expiration(), *sums.second, parts.delivery);
}

BookTree::Nodes BookTree::MakeFutures(const CumulativePositionByFutures& position, const SideNodes& parts)
{
    const kv7im::Parameters& dimensions = position.GetFutures()->GetProfile(m_level).GetParameters();
    const Sum::LossesOf lossesOf{position.GetFutures()->IsCollateral(), true};
    const auto make = [&](const std::vector<const Node*>& ofSide) {
        return &Make<Sum>(dimensions.scenariosVolatilityCount, dimensions.pointsCount, ofSide, lossesOf);
    };
    return {make(parts.volatility), make(parts.delivery)};
}

std::vector<const Leaf*> BookTree::LeavesOfOption(const CSpecPositionOptionsBase& position,
                                                  const kv7im::Parameters& dimensions)
{
    const kv7im::CSpecOption& option = position.GetOption();
    std::vector<const Leaf*> leaves;
    if (const std::int64_t quantity = position.GetQuantity(); quantity != 0)
        leaves.push_back(&Make<Leaf>(
            PositionItem(position.GetCode(), position.GetOptIsin(), position),
            WithCharges(option.TransformToPosition(quantity, position.GetWAPrice(), m_level), m_participant),
            dimensions, position.GetNOVi()));
    if (!position.GetOrders().empty())
        leaves.push_back(&Make<Leaf>(OrdersItem(position.GetCode(), position.GetOptIsin(), position),
                                     WithCharges(option.TransformToOrder(position.GetOrders(), m_level), m_participant),
                                     dimensions, 0.0));
    return leaves;
}

// The view of a series on real price points, by its losses only where it enforces half netting in the spread.
std::optional<BookTree::Nodes> BookTree::MakeSeries(const CumulativePositionByFutures& position,
                                                    const std::vector<const CSpecPositionOptionsBase*>& options)
{
    const kv7im::CSpecVirtFutures& series = *options.front()->GetOption().VirtFutures;
    const kv7im::Parameters dimensions =
        position.GetRiskNodeOptionSeriesByVFCode(series.Code)->Volatility().GetRisk().GetParameters();
    std::vector<const Leaf*> leaves;
    for (const CSpecPositionOptionsBase* const option : options)
        for (const Leaf* const leaf : LeavesOfOption(*option, dimensions))
            leaves.push_back(leaf);
    if (leaves.empty()) return std::nullopt;

    const SeriesSum& sum = Make<SeriesSum>(series, m_level, dimensions, leaves);
    const auto view = [&](const Node& node) {
        const Node* seen = &node;
        if (dimensions.hasSubPoints()) seen = &Make<Folded>(*seen, sum, dimensions.pointsCount);
        if (series.IsInSpread && series.EnforceHalfNetting) seen = &Make<LossesOnly>(*seen, series.Code);
        return seen;
    };
    const Node* const volatility = view(sum);
    return Nodes{volatility, dimensions.hasExpiration() ? view(Make<Delivered>(sum)) : volatility};
}

void BookTree::AddToGroup(const CumulativePositionByFutures& position, const Nodes& futures)
{
    const CSpecFutures& instrument = *position.GetFutures();
    const bool isMCS = position.HasLevelMCS();
    const Entity& entity = FindOrAddEntity(isMCS ? MarginEntity::MCS : MarginEntity::BaseContract,
                                           isMCS ? position.GetRiskNameMCS() : position.GetRiskNameMMS(),
                                           position.GetFuturesGroupRisk().GetBrokerBaseContractGORatio());
    const auto index = static_cast<std::size_t>(&entity - m_entities.data());
    const std::string& code = position.GetRiskNameMMS();
    auto open = std::find_if(m_openContracts.begin(), m_openContracts.end(),
                             [&](const OpenContract& contract) { return contract.code == code; });
    if (open == m_openContracts.end()) open = m_openContracts.insert(open, OpenContract{index, code, &instrument, {}});
    if (ExpiresBefore(instrument, *open->futures)) open->futures = &instrument;

    const bool lossesOnly = m_participant.GetCalSpreadMarginType() == Enums::SpreadMarginType::HalfNetting ||
                            instrument.EnforceIMSHalfNetting;
    const auto given = [&](const Node* node) { return lossesOnly ? &Make<LossesOnly>(*node, instrument.Code) : node; };
    open->parts.volatility.push_back(given(futures.first));
    open->parts.delivery.push_back(given(futures.second));
}

Entity& BookTree::FindOrAddEntity(MarginEntity kind, const std::string& code, double ratio)
{
    const auto found = std::find_if(m_entities.begin(), m_entities.end(),
                                    [&](const Entity& entity) { return entity.kind == kind && entity.code == code; });
    if (found != m_entities.end()) return *found;
    m_entities.push_back({kind, code, ratio, std::nullopt, {}});
    return m_entities.back();
}

// Between the months of a base contract neither stress nets.
void BookTree::CompleteGroups()
{
    std::sort(m_openContracts.begin(), m_openContracts.end(),
              [](const OpenContract& a, const OpenContract& b) { return a.code < b.code; });
    for (const OpenContract& contract : m_openContracts) {
        const auto make = [&](const std::vector<const Node*>& parts) {
            const Sheet& cells = parts.front()->Cells();
            return &Make<Sum>(cells.Scenarios(), cells.Columns(), parts, Sum::LossesOf{true, true});
        };
        m_entities[contract.entity].contracts.push_back(
            {contract.code, contract.futures, make(contract.parts.volatility), make(contract.parts.delivery)});
    }
}

// What a cut of all its contracts would mark is all that the entity has.
std::vector<std::size_t> BookTree::ItemsOf(const Entity& entity) const
{
    Trail trail(m_items.size());
    for (const Contract& contract : entity.contracts)
        for (const Node* const side : {contract.volatility, contract.delivery})
            side->Gate(trail);
    std::vector<std::size_t> items;
    for (std::size_t item = 0; item < m_items.size(); ++item)
        if (trail.IsGated(item)) items.push_back(item);
    return items;
}

SideTrail BookTree::Explain(const Entity& entity, MarginSide side) const
{
    return entity.kind == MarginEntity::MCS ? ExplainGroup(entity, side) : ExplainAlone(entity, side);
}

namespace {

// The first of the smallest results of a row and of the stress points; the row comes first.
struct Worst
{
    template <class RowAt, class PointAt>
    Worst(std::size_t columns, RowAt rowAt, PointAt pointAt)
    {
        for (std::size_t column = 0; column < columns; ++column)
            Take(rowAt(column), column, false);
        for (std::size_t point = 0; point < kv7im::stress::MappingSize; ++point)
            Take(pointAt(point), point, true);
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

// Shares the worst result of an outline, or of a contract's part of it, out.
template <class Source>
void Share(const Source& source, const Worst& worst, double ratio, Trail& trail)
{
    if (worst.isPoint)
        source.SharePoint(worst.index, -ratio, trail);
    else
        source.ShareRow(worst.index, -ratio, trail);
}

} // namespace

SideTrail BookTree::ExplainAlone(const Entity& entity, MarginSide side) const
{
    const Contract& contract = entity.contracts.front();
    const Outline outline(contract, m_level, side, side);
    const Worst worst(
        outline.Row().size(), [&](std::size_t column) { return outline.Row()[column]; },
        [&](std::size_t point) { return outline.Points()[point]; });
    SideTrail result{Describe(worst, side, entity.ratio), Trail(m_items.size())};
    if (!result.outcome.isLoss) return result;
    result.trail.Begin(contract.code);
    result.trail.Contract().money = worst.money;
    Share(outline, worst, entity.ratio, result.trail);
    result.outcome.contracts = result.trail.TakeContracts();
    return result;
}

// Beside the row of deliveries stand the stress points of the volatility side.
SideTrail BookTree::ExplainGroup(const Entity& entity, MarginSide side) const
{
    std::vector<GroupMember> members;
    std::vector<GroupMember> withPoints;
    for (const Contract& contract : entity.contracts) {
        std::optional<std::size_t> window;
        if (m_participant.GetInterContractSpreadMarginType() == Enums::SpreadMarginType::Netting)
            window = static_cast<std::size_t>(contract.futures->BaseContract->WindowSize);
        members.emplace_back(contract, m_level, side, window);
        withPoints.emplace_back(contract, m_level, MarginSide::Volatility, window);
    }
    const auto sum = [](const std::vector<GroupMember>& of, auto resultOf) {
        double total = 0.0;
        for (const GroupMember& member : of)
            total += resultOf(member);
        return total;
    };
    const Worst worst(
        members.front().Size(),
        [&](std::size_t column) { return sum(members, [&](const auto& member) { return member.RowAt(column); }); },
        [&](std::size_t point) { return sum(withPoints, [&](const auto& member) { return member.PointAt(point); }); });
    SideTrail result{Describe(worst, side, entity.ratio), Trail(m_items.size())};
    if (!result.outcome.isLoss) return result;
    for (const GroupMember& member : worst.isPoint ? withPoints : members)
        Share(member, worst, entity.ratio, result.trail);
    result.outcome.contracts = result.trail.TakeContracts();
    return result;
}

} // namespace QuindalIM::explanation
