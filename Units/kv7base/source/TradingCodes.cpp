#include "TradingCodes.h"

#include "except.h"

namespace kv7base::detail {

CodeReading ReadCode(std::string_view buffer, std::size_t maxLength, bool (*isLengthAllowed)(std::size_t) noexcept,
                     char* text) noexcept
{
    const std::size_t size = buffer.size();
    if (size < 2) return {CodeReading::Verdict::SourceTooShort, size};
    const std::size_t limit = size >= maxLength + 2 ? maxLength : size - 1;

    // The size may be "unknown", so the text is read through its pointer and never past its zero.
    const char* const source = buffer.data();
    std::size_t length = 0;
    while (length < limit && source[length] != '\0') {
        text[length] = source[length];
        ++length;
    }
    if (source[length] != '\0') return {CodeReading::Verdict::MissedZero, length};
    return {isLengthAllowed(length) ? CodeReading::Verdict::Good : CodeReading::Verdict::WrongLength, length};
}

void ThrowBadCode(const CodeReading& reading, std::string_view buffer)
{
    CZ9Error error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION);
    const auto length = static_cast<unsigned>(reading.length);
    // An unknown size becomes a negative precision, which stands for none: the text ends at its zero.
    const int size = static_cast<int>(buffer.size());
    switch (reading.verdict) {
    case CodeReading::Verdict::SourceTooShort:
        throw error.Fmt("Invalid code source length: %P", buffer.size());
    case CodeReading::Verdict::MissedZero:
        throw error.Fmt("Invalid code, missed zero at %u pos in source: '%.*s'", length, size, buffer.data());
    default:
        throw error.Fmt("Invalid code length: %u, from source: '%.*s'", length, size, buffer.data());
    }
}

} // namespace kv7base::detail

using kv7base::detail::CopyCodeText;

ClearingBrokerCode ClearingBrokerCode::FromStrFast(const char* text) noexcept
{
    ClearingBrokerCode code;
    CopyCodeText(code.codeStorage_.CodeText, text, MaxLength);
    return code;
}

BrokerCode ClearingBrokerCode::ConstructBrokerCode(const char* suffix) const noexcept
{
    char text[BrokerCode::MaxLength + 1] = {};
    CopyCodeText(text, c_str(), MaxLength);
    CopyCodeText(text + MaxLength, suffix, BrokerCode::MaxLength - MaxLength);
    return BrokerCode::FromStrFast(text);
}

BrokerCode BrokerCode::FromStrFast(const char* text) noexcept
{
    BrokerCode code;
    CopyCodeText(code.codeStorage_.CodeText, text, MaxLength);
    return code;
}

void BrokerCode::CopyTo(char (&target)[5]) const noexcept { std::memcpy(target, c_str(), sizeof target); }

void BrokerCode::CopyToTradingCode(t_code& target) const noexcept { std::memcpy(target, c_str(), sizeof target); }

ClientCode ClientCode::FromTCode(const t_code& code) noexcept
{
    ClientCode client;
    CopyCodeText(client.codeStorage_.CodeText, code, MaxLength);
    return client;
}

std::int64_t ClientCode::StringToInteger(const char* text) noexcept
{
    t_code code = {};
    CopyCodeText(code, text, MaxLength);
    return FromTCode(code).ToInt64();
}

std::int64_t ClientCode::MakeLongLong(std::int32_t brokerCode, std::int32_t shortClientCode) noexcept
{
    const auto low = std::uint64_t{static_cast<std::uint32_t>(brokerCode)};
    const auto high = std::uint64_t{static_cast<std::uint32_t>(shortClientCode)};
    return static_cast<std::int64_t>(high << 32 | low);
}
