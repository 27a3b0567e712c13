// Risk nodes: the tree along which one participant's risks net upward and from which the margin is read.
//
//   RiskNodeOptionSeries  one option series:              matrices, sub-points and delivery rows included
//   RiskNodeFutures       one futures, series in spread:  cells, real price points only
//   RiskNodeMMS           one base contract (MMS):        cells; calendar spreads net cell by cell
//   RiskNodeMCS           a group of base contracts:      rows; inter-contract spreads net point by point
//   RolledUpRiskNode      a detached, collapsed copy:     rows; sums a firm's clients, carries changes upward
//
// Always true:  a node equals the sum of what was added to it; it is never rebuilt, a change subtracts exactly what
//               was added earlier. What a futures gave to its group follows from its cells before the change, so it is
//               kept nowhere.
// Numbers:      money, a loss is negative; the margin is the absolute value of the worst cell times the ratio of the
//               base contract. NaN never reaches a collapsed row.
// Two figures:  every node has a volatility margin and a delivery margin; the second also looks at the outcomes of
//               deliveries. Until an option near its delivery enters, both sides of a node are equal and one is kept.
// One pass:     a change of a position or of orders goes once over the cells, from the series or the futures through
// the
//               group to the collapsed row (kernels/GroupTakers.h).
#pragma once

#include "nodes/RiskNodeFutures.h"
#include "nodes/RiskNodeMCS.h"
#include "nodes/RiskNodeMMS.h"
#include "nodes/RiskNodeOptionSeries.h"
#include "nodes/RolledUpRiskNode.h"
