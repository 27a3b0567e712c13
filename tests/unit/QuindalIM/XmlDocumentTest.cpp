// The one reader of XML texts: what it takes and as what, what it refuses and where, and that it minds neither depth
// nor the end of memory.
#include "XmlDocument.h"

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace test::XmlDocumentTest {
namespace {

using QuindalIM::LineAt;
using QuindalIM::NoSuchNode;
using QuindalIM::XmlDocument;
using QuindalIM::XmlError;
using testing::HasSubstr;

using namespace std::string_literals;

/// Line and reason of the refusal; line 0 for a text that is taken.
struct Refusal
{
    std::size_t line = 0;
    std::string reason;
    std::string what;
};

Refusal RefusalOf(const std::string& text)
{
    try {
        const XmlDocument document(text);
    } catch (const XmlError& error) {
        return {error.Line(), error.Reason(), error.what()};
    }
    return {};
}

/// Attribute "a" of the root.
std::string AttributeOf(const std::string& text) { return XmlDocument(text).Root("root").attribute("a").value(); }

TEST(XmlDocument, AttributesComeAsTheyStand)
{
    const struct
    {
        std::string text, value;
    } cases[] = {
        {"<root a=\"1\"/>", "1"},
        {"<root a='1'/>", "1"},
        {"<root a=''/>", ""},
        {"<root\n\ta\r\n=\n'1'\n/>", "1"},                    // blanks around what belongs together
        {"<root a=' \t\r\n x  y '/>", " \t\r\n x  y "},       // and none is touched inside
        {"<root a='\"' b=\"'\"/>", "\""},                     // the other quote
        {"<root a='x>y'/>", "x>y"},                           // no end of a tag
        {"<root a='\xC3\xA4\xFF\x1F'/>", "\xC3\xA4\xFF\x1F"}, // bytes, be they characters or not
        {"<root a='1' a='2'/>", "1"},                         // the first of several
        {"<root A='1' a='2'/>", "2"},                         // names are exact
        {"<root b='1'/>", ""},                                // there is none
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(AttributeOf(text), value) << text;
}

TEST(XmlDocument, ReferencesStandForTheirCharacters)
{
    const struct
    {
        std::string reference, value;
    } cases[] = {
        {"&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
        {"x&amp;y&amp;", "x&y&"},
        {"&amp;lt;", "&lt;"}, // resolved once
        {"&#65;&#x41;&#x000041;&#00065;", "AAAA"},
        {"&#9;&#10;&#13;&#32;", "\t\n\r "},
        {"&#x7F;&#x80;", "\x7F\xC2\x80"}, // one byte, two, three, four
        {"&#x7FF;&#x800;", "\xDF\xBF\xE0\xA0\x80"},
        {"&#x20AC;&#xD7FF;&#xE000;&#xFFFD;", "\xE2\x82\xAC\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"},
        {"&#x10000;&#x10ffff;&#x10FFFF;", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xF4\x8F\xBF\xBF"},
    };
    for (const auto& [reference, value] : cases) {
        EXPECT_EQ(AttributeOf("<root a='" + reference + "'/>"), value) << reference;
        EXPECT_EQ(XmlDocument("<root>" + reference + "</root>").Root("root").child_value(), value) << reference;
    }
}

TEST(XmlDocument, ReferencesThatStandForNoCharacterAreRefused)
{
    for (const std::string reference : {"&",
                                        "& ",
                                        "&;",
                                        "&amp",
                                        "&amp ;",
                                        "&unknown;",
                                        "&AMP;",
                                        "&nbsp;",
                                        "&#;",
                                        "&#x;",
                                        "&#X41;",
                                        "&#0;",
                                        "&#x0;",
                                        "&#x1F;",
                                        "&#11;",
                                        "&#-65;",
                                        "&#+65;",
                                        "&#6 5;",
                                        "&#65",
                                        "&#xG;",
                                        "&#xD800;",
                                        "&#xDFFF;",
                                        "&#xFFFE;",
                                        "&#x110000;",
                                        "&#4294967361;",
                                        "&#99999999999999999999;",
                                        "a&b",
                                        "&lt;&"})
        for (const std::string& text : {"<root>\n<b a='" + reference + "'/></root>", "<root>\n" + reference + "</root>",
                                        "<root><b/>\n" + reference + "<b/></root>"}) {
            EXPECT_EQ(RefusalOf(text).line, 2u) << text;
            EXPECT_EQ(RefusalOf(text).reason, "a reference stands for no character") << text;
        }
}

TEST(XmlDocument, WhatIsNoReferenceMayLookLikeOne)
{
    for (const char* text :
         {"<root><!-- &no; & --></root>", "<root><![CDATA[&no; &]]></root>", "<root><?x &no; & ?></root>",
          "<?xml version='1.0'?><!DOCTYPE root [<!ENTITY x '&#0;'>]><root/>"})
        EXPECT_EQ(RefusalOf(text).what, "") << text;
}

TEST(XmlDocument, OtherMarkupIsPassedOver)
{
    for (const char* text :
         {"<root a='1'/>", "\xEF\xBB\xBF<root a='1'/>", " \r\n\t<root a='1'/> \r\n\t",
          "<?xml version=\"1.0\" encoding=\"utf-8\"?><root a='1'/>", "<?xml version='1.0'?>\n<!-- x --><root a='1'/>",
          "<?xml version='1.0' encoding='windows-1251'?><root a='1'/>",
          "<?xml version='1.0' encoding='UTF-16'?><root a='1'/>",
          "<!-- x --><root a='1'><!-- </root> --></root><!-- x -->",
          "<!---->\n<?x y?><root a='1'><?x </root> ?></root>", "<!DOCTYPE root><root a='1'/>",
          "<!DOCTYPE root [<!ELEMENT root (#PCDATA)>]><root a='1'/>",
          "<root a='1'>text<![CDATA[</root><&]]>text</root>"})
        EXPECT_EQ(AttributeOf(text), "1") << text;
}

TEST(XmlDocument, ADeclaredEncodingChangesNoByte)
{
    const std::string bytes = "\xC4\xE0\xC3\xA4"; // cp1251 in part, UTF-8 in part
    EXPECT_EQ(AttributeOf("<?xml version='1.0' encoding='windows-1251'?><root a='" + bytes + "'/>"), bytes);
    EXPECT_EQ(AttributeOf("<?xml version='1.0' encoding='latin1'?><root a='" + bytes + "'/>"), bytes);
}

TEST(XmlDocument, ZeroBytesAtTheEndAreNoText)
{
    EXPECT_EQ(AttributeOf("<root a='1'/>\0"s), "1");
    EXPECT_EQ(AttributeOf("<root a='1'/>\n\0\0\0"s), "1");
    EXPECT_THROW(static_cast<void>(XmlDocument("\0\0"s).Root("root")), NoSuchNode);
}

TEST(XmlDocument, WhatIsNotWellFormedIsRefusedWithItsLine)
{
    const struct
    {
        std::string text;
        std::size_t line;
    } cases[] = {
        {"<root>\n<a></b>\n</root>", 2}, // tags that do not match
        {"<root>\n<a>\n</A></root>", 3},
        {"<root><a></root></a>", 1},
        {"<root>\n</root>\n</root>", 3},
        {"<root>\n<a>", 2},
        {"<root", 1},
        {"</root>", 1},
        {"<root><a/>", 1},
        {"<root>\n\n<a b=1/></root>", 3}, // attributes
        {"<root><a b/></root>", 1},
        {"<root><a b=/></root>", 1},
        {"<root><a b='1></root>", 1},
        {"<root><a b=\"1'/></root>", 1},
        {"<root><a b='1'c='2'/></root>", 1},
        {"<root><a ='1'/></root>", 1},
        {"<root>< a/></root>", 1},
        {"<root><></root>", 1},
        {"<root><1/></root>", 1},
        {"<root></root x>", 1},
        {"<root><!-- x -></root>", 1}, // other markup
        {"<root><![CDATA[x]]</root>", 1},
        {"<root><?x</root>", 1},
        {"<root><!x></root>", 1},
        {"<!DOCTYPE root [<root/>", 1},
        {"<root/><", 1},
        {"<root/>\nx", 2}, // beside the document's element
        {"x\n<root/>", 1},
        {"no markup", 1},
        {"<root/>\n\n<![CDATA[x]]>", 3},
        {"<root/>\n<root/>", 2},
        {"<other/><root/>", 1},
        {"<root/>&amp;", 1},
        {"<\0root/>"s, 1}, // zero bytes
        {"<root>\n\0</root>"s, 2},
        {"<root a='\0'/>"s, 1},
        {"<root/>\0<root/>"s, 1},
        {"\xFF\xFE<\0r\0/\0>\0"s, 1}, // in 16 bits a character
    };
    for (const auto& [text, line] : cases) {
        const Refusal refusal = RefusalOf(text);
        EXPECT_EQ(refusal.line, line) << text;
        EXPECT_NE(refusal.reason, "") << text;
        EXPECT_EQ(refusal.what, "<unspecified file>(" + std::to_string(line) + "): " + refusal.reason) << text;
    }
}

TEST(XmlDocument, ADocumentCutAnywhereIsRefused)
{
    const std::string market = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!-- a market -->\n<root>\n"
                               "  <Currency IndicatorID=\"1\" Radius=\"0.05\"/>\n  <BaseContract Code=\"A&amp;B\">x"
                               "</BaseContract>\n  <![CDATA[ ]]><?end?>\n</root>";
    ASSERT_EQ(RefusalOf(market).what, "");
    for (std::size_t size = 0; size < market.size(); ++size)
        try {
            static_cast<void>(XmlDocument(market.substr(0, size)).Root("root"));
            ADD_FAILURE() << "taken: " << market.substr(0, size);
        } catch (const XmlError&) {
        } catch (const NoSuchNode&) {
            EXPECT_LE(size, market.find("<root>")) << market.substr(0, size);
        }
}

TEST(XmlDocument, ADocumentWithoutTheElementSaysWhichIsMissing)
{
    for (const char* text : {"", " \n", "<?xml version='1.0'?>", "<!-- x -->", "<Root/>", "<other><root/></other>"})
        try {
            static_cast<void>(XmlDocument(text).Root("root"));
            ADD_FAILURE() << text;
        } catch (const NoSuchNode& error) {
            EXPECT_STREQ(error.what(), "No such node (root)") << text;
        }
}

TEST(XmlDocument, ChildrenAreInOrderWithTheirPlaces)
{
    const std::string text = "<root>\n<A/>text<!-- x -->\n\n<B>\n</B><A/>\n</root>";
    const XmlDocument document(text);
    std::vector<std::string> found;
    for (const pugi::xml_node& element : document.Root("root").children())
        if (element.type() == pugi::node_element)
            found.push_back(element.name() +
                            std::to_string(LineAt(text, static_cast<std::size_t>(element.offset_debug()))));
    EXPECT_THAT(found, testing::ElementsAre("A2", "B4", "A5"));
    EXPECT_EQ(LineAt(text, 0), 1u);
    EXPECT_EQ(LineAt(text, text.size() + 100), 6u) << "behind the end is the last line";
}

/// A document of this many elements inside each other.
std::string Nested(std::size_t depth, const std::string& end = "")
{
    std::string text;
    text.reserve(8 * depth + end.size());
    for (std::size_t level = 0; level < depth; ++level)
        text += "<a>";
    text += end;
    for (std::size_t level = 0; level < depth; ++level)
        text += "</a>";
    return text;
}

TEST(XmlDocument, DepthIsNoMatter)
{
    EXPECT_EQ(RefusalOf(Nested(1'000'000)).what, "");
    constexpr std::size_t depth = 200'000; // a call for each would use up the stack
    EXPECT_EQ(RefusalOf(Nested(depth, "&amp;")).what, "") << "nor where references are looked for";
    EXPECT_EQ(RefusalOf(Nested(depth, "&no;")).reason, "a reference stands for no character");
    std::string cut = Nested(depth);
    cut.resize(cut.size() / 2);
    EXPECT_EQ(RefusalOf(cut).line, 1u) << "a tree that is given up half-way";
    for (const char* opening : {"<!b ", "[", "<![", "<!--"}) {
        std::string type = "<!DOCTYPE a ";
        for (std::size_t level = 0; level < depth; ++level)
            type += opening;
        EXPECT_EQ(RefusalOf(type).line, 1u) << opening;
    }
}

TEST(XmlDocument, ManyReferencesTakeNoMoreThanTheirPlace)
{
    std::string value;
    for (int i = 0; i < 100'000; ++i)
        value += "&amp;";
    EXPECT_EQ(AttributeOf("<root a='" + value + "'/>"), std::string(100'000, '&'));
}

// Memory that ends

long blocksLeft = 0;
long blocksHeld = 0;

void* TakeBlock(std::size_t size)
{
    if (blocksLeft-- <= 0) return nullptr;
    ++blocksHeld;
    return std::malloc(size);
}

void GiveBlock(void* block)
{
    --blocksHeld;
    std::free(block);
}

TEST(XmlDocument, WhenMemoryEndsItSaysSoAndKeepsNothing)
{
    std::string text = "<root>";
    for (int i = 0; i < 5000; ++i) // some pages of the tree
        text += "<a b='1'/>";
    text += "</root>";

    const auto allocate = pugi::get_memory_allocation_function();
    const auto deallocate = pugi::get_memory_deallocation_function();
    pugi::set_memory_management_functions(TakeBlock, GiveBlock);
    long failures = 0;
    for (bool isDone = false; !isDone && failures < 1000; failures += isDone ? 0 : 1) {
        blocksLeft = failures;
        try {
            const XmlDocument document(text);
            isDone = true;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(blocksHeld, 0) << failures;
    }
    pugi::set_memory_management_functions(allocate, deallocate);
    EXPECT_GT(failures, 10);
    EXPECT_LT(failures, 1000);
}

} // namespace
} // namespace test::XmlDocumentTest
