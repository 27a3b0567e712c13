// The explain command, run as a program: table, JSON and drawing of one explanation, its errors.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CommandLine.h"

namespace {

using namespace quindal::test;
using boost::property_tree::ptree;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

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

/// Columns of the first line of at least so many whose columns begin with these texts; empty when there is none.
std::vector<std::string> LineOf(const std::string& table, const std::vector<std::string>& begin, std::size_t atLeast)
{
    std::istringstream stream(table);
    const auto beginsWith = [](const std::string& text, const std::string& cell) { return cell.starts_with(text); };
    for (std::string line; std::getline(stream, line);) {
        const std::vector<std::string> cells = SplitColumns(line);
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

TEST(ExplainCommand, PrintsTheSameFiguresAsATableAndAsJson)
{
    for (const std::string client : {"HS01001", "CL01003", "OM01001"}) {
        SCOPED_TRACE(client);
        const json explained = ExplainAsJson(client);
        const Finished table = RunToEnd(Explain(client));
        ASSERT_EQ(table.status, 0) << table.errors;
        EXPECT_NEAR(Ungrouped(table.out.substr(table.out.find(": ") + 2)), explained.at("GO"), 1e-9);
        for (const json& share : explained.at("shares")) {
            const auto cells = LineOf(table.out, {share.at("instrument"), share.at("kind")}, 5);
            ASSERT_GE(cells.size(), 5U) << share;
            EXPECT_EQ(cells[1].find("cut") != std::string::npos, share.at("cut").get<bool>()) << share;
            EXPECT_EQ(std::stoll(cells[3]), share.at("quantity"));
            EXPECT_NEAR(Ungrouped(cells.back()), share.at("margin"), 0.00501);
        }
        EXPECT_NEAR(Ungrouped(LineOf(table.out, {"Total"}, 2).at(1)), explained.at("unrounded"), 0.00501);
        const auto gross = LineOf(table.out, {"each position alone, with its orders"}, 2);
        EXPECT_NEAR(Ungrouped(gross.at(1)), explained.at("levels").at(0).at("margin"), 0.00501);
        const auto across = LineOf(table.out, {"base contracts within their MCS"}, 3);
        EXPECT_NEAR(Ungrouped(across.at(2)), explained.at("levels").at(4).at("saved"), 0.00501);
        std::istringstream lines(table.out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 115U) << line;
    }
}

// The first page shows the calendar spreads of this client.
TEST(ExplainCommand, PrintsWhatTheFirstPageShows)
{
    std::ostringstream page;
    page << std::ifstream(Example("../README.md"), std::ios::binary).rdbuf();
    const Finished table = RunToEnd(Explain("CL01001"));
    EXPECT_THAT(page.str(), HasSubstr("\n```\n" + table.out + "```\n"));
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

/// The scale that two tick labels of an axis tell: where a value stands.
double WhereTheTicksPut(double value, const ptree& panel, const std::string& axis, const std::string& coordinate,
                        double offset)
{
    const std::vector<const ptree*> ticks = ElementsOf(panel, "text", axis);
    EXPECT_GE(ticks.size(), 2U) << axis;
    const auto valueOf = [&](const ptree& tick) { return Ungrouped(tick.data()); };
    const auto placeOf = [&](const ptree& tick) { return tick.get<double>("<xmlattr>." + coordinate) - offset; };
    const ptree& a = *ticks.front();
    const ptree& b = *ticks.back();
    return placeOf(a) + (value - valueOf(a)) / (valueOf(b) - valueOf(a)) * (placeOf(b) - placeOf(a));
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
            const auto points = Split(lines.front()->get<std::string>("<xmlattr>.points"), " ");
            ASSERT_EQ(points.size(), grids[i].at("prices").size());
            const double price = grids[i].at("prices").front();
            const double money = grids[i].at("scenarios").front().front();
            const auto first = Split(points.front(), ",");
            EXPECT_NEAR(std::stod(first.at(0)), WhereTheTicksPut(price, *panels[i], "price", "x", 0.0), 0.05);
            EXPECT_NEAR(std::stod(first.at(1)), WhereTheTicksPut(money, *panels[i], "money", "y", 4.0), 0.05);
        }
    }
}

// A contract's worst cell within the grid stands where its price and its money stand on the axes.
TEST_F(ExplainDrawing, MarksTheWorstCellAtItsPriceAndMoney)
{
    std::size_t marked = 0;
    for (const std::string client : {"CL01001", "CL01003", "OM01001", "OM02001"}) {
        SCOPED_TRACE(client);
        const std::vector<const ptree*> panels = Draw(client);
        std::map<std::string, std::vector<std::pair<double, double>>> cells; // price and money by contract
        for (const json& entity : explained.at("entities"))
            for (const json& side : entity.at("sides"))
                for (const json& contract : side.at("contracts"))
                    if (contract.contains("price"))
                        cells[contract.at("code")].emplace_back(contract.at("price"), contract.at("cell"));
        for (std::size_t i = 0; i < panels.size(); ++i) {
            const auto marks = ElementsOf(*panels[i], "circle", "worst");
            const auto& expected = cells[explained.at("grids")[i].at("code")];
            ASSERT_EQ(marks.size(), expected.size());
            for (std::size_t k = 0; k < marks.size(); ++k, ++marked) {
                EXPECT_NEAR(marks[k]->get<double>("<xmlattr>.cx"),
                            WhereTheTicksPut(expected[k].first, *panels[i], "price", "x", 0.0), 0.05);
                EXPECT_NEAR(marks[k]->get<double>("<xmlattr>.cy"),
                            WhereTheTicksPut(expected[k].second, *panels[i], "money", "y", 4.0), 0.05);
            }
            EXPECT_FALSE(ElementsOf(*panels[i], "text", "worst-words").empty());
        }
    }
    EXPECT_GE(marked, 5U);
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

TEST_F(ExplainErrors, ACommandWithoutAClientIsRefused)
{
    const Finished finished = RunToEnd({QUINDAL_COMMAND, "explain", "--instruments", Example("market.xml"),
                                        "--accounts", accounts, "--positions", positions});
    EXPECT_NE(finished.status, 0);
    EXPECT_THAT(finished.errors, HasSubstr("--client"));
}

} // namespace
