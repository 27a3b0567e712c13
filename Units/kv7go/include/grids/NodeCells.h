// NodeCells: the results of one side of a node of futures over the price grid, and its stress points.
//
// Forms:   a futures has one price whatever the volatility, so a node that holds no option keeps a flat block: one row
//          of values that stands for every volatility scenario and one row of rate stress. Rates up count above the
//          centre of the grid and rates down below it, so that both rows fit into one; the mismatch is nothing.
//          A node that holds an option keeps full blocks: the scenarios, both rate rows, both mismatch rows.
// Storage: blocks of four columns, each block's rows one behind the other. Lanes past the last column hold NaN.
// Numbers: money, a loss is negative.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/Risk.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

class NodeCells
{
public:
    static constexpr std::size_t StressRows = 2; // up and down, of rates and of mismatch
    static constexpr std::size_t FlatRows = 2;   // values, rate stress

    enum class Form
    {
        Flat,
        Full,
    };

    /// Four columns of a flat node.
    struct FlatBlock
    {
        RiskItem value;
        RiskItem rate;
    };
    /// Four columns of a full node; the rows of the three tables.
    template <class Item>
    struct RowsOfBlock
    {
        Item* values;
        Item* rates;
        Item* mismatches;
    };
    using FullBlock = RowsOfBlock<RiskItem>;
    using ConstFullBlock = RowsOfBlock<const RiskItem>;

    NodeCells() noexcept = default; ///< No columns.
    /// All zero. Throws like LazyMemoryPool::Allocate.
    NodeCells(std::size_t points, std::size_t scenarios, Form form);
    NodeCells(const NodeCells&) = default;
    NodeCells(NodeCells&&) noexcept = default;
    ~NodeCells() = default;
    NodeCells& operator=(const NodeCells&) = delete; // a copy that fails would leave half a node; move one in
    NodeCells& operator=(NodeCells&&) noexcept = default;

    [[nodiscard]] bool IsFlat() const noexcept { return m_form == Form::Flat; }
    [[nodiscard]] std::size_t Points() const noexcept { return m_points; }
    [[nodiscard]] std::size_t Blocks() const noexcept { return RegistersOf(m_points); }
    /// Volatility scenarios that the rows stand for.
    [[nodiscard]] std::size_t Scenarios() const noexcept { return m_scenarios; }
    /// Index of the scenario of unshifted volatility, which takes no mismatch.
    [[nodiscard]] std::size_t Median() const noexcept;

    [[nodiscard]] FlatBlock& FlatAt(std::size_t block) noexcept
    {
        return reinterpret_cast<FlatBlock*>(m_cells.pData())[block];
    }
    [[nodiscard]] const FlatBlock& FlatAt(std::size_t block) const noexcept
    {
        return reinterpret_cast<const FlatBlock*>(m_cells.pData())[block];
    }
    [[nodiscard]] FullBlock FullAt(std::size_t block) noexcept { return RowsAt(m_cells.pData(), block); }
    [[nodiscard]] ConstFullBlock FullAt(std::size_t block) const noexcept { return RowsAt(m_cells.pData(), block); }

    /// The rate rows of a flat block: rates up hold the columns above the centre, rates down those below it. What is no
    /// number, padding first of all, is none in either row.
    [[nodiscard]] RiskItem RateUp(std::size_t block, RiskItem rate) const noexcept
    {
        return Add(ZeroUnlessAbove(rate, ColumnsOf(block), Centre()), Sub(rate, rate));
    }
    [[nodiscard]] RiskItem RateDown(std::size_t block, RiskItem rate) const noexcept
    {
        return Add(ZeroUnlessAbove(rate, Centre(), ColumnsOf(block)), Sub(rate, rate));
    }
    /// Length of the row that the cells of a node are kept in.
    [[nodiscard]] static std::size_t LengthOf(std::size_t points, std::size_t scenarios, Form form) noexcept
    {
        const std::size_t rows = form == Form::Flat ? FlatRows : scenarios + 2 * StressRows;
        return RegistersOf(points) * rows * RiskItem::Lanes;
    }
    /// True when the rate rows of a futures fit into one row of a flat block.
    [[nodiscard]] static bool FitsFlat(const Profile& futures) noexcept;

    /// Adds the cells and points of a node of one size; where it is flat and this one is not, it is expanded first.
    NodeCells& operator+=(const NodeCells& other);
    NodeCells& operator-=(const NodeCells& other);

    /// A full copy; the stress points go with it.
    [[nodiscard]] NodeCells Expanded() const;
    /// Full cells of this size and with these stress points that take no memory: whoever has them keeps their cells
    /// elsewhere, and asks this one for none.
    [[nodiscard]] NodeCells WithoutCells() const noexcept;
    /// A copy in the shape of an instrument's risk, for reading.
    [[nodiscard]] Risk ToRisk() const;

    SpecialRiskPoints points;

private:
    template <class Item>
    [[nodiscard]] RowsOfBlock<Item> RowsAt(Item* cells, std::size_t block) const noexcept
    {
        Item* const values = cells + block * (m_scenarios + 2 * StressRows);
        return {values, values + m_scenarios, values + m_scenarios + StressRows};
    }
    [[nodiscard]] static RiskItem ColumnsOf(std::size_t block) noexcept
    {
        const auto first = static_cast<double>(block * RiskItem::Lanes);
        return _mm256_setr_pd(first, first + 1.0, first + 2.0, first + 3.0);
    }
    [[nodiscard]] RiskItem Centre() const noexcept
    {
        return {static_cast<double>(m_points / 2)}; // NOLINT(bugprone-integer-division): a column
    }

    std::size_t m_points = 0;
    std::size_t m_scenarios = 0;
    Form m_form = Form::Flat;
    RiskRow m_cells{0};
};

} // namespace kv7im
