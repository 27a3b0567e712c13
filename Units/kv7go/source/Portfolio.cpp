#include "Portfolio.h"

#include "InstrumentsRepository.h"
#include "InstrumentsRepositoryWrapper.h"
#include "RiskParticipant.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

std::size_t PointsNumOf(const CSpecFutures& futures) { return static_cast<std::size_t>(futures.GetPointsNum()); }

// Futures in a spread speak for their base contract, others for themselves.
const std::string& RolledUpCodeOf(const CSpecFutures& futures)
{
    return futures.IsInSpread ? futures.CodeBC : futures.Code;
}

// The node of the series of an option, where the series is margined by itself and was ever held; otherwise null.
const RiskNodeOptionSeries* SeriesStandingAlone(const Portfolio::SearchResult& found)
{
    if (!found.OptionFound() || found.GetOptionPtr()->VirtFutures->IsInSpread) return nullptr;
    return found.GetPositionPtr()->GetRiskNodeOptionSeriesByVFCode(found.GetOptionPtr()->CodeVF);
}

template <class Map>
auto* FindNode(Map& map, const std::string& code)
{
    const auto found = map.find(code);
    return found == map.end() ? nullptr : &found->second;
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
    const CSpecOption* const option = instruments.GetOption(isin);
    if (option == nullptr) return {};
    const CSpecFutures* const futures = instruments.GetFutures(option->GetFuturesIsin());
    if (futures == nullptr) return {};
    return {FindOrCreateCumulativeFuturesPosition(*futures), *option};
}

CumulativePositionByFutures& Portfolio::FindOrCreateCumulativeFuturesPosition(const CSpecFutures& futures)
{
    const auto [entry, isNew] = positions.try_emplace(futures.isin, participant_, *this, futures);
    if (!isNew) return entry->second;
    try {
        participant_->NewPositionAddedToPortfolio(entry->second);
    } catch (...) { // or the participant would never be told
        positions.erase(entry);
        throw;
    }
    return entry->second;
}

Z9ERR Portfolio::SetPosition(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity)
{
    const SearchResult found = FindByIsin(isin);
    if (found.FuturesFound())
        found.GetPositionPtr()->ChangeFuturesPosition(quantity, price);
    else if (found.OptionFound())
        found.GetPositionPtr()->ChangeOptionPosition(*found.GetOptionPtr(), quantity, price, novQuantity);
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

std::vector<Isin> Portfolio::GetFuturesIsins() const
{
    std::vector<Isin> isins;
    isins.reserve(positions.size());
    for (const auto& [isin, position] : positions)
        isins.push_back(isin);
    return isins;
}

const CumulativePositionByFutures* Portfolio::GetFuturesPositionByIsin(Isin isin) const
{
    const auto found = positions.find(isin);
    return found == positions.end() ? nullptr : &found->second;
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

const RiskNodeMMS* Portfolio::GetRisksNodeOfLevelMMS(const std::string& code) const
{
    const auto* const node = FindNode(initialMarginRisksMapMMS_, code);
    return node == nullptr ? nullptr : node->get();
}

const RiskNodeMCS* Portfolio::GetRisksNodeOfLevelMCS(const std::string& code) const
{
    const auto* const node = FindNode(initialMarginRisksMapMCS_, code);
    return node == nullptr ? nullptr : node->get();
}

const RolledUpRiskNode* Portfolio::GetHalfNettingRisksByCode(const std::string& code) const
{
    return FindNode(halfNettingRisksCorrected_, code);
}

RolledUpRiskNode& Portfolio::TryFindOrCreateRolledUpRisk(const std::string& code, std::size_t pointsNum)
{
    return halfNettingRisksCorrected_.try_emplace(code, pointsNum, participant_->GetRiskLevel()).first->second;
}

RolledUpRiskNode Portfolio::GetRolledUpRiskNode(const RiskNodeBase& node, const CSpecBaseContract& baseContract)
{
    RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(Risk::CollapseProperty::NegativeAndPositive);
    rolledUp.ApplyCorrection(baseContract);
    return rolledUp;
}

RolledUpRiskNode Portfolio::GetRolledUpRiskNode(const CumulativePositionByFutures& position,
                                                const CSpecBaseContract& baseContract)
{
    const RiskNodeFutures& owner = position.GetOwnerRiskNode();
    return GetRolledUpRiskNode(position.HasLevelMMS() ? static_cast<const RiskNodeBase&>(*owner.parent) : owner,
                               baseContract);
}

// The change of the losses since the last call under this code; profits are cut off on both sides.
RolledUpRiskNode Portfolio::GetDeltaRolledUpRiskNode(const std::string& code, RolledUpRiskNode current)
{
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(code, current.PointsNum());
    RolledUpRiskNode old = entry;
    entry = current;
    old.BoundValuesFromAbove(0.0);
    current.BoundValuesFromAbove(0.0);
    current -= old;
    return current;
}

void Portfolio::GetDeltaRolledUpRiskNodes(Isin isin, RolledUpRisksVector& deltas)
{
    const SearchResult found = FindByIsin(isin);
    if (found.GetPositionPtr() == nullptr) return;
    const CumulativePositionByFutures& position = *found.GetPositionPtr();
    const CSpecFutures& futures = *position.GetFutures();
    if (const RiskNodeOptionSeries* const series = SeriesStandingAlone(found)) {
        const std::string& code = found.GetOptionPtr()->VirtFutures->Code;
        deltas.emplace_back(isin, GetDeltaRolledUpRiskNode(code, GetRolledUpRiskNode(*series, *futures.BaseContract)));
        return;
    }
    deltas.emplace_back(futures.isin, GetDeltaRolledUpRiskNode(RolledUpCodeOf(futures),
                                                               GetRolledUpRiskNode(position, *futures.BaseContract)));
}

void Portfolio::AddRolledUpRiskNodes(const RolledUpRisksVector& deltas)
{
    for (const auto& [isin, node] : deltas)
        AddRolledUpRiskNode(isin, node);
}

void Portfolio::AddRolledUpRiskNode(Isin isin, const RolledUpRiskNode& node)
{
    const InstrumentsRepositoryWrapper& instruments = participant_->GetInstruments();
    if (const CSpecFutures* const futures = instruments.GetFutures(isin)) {
        AddRolledUpRiskNode(*futures, node);
        return;
    }
    const CSpecOption* const option = instruments.GetOption(isin);
    if (option != nullptr && !option->VirtFutures->IsInSpread) AddRolledUpRiskNode(*option->VirtFutures, node);
}

void Portfolio::AddRolledUpRiskNode(const CSpecFutures& futures, const RolledUpRiskNode& node)
{
    const CSpecBaseContract& baseContract = *futures.BaseContract;
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(RolledUpCodeOf(futures), PointsNumOf(futures));
    entry += node;
    if (!futures.IsInSpread || !baseContract.HasMCS()) {
        AddMarginChangesOf(entry);
        return;
    }
    RolledUpRiskNode& entryOfMCS = TryFindOrCreateRolledUpRisk(baseContract.CodeMCS, PointsNumOf(futures));
    RebuildRolledUpMCS(baseContract, entryOfMCS);
    AddMarginChangesOf(entryOfMCS);
}

// A series standing alone belongs to no group. Its row has the real price points only: sub-points were folded below.
void Portfolio::AddRolledUpRiskNode(const CSpecVirtFutures& series, const RolledUpRiskNode& node)
{
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(series.Code, static_cast<std::size_t>(series.GetPointsNum()));
    entry += node;
    AddMarginChangesOf(entry);
}

// The sum of an MCS is made anew from the entries of its base contracts, not updated.
void Portfolio::RebuildRolledUpMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS)
{
    entryOfMCS.Zero();
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    for (const BaseContractNode& member : repository.RangeBaseContractByMCS(baseContract.CodeMCS)) {
        const RolledUpRiskNode* const entry = FindNode(halfNettingRisksCorrected_, member.GetCode());
        if (entry != nullptr) entryOfMCS += *entry;
    }
}

void Portfolio::AddMarginChangesOf(RolledUpRiskNode& entry)
{
    VolatilityInitialMargin_ += entry.UpdateInitialMarginValue();
    DeliveryVolatilityInitialMargin_ += entry.UpdateInitialMarginDeliveryValue();
}

} // namespace kv7im
