#include "TradedInstrument.h"

#include "LibraryState.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace quindal {

const kv7im::InstrumentsRepository& LoadedInstruments() { return QuindalIM::GetInstrumentsRepositoryForQuindalIM(); }

TradedInstrument TradedInstrument::Find(const std::string& code)
{
    TradedInstrument found;
    found.futures = LoadedInstruments().GetFutures(code);
    if (found.futures == nullptr) found.option = LoadedInstruments().GetOption(kv7im::AccessByStatus::eCurrent, code);
    return found;
}

const kv7im::CSpecFutures& TradedInstrument::Futures() const
{
    return option != nullptr ? *option->VirtFutures->Futures : *futures;
}

const kv7im::CSpecBaseContract& TradedInstrument::Contract() const { return *Futures().BaseContract; }

double TradedInstrument::CalculatedPrice() const
{
    return option != nullptr ? option->CalcOptPrice : futures->CalcFutPrice;
}

double TradedInstrument::MoneyOfPrice() const
{
    return option != nullptr ? option->VirtFutures->MoneyCoef : futures->MoneyCoef;
}

kv7im::Risk TradedInstrument::Held(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const
{
    return option != nullptr ? option->TransformToPosition(quantity, price, level)
                             : futures->TransformToPosition(quantity, price, level);
}

} // namespace quindal
