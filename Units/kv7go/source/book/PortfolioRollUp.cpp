// The changes that a participant hands to the participant above it, entity by entity, and how they are summed there.
#include "book/Portfolio.h"

#include <set>
#include <string_view>
#include <utility>

#include "book/RiskParticipant.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

template <class Instrument>
std::size_t PointsNumOf(const Instrument& instrument)
{
    return static_cast<std::size_t>(instrument.GetPointsNum());
}

// Code that a futures rolls up under: in a spread that of its base contract, otherwise its own.
const std::string& RolledUpCodeOf(const CSpecFutures& futures)
{
    return futures.IsInSpread ? futures.CodeBC : futures.Code;
}

// The node of an option's series where the series is margined by itself and was held at some time; otherwise null.
const RiskNodeOptionSeries* SeriesStandingAlone(const Portfolio::SearchResult& found)
{
    if (!found.OptionFound() || found.GetOptionPtr()->VirtFutures->IsInSpread) return nullptr;
    return found.GetPositionPtr()->GetRiskNodeOptionSeriesByVFCode(found.GetOptionPtr()->CodeVF);
}

// Makes room for one more change. Called before an entry is asked for its change: the entry then counts it as reported,
// so it must not get lost.
void MakeRoomForOne(RolledUpRisksVector& deltas)
{
    if (deltas.size() == deltas.capacity()) deltas.reserve(2 * deltas.size());
}

void PushOfSpreadAspectChange(Isin isin, RolledUpRiskNode delta, RolledUpRisksVector& deltas)
{
    delta.SetIsFromSpreadAspectChange(true);
    deltas.emplace_back(isin, std::move(delta));
}

} // namespace

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
    return GetRolledUpRiskNode(position.HasLevelMMS() ? static_cast<const RiskNodeBase&>(*owner.Group()) : owner,
                               baseContract);
}

// The change of the losses under this code since the last call; profits are cut off before and after.
RolledUpRiskNode Portfolio::GetDeltaRolledUpRiskNode(const std::string& code, RolledUpRiskNode current)
{
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(code, current.PointsNum());
    return entry.ReplaceBy(std::move(current));
}

// Takes away everything that went up under this code. The entry stays and is empty, since the futures or series that it
// stood for may come back and then starts anew.
RolledUpRiskNode Portfolio::GetDeltaRolledUpRiskNodeFromZero(const std::string& code, std::size_t pointsNum)
{
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(code, pointsNum);
    RolledUpRiskNode old = entry;
    old.BoundValuesFromAbove(0.0);
    RolledUpRiskNode delta(pointsNum, participant_->GetRiskLevel());
    delta -= old;
    entry.Zero();
    return delta;
}

void Portfolio::PushDeltaOfPosition(const CumulativePositionByFutures& position, RolledUpRisksVector& deltas)
{
    const CSpecFutures& futures = *position.GetFutures();
    MakeRoomForOne(deltas);
    deltas.emplace_back(futures.isin, GetDeltaRolledUpRiskNode(RolledUpCodeOf(futures),
                                                               GetRolledUpRiskNode(position, *futures.BaseContract)));
}

void Portfolio::GetDeltaRolledUpRiskNodes(Isin isin, RolledUpRisksVector& deltas)
{
    const SearchResult found = FindByIsin(isin);
    if (found.GetPositionPtr() == nullptr) return;
    if (const RiskNodeOptionSeries* const series = SeriesStandingAlone(found)) {
        const std::string& code = found.GetOptionPtr()->VirtFutures->Code;
        const CSpecBaseContract& baseContract = *found.GetPositionPtr()->GetFutures()->BaseContract;
        MakeRoomForOne(deltas);
        deltas.emplace_back(isin, GetDeltaRolledUpRiskNode(code, GetRolledUpRiskNode(*series, baseContract)));
        return;
    }
    PushDeltaOfPosition(*found.GetPositionPtr(), deltas);
    if (found.MultilegFound() && found.GetMultilegPtr()->IsIncompleteSpreadAspect())
        PushDeltaOfPosition(*found.GetPositionSecondLegPtr(), deltas);
}

void Portfolio::GetAllDeltaRolledUpRiskNodesByFutures(const CumulativePositionByFutures& position,
                                                      RolledUpRisksVector& deltas)
{
    GetDeltaRolledUpRiskNodes(position.GetIsin(), deltas);
    PushDeltasOfSeries(position, deltas);
    if (FindByIsin(position.GetIsin()).GetPositionPtr() == nullptr)
        throw kv7base::CZ9Error(Z9ERR_INSTRUMENT_ABSENT, KV7_CURRENT_LOCATION)
            .Fmt("%s: Cannot find instrument by isin %d", "GetAllDeltaRolledUpRiskNodesByFutures", position.GetIsin());
    PushDeltaOfSpreadAspect(position, deltas);
}

// Each series once: one standing alone reports itself, one that has just entered the spread takes back its last report.
void Portfolio::PushDeltasOfSeries(const CumulativePositionByFutures& position, RolledUpRisksVector& deltas)
{
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    std::set<std::string_view> seen;
    for (const auto& [isin, option] : position.RangeOptions()) {
        const CSpecVirtFutures& series = *option->GetOption().VirtFutures;
        if (!seen.insert(series.Code).second) continue;
        if (!series.IsInSpread) {
            GetDeltaRolledUpRiskNodes(isin, deltas);
            continue;
        }
        const CSpecVirtFutures* const before = repository.GetVirtualFutures(AccessByStatus::eCurrent, series.Code);
        if (before == nullptr || before->IsInSpread) continue;
        MakeRoomForOne(deltas);
        PushOfSpreadAspectChange(isin, GetDeltaRolledUpRiskNodeFromZero(series.Code, PointsNumOf(series)), deltas);
    }
}

// Reports what a change of the spread leaves behind: a base contract without the futures that left it, or a futures
// that no longer stands for itself.
void Portfolio::PushDeltaOfSpreadAspect(const CumulativePositionByFutures& position, RolledUpRisksVector& deltas)
{
    const CSpecFutures& now = *position.GetFutures();
    const CSpecFutures* const before =
        participant_->GetInstruments().GetRepository().GetFutures(AccessByStatus::eCurrent, position.GetIsin());
    if (before == nullptr || before->IsInSpread == now.IsInSpread) return;
    MakeRoomForOne(deltas);
    if (before->IsInSpread)
        PushOfSpreadAspectChange(now.isin, GetDeltaRolledUpRiskNodeMMS(now), deltas);
    else
        PushOfSpreadAspectChange(now.isin, GetDeltaRolledUpRiskNodeFromZero(now.Code, PointsNumOf(now)), deltas);
}

// The change of a base contract. Its node may be gone when no futures of it is left in the spread; it is empty then.
RolledUpRiskNode Portfolio::GetDeltaRolledUpRiskNodeMMS(const CSpecFutures& futures)
{
    const RiskNodeMMS* const node = GetRisksNodeOfLevelMMS(futures.CodeBC);
    return GetDeltaRolledUpRiskNode(
        futures.CodeBC, node != nullptr ? GetRolledUpRiskNode(*node, *futures.BaseContract)
                                        : RolledUpRiskNode(PointsNumOf(futures), participant_->GetRiskLevel()));
}

void Portfolio::AddRolledUpRiskNodes(const RolledUpRisksVector& deltas)
{
    for (const auto& [isin, node] : deltas)
        AddRolledUpRiskNode(isin, node);
}

void Portfolio::AddRolledUpRiskNode(Isin isin, const RolledUpRiskNode& node)
{
    // After a change of the spread the isin is read in the shape before it.
    const InstrumentsRepositoryWrapper& instruments = participant_->GetInstruments();
    const AccessByStatus access =
        node.GetIsFromSpreadAspectChange() ? AccessByStatus::eCurrent : instruments.GetStatus(isin);
    const InstrumentsRepository& repository = instruments.GetRepository();
    if (const CSpecFutures* const futures = repository.GetFutures(access, isin)) {
        AddRolledUpRiskNode(*futures, node);
        return;
    }
    const CSpecOption* const option = repository.GetOption(access, isin);
    if (option != nullptr && !option->VirtFutures->IsInSpread) AddRolledUpRiskNode(*option->VirtFutures, node);
}

void Portfolio::AddRolledUpRiskNode(const CSpecFutures& futures, const RolledUpRiskNode& node)
{
    const CSpecBaseContract& baseContract = *futures.BaseContract;
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(RolledUpCodeOf(futures), PointsNumOf(futures));
    if (!futures.IsInSpread || !baseContract.HasMCS()) {
        entry += node;
        AddMarginChangesOf(entry);
        return;
    }
    RolledUpRiskNode& entryOfMCS = TryFindOrCreateRolledUpRisk(baseContract.CodeMCS, PointsNumOf(futures));
    entry += node;
    RebuildRolledUpMCS(baseContract, entryOfMCS);
    AddMarginChangesOf(entryOfMCS);
}

// Applies a change of a series standing alone, which belongs to no group. The row has real price points only:
// sub-points were folded below.
void Portfolio::AddRolledUpRiskNode(const CSpecVirtFutures& series, const RolledUpRiskNode& node)
{
    RolledUpRiskNode& entry = TryFindOrCreateRolledUpRisk(series.Code, static_cast<std::size_t>(series.GetPointsNum()));
    entry += node;
    AddMarginChangesOf(entry);
}

// Builds the sum of an MCS anew from the entries of its base contracts instead of updating it.
void Portfolio::RebuildRolledUpMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS)
{
    entryOfMCS.Zero();
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    for (const BaseContractNode& member : repository.RangeBaseContractByMCS(baseContract.CodeMCS)) {
        const RolledUpRiskNode* const entry = GetHalfNettingRisksByCode(member.GetCode());
        if (entry != nullptr) entryOfMCS += *entry;
    }
}

void Portfolio::AddMarginChangesOf(RolledUpRiskNode& entry)
{
    VolatilityInitialMargin_ += entry.UpdateInitialMarginValue();
    DeliveryVolatilityInitialMargin_ += entry.UpdateInitialMarginDeliveryValue();
}

const RolledUpRiskNode* Portfolio::GetHalfNettingRisksByCode(const std::string& code) const
{
    const auto found = halfNettingRisksCorrected_.find(code);
    return found == halfNettingRisksCorrected_.end() ? nullptr : &found->second;
}

} // namespace kv7im
