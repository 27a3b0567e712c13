// Files that somebody hands to the page.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "InputFile.h"
#include "Problems.h"

namespace quindal {

/// The file of a request: {"name": ..., "text": ...}. Throws DeskError for JSON of another form.
[[nodiscard]] InputFile UploadedFile(const nlohmann::json& request);

/// Lines of the file with what is wrong with them: each line that a problem names, with the one before and behind it,
/// and the number of problems. Problems of the file as a whole have the line 0.
[[nodiscard]] nlohmann::ordered_json LinesWithProblems(const InputFile& file, const Problems& problems);

} // namespace quindal
