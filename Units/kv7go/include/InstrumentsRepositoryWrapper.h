// InstrumentsRepositoryWrapper: the view of the repository that a participant has during a pass of recalculation.
//
// Always true:  an isin that the current pass has recalculated is read from the new objects, every other one from the
//               current objects. Outside a pass no isin is marked, and all is read from the current objects.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_set>

#include "Enums.h"
#include "InstrumentsRepository.h"

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
        return IsRecalculated(isin) ? AccessByStatus::eNew : AccessByStatus::eCurrent;
    }

    [[nodiscard]] bool IsRecalculated(Isin isin) const { return isinRecalculatedVector.contains(isin); }
    void SetRecalculated(Isin isin) { isinRecalculatedVector.insert(isin); }
    /// Ends the pass.
    void ResetRecalculated() noexcept { isinRecalculatedVector.clear(); }
    [[nodiscard]] std::size_t CountRecalculatedIsins() const noexcept { return isinRecalculatedVector.size(); }

private:
    const InstrumentsRepository* m_repository;
    std::unordered_set<Isin> isinRecalculatedVector;
};

} // namespace kv7im
