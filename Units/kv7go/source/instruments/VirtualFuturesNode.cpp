#include "instruments/VirtualFuturesNode.h"

#include <algorithm>
#include <utility>

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
    for (const CSpecOption& option : storageOptions.get<ByInsertion>())
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
    for (const CSpecOption& option : other.storageOptions.get<ByInsertion>()) {
        if (GetOption(option.isin) != nullptr) continue;
        CSpecOption copy = CSpecOption::BorrowingCopy(option, get());
        if (!borrow) copy.ForgetValues();
        if (!borrow && !isRecomputed) copy.ValueAllLevels(); // of this moment: no recomputation stands behind it
        storageOptions.insert(std::move(copy));
    }
}

void VirtualFuturesNode::StopBorrowing() noexcept
{
    ForEach(storageOptions, [](CSpecOption& option) noexcept { option.StopBorrowing(); });
}

} // namespace kv7im
