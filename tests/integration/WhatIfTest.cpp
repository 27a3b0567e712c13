// What-ifs of the command line: orders that are tried in a book which is afterwards what it was.
#include <array>
#include <cmath>

#include "CommandLine.h"
#include "PlainMargin.h"

namespace test::WhatIfTest {
namespace {

using namespace quindal::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// A line of the CSV report of what-ifs: volatility GO, delivery GO and GO, each before, after and the
/// difference.
struct WhatIfRow
{
    std::string label;
    std::string client;
    std::array<std::string, 9> texts;

    [[nodiscard]] double Number(std::size_t column) const { return std::stod(texts[column]); }
    [[nodiscard]] double VolatilityAfter() const { return Number(1); }
    [[nodiscard]] double DeliveryAfter() const { return Number(4); }
    [[nodiscard]] double GOAfter() const { return Number(7); }
};

/// Labels of these tests have no commas.
std::vector<WhatIfRow> WhatIfsOfCsv(const std::string& report)
{
    std::istringstream stream(FiguresOf(report));
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line, "what_if,client,volatility_go_before,volatility_go_after,volatility_go_difference,"
                    "delivery_and_volatility_go_before,delivery_and_volatility_go_after,"
                    "delivery_and_volatility_go_difference,go_before,go_after,go_difference");
    std::vector<WhatIfRow> rows;
    while (std::getline(stream, line)) {
        const std::vector<std::string> cells = Split(line, ",");
        if (cells.size() != 11) {
            ADD_FAILURE() << line;
            continue;
        }
        WhatIfRow& row = rows.emplace_back(WhatIfRow{cells[0], cells[1], {}});
        std::copy(cells.begin() + 2, cells.end(), row.texts.begin());
    }
    return rows;
}

std::vector<std::string> ExamplesWith(const std::string& orders, const std::string& format)
{
    return Margin({"--instruments", Example("market.xml"), "--orders", orders, "--format", format});
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines = Split(text, "\n");
    lines.pop_back();
    return lines;
}

class WhatIfs : public CommandErrors
{
protected:
    /// What-ifs in the book of the examples.
    std::vector<WhatIfRow> OfExamples(const std::string& rows)
    {
        const Finished finished = RunToEnd(
            ExamplesWith(Write("orders.csv", "what_if,client,instrument,side,quantity,price\n" + rows), "csv"));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return WhatIfsOfCsv(finished.out);
    }
};

TEST_F(WhatIfs, PrintTheSameFiguresInAllThreeFormats)
{
    const Finished table = RunToEnd(ExamplesWith(Example("orders.csv"), "table"));
    const Finished csv = RunToEnd(ExamplesWith(Example("orders.csv"), "csv"));
    const Finished json = RunToEnd(ExamplesWith(Example("orders.csv"), "json"));
    for (const Finished* finished : {&table, &csv, &json}) {
        ASSERT_EQ(finished->status, 0) << finished->errors;
        EXPECT_THAT(finished->errors, IsEmpty());
    }
    const std::vector<WhatIfRow> rows = WhatIfsOfCsv(csv.out);
    const auto ofJson = nlohmann::json::parse(json.out).at("whatIfs");
    std::vector<std::string> ofTable = Lines(table.out);
    ofTable.erase(ofTable.begin(), ofTable.end() - static_cast<std::ptrdiff_t>(rows.size()) - 1);
    EXPECT_THAT(SplitColumns(ofTable.front()), ElementsAre("What-if", "Client", "GO before", "GO after", "Difference",
                                                           "of volatility GO", "of delivery GO"));
    ASSERT_EQ(ofJson.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const WhatIfRow& row = rows[i];
        SCOPED_TRACE(row.label);
        EXPECT_EQ(ofJson[i].at("whatIf"), row.label);
        EXPECT_EQ(ofJson[i].at("client"), row.client);
        const std::vector<std::string> cells = SplitColumns(ofTable[i + 1]);
        ASSERT_EQ(cells.size(), 7U) << ofTable[i + 1];
        EXPECT_EQ(cells[0], row.label);
        EXPECT_EQ(cells[1], row.client);

        std::size_t column = 0;
        for (const char* figure : {"volatilityGO", "deliveryAndVolatilityGO", "GO"})
            for (const char* when : {"before", "after", "difference"})
                EXPECT_EQ(ofJson[i].at(when).at(figure).get<double>(), row.Number(column++)) << figure << ' ' << when;
        for (const std::size_t first : {0U, 3U})
            EXPECT_EQ(row.Number(first + 2), row.Number(first + 1) - row.Number(first)) << "all digits are there";
        EXPECT_NEAR(row.Number(8), row.Number(7) - row.Number(6), 1e-9);
        for (const auto& [cell, figure] :
             {std::pair{2U, 6U}, std::pair{3U, 7U}, std::pair{4U, 8U}, std::pair{5U, 2U}, std::pair{6U, 5U}})
            EXPECT_NEAR(Ungrouped(cells[cell]), row.Number(figure), 0.00501) << "to nearest cents";
    }
}

TEST_F(WhatIfs, LeaveTheMarginOfTheBookAsItIsWithoutThem)
{
    const Finished tableWith = RunToEnd(ExamplesWith(Example("orders.csv"), "table"));
    const Finished tableWithout = RunToEnd(MarginOfExamples("table"));
    EXPECT_THAT(tableWith.out, StartsWith(tableWithout.out + "\nWhat-if "));
    auto jsonWith = nlohmann::json::parse(RunToEnd(ExamplesWith(Example("orders.csv"), "json")).out);
    EXPECT_EQ(jsonWith.erase("whatIfs"), 1U);
    EXPECT_EQ(jsonWith, nlohmann::json::parse(RunToEnd(MarginOfExamples("json")).out));
}

// A program that reads CSV finds the columns of one table and no other.
TEST_F(WhatIfs, AreTheOnlyTableOfACsvReport)
{
    const std::vector<std::string> lines = Lines(RunToEnd(ExamplesWith(Example("orders.csv"), "csv")).out);
    ASSERT_EQ(lines.size(), 14U) << "a header and thirteen lines of what-ifs";
    for (const std::string& line : lines)
        EXPECT_EQ(Split(line, ",").size(), 16U) << line;
}

// Orders of the examples, by the plain model: a book with orders is worked out from nothing.
TEST_F(WhatIfs, OfTheExamplesEqualThePlainModel)
{
    const Finished csv = RunToEnd(ExamplesWith(Example("orders.csv"), "csv"));
    ASSERT_EQ(csv.status, 0) << csv.errors;
    const std::vector<WhatIfRow> rows = WhatIfsOfCsv(csv.out);
    const plain::Market market = ReadMarket(Example("market.xml"));
    std::vector<ClientOfExamples> clients = ReadClients(market);
    const std::vector<WhatIfOfExamples> expected = ReadWhatIfs(market);
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(expected[i].label + " of " + expected[i].client);
        EXPECT_EQ(rows[i].label, expected[i].label);
        ASSERT_EQ(rows[i].client, expected[i].client);
        const ClientOfExamples& client = FindClient(clients, expected[i].client);
        const plain::Margins margins = plain::Model(market, client.rules).Of(client.book, expected[i].orders.All());
        EXPECT_NEAR(rows[i].VolatilityAfter(), margins.volatility, 1e-9 * margins.volatility);
        EXPECT_NEAR(rows[i].DeliveryAfter(), margins.delivery, 1e-9 * margins.delivery);
        EXPECT_GE(rows[i].Number(8), 0.0) << "an order never lowers the margin";
    }
}

// Prices that are no sums of powers of two, a collateral instrument, which remembers cancelled orders, and the client's
// other instruments: whatever was tried, the next what-if begins with the book as it is.
TEST_F(WhatIfs, StartEachFromTheBookToTheLastBit)
{
    const std::string book = FiguresOf(RunToEnd(MarginOfExamples("csv")).out);
    for (const std::string client : {"CL02001", "CL02002", "OM01001", "CL01001"}) {
        SCOPED_TRACE(client);
        const std::vector<std::string> orders = {
            client + ",ALFA-SPOT,sell,7,26481.3\n",         client + ",ALFA-3.27,buy,3,27501.7\n",
            client + ",INDX-12.26,sell,11,3303.1\n",        client + ",INDX-12.26-3.27,buy,13,66.7\n",
            client + ",ALFS-17DEC26-C28000,sell,9,281.9\n", client + ",CRUD-17DEC26-C74,buy,17,1.57\n"};
        std::string rows = "first" + ("," + orders[0]);
        for (const std::string& order : orders)
            rows += "," + order;
        for (const std::string& order : orders)
            rows += "together," + order;
        rows += "last," + orders[0];

        const std::vector<WhatIfRow> whatIfs = OfExamples(rows);
        ASSERT_EQ(whatIfs.size(), 9U);
        EXPECT_EQ(whatIfs.front().label, "first");
        EXPECT_EQ(whatIfs.back().label, "last");
        EXPECT_EQ(whatIfs.front().texts, whatIfs.back().texts);
        for (const WhatIfRow& row : whatIfs)
            EXPECT_THAT(book, HasSubstr("client," + client + "," + client.substr(0, 4) + "," + row.texts[0] + "," +
                                        row.texts[3] + "," + row.texts[6] + "\n"))
                << row.label;
    }
}

TEST_F(WhatIfs, AreOneLineForEachLabelAndClientAndNumberedWithoutALabel)
{
    const std::vector<WhatIfRow> rows = OfExamples("pair,CL02001,INDX-12.26,buy,1,\n"
                                                   ",CL02001,INDX-12.26,buy,2,\n"
                                                   "pair,OM02002,INDX-12.26,sell,1,\n"
                                                   ",CL02001,INDX-12.26,buy,2,\n"
                                                   "pair,CL02001,INDX-3.27,sell,1,\n");
    std::vector<std::string> labels;
    std::vector<std::string> clients;
    for (const WhatIfRow& row : rows) {
        labels.push_back(row.label);
        clients.push_back(row.client);
    }
    EXPECT_THAT(labels, ElementsAre("pair", "pair", "#2", "#3"));
    EXPECT_THAT(clients, ElementsAre("CL02001", "OM02002", "CL02001", "CL02001"));
    const std::vector<WhatIfRow> pairOfOne = OfExamples("pair,CL02001,INDX-12.26,buy,1,\n"
                                                        "pair,CL02001,INDX-3.27,sell,1,\n");
    EXPECT_EQ(rows[0].texts, pairOfOne.at(0).texts) << "what other clients order is nothing to it";

    const std::string unlabelled = Write(
        "unlabelled.csv", "quantity,side,instrument,client\n1,buy,INDX-12.26,CL02001\n2,sell,INDX-12.26,CL02001\n");
    const std::vector<WhatIfRow> numbered = WhatIfsOfCsv(RunToEnd(ExamplesWith(unlabelled, "csv")).out);
    ASSERT_EQ(numbered.size(), 2U);
    EXPECT_EQ(numbered[0].label, "#1");
    EXPECT_EQ(numbered[1].label, "#2");
}

TEST_F(WhatIfs, KeepTheirLabelWhateverIsInIt)
{
    const std::string orders = Write("labels.csv", "what_if,client,instrument,side,quantity\n"
                                                   "\"a \"\"b\"\", c\",CL02001,INDX-12.26,buy,1\n");
    EXPECT_THAT(RunToEnd(ExamplesWith(orders, "csv")).out, HasSubstr("\n\"a \"\"b\"\", c\",CL02001,"));
    EXPECT_THAT(RunToEnd(ExamplesWith(orders, "table")).out, HasSubstr("\na \"b\", c  CL02001 "));
    const auto json = nlohmann::json::parse(RunToEnd(ExamplesWith(orders, "json")).out);
    EXPECT_EQ(json.at("whatIfs").at(0).at("whatIf"), "a \"b\", c");
}

TEST_F(WhatIfs, OfAFileWithoutRowsAreNone)
{
    const std::string orders = Write("none.csv", "client,instrument,side,quantity\n");
    const Finished csv = RunToEnd(ExamplesWith(orders, "csv"));
    ASSERT_EQ(csv.status, 0) << csv.errors;
    EXPECT_THAT(WhatIfsOfCsv(csv.out), IsEmpty());
    EXPECT_EQ(nlohmann::json::parse(RunToEnd(ExamplesWith(orders, "json")).out).at("whatIfs"), nlohmann::json::array());
}

/// One client in a market to be worked by hand.
class HandWorked : public WhatIfs
{
protected:
    /// GO after each of the orders, tried by themselves.
    std::vector<double> GOAfter(const std::string& marketFile, const std::string& accountsFile, const std::string& book,
                                const std::string& orders)
    {
        const std::string positionsFile = Write("book.csv", "level,code,instrument,quantity,price\n" + book);
        const std::string ordersFile = Write("tried.csv", "what_if,client,instrument,side,quantity,price\n" + orders);
        const Finished finished = RunToEnd(Margin(
            {"--instruments", marketFile, "--orders", ordersFile, "--format", "csv"}, accountsFile, positionsFile));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        std::vector<double> figures;
        for (const WhatIfRow& row : WhatIfsOfCsv(finished.out)) {
            EXPECT_DOUBLE_EQ(row.GOAfter(), std::ceil(std::round(row.VolatilityAfter() * 100000) / 1000) / 100);
            figures.push_back(row.GOAfter());
        }
        return figures;
    }
};

// Prices 900, 1000 and 1100. What an order loses grows by the move of the currency, 0.05; what it would gain is not
// counted, so that of a purchase and a sale the worse one counts, and an order against a position frees nothing.
TEST_F(HandWorked, AnOrderCostsWhatItWouldLoseAtTheWorstPrice)
{
    const std::string market = Write("options.xml", OptionsMarket);
    EXPECT_THAT(GOAfter(market, accounts, "",
                        ",AA01001,FUT,buy,2,\n"             // at 1000: 2 x 100
                        ",AA01001,FUT,buy,2,1040\n"         // 2 x 140
                        ",AA01001,FUT,sell,3,970\n"         // 3 x 130
                        ",AA01001,FUT,buy,2,500\n"          // below any price that is feared
                        "both,AA01001,FUT,buy,2,1000\n"     // 200 at 900
                        "both,AA01001,FUT,sell,3,1000\n"    // 300 at 1100
                        ",AA01001,PAID-C1000,buy,3,10\n"    // the premium: 3 x 10
                        ",AA01001,PAID-C1000,sell,2,10\n"), // worth 100 at 1100: 2 x 90
                ElementsAre(210.0, 294.0, 409.5, 0.0, 315.0, 31.5, 189.0));
    EXPECT_THAT(GOAfter(market, accounts, "client,AA01001,FUT,1,1000\n",
                        ",AA01001,FUT,sell,1,\n" // the position loses 100 at 900, the order 100 at 1100, where it gains
                        ",AA01001,FUT,sell,3,\n" // 300 of the order less 100 of the position, at 1100
                        ",AA01001,FUT,buy,1,\n"), // both lose at 900
                ElementsAre(105.0, 210.0, 210.0));
}

std::string SpreadFutures(const std::string& code, int isin, double price)
{
    std::ostringstream text;
    text << R"(<Futures Code=")" << code << R"(" CodeBC="BC" Isin=")" << isin << R"(" CalcFutPrice=")" << price
         << R"(" SpreadAspect="2" MinStepPrice="1" RealCalcPrice=")" << price << R"(" MinStep="1"
    ExpiredDate="2026-12-17 19:00:00" Spot="0" XLot="1" Lot="1" InterestRateRiskUp="0" InterestRateRiskDown="0"
    TimeToExpiration=")"
         << 0.25 * isin << R"(" NormalizedSpot="1000" Attribute="0" MRAddOnUp="0" MRAddOnDown="0"
    EnforceIMSHalfNetting="0" TASBaseFutCode=""/>)";
    return text.str();
}
std::string Leg(int isin, int leg, int order, int ratio)
{
    return R"(<Multileg Isin=")" + std::to_string(isin) + R"(" IsinLeg=")" + std::to_string(leg) +
           R"(" LegOrderNum=")" + std::to_string(order) + R"(" LegsQuantity="2" QuantityRatio=")" +
           std::to_string(ratio) + R"(" CodeLeg=""/>)";
}

/// The near leg at 900, 1000 and 1100, the far one at 910, 1010 and 1110; one unit of price is worth 1. The rows of
/// spread 50 come with those of another whose second leg is unknown, the far leg's row first.
std::string SpreadMarket()
{
    std::string text = OptionsMarket;
    text.erase(text.find("<Futures"));
    const auto replace = [&](const std::string& from, const std::string& to) {
        text.replace(text.find(from), from.size(), to);
    };
    replace("MSPType=\"1\"", "MSPType=\"0\"");
    text += SpreadFutures("F-NEAR", 1, 1000.0) + SpreadFutures("F-FAR", 2, 1010.0);
    text += Leg(50, 2, 2, 1) + Leg(60, 9, 2, 1) + Leg(60, 1, 1, -1) + Leg(50, 1, 1, -1);
    return text + "</root>";
}

// A spread is worth 10. Whose calendar spreads net loses by an order in it what its price is worse, at any price of the
// futures; whose do not, loses by each leg for itself: the near one at its settlement price, the far one at that and
// the price of the spread.
TEST_F(HandWorked, ACalendarSpreadOfTheDownloadCostsItsPriceWhereItNetsAndItsLegsWhereItDoesNot)
{
    const std::string market = Write("spread.xml", SpreadMarket());
    const std::string netting =
        Write("netting.csv", "level,code,parent,calendar\nfirm,AA01,,netting\nclient,AA01001,,netting\n");
    const std::string halfNetting =
        Write("half.csv", "level,code,parent,calendar\nfirm,AA01,,netting\nclient,AA01001,,half_netting\n");
    const std::string orders = ",AA01001,F-NEAR-FAR,buy,3,17\n"    // 7 too dear
                               ",AA01001,F-NEAR-FAR,sell,3,17\n"   // 7 gained
                               ",AA01001,F-NEAR-FAR,sell,3,-2.5\n" // 12.5 too cheap
                               ",AA01001,F-NEAR-FAR,buy,3,10\n";
    EXPECT_THAT(GOAfter(market, netting, "", orders), ElementsAre(21.0, 0.0, 37.5, 0.0));
    // Bought at 17: the near leg loses 3 x 100 at 1100, the far one, bought at 1017, 3 x 107 at 910; legs that half-net
    // add up their losses. Sold at 17: 3 x 100 at 900, and 3 x 93 at 1110, sold at 1017.
    EXPECT_THAT(GOAfter(market, halfNetting, "", orders), ElementsAre(321.0, 300.0, 337.5, 300.0));
}

class OrderErrors : public WhatIfs
{
protected:
    static constexpr const char* Header = "what_if,client,instrument,side,quantity,price\n";
    /// Behind an order with which nothing is wrong.
    Finished Try(const std::string& rows)
    {
        file = Write("orders.csv", Header + ("good,CL02001,INDX-12.26,buy,1,\n" + rows));
        return RunToEnd(ExamplesWith(file, "table"));
    }
    std::string file;
};

TEST_F(OrderErrors, AreNamedByFileLineAndColumn)
{
    const struct
    {
        const char* row;
        const char* text;
    } cases[] = {
        {",,INDX-12.26,buy,1,\n", "column \"client\" is empty"},
        {",CL09001,INDX-12.26,buy,1,\n", "column \"client\": \"CL09001\" is none of the clients in the accounts"},
        {",CL02,INDX-12.26,buy,1,\n", "column \"client\": \"CL02\" is none of the clients in the accounts"},
        {",CL02001,,buy,1,\n", "column \"instrument\" is empty"},
        {",CL02001,INDX-12.26,,1,\n", "column \"side\" is empty"},
        {",CL02001,INDX-12.26,hold,1,\n", "column \"side\": \"hold\" is none of buy, sell"},
        {",CL02001,INDX-12.26,buy,,\n", "column \"quantity\" is empty"},
        {",CL02001,INDX-12.26,buy,0,\n", "column \"quantity\": \"0\" is out of range: from 1 to 10^12"},
        {",CL02001,INDX-12.26,sell,-1,\n", "column \"quantity\": \"-1\" is out of range: from 1 to 10^12"},
        {",CL02001,INDX-12.26,buy,+-1,\n", "column \"quantity\": \"+-1\" is not a whole number"},
        {",CL02001,INDX-12.26,buy,1.5,\n", "column \"quantity\": \"1.5\" is not a whole number"},
        {",CL02001,INDX-12.26,buy,1,cheap\n", "column \"price\": \"cheap\" is not a number"},
        {",CL02001,INDX-12.26-3.27,buy,1,\n", "column \"price\" is 0 or empty, and the calendar spread INDX-12.26-3.27 "
                                              "has no calculated price: give another "
                                              "one"},
        {",CL02001,INDX-12.26-3.27,buy,1,0.0\n", "column \"price\" is 0 or empty, and the calendar spread"},
        {",CL02001,INDX-12.62,buy,1,\n",
         "column \"instrument\": \"INDX-12.62\" is none of the instruments of the market; did you mean "
         "\"INDX-12.26\"?"},
        {",CL02001,INDX,buy,1,3300\n", "column \"instrument\": \"INDX\" is a base contract"},
        {",CL02001,INDX-17DEC26,buy,1,\n", "column \"instrument\": \"INDX-17DEC26\" is an option series"},
        {",CL02001,INDX-12.26,buy,1,nan\n", "column \"price\": \"nan\" is not a finite number"},
        {",CL02001,INDX-12.26,buy,1,1e12\n", "column \"price\": \"1e12\" is out of range: "},
        {",CL02001,INDX-12.26,buy,1,,1\n", "more cells than the header has"},
    };
    for (const auto& [row, text] : cases) {
        SCOPED_TRACE(row);
        const Finished finished = Try(row);
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(file + ":3: " + text));
    }
}

TEST_F(OrderErrors, OfTheFileItselfAreNamed)
{
    const struct
    {
        const char* content;
        const char* text;
    } cases[] = {{"", ": has no header row"},
                 {"client,instrument,side,quantity,cost\n", ":1: unknown column \"cost\""},
                 {"client,instrument,side,side\n", ":1: column \"side\" stands twice"},
                 {"client,instrument,side\nCL02001,INDX-12.26,buy\n", ":1: column \"quantity\" is missing"}};
    for (const auto& [content, text] : cases) {
        SCOPED_TRACE(content);
        const std::string broken = Write("broken.csv", content);
        const Finished finished = RunToEnd(ExamplesWith(broken, "json"));
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(broken + text));
    }
    const Finished missing = RunToEnd(ExamplesWith("/nowhere/orders.csv", "csv"));
    ExpectRefusal(missing);
    EXPECT_THAT(missing.errors, HasSubstr("/nowhere/orders.csv: cannot be read"));
}

} // namespace
} // namespace test::WhatIfTest
