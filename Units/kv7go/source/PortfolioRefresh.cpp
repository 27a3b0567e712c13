// Taking positions and orders anew: one futures after its instruments have changed, or the whole book after its
// participant's parameters have.
#include "Portfolio.h"

#include <utility>

#include "InstrumentsRepositoryWrapper.h"
#include "RiskParticipant.h"
#include "SpecFutures.h"
#include "SpecOption.h"
#include "kv7errors.h"

namespace kv7im {

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

// Takes a futures out of its groups. What it gave is subtracted exactly; their margins are forgotten, so that the next
// one is reported whole.
void Portfolio::ZeroingRiskByFutures(CumulativePositionByFutures& position)
{
    if (RiskNodeMMS* const mms = position.GetOwnerRiskNode().parent; mms != nullptr) {
        RiskNodeMCS* const mcs = position.HasLevelMCS() ? mms->parent : nullptr;
        if (mcs != nullptr) {
            *mcs -= (*mms | position.GetPropertiesForICS());
            mcs->ZeroMarginValue();
        }
        *mms -= position.GetPreviousFuturesRiskNodeConsideredInMMS();
        mms->ZeroMarginValue();
        if (mcs != nullptr) *mcs += (*mms | position.GetPropertiesForICS());
    }
    position.ZeroMarginValue();
}

Z9ERR Portfolio::RecalcFuturesPositionInPortfolio(Isin isin, bool useRealCalcPrice)
{
    const auto found = positions.find(isin);
    if (found == positions.end()) return Z9ERR_CALCGO_API_POSITION_NOT_FOUND;

    const double volatilityBefore = found->second.GetTotalVolatilityInitialMargin();
    const double deliveryBefore = found->second.GetTotalDeliveryVolatilityInitialMargin();
    ZeroingRiskByFutures(found->second);
    const auto old = positions.extract(found);
    VolatilityInitialMargin_ -= volatilityBefore;
    DeliveryVolatilityInitialMargin_ -= deliveryBefore;
    AddMarginOfGroupThatWasLeft(old.mapped());
    return InsertFuturesPosition(old.mapped(), useRealCalcPrice);
}

// A futures that has left the spread does not come back to its group, which reports its margin without it here.
void Portfolio::AddMarginOfGroupThatWasLeft(const CumulativePositionByFutures& old)
{
    RiskNodeMMS* const mms = old.GetOwnerRiskNode().parent;
    const CSpecFutures* const now = participant_->GetInstruments().GetFutures(old.GetIsin());
    if (mms == nullptr || (now != nullptr && now->IsInSpread)) return;
    RiskNodeBase& group = old.HasLevelMCS() ? static_cast<RiskNodeBase&>(*mms->parent) : *mms;
    const CSpecBaseContract& baseContract = *old.GetFutures()->BaseContract;
    VolatilityInitialMargin_ += group.UpdateInitialMarginValue(baseContract);
    DeliveryVolatilityInitialMargin_ += group.UpdateInitialMarginDeliveryValue(baseContract);
}

Z9ERR Portfolio::Refresh()
{
    MapCumulativeFuturesPosition oldPositions;
    RisksMap<RiskNodeMMS> oldMMS; // old positions point into both until they are gone
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
            static_cast<void>(InsertFuturesPosition(position, false)); // whose instrument is gone drops out
    } catch (...) {
        exchange();
        VolatilityInitialMargin_ = volatilityBefore;
        DeliveryVolatilityInitialMargin_ = deliveryBefore;
        throw;
    }
    return Z9ERR_OK;
}

} // namespace kv7im
