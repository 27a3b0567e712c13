// Premium set aside for premium-style options, for clients whose margin leaves them out.
#include "MarginOrchestrator.h"

#include <span>

#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace margin_orchestrator {

namespace {

/// The factors that turn a premium into money, and the curvature radius of its currency.
struct PremiumFactors
{
    double moneyCoef;
    double curvatureRadius;
};

// Calls `reserve` with the factors of a premium-style option; an isin of anything else reserves nothing.
template <class Reserve>
void ReservePremium(const BraskClient& client, Isin isin, const Reserve& reserve)
{
    const kv7im::InstrumentsRepository& instruments = client.GetInstrumentsRepository();
    const kv7im::CSpecOption* const option = instruments.GetOption(kv7im::AccessByStatus::eCurrent, isin);
    if (option == nullptr || option->VirtFutures->marginStyle != Enums::MarginStyle::Equity) return;
    const kv7im::CSpecVirtFutures& series = *option->VirtFutures;
    reserve(
        PremiumFactors{series.MoneyCoef, instruments.GetCurvatureRadius(series.Futures->BaseContract->IndicatorID)});
}

} // namespace

void UpdateOrderReserve(BraskClient& client, std::size_t count, const SClearingDeltaOrder* orders)
{
    if (!client.IsNotUseNOV() || count == 0) return;
    for (const SClearingDeltaOrder& order : std::span(orders, count)) {
        if (!order.isBuying) continue; // a sale brings its premium in
        ReservePremium(client, order.isin, [&](const PremiumFactors& factors) {
            client.GetPremiumReservesCalculator().UpdateOrderReserve(order.isin, order.CalculatedPrice.calculatedPrice,
                                                                     order.orderInfo.deltaQuantity, factors.moneyCoef,
                                                                     factors.curvatureRadius);
        });
    }
}

void UpdateDealReserve(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity)
{
    if (!client.IsNotUseNOV()) return;
    ReservePremium(client, isin, [&](const PremiumFactors& factors) {
        client.GetPremiumReservesCalculator().UpdateDealReserve(isin, price, quantity, factors.moneyCoef,
                                                                factors.curvatureRadius);
    });
}

} // namespace margin_orchestrator
