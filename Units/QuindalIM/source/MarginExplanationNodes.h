// The nodes of a margin kept with their parts, so that a worst cell can be followed down to the positions that it is
// made of. The engine adds the cells up; a node here passes a cell on to its parts, by the branch that each minimum
// took, until every position and every set of orders has what it has in the cell.
//
// Always true:  the parts of a cell add up to the cell. What a cut leaves nothing of is marked.
// Numbers:      money, a loss is negative.
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
#include "nodes/RiskNode.h"

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

[[nodiscard]] const kv7im::RiskMatrix& MatrixOf(const kv7im::Risk& risk, Table table) noexcept;
/// First row of the smallest number in a column. NaN is passed over; without any number 0.
[[nodiscard]] std::size_t WorstRow(const kv7im::RiskMatrix& cells, std::size_t column) noexcept;

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

    /// Results on the price points of the node above.
    [[nodiscard]] virtual const kv7im::Risk& On(MarginSide side) const = 0;
    [[nodiscard]] double Cell(const CellAt& at) const noexcept;
    /// Adds factor times the cell to the items that it is made of.
    virtual void ShareCell(const CellAt& at, double factor, Trail& trail) const = 0;
    /// Adds factor times the stress point, of which both sides have one, likewise.
    virtual void SharePoint(std::size_t point, double factor, Trail& trail) const;
    virtual void ShareOptionValue(double factor, Trail& trail) const;
    /// A cut above leaves nothing of this node.
    virtual void Gate(Trail& trail) const;

protected:
    explicit Node(std::vector<const Node*> parts) : m_parts(std::move(parts)) {}

    std::vector<const Node*> m_parts;
};

/// Shares factor times the worst of the two stresses at a column; gives its row where it takes something.
[[nodiscard]] std::optional<std::size_t> ShareStress(const Node& node, MarginSide side, Table table, std::size_t column,
                                                     double factor, Trail& trail);

/// A position, or a set of orders. Both sides have one result; options have the outcomes of deliveries beside it.
class Leaf final : public Node
{
public:
    Leaf(std::size_t item, kv7im::Risk risk, double optionValue = 0.0)
        : Node({}), m_item(item), m_risk(std::move(risk)), m_optionValue(optionValue)
    {}

    [[nodiscard]] const kv7im::Risk& On(MarginSide) const override { return m_risk; }
    [[nodiscard]] double OptionValue() const noexcept { return m_optionValue; }
    void ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const;

    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;
    void ShareOptionValue(double factor, Trail& trail) const override { trail.Add(m_item, factor * m_optionValue); }
    void Gate(Trail& trail) const override { trail.Gate(m_item); }

private:
    std::size_t m_item;
    kv7im::Risk m_risk;
    double m_optionValue; // net, of a premium-style option
};

/// All positions and orders in the options of one series. Its parts have the columns of the series, the node above sees
/// them on real price points: a sub-point counts where it is worse than the point that it is bound to. On the delivery
/// side every scenario is the worst delivery, where deliveries count.
class Series final : public Node
{
public:
    /// `node` is made empty.
    Series(const kv7im::CSpecVirtFutures& series, kv7im::RiskNodeOptionSeries node,
           const std::vector<const Leaf*>& leaves);

    [[nodiscard]] const kv7im::RiskNodeOptionSeries& Engine() const noexcept { return m_node; }
    [[nodiscard]] const std::string& Code() const noexcept { return m_series.Code; }
    [[nodiscard]] const kv7im::Risk& On(MarginSide side) const override;
    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;

private:
    [[nodiscard]] const kv7im::Risk& Columns(MarginSide side) const;
    [[nodiscard]] std::size_t WorstColumn(const CellAt& at) const;
    void ShareDelivery(std::size_t column, double factor, Trail& trail) const;

    const kv7im::CSpecVirtFutures& m_series;
    kv7im::RiskNodeOptionSeries m_node;
    std::vector<const Leaf*> m_leaves;
    kv7im::Risk m_volatility; // on real price points
    kv7im::Risk m_delivery;
};

/// A futures or a base contract: parts that net cell by cell; what is named here they add by their losses only.
class Sum final : public Node
{
public:
    struct LossesOf
    {
        bool rates = false;
        bool mismatch = false;
    };

    /// `node` is the sum of the parts.
    Sum(std::unique_ptr<const kv7im::RiskNodeBase> node, std::vector<const Node*> parts, LossesOf lossesOf)
        : Node(std::move(parts)), m_node(std::move(node)), m_lossesOf(lossesOf)
    {}

    [[nodiscard]] const kv7im::Risk& On(MarginSide side) const override;
    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;

private:
    [[nodiscard]] bool ByLosses(Table table) const noexcept;

    std::unique_ptr<const kv7im::RiskNodeBase> m_node;
    LossesOf m_lossesOf;
};

/// The losses of a node under half netting: stresses in the cells, of which no gain is left.
class LossesOnly final : public Node
{
public:
    LossesOnly(const Node& node, std::string code);

    /// The cells with their stresses, gains included.
    [[nodiscard]] const kv7im::Risk& On(MarginSide side) const override;
    void ShareCell(const CellAt& at, double factor, Trail& trail) const override;
    void SharePoint(std::size_t point, double factor, Trail& trail) const override;

private:
    /// True for a loss. A gain is marked as cut.
    [[nodiscard]] bool IsKept(double result, Trail& trail) const;

    const Node& m_node;
    std::string m_code;
    kv7im::Risk m_volatility;
    kv7im::Risk m_delivery;
};

} // namespace QuindalIM::explanation
