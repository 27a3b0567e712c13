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

auto InstrumentsRepository::RangeOptionsByIsin() const -> Range<StorageIndexOptionToFutures, ByIsin>
{
    return WholeOf(storageIndexOptionToFutures.get<ByIsin>());
}

auto InstrumentsRepository::RangeOptionsByCode() const -> Range<StorageIndexOptionToFutures, ByCode>
{
    return WholeOf(storageIndexOptionToFutures.get<ByCode>());
}

template <class Key>
StorageVirtualFutures::const_iterator FuturesNode::FindSeriesOf(AccessByStatus access, const Key& option) const
{
    // Options come to the current series first, and to those of an open change from there.
    for (const auto& [seriesCode, series] : storageCurrent)
        if (series.GetOption(option) != nullptr) return GetVirtualFuturesIterator(access, seriesCode);
    return Storage(access).end();
}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                     Isin optionIsin) const
{
    return FindSeriesOf(access, optionIsin);
}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesByOptionIterator(AccessByStatus access,
                                                                                     std::string_view optionCode) const
{
    return FindSeriesOf(access, optionCode);
}

double FuturesNode::GetRealCalcPriceOption(Isin optionIsin) const
{
    const auto series = GetVirtualFuturesByOptionIterator(AccessByStatus::eNew, optionIsin);
    if (series == GetChangedStorage().end()) return 0.0;
    const CSpecOption* const option = series->second.GetOption(optionIsin);
    return option == nullptr ? 0.0 : option->CalcOptPrice;
}

std::vector<std::pair<Isin, std::string>> FuturesNode::EnumerateOptions() const
{
    std::vector<std::pair<Isin, std::string>> options;
    for (const auto& [seriesCode, series] : storageCurrent)
        for (const CSpecOption& option : series.storage())
            options.emplace_back(option.isin, seriesCode);
    return options;
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

auto VirtualFuturesNode::RangeOptionsByVirtualFuturesCode(std::string_view code) const -> OptionsRange<ByInsertion>
{
    const auto& index = storageOptions.get<ByInsertion>();
    return {code == Code() ? index.begin() : index.end(), index.end()};
}

auto VirtualFuturesNode::RangeOptionsByFuturesIsin(Isin futuresIsin) const -> OptionsRange<ByInsertion>
{
    const auto& index = storageOptions.get<ByInsertion>();
    return {futuresIsin == currentVirtualFutures->Futures->isin ? index.begin() : index.end(), index.end()};
}

} // namespace kv7im
