// What the premium of a premium-style option is reserved by, for orders and deals alike.
#pragma once

#include "Client.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace margin_orchestrator {

/// The factors that turn a premium into money, and the curvature radius of its currency.
struct PremiumFactors
{
    double moneyCoef;
    double curvatureRadius;
};

/// Calls `reserve` with the factors of a premium-style option; an isin of anything else reserves nothing.
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

} // namespace margin_orchestrator
