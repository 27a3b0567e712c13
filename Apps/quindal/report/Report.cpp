#include "Report.h"

#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "TextTable.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

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
        const ClientFigures added = DifferenceOf(whatIf);
        rows.push_back({whatIf.label, whatIf.before.code, Grouped(whatIf.before.GO), Grouped(whatIf.after.GO),
                        Grouped(added.GO), Grouped(added.volatilityGO), Grouped(added.deliveryAndVolatilityGO)});
    }
    out << '\n';
    WriteTable(out, rows, 2);
}

void WriteCsv(std::ostream& out, const MarginFigures& figures, const Provenance& provenance)
{
    out << "level,code,parent,volatility_go,delivery_and_volatility_go,go" << ProvenanceColumns() << '\n';
    const std::string end = ProvenanceCells(provenance) + '\n';
    for (const ClientFigures& client : figures.clients)
        out << "client," << CsvCell(client.code) << ',' << CsvCell(client.firm) << ',' << Exact(client.volatilityGO)
            << ',' << Exact(client.deliveryAndVolatilityGO) << ',' << Cents(client.GO) << end;
    for (const FirmFigures& firm : figures.firms)
        out << "firm," << CsvCell(firm.code) << ',' << CsvCell(firm.settlementAccount) << ",,," << Cents(firm.GO)
            << end;
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        out << "account," << CsvCell(account.id) << ",,,," << Cents(account.GO) << end;
}

void WriteWhatIfCsv(std::ostream& out, const std::vector<WhatIfFigures>& whatIfs, const Provenance& provenance)
{
    out << "what_if,client,volatility_go_before,volatility_go_after,volatility_go_difference,"
           "delivery_and_volatility_go_before,delivery_and_volatility_go_after,delivery_and_volatility_go_difference,"
           "go_before,go_after,go_difference"
        << ProvenanceColumns() << '\n';
    const std::string end = ProvenanceCells(provenance) + '\n';
    for (const WhatIfFigures& whatIf : whatIfs) {
        const auto& [label, before, after] = whatIf;
        const ClientFigures added = DifferenceOf(whatIf);
        out << CsvCell(label) << ',' << CsvCell(before.code);
        for (const double figure :
             {before.volatilityGO, after.volatilityGO, added.volatilityGO, before.deliveryAndVolatilityGO,
              after.deliveryAndVolatilityGO, added.deliveryAndVolatilityGO})
            out << ',' << Exact(figure);
        for (const double figure : {before.GO, after.GO, added.GO})
            out << ',' << Cents(figure);
        out << end;
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
                         {"difference", ThreeFigures(DifferenceOf(whatIf))}});
    return array;
}

void WriteJson(std::ostream& out, const MarginFigures& figures, const Provenance& provenance)
{
    ordered_json document{{"provenance", ProvenanceJson(provenance)},
                          {"clients", ordered_json::array()},
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

ClientFigures DifferenceOf(const WhatIfFigures& figures)
{
    const auto& [label, before, after] = figures;
    return {before.code, before.firm, after.volatilityGO - before.volatilityGO,
            after.deliveryAndVolatilityGO - before.deliveryAndVolatilityGO,
            // The two GOs are in cents, and so is their difference.
            std::round((after.GO - before.GO) * 100.0) / 100.0};
}

void WriteReport(std::ostream& out, const MarginFigures& figures, const Provenance& provenance, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        WriteTables(out, figures);
        if (figures.whatIfs) WriteWhatIfTable(out, *figures.whatIfs);
        break;
    case ReportFormat::Csv:
        if (figures.whatIfs)
            WriteWhatIfCsv(out, *figures.whatIfs, provenance);
        else
            WriteCsv(out, figures, provenance);
        break;
    case ReportFormat::Json:
        WriteJson(out, figures, provenance);
        break;
    }
}

} // namespace quindal
