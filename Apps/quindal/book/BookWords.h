// Options that the words over a book of positions have in common.
#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <string>

#include "BookRun.h"
#include "Report.h"
#include "Schema.h"

namespace CLI {
class App;
class Validator;
} // namespace CLI

namespace quindal {

/// Adds the options that say where a book comes from.
void AddBook(CLI::App& command, const std::shared_ptr<BookOptions>& options);
/// Completes them once they are parsed. Throws CLI::RequiredError for a book that comes from nowhere.
void CheckBook(BookOptions& options);

/// Help of an option that takes a file: its purpose and its columns.
[[nodiscard]] std::string About(const std::string& purpose, const Schema& schema);
/// Refuses "-" for more than one file: standard input can be read once.
void CheckStandardInput(std::initializer_list<const std::string*> files);

/// Accepts a number of the size that the files take; `kind` is what a message calls it.
[[nodiscard]] CLI::Validator SaneNumber(const std::string& kind);

/// Words of --format.
[[nodiscard]] const std::map<std::string, ReportFormat>& ReportFormats();

} // namespace quindal
