#include "DeskOrders.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>

#include "BookCheck.h"
#include "DeskJson.h"
#include "Report.h"

namespace quindal {

namespace {

constexpr std::array OrderFields{"client", "instrument", "side", "quantity", "price"};

/// The cells of an order. A price may be missing.
CsvRow RowOf(const nlohmann::json& order, const std::string& label, std::size_t line)
{
    if (!order.is_object()) throw DeskError(DeskMalformed, "an order is no object");
    CsvRow row{line, {label}};
    for (const char* const field : OrderFields)
        row.cells.push_back(std::string_view(field) == "price" && !order.contains(field) ? ""
                                                                                         : TextField(order, field));
    return row;
}

nlohmann::ordered_json FiguresJson(const ClientFigures& figures)
{
    return {{"GO", MoneyJson(figures.GO)},
            {"volatilityGO", MoneyJson(figures.volatilityGO)},
            {"deliveryGO", MoneyJson(figures.deliveryAndVolatilityGO)}};
}

} // namespace

Rows<OrderRow> ReadWhatIfs(const nlohmann::json& request, Problems& problems)
{
    CsvTable table{"order", {0, {"what_if"}}, {}};
    table.header.cells.insert(table.header.cells.end(), OrderFields.begin(), OrderFields.end());
    std::set<std::string> labels;
    for (const nlohmann::json& whatIf : ArrayField(request, "whatIfs")) {
        if (!whatIf.is_object()) throw DeskError(DeskMalformed, "a what-if is no object");
        const std::string label = TextField(whatIf, "label");
        if (label.empty()) throw DeskError(DeskMalformed, "a what-if has no label");
        if (!labels.insert(label).second) throw DeskError(DeskMalformed, "two what-ifs have one label");
        for (const nlohmann::json& order : ArrayField(whatIf, "orders"))
            table.rows.push_back(RowOf(order, label, table.rows.size() + 1));
    }
    return ReadOrderTable(std::move(table), problems);
}

void CheckOrders(const DeskBook& book, const Rows<OrderRow>& orders, Problems& problems)
{
    if (!problems.IsEmpty()) return; // a cell that could not be read would be blamed again
    // The names of all accounts are gone through only where one is missed.
    const auto isKnown = [&](const OrderRow& row) { return book.HasClient(row.client); };
    if (!std::all_of(orders.rows.begin(), orders.rows.end(), isKnown)) CheckClients(book.Accounts(), orders, problems);
    CheckInstruments(book.Instruments(), orders, problems);
}

nlohmann::ordered_json WhatIfsForThePage(const std::vector<WhatIfFigures>& whatIfs)
{
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const WhatIfFigures& whatIf : whatIfs)
        array.push_back({{"label", whatIf.label},
                         {"client", whatIf.before.code},
                         {"before", FiguresJson(whatIf.before)},
                         {"after", FiguresJson(whatIf.after)},
                         {"difference", FiguresJson(DifferenceOf(whatIf))}});
    return array;
}

nlohmann::ordered_json ProblemsJson(const Problems& problems)
{
    nlohmann::ordered_json told = nlohmann::ordered_json::array();
    for (const Problem& problem : problems.Told())
        told.push_back({{"line", problem.line},
                        {"column", problem.column},
                        {"value", problem.value.value_or("")},
                        {"reason", problem.reason},
                        {"text", problem.Text()}});
    return {{"problems", std::move(told)}, {"count", problems.Count()}};
}

} // namespace quindal
