// The rules of the input files, and the page that shows them.
#include <fstream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Schema.h"
#include "WrittenFiles.h"

namespace test::SchemaTest {
namespace {

using namespace quindal;
using namespace quindal::test;
using testing::HasSubstr;

std::string ContentOf(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

TEST(Schema, ListsTheColumnsOnceEach)
{
    EXPECT_EQ(AccountsSchema.Columns(),
              "level,code,parent,margin_rule,calendar,inter_contract,exp_weight,exp_weight_client_default,clearings,"
              "no_discount,go_ratio,short_charge_ratio,risk_level,account_type");
    EXPECT_EQ(PositionsSchema.Columns(), "level,code,instrument,quantity,price,after_last_clearing");
    EXPECT_EQ(OrdersSchema.Columns(), "what_if,client,instrument,side,quantity,price");
    EXPECT_EQ(BasketSchema.Columns(), "instrument,side,ratio,price");
    EXPECT_EQ(UsersSchema.Columns(), "user,part_count,login_type,password");
}

// A rule that another one hides, or a default that its own rule would refuse, would be a promise that no reader keeps.
TEST(Schema, HasOneRuleForEachColumnAndKindOfRow)
{
    for (const Schema* const schema : {&AccountsSchema, &PositionsSchema, &OrdersSchema, &BasketSchema, &UsersSchema})
        for (const ColumnRule& rule : schema->rules) {
            SCOPED_TRACE(std::string(schema->file) + ' ' + std::string(rule.column));
            EXPECT_FALSE(rule.meaning.empty());
            EXPECT_LE(rule.least, rule.most == 0.0 ? 1e300 : rule.most);
            for (const unsigned kind : {AccountRows, FirmRows, ClientRows, RatioRows})
                if ((rule.rows & kind) != 0) {
                    EXPECT_EQ(schema->Find(rule.column, kind), &rule);
                }
            if (rule.isRequired) {
                EXPECT_TRUE(rule.fallback.empty());
            }
        }
}

TEST(Schema, IsWhatTheReferencePageShows)
{
    EXPECT_THAT(ContentOf(QUINDAL_DOCS "/input-files.md"), HasSubstr(InputFilesReference()))
        << "docs/input-files.md holds what \"quindal files\" prints";
}

TEST(Schema, TakesTheExamples)
{
    EXPECT_EQ(Accounts(ContentOf(QUINDAL_EXAMPLES "/accounts.csv")).rows.size(), 19U);
    EXPECT_GT(Positions(ContentOf(QUINDAL_EXAMPLES "/positions.csv")).rows.size(), 40U);
    EXPECT_EQ(Orders(ContentOf(QUINDAL_EXAMPLES "/orders.csv")).rows.size(), 15U);
}

} // namespace
} // namespace test::SchemaTest
