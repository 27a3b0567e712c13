#include "XmlDocument.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace QuindalIM {

namespace {

// The library converts nothing on its own: references are resolved here, where a wrong one is refused instead of passed
// on as text. Text beside the document's element is parsed so that it can be refused.
constexpr unsigned ReadingOptions = pugi::parse_minimal | pugi::parse_cdata | pugi::parse_fragment;

/// Where in the text something is wrong.
struct Fault
{
    std::size_t offset;
    const char* reason;
};

/// Whether a number may stand for a character: what XML calls one, so no zero, no other control, no half of a pair.
[[nodiscard]] bool IsCharacter(std::uint32_t code) noexcept
{
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xD7FF) ||
           (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

/// The character in UTF-8; gives the place behind it.
[[nodiscard]] char* PutCharacter(char* to, std::uint32_t code) noexcept
{
    const auto put = [&to](std::uint32_t byte) { *to++ = static_cast<char>(byte); };
    const auto putTail = [&put, code](int shift) { put(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xC0 | (code >> 6));
        putTail(0);
    } else if (code < 0x10000) {
        put(0xE0 | (code >> 12));
        putTail(6);
        putTail(0);
    } else {
        put(0xF0 | (code >> 18));
        putTail(12);
        putTail(6);
        putTail(0);
    }
    return to;
}

/// The character that a reference names, "amp" or "#x41"; 0 for none.
[[nodiscard]] std::uint32_t CharacterOf(std::string_view name) noexcept
{
    static constexpr std::pair<std::string_view, char> names[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [known, character] : names)
        if (name == known) return static_cast<std::uint32_t>(character);

    if (!name.starts_with('#')) return 0;
    const bool isHexadecimal = name.substr(1).starts_with('x');
    const std::string_view digits = name.substr(isHexadecimal ? 2 : 1);
    std::uint32_t code = 0;
    const char* const end = digits.data() + digits.size();
    const auto [behind, error] = std::from_chars(digits.data(), end, code, isHexadecimal ? 16 : 10);
    return error == std::errc{} && behind == end && IsCharacter(code) ? code : 0;
}

[[nodiscard]] bool IsOfReference(char c) noexcept
{
    return c == '#' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Puts the characters in the places of their references, which are longer, all inside the text. Gives the reference
/// that stands for none, null when all are good.
[[nodiscard]] const char* ResolveReferences(char* text) noexcept
{
    char* to = std::strchr(text, '&');
    if (to == nullptr) return nullptr;
    for (const char* from = to; *from != '\0';) {
        if (*from != '&') {
            *to++ = *from++;
            continue;
        }
        const char* end = from + 1;
        while (IsOfReference(*end))
            ++end;
        const std::uint32_t code = CharacterOf({from + 1, static_cast<std::size_t>(end - from) - 1});
        if (code == 0 || *end != ';') return from;
        to = PutCharacter(to, code);
        from = end + 1;
    }
    *to = '\0';
    return nullptr;
}

/// The next node in document order, children before siblings; null behind the last node of the document.
[[nodiscard]] pugi::xml_node NextOf(pugi::xml_node node) noexcept
{
    if (node.first_child()) return node.first_child();
    while (node && !node.next_sibling())
        node = node.parent();
    return node.next_sibling();
}

/// Resolves the references of a document whose strings lie in `text`.
void ResolveReferences(const pugi::xml_document& document, char* text)
{
    const auto resolve = [text](const char* value) {
        const auto offset = value - text;
        if (const char* const wrong = ResolveReferences(text + offset); wrong != nullptr)
            throw Fault{static_cast<std::size_t>(wrong - text), "a reference stands for no character"};
    };
    for (pugi::xml_node node = document.first_child(); node; node = NextOf(node)) {
        if (node.type() == pugi::node_pcdata) resolve(node.value());
        for (const pugi::xml_attribute& attribute : node.attributes())
            if (*attribute.value() != '\0') resolve(attribute.value());
    }
}

/// Refuses a document that has anything beside one element: text behind a document that seems complete would go unseen.
void RequireOneElement(const pugi::xml_document& document)
{
    bool hasElement = false;
    for (const pugi::xml_node& node : document.children()) {
        const auto offset = static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0)) +
                            std::strspn(node.value(), " \t\r\n");
        if (node.type() != pugi::node_element) throw Fault{offset, "text stands outside of the document's element"};
        if (std::exchange(hasElement, true)) throw Fault{offset, "there is more than one element"};
    }
}

/// Parses a text that is writable and ends with a zero behind its `size` bytes.
void Read(pugi::xml_document& document, char* text, std::size_t size)
{
    if (const void* const zero = std::memchr(text, '\0', size); zero != nullptr)
        throw Fault{static_cast<std::size_t>(static_cast<const char*>(zero) - text), "a zero byte stands in the text"};
    const bool hasReferences = std::memchr(text, '&', size) != nullptr;

    // The zero is handed over: the library overwrites the last byte while it reads.
    const pugi::xml_parse_result result =
        document.load_buffer_inplace(text, size + 1, ReadingOptions, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result)
        throw Fault{static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0)), result.description()};

    RequireOneElement(document);
    if (hasReferences) ResolveReferences(document, text);
}

} // namespace

XmlError::XmlError(std::size_t line, const std::string& reason)
    : std::runtime_error("<unspecified file>(" + std::to_string(line) + "): " + reason), m_line(line), m_reason(reason)
{}

std::size_t LineAt(std::string_view text, std::size_t offset) noexcept
{
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

XmlDocument::XmlDocument(std::string_view text)
{
    text = text.substr(0, text.find_last_not_of('\0') + 1); // none: npos + 1 is 0
    m_text = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), m_text.get());
    m_text[text.size()] = '\0';
    try {
        Read(m_document, m_text.get(), text.size());
    } catch (const Fault& fault) {
        throw XmlError(LineAt(text, fault.offset), fault.reason);
    }
}

pugi::xml_node XmlDocument::Root(const char* name) const
{
    const pugi::xml_node root = m_document.child(name);
    if (!root) throw NoSuchNode(name);
    return root;
}

} // namespace QuindalIM
