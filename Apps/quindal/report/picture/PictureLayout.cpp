#include "PictureLayout.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "ExplainWords.h"
#include "PicturePanel.h"
#include "Printable.h"
#include "QuindalIM.h"
#include "UtcText.h"

namespace quindal::picture {

namespace {

using QuindalIM::ContractGrid;

constexpr Font HeadFont{17.0, true};
constexpr Font SubFont{12.0, false};
constexpr Font FootFont{9.5, false};
constexpr double HeadHeight = 74.0;
constexpr double FootHeight = 54.0;
constexpr double FootLine = 13.0;

// The contracts with the largest part of the margin, the largest first.
std::vector<const ContractGrid*> Largest(const QuindalIM::MarginExplanation& explanation, std::size_t top)
{
    std::vector<const ContractGrid*> grids;
    for (const ContractGrid& grid : explanation.grids)
        if (!grid.prices.empty()) grids.push_back(&grid);
    std::ranges::stable_sort(grids, [](const auto* a, const auto* b) { return a->margin > b->margin; });
    if (grids.size() > top) grids.resize(top);
    return grids;
}

std::string MoneyWords(const PictureInput& input)
{
    const std::string& currency = input.provenance.currency;
    return MoneyText(input.explanation.margin) + (currency.empty() ? "" : " " + currency);
}

class Sheets
{
public:
    Sheets(const PictureInput& input, const PictureStyle& style, const Paper& paper, const Typesetter& type)
        : m_input(input),
          m_inks(InksOf(style.theme)),
          m_paper(paper),
          m_type(type),
          m_grids(Largest(input.explanation, style.top))
    {}

    [[nodiscard]] Layout Make()
    {
        Begin();
        for (const ContractGrid* const grid : m_grids) {
            const PanelTerms terms{m_input, *grid, m_inks, m_type, m_paper.width};
            const double height = HeightOfPanel(terms);
            if (m_paper.height && m_y > HeadHeight && m_y + height + FootHeight > *m_paper.height) {
                End();
                Begin();
            }
            PicturePanel panel = AddPanel(terms, m_y, m_layout.sheets.back());
            if (m_layout.sheets.size() == 1) m_layout.map.panels.push_back(std::move(panel));
            m_y += height;
        }
        End();
        m_layout.map.width = m_layout.sheets.front().width;
        m_layout.map.height = m_layout.sheets.front().height;
        return std::move(m_layout);
    }

private:
    void Put(const std::string& text, double y, const Font& font, const Colour& colour)
    {
        m_layout.sheets.back().words.push_back(
            m_type.Set(m_type.Fitted(text, font, m_paper.width - 2.0 * Edge), {Edge, y}, Side::Left, font, colour));
    }
    void Begin();
    void End();
    [[nodiscard]] std::string Subtitle() const;

    const PictureInput& m_input;
    const Inks& m_inks;
    const Paper& m_paper;
    const Typesetter& m_type;
    std::vector<const ContractGrid*> m_grids;
    Layout m_layout;
    double m_y = 0.0;
};

std::string Sheets::Subtitle() const
{
    std::string text = "GO " + MoneyWords(m_input);
    const std::size_t all = m_input.explanation.grids.size();
    if (all == 0) return text + "; nothing is held and nothing is ordered";
    if (m_grids.size() < all)
        text += "; the " + std::to_string(m_grids.size()) + " of " + std::to_string(all) +
                " contracts with the largest part of it";
    return text;
}

void Sheets::Begin()
{
    Sheet& sheet = m_layout.sheets.emplace_back();
    sheet.width = m_paper.width;
    sheet.ground = m_inks.ground;
    Put("Profit and loss of " + Printable(m_input.holder), 34.0, HeadFont, m_inks.text);
    Put(Subtitle(), 54.0, SubFont, m_inks.quiet);
    m_y = HeadHeight;
}

// Ends a sheet with its footer: whose margin, of which market and when, by which version.
void Sheets::End()
{
    const MarketSource& market = m_input.provenance.market;
    Sheet& sheet = m_layout.sheets.back();
    sheet.height = m_paper.height.value_or(m_y + FootHeight);
    double y = sheet.height - FootHeight + 18.0;
    sheet.paths.push_back({{{Edge, y - 14.0}, {m_paper.width - Edge, y - 14.0}}, m_inks.grid, 1.0, {}});
    Put(Printable(m_input.holder) + ", GO " + MoneyWords(m_input) + ", libQuindalIM_Client " +
            GetQuindalIMLibraryVersion(),
        y, FootFont, m_inks.quiet);
    Put(std::string(market.isServer ? "server " : "market ") + Printable(market.name) +
            (market.time ? (market.isServer ? ", received " : ", changed ") + UtcText(*market.time) : ""),
        y + FootLine, FootFont, m_inks.quiet);
    Put("sha256 " + market.sha256, y + 2.0 * FootLine, FootFont, m_inks.quiet);
}

} // namespace

Layout LayOut(const PictureInput& input, const PictureStyle& style, const Paper& paper, const Typesetter& typesetter)
{
    return Sheets(input, style, paper, typesetter).Make();
}

} // namespace quindal::picture
