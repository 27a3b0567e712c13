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

std::string_view StateOf(const LimitUse& use) { return use.IsExceeded() ? "exceeded" : "within"; }

void WriteLimitTable(std::ostream& out, const std::vector<LimitUse>& limits)
{
    std::vector<Cells> rows{{"Level", "Code", "Limit is", "GO", "Limit", "Left"}};
    for (const LimitUse& use : limits)
        rows.push_back({std::string(HierarchyWord(use.level)), use.code, std::string(StateOf(use)), Grouped(use.GO),
                        Grouped(use.limit), Grouped(use.free)});
    WriteTable(out, rows, 3);
    out << '\n';
}

void WriteLimitCsv(std::ostream& out, const std::vector<LimitUse>& limits, const Provenance& provenance)
{
    out << "level,code,limit_is,go,limit,left" << ProvenanceColumns() << '\n';
    const std::string end = ProvenanceCells(provenance) + '\n';
    for (const LimitUse& use : limits)
        out << HierarchyWord(use.level) << ',' << CsvCell(use.code) << ',' << StateOf(use) << ',' << Cents(use.GO)
            << ',' << Cents(use.limit) << ',' << Cents(use.free) << end;
}

ordered_json LimitsJson(const std::vector<LimitUse>& limits)
{
    ordered_json array = ordered_json::array();
    for (const LimitUse& use : limits)
        array.push_back({{"level", HierarchyWord(use.level)},
                         {"code", use.code},
                         {"isExceeded", use.IsExceeded()},
                         {"GO", use.GO},
                         {"limit", use.limit},
                         {"left", use.free}});
    return array;
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

void WriteJson(std::ostream& out, const MarginReport& report, const Provenance& provenance)
{
    const MarginFigures& figures = report.figures;
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
    if (report.whatIfs) document["whatIfs"] = WhatIfsJson(*report.whatIfs);
    if (report.limits) document["limits"] = LimitsJson(*report.limits);
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

void WriteReport(std::ostream& out, const MarginReport& report, const Provenance& provenance, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Table:
        if (report.limits) WriteLimitTable(out, *report.limits);
        WriteTables(out, report.figures);
        if (report.whatIfs) WriteWhatIfTable(out, *report.whatIfs);
        break;
    case ReportFormat::Csv:
        if (report.whatIfs)
            WriteWhatIfCsv(out, *report.whatIfs, provenance);
        else if (report.limits)
            WriteLimitCsv(out, *report.limits, provenance);
        else
            WriteCsv(out, report.figures, provenance);
        break;
    case ReportFormat::Json:
        WriteJson(out, report, provenance);
        break;
    }
}

} // namespace quindal
