// Codes of participants. The account tree is written into them: a clearing firm has two characters, a firm four that
// begin with its clearing firm's two, a client seven that begin with its firm's four.
//
// Always true:  a code is one word, compared and hashed as an integer; bytes behind the text are zero. Texts stand
//               as they came: no case folding, no alphabet. The integers are the bytes read little-endian: equal texts
//               have equal integers, and their order means nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

/// Marks a value that is one word and travels by value.
template <class T>
struct CanBePassedByValueEffectively
{};

using t_code = char[8];       // seven characters and a zero, of the exchange's records
using t_clientcode = char[4]; // the client's own three characters and a zero

namespace kv7base::detail {

/// Result of reading a code's text.
struct CodeReading
{
    enum class Verdict
    {
        Good,
        SourceTooShort, // the buffer holds not even one character and a zero
        MissedZero,     // no zero behind the longest allowed text
        WrongLength,
    };
    Verdict verdict;
    std::size_t length; // characters before the place where reading stopped
};

/// Copies up to maxLength characters of the buffer into text (zeroed, maxLength + 1 bytes or more). The buffer ends in
/// a zero, and its size counts that zero; a size of npos is a zero-terminated text of unknown length.
[[nodiscard]] CodeReading ReadCode(std::string_view buffer, std::size_t maxLength,
                                   bool (*isLengthAllowed)(std::size_t) noexcept, char* text) noexcept;
/// Throws CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS) with the text for the reading's verdict.
[[noreturn]] void ThrowBadCode(const CodeReading& reading, std::string_view buffer);

/// Copies characters of a zero-terminated text into a zeroed field, at most maxLength of them; the source may be
/// longer.
inline void CopyCodeText(char* field, const char* text, std::size_t maxLength) noexcept
{
    for (std::size_t i = 0; i < maxLength && text[i] != '\0'; ++i)
        field[i] = text[i];
}

template <class Integer>
[[nodiscard]] Integer LoadInteger(const char* bytes) noexcept
{
    Integer value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace kv7base::detail

/// A text to be read into a code: a view of a character buffer, its terminating zero counted.
template <class T>
class CodeParser : public std::string_view
{
public:
    /// size counts the buffer with its terminating zero.
    constexpr CodeParser(const char* buffer, std::size_t size) noexcept : std::string_view(buffer, size) {}
    /// A zero-terminated text of unknown length.
    constexpr CodeParser(const char* text) noexcept : std::string_view(text, static_cast<std::size_t>(-1)) {}
    CodeParser(const std::string& text) noexcept : std::string_view(text.c_str(), text.size() + 1) {}

    /// Reads the code. Throws CZ9Error with Z9ERR_COMMON_WRONG_ARGUMENTS: "Invalid code source length: %P", "Invalid
    /// code, missed zero at %u pos in source: '%.*s'", "Invalid code length: %u, from source: '%.*s'".
    [[nodiscard]] T Parse() const
    {
        T code;
        const auto reading = Read(code);
        if (reading.verdict != Verdict::Good) kv7base::detail::ThrowBadCode(reading, *this);
        return code;
    }
    /// Reads the code; empty where Parse would throw.
    [[nodiscard]] std::optional<T> TryParse() const noexcept
    {
        T code;
        return Read(code).verdict == Verdict::Good ? std::optional<T>(code) : std::nullopt;
    }

private:
    using Verdict = kv7base::detail::CodeReading::Verdict;

    [[nodiscard]] kv7base::detail::CodeReading Read(T& code) const noexcept
    {
        return kv7base::detail::ReadCode(*this, T::MaxLength, &T::IsLengthAllowed, code.codeStorage_.CodeText);
    }
};

/// Two characters read as a signed 16-bit number.
struct ClearingBrokerCodeStorage
{
    alignas(std::int16_t) char CodeText[4] = {}; // text, zero-terminated
    [[nodiscard]] std::int16_t Code() const noexcept { return kv7base::detail::LoadInteger<std::int16_t>(CodeText); }
};

/// Up to four characters read as a signed 32-bit number.
struct BrokerCodeStorage
{
    alignas(8) char CodeText[8] = {};
    [[nodiscard]] std::int32_t Code() const noexcept { return kv7base::detail::LoadInteger<std::int32_t>(CodeText); }
};

/// Up to seven characters read as a signed 64-bit number, or as the firm's four and the client's own three.
struct ClientCodeStorage
{
    alignas(8) char CodeText[8] = {};
    [[nodiscard]] std::int64_t Code() const noexcept { return kv7base::detail::LoadInteger<std::int64_t>(CodeText); }
};

class BrokerCode;

/// Code of a clearing firm, two characters.
class ClearingBrokerCode : public CanBePassedByValueEffectively<ClearingBrokerCode>
{
public:
    static constexpr std::size_t MaxLength = 2;

    ClearingBrokerCode() noexcept = default; ///< All zeros, no code.

    [[nodiscard]] std::int16_t ToInteger() const noexcept { return codeStorage_.Code(); }
    [[nodiscard]] const char* c_str() const noexcept { return codeStorage_.CodeText; }
    /// Code of a firm under this clearing firm: its two characters, then at most two of the suffix.
    [[nodiscard]] BrokerCode ConstructBrokerCode(const char* suffix) const noexcept;

    [[nodiscard]] static bool IsLengthAllowed(std::size_t length) noexcept { return length == 2; }
    [[nodiscard]] static ClearingBrokerCode Parse(const CodeParser<ClearingBrokerCode>& text) { return text.Parse(); }
    [[nodiscard]] static bool CanParse(const CodeParser<ClearingBrokerCode>& text) noexcept
    {
        return text.TryParse().has_value();
    }
    [[nodiscard]] static std::optional<ClearingBrokerCode> TryParse(const CodeParser<ClearingBrokerCode>& text) noexcept
    {
        return text.TryParse();
    }
    /// Reads the first characters of a text that is known to be a code, without checks.
    [[nodiscard]] static ClearingBrokerCode FromStrFast(const char* text) noexcept;

    [[nodiscard]] friend bool operator==(ClearingBrokerCode a, ClearingBrokerCode b) noexcept
    {
        return a.ToInteger() == b.ToInteger();
    }

private:
    friend class CodeParser<ClearingBrokerCode>;
    ClearingBrokerCodeStorage codeStorage_;
};

/// Code of a firm, four characters (two for the clearing firm's own).
class BrokerCode : public CanBePassedByValueEffectively<BrokerCode>
{
public:
    static constexpr std::size_t MaxLength = 4;

    BrokerCode() noexcept = default; ///< All zeros, no code.

    [[nodiscard]] std::int32_t ToInteger() const noexcept { return codeStorage_.Code(); }
    [[nodiscard]] ClearingBrokerCode GetClearingBrokerCode() const noexcept
    {
        return ClearingBrokerCode::FromStrFast(c_str());
    }
    /// Code of the firm's clearing firm, its first two characters.
    [[nodiscard]] std::string ExtractRFCode() const { return GetClearingBrokerCode().c_str(); }
    [[nodiscard]] const char* c_str() const noexcept { return codeStorage_.CodeText; }
    /// Writes the text and its terminating zero, five bytes.
    void CopyTo(char (&target)[5]) const noexcept;
    /// Writes the text into a record's code, with zeros behind it.
    void CopyToTradingCode(t_code& target) const noexcept;

    /// True for the lengths 2 and 4: nothing but bit 1 may stand in the length less 2.
    [[nodiscard]] static bool IsLengthAllowed(std::size_t length) noexcept
    {
        return ((length - 2) & ~std::size_t{2}) == 0;
    }
    [[nodiscard]] static BrokerCode Parse(const CodeParser<BrokerCode>& text) { return text.Parse(); }
    [[nodiscard]] static bool CanParse(const CodeParser<BrokerCode>& text) noexcept
    {
        return text.TryParse().has_value();
    }
    [[nodiscard]] static std::optional<BrokerCode> TryParse(const CodeParser<BrokerCode>& text) noexcept
    {
        return text.TryParse();
    }
    /// Reads the first characters of a text that is known to be a code, without checks.
    [[nodiscard]] static BrokerCode FromStrFast(const char* text) noexcept;

    [[nodiscard]] friend bool operator==(BrokerCode a, BrokerCode b) noexcept { return a.ToInteger() == b.ToInteger(); }

private:
    friend class CodeParser<BrokerCode>;
    BrokerCodeStorage codeStorage_;
};

/// Code of a client, seven characters (four or two for the accounts above it).
class ClientCode : public CanBePassedByValueEffectively<ClientCode>
{
public:
    static constexpr std::size_t MaxLength = 7;

    /// The code in two parts: the firm's four characters and the client's own.
    struct BrokerCodeAndClientCode
    {
        std::int32_t BrokerCode;
        t_clientcode ShortClientCode; // three characters and a zero
    };

    ClientCode() noexcept = default; ///< All zeros, no code.

    [[nodiscard]] const char* c_str() const noexcept { return codeStorage_.CodeText; }
    [[nodiscard]] std::int64_t ToInt64() const noexcept { return codeStorage_.Code(); }
    [[nodiscard]] BrokerCodeAndClientCode BothCodes() const noexcept
    {
        return kv7base::detail::LoadInteger<BrokerCodeAndClientCode>(c_str());
    }
    /// Code of the client's firm, the first four characters.
    [[nodiscard]] BrokerCode GetBrokerCode() const noexcept { return BrokerCode::FromStrFast(c_str()); }
    /// Code of the client's clearing firm, the first two characters.
    [[nodiscard]] ClearingBrokerCode GetClearingBrokerCode() const noexcept
    {
        return ClearingBrokerCode::FromStrFast(c_str());
    }
    /// The client's own three characters, zero-terminated.
    [[nodiscard]] const char* GetClientOnlyCode() const noexcept { return c_str() + 4; }
    /// The high 32 bits of the integer, which distinguish the clients of one firm.
    [[nodiscard]] std::int32_t GetClientOnlyCodeAsInt() const noexcept
    {
        return kv7base::detail::LoadInteger<std::int32_t>(GetClientOnlyCode());
    }
    /// Text of the clearing firm's code, the first two characters.
    [[nodiscard]] std::string ExtractRFCode() const { return GetClearingBrokerCode().c_str(); }
    [[nodiscard]] std::uint16_t GetRFCodeAsUINT16() const noexcept
    {
        return kv7base::detail::LoadInteger<std::uint16_t>(c_str());
    }

    /// True for the lengths 2, 4 and 7: the bits of the mask 148.
    [[nodiscard]] static bool IsLengthAllowed(std::size_t length) noexcept
    {
        return length < 8 && ((148U >> length) & 1U) != 0;
    }
    [[nodiscard]] static ClientCode Parse(const CodeParser<ClientCode>& text) { return text.Parse(); }
    [[nodiscard]] static bool CanParse(const CodeParser<ClientCode>& text) noexcept
    {
        return text.TryParse().has_value();
    }
    [[nodiscard]] static std::optional<ClientCode> TryParse(const CodeParser<ClientCode>& text) noexcept
    {
        return text.TryParse();
    }
    /// Reads a record's code, without checks.
    [[nodiscard]] static ClientCode FromTCode(const t_code& code) noexcept;
    /// Integer of a text of at most seven characters, without checks.
    [[nodiscard]] static std::int64_t StringToInteger(const char* text) noexcept;
    /// Integer of a client's code from the integers of the firm's part and of the client's own.
    [[nodiscard]] static std::int64_t MakeLongLong(std::int32_t brokerCode, std::int32_t shortClientCode) noexcept;

    [[nodiscard]] friend bool operator==(ClientCode a, ClientCode b) noexcept { return a.ToInt64() == b.ToInt64(); }

private:
    friend class CodeParser<ClientCode>;
    ClientCodeStorage codeStorage_;
};

static_assert(sizeof(ClearingBrokerCode) == 4 && sizeof(BrokerCode) == 8 && sizeof(ClientCode) == 8);

// Hashes for the tables of participants: the integer itself, widened with its sign, unmixed.
struct ClearingBrokerCodeHash
{
    [[nodiscard]] std::size_t operator()(ClearingBrokerCode code) const noexcept
    {
        return static_cast<std::size_t>(std::int64_t{code.ToInteger()});
    }
};
struct BrokerCodeHash
{
    [[nodiscard]] std::size_t operator()(BrokerCode code) const noexcept
    {
        return static_cast<std::size_t>(std::int64_t{code.ToInteger()});
    }
};
/// Hash for the client table of one firm, whose keys all share the firm's code: only the client's own part counts.
struct ShortClientCodeHash
{
    [[nodiscard]] std::size_t operator()(ClientCode code) const noexcept
    {
        return static_cast<std::size_t>(std::int64_t{code.GetClientOnlyCodeAsInt()});
    }
};
struct ShortClientCodeEqual
{
    [[nodiscard]] bool operator()(ClientCode a, ClientCode b) const noexcept
    {
        return a.GetClientOnlyCodeAsInt() == b.GetClientOnlyCodeAsInt();
    }
};
