// The forms of texts on the link, each rule by itself.
#include "Z9MQWire.h"

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace test::Z9MQWireTest {
namespace {

using namespace z9::wire;
using std::string_literals::operator""s;

constexpr const char* kService = "kv7go_srv_60";

// A discovery reply with the parts that matter, in the spelling of the contract.
std::string InfoReply(const std::string& type, const std::string& name, const std::string& subject)
{
    return R"({"type":")" + type + R"(","name":")" + name +
           R"(","id":"i1","version":"1.0.0","metadata":{},"description":"","endpoints":[{"name":"im","subject":")" +
           subject + R"(","queue_group":"q","metadata":{}}]})";
}

TEST(StringProperty, EncodesExactlyTheBytesThatTheTransportWouldChange)
{
    struct Case
    {
        std::string text;
        std::string encoded;
        const char* why;
    };
    const Case cases[] = {
        {"USER01", "USER01", "plain ASCII stands as it is"},
        {"", "%00", "an empty value would lose the property behind it"},
        {"a b", "a%20b", "blanks are trimmed"},
        {"100%", "100%25", "the escape character itself"},
        {"\r\n\t", "%0D%0A%09", "line breaks are rewritten"},
        {"\x7f", "%7F", "the first byte above visible ASCII"},
        {"~!", "~!", "0x7E and 0x21 are the last and the first that stand"},
        {"\xD0\x96\xC3\xA9", "%D0%96%C3%A9", "UTF-8, byte by byte, upper-case digits"},
        {"a:b=c;\"'", "a:b=c;\"'", "punctuation needs nothing"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(EncodeString(c.text), c.encoded) << c.why;
        EXPECT_EQ(DecodeString(c.encoded), c.text) << c.why;
    }
}

TEST(StringProperty, EveryByteButZeroComesBack)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = "x" + std::string(1, static_cast<char>(byte)) + "y";
        const std::string encoded = EncodeString(text);
        const bool stands = byte > 0x20 && byte < 0x7F && byte != '%';
        EXPECT_EQ(encoded.size(), stands ? 3u : 5u) << byte;
        EXPECT_EQ(DecodeString(encoded), text) << byte;
    }
}

TEST(StringProperty, DecoderRefusesEveryOtherSpelling)
{
    const std::vector<std::pair<std::string, const char*>> refused = {
        {"", "an empty value is never sent"},
        {"a b", "a bare blank"},
        {"a\tb", "a bare control byte"},
        {"\xC3\xA9", "bare UTF-8"},
        {"\x7f", "a bare 0x7F"},
        {"%", "an escape without digits"},
        {"a%2", "an escape with one digit"},
        {"%2g", "no hexadecimal digit"},
        {"%0d", "lower-case digits"},
        {"%c3", "lower-case digits"},
        {"%41", "an escape of a byte that stands bare"},
        {"%7E", "an escape of the last byte that stands bare"},
        {"a%00", "a zero byte inside a text"},
        {"%00%00", "the sign of the empty text, twice"},
        {"%%20", "an escape in an escape"},
        {"%+1", "a sign is no digit"},
    };
    for (const auto& [encoded, why] : refused)
        EXPECT_EQ(DecodeString(encoded), std::nullopt) << why;
}

TEST(NumberProperty, IsOneToTenDigitsUpToTheLargestUint32)
{
    EXPECT_EQ(EncodeUInt32(0), "0");
    EXPECT_EQ(EncodeUInt32(4294967295u), "4294967295");
    EXPECT_EQ(DecodeUInt32("0"), 0u);
    EXPECT_EQ(DecodeUInt32("106"), 106u);
    EXPECT_EQ(DecodeUInt32("0000000106"), 106u);
    EXPECT_EQ(DecodeUInt32("4294967295"), 4294967295u);
    for (const char* refused :
         {"", "4294967296", "9999999999", "00000000106", "-1", "+1", " 1", "1 ", "1.0", "0x1", "1a"})
        EXPECT_EQ(DecodeUInt32(refused), std::nullopt) << '"' << refused << '"';
}

TEST(ErrorBody, IsTheNumberLowestByteFirst)
{
    EXPECT_EQ(EncodeErrorBody(0x6001), "\x01\x60\x00\x00"s);
    EXPECT_EQ(EncodeErrorBody(0x89ABCDEF), "\xEF\xCD\xAB\x89"s);
}

TEST(Address, IsWordsJoinedBySingleDots)
{
    for (const char* good : {"z9.svc.kv7go_srv_60", "a", "A-b.C_d.9"})
        EXPECT_TRUE(IsAddress(good)) << good;
    for (const char* bad :
         {"", ".", "a.", ".a", "a..b", "a b", "a.*", "a.>", "$SRV.INFO.x", "a\r\n", "z9.svc.\xC3\xA9"})
        EXPECT_FALSE(IsAddress(bad)) << '"' << bad << '"';
    EXPECT_FALSE(IsAddress("a\0b"s));
}

TEST(Address, HasAtMost255Bytes)
{
    EXPECT_TRUE(IsAddress(std::string(255, 'a')));
    EXPECT_FALSE(IsAddress(std::string(256, 'a')));
}

TEST(ServiceName, IsOneWordOfAtMost64Bytes)
{
    EXPECT_TRUE(IsServiceName(kService));
    EXPECT_TRUE(IsServiceName(std::string(64, 'x')));
    EXPECT_FALSE(IsServiceName(std::string(65, 'x')));
    for (const char* bad : {"", "a.b", "a b", "*", ">"})
        EXPECT_FALSE(IsServiceName(bad)) << bad;
}

TEST(PropertyName, IsVisibleAsciiWithoutAColon)
{
    for (const char* good : {"Z9_Type", "snappy_decompressedSize", "x", "!~"})
        EXPECT_TRUE(IsPropertyName(good)) << good;
    for (const char* bad : {"", "a:b", "a b", "a\r\nb", "\x7f", "\xC3\xA9"})
        EXPECT_FALSE(IsPropertyName(bad)) << bad;
}

TEST(Discovery, AsksUnderTheNameOfTheService) { EXPECT_EQ(DiscoverySubject(kService), "$SRV.INFO.kv7go_srv_60"); }

TEST(Discovery, TakesTheFirstEndpointOfAFittingReply)
{
    const std::string type = "io.nats.micro.v1.info_response";
    EXPECT_EQ(AddressInDiscoveryReply(InfoReply(type, kService, "z9.svc.kv7go_srv_60"), kService),
              "z9.svc.kv7go_srv_60");
}

TEST(Discovery, ReadsSpacedTextWithFurtherKeys)
{
    const char* const reply =
        "{ \"extra\" : [1, {\"a\": null}],\n \"name\" : \"kv7go_srv_60\", \"endpoints\" : [\n"
        " { \"load\": 0.5, \"subject\" : \"z9.svc.first\" }, { \"subject\" : \"z9.svc.second\" } ],\r\n"
        " \"type\" : \"io.nats.micro.v1.info_response\" }\n";
    EXPECT_EQ(AddressInDiscoveryReply(reply, kService), "z9.svc.first");
}

TEST(Discovery, PassesOverRepliesThatDoNotFit)
{
    const std::string info = "io.nats.micro.v1.info_response";
    const std::pair<std::string, const char*> passed[] = {
        {InfoReply("io.nats.micro.v1.ping_response", kService, "z9.svc.a"), "another type"},
        {InfoReply(info, "kv7go_srv_61", "z9.svc.a"), "another service"},
        {InfoReply(info, "KV7GO_SRV_60", "z9.svc.a"), "names are case-sensitive"},
        {InfoReply(info, kService, "z9 svc"), "an address with a blank"},
        {InfoReply(info, kService, ""), "an empty address"},
        {InfoReply(info, kService, std::string(256, 'a')), "an address that is too long"},
        {R"({"type":"io.nats.micro.v1.info_response","name":"kv7go_srv_60","endpoints":[]})", "no endpoint"},
        {R"({"type":"io.nats.micro.v1.info_response","name":"kv7go_srv_60"})", "no endpoints at all"},
        {R"({"type":"io.nats.micro.v1.info_response","name":"kv7go_srv_60","endpoints":[7]})", "no object"},
        {R"({"type":"io.nats.micro.v1.info_response","name":"kv7go_srv_60","endpoints":[{"subject":7}]})", "no text"},
        {R"({"type":7,"name":"kv7go_srv_60","endpoints":[{"subject":"a"}]})", "a type that is no text"},
        {"", "nothing"},
        {"[]", "no object"},
        {"{\"type\":", "cut short"},
        {"\xff\xfe", "no JSON"},
    };
    for (const auto& [reply, why] : passed)
        EXPECT_EQ(AddressInDiscoveryReply(reply, kService), std::nullopt) << why;
}

TEST(Discovery, SurvivesBracketsNestedByTheHundredThousand)
{
    EXPECT_EQ(AddressInDiscoveryReply(std::string(200'000, '['), kService), std::nullopt);
    EXPECT_EQ(AddressInDiscoveryReply(std::string(100'000, '[') + std::string(100'000, ']'), kService), std::nullopt);
}

TEST(ConnectionString, UserEndsAtTheFirstSemicolonAndThePasswordIsTheRest)
{
    const auto credentials = ParseConnectionString("USERNAME=USER01;PASSWORD=a;PASSWORD=b; \"c\\");
    ASSERT_TRUE(credentials);
    EXPECT_EQ(credentials->user, "USER01");
    EXPECT_EQ(credentials->password, "a;PASSWORD=b; \"c\\");
}

TEST(ConnectionString, PasswordMayBeEmpty)
{
    const auto credentials = ParseConnectionString("USERNAME=a-B_9;PASSWORD=");
    ASSERT_TRUE(credentials);
    EXPECT_EQ(credentials->user, "a-B_9");
    EXPECT_EQ(credentials->password, "");
}

TEST(ConnectionString, OtherFormsAreRefused)
{
    for (const char* bad : {"", "USERNAME=", "USERNAME=a", "USERNAME=a;", "USERNAME=a;PASSWORD", "USERNAME=;PASSWORD=p",
                            "USERNAME=a b;PASSWORD=p", "USERNAME=a.b;PASSWORD=p", "USERNAME=a;;PASSWORD=p",
                            "USERNAME=\xC3\xA9;PASSWORD=p", "username=a;password=p", " USERNAME=a;PASSWORD=p",
                            "PASSWORD=p;USERNAME=a", "USERNAME=*;PASSWORD=p"})
        EXPECT_FALSE(ParseConnectionString(bad)) << '"' << bad << '"';
}

TEST(JsonText, ReadsBackAsWhatItWas)
{
    std::string text = "a\"b\\c;/\xC3\xA9\x7f";
    for (char control = 1; control < 0x20; ++control)
        text += control;
    const nlohmann::json read = nlohmann::json::parse("\"" + EscapeForJson(text) + "\"");
    EXPECT_EQ(read.get<std::string>(), text);
    EXPECT_EQ(EscapeForJson("\"\\\x1f"), "\\\"\\\\\\u001F");
    EXPECT_EQ(EscapeForJson("secret1"), "secret1");
}

TEST(Greeting, TellsWhetherAPasswordIsAskedAndWhatFits)
{
    const auto greeting =
        ParseGreeting("INFO {\"server_id\":\"X\", \"auth_required\" : true,\"max_payload\":67108864}\r\n");
    ASSERT_TRUE(greeting);
    EXPECT_TRUE(greeting->authRequired);
    EXPECT_EQ(greeting->maxPayload, 67108864);
}

TEST(Greeting, WithoutAWordOnPasswordsAsksForNone)
{
    const auto greeting = ParseGreeting("INFO {}");
    ASSERT_TRUE(greeting);
    EXPECT_FALSE(greeting->authRequired);
    EXPECT_EQ(greeting->maxPayload, 1048576); // what a router takes that is not told otherwise
}

TEST(Greeting, OtherLinesAreNone)
{
    for (const char* bad : {"", "INFO", "INFO ", "info {}", "INFO []", "INFO {", "HTTP/1.1 400 Bad Request", "+OK"})
        EXPECT_FALSE(ParseGreeting(bad)) << '"' << bad << '"';
}

TEST(Greeting, SaysWhetherTlsIsDemanded)
{
    const struct
    {
        const char* line;
        bool demanded;
    } cases[] = {
        {R"(INFO {"tls_required":true})", true},
        {R"(INFO {"tls_required":false})", false},
        {R"(INFO {"tls_available":true})", false},
        {R"(INFO {"tls_required":"true"})", false},
    };
    for (const auto& [line, demanded] : cases) {
        const auto greeting = ParseGreeting(line);
        ASSERT_TRUE(greeting) << line;
        EXPECT_EQ(greeting->tlsRequired, demanded) << line;
    }
}

TEST(Secrets, AreOverwrittenWithAllThatTheirMemoryHeld)
{
    for (const std::string word : {"short", "a password that is too long to stand in the object itself"}) {
        std::string text = word;
        text.resize(word.size() - 2); // what was cut off is still there
        const std::string_view memory(text.data(), text.capacity());
        ASSERT_EQ(memory.substr(0, text.size()), text);
        {
            const z9::Wiped wiped(text);
        }
        EXPECT_TRUE(text.empty());
        EXPECT_EQ(memory, std::string(memory.size(), '\0')) << word;
    }
}

TEST(Secrets, OfALoginGoWithIt)
{
    alignas(Credentials) std::array<char, sizeof(Credentials)> place{};
    auto* const credentials = std::construct_at(reinterpret_cast<Credentials*>(place.data()), "USER01", "secret1");
    Credentials moved(std::move(*credentials));
    EXPECT_EQ(moved.password, "secret1");
    std::destroy_at(credentials);
    EXPECT_EQ(std::string(place.data(), place.size()).find("secret1"), std::string::npos) << "what was moved from";
}

} // namespace
} // namespace test::Z9MQWireTest
