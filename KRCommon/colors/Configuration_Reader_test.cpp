#include <KRCommon/colors/Configuration_Reader.h>

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace kr_internal;
using KRCMN::XML_configuration;
using XML_preset = XML_configuration::XML_colors::XML_presets::XML_preset;

// The error text of a document: "No Error" when it is accepted.
std::string verdict(std::string_view document)
{
    XML_configuration configuration;
    return text_of(read_configuration(document, configuration));
}

// A document whose presets hold the given content, which begins in line 4.
std::string with_presets(const std::string& content)
{
    return "<configuration>\n<colors>\n<presets>\n" + content +
           "\n</presets>\n</colors>\n</configuration>\n";
}

std::string repeated(const std::string& text, std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

// Reads a document that must be good, and gives its presets.
class Good_Document {
public:
    explicit Good_Document(const std::string& document)
    {
        const Xml_Error error = read_configuration(document, configuration_);
        EXPECT_EQ("No Error", text_of(error)) << document;
        EXPECT_TRUE(configuration_.has_colors());
        EXPECT_TRUE(configuration_.get_colors().has_presets());
    }

    XML_configuration::XML_colors& colors() { return configuration_.get_colors(); }
    std::size_t count() { return colors().get_presets().count(); }
    XML_preset& preset(std::size_t index) { return colors().get_presets().get_preset(index); }

private:
    XML_configuration configuration_;
};

TEST(ConfigurationReader, ReadsEveryAttribute)
{
    Good_Document document(with_presets(
        "<preset color='red' rgb='FF0000' hue_from='340' hue_to='15' sat_from='0.4' sat_to='1' "
        "val_from='0.3' val_to='0.9'/>"));
    ASSERT_EQ(1u, document.count());
    const XML_preset& preset = document.preset(0);
    EXPECT_EQ("red", preset.get_color());
    EXPECT_EQ(11, preset.get_color_enumeration());
    EXPECT_EQ("FF0000", preset.get_rgb());
    EXPECT_EQ(340, preset.get_hue_from());
    EXPECT_EQ(15, preset.get_hue_to());
    EXPECT_EQ(0.4F, preset.get_sat_from());
    EXPECT_EQ(1.0F, preset.get_sat_to());
    EXPECT_EQ(0.3F, preset.get_val_from());
    EXPECT_EQ(0.9F, preset.get_val_to());
}

TEST(ConfigurationReader, AttributesStandInAnyOrder)
{
    const std::array<std::string, 8> attributes{" color='pink'", " rgb='FFC0CB'", " hue_from='1'",
                                                " hue_to='2'",   " sat_from='3'", " sat_to='4'",
                                                " val_from='5'", " val_to='6'"};
    for (std::size_t step : {1u, 3u, 5u, 7u}) // each walks through all eight
        for (std::size_t start = 0; start < attributes.size(); ++start) {
            std::string element = "<preset";
            for (std::size_t i = 0; i < attributes.size(); ++i)
                element += attributes[(start + i * step) % attributes.size()];
            SCOPED_TRACE(element);
            Good_Document document(with_presets(element + "/>"));
            ASSERT_EQ(1u, document.count());
            const XML_preset& preset = document.preset(0);
            EXPECT_EQ("pink", preset.get_color());
            EXPECT_EQ("FFC0CB", preset.get_rgb());
            EXPECT_EQ(1, preset.get_hue_from());
            EXPECT_EQ(2, preset.get_hue_to());
            EXPECT_EQ(3.0F, preset.get_sat_from());
            EXPECT_EQ(4.0F, preset.get_sat_to());
            EXPECT_EQ(5.0F, preset.get_val_from());
            EXPECT_EQ(6.0F, preset.get_val_to());
        }
}

TEST(ConfigurationReader, NoAttributeIsRequiredAndTheMissingOnesAreNotPresent)
{
    Good_Document document(with_presets("<preset/><preset hue_to='7'></preset>"));
    ASSERT_EQ(2u, document.count());
    EXPECT_FALSE(document.preset(0).has_color());
    EXPECT_FALSE(document.preset(0).has_rgb());
    EXPECT_FALSE(document.preset(0).has_hue_from());
    EXPECT_FALSE(document.preset(0).has_hue_to());
    EXPECT_FALSE(document.preset(0).has_sat_from());
    EXPECT_FALSE(document.preset(0).has_sat_to());
    EXPECT_FALSE(document.preset(0).has_val_from());
    EXPECT_FALSE(document.preset(0).has_val_to());
    EXPECT_EQ(0, document.preset(0).get_hue_to());
    EXPECT_EQ("", document.preset(0).get_rgb());
    EXPECT_TRUE(document.preset(1).has_hue_to());
    EXPECT_FALSE(document.preset(1).has_hue_from());
}

TEST(ConfigurationReader, OnePresetLoadsOneRangeAndOnePaletteEntry)
{
    Good_Document document(with_presets("<preset color='red' rgb='FF8000' hue_from='0' "
                                        "hue_to='30' sat_to='1' val_to='1'/>"));
    EXPECT_EQ(1u, document.count());
    Color_Table table;
    table.rebuild(document.colors());
    EXPECT_EQ(1u, table.palette().size());
}

TEST(ConfigurationReader, TwoPresetsOfOneColorGiveTwoRangesAndTwoPaletteEntries)
{
    Good_Document document(with_presets(
        "<preset color='red' rgb='FF0000' hue_from='10' hue_to='20' sat_to='1' val_to='1'/>"
        "<preset color='red' rgb='FF0000' hue_from='30' hue_to='40' sat_to='1' val_to='1'/>"));
    EXPECT_EQ(2u, document.count());
    Color_Table table;
    table.rebuild(document.colors());
    EXPECT_EQ(2u, table.palette().size());
    ns__HsvColor color;
    for (const int hue : {10, 20, 30, 40}) {
        color.hue = hue;
        EXPECT_TRUE(table.has_preset(ns__ColorPreset__red, color)) << hue;
    }
    for (const int hue : {9, 21, 29, 41}) {
        color.hue = hue;
        EXPECT_FALSE(table.has_preset(ns__ColorPreset__red, color)) << hue;
    }
}

TEST(ConfigurationReader, ANegativeHueIsAcceptedAndNormalisedWhenLoaded)
{
    Good_Document document(
        with_presets("<preset color='red' hue_from='-30' hue_to='-20' sat_to='1' val_to='1'/>"));
    EXPECT_EQ(-30, document.preset(0).get_hue_from());
    Color_Table table;
    table.rebuild(document.colors());
    ns__HsvColor color;
    color.hue = 330;
    EXPECT_TRUE(table.has_preset(ns__ColorPreset__red, color));
    color.hue = 329;
    EXPECT_FALSE(table.has_preset(ns__ColorPreset__red, color));
}

TEST(ConfigurationReader, NoRangeOfSaturationOrValueIsChecked)
{
    Good_Document document(
        with_presets("<preset sat_from='-3' sat_to='1.5' val_from='1e30' val_to='-1e-30'/>"));
    EXPECT_EQ(-3.0F, document.preset(0).get_sat_from());
    EXPECT_EQ(1.5F, document.preset(0).get_sat_to());
    EXPECT_EQ(1e30F, document.preset(0).get_val_from());
    EXPECT_EQ(-1e-30F, document.preset(0).get_val_to());
}

TEST(ConfigurationReader, RgbIsAnyText)
{
    const std::string long_text(65'536, 'F');
    for (const std::string& text :
         {std::string(), std::string("  0xFF8000  "), std::string("red?"), long_text})
        EXPECT_EQ(text,
                  Good_Document(with_presets("<preset rgb='" + text + "'/>")).preset(0).get_rgb());
    EXPECT_EQ("<\n\"é€", Good_Document(with_presets("<preset rgb='&lt;&#10;&quot;&#233;\u20AC'/>"))
                             .preset(0)
                             .get_rgb());
}

TEST(ConfigurationReader, EachOfTheThirteenColorsIsAccepted)
{
    const std::vector<std::string> names{
        "white",      "black",  "gray",   "light_blue", "dark_blue", "brown", "light_green",
        "dark_green", "yellow", "orange", "red",        "pink",      "purple"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        Good_Document document(with_presets("<preset color='" + names[i] + "'/>"));
        EXPECT_EQ(names[i], document.preset(0).get_color());
        EXPECT_EQ(static_cast<int>(i + 1), document.preset(0).get_color_enumeration());
    }
}

TEST(ConfigurationReader, AnyOtherColorDoesNotMatch)
{
    for (const char* color : {"", "Red", "RED", "red ", " red", "re", "redd", "grey", "turquoise",
                              "light blue", "11", "r&#10;ed", "&#32;red", "red&amp;"})
        EXPECT_EQ("line:4-'color'-Value does not match enumerations",
                  verdict(with_presets("<preset color='" + std::string(color) + "'/>")))
            << '\'' << color << '\'';
}

TEST(ConfigurationReader, CountsOfPresetsUpToAThousandAreAccepted)
{
    EXPECT_EQ(1u, Good_Document(with_presets("<preset/>")).count());
    EXPECT_EQ(999u, Good_Document(with_presets(repeated("<preset/>\n", 999))).count());
    EXPECT_EQ(1000u, Good_Document(with_presets(repeated("<preset/>\n", 1000))).count());
}

TEST(ConfigurationReader, PresetsBeyondAThousandAreRefusedAndNotStored)
{
    for (const std::size_t count : {1'001u, 1'002u, 200'000u}) {
        XML_configuration configuration;
        const Xml_Error error =
            read_configuration(with_presets(repeated("<preset/>\n", count)), configuration);
        EXPECT_EQ("line:1004-'preset'-Element instances exceeds maxOccurs", text_of(error));
        EXPECT_EQ(1000u, configuration.get_colors().get_presets().count());
    }
}

// Errors of structure, attributes and values, each with its text.

struct Bad_Case {
    std::string content;
    std::string error;
};

void expect_errors(const std::vector<Bad_Case>& cases)
{
    for (const Bad_Case& row : cases)
        EXPECT_EQ(row.error, verdict(row.content)) << row.content;
}

void expect_errors_in_presets(const std::vector<Bad_Case>& cases)
{
    for (const Bad_Case& row : cases)
        EXPECT_EQ(row.error, verdict(with_presets(row.content))) << row.content;
}

TEST(ConfigurationReader, ARootOfAnotherNameIsNotFound)
{
    expect_errors({
        {"<settings/>", "line:1-'configuration'-Element not found"},
        {"<?xml version='1.0'?>\n<!-- -->\n<Configuration/>",
         "line:3-'configuration'-Element not found"},
        {"\n<colors><presets><preset/></presets></colors>",
         "line:2-'configuration'-Element not found"},
        {"<configurations/>", "line:1-'configuration'-Element not found"},
        {"<other a='1'/>", "line:1-'configuration'-Element not found"},
        {"<preset>", "line:1-'configuration'-Element not found"},
    });
}

TEST(ConfigurationReader, AMissingElementIsNamedAtTheEndOfItsParent)
{
    expect_errors({
        {"<configuration/>", "line:1-'colors'-Mandatory element missing"},
        {"\n<configuration\n/>", "line:2-'colors'-Mandatory element missing"},
        {"<configuration>\n</configuration>", "line:2-'colors'-Mandatory element missing"},
        {"<configuration>\n<colors/>\n</configuration>",
         "line:2-'presets'-Mandatory element missing"},
        {"<configuration>\n<colors>\n<!-- none -->\n</colors>\n</configuration>",
         "line:4-'presets'-Mandatory element missing"},
        {with_presets(""), "line:5-'preset'-Mandatory element missing"},
        {"<configuration><colors><presets/></colors></configuration>",
         "line:1-'preset'-Mandatory element missing"},
    });
}

TEST(ConfigurationReader, AKnownElementBeforeTheOneThatIsDueTellsTheMissingOne)
{
    expect_errors({
        {"<configuration>\n<presets><preset/></presets></configuration>",
         "line:2-'colors'-Mandatory element missing"},
        {"<configuration>\n<preset/></configuration>", "line:2-'colors'-Mandatory element missing"},
        {"<configuration>\n<configuration/></configuration>",
         "line:2-'colors'-Mandatory element missing"},
        {"<configuration><colors>\n<preset/></colors></configuration>",
         "line:2-'presets'-Mandatory element missing"},
        {"<configuration><colors>\n<colors/></colors></configuration>",
         "line:2-'presets'-Mandatory element missing"},
        {with_presets("<presets/>"), "line:4-'preset'-Mandatory element missing"},
        {with_presets("<colors/>"), "line:4-'preset'-Mandatory element missing"},
    });
}

TEST(ConfigurationReader, ASecondElementOfAKindThatComesOnceIsTooMany)
{
    const std::string presets = "<presets><preset/></presets>";
    const std::string colors = "<colors>" + presets + "</colors>";
    expect_errors({
        {"<configuration>" + colors + "\n<colors/></configuration>",
         "line:2-'colors'-Element instances exceeds maxOccurs"},
        {"<configuration>" + colors + "\n" + colors + "</configuration>",
         "line:2-'colors'-Element instances exceeds maxOccurs"},
        {"<configuration><colors>" + presets + "\n<presets/></colors></configuration>",
         "line:2-'presets'-Element instances exceeds maxOccurs"},
    });
}

TEST(ConfigurationReader, AnyOtherElementIsUnknown)
{
    const std::string colors = "<colors><presets><preset/></presets></colors>";
    const std::string unknown = "-Unknown element in complexContent";
    expect_errors({
        {"<configuration>\n<fonts/>" + colors + "</configuration>", "line:2-'fonts'" + unknown},
        {"<configuration>" + colors + "\n<fonts/></configuration>", "line:2-'fonts'" + unknown},
        {"<configuration>" + colors + "\n<presets/></configuration>", "line:2-'presets'" + unknown},
        {"<configuration>" + colors + "\n<configuration/></configuration>",
         "line:2-'configuration'" + unknown},
        {"<configuration><Colors/></configuration>", "line:1-'Colors'" + unknown},
        {"<configuration><k:colors/></configuration>", "line:1-'k:colors'" + unknown},
    });
    expect_errors_in_presets({
        {"<color/>", "line:4-'color'" + unknown},
        {"<preset/>\n<color/>", "line:5-'color'" + unknown},
        {"<preset/>\n<presets/>", "line:5-'presets'" + unknown},
        {"<preset/>\n<colors/>", "line:5-'colors'" + unknown},
        {"<preset><range/></preset>", "line:4-'range'" + unknown},
        {"<preset>\n<preset/></preset>", "line:4-'preset'" + unknown}, // its "/" is missing
        {"<preset><colors/></preset>", "line:4-'colors'" + unknown},
    });
}

TEST(ConfigurationReader, OnlyPresetsHaveAttributes)
{
    const std::string unexpected = "-Unexpected attribute";
    expect_errors({
        {"<configuration\nversion='1'/>", "line:2-'version'" + unexpected},
        {"<configuration color='red'/>", "line:1-'color'" + unexpected},
        {"<configuration xmlns='colors'/>", "line:1-'xmlns'" + unexpected},
        {"<configuration xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'/>",
         "line:1-'xmlns:xsi'" + unexpected},
        {"<configuration xsi:noNamespaceSchemaLocation='KRCommon.xsd'/>",
         "line:1-'xsi:noNamespaceSchemaLocation'" + unexpected},
        {"<configuration>\n<colors a=''/></configuration>", "line:2-'a'" + unexpected},
        {"<configuration><colors>\n<presets count='1'/></colors></configuration>",
         "line:2-'count'" + unexpected},
    });
}

TEST(ConfigurationReader, APresetHasTheEightAttributesOnly)
{
    const std::string unexpected = "-Unexpected attribute";
    for (const char* name :
         {"name",   "Color",    "colour",   "RGB",      "rgb_",     "rg",
          "hue",    "hue_form", "hue_To",   "hueto",    "sat",      "sat_from_",
          "val_of", "val_too",  "xmlns",    "xml:lang", "xsi:type", "x",
          "sat_xo", "hue_frox", "val_frox", "sat_frox", "colox",    "a_rather_long_name"})
        EXPECT_EQ("line:4-'" + std::string(name) + "'" + unexpected,
                  verdict(with_presets("<preset " + std::string(name) + "='1'/>")));
    EXPECT_EQ("line:6-'name'" + unexpected,
              verdict(with_presets("<preset\ncolor='red'\nname='x'\nhue_to='x'/>")));
}

TEST(ConfigurationReader, AnAttributeComesOnce)
{
    for (const std::string name :
         {"color", "rgb", "hue_from", "hue_to", "sat_from", "sat_to", "val_from", "val_to"}) {
        const std::string attribute = name + (name == "color" ? "='red'" : "='1'");
        const std::string error = "-'" + name + "'-Attribute has already been read";
        EXPECT_EQ("line:4" + error,
                  verdict(with_presets("<preset " + attribute + " " + attribute + "/>")));
        EXPECT_EQ("line:5" + error,
                  verdict(with_presets("<preset " + attribute + "\n" + name + "='x' hue_to='x'/>")))
            << "even with another value, before which it is checked";
    }
    EXPECT_EQ("No Error", verdict(with_presets("<preset color='red'/><preset color='red'/>")));
}

TEST(ConfigurationReader, NamesOfAnUnknownAttributeMayRepeat)
{
    EXPECT_EQ("line:4-'x'-Unexpected attribute", verdict(with_presets("<preset x='1' x='1'/>")));
}

TEST(ConfigurationReader, TextBetweenElementsIsUnreadable)
{
    const std::string unreadable = "-Unable to read element value";
    expect_errors({
        {"<configuration>red</configuration>", "line:1-'configuration'" + unreadable},
        {"<configuration><colors>.<presets/></colors></configuration>",
         "line:1-'colors'" + unreadable},
        {"<configuration><colors><![CDATA[red]]></colors></configuration>",
         "line:1-'colors'" + unreadable},
    });
    expect_errors_in_presets({
        {"red", "line:4-'presets'" + unreadable},
        {"<preset/>red<preset/>", "line:4-'presets'" + unreadable},
        {"<preset/>\n<preset/>&#48;", "line:5-'presets'" + unreadable},
        {"<preset/><![CDATA[ <preset/> ]]>", "line:4-'presets'" + unreadable},
        {"<preset/>\u00A0<preset/>", "line:4-'presets'" + unreadable},
        {"<preset>red</preset>", "line:4-'preset'" + unreadable},
        {"<preset><![CDATA[red]]></preset>", "line:4-'preset'" + unreadable},
    });
}

TEST(ConfigurationReader, TextInAWrongPlaceIsToldInTheLineWhereItBegins)
{
    const std::string in_presets = "'presets'-Unable to read element value";
    expect_errors_in_presets({
        {"\nred", "line:5-" + in_presets},
        {"<preset/>\n\n \t\n  red\n<preset/>", "line:7-" + in_presets},
        {"<preset/>\n\nred\n\ngreen", "line:6-" + in_presets},
        {"<preset/>\r\n\r\nred", "line:6-" + in_presets},
        {"<preset/>\r\rred", "line:6-" + in_presets},
        {"<preset/>\n\n]]", "line:6-" + in_presets},
        {"<preset/>\n\n\n&#48;", "line:7-" + in_presets},
        {"<preset/>\n<![CDATA[\n\n red]]>", "line:7-" + in_presets},
        {"<preset/>\n<!-- \n -->\n\u00A0", "line:7-" + in_presets},
        {"<preset\n>\n\nred</preset>", "line:7-'preset'-Unable to read element value"},
    });
    const std::string entity = "<!DOCTYPE configuration [<!ENTITY e '\n\n red'>]>\n";
    EXPECT_EQ("line:9-" + in_presets, verdict(entity + with_presets("<preset/>\n\n&e;")))
        << "in the line of the reference";
}

TEST(ConfigurationReader, APresetThatLacksItsSlashIsToldWhereItBegins)
{
    expect_errors_in_presets({
        {"<preset\ncolor='red'\nrgb='FF0000'>\n<preset color='pink'/>",
         "line:4-'preset'-Unknown element in complexContent"},
        {"<preset/>\n<preset\ncolor='red'>\n\n", "line:5-'preset'-Bad end of element"},
        {"<preset/>\n<preset\ncolor='red'>\n<!-- c -->\n<range/>",
         "line:8-'range'-Unknown element in complexContent"},
        {"<preset/>\n<preset\ncolor='red'\n\n", "line:5-'preset'-Bad start tag end"},
    });
}

TEST(ConfigurationReader, AValueThatLacksItsQuoteIsToldWhereItsAttributeStands)
{
    expect_errors_in_presets({
        {"<preset\ncolor='red'\nrgb='FF0000\nhue_to='1'/>", "line:6-'preset'-Bad start tag end"},
        {"<preset\ncolor='red\nrgb='FF0000'/>", "line:5-'color'-Value does not match enumerations"},
        {"<preset\nhue_to='1\nrgb='FF0000'/>",
         "line:5-'hue_to'-Invalid value format for this type"},
        {"<preset\nrgb='FF0000/>\n\n<preset color='red'/>",
         "line:5-'rgb'-Unable to read attribute value"},
    });
}

TEST(ConfigurationReader, WhiteSpaceCommentsAndInstructionsStandAnywhere)
{
    for (const char* content :
         {"\n", " \t\r\n", "<!-- red -->", "<?red?>", "<![CDATA[]]>", "<![CDATA[ \n]]>", "&#32;",
          "&#x9;&#xA;&#xD;", "<!-- a --> <?b c?> <!-- d -->"}) {
        const std::string any = content;
        EXPECT_EQ("No Error", verdict("<configuration>" + any + "<colors>" + any + "<presets>" +
                                      any + "<preset>" + any + "</preset>" + any + "</presets>" +
                                      any + "</colors>" + any + "</configuration>"))
            << content;
    }
}

TEST(ConfigurationReader, TheFirstErrorInTheDocumentIsReported)
{
    expect_errors_in_presets({
        {"<preset hue_to='x' color='Red'/>", "line:4-'hue_to'-Invalid value format for this type"},
        {"<preset color='Red' hue_to='x'/>", "line:4-'color'-Value does not match enumerations"},
        {"<preset color='Red'/>&nothing;", "line:4-'color'-Value does not match enumerations"},
        {"<preset color='red'/>\n<preset color='Red'/>",
         "line:5-'color'-Value does not match enumerations"},
    });
}

TEST(ConfigurationReader, AnErrorLeavesWhatWasReadBeforeIt)
{
    XML_configuration configuration;
    EXPECT_TRUE(read_configuration(with_presets("<preset color='red'/><preset color='Red'/>"),
                                   configuration));
    EXPECT_EQ(2u, configuration.get_colors().get_presets().count());
    EXPECT_EQ("red", configuration.get_colors().get_presets().get_preset(0).get_color());
}

// One document for each code that a document can cause.
TEST(ConfigurationReader, EveryErrorOfTheMarkupIsPassedOn)
{
    const std::string preset = "<preset/>";
    expect_errors_in_presets({
        {"<preset color='red'", "line:4-'preset'-Bad start tag end"},
        {"<preset/><!-- a -- b -->", "line:4-'presets'-Badly formed comment"},
        {"&reds;", "line:4-'reds'-Unexpected entity"},
        {"<preset rgb=F/>", "line:4-'rgb'-Unable to read attribute value"},
        {"<preset rgb='&'/>", "line:4-'rgb'-XML badly formed"},
        {"<preset></presets>", "line:4-'preset'-Bad end of element"},
        {"<preset></ preset>", "line:4-'preset'-Syntax error in end tag"},
    });
    const std::string good = with_presets(preset);
    expect_errors({
        {"<?xml version='1.1'?>" + good, "line:1-'version'-Unsupported XML version"},
        {"<?xml?>" + good, "line:1-''-Bad XML Decl spec"},
        {"<?xml version='1.0' encoding='KOI8-R'?>" + good,
         "line:1-'encoding'-XML character encoding not supported"},
        {"<?xml version='1.0' encoding='UTF-16'?>" + good,
         "line:1-'encoding'-Mis-match between specified char encoding and read bytes"},
        {"<!DOCTYPE configuration [\n<!RED>]>" + good, "line:2-''-Badly formed DTD"},
        {"<!DOCTYPE configuration [\n<!ENTITY reds SYSTEM 'reds.xml'>]>" + good,
         "line:2-'reds'-External Entity definitions not supported"},
        {"<!DOCTYPE configuration\nSYSTEM 'colors.dtd'>" + good,
         "line:2-''-Reference to external entity"},
        {"<!DOCTYPE configuration [<!ENTITY a '&a;'>]>" + with_presets("&a;"),
         "line:4-'a'-Recursive entity definition"},
        {good + "red", "line:8-''-Not well formed"},
        {good.substr(0, good.size() - 5), "line:7-'configuration'-Unexpected end of message"},
        {"", "line:1-''-Unexpected end of message"},
    });
    EXPECT_EQ("line:4-'rgb'-Length too long",
              verdict(with_presets("<preset rgb='" + std::string(65'537, 'F') + "'/>")));
}

TEST(ConfigurationReader, AnElementMayComeFromAnEntity)
{
    const std::string declared = "<!DOCTYPE configuration [<!ENTITY hue '30'>"
                                 "<!ENTITY reds '<preset hue_to=\"&hue;\"/>'>]>";
    Good_Document document(declared + with_presets("&reds;<preset hue_to='&hue;1'/>&reds;"));
    ASSERT_EQ(3u, document.count());
    EXPECT_EQ(30, document.preset(0).get_hue_to());
    EXPECT_EQ(301, document.preset(1).get_hue_to());
    EXPECT_EQ(30, document.preset(2).get_hue_to());
}

TEST(ConfigurationReader, LinesAreCountedWithAllThreeLineEnds)
{
    const std::string document = with_presets("<preset/>\n<preset color='Red'/>");
    for (const std::string line_end : {"\n", "\r\n", "\r"}) {
        std::string text;
        for (const char character : document)
            text += character == '\n' ? line_end : std::string(1, character);
        EXPECT_EQ("line:5-'color'-Value does not match enumerations", verdict(text));
    }
}

// A text of ASCII and Latin-1 characters in 16 bits.
std::string in_16_bits(const std::string& latin, bool big_endian)
{
    std::string bytes = big_endian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char character : latin) {
        const char high = '\0';
        bytes += big_endian ? high : character;
        bytes += big_endian ? character : high;
    }
    return bytes;
}

TEST(ConfigurationReader, TheFiveEncodingsAreReadAlike)
{
    const std::string latin = with_presets("<preset color='pink' rgb='ros\xE9'/>");
    const std::string utf_8 = with_presets("<preset color='pink' rgb='ros\xC3\xA9'/>");
    const auto declared = [](const char* name) {
        return "<?xml version='1.0' encoding='" + std::string(name) + "'?>";
    };
    const std::vector<std::string> documents{
        utf_8,
        declared("UTF-8") + utf_8,
        "\xEF\xBB\xBF" + declared("utf-8") + utf_8,
        declared("ISO-8859-1") + latin,
        declared("US-ASCII") + with_presets("<preset color='pink' rgb='ros&#233;'/>"),
        in_16_bits(declared("UTF-16") + latin, false),
        in_16_bits(declared("UTF-16") + latin, true),
        in_16_bits(latin, false),
        in_16_bits(declared("ISO-10646-UCS-2") + latin, false),
        in_16_bits(declared("ISO-10646-UCS-2") + latin, true),
    };
    for (std::size_t i = 0; i < documents.size(); ++i) {
        SCOPED_TRACE(i);
        Good_Document document(documents[i]);
        ASSERT_EQ(1u, document.count());
        EXPECT_EQ("ros\xC3\xA9", document.preset(0).get_rgb());
        EXPECT_EQ("pink", document.preset(0).get_color());
    }
}

TEST(ConfigurationReader, ErrorsIn16BitsHaveTheLinesOfTheText)
{
    const std::string document = with_presets("<preset/>\r\n<preset color='Red'/>");
    for (const bool big_endian : {false, true})
        EXPECT_EQ("line:5-'color'-Value does not match enumerations",
                  verdict(in_16_bits(document, big_endian)));
}

// Numbers.

struct Integer_Case {
    const char* text;
    const char* error; // its message, or null
    std::int32_t number;
};

constexpr const char* bad_form = "Invalid value format for this type";
constexpr const char* too_large = "Value greater than specified maximum";
constexpr const char* too_small = "Value less than specified minimum";

const Integer_Case integers[] = {
    {"0", nullptr, 0},
    {"-0", nullptr, 0},
    {"+0", nullptr, 0},
    {"5", nullptr, 5},
    {"+5", nullptr, 5},
    {"-5", nullptr, -5},
    {"007", nullptr, 7},
    {"-007", nullptr, -7},
    {"+007", nullptr, 7},
    {"360", nullptr, 360},
    {"-30", nullptr, -30},
    {" 7", nullptr, 7},
    {"7 ", nullptr, 7},
    {"  -7  ", nullptr, -7},
    {"\t7\n", nullptr, 7},
    {"&#9;&#10;&#13;&#32;7&#32;&#13;&#10;&#9;", nullptr, 7},
    {"2147483647", nullptr, 2147483647},
    {"+2147483647", nullptr, 2147483647},
    {"-2147483648", nullptr, -2147483647 - 1},
    {"0000000000000000000000000000002147483647", nullptr, 2147483647},
    {"-0000000000000000000000000000002147483648", nullptr, -2147483647 - 1},
    {"2147483648", too_large, 0},
    {"+2147483648", too_large, 0},
    {" 2147483648 ", too_large, 0},
    {"4294967295", too_large, 0},
    {"4294967296", too_large, 0},
    {"4294967297", too_large, 0},
    {"9223372036854775808", too_large, 0},
    {"18446744073709551617", too_large, 0},
    {"99999999999999999999999999999999999999999", too_large, 0},
    {"-2147483649", too_small, 0},
    {"-4294967296", too_small, 0},
    {"-9223372036854775809", too_small, 0},
    {"-99999999999999999999999999999999999999999", too_small, 0},
    {"", bad_form, 0},
    {" ", bad_form, 0},
    {"+", bad_form, 0},
    {"-", bad_form, 0},
    {"+-5", bad_form, 0},
    {"-+5", bad_form, 0},
    {"++5", bad_form, 0},
    {"--5", bad_form, 0},
    {"+ 5", bad_form, 0},
    {"- 5", bad_form, 0},
    {"5-", bad_form, 0},
    {"1.0", bad_form, 0},
    {"1.", bad_form, 0},
    {"1e2", bad_form, 0},
    {"0x10", bad_form, 0},
    {"x10", bad_form, 0},
    {"1 2", bad_form, 0},
    {"1,000", bad_form, 0},
    {"1'000", bad_form, 0},
    {"\xC2\xA0"
     "7",
     bad_form, 0},
    {"\xD9\xA7", bad_form, 0}, // an Arabic-Indic digit
    {"99999999999999999999x", bad_form, 0},
    {"-99999999999999999999.5", bad_form, 0},
    {"seven", bad_form, 0},
    {"INF", bad_form, 0},
};

TEST(ConfigurationReader, IntegersHaveTheSchemasForm)
{
    for (const std::string name : {"hue_from", "hue_to"})
        for (const Integer_Case& row : integers) {
            SCOPED_TRACE(name + "='" + row.text + "'");
            XML_configuration configuration;
            const Xml_Error error = read_configuration(
                with_presets("<preset " + name + "=\"" + row.text + "\"/>"), configuration);
            if (row.error != nullptr) {
                EXPECT_EQ("line:4-'" + name + "'-" + row.error, text_of(error));
                continue;
            }
            EXPECT_EQ("No Error", text_of(error));
            const XML_preset& preset = configuration.get_colors().get_presets().get_preset(0);
            EXPECT_EQ(row.number, name == "hue_from" ? preset.get_hue_from() : preset.get_hue_to());
        }
}

struct Float_Case {
    const char* text;
    std::uint32_t bits;
};

std::uint32_t bits_of(float number)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

const Float_Case floats[] = {
    {"0", 0x00000000},
    {"-0", 0x80000000},
    {"+0", 0x00000000},
    {"0.0", 0x00000000},
    {"-0.000e5", 0x80000000},
    {"0e999999999999999999999", 0x00000000},
    {"-0.000e-999999999999999999999", 0x80000000},
    {"1", 0x3F800000},
    {"-1", 0xBF800000},
    {"+1", 0x3F800000},
    {"1.", 0x3F800000},
    {"01.00", 0x3F800000},
    {".5", 0x3F000000},
    {"+.5", 0x3F000000},
    {"-.5", 0xBF000000},
    {"0.1", 0x3DCCCCCD},
    {"0.15", 0x3E19999A},
    {"0.2", 0x3E4CCCCD},
    {"0.3", 0x3E99999A},
    {"0.8", 0x3F4CCCCD},
    {"1.5", 0x3FC00000},
    {"1e-3", 0x3A83126F},
    {"1E+2", 0x42C80000},
    {"1e2", 0x42C80000},
    {"1.e2", 0x42C80000},
    {"-1.25e+002", 0xC2FA0000},
    {" 1 ", 0x3F800000},
    {"&#10;&#9;0.5&#13;", 0x3F000000},
    {"16777216", 0x4B800000},
    {"16777217", 0x4B800000},                     // half way, to even
    {"16777217.0000000001", 0x4B800001},          // just above half way
    {"16777219", 0x4B800002},                     // half way, to even
    {"1.00000005960464477539062500", 0x3F800000}, // half way, to even
    {"1.00000005960464477539062501", 0x3F800001}, // a double would round this to half way
    {"1.00000017881393432617187499", 0x3F800001}, // just below half way
    {"1.00000017881393432617187500", 0x3F800002}, // half way, to even
    {"7.038531e-26", 0x15AE43FD},                 // rounding by way of double gives ...FE
    {"3.4028235e38", 0x7F7FFFFF},
    {"3.4028235677973366e38", 0x7F7FFFFF},                   // just below half way to the next
    {"340282356779733661637539395458142568448", 0x7F800000}, // half way
    {"340282346638528859811704183484516925440", 0x7F7FFFFF},
    {"1e38", 0x7E967699},
    {"1.17549435e-38", 0x00800000},
    {"1.17549421e-38", 0x007FFFFF}, // the largest denormal
    {"1e-45", 0x00000001},
    {"1.4e-45", 0x00000001},
    {"7.1e-46", 0x00000001},
    {"7.0e-46", 0x00000000},
    {"-7.0e-46", 0x80000000},
    {"1e-46", 0x00000000},
    {"1e-400", 0x00000000},
    {"-1e-400", 0x80000000},
    {"1e39", 0x7F800000},
    {"-1e39", 0xFF800000},
    {"+1e39", 0x7F800000},
    {"1e400", 0x7F800000},
    {"-1e400", 0xFF800000},
    {"1e99999999999999999999", 0x7F800000},
    {"1e+99999999999999999999", 0x7F800000},
    {"1e-99999999999999999999", 0x00000000},
    {"INF", 0x7F800000},
    {"-INF", 0xFF800000},
    {" INF ", 0x7F800000},
    {"NaN", 0x7FC00000},
    {" NaN&#10;", 0x7FC00000},
};

float read_float(const std::string& text, const std::string& name)
{
    Good_Document document(with_presets("<preset " + name + "=\"" + text + "\"/>"));
    const XML_preset& preset = document.preset(0);
    if (name == "sat_from")
        return preset.get_sat_from();
    if (name == "sat_to")
        return preset.get_sat_to();
    return name == "val_from" ? preset.get_val_from() : preset.get_val_to();
}

TEST(ConfigurationReader, FloatsAreRoundedToTheNearest)
{
    for (const std::string name : {"sat_from", "sat_to", "val_from", "val_to"})
        for (const Float_Case& row : floats)
            EXPECT_EQ(row.bits, bits_of(read_float(row.text, name)))
                << name << "='" << row.text << '\'';
}

// With a point at every place, or none.
TEST(ConfigurationReader, DecimalsOfUpToNineDigitsAreRoundedToTheNearest)
{
    std::uint32_t random = 1;
    for (std::size_t size = 1; size <= 9; ++size)
        for (std::size_t point = 0; point <= size + 1; ++point)
            for (int round = 0; round < 12; ++round) {
                std::string digits;
                for (std::size_t i = 0; i < size; ++i) {
                    random = random * 1'664'525 + 1'013'904'223;
                    digits += round == 0 ? '9' : static_cast<char>('0' + (random >> 16) % 10);
                }
                if (point <= size)
                    digits.insert(point, ".");
                EXPECT_EQ(bits_of(std::strtof(digits.c_str(), nullptr)),
                          bits_of(read_float(digits, "sat_to")))
                    << digits;
            }
}

TEST(ConfigurationReader, AFloatsSizeIsThatOfItsFirstDigitAfterTheExponent)
{
    const std::string zeros(1000, '0');
    EXPECT_EQ(0x3F800000u, bits_of(read_float("0." + zeros + "1e1001", "sat_to")));
    EXPECT_EQ(0x3F800000u, bits_of(read_float("1" + zeros + "e-1000", "sat_to")));
    EXPECT_EQ(0x7F800000u, bits_of(read_float("0." + zeros + "1e1050", "sat_to")));
    EXPECT_EQ(0x00000000u, bits_of(read_float("0." + zeros + "1e900", "sat_to")));
    EXPECT_EQ(0x7F800000u, bits_of(read_float("1" + zeros + "e-900", "sat_to")));
    EXPECT_EQ(0x00000000u, bits_of(read_float("1" + zeros + "e-1100", "sat_to")));
    EXPECT_EQ(0x7F800000u, bits_of(read_float("1" + zeros, "sat_to")));
    EXPECT_EQ(0x00000000u, bits_of(read_float("." + zeros + "1", "sat_to")));
    EXPECT_EQ(0x00000000u, bits_of(read_float(zeros + "." + zeros + "e1000", "sat_to")));
}

TEST(ConfigurationReader, OtherTextsAreNoFloats)
{
    for (const char* text : {"",
                             " ",
                             ".",
                             "+",
                             "-",
                             "+.",
                             "-.",
                             "e",
                             "e5",
                             ".e5",
                             "1e",
                             "1e+",
                             "1e-",
                             "1E",
                             "1e1.5",
                             "1e 5",
                             "1 e5",
                             "+-1",
                             "-+1",
                             "++1",
                             "--1",
                             "+ 1",
                             "- 1",
                             "1.2.3",
                             "1..2",
                             "1,5",
                             "1 2",
                             "1f",
                             "1.0F",
                             "1d",
                             "0x1p3",
                             "0x10",
                             "inf",
                             "Inf",
                             "-inf",
                             "+INF",
                             "INFINITY",
                             "infinity",
                             "INF1",
                             "- INF",
                             "nan",
                             "NAN",
                             "-NaN",
                             "+NaN",
                             "NaN()",
                             "nan(1)",
                             "NaN1",
                             "1INF",
                             "50%",
                             "one",
                             "1_0",
                             "\xC2\xA0"
                             "1",
                             "1\xC2\xA0",
                             "\xD9\xA1",
                             "1e\xD9\xA1"})
        for (const std::string name : {"sat_from", "sat_to", "val_from", "val_to"})
            EXPECT_EQ("line:4-'" + name + "'-Invalid value format for this type",
                      verdict(with_presets("<preset " + name + "=\"" + text + "\"/>")))
                << '\'' << text << '\'';
}

TEST(ConfigurationReader, AHueOfTwoToThePowerOf31IsAboveTheMaximum)
{
    EXPECT_EQ("line:4-'hue_to'-Value greater than specified maximum",
              verdict(with_presets("<preset hue_to='2147483648'/>")));
}

TEST(ConfigurationReader, ABadColorOnLine7IsReportedAsSuch)
{
    EXPECT_EQ(
        "line:7-'color'-Value does not match enumerations",
        verdict("<?xml version='1.0' encoding='UTF-8'?>\n<configuration>\n  <colors>\n"
                "    <presets>\n      <preset color='white'/>\n      <preset color='black'/>\n"
                "      <preset color='Red'/>\n    </presets>\n  </colors>\n"
                "</configuration>\n"));
}

// Hostile input.

// The document in a heap block of exactly its size, so that a read past it is found.
std::string verdict_of_exact_copy(std::string_view document)
{
    const std::unique_ptr<char[]> copy(new char[document.size() + 1]);
    std::memcpy(copy.get() + 1, document.data(), document.size());
    return verdict({copy.get() + 1, document.size()});
}

TEST(ConfigurationReader, EveryTruncationOfADocumentIsAnError)
{
    const std::string document =
        "<?xml version='1.0' encoding='UTF-8'?>\n<!DOCTYPE configuration [<!ENTITY a '1'>]>\n" +
        with_presets("<!-- c --><preset color='red' hue_to='&a;0' sat_to='0.5'></preset><?p?>");
    const std::size_t end = document.find("</configuration>") + std::strlen("</configuration>");
    for (std::size_t size = 0; size < end; ++size)
        EXPECT_NE("No Error", verdict_of_exact_copy(document.substr(0, size))) << size;
    EXPECT_EQ("No Error", verdict_of_exact_copy(document.substr(0, end)));
}

TEST(ConfigurationReader, AnyByteInAnyPlaceIsReadOrRefusedWithinTheDocument)
{
    const std::string document =
        "<?xml version='1.0'?>\n<!DOCTYPE configuration [<!ENTITY a '1'>]>\n" +
        with_presets("<!-- c --><preset color='red' hue_to='&a;0'/><![CDATA[ ]]><?p?>");
    const std::string bytes("\0\n <>&;'/!x-]\xC3\xFF", 15);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < document.size(); ++at)
        for (const char byte : bytes) {
            std::string changed = document;
            changed[at] = byte;
            XML_configuration configuration;
            const Xml_Error error = read_configuration(changed, configuration);
            if (!error) {
                EXPECT_EQ(1u, configuration.get_colors().get_presets().count()) << changed;
                continue;
            }
            ++refused;
            EXPECT_NE("", message_of(error.code)) << changed;
            EXPECT_LE(1u, error.line) << changed;
            EXPECT_GE(11u, error.line) << changed;
        }
    EXPECT_LT(document.size() * 8, refused) << "most changes break the document";
}

TEST(ConfigurationReader, EntitiesThatGrowWithoutMeasureAreStopped)
{
    std::string declared = "<!DOCTYPE configuration [<!ENTITY e0 '          '>";
    for (int i = 1; i < 8; ++i)
        declared += "<!ENTITY e" + std::to_string(i) + " '" +
                    repeated("&e" + std::to_string(i - 1) + ";", 20) + "'>";
    declared += "]>";
    EXPECT_EQ("line:4-'e1'-Length too long",
              verdict(declared + with_presets("<preset rgb='&e7;'/>")));
    EXPECT_EQ("line:4-'e1'-Length too long", verdict(declared + with_presets("&e7;")));
}

// Files.

TEST(ConfigurationReaderFile, IsReadAsItsBytesAre)
{
    const Temp_Folder folder;
    const std::string path = folder.write("KRCommon.xml", with_presets("<preset\r\nrgb='\x1A'/>"));
    XML_configuration configuration;
    EXPECT_EQ("line:5-'rgb'-XML badly formed",
              text_of(read_configuration_file(path, configuration)))
        << "code 26 does not end the file";
    const std::string good = folder.write("good.xml", with_presets("<preset color='red'/>"));
    EXPECT_EQ("No Error", text_of(read_configuration_file(good, configuration)));
}

TEST(ConfigurationReaderFile, ThatIsMissingCannotBeOpened)
{
    const Temp_Folder folder;
    XML_configuration configuration;
    EXPECT_EQ("line:0-''-Unable to open file",
              text_of(read_configuration_file(folder.path("KRCommon.xml"), configuration)));
    EXPECT_EQ("line:0-''-Unable to open file", text_of(read_configuration_file("", configuration)));
    EXPECT_FALSE(configuration.has_colors());
}

TEST(ConfigurationReaderFile, ThatIsAFolderCannotBeOpened)
{
    const Temp_Folder folder;
    XML_configuration configuration;
    EXPECT_EQ("line:0-''-Unable to open file",
              text_of(read_configuration_file(folder.path(), configuration)));
}

// A pipe that nobody writes to would be waited for without an end.
TEST(ConfigurationReaderFile, ThatIsAPipeADeviceOrASocketCannotBeOpened)
{
    const Temp_Folder folder;
    const kr_platform_testing::Irregular_Files irregular(folder.path());
    XML_configuration configuration;
    for (const std::string& path : irregular.paths())
        EXPECT_EQ("line:0-''-Unable to open file",
                  text_of(read_configuration_file(path, configuration)))
            << path;
}

TEST(ConfigurationReaderFile, ThatCannotBeReadCannotBeOpened)
{
    const std::string path = kr_platform_testing::unreadable_file();
    if (path.empty())
        GTEST_SKIP() << "no file here opens and cannot be read";
    XML_configuration configuration;
    EXPECT_EQ("line:0-''-Unable to open file",
              text_of(read_configuration_file(path, configuration)));
}

TEST(ConfigurationReaderFile, ThatIsEmptyEndsTooEarly)
{
    const Temp_Folder folder;
    XML_configuration configuration;
    EXPECT_EQ("line:1-''-Unexpected end of message",
              text_of(read_configuration_file(folder.write("empty.xml", ""), configuration)));
}

TEST(ConfigurationReaderFile, IsReadUpToItsLargestSize)
{
    const Temp_Folder folder;
    std::string document = with_presets("<preset/>");
    document.append(16 * 1'024 * 1'024 - document.size(), '\n');
    XML_configuration configuration;
    EXPECT_EQ("No Error",
              text_of(read_configuration_file(folder.write("a.xml", document), configuration)));
    document += '\n';
    EXPECT_EQ("line:0-''-Length too long",
              text_of(read_configuration_file(folder.write("b.xml", document), configuration)));
}

// The file that the library is delivered with.

const std::string default_path = KR_CONFIG_DIR "/KRCommon.xml";

std::string bytes_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class DefaultConfiguration : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ("No Error", text_of(read_configuration_file(default_path, configuration_)));
        table_.rebuild(configuration_.get_colors());
    }

    static ns__HsvColor hsv(unsigned rgb)
    {
        ns__RgbColor color;
        color.red = static_cast<std::uint8_t>(rgb >> 16);
        color.green = static_cast<std::uint8_t>(rgb >> 8 & 0xFF);
        color.blue = static_cast<std::uint8_t>(rgb & 0xFF);
        ns__HsvColor result;
        KR_Colors::instance()->rgb_to_hsv(color, result);
        return result;
    }

    std::uint32_t mask(unsigned rgb) const { return table_.preset_mask(hsv(rgb)); }

    std::string names(unsigned rgb) const
    {
        static const char* const all[] = {
            "nothing",     "white",      "black",  "gray",   "light_blue", "dark_blue", "brown",
            "light_green", "dark_green", "yellow", "orange", "red",        "pink",      "purple"};
        std::string found;
        for (unsigned i = 0; i < std::size(all); ++i)
            if ((mask(rgb) >> i & 1) != 0)
                found += (found.empty() ? "" : " ") + std::string(all[i]);
        return found;
    }

    XML_configuration configuration_;
    Color_Table table_;
};

TEST_F(DefaultConfiguration, HoldsAllThirteenColorsWithEveryAttribute)
{
    auto& presets = configuration_.get_colors().get_presets();
    std::set<int> colors;
    for (std::size_t i = 0; i < presets.count(); ++i) {
        const XML_preset& preset = presets.get_preset(i);
        colors.insert(preset.get_color_enumeration());
        EXPECT_TRUE(preset.has_rgb() && preset.has_hue_from() && preset.has_hue_to() &&
                    preset.has_sat_from() && preset.has_sat_to() && preset.has_val_from() &&
                    preset.has_val_to())
            << i;
        EXPECT_LT(preset.get_sat_from(), preset.get_sat_to()) << i;
        EXPECT_LT(preset.get_val_from(), preset.get_val_to()) << i;
    }
    EXPECT_EQ((std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}), colors);
}

TEST_F(DefaultConfiguration, EveryColorIsInSomePresetAndOneInTwelveAtMostInSeveral)
{
    std::size_t lost = 0;
    std::size_t several = 0;
    for (unsigned rgb = 0; rgb < 0x1000000; ++rgb) {
        const std::uint32_t presets = mask(rgb);
        several += (presets & (presets - 1)) != 0 ? 1 : 0;
        if (presets == 0 && ++lost <= 10)
            ADD_FAILURE() << std::hex << rgb;
    }
    EXPECT_EQ(0u, lost);
    EXPECT_GT(several, 0u);
    EXPECT_LT(several, 0x1000000u / 12);
}

TEST_F(DefaultConfiguration, IsShortAndPlain)
{
    EXPECT_LE(configuration_.get_colors().get_presets().count(), 48u);
    // Whole degrees, and at most three decimals.
    const std::string document = bytes_of(default_path);
    const std::regex bound(R"x((hue|sat|val)_(from|to)="([^"]*)")x");
    std::size_t bounds = 0;
    for (std::sregex_iterator found(document.begin(), document.end(), bound), end; found != end;
         ++found, ++bounds) {
        const std::regex form((*found)[1] == "hue" ? "[0-9]{1,3}" : "0|1|0\\.[0-9]{1,3}");
        EXPECT_TRUE(std::regex_match((*found)[3].str(), form)) << found->str();
    }
    EXPECT_EQ(6 * configuration_.get_colors().get_presets().count(), bounds);
}

// So that neighbours that share a bound share no colour.
TEST_F(DefaultConfiguration, NoEightBitColorLiesOnABoundOfSaturationOrValue)
{
    std::set<float> bounds;
    auto& presets = configuration_.get_colors().get_presets();
    for (std::size_t i = 0; i < presets.count(); ++i) {
        const XML_preset& preset = presets.get_preset(i);
        bounds.insert({preset.get_sat_from(), preset.get_sat_to(), preset.get_val_from(),
                       preset.get_val_to()});
    }
    for (unsigned most = 1; most < 256; ++most)
        for (unsigned least = 0; least < most; ++least) {
            const ns__HsvColor color = hsv(most << 16 | least << 8 | least);
            for (const float number : {color.saturation, color.value})
                EXPECT_TRUE(number == 0.0F || number == 1.0F || bounds.count(number) == 0)
                    << number;
        }
}

// What no 8-bit colour is, but a computed one may be.
TEST_F(DefaultConfiguration, EveryHueSaturationAndValueIsInSomePreset)
{
    ns__HsvColor color;
    for (color.hue = -1; color.hue < 360; ++color.hue)
        for (int saturation = 0; saturation <= 200; ++saturation)
            for (int value = 0; value <= 200; ++value) {
                color.saturation = static_cast<float>(saturation) / 200.0F;
                color.value = static_cast<float>(value) / 200.0F;
                ASSERT_NE(0u, table_.preset_mask(color))
                    << color.hue << ' ' << color.saturation << ' ' << color.value;
            }
}

TEST_F(DefaultConfiguration, GreysAreWhiteBlackOrGrayOnly)
{
    constexpr std::uint32_t greys = 1u << 1 | 1u << 2 | 1u << 3;
    for (unsigned level = 0; level < 256; ++level) {
        const std::uint32_t presets = mask(level * 0x010101);
        EXPECT_NE(0u, presets) << level;
        EXPECT_EQ(0u, presets & ~greys) << level;
    }
}

TEST_F(DefaultConfiguration, EachRangesRgbIsOfItsColor)
{
    auto& presets = configuration_.get_colors().get_presets();
    ASSERT_EQ(presets.count(), table_.palette().size());
    for (std::size_t i = 0; i < presets.count(); ++i) {
        const ns__RgbColor& rgb = table_.palette()[i];
        const unsigned number = rgb.red * 0x10000u + rgb.green * 0x100u + rgb.blue;
        const XML_preset& preset = presets.get_preset(i);
        char text[8];
        std::snprintf(text, sizeof text, "%06X", number);
        EXPECT_EQ(text, preset.get_rgb());

        XML_configuration alone; // this range only
        alone.get_colors().get_presets().get_preset(0) = preset;
        Color_Table table;
        table.rebuild(alone.get_colors());
        EXPECT_TRUE(table.has_preset(preset.get_color_enumeration(), hsv(number)))
            << preset.get_color() << ' ' << text;
    }
}

TEST_F(DefaultConfiguration, ColorsAreWhatPeopleCallThem)
{
    const struct {
        unsigned rgb;
        const char* presets;
    } colors[] = {
        {0xFFFFFF, "white"},        {0xF5F5F5, "white"},
        {0xFFFAFA, "white"},                            // snow
        {0xF5F5DC, "white yellow"},                     // beige
        {0xD3D3D3, "gray"},                             // light grey
        {0xC0C0C0, "gray"},                             // silver
        {0x808080, "gray"},         {0x696969, "gray"}, // dim grey
        {0x404040, "gray"},         {0x333333, "gray"},
        {0x202020, "black"},        {0x000000, "black"},
        {0x000030, "dark_blue"},    {0xFF0000, "red"},
        {0xDC143C, "red"},       // crimson
        {0x8B0000, "red"},       // dark red
        {0x800000, "red"},       // maroon
        {0x733442, "brown red"}, // a dull, dark red
        {0xFF6347, "red"},       // tomato
        {0xFF8000, "orange"},       {0xFFA500, "orange"},
        {0xFF4500, "orange"},                             // orange red
        {0xFFDAB9, "pink"},                               // peach
        {0x8B4513, "brown"},        {0xA0522D, "brown"},  // sienna
        {0xD2B48C, "brown pink"},                         // tan
        {0x5C4033, "brown"},                              // dark brown
        {0xA52A2A, "red"},                                // the "brown" of the web
        {0xCD853F, "orange"},                             // the "peru" of the web
        {0xFFFF00, "yellow"},       {0xFFD700, "yellow"}, // gold
        {0xF0E68C, "yellow"},                             // khaki
        {0x00FF00, "light_green"},  {0x32CD32, "light_green"},
        {0x90EE90, "light_green"},  {0x7FFF00, "light_green"}, // chartreuse
        {0x008000, "dark_green"},   {0x006400, "dark_green"},
        {0x228B22, "dark_green"}, // forest
        {0x808000, "dark_green"}, // olive
        {0x40E0D0, "light_blue"}, // turquoise
        {0x00FFFF, "light_blue"}, // cyan
        {0x008080, "dark_blue"},  // teal
        {0x87CEEB, "light_blue"}, // sky
        {0xADD8E6, "light_blue"},   {0x1E90FF, "dark_blue"},
        {0x6495ED, "light_blue"},                            // cornflower
        {0x0000FF, "dark_blue"},    {0x000080, "dark_blue"}, // navy
        {0x191970, "dark_blue"},                             // midnight
        {0xFFC0CB, "pink"},         {0xFFB6C1, "pink"},
        {0xFF69B4, "pink"},                               // hot pink
        {0xFF1493, "pink"},                               // deep pink
        {0xFF00FF, "pink"},         {0xEE82EE, "pink"},   // violet
        {0x800080, "purple"},       {0x4B0082, "purple"}, // indigo
        {0x8A2BE2, "purple"},                             // blue violet
        {0x708090, "gray"},                               // slate
    };
    for (const auto& row : colors)
        EXPECT_EQ(row.presets, names(row.rgb)) << std::hex << row.rgb;
}

TEST_F(DefaultConfiguration, EveryTruncationIsAnError)
{
    const std::string document = bytes_of(default_path);
    const std::size_t end = document.find("</configuration>") + std::strlen("</configuration>");
    ASSERT_LT(5'000u, end);
    ASSERT_GE(document.size(), end);
    for (std::size_t size = 0; size < end; ++size)
        ASSERT_NE("No Error", verdict_of_exact_copy({document.data(), size})) << size;
    EXPECT_EQ("No Error", verdict_of_exact_copy({document.data(), end}));
}

} // namespace
