// The picture of a margin: what lies where on its sheets, and the bytes that come of it.
#include "MarginPicture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "PictureCanvas.h"
#include "PictureInks.h"
#include "PictureLayout.h"
#include "PictureSamples.h"

namespace test::PictureTest {
namespace {

using namespace quindal;
using namespace quindal::picture;
using namespace quindal::test;
using QuindalIM::ContractGrid;
using QuindalIM::ContractOutcome;
using QuindalIM::MarginExplanation;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

Layout LayoutOf(const MarginExplanation& explained, const PictureStyle& style = {}, const Paper& paper = {})
{
    return LayOut({"client AA01001", explained, SampleProvenance()}, style, paper, Typesetter(MeasureByCairo()));
}

std::vector<std::string> TextsOf(const Sheet& sheet)
{
    std::vector<std::string> texts;
    texts.reserve(sheet.words.size());
    for (const Words& words : sheet.words)
        texts.push_back(words.text);
    return texts;
}
bool Says(const Sheet& sheet, const std::string& part)
{
    return std::ranges::any_of(sheet.words,
                               [&](const Words& words) { return words.text.find(part) != std::string::npos; });
}
std::size_t Count(const Sheet& sheet, const std::string& text)
{
    return static_cast<std::size_t>(std::ranges::count(TextsOf(sheet), text));
}

/// The options of a contract at three volatilities, the lowest losing most.
ContractGrid GridOfOptions()
{
    ContractGrid grid = GridOfFutures();
    for (std::size_t scenario = 0; scenario < 3; ++scenario)
        for (double& money : grid.scenarios[scenario])
            money += 200.0 * static_cast<double>(scenario);
    grid.shifts = {{-0.12, -0.12}, {0.0, 0.0}, {0.12, 0.12}};
    return grid;
}

// ---- Nothing lies on anything -------------------------------------------------------------------------------------

std::string Shown(const Words& words)
{
    std::ostringstream text;
    text << '"' << words.text << "\" at " << words.box.left << ", " << words.box.top << " to " << words.box.right
         << ", " << words.box.bottom;
    return text.str();
}

bool IsOn(const Words& words, const Path& path)
{
    for (std::size_t i = 1; i < path.points.size(); ++i)
        if (Meets(words.box, path.points[i - 1], path.points[i])) return true;
    return path.isFilled && Meets(words.box, path.points.back(), path.points.front());
}

bool IsOn(const Words& words, const Ring& ring)
{
    return Overlap(words.box, Grown({ring.centre.x, ring.centre.y, ring.centre.x, ring.centre.y}, ring.radius));
}

/// What is wrong with the places of the words of a sheet; empty for nothing.
std::string FaultOf(const Sheet& sheet)
{
    for (std::size_t i = 0; i < sheet.words.size(); ++i) {
        const Words& words = sheet.words[i];
        if (words.box.left < 0.0 || words.box.top < 0.0 || words.box.right > sheet.width ||
            words.box.bottom > sheet.height)
            return Shown(words) + " leaves the sheet";
        for (std::size_t k = 0; k < i; ++k)
            if (Overlap(words.box, sheet.words[k].box)) return Shown(words) + " lies on " + Shown(sheet.words[k]);
        for (const Path& path : sheet.paths)
            if (IsOn(words, path)) return Shown(words) + " lies on a line";
        for (const Ring& ring : sheet.rings)
            if (IsOn(words, ring)) return Shown(words) + " lies on a ring";
    }
    return "";
}

RC_GTEST_PROP(PictureTest, NoWordsLieOnAnythingOrLeaveTheSheet, ())
{
    const MarginExplanation explained = RandomExplanation();
    Provenance provenance = SampleProvenance();
    provenance.market.name = RandomCode();
    const PictureInput input{"client " + RandomCode(), explained, provenance};
    for (const Paper& paper : {Paper{}, Paper{900.0, 1272.0}})
        for (const Sheet& sheet : LayOut(input, {}, paper, Typesetter(MeasureByCairo())).sheets) {
            const std::string fault = FaultOf(sheet);
            if (!fault.empty()) RC_FAIL(fault);
        }
}

RC_GTEST_PROP(PictureTest, NoLineOrRingLeavesTheSheet, ())
{
    for (const Sheet& sheet : LayoutOf(RandomExplanation()).sheets) {
        const auto isOnSheet = [&](const Point& point) {
            return point.x >= 0.0 && point.y >= 0.0 && point.x <= sheet.width && point.y <= sheet.height;
        };
        for (const Path& path : sheet.paths)
            RC_ASSERT(std::ranges::all_of(path.points, isOnSheet));
        for (const Ring& ring : sheet.rings)
            RC_ASSERT(isOnSheet(ring.centre));
    }
}

// ---- What is drawn ------------------------------------------------------------------------------------------------

TEST(PictureTest, ScenariosThatCoincideAreOneLine)
{
    const ContractGrid grid = GridOfFutures();
    const Layout layout = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0)));
    ASSERT_EQ(layout.map.panels.size(), 1U);
    const std::vector<PictureLine>& lines = layout.map.panels.front().lines;
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines.front().scenarios, ElementsAre(0U, 1U, 2U));
    EXPECT_EQ(lines.front().name, "at any volatility");
    EXPECT_EQ(Count(layout.sheets.front(), "at any volatility"), 1U);
}

TEST(PictureTest, ScenariosAreNamedByTheirShiftsAndThoseThatDifferByCentsStandApart)
{
    const ContractGrid grid = GridOfOptions();
    const std::vector<PictureLine> lines = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0))).map.panels.front().lines;
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].name, "volatility -12 %");
    EXPECT_EQ(lines[1].name, "volatility unchanged");
    EXPECT_EQ(lines[2].name, "volatility +12 %");

    ContractGrid twins = GridOfOptions();
    twins.scenarios[2] = twins.scenarios[0];
    const auto joined = LayoutOf(ExplanationOf(twins, WorstAt(twins, 0, 0))).map.panels.front().lines;
    ASSERT_EQ(joined.size(), 2U);
    EXPECT_EQ(joined[0].name, "volatility -12 %, +12 %");
    EXPECT_THAT(joined[0].scenarios, ElementsAre(0U, 2U));
    twins.scenarios[2][1] += 0.01;
    EXPECT_EQ(LayoutOf(ExplanationOf(twins, WorstAt(twins, 0, 0))).map.panels.front().lines.size(), 3U);
}

TEST(PictureTest, NoTwoLinesHaveTheSameDashes)
{
    std::set<std::vector<double>> dashes;
    for (std::size_t line = 0; line < 128; ++line)
        EXPECT_TRUE(dashes.insert(DashOf(line)).second) << line;
    EXPECT_TRUE(DashOf(0).empty());

    const ContractGrid grid = GridOfOptions();
    std::multiset<std::vector<double>> drawn;
    const Layout layout = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0)));
    for (const Path& path : layout.sheets.front().paths)
        if (path.points.size() == grid.prices.size()) drawn.insert(path.dash);
    EXPECT_EQ(drawn.size(), 3U);
    for (std::size_t line = 0; line < 3; ++line)
        EXPECT_EQ(drawn.count(DashOf(line)), 1U);
}

TEST(PictureTest, DeliveriesAreALineOfTheirOwnWhereTheWorstCellIsOneOfTheirs)
{
    ContractGrid grid = GridOfFutures();
    grid.deliveries = {-1000.0, -1500.0, 0.0, 500.0, 1000.0};
    ContractOutcome worst = WorstAt(grid, 0, 1);
    EXPECT_EQ(LayoutOf(ExplanationOf(grid, worst)).map.panels.front().lines.size(), 1U);
    worst.isDelivery = true;
    worst.cell = worst.money = -1500.0;
    const PicturePanel panel = LayoutOf(ExplanationOf(grid, worst)).map.panels.front();
    ASSERT_EQ(panel.lines.size(), 2U);
    EXPECT_EQ(panel.lines[1].name, "deliveries");
    EXPECT_TRUE(panel.lines[1].scenarios.empty());
    ASSERT_EQ(panel.marks.size(), 1U);
    EXPECT_EQ(panel.marks[0].x, panel.lines[1].points[1].x) << "the mark stands on this line";
    EXPECT_EQ(panel.marks[0].y, panel.lines[1].points[1].y);
}

TEST(PictureTest, TheCurrentPriceIsMarkedAndNamed)
{
    const ContractGrid grid = GridOfFutures();
    const Layout layout = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0)));
    const PicturePanel& panel = layout.map.panels.front();
    const double at = panel.lines.front().points[2].x;
    EXPECT_NEAR(at, (panel.left + panel.right) / 2.0, 1e-9);
    EXPECT_TRUE(std::ranges::any_of(layout.sheets.front().paths, [&](const Path& path) {
        return path.points == std::vector<Point>{{at, panel.top}, {at, panel.bottom}} && !path.dash.empty();
    }));
    EXPECT_EQ(Count(layout.sheets.front(), "current price 1000"), 1U);
}

TEST(PictureTest, AxesHaveTheirUnitsAndTheFooterSaysWhatItWasDrawnFrom)
{
    const ContractGrid grid = GridOfFutures();
    const Sheet sheet = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0))).sheets.front();
    for (const std::string part : {"price of FUT", "profit and loss, EUR", "client AA01001, GO 1 000.00 EUR",
                                   "market market.xml, changed 2023-11-14T22:13:20", "libQuindalIM_Client "})
        EXPECT_TRUE(Says(sheet, part)) << part;
    EXPECT_EQ(Count(sheet, "sha256 " + std::string(64, 'a')), 1U);
    EXPECT_TRUE(Says(sheet, "worst cell, volatility: -1 000.00 at the price 900"));
}

// 900 to 1100 lie on the width of the plot, and money on its height: from any two points of a line follow the others.
TEST(PictureTest, PointsLieWhereTheirPricesAndTheirMoneySay)
{
    const ContractGrid grid = GridOfOptions();
    const PicturePanel panel = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0))).map.panels.front();
    const auto& first = panel.lines[0].points;
    const double perMoney = (first[4].y - first[0].y) / 2000.0;
    EXPECT_LT(perMoney, 0.0) << "profit is up";
    for (std::size_t line = 0; line < 3; ++line) {
        ASSERT_EQ(panel.lines[line].points.size(), 5U);
        for (std::size_t i = 0; i < 5; ++i) {
            const PicturePoint& point = panel.lines[line].points[i];
            EXPECT_EQ(point.price, 900.0 + 50.0 * static_cast<double>(i));
            EXPECT_EQ(point.money, grid.scenarios[line][i]);
            EXPECT_NEAR(point.x, panel.left + (panel.right - panel.left) * static_cast<double>(i) / 4.0, 1e-9);
            EXPECT_NEAR(point.y, first[0].y + (point.money + 1000.0) * perMoney, 1e-9);
        }
    }
    ASSERT_EQ(panel.marks.size(), 1U);
    EXPECT_EQ(panel.marks.front().x, first[0].x);
    EXPECT_EQ(panel.marks.front().y, first[0].y);
}

TEST(PictureTest, AStressPointIsAnArrowAtItsEdge)
{
    const ContractGrid grid = GridOfFutures();
    for (const auto& [point, isBelow] :
         {std::pair{kv7im::SpecialRiskPoints::PnL3D, true}, std::pair{kv7im::SpecialRiskPoints::PnL3U, false}}) {
        ContractOutcome outcome;
        outcome.code = grid.code;
        outcome.kind = ContractOutcome::Kind::StressPoint;
        outcome.stressPoint = point;
        outcome.money = -1400.0;
        const Layout layout = LayoutOf(ExplanationOf(grid, outcome));
        const PicturePanel& panel = layout.map.panels.front();
        ASSERT_EQ(panel.marks.size(), 1U);
        EXPECT_EQ(panel.marks.front().x, isBelow ? panel.left : panel.right);
        const PicturePoint& lowest = panel.lines.front().points.front();
        const PicturePoint& highest = panel.lines.front().points.back();
        EXPECT_NEAR(panel.marks.front().y, lowest.y + 0.2 * (lowest.y - highest.y), 1e-9);
        EXPECT_TRUE(std::ranges::any_of(layout.sheets.front().paths, [&](const Path& path) {
            return path.isFilled && path.points.front() == Point{panel.marks.front().x, panel.marks.front().y};
        }));
    }
}

TEST(PictureTest, OfManyContractsTheLargestAreDrawnTheDearestFirst)
{
    MarginExplanation explained;
    explained.unrounded = explained.margin = 780.0;
    for (std::size_t i = 0; i < 40; ++i) {
        ContractGrid grid = GridOfFutures();
        grid.code = "BC" + std::to_string(i);
        grid.entity = i;
        grid.margin = static_cast<double>(i);
        explained.grids.push_back(grid);
        explained.entities.push_back(ExplanationOf(grid, WorstAt(grid, 0, 0)).entities.front());
    }
    const Layout ten = LayoutOf(explained);
    ASSERT_EQ(ten.map.panels.size(), 10U);
    for (std::size_t i = 0; i < 10; ++i)
        EXPECT_EQ(ten.map.panels[i].contract, "BC" + std::to_string(39 - i));
    EXPECT_TRUE(Says(ten.sheets.front(), "the 10 of 40 contracts with the largest part of it"));
    EXPECT_EQ(Count(ten.sheets.front(), "39.00 of the margin, 5.0 %"), 1U);
    EXPECT_EQ(LayoutOf(explained, {.top = 40}).map.panels.size(), 40U);

    const Layout pages = LayoutOf(explained, {.top = 40}, {.width = 900.0, .height = 1272.0});
    EXPECT_EQ(pages.sheets.size(), 20U);
    for (const Sheet& sheet : pages.sheets) {
        EXPECT_EQ(FaultOf(sheet), "");
        EXPECT_EQ(Count(sheet, "Profit and loss of client AA01001"), 1U);
    }
}

TEST(PictureTest, ResultsThatAreNoNumbersAreLeftOut)
{
    ContractGrid grid = GridOfFutures();
    grid.scenarios[1][3] = std::numeric_limits<double>::quiet_NaN();
    grid.scenarios[2][0] = std::numeric_limits<double>::infinity();
    const auto lines = LayoutOf(ExplanationOf(grid, WorstAt(grid, 0, 0))).map.panels.front().lines;
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].points.size(), 4U);
    EXPECT_EQ(lines[2].points.size(), 4U);
}

TEST(PictureTest, ABookThatIsEmptySaysSo)
{
    const Layout layout = LayoutOf({});
    ASSERT_EQ(layout.sheets.size(), 1U);
    EXPECT_TRUE(layout.map.panels.empty());
    EXPECT_TRUE(Says(layout.sheets.front(), "GO 0.00 EUR; nothing is held and nothing is ordered"));
}

// ---- Bytes --------------------------------------------------------------------------------------------------------

MarginExplanation OneMark()
{
    const ContractGrid grid = GridOfOptions();
    return ExplanationOf(grid, WorstAt(grid, 0, 0));
}

TEST(PictureTest, TheSameInputGivesTheSameBytes)
{
    const MarginExplanation explained = OneMark();
    const PictureInput input{"client AA01001", explained, SampleProvenance()};
    for (const PictureTheme theme : {PictureTheme::Light, PictureTheme::Dark}) {
        EXPECT_TRUE(PictureAsSvg(input, {.theme = theme}) == PictureAsSvg(input, {.theme = theme}));
        EXPECT_TRUE(PictureAsPdf(input, {.theme = theme}) == PictureAsPdf(input, {.theme = theme}));
    }
    EXPECT_TRUE(PictureAsSvg(input) != PictureAsSvg(input, {.theme = PictureTheme::Dark}));
}

TEST(PictureTest, APdfIsDatedByItsMarket)
{
    const MarginExplanation explained = OneMark();
    PictureInput input{"client AA01001", explained, SampleProvenance()};
    const std::string pdf = PictureAsPdf(input);
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_THAT(pdf, HasSubstr("/CreationDate (20231114221320Z"));
    input.provenance.market.time.reset(); // it came through a pipe
    EXPECT_THAT(PictureAsPdf(input), HasSubstr("/CreationDate (19700101000000Z"));
}

TEST(PictureTest, AnSvgIsReadAsXmlWhateverTheNames)
{
    const MarginExplanation explained = OneMark();
    PictureInput input{"client <A&B>\"'", explained, SampleProvenance()};
    input.provenance.market.name = "a<b>&\xC3\xA4\n\x01\xFF.xml";
    std::istringstream stream(PictureAsSvg(input));
    boost::property_tree::ptree document;
    boost::property_tree::read_xml(stream, document);
    EXPECT_EQ(document.get<std::string>("svg.title"), "Profit and loss of client <A&B>\"'");
    EXPECT_THAT(document.get<std::string>("svg.desc"), HasSubstr("market: a<b>&\xC3\xA4\\n\\x01\\xFF.xml; sha256: a"));
    EXPECT_EQ(document.get<std::string>("svg.<xmlattr>.viewBox").substr(0, 8), "0 0 900 ");
}

TEST(PictureTest, IdsBeginWithTheirPrefix)
{
    const MarginExplanation explained = OneMark();
    const PictureInput input{"client AA01001", explained, SampleProvenance()};
    std::string svg = PictureAsSvg(input, {.idPrefix = "one-"});
    EXPECT_THAT(svg, HasSubstr(" id=\"one-glyph"));
    EXPECT_THAT(svg, HasSubstr("href=\"#one-glyph"));
    EXPECT_THAT(svg, Not(HasSubstr(" id=\"glyph")));
    EXPECT_THAT(svg, Not(HasSubstr("\"#glyph")));
    for (std::size_t at = 0; (at = svg.find("one-", at)) != std::string::npos;)
        svg.erase(at, 4);
    EXPECT_TRUE(svg == PictureAsSvg(input));
}

} // namespace
} // namespace test::PictureTest
