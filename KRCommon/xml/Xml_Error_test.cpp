#include <KRCommon/xml/Xml_Error.h>

#include <gtest/gtest.h>

#include <climits>

namespace {

using namespace kr_internal;

struct Row {
    int code;
    const char* message;
};

constexpr Row rows[] = {
    {0, "No Error"},
    {1, "Unable to open file"},
    {2, "Violation of xs:all cardinality constraints"},
    {3, "Attribute has already been read"},
    {4, "Attributes found in anonymous compositor"},
    {5, "XML badly formed"},
    {6, "XML character encoding not supported"},
    {7, "Inappropriate choice option selected"},
    {8, "Badly formed comment"},
    {9, "Badly formed DTD"},
    {10, "Bad end of element"},
    {11, "Bad start tag end"},
    {12, "Syntax error in end tag"},
    {13, "Bad XML Decl spec"},
    {14, "Unsupported XML version"},
    {15, "Mis-match between specified char encoding and read bytes"},
    {16, "Element not found"},
    {17, "Reference to external entity"},
    {18, "Fraction digits exceeded"},
    {19, "Length too long"},
    {20, "Length too short"},
    {21, "Mandatory element missing"},
    {22, "No pattern matched"},
    {23, "Not well formed"},
    {24, "Recursive entity definition"},
    {25, "Require attribute(s) missing"},
    {26, "Element instances exceeds maxOccurs"},
    {27, "Total digits exceeded"},
    {28, "Unable to read attribute value"},
    {29, "Unable to read element value"},
    {30, "Unknown element in xs:all"},
    {31, "Unknown element in complexContent"},
    {32, "Unexpected empty element"},
    {33, "Unexpected entity"},
    {34, "Unexpected end of message"},
    {35, "Invalid value format for this type"},
    {36, "Value greater than specified maximum"},
    {37, "Value less than specified minimum"},
    {38, "Value does not match enumerations"},
    {39, "Unexpected attribute"},
    {40, "Nilled element body not empty"},
};

TEST(XmlError, EachCodeHasItsMessage)
{
    static_assert(std::size(rows) == 41);
    for (const Row& row : rows)
        EXPECT_EQ(row.message, message_of(static_cast<Xml_Code>(row.code))) << row.code;
}

TEST(XmlError, NamedCodesHaveTheirNumbers)
{
    EXPECT_EQ(3, static_cast<int>(Xml_Code::attribute_already_read));
    EXPECT_EQ(15, static_cast<int>(Xml_Code::encoding_mismatch));
    EXPECT_EQ(21, static_cast<int>(Xml_Code::mandatory_element_missing));
    EXPECT_EQ(34, static_cast<int>(Xml_Code::unexpected_end));
    EXPECT_EQ(40, static_cast<int>(Xml_Code::nilled_element_not_empty));
}

TEST(XmlError, CodesOutsideTheTableHaveNoMessage)
{
    for (const int code : {-1, 41, 42, 255, INT_MAX, INT_MIN})
        EXPECT_EQ("", message_of(static_cast<Xml_Code>(code))) << code;
}

TEST(XmlError, TextTellsLineNameAndMessage)
{
    EXPECT_EQ("line:7-'color'-Value does not match enumerations",
              text_of({Xml_Code::not_in_enumeration, 7, "color"}));
    EXPECT_EQ("line:0-''-Unable to open file", text_of({Xml_Code::cannot_open_file, 0, ""}));
    EXPECT_EQ("line:4294967295-'a:b'-XML badly formed",
              text_of({Xml_Code::badly_formed, 4294967295u, "a:b"}));
}

TEST(XmlError, TextOfNoErrorIsNoError)
{
    EXPECT_EQ("No Error", text_of({}));
    EXPECT_EQ("No Error", text_of({Xml_Code::no_error, 7, "color"}));
}

TEST(XmlError, OwnMessageStandsInForTheCodes)
{
    EXPECT_EQ(
        "line:2-'e'-External Entity definitions not supported",
        text_of({Xml_Code::external_entity, 2, "e", "External Entity definitions not supported"}));
}

TEST(XmlError, TextOfACodeOutsideTheTableEndsBehindTheName)
{
    EXPECT_EQ("line:3-'x'-", text_of({static_cast<Xml_Code>(41), 3, "x"}));
}

TEST(XmlError, OnlyNoErrorIsFalse)
{
    EXPECT_FALSE(Xml_Error{});
    EXPECT_TRUE((Xml_Error{Xml_Code::cannot_open_file, 0, ""}));
    EXPECT_TRUE((Xml_Error{Xml_Code::nilled_element_not_empty, 0, ""}));
}

} // namespace
