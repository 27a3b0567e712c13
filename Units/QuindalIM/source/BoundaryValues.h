// Values as callers give them, and as the calculator understands them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "BraskSettlementAccount.h"
#include "Enums.h"

namespace QuindalIM {

/// Id of a settlement account as the exchange's records hold it: the first twelve characters of a text.
class AccountId
{
public:
    explicit AccountId(const char* text) noexcept
    {
        for (std::size_t i = 0; i + 1 < m_text.size() && text[i] != '\0'; ++i)
            m_text[i] = text[i];
    }
    [[nodiscard]] const char* c_str() const noexcept { return m_text.data(); }

private:
    std::array<char, sizeof(t_settlement_account)> m_text{};
};

/// How the boundary says whether a futures or a series takes part in spreads.
template <class Instrument>
[[nodiscard]] Enums::SpreadAspect SpreadAspectOf(const Instrument& instrument) noexcept
{
    return instrument.IsInSpread ? Enums::SpreadAspect::InSpread : Enums::SpreadAspect::NotInSpread;
}

/// True for one of the five risk levels, which index the arrays over levels.
[[nodiscard]] inline bool IsClientRiskLevel(Enums::ClientRiskLevel level) noexcept
{
    const auto& levels = Enums::PossibleClientRiskLevelValues;
    return std::find(levels.begin(), levels.end(), level) != levels.end();
}

} // namespace QuindalIM
