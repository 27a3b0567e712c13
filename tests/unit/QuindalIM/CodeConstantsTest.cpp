// The constants for codes in QuindalIM.h: each has the name, the number and the text that the library's tables have.
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "QuindalIM.h"
#include "Z9Ini.h"
#include "Z9Log.h"
#include "kv7errors.h"

namespace test::CodeConstantsTest {
namespace {

struct Constant
{
    std::int32_t value;
    std::string name;
    std::int32_t number;
    std::string text;
};

const std::vector<Constant>& Constants()
{
#define ROW(name, number, text) {name, #name, number, text},
    static const std::vector<Constant> rows{QUINDAL_IM_CODES(ROW)};
#undef ROW
    return rows;
}

/// Names of codes in the tables of the trading core and of the platform.
const std::map<std::int32_t, std::string>& NamesOfTheTables()
{
#define KV7_ERROR(value, name, text) {value, #name},
#define KV7_ERROR_NO_TEXT(value, name) {value, #name},
#define COMMON(name)                                                                                                   \
    {                                                                                                                  \
        static_cast<std::int32_t>(name), #name                                                                         \
    }
    static const std::map<std::int32_t, std::string> names{
#include "kv7errors.def"
        COMMON(Z9ERR_COMMON_WRONG_ARGUMENTS),  COMMON(Z9ERR_COMMON_INTERNAL_ERROR),
        COMMON(Z9ERR_COMMON_BUFFER_TOO_SMALL), COMMON(Z9ERR_COMMON_OVERFLOW),
        COMMON(Z9ERR_INI_CANNOT_OPEN),         COMMON(Z9ERR_LOG_CANNOT_OPEN),
        COMMON(Z9ERR_LOG_WRONG_PARAMETER),
    };
#undef COMMON
#undef KV7_ERROR_NO_TEXT
#undef KV7_ERROR
    return names;
}

/// The library's own codes lose the library's name, which stands in front already.
std::string ConstantOf(std::string_view tableName)
{
    constexpr std::string_view platform = "Z9ERR_";
    constexpr std::string_view own = "Z9ERR_QUINDAL_IM_";
    const bool isOwn = tableName.substr(0, own.size()) == own;
    return "QUINDAL_ERR_" + std::string(tableName.substr(isOwn ? own.size() : platform.size()));
}

TEST(CodeConstants, HaveTheNumbersAndTextsOfTheLibrary)
{
    for (const Constant& constant : Constants()) {
        EXPECT_EQ(constant.value, constant.number) << constant.name;
        EXPECT_STREQ(GetErrorCodeDescription(constant.number), constant.text.c_str()) << constant.name;
    }
}

TEST(CodeConstants, HaveTheNamesOfTheTables)
{
    ASSERT_EQ(Constants().front().name, "QUINDAL_OK");
    for (const Constant& constant : Constants()) {
        if (constant.value == QUINDAL_OK) continue;
        const auto row = NamesOfTheTables().find(constant.number);
        ASSERT_NE(row, NamesOfTheTables().end()) << constant.name << " stands in no table";
        EXPECT_EQ(constant.name, ConstantOf(row->second));
    }
}

TEST(CodeConstants, StandInAscendingOrder)
{
    for (std::size_t row = 1; row < Constants().size(); ++row)
        EXPECT_LT(Constants()[row - 1].number, Constants()[row].number);
}

TEST(Version, OfTheHeaderIsThatOfTheLibrary)
{
    const std::string version = std::to_string(QUINDAL_IM_VERSION_MAJOR) + "." +
                                std::to_string(QUINDAL_IM_VERSION_MINOR) + "." +
                                std::to_string(QUINDAL_IM_VERSION_PATCH);
    EXPECT_EQ(version, QUINDAL_IM_VERSION_TEXT);
    EXPECT_THAT(GetQuindalIMLibraryVersion(), testing::StartsWith(version + "."));
}

TEST(Version, MayBeAskedFor)
{
    EXPECT_TRUE(QUINDAL_IM_VERSION_AT_LEAST(9, 9, 64));
    EXPECT_TRUE(QUINDAL_IM_VERSION_AT_LEAST(9, 8, 99));
    EXPECT_TRUE(QUINDAL_IM_VERSION_AT_LEAST(8, 99, 99));
    EXPECT_FALSE(
        QUINDAL_IM_VERSION_AT_LEAST(QUINDAL_IM_VERSION_MAJOR, QUINDAL_IM_VERSION_MINOR, QUINDAL_IM_VERSION_PATCH + 1));
    EXPECT_FALSE(QUINDAL_IM_VERSION_AT_LEAST(9, 10, 0));
    EXPECT_FALSE(QUINDAL_IM_VERSION_AT_LEAST(10, 0, 0));
}

} // namespace
} // namespace test::CodeConstantsTest
