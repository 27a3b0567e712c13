// The nodes of a margin with their parts, so that a worst cell can be followed down to the positions that it is made
// of. The engine adds the cells up; here a cell is passed on to the parts, by the branch that each minimum took, until
// every position and every set of orders has its share of the cell.
//
// Always true:  the parts of a cell add up to the cell. Parts that a cut leaves nothing of are marked.
// Numbers:      money, a loss is negative.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarginExplanation.h"
#include "grids/Risk.h"
#include "instruments/SpecVirtFutures.h"

namespace QuindalIM::explanation {

enum class Table
{
    Volatility,
    InterestRate,
    Mismatch,
};

struct CellAt
{
    MarginSide side;
    Table table;
    std::size_t row;
    std::size_t column;
};

/// Collects the parts of one worst cell.
struct Trail
{
    explicit Trail(std::size_t items) : money(items, 0.0), gated(items, false) {}

    /// Outcome of a futures or a series in the contract that is being followed, the last one.
    [[nodiscard]] PartOutcome& Part(const std::string& code);

    std::vector<double> money; // by item
    std::vector<bool> gated;   // by item
    std::vector<ContractOutcome> contracts;
};

/// A base contract, a futures, a series, or a leaf of the tree: a position or a set of orders.
struct Node
{
    [[nodiscard]] static Node Leaf(std::size_t item, kv7im::Risk risk, double optionValue = 0.0);
    /// A series: all leaves in its options, on its columns; the node above sees them on real price points.
    /// size: dimensions of the node in the book.
    [[nodiscard]] static Node Series(const kv7im::CSpecVirtFutures& series, Enums::ClientRiskLevel level,
                                     const kv7im::Parameters& size, std::vector<Node> leaves);
    /// A sum of parts, netted cell by cell; the mismatch of the parts adds by its losses, the rate stress too where
    /// ratesByLosses is set. size: its dimensions.
    [[nodiscard]] static Node Sum(const kv7im::Parameters& size, std::vector<Node> parts, bool ratesByLosses);
    /// Adds a part to a sum.
    void Add(Node part);
    /// A node reduced to its losses by half netting.
    [[nodiscard]] static Node LossesOf(Node node, const std::string& code);

    [[nodiscard]] const kv7im::RiskMatrix& Cells(MarginSide side, Table table) const noexcept;
    [[nodiscard]] double Cell(const CellAt& at) const noexcept;
    /// The smallest number in a column, NaN passed over; its first row. Without any number row 0.
    [[nodiscard]] CellAt WorstCell(MarginSide side, Table table, std::size_t column) const noexcept;

    /// Adds factor times the cell to the items that it is made of.
    void ShareCell(const CellAt& at, double factor, Trail& trail) const;
    /// Shares the worse of the two stresses at a column out; returns its row where it takes something.
    [[nodiscard]] std::optional<std::size_t> ShareStress(MarginSide side, Table table, std::size_t column,
                                                         double factor, Trail& trail) const;
    void SharePoint(std::size_t point, double factor, Trail& trail) const;
    void ShareOptionValue(double factor, Trail& trail) const;
    /// Net option value, money.
    [[nodiscard]] double OptionValue() const noexcept;
    /// Marks the items of this node, of which a cut above leaves nothing.
    void Gate(Trail& trail) const;

    std::array<kv7im::Risk, 2> results; // by side, on the price points of the node above; a leaf has the first only
    std::vector<Node> parts;
    std::size_t item = 0;      // of a leaf
    double optionValue = 0.0;  // of a leaf, net, of premium-style options
    std::string code;          // of a series; of a futures or a series under half netting
    bool isHalfNetted = false; // results are those of the one part with its stresses in the cells, gains included
    bool ratesByLosses = false;
    const kv7im::CSpecVirtFutures* series = nullptr;
    Enums::ClientRiskLevel level{};     // of a series
    std::array<kv7im::Risk, 2> columns; // of a series: results by side, on its own columns, delivery rows on the first

private:
    [[nodiscard]] const kv7im::Risk& ResultOf(std::size_t side) const noexcept
    {
        return parts.empty() ? results.front() : results[side];
    }
    void ShareLoss(const CellAt& at, double factor, Trail& trail) const;
    void ShareOptions(const CellAt& at, double factor, Trail& trail) const;
    void ShareDelivery(std::size_t column, double factor, Trail& trail) const;
    [[nodiscard]] std::size_t WorstColumn(const CellAt& at) const;
    [[nodiscard]] bool IsKept(double result, Trail& trail) const;
};

} // namespace QuindalIM::explanation
