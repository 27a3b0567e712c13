// CsvTable: a table that somebody wrote, read whole, each row with the line it begins on.
//
// RFC 4180 quoting (libcsv). Commas, semicolons or tabs stand between the cells, as the header has them; a byte order
// mark and either kind of line end are nobody's business. A line that begins with "#" is a comment, whatever stands in
// it, unless a quoted cell is open there; rows without any text are passed over.
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
    std::string file; ///< As messages call it.
    CsvRow header;
    std::vector<CsvRow> rows;
};

/// What is wrong with the text as a table (a quote that is not closed, no header) is added to the problems; the rows
/// before it are there.
[[nodiscard]] CsvTable ReadCsv(const InputFile& file, Problems& problems);

} // namespace quindal
