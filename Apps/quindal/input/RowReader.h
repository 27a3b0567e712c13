// RowReader: the cells of one row, read by the rules of a schema.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CsvTable.h"
#include "Problems.h"
#include "Schema.h"

namespace quindal {

/// A table with its columns found by the schema.
class SchemaTable
{
public:
    /// Finds the columns. Unknown, repeated and missing columns become problems of the header; the rows are not read
    /// then.
    SchemaTable(CsvTable table, const Schema& schema, Problems& problems);

    [[nodiscard]] const CsvTable& Table() const noexcept { return m_table; }
    [[nodiscard]] const Schema& Rules() const noexcept { return m_schema; }
    [[nodiscard]] bool IsReadable() const noexcept { return m_isReadable; }
    /// The cell of a row; empty when it or its column is not there.
    [[nodiscard]] std::string_view Cell(const CsvRow& row, std::string_view column) const;

private:
    void CheckHeader(Problems& problems);

    CsvTable m_table;
    const Schema& m_schema;
    bool m_isReadable = true;
};

/// Reads the cells of a row. A fault of a cell is added to the problems, and the cell is then read as an empty one.
class RowReader
{
public:
    RowReader(const SchemaTable& table, const CsvRow& row, Problems& problems);

    /// Sets the kind of the row. Cells that rows of this kind do not have become problems; `name` is the kind's name in
    /// messages.
    void SetKind(unsigned rows, std::string_view name);

    [[nodiscard]] bool IsGiven(std::string_view column) const { return !m_table.Cell(m_row, column).empty(); }
    [[nodiscard]] std::string Text(std::string_view column);
    [[nodiscard]] double Number(std::string_view column);
    [[nodiscard]] std::int64_t Whole(std::string_view column);
    /// Value of the cell's word; nothing when it is none of the column's words.
    [[nodiscard]] std::optional<std::int32_t> FindWord(std::string_view column);
    [[nodiscard]] std::int32_t Word(std::string_view column) { return FindWord(column).value_or(0); }

    void Refuse(std::string_view column, std::string reason);

private:
    /// Text of the cell, or the fallback of an empty one.
    [[nodiscard]] std::string_view CellOrFallback(const ColumnRule& rule);
    [[nodiscard]] const ColumnRule& RuleOf(std::string_view column) const;
    void CheckRange(const ColumnRule& rule, double value);

    const SchemaTable& m_table;
    const CsvRow& m_row;
    Problems& m_problems;
    unsigned m_rows = AllRows;
};

} // namespace quindal
