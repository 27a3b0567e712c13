// Premium set aside for premium-style options, for clients whose margin leaves them out.
#include "MarginOrchestrator.h"

#include <span>

#include "PremiumOfOption.h"

namespace margin_orchestrator {

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

} // namespace margin_orchestrator
