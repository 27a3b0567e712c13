// The explain command, run as a program: table, JSON and drawing of one explanation, its errors.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CommandLine.h"

namespace test::ExplainTest {
namespace {

using namespace quindal::test;
using boost::property_tree::ptree;
using nlohmann::json;
using testing::HasSubstr;

const std::vector<std::string> ClientsOfExamples{"HS01001", "CL01001", "CL01002", "CL01003", "CL02001",
                                                 "CL02002", "OM01001", "OM01002", "OM02001", "OM02002"};

std::vector<std::string> Explain(const std::string& client, std::vector<std::string> further = {},
                                 const std::string& market = Example("market.xml"),
                                 const std::string& accounts = Example("accounts.csv"),
                                 const std::string& positions = Example("positions.csv"))
{
    std::vector<std::string> arguments{QUINDAL_COMMAND, "explain",    "--client", client,        "--instruments",
                                       market,          "--accounts", accounts,   "--positions", positions};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}
json ExplainAsJson(const std::string& client)
{
    const Finished finished = RunToEnd(Explain(client, {"--format", "json"}));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return json::parse(finished.out);
}

std::string ContentOf(const std::filesystem::path& file)
{
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

/// Columns of the first line of at least so many whose columns begin with these texts; empty when there is none.
std::vector<std::string> LineOf(const std::string& table, const std::vector<std::string>& begin, std::size_t atLeast)
{
    std::istringstream stream(table);
    const auto beginsWith = [](const std::string& text, const std::string& cell) { return cell.starts_with(text); };
    for (std::string line; std::getline(stream, line);) {
        std::vector<std::string> cells = SplitColumns(line);
        if (cells.size() >= atLeast && std::equal(begin.begin(), begin.end(), cells.begin(), beginsWith)) return cells;
    }
    return {};
}

TEST(ExplainCommand, GivesTheGOThatTheMarginCommandGivesInSharesThatAddUp)
{
    const Finished margin = RunToEnd(MarginOfExamples("json"));
    std::map<std::string, json> figures;
    const json ofMargin = json::parse(margin.out);
    for (const json& client : ofMargin.at("clients"))
        figures[client.at("code")] = client;
    ASSERT_EQ(figures.size(), ClientsOfExamples.size());
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        const json explained = ExplainAsJson(client);
        EXPECT_EQ(explained.at("client"), client);
        EXPECT_EQ(explained.at("GO"), figures.at(client).at("GO"));
        EXPECT_EQ(explained.at("volatilityGO"), figures.at(client).at("volatilityGO")) << "to the last bit";
        EXPECT_EQ(explained.at("deliveryAndVolatilityGO"), figures.at(client).at("deliveryAndVolatilityGO"));
        const double unrounded = explained.at("unrounded");
        double shares = 0.0;
        for (const json& share : explained.at("shares"))
            shares += share.at("margin").get<double>();
        EXPECT_NEAR(shares, unrounded, 1e-9 * unrounded);
        EXPECT_EQ(explained.at("levels").back().at("margin"), unrounded);
    }
}

std::string ExplainAsTable(const std::string& client)
{
    const Finished finished = RunToEnd(Explain(client));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return finished.out;
}

TEST(ExplainCommand, PrintsTheSameFiguresAsATableAndAsJson)
{
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        const json explained = ExplainAsJson(client);
        const std::string table = ExplainAsTable(client);
        EXPECT_NEAR(Ungrouped(table.substr(table.find(": ") + 2)), explained.at("GO"), 1e-9);
        EXPECT_EQ(table.find(", times ") != std::string::npos, explained.at("ratio") != 1.0);
        for (const json& share : explained.at("shares")) {
            const auto cells = LineOf(table, {share.at("instrument"), share.at("kind")}, 5);
            ASSERT_GE(cells.size(), 5U) << share;
            EXPECT_EQ(cells[1].find("cut") != std::string::npos, share.at("cut").get<bool>()) << share;
            EXPECT_EQ(std::stoll(cells[3]), share.at("quantity"));
            EXPECT_NEAR(Ungrouped(cells.back()), share.at("margin"), 0.00501);
        }
        EXPECT_NEAR(Ungrouped(LineOf(table, {"Total"}, 2).at(1)), explained.at("unrounded"), 0.00501);
        const auto gross = LineOf(table, {"each position alone"}, 2);
        EXPECT_NEAR(Ungrouped(gross.at(1)), explained.at("levels").at(0).at("margin"), 0.00501);
        const auto across = LineOf(table, {"base contracts within their MCS"}, 3);
        EXPECT_NEAR(Ungrouped(across.at(2)), explained.at("levels").at(4).at("saved"), 0.00501);
    }
}

TEST(ExplainCommand, FitsAPageAndTellsWhatItsWordsMean)
{
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        const std::string table = ExplainAsTable(client);
        std::istringstream lines(table);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 110U) << line;
        const std::string cells = table.substr(0, table.find("\nShare of"));
        const std::string meanings = table.substr(table.find("\nTotal"));
        for (const auto& [text, word] : std::map<std::string, std::string>{{"PnL[23]D", "PnL2D, PnL3D  "},
                                                                           {"PnL[23]U", "PnL2U, PnL3U  "},
                                                                           {"stress point Z[LR]", "ZL, ZR  "},
                                                                           {"by the edge at", "by the edge  "},
                                                                           {"rates ", "rates "},
                                                                           {"mismatch (up|down)", "mismatch "},
                                                                           {"delivery at", "deliveries "},
                                                                           {"sub-point ", "sub-point "},
                                                                           {"its gain is cut", "its gain is cut  "}})
            EXPECT_EQ(meanings.find("\n" + word) != std::string::npos, std::regex_search(cells, std::regex(text)))
                << text;
    }
}

// ---- The worst cells ----------------------------------------------------------------------------------------------

using Cells = std::vector<std::string>;

std::string Digits(const json& price)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", price.get<double>());
    return text;
}

std::string Joined(const Cells& words)
{
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : ", ") + word;
    return joined;
}

Cells StressWords(const json& outcome)
{
    Cells words;
    for (const std::string stress : {"rates", "mismatch"})
        if (outcome.contains(stress)) words.push_back(stress + ' ' + outcome.at(stress).get<std::string>());
    return words;
}

std::string GridWords(const json& contract)
{
    std::string words =
        "at " + Digits(contract.at("price")) + " (point " + std::to_string(contract.at("pricePoint").get<int>()) + ")";
    if (contract.at("delivery")) words += ", deliveries";
    if (contract.contains("scenario")) words += ", scenario " + std::to_string(contract.at("scenario").get<int>());
    return words;
}

/// The words of a contract's result, made of its JSON.
std::string CellWords(const json& contract)
{
    const std::string kind = contract.at("kind");
    if (kind == "nothing") return contract.at("cut") ? "its gain is cut" : "nothing";
    if (kind == "pricePoint") return GridWords(contract);
    return "stress point " + contract.at("stressPoint").get<std::string>();
}

std::string PartWords(const json& part)
{
    Cells words;
    if (part.at("cut")) words.emplace_back("its gain is cut");
    if (part.contains("subPoint")) words.push_back("sub-point " + Digits(part.at("subPoint")));
    if (part.contains("deliveryPrice")) words.push_back("delivery at " + Digits(part.at("deliveryPrice")));
    for (const std::string& stress : StressWords(part))
        words.push_back(stress);
    return Joined(words);
}

/// The lines of one entity on one side; money follows as it stands in the JSON, with all its digits.
std::vector<Cells> LinesOf(const json& entity, const json& side)
{
    static const std::map<std::string, std::string> kinds{
        {"MCS", "MCS"}, {"baseContract", "base contract"}, {"futures", "futures"}, {"optionSeries", "option series"}};
    std::string name = kinds.at(entity.at("kind")) + ' ' + entity.at("code").get<std::string>();
    if (entity.at("ratio") != 1.0) name += " x " + Digits(entity.at("ratio"));
    const bool isGroup = entity.at("kind") == "MCS";
    const json& contracts = side.at("contracts");
    std::vector<Cells> lines;
    if (!side.at("loss"))
        lines.push_back({name, side.at("side"), "no loss", side.at("margin").dump()});
    else if (!isGroup)
        lines.push_back({name, side.at("side"), CellWords(contracts.at(0)), contracts.at(0).at("money").dump(),
                         side.at("margin").dump()});
    else if (side.contains("stressPoint"))
        lines.push_back({name, side.at("side"), "stress point " + side.at("stressPoint").get<std::string>(),
                         side.at("margin").dump()});
    else
        lines.push_back({name, side.at("side"), "price point " + std::to_string(side.at("pricePoint").get<int>()),
                         side.at("margin").dump()});
    for (const json& contract : contracts) {
        if (isGroup) lines.push_back({contract.at("code"), CellWords(contract), contract.at("money").dump()});
        if (contract.at("kind") == "edgeFloor") lines.push_back({"by the edge " + GridWords(contract)});
        if (const Cells stresses = StressWords(contract); !stresses.empty()) lines.push_back({Joined(stresses)});
        for (const json& part : contract.at("parts"))
            lines.push_back({part.at("code"), PartWords(part)});
    }
    return lines;
}

/// The lines between a heading and the next empty one.
std::vector<Cells> LinesUnder(const std::string& heading, const std::string& table)
{
    std::istringstream stream(table.substr(table.find("\n" + heading) + 1));
    std::vector<Cells> lines;
    std::string line;
    std::getline(stream, line);
    while (std::getline(stream, line) && !line.empty())
        lines.push_back(SplitColumns(line));
    return lines;
}

/// Words to the letter, money within half a cent: from the column that holds a result on.
void ExpectSameLine(const Cells& line, const Cells& expected)
{
    ASSERT_EQ(line.size(), expected.size()) << Joined(line) << " instead of " << Joined(expected);
    const std::size_t words = expected.size() >= 4 ? 3 : 2;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (i < words)
            EXPECT_EQ(line[i], expected[i]);
        else
            EXPECT_NEAR(Ungrouped(line[i]), std::stod(expected[i]), 0.00501) << Joined(line);
    }
}

TEST(ExplainCommand, PrintsTheWorstCellsThatItsJsonHas)
{
    std::string printed;
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        std::vector<Cells> expected;
        for (const json explained = ExplainAsJson(client); const json& entity : explained.at("entities"))
            for (const json& side : entity.at("sides"))
                for (const Cells& line : LinesOf(entity, side))
                    expected.push_back(line);
        const std::vector<Cells> lines = LinesUnder("Margin of", ExplainAsTable(client));
        ASSERT_EQ(lines.size(), expected.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            ExpectSameLine(lines[i], expected[i]);
            printed += Joined(lines[i]) + '\n';
        }
    }
    for (const std::string words :
         {"MCS INDEX-GROUP", "rates up", "rates down", "mismatch up", "mismatch down", "stress point ZL", "PnL3U",
          "by the edge at", "delivery at", ", deliveries", "sub-point", "its gain is cut", "x 1.25"})
        EXPECT_THAT(printed, HasSubstr(words)) << "the examples have one of each";
}

// The first page shows the calendar spreads of this client.
TEST(ExplainCommand, PrintsWhatTheFirstPageShows)
{
    EXPECT_THAT(ContentOf(Example("../README.md")), HasSubstr("\n```\n" + ExplainAsTable("CL01001") + "```\n"));
}

// ---- The drawing ------------------------------------------------------------------------------------------------

/// Elements of a kind and class within a panel.
std::vector<const ptree*> ElementsOf(const ptree& parent, const std::string& name, const std::string& cssClass)
{
    std::vector<const ptree*> found;
    for (const auto& [tag, element] : parent)
        if (tag == name && element.get<std::string>("<xmlattr>.class", "") == cssClass) found.push_back(&element);
    return found;
}

/// The scale that the first and the last tick label of an axis tell: where a value stands.
class Scale
{
public:
    Scale(const ptree& panel, const std::string& axis, const std::string& coordinate, double offset)
    {
        const std::vector<const ptree*> ticks = ElementsOf(panel, "text", axis);
        EXPECT_GE(ticks.size(), 2U) << axis;
        const auto placeOf = [&](const ptree& tick) { return tick.get<double>("<xmlattr>." + coordinate) - offset; };
        m_value = Ungrouped(ticks.front()->data());
        m_place = placeOf(*ticks.front());
        m_perUnit = (placeOf(*ticks.back()) - m_place) / (Ungrouped(ticks.back()->data()) - m_value);
    }
    [[nodiscard]] double At(double value) const { return m_place + (value - m_value) * m_perUnit; }

private:
    double m_value = 0.0;
    double m_place = 0.0;
    double m_perUnit = 0.0;
};

using Point = std::pair<double, double>;

/// The points of a polyline or a polygon.
std::vector<Point> PointsOf(const ptree& element)
{
    std::vector<Point> points;
    for (const std::string& text : Split(element.get<std::string>("<xmlattr>.points"), " ")) {
        const auto coordinates = Split(text, ",");
        points.emplace_back(std::stod(coordinates.at(0)), std::stod(coordinates.at(1)));
    }
    return points;
}

/// Places of ticks and points have two decimals.
void ExpectAt(const Point& point, double x, double y)
{
    EXPECT_NEAR(point.first, x, 0.05);
    EXPECT_NEAR(point.second, y, 0.05);
}

void ExpectPolyline(const ptree& line, const json& prices, const json& results, const Scale& onPrices,
                    const Scale& onMoney)
{
    const std::vector<Point> points = PointsOf(line);
    ASSERT_EQ(points.size(), prices.size());
    ASSERT_EQ(points.size(), results.size());
    for (std::size_t i = 0; i < points.size(); ++i)
        ExpectAt(points[i], onPrices.At(prices[i]), onMoney.At(results[i]));
}

class ExplainDrawing : public CommandErrors
{
protected:
    std::vector<const ptree*> Draw(const std::string& client)
    {
        const std::string file = (folder.Path() / (client + ".svg")).string();
        const Finished finished = RunToEnd(Explain(client, {"--format", "json", "--svg", file}));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        explained = json::parse(finished.out);
        boost::property_tree::read_xml(file, document);
        return ElementsOf(document.get_child("svg"), "g", "panel");
    }

    json explained;
    ptree document;
};

TEST_F(ExplainDrawing, HasAPanelForEachContractAndAPolylineForEachScenario)
{
    for (const std::string client : {"CL01001", "OM01001"}) {
        SCOPED_TRACE(client);
        const std::vector<const ptree*> panels = Draw(client);
        const json& grids = explained.at("grids");
        ASSERT_EQ(panels.size(), grids.size());
        EXPECT_THAT(document.get<std::string>("svg.<xmlattr>.viewBox"), HasSubstr("0 0 "));
        for (std::size_t i = 0; i < panels.size(); ++i) {
            const auto lines = ElementsOf(*panels[i], "polyline", "scenario");
            ASSERT_EQ(lines.size(), grids[i].at("scenarios").size());
            const Scale prices(*panels[i], "price", "x", 0.0);
            const Scale money(*panels[i], "money", "y", 4.0);
            for (std::size_t scenario = 0; scenario < lines.size(); ++scenario)
                ExpectPolyline(*lines[scenario], grids[i].at("prices"), grids[i].at("scenarios")[scenario], prices,
                               money);
        }
    }
}

/// What is to be marked in the panel of a contract: rings by price and money, arrows by edge price and money. A cell
/// that both sides share is marked once.
struct Expected
{
    std::vector<Point> rings;
    std::vector<Point> arrows;
};

void AddOnce(std::vector<Point>& points, const Point& point)
{
    if (std::find(points.begin(), points.end(), point) == points.end()) points.push_back(point);
}

Expected MarksOf(const json& explained, const json& grid)
{
    const json& prices = grid.at("prices");
    Expected expected;
    for (const json& entity : explained.at("entities")) {
        for (const json& side : entity.at("sides")) {
            for (const json& contract : side.at("contracts")) {
                if (contract.at("code") != grid.at("code")) continue;
                if (contract.contains("price")) AddOnce(expected.rings, {contract.at("price"), contract.at("cell")});
                if (!contract.contains("stressPoint")) continue;
                const std::string point = contract.at("stressPoint");
                const bool isDown = point == "DownRisk" || point == "ZL" || point == "PnL3D" || point == "PnL2D";
                AddOnce(expected.arrows, {isDown ? prices.front() : prices.back(), contract.at("money")});
            }
        }
    }
    return expected;
}

// A contract's worst cell within the grid stands where its price and its money stand on the axes. A stress point is an
// arrow out of the plot at the height of its money: to the left below the market, to the right above it.
TEST_F(ExplainDrawing, MarksTheWorstCellAtItsPriceAndMoney)
{
    std::size_t rings = 0;
    std::size_t left = 0;
    std::size_t right = 0;
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        const std::vector<const ptree*> panels = Draw(client);
        for (std::size_t i = 0; i < panels.size(); ++i) {
            const Scale prices(*panels[i], "price", "x", 0.0);
            const Scale money(*panels[i], "money", "y", 4.0);
            const Expected expected = MarksOf(explained, explained.at("grids")[i]);
            const auto circles = ElementsOf(*panels[i], "circle", "worst");
            ASSERT_EQ(circles.size(), expected.rings.size());
            for (std::size_t k = 0; k < circles.size(); ++k, ++rings)
                ExpectAt({circles[k]->get<double>("<xmlattr>.cx"), circles[k]->get<double>("<xmlattr>.cy")},
                         prices.At(expected.rings[k].first), money.At(expected.rings[k].second));
            const auto arrows = ElementsOf(*panels[i], "polygon", "worst beyond");
            ASSERT_EQ(arrows.size(), expected.arrows.size());
            for (std::size_t k = 0; k < arrows.size(); ++k) {
                const std::vector<Point> corners = PointsOf(*arrows[k]);
                ExpectAt(corners.at(0), prices.At(expected.arrows[k].first), money.At(expected.arrows[k].second));
                ++(corners.at(0).first < corners.at(1).first ? left : right);
            }
            EXPECT_FALSE(ElementsOf(*panels[i], "text", "worst-words").empty());
        }
    }
    EXPECT_GE(rings, 5U);
    EXPECT_GE(left, 3U);
    EXPECT_GE(right, 1U);
}

// The ring stands on the line, the words below have what it comes to with the stresses: both figures are there.
TEST_F(ExplainDrawing, TellsTheResultBeforeStressesBesideTheOneAfter)
{
    const std::vector<const ptree*> panels = Draw("CL01001");
    ASSERT_FALSE(panels.empty());
    const auto words = ElementsOf(*panels.front(), "text", "worst-words");
    ASSERT_EQ(words.size(), 1U);
    EXPECT_THAT(words.front()->data(), HasSubstr("-110 133.21 at the price 61.468; -90 144.79 before stresses"));
}

// Labels that would stand on one another: less than a line apart on the same half of the plot.
TEST_F(ExplainDrawing, KeepsLabelsApart)
{
    for (const std::string& client : ClientsOfExamples) {
        SCOPED_TRACE(client);
        for (const ptree* const panel : Draw(client)) {
            std::vector<std::pair<bool, double>> labels;
            for (const auto& [tag, element] : *panel) {
                if (tag != "text" || element.get<std::string>("<xmlattr>.fill", "") != "#d62728" ||
                    element.get<std::string>("<xmlattr>.class", "") == "worst-words")
                    continue;
                const bool isRight = element.get<std::string>("<xmlattr>.text-anchor", "") == "end";
                const double y = element.get<double>("<xmlattr>.y");
                for (const auto& [otherRight, otherY] : labels)
                    EXPECT_TRUE(otherRight != isRight || std::abs(otherY - y) >= 17.9) << element.data();
                labels.emplace_back(isRight, y);
            }
        }
    }
}

TEST_F(ExplainDrawing, StaysReadableWhateverTheCodes)
{
    std::string market = OptionsMarket;
    const std::string plainly = "\"FUT\"";
    for (std::size_t at = 0; (at = market.find(plainly, at)) != std::string::npos;)
        market.replace(at, plainly.size(), "\"&lt;F&amp;T&gt;\"");
    const std::string book = Write("book.csv", "level,code,instrument,quantity\nclient,AA01001,<F&T>,1\n");
    const std::string file = (folder.Path() / "codes.svg").string();
    const Finished finished = RunToEnd(Explain("AA01001", {"--svg", file}, Write("codes.xml", market), accounts, book));
    ASSERT_EQ(finished.status, 0) << finished.errors;
    boost::property_tree::read_xml(file, document);
    const auto panels = ElementsOf(document.get_child("svg"), "g", "panel");
    ASSERT_EQ(panels.size(), 1U);
    EXPECT_THAT(panels.front()->get<std::string>("text"), HasSubstr("<F&T>"));
}

// ---- Errors -------------------------------------------------------------------------------------------------------

class ExplainErrors : public CommandErrors
{};

TEST_F(ExplainErrors, AClientThatHoldsNothingHasNoMarginToExplain)
{
    const std::string nothing = Write("nothing.csv", "level,code,instrument,quantity\n");
    const Finished finished = RunToEnd(Explain("AA01001", {}, Example("market.xml"), accounts, nothing));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_EQ(finished.out, "GO of AA01001: 0.00\nNothing is held and nothing is ordered.\n");
}

TEST_F(ExplainErrors, AnUnknownClientIsNamed)
{
    for (const std::string unknown : {"AA01002", "AA01", "no code"}) {
        const Finished finished = RunToEnd(Explain(unknown, {}, Example("market.xml"), accounts, positions));
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr("--client: \"" + unknown + "\" is none of the clients in the accounts"));
    }
}

// Rows of others do not enter into the explanation; what is wrong with them is said all the same.
TEST_F(ExplainErrors, RowsOfOtherClientsAreChecked)
{
    const std::string rows = ContentOf(Example("positions.csv")) + "client,CL01002,INDX-3.27,many,\n";
    const Finished finished =
        RunToEnd(Explain("CL01001", {}, Example("market.xml"), Example("accounts.csv"), Write("rows.csv", rows)));
    ExpectRefusal(finished);
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.errors, HasSubstr(": column \"quantity\": \"many\" is not a whole number"));
}

TEST_F(ExplainErrors, AFileThatIsNotThereIsNamed)
{
    const Finished withoutAccounts =
        RunToEnd(Explain("AA01001", {}, Example("market.xml"), "/nowhere/accounts.csv", positions));
    ExpectRefusal(withoutAccounts);
    EXPECT_THAT(withoutAccounts.errors, HasSubstr("/nowhere/accounts.csv: cannot be read"));
    const Finished withoutMarket = RunToEnd(Explain("AA01001", {}, "/nowhere/market.xml", accounts, positions));
    ExpectRefusal(withoutMarket);
    EXPECT_THAT(withoutMarket.errors, HasSubstr("/nowhere/market.xml: cannot be read"));
}

TEST_F(ExplainErrors, ADrawingThatCannotBeWrittenIsNamedAndLeavesNothingBehind)
{
    const std::string directory = (folder.Path() / "drawing.svg").string();
    std::filesystem::create_directory(directory);
    for (const std::string& path : {std::string("/nowhere/drawing.svg"), directory}) {
        const Finished finished =
            RunToEnd(Explain("AA01001", {"--svg", path}, Example("market.xml"), accounts, positions));
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(path + ": cannot be written: "));
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
        EXPECT_TRUE(entry.path() == directory || entry.path().extension() == ".csv") << entry.path();
}

TEST_F(ExplainErrors, WhatIsNoFileIsRefusedAndStaysWhatItIs)
{
    const std::string pipe = (folder.Path() / "pipe.svg").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string toPipe = (folder.Path() / "to_pipe.svg").string();
    std::filesystem::create_symlink("pipe.svg", toPipe);
    for (const std::string& path : {pipe, toPipe}) {
        const Finished finished =
            RunToEnd(Explain("AA01001", {"--svg", path}, Example("market.xml"), accounts, positions));
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(path + ": cannot be written: it is no regular file"));
    }
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_TRUE(std::filesystem::is_symlink(toPipe));
}

TEST_F(ExplainErrors, ALinkStaysOneAndItsTargetIsDrawn)
{
    std::filesystem::create_directory(folder.Path() / "drawings");
    const std::filesystem::path target = folder.Path() / "drawings" / "target.svg";
    const std::filesystem::path link = folder.Path() / "link.svg";
    std::filesystem::create_symlink("drawings/target.svg", link); // once to nothing yet, once to a file
    for (int i = 0; i < 2; ++i) {
        const Finished finished =
            RunToEnd(Explain("AA01001", {"--svg", link.string()}, Example("market.xml"), accounts, positions));
        ASSERT_EQ(finished.status, 0) << finished.errors;
        EXPECT_TRUE(std::filesystem::is_symlink(link));
        EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(target)));
        EXPECT_THAT(ContentOf(target), HasSubstr("</svg>"));
    }
    const std::filesystem::path circle = folder.Path() / "circle.svg";
    std::filesystem::create_symlink("circle.svg", circle);
    ExpectRefusal(RunToEnd(Explain("AA01001", {"--svg", circle.string()}, Example("market.xml"), accounts, positions)));
    EXPECT_TRUE(std::filesystem::is_symlink(circle));
}

// The second time no file may grow beyond a few kilobytes, which is more than the run needs for itself.
TEST_F(ExplainErrors, ADrawingTakesThePlaceOfTheOneBeforeWhenItIsWholeOnly)
{
    const std::string file = Write("drawing.svg", "the one before");
    std::vector<std::string> command = Explain("CL01001", {"--svg", file});
    std::vector<std::string> limited{"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 16; exec \"$0\" \"$@\""};
    limited.insert(limited.end(), command.begin(), command.end());
    const Finished failed = RunToEnd(limited);
    ExpectRefusal(failed);
    EXPECT_THAT(failed.errors, HasSubstr(file + ": cannot be written: File too large"));
    EXPECT_EQ(ContentOf(file), "the one before");

    const Finished finished = RunToEnd(command);
    ASSERT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(ContentOf(file), HasSubstr("</svg>"));
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
        EXPECT_TRUE(entry.path() == file || entry.path().extension() == ".csv") << entry.path();
}

TEST_F(ExplainErrors, ACommandWithoutAClientIsRefused)
{
    const Finished finished = RunToEnd({QUINDAL_COMMAND, "explain", "--instruments", Example("market.xml"),
                                        "--accounts", accounts, "--positions", positions});
    EXPECT_NE(finished.status, 0);
    EXPECT_THAT(finished.errors, HasSubstr("--client"));
}

} // namespace
} // namespace test::ExplainTest
