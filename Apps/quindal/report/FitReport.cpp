#include "FitReport.h"

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

const char* NameOf(FitLevel level)
{
    return level == FitLevel::Client ? "client" : level == FitLevel::Firm ? "firm" : "account";
}

const char* NameOf(FitAs as) { return as == FitAs::Order ? "order" : "position"; }

std::string Whole(std::int64_t quantity)
{
    const std::string cents = Grouped(static_cast<double>(quantity));
    return cents.substr(0, cents.find('.'));
}

/// "INDX-12.26 sold", "the basket".
std::string TradeOf(const FitQuestion& question)
{
    if (question.items.size() > 1 || question.items.front().ratio != 1) return "baskets";
    return question.items.front().instrument + (question.items.front().isBuy ? " bought" : " sold");
}

std::string Headline(const FitQuestion& question, const FitAnswer& answer)
{
    const std::string trade = TradeOf(question) + (question.as == FitAs::Order ? " by order" : "");
    const std::string within = (question.isFree ? " for " : " within ") + Grouped(question.money);
    if (!answer.with) return "No quantity of " + trade + " fits" + within + ", from 0 to " + Whole(question.most);
    if (answer.next) return "At most " + Whole(answer.with->quantity) + ' ' + trade + " fit" + within;
    return "At least " + Whole(answer.with->quantity) + ' ' + trade + " fit" + within + ", the most that was asked for";
}

/// The figures with their names, in the order in which they are shown.
std::vector<std::pair<const char*, const FitFigures*>> Shown(const FitAnswer& answer)
{
    std::vector<std::pair<const char*, const FitFigures*>> rows{{"without", &answer.without}};
    if (answer.with) rows.emplace_back("largest that fits", &*answer.with);
    if (answer.next) rows.emplace_back("one more", &*answer.next);
    return rows;
}

void WriteTableOf(std::ostream& out, const FitQuestion& question, const FitAnswer& answer)
{
    Cells header{"", "Quantity", "GO of " + std::string(NameOf(question.level)), "Added"};
    if (question.isFree) header.insert(header.end(), {"Premium", "Used"});
    std::vector<Cells> rows{header};
    for (const auto& [name, figures] : Shown(answer)) {
        Cells row{name, Whole(figures->quantity), Grouped(figures->GO), Grouped(figures->used - figures->premium)};
        if (question.isFree) row.insert(row.end(), {Grouped(figures->premium), Grouped(figures->used)});
        rows.push_back(row);
    }
    out << Headline(question, answer) << "\n\n";
    WriteTable(out, rows, 1);
}

void WriteCsv(std::ostream& out, const FitQuestion& question, const FitAnswer& answer, const Provenance& provenance)
{
    out << "row,client,level,as,quantity,go,added,premium,used," << (question.isFree ? "free" : "limit")
        << ProvenanceColumns() << '\n';
    for (const auto& [name, figures] : Shown(answer))
        out << CsvCell(name) << ',' << CsvCell(question.client) << ',' << NameOf(question.level) << ','
            << NameOf(question.as) << ',' << figures->quantity << ',' << Cents(figures->GO) << ','
            << Cents(figures->used - figures->premium) << ',' << Cents(figures->premium) << ',' << Cents(figures->used)
            << ',' << Cents(question.money) << ProvenanceCells(provenance) << '\n';
}

ordered_json FiguresJson(const FitFigures& figures)
{
    return {{"quantity", figures.quantity}, {"GO", figures.GO}, {"premium", figures.premium}, {"used", figures.used}};
}

void WriteJson(std::ostream& out, const FitQuestion& question, const FitAnswer& answer, const Provenance& provenance)
{
    ordered_json items = ordered_json::array();
    for (const FitItem& item : question.items)
        items.push_back({{"instrument", item.instrument},
                         {"side", item.isBuy ? "buy" : "sell"},
                         {"ratio", item.ratio},
                         {"price", item.price}});
    ordered_json document{{"provenance", ProvenanceJson(provenance)},
                          {"client", question.client},
                          {"level", NameOf(question.level)},
                          {"as", NameOf(question.as)},
                          {"items", items},
                          {question.isFree ? "free" : "limit", question.money},
                          {"most", question.most},
                          {"quantity", nullptr},
                          {"isMost", answer.with && !answer.next},
                          {"without", FiguresJson(answer.without)}};
    if (answer.with) {
        document["quantity"] = answer.with->quantity;
        document["with"] = FiguresJson(*answer.with);
    }
    if (answer.next) document["oneMore"] = FiguresJson(*answer.next);
    document["evaluations"] = answer.evaluations;
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteFit(std::ostream& out, const FitQuestion& question, const FitAnswer& answer, const Provenance& provenance,
              ReportFormat format)
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
