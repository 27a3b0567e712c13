// The worst cell of a margin entity, named and shared out.
#pragma once

#include <string>

#include "MarginExplanation.h"
#include "MarginExplanationTree.h"

namespace QuindalIM::explanation {

/// Explains the worst cell of one side of an entity. The share of each item in it, money of the entity's margin, goes
/// into the trail.
[[nodiscard]] SideOutcome ExplainWorst(const Entity& entity, MarginSide side, Trail& trail);

} // namespace QuindalIM::explanation
