// A book taken anew after its participant's parameters have changed: positions and orders, one by one.
#include "book/Portfolio.h"

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
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

Z9ERR Portfolio::Refresh()
{
    RisksMap<RiskNodeMCS> oldMCS;
    RisksMap<RiskNodeMMS> oldMMS; // old positions point into these maps until they are gone
    MapCumulativeFuturesPosition oldPositions;
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
