// InstrumentsRepository: the owner of all instruments, and the gate by which they enter.
//
// Always true:  an instrument that is in has passed the checks of its kind, and its profile is computed or, for an
//               option, will be computed at its first use from the instruments as they stood at its insertion or last
//               recalculation.
//               a refused instrument leaves everything as it was, with one exception that InsertFutures names.
//               order of insertion: currencies, base contracts, futures, series, options, multilegs; each level refuses
//               an unknown parent.
// Read access:  pointers are not owned and stay valid until Clear, or until a commit replaces the object. Null means
//               that there is no such instrument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <boost/range/iterator_range.hpp>

#include "Enums.h"
#include "TableRecords.h"
#include "Z9Types.h"
#include "grids/Constants.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "instruments/InstrumentsStorages.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecMultileg.h"
#include "instruments/TelemetryAlertsCollector.h"

namespace kv7im {

struct OptionParameters;
struct VirtFuturesParameters;

class InstrumentsRepository
{
public:
    template <class Storage, class Index>
    using Range = boost::iterator_range<typename Storage::template index<Index>::type::const_iterator>;
    template <class Map>
    using MapRange = boost::iterator_range<typename Map::const_iterator>;

    InstrumentsRepository() = default;
    InstrumentsRepository(const InstrumentsRepository&) = delete;
    InstrumentsRepository& operator=(const InstrumentsRepository&) = delete;

    // Entry. Each returns Z9ERR_OK or the code of the refusal.

    /// Adds a currency with its curvature radius. CURRENCY_ALREADY_EXIST for a known id, whose radius stays.
    [[nodiscard]] Z9ERR InsertCurrency(std::int32_t currencyId, double radius);
    [[nodiscard]] Z9ERR InsertCurrency(const SCurrencyStruct& record);

    /// Adds a base contract. Refuses non-positive rates, negative limits, a window outside 0 to 1, a known code, values
    /// outside their enumerations, the currency step without its currency, and a grid that differs from its
    /// inter-contract group's. Corrects the rest.
    [[nodiscard]] Z9ERR InsertBaseContract(BaseContractParameters parameters);
    [[nodiscard]] Z9ERR InsertBaseContract(const SBaseContractStruct& record);

    /// Adds a futures under its base contract, lets it move the contract's shift and limits, and computes its profile,
    /// or that of the whole family when they moved. FUTURES_NOT_FOUND from the trade-at-settlement link and
    /// BC_NOT_FOUND from its family's recomputation leave the futures in. Throws what the allocation of the grid
    /// throws; the futures is not in then.
    [[nodiscard]] Z9ERR InsertFutures(FuturesParameters parameters);
    /// Adds a futures from a record of a table. A price that is not a number raises CZ9Error from its conversion.
    [[nodiscard]] Z9ERR InsertFutures(const SFuturesStruct& record);

    /// Adds an option series under its futures and computes its grid. Refuses an unknown futures, a known code, and
    /// steps, lot, shocks, rates and styles out of range; corrects the rest. The first series of a collateral
    /// instrument of a base contract that is no stock, currency, index, commodity or metal makes a stock of that
    /// contract. Throws what the allocation of the grid throws; everything is as it was then.
    [[nodiscard]] Z9ERR InsertVirtFutures(OptionSeriesParameters parameters);
    [[nodiscard]] Z9ERR InsertVirtFutures(const SVirtFuturesStruct& record);

    /// Adds an option under its series. No value is checked; FUTURES_NOT_FOUND for a series that no futures has,
    /// OPTION_ALREADY_EXIST for a code or an isin that any option has. Throws CArgumentException for a null code, and
    /// what an allocation throws; everything is as it was then.
    [[nodiscard]] Z9ERR InsertOption(const char* code, const char* codeVF, double strike, Enums::OptionType optionType,
                                     double calcOptPrice, Isin isin);
    /// Adds an option from a record. A strike or a price that is not a number raises CZ9Error from its conversion.
    [[nodiscard]] Z9ERR InsertOption(const SOptionStruct& record);

    /// Adds a leg to a multileg: the first row makes the record, the second completes it, and the leg with the lower
    /// order number is the first from then on. FUTURES_NOT_FOUND for an unknown leg; MULTILEG_ALREADY_EXISTS for a row
    /// of a completed record; LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG for an order number that the record has: it is
    /// closed by that all the same, with the first leg in both slots. quantityRatio: contracts of the leg for one
    /// multileg, below 0 when the leg is sold.
    [[nodiscard]] Z9ERR InsertMultileg(Isin multilegIsin, Isin legIsin, int quantityRatio, unsigned char legOrderNum);
    /// Adds a leg from a record of the dictionary. Z9ERR_COMMON_OVERFLOW, with a line in the log, for a negative order
    /// number.
    [[nodiscard]] Z9ERR InsertMultileg(const SMultilegDictionaryStruct& record);
    /// Makes every multileg with this leg complete when both of its legs are in spread, as the open transaction has
    /// them; otherwise incomplete. Called after a change of the futures.
    void CorrectMultilegSpreadAspectPropertyByFutures(const CSpecFutures* futures);

    // Changes during the day: a transaction on copies. The Update operations open it for the whole family of a base
    // contract and write into the copies; UpdateComplete recomputes what has changed; ReleaseChanged makes it current.
    // Readers of the current objects see nothing of it until then. Each operation returns Z9ERR_OK or the code of a
    // refusal. A refusal leaves the committed objects as they were and an open family open; so does a throw for lack of
    // memory, and a family is opened as a whole or not at all. ReleaseChanged throws before anything is released.
    // A new option is read through the current one until UpdateComplete; its reader is one of the current objects.
    // Two things are left to the host. A trade-at-settlement futures follows the futures that it tracks only where its
    // own family is open: update it as well, be it to its present values. Limits that UpdateBaseContract changes count
    // in money from the next UpdateFutures of the nearest futures on; those of a contract in per cent count at once.

    /// Changes a base contract, with the checks of InsertBaseContract; BC_NOT_FOUND for an unknown code.
    [[nodiscard]] Z9ERR UpdateBaseContract(const SBaseContractChanges& changes);
    /// Changes a futures, and at once the spread property of its multilegs. FUTURES_NOT_FOUND for an unknown isin.
    [[nodiscard]] Z9ERR UpdateFutures(const SFuturesChanges& changes);
    /// Changes a series. FUTURES_NOT_FOUND for a series that no futures has. A later refusal leaves the family open.
    [[nodiscard]] Z9ERR UpdateVirtFutures(const SVirtFuturesChanges& changes);
    [[nodiscard]] Z9ERR UpdateOptionSeries(const SOptionSeriesChanges& changes);
    /// Changes the settlement price of an option. FUTURES_NOT_FOUND for an isin that no option has.
    [[nodiscard]] Z9ERR UpdateOption(Isin isin, double CalcOptPrice);
    /// Recomputes every family that is open: futures, their series, their options. FUTURES_NOT_FOUND for a
    /// trade-at-settlement futures without the futures that it tracks.
    [[nodiscard]] Z9ERR UpdateComplete();
    /// Copies the instruments that were inserted into an open family into its new objects. UpdateComplete and
    /// ReleaseChanged do so too; a host that rebuilds books between those two calls this first. In a family that is
    /// recomputed already only the newcomers are recomputed: a nearer futures sets shift and limits with the next
    /// UpdateComplete.
    void AdoptNewcomers();
    /// Makes the copies current and ends the transaction.
    void ReleaseChanged();

    /// Edge coefficient of futures inserted from now on. A negative one is corrected to 0.75; always Z9ERR_OK.
    Z9ERR SetEdgeCoeff(double value);
    void SetTelemetryAlertsCollector(const TelemetryAlertsCollectorPtr& collector);
    /// Empties everything and resets the edge coefficient. The telemetry collector stays.
    void Clear();

    // Reading.

    [[nodiscard]] double GetEdgeCoeff() const noexcept { return m_EdgeCoeff; }
    /// Radius of a currency, 0.0 for an unknown one.
    [[nodiscard]] double GetCurvatureRadius(std::int32_t currencyId) const;
    [[nodiscard]] bool HasCurrency(std::int32_t currencyId) const;
    [[nodiscard]] const CurrencyMap& GetCurrency() const noexcept { return curvatureRadiusMap; }

    [[nodiscard]] const CSpecBaseContract* GetBaseContract(AccessByStatus access, std::string_view code) const;
    [[nodiscard]] const CSpecFutures* GetFutures(AccessByStatus access, std::string_view code) const;
    [[nodiscard]] const CSpecFutures* GetFutures(AccessByStatus access, Isin isin) const;
    [[nodiscard]] const CSpecFutures* GetFutures(std::string_view code) const; ///< Current.
    [[nodiscard]] const CSpecFutures* GetFutures(Isin isin) const;             ///< Current.
    [[nodiscard]] const CSpecVirtFutures* GetVirtualFutures(AccessByStatus access, std::string_view code) const;
    [[nodiscard]] const CSpecOption* GetOption(AccessByStatus access, Isin isin) const;
    [[nodiscard]] const CSpecOption* GetOption(AccessByStatus access, std::string_view code) const;
    [[nodiscard]] const CSpecMultileg* GetMultileg(Isin isin) const;
    [[nodiscard]] bool BaseContractExists(std::string_view code) const;
    [[nodiscard]] bool FuturesExists(std::string_view code) const;
    [[nodiscard]] bool FuturesExists(Isin isin) const;
    [[nodiscard]] bool VirtualFuturesExists(std::string_view code) const;
    [[nodiscard]] bool OptionExists(Isin isin) const;
    [[nodiscard]] bool OptionExists(std::string_view code) const;
    /// True for an option whose premium is paid up front; false for every other isin.
    [[nodiscard]] bool IsEquityOption(Isin isin) const;

    [[nodiscard]] std::size_t CountBaseContract() const noexcept { return storageBaseContracts.size(); }
    [[nodiscard]] std::size_t CountFutures() const noexcept { return storageFutures.size(); }
    [[nodiscard]] std::size_t CountVirtualFutures() const noexcept
    {
        return storageIndexVirtualFuturesToFutures.size();
    }
    [[nodiscard]] std::size_t CountOptions() const noexcept { return storageIndexOptionToFutures.size(); }
    [[nodiscard]] std::size_t CountMultilegs() const noexcept { return storageMultilegs.size(); }
    [[nodiscard]] std::size_t CountCurrency() const noexcept { return curvatureRadiusMap.size(); }

    // Nodes by index: the whole index where the key is unique, otherwise the nodes of one key. Only the ordered indices
    // promise an order. Iterators survive insertions.
    [[nodiscard]] Range<StorageBaseContract, ByCode> RangeBaseContractByCode() const;
    [[nodiscard]] Range<StorageBaseContract, ByMCS> RangeBaseContractByMCS(std::string_view codeMCS) const;
    [[nodiscard]] Range<StorageFutures, ByCode> RangeFuturesByCode() const;
    [[nodiscard]] Range<StorageFutures, ByBaseContract> RangeFuturesByBaseContract(std::string_view codeBC) const;
    [[nodiscard]] Range<StorageFutures, ByStatus> RangeFuturesByStatus(Status status) const;

    [[nodiscard]] Range<StorageMultileg, ByIsin> RangeMultilegByIsin() const;
    [[nodiscard]] Range<StorageMultileg, ByFirstLegIsin> RangeMultilegByFirstLegIsin(Isin isin) const;
    [[nodiscard]] Range<StorageMultileg, BySecondLegIsin> RangeMultilegBySecondLegIsin(Isin isin) const;
    [[nodiscard]] Range<StorageMultileg, ByCompleted> RangeMultilegCompleted() const;

    // Replica: groups counted, and lists by keys that no margin asks for.

    /// Number of inter-contract groups (MCS) that base contracts belong to.
    [[nodiscard]] std::size_t CountMCS() const;
    /// Number of inter-month groups (MMS), that is of base contracts with a futures in spread.
    [[nodiscard]] std::size_t CountMMS() const;
    [[nodiscard]] Range<StorageBaseContract, ByStatus> RangeBaseContractByStatus(Status status) const;
    [[nodiscard]] Range<StorageFutures, ByIsin> RangeFuturesByIsin() const;
    [[nodiscard]] Range<StorageFutures, ByMMS> RangeFuturesByMMS(std::string_view codeMMS) const;
    [[nodiscard]] Range<StorageFutures, ByMCS> RangeFuturesByMCS(std::string_view codeMCS) const;
    // Series and options, each with the node of its futures.
    [[nodiscard]] MapRange<StorageIndexVirtualFuturesToFutures> RangeVirtualFuturesByCode() const;
    [[nodiscard]] Range<StorageIndexOptionToFutures, ByIsin> RangeOptionsByIsin() const;
    [[nodiscard]] Range<StorageIndexOptionToFutures, ByCode> RangeOptionsByCode() const;

private:
    [[nodiscard]] Z9ERR CheckBaseContract(BaseContractParameters& parameters) const;
    [[nodiscard]] bool SharesGridWithMCS(const CSpecBaseContract& baseContract) const;
    [[nodiscard]] Z9ERR CheckFutures(FuturesParameters& parameters) const;
    [[nodiscard]] Z9ERR SettleInsertedFutures(CSpecFutures& futures);
    void RemoveInsertedFutures(const CSpecFutures& futures);
    [[nodiscard]] Z9ERR CheckVirtFutures(VirtFuturesParameters& parameters, const CSpecFutures& futures) const;
    void EnterVirtFutures(StorageFutures::iterator futures, const VirtFuturesParameters& parameters);
    [[nodiscard]] Z9ERR InsertOption(const OptionParameters& parameters);

    [[nodiscard]] CSpecBaseContract* FindBaseContract(std::string_view code) const;
    [[nodiscard]] CSpecFutures* FindFutures(Isin isin) const;
    [[nodiscard]] Z9ERR CopyParametersForTAS(CSpecFutures& futures);
    [[nodiscard]] Z9ERR CopyParametersToTAS(const CSpecFutures& tracked);
    void CopyParametersFromTracked(CSpecFutures& tas);
    static void CopyBaseContractParametersForTAS(const CSpecBaseContract& source, CSpecBaseContract& target) noexcept;
    [[nodiscard]] Z9ERR RecalculateFuturesBaseProfile(const CSpecBaseContract& baseContract);
    void RecalculateFuturesOf(const CSpecBaseContract& baseContract);
    void ValueOptionsOf(std::string_view codeBC) const;

    [[nodiscard]] Z9ERR InitializeChangedBaseContractPrivate(const std::string& code);
    void OpenFamily(StorageBaseContract::iterator baseContract);
    void CopyFamily(StorageBaseContract::iterator baseContract);
    void DropFreshCopies(StorageBaseContract::iterator baseContract, bool isOpenAlready) noexcept;
    void RecalcNewcomersOf(std::string_view codeBC);
    void SettleNewcomers();
    template <class Find, class Change>
    [[nodiscard]] Z9ERR ChangeSeriesOf(StorageFutures::iterator futures, Find find, Change change);
    void KeepBorrowedValues();
    void KeepRecomputedValuesOf(std::string_view codeBC);
    void LeadToChangedOptionsOf(const FuturesNode& futures) noexcept;
    [[nodiscard]] Z9ERR FollowTracked(CSpecFutures& tas);

    double m_EdgeCoeff = Constants::DefaultEdgeCoeffValue;
    CurrencyMap curvatureRadiusMap;
    StorageBaseContract storageBaseContracts;
    StorageFutures storageFutures;
    StorageIndexVirtualFuturesToFutures storageIndexVirtualFuturesToFutures;
    StorageIndexOptionToFutures storageIndexOptionToFutures;
    StorageTASBaseFutIsinIDToIsin storageTASBaseFutIsinIDToIsin;
    StorageMultileg storageMultilegs;
    TelemetryAlertsCollectorPtr telemetryAlertsCollector;
};

} // namespace kv7im
