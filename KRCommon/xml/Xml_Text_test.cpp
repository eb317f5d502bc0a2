#include <KRCommon/xml/Xml_Text.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace kr_internal;
using namespace std::string_literals;

std::string in_utf_16(const std::string& ascii, bool big_endian)
{
    std::string bytes;
    for (const char c : ascii)
        bytes += big_endian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

std::string declared(const std::string& encoding, const std::string& rest)
{
    return "<?xml version='1.0' encoding='" + encoding + "'?>" + rest;
}

// What a document's bytes become: "<characters> <end code>" or "fault <code> <name> at <position>".
std::string outcome(const std::string& document)
{
    const Xml_Text text = read_xml_text(document);
    if (text.fault.code != Xml_Code::no_error)
        return "fault " + std::to_string(static_cast<int>(text.fault.code)) + " '" +
               std::string(text.fault.name) + "' at " + std::to_string(text.fault.position);
    return std::string(text.characters.substr(text.declaration_size)) + " " +
           std::to_string(static_cast<int>(text.end_code));
}

TEST(XmlText, EmptyDocumentHasNoCharacters)
{
    const Xml_Text text = read_xml_text("");
    EXPECT_EQ("", text.characters);
    EXPECT_EQ(Xml_Code::unexpected_end, text.end_code);
    EXPECT_EQ(Xml_Code::no_error, text.fault.code);
    EXPECT_EQ(0u, text.declaration_size);
}

TEST(XmlText, ByteOrderMarkIsNoCharacter)
{
    EXPECT_EQ("<a/> 34", outcome("\xEF\xBB\xBF<a/>"));
    EXPECT_EQ("<a/> 34", outcome("\xFE\xFF" + in_utf_16("<a/>", true)));
    EXPECT_EQ("<a/> 34", outcome("\xFF\xFE" + in_utf_16("<a/>", false)));
    EXPECT_EQ(" 34", outcome("\xEF\xBB\xBF"));
    EXPECT_EQ(" 34", outcome("\xFE\xFF"));
    EXPECT_EQ(" 34", outcome("\xFF\xFE"));
}

TEST(XmlText, ASecondMarkIsACharacter)
{
    EXPECT_EQ("\xEF\xBB\xBF<a/> 34", outcome("\xEF\xBB\xBF\xEF\xBB\xBF<a/>"));
    EXPECT_EQ("\xEF\xBB\xBF 34", outcome("\xFE\xFF\xFE\xFF"));
}

TEST(XmlText, PartOfAMarkIsNotUtf8)
{
    EXPECT_EQ(" 15", outcome("\xEF"));
    EXPECT_EQ(" 15", outcome("\xEF\xBB"));
    EXPECT_EQ(" 15", outcome("\xFE"));
    EXPECT_EQ(" 15", outcome("\xFF"));
}

TEST(XmlText, FirstBytesTellUtf16WithoutAMark)
{
    EXPECT_EQ("<a/> 34", outcome(in_utf_16("<a/>", true)));
    EXPECT_EQ("<a/> 34", outcome(in_utf_16("<a/>", false)));
    EXPECT_EQ("< 34", outcome("\0<"s));
    EXPECT_EQ("< 15", outcome("\0<\0"s));
    EXPECT_EQ("< 34", outcome("<\0"s));
    EXPECT_EQ("< 15", outcome("<\0a"s));
    EXPECT_EQ("<a 15", outcome("<\0a\0b"s));
    EXPECT_EQ(" 5", outcome("\0"s));
    EXPECT_EQ(" 5", outcome("\0a\0<"s));
    EXPECT_EQ("< 5", outcome("<\0ab"s));
}

TEST(XmlText, Ucs4IsNotSupported)
{
    for (const std::string& start :
         {"\0\0\0<"s, "<\0\0\0"s, "\0\0\xFE\xFF"s, "\xFF\xFE\0\0"s, "<\0\0\0a\0\0\0"s}) {
        const Xml_Text text = read_xml_text(start);
        EXPECT_EQ(Xml_Code::encoding_not_supported, text.end_code);
        EXPECT_EQ("", text.characters);
    }
}

TEST(XmlText, KnownEncodingsInAnyCase)
{
    for (const char* name : {"UTF-8", "utf-8", "Utf-8", "ISO-8859-1", "iso-8859-1", "US-ASCII",
                             "us-ascii", "uS-aScIi"})
        EXPECT_EQ("<a/> 34", outcome(declared(name, "<a/>"))) << name;
    for (const char* name : {"UTF-16", "utf-16", "ISO-10646-UCS-2", "iso-10646-ucs-2"})
        for (const bool big_endian : {false, true})
            EXPECT_EQ("<a/> 34", outcome(in_utf_16(declared(name, "<a/>"), big_endian))) << name;
}

TEST(XmlText, OtherEncodingsAreNotSupported)
{
    for (const char* name :
         {"UTF8", "UTF-7", "UTF-16LE", "UTF-16BE", "UTF-32", "ISO-8859-15", "ISO-8859-1x", "latin1",
          "ASCII", "windows-1252", "UCS-2", "ISO-10646-UCS-4", "U", "UTF-"}) {
        const std::string position = std::to_string(31 + std::string(name).size());
        const std::string expected = "fault 6 'encoding' at " + position;
        EXPECT_EQ(expected, outcome(declared(name, "<a/>"))) << name;
        EXPECT_EQ(expected, outcome(in_utf_16(declared(name, "<a/>"), true))) << name;
    }
}

TEST(XmlText, DeclarationsThatLieAreAMismatch)
{
    struct Row {
        std::string mark;
        const char* encoding;
        bool is_wide;
    };
    const Row rows[] = {
        {"", "UTF-16", false},
        {"", "ISO-10646-UCS-2", false},
        {"\xEF\xBB\xBF", "UTF-16", false},
        {"\xEF\xBB\xBF", "ISO-10646-UCS-2", false},
        {"\xEF\xBB\xBF", "ISO-8859-1", false},
        {"\xEF\xBB\xBF", "US-ASCII", false},
        {"", "UTF-8", true},
        {"", "ISO-8859-1", true},
        {"", "US-ASCII", true},
        {"\xFE\xFF", "UTF-8", true},
        {"\xFE\xFF", "ISO-8859-1", true},
        {"\xFE\xFF", "US-ASCII", true},
    };
    for (const Row& row : rows) {
        const std::string text = declared(row.encoding, "<a/>");
        const std::string position = std::to_string(31 + std::string(row.encoding).size());
        EXPECT_EQ("fault 15 'encoding' at " + position,
                  outcome(row.mark + (row.is_wide ? in_utf_16(text, true) : text)))
            << row.encoding;
    }
    EXPECT_EQ("<a/> 34", outcome("\xEF\xBB\xBF" + declared("UTF-8", "<a/>")));
}

TEST(XmlText, DeclarationSyntax)
{
    struct Row {
        const char* document;
        const char* outcome;
    };
    const Row rows[] = {
        {"<?xml version='1.0'?><a/>", "<a/> 34"},
        {"<?xml version=\"1.0\"?>x", "x 34"},
        {"<?xml \t\r\n version \n=\n '1.0' \t ?>x", "x 34"},
        {"<?xml version='1.0' standalone='yes'?>x", "x 34"},
        {"<?xml version='1.0' standalone = \"no\" ?>x", "x 34"},
        {"<?xml version='1.0' encoding = \"UTF-8\" standalone='no'?>x", "x 34"},
        {"<?xml-stylesheet href='a'?>x", "<?xml-stylesheet href='a'?>x 34"},
        {"<?xml:a b?>", "<?xml:a b?> 34"},
        {"<?xml", "<?xml 34"},
        {" <?xml version='1.0'?>", " <?xml version='1.0'?> 34"},
        {"<?XML version='1.0'?>", "<?XML version='1.0'?> 34"},
        {"<?xml?>", "fault 13 '' at 5"},
        {"<?xml ?>", "fault 13 '' at 6"},
        {"<?xml=", "fault 13 '' at 5"},
        {"<?xml encoding='UTF-8'?>", "fault 13 '' at 6"},
        {"<?xml Version='1.0'?>", "fault 13 '' at 6"},
        {"<?xml version'1.0'?>", "fault 13 '' at 13"},
        {"<?xml version=1.0?>", "fault 13 '' at 14"},
        {"<?xml version='1.0\"?>", "fault 13 '' at 18"},
        {"<?xml version=''?>", "fault 13 'version' at 15"},
        {"<?xml version=' 1.0'?>", "fault 13 '' at 15"},
        {"<?xml version='1.0'x?>", "fault 13 '' at 19"},
        {"<?xml version='1.0'>", "fault 13 '' at 19"},
        {"<?xml version='1.0' ? >", "fault 13 '' at 21"},
        {"<?xml version='1.0'encoding='UTF-8'?>", "fault 13 '' at 19"},
        {"<?xml version='1.0' encoding='UTF-8'standalone='no'?>", "fault 13 '' at 36"},
        {"<?xml version='1.0' standalone='no' encoding='UTF-8'?>", "fault 13 '' at 36"},
        {"<?xml version='1.0' encoding=''?>", "fault 13 'encoding' at 30"},
        {"<?xml version='1.0' encoding='8-UTF'?>", "fault 13 'encoding' at 36"},
        {"<?xml version='1.0' encoding='-'", "fault 13 'encoding' at 32"},
        {"<?xml version='1.0' encoding='UTF:8'?>", "fault 13 'encoding' at 36"},
        {"<?xml version='1.0' encoding='UTF 8'?>", "fault 13 '' at 33"},
        {"<?xml version='1.0' encodinG='UTF-8'?>", "fault 13 '' at 27"},
        {"<?xml version='1.0' standalone='maybe'?>", "fault 13 'standalone' at 38"},
        {"<?xml version='1.0' standalone='YES'", "fault 13 'standalone' at 36"},
        {"<?xml version='1.0' standalone=''?>", "fault 13 'standalone' at 32"},
        {"<?xml version='1.0' version='1.0'?>", "fault 13 '' at 20"},
        {"<?xml version='1.0\xC3\xA4'?>", "fault 13 '' at 18"},
        {"<?xml version='1.1'?><a/>", "fault 14 'version' at 19"},
        {"<?xml version='2.0'?><a/>", "fault 14 'version' at 19"},
        {"<?xml version='1'?><a/>", "fault 14 'version' at 17"},
        {"<?xml version='1.00' junk", "fault 14 'version' at 20"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.outcome, outcome(row.document)) << row.document;
        if (std::string(row.document).find('\xC3') == std::string::npos &&
            std::string(row.document).find("UTF-8") == std::string::npos &&
            row.document[0] == '<') {
            EXPECT_EQ(row.outcome, outcome(in_utf_16(row.document, true))) << row.document;
            EXPECT_EQ(row.outcome, outcome(in_utf_16(row.document, false))) << row.document;
        }
    }
}

TEST(XmlText, ACutDeclarationEndsUnexpectedly)
{
    const std::string whole = "<?xml version = '1.0' encoding='UTF-16' standalone='yes' ?>";
    for (std::size_t size = 6; size < whole.size(); ++size) {
        const std::string expected = "fault 34 '' at " + std::to_string(size);
        EXPECT_EQ(expected, outcome(in_utf_16(whole.substr(0, size), true)));
        EXPECT_EQ(expected, outcome(in_utf_16(whole.substr(0, size), false)));
    }
    EXPECT_EQ(" 34", outcome(in_utf_16(whole, true)));
}

TEST(XmlText, WhatEndsADeclarationEarlyIsReported)
{
    EXPECT_EQ("fault 15 '' at 10", outcome(in_utf_16("<?xml vers", true) + "i"));
    EXPECT_EQ("fault 15 '' at 10", outcome(in_utf_16("<?xml vers", true) + "\xDC\x01\0a"s));
    EXPECT_EQ("fault 5 '' at 10", outcome(in_utf_16("<?xml vers", true) + "\0\x01"s));
}

TEST(XmlText, DeclarationSizeIsWhereTheDocumentGoesOn)
{
    EXPECT_EQ(21u, read_xml_text("<?xml version='1.0'?>\n<a/>").declaration_size);
    EXPECT_EQ(21u, read_xml_text("\xEF\xBB\xBF<?xml version='1.0'?>\n<a/>").declaration_size);
    EXPECT_EQ(0u, read_xml_text("<a/>").declaration_size);
    EXPECT_EQ(0u, read_xml_text("<?xml version='1.0'>").declaration_size);
}

TEST(XmlText, Utf8AndAsciiStayInPlace)
{
    for (const std::string& document :
         {"<a>\xC3\xA4</a>"s, declared("US-ASCII", "<a/>"), declared("ISO-8859-1", "<a/>")}) {
        const Xml_Text text = read_xml_text(document);
        EXPECT_EQ(document, text.characters);
        EXPECT_EQ(document.data(), text.characters.data());
    }
}

TEST(XmlText, ACopyOutlivesAMove)
{
    Xml_Text text = read_xml_text(declared("ISO-8859-1", "\xE4"));
    const Xml_Text moved = std::move(text);
    EXPECT_EQ("\xC3\xA4", moved.characters.substr(moved.declaration_size));
}

TEST(XmlText, Utf8Sequences)
{
    struct Row {
        const char* bytes;
        int end_code;
    };
    const Row rows[] = {
        // the first and last of each length, and the borders of what is left out
        {"\x7F", 34},
        {"\xC2\x80", 34},
        {"\xDF\xBF", 34},
        {"\xE0\xA0\x80", 34},
        {"\xED\x9F\xBF", 34},
        {"\xEE\x80\x80", 34},
        {"\xEF\xBF\xBD", 34},
        {"\xF0\x90\x80\x80", 34},
        {"\xF0\x9F\xBF\xBF", 34}, // U+1FFFF: only those of the first plane are left out
        {"\xF4\x8F\xBF\xBF", 34},
        {"\xEF\xBF\xBE", 5}, // U+FFFE
        {"\xEF\xBF\xBF", 5}, // U+FFFF
        {"\x80", 15},
        {"\xBF", 15},
        {"\xC0\x80", 15}, // overlong
        {"\xC1\xBF", 15},
        {"\xE0\x80\x80", 15},
        {"\xE0\x9F\xBF", 15},
        {"\xF0\x80\x80\x80", 15},
        {"\xF0\x8F\xBF\xBF", 15},
        {"\xED\xA0\x80", 15}, // surrogates
        {"\xED\xBF\xBF", 15},
        {"\xF4\x90\x80\x80", 15}, // beyond U+10FFFF
        {"\xF5\x80\x80\x80", 15},
        {"\xF8\x88\x80\x80\x80", 15},
        {"\xFE", 15},
        {"\xFF", 15},
        {"\xC3", 15}, // cut off, or gone on with something else
        {"\xC3\x28", 15},
        {"\xC3\xC3", 15},
        {"\xE2\x82", 15},
        {"\xE2\x82\x28", 15},
        {"\xE2\x28\xAC", 15},
        {"\xF0\x9F\x98", 15},
        {"\xF0\x9F\x98\x28", 15},
        {"\xF0\x9F\x28\x80", 15},
        {"\xF0\x28\x98\x80", 15},
    };
    for (const Row& row : rows) {
        const std::string good = row.end_code == 34 ? row.bytes : "";
        EXPECT_EQ("<a>" + good + " " + std::to_string(row.end_code), outcome("<a>"s + row.bytes))
            << testing::PrintToString(row.bytes);
    }
}

bool is_allowed_control(int byte)
{
    return byte == '\t' || byte == '\n' || byte == '\r';
}

TEST(XmlText, EachByteAsUtf8)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        const bool is_good = byte < 0x80 && (byte >= 0x20 || is_allowed_control(byte));
        const std::string expected =
            is_good ? "<abcdefgh>" + one + " 34" : "<abcdefgh> "s + (byte < 0x80 ? "5" : "15");
        EXPECT_EQ(expected, outcome("<abcdefgh>" + one)) << byte;
    }
}

TEST(XmlText, EachByteAsUsAscii)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        const bool is_good = byte < 0x80 && (byte >= 0x20 || is_allowed_control(byte));
        const std::string expected = is_good ? one + " 34" : byte < 0x80 ? " 5" : " 15";
        EXPECT_EQ(expected, outcome(declared("US-ASCII", one))) << byte;
    }
}

TEST(XmlText, EachByteAsIso88591)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        std::string utf_8 = one;
        if (byte >= 0xC0)
            utf_8 = {'\xC3', static_cast<char>(byte - 0x40)};
        else if (byte >= 0x80)
            utf_8 = {'\xC2', static_cast<char>(byte)};
        const bool is_good = byte >= 0x20 || is_allowed_control(byte);
        EXPECT_EQ(is_good ? utf_8 + " 34" : " 5", outcome(declared("ISO-8859-1", one))) << byte;
        EXPECT_EQ(is_good ? "\xC3\xA4" + utf_8 + " 34" : "\xC3\xA4 5",
                  outcome(declared("ISO-8859-1", "\xE4" + one)))
            << byte;
    }
}

TEST(XmlText, EachUnitOfUtf16)
{
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        const char bytes[] = {'\xFE',
                              '\xFF',
                              '\0',
                              'x',
                              static_cast<char>(unit >> 8),
                              static_cast<char>(unit & 0xFF)};
        const Xml_Text text = read_xml_text({bytes, sizeof bytes});
        const bool is_surrogate = unit >= 0xD800 && unit < 0xE000;
        const bool is_bad = (unit < 0x20 && !is_allowed_control(static_cast<int>(unit))) ||
                            unit == 0xFFFE || unit == 0xFFFF;
        ASSERT_EQ(is_surrogate ? Xml_Code::encoding_mismatch
                  : is_bad     ? Xml_Code::badly_formed
                               : Xml_Code::unexpected_end,
                  text.end_code)
            << unit;
        const std::size_t length = is_surrogate || is_bad ? 0u
                                   : unit < 0x80          ? 1u
                                   : unit < 0x800         ? 2u
                                                          : 3u;
        ASSERT_EQ(1 + length, text.characters.size()) << unit;
    }
}

TEST(XmlText, SurrogatePairs)
{
    EXPECT_EQ("\xF0\x90\x80\x80 34", outcome("\xFE\xFF\xD8\0\xDC\0"s));
    EXPECT_EQ("\xF4\x8F\xBF\xBF 34", outcome("\xFF\xFE\xFF\xDB\xFF\xDF"s));
    EXPECT_EQ("\xF0\x9F\x98\x80z 34", outcome("\xFE\xFF\xD8\x3D\xDE\0\0z"s));
    EXPECT_EQ(" 15", outcome("\xFE\xFF\xD8\0\0a"s));
    EXPECT_EQ(" 15", outcome("\xFE\xFF\xDC\0\xD8\0"s));
    EXPECT_EQ(" 15", outcome("\xFE\xFF\xD8\0\xD8\0\xDC\0"s));
    EXPECT_EQ("a 15", outcome("\xFE\xFF\0a\xD8\0\xDC"s));
}

TEST(XmlText, Ucs2HasNoSurrogates)
{
    for (const bool big_endian : {false, true}) {
        const std::string pair = big_endian ? "\xD8\x3D\xDE\0"s : "\x3D\xD8\0\xDE"s;
        const auto document = [&](const char* name) {
            return in_utf_16(declared(name, "<a>"), big_endian) + pair;
        };
        EXPECT_EQ("<a>\xF0\x9F\x98\x80 34", outcome(document("UTF-16")));
        EXPECT_EQ("<a> 15", outcome(document("ISO-10646-UCS-2")));
        EXPECT_EQ("<a> 15", outcome(document("ISO-10646-UCS-2") + in_utf_16("\x01", big_endian)));
    }
}

TEST(XmlText, AnOddByteCountIsNotUtf16)
{
    EXPECT_EQ("<a/> 15", outcome(in_utf_16("<a/>", true) + "\0"s));
    EXPECT_EQ("<a/> 15", outcome(in_utf_16("<a/>", false) + " "));
}

TEST(XmlText, LineFeedsHideNoBadBytes)
{
    for (std::size_t before = 0; before < 40; ++before) {
        const std::string plain(before, '\n');
        for (const char* after : {"", "\n", "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n"}) {
            for (const char bad : {'\0', '\x08', '\x0B', '\x0C', '\x0E', '\x1F'})
                EXPECT_EQ(plain + " 5", outcome(plain + bad + after));
            for (const char bad : {'\x80', '\x8A', '\xFF'})
                EXPECT_EQ(plain + " 15", outcome(plain + bad + after));
            EXPECT_EQ(plain + "\t\r\x7F" + after + " 34", outcome(plain + "\t\r\x7F" + after));
        }
    }
}

// Plain stretches are checked sixteen bytes at a time.
TEST(XmlText, BadBytesAreFoundAtAnyDistance)
{
    for (std::size_t before = 0; before < 40; ++before) {
        const std::string plain(before, 'x');
        for (const char* after : {"", "y", "yyyyyyyyyyyyyyyyyyyy"}) {
            for (char bad = 0; bad < 0x20; ++bad)
                if (bad != '\t' && bad != '\n' && bad != '\r') {
                    EXPECT_EQ(plain + " 5", outcome(plain + bad + after));
                    EXPECT_EQ("\n" + plain + " 5", outcome("\n" + plain + bad + after));
                }
            EXPECT_EQ(plain + " 15", outcome(plain + '\x80' + after));
            EXPECT_EQ(plain + " 15", outcome(plain + '\xFF' + after));
            EXPECT_EQ(plain + "\n\x7F~ " + after + " 34", outcome(plain + "\n\x7F~ " + after));
            EXPECT_EQ(plain + "\xC2\x85" + after + " 34",
                      outcome(declared("ISO-8859-1", plain + '\x85' + after)));
            EXPECT_EQ("\xC2\x85" + plain + " 5",
                      outcome(declared("ISO-8859-1", '\x85' + plain + '\x1F' + after)));
        }
    }
}

TEST(XmlText, CharactersOfXml10)
{
    for (const char32_t good : {0x9u, 0xAu, 0xDu, 0x20u, 0x7Fu, 0x85u, 0xD7FFu, 0xE000u, 0xFFFDu,
                                0x10000u, 0x1FFFEu, 0x10FFFFu})
        EXPECT_TRUE(is_xml_character(good)) << std::hex << good;
    for (const char32_t bad : {0x0u, 0x1u, 0x8u, 0xBu, 0xCu, 0xEu, 0x1Fu, 0xD800u, 0xDBFFu, 0xDC00u,
                               0xDFFFu, 0xFFFEu, 0xFFFFu, 0x110000u, 0xFFFFFFFFu})
        EXPECT_FALSE(is_xml_character(bad)) << std::hex << bad;
}

} // namespace
