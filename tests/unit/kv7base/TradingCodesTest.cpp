#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unordered_map>

#include "TradingCodes.h"
#include "except.h"

namespace test::TradingCodesTest {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

/// Text of the failure of an action, which must carry Z9ERR_COMMON_WRONG_ARGUMENTS; empty when it does not fail.
std::string RefusalOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const kv7base::CZ9Error& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
        return e.what();
    }
    return {};
}

template <class Code>
std::string RefusalOfText(const char* text)
{
    return RefusalOf([text] { (void)CodeParser<Code>(text).Parse(); });
}

TEST(TradingCodes, CodesOfEveryAllowedLengthAreRead)
{
    EXPECT_STREQ(ClearingBrokerCode::Parse("AA").c_str(), "AA");
    EXPECT_STREQ(BrokerCode::Parse("AA").c_str(), "AA");
    EXPECT_STREQ(BrokerCode::Parse("AA01").c_str(), "AA01");
    EXPECT_STREQ(ClientCode::Parse("AA").c_str(), "AA");
    EXPECT_STREQ(ClientCode::Parse("AA01").c_str(), "AA01");
    EXPECT_STREQ(ClientCode::Parse("AA01xyz").c_str(), "AA01xyz");
    EXPECT_STREQ(ClientCode::Parse(std::string("AA01xyz")).c_str(), "AA01xyz");
}

TEST(TradingCodes, AnEmptyTextHasAWrongLength)
{
    EXPECT_THAT(RefusalOfText<BrokerCode>(""), HasSubstr("Invalid code length: 0, from source: ''"));
    EXPECT_THAT(RefusalOfText<ClientCode>(""), HasSubstr("Invalid code length: 0, from source: ''"));
}

TEST(TradingCodes, LengthsBetweenTheAllowedOnesAreRefused)
{
    EXPECT_THAT(RefusalOfText<BrokerCode>("A"), HasSubstr("Invalid code length: 1, from source: 'A'"));
    EXPECT_THAT(RefusalOfText<BrokerCode>("AA0"), HasSubstr("Invalid code length: 3, from source: 'AA0'"));
    for (const char* text : {"A", "AAA", "AA000", "AA0000"})
        EXPECT_THAT(RefusalOfText<ClientCode>(text),
                    HasSubstr("Invalid code length: " + std::to_string(std::string(text).size()) + ", from source: '" +
                              text + "'"));
    EXPECT_THAT(RefusalOfText<ClearingBrokerCode>("A"), HasSubstr("Invalid code length: 1, from source: 'A'"));
}

TEST(TradingCodes, ALongerTextMissesItsZeroAndNotItsLength)
{
    EXPECT_THAT(RefusalOfText<ClearingBrokerCode>("AAA"),
                HasSubstr("Invalid code, missed zero at 2 pos in source: 'AAA'"));
    EXPECT_THAT(RefusalOfText<BrokerCode>("AA000"), HasSubstr("Invalid code, missed zero at 4 pos in source: 'AA000'"));
    EXPECT_THAT(RefusalOfText<ClientCode>("AA000001"),
                HasSubstr("Invalid code, missed zero at 7 pos in source: 'AA000001'"));
    EXPECT_THAT(RefusalOfText<ClientCode>("AA00000 and a very long tail"), HasSubstr("missed zero at 7 pos"));
}

TEST(TradingCodes, TheSizeCountsTheBufferWithItsZero)
{
    // Five bytes, four characters and the zero: the shortest buffer of a full code.
    EXPECT_STREQ(CodeParser<BrokerCode>("AA01", 5).Parse().c_str(), "AA01");
    // Four bytes without a zero among them: reading stops at the last byte.
    EXPECT_THAT(RefusalOf([] { (void)CodeParser<BrokerCode>("AA01", 4).Parse(); }),
                HasSubstr("Invalid code, missed zero at 3 pos in source: 'AA01'"));
    EXPECT_STREQ(CodeParser<BrokerCode>("AA\0xxxxx", 9).Parse().c_str(), "AA") << "what follows a zero is not read";
    // The source is shown no further than its size.
    EXPECT_THAT(RefusalOf([] { (void)CodeParser<BrokerCode>("AA01234567", 6).Parse(); }),
                HasSubstr("Invalid code, missed zero at 4 pos in source: 'AA0123'"));
}

TEST(TradingCodes, ABufferOfOneByteIsTooShort)
{
    EXPECT_THAT(RefusalOf([] { (void)CodeParser<BrokerCode>("", 1).Parse(); }),
                HasSubstr("Invalid code source length: 1"));
    EXPECT_THAT(RefusalOf([] { (void)CodeParser<ClientCode>("", 0).Parse(); }),
                HasSubstr("Invalid code source length: 0"));
    // A string is a buffer of its characters and a zero.
    EXPECT_THAT(RefusalOf([] { (void)CodeParser<ClientCode>(std::string()).Parse(); }),
                HasSubstr("Invalid code source length: 1"));
}

TEST(TradingCodes, CharactersPassAsTheyCome)
{
    EXPECT_STREQ(ClientCode::Parse("a?\xC3\xA9 -%").c_str(), "a?\xC3\xA9 -%");
    EXPECT_FALSE(BrokerCode::Parse("aa01") == BrokerCode::Parse("AA01"));
}

TEST(TradingCodes, TryParseIsEmptyWhereParseThrows)
{
    EXPECT_FALSE(ClientCode::TryParse("AA0").has_value());
    EXPECT_FALSE(ClientCode::CanParse("AA000001"));
    EXPECT_FALSE(BrokerCode::CanParse(""));
    EXPECT_FALSE(ClearingBrokerCode::CanParse("AAAA"));
    ASSERT_TRUE(ClientCode::TryParse("AA00001").has_value());
    EXPECT_STREQ(ClientCode::TryParse("AA00001")->c_str(), "AA00001");
    EXPECT_TRUE(BrokerCode::TryParse("AA00").has_value());
    EXPECT_TRUE(ClearingBrokerCode::TryParse("AA").has_value());
}

TEST(TradingCodes, AllowedLengthsAreThoseOfTheTree)
{
    for (std::size_t length = 0; length < 200; ++length) {
        EXPECT_EQ(ClearingBrokerCode::IsLengthAllowed(length), length == 2) << length;
        EXPECT_EQ(BrokerCode::IsLengthAllowed(length), length == 2 || length == 4) << length;
        EXPECT_EQ(ClientCode::IsLengthAllowed(length), length == 2 || length == 4 || length == 7) << length;
    }
}

TEST(TradingCodes, IntegersAreTheBytesReadLittleEndian)
{
    // 'A' is 0x41, 'B' 0x42, '0' 0x30, '1' 0x31, 'x' 0x78, 'y' 0x79, 'z' 0x7A.
    EXPECT_EQ(ClearingBrokerCode::Parse("AB").ToInteger(), 0x4241);
    EXPECT_EQ(BrokerCode::Parse("AB01").ToInteger(), 0x31304241);
    EXPECT_EQ(BrokerCode::Parse("AB").ToInteger(), 0x4241);
    const ClientCode client = ClientCode::Parse("AB01xyz");
    EXPECT_EQ(client.ToInt64(), 0x007A797831304241);
    EXPECT_EQ(client.GetClientOnlyCodeAsInt(), 0x007A7978);
    EXPECT_EQ(client.GetRFCodeAsUINT16(), 0x4241);
    EXPECT_EQ(client.BothCodes().BrokerCode, 0x31304241);
    EXPECT_STREQ(client.BothCodes().ShortClientCode, "xyz");
    EXPECT_EQ(ClientCode::StringToInteger("AB01xyz"), client.ToInt64());
    EXPECT_EQ(ClientCode::MakeLongLong(0x31304241, 0x007A7978), client.ToInt64());
    EXPECT_EQ(ClientCode().ToInt64(), 0);
}

TEST(TradingCodes, TheTreeIsReadOutOfTheCode)
{
    const ClientCode client = ClientCode::Parse("AB01xyz");
    EXPECT_EQ(client.GetBrokerCode(), BrokerCode::Parse("AB01"));
    EXPECT_EQ(client.GetClearingBrokerCode(), ClearingBrokerCode::Parse("AB"));
    EXPECT_STREQ(client.GetClientOnlyCode(), "xyz");
    EXPECT_EQ(client.ExtractRFCode(), "AB");
    EXPECT_EQ(client.GetBrokerCode().ExtractRFCode(), "AB");
    EXPECT_EQ(client.GetBrokerCode().GetClearingBrokerCode(), ClearingBrokerCode::Parse("AB"));
    EXPECT_EQ(ClearingBrokerCode::Parse("AB").ConstructBrokerCode("01"), BrokerCode::Parse("AB01"));
    EXPECT_EQ(ClearingBrokerCode::Parse("AB").ConstructBrokerCode("0123"), BrokerCode::Parse("AB01"));
    EXPECT_EQ(ClientCode::Parse("AB").GetBrokerCode(), BrokerCode::Parse("AB"));
}

TEST(TradingCodes, CodesGoIntoRecordsAndBack)
{
    char text[5] = {'#', '#', '#', '#', '#'};
    BrokerCode::Parse("AB").CopyTo(text);
    EXPECT_STREQ(text, "AB");
    t_code code = {'#', '#', '#', '#', '#', '#', '#', '#'};
    BrokerCode::Parse("AB01").CopyToTradingCode(code);
    EXPECT_STREQ(code, "AB01");
    EXPECT_EQ(code[7], '\0');
    const t_code record = "AB01xyz";
    EXPECT_EQ(ClientCode::FromTCode(record), ClientCode::Parse("AB01xyz"));
    EXPECT_EQ(BrokerCode::FromStrFast("AB01xyz"), BrokerCode::Parse("AB01"));
}

TEST(TradingCodes, HashesAreTheIntegersThemselves)
{
    EXPECT_EQ(ClearingBrokerCodeHash()(ClearingBrokerCode::Parse("AB")), 0x4241U);
    EXPECT_EQ(BrokerCodeHash()(BrokerCode::Parse("AB01")), 0x31304241U);
    EXPECT_EQ(ShortClientCodeHash()(ClientCode::Parse("AB01xyz")), 0x007A7978U);
    // Bytes above 0x7F in the last place make the integer negative: it is widened with its sign.
    EXPECT_EQ(ClearingBrokerCodeHash()(ClearingBrokerCode::Parse("A\xFF")), 0xFFFFFFFFFFFFFF41U);
    EXPECT_EQ(BrokerCodeHash()(BrokerCode::Parse("AB0\x80")), 0xFFFFFFFF80304241U);
}

TEST(TradingCodes, WithinAFirmOnlyTheClientsOwnPartCounts)
{
    const ShortClientCodeEqual equal;
    EXPECT_TRUE(equal(ClientCode::Parse("AB01xyz"), ClientCode::Parse("CD02xyz")));
    EXPECT_FALSE(equal(ClientCode::Parse("AB01xyz"), ClientCode::Parse("AB01xya")));
    EXPECT_FALSE(ClientCode::Parse("AB01xyz") == ClientCode::Parse("CD02xyz"));

    std::unordered_map<ClientCode, int, ShortClientCodeHash, ShortClientCodeEqual> clients;
    clients[ClientCode::Parse("AB01xyz")] = 1;
    clients[ClientCode::Parse("AB01abc")] = 2;
    EXPECT_EQ(clients.size(), 2U);
    EXPECT_EQ(clients.at(ClientCode::Parse("AB01abc")), 2);
}

} // namespace
} // namespace test::TradingCodesTest
