#include "ExplainReport.h"

#include <cstddef>
#include <ostream>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvCell.h"
#include "ExplainCells.h"
#include "ExplainJson.h"
#include "Printable.h"
#include "TextTable.h"

namespace quindal {

namespace {

using namespace QuindalIM;

std::string_view LevelWord(HolderKind kind)
{
    return kind == HolderKind::Client ? "client" : kind == HolderKind::Firm ? "firm" : "account";
}

// ---- The tables ---------------------------------------------------------------------------------------------------

void WriteHead(std::ostream& out, const ExplainedMargin& explained)
{
    const std::string holder = explained.kind == HolderKind::Client ? explained.code : NameOf(explained);
    out << "GO of " << Printable(holder) << ": " << MoneyText(explained.GO) << '\n';
    if (!explained.livesByMembers && explained.explanation.shares.empty())
        out << "Nothing is held and nothing is ordered.\n";
    else if (!explained.livesByMembers)
        out << "  = " << FormulaText(explained.explanation) << '\n';
}

void WriteLevels(std::ostream& out, const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Netting", "Margin", "Saved"}};
    for (const LevelMargin& level : explanation.levels)
        rows.push_back({std::string(TextOf(level.level)), MoneyText(level.margin),
                        level.level == NettingLevel::Gross ? "" : MoneyText(level.saved)});
    WriteTable(out, rows, 1);
}

// The row of those that are not listed; none where all are.
void AddOthers(std::vector<Cells>& rows, const MarginExplanation& explanation,
               const std::vector<const MarginShare*>& listed)
{
    const std::size_t others = explanation.shares.size() - listed.size();
    if (others == 0) return;
    double rest = explanation.unrounded;
    for (const MarginShare* const share : listed)
        rest -= share->margin;
    rows.push_back({std::to_string(others) + (others == 1 ? " other" : " others"), "", "", "", "", MoneyText(rest),
                    PercentText(rest, explanation.unrounded)});
}

void WriteShares(std::ostream& out, const MarginExplanation& explanation, std::size_t top)
{
    const std::vector<const MarginShare*> shares = LargestShares(explanation, top);
    std::vector<Cells> rows{{"Share of", "", "in the margin of", "Quantity", "Price", "Share", "Part"}};
    for (const MarginShare* const share : shares)
        rows.push_back({share->instrument, KindText(*share), TextOf(explanation.entities[share->entity]),
                        std::to_string(share->quantity),
                        share->kind == MarginShare::Kind::Position ? PriceText(share->price) : "",
                        MoneyText(share->margin), PercentText(share->margin, explanation.unrounded)});
    AddOthers(rows, explanation, shares);
    rows.push_back({"Total", "", "", "", "", MoneyText(explanation.unrounded),
                    PercentText(explanation.unrounded, explanation.unrounded)});
    WriteTable(out, rows, 3);
}

void WriteMembers(std::ostream& out, const ExplainedMargin& explained)
{
    double sum = 0.0;
    for (const Member& member : explained.members)
        sum += member.GO;
    std::vector<Cells> rows{{explained.kind == HolderKind::Firm ? "Client" : "Firm", "GO", "Part of the sum"}};
    for (const Member& member : explained.members)
        rows.push_back({member.code, MoneyText(member.GO), PercentText(member.GO, sum)});
    rows.push_back({"Sum", MoneyText(sum), ""});
    rows.push_back({"Sum less the GO", MoneyText(sum - explained.GO), PercentText(sum - explained.GO, sum)});
    out << "  " << RuleText(explained) << "\n\n";
    WriteTable(out, rows, 1);
}

void WriteTables(std::ostream& out, const ExplainedMargin& explained, std::size_t top)
{
    const MarginExplanation& explanation = explained.explanation;
    WriteHead(out, explained);
    if (explained.livesByMembers) return WriteMembers(out, explained);
    if (explanation.shares.empty()) return;
    out << '\n';
    WriteLevels(out, explanation);
    out << '\n';
    const std::vector<Cells> worstCells = WorstCells(explanation);
    WriteTable(out, worstCells, 3);
    out << '\n';
    WriteShares(out, explanation, top);
    const std::vector<Cells> meanings = MeaningsOf(worstCells);
    if (meanings.empty()) return;
    out << '\n';
    WriteTable(out, meanings, 2);
}

// ---- CSV ----------------------------------------------------------------------------------------------------------

void WriteSharesAsCsv(std::ostream& out, const ExplainedMargin& explained, const Provenance& provenance,
                      std::size_t top)
{
    const MarginExplanation& explanation = explained.explanation;
    out << "level,code,instrument,kind,quantity,price,entity_kind,entity,volatility,delivery,margin,cut"
        << ProvenanceColumns() << '\n';
    for (const MarginShare* const share : LargestShares(explanation, top)) {
        const bool isPosition = share->kind == MarginShare::Kind::Position;
        const EntityExplanation& entity = explanation.entities[share->entity];
        out << LevelWord(explained.kind) << ',' << CsvCell(explained.code) << ',' << CsvCell(share->instrument) << ','
            << (isPosition ? "position" : "orders") << ',' << share->quantity << ','
            << (isPosition ? Exact(share->price) : "") << ',' << WordOf(entity.kind) << ',' << CsvCell(entity.code)
            << ',' << Exact(share->volatility) << ',' << Exact(share->delivery) << ',' << Exact(share->margin) << ','
            << (share->isGated ? "true" : "false") << ProvenanceCells(provenance) << '\n';
    }
}

void WriteMembersAsCsv(std::ostream& out, const ExplainedMargin& explained, const Provenance& provenance)
{
    out << "level,code,margin_rule,go,member,member_go" << ProvenanceColumns() << '\n';
    for (const Member& member : explained.members)
        out << LevelWord(explained.kind) << ',' << CsvCell(explained.code) << ',' << explained.rule << ','
            << Exact(explained.GO) << ',' << CsvCell(member.code) << ',' << Exact(member.GO)
            << ProvenanceCells(provenance) << '\n';
}

} // namespace

std::string RuleText(const ExplainedMargin& explained)
{
    const bool isAccount = explained.kind == HolderKind::Account;
    if (isAccount && explained.rule == "gross") return "= the sum of the GO of its firms (gross)";
    return "= the losses of " + std::string(isAccount ? "its firms' clients" : "its clients") +
           ", price by price; what one gains takes nothing from what another loses (" + explained.rule + ")";
}

void WriteExplanation(std::ostream& out, const ExplainedMargin& explained, const Provenance& provenance,
                      ReportFormat format, std::size_t top)
{
    if (format == ReportFormat::Json)
        out << ExplanationJson(explained, provenance)
                   .dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
            << '\n';
    else if (format == ReportFormat::Table)
        WriteTables(out, explained, top);
    else if (explained.livesByMembers)
        WriteMembersAsCsv(out, explained, provenance);
    else
        WriteSharesAsCsv(out, explained, provenance, top);
}

} // namespace quindal
