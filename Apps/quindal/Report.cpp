#include "Report.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace quindal {

namespace {

using Cells = std::vector<std::string>;

// Shortest text that reads back as the same double.
std::string Exact(double value)
{
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return {text, end};
}

std::string Cents(double value)
{
    char text[400];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

// "1234567.50" with blanks between thousands, for the table.
std::string Grouped(double value)
{
    std::string text = Cents(value);
    const std::size_t first = text.front() == '-' ? 1 : 0;
    for (std::size_t at = text.find('.'); at != std::string::npos && at > first + 3;)
        text.insert(at -= 3, " ");
    return text;
}

// First columns to the left, figures to the right.
void WriteTable(std::ostream& out, const std::vector<Cells>& rows, std::size_t leftColumns)
{
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Cells& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const Cells& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string pad(widths[i] - row[i].size(), ' ');
            line += (i == 0 ? "" : "  ") + (i < leftColumns ? row[i] + pad : pad + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

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

std::string CsvCell(const std::string& text)
{
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

void WriteJson(std::ostream& out, const MarginFigures& figures)
{
    using nlohmann::ordered_json;
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
    out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void WriteReport(std::ostream& out, const MarginFigures& figures, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        WriteTables(out, figures);
        break;
    case ReportFormat::Csv:
        WriteCsv(out, figures);
        break;
    case ReportFormat::Json:
        WriteJson(out, figures);
        break;
    }
}

} // namespace quindal
