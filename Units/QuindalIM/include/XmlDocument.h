// XmlDocument: a text of the link or of a market file, read as a tree of elements. The client, the server and the
// command line read by this one reader, so that a text means the same on every side.
//
// Taken as it comes:  the bytes are UTF-8, whatever the declaration says; blanks in attributes stay what they are. A
//                     byte order mark, comments, instructions and document types are passed over, and so are zero
//                     bytes at the end, which a program in C may send along.
// Refused:            tags that do not match or do not end, attributes without quotes, references that stand for no
//                     character (all but the five names of XML and its numbers), a zero byte in the text, text or a
//                     second element beside the document's one.
// Always true:        nothing recurses, neither reading nor dropping: a document may be nested as deep as it is long.
//                     The tree is only ever dropped whole.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <pugixml.hpp>

namespace QuindalIM {

/// Thrown for a text that is no well-formed document. what() is "<unspecified file>(LINE): REASON".
class XmlError : public std::runtime_error
{
public:
    XmlError(std::size_t line, const std::string& reason);

    [[nodiscard]] std::size_t Line() const noexcept { return m_line; } // the first is 1
    [[nodiscard]] const std::string& Reason() const noexcept { return m_reason; }

private:
    std::size_t m_line;
    std::string m_reason;
};

/// Thrown for a required element or attribute that is missing. what() is "No such node (PATH)".
class NoSuchNode : public std::runtime_error
{
public:
    explicit NoSuchNode(const std::string& path) : std::runtime_error("No such node (" + path + ")") {}
};

/// Line of the text that holds this offset, counted from 1.
[[nodiscard]] std::size_t LineAt(std::string_view text, std::size_t offset) noexcept;

class XmlDocument
{
public:
    /// Reads the text, which need not outlive this call. Throws XmlError; std::bad_alloc when memory ends.
    explicit XmlDocument(std::string_view text);

    /// The document's element. Elements live as long as the document; `offset_debug()` of one is the offset of its name
    /// in the text. Throws NoSuchNode when the text holds no element or one of another name.
    [[nodiscard]] pugi::xml_node Root(const char* name) const;

private:
    std::unique_ptr<char[]> m_text; // the tree points into it
    pugi::xml_document m_document;
};

} // namespace QuindalIM
