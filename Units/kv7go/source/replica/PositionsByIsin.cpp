// The positions of a book, asked for by isin.
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecOption.h"

namespace kv7im {

std::vector<Isin> Portfolio::GetFuturesIsins() const
{
    std::vector<Isin> isins;
    isins.reserve(positions.size());
    for (const auto& [isin, position] : positions)
        isins.push_back(isin);
    return isins;
}

const CSpecPosition* Portfolio::GetSpecPosition(Isin isin) const
{
    const CumulativePositionByFutures* const position = GetFuturesPositionByIsin(isin);
    if (position != nullptr) return &position->GetFuturesPositionSpec();
    const CSpecOption* const option = participant_->GetInstruments().GetOption(isin);
    if (option == nullptr) return nullptr;
    const CumulativePositionByFutures* const onItsFutures = GetFuturesPositionByIsin(option->GetFuturesIsin());
    return onItsFutures == nullptr ? nullptr : onItsFutures->FindOptionPosition(isin);
}

const CSpecPositionOptionsBase* CumulativePositionByFutures::FindOptionPosition(Isin isin) const
{
    const auto found = m_optionsMap.find(isin);
    return found == m_optionsMap.end() ? nullptr : found->second.get();
}

CSpecPositionOptionsBase* CumulativePositionByFutures::GetOptionPositionSpec(Isin isin)
{
    if (const auto found = m_optionsMap.find(isin); found != m_optionsMap.end()) return found->second.get();
    const CSpecOption* const option = m_participant->GetInstruments().GetOption(isin);
    return option == nullptr ? nullptr : &FindOrCreateOptionPosition(*option);
}

} // namespace kv7im
