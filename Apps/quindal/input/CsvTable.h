// CsvTable: a comma-separated file with a header row, read whole, each row with the line it stands on.
//
// RFC 4180 quoting (libcsv). Columns are found by name, in any order; an empty cell means "not given". Whatever is
// wrong with the file is an InputError that names file, line and column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Errors.h"

namespace quindal {

class CsvTable;

/// One row. Lives as long as its table.
class CsvRow
{
public:
    CsvRow(const CsvTable& table, std::size_t index) noexcept : m_table(&table), m_index(index) {}

    /// The cell, without blanks around it; empty when it or its column is not there.
    [[nodiscard]] const std::string& Text(std::string_view column) const;
    /// The cell, which must not be empty.
    [[nodiscard]] const std::string& Required(std::string_view column) const;
    /// The cell as a number, or the default for an empty one. Throws InputError for anything that is not wholly a
    /// number.
    [[nodiscard]] double Number(std::string_view column, double byDefault) const;
    [[nodiscard]] std::int64_t Integer(std::string_view column, std::int64_t byDefault) const;
    /// An Integer that fits 32 bits.
    [[nodiscard]] std::int32_t Integer32(std::string_view column, std::int32_t byDefault) const;
    /// The value that the cell's word stands for; words are listed in the error for an unknown one.
    [[nodiscard]] std::int32_t OneOf(std::string_view column,
                                     std::span<const std::pair<std::string_view, std::int32_t>> words,
                                     std::int32_t byDefault) const;

    /// "FILE:LINE".
    [[nodiscard]] std::string Where() const;
    /// An InputError that begins with Where().
    [[nodiscard]] InputError Error(std::string_view message) const;

private:
    const CsvTable* m_table;
    std::size_t m_index;
};

class CsvTable
{
public:
    /// Reads a file. columns lists every name that the header may hold; another one is an InputError, so that a
    /// misspelt column does not go by unseen.
    CsvTable(std::filesystem::path file, std::span<const std::string_view> columns);

    [[nodiscard]] std::size_t size() const noexcept { return m_rows.size(); }
    [[nodiscard]] CsvRow operator[](std::size_t index) const noexcept { return {*this, index}; }

private:
    friend class CsvRow;
    struct Row
    {
        std::size_t line;
        std::vector<std::string> cells;
    };

    void Read();
    void TakeHeader(std::span<const std::string_view> columns);

    std::filesystem::path m_file;
    std::vector<Row> m_rows;
    std::map<std::string, std::size_t, std::less<>> m_columns;
};

} // namespace quindal
