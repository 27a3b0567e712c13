// The formatter. It walks the format, takes every argument by its verb, and lets the C library print one argument at
// a time, but for texts and numbers without a field, whose characters it has itself; the verbs that the C library does
// not know are turned into ones that it does. What is no verb is copied as it stands and takes no argument.
#include "Z9Fmt.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string_view>

#include <locale.h> // uselocale
#include <sys/types.h>

#include "Z9BCDII.h"
#include "Z9Err.h"

namespace {

// Longer fields than any log line are mistakes, and the C library would spend memory on them.
constexpr int kMaxFieldWidth = 65535;
constexpr std::size_t kMaxDecimalText = 80; // sign, 63 digits, point

enum class Length
{
    None,
    Char,     // hh
    Short,    // h
    Long,     // l
    LongLong, // ll, q, L
    Max,      // j
    Size,     // z
    Diff,     // t
    Int64,    // I64
};

// A number in a directive: absent, written out, or "*" for the next int argument.
struct Field
{
    enum class Kind
    {
        Absent,
        Number,
        Argument
    };
    Kind kind = Kind::Absent;
    int number = 0;
};

// One directive, taken apart: "%-8.3lf".
struct Directive
{
    std::string_view flags;
    Field width;
    Field precision;
    Length length = Length::None;
    char verb = '\0';
    std::string_view text; // the whole of it, from the percent sign on
};

// The caller's arguments; a struct, so that all readers move on in one and the same list.
struct Arguments
{
    va_list list;
};

// The caller's buffer. Always true: it ends in a zero, and room counts what may still stand before that zero.
class Output
{
public:
    Output(char* buffer, std::size_t size) noexcept : begin_(buffer), next_(buffer), room_(size - 1) { *next_ = '\0'; }

    [[nodiscard]] bool IsFull() const noexcept { return room_ == 0; }
    [[nodiscard]] int Count() const noexcept { return static_cast<int>(next_ - begin_); }

    void Put(std::string_view text) noexcept
    {
        const std::size_t count = std::min(text.size(), room_);
        std::memcpy(next_, text.data(), count);
        Advance(count);
    }

    // Writes a number as std::to_chars has it: the shape says which form. False when the room does not hold it, and
    // nothing is written then.
    template <class Number, class... Shape>
    bool PutNumber(Number value, Shape... shape) noexcept
    {
        const auto written = std::to_chars(next_, next_ + room_, value, shape...);
        if (written.ec != std::errc{}) return false;
        Advance(static_cast<std::size_t>(written.ptr - next_));
        return true;
    }

    // Prints one value by a directive for exactly its type. False when the C library refuses the value.
    template <class T>
    bool Print(const char* directive, T value) noexcept
    {
        const int needed = std::snprintf(next_, room_ + 1, directive, value);
        if (needed < 0) return false;
        Advance(std::min(static_cast<std::size_t>(needed), room_));
        return true;
    }

private:
    void Advance(std::size_t count) noexcept
    {
        next_ += count;
        room_ -= count;
        *next_ = '\0';
    }

    char* begin_;
    char* next_;
    std::size_t room_;
};

// Reading a directive ------------------------------------------------------------------------------------------------

bool TakePrefix(std::string_view& rest, std::string_view prefix) noexcept
{
    if (!rest.starts_with(prefix)) return false;
    rest.remove_prefix(prefix.size());
    return true;
}

std::string_view TakeFlags(std::string_view& rest) noexcept
{
    const std::size_t count = std::min(rest.find_first_not_of("-+ #0'"), rest.size());
    const std::string_view flags = rest.substr(0, count);
    rest.remove_prefix(count);
    return flags;
}

// Takes a number off a directive. One without digits is absent; one beyond the limit is the limit.
Field TakeField(std::string_view& rest) noexcept
{
    if (TakePrefix(rest, "*")) return {Field::Kind::Argument, 0};
    const std::size_t count = std::min(rest.find_first_not_of("0123456789"), rest.size());
    if (count == 0) return {};
    Field field{Field::Kind::Number, 0};
    const auto read = std::from_chars(rest.data(), rest.data() + count, field.number);
    field.number = read.ec == std::errc{} ? std::min(field.number, kMaxFieldWidth) : kMaxFieldWidth;
    rest.remove_prefix(count);
    return field;
}

Length TakeLength(std::string_view& rest) noexcept
{
    if (TakePrefix(rest, "I64")) return Length::Int64;
    if (TakePrefix(rest, "hh")) return Length::Char;
    if (TakePrefix(rest, "h")) return Length::Short;
    if (TakePrefix(rest, "ll") || TakePrefix(rest, "q") || TakePrefix(rest, "L")) return Length::LongLong;
    if (TakePrefix(rest, "l")) return Length::Long;
    if (TakePrefix(rest, "j")) return Length::Max;
    if (TakePrefix(rest, "z") || TakePrefix(rest, "Z")) return Length::Size;
    if (TakePrefix(rest, "t")) return Length::Diff;
    return Length::None;
}

// Takes the directive at the start of `format`, which begins with a percent sign, apart.
Directive TakeApart(std::string_view format) noexcept
{
    Directive directive;
    std::string_view rest = format.substr(1);
    directive.flags = TakeFlags(rest);
    directive.width = TakeField(rest);
    if (TakePrefix(rest, ".")) {
        directive.precision = TakeField(rest);
        if (directive.precision.kind == Field::Kind::Absent) directive.precision = {Field::Kind::Number, 0};
    }
    directive.length = TakeLength(rest);
    if (!rest.empty()) directive.verb = rest.front();
    directive.text = format.substr(0, format.size() - rest.size() + (rest.empty() ? 0 : 1));
    return directive;
}

bool IsOneOf(char verb, std::string_view verbs) noexcept { return verb != '\0' && verbs.find(verb) != verbs.npos; }

// True when the directive means something; only then may arguments be taken for it.
bool IsKnown(const Directive& directive) noexcept
{
    if (IsOneOf(directive.verb, "diuoxX")) return true;
    const Length length = directive.length;
    if (IsOneOf(directive.verb, "aAeEfFgG")) {
        return length == Length::None || length == Length::Long || length == Length::LongLong;
    }
    if (IsOneOf(directive.verb, "cs")) return length == Length::None || length == Length::Long;
    return length == Length::None && IsOneOf(directive.verb, "CSpnm%RPB");
}

// Printing a directive -----------------------------------------------------------------------------------------------

// Flags, width and precision as numbers; below 0 is none.
struct Layout
{
    std::string_view flags;
    bool left = false;
    int width = -1;
    int precision = -1;

    [[nodiscard]] bool HasField() const noexcept { return width >= 0 || left || !flags.empty(); }
};

int TakeFieldValue(const Field& field, Arguments& arguments) noexcept
{
    if (field.kind == Field::Kind::Absent) return -1;
    if (field.kind == Field::Kind::Number) return field.number;
    return std::clamp(va_arg(arguments.list, int), -kMaxFieldWidth, kMaxFieldWidth);
}

// Takes the arguments of the stars, which come before the value.
Layout TakeLayout(const Directive& directive, Arguments& arguments) noexcept
{
    Layout layout{directive.flags, false, TakeFieldValue(directive.width, arguments), -1};
    if (directive.width.kind == Field::Kind::Argument && layout.width < 0) { // a negative width asks for the left edge
        layout.left = true;
        layout.width = -layout.width;
    }
    layout.precision = TakeFieldValue(directive.precision, arguments);
    return layout;
}

// A directive put together again for the C library, its stars replaced by their numbers.
class Rebuilt
{
public:
    Rebuilt(const Layout& layout, std::string_view lengthAndVerb) noexcept
    {
        Put("%");
        for (const char flag : std::string_view("-+ #0'")) {
            const bool asked = layout.flags.find(flag) != std::string_view::npos || (flag == '-' && layout.left);
            if (asked) Put({&flag, 1});
        }
        if (layout.width >= 0) PutNumber(layout.width);
        if (layout.precision >= 0) {
            Put(".");
            PutNumber(layout.precision);
        }
        Put(lengthAndVerb);
    }

    [[nodiscard]] const char* Text() const noexcept { return text_.data(); }

private:
    void Put(std::string_view part) noexcept
    {
        std::memcpy(text_.data() + size_, part.data(), part.size());
        size_ += part.size();
    }

    void PutNumber(int number) noexcept
    {
        const auto written = std::to_chars(text_.data() + size_, text_.data() + text_.size(), number);
        size_ = static_cast<std::size_t>(written.ptr - text_.data());
    }

    std::array<char, 32> text_{}; // holds 1 + 6 flags + 5 + 1 + 5 + 3 characters and the zero
    std::size_t size_ = 0;
};

long long TakeSigned(Length length, Arguments& arguments) noexcept
{
    switch (length) {
    case Length::None:
        return va_arg(arguments.list, int);
    case Length::Char:
        return static_cast<signed char>(va_arg(arguments.list, int));
    case Length::Short:
        return static_cast<short>(va_arg(arguments.list, int));
    case Length::Long:
        return va_arg(arguments.list, long);
    case Length::LongLong:
        return va_arg(arguments.list, long long);
    case Length::Max:
        return va_arg(arguments.list, std::intmax_t);
    case Length::Size:
        return va_arg(arguments.list, ssize_t);
    case Length::Diff:
        return va_arg(arguments.list, std::ptrdiff_t);
    case Length::Int64:
        return va_arg(arguments.list, std::int64_t);
    }
    return 0;
}

unsigned long long TakeUnsigned(Length length, Arguments& arguments) noexcept
{
    switch (length) {
    case Length::None:
        return va_arg(arguments.list, unsigned);
    case Length::Char:
        return static_cast<unsigned char>(va_arg(arguments.list, unsigned));
    case Length::Short:
        return static_cast<unsigned short>(va_arg(arguments.list, unsigned));
    case Length::Long:
        return va_arg(arguments.list, unsigned long);
    case Length::LongLong:
        return va_arg(arguments.list, unsigned long long);
    case Length::Max:
        return va_arg(arguments.list, std::uintmax_t);
    case Length::Size:
        return va_arg(arguments.list, std::size_t);
    case Length::Diff:
        return static_cast<unsigned long long>(va_arg(arguments.list, std::ptrdiff_t));
    case Length::Int64:
        return va_arg(arguments.list, std::uint64_t);
    }
    return 0;
}

// Prints known directives one after the other. Every function answers false when the C library refuses the value.
class Printer
{
public:
    Printer(Output& output, Arguments& arguments, int errorNumber) noexcept
        : output_(output), arguments_(arguments), errorNumber_(errorNumber)
    {}

    [[nodiscard]] bool Print(const Directive& directive) noexcept
    {
        const Layout layout = TakeLayout(directive, arguments_);
        switch (directive.verb) {
        case 'd':
        case 'i':
            return Integer(layout, directive.verb, TakeSigned(directive.length, arguments_));
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return Integer(layout, directive.verb, TakeUnsigned(directive.length, arguments_));
        case 'c':
        case 's':
            return Characters(layout, directive.verb, directive.length == Length::Long);
        case 'C':
            return Characters(layout, 'c', true);
        case 'S':
            return Characters(layout, 's', true);
        case 'p':
            return output_.Print(Rebuilt(layout, "p").Text(), va_arg(arguments_.list, void*));
        case 'P':
            return output_.Print(Rebuilt(layout, "zu").Text(), va_arg(arguments_.list, std::size_t));
        case 'R':
            return Error(layout, va_arg(arguments_.list, Z9ERR));
        case 'B':
            return Decimal(layout, va_arg(arguments_.list, const unsigned char*));
        case 'm':
            return Errno(layout);
        case 'n':
            return Nothing(directive.text);
        case '%':
            output_.Put("%");
            return true;
        default:
            return Floating(layout, directive.verb, directive.length == Length::LongLong);
        }
    }

private:
    // Numbers without a field of their own are written without the C library, which has the same text for them.

    template <class Number>
    bool Integer(const Layout& layout, char verb, Number value) noexcept
    {
        const bool isPlain = !layout.HasField() && layout.precision < 0 && IsOneOf(verb, "diu");
        if (isPlain && output_.PutNumber(value)) return true;
        const char lengthAndVerb[] = {'l', 'l', verb};
        return output_.Print(Rebuilt(layout, {lengthAndVerb, 3}).Text(), value);
    }

    bool Floating(const Layout& layout, char verb, bool isLong) noexcept
    {
        const char lengthAndVerb[] = {'L', verb};
        if (isLong)
            return output_.Print(Rebuilt(layout, {lengthAndVerb, 2}).Text(), va_arg(arguments_.list, long double));
        const double value = va_arg(arguments_.list, double);
        const bool isPlain = !layout.HasField() && IsOneOf(verb, "feg");
        if (isPlain && output_.PutNumber(value, FormOf(verb), layout.precision < 0 ? 6 : layout.precision)) return true;
        return output_.Print(Rebuilt(layout, {lengthAndVerb + 1, 1}).Text(), value);
    }

    static std::chars_format FormOf(char verb) noexcept
    {
        if (verb == 'f') return std::chars_format::fixed;
        return verb == 'e' ? std::chars_format::scientific : std::chars_format::general;
    }

    bool Characters(const Layout& layout, char verb, bool isWide) noexcept
    {
        if (verb == 'c' && isWide) return output_.Print(Rebuilt(layout, "lc").Text(), va_arg(arguments_.list, wint_t));
        if (verb == 'c') return output_.Print(Rebuilt(layout, "c").Text(), va_arg(arguments_.list, int));
        if (isWide) return output_.Print(Rebuilt(layout, "ls").Text(), va_arg(arguments_.list, const wchar_t*));
        return output_.Print(Rebuilt(layout, "s").Text(), va_arg(arguments_.list, const char*));
    }

    // Prints a text of our own: the width applies to it, while a precision would cut it.
    bool Whole(Layout layout, const char* text) noexcept
    {
        layout.precision = -1;
        return output_.Print(Rebuilt(layout, "s").Text(), text);
    }

    bool Error(const Layout& layout, Z9ERR code) noexcept
    {
        std::array<char, 1024> text{};
        std::snprintf(text.data(), text.size(), "%u: %s", code, Z9ErrGetDescrStr(code));
        return Whole(layout, text.data());
    }

    bool Decimal(const Layout& layout, const unsigned char* value) noexcept
    {
        if (value == nullptr) return Whole(layout, "(null)");
        std::array<char, kMaxDecimalText> text{};
        const uint32_t flags = Z9BCDII2Str(text.data(), text.size(), value);
        return Whole(layout, (flags & Z9BCDII_OPERAND_BAD) != 0 ? "(bad)" : text.data());
    }

    bool Errno(const Layout& layout) noexcept
    {
        std::array<char, 256> text{};
        return output_.Print(Rebuilt(layout, "s").Text(),
                             static_cast<const char*>(strerror_r(errorNumber_, text.data(), text.size())));
    }

    // Handles the verb that would write through a pointer: its argument is passed over, nothing is written.
    bool Nothing(std::string_view directive) noexcept
    {
        static_cast<void>(va_arg(arguments_.list, void*));
        output_.Put(directive);
        return true;
    }

    Output& output_;
    Arguments& arguments_;
    int errorNumber_;
};

// The locale in which every text is made, whatever the host has set: a log with commas for points would be another file
// format. Null when the system has no memory for it.
locale_t PlainLocale() noexcept
{
    static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return plain;
}

// Gives the calling thread the plain locale for a while; other threads keep theirs.
class InPlainLocale
{
public:
    InPlainLocale() noexcept : before_(::uselocale(PlainLocale())) {}
    ~InPlainLocale() { ::uselocale(before_); }
    InPlainLocale(const InPlainLocale&) = delete;
    InPlainLocale& operator=(const InPlainLocale&) = delete;

private:
    locale_t before_;
};

bool PrintAll(Output& output, std::string_view format, Arguments& arguments, int errorNumber) noexcept
{
    Printer printer(output, arguments, errorNumber);
    while (!format.empty() && !output.IsFull()) {
        const std::size_t plain = std::min(format.find('%'), format.size());
        output.Put(format.substr(0, plain));
        format.remove_prefix(plain);
        if (format.empty()) break;

        if (TakePrefix(format, "%s")) { // most directives of a log
            const char* const text = va_arg(arguments.list, const char*);
            output.Put(text != nullptr ? text : "(null)");
            continue;
        }
        const Directive directive = TakeApart(format);
        if (!IsKnown(directive)) { // the sign alone; what follows it may hold a directive of its own
            output.Put("%");
            format.remove_prefix(1);
            continue;
        }
        format.remove_prefix(directive.text.size());
        if (!printer.Print(directive)) return false;
    }
    return true;
}

} // namespace

int Z9SysVSNPrintf(char* buffer, size_t size, const char* format, va_list args)
{
    const int errorNumber = errno; // before anything here can change it
    if (buffer == nullptr || size == 0) return -1;
    Output output(buffer, std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
    if (format == nullptr) return -1;

    const InPlainLocale locale;
    Arguments arguments;
    va_copy(arguments.list, args);
    const bool good = PrintAll(output, format, arguments, errorNumber);
    va_end(arguments.list);
    return good ? output.Count() : -1;
}

int Z9SysSNPrintf(char* buffer, size_t size, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int count = Z9SysVSNPrintf(buffer, size, format, args);
    va_end(args);
    return count;
}
