#include "CompareReport.h"

#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "ExplainWords.h"
#include "Printable.h"
#include "TextTable.h"

namespace quindal {

namespace {

// A price of a file, of which 0 stands for the calculated one; empty where nothing is held.
std::string PriceOf(std::int64_t quantity, double price)
{
    if (quantity == 0) return "";
    return price == 0.0 ? "calculated" : PriceText(price);
}

void WriteTables(std::ostream& out, const BookDifference& difference)
{
    const std::string client = Printable(difference.client);
    WriteTable(out,
               {{"GO of " + client + " in " + difference.fileBefore, MoneyText(difference.GOBefore)},
                {"GO of " + client + " in " + difference.fileAfter, MoneyText(difference.GOAfter)},
                {"Difference", MoneyText(difference.difference)}},
               1);
    out << '\n';
    if (difference.positions.empty()) {
        out << "No position differs.\n";
        return;
    }
    std::vector<Cells> rows{{"Position", "Quantity before", "after", "Price before", "after", "Part", ""}};
    for (const PositionDifference& position : difference.positions)
        rows.push_back({position.instrument, std::to_string(position.quantityBefore),
                        std::to_string(position.quantityAfter), PriceOf(position.quantityBefore, position.priceBefore),
                        PriceOf(position.quantityAfter, position.priceAfter), MoneyText(position.part),
                        PercentText(position.part, difference.difference)});
    rows.push_back({"Total", "", "", "", "", MoneyText(difference.difference),
                    PercentText(difference.difference, difference.difference)});
    WriteTable(out, rows, 1);
}

void WriteCsv(std::ostream& out, const BookDifference& difference, const Provenance& provenance)
{
    out << "client,instrument,quantity_before,quantity_after,price_before,price_after,part" << ProvenanceColumns()
        << '\n';
    for (const PositionDifference& position : difference.positions)
        out << CsvCell(difference.client) << ',' << CsvCell(position.instrument) << ',' << position.quantityBefore
            << ',' << position.quantityAfter << ',' << Exact(position.priceBefore) << ',' << Exact(position.priceAfter)
            << ',' << Cents(position.part) << ProvenanceCells(provenance) << '\n';
}

void WriteJson(std::ostream& out, const BookDifference& difference, const Provenance& provenance)
{
    nlohmann::ordered_json document{{"provenance", ProvenanceJson(provenance)},
                                    {"client", difference.client},
                                    {"before", {{"positions", difference.fileBefore}, {"GO", difference.GOBefore}}},
                                    {"after", {{"positions", difference.fileAfter}, {"GO", difference.GOAfter}}},
                                    {"difference", difference.difference},
                                    {"positions", nlohmann::ordered_json::array()}};
    for (const PositionDifference& position : difference.positions)
        document["positions"].push_back({{"instrument", position.instrument},
                                         {"quantityBefore", position.quantityBefore},
                                         {"quantityAfter", position.quantityAfter},
                                         {"priceBefore", position.priceBefore},
                                         {"priceAfter", position.priceAfter},
                                         {"part", position.part}});
    out << document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteComparison(std::ostream& out, const BookDifference& difference, const Provenance& provenance,
                     ReportFormat format)
{
    if (format == ReportFormat::Json)
        WriteJson(out, difference, provenance);
    else if (format == ReportFormat::Csv)
        WriteCsv(out, difference, provenance);
    else
        WriteTables(out, difference);
}

} // namespace quindal
