// The roads of a change through the cells of a futures: which takers it meets on the way up, by what the futures and
// its group are at the moment.
//
// A futures in no group is collapsed itself, and what it gives where it is alone in its group. Otherwise its
// contribution is replaced in the cells of the group, and the group is collapsed. A group whose sides differ takes the
// change of a futures whose sides are equal into both. A futures that borrows the cells of a series has none to change:
// what the series changes goes on as the change of the futures.
#pragma once

#include "kernels/FuturesKernels.h"
#include "kernels/GroupTakers.h"
#include "kernels/SeriesTakers.h"
#include "nodes/RiskNodeFutures.h"
#include "nodes/RiskNodeMMS.h"

namespace kv7im {

template <class Body>
void RiskNodeFutures::WithTakerOfOnlyMember(bool ofDelivery, const kernels::Ceilings& ceilings, const Body& body)
{
    using namespace kernels;
    RiskNodeMMS& group = *m_group;
    const auto collapse = [&]<Gives What>() {
        const auto intoRow = [&](RiskRow& row) {
            return CollapseContribution<What>(row, m_volatility.Median(), ceilings.in);
        };
        const auto side = intoRow(ofDelivery ? group.rows.delivery : group.rows.volatility);
        if (SidesDiffer() || !group.SidesDiffer()) return body(side);
        body(Both(side, intoRow(group.rows.delivery)));
    };
    m_given.lossesOnly ? collapse.template operator()<Gives::Losses>() : collapse.template operator()<Gives::Signed>();
}

template <class Body>
void RiskNodeFutures::WithFlatTaker(const kernels::Ceilings& ceilings, const Body& body)
{
    using namespace kernels;
    if (m_group == nullptr) return body(CollapseFlat(rows.volatility));
    RiskNodeMMS& group = *m_group;
    if (group.m_only != nullptr) return WithTakerOfOnlyMember(false, ceilings, body);
    const auto intoGroup = [&]<template <Gives, Gives> class Into, Gives What>() {
        const Into<What, What> volatility(group.m_volatility, group.rows.volatility, ceilings);
        if (!group.SidesDiffer()) return body(volatility);
        body(Both(volatility, Into<What, What>(group.m_delivery, group.rows.delivery, ceilings)));
    };
    const bool flat = group.m_volatility.IsFlat();
    if (m_given.lossesOnly)
        flat ? intoGroup.template operator()<FlatIntoFlatGroup, Gives::Losses>()
             : intoGroup.template operator()<FlatIntoFullGroup, Gives::Losses>();
    else
        flat ? intoGroup.template operator()<FlatIntoFlatGroup, Gives::Signed>()
             : intoGroup.template operator()<FlatIntoFullGroup, Gives::Signed>();
}

// The taker behind one side of a full futures; ofDelivery: its delivery side, which the volatility side stands for
// while both are equal.
template <class Body>
void RiskNodeFutures::WithTakerOfSide(bool ofDelivery, const kernels::Ceilings& ceilings, const Body& body)
{
    using namespace kernels;
    if (m_group == nullptr) return body(Collapse(ofDelivery ? rows.delivery : rows.volatility));
    RiskNodeMMS& group = *m_group;
    if (group.m_only != nullptr) return WithTakerOfOnlyMember(ofDelivery, ceilings, body);
    const auto intoGroup = [&]<Gives What>() {
        const IntoGroup<What, What> side(ofDelivery ? group.m_delivery : group.m_volatility,
                                         ofDelivery ? group.rows.delivery : group.rows.volatility, ceilings);
        if (SidesDiffer() || !group.SidesDiffer()) return body(side);
        body(Both(side, IntoGroup<What, What>(group.m_delivery, group.rows.delivery, ceilings)));
    };
    m_given.lossesOnly ? intoGroup.template operator()<Gives::Losses>()
                       : intoGroup.template operator()<Gives::Signed>();
}

// Makes a change of the futures itself in the blocks from firstBlock to before lastBlock.
template <class Change>
void RiskNodeFutures::ChangeCells(const Change& change, std::size_t firstBlock, std::size_t lastBlock)
{
    const kernels::Ceilings ceilings = GetCeilings();
    const kernels::Blocks blocks{firstBlock, lastBlock};
    if (m_volatility.IsFlat())
        return WithFlatTaker(ceilings,
                             [&](const auto& taker) { kernels::ChangeFlatCells(m_volatility, change, taker, blocks); });
    WithTakerOfSide(false, ceilings, [&](const auto& taker) { ChangeFullCells(m_volatility, change, taker, blocks); });
    if (!SidesDiffer()) return;
    WithTakerOfSide(true, ceilings, [&](const auto& taker) { ChangeFullCells(m_delivery, change, taker, blocks); });
}

// Shows the cells of a side as the futures has them, kept or borrowed. Throws when memory ends.
template <class Body>
void RiskNodeFutures::WithCells(bool ofDelivery, const Body& body) const
{
    if (m_lender != nullptr) return body(BorrowedCells());
    body(ofDelivery && SidesDiffer() ? m_delivery : m_volatility);
}

// The taker of the series whose cells the futures borrows.
template <class Body>
void RiskNodeFutures::WithTakerOfLender(const Body& body)
{
    WithTakerOfSide(false, GetCeilings(), [&](const auto& next) { body(kernels::AsFutures(isCollateral, next)); });
}

// The taker of a series that changes one side of the futures.
template <class Body>
void RiskNodeFutures::WithTakerOfSeries(bool ofDelivery, const Body& body)
{
    WithTakerOfSide(ofDelivery, GetCeilings(), [&](const auto& next) {
        body(kernels::IntoFutures(ofDelivery ? m_delivery : m_volatility, isCollateral, next));
    });
}

// The taker of a series that changes both sides alike.
template <class Body>
void RiskNodeFutures::WithTakerOfSeriesForBothSides(const Body& body)
{
    if (!SidesDiffer()) return WithTakerOfSeries(false, body);
    WithTakerOfSide(false, GetCeilings(), [&](const auto& next) {
        using Next = std::remove_cvref_t<decltype(next)>;
        const kernels::IntoFutures volatility(m_volatility, isCollateral, next);
        const auto both = [&](const Next& nextOfDelivery) {
            body(kernels::Both(volatility, kernels::IntoFutures(m_delivery, isCollateral, nextOfDelivery)));
        };
        WithTakerOfSide(true, GetCeilings(), [&](const auto& nextOfDelivery) {
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(nextOfDelivery)>, Next>) both(nextOfDelivery);
        });
    });
}

// change(points) changes the stress points of the futures; their contribution to the group follows.
template <class Change>
void RiskNodeFutures::ChangePoints(const Change& change) noexcept
{
    const kernels::Ceilings ceilings = GetCeilings();
    const auto given = [&](const SpecialRiskPoints& points, double ceiling) {
        SpecialRiskPoints contribution = points;
        if (m_given.lossesOnly) contribution.BoundValuesFromAbove(ceiling);
        return contribution;
    };
    const auto changeSide = [&](NodeCells& own, NodeCells* inGroup, NodeCells* alsoInGroup) {
        const SpecialRiskPoints out = given(own.points, ceilings.out);
        change(own.points);
        const SpecialRiskPoints in = given(own.points, ceilings.in);
        for (NodeCells* const side : {inGroup, alsoInGroup}) {
            if (side == nullptr) continue;
            side->points -= out;
            side->points += in;
        }
    };
    NodeCells* const volatility = m_group != nullptr ? &m_group->m_volatility : nullptr;
    NodeCells* const delivery = m_group != nullptr && m_group->SidesDiffer() ? &m_group->m_delivery : nullptr;
    if (!SidesDiffer()) return changeSide(m_volatility, volatility, delivery);
    changeSide(m_volatility, volatility, nullptr);
    changeSide(m_delivery, delivery, nullptr);
}

} // namespace kv7im
