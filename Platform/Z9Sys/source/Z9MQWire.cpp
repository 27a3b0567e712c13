#include "Z9MQWire.h"

#include <algorithm>
#include <array>
#include <charconv>
// nlohmann-json and not Boost's property tree: its parser keeps its own stack, so brackets nested by the million in a
// reply from outside cannot exhaust that of the caller's thread.
#include <nlohmann/json.hpp>

namespace z9::wire {

namespace {

constexpr std::string_view kEmptyText = "%00";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool NeedsEscape(unsigned char byte) noexcept { return byte <= 0x20 || byte >= 0x7F || byte == '%'; }

bool IsWordByte(char c) noexcept
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

bool IsWord(std::string_view text) noexcept
{
    return !text.empty() && std::all_of(text.begin(), text.end(), IsWordByte);
}

// The byte of two upper-case hexadecimal digits.
std::optional<unsigned char> DecodeHexByte(std::string_view digits) noexcept
{
    const std::size_t high = kHexDigits.find(digits[0]);
    const std::size_t low = kHexDigits.find(digits[1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    return static_cast<unsigned char>(high * 16 + low);
}

nlohmann::json ParseJson(std::string_view text)
{
    return nlohmann::json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
}

// The text under a key of an object; nullptr when it is missing or not a text.
const std::string* TextOf(const nlohmann::json& object, const char* key)
{
    if (!object.is_object()) return nullptr;
    const auto found = object.find(key);
    return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

// The truth value under a key of an object; false when it is missing or of another type.
bool IsTrue(const nlohmann::json& object, const char* key)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

} // namespace

std::string EncodeString(std::string_view text)
{
    if (text.empty()) return std::string(kEmptyText);
    std::string encoded;
    encoded.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (NeedsEscape(byte)) {
            encoded += '%';
            encoded += kHexDigits[byte / 16];
            encoded += kHexDigits[byte % 16];
        } else {
            encoded += c;
        }
    }
    return encoded;
}

std::optional<std::string> DecodeString(std::string_view encoded)
{
    if (encoded.empty()) return std::nullopt;
    if (encoded == kEmptyText) return std::string();
    std::string text;
    text.reserve(encoded.size());
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] != '%') {
            if (NeedsEscape(static_cast<unsigned char>(encoded[i]))) return std::nullopt;
            text += encoded[i];
            continue;
        }
        if (encoded.size() - i < 3) return std::nullopt;
        const auto byte = DecodeHexByte(encoded.substr(i + 1, 2));
        if (!byte || *byte == 0 || !NeedsEscape(*byte)) return std::nullopt;
        text += static_cast<char>(*byte);
        i += 2;
    }
    return text;
}

std::string EncodeUInt32(uint32_t value) { return std::to_string(value); }

std::optional<uint32_t> DecodeUInt32(std::string_view encoded) noexcept
{
    if (encoded.empty() || encoded.size() > 10) return std::nullopt;
    uint32_t value = 0;
    const char* const end = encoded.data() + encoded.size();
    const auto [stop, error] = std::from_chars(encoded.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::string EncodeErrorBody(Z9ERR code)
{
    std::string body;
    for (unsigned shift = 0; shift < 32; shift += 8)
        body += static_cast<char>((code >> shift) & 0xFFu);
    return body;
}

bool IsAddress(std::string_view text) noexcept
{
    if (text.size() > kMaxAddressBytes) return false;
    for (;;) {
        const std::size_t dot = text.find('.');
        if (!IsWord(text.substr(0, dot))) return false;
        if (dot == std::string_view::npos) return true;
        text.remove_prefix(dot + 1);
    }
}

bool IsServiceName(std::string_view text) noexcept { return IsWord(text) && text.size() <= kMaxServiceNameBytes; }

bool IsUserName(std::string_view text) noexcept { return IsWord(text); }

bool IsPropertyName(std::string_view text) noexcept
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7F && c != ':'; });
}

std::string DiscoverySubject(std::string_view service) { return "$SRV.INFO." + std::string(service); }

std::optional<std::string> AddressInDiscoveryReply(std::string_view json, std::string_view service)
{
    const nlohmann::json reply = ParseJson(json);
    const std::string* const type = TextOf(reply, "type");
    const std::string* const name = TextOf(reply, "name");
    if (type == nullptr || *type != "io.nats.micro.v1.info_response") return std::nullopt;
    if (name == nullptr || *name != service) return std::nullopt;

    const auto endpoints = reply.find("endpoints");
    if (endpoints == reply.end() || !endpoints->is_array() || endpoints->empty()) return std::nullopt;
    const std::string* const address = TextOf(endpoints->front(), "subject");
    if (address == nullptr || !IsAddress(*address)) return std::nullopt;
    return *address;
}

std::optional<Credentials> ParseConnectionString(std::string_view text)
{
    constexpr std::string_view kUserKey = "USERNAME=";
    constexpr std::string_view kPasswordKey = ";PASSWORD=";
    if (!text.starts_with(kUserKey)) return std::nullopt;
    text.remove_prefix(kUserKey.size());
    const std::string_view user = text.substr(0, text.find(';'));
    text.remove_prefix(user.size());
    if (!IsUserName(user) || !text.starts_with(kPasswordKey)) return std::nullopt;
    text.remove_prefix(kPasswordKey.size());
    return std::optional<Credentials>(std::in_place, user, text);
}

std::string EscapeForJson(std::string_view text)
{
    std::string escaped;
    escaped.reserve(text.size() * std::string_view("\\u001F").size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            escaped += '\\';
            escaped += c;
        } else if (byte < 0x20) {
            escaped += "\\u00";
            escaped += kHexDigits[byte / 16];
            escaped += kHexDigits[byte % 16];
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::optional<Greeting> ParseGreeting(std::string_view line)
{
    constexpr std::string_view kVerb = "INFO ";
    if (!line.starts_with(kVerb)) return std::nullopt;
    const nlohmann::json info = ParseJson(line.substr(kVerb.size()));
    if (!info.is_object()) return std::nullopt;

    Greeting greeting;
    greeting.authRequired = IsTrue(info, "auth_required");
    greeting.tlsRequired = IsTrue(info, "tls_required");
    if (const auto found = info.find("max_payload"); found != info.end() && found->is_number_integer())
        greeting.maxPayload = found->get<int64_t>();
    return greeting;
}

} // namespace z9::wire
