// ReadRows: a file as rows, each taken over cell by cell.
#pragma once

#include <functional>
#include <utility>

#include "CsvTable.h"
#include "InputFile.h"
#include "Problems.h"
#include "RowReader.h"
#include "Rows.h"
#include "Schema.h"

namespace quindal {

template <class Row>
Rows<Row> ReadRows(CsvTable&& text, const Schema& schema, Problems& problems,
                   const std::function<void(RowReader&, Row&)>& take)
{
    const SchemaTable table(std::move(text), schema, problems);
    Rows<Row> rows{table.Table().file};
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

template <class Row>
Rows<Row> ReadRows(const InputFile& file, const Schema& schema, Problems& problems,
                   const std::function<void(RowReader&, Row&)>& take)
{
    return ReadRows<Row>(ReadCsv(file, problems), schema, problems, take);
}

} // namespace quindal
