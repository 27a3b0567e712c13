// The forms that texts take on the link: properties, addresses, discovery replies, the router's greeting. Pure
// functions without network or state; std::nullopt says "not of this form". They throw std::bad_alloc only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Z9Err.h"
#include "Z9Internal.h"

namespace z9::wire {

inline constexpr std::size_t kMaxAddressBytes = 255;
inline constexpr std::size_t kMaxServiceNameBytes = 64;
inline constexpr std::size_t kMaxHeaderBlockBytes = 4096; // all properties of a message, their frame included
inline constexpr std::size_t kHeaderFrameBytes = 12;      // "NATS/1.0", the empty line at the end, two line breaks
inline constexpr std::size_t kPropertyFrameBytes = 4;     // ": " and the line break of one property

// Encodes a string property. Bytes up to 0x20, from 0x7F on and '%' become %XX in upper case: the transport trims
// blanks, rewrites line breaks and loses the property after an empty one, so the empty text becomes "%00".
[[nodiscard]] std::string EncodeString(std::string_view text);

// Decodes exactly what EncodeString makes of a zero-terminated text. Refused are an escape of a byte that needs none, a
// lower-case digit, a bare byte that needs an escape, a zero byte inside a text, and an empty value.
[[nodiscard]] std::optional<std::string> DecodeString(std::string_view encoded);

// A uint32 property: one to ten decimal digits, at most 4294967295. No sign, no blanks; leading zeros are read.
[[nodiscard]] std::string EncodeUInt32(uint32_t value);
[[nodiscard]] std::optional<uint32_t> DecodeUInt32(std::string_view encoded) noexcept;

// Body of a message about a failed request: the code, 4 bytes, lowest first.
[[nodiscard]] std::string EncodeErrorBody(Z9ERR code);

// True for words of [A-Za-z0-9_-] joined by single dots, at most 255 bytes. Checked before use: the router drops a
// whole connection over a blank in a subject.
[[nodiscard]] bool IsAddress(std::string_view text) noexcept;
[[nodiscard]] bool IsServiceName(std::string_view text) noexcept; // [A-Za-z0-9_-]{1,64}
[[nodiscard]] bool IsUserName(std::string_view text) noexcept;    // [A-Za-z0-9_-]+
// True for visible ASCII without the colon that ends a name.
[[nodiscard]] bool IsPropertyName(std::string_view text) noexcept;

// Subject on which the instances of a service are asked.
[[nodiscard]] std::string DiscoverySubject(std::string_view service);
// Address of the first endpoint in a discovery reply; nullopt for a reply of another type, for another service, or
// without an address that may be used.
[[nodiscard]] std::optional<std::string> AddressInDiscoveryReply(std::string_view json, std::string_view service);

// Always true: what was the password is overwritten before its memory is given back.
struct Credentials
{
    Credentials(std::string_view who, std::string_view word) : user(who), password(word) {}
    ~Credentials() { Wipe(password); }
    Credentials(Credentials&&) noexcept = default;
    Credentials& operator=(Credentials&&) = delete;

    std::string user;
    std::string password;
};

// Takes "USERNAME=" user ";PASSWORD=" password apart. The user ends at the first ';'; the password is the rest, further
// ';' included, and may be empty.
[[nodiscard]] std::optional<Credentials> ParseConnectionString(std::string_view text);

// Escapes a text for the inside of a JSON string. The C client pastes credentials into its CONNECT line unescaped:
// without this a quote in a password ends the password, and the rest is read as further settings. The result stays in
// the one piece of memory that it was begun in, so that it can be wiped.
[[nodiscard]] std::string EscapeForJson(std::string_view text);

// The router's description of itself before any login.
struct Greeting
{
    bool authRequired = false;    // false when the router says nothing of it
    bool tlsRequired = false;     // false when the router says nothing of it
    int64_t maxPayload = 1 << 20; // bytes of properties and body together; a router that says nothing takes 1 MiB
};

// Reads the first line of a router: "INFO " and a JSON object, with or without its line break.
[[nodiscard]] std::optional<Greeting> ParseGreeting(std::string_view line);

} // namespace z9::wire
