// Requests of the desk's page and their answers, over a book whose figures are ten for each contract.
#include "DeskApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "PlainDeskBook.h"

namespace test::DeskApiTest {

using namespace quindal;
using nlohmann::json;
using quindal::test::PlainDeskBook;
using testing::HasSubstr;

class DeskRequests : public testing::Test
{
protected:
    json Asked(const std::string& name, const json& request, int status = DeskGood)
    {
        const DeskAnswer answer = api.Answer(name, request.dump());
        EXPECT_EQ(answer.status, status) << name << ": " << answer.body;
        EXPECT_EQ(answer.type, "application/json");
        return json::parse(answer.body);
    }
    static json OneOrder(const std::string& instrument, const std::string& side, const std::string& quantity,
                         const std::string& price = "")
    {
        const json order{{"client", "AA01001"},
                         {"instrument", instrument},
                         {"side", side},
                         {"quantity", quantity},
                         {"price", price}};
        return {{"whatIfs", {{{"label", "ticket"}, {"orders", json::array({order})}}}}};
    }

    PlainDeskBook book;
    DeskApi api{book};
};

TEST_F(DeskRequests, TheTreeHasEachLevelWithItsMargin)
{
    const json answer = Asked("book", json::object());
    // 150 000 contracts short and two held, at ten each.
    EXPECT_EQ(answer["clients"], json::parse(R"([["AA01001", "AA01", "1 500 000.00"], ["AA01002", "AA01", "20.00"]])"));
    EXPECT_EQ(answer["firms"], json::parse(R"([["AA01", "HOUSE", "1 500 020.00"]])"));
    EXPECT_EQ(answer["accounts"], json::parse(R"([["HOUSE", "1 500 020.00"]])"));
    EXPECT_EQ(answer["provenance"]["market"]["file"], "market.xml");
    EXPECT_EQ(answer["warnings"], json::array({"warning: one thing"}));
}

TEST_F(DeskRequests, AClientIsShownWithItsFiguresItsWorstCellAndItsShares)
{
    const json answer = Asked("client", {{"client", "AA01001"}});
    EXPECT_EQ(answer["GO"], json({{"value", 1'500'000.0}, {"text", "1 500 000.00"}}));
    EXPECT_EQ(answer["firm"], "AA01");
    EXPECT_EQ(answer["account"], "HOUSE");
    ASSERT_EQ(answer["levels"].size(), 2U);
    EXPECT_EQ(answer["levels"][0]["bar"], 1.0) << "the longest";
    EXPECT_EQ(answer["levels"][1]["bar"], 0.25) << "a quarter of it";
    EXPECT_EQ(answer["levels"][1]["saved"], "4 500 000.00");
    ASSERT_FALSE(answer["worst"].empty());
    EXPECT_EQ(answer["worst"][0]["of"], "base contract INDX");
    EXPECT_EQ(answer["worst"][0]["depth"], 0);
    EXPECT_THAT(answer["worst"][0]["cell"].get<std::string>(), HasSubstr("at 90 (point 0)"));
    ASSERT_EQ(answer["shares"].size(), 1U) << "the total is no share";
    EXPECT_EQ(answer["shares"][0]["share"], "-1 500 000.00");
    EXPECT_EQ(answer["shares"][0]["part"], "-100.0 %");
    EXPECT_EQ(answer["shares"][0]["bar"], -1.0) << "a gain";
}

TEST_F(DeskRequests, AnUnknownClientIsNamedWithTheOneThatMayBeMeant)
{
    const json answer = Asked("client", {{"client", "AA01003"}}, DeskUnknown);
    EXPECT_EQ(answer["error"], "\"AA01003\" is none of the clients in the accounts; did you mean \"AA01001\"?");
}

TEST_F(DeskRequests, AnOrderIsAnsweredWithTheFiguresBeforeAndAfter)
{
    const json figures = Asked("whatif", OneOrder("INDX-3.27", "sell", "12"))["whatIfs"];
    ASSERT_EQ(figures.size(), 1U);
    EXPECT_EQ(figures[0]["label"], "ticket");
    EXPECT_EQ(figures[0]["client"], "AA01001");
    EXPECT_EQ(figures[0]["before"]["GO"]["text"], "1 500 000.00");
    EXPECT_EQ(figures[0]["after"]["GO"]["text"], "1 500 120.00");
    EXPECT_EQ(figures[0]["difference"]["GO"], json({{"value", 120.0}, {"text", "120.00"}}));
    EXPECT_EQ(figures[0]["difference"]["volatilityGO"]["text"], "120.00");
}

TEST_F(DeskRequests, WhatIfsStandSideBySideInTheirOrder)
{
    const auto whatIf = [](const std::string& label, const std::string& client, const std::string& quantity) {
        const json order{{"client", client}, {"instrument", "INDX-3.27"}, {"side", "buy"}, {"quantity", quantity}};
        return json{{"label", label}, {"orders", json::array({order, order})}};
    };
    const json request{{"whatIfs", {whatIf("second", "AA01002", "3"), whatIf("first", "AA01001", "1")}}};
    const json figures = Asked("whatif", request)["whatIfs"];
    ASSERT_EQ(figures.size(), 2U);
    EXPECT_EQ(figures[0]["label"], "second");
    EXPECT_EQ(figures[0]["difference"]["GO"]["text"], "60.00");
    EXPECT_EQ(figures[1]["label"], "first");
    EXPECT_EQ(figures[1]["difference"]["GO"]["text"], "20.00");
}

TEST_F(DeskRequests, AnOrderIsReadByTheRulesOfTheOrdersFile)
{
    struct Case
    {
        const char* instrument;
        const char* side;
        const char* quantity;
        const char* price;
        const char* column;
        const char* reason;
    };
    const Case cases[] = {
        {"INDX-3.27", "sell", "five", "", "quantity", "is not a whole number"},
        {"INDX-3.27", "sell", "0", "", "quantity", "is out of range: from 1 to"},
        {"INDX-3.27", "sell", "-5", "", "quantity", "is out of range: from 1 to"},
        {"INDX-3.27", "sell", "1.5", "", "quantity", "is not a whole number"},
        {"INDX-3.27", "hold", "5", "", "side", "is none of"},
        {"INDX-3.27", "sell", "5", "cheap", "price", "is not a number"},
        {"INDX-3.28", "sell", "5", "", "instrument", "did you mean \"INDX-3.27\"?"},
        {"", "sell", "5", "", "instrument", ""},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(std::string(row.instrument) + " " + row.side + " " + row.quantity + " " + row.price);
        const json answer = Asked("whatif", OneOrder(row.instrument, row.side, row.quantity, row.price), DeskRefused);
        ASSERT_EQ(answer["problems"].size(), 1U) << answer;
        EXPECT_EQ(answer["problems"][0]["line"], 1);
        EXPECT_EQ(answer["problems"][0]["column"], row.column);
        EXPECT_THAT(answer["problems"][0]["reason"].get<std::string>(), HasSubstr(row.reason));
    }
}

TEST_F(DeskRequests, TheLargestQuantityThatFitsIsToldWithOneMore)
{
    json request{{"order", {{"client", "AA01002"}, {"instrument", "INDX-3.27"}, {"side", "sell"}, {"price", ""}}},
                 {"of", "limit"},
                 {"money", "1 055.00"}};
    // Two contracts are held: (1055 - 20) / 10.
    json answer = Asked("fit", request);
    EXPECT_EQ(answer["without"]["GO"]["text"], "20.00");
    EXPECT_EQ(answer["with"]["quantity"], 103);
    EXPECT_EQ(answer["with"]["GO"]["text"], "1 050.00");
    EXPECT_EQ(answer["next"]["quantity"], 104);
    EXPECT_EQ(answer["next"]["GO"]["text"], "1 060.00");
    request["of"] = "free";
    EXPECT_EQ(Asked("fit", request)["with"]["quantity"], 105);
    request["of"] = "limit";
    request["money"] = "10";
    answer = Asked("fit", request);
    EXPECT_FALSE(answer.contains("with")) << "twenty are needed without it";
    for (const char* const money : {"", "much", "-1", "1e400", "nan", "inf", "5 EUR"}) {
        request["money"] = money;
        EXPECT_EQ(Asked("fit", request, DeskRefused)["problems"][0]["column"], "money") << money;
    }
    request["money"] = "10";
    request["order"]["instrument"] = "INDX-3.28";
    EXPECT_EQ(Asked("fit", request, DeskRefused)["problems"][0]["column"], "instrument");
}

TEST_F(DeskRequests, WhatTheLibraryRefusesIsAnsweredWithItsWords)
{
    const json answer = Asked("whatif", OneOrder("INDX-3.27", "sell", "1000000"), DeskRefused);
    EXPECT_EQ(answer["error"], "order:1: too many contracts");
}

TEST_F(DeskRequests, ARequestOfAnotherFormIsMalformed)
{
    const json order{{"client", "AA01001"}, {"instrument", "INDX-3.27"}, {"side", "buy"}, {"quantity", 5}};
    const auto whatIfs = [](const json& whatIf) { return json{{"whatIfs", json::array({whatIf})}}.dump(); };
    const std::pair<const char*, std::string> requests[] = {
        {"client", ""},
        {"client", "[]"},
        {"client", "{"},
        {"client", "{}"},
        {"client", R"({"client": 5})"},
        {"client", "{\"client\": \"\xff\"}"},
        {"whatif", "{}"},
        {"whatif", R"({"whatIfs": {}})"},
        {"whatif", R"({"whatIfs": [1]})"},
        {"whatif", whatIfs({{"label", "a"}})},
        {"whatif", whatIfs({{"label", ""}, {"orders", json::array()}})},
        {"whatif", whatIfs({{"label", "a"}, {"orders", {5}}})},
        {"whatif", whatIfs({{"label", "a"}, {"orders", json::array({order})}})}, // a quantity that is no text
        {"whatif", R"({"whatIfs": [{"label": "a", "orders": []}, {"label": "a", "orders": []}]})"},
        {"positions", R"({"name": "p.csv"})"},
        {"positions", R"({"name": "", "text": ""})"},
        {"orders", R"({"name": "o.csv", "text": 1})"},
        {"instruments", "{}"},
        {"fit", R"({"of": "limit", "money": "5"})"},
        {"fit", R"({"of": "limit", "money": "5", "order": [1]})"},
        {"fit", R"({"of": "more", "money": "5", "order": {}})"},
        {"picture", R"({"client": "AA01001"})"},
        {"picture", R"({"client": "AA01001", "theme": "loud"})"},
        {"download", R"({"what": "everything"})"},
        {"download", R"({"what": "book", "format": "svg"})"},
        {"download", R"({"what": "client", "client": "AA01001", "format": "exe"})"},
    };
    for (const auto& [name, body] : requests) {
        const DeskAnswer answer = api.Answer(name, body);
        EXPECT_EQ(answer.status, DeskMalformed) << name << ' ' << body;
        EXPECT_TRUE(json::parse(answer.body)["error"].is_string());
    }
    EXPECT_EQ(api.Answer("margin", "{}").status, DeskUnknown);
}

TEST_F(DeskRequests, ASearchOffersWhatIsTradedAndBeginningsFirst)
{
    const json answer = Asked("instruments", {{"search", "indx"}});
    std::vector<std::string> codes;
    for (const json& instrument : answer["instruments"])
        codes.push_back(instrument["code"]);
    EXPECT_THAT(codes, testing::ElementsAre("INDX-12.26", "INDX-12.26-3.27", "INDX-3.27", "XINDX-C100"))
        << "a base contract cannot be ordered";
    EXPECT_EQ(answer["instruments"][0]["price"], "100.5");
    EXPECT_EQ(answer["instruments"][1]["price"], "") << "a spread has no calculated price";
}

TEST_F(DeskRequests, UploadedPositionsTakeThePlaceOfTheBooks)
{
    const json answer =
        Asked("positions", {{"name", "other.csv"}, {"text", "code,instrument,quantity\nAA01002,INDX-3.27,7\n"}});
    EXPECT_EQ(answer["rows"], 1);
    const json tree = Asked("book", json::object());
    EXPECT_EQ(tree["clients"], json::parse(R"([["AA01001", "AA01", "0.00"], ["AA01002", "AA01", "70.00"]])"));
    EXPECT_EQ(tree["positionsFile"], "other.csv");
}

TEST_F(DeskRequests, ABadFileIsAnsweredLineByLineAndChangesNothing)
{
    const json answer = Asked("positions",
                              {{"name", "bad.csv"},
                               {"text", "code,instrument,quantity\r\n"
                                        "AA01001,INDX-3.27,1\r\n"
                                        "AA01001,INDX-12.26,five\r\n"
                                        "NOBODY1,INDX-3.27,1\r\n"}},
                              DeskRefused);
    EXPECT_EQ(answer["count"], 2);
    EXPECT_EQ(answer["problems"][0]["line"], 3);
    EXPECT_EQ(answer["problems"][0]["column"], "quantity");
    EXPECT_EQ(answer["problems"][0]["value"], "five");
    EXPECT_EQ(answer["problems"][1]["line"], 4);
    EXPECT_EQ(answer["lines"], json({{{"line", 1}, {"text", "code,instrument,quantity"}},
                                     {{"line", 2}, {"text", "AA01001,INDX-3.27,1"}},
                                     {{"line", 3}, {"text", "AA01001,INDX-12.26,five"}},
                                     {{"line", 4}, {"text", "NOBODY1,INDX-3.27,1"}}}));
    EXPECT_EQ(book.Positions().file, "positions.csv");
}

TEST_F(DeskRequests, PositionsThatTheLibraryRefusesChangeNothing)
{
    const std::string text = "code,instrument,quantity\nAA01002,INDX-3.27,1000000\n";
    const json answer = Asked("positions", {{"name", "large.csv"}, {"text", text}}, DeskRefused);
    EXPECT_EQ(answer["error"], "large.csv:2: too many contracts");
    EXPECT_EQ(book.Positions().file, "positions.csv");
}

TEST_F(DeskRequests, OrdersOfAFileAreTriedAndDownloaded)
{
    const json file{{"name", "orders.csv"},
                    {"text", "what_if,client,instrument,side,quantity\nmore,AA01002,INDX-3.27,buy,4\n"}};
    EXPECT_EQ(Asked("orders", file)["whatIfs"][0]["after"]["GO"]["text"], "60.00");
    json request = file;
    request.update({{"what", "orders"}, {"format", "csv"}});
    const DeskAnswer answer = api.Answer("download", request.dump());
    EXPECT_EQ(answer.type, "text/csv");
    EXPECT_THAT(answer.body, HasSubstr("\nmore,AA01002,20,60,40,20,60,40,20.00,60.00,40.00,market.xml,0123,"));
}

TEST_F(DeskRequests, DownloadsAreReportsOfTheCommandLine)
{
    const DeskAnswer whole = api.Answer("download", R"({"what": "book", "format": "csv"})");
    EXPECT_EQ(whole.status, DeskGood);
    EXPECT_THAT(whole.body, HasSubstr("level,code,parent,volatility_go,delivery_and_volatility_go,go,market,"));
    EXPECT_THAT(whole.body, HasSubstr("\nclient,AA01002,AA01,20,20,20.00,market.xml,0123,"));
    json client{{"what", "client"}, {"client", "AA01002"}, {"format", "json"}};
    EXPECT_EQ(json::parse(api.Answer("download", client.dump()).body)["GO"], 20.0);
    client["format"] = "csv";
    EXPECT_THAT(api.Answer("download", client.dump()).body,
                HasSubstr("\nclient,AA01002,XINDX-C100,position,2,0,baseContract,INDX,0,0,20,false,market.xml,0123,"));
    client["format"] = "svg";
    const DeskAnswer picture = api.Answer("download", client.dump());
    EXPECT_EQ(picture.type, "image/svg+xml");
    EXPECT_THAT(picture.body, HasSubstr("<svg"));
    client["format"] = "html";
    EXPECT_THAT(api.Answer("download", client.dump()).body, HasSubstr("20.00"));
    client["format"] = "pdf";
    EXPECT_THAT(api.Answer("download", client.dump()).body, testing::StartsWith("%PDF-"));
}

TEST_F(DeskRequests, APictureSaysWhereItsPointsLie)
{
    const json answer = Asked("picture", {{"client", "AA01002"}, {"theme", "dark"}});
    EXPECT_THAT(answer["svg"].get<std::string>(), HasSubstr("<svg"));
    ASSERT_EQ(answer["panels"].size(), 1U);
    const json& panel = answer["panels"][0];
    EXPECT_EQ(panel["contract"], "INDX");
    const json& points = panel["lines"][0]["points"];
    ASSERT_EQ(points.size(), 2U) << "the grid has two prices";
    EXPECT_EQ(points[0][2], "90");
    EXPECT_EQ(points[0][3], "-20.00");
    EXPECT_EQ(points[1][3], "5.00");
    EXPECT_EQ(points[0][0], panel["left"]) << "the lowest price stands at the left edge";
    EXPECT_GT(points[0][1], points[1][1]) << "a loss stands below a profit";
}

} // namespace test::DeskApiTest
