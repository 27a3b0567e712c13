#include "Report.h"

#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

// Shortest text that reads back as the same double.
std::string Exact(double value)
{
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return {text, end};
}

/// Money that the orders of a what-if add.
struct Added
{
    explicit Added(const WhatIfFigures& figures)
        : volatilityGO(figures.after.volatilityGO - figures.before.volatilityGO),
          deliveryAndVolatilityGO(figures.after.deliveryAndVolatilityGO - figures.before.deliveryAndVolatilityGO),
          // The two GOs are in cents, and so is their difference.
          GO(std::round((figures.after.GO - figures.before.GO) * 100.0) / 100.0)
    {}

    double volatilityGO;
    double deliveryAndVolatilityGO;
    double GO;
};

void WriteTables(std::ostream& out, const MarginFigures& figures)
{
    std::vector<Cells> clients{{"Client", "Firm", "Volatility GO", "Delivery GO", "GO"}};
    for (const ClientFigures& client : figures.clients)
        clients.push_back({client.code, client.firm, Grouped(client.volatilityGO),
                           Grouped(client.deliveryAndVolatilityGO), Grouped(client.GO)});
    WriteTable(out, clients, 2);

    std::vector<Cells> firms{{"Firm", "Settlement account", "GO"}};
    for (const FirmFigures& firm : figures.firms)
        firms.push_back({firm.code, firm.settlementAccount.empty() ? "-" : firm.settlementAccount, Grouped(firm.GO)});
    out << '\n';
    WriteTable(out, firms, 2);

    std::vector<Cells> accounts{{"Settlement account", "GO"}};
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        accounts.push_back({account.id, Grouped(account.GO)});
    out << '\n';
    WriteTable(out, accounts, 1);
}

void WriteWhatIfTable(std::ostream& out, const std::vector<WhatIfFigures>& whatIfs)
{
    std::vector<Cells> rows{
        {"What-if", "Client", "GO before", "GO after", "Difference", "of volatility GO", "of delivery GO"}};
    for (const WhatIfFigures& whatIf : whatIfs) {
        const Added added(whatIf);
        rows.push_back({whatIf.label, whatIf.before.code, Grouped(whatIf.before.GO), Grouped(whatIf.after.GO),
                        Grouped(added.GO), Grouped(added.volatilityGO), Grouped(added.deliveryAndVolatilityGO)});
    }
    out << '\n';
    WriteTable(out, rows, 2);
}

/// True for a text that a spreadsheet would take for a formula unless an apostrophe stands before it.
bool LooksLikeAFormula(const std::string& text)
{
    return !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos;
}

std::string CsvCell(std::string text)
{
    if (LooksLikeAFormula(text)) text.insert(text.begin(), '\'');
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

void WriteCsv(std::ostream& out, const MarginFigures& figures)
{
    out << "level,code,parent,volatility_go,delivery_and_volatility_go,go\n";
    for (const ClientFigures& client : figures.clients)
        out << "client," << CsvCell(client.code) << ',' << CsvCell(client.firm) << ',' << Exact(client.volatilityGO)
            << ',' << Exact(client.deliveryAndVolatilityGO) << ',' << Cents(client.GO) << '\n';
    for (const FirmFigures& firm : figures.firms)
        out << "firm," << CsvCell(firm.code) << ',' << CsvCell(firm.settlementAccount) << ",,," << Cents(firm.GO)
            << '\n';
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        out << "account," << CsvCell(account.id) << ",,,," << Cents(account.GO) << '\n';
}

void WriteWhatIfCsv(std::ostream& out, const std::vector<WhatIfFigures>& whatIfs)
{
    out << "what_if,client,volatility_go_before,volatility_go_after,volatility_go_difference,"
           "delivery_and_volatility_go_before,delivery_and_volatility_go_after,delivery_and_volatility_go_difference,"
           "go_before,go_after,go_difference\n";
    for (const WhatIfFigures& whatIf : whatIfs) {
        const auto& [label, before, after] = whatIf;
        const Added added(whatIf);
        out << CsvCell(label) << ',' << CsvCell(before.code);
        for (const double figure :
             {before.volatilityGO, after.volatilityGO, added.volatilityGO, before.deliveryAndVolatilityGO,
              after.deliveryAndVolatilityGO, added.deliveryAndVolatilityGO})
            out << ',' << Exact(figure);
        for (const double figure : {before.GO, after.GO, added.GO})
            out << ',' << Cents(figure);
        out << '\n';
    }
}

/// The three figures of a client, or of what was added to them.
ordered_json ThreeFigures(const auto& figures)
{
    return {{"volatilityGO", figures.volatilityGO},
            {"deliveryAndVolatilityGO", figures.deliveryAndVolatilityGO},
            {"GO", figures.GO}};
}

ordered_json WhatIfsJson(const std::vector<WhatIfFigures>& whatIfs)
{
    ordered_json array = ordered_json::array();
    for (const WhatIfFigures& whatIf : whatIfs)
        array.push_back({{"whatIf", whatIf.label},
                         {"client", whatIf.before.code},
                         {"before", ThreeFigures(whatIf.before)},
                         {"after", ThreeFigures(whatIf.after)},
                         {"difference", ThreeFigures(Added(whatIf))}});
    return array;
}

void WriteJson(std::ostream& out, const MarginFigures& figures)
{
    ordered_json document{{"clients", ordered_json::array()},
                          {"firms", ordered_json::array()},
                          {"settlementAccounts", ordered_json::array()}};
    for (const ClientFigures& client : figures.clients)
        document["clients"].push_back({{"code", client.code},
                                       {"firm", client.firm},
                                       {"volatilityGO", client.volatilityGO},
                                       {"deliveryAndVolatilityGO", client.deliveryAndVolatilityGO},
                                       {"GO", client.GO}});
    for (const FirmFigures& firm : figures.firms)
        document["firms"].push_back(
            {{"code", firm.code}, {"settlementAccount", firm.settlementAccount}, {"GO", firm.GO}});
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        document["settlementAccounts"].push_back({{"id", account.id}, {"GO", account.GO}});
    if (figures.whatIfs) document["whatIfs"] = WhatIfsJson(*figures.whatIfs);
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteReport(std::ostream& out, const MarginFigures& figures, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        WriteTables(out, figures);
        if (figures.whatIfs) WriteWhatIfTable(out, *figures.whatIfs);
        break;
    case ReportFormat::Csv:
        if (figures.whatIfs)
            WriteWhatIfCsv(out, *figures.whatIfs);
        else
            WriteCsv(out, figures);
        break;
    case ReportFormat::Json:
        WriteJson(out, figures);
        break;
    }
}

} // namespace quindal
