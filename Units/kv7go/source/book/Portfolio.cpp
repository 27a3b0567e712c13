// What a portfolio holds, and how a position enters it. Orders, refreshes and the changes that go up to other
// participants stand in files of their own.
#include "book/Portfolio.h"

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

/// The node under a code; null when there is none.
template <class Node>
const Node* FindNode(const Portfolio::RisksMap<Node>& map, const std::string& code)
{
    const auto found = map.find(code);
    return found == map.end() ? nullptr : found->second.get();
}

} // namespace

Z9ERR Portfolio::SearchResult::ErrorToZ9ErrorCode() const noexcept
{
    return resultType == ResultType::Nothing ? Z9ERR_INSTRUMENT_ABSENT : Z9ERR_OK;
}

Portfolio::SearchResult Portfolio::FindByIsin(Isin isin)
{
    const InstrumentsRepositoryWrapper& instruments = participant_->GetInstruments();
    if (const CSpecFutures* const futures = instruments.GetFutures(isin))
        return {FindOrCreateCumulativeFuturesPosition(*futures), *futures};
    if (const CSpecMultileg* const multileg = instruments.GetMultileg(isin)) return FindMultileg(*multileg);
    const CSpecOption* const option = instruments.GetOption(isin);
    if (option == nullptr) return {};
    const CSpecFutures* const futures = instruments.GetFutures(option->GetFuturesIsin());
    if (futures == nullptr) return {};
    return {FindOrCreateCumulativeFuturesPosition(*futures), *option};
}

Portfolio::SearchResult Portfolio::FindMultileg(const CSpecMultileg& multileg)
{
    const InstrumentsRepositoryWrapper& instruments = participant_->GetInstruments();
    const CSpecFutures* const first = instruments.GetFutures(multileg.GetFirstLegIsin());
    const CSpecFutures* const second = instruments.GetFutures(multileg.GetSecondLegIsin());
    if (first == nullptr || second == nullptr) return {};
    CumulativePositionByFutures& secondLeg = FindOrCreateCumulativeFuturesPosition(*second);
    return {FindOrCreateCumulativeFuturesPosition(*first), secondLeg, multileg};
}

CumulativePositionByFutures& Portfolio::FindOrCreateCumulativeFuturesPosition(const CSpecFutures& futures)
{
    const auto [entry, isNew] = positions.try_emplace(futures.isin, participant_, *this, futures);
    if (!isNew) return entry->second;
    try {
        participant_->NewPositionAddedToPortfolio(entry->second);
    } catch (...) { // otherwise the participant would never be told
        positions.erase(entry);
        throw;
    }
    return entry->second;
}

Z9ERR Portfolio::SetPosition(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity)
{
    return PreparedPosition(*this, isin).Set(quantity, price, novQuantity);
}

Portfolio::PreparedPosition::PreparedPosition(Portfolio& book, Isin isin) : m_found(book.FindByIsin(isin))
{
    if (m_found.FuturesFound())
        static_cast<void>(m_found.GetPositionPtr()->MakeRoomForFutures());
    else if (m_found.OptionFound())
        m_option = &m_found.GetPositionPtr()->MakeRoomForOption(*m_found.GetOptionPtr());
}

Z9ERR Portfolio::PreparedPosition::Set(std::int64_t quantity, double price, std::int64_t novQuantity)
{
    if (m_found.FuturesFound())
        m_found.GetPositionPtr()->ChangeFuturesPosition(quantity, price);
    else if (m_option != nullptr)
        m_found.GetPositionPtr()->ChangeOptionPosition(*m_option, quantity, price, novQuantity);
    return m_found.ErrorToZ9ErrorCode();
}

Z9ERR Portfolio::SetPosition_PositionsOnly(Isin isin, std::int64_t quantity, double price, double marketPrice,
                                           std::int64_t novQuantity)
{
    const SearchResult found = FindByIsin(isin);
    if (found.FuturesFound())
        found.GetPositionPtr()->ChangeFuturesPosition_PositionsOnly(quantity, price, marketPrice);
    else if (found.OptionFound())
        found.GetPositionPtr()->ChangeOptionPosition_PositionsOnly(*found.GetOptionPtr(), quantity, price, marketPrice,
                                                                   novQuantity);
    return found.ErrorToZ9ErrorCode();
}

void Portfolio::Clear()
{
    positions.clear();
    initialMarginRisksMapMCS_.clear();
    initialMarginRisksMapMMS_.clear();
    VolatilityInitialMargin_ = 0.0;
    DeliveryVolatilityInitialMargin_ = 0.0;
}

const CumulativePositionByFutures* Portfolio::GetFuturesPositionByIsin(Isin isin) const
{
    const auto found = positions.find(isin);
    return found == positions.end() ? nullptr : &found->second;
}

const RiskNodeMMS* Portfolio::GetRisksNodeOfLevelMMS(const std::string& code) const
{
    return FindNode(initialMarginRisksMapMMS_, code);
}

const RiskNodeMCS* Portfolio::GetRisksNodeOfLevelMCS(const std::string& code) const
{
    return FindNode(initialMarginRisksMapMCS_, code);
}

} // namespace kv7im
