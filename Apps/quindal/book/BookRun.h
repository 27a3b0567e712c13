// A run over a book of positions: where the instruments come from, who logs in, what is registered and held.
#pragma once

#include <functional>
#include <string>

#include "CsvTable.h"
#include "MarginSession.h"

namespace quindal {

struct BookOptions
{
    std::string iniFile;     // of a live server; or
    std::string instruments; // a market file, served by a private router and server for the length of the run
    std::string user;
    std::string accounts;
    std::string positions;
    std::string passwordVariable = "QUINDAL_PASSWORD"; // environment variable that holds the password
};

/// The input files, read before anything is started: a misspelt one is told at once. Throws InputError.
struct BookTables
{
    explicit BookTables(const BookOptions& options);

    CsvTable accounts;
    CsvTable positions;
};

/// Logs in, loads the instruments, registers the accounts, sets the positions and calls `body`. Throws InputError,
/// CallError.
void WithBook(const BookOptions& options, const BookTables& tables, const std::function<void(MarginSession&)>& body);

/// Runs what prints on stdout and returns the exit status. Whatever is thrown, for a report that cannot be written too,
/// is main's to tell.
[[nodiscard]] int Reported(const std::function<void()>& body);

} // namespace quindal
