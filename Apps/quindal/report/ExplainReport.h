// The explanation of a margin, as a table for the eye and as JSON.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "MarginExplanation.h"
#include "Provenance.h"

namespace quindal {

enum class ExplainFormat
{
    Table,
    Json,
};

/// Writes the explanation. The table rounds money to the nearest cents; JSON has all digits, and the grids and the
/// provenance too.
void WriteExplanation(std::ostream& out, const std::string& client, const QuindalIM::MarginExplanation& explanation,
                      const Provenance& provenance, ExplainFormat format);

// Words of the report, used by the drawing too.

[[nodiscard]] std::string_view NameOf(QuindalIM::MarginSide side);                   ///< "volatility", "delivery"
[[nodiscard]] std::string_view NameOf(QuindalIM::MarginEntity entity);               ///< "MCS", "base contract", ...
[[nodiscard]] std::string_view NameOf(kv7im::SpecialRiskPoints::MappingPoint point); ///< "PnL3D", ...
[[nodiscard]] std::string PriceText(double price);                                   ///< shortest text of ten digits
[[nodiscard]] std::string MoneyText(double money); ///< grouped cents; a zero has no sign

} // namespace quindal
