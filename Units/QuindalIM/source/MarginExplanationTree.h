// The open tree of a book: its margin entities, the contracts of each, their nodes down to positions and orders.
//
// The cells are those of the engine's nodes, filled anew from the positions and orders of the book in the order of
// their codes, so that an explanation does not depend on the order in which the book came about.
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
    const kv7im::CSpecFutures* futures;            // the one held that expires first: its prices are the axis
    Node node;                                     // a cell is shared out by it
    kv7im::RolledUpRiskNode collapsed;             // the rows of the node, before correction and curvature
    kv7im::RolledUpRiskNode final;                 // the rows that its margin is read from
    std::optional<kv7im::LastAdditionToMCS> mcs{}; // part that its MCS has taken
};

struct Entity
{
    double ratio = 1.0;
    std::map<std::string, Contract> contracts;
    std::optional<kv7im::RiskNodeMCS> mcs; // the sum of these parts; none for any other kind
};

struct BookTree
{
    std::map<std::pair<MarginEntity, std::string>, Entity> entities;
    std::vector<MarginShare> items; // positions and sets of orders, complete except for money and entity
};

/// The book and its instruments outlive the tree.
[[nodiscard]] BookTree OpenTree(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant);

} // namespace QuindalIM::explanation
