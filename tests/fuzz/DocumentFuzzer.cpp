// A text of XML, any bytes: it is taken, and its strings are no longer than it is, or it is refused with a line that it
// has. What is taken is taken behind a byte order mark, too, and with nothing behind it but blanks.
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Require.h"
#include "XmlDocument.h"

namespace {

using QuindalIM::LineAt;
using QuindalIM::XmlDocument;
using QuindalIM::XmlError;

bool IsTaken(std::string_view text)
{
    try {
        const XmlDocument document(text);
        return true;
    } catch (const XmlError& error) {
        Require(error.Line() >= 1 && error.Line() <= LineAt(text, text.size()), "a refusal names a line of the text");
        Require(!error.Reason().empty(), "a refusal has a reason");
        return false;
    }
}

/// Bytes of all strings of the element's children.
std::size_t LengthOf(pugi::xml_node root)
{
    std::size_t length = 0;
    for (pugi::xml_node node = root.first_child(); node; node = node.next_sibling()) {
        length += std::strlen(node.name()) + std::strlen(node.value());
        for (const pugi::xml_attribute& attribute : node.attributes())
            length += std::strlen(attribute.name()) + std::strlen(attribute.value());
    }
    return length;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const bool isTaken = IsTaken(text);
    const bool hasMark = text.starts_with("\xEF\xBB\xBF");
    Require(hasMark || IsTaken("\xEF\xBB\xBF" + text) == isTaken, "a byte order mark changes nothing");
    if (!isTaken) return 0;

    Require(IsTaken(text.substr(0, text.find_last_not_of('\0') + 1) + " \n"), "blanks may follow");
    try {
        const XmlDocument document(text);
        Require(LengthOf(document.Root("root")) <= size, "strings are no longer than their text");
    } catch (const QuindalIM::NoSuchNode&) { // another element, or none
    }
    return 0;
}
