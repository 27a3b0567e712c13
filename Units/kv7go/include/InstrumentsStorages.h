// InstrumentsStorages: the nodes that hold instruments, and the indexed containers that hold the nodes.
//
// A node holds the committed object of an instrument and, during a change transaction, a second complete copy. Readers
// choose: risk is computed on the current objects while a transaction works on the new ones, and a commit is an
// exchange of pointers. The tree is mirrored whole, since each child points at its parent.
//
// Always true:  `changed` is empty unless the status is WasChanged; a reader of the new objects gets the current one of
//               an untouched node, so that it sees a consistent tree.
//               what a container indexes by changes only inside the container's modify operation.
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

#include "Enums.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

namespace kv7im {

enum class Status : std::int32_t
{
    NotChanged = 0,
    WasChanged = 1,
    Undefined = 2,
};

/// Which objects a reader wants.
enum class AccessByStatus : std::int32_t
{
    eCurrent = 0, // committed
    eNew = 1,     // of the open transaction
};

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

    /// Fills `changed` with a copy of `current`.
    void InitializeChangedInstrument();
    /// Makes the changed object current and releases the old one. Does nothing unless the status is WasChanged; the
    /// status itself stays, since it is an index key.
    void SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept;

private:
    std::shared_ptr<CSpecBaseContract> current;
    std::shared_ptr<CSpecBaseContract> changed;
    std::string Code; // keys of their own, which outlive a swap
    std::string CodeMCS;
    Status status = Status::NotChanged;
};

class FuturesNode
{
public:
    /// Takes the keys from the object. The object and its base contract must be there.
    explicit FuturesNode(std::shared_ptr<CSpecFutures> futures);

    [[nodiscard]] CSpecFutures* GetCurrent() const noexcept { return current.get(); }
    [[nodiscard]] CSpecFutures* GetChanged() const noexcept
    {
        return status == Status::WasChanged && changed != nullptr ? changed.get() : current.get();
    }
    [[nodiscard]] CSpecFutures* Get(AccessByStatus access) const noexcept
    {
        return access == AccessByStatus::eNew ? GetChanged() : GetCurrent();
    }
    [[nodiscard]] Status GetStatus() const noexcept { return status; }
    void SetStatus(Status value) noexcept { status = value; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return code; }
    [[nodiscard]] Isin GetIsin() const noexcept { return isin; }
    [[nodiscard]] const std::string& GetBC() const noexcept { return codeBaseContract; }
    /// Inter-month group: the base contract's code for a futures in spread, otherwise empty.
    [[nodiscard]] const std::string& GetMMS() const noexcept { return mmsCode; }
    /// Inter-contract group: the base contract's for a futures in spread, otherwise empty.
    [[nodiscard]] const std::string& GetMCS() const noexcept { return mcsCode; }
    /// Settlement price of the newest object.
    [[nodiscard]] double GetRealCalcPrice() const noexcept { return GetChanged()->RealCalcPrice; }

    /// Fills `changed` with a deep copy of `current` under the changed base contract.
    void InitializeChangedInstrument(CSpecBaseContract* changedBaseContract);
    /// Makes the changed object current and releases the old one; the group codes follow. Does nothing unless the
    /// status is WasChanged; the status itself stays, since it is an index key.
    void SwapNewestInstrumentAsRegularAndClearNewNodes();

private:
    void RefreshGroupCodes();

    std::shared_ptr<CSpecFutures> current;
    std::shared_ptr<CSpecFutures> changed;
    Status status = Status::NotChanged;
    Isin isin;
    std::string code;
    std::string codeBaseContract;
    std::string mmsCode; // of `current`, kept so that the indices need not compute them
    std::string mcsCode;
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

/// Codes are looked up by any text, without building a string.
struct CodeHash
{
    [[nodiscard]] std::size_t operator()(std::string_view code) const noexcept
    {
        return std::hash<std::string_view>{}(code);
    }
};

// Names of the indices.
struct ByCode;
struct ByIsin;
struct ByBaseContract;
struct ByStatus;
struct ByMMS;
struct ByMCS;

namespace index_of {

namespace bmi = boost::multi_index;

template <class Node, const std::string& (Node::*Key)() const noexcept>
using TextKey =
    bmi::const_mem_fun_explicit<Node, const std::string&, const std::string& (Node::*)() const noexcept, Key>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using UniqueCode = bmi::hashed_unique<bmi::tag<Tag>, TextKey<Node, Key>, CodeHash, std::equal_to<std::string_view>>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using SharedCode = bmi::hashed_non_unique<bmi::tag<Tag>, TextKey<Node, Key>, CodeHash, std::equal_to<std::string_view>>;
template <class Node>
using NodeStatus = bmi::const_mem_fun_explicit<Node, Status, Status (Node::*)() const noexcept, &Node::GetStatus>;

} // namespace index_of

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
                     boost::multi_index::hashed_unique<
                         boost::multi_index::tag<ByIsin>,
                         boost::multi_index::const_mem_fun_explicit<
                             FuturesNode, Isin, Isin (FuturesNode::*)() const noexcept, &FuturesNode::GetIsin>>,
                     index_of::SharedCode<FuturesNode, ByBaseContract, &FuturesNode::GetBC>,
                     boost::multi_index::hashed_non_unique<boost::multi_index::tag<ByStatus>,
                                                           index_of::NodeStatus<FuturesNode>, std::hash<Status>>,
                     index_of::SharedCode<FuturesNode, ByMMS, &FuturesNode::GetMMS>,
                     index_of::SharedCode<FuturesNode, ByMCS, &FuturesNode::GetMCS>>>;

/// Isin of a tracked futures to the isin of its trade-at-settlement futures.
using StorageTASBaseFutIsinIDToIsin = std::unordered_map<Isin, Isin>;
/// Currency id to its curvature radius.
using CurrencyMap = std::unordered_map<std::int32_t, double>;

} // namespace kv7im
