// quindal fit against quindal margin: the figures with the quantity, and with one more, are those of a run of its own.
#include <cmath>

#include "CommandLine.h"

namespace test::FitCommandTest {
namespace {

using namespace quindal::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> Fit(std::vector<std::string> further)
{
    std::vector<std::string> arguments = Margin({"--instruments", Example("market.xml")});
    arguments[1] = "fit";
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

json Answer(std::vector<std::string> further)
{
    further.insert(further.end(), {"--format", "json"});
    const Finished finished = RunToEnd(Fit(std::move(further)));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return json::parse(finished.out);
}

class FitCommand : public CommandErrors
{
protected:
    /// GO of a client with an order, by the margin command.
    double WithOrder(const std::string& order)
    {
        const std::string file = Write("orders.csv", "client,instrument,side,quantity,price\n" + order + '\n');
        const Finished finished =
            RunToEnd(Margin({"--instruments", Example("market.xml"), "--orders", file, "--format", "json"}));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return json::parse(finished.out).at("whatIfs").at(0).at("after").at("GO");
    }
    /// GO by code of the book of the examples with a row of it put otherwise.
    std::map<std::string, double> WithRow(const std::string& row, const std::string& other)
    {
        std::string text = ContentOf(Example("positions.csv"));
        EXPECT_NE(text.find(row), std::string::npos);
        text.replace(text.find(row), row.size(), other);
        const Finished finished = RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "json"},
                                                  Example("accounts.csv"), Write("positions.csv", text)));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        std::map<std::string, double> GO;
        for (const Row& figures : FromJson(finished.out))
            GO[figures.code] = figures.go;
        return GO;
    }
    static std::string ContentOf(const std::string& file)
    {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }
};

TEST_F(FitCommand, AnOrderOfTheQuantityCostsWhatMarginSays)
{
    const struct
    {
        const char* client;
        const char* instrument;
        const char* side;
        const char* price;
    } cases[] = {{"CL02001", "INDX-12.26", "sell", "3300"},
                 {"CL01001", "CRUD-17DEC26-C74", "buy", "2.5"},
                 {"HS01001", "INDX-12.26-3.27", "buy", "67"}};
    for (const auto& [client, instrument, side, price] : cases) {
        SCOPED_TRACE(instrument);
        const json answer = Answer(
            {"--client", client, "--instrument", instrument, "--side", side, "--price", price, "--limit", "750000"});
        const auto order = [&](std::int64_t quantity) {
            return WithOrder(std::string(client) + ',' + instrument + ',' + side + ',' + std::to_string(quantity) +
                             ',' + price);
        };
        const std::int64_t quantity = answer.at("quantity");
        EXPECT_EQ(answer.at("with").at("GO"), order(quantity));
        EXPECT_EQ(answer.at("oneMore").at("GO"), order(quantity + 1));
        EXPECT_LE(answer.at("with").at("GO").get<double>(), 750000.0);
        EXPECT_GT(answer.at("oneMore").at("GO").get<double>(), 750000.0);
    }
}

// 80 contracts are sold at 70.55: buying hedges first, and goes beyond.
TEST_F(FitCommand, APositionThatHedgesFirstIsFollowedBeyondTheHedge)
{
    const json answer = Answer({"--client", "OM02001", "--instrument", "CRUD-6.27", "--side", "buy", "--price", "70",
                                "--limit", "600000", "--as", "position"});
    EXPECT_GT(answer.at("without").at("GO").get<double>(), 600000.0);
    const std::int64_t held = answer.at("quantity").get<std::int64_t>() - 80;
    ASSERT_GT(held, 0);
    const auto row = [](std::int64_t quantity) {
        return "client,OM02001,CRUD-6.27," + std::to_string(quantity) + ",70\n";
    };
    const std::string before = "client,OM02001,CRUD-6.27,-80,70.55\n";
    EXPECT_EQ(answer.at("with").at("GO"), WithRow(before, row(held)).at("OM02001"));
    EXPECT_EQ(answer.at("oneMore").at("GO"), WithRow(before, row(held + 1)).at("OM02001"));
}

TEST_F(FitCommand, TheGOOfALevelAboveIsThatOfTheWholeBook)
{
    for (const auto& [level, code] : {std::pair{"firm", "CL02"}, std::pair{"account", "CLIENTS"}}) {
        SCOPED_TRACE(level);
        const json answer = Answer({"--client", "CL02001", "--instrument", "ALFA-3.27", "--side", "sell", "--price",
                                    "27490", "--free", "500000", "--as", "position", "--level", level});
        const auto row = [](std::int64_t quantity) {
            return "client,CL02001,ALFA-3.27," + std::to_string(quantity) + ",27490\n";
        };
        const auto GO = [&, code = std::string(code)](std::int64_t quantity) {
            return WithRow(row(-30), row(-30 - quantity)).at(code);
        };
        const std::int64_t quantity = answer.at("quantity");
        EXPECT_EQ(answer.at("without").at("GO"), GO(0));
        EXPECT_EQ(answer.at("with").at("GO"), GO(quantity));
        EXPECT_EQ(answer.at("oneMore").at("GO"), GO(quantity + 1));
        EXPECT_GT(answer.at("oneMore").at("used").get<double>(), 500000.0);
    }
}

// 300 are paid up front for each contract, beside the GO.
TEST_F(FitCommand, ThePremiumOfAnOptionBoughtIsPartOfWhatIsUsed)
{
    const json answer = Answer({"--client", "CL02001", "--instrument", "ALFS-17DEC26-C28000", "--side", "buy",
                                "--price", "300", "--free", "9000"});
    const json& with = answer.at("with");
    EXPECT_DOUBLE_EQ(with.at("premium").get<double>(), 300.0 * answer.at("quantity").get<double>());
    EXPECT_NEAR(with.at("used").get<double>(),
                with.at("GO").get<double>() - answer.at("without").at("GO").get<double>() +
                    with.at("premium").get<double>(),
                1e-6);
    const json sold = Answer({"--client", "CL02001", "--instrument", "ALFS-17DEC26-C28000", "--side", "sell", "--price",
                              "300", "--free", "9000"});
    EXPECT_EQ(sold.at("with").at("premium"), 0.0);
}

TEST_F(FitCommand, ABasketIsTradedInItsRatios)
{
    const std::string basket =
        Write("basket.csv", "instrument,side,ratio,price\nCRUD-12.26,buy,2,71\nCRUD-3.27,sell,2,70.5\n");
    const json answer = Answer({"--client", "CL01001", "--basket", basket, "--limit", "400000", "--as", "position"});
    const std::int64_t quantity = answer.at("quantity");
    ASSERT_GT(quantity, 0);
    // 150 are held at 71.10, and 150 sold at 70.80.
    const auto legs = [](std::int64_t times) {
        const double traded = 2.0 * static_cast<double>(times);
        std::ostringstream text;
        text.precision(17);
        text << "client,CL01001,CRUD-12.26," << 150 + 2 * times << ',' << (150 * 71.10 + traded * 71) / (150 + traded)
             << "\nclient,CL01001,CRUD-3.27," << -150 - 2 * times << ','
             << (-150 * 70.80 - traded * 70.5) / (-150 - traded) << '\n';
        return text.str();
    };
    const std::string before = "client,CL01001,CRUD-12.26,150,71.10\nclient,CL01001,CRUD-3.27,-150,70.80\n";
    EXPECT_EQ(answer.at("with").at("GO"), WithRow(before, legs(quantity)).at("CL01001"));
    EXPECT_EQ(answer.at("oneMore").at("GO"), WithRow(before, legs(quantity + 1)).at("CL01001"));
}

TEST_F(FitCommand, SaysWhereNothingFitsAndWhereAllDoes)
{
    const std::vector<std::string> sold{"--client", "CL02001", "--instrument", "INDX-12.26", "--side", "sell"};
    const auto with = [&](std::vector<std::string> further) {
        further.insert(further.begin(), sold.begin(), sold.end());
        return further;
    };
    const Finished none = RunToEnd(Fit(with({"--limit", "1000"})));
    EXPECT_EQ(none.status, 0);
    EXPECT_THAT(none.out, StartsWith("No quantity of INDX-12.26 sold by order fits within 1 000.00, from 0 to "));
    EXPECT_TRUE(Answer(with({"--limit", "1000"})).at("quantity").is_null());

    const Finished all = RunToEnd(Fit(with({"--limit", "1e9", "--max", "7"})));
    EXPECT_THAT(all.out, StartsWith("At least 7 INDX-12.26 sold by order fit within 1 000 000 000.00, the most that "));
    const json answer = Answer(with({"--limit", "1e9", "--max", "7"}));
    EXPECT_TRUE(answer.at("isMost").get<bool>());
    EXPECT_FALSE(answer.contains("oneMore"));
}

TEST_F(FitCommand, ThreeFormatsHaveTheSameFigures)
{
    const std::vector<std::string> question{"--client", "CL02001", "--instrument", "INDX-12.26", "--side",
                                            "sell",     "--free",  "100000",       "--format"};
    const auto in = [&](const char* format) {
        std::vector<std::string> arguments = question;
        arguments.emplace_back(format);
        return RunToEnd(Fit(arguments)).out;
    };
    const json answer = json::parse(in("json"));
    const std::vector<std::string> csv = Split(FiguresOf(in("csv")), "\n");
    ASSERT_EQ(csv.size(), 5U); // a header, three rows and what stands behind the last
    EXPECT_EQ(csv[0], "row,client,level,as,quantity,go,added,premium,used,free");
    const std::vector<std::string> table = Split(in("table"), "\n");
    ASSERT_EQ(table.size(), 7U);
    const char* const names[] = {"without", "with", "oneMore"};
    for (std::size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(names[i]);
        const json& figures = answer.at(names[i]);
        const std::vector<std::string> cells = Split(csv[i + 1], ",");
        const std::vector<std::string> columns = SplitColumns(table[i + 3]);
        ASSERT_EQ(columns.size(), 6U);
        EXPECT_EQ(std::stoll(cells[4]), figures.at("quantity").get<std::int64_t>());
        EXPECT_EQ(Ungrouped(columns[1]), figures.at("quantity").get<double>());
        EXPECT_EQ(std::stod(cells[5]), figures.at("GO").get<double>());
        EXPECT_EQ(Ungrouped(columns[2]), figures.at("GO").get<double>());
        EXPECT_NEAR(std::stod(cells[8]), figures.at("used").get<double>(), 0.005);
        EXPECT_NEAR(Ungrouped(columns[5]), figures.at("used").get<double>(), 0.005);
    }
}

TEST_F(FitCommand, WrongQuestionsAreNamed)
{
    const std::string basket = Write("basket.csv", "instrument,side,ratio\nINDX-12.26,buy,1\nINDX-12.26,sell,0\n");
    const struct
    {
        std::vector<std::string> further;
        int status;
        std::string text;
    } cases[] = {
        {{"--client", "CL02009", "--instrument", "INDX-12.26", "--side", "buy", "--limit", "1"},
         1,
         "--client: \"CL02009\" is none of the clients in the accounts"},
        {{"--client", "CL02001", "--instrument", "INDX-12.62", "--side", "buy", "--limit", "1"},
         1,
         "--instrument: \"INDX-12.62\" is none of the instruments of the market; did you mean \"INDX-12.26\"?"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26-3.27", "--side", "buy", "--limit", "1"},
         1,
         "--price is 0 or empty, and the calendar spread INDX-12.26-3.27 has no calculated price"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26-3.27", "--side", "buy", "--limit", "1", "--as",
          "position"},
         1,
         "--instrument: \"INDX-12.26-3.27\" is a calendar spread: hold its legs"},
        {{"--client", "CL02001", "--basket", basket, "--limit", "1"},
         1,
         basket + ":3: column \"instrument\": \"INDX-12.26\" stands twice, first in line 2"},
        {{"--client", "CL02001", "--basket", basket, "--limit", "1"},
         1,
         basket + ":3: column \"ratio\": \"0\" is out of range: from 1 to 1000000"},
        {{"--client", "HS01001", "--instrument", "INDX-12.26", "--side", "buy", "--limit", "1", "--as", "position",
          "--level", "firm"},
         1,
         "the position of HS01001 does not move the margin of firm HS01: it is under the netting rule"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26", "--limit", "1"}, 2, "--instrument requires --side"},
        {{"--client", "CL02001", "--limit", "1"}, 2, "--instrument or --basket is required"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26", "--side", "buy"}, 2, "--limit or --free is required"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26", "--side", "buy", "--limit", "nan"},
         2,
         "--limit: \"nan\" is no money"},
        {{"--client", "CL02001", "--instrument", "INDX-12.26", "--side", "buy", "--limit", "1", "--price", "inf"},
         2,
         "--price: \"inf\" is no price"},
    };
    for (const auto& [further, status, text] : cases) {
        SCOPED_TRACE(text);
        const Finished finished = RunToEnd(Fit(further));
        EXPECT_EQ(finished.status, status);
        EXPECT_EQ(finished.out, "");
        EXPECT_THAT(finished.errors, HasSubstr(text));
    }
}

} // namespace
} // namespace test::FitCommandTest
