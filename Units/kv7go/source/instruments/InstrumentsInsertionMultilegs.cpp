// How multilegs enter the repository, leg by leg, and how they follow their legs in and out of spread.
#include "instruments/IndexRanges.h"
#include "instruments/InstrumentsRepository.h"
#include "kv7errors.h"
#include "z9log.h"

namespace kv7im {

namespace {

/// A record that knows one leg only.
CSpecMultileg MakeOpen(Isin multilegIsin, const CSpecFutures& leg, int ratio, unsigned char order) noexcept
{
    CSpecMultileg multileg(multilegIsin, leg.isin, ratio, order, leg.isin, ratio, order);
    if (!leg.IsInSpread) multileg.MakeIncompleteSpreadAspect();
    return multileg;
}

/// Puts the leg that came second into its slot: the older leg stays in the other.
void Complete(CSpecMultileg& multileg, const CSpecFutures& leg, int ratio, unsigned char order) noexcept
{
    if (order < multileg.legOrderNum1) {
        multileg.legOrderNum1 = order;
        multileg.firstLegIsin = leg.isin;
        multileg.qtyRatio1 = ratio;
    } else {
        multileg.legOrderNum2 = order;
        multileg.secondLegIsin = leg.isin;
        multileg.qtyRatio2 = ratio;
    }
    if (!leg.IsInSpread) multileg.MakeIncompleteSpreadAspect(); // a leg in spread does not make up for the other one
}

/// Whether a record accepts one more row with this order number.
Z9ERR CheckRow(const CSpecMultileg& multileg, unsigned char order) noexcept
{
    if (multileg.GetCompleted()) return Z9ERR_CALCGO_API_ERROR_MULTILEG_ALREADY_EXISTS;
    if (order == multileg.legOrderNum1) return Z9ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG;
    return Z9ERR_OK;
}

} // namespace

// Entry.

Z9ERR InstrumentsRepository::InsertMultileg(const SMultilegDictionaryStruct& record)
{
    const std::int8_t order = record.LegOrderNum;
    if (order < 0) {
        KV7TRACE_ERROR_EX("InstrumentsRepository", "%s: Parameter %s is out of range", "InsertMultileg",
                          "ml.LegOrderNum");
        return Z9ERR_COMMON_OVERFLOW;
    }
    return InsertMultileg(record.Isin, record.IsinLeg, record.QuantityRatio, static_cast<unsigned char>(order));
}

Z9ERR InstrumentsRepository::InsertMultileg(Isin multilegIsin, Isin legIsin, int quantityRatio,
                                            unsigned char legOrderNum)
{
    const CSpecFutures* const leg = GetFutures(legIsin);
    if (leg == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    auto& index = storageMultilegs.get<ByIsin>();
    const auto record = index.find(multilegIsin);
    if (record == index.end()) {
        index.insert(MakeOpen(multilegIsin, *leg, quantityRatio, legOrderNum));
        return Z9ERR_OK;
    }

    const Z9ERR refusal = CheckRow(*record, legOrderNum);
    if (refusal == Z9ERR_OK)
        index.modify(record, [&](CSpecMultileg& open) noexcept { Complete(open, *leg, quantityRatio, legOrderNum); });
    // A duplicate order number closes the record too: nobody can tell which leg a third row would be.
    index.modify(record, CSpecMultileg::CompletedChange(true));
    return refusal;
}

// Following the legs.

void InstrumentsRepository::CorrectMultilegSpreadAspectPropertyByFutures(const CSpecFutures* futures)
{
    const auto correct = [&](auto& index, Isin (CSpecMultileg::*otherLeg)() const noexcept) {
        const auto [first, last] = index.equal_range(futures->isin);
        for (auto record = first; record != last; ++record) {
            const CSpecFutures* const other = GetFutures(AccessByStatus::eNew, ((*record).*otherLeg)());
            if (other == nullptr) continue; // futures go only all together
            CSpecMultileg& multileg = BesideKeys(*record);
            if (futures->IsInSpread && other->IsInSpread)
                multileg.MakeCompleteSpreadAspect();
            else
                multileg.MakeIncompleteSpreadAspect();
        }
    };
    correct(storageMultilegs.get<ByFirstLegIsin>(), &CSpecMultileg::GetSecondLegIsin);
    correct(storageMultilegs.get<BySecondLegIsin>(), &CSpecMultileg::GetFirstLegIsin);
}

// Reading.

const CSpecMultileg* InstrumentsRepository::GetMultileg(Isin isin) const
{
    const auto& index = storageMultilegs.get<ByIsin>();
    const auto record = index.find(isin);
    return record == index.end() ? nullptr : &*record;
}

auto InstrumentsRepository::RangeMultilegByIsin() const -> Range<StorageMultileg, ByIsin>
{
    return WholeOf(storageMultilegs.get<ByIsin>());
}

auto InstrumentsRepository::RangeMultilegByFirstLegIsin(Isin isin) const -> Range<StorageMultileg, ByFirstLegIsin>
{
    return PartOf(storageMultilegs.get<ByFirstLegIsin>(), isin);
}

auto InstrumentsRepository::RangeMultilegBySecondLegIsin(Isin isin) const -> Range<StorageMultileg, BySecondLegIsin>
{
    return PartOf(storageMultilegs.get<BySecondLegIsin>(), isin);
}

auto InstrumentsRepository::RangeMultilegCompleted() const -> Range<StorageMultileg, ByCompleted>
{
    return PartOf(storageMultilegs.get<ByCompleted>(), true);
}

} // namespace kv7im
