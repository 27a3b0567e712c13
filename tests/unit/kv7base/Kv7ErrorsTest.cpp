#include "kv7errors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace test::Kv7ErrorsTest {
namespace {

struct Row
{
    Z9ERR code;
    Z9ERR named; // what the name stands for
    const char* text;
};

const std::vector<Row> catalogue = {
#define CODE_TEXT(code, name, text) {code, name, text},
#include "CodeTexts.inc"
#undef CODE_TEXT
};

const char* UnknownText() { return Z9ErrGetDescrStr(0xFFFFFFFEu); }

TEST(ErrorTexts, ACodeOfTheFrameGivesItsOwnText)
{
    EXPECT_STREQ(Kv7ErrGetDescrStr(94808), "QuindalIM common error");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94811), "QuindalIM wrong arguments");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94995), "Instruments already loaded. Please call ClearAll()");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94212), "Settlement Account GO not enough");
}

TEST(ErrorTexts, BothEndsOfTheSpanAnswer)
{
    EXPECT_STREQ(Kv7ErrGetDescrStr(94209), "Common ZNT error");
    EXPECT_STREQ(Kv7ErrGetDescrStr(95042), "Broker premium option short sell prohibited");
    EXPECT_EQ(Kv7ErrGetDescrStr(94208), Z9ErrGetDescrStr(94208));
    EXPECT_EQ(Kv7ErrGetDescrStr(95043), Z9ErrGetDescrStr(95043));
}

TEST(ErrorTexts, EveryCodeHasItsNameAndItsTextToTheLetter)
{
    EXPECT_EQ(catalogue.size(), 366u);
    for (const Row& row : catalogue) {
        EXPECT_EQ(row.named, row.code) << row.text;
        EXPECT_STREQ(Kv7ErrGetDescrStr(row.code), row.text) << row.code;
    }
}

TEST(ErrorTexts, AGapInTheNumberingIsDescribedByThePlatform)
{
    EXPECT_EQ(Kv7ErrGetDescrStr(94214), UnknownText());
    EXPECT_EQ(Kv7ErrGetDescrStr(95018), UnknownText());
}

TEST(ErrorTexts, DivisionByZeroHasNoTextOfItsOwnUnlikeItsNeighbours)
{
    EXPECT_EQ(Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO, 94534u);
    EXPECT_EQ(Kv7ErrGetDescrStr(94534), UnknownText());
    EXPECT_STREQ(Kv7ErrGetDescrStr(94533), "Unsupported RecordType");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94535), "Position not found");
}

TEST(ErrorTexts, SuccessAndForeignCodesGoToThePlatform)
{
    EXPECT_EQ(Kv7ErrGetDescrStr(0), Z9ErrGetDescrStr(0));
    EXPECT_NE(Kv7ErrGetDescrStr(0), UnknownText()) << "the platform knows success";
    EXPECT_EQ(Kv7ErrGetDescrStr(23), Z9ErrGetDescrStr(23));
    EXPECT_EQ(Kv7ErrGetDescrStr(static_cast<Z9ERR>(-1)), Z9ErrGetDescrStr(0xFFFFFFFFu))
        << "-1 is a code above the span";
}

TEST(ErrorTexts, TheWordingIsKeptToTheLastBlank)
{
    EXPECT_STREQ(Kv7ErrGetDescrStr(94909), "agent core timeout ");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94722), "CALCGO_API_ERROR_RISKPOINTSN_OUT_OF_RANGE");
    EXPECT_STREQ(Kv7ErrGetDescrStr(94779), "Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT");
}

TEST(ErrorTexts, SeveralCodesShareOneTextOnPurpose)
{
    for (const Z9ERR code : {94378u, 94510u, 94715u, 95027u})
        EXPECT_STREQ(Kv7ErrGetDescrStr(code), "Futures not found") << code;
    for (Z9ERR code = 94944; code <= 94948; ++code)
        EXPECT_STREQ(Kv7ErrGetDescrStr(code), "Incorrect synthetic matching chain configuration") << code;
}

TEST(ErrorTexts, OneCodeHasTheEmptyTextAndIsNotUnknown)
{
    EXPECT_STREQ(Kv7ErrGetDescrStr(94728), "");
    EXPECT_STREQ(Z9ErrGetDescrStr(94728), "") << "the empty text is registered like any other";
}

TEST(ErrorTexts, ThePlatformKnowsTheTextsSinceTheLibraryWasLoaded)
{
    for (const Row& row : catalogue)
        EXPECT_STREQ(Z9ErrGetDescrStr(row.code), row.text) << row.code;
}

TEST(ErrorTexts, NoOtherCodeOfTheTradingCoreHasAText)
{
    std::set<Z9ERR> described;
    for (const Row& row : catalogue)
        described.insert(row.code);
    EXPECT_EQ(described.size(), catalogue.size()) << "each code once";
    for (Z9ERR code = Z9ERR_CORE_BEGIN; code <= Z9ERR_CORE_END; ++code) {
        if (described.count(code) != 0) continue;
        EXPECT_EQ(Kv7ErrGetDescrStr(code), UnknownText()) << code;
        EXPECT_EQ(Z9ErrGetDescrStr(code), UnknownText()) << code;
    }
}

TEST(ErrorCodes, EachRangeHasFourThousandAndNinetySixCodes)
{
    EXPECT_EQ(Z9ERR_RANGE_SIZE, 4096u);
    EXPECT_EQ(Z9ERR_CORE_BEGIN, 94208u);
    EXPECT_EQ(Z9ERR_CORE_END, 98303u); // 94208 + 4095
    EXPECT_EQ(Z9ERR_INI_BEGIN, 16384u);
    EXPECT_EQ(Z9ERR_USER_DEFINED_END, 0x90FFFu);
}

TEST(ErrorCodes, NamesStandForTheirNumbers)
{
    EXPECT_EQ(Z9ERR_OK, 0u);
    EXPECT_EQ(Z9ERR_COMMON_INTERNAL_ERROR, 3u);
    EXPECT_EQ(Z9ERR_COMMON_WRONG_INI_PARAMETER, 23u);
    EXPECT_EQ(Z9ERR_COMMON_LAST, 35u);
    EXPECT_EQ(Z9ERR_QUINDAL_IM_NOT_INITIALIZED, 94821u);
    EXPECT_EQ(Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST, 94791u);
    EXPECT_EQ(Z9ERR_LAST_ERROR, 95043u);
}

} // namespace
} // namespace test::Kv7ErrorsTest
