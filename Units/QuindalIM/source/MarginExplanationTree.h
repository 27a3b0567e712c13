// The open tree of a book: its margin entities, the contracts of each, their nodes down to positions and orders.
//
// The cells are those of nodes of the engine, filled anew by the codes of what the book holds: what is explained does
// not depend on the order in which the book came about.
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
    std::vector<Contract> contracts;         // by code
    std::unique_ptr<kv7im::RiskNodeMCS> mcs; // their sum; null for any other kind
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
    /// What the shares are of: everything but the money and the entity is filled in.
    [[nodiscard]] const std::vector<MarginShare>& Items() const noexcept { return m_items; }
    /// Indices of those that belong to an entity.
    [[nodiscard]] std::vector<std::size_t> ItemsOf(const Entity& entity) const;
    [[nodiscard]] Enums::ClientRiskLevel Level() const { return m_level; }

    [[nodiscard]] SideTrail Explain(const Entity& entity, MarginSide side) const;

private:
    template <class NodeType, class... Arguments>
    const NodeType& Make(Arguments&&... arguments)
    {
        auto node = std::make_unique<NodeType>(std::forward<Arguments>(arguments)...);
        const NodeType& made = *node;
        m_nodes.push_back(std::move(node));
        return made;
    }

    [[nodiscard]] std::size_t ItemOf(MarginShare::Kind kind, Isin isin, const kv7im::CSpecPosition& position);
    template <class Transform>
    [[nodiscard]] std::vector<const Leaf*> LeavesOf(const kv7im::CSpecPosition& position, Isin isin,
                                                    const Transform& transform);
    void Add(const kv7im::CumulativePositionByFutures& position);
    [[nodiscard]] std::vector<const Leaf*> LeavesOfFutures(const kv7im::CumulativePositionByFutures& position);
    [[nodiscard]] std::vector<const Leaf*> LeavesOfOption(const kv7im::CSpecPositionOptionsBase& position);
    [[nodiscard]] const Series* MakeSeries(const kv7im::CumulativePositionByFutures& position,
                                           const std::vector<const kv7im::CSpecPositionOptionsBase*>& options);
    [[nodiscard]] const Node& AddToFutures(const Series& series, bool lossesOnly, kv7im::RiskNodeFutures& futures);
    [[nodiscard]] const Leaf* ResidueOf(const kv7im::CumulativePositionByFutures& position,
                                        const kv7im::RiskNodeFutures& parts);
    void AddToGroup(const kv7im::CumulativePositionByFutures& position, const Sum& sum,
                    const kv7im::RiskNodeFutures& futures);
    Entity& FindOrAddEntity(MarginEntity kind, const std::string& code, double ratio);
    void CompleteGroups();

    /// A base contract of which futures are still being gathered.
    struct OpenContract
    {
        std::size_t entity;
        std::string code;
        const kv7im::CSpecFutures* futures; // of those held the one that expires first
        std::unique_ptr<kv7im::RiskNodeMMS> node;
        std::vector<const Node*> parts;
    };

    const kv7im::RiskParticipant& m_participant;
    Enums::ClientRiskLevel m_level;
    std::vector<std::unique_ptr<const Node>> m_nodes;
    std::vector<MarginShare> m_items;
    std::vector<Entity> m_entities;
    std::vector<OpenContract> m_openContracts;
};

} // namespace QuindalIM::explanation
