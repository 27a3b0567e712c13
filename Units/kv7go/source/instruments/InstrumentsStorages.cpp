#include "instruments/InstrumentsStorages.h"

#include <algorithm>
#include <utility>

#include "instruments/IndexRanges.h"

namespace kv7im {

namespace {

template <class Index, class Key>
const CSpecOption* FindIn(const Index& index, const Key& key)
{
    const auto option = index.find(key);
    return option == index.end() ? nullptr : &*option;
}

/// Lets `change`, which leaves the keys alone, work on all options of a series.
template <class Change>
void ForEach(StorageOptions& options, Change change)
{
    for (const CSpecOption& option : options)
        change(BesideKeys(option));
}

} // namespace

// Series.

VirtualFuturesNode::VirtualFuturesNode(std::unique_ptr<CSpecVirtFutures> series)
    : currentVirtualFutures(std::move(series))
{}

const CSpecOption* VirtualFuturesNode::GetOption(std::string_view code) const
{
    return FindIn(storageOptions.get<ByCode>(), code);
}

const CSpecOption* VirtualFuturesNode::GetOption(Isin isin) const { return FindIn(storageOptions.get<ByIsin>(), isin); }

void VirtualFuturesNode::RecalcInvariants()
{
    currentVirtualFutures->FollowFutures();
    try {
        ForEach(storageOptions, [](CSpecOption& option) { option.RecalcInvariants(); });
    } catch (...) {
        // The columns of the series are others now, so no option may keep the values that it had on the old ones.
        ForEach(storageOptions, [](CSpecOption& option) noexcept { option.ForgetValues(); });
        throw;
    }
}

void VirtualFuturesNode::ValueAllOptions() const
{
    for (const CSpecOption& option : storageOptions)
        option.ValueAllLevels();
}

VirtualFuturesNode VirtualFuturesNode::CopyUnder(CSpecFutures& futures) const
{
    VirtualFuturesNode copy(std::make_unique<CSpecVirtFutures>(*currentVirtualFutures, &futures));
    for (const CSpecOption& option : storageOptions.get<ByVirtualFuturesCode>()) // this index keeps their order
        copy.storageOptions.insert(CSpecOption::BorrowingCopy(option, copy.get()));
    return copy;
}

bool VirtualFuturesNode::HasColumnsOf(const VirtualFuturesNode& other) const noexcept
{
    return std::ranges::all_of(Enums::PossibleClientRiskLevelValues, [&](Enums::ClientRiskLevel level) {
        return get()->volatilityMatrix[level] == other.get()->volatilityMatrix[level];
    });
}

void VirtualFuturesNode::AdoptOptions(const VirtualFuturesNode& other, bool isRecomputed)
{
    const bool borrow = !isRecomputed && HasColumnsOf(other); // the current family may be recomputed by an insertion
    for (const CSpecOption& option : other.storageOptions.get<ByVirtualFuturesCode>()) {
        if (GetOption(option.isin) != nullptr) continue;
        CSpecOption copy = CSpecOption::BorrowingCopy(option, get());
        if (!borrow) copy.ForgetValues();
        storageOptions.insert(std::move(copy));
    }
}

void VirtualFuturesNode::StopBorrowing() noexcept
{
    ForEach(storageOptions, [](CSpecOption& option) noexcept { option.StopBorrowing(); });
}

// Base contracts.

BaseContractNode::BaseContractNode(std::shared_ptr<CSpecBaseContract> baseContract)
    : current(std::move(baseContract)), Code(current->Code), CodeMCS(current->CodeMCS)
{}

void BaseContractNode::InitializeChangedInstrument()
{
    changed = std::make_shared<CSpecBaseContract>(*current);
    isRecomputed = false;
}

void BaseContractNode::DropChangedInstrument() noexcept
{
    changed.reset();
    isRecomputed = false;
}

void BaseContractNode::SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept
{
    // Without a copy there is nothing to publish: a commit may be repeated before the status is reset.
    if (status != Status::WasChanged || changed == nullptr) return;
    current = std::move(changed);
    isRecomputed = false;
}

// Futures.

FuturesNode::FuturesNode(std::shared_ptr<CSpecFutures> futures)
    : current(std::move(futures)),
      isin(current->isin),
      code(current->Code),
      codeBaseContract(current->CodeBC),
      mcsCode(current->BaseContract->CodeMCS),
      isInSpread(current->IsInSpread)
{}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesIterator(AccessByStatus access,
                                                                             std::string_view seriesCode) const
{
    return Storage(access).find(seriesCode);
}

const CSpecVirtFutures* FuturesNode::GetVirtualFutures(AccessByStatus access, std::string_view seriesCode) const
{
    const auto series = GetVirtualFuturesIterator(access, seriesCode);
    return series == Storage(access).end() ? nullptr : series->second.get();
}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                     Isin optionIsin) const
{
    const auto seriesCode = storageIndexVirtualFuturesCodeByOptionIsin.find(optionIsin);
    return seriesCode == storageIndexVirtualFuturesCodeByOptionIsin.end()
               ? Storage(access).end()
               : GetVirtualFuturesIterator(access, seriesCode->second);
}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                     std::string_view optionCode) const
{
    const auto seriesCode = storageIndexVirtualFuturesCodeByOptionCode.find(optionCode);
    return seriesCode == storageIndexVirtualFuturesCodeByOptionCode.end()
               ? Storage(access).end()
               : GetVirtualFuturesIterator(access, seriesCode->second);
}

double FuturesNode::GetRealCalcPriceOption(Isin optionIsin) const
{
    const auto series = GetVirtualFuturesByOptionIterator(AccessByStatus::eNew, optionIsin);
    if (series == GetChangedStorage().end()) return 0.0;
    const CSpecOption* const option = series->second.GetOption(optionIsin);
    return option == nullptr ? 0.0 : option->CalcOptPrice;
}

StorageVirtualFutures::iterator FuturesNode::InsertVirtualFuturesNode(AccessByStatus access,
                                                                      const VirtualFuturesNode& node)
{
    return Storage(access).try_emplace(node.Code(), node).first;
}

void FuturesNode::RegistrateOptionOnVirtualFutures(Isin optionIsin, std::string_view optionCode,
                                                   std::string_view seriesCode)
{
    const auto inserted = storageIndexVirtualFuturesCodeByOptionIsin.try_emplace(optionIsin, seriesCode);
    try {
        storageIndexVirtualFuturesCodeByOptionCode.try_emplace(std::string(optionCode), seriesCode);
    } catch (...) {
        if (inserted.second) storageIndexVirtualFuturesCodeByOptionIsin.erase(inserted.first);
        throw;
    }
}

void FuturesNode::ForgetOption(Isin optionIsin, std::string_view optionCode) noexcept
{
    storageIndexVirtualFuturesCodeByOptionIsin.erase(optionIsin);
    const auto entry = storageIndexVirtualFuturesCodeByOptionCode.find(optionCode);
    if (entry != storageIndexVirtualFuturesCodeByOptionCode.end())
        storageIndexVirtualFuturesCodeByOptionCode.erase(entry);
}

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
