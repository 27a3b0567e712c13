// The changes that a participant hands to the participant above it, entity by entity, and how they are summed there.
#include "book/PreparedRollUp.h"

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

// The entry that a node reports by; an empty one is made where there is none yet.
RolledUpRiskNode& Portfolio::EntryOfNode(const std::string& code, const RiskNodeBase& node,
                                         const CSpecBaseContract& baseContract)
{
    const auto found = halfNettingRisksCorrected_.find(code);
    if (found != halfNettingRisksCorrected_.end()) return found->second;
    return TryFindOrCreateRolledUpRisk(code, GetRolledUpRiskNode(node, baseContract).PointsNum());
}

// Makes room for more changes. Called before an entry is asked for its change: the entry then counts it as reported, so
// it must not get lost.
void Portfolio::MakeRoomFor(RolledUpRisksVector& deltas, std::size_t more)
{
    if (deltas.capacity() - deltas.size() < more) deltas.reserve(2 * deltas.size() + more);
}

RolledUpRiskNode Portfolio::GetRolledUpRiskNode(const RiskNodeBase& node, const CSpecBaseContract& baseContract)
{
    RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(Risk::CollapseProperty::NegativeAndPositive);
    rolledUp.ApplyCorrection(baseContract);
    return rolledUp;
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

void Portfolio::GetDeltaRolledUpRiskNodes(Isin isin, RolledUpRisksVector& deltas)
{
    PreparedReport(*this, isin, FindByIsin(isin)).Collect(deltas);
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
        MakeRoomFor(deltas, 1);
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
    MakeRoomFor(deltas, 1);
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
    PreparedSums sums(*this);
    sums.MakeRoomFor(deltas);
    sums.Add(deltas);
}

void Portfolio::AddRolledUpRiskNode(Isin isin, const RolledUpRiskNode& node)
{
    AddRolledUpRiskNodes(RolledUpRisksVector(1, {isin, node}));
}

template <class Do>
void Portfolio::ForEachMemberOfMCS(const CSpecBaseContract& baseContract, const Do& with) const
{
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    for (const BaseContractNode& member : repository.RangeBaseContractByMCS(baseContract.CodeMCS)) {
        const RolledUpRiskNode* const entry = GetHalfNettingRisksByCode(member.GetCode());
        if (entry != nullptr) with(*entry);
    }
}

void Portfolio::MakeRoomInMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS) const
{
    ForEachMemberOfMCS(baseContract, [&](const RolledUpRiskNode& member) { entryOfMCS.MakeRoomFor(member); });
}

// Builds the sum of an MCS anew from the entries of its base contracts instead of updating it.
void Portfolio::RebuildRolledUpMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS) const
{
    entryOfMCS.Zero();
    ForEachMemberOfMCS(baseContract, [&](const RolledUpRiskNode& member) { entryOfMCS += member; });
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
