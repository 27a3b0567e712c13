#include "ExplainPage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

#include "ExplainCells.h"
#include "ExplainReport.h"
#include "Html.h"
#include "MarginPicture.h"
#include "TextTable.h"

namespace quindal {

namespace {

using namespace QuindalIM;

// Contrast of every pair of colours is that of WCAG AA; figures are as wide as each other and stand to the right.
constexpr std::string_view Style = R"(
:root { color-scheme: light dark; --ground: #ffffff; --text: #1b1f24; --quiet: #57606a; --line: #d8dde3;
  --bar: #0b62b8; --gain: #2c7a5b; --soft: #f4f6f8; }
@media (prefers-color-scheme: dark) { :root { --ground: #14181d; --text: #e6e9ed; --quiet: #a3adb8; --line: #2a3038;
  --bar: #5eb0ff; --gain: #5fd0a2; --soft: #1b2027; } }
body { margin: 0 auto; max-width: 960px; padding: 24px; background: var(--ground); color: var(--text);
  font: 14px/1.45 system-ui, sans-serif; }
h1 { font-size: 22px; margin: 0; }
.go { font-size: 30px; font-weight: 600; margin: 4px 0 0; font-variant-numeric: tabular-nums; }
.quiet, footer { color: var(--quiet); }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { padding: 4px 10px; text-align: left; border-bottom: 1px solid var(--line); vertical-align: top; }
th { color: var(--quiet); font-weight: 500; }
table + table { margin-top: 14px; }
.figure { text-align: right; white-space: nowrap; }
.inner { padding-left: 26px; }
.bar { width: 140px; }
.bar i { display: block; height: 10px; margin-top: 5px; background: var(--bar); border-radius: 2px; }
.bar i.gain { background: var(--gain); }
details { margin: 14px 0; border: 1px solid var(--line); border-radius: 6px; }
summary { cursor: pointer; padding: 8px 12px; background: var(--soft); border-radius: 6px; font-weight: 600; }
details > div { padding: 4px 12px 12px; overflow-x: auto; }
.picture svg { width: 100%; height: auto; display: block; }
.picture .night { display: none; }
@media (prefers-color-scheme: dark) { .picture .day { display: none; } .picture .night { display: block; } }
footer { margin-top: 20px; font-size: 12px; overflow-wrap: anywhere; }
@media print { :root { --ground: #ffffff; --text: #000000; --quiet: #444444; --line: #cccccc; --soft: #ffffff; }
  .picture .day { display: block; } .picture .night { display: none; } }
)";

std::string Opening(const std::string& title, const std::string& content)
{
    return "<details open><summary>" + html::Text(title) + "</summary><div>" + content + "</div></details>\n";
}

/// Rows of cells as a table: the first of them is the heading, and from a column on there are figures.
std::string Table(const std::vector<Cells>& rows, std::size_t figuresFrom)
{
    std::string table = "<table>";
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const std::string_view cell = row == 0 ? "th" : "td";
        table += "<tr>";
        for (std::size_t i = 0; i < rows[row].size(); ++i) {
            const std::string& text = rows[row][i];
            const bool isInner = text.starts_with("  ");
            table += html::Element(cell, i >= figuresFrom ? "figure" : isInner ? "inner" : "", html::Text(text));
        }
        table += "</tr>\n";
    }
    return table + "</table>";
}

// A bar as long as a share is, against the largest.
std::string Bar(double share, double largest)
{
    char width[40];
    std::snprintf(width, sizeof width, "%.1f", largest == 0.0 ? 0.0 : std::abs(share) / largest * 100.0);
    return "<td class=\"bar\"><i" + std::string(share < 0.0 ? " class=\"gain\"" : "") + " style=\"width:" + width +
           "%\"></i></td>";
}

std::string LevelsOf(const MarginExplanation& explanation)
{
    std::vector<Cells> rows{{"Netting", "Margin", "Saved"}};
    for (const LevelMargin& level : explanation.levels)
        rows.push_back({std::string(TextOf(level.level)), MoneyText(level.margin),
                        level.level == NettingLevel::Gross ? "" : MoneyText(level.saved)});
    return Table(rows, 1);
}

std::string SharesOf(const std::vector<const MarginShare*>& shares, const MarginExplanation& explanation,
                     double largest)
{
    std::string table = "<table><tr><th>Share of</th><th></th><th class=\"figure\">Quantity</th>"
                        "<th class=\"figure\">Price</th><th class=\"figure\">Share</th><th class=\"figure\">Part</th>"
                        "<th></th></tr>\n";
    for (const MarginShare* const share : shares) {
        const bool isPosition = share->kind == MarginShare::Kind::Position;
        table += "<tr>" + html::Element("td", "", html::Text(share->instrument)) +
                 html::Element("td", "", html::Text(KindText(*share))) +
                 html::Element("td", "figure", std::to_string(share->quantity)) +
                 html::Element("td", "figure", isPosition ? PriceText(share->price) : "") +
                 html::Element("td", "figure", MoneyText(share->margin)) +
                 html::Element("td", "figure", PercentText(share->margin, explanation.unrounded)) +
                 Bar(share->margin, largest) + "</tr>\n";
    }
    return table + "</table>";
}

// An entity with its worst cells and the shares in its margin, as far as these are listed.
std::string EntityOf(const MarginExplanation& explanation, std::size_t index,
                     const std::vector<const MarginShare*>& listed, double largest)
{
    const EntityExplanation& entity = explanation.entities[index];
    MarginExplanation alone; // for the rows of this entity only
    alone.entities = {entity};
    for (ContractGrid grid : explanation.grids) {
        if (grid.entity != index) continue;
        grid.entity = 0;
        alone.grids.push_back(std::move(grid));
    }
    std::vector<const MarginShare*> shares;
    std::ranges::copy_if(listed, std::back_inserter(shares), [&](const auto* share) { return share->entity == index; });
    const std::string part = PercentText(entity.margin, explanation.unrounded);
    return Opening(TextOf(entity) + ": " + MoneyText(entity.margin) + (part.empty() ? "" : ", " + part),
                   Table(WorstCells(alone), 3) + (shares.empty() ? "" : SharesOf(shares, explanation, largest)));
}

std::string MeaningsIn(const MarginExplanation& explanation)
{
    std::vector<Cells> rows = MeaningsOf(WorstCells(explanation));
    if (rows.empty()) return "";
    rows.insert(rows.begin(), {"Word", "Meaning"});
    return Opening("What the words mean", Table(rows, 2));
}

// Both themes of the picture: the page shows the one that fits it.
std::string PicturesOf(const ExplainedMargin& explained, const Provenance& provenance, std::size_t top)
{
    if (explained.explanation.grids.empty()) return "";
    const PictureInput input{NameOf(explained), explained.explanation, provenance};
    std::string pictures;
    for (const bool isDark : {false, true}) {
        PictureStyle style;
        style.theme = isDark ? PictureTheme::Dark : PictureTheme::Light;
        style.idPrefix = isDark ? "night-" : "day-";
        if (top > 0) style.top = top;
        const std::string svg = PictureAsSvg(input, style);
        pictures += html::Element("div", isDark ? "night" : "day", svg.substr(svg.find("<svg")));
    }
    return Opening("Profit and loss", html::Element("div", "picture", pictures));
}

std::string MembersOf(const ExplainedMargin& explained)
{
    std::vector<Cells> rows{{explained.kind == HolderKind::Firm ? "Client" : "Firm", "GO"}};
    for (const Member& member : explained.members)
        rows.push_back({member.code, MoneyText(member.GO)});
    return html::Element("p", "quiet", html::Text(RuleText(explained))) + Table(rows, 1);
}

std::string ContentOf(const ExplainedMargin& explained, const Provenance& provenance, std::size_t top)
{
    const MarginExplanation& explanation = explained.explanation;
    if (explained.livesByMembers) return MembersOf(explained);
    if (explanation.shares.empty()) return html::Element("p", "quiet", "Nothing is held and nothing is ordered.");
    double largest = 0.0;
    for (const MarginShare& share : explanation.shares)
        largest = std::max(largest, std::abs(share.margin));
    std::string content = html::Element("p", "quiet", html::Text("= " + FormulaText(explanation)));
    content += Opening("Netting", LevelsOf(explanation));
    const std::vector<const MarginShare*> listed = LargestShares(explanation, top);
    for (std::size_t entity = 0; entity < explanation.entities.size(); ++entity)
        content += EntityOf(explanation, entity, listed, largest);
    if (const std::size_t others = explanation.shares.size() - listed.size(); others > 0)
        content += html::Element("p", "quiet", std::to_string(others) + " smaller shares are not listed.");
    return content + MeaningsIn(explanation) + PicturesOf(explained, provenance, top);
}

} // namespace

std::string ExplanationPage(const ExplainedMargin& explained, const Provenance& provenance, std::size_t top)
{
    const std::string title = html::Text("Margin of " + NameOf(explained));
    const std::string go = MoneyText(explained.GO) + (provenance.currency.empty() ? "" : " " + provenance.currency);
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
           "<title>" +
           title + "</title>\n<style>" + std::string(Style) + "</style>\n</head>\n<body>\n<main>\n<h1>" + title +
           "</h1>\n" + html::Element("p", "go", html::Text("GO " + go)) + ContentOf(explained, provenance, top) +
           "</main>\n<footer>" + html::Text(ProvenanceLine(provenance)) + "</footer>\n</body>\n</html>\n";
}

} // namespace quindal
