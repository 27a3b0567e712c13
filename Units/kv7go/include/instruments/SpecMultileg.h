// CSpecMultileg: a calendar spread between two futures, traded as one instrument with an isin of its own.
//
// The dictionary gives a multileg as one row per leg, so a record is made by the first row and completed by the second.
//
// Always true:  until it is completed both slots hold the same leg; from then on the leg with the lower order number is
//               the first. A record that was closed by a duplicate order number keeps one leg in both slots.
// Numbers:      a ratio is contracts of the leg for one multileg, below 0 when the leg is sold.
#pragma once

#include <cstdint>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>

#include "Enums.h"

namespace kv7im {

class CSpecMultileg
{
public:
    enum class SpreadAspectProperty : std::int32_t
    {
        Complete = 0,   // both legs are in spread
        Incomplete = 1, // orders in it are margined leg by leg
    };

    CSpecMultileg(Isin multileg, Isin firstLeg, std::int32_t ratio1, std::uint8_t order1, Isin secondLeg,
                  std::int32_t ratio2, std::uint8_t order2) noexcept
        : qtyRatio1(ratio1),
          qtyRatio2(ratio2),
          legOrderNum1(order1),
          legOrderNum2(order2),
          multilegIsin(multileg),
          firstLegIsin(firstLeg),
          secondLegIsin(secondLeg)
    {}

    [[nodiscard]] Isin GetMultilegIsin() const noexcept { return multilegIsin; }
    [[nodiscard]] Isin GetFirstLegIsin() const noexcept { return firstLegIsin; }
    [[nodiscard]] Isin GetSecondLegIsin() const noexcept { return secondLegIsin; }
    [[nodiscard]] bool GetCompleted() const noexcept { return bCompleted; }
    [[nodiscard]] bool IsIncompleteSpreadAspect() const noexcept
    {
        return spreadAspectProperty == SpreadAspectProperty::Incomplete;
    }
    void MakeCompleteSpreadAspect() noexcept { spreadAspectProperty = SpreadAspectProperty::Complete; }
    void MakeIncompleteSpreadAspect() noexcept { spreadAspectProperty = SpreadAspectProperty::Incomplete; }

    /// Sets bCompleted inside a container's modify operation.
    class CompletedChange
    {
    public:
        explicit CompletedChange(bool value) noexcept : m_completed(value) {}
        void operator()(CSpecMultileg& multileg) const noexcept { multileg.bCompleted = m_completed; }

    private:
        bool m_completed;
    };

    std::int32_t qtyRatio1;
    std::int32_t qtyRatio2;
    std::uint8_t legOrderNum1;
    std::uint8_t legOrderNum2;
    SpreadAspectProperty spreadAspectProperty = SpreadAspectProperty::Complete;
    Isin multilegIsin;
    Isin firstLegIsin;
    Isin secondLegIsin;
    bool bCompleted = false; // both rows have come
};

struct ByIsin;
struct ByFirstLegIsin;
struct BySecondLegIsin;
struct ByCompleted;

/// What a container indexes by, the isins and bCompleted, changes only inside its modify operation.
using StorageMultileg = boost::multi_index_container<
    CSpecMultileg, boost::multi_index::indexed_by<
                       boost::multi_index::hashed_unique<
                           boost::multi_index::tag<ByIsin>,
                           boost::multi_index::const_mem_fun<CSpecMultileg, Isin, &CSpecMultileg::GetMultilegIsin>>,
                       boost::multi_index::hashed_non_unique<
                           boost::multi_index::tag<ByFirstLegIsin>,
                           boost::multi_index::const_mem_fun<CSpecMultileg, Isin, &CSpecMultileg::GetFirstLegIsin>>,
                       boost::multi_index::hashed_non_unique<
                           boost::multi_index::tag<BySecondLegIsin>,
                           boost::multi_index::const_mem_fun<CSpecMultileg, Isin, &CSpecMultileg::GetSecondLegIsin>>,
                       boost::multi_index::ordered_non_unique< // a change there looks at its neighbours alone
                           boost::multi_index::tag<ByCompleted>,
                           boost::multi_index::const_mem_fun<CSpecMultileg, bool, &CSpecMultileg::GetCompleted>>>>;

} // namespace kv7im
