// The open tree of a book: its margin entities, the contracts of each, their nodes down to positions and orders.
//
// The cells are those of nodes of the engine, filled anew by the codes of what the book holds: what is explained does
// not depend on the order in which the book came about.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarginExplanation.h"
#include "MarginExplanationNodes.h"
#include "nodes/RiskNode.h"

namespace QuindalIM::explanation {

/// One base contract, or a futures or series standing alone.
struct Contract
{
    const kv7im::CSpecFutures* futures;            // of those held the one that expires first: the price axis
    Node node;                                     // that a cell is shared out by
    kv7im::RolledUpRiskNode collapsed;             // the rows of the node, before correction and curvature
    std::optional<kv7im::LastAdditionToMCS> mcs{}; // what its MCS has taken of it
};

struct Entity
{
    double ratio = 1.0;
    std::map<std::string, Contract> contracts;
    std::optional<kv7im::RiskNodeMCS> mcs; // the sum of what it has taken; none for any other kind
};

struct BookTree
{
    std::map<std::pair<MarginEntity, std::string>, Entity> entities;
    std::vector<MarginShare> items; // what the shares are of: everything but the money and the entity is filled in
};

/// The book and its instruments outlive the tree.
[[nodiscard]] BookTree OpenTree(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant);

} // namespace QuindalIM::explanation
