#include <KRCommon/colors/Configuration_Check.h>

#include <KRCommon/colors/Configuration_Reader.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

// A document whose presets hold the given content, which begins in line 4.
std::string with_presets(const std::string& content)
{
    return "<configuration>\n<colors>\n<presets>\n" + content +
           "\n</presets>\n</colors>\n</configuration>\n";
}

std::string reader_verdict(const std::string& document)
{
    KRCMN::XML_configuration configuration;
    return text_of(kr_internal::read_configuration(document, configuration));
}

// Per error its text, and what it points at.
std::vector<std::string> errors_of(const KR_Configuration_Report& report)
{
    std::vector<std::string> errors;
    for (const KR_Configuration_Error& error : report.errors)
        errors.push_back(error.text + " @ " +
                         report.text.substr(error.begin, error.end - error.begin));
    return errors;
}

std::vector<std::string> errors_of(const std::string& document)
{
    const KR_Configuration_Report report = kr_check_configuration(document);
    if (!report.errors.empty()) {
        EXPECT_EQ(reader_verdict(document), report.errors[0].text) << document;
    }
    EXPECT_TRUE(report.is_complete) << document;
    return errors_of(report);
}

using Texts = std::vector<std::string>;

ns__HsvColor hsv(std::int32_t hue, float saturation, float value)
{
    ns__HsvColor color;
    color.hue = hue;
    color.saturation = saturation;
    color.value = value;
    return color;
}

TEST(ConfigurationCheck, AnAcceptedDocumentHasNoErrorsAndItsRangesWithTheirPlaces)
{
    const std::string document = with_presets(
        "<preset color='red' rgb=\"FF8000\" hue_from='-20' hue_to='15' sat_from='0.4' sat_to='1' "
        "val_from='0.3' val_to='0.9'/>\n<preset val_to='1'/>");
    const KR_Configuration_Report report = kr_check_configuration(document);
    EXPECT_TRUE(report.errors.empty());
    EXPECT_TRUE(report.is_complete);
    EXPECT_EQ(document, report.text);
    ASSERT_EQ(2u, report.ranges.size());
    const KR_Configured_Range& red = report.ranges[0];
    EXPECT_EQ(ns__ColorPreset__red, red.preset);
    EXPECT_EQ(255, red.rgb.red);
    EXPECT_EQ(128, red.rgb.green);
    EXPECT_EQ(-20, red.hue_from);
    EXPECT_EQ(15, red.hue_to);
    EXPECT_EQ(0.4F, red.sat_from);
    EXPECT_EQ(1.0F, red.sat_to);
    EXPECT_EQ(0.3F, red.val_from);
    EXPECT_EQ(0.9F, red.val_to);
    const auto& rgb = red.attributes[KR_PRESET_RGB];
    EXPECT_TRUE(rgb.is_present);
    EXPECT_EQ("FF8000", rgb.value);
    EXPECT_EQ("rgb=\"FF8000\"", report.text.substr(rgb.begin, rgb.end - rgb.begin));
    EXPECT_EQ(
        "<preset val_to='1'/>",
        report.text.substr(report.ranges[1].begin, report.ranges[1].end - report.ranges[1].begin));
    EXPECT_EQ(0, report.ranges[1].preset);
    EXPECT_FALSE(report.ranges[1].attributes[KR_PRESET_COLOR].is_present);
    EXPECT_TRUE(report.ranges[1].attributes[KR_PRESET_VAL_TO].is_present);
}

TEST(ConfigurationCheck, EachMistakeHasTheReadersTextAndItsOwnPlace)
{
    EXPECT_EQ((Texts{"line:4-'color'-Value does not match enumerations @ color='Red'",
                     "line:4-'sat_to'-Invalid value format for this type @ sat_to='0,5'",
                     "line:5-'hue_to'-Value greater than specified maximum @ hue_to='2147483648'",
                     "line:5-'shade'-Unexpected attribute @ shade='3'",
                     "line:6-'rgb'-Attribute has already been read @ rgb='0'"}),
              errors_of(with_presets("<preset color='Red' sat_to='0,5'/>\n"
                                     "<preset hue_to='2147483648' shade='3'/>\n"
                                     "<preset rgb='0' rgb='0'/>")));
}

TEST(ConfigurationCheck, AMissingQuoteIsOneMistake)
{
    EXPECT_EQ((Texts{"line:4-'hue_to'-Invalid value format for this type @ "
                     "hue_to='20 sat_from='0.1' sat_to='1'",
                     "line:5-'val_to'-Unable to read attribute value @ val_to='1",
                     "line:6-'preset'-Bad start tag end @ rgb='FF hue_from='1'",
                     "line:7-'color'-Value does not match enumerations @ color='blue'"}),
              errors_of(with_presets("<preset hue_to='20 sat_from='0.1' sat_to='1'/>\n"
                                     "<preset val_to='1/>\n"
                                     "<preset rgb='FF hue_from='1'/>\n"
                                     "<preset color='blue'/>")));
}

TEST(ConfigurationCheck, AttributesWithoutQuotesOrValues)
{
    EXPECT_EQ((Texts{"line:4-'color'-Unable to read attribute value @ color=red",
                     "line:5-'rgb'-Unable to read attribute value @ rgb",
                     "line:6-'val_to'-Unable to read attribute value @ val_to=1",
                     "line:7-'rgb'-Unable to read attribute value @ rgb='<b>'"}),
              errors_of(with_presets("<preset color=red rgb='0'/>\n<preset rgb hue_to='1'/>\n"
                                     "<preset val_to=1/>\n<preset rgb='<b>' hue_to='1'/>")));
}

TEST(ConfigurationCheck, TagsWithMissingOrStrayCharacters)
{
    EXPECT_EQ(
        (Texts{"line:4-'preset'-Unknown element in complexContent @ <preset hue_to='1'>",
               "line:6-'preset'-Bad start tag end @ <preset hue_to='3'",
               "line:7-'preset'-Bad start tag end @ hue_from",
               "line:8-'preset'-Bad start tag end @ ,", "line:9-'preset'-Bad start tag end @ /",
               "line:10-'color'-Value does not match enumerations @ color='no'"}),
        errors_of(with_presets("<preset hue_to='1'>\n<preset hue_to='2'/>\n"
                               "<preset hue_to='3'\n<preset rgb='0'hue_from='0'/>\n"
                               "<preset rgb='0', hue_from='0'/>\n<preset rgb='0'/ hue_from='0'/>\n"
                               "<preset color='no'/>")));
    EXPECT_EQ(
        (Texts{"line:4-'preset'-Bad start tag end @ /", "line:5-'preset'-Bad start tag end @ \\",
               "line:6-'rgb'-Unable to read attribute value @ rgb'0'",
               "line:7-'color'-Value does not match enumerations @ color='no'"}),
        errors_of(with_presets("<preset hue_to='1'/\n<preset hue_to='2'\\>\n"
                               "<preset rgb'0' hue_to='1'/>\n<preset color='no'/>")));
    EXPECT_EQ((Texts{"line:5-'preset'-Bad end of element @ <preset hue_to='2'>"}),
              errors_of(with_presets("<preset/>\n<preset hue_to='2'>")));
}

TEST(ConfigurationCheck, AMissingEndTagIsPlacedWhereItBelongs)
{
    EXPECT_EQ((Texts{"line:3-'presets'-Bad end of element @ </colors>"}),
              errors_of("<configuration>\n<colors>\n<presets>\n<preset/>\n</colors>\n"
                        "</configuration>\n"));
    EXPECT_EQ((Texts{"line:5-'preset'-Bad end of element @ </preset>",
                     "line:6-'Colors'-Bad end of element @ </Colors>",
                     "line:7-'configuration'-Syntax error in end tag @ </configuration x>"}),
              errors_of("<configuration>\n<colors>\n<presets>\n<preset/>\n</preset>\n</Colors>\n"
                        "</configuration x>\n"));
}

TEST(ConfigurationCheck, WhatDoesNotBelongIsLeftOut)
{
    EXPECT_EQ(
        (Texts{"line:4-'presets'-Unable to read element value @ Hello",
               "line:5-'range'-Unknown element in complexContent @ <range/>",
               "line:6-'presets'-XML badly formed @ &",
               "line:6-'presets'-Unable to read element value @ b",
               "line:7-'nbsp'-Unexpected entity @ &nbsp;",
               "line:8-'presets'-Badly formed comment @ --", "line:9-'rgb'-XML badly formed @ &",
               "line:10-'color'-Value does not match enumerations @ color='no'"}),
        errors_of(with_presets("Hello\n<range/>\n& b\n&nbsp;\n<!-- a -- b -->\n"
                               "<preset rgb='a & b'/>\n<preset color='no'/>")));
    EXPECT_EQ((Texts{"line:4-'item'-Unknown element in complexContent @ <item>"}),
              errors_of(with_presets("<item>\n</item>\n<preset/>")));
}

TEST(ConfigurationCheck, OutsideTheRootAndInTheDeclaration)
{
    EXPECT_EQ((Texts{"line:1-'version'-Unsupported XML version @ <?xml version='1.1'?>",
                     "line:8-'configuration'-Not well formed @ </configuration>"}),
              errors_of("<?xml version='1.1'?>" + with_presets("<preset/>") + "</configuration>"));
    EXPECT_EQ((Texts{"line:2-''-Not well formed @ <?xml version='1.0'?>"}),
              errors_of("\n<?xml version='1.0'?>" + with_presets("<preset/>")));
    EXPECT_EQ((Texts{"line:1-''-Not well formed @ red:"}),
              errors_of("red: " + with_presets("<preset/>")));
}

TEST(ConfigurationCheck, AnElementThatStandsTwiceGoesOnWithTheFirst)
{
    EXPECT_EQ((Texts{"line:5-'presets'-Element instances exceeds maxOccurs @ <presets>",
                     "line:5-'color'-Value does not match enumerations @ color='no'"}),
              errors_of(with_presets("<preset/></presets>\n<presets><preset color='no'/>")));
    EXPECT_EQ((Texts{"line:3-'presets'-Mandatory element missing @ <preset color='no'/>",
                     "line:3-'color'-Value does not match enumerations @ color='no'"}),
              errors_of("<configuration>\n<colors>\n<preset color='no'/>\n</presets></colors>\n"
                        "</configuration>"));
}

TEST(ConfigurationCheck, BytesThatAreNoCharactersStandInTheText)
{
    const std::string document = with_presets("<preset rgb='\xE9'/>\n<preset color='no'/>");
    const KR_Configuration_Report report = kr_check_configuration(document);
    EXPECT_EQ(document, report.text);
    EXPECT_EQ((Texts{"line:4-'rgb'-Mis-match between specified char encoding and read bytes @ \xE9",
                     "line:5-'color'-Value does not match enumerations @ color='no'"}),
              errors_of(report));
    EXPECT_TRUE(report.is_complete);
}

TEST(ConfigurationCheck, OtherEncodingsBecomeUtf8WithItsOffsets)
{
    const std::string ascii = "<?xml version='1.0' encoding='UTF-16'?>" +
                              with_presets("<preset color='no' rgb='%'/>\n<preset hue_to='x'/>");
    std::string document = "\xFF\xFE";
    for (const char c : ascii) {
        document += c == '%' ? '\xE9' : c;
        document += '\0';
    }
    EXPECT_EQ((Texts{"line:4-'color'-Value does not match enumerations @ color='no'",
                     "line:5-'hue_to'-Invalid value format for this type @ hue_to='x'"}),
              errors_of(document));
    const KR_Configuration_Report report = kr_check_configuration(document);
    ASSERT_EQ(2u, report.ranges.size());
    EXPECT_EQ("\xC3\xA9", report.ranges[0].attributes[KR_PRESET_RGB].value);
    EXPECT_FALSE(report.ranges[0].attributes[KR_PRESET_COLOR].is_present);
}

TEST(ConfigurationCheck, WhereThereIsNoWayOnTheReportIsNotComplete)
{
    for (const char* document :
         {"", "x", "<other/>", "<configuration/>", "<configuration><colors><presets>",
          "<!DOCTYPE a SYSTEM 'b'><configuration>&a;</configuration>"}) {
        const KR_Configuration_Report report = kr_check_configuration(document);
        ASSERT_FALSE(report.errors.empty()) << document;
        EXPECT_EQ(reader_verdict(document), report.errors[0].text);
        EXPECT_FALSE(report.is_complete) << document;
        ASSERT_TRUE(report.colors);
    }
    const KR_Configuration_Report huge =
        kr_check_configuration(std::string(kr_internal::max_configuration_size + 1, ' '));
    ASSERT_EQ(1u, huge.errors.size());
    EXPECT_EQ("line:0-''-Length too long", huge.errors[0].text);
    EXPECT_EQ("", huge.text);
    EXPECT_FALSE(huge.is_complete);
}

TEST(ConfigurationCheck, TellsAHundredErrorsAtMost)
{
    std::string presets;
    for (int i = 0; i < 150; ++i)
        presets += "<preset color='no'/>\n";
    const KR_Configuration_Report report = kr_check_configuration(with_presets(presets));
    EXPECT_EQ(100u, report.errors.size());
    EXPECT_EQ(103u, report.errors.back().line);
    EXPECT_FALSE(report.is_complete);
}

TEST(ConfigurationCheck, RangesHoldWhatTheClassifierReports)
{
    const KR_Configuration_Report report = kr_check_configuration(with_presets(
        "<preset color='red' hue_from='340' hue_to='15' sat_from='0.4' sat_to='1' val_to='1'/>"
        "<preset color='gray' hue_from='90' hue_to='90' sat_to='0.2' val_to='0.9'/>"
        "<preset color='pink' hue_from='-20' hue_to='370' sat_from='NaN' sat_to='1' val_to='1'/>"
        "<preset color='blue'/><preset color='purple' hue_from='300' hue_to='720' sat_to='1'"
        " val_from='0.5' val_to='0.8'/>"));
    ASSERT_EQ(5u, report.ranges.size());
    std::set<std::size_t> counts;
    for (std::int32_t hue = -2; hue < 800; hue += 3)
        for (const float saturation : {0.0F, 0.2F, 0.21F, 0.4F, 1.0F, 1.5F})
            for (const float value : {0.0F, 0.5F, 0.8F, 0.9F, 1.0F, -1.0F}) {
                const ns__HsvColor color = hsv(hue, saturation, value);
                std::vector<ns__ColorPreset> reported;
                report.colors->get_color_presets(color, reported,
                                                 ns__QueryTolerancePreset__value_0);
                std::set<ns__ColorPreset> held;
                for (const KR_Configured_Range& range : report.ranges)
                    if (range.holds(color))
                        held.insert(range.preset);
                EXPECT_EQ(held, std::set<ns__ColorPreset>(reported.begin(), reported.end()));
                counts.insert(held.size());
            }
    EXPECT_LT(2u, counts.size());
}

TEST(ConfigurationCheck, LeavesTheLibrarysOwnColorsAlone)
{
    std::vector<ns__RgbColor> before;
    KR_Colors::instance()->get_available_colors(before);
    const KR_Configuration_Report report = kr_check_configuration(with_presets("<preset/>"));
    std::vector<ns__RgbColor> after;
    KR_Colors::instance()->get_available_colors(after);
    EXPECT_EQ(before.size(), after.size());
    report.colors->get_available_colors(after);
    EXPECT_EQ(1u, after.size());
}

TEST(ConfigurationCheck, NamesOfAttributesAndPresets)
{
    EXPECT_EQ("color", kr_preset_attribute_name(KR_PRESET_COLOR));
    EXPECT_EQ("val_to", kr_preset_attribute_name(KR_PRESET_VAL_TO));
    EXPECT_EQ("", kr_preset_attribute_name(KR_PRESET_ATTRIBUTES));
    EXPECT_EQ("white", kr_color_preset_name(ns__ColorPreset__white));
    EXPECT_EQ("purple", kr_color_preset_name(ns__ColorPreset__purple));
    EXPECT_EQ("", kr_color_preset_name(static_cast<ns__ColorPreset>(0)));
    EXPECT_EQ("", kr_color_preset_name(static_cast<ns__ColorPreset>(14)));
    EXPECT_EQ("", kr_color_preset_name(static_cast<ns__ColorPreset>(-1)));
}

TEST(ConfigurationCheck, EveryCutOfTheDefaultFileIsOneMistakeAtItsEnd)
{
    std::ifstream file(KR_CONFIG_DIR "/KRCommon.xml", std::ios::binary);
    const std::string document{std::istreambuf_iterator<char>(file), {}};
    ASSERT_TRUE(kr_check_configuration(document).errors.empty());
    for (std::size_t size = 0; size < document.size(); size += 37) {
        const std::string head = document.substr(0, size);
        const KR_Configuration_Report report = kr_check_configuration(head);
        const std::string verdict = reader_verdict(head);
        EXPECT_EQ(verdict, report.errors.empty() ? "No Error" : report.errors[0].text);
        for (const KR_Configuration_Error& error : report.errors) {
            EXPECT_LE(error.begin, error.end);
            EXPECT_LE(error.end, report.text.size());
        }
    }
}

} // namespace
