// The cells of a margin kept apart: the tree of risk nodes once more, slow and open, so that the worst cell can be
// followed down to the positions that it is made of.
//
// A node of the engine keeps sums. A node here keeps its cells and knows its parts: asked to share one cell out, it
// takes the branch that its minimum took and passes the cell on, until every position and every set of orders has its
// part. What a cut leaves nothing of is marked. The parts of a cell add up to the cell.
//
// Numbers:      money, a loss is negative. A delivery outcome that is out of every scenario is the largest finite
//               double.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "MarginExplanation.h"
#include "grids/Risk.h"
#include "instruments/SpecVirtFutures.h"

namespace QuindalIM::explanation {

enum class Table : std::size_t
{
    Volatility,
    InterestRate,
    Mismatch,
};
inline constexpr std::array Tables{Table::Volatility, Table::InterestRate, Table::Mismatch};

struct CellAt
{
    Table table;
    std::size_t row;
    std::size_t column;
};

/// Rows x columns of results.
class Grid
{
public:
    Grid(std::size_t rowCount, std::size_t columnCount) : columns(columnCount), cells(rowCount * columnCount, 0.0) {}

    [[nodiscard]] std::size_t Rows() const noexcept { return columns == 0 ? 0 : cells.size() / columns; }
    [[nodiscard]] std::size_t Columns() const noexcept { return columns; }
    [[nodiscard]] double& At(std::size_t row, std::size_t column) noexcept { return cells[row * columns + column]; }
    [[nodiscard]] double At(std::size_t row, std::size_t column) const noexcept
    {
        return cells[row * columns + column];
    }
    /// First row of the smallest number in a column. NaN is passed over; without any number 0.
    [[nodiscard]] std::size_t WorstRow(std::size_t column) const noexcept;
    /// The smallest number in a column, NaN passed over; 0.0 without any.
    [[nodiscard]] double Worst(std::size_t column) const noexcept;

private:
    std::size_t columns;
    std::vector<double> cells;
};

/// The results of one node.
struct Sheet
{
    Sheet(std::size_t scenarios, std::size_t columns)
        : tables{Grid(scenarios, columns), Grid(2, columns), Grid(2, columns)}
    {}

    [[nodiscard]] Grid& operator[](Table table) noexcept { return tables[static_cast<std::size_t>(table)]; }
    [[nodiscard]] const Grid& operator[](Table table) const noexcept { return tables[static_cast<std::size_t>(table)]; }
    [[nodiscard]] double At(const CellAt& at) const noexcept { return (*this)[at.table].At(at.row, at.column); }
    [[nodiscard]] std::size_t Scenarios() const noexcept { return tables[0].Rows(); }
    [[nodiscard]] std::size_t Columns() const noexcept { return tables[0].Columns(); }
    /// One result: the worst scenario, the worst stress of the rates and the worst of volatilities that move apart,
    /// each alone.
    [[nodiscard]] double Collapsed(std::size_t column) const noexcept;

    std::array<Grid, 3> tables;
    std::array<double, kv7im::SpecialRiskPoints::MappingSize> points{};
    double optionValue = 0.0; // net, of premium-style options
};

/// Where the parts of one worst cell are gathered.
class Trail
{
public:
    explicit Trail(std::size_t items) : m_money(items, 0.0), m_gated(items, false) {}

    void Add(std::size_t item, double money) noexcept { m_money[item] += money; }
    void Gate(std::size_t item) noexcept { m_gated[item] = true; }
    [[nodiscard]] double MoneyOf(std::size_t item) const noexcept { return m_money[item]; }
    [[nodiscard]] bool IsGated(std::size_t item) const noexcept { return m_gated[item]; }

    /// The contract that is being followed from now on.
    void Begin(const std::string& contract);
    [[nodiscard]] ContractOutcome& Contract() noexcept { return m_contracts.back(); }
    [[nodiscard]] PartOutcome& Part(const std::string& code);
    [[nodiscard]] std::vector<ContractOutcome> TakeContracts() noexcept { return std::move(m_contracts); }

private:
    std::vector<double> m_money; // by item
    std::vector<bool> m_gated;
    std::vector<ContractOutcome> m_contracts;
};

class Node
{
public:
    virtual ~Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    [[nodiscard]] const Sheet& Cells() const noexcept { return m_cells; }
    /// Adds factor times the cell to the items that it is made of.
    virtual void ShareCell(const CellAt& at, double factor, Trail& trail) const = 0;
    virtual void SharePoint(std::size_t point, double factor, Trail& trail) const = 0;
    virtual void ShareOptionValue(double factor, Trail& trail) const = 0;
    /// A cut above leaves nothing of this node.
    virtual void Gate(Trail& trail) const = 0;

protected:
    Node(std::size_t scenarios, std::size_t columns) : m_cells(scenarios, columns) {}

    Sheet m_cells;
};

/// A position, or a set of orders.
class Leaf final : public Node
{
public:
    /// dimensions: those of the node that it goes into, delivery rows included where these count.
    Leaf(std::size_t item, const kv7im::Risk& risk, const kv7im::Parameters& dimensions, double optionValue);
    /// Rates only: what orders that were cancelled have left behind. See CollateralResidue.
    Leaf(std::size_t item, Sheet cells);

    [[nodiscard]] const Grid& Outcomes() const noexcept { return m_outcomes; }
    void ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const;

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override;
    void Gate(Trail& trail) const override { trail.Gate(m_item); }

private:
    std::size_t m_item;
    Grid m_outcomes; // delivery scenarios x columns; NaN out of a scenario
};

/// Parts that net cell by cell; what is named here they add by their losses only.
class Sum : public Node
{
public:
    struct LossesOf
    {
        bool rates = false;
        bool mismatch = false;
    };

    Sum(std::size_t scenarios, std::size_t columns, std::vector<const Node*> parts, LossesOf lossesOf);

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override;
    void Gate(Trail& trail) const override;

private:
    [[nodiscard]] bool ByLosses(Table table) const noexcept;

    std::vector<const Node*> m_parts;
    LossesOf m_lossesOf;
};

/// All positions and orders in the options of one series, on its columns.
class SeriesSum final : public Sum
{
public:
    SeriesSum(const kv7im::CSpecVirtFutures& series, Enums::ClientRiskLevel level, const kv7im::Parameters& dimensions,
              std::vector<const Leaf*> leaves);

    [[nodiscard]] const std::string& Code() const noexcept { return m_series.Code; }
    [[nodiscard]] const kv7im::BindsRow& Binding() const noexcept { return m_series.GetBindingArray(m_level); }
    [[nodiscard]] double PriceAt(std::size_t column) const noexcept
    {
        return m_series.GetVolatilityMatrixCentralRow(m_level)[column];
    }
    [[nodiscard]] const Grid& Outcomes() const noexcept { return m_outcomes; }
    [[nodiscard]] double DeliveryPrice(std::size_t row) const;
    void ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const;

private:
    const kv7im::CSpecVirtFutures& m_series;
    Enums::ClientRiskLevel m_level;
    std::vector<const Leaf*> m_leaves;
    Grid m_outcomes;
};

/// A series with the worst delivery in the place of every scenario; stresses no longer matter.
class Delivered final : public Node
{
public:
    explicit Delivered(const SeriesSum& series);

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override;
    void Gate(Trail& trail) const override { m_series.Gate(trail); }

private:
    const SeriesSum& m_series;
};

/// A node of a series on the real price points: each sub-point counts where it is worse than the point it is bound to.
class Folded final : public Node
{
public:
    Folded(const Node& columns, const SeriesSum& series, std::size_t realColumns);

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override;
    void Gate(Trail& trail) const override { m_columns.Gate(trail); }

private:
    [[nodiscard]] std::size_t WorstColumn(const CellAt& at) const noexcept;

    const Node& m_columns;
    const SeriesSum& m_series;
    std::vector<std::vector<std::size_t>> m_bound; // per real column the sub-points
};

/// The losses of a node: stresses folded into the cells, which then keep no gain.
class LossesOnly final : public Node
{
public:
    LossesOnly(const Node& node, std::string code);

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override;
    void Gate(Trail& trail) const override { m_node.Gate(trail); }

private:
    /// Marks what is cut, where the result is one.
    void GateGain(double result, Trail& trail) const;

    const Node& m_node;
    std::string m_code;
};

/// Shares the collapsed result at a column out, and names its rows in the outcome of the contract.
void ShareCollapsed(const Node& node, std::size_t column, double factor, Trail& trail);

} // namespace QuindalIM::explanation
