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
#include <string_view>
#include <unordered_map>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>

#include "CodeMap.h"
#include "Enums.h"
#include "instruments/BaseContractNode.h"
#include "instruments/FuturesNode.h"
#include "instruments/InstrumentIndices.h"
#include "instruments/SpecOption.h"
#include "instruments/TransactionStatus.h"

namespace kv7im {

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
    FuturesNode,
    boost::multi_index::indexed_by<
        index_of::UniqueCode<FuturesNode, ByCode, &FuturesNode::GetCode>,
        index_of::UniqueIsin<FuturesNode, ByIsin, &FuturesNode::GetIsin>,
        index_of::SharedCode<FuturesNode, ByBaseContract, &FuturesNode::GetBC>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<ByStatus>, index_of::NodeStatus<FuturesNode>>,
        index_of::SharedCode<FuturesNode, ByMMS, &FuturesNode::GetMMS>,
        index_of::SharedCode<FuturesNode, ByMCS, &FuturesNode::GetMCS>>>;

/// The futures of a series by series code.
using StorageIndexVirtualFuturesToFutures = kv7base::CodeMap<StorageFutures::iterator>;

/// Where an option of the market stands: its current object and the node of its futures. What the look-ups compare is
/// kept beside them, so that they touch nothing else on their way.
class OptionEntry
{
public:
    /// The entry of an option that is about to be made; the code is the caller's until SetCurrent.
    OptionEntry(Isin isin, const kv7base::HashedCode& code, StorageFutures::iterator futures) noexcept
        : m_isin(isin), m_code(code), m_futures(futures)
    {}

    [[nodiscard]] Isin GetIsin() const noexcept { return m_isin; }
    [[nodiscard]] const kv7base::HashedCode& GetCode() const noexcept { return m_code; }
    [[nodiscard]] StorageFutures::iterator GetFutures() const noexcept { return m_futures; }
    [[nodiscard]] const CSpecOption& GetCurrent() const noexcept { return *m_current; }
    /// Null for a new object that the open change has not got yet.
    [[nodiscard]] const CSpecOption* Get(AccessByStatus access) const
    {
        return access == AccessByStatus::eNew ? m_futures->GetNewestOption(*m_current) : m_current;
    }

    /// Leads to this object of the option from now on, and holds its text.
    void SetCurrent(const CSpecOption& option) noexcept
    {
        m_current = &option;
        m_code.text = option.Code;
    }

private:
    Isin m_isin;
    kv7base::HashedCode m_code;             // its text is that of the current object
    const CSpecOption* m_current = nullptr; // in the node of its series
    StorageFutures::iterator m_futures;
};

/// The options of the market: a position reaches its option, and with it the futures, in one look-up.
using StorageIndexOptionToFutures = boost::multi_index_container<
    OptionEntry, boost::multi_index::indexed_by<
                     index_of::UniqueIsin<OptionEntry, ByIsin, &OptionEntry::GetIsin>,
                     boost::multi_index::hashed_unique<
                         boost::multi_index::tag<ByCode>,
                         boost::multi_index::const_mem_fun_explicit<
                             OptionEntry, const kv7base::HashedCode&,
                             const kv7base::HashedCode& (OptionEntry::*)() const noexcept, &OptionEntry::GetCode>,
                         kv7base::CodeHash, kv7base::SameCode>>>;

/// Isin of a tracked futures to the isin of its trade-at-settlement futures.
using StorageTASBaseFutIsinIDToIsin = std::unordered_map<Isin, Isin>;
/// Currency id to its curvature radius.
using CurrencyMap = std::unordered_map<std::int32_t, double>;

} // namespace kv7im
