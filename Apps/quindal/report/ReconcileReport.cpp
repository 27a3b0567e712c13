#include "ReconcileReport.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "Limits.h"
#include "Printable.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

std::string_view WordOf(Agreement agreement)
{
    constexpr std::array<std::string_view, 3> words{"equal", "within", "off"};
    return words.at(static_cast<std::size_t>(agreement));
}

std::size_t CountOf(const ReconcileReport& report, Agreement agreement)
{
    return static_cast<std::size_t>(
        std::count_if(report.levels.begin(), report.levels.end(),
                      [&](const ReconciledLevel& level) { return level.agreement == agreement; }));
}

std::string TextOf(const Tolerance& tolerance)
{
    return tolerance.isShare ? Cents(tolerance.amount * 100.0) + " %" : Grouped(tolerance.amount);
}

std::string MoneyOr(const std::optional<double>& money, std::string_view otherwise)
{
    return money ? Grouped(*money) : std::string(otherwise);
}

std::string Joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "; ") + text;
    return all;
}

void WriteLevels(std::ostream& out, const ReconcileReport& report)
{
    out << CountOf(report, Agreement::Equal) << " equal, " << CountOf(report, Agreement::Within) << " within "
        << TextOf(report.tolerance) << ", " << CountOf(report, Agreement::Off) << " off\n";
    std::vector<Cells> rows{{"Level", "Code", "Is", "Ours", "Clearing", "Difference"}};
    for (const ReconciledLevel& level : report.levels)
        if (level.agreement != Agreement::Equal)
            rows.push_back({std::string(HierarchyWord(level.level)), level.code, std::string(WordOf(level.agreement)),
                            MoneyOr(level.ours, "not in the book"), MoneyOr(level.clearing, "not told"),
                            Grouped(level.difference)});
    if (rows.size() == 1) return;
    out << '\n';
    WriteTable(out, rows, 3);
    bool isFirst = true;
    for (const ReconciledLevel& level : report.levels) {
        if (level.explanations.empty()) continue;
        if (isFirst) out << "\nTried, and right to the cent:\n";
        isFirst = false;
        for (const std::string& explanation : level.explanations)
            out << "  " << Printable(level.code) << ": " << Printable(explanation) << '\n';
    }
}

void WriteCsv(std::ostream& out, const ReconcileReport& report, const Provenance& provenance)
{
    out << "level,code,is,ours,clearing,difference,explanation" << ProvenanceColumns() << '\n';
    const std::string end = ProvenanceCells(provenance) + '\n';
    for (const ReconciledLevel& level : report.levels)
        out << HierarchyWord(level.level) << ',' << CsvCell(level.code) << ',' << WordOf(level.agreement) << ','
            << (level.ours ? Cents(*level.ours) : "") << ',' << (level.clearing ? Cents(*level.clearing) : "") << ','
            << Cents(level.difference) << ',' << CsvCell(Joined(level.explanations)) << end;
}

void WriteJson(std::ostream& out, const ReconcileReport& report, const Provenance& provenance)
{
    ordered_json document{{"provenance", ProvenanceJson(provenance)},
                          {"tolerance", report.tolerance.amount},
                          {"toleranceIsShare", report.tolerance.isShare},
                          {"equal", CountOf(report, Agreement::Equal)},
                          {"within", CountOf(report, Agreement::Within)},
                          {"off", CountOf(report, Agreement::Off)},
                          {"levels", ordered_json::array()}};
    for (const ReconciledLevel& level : report.levels) {
        ordered_json entry{
            {"level", HierarchyWord(level.level)}, {"code", level.code}, {"is", WordOf(level.agreement)}};
        if (level.ours) entry["ours"] = *level.ours;
        if (level.clearing) entry["clearing"] = *level.clearing;
        entry["difference"] = level.difference;
        entry["explanations"] = level.explanations;
        document["levels"].push_back(std::move(entry));
    }
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteReconciliation(std::ostream& out, const ReconcileReport& report, const Provenance& provenance,
                         ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        return WriteLevels(out, report);
    case ReportFormat::Csv:
        return WriteCsv(out, report, provenance);
    case ReportFormat::Json:
        return WriteJson(out, report, provenance);
    }
}

} // namespace quindal
