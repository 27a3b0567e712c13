// CsvTable: a table that a person wrote, read whole, each row with the line it begins on.
//
// RFC 4180 quoting (libcsv). Commas, semicolons or tabs separate the cells, as in the header; a byte order mark and
// either kind of line end are accepted. A line that begins with "#" is a comment unless a quoted cell is open there;
// rows without any text are passed over.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "InputFile.h"
#include "Problems.h"

namespace quindal {

struct CsvRow
{
    std::size_t line = 0;
    std::vector<std::string> cells; ///< Without blanks around them.
};

struct CsvTable
{
    std::string file; ///< Name in messages.
    CsvRow header;
    std::vector<CsvRow> rows;
};

/// Reads the table. Faults of the text (a quote that is not closed, no header) are added to the problems; the rows
/// before them are in the result.
[[nodiscard]] CsvTable ReadCsv(const InputFile& file, Problems& problems);

} // namespace quindal
