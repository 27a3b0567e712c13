// Takers towards the group: what receives the cells of a futures before and after a change, while the change is being
// worked in, to bring them into the node of the base contract and to collapse the node that the margin is read from.
//
// Rows of a full block come one by one: Begin, the rate rows, the mismatch rows, the values, End. A flat block comes
// whole. Takers are passed by value, so that the compiler keeps them in registers.
#pragma once

#include <cstddef>

#include "grids/NodeCells.h"
#include "grids/RiskRow.h"
#include "kernels/CellArithmetic.h"

namespace kv7im::kernels {

/// What a futures gives to its group.
enum class Gives
{
    Nothing,
    Signed, // its values with their signs; of either stress the losses
    Losses, // its losses, with the stresses folded into the values; nothing above a ceiling
};

/// Ceilings of a contribution in losses, money: of the one that goes out and of the one that comes in.
struct Ceilings
{
    double out = 0.0;
    double in = 0.0;
};

// One contribution, four columns: the least stresses come first, then the values.
template <Gives What>
class Contribution
{
public:
    explicit Contribution(double ceiling) noexcept : m_ceiling(ceiling) {}
    void Begin() noexcept { m_rate = m_mismatch = RiskItem(LargestFinite); }
    [[nodiscard]] RiskItem OfRate(RiskItem cell) noexcept { return OfStress(cell, m_rate); }
    [[nodiscard]] RiskItem OfMismatch(RiskItem cell) noexcept { return OfStress(cell, m_mismatch); }
    [[nodiscard]] RiskItem OfValue(RiskItem cell, bool takesMismatch) const noexcept
    {
        if constexpr (What == Gives::Nothing) return RiskItem(0.0);
        if constexpr (What == Gives::Signed) return cell;
        const RiskItem stressed = Add(m_rate, cell);
        // The ceiling stands first: NaN stays NaN.
        return Min(m_ceiling, takesMismatch ? Add(stressed, m_mismatch) : stressed);
    }
    // A flat block: one of its rate rows is 0.
    [[nodiscard]] RiskItem OfFlatValue(const NodeCells::FlatBlock& block) const noexcept
    {
        if constexpr (What == Gives::Nothing) return RiskItem(0.0);
        if constexpr (What == Gives::Signed) return block.value;
        return Min(m_ceiling, Add(Loss(block.rate), block.value));
    }
    [[nodiscard]] static RiskItem OfFlatRate(const NodeCells::FlatBlock& block) noexcept
    {
        return What == Gives::Signed ? Loss(block.rate) : RiskItem(0.0);
    }

private:
    [[nodiscard]] static RiskItem OfStress(RiskItem cell, RiskItem& least) noexcept
    {
        if constexpr (What == Gives::Signed) return Loss(cell);
        least = Min(cell, least);
        return {0.0};
    }

    RiskItem m_ceiling;
    RiskItem m_rate{LargestFinite};
    RiskItem m_mismatch{LargestFinite};
};

/// Ends at the node itself, full: collapses it into a row.
template <class WorstOfRows>
struct CollapseBy
{
    explicit CollapseBy(RiskRow& target) noexcept : row(target.pData()) {}
    void Begin(std::size_t) noexcept { values = rates = mismatches = WorstOfRows{}; }
    void TakeRate(std::size_t, RiskItem, RiskItem now) noexcept { rates.Take(now); }
    void TakeMismatch(std::size_t, RiskItem, RiskItem now) noexcept { mismatches.Take(now); }
    void TakeValue(std::size_t, RiskItem, RiskItem now) noexcept { values.Take(now); }
    void End(std::size_t block) noexcept { row[block] = Collapsed(values.value, rates.value, mismatches.value); }

    RiskItem* row;
    WorstOfRows values;
    WorstOfRows rates;
    WorstOfRows mismatches;
};
using Collapse = CollapseBy<Worst>;
using CollapseNumbers = CollapseBy<WorstOfNumbers>;

/// Brings a futures into a full group, which it collapses into a row.
template <Gives Out, Gives In>
class IntoGroup
{
public:
    IntoGroup(NodeCells& group, RiskRow& row, const Ceilings& ceilings) noexcept
        : m_group(group), m_median(group.Median()), m_out(ceilings.out), m_in(ceilings.in), m_collapse(row)
    {}
    [[nodiscard]] std::size_t Scenarios() const noexcept { return m_group.Scenarios(); }
    [[nodiscard]] const NodeCells& Group() const noexcept { return m_group; }

    void Begin(std::size_t block) noexcept
    {
        m_at = m_group.FullAt(block);
        m_out.Begin();
        m_in.Begin();
        m_collapse.Begin(block);
    }
    void TakeRate(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        m_at.rates[row] = Replaced(m_at.rates[row], m_out.OfRate(old), m_in.OfRate(now));
        m_collapse.TakeRate(row, old, m_at.rates[row]);
    }
    void TakeMismatch(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        m_at.mismatches[row] = Replaced(m_at.mismatches[row], m_out.OfMismatch(old), m_in.OfMismatch(now));
        m_collapse.TakeMismatch(row, old, m_at.mismatches[row]);
    }
    void TakeValue(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        const bool takesMismatch = row != m_median; // the central scenario takes none
        m_at.values[row] =
            Replaced(m_at.values[row], m_out.OfValue(old, takesMismatch), m_in.OfValue(now, takesMismatch));
        m_collapse.TakeValue(row, old, m_at.values[row]);
    }
    void End(std::size_t block) noexcept { m_collapse.End(block); }

private:
    NodeCells& m_group;
    std::size_t m_median;
    NodeCells::FullBlock m_at{};
    Contribution<Out> m_out;
    Contribution<In> m_in;
    Collapse m_collapse;
};

/// Ends at a group that holds this futures alone: its cells are what the futures gives, and only their row is kept.
template <Gives What>
class CollapseContribution
{
public:
    CollapseContribution(RiskRow& row, std::size_t median, double ceiling) noexcept
        : m_median(median), m_given(ceiling), m_collapse(row)
    {}
    void Begin(std::size_t block) noexcept
    {
        m_given.Begin();
        m_collapse.Begin(block);
    }
    void TakeRate(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        m_collapse.TakeRate(row, old, m_given.OfRate(now));
    }
    void TakeMismatch(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        m_collapse.TakeMismatch(row, old, m_given.OfMismatch(now));
    }
    void TakeValue(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        m_collapse.TakeValue(row, old, m_given.OfValue(now, row != m_median)); // the central scenario takes no mismatch
    }
    void End(std::size_t block) noexcept { m_collapse.End(block); }

    void Take(std::size_t block, const NodeCells::FlatBlock&, const NodeCells::FlatBlock& now) noexcept
    {
        m_collapse.row[block] = Collapsed(NodeCells::FlatBlock{m_given.OfFlatValue(now), m_given.OfFlatRate(now)});
    }

private:
    std::size_t m_median;
    Contribution<What> m_given;
    Collapse m_collapse;
};

/// Ends at the node itself, flat: collapses it into a row.
class CollapseFlat
{
public:
    explicit CollapseFlat(RiskRow& row) noexcept : m_row(row.pData()) {}
    void Take(std::size_t block, const NodeCells::FlatBlock&, const NodeCells::FlatBlock& now) noexcept
    {
        m_row[block] = Collapsed(now);
    }

private:
    RiskItem* m_row;
};

/// Brings a flat futures into a flat group, which it collapses into a row.
template <Gives Out, Gives In>
class FlatIntoFlatGroup
{
public:
    FlatIntoFlatGroup(NodeCells& group, RiskRow& row, const Ceilings& ceilings) noexcept
        : m_group(&group.FlatAt(0)), m_row(row.pData()), m_out(ceilings.out), m_in(ceilings.in)
    {}
    void Take(std::size_t block, const NodeCells::FlatBlock& old, const NodeCells::FlatBlock& now) noexcept
    {
        NodeCells::FlatBlock& cell = m_group[block];
        const NodeCells::FlatBlock sum{Replaced(cell.value, m_out.OfFlatValue(old), m_in.OfFlatValue(now)),
                                       Replaced(cell.rate, m_out.OfFlatRate(old), m_in.OfFlatRate(now))};
        cell = sum;
        m_row[block] = Collapsed(sum);
    }

private:
    NodeCells::FlatBlock* m_group;
    RiskItem* m_row;
    Contribution<Out> m_out;
    Contribution<In> m_in;
};

/// Brings a flat futures into a group that holds options elsewhere: row by row.
template <Gives Out, Gives In>
class FlatIntoFullGroup
{
public:
    FlatIntoFullGroup(NodeCells& group, RiskRow& row, const Ceilings& ceilings) noexcept : m_full(group, row, ceilings)
    {}
    void Take(std::size_t block, const NodeCells::FlatBlock& old, const NodeCells::FlatBlock& now) noexcept
    {
        const NodeCells& group = m_full.Group();
        const RiskItem nothing(0.0);
        m_full.Begin(block);
        m_full.TakeRate(0, group.RateUp(block, old.rate), group.RateUp(block, now.rate));
        m_full.TakeRate(1, group.RateDown(block, old.rate), group.RateDown(block, now.rate));
        for (std::size_t row = 0; row < StressRows; ++row)
            m_full.TakeMismatch(row, nothing, nothing);
        for (std::size_t row = 0; row < m_full.Scenarios(); ++row)
            m_full.TakeValue(row, old.value, now.value);
        m_full.End(block);
    }

private:
    IntoGroup<Out, In> m_full;
};

/// Two takers of one change: both sides of a group, or of a futures.
template <class First, class Second = First>
struct Both
{
    Both(const First& toFirst, const Second& toSecond) noexcept : first(toFirst), second(toSecond) {}
    void Begin(std::size_t block) noexcept
    {
        first.Begin(block);
        second.Begin(block);
    }
    void TakeRate(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        first.TakeRate(row, old, now);
        second.TakeRate(row, old, now);
    }
    void TakeMismatch(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        first.TakeMismatch(row, old, now);
        second.TakeMismatch(row, old, now);
    }
    void TakeValue(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        first.TakeValue(row, old, now);
        second.TakeValue(row, old, now);
    }
    void Take(std::size_t block, const NodeCells::FlatBlock& old, const NodeCells::FlatBlock& now) noexcept
    {
        first.Take(block, old, now);
        second.Take(block, old, now);
    }
    void End(std::size_t block) noexcept
    {
        first.End(block);
        second.End(block);
    }

    First first;
    Second second;
};

} // namespace kv7im::kernels
