// Rebuilding positions and orders: those on one futures after its instruments have changed, or the whole book after its
// participant's parameters have changed.
#include "book/Portfolio.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
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

Z9ERR Portfolio::InsertFuturesPosition(const CumulativePositionByFutures& position, bool useRealCalcPrice)
{
    const Isin isin = position.GetIsin();
    const CSpecFutures* const futures = participant_->GetInstruments().GetFutures(isin);
    if (futures == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    const CSpecPositionFutures& held = position.GetFuturesPositionSpec();
    const double price = useRealCalcPrice ? futures->RealCalcPrice : held.GetWAPrice();
    if (const Z9ERR code = SetPosition(isin, held.GetQuantity(), price, 0); code != Z9ERR_OK) return code;
    if (const Z9ERR code = resetOrders(held.GetOrders(), isin); code != Z9ERR_OK) return code;
    for (const auto& [optionIsin, option] : position.RangeOptions())
        if (const Z9ERR code = InsertOptionPosition(*option, useRealCalcPrice); code != Z9ERR_OK) return code;
    return Z9ERR_OK;
}

// The net option value follows the accounting, whatever the position was set with.
Z9ERR Portfolio::InsertOptionPosition(const CSpecPositionOptionsBase& position, bool useRealCalcPrice)
{
    const Isin isin = position.GetOptIsin();
    const CSpecOption* const option = participant_->GetInstruments().GetOption(isin);
    if (option == nullptr) return Z9ERR_INSTRUMENT_ABSENT;

    const double price = useRealCalcPrice ? option->CalcOptPrice : position.GetWAPrice();
    const std::int64_t novQuantity = participant_->GetAfterLastClearingQuantityByIsin(isin);
    if (const Z9ERR code = SetPosition(isin, position.GetQuantity(), price, novQuantity); code != Z9ERR_OK) return code;
    return resetOrders(position.GetOrders(), isin);
}

// Takes a futures out of its groups. Exactly what it contributed is subtracted; the margins of the groups are
// forgotten, so that the next ones are reported whole, and the margins of the position itself go with it. From now on
// the groups use the new instrument, since this may be the last futures of theirs to be rebuilt.
void Portfolio::ZeroingRiskByFutures(const CumulativePositionByFutures& position, const CSpecFutures& speaker)
{
    RiskNodeMMS* const mms = position.GetOwnerRiskNode().parent;
    if (mms == nullptr) return;
    const RiskNodeMMS::PropertiesForICS properties{participant_->GetInterContractSpreadMarginType(), &speaker};
    RiskNodeMCS* const mcs = position.HasLevelMCS() ? mms->parent : nullptr;
    if (mcs != nullptr) {
        *mcs -= (*mms | properties);
        mcs->ZeroMarginValue();
    }
    *mms -= position.GetPreviousFuturesRiskNodeConsideredInMMS();
    mms->ZeroMarginValue();
    if (mcs != nullptr) *mcs += (*mms | properties);
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
    RiskNodeMMS* const mms = old.GetOwnerRiskNode().parent;
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

Z9ERR Portfolio::Refresh()
{
    MapCumulativeFuturesPosition oldPositions;
    RisksMap<RiskNodeMMS> oldMMS; // old positions point into these maps until they are gone
    RisksMap<RiskNodeMCS> oldMCS;
    const double volatilityBefore = VolatilityInitialMargin_;
    const double deliveryBefore = DeliveryVolatilityInitialMargin_;
    const auto exchange = [&]() noexcept {
        positions.swap(oldPositions);
        initialMarginRisksMapMMS_.swap(oldMMS);
        initialMarginRisksMapMCS_.swap(oldMCS);
    };

    exchange();
    Clear();
    try {
        for (const auto& [isin, position] : oldPositions)
            static_cast<void>(InsertFuturesPosition(position, false)); // a position whose instrument is gone drops out
    } catch (...) {
        exchange();
        VolatilityInitialMargin_ = volatilityBefore;
        DeliveryVolatilityInitialMargin_ = deliveryBefore;
        throw;
    }
    return Z9ERR_OK;
}

} // namespace kv7im
