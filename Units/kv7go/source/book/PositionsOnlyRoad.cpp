// How a position reaches the margin in the mode of positions alone: through the nodes of the plain mode, with the
// additions and the margins of this mode.
//
// Beyond the position nothing needs memory, so a change that has reached its node reaches the margins as well.
#include <utility>

#include "book/Portfolio.h"
#include "book/Position.h"
#include "instruments/SpecFutures.h"

namespace kv7im {

Z9ERR Portfolio::SetPosition_PositionsOnly(Isin isin, std::int64_t quantity, double price, double marketPrice,
                                           std::int64_t novQuantity)
{
    const SearchResult found = FindByIsin(isin);
    if (found.FuturesFound())
        found.GetPositionPtr()->ChangeFuturesPosition_PositionsOnly(quantity, price, marketPrice);
    else if (found.OptionFound())
        found.GetPositionPtr()->ChangeOptionPosition_PositionsOnly(*found.GetOptionPtr(), quantity, price, marketPrice,
                                                                   novQuantity);
    return found.ErrorToZ9ErrorCode();
}

void CumulativePositionByFutures::ChangeFuturesPosition_PositionsOnly(std::int64_t quantity, double price,
                                                                      double marketPrice)
{
    SetSpecPositionPrivate_PositionsOnly(m_position, quantity, price, marketPrice, 0);
}

void CumulativePositionByFutures::ChangeOptionPosition_PositionsOnly(const CSpecOption& option, std::int64_t quantity,
                                                                     double price, double marketPrice,
                                                                     std::int64_t novQuantity)
{
    SetSpecPositionPrivate_PositionsOnly(FindOrCreateOptionPositionAndMarkChanged(option), quantity, price, marketPrice,
                                         novQuantity);
}

void CumulativePositionByFutures::SetSpecPositionPrivate_PositionsOnly(CSpecPosition& position, std::int64_t quantity,
                                                                       double price, double marketPrice,
                                                                       std::int64_t novQuantity)
{
    WithMarkOfThisCall(
        [&] { position.UpdateInitialMarginByNewPosition_PositionsOnly(quantity, price, marketPrice, novQuantity); });
    InitialMarginCalculation_PositionsOnly();
}

// Carries the change of this futures up through its groups.
void CumulativePositionByFutures::CarryToGroups_PositionsOnly()
{
    if (!HasLevelMMS()) return;
    RiskNodeMMS& mms = *m_ownerRisk.parent;
    // Subtracted before the group changes: exactly what it contributed last, in either mode.
    if (HasLevelMCS()) *mms.parent -= (mms | GetPropertiesForICS());
    mms.ReplaceContribution_PositionsOnly(m_previousFuturesGroupRisks, m_ownerRisk, GivesLossesOnly());
    if (HasLevelMCS()) mms.parent->AdditionAssignment_PositionsOnly(mms | GetPropertiesForICS());
}

// A series standing alone is margined by itself and reaches no node above it.
void CumulativePositionByFutures::InitialMarginCalculation_PositionsOnly()
{
    const CSpecBaseContract& baseContract = *m_futures->BaseContract;
    RiskNodeOptionSeries* const series = std::exchange(m_changedOptionSeriesNodeWithoutSpread, nullptr);
    if (series == nullptr) CarryToGroups_PositionsOnly();
    RiskNodeBase& node = series != nullptr ? *series : TopNode();

    const double volatilityChange = node.UpdateInitialMarginValue_PositionsOnly(baseContract);
    const double deliveryChange = node.UpdateInitialMarginDeliveryValue_PositionsOnly(baseContract);
    ReportMarginChange(series != nullptr, volatilityChange, deliveryChange);
}

} // namespace kv7im
