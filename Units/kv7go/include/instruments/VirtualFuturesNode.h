// VirtualFuturesNode: a series with its options, as its futures holds them.
//
// Always true:  the options go before the series that they point at.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>
#include <boost/range/iterator_range.hpp>

#include "CodeMap.h"
#include "Enums.h"
#include "instruments/InstrumentIndices.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

/// Options of one series, by code, by isin and in their order of insertion.
using StorageOptions = boost::multi_index_container<
    CSpecOption, boost::multi_index::indexed_by<index_of::UniqueCode<CSpecOption, ByCode, &CSpecOption::GetCode>,
                                                index_of::UniqueIsin<CSpecOption, ByIsin, &CSpecOption::GetIsin>,
                                                boost::multi_index::sequenced<boost::multi_index::tag<ByInsertion>>>>;

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

    /// Recomputes the series, then its options. Its futures has been recomputed before.
    void RecalcInvariants();
    /// Values every option at every level that nobody has asked for yet.
    void ValueAllOptions() const;
    /// A copy of the series and its options under another futures. The copied options borrow their values from ours.
    [[nodiscard]] VirtualFuturesNode CopyUnder(CSpecFutures& futures) const;
    /// Adds copies of the options of `other`, the node that this one was copied from, that are missing here. They
    /// borrow their values. A recomputed node values its own at their first use; one that has other columns without
    /// having been recomputed values them at once, before a later change reaches them.
    void AdoptOptions(const VirtualFuturesNode& other, bool isRecomputed);
    /// Ends the borrowing of our options: they let go of the options that they read their values through.
    void StopBorrowing() noexcept;

    // Replica: the options in lists.

    [[nodiscard]] OptionsRange<ByCode> RangeOptionsByCode() const;
    [[nodiscard]] OptionsRange<ByIsin> RangeOptionsByIsin() const;
    /// All options in their order of insertion where the code is that of the series; none for another one.
    [[nodiscard]] OptionsRange<ByInsertion> RangeOptionsByVirtualFuturesCode(std::string_view code) const;
    /// All options in their order of insertion where the isin is that of their futures; none for another one.
    [[nodiscard]] OptionsRange<ByInsertion> RangeOptionsByFuturesIsin(Isin futuresIsin) const;

private:
    [[nodiscard]] bool HasColumnsOf(const VirtualFuturesNode& other) const noexcept;

    std::shared_ptr<CSpecVirtFutures> currentVirtualFutures;
    StorageOptions storageOptions; // goes before the series
};

/// Series of one futures, by code.
using StorageVirtualFutures = kv7base::CodeMap<VirtualFuturesNode>;

} // namespace kv7im
