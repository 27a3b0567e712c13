// Lists of instruments by keys that no margin asks for.
#include <functional>

#include "instruments/IndexRanges.h"
#include "instruments/InstrumentsRepository.h"

namespace kv7im {

namespace {

template <class Index, class Key>
std::size_t CountNonEmptyKeys(const Index& index, Key keyOf)
{
    std::size_t count = 0;
    for (auto node = index.begin(); node != index.end(); node = index.equal_range(keyOf(*node)).second)
        if (!keyOf(*node).empty()) ++count;
    return count;
}

} // namespace

std::size_t InstrumentsRepository::CountMCS() const
{
    return CountNonEmptyKeys(storageBaseContracts.get<ByMCS>(), std::mem_fn(&BaseContractNode::GetMCS));
}

std::size_t InstrumentsRepository::CountMMS() const
{
    return CountNonEmptyKeys(storageFutures.get<ByMMS>(), std::mem_fn(&FuturesNode::GetMMS));
}

auto InstrumentsRepository::RangeBaseContractByStatus(Status status) const -> Range<StorageBaseContract, ByStatus>
{
    return PartOf(storageBaseContracts.get<ByStatus>(), status);
}

auto InstrumentsRepository::RangeFuturesByIsin() const -> Range<StorageFutures, ByIsin>
{
    return WholeOf(storageFutures.get<ByIsin>());
}

auto InstrumentsRepository::RangeFuturesByMMS(std::string_view codeMMS) const -> Range<StorageFutures, ByMMS>
{
    return PartOf(storageFutures.get<ByMMS>(), codeMMS);
}

auto InstrumentsRepository::RangeFuturesByMCS(std::string_view codeMCS) const -> Range<StorageFutures, ByMCS>
{
    return PartOf(storageFutures.get<ByMCS>(), codeMCS);
}

auto InstrumentsRepository::RangeVirtualFuturesByCode() const -> MapRange<StorageIndexVirtualFuturesToFutures>
{
    return WholeOf(storageIndexVirtualFuturesToFutures);
}

auto InstrumentsRepository::RangeOptionsByIsin() const -> MapRange<StorageIndexOptionToFuturesByIsin>
{
    return WholeOf(storageIndexOptionToFuturesByIsin);
}

auto InstrumentsRepository::RangeOptionsByCode() const -> MapRange<StorageIndexOptionToFuturesByCode>
{
    return WholeOf(storageIndexOptionToFuturesByCode);
}

auto VirtualFuturesNode::RangeOptionsByCode() const -> OptionsRange<ByCode>
{
    const auto& index = storageOptions.get<ByCode>();
    return boost::make_iterator_range(index.begin(), index.end());
}

auto VirtualFuturesNode::RangeOptionsByIsin() const -> OptionsRange<ByIsin>
{
    const auto& index = storageOptions.get<ByIsin>();
    return boost::make_iterator_range(index.begin(), index.end());
}

auto VirtualFuturesNode::RangeOptionsByVirtualFuturesCode(std::string_view code) const
    -> OptionsRange<ByVirtualFuturesCode>
{
    return PartOf(storageOptions.get<ByVirtualFuturesCode>(), code);
}

auto VirtualFuturesNode::RangeOptionsByFuturesIsin(Isin futuresIsin) const -> OptionsRange<ByFuturesIsin>
{
    return PartOf(storageOptions.get<ByFuturesIsin>(), futuresIsin);
}

} // namespace kv7im
