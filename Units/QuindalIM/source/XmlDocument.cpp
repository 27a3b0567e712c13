#include "XmlDocument.h"

#include <algorithm>
#include <exception>
#include <sstream>

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "except.h"

namespace QuindalIM {

using boost::property_tree::ptree;
using boost::property_tree::xml_parser_error;
using kv7base::CZ9Error;

namespace {

// The XML reader goes one call deeper with every element inside another. A reply of some tens of kilobytes, nested and
// nothing else, would so use up the stack of the host program; a real document is three elements deep.
constexpr std::size_t DeepestNesting = 256;

/// Position behind the next mark, or behind the text when there is none.
[[nodiscard]] std::size_t Behind(std::string_view text, std::string_view mark, std::size_t from)
{
    const std::size_t at = text.find(mark, from);
    return at == std::string_view::npos ? text.size() : at + mark.size();
}

/// Position behind the tag that begins here. As for the reader, quotes stand around a value only: one inside a name is
/// part of the name and hides nothing.
[[nodiscard]] std::size_t BehindTag(std::string_view text, std::size_t from)
{
    constexpr std::string_view blanks = " \t\r\n";
    std::size_t at = std::min(text.find_first_of(" \t\r\n/>?", from + 1), text.size()); // the name
    for (char before = '\0'; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '>') return at + 1;
        if (before == '=' && (c == '"' || c == '\'')) at = std::min(text.find(c, at + 1), text.size());
        if (blanks.find(c) == std::string_view::npos) before = c;
    }
    return text.size();
}

/// Position behind the document type that begins here, its bracketed part included.
[[nodiscard]] std::size_t BehindDocumentType(std::string_view text, std::size_t from)
{
    std::size_t brackets = 0;
    for (std::size_t at = from; at < text.size(); ++at) {
        if (text[at] == '[') ++brackets;
        if (text[at] == ']' && brackets > 0) --brackets;
        if (text[at] == '>' && brackets == 0) return at + 1;
    }
    return text.size();
}

/// Position behind a comment, a character section, a declaration or an instruction that begins here; `from` itself when
/// it is a tag. Each ends where the reader ends it, so that nothing can be hidden from the count of tags.
[[nodiscard]] std::size_t BehindOtherMarkup(std::string_view text, std::size_t from)
{
    const std::string_view rest = text.substr(from);
    if (rest.starts_with("<?")) return Behind(text, "?>", from + 2);
    if (rest.starts_with("<!--")) return Behind(text, "-->", from + 4);
    if (rest.starts_with("<![CDATA[")) return Behind(text, "]]>", from + 9);
    constexpr std::string_view documentType = "<!DOCTYPE";
    if (rest.starts_with(documentType) && rest.substr(documentType.size(), 1).find_first_of(" \t\r\n") == 0)
        return BehindDocumentType(text, from);
    return rest.starts_with("<!") ? Behind(text, ">", from) : from;
}

void RequireShallow(std::string_view text)
{
    std::size_t depth = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at)) {
        if (const std::size_t behind = BehindOtherMarkup(text, at); behind != at) {
            at = behind;
        } else if (text.substr(at).starts_with("</")) {
            at = Behind(text, ">", at);
            if (depth > 0) --depth;
        } else {
            at = BehindTag(text, at);
            if (text.substr(0, at).ends_with("/>")) continue;
            if (++depth > DeepestNesting) throw xml_parser_error("elements are nested too deeply", "", 0);
        }
    }
}

} // namespace

std::string CreateDocument(const char* requestName, const RequestAttributes& attributes)
{
    try {
        ptree document;
        ptree& request = document.add_child("root", ptree()).add_child(requestName, ptree());
        for (const auto& [name, value] : attributes)
            request.put(std::string("<xmlattr>.") + name, value);

        std::ostringstream text;
        try {
            write_xml(text, document, boost::property_tree::xml_writer_make_settings<std::string>(' ', 0, "utf-8"));
        } catch (const std::exception& error) {
            throw CZ9Error(Z9ERR_COMMON_INTERNAL_ERROR, KV7_CURRENT_LOCATION)
                .Fmt("Exception while saving XML document for request %s: %s", requestName, error.what());
        }
        return text.str();
    } catch (const CZ9Error&) {
        throw; // the writer's failure says all already
    } catch (const std::exception& error) {
        throw CZ9Error(Z9ERR_COMMON_INTERNAL_ERROR, KV7_CURRENT_LOCATION)
            .Fmt("Exception while processing request %s: %s", requestName, error.what());
    }
}

ptree ReadDocument(std::string_view text)
{
    if (text.data() == nullptr) text = ""; // a reply without a body; the stream wants an address all the same
    RequireShallow(text);
    // The reader takes a stream and makes the one copy that it parses; another one of a whole market is saved here.
    boost::iostreams::stream<boost::iostreams::array_source> stream(text.data(), text.size());
    ptree document;
    read_xml(stream, document,
             boost::property_tree::xml_parser::no_comments | boost::property_tree::xml_parser::trim_whitespace);
    return document;
}

} // namespace QuindalIM
