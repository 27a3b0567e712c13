// ReadRows: a file as rows, each taken over cell by cell.
#pragma once

#include <functional>

#include "InputFile.h"
#include "Problems.h"
#include "RowReader.h"
#include "Rows.h"
#include "Schema.h"

namespace quindal {

template <class Row>
Rows<Row> ReadRows(const InputFile& file, const Schema& schema, Problems& problems,
                   const std::function<void(RowReader&, Row&)>& take)
{
    const SchemaTable table(ReadCsv(file, problems), schema, problems);
    Rows<Row> rows{file.name};
    if (!table.IsReadable()) return rows;
    rows.rows.reserve(table.Table().rows.size());
    for (const CsvRow& cells : table.Table().rows) {
        RowReader reader(table, cells, problems);
        Row& row = rows.rows.emplace_back();
        row.line = cells.line;
        take(reader, row);
    }
    return rows;
}

} // namespace quindal
