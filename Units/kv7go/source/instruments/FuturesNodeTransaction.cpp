// How the copies of a futures, its series and their options are made, recomputed and made current.
#include <memory>
#include <utility>

#include "instruments/FuturesNode.h"

namespace kv7im {

void FuturesNode::InitializeChangedInstrument(CSpecBaseContract* changedBaseContract)
{
    const auto futures = std::make_shared<CSpecFutures>(*current, changedBaseContract);
    StorageVirtualFutures series;
    for (const auto& [seriesCode, node] : storageCurrent)
        series.try_emplace(seriesCode, node.CopyUnder(*futures));

    storageChanged = std::move(series); // before its futures, so that the old ones go in that order too
    changed = futures;
    state.CopiesAreMade();
}

void FuturesNode::DropChangedInstrument() noexcept
{
    storageChanged.clear(); // the series before their futures
    changed.reset();
    state.CopiesAreGone();
}

void FuturesNode::AdoptNewcomers()
{
    for (const auto& [seriesCode, node] : storageCurrent) {
        const auto known = storageChanged.find(seriesCode);
        if (known != storageChanged.end() && known->second.storage().size() == node.storage().size())
            continue; // options are added and never removed
        state.OptionsAreAdopted();
        if (known != storageChanged.end()) {
            known->second.AdoptOptions(node, state.HasNewColumns());
            continue;
        }
        VirtualFuturesNode series = node.CopyUnder(*changed);
        if (state.HasNewColumns()) series.RecalcInvariants();
        storageChanged.try_emplace(seriesCode, std::move(series));
    }
}

void FuturesNode::RecalcChanged()
{
    state.RecomputationBegins();
    changed->RecalcInvariants();
    for (auto& [seriesCode, series] : storageChanged)
        series.RecalcInvariants();
    state.RecomputationEnds();
}

void FuturesNode::KeepBorrowedValues()
{
    if (state.BorrowsValues()) ValueChangedOptions();
}

void FuturesNode::KeepRecomputedValues()
{
    if (state.AwaitsValues()) ValueChangedOptions();
}

void FuturesNode::ValueChangedOptions()
{
    for (const auto& [seriesCode, series] : storageChanged)
        series.ValueAllOptions();
    state.OptionsAreValued();
}

void FuturesNode::SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept
{
    if (!state.ShowsCopies()) return;
    if (state.BorrowsValues())
        for (auto& [seriesCode, series] : storageChanged)
            series.StopBorrowing();
    current.swap(changed);
    storageCurrent.swap(storageChanged);
    DropChangedInstrument();
    isInSpread = current->IsInSpread;
}

} // namespace kv7im
