// Tables as spreadsheets, editors and programs write them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CsvTable.h"
#include "WrittenFiles.h"

namespace test::CsvTableTest {
namespace {

using namespace quindal;
using namespace quindal::test;
using testing::ElementsAre;
using testing::IsEmpty;

CsvTable GoodTable(const std::string& text)
{
    Problems problems;
    CsvTable table = ReadCsv(File(text), problems);
    EXPECT_THAT(TextsOf(problems), IsEmpty()) << text;
    return table;
}

std::string ProblemOf(const std::string& text)
{
    Problems problems;
    static_cast<void>(ReadCsv(File(text), problems));
    return problems.IsEmpty() ? "" : TextsOf(problems).front();
}

TEST(CsvTable, IsTheSameWhateverProgramWroteIt)
{
    const char* const texts[] = {
        "level,code,price\nclient,AA01001,1.5\n",
        "level,code,price\r\nclient,AA01001,1.5\r\n",
        "level,code,price\rclient,AA01001,1.5\r",
        "\xEF\xBB\xBFlevel,code,price\nclient,AA01001,1.5",
        "level;code;price\nclient;AA01001;1.5\n",
        "level\tcode\tprice\nclient\tAA01001\t1.5\n",
        "\xEF\xBB\xBF# a comment; with semicolons; in it\r\nlevel,code,price\r\nclient,AA01001,1.5\r\n",
        " level , code , price \n client , \"AA01001\" , 1.5 \n",
    };
    for (const char* const text : texts) {
        SCOPED_TRACE(text);
        const CsvTable table = GoodTable(text);
        EXPECT_THAT(table.header.cells, ElementsAre("level", "code", "price"));
        ASSERT_EQ(table.rows.size(), 1U);
        EXPECT_THAT(table.rows[0].cells, ElementsAre("client", "AA01001", "1.5"));
    }
}

TEST(CsvTable, KnowsTheLineThatEachRowBeginsOn)
{
    const CsvTable table = GoodTable("# one\n\nlevel,code\nfirm,\"a\nb\"\n\n# x\n,,\nfirm,AA02\n");
    EXPECT_EQ(table.header.line, 3U);
    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows[0].line, 4U);
    EXPECT_THAT(table.rows[0].cells, ElementsAre("firm", "a\nb"));
    EXPECT_EQ(table.rows[1].line, 9U);
}

TEST(CsvTable, PassesOverCommentsWhateverStandsInThem)
{
    const CsvTable table =
        GoodTable("a,b\n# it's a \"quoted word\n  # \"\n1,2\n\"# no comment\",3\n\"x\n# nor this\",4\n");
    ASSERT_EQ(table.rows.size(), 3U);
    EXPECT_THAT(table.rows[0].cells, ElementsAre("1", "2"));
    EXPECT_THAT(table.rows[1].cells, ElementsAre("# no comment", "3"));
    EXPECT_THAT(table.rows[2].cells, ElementsAre("x\n# nor this", "4"));
}

TEST(CsvTable, KeepsWhatIsQuoted)
{
    const CsvTable table = GoodTable("a;b\n\"1;2\";\"say \"\"no\"\"\"\n");
    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_THAT(table.rows[0].cells, ElementsAre("1;2", "say \"no\""));
}

TEST(CsvTable, SaysWhatIsNoTable)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "file.csv: has no header row"},
        {"\xEF\xBB\xBF", "file.csv: has no header row"},
        {"# nothing\n\n", "file.csv: has no header row"},
        {"a,b\n1,2\n3,\"4\n5,6\n", "file.csv:3: a quotation mark is not closed"},
        {"a,b\n1,2\n3,4\"5\n", "file.csv:3: a quotation mark stands inside a cell"},
        {"\xFF\xFE"
         "a\0,\0b\0",
         "file.csv:1: is UTF-16: save it as UTF-8"},
    };
    for (const auto& [text, problem] : cases)
        EXPECT_EQ(ProblemOf(text), problem) << text;
}

} // namespace
} // namespace test::CsvTableTest
