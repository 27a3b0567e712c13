#include "instruments/InstrumentsRepository.h"

#include "instruments/IndexRanges.h"
#include "instruments/InstrumentChecks.h"
#include "instruments/InstrumentTables.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

/// The option of a key; null when there is none.
template <class OptionIndex, class Key>
const CSpecOption* OptionIn(const OptionIndex& index, AccessByStatus access, const Key& key)
{
    const auto entry = index.find(key);
    return entry == index.end() ? nullptr : entry->Get(access);
}

} // namespace

// Currencies and common parameters.

Z9ERR InstrumentsRepository::InsertCurrency(std::int32_t currencyId, double radius)
{
    const bool isNew = curvatureRadiusMap.emplace(currencyId, radius).second;
    return isNew ? Z9ERR_OK : Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST;
}

Z9ERR InstrumentsRepository::InsertCurrency(const SCurrencyStruct& record)
{
    return InsertCurrency(record.IndicatorID, record.Radius);
}

Z9ERR InstrumentsRepository::SetEdgeCoeff(double value)
{
    EdgeCoeffParameters parameters{value};
    const Context context(telemetryAlertsCollector, "SetEdgeCoeff", "");
    const Z9ERR result = RunChecks(EdgeCoeffChecks, context, parameters);
    m_EdgeCoeff = parameters.EdgeCoeff;
    return result; // the table only corrects
}

void InstrumentsRepository::SetTelemetryAlertsCollector(const TelemetryAlertsCollectorPtr& collector)
{
    telemetryAlertsCollector = collector;
}

void InstrumentsRepository::Clear()
{
    storageMultilegs.clear();
    // Children before parents: the nodes of the futures take their series with them, and the series their options.
    storageTASBaseFutIsinIDToIsin.clear();
    storageIndexOptionToFutures.clear();
    storageIndexVirtualFuturesToFutures.clear();
    storageFutures.clear();
    storageBaseContracts.clear();
    curvatureRadiusMap.clear();
    m_EdgeCoeff = Constants::DefaultEdgeCoeffValue;
}

// Reading.

CSpecBaseContract* InstrumentsRepository::FindBaseContract(std::string_view code) const
{
    const auto& index = storageBaseContracts.get<ByCode>();
    const auto node = index.find(code);
    return node == index.end() ? nullptr : node->GetCurrent();
}

CSpecFutures* InstrumentsRepository::FindFutures(Isin isin) const
{
    const auto& index = storageFutures.get<ByIsin>();
    const auto node = index.find(isin);
    return node == index.end() ? nullptr : node->GetCurrent();
}

const CSpecBaseContract* InstrumentsRepository::GetBaseContract(AccessByStatus access, std::string_view code) const
{
    const auto& index = storageBaseContracts.get<ByCode>();
    const auto node = index.find(code);
    return node == index.end() ? nullptr : node->Get(access);
}

const CSpecFutures* InstrumentsRepository::GetFutures(AccessByStatus access, std::string_view code) const
{
    const auto& index = storageFutures.get<ByCode>();
    const auto node = index.find(code);
    return node == index.end() ? nullptr : node->Get(access);
}

const CSpecFutures* InstrumentsRepository::GetFutures(AccessByStatus access, Isin isin) const
{
    const auto& index = storageFutures.get<ByIsin>();
    const auto node = index.find(isin);
    return node == index.end() ? nullptr : node->Get(access);
}

const CSpecFutures* InstrumentsRepository::GetFutures(std::string_view code) const
{
    return GetFutures(AccessByStatus::eCurrent, code);
}

const CSpecFutures* InstrumentsRepository::GetFutures(Isin isin) const { return FindFutures(isin); }

const CSpecVirtFutures* InstrumentsRepository::GetVirtualFutures(AccessByStatus access, std::string_view code) const
{
    const auto owner = storageIndexVirtualFuturesToFutures.find(code);
    return owner == storageIndexVirtualFuturesToFutures.end() ? nullptr
                                                              : owner->second->GetVirtualFutures(access, code);
}

const CSpecOption* InstrumentsRepository::GetOption(AccessByStatus access, Isin isin) const
{
    return OptionIn(storageIndexOptionToFutures.get<ByIsin>(), access, isin);
}

const CSpecOption* InstrumentsRepository::GetOption(AccessByStatus access, std::string_view code) const
{
    return OptionIn(storageIndexOptionToFutures.get<ByCode>(), access, code);
}

bool InstrumentsRepository::BaseContractExists(std::string_view code) const
{
    return FindBaseContract(code) != nullptr;
}

bool InstrumentsRepository::FuturesExists(std::string_view code) const { return GetFutures(code) != nullptr; }

bool InstrumentsRepository::FuturesExists(Isin isin) const { return FindFutures(isin) != nullptr; }

bool InstrumentsRepository::VirtualFuturesExists(std::string_view code) const
{
    return storageIndexVirtualFuturesToFutures.contains(code);
}

bool InstrumentsRepository::OptionExists(Isin isin) const
{
    return GetOption(AccessByStatus::eCurrent, isin) != nullptr;
}

bool InstrumentsRepository::OptionExists(std::string_view code) const
{
    return GetOption(AccessByStatus::eCurrent, code) != nullptr;
}

bool InstrumentsRepository::IsEquityOption(Isin isin) const
{
    const CSpecOption* const option = GetOption(AccessByStatus::eCurrent, isin);
    return option != nullptr && option->VirtFutures->marginStyle == Enums::MarginStyle::Equity;
}

double InstrumentsRepository::GetCurvatureRadius(std::int32_t currencyId) const
{
    const auto currency = curvatureRadiusMap.find(currencyId);
    return currency == curvatureRadiusMap.end() ? 0.0 : currency->second;
}

bool InstrumentsRepository::HasCurrency(std::int32_t currencyId) const
{
    return curvatureRadiusMap.contains(currencyId);
}

auto InstrumentsRepository::RangeBaseContractByCode() const -> Range<StorageBaseContract, ByCode>
{
    return WholeOf(storageBaseContracts.get<ByCode>());
}

auto InstrumentsRepository::RangeBaseContractByMCS(std::string_view codeMCS) const -> Range<StorageBaseContract, ByMCS>
{
    return PartOf(storageBaseContracts.get<ByMCS>(), codeMCS);
}

auto InstrumentsRepository::RangeFuturesByCode() const -> Range<StorageFutures, ByCode>
{
    return WholeOf(storageFutures.get<ByCode>());
}

auto InstrumentsRepository::RangeFuturesByBaseContract(std::string_view codeBC) const
    -> Range<StorageFutures, ByBaseContract>
{
    return PartOf(storageFutures.get<ByBaseContract>(), codeBC);
}

auto InstrumentsRepository::RangeFuturesByStatus(Status status) const -> Range<StorageFutures, ByStatus>
{
    return PartOf(storageFutures.get<ByStatus>(), status);
}

} // namespace kv7im
