// The documents that the client sends, byte for byte.
#include "RequestDocument.h"

#include <string>

#include <gtest/gtest.h>

#include "XmlDocument.h"

namespace test::RequestDocumentTest {
namespace {

using QuindalIM::CreateDocument;

using namespace std::string_literals;

const std::string Begin = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root><Request a=\"";
const std::string End = "\"/></root>";

TEST(RequestDocument, AttributesStandInTheirOrder)
{
    EXPECT_EQ(CreateDocument("RequestUserInfo", {{"msg_type", "111"}, {"b", ""}, {"a", "x"}}),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<root><RequestUserInfo msg_type=\"111\" b=\"\" a=\"x\"/></root>");
    EXPECT_EQ(CreateDocument("RequestInstruments", {}),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root><RequestInstruments/></root>");
}

TEST(RequestDocument, FiveCharactersAreEscapedAndAllOtherBytesStayAsTheyAre)
{
    const struct
    {
        std::string value, written;
    } cases[] = {
        {"<>&\"'", "&lt;&gt;&amp;&quot;&apos;"},
        {"&amp;", "&amp;amp;"},
        {"a b", "a b"},
        {" a ", " a "},
        {" ", "&#32;"}, // nothing but blanks: the first one is kept visible
        {"   ", "&#32;  "},
        {"\t", "\t"},
        {"a\r\n\tb", "a\r\n\tb"},
        {"\x01\x1F\x7F", "\x01\x1F\x7F"},
        {"\xD0\x96\xC3\xA4\xFF\xF0\x9F\x98\x80", "\xD0\x96\xC3\xA4\xFF\xF0\x9F\x98\x80"},
        {"]]>", "]]&gt;"},
        {"%s%n", "%s%n"},
    };
    for (const auto& [value, written] : cases)
        EXPECT_EQ(CreateDocument("Request", {{"a", value}}), Begin + written + End) << value;
}

TEST(RequestDocument, TheReaderFindsEveryByteAgain)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte)
        value += static_cast<char>(byte);
    const QuindalIM::XmlDocument document(CreateDocument("Request", {{"a", value}, {"b", "  "}}));
    const pugi::xml_node request = document.Root("root").child("Request");
    EXPECT_EQ(request.attribute("a").value(), value);
    EXPECT_EQ(request.attribute("b").value(), "  "s);
}

} // namespace
} // namespace test::RequestDocumentTest
