// The explanation of a margin as one HTML page that needs nothing beside it: figures, a tree that opens, and pictures.
#pragma once

#include <cstddef>
#include <string>

#include "Explained.h"
#include "Provenance.h"

namespace quindal {

/// A self-contained document: styles and pictures stand in it, there are no scripts, and nothing is loaded. It is as
/// good on paper as on a screen, light or dark. top: how many shares and pictures it has; 0: all shares, ten pictures.
[[nodiscard]] std::string ExplanationPage(const ExplainedMargin& explained, const Provenance& provenance,
                                          std::size_t top);

} // namespace quindal
