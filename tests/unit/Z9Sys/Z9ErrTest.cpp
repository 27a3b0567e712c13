// Texts of result codes.
#include "Z9Err.h"

#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Z9Ini.h"
#include "Z9Log.h"

namespace test::Z9ErrTest {
namespace {

// Codes of nobody's range, one block a test, since a registered text stays until the process ends.
constexpr Z9ERR kUnusedCode = 0x90F00;

const char* UnknownText() { return Z9ErrGetDescrStr(0xFFFFFFFFu); }

TEST(Z9ErrTest, EveryCommonCodeHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (Z9ERR code = 0; code <= 35; ++code) {
        const char* text = Z9ErrGetDescrStr(code);
        ASSERT_NE(text, nullptr);
        EXPECT_NE(text, UnknownText()) << "code " << code;
        EXPECT_FALSE(std::string(text).empty()) << "code " << code;
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 36u);
}

TEST(Z9ErrTest, ZeroIsSuccess) { EXPECT_STREQ(Z9ErrGetDescrStr(0), "Success"); }

TEST(Z9ErrTest, EveryCodeOfThePlatformRangesHasAText)
{
    for (const Z9ERR code :
         {Z9ERR_INI_ALREADY_OPENED, Z9ERR_INI_CANNOT_OPEN, Z9ERR_INI_NOT_OPENED, Z9ERR_INI_CANNOT_WRITE,
          Z9ERR_LOG_CANNOT_OPEN, Z9ERR_LOG_WRONG_PARAMETER, Z9ERR_LOG_NOT_OPENED, Z9ERR_MQ_TIMEOUT,
          Z9ERR_MQ_INVALID_CONNECTION, Z9ERR_MQ_INVALID_CONN_HANDLE, Z9ERR_MQ_NOT_CONNECTED_YET, Z9ERR_MQ_SOCK_ERROR,
          Z9ERR_MQ_NO_SERVICE, Z9ERR_MQCRYPT_ALREADY_LOGGED_IN, Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED,
          Z9ERR_MQCRYPT_LOGIN_ABORTED}) {
        EXPECT_NE(Z9ErrGetDescrStr(code), UnknownText()) << "code " << code;
    }
}

TEST(Z9ErrTest, OnePointerAnswersForEveryUnknownCode)
{
    ASSERT_NE(UnknownText(), nullptr);
    for (const Z9ERR code : {36u, 0x1000u, 0x3FFFu, 0x4004u, 0x5000u, 0x6000u, 95043u, 0x90000u, 0x80000000u}) {
        EXPECT_EQ(Z9ErrGetDescrStr(code), UnknownText()) << "code " << code;
    }
}

TEST(Z9ErrTest, ARegisteredTextIsCopiedAndItsPointerIsStable)
{
    const Z9ERR code = kUnusedCode;
    std::string text = "agent core timeout "; // the blank at its end belongs to it
    ASSERT_EQ(Z9ErrGetDescrStr(code), UnknownText());
    ASSERT_EQ(Z9ErrRegisterDescr(code, text.c_str()), 0u);
    text = "something else";

    const char* registered = Z9ErrGetDescrStr(code);
    EXPECT_STREQ(registered, "agent core timeout ");
    for (Z9ERR other = code + 1; other < code + 500; ++other) {
        ASSERT_EQ(Z9ErrRegisterDescr(other, "filler"), 0u);
    }
    EXPECT_EQ(Z9ErrGetDescrStr(code), registered);
}

TEST(Z9ErrTest, ACodeKeepsTheTextItHas)
{
    const Z9ERR code = kUnusedCode + 0x1000;
    ASSERT_EQ(Z9ErrRegisterDescr(code, "first"), 0u);
    EXPECT_EQ(Z9ErrRegisterDescr(code, "second"), 19u);
    EXPECT_EQ(Z9ErrRegisterDescr(code, "first"), 19u);
    EXPECT_STREQ(Z9ErrGetDescrStr(code), "first");

    const std::string timeout = Z9ErrGetDescrStr(25);
    EXPECT_EQ(Z9ErrRegisterDescr(25, "mine"), 19u);
    EXPECT_EQ(Z9ErrRegisterDescr(Z9ERR_MQ_TIMEOUT, "mine"), 19u);
    EXPECT_EQ(Z9ErrGetDescrStr(25), timeout);
}

TEST(Z9ErrTest, AnEmptyTextIsATextAndANullIsNone)
{
    const Z9ERR code = kUnusedCode + 0x2000;
    EXPECT_EQ(Z9ErrRegisterDescr(code, nullptr), 2u);
    EXPECT_EQ(Z9ErrGetDescrStr(code), UnknownText());
    EXPECT_EQ(Z9ErrRegisterDescr(code, ""), 0u);
    EXPECT_STREQ(Z9ErrGetDescrStr(code), "");
}

TEST(Z9ErrTest, ThreadsThatRegisterTheSameCodesAgreeOnOneWinner)
{
    constexpr Z9ERR kFirst = kUnusedCode + 0x3000;
    constexpr unsigned kCodes = 200;
    std::vector<unsigned> wins(4, 0);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < wins.size(); ++t) {
        threads.emplace_back([&wins, t] {
            const std::string text = "thread " + std::to_string(t);
            for (unsigned i = 0; i < kCodes; ++i) {
                if (Z9ErrRegisterDescr(kFirst + i, text.c_str()) == 0) ++wins[t];
                static_cast<void>(Z9ErrGetDescrStr(kFirst + (kCodes - 1 - i)));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wins[0] + wins[1] + wins[2] + wins[3], kCodes);
}

} // namespace
} // namespace test::Z9ErrTest
