#include "ReliefReport.h"

#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

/// The two are in cents, and so is their difference.
double Freed(const ReliefStep& step) { return std::round((step.before - step.after) * 100.0) / 100.0; }

/// Freed for each unit of turnover; empty for none.
std::string Rate(const ReliefStep& step)
{
    if (step.turnover == 0.0) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", Freed(step) / step.turnover);
    return text;
}

const char* KindOf(const ReliefStep& step) { return step.isClosing ? "close" : "hedge"; }
const char* SideOf(const ReliefStep& step) { return step.isBuy ? "buy" : "sell"; }

std::string Headline(const ReliefQuestion& question, const ReliefAnswer& answer)
{
    const std::string from = "GO of " + question.client + ": " + Grouped(answer.before);
    if (answer.steps.empty() && answer.isReached)
        return from + (question.target ? ", within " + Grouped(*question.target) : ", and nothing frees any of it");
    std::string to = from + ", and " + Grouped(answer.after) + " with these trades";
    if (answer.isReached) return to;
    return (answer.steps.empty() ? from + ", and nothing frees any of it" : to) + ": " + Grouped(*question.target) +
           " is not reached" + (question.allowsDetour ? "" : " by trades none of which raises the GO (--allow-detour)");
}

void WriteTableOf(std::ostream& out, const ReliefQuestion& question, const ReliefAnswer& answer)
{
    out << Headline(question, answer) << '\n';
    if (answer.steps.empty()) return;
    std::vector<Cells> rows{{"Trade", "Instrument", "Side", "Quantity", "GO before", "GO after", "Freed", "Turnover",
                             "Freed per turnover"}};
    for (const ReliefStep& step : answer.steps)
        rows.push_back({KindOf(step), step.instrument, SideOf(step), std::to_string(step.quantity),
                        Grouped(step.before), Grouped(step.after), Grouped(Freed(step)), Grouped(step.turnover),
                        Rate(step).empty() ? "-" : Rate(step)});
    out << '\n';
    WriteTable(out, rows, 3);
}

void WriteCsv(std::ostream& out, const ReliefQuestion& question, const ReliefAnswer& answer,
              const Provenance& provenance)
{
    out << "client,step,trade,instrument,side,quantity,go_before,go_after,freed,turnover,freed_per_turnover"
        << ProvenanceColumns() << '\n';
    std::size_t number = 0;
    for (const ReliefStep& step : answer.steps)
        out << CsvCell(question.client) << ',' << ++number << ',' << KindOf(step) << ',' << CsvCell(step.instrument)
            << ',' << SideOf(step) << ',' << step.quantity << ',' << Cents(step.before) << ',' << Cents(step.after)
            << ',' << Cents(Freed(step)) << ',' << Cents(step.turnover) << ',' << Rate(step)
            << ProvenanceCells(provenance) << '\n';
}

void WriteJson(std::ostream& out, const ReliefQuestion& question, const ReliefAnswer& answer,
               const Provenance& provenance)
{
    ordered_json steps = ordered_json::array();
    for (const ReliefStep& step : answer.steps)
        steps.push_back({{"trade", KindOf(step)},
                         {"instrument", step.instrument},
                         {"side", SideOf(step)},
                         {"quantity", step.quantity},
                         {"before", step.before},
                         {"after", step.after},
                         {"freed", Freed(step)},
                         {"turnover", step.turnover}});
    ordered_json document{{"provenance", ProvenanceJson(provenance)},
                          {"client", question.client},
                          {"target", nullptr},
                          {"isReached", answer.isReached},
                          {"before", answer.before},
                          {"after", answer.after},
                          {"steps", steps},
                          {"evaluations", answer.evaluations}};
    if (question.target) document["target"] = *question.target;
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteRelief(std::ostream& out, const ReliefQuestion& question, const ReliefAnswer& answer,
                 const Provenance& provenance, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        return WriteTableOf(out, question, answer);
    case ReportFormat::Csv:
        return WriteCsv(out, question, answer, provenance);
    case ReportFormat::Json:
        return WriteJson(out, question, answer, provenance);
    }
}

} // namespace quindal
