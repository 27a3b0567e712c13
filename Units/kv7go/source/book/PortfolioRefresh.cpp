// A book taken anew after its participant's parameters have changed: positions and orders, one by one.
#include "book/RefreshedPortfolio.h"

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "kv7errors.h"

namespace kv7im {

Z9ERR Portfolio::InsertFuturesPosition(const CumulativePositionByFutures& position, bool useRealCalcPrice,
                                       NovQuantity novQuantity)
{
    const Isin isin = position.GetIsin();
    const CSpecFutures* const futures = participant_->GetInstruments().GetFutures(isin);
    if (futures == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    const CSpecPositionFutures& held = position.GetFuturesPositionSpec();
    const double price = useRealCalcPrice ? futures->RealCalcPrice : held.GetWAPrice();
    if (const Z9ERR code = SetPosition(isin, held.GetQuantity(), price, 0); code != Z9ERR_OK) return code;
    if (const Z9ERR code = resetOrders(held.GetOrders(), isin); code != Z9ERR_OK) return code;
    for (const auto& [optionIsin, option] : position.RangeOptions())
        if (const Z9ERR code = InsertOptionPosition(*option, useRealCalcPrice, novQuantity); code != Z9ERR_OK)
            return code;
    return Z9ERR_OK;
}

Z9ERR Portfolio::InsertOptionPosition(const CSpecPositionOptionsBase& position, bool useRealCalcPrice,
                                      NovQuantity novQuantity)
{
    const Isin isin = position.GetOptIsin();
    const CSpecOption* const option = participant_->GetInstruments().GetOption(isin);
    if (option == nullptr) return Z9ERR_INSTRUMENT_ABSENT;

    const double price = useRealCalcPrice ? option->CalcOptPrice : position.GetWAPrice();
    const std::int64_t counted = novQuantity == NovQuantity::AsItWas
                                     ? position.GetNovQuantity()
                                     : participant_->GetAfterLastClearingQuantityByIsin(isin);
    if (const Z9ERR code = SetPosition(isin, position.GetQuantity(), price, counted); code != Z9ERR_OK) return code;
    return resetOrders(position.GetOrders(), isin);
}

Z9ERR Portfolio::Refresh()
{
    Refreshed(*this, Refreshed::Because::ParametersHaveChanged).Keep();
    return Z9ERR_OK;
}

Portfolio::Refreshed::Refreshed(Portfolio& book, Because because)
    : m_book(book),
      m_rolledUp(book.halfNettingRisksCorrected_),
      m_volatilityMargin(book.VolatilityInitialMargin_),
      m_deliveryMargin(book.DeliveryVolatilityInitialMargin_),
      m_largestMagnitude(book.m_largestMagnitude)
{
    // The net option values follow the accounting once parameters have changed, whatever positions were set with.
    const NovQuantity novQuantity =
        because == Because::ParametersHaveChanged ? NovQuantity::OfAccounting : NovQuantity::AsItWas;
    m_book.positions.swap(m_positions);
    m_book.initialMarginRisksMapMMS_.swap(m_mms);
    m_book.initialMarginRisksMapMCS_.swap(m_mcs);
    m_book.Clear();
    m_book.ForgetMagnitude();
    try {
        for (const auto& [isin, position] : m_positions) // a position whose instrument is gone drops out
            static_cast<void>(m_book.InsertFuturesPosition(position, false, novQuantity));
    } catch (...) {
        GiveBack();
        throw;
    }
}

Portfolio::Refreshed::~Refreshed()
{
    if (!m_isKept) GiveBack();
}

void Portfolio::Refreshed::GiveBack() noexcept
{
    m_book.positions.swap(m_positions);
    m_book.initialMarginRisksMapMMS_.swap(m_mms);
    m_book.initialMarginRisksMapMCS_.swap(m_mcs);
    m_book.halfNettingRisksCorrected_.swap(m_rolledUp);
    m_book.VolatilityInitialMargin_ = m_volatilityMargin;
    m_book.DeliveryVolatilityInitialMargin_ = m_deliveryMargin;
    m_book.m_largestMagnitude = m_largestMagnitude;
}

} // namespace kv7im
