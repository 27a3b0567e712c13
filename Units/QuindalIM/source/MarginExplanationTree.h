// The open tree of a book: its margin entities, the contracts of each, their nodes down to positions and orders.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarginExplanation.h"
#include "MarginExplanationOutline.h"

namespace kv7im {

class CSpecPosition;
class CSpecPositionOptionsBase;
class CumulativePositionByFutures;

} // namespace kv7im

namespace QuindalIM::explanation {

struct Entity
{
    MarginEntity kind = MarginEntity::Futures;
    std::string code;
    double ratio = 1.0;
    std::optional<std::size_t> window; // of an MCS under inter-contract netting
    std::vector<Contract> contracts;   // by code
};

/// The worst cell of an entity, and what each item has in it.
struct SideTrail
{
    SideOutcome outcome;
    Trail trail; // money of the entity's margin by item
};

class BookTree
{
public:
    /// The book and its participant outlive the tree.
    BookTree(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant);

    [[nodiscard]] const std::vector<Entity>& Entities() const noexcept { return m_entities; } // by kind and code
    /// The positions and sets of orders that the shares belong to, filled in except for money and entity.
    [[nodiscard]] const std::vector<MarginShare>& Items() const noexcept { return m_items; }
    /// Indices of the items that belong to an entity.
    [[nodiscard]] std::vector<std::size_t> ItemsOf(const Entity& entity) const;
    [[nodiscard]] Enums::ClientRiskLevel Level() const { return m_level; }

    [[nodiscard]] SideTrail Explain(const Entity& entity, MarginSide side) const;

private:
    using Nodes = std::pair<const Node*, const Node*>; // volatility side, delivery side
    struct SideNodes
    {
        std::vector<const Node*> volatility;
        std::vector<const Node*> delivery;
    };

    template <class NodeType, class... Arguments>
    const NodeType& Make(Arguments&&... arguments)
    {
        auto node = std::make_unique<NodeType>(std::forward<Arguments>(arguments)...);
        const NodeType& made = *node;
        m_nodes.push_back(std::move(node));
        return made;
    }

    [[nodiscard]] std::size_t PositionItem(const std::string& code, Isin isin, const kv7im::CSpecPosition& position);
    [[nodiscard]] std::size_t OrdersItem(const std::string& code, Isin isin, const kv7im::CSpecPosition& position);

    void Add(const kv7im::CumulativePositionByFutures& position);
    void AddLeavesOfFutures(const kv7im::CumulativePositionByFutures& position, SideNodes& parts);
    void AddCollateralResidue(const kv7im::CumulativePositionByFutures& position, SideNodes& parts);
    [[nodiscard]] Nodes MakeFutures(const kv7im::CumulativePositionByFutures& position, const SideNodes& parts);
    [[nodiscard]] std::vector<const Leaf*> LeavesOfOption(const kv7im::CSpecPositionOptionsBase& position,
                                                          const kv7im::Parameters& dimensions);
    [[nodiscard]] std::optional<Nodes> MakeSeries(const kv7im::CumulativePositionByFutures& position,
                                                  const std::vector<const kv7im::CSpecPositionOptionsBase*>& options);
    void AddToGroup(const kv7im::CumulativePositionByFutures& position, const Nodes& futures);
    Entity& FindOrAddEntity(MarginEntity kind, const std::string& code, double ratio);
    void CompleteGroups();

    [[nodiscard]] SideTrail ExplainAlone(const Entity& entity, MarginSide side) const;
    [[nodiscard]] SideTrail ExplainGroup(const Entity& entity, MarginSide side) const;

    /// A base contract of which futures are still being gathered.
    struct OpenContract
    {
        std::size_t entity;
        std::string code;
        const kv7im::CSpecFutures* futures; // of those held the one that expires first
        SideNodes parts;
    };

    const kv7im::RiskParticipant& m_participant;
    Enums::ClientRiskLevel m_level;
    std::vector<std::unique_ptr<const Node>> m_nodes;
    std::vector<MarginShare> m_items;
    std::vector<Entity> m_entities;
    std::vector<OpenContract> m_openContracts;
};

} // namespace QuindalIM::explanation
