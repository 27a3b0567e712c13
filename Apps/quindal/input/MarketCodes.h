// MarketCodes: the instruments of a market by the codes that rows name them by.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace quindal {

enum class InstrumentKind
{
    Futures,
    Option,
    CalendarSpread,
    BaseContract,
    OptionSeries,
};

class MarketCodes
{
public:
    /// Adds a code. Of instruments of several kinds under one code the kind that comes first in the enumeration counts.
    void Add(const std::string& code, InstrumentKind kind)
    {
        if (kind == InstrumentKind::BaseContract) m_baseContracts.insert(code);
        const auto [place, isNew] = m_kinds.emplace(code, kind);
        if (!isNew && kind < place->second) place->second = kind;
    }
    /// Kind of the instrument with this code; null for an unknown code.
    [[nodiscard]] const InstrumentKind* Find(std::string_view code) const
    {
        const auto found = m_kinds.find(code);
        return found == m_kinds.end() ? nullptr : &found->second;
    }
    [[nodiscard]] const std::map<std::string, InstrumentKind, std::less<>>& Kinds() const noexcept { return m_kinds; }
    [[nodiscard]] const std::set<std::string, std::less<>>& BaseContracts() const noexcept { return m_baseContracts; }

private:
    std::map<std::string, InstrumentKind, std::less<>> m_kinds;
    std::set<std::string, std::less<>> m_baseContracts;
};

} // namespace quindal
