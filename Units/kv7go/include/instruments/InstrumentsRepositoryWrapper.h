// InstrumentsRepositoryWrapper: the view of the repository that a participant has during a pass of recalculation.
//
// Always true:  an isin that the current pass has recalculated is read from the new objects, every other one from the
//               current objects. Futures are marked; an option is read as its futures is. Outside a pass no isin is
//               marked, all is read from the current objects, and a look-up costs one test more than the repository's.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_set>

#include "Enums.h"
#include "instruments/InstrumentsRepository.h"

namespace kv7im {

class InstrumentsRepositoryWrapper
{
public:
    /// The repository outlives the view.
    explicit InstrumentsRepositoryWrapper(const InstrumentsRepository& repository) noexcept : m_repository(&repository)
    {}

    [[nodiscard]] const InstrumentsRepository& GetRepository() const noexcept { return *m_repository; }

    /// Null when there is no such futures.
    [[nodiscard]] const CSpecFutures* GetFutures(Isin isin) const
    {
        return m_repository->GetFutures(GetStatus(isin), isin);
    }
    [[nodiscard]] const CSpecFutures* GetFutures(std::string_view code) const
    {
        const CSpecFutures* futures = m_repository->GetFutures(code);
        return futures == nullptr ? nullptr : GetFutures(futures->isin);
    }
    /// Null when there is no such option.
    [[nodiscard]] const CSpecOption* GetOption(Isin isin) const
    {
        return m_repository->GetOption(GetStatus(isin), isin);
    }
    /// Null when there is no such multileg. A multileg has one state, whatever is recalculated.
    [[nodiscard]] const CSpecMultileg* GetMultileg(Isin isin) const { return m_repository->GetMultileg(isin); }
    /// Base contract of a futures or an option; null when there is neither.
    [[nodiscard]] const CSpecBaseContract* GetBaseContractByDerivative(Isin isin) const
    {
        if (const CSpecFutures* futures = GetFutures(isin)) return futures->BaseContract;
        const CSpecOption* option = GetOption(isin);
        return option == nullptr ? nullptr : option->VirtFutures->Futures->BaseContract;
    }
    /// Radius of a currency, 0.0 for an unknown one.
    [[nodiscard]] double GetCurvatureRadius(std::int32_t currencyId) const
    {
        return m_repository->GetCurvatureRadius(currencyId);
    }
    [[nodiscard]] std::size_t CountCurrency() const noexcept { return m_repository->CountCurrency(); }

    /// Which objects an isin is read from.
    [[nodiscard]] AccessByStatus GetStatus(Isin isin) const
    {
        if (isinRecalculatedVector.empty()) return AccessByStatus::eCurrent;
        return IsRecalculated(isin) || IsOptionOfRecalculated(isin) ? AccessByStatus::eNew : AccessByStatus::eCurrent;
    }

    /// True when this very isin is marked; an option is marked through its futures only.
    [[nodiscard]] bool IsRecalculated(Isin isin) const { return isinRecalculatedVector.contains(isin); }
    /// Marks a futures and with it its options. Returns true when the futures was not marked before.
    bool SetRecalculated(Isin isin) { return isinRecalculatedVector.insert(isin).second; }
    /// Removes the mark of a futures that could not be recalculated.
    void ResetRecalculated(Isin isin) { isinRecalculatedVector.erase(isin); }
    /// Ends the pass: removes every mark.
    void ResetRecalculated() noexcept { isinRecalculatedVector.clear(); }
    [[nodiscard]] std::size_t CountRecalculatedIsins() const noexcept { return isinRecalculatedVector.size(); }

private:
    [[nodiscard]] bool IsOptionOfRecalculated(Isin isin) const
    {
        const CSpecOption* const option = m_repository->GetOption(AccessByStatus::eCurrent, isin);
        return option != nullptr && IsRecalculated(option->GetFuturesIsin());
    }

    const InstrumentsRepository* m_repository;
    std::unordered_set<Isin> isinRecalculatedVector;
};

} // namespace kv7im
