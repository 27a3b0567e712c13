// Rows as their schemas read them: what is meant, and what is refused by name.
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "WrittenFiles.h"

namespace test::RowsTest {
namespace {

using namespace quindal;
using namespace quindal::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST(Accounts, HaveTheirDefaultsByLevel)
{
    const Rows<AccountRow> rows = Accounts("level,code,parent,go_ratio\naccount,HOUSE,,\nfirm,AA01,HOUSE,\n"
                                           "client,AA01001,,\nratio,AA01,INDX,1.25\n");
    ASSERT_THAT(rows.rows, SizeIs(4));
    const AccountRow& account = rows.rows[0];
    EXPECT_EQ(account.marginRule, QUINDAL_MARGIN_RULE_NETTING);
    EXPECT_EQ(account.calendar, QUINDAL_SPREAD_MARGIN_TYPE_NETTING);
    EXPECT_EQ(account.interContract, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING);
    EXPECT_EQ(account.shortChargeRatio, 1.0);
    const AccountRow& firm = rows.rows[1];
    EXPECT_EQ(firm.parent, "HOUSE");
    EXPECT_EQ(firm.marginRule, QUINDAL_MARGIN_RULE_HALF_NETTING);
    EXPECT_EQ(firm.expWeight, 1.0);
    EXPECT_EQ(firm.expWeightClientDefault, 1.0);
    EXPECT_EQ(firm.clearings, 0);
    EXPECT_EQ(firm.accountType, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY);
    const AccountRow& client = rows.rows[2];
    EXPECT_EQ(client.expWeight, -1.0) << "that of the firm";
    EXPECT_EQ(client.clearings, -1) << "those of the firm";
    EXPECT_EQ(client.goRatio, 1.0);
    EXPECT_FALSE(client.noDiscount);
    EXPECT_EQ(client.riskLevel, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT);
    EXPECT_EQ(rows.rows[3].goRatio, 1.25);
    EXPECT_EQ(rows.Where(rows.rows[3]), "accounts.csv:5");
}

TEST(Accounts, HaveWhatTheirCellsSay)
{
    const Rows<AccountRow> rows =
        Accounts("level,code,parent,margin_rule,calendar,inter_contract,exp_weight,exp_weight_client_default,clearings,"
                 "no_discount,go_ratio,short_charge_ratio,risk_level,account_type\n"
                 "firm,AA01,,gross,unused,netting,0.25,0.5,127,,,10,,trusted\n"
                 "client,AA01001,AA01,,half_netting,unused,0.01,,3,yes,0.00001,0,exceptional,\n"
                 "client,AA01002,,,,,-1,,-1,0,10,+2.5e0,low,\n");
    ASSERT_THAT(rows.rows, SizeIs(3));
    EXPECT_EQ(rows.rows[0].marginRule, QUINDAL_MARGIN_RULE_GROSS);
    EXPECT_EQ(rows.rows[0].calendar, QUINDAL_SPREAD_MARGIN_TYPE_UNUSED);
    EXPECT_EQ(rows.rows[0].interContract, QUINDAL_SPREAD_MARGIN_TYPE_NETTING);
    EXPECT_EQ(rows.rows[0].expWeight, 0.25);
    EXPECT_EQ(rows.rows[0].expWeightClientDefault, 0.5);
    EXPECT_EQ(rows.rows[0].clearings, 127);
    EXPECT_EQ(rows.rows[0].shortChargeRatio, 10.0);
    EXPECT_EQ(rows.rows[0].accountType, QUINDAL_BROKER_ACCOUNT_TYPE_TRUSTED);
    EXPECT_EQ(rows.rows[1].expWeight, 0.01);
    EXPECT_EQ(rows.rows[1].clearings, 3);
    EXPECT_TRUE(rows.rows[1].noDiscount);
    EXPECT_EQ(rows.rows[1].goRatio, 0.00001);
    EXPECT_EQ(rows.rows[1].shortChargeRatio, 0.0);
    EXPECT_EQ(rows.rows[1].riskLevel, QUINDAL_CLIENT_RISK_LEVEL_EXCEPTIONAL);
    EXPECT_EQ(rows.rows[2].expWeight, -1.0);
    EXPECT_EQ(rows.rows[2].clearings, -1);
    EXPECT_EQ(rows.rows[2].shortChargeRatio, 2.5);
}

TEST(Positions, HaveWhatTheirCellsSay)
{
    const Rows<PositionRow> rows = Positions("code,instrument,quantity,price,after_last_clearing,level\n"
                                             "AA01001,F,+5,,,\nHOUSE,G,-1000000000000,-0.5,3,account\n"
                                             "AA01,G,0,1e12,,firm\n");
    ASSERT_THAT(rows.rows, SizeIs(3));
    EXPECT_EQ(rows.rows[0].level, QUINDAL_ACCOUNT_HIERARCHY_CLIENT);
    EXPECT_EQ(rows.rows[0].quantity, 5);
    EXPECT_EQ(rows.rows[0].price, 0.0) << "the calculated price";
    EXPECT_EQ(rows.rows[0].afterLastClearing, 5) << "the quantity";
    EXPECT_EQ(rows.rows[1].level, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT);
    EXPECT_EQ(rows.rows[1].quantity, -1'000'000'000'000);
    EXPECT_EQ(rows.rows[1].price, -0.5);
    EXPECT_EQ(rows.rows[1].afterLastClearing, 3);
    EXPECT_EQ(rows.rows[2].level, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
    EXPECT_EQ(rows.rows[2].price, 1e12);
}

/// A cell of the second line of a file, and what is said of it behind "file.csv:2: ".
struct BadCell
{
    const char* file;
    const char* problem;
};

template <class Read>
void ExpectProblem(const BadCell& cell, const Read& read)
{
    SCOPED_TRACE(cell.file);
    Problems problems;
    static_cast<void>(read(File(cell.file), problems));
    EXPECT_THAT(TextsOf(problems), ElementsAre(std::string("file.csv:2: ") + cell.problem));
}

TEST(Accounts, RefuseWhatTheyCannotMean)
{
    const BadCell cells[] = {
        {"level,code\nfirms,AA01\n",
         "column \"level\": \"firms\" is none of account, firm, client, ratio; did you mean \"firm\"?"},
        {"level,code\n,AA01\n", "column \"level\" is empty"},
        {"level,code\nfirm,\n", "column \"code\" is empty"},
        {"level,code\nfirm,AA1\n", "column \"code\": \"AA1\" is not of 4 characters"},
        {"level,code\nclient,AA010011\n", "column \"code\": \"AA010011\" is not of 7 characters"},
        {"level,code\nfirm,AA01,x\n", "more cells than the header has"},
        {"level,code\nfirm,\"A\x1B[m\"\n", "column \"code\": \"A\\x1B[m\" is not plain UTF-8 text"},
        {"level,code,go_ratio\nclient,AA01001,-1.5\n", "column \"go_ratio\": \"-1.5\" is out of range: from 0 to 10"},
        {"level,code,go_ratio\nclient,AA01001,nan\n", "column \"go_ratio\": \"nan\" is not a finite number"},
        {"level,code,go_ratio\nclient,AA01001,10.00001\n",
         "column \"go_ratio\": \"10.00001\" is out of range: from 0 to 10"},
        {"level,code,go_ratio\nclient,AA01001,1.000001\n",
         "column \"go_ratio\": \"1.000001\" has more than 5 digits behind the point"},
        {"level;code;go_ratio\nclient;AA01001;1,5\n", "column \"go_ratio\": \"1,5\" is not a number: the decimal point "
                                                      "is \".\", and nothing parts thousands"},
        {"level,code,parent,go_ratio\nratio,AA01,INDX,\n", "column \"go_ratio\" is empty"},
        {"level,code,parent,go_ratio\nratio,AA01,INDX,nan\n", "column \"go_ratio\": \"nan\" is not a finite number"},
        {"level,code,parent,go_ratio\nratio,AA01,INDX,-0.1\n",
         "column \"go_ratio\": \"-0.1\" is out of range: from 0 to 10"},
        {"level,code,parent,go_ratio\nratio,AA01,,1\n", "column \"parent\" is empty"},
        {"level,code,exp_weight\nclient,AA01001,7\n",
         "column \"exp_weight\": \"7\" is out of range: from 0 to 1, or -1"},
        {"level,code,exp_weight\nclient,AA01001,-0.5\n",
         "column \"exp_weight\": \"-0.5\" is out of range: from 0 to 1, or -1"},
        {"level,code,exp_weight\nclient,AA01001,0.125\n",
         "column \"exp_weight\": \"0.125\" has more than 2 digits behind the point"},
        {"level,code,exp_weight,margin_rule\nfirm,AA01,-1,gross\n",
         "column \"exp_weight\": \"-1\" is out of range: from 0 to 1"},
        {"level,code,exp_weight\nfirm,AA01,0.5\n",
         "column \"exp_weight\": \"0.5\" is neither 0 nor 1, as half_netting asks of a firm"},
        {"level,code,exp_weight_client_default\nfirm,AA01,1.01\n",
         "column \"exp_weight_client_default\": \"1.01\" is out of range: from 0 to 1"},
        {"level,code,clearings\nclient,AA01001,-2\n",
         "column \"clearings\": \"-2\" is out of range: from 0 to 127, or -1"},
        {"level,code,clearings\nfirm,AA01,-1\n", "column \"clearings\": \"-1\" is out of range: from 0 to 127"},
        {"level,code,clearings\nfirm,AA01,128\n", "column \"clearings\": \"128\" is out of range: from 0 to 127"},
        {"level,code,clearings\nfirm,AA01,1.5\n", "column \"clearings\": \"1.5\" is not a whole number"},
        {"level,code,short_charge_ratio\nfirm,AA01,11\n",
         "column \"short_charge_ratio\": \"11\" is out of range: from 0 to 10"},
        {"level,code,risk_level\nclient,AA01001,highest\n",
         "column \"risk_level\": \"highest\" is none of default, low, medium, high, exceptional"},
        {"level,code,no_discount\nclient,AA01001,true\n", "column \"no_discount\": \"true\" is none of 0, 1, no, yes"},
        {"level,code,risk_level\nfirm,AA01,high\n",
         "column \"risk_level\": \"high\" says nothing in the row of a firm: leave it empty"},
        {"level,code,margin_rule\nclient,AA01001,netting\n",
         "column \"margin_rule\": \"netting\" says nothing in the row of a client: leave it empty"},
    };
    for (const BadCell& cell : cells)
        ExpectProblem(cell, ReadAccounts);
}

TEST(Positions, RefuseWhatTheyCannotMean)
{
    const BadCell cells[] = {
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,nan\n",
         "column \"price\": \"nan\" is not a finite number"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,-inf\n",
         "column \"price\": \"-inf\" is not a finite number"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,1e300\n",
         "column \"price\": \"1e300\" is out of range: from -10^12 to 10^12"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,1e999\n",
         "column \"price\": \"1e999\" is out of range: from -10^12 to 10^12"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,0x10\n",
         "column \"price\": \"0x10\" is not a number"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,1,1 000\n",
         "column \"price\": \"1 000\" is not a number"},
        {"level,code,instrument,quantity,price\nclient,AA01001,F,,5\n", "column \"quantity\" is empty"},
        {"level,code,instrument,quantity\nclient,AA01001,F,1.0\n",
         "column \"quantity\": \"1.0\" is not a whole number"},
        {"level,code,instrument,quantity\nclient,AA01001,F,1000000000001\n",
         "column \"quantity\": \"1000000000001\" is out of range: from -10^12 to 10^12"},
        {"level,code,instrument,quantity\nclient,AA01001,F,9223372036854775808\n",
         "column \"quantity\": \"9223372036854775808\" is out of range: from -10^12 to 10^12"},
        {"level,code,instrument,quantity\nclient,AA01001,F,--1\n",
         "column \"quantity\": \"--1\" is not a whole number"},
        {"level,code,instrument,quantity\nclient,AA01001,F,-\n", "column \"quantity\": \"-\" is not a whole number"},
        {"level,code,instrument,quantity,after_last_clearing\nclient,AA01001,F,1,x\n",
         "column \"after_last_clearing\": \"x\" is not a whole number"},
        {"level,code,instrument,quantity\nratio,AA01001,F,1\n",
         "column \"level\": \"ratio\" is none of account, firm, client"},
        {"level,code,instrument,quantity\nclient,,F,1\n", "column \"code\" is empty"},
        {"level,code,instrument,quantity\nclient,AA01001,,1\n", "column \"instrument\" is empty"},
    };
    for (const BadCell& cell : cells)
        ExpectProblem(cell, ReadPositions);
}

TEST(Orders, RefuseWhatTheyCannotMean)
{
    const BadCell cells[] = {
        {"client,instrument,side,quantity\n,F,buy,1\n", "column \"client\" is empty"},
        {"client,instrument,side,quantity\nAA01001,F,,1\n", "column \"side\" is empty"},
        {"client,instrument,side,quantity\nAA01001,F,byu,1\n",
         "column \"side\": \"byu\" is none of buy, sell; did you mean \"buy\"?"},
        {"client,instrument,side,quantity\nAA01001,F,buy,0\n",
         "column \"quantity\": \"0\" is out of range: from 1 to 10^12"},
        {"client,instrument,side,quantity\nAA01001,F,buy,-1\n",
         "column \"quantity\": \"-1\" is out of range: from 1 to 10^12"},
        {"client,instrument,side,quantity\nAA01001,F,buy,+-1\n", "column \"quantity\": \"+-1\" is not a whole number"},
        {"client,instrument,side,quantity,price\nAA01001,F,buy,1,inf\n",
         "column \"price\": \"inf\" is not a finite number"},
        {"client,instrument,side,quantity,price\nAA01001,F,buy,1,1e11\n",
         "column \"price\": \"1e11\" is out of range: from -99999999999 to 99999999999"},
    };
    for (const BadCell& cell : cells)
        ExpectProblem(cell, ReadOrders);
}

TEST(Baskets, AreReadWithTheirDefaults)
{
    const Rows<BasketRow> rows = Basket("instrument,side,ratio,price\nF,buy,3,1.5\nG,sell,,\n");
    ASSERT_THAT(rows.rows, SizeIs(2));
    EXPECT_TRUE(rows.rows[0].isBuy);
    EXPECT_EQ(rows.rows[0].ratio, 3);
    EXPECT_EQ(rows.rows[0].price, 1.5);
    EXPECT_FALSE(rows.rows[1].isBuy);
    EXPECT_EQ(rows.rows[1].ratio, 1);
    EXPECT_EQ(rows.rows[1].price, 0.0);
}

TEST(Baskets, RefuseWhatTheyCannotMean)
{
    const BadCell cells[] = {
        {"instrument,side\n,buy\n", "column \"instrument\" is empty"},
        {"instrument,side\nF,\n", "column \"side\" is empty"},
        {"instrument,side,ratio\nF,buy,0\n", "column \"ratio\": \"0\" is out of range: from 1 to 1000000"},
    };
    for (const BadCell& cell : cells)
        ExpectProblem(cell, ReadBasket);
    Problems problems;
    static_cast<void>(ReadBasket(File("instrument,side\nF,buy\nF,sell\n"), problems));
    EXPECT_THAT(TextsOf(problems),
                ElementsAre("file.csv:3: column \"instrument\": \"F\" stands twice, first in line 2"));
    Problems empty;
    static_cast<void>(ReadBasket(File("instrument,side\n"), empty));
    EXPECT_THAT(TextsOf(empty), ElementsAre("file.csv: has no rows"));
}

TEST(Users, AreReadWithTheirDefaults)
{
    Problems problems;
    const Rows<UserRow> rows = ReadUsers(
        File("user,part_count,login_type,password\nUSER-01,5,CLIENT_A,s;e\"cret\nUSER_2,,,\n"), false, problems);
    EXPECT_THAT(TextsOf(problems), ElementsAre("file.csv:2: a quotation mark stands inside a cell"));
    Problems none;
    const Rows<UserRow> good =
        ReadUsers(File("user,part_count,login_type,password\nUSER-01,5,CLIENT_A,s;ecret\nUSER_2,,,\n"), false, none);
    EXPECT_THAT(TextsOf(none), IsEmpty());
    ASSERT_THAT(good.rows, SizeIs(2));
    EXPECT_EQ(good.rows[0].partCount, 5);
    EXPECT_EQ(good.rows[0].loginType, "CLIENT_A");
    EXPECT_EQ(good.rows[0].password, "s;ecret");
    EXPECT_EQ(good.rows[1].partCount, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(good.rows[1].loginType, "CLIENT");
}

TEST(Users, RefuseWhatARouterCannotTake)
{
    const BadCell cells[] = {
        {"user,password\nUSER 01,x\n",
         "column \"user\": \"USER 01\" has other characters than letters, digits, \"_\" and \"-\""},
        {"user,password\n,x\n", "column \"user\" is empty"},
        {"user,part_count,password\nU,0,x\n", "column \"part_count\": \"0\" is out of range: from 1 to 2147483647"},
        {"user,part_count\nU,5\n", "column \"password\" is empty"},
        {"user,password\nU,\x1Bsesame\n", "column \"password\" is not plain UTF-8 text"}, // and is not shown
    };
    for (const BadCell& cell : cells)
        ExpectProblem(cell, [](const InputFile& file, Problems& problems) { return ReadUsers(file, true, problems); });
    Problems problems;
    static_cast<void>(ReadUsers(File("user\nA\nB\nA\n"), false, problems));
    EXPECT_THAT(TextsOf(problems), ElementsAre("file.csv:4: column \"user\": \"A\" stands twice, first in line 2"));
}

TEST(Headers, NameColumnsThatAreUnknownRepeatedOrMissing)
{
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"level,code,instrument,quantitiy\n",
         {"file.csv:1: unknown column \"quantitiy\"; did you mean \"quantity\"?",
          "file.csv:1: column \"quantity\" is missing"}},
        {"level,code,instrument,price,price,quantity\n", {"file.csv:1: column \"price\" stands twice"}},
        {"level,code,instrument\nclient,AA01001,F\n", {"file.csv:1: column \"quantity\" is missing"}},
        {"level,code,instrument,quantity,\n", {"file.csv:1: unknown column \"\""}},
    };
    for (const auto& [text, expected] : cases) {
        Problems problems;
        EXPECT_THAT(ReadPositions(File(text), problems).rows, IsEmpty());
        EXPECT_EQ(TextsOf(problems), expected) << text;
    }
    Problems problems;
    static_cast<void>(ReadAccounts(File("parent\n"), problems));
    EXPECT_THAT(TextsOf(problems),
                ElementsAre("file.csv:1: column \"level\" is missing", "file.csv:1: column \"code\" is missing"));
}

TEST(Problems, AreAllToldUpToFiftyAndThenCounted)
{
    std::string text = "level,code,instrument,quantity,price\n";
    for (int i = 0; i < 60; ++i)
        text += "client,AA01001,F" + std::to_string(i) + ",x,nan\n";
    Problems problems;
    static_cast<void>(ReadPositions(File(text), problems));
    EXPECT_EQ(problems.Count(), 120U);
    const std::vector<std::string> texts = TextsOf(problems);
    ASSERT_THAT(texts, SizeIs(50));
    EXPECT_EQ(texts[0], "file.csv:2: column \"quantity\": \"x\" is not a whole number");
    EXPECT_EQ(texts[1], "file.csv:2: column \"price\": \"nan\" is not a finite number");
    EXPECT_THAT(texts[49], HasSubstr("file.csv:26: "));
    try {
        problems.ThrowIfAny();
        FAIL() << "nothing was thrown";
    } catch (const InputError& error) {
        EXPECT_THAT(error.what(), HasSubstr("\nand 70 more"));
        EXPECT_EQ(error.Status(), StatusRefused);
    }
}

TEST(Problems, ComeByFileAndLine)
{
    Problems problems;
    problems.Add({"b.csv", 7, {}, {}, "seven"});
    problems.Add({"a.csv", 9, {}, {}, "nine"});
    problems.Add({"b.csv", 2, {}, {}, "two"});
    EXPECT_THAT(TextsOf(problems), ElementsAre("b.csv:2: two", "b.csv:7: seven", "a.csv:9: nine"));
}

TEST(Problems, ShowValuesWithoutTheirControlCharactersAndCutLongOnes)
{
    const Problem escaped{"a\x1B.csv", 1, "code", "x\x1B[31m", "is odd"};
    EXPECT_EQ(escaped.Text(), "a\\x1B.csv:1: column \"code\": \"x\\x1B[31m\" is odd");
    const Problem cut{"a.csv", 1, "code", std::string(1000, 'x'), "is long"};
    EXPECT_THAT(cut.Text(), HasSubstr("xxx...\" is long"));
    EXPECT_THAT(cut.Text(), Not(HasSubstr(std::string(100, 'x'))));
}

} // namespace
} // namespace test::RowsTest
