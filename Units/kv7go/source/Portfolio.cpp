#include "Portfolio.h"

#include <tuple>

#include "InstrumentsRepository.h"
#include "InstrumentsRepositoryWrapper.h"
#include "RiskParticipant.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

// Futures in a spread speak for their base contract, others for themselves.
const std::string& RolledUpCodeOf(const CSpecFutures& futures)
{
    return futures.IsInSpread ? futures.CodeBC : futures.Code;
}

RolledUpRiskNode& TryFindOrCreateRolledUpRisk(Portfolio::MapRolledUpRiskNode& map, const std::string& code,
                                              Enums::ClientRiskLevel level, std::size_t pointsNum)
{
    return map.try_emplace(code, pointsNum, level).first->second;
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
    const CSpecFutures* const futures = participant_->GetInstruments().GetFutures(isin);
    if (futures == nullptr) return {};
    return {FindOrCreateCumulativeFuturesPosition(*futures), *futures};
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

Z9ERR Portfolio::SetPosition(Isin isin, std::int64_t quantity, double price, [[maybe_unused]] std::int64_t novQuantity)
{
    const SearchResult found = FindByIsin(isin);
    if (found.FuturesFound()) found.GetPositionPtr()->ChangeFuturesPosition(quantity, price);
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
    return position == nullptr ? nullptr : &position->GetFuturesPositionSpec();
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

RolledUpRiskNode Portfolio::GetRolledUpRiskNode(const CumulativePositionByFutures& position,
                                                const CSpecBaseContract& baseContract)
{
    const RiskNodeFutures& owner = position.GetOwnerRiskNode();
    const RiskNodeBase& node = position.HasLevelMMS() ? static_cast<const RiskNodeBase&>(*owner.parent) : owner;
    RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(Risk::CollapseProperty::NegativeAndPositive);
    rolledUp.ApplyCorrection(baseContract);
    return rolledUp;
}

// The change of the losses since the last call under this code; profits are cut off on both sides.
RolledUpRiskNode Portfolio::GetDeltaRolledUpRiskNode(const std::string& code,
                                                     const CumulativePositionByFutures& position)
{
    const CSpecFutures& futures = *position.GetFutures();
    RolledUpRiskNode& entry =
        TryFindOrCreateRolledUpRisk(halfNettingRisksCorrected_, code, participant_->GetRiskLevel(),
                                    static_cast<std::size_t>(futures.GetPointsNum()));
    RolledUpRiskNode old = entry;
    RolledUpRiskNode delta = GetRolledUpRiskNode(position, *futures.BaseContract);
    entry = delta;
    old.BoundValuesFromAbove(0.0);
    delta.BoundValuesFromAbove(0.0);
    delta -= old;
    return delta;
}

void Portfolio::GetDeltaRolledUpRiskNodes(Isin isin, RolledUpRisksVector& deltas)
{
    const SearchResult found = FindByIsin(isin);
    if (!found.FuturesFound()) return;
    const CSpecFutures& futures = *found.GetFuturesPtr();
    deltas.emplace_back(futures.isin, GetDeltaRolledUpRiskNode(RolledUpCodeOf(futures), *found.GetPositionPtr()));
}

void Portfolio::AddRolledUpRiskNodes(const RolledUpRisksVector& deltas)
{
    for (const auto& [isin, node] : deltas)
        AddRolledUpRiskNode(isin, node);
}

void Portfolio::AddRolledUpRiskNode(Isin isin, const RolledUpRiskNode& node)
{
    const CSpecFutures* const futures = participant_->GetInstruments().GetFutures(isin);
    if (futures != nullptr) AddRolledUpRiskNode(*futures, node);
}

void Portfolio::AddRolledUpRiskNode(const CSpecFutures& futures, const RolledUpRiskNode& node)
{
    const CSpecBaseContract& baseContract = *futures.BaseContract;
    const Enums::ClientRiskLevel level = participant_->GetRiskLevel();
    const auto pointsNum = static_cast<std::size_t>(futures.GetPointsNum());

    RolledUpRiskNode& entry =
        TryFindOrCreateRolledUpRisk(halfNettingRisksCorrected_, RolledUpCodeOf(futures), level, pointsNum);
    entry += node;
    if (!futures.IsInSpread || !baseContract.HasMCS()) {
        AddMarginChangesOf(entry);
        return;
    }
    RolledUpRiskNode& entryOfMCS =
        TryFindOrCreateRolledUpRisk(halfNettingRisksCorrected_, baseContract.CodeMCS, level, pointsNum);
    RebuildRolledUpMCS(baseContract, entryOfMCS);
    AddMarginChangesOf(entryOfMCS);
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
