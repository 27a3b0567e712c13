// InstrumentsStorages: the nodes that hold instruments, and the indexed containers that hold the nodes.
//
// A node holds the committed object of an instrument and, during a change transaction, a second complete copy. Readers
// choose: risk is computed on the current objects while a transaction works on the new ones, and a commit is an
// exchange of pointers. The tree is mirrored whole, since each child points at its parent.
//
// A base contract stands in one container and its futures in another; a futures' series stand in its node, and a
// series' options in the series' node.
//
// Always true:  `changed` is empty unless the status is WasChanged; a reader of the new objects gets the current one of
//               an untouched node, so that it sees a consistent tree.
//               what a container indexes by changes only inside the container's modify operation.
//               children go before their parents: an option points at its series, a series at its futures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>
#include <boost/range/iterator_range.hpp>

#include "CodeMap.h"
#include "Enums.h"
#include "instruments/FuturesTransactionState.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

/// Which objects a reader wants.
enum class AccessByStatus : std::int32_t
{
    eCurrent = 0, // committed
    eNew = 1,     // of the open transaction
};

using kv7base::CodeMap;

// Names of the indices.
struct ByCode;
struct ByIsin;
struct ByBaseContract;
struct ByStatus;
struct ByMMS;
struct ByMCS;
struct ByVirtualFuturesCode;
struct ByFuturesIsin;

namespace index_of {

namespace bmi = boost::multi_index;

template <class Node, const std::string& (Node::*Key)() const noexcept>
using TextKey =
    bmi::const_mem_fun_explicit<Node, const std::string&, const std::string& (Node::*)() const noexcept, Key>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using UniqueCode =
    bmi::hashed_unique<bmi::tag<Tag>, TextKey<Node, Key>, kv7base::CodeHash, std::equal_to<std::string_view>>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using SharedCode =
    bmi::hashed_non_unique<bmi::tag<Tag>, TextKey<Node, Key>, kv7base::CodeHash, std::equal_to<std::string_view>>;
template <class Node, Isin (Node::*Key)() const noexcept>
using IsinKey = bmi::const_mem_fun_explicit<Node, Isin, Isin (Node::*)() const noexcept, Key>;
template <class Node, class Tag, Isin (Node::*Key)() const noexcept>
using UniqueIsin = bmi::hashed_unique<bmi::tag<Tag>, IsinKey<Node, Key>>;
template <class Node>
using NodeStatus = bmi::const_mem_fun_explicit<Node, Status, Status (Node::*)() const noexcept, &Node::GetStatus>;

} // namespace index_of

/// An element of a container for a change that leaves its keys alone. No index takes part in it, whereas the
/// container's own modify looks the element up in each of them, among all that share a key with it.
template <class Element>
[[nodiscard]] Element& BesideKeys(const Element& element) noexcept
{
    return const_cast<Element&>(element);
}

/// Options of one series.
using StorageOptions = boost::multi_index_container<
    CSpecOption,
    boost::multi_index::indexed_by<
        index_of::UniqueCode<CSpecOption, ByCode, &CSpecOption::GetCode>,
        index_of::UniqueIsin<CSpecOption, ByIsin, &CSpecOption::GetIsin>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<ByVirtualFuturesCode>,
                                               index_of::TextKey<CSpecOption, &CSpecOption::GetCodeVF>,
                                               std::less<std::string_view>>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<ByFuturesIsin>,
                                               index_of::IsinKey<CSpecOption, &CSpecOption::GetFuturesIsin>>>>;

/// A series with its options. A copy of the node shares the series and has options of its own.
class VirtualFuturesNode
{
public:
    template <class Index>
    using OptionsRange = boost::iterator_range<typename StorageOptions::index<Index>::type::const_iterator>;

    /// The series must be there.
    explicit VirtualFuturesNode(std::unique_ptr<CSpecVirtFutures> series);
    VirtualFuturesNode(const VirtualFuturesNode&) = default;
    VirtualFuturesNode(VirtualFuturesNode&&) = default;
    VirtualFuturesNode& operator=(const VirtualFuturesNode&) = delete;
    virtual ~VirtualFuturesNode() = default;

    [[nodiscard]] virtual const CSpecVirtFutures* operator->() const noexcept { return currentVirtualFutures.get(); }
    [[nodiscard]] virtual const CSpecVirtFutures* get() const noexcept { return currentVirtualFutures.get(); }
    [[nodiscard]] virtual CSpecVirtFutures* get() noexcept { return currentVirtualFutures.get(); }

    [[nodiscard]] const std::string& Code() const noexcept { return currentVirtualFutures->Code; }
    [[nodiscard]] const StorageOptions& storage() const noexcept { return storageOptions; }
    [[nodiscard]] StorageOptions& storage() noexcept { return storageOptions; }
    /// Null when the series has no such option.
    [[nodiscard]] const CSpecOption* GetOption(std::string_view code) const;
    [[nodiscard]] const CSpecOption* GetOption(Isin isin) const;

    [[nodiscard]] OptionsRange<ByCode> RangeOptionsByCode() const;
    [[nodiscard]] OptionsRange<ByIsin> RangeOptionsByIsin() const;
    /// Options that name this series: all of them, in their order of insertion.
    [[nodiscard]] OptionsRange<ByVirtualFuturesCode> RangeOptionsByVirtualFuturesCode(std::string_view code) const;
    [[nodiscard]] OptionsRange<ByFuturesIsin> RangeOptionsByFuturesIsin(Isin futuresIsin) const;

    /// Recomputes the series, then its options. Its futures has been recomputed before.
    void RecalcInvariants();
    /// Values every option at every level that nobody has asked for yet.
    void ValueAllOptions() const;
    /// A copy of the series and its options under another futures. The copied options borrow their values from ours.
    [[nodiscard]] VirtualFuturesNode CopyUnder(CSpecFutures& futures) const;
    /// Adds copies of the options of `other`, the node that this one was copied from, that are missing here. They
    /// borrow their values; where this node has been recomputed, or has other columns, they are valued here at their
    /// first use.
    void AdoptOptions(const VirtualFuturesNode& other, bool isRecomputed);
    /// Ends the borrowing of our options: they let go of the options that they read their values through.
    void StopBorrowing() noexcept;

private:
    std::shared_ptr<CSpecVirtFutures> currentVirtualFutures;
    [[nodiscard]] bool HasColumnsOf(const VirtualFuturesNode& other) const noexcept;

    StorageOptions storageOptions; // goes before the series
};

/// Series of one futures, by code.
using StorageVirtualFutures = CodeMap<VirtualFuturesNode>;

class BaseContractNode
{
public:
    /// Takes the keys from the object. The object must be there.
    explicit BaseContractNode(std::shared_ptr<CSpecBaseContract> baseContract);

    [[nodiscard]] CSpecBaseContract* GetCurrent() const noexcept { return current.get(); }
    [[nodiscard]] CSpecBaseContract* GetChanged() const noexcept
    {
        return status == Status::WasChanged && changed != nullptr ? changed.get() : current.get();
    }
    [[nodiscard]] CSpecBaseContract* Get(AccessByStatus access) const noexcept
    {
        return access == AccessByStatus::eNew ? GetChanged() : GetCurrent();
    }
    [[nodiscard]] Status GetStatus() const noexcept { return status; }
    void SetStatus(Status value) noexcept { status = value; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return Code; }
    [[nodiscard]] const std::string& GetMCS() const noexcept { return CodeMCS; }

    /// Opens the change of the base contract: `changed` becomes a copy of `current`.
    void InitializeChangedInstrument();
    /// Drops the copy of an opened change.
    void DropChangedInstrument() noexcept;
    /// Marks the changed objects of the family as recomputed; what enters the family afterwards has to be recomputed.
    void SetRecomputed() noexcept { isRecomputed = true; }
    [[nodiscard]] bool IsRecomputed() const noexcept { return isRecomputed; }
    /// Makes the changed object current and releases the old one. Does nothing unless the status is WasChanged; the
    /// status itself stays, since it is an index key.
    void SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept;

private:
    std::shared_ptr<CSpecBaseContract> current;
    std::shared_ptr<CSpecBaseContract> changed;
    std::string Code; // keys of their own, which outlive a swap
    std::string CodeMCS;
    Status status = Status::NotChanged;
    bool isRecomputed = false; // the changed objects of the family were recomputed at least once
};

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
    /// Settlement price of an option of this futures, as the newest object has it; 0.0 for one that is not registered.
    [[nodiscard]] double GetRealCalcPriceOption(Isin optionIsin) const;

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
    /// The series of an option; the end of the storage for an option that is not registered.
    [[nodiscard]] StorageVirtualFutures::const_iterator GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                          Isin optionIsin) const;
    [[nodiscard]] StorageVirtualFutures::const_iterator
    GetVirtualFuturesByOptionIterator(AccessByStatus access, std::string_view optionCode) const;
    [[nodiscard]] boost::iterator_range<StorageVirtualFutures::const_iterator>
    EnumerateVirtualFutures(AccessByStatus access) const
    {
        return boost::make_iterator_range(Storage(access).begin(), Storage(access).end());
    }
    /// Isins of the registered options, each with the code of its series. Both views have the same options.
    [[nodiscard]] boost::iterator_range<std::unordered_map<Isin, std::string>::const_iterator> EnumerateOptions() const
    {
        return boost::make_iterator_range(storageIndexVirtualFuturesCodeByOptionIsin.begin(),
                                          storageIndexVirtualFuturesCodeByOptionIsin.end());
    }

    /// Enters a copy of the node and returns the entry. A known code: the present entry is returned and nothing
    /// changes.
    StorageVirtualFutures::iterator InsertVirtualFuturesNode(AccessByStatus access, const VirtualFuturesNode& node);
    StorageVirtualFutures::iterator InsertVirtualFuturesNode(const VirtualFuturesNode& node)
    {
        return InsertVirtualFuturesNode(AccessByStatus::eCurrent, node);
    }
    /// Enters an option in both option indices, or in none when it throws. A known key keeps its entry.
    void RegistrateOptionOnVirtualFutures(Isin optionIsin, std::string_view optionCode, std::string_view seriesCode);
    /// Takes an option out of both option indices.
    void ForgetOption(Isin optionIsin, std::string_view optionCode) noexcept;

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

private:
    void ValueChangedOptions();

    std::shared_ptr<CSpecFutures> current;
    StorageVirtualFutures storageCurrent;
    std::shared_ptr<CSpecFutures> changed;
    StorageVirtualFutures storageChanged;
    // Shared by both storages: options do not come or go in a transaction, only their values change.
    std::unordered_map<Isin, std::string> storageIndexVirtualFuturesCodeByOptionIsin;
    CodeMap<std::string> storageIndexVirtualFuturesCodeByOptionCode;
    FuturesTransactionState state;
    Isin isin;
    std::string code;
    std::string codeBaseContract; // also the inter-month group while in spread
    std::string mcsCode;          // inter-contract group while in spread
    bool isInSpread;              // state of `current`, kept here so that its swap allocates nothing

    static inline const std::string NoGroup;
};

/// Sets the status of a node inside a container's modify operation.
template <class T>
class StatusChange
{
public:
    explicit StatusChange(Status value) noexcept : m_status(value) {}
    void operator()(T& node) const noexcept { node.SetStatus(m_status); }

private:
    Status m_status;
};

using StorageBaseContract = boost::multi_index_container<
    BaseContractNode,
    boost::multi_index::indexed_by<
        index_of::UniqueCode<BaseContractNode, ByCode, &BaseContractNode::GetCode>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<ByMCS>,
                                               index_of::TextKey<BaseContractNode, &BaseContractNode::GetMCS>,
                                               std::less<std::string_view>>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<ByStatus>,
                                               index_of::NodeStatus<BaseContractNode>>>>;

using StorageFutures = boost::multi_index_container<
    FuturesNode, boost::multi_index::indexed_by<
                     index_of::UniqueCode<FuturesNode, ByCode, &FuturesNode::GetCode>,
                     index_of::UniqueIsin<FuturesNode, ByIsin, &FuturesNode::GetIsin>,
                     index_of::SharedCode<FuturesNode, ByBaseContract, &FuturesNode::GetBC>,
                     boost::multi_index::hashed_non_unique<boost::multi_index::tag<ByStatus>,
                                                           index_of::NodeStatus<FuturesNode>, std::hash<Status>>,
                     index_of::SharedCode<FuturesNode, ByMMS, &FuturesNode::GetMMS>,
                     index_of::SharedCode<FuturesNode, ByMCS, &FuturesNode::GetMCS>>>;

/// The futures of a series by series code, or of an option by its key: a position reaches its futures in one lookup.
using StorageIndexVirtualFuturesToFutures = CodeMap<StorageFutures::iterator>;
using StorageIndexOptionToFuturesByIsin = std::unordered_map<Isin, StorageFutures::iterator>;
using StorageIndexOptionToFuturesByCode = CodeMap<StorageFutures::iterator>;
/// Isin of a tracked futures to the isin of its trade-at-settlement futures.
using StorageTASBaseFutIsinIDToIsin = std::unordered_map<Isin, Isin>;
/// Currency id to its curvature radius.
using CurrencyMap = std::unordered_map<std::int32_t, double>;

} // namespace kv7im
