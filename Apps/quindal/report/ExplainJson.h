// The explanation of a margin as JSON: all digits, and the grids that the picture shows.
#pragma once

#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "Explained.h"
#include "Provenance.h"

namespace quindal {

[[nodiscard]] nlohmann::ordered_json ExplanationJson(const ExplainedMargin& explained, const Provenance& provenance);
/// The word of JSON and CSV for a kind of entity: "baseContract".
[[nodiscard]] std::string_view WordOf(QuindalIM::MarginEntity entity);

} // namespace quindal
