// The texts of the trading core: a table over the whole span of its codes, so that a look-up is one subtraction and one
// load, and the registration of these texts with the platform.
#include "kv7errors.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

struct CodeText
{
    Z9ERR code;
    const char* text; // null: the platform describes the code
};

constexpr CodeText rows[] = {
#define KV7_ERROR(value, name, text) {name, text},
#define KV7_ERROR_NO_TEXT(value, name) {name, nullptr},
#include "kv7errors.def"
#undef KV7_ERROR
#undef KV7_ERROR_NO_TEXT
};

constexpr Z9ERR firstCode = 94209;
constexpr std::size_t codeSpan = Z9ERR_LAST_ERROR - firstCode;

static_assert(std::size(rows) == 367, "the catalogue has lost or gained a code");
static_assert(std::is_sorted(std::begin(rows), std::end(rows),
                             [](const CodeText& a, const CodeText& b) { return a.code <= b.code; }),
              "codes stand in ascending order, each once");
static_assert(rows[0].code == firstCode && rows[std::size(rows) - 1].code == Z9ERR_LAST_ERROR - 1);
static_assert(firstCode >= Z9ERR_CORE_BEGIN && Z9ERR_LAST_ERROR <= Z9ERR_CORE_END);

/// Texts by code - firstCode, null for the gaps of the numbering.
constexpr std::array<const char*, codeSpan> texts = [] {
    std::array<const char*, codeSpan> byCode{};
    for (const CodeText& row : rows)
        byCode[row.code - firstCode] = row.text;
    return byCode;
}();

/// Tells the platform the texts of the trading core while the library loads, so that its own logs know them as well.
class ErrorDescriptions2ZentaLoader
{
public:
    ErrorDescriptions2ZentaLoader() noexcept
    {
        // The code behind the last has no text, so this is what the platform says of any code that it does not know.
        // It is one pointer for all of them, and comparing pointers leaves out the codes without a text of their own.
        const char* const unknown = Kv7ErrGetDescrStr(Z9ERR_LAST_ERROR);
        for (Z9ERR code = firstCode; code < Z9ERR_LAST_ERROR; ++code) {
            const char* const text = Kv7ErrGetDescrStr(code);
            if (text != unknown) static_cast<void>(Z9ErrRegisterDescr(code, text));
        }
    }
};

// Stands beside Kv7ErrGetDescrStr so that whoever links the one has the other.
const ErrorDescriptions2ZentaLoader loader;

} // namespace

const char* Kv7ErrGetDescrStr(Z9ERR err) noexcept
{
    if (err >= firstCode && err < Z9ERR_LAST_ERROR) {
        const char* const text = texts[err - firstCode];
        if (text != nullptr) return text;
    }
    return Z9ErrGetDescrStr(err);
}
