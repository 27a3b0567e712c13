// One futures taken anew after its instruments have changed: out of its groups, and in again on the new objects. When
// memory ends on the way the book is as it was.
#include "book/Portfolio.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "kv7errors.h"

namespace kv7im {

// The nodes of a base contract as they stand; null where the contract has none.
struct Portfolio::KeptGroups
{
    void GiveBack() noexcept
    {
        if (mms != nullptr) mms->GiveBack(std::move(*keptMMS));
        if (mcs != nullptr) *mcs = std::move(*keptMCS);
    }

    RiskNodeMMS* mms = nullptr;
    RiskNodeMCS* mcs = nullptr;
    std::optional<RiskNodeMMS::Kept> keptMMS;
    std::optional<RiskNodeMCS> keptMCS;
};

// Takes a futures out of its groups. Exactly what it contributed is subtracted; the margins of the groups are
// forgotten, so that the next ones are reported whole, and the margins of the position itself go with it. From now on
// the groups use the new instrument, since this may be the last futures of theirs to be rebuilt.
void Portfolio::ZeroingRiskByFutures(const CumulativePositionByFutures& position, const CSpecFutures& speaker)
{
    RiskNodeMMS* const mms = position.GetOwnerRiskNode().Group();
    if (mms == nullptr) return;
    mms->TakeOut(position.GetOwnerRiskNode());
    mms->ZeroMarginValue();
    if (!position.HasLevelMCS()) return;
    mms->CarryToMCS({participant_->GetInterContractSpreadMarginType(), &speaker}, MarginMode::Plain);
    mms->parent->ZeroMarginValue();
}

Z9ERR Portfolio::RecalcFuturesPositionInPortfolio(Isin isin, bool useRealCalcPrice)
{
    const auto found = positions.find(isin);
    if (found == positions.end()) return Z9ERR_CALCGO_API_POSITION_NOT_FOUND;
    const CSpecFutures* const now = participant_->GetInstruments().GetFutures(isin);
    const CSpecFutures& speaker = now != nullptr ? *now : *found->second.GetFutures();

    // Keeps the state to return to. A futures has its groups in its old shape and its new one alike, so they can be
    // made here.
    const CumulativePositionByFutures inItsNewShape(participant_, *this, speaker);
    KeptGroups groups = KeepGroups(*speaker.BaseContract);
    const double volatilityMargin = VolatilityInitialMargin_;
    const double deliveryMargin = DeliveryVolatilityInitialMargin_;

    const double ownVolatility = found->second.GetTotalVolatilityInitialMargin();
    const double ownDelivery = found->second.GetTotalDeliveryVolatilityInitialMargin();
    auto old = positions.extract(found);
    try {
        ZeroingRiskByFutures(old.mapped(), speaker);
        VolatilityInitialMargin_ -= ownVolatility;
        DeliveryVolatilityInitialMargin_ -= ownDelivery;
        AddMarginOfGroupThatWasLeft(old.mapped(), now);
        return InsertFuturesPosition(old.mapped(), useRealCalcPrice);
    } catch (...) {
        positions.erase(isin);
        positions.insert(std::move(old)); // there was room for as many before
        groups.GiveBack();
        VolatilityInitialMargin_ = volatilityMargin;
        DeliveryVolatilityInitialMargin_ = deliveryMargin;
        throw;
    }
}

// Reports the margin of the group that a futures has left with the spread: the futures does not come back to it.
void Portfolio::AddMarginOfGroupThatWasLeft(const CumulativePositionByFutures& old, const CSpecFutures* now)
{
    RiskNodeMMS* const mms = old.GetOwnerRiskNode().Group();
    if (mms == nullptr || (now != nullptr && now->IsInSpread)) return;
    RiskNodeBase& group = old.HasLevelMCS() ? static_cast<RiskNodeBase&>(*mms->parent) : *mms;
    const CSpecBaseContract& baseContract = now != nullptr ? *now->BaseContract : *old.GetFutures()->BaseContract;
    VolatilityInitialMargin_ += group.UpdateInitialMarginValue(baseContract);
    DeliveryVolatilityInitialMargin_ += group.UpdateInitialMarginDeliveryValue(baseContract);
}

Portfolio::KeptGroups Portfolio::KeepGroups(const CSpecBaseContract& baseContract) const
{
    KeptGroups groups;
    const auto mms = initialMarginRisksMapMMS_.find(baseContract.Code);
    if (mms == initialMarginRisksMapMMS_.end() || mms->second == nullptr) return groups; // memory has ended there once
    groups.mms = mms->second.get();
    groups.mcs = groups.mms->parent;
    groups.keptMMS = groups.mms->Keep();
    if (groups.mcs != nullptr) groups.keptMCS = *groups.mcs;
    return groups;
}

bool Portfolio::StandsOnChangedInstruments() const
{
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    return std::any_of(positions.begin(), positions.end(), [&](const auto& entry) {
        return entry.second.GetFutures() != repository.GetFutures(AccessByStatus::eNew, entry.first);
    });
}

} // namespace kv7im
