#include <KRCommon/xml/Xml_Parser.h>

#include <KRCommon/xml/Xml_Limits.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace kr_internal;
using namespace std::string_literals;
using Event = Xml_Parser::Event;

std::string repeat(const std::string& text, std::size_t times)
{
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

// Everything a document hands out: "<a b='1'>text</a>" (<a></a> for <a/>, neighbouring pieces of
// text joined), or the error's text.
std::string content_of(std::string_view document)
{
    std::string content;
    Xml_Parser parser(document);
    Xml_Parser::Attribute attribute;
    for (;;) {
        switch (parser.next()) {
        case Event::start_element:
            content.append("<").append(parser.name());
            while (parser.next_attribute(attribute))
                content.append(" ").append(attribute.name).append("='").append(attribute.value) +=
                    "'";
            content += ">";
            break;
        case Event::end_element: content.append("</").append(parser.name()).append(">"); break;
        case Event::text: content.append(parser.text()); break;
        case Event::end_of_document: return content;
        case Event::error: return text_of(parser.error());
        }
    }
}

// The error of a document whose attributes nobody asks for.
Xml_Error error_of(std::string_view document)
{
    Xml_Parser parser(document);
    for (;;) {
        const Event event = parser.next();
        if (event == Event::end_of_document || event == Event::error)
            return parser.error();
    }
}

// From a buffer of exactly this size, so that a sanitizer sees a step beyond it.
Xml_Error error_of_exact(std::string_view document)
{
    const std::unique_ptr<char[]> buffer(new char[document.size()]);
    std::copy(document.begin(), document.end(), buffer.get());
    return error_of({buffer.get(), document.size()});
}

std::string in_utf_16(const std::string& ascii, bool big_endian)
{
    std::string bytes;
    for (const char c : ascii)
        bytes += big_endian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

std::string with_dtd(const std::string& subset, const std::string& content)
{
    return "<!DOCTYPE a [" + subset + "]><a>" + content + "</a>";
}

struct Row {
    std::string document;
    std::string expected;
};

void expect_content(const std::vector<Row>& rows)
{
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, content_of(row.document)) << row.document.substr(0, 200);
}

// Whether the attributes are asked for makes no difference to an error.
void expect_errors(const std::vector<Row>& rows)
{
    for (const Row& row : rows) {
        EXPECT_EQ(row.expected, content_of(row.document)) << row.document.substr(0, 200);
        EXPECT_EQ(row.expected, text_of(error_of_exact(row.document)))
            << row.document.substr(0, 200);
    }
}

TEST(XmlParser, HandsOutElementsAttributesAndText)
{
    Xml_Parser parser("<a x='1' y=\"2\">t<b/></a>");
    Xml_Parser::Attribute attribute;
    ASSERT_EQ(Event::start_element, parser.next());
    EXPECT_EQ("a", parser.name());
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_EQ("x", attribute.name);
    EXPECT_EQ("1", attribute.value);
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_EQ("y", attribute.name);
    EXPECT_EQ("2", attribute.value);
    EXPECT_FALSE(parser.next_attribute(attribute));
    EXPECT_FALSE(parser.next_attribute(attribute));
    ASSERT_EQ(Event::text, parser.next());
    EXPECT_EQ("t", parser.text());
    EXPECT_FALSE(parser.next_attribute(attribute));
    ASSERT_EQ(Event::start_element, parser.next());
    EXPECT_EQ("b", parser.name());
    EXPECT_FALSE(parser.next_attribute(attribute));
    ASSERT_EQ(Event::end_element, parser.next());
    EXPECT_EQ("b", parser.name());
    ASSERT_EQ(Event::end_element, parser.next());
    EXPECT_EQ("a", parser.name());
    EXPECT_FALSE(parser.error());
    EXPECT_EQ(Event::end_of_document, parser.next());
    EXPECT_EQ(Event::end_of_document, parser.next());
    EXPECT_FALSE(parser.error());
}

TEST(XmlParser, AnErrorComesAgainAndAgain)
{
    Xml_Parser parser("<a><b></a>");
    EXPECT_EQ(Event::start_element, parser.next());
    EXPECT_EQ(Event::start_element, parser.next());
    EXPECT_FALSE(parser.error());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Event::error, parser.next());
        EXPECT_EQ("line:1-'b'-Bad end of element", text_of(parser.error()));
        Xml_Parser::Attribute attribute;
        EXPECT_FALSE(parser.next_attribute(attribute));
    }
}

TEST(XmlParser, AnAttributeErrorIsReportedByNext)
{
    Xml_Parser parser("<a x='1' y='<'>");
    Xml_Parser::Attribute attribute;
    ASSERT_EQ(Event::start_element, parser.next());
    EXPECT_TRUE(parser.next_attribute(attribute));
    EXPECT_FALSE(parser.next_attribute(attribute));
    EXPECT_FALSE(parser.next_attribute(attribute));
    EXPECT_EQ(Event::error, parser.next());
    EXPECT_EQ("line:1-'y'-Unable to read attribute value", text_of(parser.error()));
}

TEST(XmlParser, AttributesNotAskedForAreChecked)
{
    EXPECT_EQ("line:2-'y'-Unable to read attribute value",
              text_of(error_of("<a x='1'\n y='<'><b/></a>")));
    EXPECT_EQ("line:1-'nope'-Unexpected entity", text_of(error_of("<a x='1' y='&nope;'/>")));
    EXPECT_FALSE(error_of("<a x='1' y='&lt;'/>"));
}

TEST(XmlParser, ValuesAndTextThatNeedNoChangeAreViewsOfTheDocument)
{
    const std::string document = "<a x='it\"s' y='&lt;'>text</a>";
    const auto is_inside = [&](std::string_view view) {
        return view.data() >= document.data() && view.data() < document.data() + document.size();
    };
    Xml_Parser parser(document);
    Xml_Parser::Attribute attribute;
    ASSERT_EQ(Event::start_element, parser.next());
    const std::string_view name = parser.name();
    EXPECT_TRUE(is_inside(name));
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_TRUE(is_inside(attribute.name));
    EXPECT_TRUE(is_inside(attribute.value));
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_FALSE(is_inside(attribute.value));
    EXPECT_EQ("<", attribute.value);
    EXPECT_EQ("a", name) << "valid until next()";
    ASSERT_EQ(Event::text, parser.next());
    EXPECT_TRUE(is_inside(parser.text()));
}

TEST(XmlParser, WellFormedDocuments)
{
    expect_content({
        {"<a/>", "<a></a>"},
        {"<a />", "<a></a>"},
        {"<a></a>", "<a></a>"},
        {"<a\n></a\t >", "<a></a>"},
        {" \t\r\n<a/>\r\n\t ", "<a></a>"},
        {"<?xml version='1.0'?><a/>", "<a></a>"},
        {"<?xml version='1.0'?> <a/>", "<a></a>"},
        {"<a x = '1'\ty\n=\n\"2\" />", "<a x='1' y='2'></a>"},
        {"<a x='' y=\"\"/>", "<a x='' y=''></a>"},
        {"<a x='1' x='2'/>", "<a x='1' x='2'></a>"}, // the caller's to check
        {"<a x='>'>></a>", "<a x='>'>></a>"},
        {"<a>]] ]> ]]</a>", "<a>]] ]> ]]</a>"},
        {"<a><b><c/>x</b>y</a>", "<a><b><c></c>x</b>y</a>"},
        {"<a:b_-.9 _x:y-.0='1'/>", "<a:b_-.9 _x:y-.0='1'></a:b_-.9>"},
        {"<:/>", "<:></:>"},
        {"<_/>", "<_></_>"},
    });
}

TEST(XmlParser, CommentsAndInstructionsAreSkipped)
{
    expect_content({
        {"<!---->  <!-- - -><& --><?p?><a>x<!-- c -->y<?p q ? ?>z</a><!--e--><?p ?>", "<a>xyz</a>"},
        {"<?xmlx?><?xm l?><?x?><a/>", "<a></a>"},
        {"<?xml-model href=\"KRCommon.xsd\"?>\n<a/>", "<a></a>"},
        {"<?p \?\?\?\?><a/>", "<a></a>"},
        {"<?p <a>--&%?><a/>", "<a></a>"},
    });
}

TEST(XmlParser, CdataSectionsAreText)
{
    expect_content({
        {"<a><![CDATA[]]></a>", "<a></a>"},
        {"<a><![CDATA[<b>&lt;]]></a>", "<a><b>&lt;</a>"},
        {"<a>x<![CDATA[ ] ]] ]> ]]]]></a>", "<a>x ] ]] ]> ]]</a>"},
        {"<a><![CDATA[]]]></a>", "<a>]</a>"},
        {"<a><![CDATA[1]]><![CDATA[2]]></a>", "<a>12</a>"},
        {"<a><![CDATA[\r\n\r]]>\r</a>", "<a>\n\n\n</a>"},
    });
}

TEST(XmlParser, ReferencesInText)
{
    expect_content({
        {"<a>&lt;&gt;&amp;&apos;&quot;</a>", "<a><>&'\"</a>"},
        {"<a>&#65;&#x42;&#x63;&#0000068;&#x00045;</a>", "<a>ABcDE</a>"},
        {"<a>&#9;&#10;&#13;&#x20;</a>", "<a>\t\n\r </a>"},
        {"<a>&#xE4;&#8364;&#x1F600;&#x10FFFF;</a>",
         "<a>\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF</a>"},
        {"<a>&amp;lt;&#38;lt;</a>", "<a>&lt;&lt;</a>"},
        {"<a>]]&gt;</a>", "<a>]]></a>"},
    });
}

TEST(XmlParser, ReferencesInValues)
{
    expect_content({
        {"<a x='&lt;&gt;&amp;&apos;&quot;'/>", "<a x='<>&'\"'></a>"},
        {"<a x='1&#65;2&#x1F600;3'/>", "<a x='1A2\xF0\x9F\x98\x80"
                                       "3'></a>"},
        {"<a x='it\"s &amp; that'/>", "<a x='it\"s & that'></a>"},
        {"<a x=\"it's\n&amp;\"/>", "<a x='it's &'></a>"},
    });
}

// Values are scanned sixteen bytes at a time.
TEST(XmlParser, ValuesOfAnyLengthAndWhatMayStandInThem)
{
    for (std::size_t before = 0; before < 40; ++before) {
        const std::string x(before, 'x');
        for (const std::string& after : {""s, "y"s, "\xC3\xA4!~\x7F"s, std::string(20, 'y')}) {
            expect_content({
                {"<a v='" + x + after + "'/>", "<a v='" + x + after + "'></a>"},
                {"<a v='" + x + '"' + after + "'/>", "<a v='" + x + '"' + after + "'></a>"},
                {"<a v=\"" + x + "''" + after + "\"/>", "<a v='" + x + "''" + after + "'></a>"},
                {"<a v='" + x + "&lt;" + after + "'/>", "<a v='" + x + '<' + after + "'></a>"},
                {"<a v='" + x + '\t' + after + "'/>", "<a v='" + x + ' ' + after + "'></a>"},
                {"<a v='" + x + "\r\n" + after + "'/>", "<a v='" + x + ' ' + after + "'></a>"},
            });
            EXPECT_EQ("line:1-'v'-Unable to read attribute value",
                      text_of(error_of_exact("<a v='" + x + '<' + after + "'/>")));
            EXPECT_EQ("line:1-'v'-Unexpected end of message",
                      text_of(error_of_exact("<a v='" + x + after)));
        }
    }
}

TEST(XmlParser, WhiteSpaceInValuesBecomesBlanks)
{
    expect_content({
        {"<a x='\t1\n2\r\n3\r4\r\r\n5\n\r'/>", "<a x=' 1 2 3 4  5  '></a>"},
        {"<a x='&#9;&#10;&#13;&#32;'/>", "<a x='\t\n\r '></a>"},
        {"<a x='&#13;\n'/>", "<a x='\r '></a>"},
        {"<a x=' 1  2 '/>", "<a x=' 1  2 '></a>"},
    });
}

TEST(XmlParser, LineEndsInTextBecomeLineFeeds)
{
    expect_content({
        {"<a>1\n2\r\n3\r4\r\r\n5\n\r</a>", "<a>1\n2\n3\n4\n\n5\n\n</a>"},
        {"<a>\r\n</a>", "<a>\n</a>"},
        {"<a>\r<b/>\r</a>", "<a>\n<b></b>\n</a>"},
        {"<a>\xC2\x85\xE2\x80\xA8</a>", "<a>\xC2\x85\xE2\x80\xA8</a>"},
    });
}

TEST(XmlParser, NamesBeyondAscii)
{
    expect_content({
        {"<\xC3\xA4/>", "<\xC3\xA4></\xC3\xA4>"},
        {"<a\xC2\xB7\xCC\x80\xE2\x80\xBF/>", "<a\xC2\xB7\xCC\x80\xE2\x80\xBF></a\xC2\xB7\xCC\x80"
                                             "\xE2\x80\xBF>"},
        {"<\xF0\x90\x80\x80 \xE3\x80\x81='1'/>",
         "<\xF0\x90\x80\x80 \xE3\x80\x81='1'></\xF0\x90\x80\x80>"},
        {"<\xC3\xA4x\xC3\xA4y></\xC3\xA4x\xC3\xA4y>", "<\xC3\xA4x\xC3\xA4y></\xC3\xA4x\xC3\xA4y>"},
    });
    // the borders of the ranges in which names may begin
    for (const char* good :
         {"\xC3\x80",     "\xC3\x96",     "\xC3\x98",         "\xC3\xB6",        "\xC3\xB8",
          "\xCB\xBF",     "\xCD\xB0",     "\xCD\xBD",         "\xCD\xBF",        "\xE1\xBF\xBF",
          "\xE2\x80\x8C", "\xE2\x80\x8D", "\xE2\x81\xB0",     "\xE2\x86\x8F",    "\xE2\xB0\x80",
          "\xE2\xBF\xAF", "\xE3\x80\x81", "\xED\x9F\xBF",     "\xEF\xA4\x80",    "\xEF\xB7\x8F",
          "\xEF\xB7\xB0", "\xEF\xBF\xBD", "\xF0\x90\x80\x80", "\xF3\xAF\xBF\xBF"})
        EXPECT_FALSE(error_of("<"s + good + "/>")) << testing::PrintToString(good);
    for (const char* bad :
         {"\xC2\xB7", "\xC3\x97", "\xC3\xB7", "\xCC\x80", "\xCD\xAF", "\xCD\xBE", "\xE2\x80\x8B",
          "\xE2\x80\x8E", "\xE2\x81\xAF", "\xE2\x86\x90", "\xE2\xAF\xBF", "\xE2\xBF\xB0",
          "\xE3\x80\x80", "\xEE\x80\x80", "\xEF\xA3\xBF", "\xEF\xB7\x90", "\xF3\xB0\x80\x80",
          "\xF4\x8F\xBF\xBF", "\xC2\xB5"})
        EXPECT_EQ(Xml_Code::badly_formed, error_of("<"s + bad + "/>").code)
            << testing::PrintToString(bad);
    // and those in which they may go on
    for (const char* good : {"\xC2\xB7", "\xCC\x80", "\xCD\xAF", "\xE2\x80\xBF", "\xE2\x81\x80"})
        EXPECT_FALSE(error_of("<a"s + good + "/>")) << testing::PrintToString(good);
    for (const char* bad : {"\xC2\xB6", "\xC2\xB8", "\xC3\x97", "\xE2\x80\xBE", "\xE2\x81\x81"})
        EXPECT_EQ(Xml_Code::bad_start_tag_end, error_of("<a"s + bad + "/>").code)
            << testing::PrintToString(bad);
}

TEST(XmlParser, BadlyFormedMarkupAndText)
{
    expect_errors({
        {"<a>&</a>", "line:1-'a'-XML badly formed"},
        {"<a>& </a>", "line:1-'a'-XML badly formed"},
        {"<a>&;</a>", "line:1-'a'-XML badly formed"},
        {"<a>&lt</a>", "line:1-'a'-XML badly formed"},
        {"<a>&1;</a>", "line:1-'a'-XML badly formed"},
        {"<a>&lt ;</a>", "line:1-'a'-XML badly formed"},
        {"<a x='&'/>", "line:1-'x'-XML badly formed"},
        {"<a x='&amp'/>", "line:1-'x'-XML badly formed"},
        {"<a>]]></a>", "line:1-'a'-XML badly formed"},
        {"<a>]]]></a>", "line:1-'a'-XML badly formed"},
        {"<a>\n< b/></a>", "line:2-'a'-XML badly formed"},
        {"<a><1/></a>", "line:1-'a'-XML badly formed"},
        {"<a><</a>", "line:1-'a'-XML badly formed"},
        {"<a><-b/></a>", "line:1-'a'-XML badly formed"},
        {"<a><.b/></a>", "line:1-'a'-XML badly formed"},
        {"<1/>", "line:1-''-XML badly formed"},
        {"<>", "line:1-''-XML badly formed"},
        {"<!a>", "line:1-''-XML badly formed"},
        {"<a><!ELEMENT a ANY></a>", "line:1-'a'-XML badly formed"},
        {"<a><![cdata[]]></a>", "line:1-'a'-XML badly formed"},
        {"<a><![CDATA []]></a>", "line:1-'a'-XML badly formed"},
        {"<a><![INCLUDE[]]></a>", "line:1-'a'-XML badly formed"},
        {"<a><?\?></a>", "line:1-'a'-XML badly formed"},
        {"<a><? p?></a>", "line:1-'a'-XML badly formed"},
        {"<a><?1?></a>", "line:1-'a'-XML badly formed"},
        {"<a><?p=?></a>", "line:1-'a'-XML badly formed"},
        {"<a><?p?a?></a>", "line:1-'a'-XML badly formed"},
    });
}

TEST(XmlParser, BadCharacterReferences)
{
    for (const char* bad :
         {"&#;",        "&#x;",          "&#0;",          "&#x0;",
          "&#8;",       "&#11;",         "&#x1F;",        "&#xD800;",
          "&#xDFFF;",   "&#xFFFE;",      "&#xFFFF;",      "&#x110000;",
          "&#1114112;", "&#4294967361;", "&#x100000041;", "&#18446744073709551681;",
          "&#65",       "&#65 ;",        "&#-65;",        "&#+65;",
          "&#X41;",     "&#a;",          "&#xg;",         "& #65;",
          "&# 65;",     "&#6 5;"}) {
        EXPECT_EQ("line:1-'a'-XML badly formed", content_of("<a>"s + bad + "</a>")) << bad;
        EXPECT_EQ("line:1-'x'-XML badly formed", content_of("<a x='"s + bad + "'/>")) << bad;
        EXPECT_EQ("line:1-'e'-Badly formed DTD",
                  content_of(with_dtd("<!ENTITY e '"s + bad + "'>", "")))
            << bad;
    }
}

TEST(XmlParser, CharactersThatXmlDoesNotAllow)
{
    expect_errors({
        {"<a>\n\x01</a>", "line:2-'a'-XML badly formed"},
        {"<a>\0</a>"s, "line:1-'a'-XML badly formed"},
        {"<a x='\x1F'/>", "line:1-'x'-XML badly formed"},
        {"<a/>\x0B", "line:1-''-XML badly formed"},
        {"\x0C<a/>", "line:1-''-XML badly formed"},
        {"<a>\xEF\xBF\xBE</a>", "line:1-'a'-XML badly formed"},
        {"<a>\xEF\xBF\xBF</a>", "line:1-'a'-XML badly formed"},
        {"<!DOCTYPE a [\x01]><a/>", "line:1-''-XML badly formed"},
    });
}

TEST(XmlParser, BytesThatAreNotOfTheEncoding)
{
    expect_errors({
        {"<a>\n\xFF</a>", "line:2-'a'-Mis-match between specified char encoding and read bytes"},
        {"<a x='\xC0\x80'/>",
         "line:1-'x'-Mis-match between specified char encoding and read bytes"},
        {"<a/>\n\xED\xA0\x80",
         "line:2-''-Mis-match between specified char encoding and read bytes"},
        {"<a>\xE4</a>", "line:1-'a'-Mis-match between specified char encoding and read bytes"},
        {"<?xml version='1.0' encoding='US-ASCII'?>\n<a>\xC3\xA4</a>",
         "line:2-'a'-Mis-match between specified char encoding and read bytes"},
        {in_utf_16("<a/>", true) + "\0"s,
         "line:1-''-Mis-match between specified char encoding and read bytes"},
        {in_utf_16("<a>\r\n", true) + "\xD8\0\0<"s,
         "line:2-'a'-Mis-match between specified char encoding and read bytes"},
    });
}

TEST(XmlParser, AnErrorBeforeABadByteIsReportedFirst)
{
    EXPECT_EQ("line:1-'b'-Bad end of element", content_of("<a></b>\xFF"));
    EXPECT_EQ("line:1-'a'-XML badly formed", content_of("<a>&\x01"s + "\xFF</a>"));
}

TEST(XmlParser, DeclarationErrors)
{
    expect_errors({
        {"<?xml version='1.0' ?", "line:1-''-Unexpected end of message"},
        {"<?xml\nversion='1.0'\nstandalone='si'?><a/>", "line:3-'standalone'-Bad XML Decl spec"},
        {"<?xml\r\nversion='1.0'\rx?><a/>", "line:3-''-Bad XML Decl spec"},
        {"<?xml\nversion='1.1'?><a/>", "line:2-'version'-Unsupported XML version"},
        {"<?xml version='2.0'?><a/>", "line:1-'version'-Unsupported XML version"},
        {"<?xml version='1.0' encoding='EBCDIC'?><a/>",
         "line:1-'encoding'-XML character encoding not supported"},
        {"<\0\0\0"s, "line:1-''-XML character encoding not supported"},
        {"<?xml version='1.0' encoding='UTF-16'?><a/>",
         "line:1-'encoding'-Mis-match between specified char encoding and read bytes"},
        {in_utf_16("<?xml version='1.0' encoding='UTF-8'?><a/>", true),
         "line:1-'encoding'-Mis-match between specified char encoding and read bytes"},
        {"\n<?xml version='1.0'?><a/>", "line:2-''-Not well formed"},
        {"<!----><?xml version='1.0'?><a/>", "line:1-''-Not well formed"},
        {"<?XML version='1.0'?><a/>", "line:1-''-Not well formed"},
        {"<a>\n<?xMl x?></a>", "line:2-'a'-Not well formed"},
        {"<a/><?xml version='1.0'?>", "line:1-''-Not well formed"},
        {"<?xml version='1.0'?><?xml version='1.0'?><a/>", "line:1-''-Not well formed"},
        {"<!DOCTYPE a [<?xml version='1.0'?>]><a/>", "line:1-''-Not well formed"},
    });
}

TEST(XmlParser, BadComments)
{
    expect_errors({
        {"<a>\n<!-- -- --></a>", "line:2-'a'-Badly formed comment"},
        {"<a><!-- --->", "line:1-'a'-Badly formed comment"},
        {"<!- a -->", "line:1-''-Badly formed comment"},
        {"<!-a", "line:1-''-Badly formed comment"},
        {"<!DOCTYPE a [<!-- a -- b -->]><a/>", "line:1-''-Badly formed comment"},
        {"<!DOCTYPE a [<!-x", "line:1-''-Badly formed comment"},
        {"\n<!-- \n\n", "line:2-''-Unexpected end of message"},
        {"<!--->", "line:1-''-Unexpected end of message"},
        {"<!-->-->", "line:1-''-Unexpected end of message"},
    });
    EXPECT_EQ("<a></a>", content_of("<!-->--><a/>"));
}

TEST(XmlParser, BadEndsOfElements)
{
    expect_errors({
        {"<a>\n</b>", "line:2-'b'-Bad end of element"},
        {"<a></A>", "line:1-'A'-Bad end of element"},
        {"<a></aa>", "line:1-'aa'-Bad end of element"},
        {"<aa></a>", "line:1-'a'-Bad end of element"},
        {"<a><b></a></b>", "line:1-'b'-Bad end of element"},
        {"<a><b/></b></a>", "line:1-'b'-Bad end of element"},
    });
}

TEST(XmlParser, BadStartTagEnds)
{
    expect_errors({
        {"<a/ >", "line:1-'a'-Bad start tag end"},
        {"<a\n/x>", "line:2-'a'-Bad start tag end"},
        {"<a <b/>", "line:1-'a'-Bad start tag end"},
        {"<a<b/>", "line:1-'a'-Bad start tag end"},
        {"<a x='1'y='2'/>", "line:1-'a'-Bad start tag end"},
        {"<a'x'>", "line:1-'a'-Bad start tag end"},
        {"<a 'x'>", "line:1-'a'-Bad start tag end"},
        {"<a 1='x'>", "line:1-'a'-Bad start tag end"},
        {"<a ='x'>", "line:1-'a'-Bad start tag end"},
        {"<a x='1' &lt;>", "line:1-'a'-Bad start tag end"},
        {"<a x='1'//>", "line:1-'a'-Bad start tag end"},
        {"<a?>", "line:1-'a'-Bad start tag end"},
    });
}

TEST(XmlParser, BadEndTags)
{
    expect_errors({
        {"<a></ a>", "line:1-'a'-Syntax error in end tag"},
        {"<a></>", "line:1-'a'-Syntax error in end tag"},
        {"<a></a b>", "line:1-'a'-Syntax error in end tag"},
        {"<a></a/>", "line:1-'a'-Syntax error in end tag"},
        {"<a></1>", "line:1-'a'-Syntax error in end tag"},
        {"<a></a\n<", "line:1-'a'-Syntax error in end tag"},
        {"<a></a x='1'>", "line:1-'a'-Syntax error in end tag"},
    });
}

// What is missing shows much later: where it is missing is what the line tells.
TEST(XmlParser, WhatHasNoEndIsToldWhereItBegins)
{
    const std::string unexpected = "Unexpected end of message";
    expect_errors({
        {"<a>\n<b\nx='1'\n\n", "line:2-'b'-" + unexpected},
        {"<a>\n<b\nx='1'\ny\n", "line:4-'y'-" + unexpected},
        {"<a>\n<b\nx='1'\ny='\n\n", "line:4-'y'-" + unexpected},
        {"<a>\n<b\nx='1'\n/", "line:4-'b'-" + unexpected},
        {"<a>\n</a\n\n", "line:2-'a'-" + unexpected},
        {"<a>\n<!-- \n\n", "line:2-'a'-" + unexpected},
        {"<a>\n<?p \n\n", "line:2-'a'-" + unexpected},
        {"<a>\n<![CDATA[\n\r\n x\n", "line:2-'a'-" + unexpected},
        {"\n<!DOCTYPE\n\n", "line:2-''-" + unexpected},
        {"\n<!DOCTYPE a [\n<?p?>\n\n", "line:2-''-" + unexpected},
        {"\n<!DOCTYPE a [\n<?p?>\n<?p\n\n", "line:4-''-" + unexpected},
        {"\n<!DOCTYPE a [\n<!ENTITY e '\n\n", "line:3-'e'-" + unexpected},
    });
    // Elements that are open at the end may just as well have been cut off there.
    expect_errors({
        {"<a>\n<b>\n</b>\n", "line:4-'a'-" + unexpected},
        {"<a>\n<b>\n\n", "line:4-'b'-" + unexpected},
        {"<a>\n<b/>\nx\n", "line:4-'a'-" + unexpected},
        {"<a>\n<b/>\n&amp", "line:3-'a'-" + unexpected},
        {"<a/>\n\n<!-- ", "line:3-''-" + unexpected},
        {"<!-- -->\n\n", "line:3-''-" + unexpected},
    });
}

TEST(XmlParser, ATagWithoutItsEndIsToldWhereItBegins)
{
    expect_errors({
        {"<a\nx='1'\n\n<b/></a>", "line:1-'a'-Bad start tag end"},
        {"<a>\n<b\n\n<c/></a>", "line:2-'b'-Bad start tag end"},
        {"<a>\n<b\n=</a>", "line:3-'b'-Bad start tag end"},
        {"<a>\n</a\n\n<b/>", "line:2-'a'-Syntax error in end tag"},
        {"<a>\n</a\nx>", "line:2-'a'-Syntax error in end tag"},
    });
}

TEST(XmlParser, AValueWithoutAQuoteIsToldWhereItsAttributeStands)
{
    expect_errors({
        {"<a\nx='1>\n\n<b x='2'/></a>", "line:2-'x'-Unable to read attribute value"},
        {"<a\nx='1>\n&amp;\n<b x='2'/></a>", "line:2-'x'-Unable to read attribute value"},
        {"<a\nx='1\n\ny='2'/>", "line:2-'a'-Bad start tag end"},
        {"<a\nx='1\n\ny='2'\nz='3'/>", "line:2-'a'-Bad start tag end"},
        {"<a\nx\n\n1'>", "line:2-'x'-Unable to read attribute value"},
        {"<a\nx=\n\n1'>", "line:2-'x'-Unable to read attribute value"},
        {"<a\nx='" + repeat("1\n", 32'769) + "'/>", "line:2-'x'-Length too long"},
        {"<a\nx='&amp;" + repeat("1\n", 32'769) + "'/>", "line:2-'x'-Length too long"},
    });
    // What cannot be read is told where it stands.
    expect_errors({
        {"<a\nx='\n&'/>", "line:3-'x'-XML badly formed"},
        {"<a\nx='\n\n\x01'/>", "line:4-'x'-XML badly formed"},
        {"<a\nx='\n&nope;'/>", "line:3-'nope'-Unexpected entity"},
    });
}

TEST(XmlParser, AnElementWithoutItsEndIsToldWhereItBegins)
{
    expect_errors({
        {"<a>\n<b>\n<c>\n</b></a>", "line:3-'c'-Bad end of element"},
        {"<a>\n<b>\n<c>\n</a>", "line:3-'c'-Bad end of element"},
        {"<a>\n<b\nx='1'>\n<c/>\n</a>", "line:2-'b'-Bad end of element"},
        // no element of that name is open: the end tag is at fault
        {"<a>\n<b>\n</c></a>", "line:3-'c'-Bad end of element"},
        {"<a>\n<b/>\n</b>", "line:3-'b'-Bad end of element"},
        // within a replacement only its own elements count
        {"<!DOCTYPE a [<!ENTITY e '<c><d></c>'>]>\n<a>\n\n&e;</a>",
         "line:4-'d'-Bad end of element"},
        {"<!DOCTYPE a [<!ENTITY e '<d></a>'>]>\n<a>\n\n&e;</a>", "line:4-'a'-Bad end of element"},
    });
}

TEST(XmlParser, ACommentWithoutItsEndIsToldWhereItBegins)
{
    expect_errors({
        {"<a>\n<!-- b\n\n<!-- c -->\n</a>", "line:2-'a'-Badly formed comment"},
        {"<a>\n<!-- b\n\n<!---->\n</a>", "line:2-'a'-Badly formed comment"},
        {"<a>\n<!-- b\n\n!-- c -->\n</a>", "line:4-'a'-Badly formed comment"},
        {"<a>\n<!-- b\n\n-- c -->\n</a>", "line:4-'a'-Badly formed comment"},
    });
}

TEST(XmlParser, DocumentsThatAreNotWellFormed)
{
    expect_errors({
        {"x<a/>", "line:1-''-Not well formed"},
        {"<a/>\nx", "line:2-''-Not well formed"},
        {"text", "line:1-''-Not well formed"},
        {"<a/><b/>", "line:1-'b'-Not well formed"},
        {"<a></a>\r\r\n<a></a>", "line:3-'a'-Not well formed"},
        {"</a>", "line:1-'a'-Not well formed"},
        {"<a/></a>", "line:1-'a'-Not well formed"},
        {"<![CDATA[]]><a/>", "line:1-''-Not well formed"},
        {"<a/><![CDATA[]]>", "line:1-''-Not well formed"},
        {"&#32;<a/>", "line:1-''-Not well formed"},
        {"<a/>&amp;", "line:1-''-Not well formed"},
        {"\xEF\xBB\xBF\xEF\xBB\xBF<a/>", "line:1-''-Not well formed"},
        {"]]>", "line:1-''-Not well formed"},
    });
}

TEST(XmlParser, DocumentsWithoutARootEndUnexpectedly)
{
    expect_errors({
        {"", "line:1-''-Unexpected end of message"},
        {"\xEF\xBB\xBF", "line:1-''-Unexpected end of message"},
        {"\n\r\n\r", "line:4-''-Unexpected end of message"},
        {"<?xml version='1.0'?>\n", "line:2-''-Unexpected end of message"},
        {"<!-- only -->", "line:1-''-Unexpected end of message"},
        {"<!DOCTYPE a>", "line:1-''-Unexpected end of message"},
    });
}

TEST(XmlParser, UnterminatedConstructs)
{
    expect_errors({
        {"<", "line:1-''-Unexpected end of message"},
        {"<a", "line:1-''-Unexpected end of message"},
        {"<a\n", "line:1-'a'-Unexpected end of message"},
        {"<a x", "line:1-'a'-Unexpected end of message"},
        {"<a x ", "line:1-'x'-Unexpected end of message"},
        {"<a x=", "line:1-'x'-Unexpected end of message"},
        {"<a x='\n1", "line:1-'x'-Unexpected end of message"},
        {"<a x='&am", "line:1-'x'-Unexpected end of message"},
        {"<a/", "line:1-'a'-Unexpected end of message"},
        {"<a>", "line:1-'a'-Unexpected end of message"},
        {"<a><b></b>\n", "line:2-'a'-Unexpected end of message"},
        {"<a><b>", "line:1-'b'-Unexpected end of message"},
        {"<a></", "line:1-'a'-Unexpected end of message"},
        {"<a></a", "line:1-'a'-Unexpected end of message"},
        {"<a>&", "line:1-'a'-Unexpected end of message"},
        {"<a>&#", "line:1-'a'-Unexpected end of message"},
        {"<a>&#x4", "line:1-'a'-Unexpected end of message"},
        {"<a>]]", "line:1-'a'-Unexpected end of message"},
        {"<a><![CDA", "line:1-'a'-Unexpected end of message"},
        {"<a><![CDATA[x]]", "line:1-'a'-Unexpected end of message"},
        {"<a><?p", "line:1-'a'-Unexpected end of message"},
        {"<a><?p ?", "line:1-'a'-Unexpected end of message"},
    });
}

TEST(XmlParser, UnreadableAttributes)
{
    expect_errors({
        {"<a x>", "line:1-'x'-Unable to read attribute value"},
        {"<a x/>", "line:1-'x'-Unable to read attribute value"},
        {"<a x y='1'>", "line:1-'x'-Unable to read attribute value"},
        {"<a x=1>", "line:1-'x'-Unable to read attribute value"},
        {"<a x=>", "line:1-'x'-Unable to read attribute value"},
        {"<a x=&quot;1&quot;>", "line:1-'x'-Unable to read attribute value"},
        {"<a\nx\n:='1'>", "line:2-'x'-Unable to read attribute value"},
        {"<a x='1\n<'>", "line:1-'x'-Unable to read attribute value"},
        {"<!DOCTYPE a [<!ENTITY e '<'>]>\n<a x='&e;'/>",
         "line:2-'x'-Unable to read attribute value"},
        {"<!DOCTYPE a [<!ENTITY e '&#60;'>]><a x='&e;'/>",
         "line:1-'x'-Unable to read attribute value"},
    });
    EXPECT_EQ("<a x='<'></a>", content_of("<!DOCTYPE a [<!ENTITY e '&#38;#60;'>]><a x='&e;'/>"));
}

TEST(XmlParser, EntitiesThatAreNotDeclared)
{
    expect_errors({
        {"<a>\n&nbsp;</a>", "line:2-'nbsp'-Unexpected entity"},
        {"<a x='&b;'/>", "line:1-'b'-Unexpected entity"},
        {"<a>&LT;</a>", "line:1-'LT'-Unexpected entity"},
        {with_dtd("<!ENTITY e '&f;'>", "&e;"), "line:1-'f'-Unexpected entity"},
        {with_dtd("<!ENTITY % p '1'>", "&p;"), "line:1-'p'-Unexpected entity"},
        {"<!DOCTYPE a [<!ATTLIST a x CDATA '&e;'><!ENTITY e ''>]><a/>",
         "line:1-'e'-Unexpected entity"},
    });
    EXPECT_EQ("<a></a>", content_of(with_dtd("<!ENTITY e '&f;'>", ""))) << "never expanded";
}

TEST(XmlParser, ParameterEntitiesAreNotExpanded)
{
    expect_errors({
        {with_dtd("<!ENTITY % p ''>\n%p;", ""), "line:2-'p'-Unexpected entity"},
        {with_dtd("%p;", ""), "line:1-'p'-Unexpected entity"},
        {with_dtd("<!ENTITY e '%p;'>", ""), "line:1-'p'-Unexpected entity"},
        {with_dtd("<!ENTITY e '100%'>", ""), "line:1-'e'-Badly formed DTD"},
        {with_dtd("%", ""), "line:1-''-Badly formed DTD"},
        {with_dtd("%p ;", ""), "line:1-''-Badly formed DTD"},
        {with_dtd("<!ELEMENT %p; ANY>", ""), "line:1-''-Badly formed DTD"},
    });
    EXPECT_EQ("<a>%p;</a>", content_of(with_dtd("<!ENTITY % p '<&#33;x &e;'>", "%p;")));
}

TEST(XmlParser, ExternalEntitiesAreRefused)
{
    expect_errors({
        {"<!DOCTYPE a\nSYSTEM 'a.dtd'><a/>", "line:2-''-Reference to external entity"},
        {"<!DOCTYPE a PUBLIC '-//x' 'a.dtd' []><a/>", "line:1-''-Reference to external entity"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>",
         "line:1-'e'-External Entity definitions not supported"},
        {"<!DOCTYPE a [\n<!ENTITY e PUBLIC 'p' 's'>]><a/>",
         "line:2-'e'-External Entity definitions not supported"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 's' NDATA n>]><a/>",
         "line:1-'e'-External Entity definitions not supported"},
        {"<!DOCTYPE a [<!ENTITY % p SYSTEM 's'>]><a/>",
         "line:1-'p'-External Entity definitions not supported"},
    });
    EXPECT_EQ(Xml_Code::external_entity, error_of("<!DOCTYPE a SYSTEM 's'><a/>").code);
    EXPECT_EQ(Xml_Code::external_entity, error_of(with_dtd("<!ENTITY e SYSTEM 's'>", "")).code);
}

TEST(XmlParser, EntitiesInContent)
{
    expect_content({
        {with_dtd("<!ENTITY e 'v'>", "1&e;2&e;3"), "<a>1v2v3</a>"},
        {with_dtd("<!ENTITY e ''>", "1&e;2"), "<a>12</a>"},
        {with_dtd("<!ENTITY e '<b x=\"1\">t</b><c/><!--c--><?p?><![CDATA[<]]>'>", "&e;"),
         "<a><b x='1'>t</b><c></c><</a>"},
        {with_dtd("<!ENTITY e '1&f;3'><!ENTITY f '2'>", "&e;"), "<a>123</a>"},
        {with_dtd("<!ENTITY e '&#38;#38;'>", "&e;"), "<a>&</a>"},
        {with_dtd("<!ENTITY e '&lt;b>'>", "&e;"), "<a><b></a>"},
        {with_dtd("<!ENTITY e '&#60;b/>'>", "&e;"), "<a><b></b></a>"},
        {with_dtd("<!ENTITY e '1'><!ENTITY e '2'>", "&e;"), "<a>1</a>"},
        {with_dtd("<!ENTITY e \"it's\">", "&e;"), "<a>it's</a>"},
        {with_dtd("<!ENTITY e '&#37;'>", "&e;"), "<a>%</a>"},
        {with_dtd("<!ENTITY e ']]'>", "&e;&gt;"), "<a>]]></a>"},
        {with_dtd("<!ENTITY e ']]'>", "&e;>"), "<a>]]></a>"},
    });
}

TEST(XmlParser, EntitiesInValues)
{
    const std::string dtd = "<!DOCTYPE a [<!ENTITY e '1&f;\t3'><!ENTITY f '\"&#39;\n'>"
                            "<!ENTITY g '&#13;&#10;'><!ENTITY h '\r\n'>]>";
    expect_content({
        {dtd + "<a x='[&e;]' y=\"&f;\"/>", "<a x='[1\"'  3]' y='\"' '></a>"},
        {dtd + "<a x='&g;' y='&h;'/>", "<a x='  ' y=' '></a>"},
        {dtd + "<a>&g;&h;</a>", "<a>\r\n\n</a>"},
        {with_dtd("<!ENTITY e '<b x=\"&f;\"/>'><!ENTITY f 'v'>", "&e;"), "<a><b x='v'></b></a>"},
    });
}

TEST(XmlParser, RecursiveEntities)
{
    expect_errors({
        {with_dtd("<!ENTITY e '&e;'>", "&e;"), "line:1-'e'-Recursive entity definition"},
        {with_dtd("<!ENTITY e 'x&f;'><!ENTITY f '&g;'><!ENTITY g '&e;'>", "\n&f;"),
         "line:2-'f'-Recursive entity definition"},
        {"<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a x='&e;'/>",
         "line:1-'e'-Recursive entity definition"},
        {with_dtd("<!ENTITY e '<b x=\"&e;\"/>'>", "&e;"), "line:1-'e'-Recursive entity definition"},
        {"<!DOCTYPE a [<!ENTITY e '&e;'><!ATTLIST a x CDATA '&e;'>]><a/>",
         "line:1-'e'-Recursive entity definition"},
    });
    EXPECT_EQ("<a></a>", content_of(with_dtd("<!ENTITY e '&e;'>", ""))) << "never expanded";
}

TEST(XmlParser, ReplacementsMustBeBalanced)
{
    expect_errors({
        {with_dtd("<!ENTITY e '<b>'>", "&e;</b>"), "line:1-'b'-Bad end of element"},
        {with_dtd("<!ENTITY e '</b>'>", "<b>&e;"), "line:1-'b'-Bad end of element"},
        {with_dtd("<!ENTITY e '</a>'>", "&e;"), "line:1-'a'-Bad end of element"},
        {with_dtd("<!ENTITY e '</a><a>'>", "\n&e;"), "line:2-'a'-Bad end of element"},
        {with_dtd("<!ENTITY e '<b'>", "&e;/>"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '<b x=\"1'>", "&e;\"/>"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '<!--'>", "&e;-->"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '<![CDATA['>", "&e;]]>"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '&#38;'>", "&e;lt;"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '&#38;lt'>", "<b x='&e;;'/>"), "line:1-'e'-XML badly formed"},
        {with_dtd("<!ENTITY e '&#38;#6'>", "&e;"), "line:1-'e'-XML badly formed"},
    });
}

TEST(XmlParser, PredefinedEntitiesMayBeDeclaredAsWhatTheyAre)
{
    expect_content({
        {with_dtd("<!ENTITY lt '&#38;#60;'><!ENTITY amp '&#38;#x26;'><!ENTITY gt '&#62;'>"
                  "<!ENTITY apos \"'\"><!ENTITY quot '&#38;#x0022;'>",
                  "&lt;&amp;&gt;&apos;&quot;"),
         "<a><&>'\"</a>"},
    });
    for (const char* bad :
         {"<!ENTITY lt '<'>", "<!ENTITY lt '&#60;'>", "<!ENTITY amp '&#38;'>", "<!ENTITY gt ''>",
          "<!ENTITY lt '&#38;#62;'>", "<!ENTITY gt '<'>", "<!ENTITY apos '&quot;'>",
          "<!ENTITY quot '\"\"'>", "<!ENTITY lt '&#38;#60;x'>", "<!ENTITY lt '&#38;#x60;'>",
          "<!ENTITY lt '&#38;#60'>", "<!ENTITY lt 'lt'>"})
        EXPECT_EQ(Xml_Code::bad_dtd, error_of(with_dtd(bad, "")).code) << bad;
}

TEST(XmlParser, DoctypesWithoutEffect)
{
    for (const char* good :
         {"<!DOCTYPE a>", "<!DOCTYPE a >", "<!DOCTYPE\r\nb []>", "<!DOCTYPE a[]>",
          "<!DOCTYPE a [ ] >", "<!DOCTYPE a [<!-- ]> --><?p ]>?>]>",
          "<!DOCTYPE a [<!ELEMENT a EMPTY><!ELEMENT b ANY ><!ELEMENT c (#PCDATA)>]>",
          "<!DOCTYPE a [<!ELEMENT a (#PCDATA)*><!ELEMENT b ( #PCDATA | c|d )*>]>",
          "<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b (c)*><!ELEMENT c ((d))>]>",
          "<!DOCTYPE a [<!ELEMENT a ( b , c? , (d | e+ | (f, g)*)+ , h )? >]>",
          "<!DOCTYPE a [<!ATTLIST a><!ATTLIST a >]>",
          "<!DOCTYPE a [<!ATTLIST a b CDATA #REQUIRED c ID #IMPLIED d IDREF 'x'>]>",
          "<!DOCTYPE a [<!ATTLIST a b IDREFS #FIXED 'x' c ENTITY #IMPLIED\nd ENTITIES ''>]>",
          "<!DOCTYPE a [<!ATTLIST a b NMTOKEN \"&lt;&#65;\" c NMTOKENS 'a b' >]>",
          "<!DOCTYPE a [<!ATTLIST a b (1|-x | y) #IMPLIED c NOTATION ( m | n ) #IMPLIED>]>",
          "<!DOCTYPE a [<!ATTLIST a x CDATA 'default'>]>",
          "<!DOCTYPE a [<!NOTATION n SYSTEM 'a<b>&%'><!NOTATION m PUBLIC '-//a b//EN'>]>",
          "<!DOCTYPE a [<!NOTATION n PUBLIC \"it's\" 'sys' ><!NOTATION o PUBLIC '' >]>",
          "<!DOCTYPE a [<!ENTITY e 'v' ><!ENTITY % e \"v\"><!ENTITY\n%\ne ''>]>"})
        EXPECT_EQ("<a></a>", content_of(good + "<a/>"s)) << good;
}

TEST(XmlParser, BadDtds)
{
    for (const char* bad : {"<!DOCTYPE>",
                            "<!DOCTYPE >",
                            "<!DOCTYPEa>",
                            "<!DOCTYP a>",
                            "<!DOCTYPES a>",
                            "<!DOC>",
                            "<!DOCTYPE 1>",
                            "<!DOCTYPE a b>",
                            "<!DOCTYPE a system 's'>",
                            "<!DOCTYPE a <",
                            "<!DOCTYPE a []",
                            "<!DOCTYPE a []]>",
                            "<!DOCTYPE a [] []>",
                            "<!DOCTYPE a [x]>",
                            "<!DOCTYPE a [<b/>]>",
                            "<!DOCTYPE a [<!b>]>",
                            "<!DOCTYPE a [<!>]>",
                            "<!DOCTYPE a [< !ELEMENT b ANY>]>",
                            "<!DOCTYPE a [<!ELEMENTb ANY>]>",
                            "<!DOCTYPE a [<!element b ANY>]>",
                            "<!DOCTYPE a [<![INCLUDE[<!ELEMENT a ANY>]]>]>",
                            "<!DOCTYPE a [<![IGNORE[]]>]>",
                            "<!DOCTYPE a [<?1?>]>",
                            "<!DOCTYPE a [&lt;]>",
                            "<!DOCTYPE a [<!ELEMENT a>]>",
                            "<!DOCTYPE a [<!ELEMENT a any>]>",
                            "<!DOCTYPE a [<!ELEMENT a EMPTY ANY>]>",
                            "<!DOCTYPE a [<!ELEMENT a(b)>]>",
                            "<!DOCTYPE a [<!ELEMENT a ()>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b))>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b,)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (,b)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b c)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b,c|d)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b|c,d)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b&c)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b ?)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b) *>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b)**>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA|b)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA|b)+>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA,b)*>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA|(b))*>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA|b*)*>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#pcdata)>]>",
                            "<!DOCTYPE a [<!ELEMENT a (b|#PCDATA)*>]>",
                            "<!DOCTYPE a [<!ELEMENT a ((#PCDATA))>]>",
                            "<!DOCTYPE a [<!ELEMENT a (#PCDATA|b) *>]>",
                            "<!DOCTYPE a [<!ATTLIST>]>",
                            "<!DOCTYPE a [<!ATTLIST a b>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA>]>",
                            "<!DOCTYPE a [<!ATTLIST a b TEXT 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b cdata 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA x>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA #required>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA # REQUIRED>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA #FIXED>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA #FIXED'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA 'x'c CDATA 'y'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA '<'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b CDATA '&'>]>",
                            "<!DOCTYPE a [<!ENTITY e '<'><!ATTLIST a b CDATA '&e;'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b () 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b (1|) 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b (1,2) 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b (1|2)'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b(1|2) 'x'>]>",
                            "<!DOCTYPE a [<!ATTLIST a b NOTATION (1) #IMPLIED>]>",
                            "<!DOCTYPE a [<!ATTLIST a b NOTATION(n) #IMPLIED>]>",
                            "<!DOCTYPE a [<!ATTLIST a b NOTATION n #IMPLIED>]>",
                            "<!DOCTYPE a [<!ENTITY e>]>",
                            "<!DOCTYPE a [<!ENTITY e v>]>",
                            "<!DOCTYPE a [<!ENTITY e'v'>]>",
                            "<!DOCTYPE a [<!ENTITY 'v'>]>",
                            "<!DOCTYPE a [<!ENTITY e 'v' NDATA n>]>",
                            "<!DOCTYPE a [<!ENTITY e 'v'x>]>",
                            "<!DOCTYPE a [<!ENTITY %e 'v'>]>",
                            "<!DOCTYPE a [<!ENTITY% e 'v'>]>",
                            "<!DOCTYPE a [<!ENTITY e '&'>]>",
                            "<!DOCTYPE a [<!ENTITY e '&f'>]>",
                            "<!DOCTYPE a [<!ENTITY e '& f;'>]>",
                            "<!DOCTYPE a [<!ENTITY e '%'>]>",
                            "<!DOCTYPE a [<!ENTITY e '%f'>]>",
                            "<!DOCTYPE a [<!NOTATION n>]>",
                            "<!DOCTYPE a [<!NOTATION n SYSTEM>]>",
                            "<!DOCTYPE a [<!NOTATION n SYSTEM's'>]>",
                            "<!DOCTYPE a [<!NOTATION n SYSTEM s>]>",
                            "<!DOCTYPE a [<!NOTATION n 's'>]>",
                            "<!DOCTYPE a [<!NOTATION n system 's'>]>",
                            "<!DOCTYPE a [<!NOTATION n SYSTEM 's' 't'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'p''s'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'p' 's' 't'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'a\tb'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'a{b'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'a&b'>]>",
                            "<!DOCTYPE a [<!NOTATION n PUBLIC 'a\xC3\xA4'>]>"}) {
        EXPECT_EQ(Xml_Code::bad_dtd, error_of_exact(bad + "<a/>"s).code) << bad;
    }
}

TEST(XmlParser, BadDtdsWithLineAndName)
{
    expect_errors({
        {"<!DOCTYPE a>\n<!DOCTYPE a><a/>", "line:2-''-Badly formed DTD"},
        {"<a/>\n<!DOCTYPE a>", "line:2-''-Badly formed DTD"},
        {"<a><!DOCTYPE a></a>", "line:1-'a'-Badly formed DTD"},
        {"<!DOCTYPE a [\r\n<!ELEMENT a (b,c\n|d)>]>", "line:3-''-Badly formed DTD"},
        {"<!DOCTYPE a [<!ATTLIST a b CDATA #MAYBE>]>", "line:1-'b'-Badly formed DTD"},
        {"<!DOCTYPE a [<!ENTITY e 'v' x>]>", "line:1-'e'-Badly formed DTD"},
    });
}

struct Limit {
    const char* what;
    std::string at_limit;
    std::string beyond;
    const char* error;
};

TEST(XmlParser, LimitsAtTheLimitAndOneBeyond)
{
    const auto name = [](std::size_t size) { return std::string(size, 'n'); };
    const auto entities = [](std::size_t count) {
        std::string dtd;
        for (std::size_t i = 0; i < count; ++i)
            dtd += "<!ENTITY e" + std::to_string(i) + " '1'>";
        return with_dtd(dtd + "<!ENTITY e0 'again'><!ENTITY gt '>'><!ENTITY % p ''>", "&e0;");
    };
    const auto chain = [](std::size_t length) { // e1 refers to e2 and so on
        std::string dtd;
        for (std::size_t i = 1; i < length; ++i)
            dtd += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i + 1) + ";'>";
        return dtd + "<!ENTITY e" + std::to_string(length) + " 'x'>";
    };
    const auto depth = [](std::size_t count) {
        return repeat("<a>", count - 1) + "<b/>" + repeat("</a>", count - 1);
    };
    const std::string half = "<!ENTITY e '" + std::string(32'000, 'x') + "'>";
    const auto expanded = [&half](std::size_t rest) {
        return with_dtd(half + "<!ENTITY f '" + std::string(rest, 'y') + "'>",
                        "&e;<b x='&e;'/>&f;");
    };
    const auto groups = [](std::size_t count) {
        return with_dtd("<!ELEMENT a " + repeat("(", count) + "b" + repeat(")", count) + ">", "");
    };
    const auto dtd = [](std::size_t size) {
        return "<!DOCTYPE a [<!--" + std::string(size - 7, 'c') + "-->]><a/>";
    };
    const std::vector<Limit> limits = {
        {"element name", "<" + name(1'024) + "/>", "<" + name(1'025) + "/>",
         "line:1-''-Length too long"},
        {"attribute name", "<a " + name(1'024) + "=''/>", "<a " + name(1'025) + "=''/>",
         "line:1-'a'-Length too long"},
        {"name beyond ASCII", "<" + repeat("\xC3\xA4", 512) + "/>",
         "<" + repeat("\xC3\xA4", 512) + "a/>", "line:1-''-Length too long"},
        {"value", "<a x='" + name(65'536) + "'/>", "<a x='" + name(65'537) + "'/>",
         "line:1-'x'-Length too long"},
        {"value that is built", "<a x='" + name(65'535) + "&lt;'/>",
         "<a x='" + name(65'535) + "&lt;&lt;'/>", "line:1-'x'-Length too long"},
        {"value of references", "<a x='" + repeat("&#x3C;", 65'536) + "'/>",
         "<a x='" + repeat("&#x3C;", 65'537) + "'/>", "line:1-'x'-Length too long"},
        {"depth", depth(64), depth(65), "line:1-'b'-Length too long"},
        {"entities", entities(64), entities(65), "line:1-'e64'-Length too long"},
        {"entity depth in content", with_dtd(chain(8), "&e1;"), with_dtd(chain(9), "&e1;"),
         "line:1-'e9'-Length too long"},
        {"entity depth in a value", with_dtd(chain(8), "<b x='&e1;'/>"),
         with_dtd(chain(9), "<b x='&e1;'/>"), "line:1-'e9'-Length too long"},
        {"expanded length", expanded(1'536), expanded(1'537), "line:1-'f'-Length too long"},
        {"content model", groups(64), groups(65), "line:1-''-Length too long"},
        {"DTD", dtd(65'536), dtd(65'537), "line:1-''-Length too long"},
    };
    for (const Limit& limit : limits) {
        EXPECT_EQ("No Error", text_of(error_of_exact(limit.at_limit))) << limit.what;
        EXPECT_EQ(limit.error, text_of(error_of_exact(limit.beyond))) << limit.what;
    }
}

TEST(XmlParser, EntityBombsStopEarly)
{
    std::string laughs = "<!ENTITY l0 'lol'>";
    for (int i = 1; i < 8; ++i)
        laughs += "<!ENTITY l" + std::to_string(i) + " '" +
                  repeat("&l" + std::to_string(i - 1) + ";", 10) + "'>";
    EXPECT_EQ(Xml_Code::too_long, error_of(with_dtd(laughs, "&l7;")).code);
    EXPECT_EQ(Xml_Code::too_long, error_of(with_dtd(laughs, "<b x='&l7;'/>")).code);
    const std::string big = "<!ENTITY b '" + std::string(60'000, 'x') + "'>";
    EXPECT_EQ("line:1-'b'-Length too long", content_of(with_dtd(big, repeat("&b;", 100'000))));
    EXPECT_EQ("line:1-'b'-Length too long",
              content_of(with_dtd(big, "<b x='" + repeat("&b;", 100'000) + "'/>")));
    EXPECT_EQ("No Error", text_of(error_of(with_dtd("<!ENTITY e ''>", repeat("&e;", 100'000)))));
}

TEST(XmlParser, DeepNestingStops)
{
    EXPECT_EQ("line:1-'a'-Length too long", content_of(repeat("<a>", 100'000)));
    EXPECT_EQ("line:1-''-Length too long",
              content_of("<!DOCTYPE a [<!ELEMENT a " + repeat("(", 60'000)));
}

TEST(XmlParser, AMebibyteOfAnythingReturns)
{
    constexpr std::size_t size = 1'048'576;
    for (const char* piece :
         {"<",   "&",    "<a>",       "a",    "\r",       "\n",          "]",
          "<a ", "<!--", "<![CDATA[", "<?",   "\"",       "\x80",        "<!DOCTYPE a [",
          "%",   "-",    "&#",        "&lt;", "\xC3\xA4", "\xEF\xBB\xBF"}) {
        const std::string filling = repeat(piece, size / std::string(piece).size());
        EXPECT_TRUE(error_of(filling)) << piece;
        EXPECT_TRUE(error_of("<a>" + filling)) << piece;
        EXPECT_TRUE(error_of("<a x='" + filling)) << piece;
        EXPECT_TRUE(error_of("<a>\n<![CDATA[" + filling)) << piece;
        EXPECT_TRUE(error_of("<a><!--" + filling)) << piece;
        EXPECT_TRUE(error_of("<a><?p " + filling)) << piece;
        EXPECT_TRUE(error_of("<!DOCTYPE a [<!ENTITY e '" + filling)) << piece;
    }
}

const char* const sample = "<!-- \xC3\xA4 --><r a='\xC3\xA4\xC3\xBF' b='x'>t\xC2\xA9<e/>\r\n</r>";

// The sample in ISO-8859-1.
const char* const latin_sample = "<!-- \xE4 --><r a='\xE4\xFF' b='x'>t\xA9<e/>\r\n</r>";

const char* const sample_content = "<r a='\xC3\xA4\xC3\xBF' b='x'>t\xC2\xA9<e></e>\n</r>";

TEST(XmlParser, TheSameDocumentInEachEncoding)
{
    const auto declaration = [](const char* encoding) {
        return "<?xml version=\"1.0\" encoding=\""s + encoding + "\"?>\n";
    };
    EXPECT_EQ(sample_content, content_of(sample));
    EXPECT_EQ(sample_content, content_of("\xEF\xBB\xBF"s + sample));
    EXPECT_EQ(sample_content, content_of(declaration("UTF-8") + sample));
    EXPECT_EQ(sample_content, content_of("\xEF\xBB\xBF" + declaration("utf-8") + sample));
    EXPECT_EQ(sample_content, content_of(declaration("ISO-8859-1") + latin_sample));
    EXPECT_EQ("<r a='&'></r>", content_of(declaration("US-ASCII") + "<r a='&amp;'/>"));
    for (const bool big_endian : {false, true}) {
        const std::string mark = big_endian ? "\xFE\xFF" : "\xFF\xFE";
        for (const std::string& start :
             {""s, declaration("UTF-16"), declaration("ISO-10646-UCS-2")}) {
            // the numbers of ISO-8859-1 are those of UTF-16
            const std::string document = in_utf_16(start + latin_sample, big_endian);
            EXPECT_EQ(sample_content, content_of(document)) << start;
            EXPECT_EQ(sample_content, content_of(mark + document)) << start;
        }
    }
}

TEST(XmlParser, LinesCountEachKindOfLineEnd)
{
    const std::string iso_8859_1 = "<?xml version='1.0' encoding='ISO-8859-1'?><!--\xE4-->";
    struct Line_Row {
        std::string start;
        std::size_t line;
    };
    const std::vector<Line_Row> rows = {
        {"", 1},
        {"\n", 2},
        {"\r\n", 2},
        {"\r", 2},
        {"\n\n", 3},
        {"\r\r", 3},
        {"\r\n\r\n", 3},
        {"\n\r", 3},
        {"\r\r\n", 3},
        {"\r\n\r", 3},
        {"\n\r\n\r\n\r", 5},
        {"<!--\n\r-->\r\n", 4},
        {"<?p\r\n?>", 2},
        {"<!DOCTYPE a [\n]\r>", 3},
    };
    for (const Line_Row& row : rows) {
        for (const std::string& document :
             {row.start + "<a/>", "\xFE\xFF" + in_utf_16(row.start + "<a/>", true)}) {
            Xml_Parser parser(document);
            EXPECT_EQ(Event::start_element, parser.next());
            EXPECT_EQ(row.line, parser.line()) << testing::PrintToString(row.start);
        }
        EXPECT_EQ(row.line, error_of(row.start + "<1").line) << testing::PrintToString(row.start);
        EXPECT_EQ(row.line, error_of("\xFF\xFE" + in_utf_16(row.start + "<1", false)).line);
        EXPECT_EQ(row.line, error_of(iso_8859_1 + row.start + "<1").line);
    }
}

TEST(XmlParser, LineTellsWhereTheLastThingBegins)
{
    Xml_Parser parser("<?xml version='1.0'?>\n"
                      "<a\n"
                      " x='1\n2'\n"
                      "\n"
                      " y='3'\n"
                      ">\n"
                      "text\n"
                      "<b\nz=''\n/>\n"
                      "</a\n"
                      ">\n");
    Xml_Parser::Attribute attribute;
    ASSERT_EQ(Event::start_element, parser.next());
    EXPECT_EQ(2u, parser.line());
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_EQ(3u, parser.line());
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_EQ(6u, parser.line());
    ASSERT_EQ(Event::text, parser.next());
    EXPECT_EQ(7u, parser.line());
    ASSERT_EQ(Event::start_element, parser.next());
    EXPECT_EQ(9u, parser.line());
    ASSERT_TRUE(parser.next_attribute(attribute));
    EXPECT_EQ(10u, parser.line());
    ASSERT_EQ(Event::end_element, parser.next());
    EXPECT_EQ("b", parser.name());
    EXPECT_EQ(9u, parser.line()) << "an empty element has one tag";
    ASSERT_EQ(Event::text, parser.next());
    EXPECT_EQ(11u, parser.line());
    ASSERT_EQ(Event::end_element, parser.next());
    EXPECT_EQ(12u, parser.line());
    ASSERT_EQ(Event::end_of_document, parser.next());
    EXPECT_EQ(14u, parser.line());
}

// The line of each 'x' in a document's text.
std::vector<std::size_t> lines_of_x(std::string_view document)
{
    std::vector<std::size_t> lines;
    Xml_Parser parser(document);
    for (Event event = parser.next(); event != Event::end_of_document; event = parser.next()) {
        if (event == Event::error) {
            ADD_FAILURE() << text_of(parser.error());
            break;
        }
        for (std::size_t i = 0; event == Event::text && i < parser.text().size(); ++i)
            if (parser.text()[i] == 'x')
                lines.push_back(parser.text_line(i));
    }
    return lines;
}

TEST(XmlParser, TellsTheLineOfEachCharacterOfAText)
{
    using Lines = std::vector<std::size_t>;
    const std::string document = "<a>x\nx\r\n\rxx<b/>\n &#120;\n\n x&lt;\nx<![CDATA[\n\nx]]>x</a>";
    EXPECT_EQ((Lines{1, 2, 4, 4, 5, 7, 8, 10, 10}), lines_of_x(document));
    EXPECT_EQ((Lines{1, 2, 4, 4, 5, 7, 8, 10, 10}),
              lines_of_x("\xFE\xFF" + in_utf_16(document, true)));
    EXPECT_EQ((Lines{7, 7, 8}),
              lines_of_x("<!DOCTYPE a [<!ENTITY e '\n\nx\n x\n'>]>\n<a>\n&e;\nx</a>"));
}

TEST(XmlParser, TellsTheLineOfTheElementAround)
{
    Xml_Parser parser("<!DOCTYPE a [<!ENTITY e '<d>\n<e/></d>'>]>\n<a\n>\n<b>\n<c/>\n</b>&e;</a>");
    std::vector<std::string> parents;
    for (Event event = parser.next(); event != Event::end_of_document; event = parser.next())
        if (event == Event::start_element && parser.name() != "a")
            parents.push_back(std::string(parser.name()) + std::to_string(parser.parent_line()));
    EXPECT_EQ((std::vector<std::string>{"b3", "c5", "d3", "e7"}), parents);
}

TEST(XmlParser, LinesInsideAnEntityAreThatOfTheOuterReference)
{
    Xml_Parser parser("<!DOCTYPE a [<!ENTITY e '\n\n<b\nx=\"1\"/>&f;'><!ENTITY f '\n<c/>'>]>\n"
                      "<a>\n&e;\n</a>");
    std::vector<std::string> places;
    Xml_Parser::Attribute attribute;
    for (Event event = parser.next(); event != Event::end_of_document; event = parser.next()) {
        ASSERT_NE(Event::error, event) << text_of(parser.error());
        if (event == Event::text)
            continue;
        places.push_back(std::string(parser.name()) + std::to_string(parser.line()));
        while (event == Event::start_element && parser.next_attribute(attribute))
            places.push_back(std::string(attribute.name) + std::to_string(parser.line()));
    }
    EXPECT_EQ((std::vector<std::string>{"a6", "b7", "x7", "b7", "c7", "c7", "a8"}), places);
}

TEST(XmlParser, TheLineOfTheDocumentsStartIsOne)
{
    EXPECT_EQ(1u, Xml_Parser("").line());
    EXPECT_EQ(1u, Xml_Parser("<a/>").line());
    EXPECT_EQ(1u, Xml_Parser("<\0\0\0"s).line());
}

const std::vector<std::string>& good_documents()
{
    static const std::vector<std::string> documents = {
        "<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\n"
        "<configuration>\n <colors>\n  <presets>\n"
        "   <preset color='white' rgb=\"FFFFFF\" hue_from='0'/>\r\n"
        "  </presets>\n </colors>\n</configuration>",
        "<!--c--><?p d?><a x='&lt;&#65;&#x42;'>&amp;<![CDATA[x]]y]]><b></b >]] &#x1F600;</a>",
        "<!DOCTYPE a [<!ENTITY e 'v'><!ELEMENT a (b|(c,d?)*)+><!ELEMENT b (#PCDATA|c)*><!ELEMENT c "
        "EMPTY>\n"
        "<!ATTLIST a x (1|2) #IMPLIED y CDATA '&e;' z NMTOKENS #FIXED 'q' "
        "w NOTATION (n|m) #REQUIRED><!NOTATION n SYSTEM 's'><!NOTATION m PUBLIC 'p' 's'>"
        "<!ENTITY f '<b>&e;&#38;lt;</b>'><!ENTITY % p 'q'><?pi?><!--c-->]>\n<a>&f;</a>",
    };
    return documents;
}

TEST(XmlParser, EachPrefixEndsUnexpectedly)
{
    for (const std::string& whole : good_documents()) {
        ASSERT_EQ("No Error", text_of(error_of_exact(whole)));
        const bool is_utf_8 = whole.find("UTF-8") != std::string::npos;
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const std::string prefix = whole.substr(0, size);
            ASSERT_EQ(Xml_Code::unexpected_end, error_of_exact(prefix).code) << prefix;
            for (const bool big_endian : {false, true}) {
                const std::string wide = in_utf_16(prefix, big_endian);
                const std::string mark = big_endian ? "\xFE\xFF" : "\xFF\xFE";
                if (is_utf_8)
                    continue;
                ASSERT_EQ(Xml_Code::unexpected_end, error_of_exact(mark + wide).code) << prefix;
                ASSERT_EQ(Xml_Code::encoding_mismatch, error_of_exact(mark + wide + "x").code)
                    << prefix;
            }
        }
    }
}

TEST(XmlParser, PrefixesOfCharactersBeyondAscii)
{
    const std::string document =
        "<\xC3\xA4 \xE3\x80\x81='\xF0\x9F\x98\x80'>\xE2\x82\xAC</\xC3\xA4>";
    ASSERT_FALSE(error_of(document));
    for (std::size_t size = 0; size < document.size(); ++size) {
        const bool cuts_a_character = (static_cast<unsigned char>(document[size]) & 0xC0) == 0x80;
        EXPECT_EQ(cuts_a_character ? Xml_Code::encoding_mismatch : Xml_Code::unexpected_end,
                  error_of_exact(document.substr(0, size)).code)
            << size;
    }
}

// Whatever a byte is replaced with: an error with a line within the document, or none.
TEST(XmlParser, EachByteReplaced)
{
    for (const std::string& document : good_documents()) {
        const auto lines =
            static_cast<std::size_t>(1 + std::count(document.begin(), document.end(), '\n'));
        for (std::size_t i = 0; i < document.size(); ++i) {
            for (const char c : "<>&'\"%;/!?-[](|,#= \n\rx\xFF\x01"s) {
                std::string changed = document;
                changed[i] = c;
                const Xml_Error error = error_of_exact(changed);
                if (!error)
                    continue;
                ASSERT_GE(error.line, 1u) << changed;
                ASSERT_LE(error.line, lines + 1) << changed;
                ASSERT_NE("", message_of(error.code)) << changed;
            }
        }
    }
}

TEST(XmlParser, TextMayComeInPieces)
{
    Xml_Parser parser("<a>1&lt;2\r\n3\r4<!--c-->5</a>");
    EXPECT_EQ(Event::start_element, parser.next());
    for (const char* piece : {"1", "<", "2", "\n3", "\n", "4", "5"}) {
        ASSERT_EQ(Event::text, parser.next());
        EXPECT_EQ(piece, parser.text());
    }
    EXPECT_EQ(Event::end_element, parser.next());
}

TEST(XmlParser, CharacterReferencesTakeHexadecimalDigitsOfEitherCase)
{
    expect_content({
        {"<a>&#x4a;&#x4b;&#x4c;&#x4d;&#x4e;&#x4f;</a>", "<a>JKLMNO</a>"},
        {"<a>&#x4A;&#x4B;&#x4C;&#x4D;&#x4E;&#x4F;</a>", "<a>JKLMNO</a>"},
        {"<a>&#x20ac;&#x1f600;</a>", "<a>\xE2\x82\xAC\xF0\x9F\x98\x80</a>"},
    });
}

// What stands where a declaration is at fault could be the next one.
TEST(XmlParser, AFaultyDeclarationEndsTheDocumentWhateverFollowsIt)
{
    for (const char* declaration : {"<!ELEMENT",
                                    "<!ELEMENT a",
                                    "<!ELEMENT a ",
                                    "<!ELEMENT a (",
                                    "<!ELEMENT a (b",
                                    "<!ATTLIST",
                                    "<!ATTLIST ",
                                    "<!ATTLIST a b",
                                    "<!ATTLIST a b ",
                                    "<!ATTLIST a b CDATA",
                                    "<!ATTLIST a b CDATA #FIXED",
                                    "<!ENTITY",
                                    "<!ENTITY e",
                                    "<!ENTITY e ",
                                    "<!ENTITY e 'x' ",
                                    "<!NOTATION",
                                    "<!NOTATION n",
                                    "<!NOTATION n ",
                                    "<!NOTATION n PUBLIC ",
                                    "<!NOTATION n PUBLIC 'p",
                                    "<!NOTATION n SYSTEM "})
        for (const char* next : {"<!---->", "<?p d?>", "<!ELEMENT c ANY>"}) {
            const std::string document = "<!DOCTYPE a ["s + declaration + next + "]><a/>";
            EXPECT_NE(Xml_Code::no_error, error_of_exact(document).code) << document;
        }
}

} // namespace
