// The forms of texts on the link: what is encoded decodes to itself, only encoded forms decode, and whatever comes from
// the router is of its form or of none.
#include <algorithm>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>
#include <nlohmann/json.hpp>

#include "Require.h"
#include "Z9MQWire.h"

namespace {

using namespace z9::wire;

void TryStringProperty(const std::string& bytes)
{
    const std::string text = bytes.c_str(); // properties are zero-terminated texts
    Require(DecodeString(EncodeString(text)) == text, "an encoded text decodes to itself");
    if (const auto decoded = DecodeString(bytes))
        Require(EncodeString(*decoded) == bytes, "nothing decodes but what encoding makes");
}

void TryNumberProperty(const std::string& bytes, std::uint32_t number)
{
    Require(DecodeUInt32(EncodeUInt32(number)) == number, "an encoded number decodes to itself");
    const auto decoded = DecodeUInt32(bytes);
    if (!decoded) return;
    Require(bytes.size() <= 10 && bytes.find_first_not_of("0123456789") == bytes.npos, "a number is digits");
    Require(std::stoull(bytes) == *decoded, "and they are its value");
}

void TryConnectionString(const std::string& bytes)
{
    const std::string text = "USERNAME=" + bytes;
    const auto credentials = ParseConnectionString(text);
    if (!credentials) return;
    Require(IsUserName(credentials->user), "a user has a user's name");
    Require("USERNAME=" + credentials->user + ";PASSWORD=" + credentials->password == text,
            "user and password are all of the text");
}

void TryJson(const std::string& bytes)
{
    if (const auto address = AddressInDiscoveryReply(bytes, "kv7go_srv_60"))
        Require(IsAddress(*address), "an address found may be used");
    static_cast<void>(ParseGreeting(bytes));
    static_cast<void>(ParseGreeting("INFO " + bytes));

    const std::string quoted = '"' + EscapeForJson(bytes) + '"';
    const auto read = nlohmann::json::parse(quoted, nullptr, /*allow_exceptions=*/false);
    if (!read.is_discarded()) // bytes that are no UTF-8 are no JSON text either
        Require(read.get<std::string>() == bytes, "an escaped text reads as itself");
    const bool isAscii = std::all_of(bytes.begin(), bytes.end(), [](char c) { return c >= 0; });
    Require(!isAscii || !read.is_discarded(), "every ASCII text can be escaped");
}

void TryAddress(const std::string& bytes)
{
    if (!IsAddress(bytes)) return;
    Require(bytes.size() <= kMaxAddressBytes && bytes.find_first_of(" \t\r\n*>") == bytes.npos,
            "an address has neither blanks nor wildcards");
    Require(EncodeString(bytes) == bytes, "an address needs no escape");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size); // takes numbers from the end
    const auto number = input.ConsumeIntegral<std::uint32_t>();
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    TryStringProperty(bytes);
    TryNumberProperty(bytes, number);
    TryConnectionString(bytes);
    TryJson(bytes);
    TryAddress(bytes);
    return 0;
}
