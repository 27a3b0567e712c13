// RiskLevelIndexedArray: one value for each client risk level.
//
// Always true:  five values, in the order Default, Low, Medium, High, Exceptional.
//               a level is one of Enums::PossibleClientRiskLevelValues; a level from outside is checked before it
//               comes here.
#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "Enums.h"

namespace kv7im {

template <class T>
class RiskLevelIndexedArray
{
public:
    static constexpr std::size_t NumberOfClientRiskLevels = Enums::PossibleClientRiskLevelValues.size();

    /// Five default values; zeros for numbers.
    RiskLevelIndexedArray() : m_values{} {}

    /// Every level holds `everyLevel`.
    explicit RiskLevelIndexedArray(const T& everyLevel)
        : m_values{everyLevel, everyLevel, everyLevel, everyLevel, everyLevel}
    {}

    /// One value a level, in the order of the levels.
    RiskLevelIndexedArray(T levelDefault, T levelLow, T levelMedium, T levelHigh, T levelExceptional)
        : m_values{std::move(levelDefault), std::move(levelLow), std::move(levelMedium), std::move(levelHigh),
                   std::move(levelExceptional)}
    {}

    [[nodiscard]] T& operator[](Enums::ClientRiskLevel level) noexcept
    {
        return m_values[static_cast<std::size_t>(level)];
    }
    [[nodiscard]] const T& operator[](Enums::ClientRiskLevel level) const noexcept
    {
        return m_values[static_cast<std::size_t>(level)];
    }

private:
    static_assert(NumberOfClientRiskLevels == 5, "the constructors name each level");

    std::array<T, NumberOfClientRiskLevels> m_values;
};

/// One level of an array that an entry holds; std::invoke takes it for a member of the entry.
template <class T, class Entry>
struct LevelOf
{
    RiskLevelIndexedArray<T> Entry::*values;
    Enums::ClientRiskLevel level;

    [[nodiscard]] T& operator()(Entry& entry) const noexcept { return (entry.*values)[level]; }
    [[nodiscard]] const T& operator()(const Entry& entry) const noexcept { return (entry.*values)[level]; }
};
template <class T, class Entry>
LevelOf(RiskLevelIndexedArray<T> Entry::*, Enums::ClientRiskLevel) -> LevelOf<T, Entry>;

} // namespace kv7im
