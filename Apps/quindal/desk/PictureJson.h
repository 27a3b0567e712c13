// A client's picture as the page shows it.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "MarginPicture.h"

namespace quindal {

/// The picture as SVG, and where its lines lie for a pointer: each point with its place, price and money. theme: light
/// or dark. Throws DeskError for another one.
[[nodiscard]] nlohmann::ordered_json PictureJson(const std::string& client,
                                                 const QuindalIM::MarginExplanation& explanation,
                                                 const Provenance& provenance, const std::string& theme);

} // namespace quindal
