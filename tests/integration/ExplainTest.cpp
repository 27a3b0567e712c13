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
            EXPECT_NEAR(Ungrouped(cells[cells.size() - 2]), share.at("margin"), 0.00501);
            const double percent = share.at("margin").get<double>() / explained.at("unrounded").get<double>() * 100.0;
            EXPECT_NEAR(std::stod(cells.back()), percent, 0.0501) << share;
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

std::string PerCent(const json& shift)
{
    char text[40];
    std::snprintf(text, sizeof text, "%+.4g", shift.get<double>() * 100.0);
    return text;
}

/// What a scenario does to the volatility, by the grid of its contract.
std::string ScenarioWords(const json& contract, const json& grids)
{
    for (const json& grid : grids) {
        if (grid.at("code") != contract.at("code") || !grid.contains("volatilityShifts")) continue;
        const json& shift = grid.at("volatilityShifts").at(contract.at("scenario").get<std::size_t>());
        if (shift.at(0) != shift.at(1))
            return "volatility " + PerCent(shift.at(0)) + " to " + PerCent(shift.at(1)) + " %";
        return shift.at(0) == 0.0 ? "volatility unchanged" : "volatility " + PerCent(shift.at(0)) + " %";
    }
    return "";
}

std::string GridWords(const json& contract, const json& grids)
{
    std::string words =
        "at " + Digits(contract.at("price")) + " (point " + std::to_string(contract.at("pricePoint").get<int>()) + ")";
    if (contract.at("delivery")) words += ", deliveries";
    const std::string scenario = contract.contains("scenario") ? ScenarioWords(contract, grids) : "";
    return scenario.empty() ? words : words + ", " + scenario;
}

/// The words of a contract's result, made of its JSON.
std::string CellWords(const json& contract, const json& grids)
{
    const std::string kind = contract.at("kind");
    if (kind == "nothing") return contract.at("cut") ? "its gain is cut" : "nothing";
    if (kind == "pricePoint") return GridWords(contract, grids);
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
std::vector<Cells> LinesOf(const json& entity, const json& side, const json& grids)
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
        lines.push_back({name, side.at("side"), CellWords(contracts.at(0), grids), contracts.at(0).at("money").dump(),
                         side.at("margin").dump()});
    else if (side.contains("stressPoint"))
        lines.push_back({name, side.at("side"), "stress point " + side.at("stressPoint").get<std::string>(),
                         side.at("margin").dump()});
    else
        lines.push_back({name, side.at("side"), "price point " + std::to_string(side.at("pricePoint").get<int>()),
                         side.at("margin").dump()});
    for (const json& contract : contracts) {
        if (isGroup) lines.push_back({contract.at("code"), CellWords(contract, grids), contract.at("money").dump()});
        if (contract.at("kind") == "edgeFloor") lines.push_back({"by the edge " + GridWords(contract, grids)});
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
                for (const Cells& line : LinesOf(entity, side, explained.at("grids")))
                    expected.push_back(line);
        const std::vector<Cells> lines = LinesUnder("Margin of", ExplainAsTable(client));
        ASSERT_EQ(lines.size(), expected.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            ExpectSameLine(lines[i], expected[i]);
            printed += Joined(lines[i]) + '\n';
        }
    }
    for (const std::string words : {"MCS INDEX-GROUP", "rates up", "rates down", "mismatch up", "mismatch down",
                                    "stress point ZL", "PnL3U", "by the edge at", "delivery at", ", deliveries",
                                    "sub-point", "its gain is cut", "x 1.25", "volatility -30 to -22 %"})
        EXPECT_THAT(printed, HasSubstr(words)) << "the examples have one of each";
}

// The first page shows the calendar spreads of this client.
TEST(ExplainCommand, PrintsWhatTheFirstPageShows)
{
    EXPECT_THAT(ContentOf(Example("../README.md")), HasSubstr("\n```\n" + ExplainAsTable("CL01001") + "```\n"));
}

// ---- Listed, ordered, compared ------------------------------------------------------------------------------------

class ExplainMore : public CommandErrors
{
protected:
    static Finished Good(const std::vector<std::string>& command)
    {
        Finished finished = RunToEnd(command);
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return finished;
    }
    static std::vector<std::string> Of(const std::string& option, const std::string& code,
                                       const std::vector<std::string>& further)
    {
        std::vector<std::string> command = Explain(code, further);
        command[2] = option;
        return command;
    }
    static json JsonOf(const std::string& option, const std::string& code)
    {
        return json::parse(Good(Of(option, code, {"--format", "json"})).out);
    }
};

TEST_F(ExplainMore, TheLargestSharesComeFirstAndTheOthersAreOneRow)
{
    const json shares = ExplainAsJson("HS01001").at("shares");
    std::vector<double> margins;
    for (const json& share : shares)
        margins.push_back(std::abs(share.at("margin").get<double>()));
    ASSERT_GE(margins.size(), 4U);
    std::sort(margins.rbegin(), margins.rend());
    const std::string table = Good(Explain("HS01001", {"--top", "2"})).out;
    const std::vector<Cells> lines = LinesUnder("Share of", table);
    ASSERT_EQ(lines.size(), 4U) << "two shares, the others, the total";
    EXPECT_NEAR(std::abs(Ungrouped(lines[0][5])), margins[0], 0.00501);
    EXPECT_NEAR(std::abs(Ungrouped(lines[1][5])), margins[1], 0.00501);
    EXPECT_EQ(lines[2][0], std::to_string(margins.size() - 2) + " others");
    EXPECT_NEAR(Ungrouped(lines[0][5]) + Ungrouped(lines[1][5]) + Ungrouped(lines[2][1]), Ungrouped(lines[3][1]),
                0.0151);
}

TEST_F(ExplainMore, CsvHasTheSharesOfTheJson)
{
    const std::string csv = Good(Explain("OM01001", {"--format", "csv"})).out;
    std::istringstream rows(FiguresOf(csv));
    std::string line;
    std::getline(rows, line);
    EXPECT_EQ(line, "level,code,instrument,kind,quantity,price,entity_kind,entity,volatility,delivery,margin,cut");
    for (const json explained = ExplainAsJson("OM01001"); const json& share : explained.at("shares")) {
        ASSERT_TRUE(std::getline(rows, line));
        const Cells cells = Split(line, ",");
        ASSERT_EQ(cells.size(), 12U);
        EXPECT_EQ(cells[0] + ' ' + cells[1], "client OM01001");
        EXPECT_EQ(cells[2], share.at("instrument"));
        EXPECT_EQ(cells[3], share.at("kind"));
        EXPECT_EQ(std::stoll(cells[4]), share.at("quantity"));
        EXPECT_EQ(std::stod(cells[5]), share.at("price"));
        EXPECT_EQ(cells[6], share.at("entityKind"));
        EXPECT_EQ(cells[7], share.at("entity"));
        EXPECT_EQ(std::stod(cells[8]), share.at("volatility")) << "to the last bit";
        EXPECT_EQ(std::stod(cells[9]), share.at("delivery"));
        EXPECT_EQ(std::stod(cells[10]), share.at("margin"));
        EXPECT_EQ(cells[11], share.at("cut").get<bool>() ? "true" : "false");
    }
    EXPECT_FALSE(std::getline(rows, line));
}

// The orders of the client, and of no other, are placed together: as one what-if of the margin command.
TEST_F(ExplainMore, WithOrdersTheGOIsThatOfTheWhatIf)
{
    const std::string orders = Write("orders.csv", "what_if,client,instrument,side,quantity,price\n"
                                                   "all,CL02001,INDX-12.26,buy,5,3302.5\n"
                                                   "other,CL02002,INDX-12.26,buy,50,3302.5\n"
                                                   "all,CL02001,EURU-3.27,sell,20,\n");
    const json margin =
        json::parse(Good(Margin({"--instruments", Example("market.xml"), "--format", "json", "--orders", orders})).out);
    const json& whatIf = margin.at("whatIfs").at(0);
    ASSERT_EQ(whatIf.at("client"), "CL02001");
    const json explained = json::parse(Good(Explain("CL02001", {"--format", "json", "--orders", orders})).out);
    EXPECT_EQ(explained.at("GO"), whatIf.at("after").at("GO"));
    const json& shares = explained.at("shares");
    EXPECT_EQ(
        std::count_if(shares.begin(), shares.end(), [](const json& share) { return share.at("kind") == "orders"; }), 2);
    const Finished without = Good(Explain("CL01001", {"--orders", orders}));
    EXPECT_THAT(without.errors, HasSubstr("has no order for CL01001: the margin is explained without"));
}

TEST_F(ExplainMore, LevelsAreExplainedByTheirRecordsOrByThoseBelow)
{
    const json margin = json::parse(Good(MarginOfExamples("json")).out);
    std::size_t own = 0;
    std::size_t below = 0;
    const auto check = [&](const json& explained, const json& figures, const std::string& list, const std::string& key,
                           const std::string& parent, const json& code) {
        EXPECT_EQ(explained.at("GO"), figures.at("GO"));
        if (explained.at("marginRule") == "netting") {
            ++own;
            double shares = 0.0;
            for (const json& share : explained.at("shares"))
                shares += share.at("margin").get<double>();
            EXPECT_NEAR(shares, explained.at("GO"), 0.0101);
            EXPECT_EQ(explained.at("levels").back().at("margin"), explained.at("unrounded"));
            return;
        }
        ++below;
        std::map<std::string, double> expected;
        for (const json& member : margin.at(list))
            if (member.at(parent) == code) expected[member.at(key)] = member.at("GO");
        std::map<std::string, double> told;
        for (const json& member : explained.at("members"))
            told[member.at("code")] = member.at("GO");
        EXPECT_EQ(told, expected);
    };
    for (const json& firm : margin.at("firms"))
        check(JsonOf("--firm", firm.at("code")), firm, "clients", "code", "firm", firm.at("code"));
    for (const json& account : margin.at("settlementAccounts"))
        check(JsonOf("--account", account.at("id")), account, "firms", "code", "settlementAccount", account.at("id"));
    EXPECT_GE(own, 2U);
    EXPECT_GE(below, 4U);
}

TEST_F(ExplainMore, WhatIsNoFirmOrAccountIsNamed)
{
    const Finished firm = RunToEnd(Of("--firm", "CL03", {}));
    ExpectRefusal(firm);
    EXPECT_THAT(firm.errors, HasSubstr("--firm: \"CL03\" is none of the firms in the accounts"));
    const Finished account = RunToEnd(Of("--account", "CL01", {}));
    ExpectRefusal(account);
    EXPECT_THAT(account.errors, HasSubstr("--account: \"CL01\" is none of the settlement accounts in the accounts"));
}

std::int64_t CentsOf(const json& money) { return std::llround(money.get<double>() * 100.0); }

/// The example's positions with the quantities of some clients' instruments changed; 0 takes one out.
std::string PositionsWith(const std::map<std::pair<std::string, std::string>, int>& changes)
{
    std::istringstream rows(ContentOf(Example("positions.csv")));
    std::string changed;
    for (std::string line; std::getline(rows, line);) {
        Cells cells = Split(line, ",");
        const auto change = cells.size() < 5 ? changes.end() : changes.find({cells[1], cells[2]});
        if (change == changes.end()) {
            changed += line + '\n';
        } else if (change->second != 0) {
            cells[3] = std::to_string(change->second);
            changed += cells[0] + ',' + cells[1] + ',' + cells[2] + ',' + cells[3] + ',' + cells[4] + '\n';
        }
    }
    return changed;
}

TEST_F(ExplainMore, TheDifferenceOfTwoBooksAddsUpToTheCentOverThePositionsThatDiffer)
{
    const std::string client = "CL01001";
    const std::string before = Write("before.csv", PositionsWith({{{client, "CRUD-3.27"}, -120},
                                                                  {{client, "CRUD-17DEC26-C74"}, 0},
                                                                  {{client, "CRUT-12.26"}, 7},
                                                                  {{"CL01002", "CRUD-12.26"}, 1}}));
    const json compared = json::parse(Good(Explain(client, {"--format", "json", "--compare", before})).out);
    const json explainedBefore = json::parse(
        Good(Explain(client, {"--format", "json"}, Example("market.xml"), Example("accounts.csv"), before)).out);
    EXPECT_EQ(compared.at("before").at("GO"), explainedBefore.at("GO"));
    EXPECT_EQ(compared.at("after").at("GO"), ExplainAsJson(client).at("GO"));
    std::int64_t sum = 0;
    Cells instruments;
    for (const json& position : compared.at("positions")) {
        instruments.push_back(position.at("instrument"));
        sum += CentsOf(position.at("part"));
    }
    EXPECT_EQ(Joined(instruments), "CRUD-17DEC26-C74, CRUD-3.27, CRUT-12.26") << "what is alike has no part";
    EXPECT_EQ(sum, CentsOf(compared.at("difference")));
    EXPECT_EQ(CentsOf(compared.at("after").at("GO")) - CentsOf(compared.at("before").at("GO")), sum);
    // CRUT stands alone: whatever the others do, its part is what 13 contracts more cost.
    const double perContract = 156881.18 / 20;
    EXPECT_NEAR(compared.at("positions").at(2).at("part"), 13 * perContract, 0.02);
}

TEST_F(ExplainMore, BooksThatAreAlikeDifferByNothing)
{
    const Finished finished = Good(Explain("CL01001", {"--compare", Example("positions.csv")}));
    EXPECT_THAT(finished.out, testing::ContainsRegex("\nDifference +0.00\n\nNo position differs.\n"));
}

TEST_F(ExplainMore, AComparisonBackwardsHasTheSamePartsWithTheOtherSign)
{
    const std::string before =
        Write("before.csv", PositionsWith({{{"CL01001", "CRUD-3.27"}, -120}, {{"CL01001", "CRUD-12.26"}, 20}}));
    const json there = json::parse(Good(Explain("CL01001", {"--format", "json", "--compare", before})).out);
    const json back = json::parse(Good(Explain("CL01001", {"--format", "json", "--compare", Example("positions.csv")},
                                               Example("market.xml"), Example("accounts.csv"), before))
                                      .out);
    ASSERT_EQ(there.at("positions").size(), 2U);
    ASSERT_EQ(back.at("positions").size(), 2U);
    EXPECT_EQ(CentsOf(there.at("difference")), -CentsOf(back.at("difference")));
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_LE(std::abs(CentsOf(there.at("positions")[i].at("part")) + CentsOf(back.at("positions")[i].at("part"))),
                  1)
            << "but for a half cent";
}

TEST_F(ExplainMore, TheOtherBookIsCheckedAsTheFirstOneIs)
{
    const std::string other = Write("other.csv", "level,code,instrument,quantity\nclient,CL01001,CRUD-12.26,many\n");
    const Finished finished = RunToEnd(Explain("CL01001", {"--compare", other}));
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors, HasSubstr("other.csv:2: column \"quantity\": \"many\" is not a whole number"));
}

// ---- The picture --------------------------------------------------------------------------------------------------

class ExplainPicture : public CommandErrors
{
protected:
    /// What explain writes for a client with an option that names a file.
    std::string Draw(const std::string& client, const std::string& option, const std::vector<std::string>& further = {})
    {
        const std::string file = (folder.Path() / ("picture" + option)).string();
        std::vector<std::string> words{option, file};
        words.insert(words.end(), further.begin(), further.end());
        const Finished finished = RunToEnd(Explain(client, words));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return ContentOf(file);
    }
};

TEST_F(ExplainPicture, IsTheSameEachTimeAndTellsWhatItIs)
{
    const std::string svg = Draw("CL01001", "--svg");
    EXPECT_TRUE(svg == Draw("CL01001", "--svg"));
    std::istringstream stream(svg);
    ptree document;
    boost::property_tree::read_xml(stream, document);
    EXPECT_EQ(document.get<std::string>("svg.title"), "Profit and loss of client CL01001");
    EXPECT_THAT(document.get<std::string>("svg.desc"), HasSubstr("market.xml; sha256: "));
    const std::string pdf = Draw("CL01001", "--pdf");
    EXPECT_TRUE(pdf == Draw("CL01001", "--pdf"));
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_TRUE(pdf.ends_with("%%EOF\n"));
}

TEST_F(ExplainPicture, StandsOnAPageThatNeedsNothingBesideIt)
{
    const std::string page = Draw("OM01001", "--html");
    EXPECT_TRUE(page == Draw("OM01001", "--html"));
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>"));
    for (const std::string part :
         {"<title>Margin of client OM01001</title>", "GO 1 524 451.13", "default-src 'none'",
          "<summary>Netting</summary>",
          "<summary>MCS INDEX-GROUP: ", "<td>INDX-26NOV26-P3300</td><td>position, partly cut</td>",
          "<title>Profit and loss of client OM01001</title>", "id=\"night-glyph0-0\"", "sha256: "})
        EXPECT_THAT(page, HasSubstr(part));
    // Nothing is loaded: the only addresses name what the pictures are written in, the only references are their own.
    EXPECT_THAT(page, testing::Not(HasSubstr("<script")));
    EXPECT_THAT(page, testing::Not(HasSubstr("src=")));
    EXPECT_THAT(page, testing::Not(HasSubstr("@import")));
    for (std::size_t at = 0; (at = page.find("http", at)) != std::string::npos; ++at)
        EXPECT_TRUE(page.compare(at, 17, "http://www.w3.org") == 0 || page.compare(at, 10, "http-equiv") == 0)
            << page.substr(at, 60);
    for (std::size_t at = 0; (at = page.find("href=\"", at)) != std::string::npos; ++at)
        EXPECT_EQ(page[at + 6], '#') << page.substr(at, 60);
    EXPECT_THAT(Draw("OM01001", "--html", {"--top", "1"}), HasSubstr("4 smaller shares are not listed."));
}

TEST_F(ExplainPicture, OfALevelThatLivesByItsClientsIsAPageOfThem)
{
    const std::string file = (folder.Path() / "firm.html").string();
    std::vector<std::string> command = Explain("CL01", {"--html", file});
    command[2] = "--firm";
    const Finished finished = RunToEnd(command);
    ASSERT_EQ(finished.status, 0) << finished.errors;
    const std::string page = ContentOf(file);
    EXPECT_THAT(page, HasSubstr("<title>Margin of firm CL01</title>"));
    EXPECT_THAT(page, HasSubstr("<td>CL01001</td><td class=\"figure\">267 014.40</td>"));
    EXPECT_THAT(page, testing::Not(HasSubstr("<svg")));
}

TEST_F(ExplainPicture, IsDrawnForEveryClientOfTheExamples)
{
    for (const std::string& client : ClientsOfExamples)
        EXPECT_THAT(Draw(client, "--svg"), HasSubstr("<title>Profit and loss of client " + client + "</title>"));
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
    for (const std::string option : {"--svg", "--pdf"}) {
        for (const std::string& path : {std::string("/nowhere/drawing.svg"), directory}) {
            const Finished finished =
                RunToEnd(Explain("AA01001", {option, path}, Example("market.xml"), accounts, positions));
            ExpectRefusal(finished);
            EXPECT_THAT(finished.errors, HasSubstr(path + ": cannot be written: "));
        }
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
