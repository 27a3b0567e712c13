#include "WhatIfReport.h"

#include <cmath>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "Limits.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

/// Both are in cents, and so is their difference.
double Difference(const TriedLevel& tried) { return std::round((tried.after - tried.before) * 100.0) / 100.0; }

void WriteTried(std::ostream& out, const std::vector<TriedLevel>& tried)
{
    std::vector<Cells> rows{{"What-if", "Level", "Code", "GO before", "GO after", "Difference"}};
    for (const TriedLevel& level : tried)
        rows.push_back({level.label, std::string(HierarchyWord(level.level)), level.code, Grouped(level.before),
                        Grouped(level.after), Grouped(Difference(level))});
    WriteTable(out, rows, 3);
}

void WriteCsv(std::ostream& out, const std::vector<TriedLevel>& tried, const Provenance& provenance)
{
    out << "what_if,level,code,go_before,go_after,go_difference" << ProvenanceColumns() << '\n';
    const std::string end = ProvenanceCells(provenance) + '\n';
    for (const TriedLevel& level : tried)
        out << CsvCell(level.label) << ',' << HierarchyWord(level.level) << ',' << CsvCell(level.code) << ','
            << Cents(level.before) << ',' << Cents(level.after) << ',' << Cents(Difference(level)) << end;
}

void WriteJson(std::ostream& out, const std::vector<TriedLevel>& tried, const Provenance& provenance)
{
    ordered_json document{{"provenance", ProvenanceJson(provenance)}, {"whatIfs", ordered_json::array()}};
    for (const TriedLevel& level : tried)
        document["whatIfs"].push_back({{"whatIf", level.label},
                                       {"level", HierarchyWord(level.level)},
                                       {"code", level.code},
                                       {"before", level.before},
                                       {"after", level.after},
                                       {"difference", Difference(level)}});
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteWhatIfs(std::ostream& out, const std::vector<TriedLevel>& tried, const Provenance& provenance,
                  ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        return WriteTried(out, tried);
    case ReportFormat::Csv:
        return WriteCsv(out, tried, provenance);
    case ReportFormat::Json:
        return WriteJson(out, tried, provenance);
    }
}

} // namespace quindal
