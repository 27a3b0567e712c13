// How instruments change during the day: a family is copied, the copies are changed and recomputed, and a swap makes
// them current. Readers of the current objects see nothing of it until the swap.
#include <utility>
#include <vector>

#include "instruments/IndexRanges.h"
#include "instruments/InstrumentChangeTables.h"
#include "instruments/InstrumentTexts.h"
#include "instruments/InstrumentsRepository.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

template <class Index>
using Elements = std::vector<typename Index::const_iterator>;

/// The nodes that a transaction has opened, listed apart from the index, which loses them one by one as they are
/// released.
template <class Index>
Elements<Index> ChangedIn(const Index& index)
{
    Elements<Index> changed;
    const auto [first, last] = index.equal_range(Status::WasChanged);
    for (auto node = first; node != last; ++node)
        changed.push_back(node);
    return changed;
}

/// Makes the copy current and ends the transaction of a node. Throws nothing.
template <class Node>
void Release(Node& node) noexcept
{
    node.SwapNewestInstrumentAsRegularAndClearNewNodes();
    node.SetStatus(Status::NotChanged);
}

/// Finds a series of a futures as the open transaction has it.
struct NewSeriesByCode
{
    std::string_view code;

    [[nodiscard]] auto operator()(const FuturesNode& futures) const
    {
        return futures.GetVirtualFuturesIterator(AccessByStatus::eNew, code);
    }
};

} // namespace

// Opening.

Z9ERR InstrumentsRepository::InitializeChangedBaseContractPrivate(const std::string& code)
{
    const auto baseContract = storageBaseContracts.get<ByCode>().find(std::string_view(code));
    if (baseContract == storageBaseContracts.get<ByCode>().end()) return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;

    KeepRecomputedValuesOf(code); // a later change must not reach the values that an earlier UpdateComplete made
    OpenFamily(baseContract);
    return Z9ERR_OK;
}

/// Opens every part of a family that is not open yet: all of them, or none when it throws.
void InstrumentsRepository::OpenFamily(StorageBaseContract::iterator baseContract)
{
    const bool isOpenAlready = baseContract->GetStatus() == Status::WasChanged;
    try {
        CopyFamily(baseContract);
    } catch (...) {
        DropFreshCopies(baseContract, isOpenAlready);
        throw;
    }
    // All copies are there: from here on nothing throws, and the futures open together.
    auto& index = storageFutures.get<ByBaseContract>();
    const auto [first, last] = index.equal_range(std::string_view(baseContract->GetCode()));
    for (auto futures = first; futures != last; ++futures) {
        if (futures->GetStatus() == Status::WasChanged) continue;
        if (isOpenAlready) BesideKeys(*futures).ComesToOpenFamily();
        index.modify(futures, StatusChange<FuturesNode>(Status::WasChanged));
    }
}

/// Copies every part of a family that is not open yet. The base contract is opened by it, its futures are not.
void InstrumentsRepository::CopyFamily(StorageBaseContract::iterator baseContract)
{
    if (baseContract->GetStatus() != Status::WasChanged) {
        BesideKeys(*baseContract).InitializeChangedInstrument();
        storageBaseContracts.modify(baseContract, StatusChange<BaseContractNode>(Status::WasChanged));
    }
    CSpecBaseContract* const parent = baseContract->GetChanged();
    for (const FuturesNode& futures : RangeFuturesByBaseContract(baseContract->GetCode()))
        if (futures.GetStatus() != Status::WasChanged) BesideKeys(futures).InitializeChangedInstrument(parent);
}

/// Drops the copies that CopyFamily made before it failed.
void InstrumentsRepository::DropFreshCopies(StorageBaseContract::iterator baseContract, bool isOpenAlready) noexcept
{
    for (const FuturesNode& futures : RangeFuturesByBaseContract(baseContract->GetCode()))
        if (futures.GetStatus() != Status::WasChanged) BesideKeys(futures).DropChangedInstrument();
    if (!isOpenAlready)
        storageBaseContracts.modify(baseContract, [](BaseContractNode& node) noexcept {
            node.DropChangedInstrument();
            node.SetStatus(Status::NotChanged);
        });
}

void InstrumentsRepository::AdoptNewcomers()
{
    // Only insertion writes the asset class and the link to a trade-at-settlement contract, so the current ones are the
    // newest.
    const auto& contracts = storageBaseContracts.get<ByStatus>();
    const auto [first, last] = contracts.equal_range(Status::WasChanged);
    for (auto contract = first; contract != last; ++contract) {
        contract->GetChanged()->assetClass = contract->GetCurrent()->assetClass;
        contract->GetChanged()->TASBaseContractCode = contract->GetCurrent()->TASBaseContractCode;
        OpenFamily(storageBaseContracts.project<ByCode>(contract));
    }
    for (const FuturesNode& node : RangeFuturesByStatus(Status::WasChanged))
        BesideKeys(node).AdoptNewcomers();

    // A futures may settle at the price of another one: all of them are copied by now.
    for (auto contract = first; contract != last; ++contract)
        if (contract->IsRecomputed()) RecalcNewcomersOf(contract->GetCode());
}

/// Recomputes the futures that came to a family after UpdateComplete, so that their values follow the changed family.
void InstrumentsRepository::RecalcNewcomersOf(std::string_view codeBC)
{
    for (const FuturesNode& node : RangeFuturesByBaseContract(codeBC)) {
        if (node.IsRecomputed()) continue;
        CSpecFutures& futures = *node.GetChanged();
        if (futures.IsTAS) static_cast<void>(FollowTracked(futures)); // the tracked one may come later
        BesideKeys(node).RecalcChanged();
    }
}

// Changing.

Z9ERR InstrumentsRepository::UpdateBaseContract(const SBaseContractChanges& changes)
{
    const std::string code = TextOfField(changes.Code);
    const CSpecBaseContract* const current = FindBaseContract(code);
    if (current == nullptr) return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;

    const Context context(telemetryAlertsCollector, "UpdateBaseContract", code);
    BaseContractChangesParameters localChanges{changes, current->IsPercentage()};
    if (const Z9ERR refusal = RunChecks(BaseContractChangesChecks, context, localChanges); refusal != Z9ERR_OK)
        return refusal;

    if (const Z9ERR failure = InitializeChangedBaseContractPrivate(code); failure != Z9ERR_OK) return failure;
    storageBaseContracts.get<ByCode>().find(std::string_view(code))->GetChanged()->ChangeParams(localChanges);
    return Z9ERR_OK;
}

Z9ERR InstrumentsRepository::UpdateFutures(const SFuturesChanges& changes)
{
    const auto node = storageFutures.get<ByIsin>().find(changes.Isin);
    if (node == storageFutures.get<ByIsin>().end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    const FuturesContext context(telemetryAlertsCollector, "UpdateFutures", node->GetCode(), node->GetBC());
    SFuturesChanges localChanges = changes;
    if (const Z9ERR refusal = RunChecks(FuturesChangesChecks, context, localChanges); refusal != Z9ERR_OK)
        return refusal;

    if (const Z9ERR failure = InitializeChangedBaseContractPrivate(node->GetBC()); failure != Z9ERR_OK) return failure;
    CSpecFutures& futures = *node->GetChanged();
    futures.ChangeParams(localChanges);
    futures.BaseContract->CorrectShiftParamsByFutures(&futures); // all is recomputed later, whether it moved or not
    CorrectMultilegSpreadAspectPropertyByFutures(&futures);
    return Z9ERR_OK;
}

/// Opens the family of a futures and lets `change`, which gives a result code, work on the new object of the series
/// that `find` selects.
template <class Find, class Change>
Z9ERR InstrumentsRepository::ChangeSeriesOf(StorageFutures::iterator futures, Find find, Change change)
{
    if (const Z9ERR failure = InitializeChangedBaseContractPrivate(futures->GetBC()); failure != Z9ERR_OK)
        return failure;
    StorageVirtualFutures& storage = BesideKeys(*futures).GetChangedStorage();
    const StorageVirtualFutures::const_iterator found = find(*futures);
    if (found == storage.end()) return Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND;
    return change(storage.find(found->first)->second);
}

Z9ERR InstrumentsRepository::UpdateVirtFutures(const SVirtFuturesChanges& changes)
{
    const std::string code = TextOfField(changes.Code);
    const auto owner = storageIndexVirtualFuturesToFutures.find(code);
    if (owner == storageIndexVirtualFuturesToFutures.end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    return ChangeSeriesOf(owner->second, NewSeriesByCode{code}, [&](VirtualFuturesNode& node) {
        CSpecVirtFutures& series = *node.get();
        const CSpecFutures& futures = *series.Futures;
        const VirtFuturesContext context(telemetryAlertsCollector, "UpdateVirtFutures", code, futures.Code,
                                         futures.CodeBC, futures.IsCollateral());
        VirtFuturesChangesParameters localChanges{
            changes, series.StrikeStep, futures.MinStep,
            CSpecVirtFutures::CalculateAdjustedSubRiskStep(series.StrikeStep, series.LotCoeff)};
        if (const Z9ERR refusal = RunChecks(VirtFuturesChangesChecks, context, localChanges); refusal != Z9ERR_OK)
            return refusal;
        series.ChangeParams(localChanges, localChanges.AdjustedSubRiskStep);
        return Z9ERR_OK;
    });
}

Z9ERR InstrumentsRepository::UpdateOptionSeries(const SOptionSeriesChanges& changes)
{
    const std::string code = TextOfField(changes.Code);
    const auto owner = storageIndexVirtualFuturesToFutures.find(code);
    if (owner == storageIndexVirtualFuturesToFutures.end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    return ChangeSeriesOf(owner->second, NewSeriesByCode{code}, [&](VirtualFuturesNode& series) {
        series.get()->ChangeParams(changes);
        return Z9ERR_OK;
    });
}

Z9ERR InstrumentsRepository::UpdateOption(Isin isin, double CalcOptPrice)
{
    const auto entry = storageIndexOptionToFutures.get<ByIsin>().find(isin);
    if (entry == storageIndexOptionToFutures.get<ByIsin>().end()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    const NewSeriesByCode newSeries{entry->GetCurrent().CodeVF};
    return ChangeSeriesOf(entry->GetFutures(), newSeries, [&](VirtualFuturesNode& series) {
        const CSpecOption* const option = series.GetOption(isin);
        if (option == nullptr) return Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND;
        BesideKeys(*option).ChangeOptionParams(&CalcOptPrice);
        return Z9ERR_OK;
    });
}

// Recomputing.

Z9ERR InstrumentsRepository::UpdateComplete()
{
    AdoptNewcomers();
    SettleNewcomers();
    for (const FuturesNode& node : RangeFuturesByStatus(Status::WasChanged)) {
        CSpecFutures& futures = *node.GetChanged();
        if (futures.IsTAS)
            if (const Z9ERR failure = FollowTracked(futures); failure != Z9ERR_OK) return failure;
        BesideKeys(node).RecalcChanged();
    }
    for (const BaseContractNode& contract : PartOf(storageBaseContracts.get<ByStatus>(), Status::WasChanged))
        BesideKeys(contract).SetRecomputed();
    return Z9ERR_OK;
}

/// Lets a futures that came to an open family move its shift and limits, as it did in the current family. Where a
/// change of the contract has left the copy without a reference futures, only the nearest one of the current family
/// becomes it.
void InstrumentsRepository::SettleNewcomers()
{
    for (const FuturesNode& node : RangeFuturesByStatus(Status::WasChanged)) {
        if (!node.IsNewcomer()) continue;
        KeepRecomputedValuesOf(node.GetBC()); // values recomputed before it follow the shift of before
        const CSpecFutures& futures = *node.GetChanged();
        CSpecBaseContract& contract = *futures.BaseContract;
        const CSpecBaseContract& current = *node.GetCurrent()->BaseContract;
        if (contract.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin != 0 ||
            current.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin == futures.isin)
            contract.CorrectShiftParamsByFutures(&futures);
        BesideKeys(node).IsSettledInFamily();
    }
}

/// Gives a trade-at-settlement futures the settlement price of the futures that it tracks, and its contract the shift
/// and limits of that one's contract.
Z9ERR InstrumentsRepository::FollowTracked(CSpecFutures& tas)
{
    const CSpecFutures* const tracked = GetFutures(AccessByStatus::eNew, tas.TASBaseFutIsinID);
    if (tracked == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    KeepRecomputedValuesOf(tas.CodeBC); // values recomputed before it follow the shift of before
    tas.RealCalcPrice = tracked->RealCalcPrice;
    CopyBaseContractParametersForTAS(*tracked->BaseContract, *tas.BaseContract);
    return Z9ERR_OK;
}

void InstrumentsRepository::KeepRecomputedValuesOf(std::string_view codeBC)
{
    for (const FuturesNode& node : RangeFuturesByBaseContract(codeBC))
        BesideKeys(node).KeepRecomputedValues();
}

void InstrumentsRepository::KeepBorrowedValues()
{
    for (const FuturesNode& node : RangeFuturesByStatus(Status::WasChanged))
        BesideKeys(node).KeepBorrowedValues();
}

// Releasing.

/// Lets the look-ups of a futures' options find the new objects, while the current ones are still there.
void InstrumentsRepository::LeadToChangedOptionsOf(const FuturesNode& futures) noexcept
{
    const auto& index = storageIndexOptionToFutures.get<ByIsin>();
    for (const auto& [seriesCode, series] : futures.GetChangedStorage())
        for (const CSpecOption& option : series.storage())
            BesideKeys(*index.find(option.isin)).SetCurrent(option);
}

void InstrumentsRepository::ReleaseChanged()
{
    AdoptNewcomers();
    KeepBorrowedValues(); // objects that were not recomputed are published with the values of before
    const auto contracts = ChangedIn(storageBaseContracts.get<ByStatus>());
    const auto futures = ChangedIn(storageFutures.get<ByStatus>());

    // From here on nothing throws: the transaction is released as a whole. The status and the groups, which follow the
    // futures in and out of spread, are keys: hence the containers' modify.
    for (const auto& node : futures)
        LeadToChangedOptionsOf(*node);
    for (const auto& contract : contracts)
        storageBaseContracts.get<ByStatus>().modify(contract, Release<BaseContractNode>);
    for (const auto& node : futures)
        storageFutures.get<ByStatus>().modify(node, Release<FuturesNode>);
}

} // namespace kv7im
