// FuturesNode: a futures with its series, and the copies of them that an open change of the family works on.
//
// Always true:  a reader of the new objects gets the current ones unless the status is WasChanged.
//               options come to the current series first, and to the copies from there.
//               the series go before the futures that they point at.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/range/iterator_range.hpp>

#include "Enums.h"
#include "instruments/FuturesTransactionState.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/VirtualFuturesNode.h"

namespace kv7im {

class FuturesNode
{
public:
    /// Takes the keys from the object. The object and its base contract must be there.
    explicit FuturesNode(std::shared_ptr<CSpecFutures> futures);
    FuturesNode(FuturesNode&&) = default;
    FuturesNode(const FuturesNode&) = delete; // its options are many, and each of them is big
    FuturesNode& operator=(const FuturesNode&) = delete;
    ~FuturesNode() = default;

    [[nodiscard]] CSpecFutures* GetCurrent() const noexcept { return current.get(); }
    [[nodiscard]] CSpecFutures* GetChanged() const noexcept
    {
        return state.ShowsCopies() ? changed.get() : current.get();
    }
    [[nodiscard]] CSpecFutures* Get(AccessByStatus access) const noexcept
    {
        return access == AccessByStatus::eNew ? GetChanged() : GetCurrent();
    }
    [[nodiscard]] Status GetStatus() const noexcept { return state.GetStatus(); }
    void SetStatus(Status value) noexcept { state.SetStatus(value); }
    /// True for a futures that has entered an open family and was not counted in its shift and limits yet.
    [[nodiscard]] bool IsNewcomer() const noexcept { return state.IsNewcomer(); }
    void ComesToOpenFamily() noexcept { state.ComesToOpenFamily(); }
    void IsSettledInFamily() noexcept { state.IsSettledInFamily(); }
    [[nodiscard]] const std::string& GetCode() const noexcept { return code; }
    [[nodiscard]] Isin GetIsin() const noexcept { return isin; }
    [[nodiscard]] const std::string& GetBC() const noexcept { return codeBaseContract; }
    /// Inter-month group: the base contract's code for a futures in spread, otherwise empty.
    [[nodiscard]] const std::string& GetMMS() const noexcept { return isInSpread ? codeBaseContract : NoGroup; }
    /// Inter-contract group: the base contract's for a futures in spread, otherwise empty.
    [[nodiscard]] const std::string& GetMCS() const noexcept { return isInSpread ? mcsCode : NoGroup; }
    /// Settlement price of the futures, from its newest object.
    [[nodiscard]] double GetRealCalcPrice() const noexcept { return GetChanged()->RealCalcPrice; }

    // Series.

    [[nodiscard]] const StorageVirtualFutures& GetCurrentStorage() const noexcept { return storageCurrent; }
    [[nodiscard]] StorageVirtualFutures& GetCurrentStorage() noexcept { return storageCurrent; }
    /// Series of the open change; outside a transaction the current ones.
    [[nodiscard]] const StorageVirtualFutures& GetChangedStorage() const noexcept
    {
        return state.ShowsCopies() ? storageChanged : storageCurrent;
    }
    [[nodiscard]] StorageVirtualFutures& GetChangedStorage() noexcept
    {
        return state.ShowsCopies() ? storageChanged : storageCurrent;
    }
    [[nodiscard]] const StorageVirtualFutures& Storage(AccessByStatus access) const noexcept
    {
        return access == AccessByStatus::eNew ? GetChangedStorage() : GetCurrentStorage();
    }
    [[nodiscard]] StorageVirtualFutures& Storage(AccessByStatus access) noexcept
    {
        return access == AccessByStatus::eNew ? GetChangedStorage() : GetCurrentStorage();
    }
    [[nodiscard]] std::size_t CountVirtualFutures(AccessByStatus access) const noexcept
    {
        return Storage(access).size();
    }
    /// The end of the storage when there is no such series.
    [[nodiscard]] StorageVirtualFutures::const_iterator GetVirtualFuturesIterator(AccessByStatus access,
                                                                                  std::string_view code) const;
    /// Null when there is no such series.
    [[nodiscard]] const CSpecVirtFutures* GetVirtualFutures(AccessByStatus access, std::string_view code) const;
    [[nodiscard]] boost::iterator_range<StorageVirtualFutures::const_iterator>
    EnumerateVirtualFutures(AccessByStatus access) const
    {
        return boost::make_iterator_range(Storage(access).begin(), Storage(access).end());
    }
    /// The newest object of an option of a current series; null where the open change has none of it yet.
    [[nodiscard]] const CSpecOption* GetNewestOption(const CSpecOption& currentOption) const;

    /// Enters a copy of the node and returns the entry. A known code: the present entry is returned and nothing
    /// changes.
    StorageVirtualFutures::iterator InsertVirtualFuturesNode(AccessByStatus access, const VirtualFuturesNode& node);
    StorageVirtualFutures::iterator InsertVirtualFuturesNode(const VirtualFuturesNode& node)
    {
        return InsertVirtualFuturesNode(AccessByStatus::eCurrent, node);
    }

    // Transaction.

    /// Fills `changed` with a deep copy of `current` under the changed base contract, and with it the series and their
    /// options, which borrow their values from the current ones. A throw leaves everything as it was.
    void InitializeChangedInstrument(CSpecBaseContract* changedBaseContract);
    /// Drops the copies of an opened change.
    void DropChangedInstrument() noexcept;
    /// Copies the series and options that were inserted since the change was opened: those that the current storage has
    /// and the changed one lacks. Under a futures that has been recomputed they are recomputed as well.
    void AdoptNewcomers();
    /// Recomputes the changed futures, then its series, then their options: parents before children.
    void RecalcChanged();
    /// True when RecalcChanged has finished since the copies were made.
    [[nodiscard]] bool IsRecomputed() const noexcept { return state.IsRecomputed(); }
    /// Gives the changed options values of their own in place of the borrowed ones; to be called before the current
    /// instruments are recomputed or destroyed.
    void KeepBorrowedValues();
    /// Values the changed options that were recomputed and not asked for since; to be called before the instruments
    /// that they are valued from change once more.
    void KeepRecomputedValues();
    /// Makes the changed objects current and releases the old ones; the group codes follow. Values still borrowed are
    /// lost, so KeepBorrowedValues comes first. Does nothing unless the status is WasChanged; the status itself stays,
    /// since it is an index key.
    void SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept;

    // Replica: options asked for at their futures.

    /// The series of an option; the end of the storage for an option that no current series has.
    [[nodiscard]] StorageVirtualFutures::const_iterator GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                          Isin optionIsin) const;
    [[nodiscard]] StorageVirtualFutures::const_iterator
    GetVirtualFuturesByOptionIterator(AccessByStatus access, std::string_view optionCode) const;
    /// Isins of the options of all current series, each with the code of its series.
    [[nodiscard]] std::vector<std::pair<Isin, std::string>> EnumerateOptions() const;
    /// Settlement price of an option of this futures, as the newest object has it; 0.0 for one that it has not.
    [[nodiscard]] double GetRealCalcPriceOption(Isin optionIsin) const;

private:
    template <class Key>
    [[nodiscard]] StorageVirtualFutures::const_iterator FindSeriesOf(AccessByStatus access, const Key& option) const;
    void ValueChangedOptions();

    std::shared_ptr<CSpecFutures> current;
    StorageVirtualFutures storageCurrent;
    std::shared_ptr<CSpecFutures> changed;
    StorageVirtualFutures storageChanged;
    FuturesTransactionState state;
    Isin isin;
    std::string code;
    std::string codeBaseContract; // also the inter-month group while in spread
    std::string mcsCode;          // inter-contract group while in spread
    bool isInSpread;              // state of `current`, kept here so that its swap allocates nothing

    static inline const std::string NoGroup;
};

} // namespace kv7im
