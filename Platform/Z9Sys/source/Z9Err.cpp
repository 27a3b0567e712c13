// Texts of result codes: the common range and the platform's own ranges are constant tables; everybody else's codes
// are registered, usually while their library is being loaded.
#include "Z9Err.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "Z9Ini.h"
#include "Z9Internal.h"
#include "Z9Log.h"

namespace {

constexpr char kUnknownText[] = "Unknown error";

// Texts by code.
constexpr std::array<const char*, 36> kCommonTexts = {
    "Success",
    "Not enough memory",
    "Wrong arguments",
    "Internal error",
    "System call failed",
    "Not implemented",
    "Object is not initialised",
    "Buffer is too small",
    "Buffer is too large",
    "Message was intercepted",
    "Interface version is not valid",
    "Malformed string",
    "Enumeration was cancelled",
    "Process ended on a fatal error",
    "Overflow",
    "Real size returned",
    "Not supported",
    "Already initialised",
    "Wrong build",
    "Already defined",
    "Process was terminated",
    "Operation failed",
    "Buffer sizes do not match",
    "Wrong parameter in the ini file",
    "Not initialised",
    "Timed out",
    "File mapping could not be opened",
    "Object is in a wrong state",
    "No free objects",
    "Object is busy",
    "Exit was requested",
    "End of data",
    "No such item",
    "Process asks to be restarted",
    "Duplicate",
    "End of the common codes",
};
static_assert(std::ranges::none_of(kCommonTexts, [](const char* text) { return text == nullptr; }));

struct CodeText
{
    Z9ERR code;
    const char* text;
};

constexpr CodeText kPlatformTexts[] = {
    {Z9ERR_INI_ALREADY_OPENED, "Default ini file is already open"},
    {Z9ERR_INI_CANNOT_OPEN, "Ini file cannot be opened"},
    {Z9ERR_INI_NOT_OPENED, "Default ini file is not open"},
    {Z9ERR_INI_CANNOT_WRITE, "Ini file cannot be written"},
    {Z9ERR_LOG_CANNOT_OPEN, "Log file cannot be opened"},
    {Z9ERR_LOG_WRONG_PARAMETER, "Wrong log parameter"},
    {Z9ERR_LOG_NOT_OPENED, "Log is not open"},
    {Z9ERR_MQ_TIMEOUT, "No message came in time"},
    {Z9ERR_MQ_INVALID_CONNECTION, "Connection is closed"},
    {Z9ERR_MQ_INVALID_CONN_HANDLE, "Not a connection handle"},
    {Z9ERR_MQ_NOT_CONNECTED_YET, "Not connected to the router"},
    {Z9ERR_MQ_SOCK_ERROR, "Network error"},
    {Z9ERR_MQ_NO_SERVICE, "Service is not available"},
    {Z9ERR_MQCRYPT_ALREADY_LOGGED_IN, "Already logged in"},
    {Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED, "Router does not ask for a login"},
    {Z9ERR_MQCRYPT_LOGIN_ABORTED, "Login was aborted"},
};

// Text of a code that belongs to the platform itself, null for all others.
const char* PlatformText(Z9ERR code) noexcept
{
    if (code < kCommonTexts.size()) return kCommonTexts[code];
    const auto* found = std::ranges::find(kPlatformTexts, code, &CodeText::code);
    return found == std::end(kPlatformTexts) ? nullptr : found->text;
}

// Texts of other libraries. A text is never changed or removed, so pointers to it stay good.
struct Registered
{
    std::shared_mutex guard;
    std::unordered_map<Z9ERR, const std::string> texts;
};

// Made at first use: other libraries register while they are being loaded, maybe before our own statics exist.
Registered& RegisteredTexts()
{
    static z9::Immortal<Registered> registered;
    return registered.Get();
}

} // namespace

const char* Z9ErrGetDescrStr(Z9ERR code)
{
    if (const char* text = PlatformText(code)) return text;
    try {
        Registered& registered = RegisteredTexts();
        const std::shared_lock lock(registered.guard);
        const auto found = registered.texts.find(code);
        return found == registered.texts.end() ? kUnknownText : found->second.c_str();
    } catch (...) {
        return kUnknownText;
    }
}

Z9ERR Z9ErrRegisterDescr(Z9ERR code, const char* text)
{
    if (text == nullptr) return z9::kWrongArguments;
    if (PlatformText(code) != nullptr) return z9::kAlreadyDefined;
    return z9::Guarded([&] {
        Registered& registered = RegisteredTexts();
        const std::unique_lock lock(registered.guard);
        return registered.texts.try_emplace(code, text).second ? z9::kOk : z9::kAlreadyDefined;
    });
}
