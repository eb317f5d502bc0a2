// Mistakes that people make in KRCommon.xml, each a small change of the default file: "krtool config
// check" must find each, in its line, in words that help.

#include "Config_Files.h"
#include "Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::json;

struct Mistake {
    const char* text; // of the default file
    const char* replacement;
    const char* code;
    const char* words;   // of the message
    int line_offset = 0; // from the line of the change to the right one
};

constexpr int no_line = -1;

#define ORANGE "color=\"orange\" rgb=\"FF8B09\" hue_from=\"12\" hue_to=\"41\""
#define REST "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1\"/>"

const std::vector<Mistake> refused{
    {"color=\"orange\"", "color=\"Orange\"", "refused-38", "did you mean 'orange'?"},
    {"color=\"gray\"", "color=\"grey\"", "refused-38", "it is written 'gray'"},
    {"color=\"light_blue\"", "color=\"light blue\"", "refused-38", "did you mean 'light_blue'?"},
    {"color=\"dark_blue\"", "color=\"darkblue\"", "refused-38", "did you mean 'dark_blue'?"},
    {"color=\"dark_green\"", "color=\"dark-green\"", "refused-38", "did you mean 'dark_green'?"},
    {"color=\"light_blue\"", "color=\"blue\"", "refused-38", "'light_blue' or 'dark_blue'"},
    {"color=\"light_green\"", "color=\"green\"", "refused-38", "'light_green' or 'dark_green'"},
    {"color=\"yellow\"", "color=\"yelow\"", "refused-38", "did you mean 'yellow'?"},
    {"color=\"orange\"", "color=\"orange \"", "refused-38", "did you mean 'orange'?"},
    {"color=\"orange\"", "color=\"\"", "refused-38", "the colour is empty"},
    {"color=\"red\"", "color=\"rot\"", "refused-38", "is no colour name"},
    {"color=\"purple\"", "color=\"turquoise\"", "refused-38", "write one of white, black"},
    {"color=\"orange\"", "color=\"10\"", "refused-38", "write one of white, black"},
    {"sat_from=\"0.461\"", "sat_from=\"0,461\"", "refused-35", "with a point: '0.461'"},
    {"sat_from=\"0.461\"", "sat_from=\"46%\"", "refused-35", "50 % as 0.5"},
    {"sat_from=\"0.461\"", "sat_from=\"\"", "refused-35", "'sat_from' has no value"},
    {"sat_from=\"0.461\"", "sat_from=\"O.461\"", "refused-35", "no letters"},
    {"sat_from=\"0.461\"", "sat_from=\"0.4.61\"", "refused-35", "no number from 0 to 1"},
    {"sat_from=\"0.461\"", "sat_from=\"nan\"", "refused-35", "no number"},
    {"sat_from=\"0.461\"", "sat_from=\"1e\"", "refused-35", "no number"},
    {"hue_from=\"12\" hue_to=\"41\" sat_from=\"0.461\"",
     "hue_from=\"12.5\" hue_to=\"41\" sat_from=\"0.461\"", "refused-35", "hues have no decimals"},
    {"hue_from=\"12\" hue_to=\"41\" sat_from=\"0.461\"",
     "hue_from=\"12\xC2\xB0\" hue_to=\"41\" sat_from=\"0.461\"", "refused-35", "no unit"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"12\" hue_to=\"4100000000\"", "refused-36",
     "degrees go from 0 to 360"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"-9999999999\" hue_to=\"41\"", "refused-37",
     "degrees go from 0 to 360"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_form=\"12\" hue_to=\"41\"", "refused-39",
     "did you mean 'hue_from'?"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" Hue_From=\"12\" hue_to=\"41\"", "refused-39",
     "did you mean 'hue_from'?"},
    {ORANGE, "colour=\"orange\" rgb=\"FF8B09\" hue_from=\"12\" hue_to=\"41\"", "refused-39",
     "did you mean 'color'?"},
    {ORANGE, "name=\"mine\" " ORANGE, "refused-39", "no attribute 'name'"},
    {"<configuration>", "<configuration xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">",
     "refused-39", "<configuration> has no attributes"},
    {"<presets>", "<presets count=\"48\">", "refused-39", "<presets> has no attributes"},
    {ORANGE, ORANGE " hue_from=\"12\"", "refused-3", "'hue_from' stands twice"},
    {"sat_from=\"0.461\" sat_to", "sat_from=\"0.461 sat_to", "refused-35",
     "closing quote of 'sat_from' is missing"},
    {"rgb=\"FF8B09\" hue", "rgb=\"FF8B09 hue", "refused-11", "closing quote is missing"},
    {"color=\"orange\" rgb", "color=\"orange rgb", "refused-38",
     "closing quote of 'color' is missing"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1/>", "refused-28",
     "closing quote of 'val_to' is missing"},
    {"sat_from=\"0.461\"", "sat_from=0.461\"", "refused-28", "no opening quote"},
    {"sat_from=\"0.461\"", "sat_from=0.461", "refused-28", "between quotes"},
    {"sat_from=\"0.461\"", "sat_from\"0.461\"", "refused-28", "'=' is missing behind 'sat_from'"},
    {"rgb=\"FF8B09\"", "rgb", "refused-28", "'rgb' has no value"},
    {"sat_from=\"0.461\"",
     "sat_from=\xE2\x80\x9C"
     "0.461\xE2\x80\x9D",
     "refused-28", "between quotes"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1\">", "refused-31",
     "the '/' at the end"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1\"/", "refused-11",
     "does not stand before '>'"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1\"", "refused-11",
     "the end of this tag is missing"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\" val_to=\"1\"\\>", "refused-11",
     "'\\' may not stand"},
    {"<preset color=\"orange\"", "preset color=\"orange\"", "refused-29", "is a '<' missing?"},
    {"<preset color=\"orange\"", "<prest color=\"orange\"", "refused-31", "did you mean 'preset'?"},
    {"<preset color=\"orange\"", "<Preset color=\"orange\"", "refused-31",
     "did you mean 'preset'?"},
    {"<preset color=\"orange\"", "< preset color=\"orange\"", "refused-5", "'<' begins no element"},
    {"rgb=\"FF8B09\" hue", "rgb=\"FF8B09\"hue", "refused-11", "a blank is missing"},
    {"rgb=\"FF8B09\" hue", "rgb=\"FF8B09\", hue", "refused-11", "',' may not stand"},
    {"rgb=\"FF8B09\"", "rgb=\"red & yellow\"", "refused-5", "write '&amp;'"},
    {"<!-- Red. -->", "Red.", "refused-29", "meant as a comment"},
    {"<!-- Red. -->", "&nbsp;", "refused-33", "'&nbsp;' is not known"},
    {"<!-- Red. -->", "<!-- Red.", "refused-8", "'-->', is missing"},
    {"<!-- Red. -->", "<!-- Red -- dark. -->", "refused-8", "'--' may not stand"},
    {"<!-- Red. -->", "<!- Red. -->", "refused-8", "begins with '<!--'"},
    {"<!-- Red. -->", "# Red.", "refused-29", "meant as a comment"},
    {"<!-- Red. -->", "<group/>", "refused-31", "no element <group>"},
    {"<!-- Red. -->", "<!-- F\xFCr Rot -->", "refused-15", "save the file as UTF-8"},
    {"<!-- Red. -->", "<!-- \x01 -->", "refused-5", "control character"},
    {"<!-- Red. -->", "</presets>\n<presets>", "refused-26", "a second time", 1},
    {"    </presets>\n", "", "refused-10", "</presets> is missing"},
    {"  </colors>\n", "", "refused-10", "</colors> is missing"},
    {"</presets>", "</preset>", "refused-10", "fits no element"},
    {"</colors>", "</Colors>", "refused-10", "fits no element"},
    {"</configuration>", "</configuration", "refused-12", "with '>'"},
    {"</colors>", "</ colors>", "refused-12", "without blanks"},
    {"  <colors>\n    <presets>\n", "    <presets>\n", "refused-21", "<colors> is missing"},
    {"    <presets>\n", "", "refused-21", "<presets> is missing", 1},
    {"<configuration>", "<Configuration>", "refused-16", "must be <configuration>"},
    {"<?xml version", "\n<?xml version", "refused-23", "very first thing", 1},
    {"<?xml version=\"1.0\"", "<?xml version=\"1.1\"", "refused-14", "version 1.0"},
    {"<?xml version=\"1.0\" encoding", "<?xml encoding", "refused-13", "first line"},
    {"encoding=\"UTF-8\"", "encoding=\"windows-1252\"", "refused-6", "save the file as UTF-8"},
    {"encoding=\"UTF-8\"", "encoding=\"UTF-16\"", "refused-15", "first line declares"},
    {"<configuration>", "<!DOCTYPE configuration SYSTEM \"x.dtd\">\n<configuration>", "refused-17",
     "remove <!DOCTYPE"},
    {"</configuration>", "</configuration>\n<configuration/>", "refused-23", "a second element", 1},
};

const std::vector<Mistake> accepted{
    {"sat_from=\"0.461\" sat_to=\"1\"", "sat_from=\"46\" sat_to=\"100\"", "scale-percent",
     "Write 0.46"},
    {"val_from=\"0.761\" val_to=\"1\"/>\n\n      <!-- Red",
     "val_from=\"194\" val_to=\"255\"/>\n\n      <!-- Red", "scale-255", "Write 0.761"},
    {"sat_from=\"0.461\"", "sat_from=\"0461\"", "out-of-range", "leaves no colour"},
    {"sat_from=\"0.461\" sat_to=\"1\"", "sat_from=\"1\" sat_to=\"0.461\"", "from-above-to",
     "swapped?"},
    {"sat_from=\"0.461\"", "sat_from=\"NaN\"", "not-a-number", "no colour at all"},
    {"sat_from=\"0.461\"", "sat_from=\"-0.461\"", "out-of-range", "the same as 0"},
    {"sat_from=\"0.461\" sat_to=\"1\"", "sat_from=\"0.461\" sat_to=\"1.5\"", "out-of-range",
     "the same as 1"},
    {"sat_from=\"0.461\" sat_to=\"1\"", "sat_from=\"0.461\" sat_to=\"INF\"", "out-of-range",
     "the same as 1"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"41\" hue_to=\"12\"", "hue-looks-swapped",
     "are the two swapped?"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"41\" hue_to=\"41\"", "hue-equal",
     "every hue"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"0\" hue_to=\"360\"", "hue-full",
     "every hue"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_from=\"12\" hue_to=\"410\"", "hue-out-of-circle",
     "taken as 50"},
    {ORANGE, "rgb=\"FF8B09\" hue_from=\"12\" hue_to=\"41\"", "missing-color",
     "belongs to no colour"},
    {ORANGE, "color=\"orange\" hue_from=\"12\" hue_to=\"41\"", "missing-attribute",
     "becomes black"},
    {ORANGE, "color=\"orange\" rgb=\"FF8B09\" hue_to=\"41\"", "missing-attribute",
     "'hue_from' is missing and becomes 0"},
    {"sat_from=\"0.461\" sat_to=\"1\"", "sat_from=\"0.461\"", "missing-attribute",
     "'sat_to' is missing and becomes 0"},
    {REST, "sat_from=\"0.461\" sat_to=\"1\" val_from=\"0.761\"/>", "missing-attribute",
     "'val_to' is missing and becomes 0"},
    {"rgb=\"FF8B09\"", "rgb=\"#FF8B09\"", "rgb-not-six-digits", "without '#'"},
    {"rgb=\"FF8B09\"", "rgb=\"orange\"", "rgb-not-six-digits", "becomes #000000"},
    {"rgb=\"FF8B09\"", "rgb=\"FF8B0\"", "rgb-not-six-digits", "becomes #0FF8B0"},
    {"rgb=\"FF8B09\"", "rgb=\"FFFF8B09\"", "rgb-not-six-digits", "becomes #FF8B09"},
    {"rgb=\"FF8B09\"", "rgb=\"255,139,9\"", "rgb-not-six-digits", "not six hexadecimal digits"},
    {"rgb=\"FF8B09\"", "rgb=\"0000FF\"", "rgb-outside-range", "outside its own range"},
    {"<preset color=\"orange\"", "<preset " ORANGE " " REST "\n      <preset color=\"orange\"",
     "range-inside-another", "is the same", 1},
    {"<preset color=\"orange\"",
     "<preset color=\"orange\" rgb=\"FF8C0A\" hue_from=\"20\" hue_to=\"40\" sat_from=\"0.5\" "
     "sat_to=\"1\" "
     "val_from=\"0.8\" val_to=\"1\"/>\n      <preset color=\"orange\"",
     "range-inside-another", "holds all of it"},
    {"<preset color=\"orange\"",
     "<preset color=\"red\" rgb=\"FF8C0A\" hue_from=\"12\" hue_to=\"41\" " REST
     "\n      <preset color=\"orange\"",
     "same-as-another", "that of red", 1},
    {"hue_from=\"342\" hue_to=\"11\" sat_from=\"0.761\"",
     "hue_from=\"342\" hue_to=\"11\" sat_from=\"0\"", "holds-greys",
     "begin its saturation above 0"},
    {"<preset color=\"orange\"", "<preset color=\"red\"", "color-without-range",
     "orange has no range", no_line},
    {"<preset " ORANGE " " REST, "", "colors-without-name", "of all colours have no name", no_line},
    {"hue_from=\"12\" hue_to=\"41\" sat_from=\"0.461\"",
     "hue_from=\"14\" hue_to=\"41\" sat_from=\"0.461\"", "colors-without-name", "nearest: orange",
     no_line},
};

int line_of(const std::string& text, std::size_t at)
{
    return 1 + static_cast<int>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

Json check(const std::string& document)
{
    const Test_File file(document);
    const Ran ran = run({"config", "check", "--json", file.path()});
    EXPECT_EQ("", ran.errors);
    const Json report = Json::parse(ran.out, nullptr, false);
    EXPECT_FALSE(report.is_discarded()) << ran.out;
    return report;
}

int count_refused(const Json& report)
{
    int count = 0;
    for (const Json& finding : report["findings"])
        count += finding["code"].get<std::string>().rfind("refused-", 0) == 0 ? 1 : 0;
    return count;
}

void expect_found(const Mistake& mistake, const Json& report)
{
    const std::string text = content_of(default_path());
    const int line = mistake.line_offset == no_line
                         ? no_line
                         : line_of(text, text.find(mistake.text)) + mistake.line_offset;
    const auto is_it = [&](const Json& finding) {
        return finding["code"] == mistake.code && finding.value("line", no_line) == line &&
               finding["message"].get<std::string>().find(mistake.words) != std::string::npos;
    };
    const Json& findings = report["findings"];
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), is_it))
        << "expected in line " << line << ": " << mistake.code << " ..." << mistake.words << "...\n"
        << findings.dump(2);
}

TEST(ConfigMistakes, EachThatTheLibraryRefusesIsOneFindingInItsLine)
{
    EXPECT_LE(57u, refused.size() + accepted.size());
    for (const Mistake& mistake : refused) {
        SCOPED_TRACE(mistake.replacement);
        const Json report = check(default_with(mistake.text, mistake.replacement));
        EXPECT_EQ(false, report["accepted"]);
        expect_found(mistake, report);
        EXPECT_EQ(1, count_refused(report)) << report["findings"].dump(2);
    }
}

TEST(ConfigMistakes, EachThatTheLibraryAcceptsIsFoundAllTheSame)
{
    for (const Mistake& mistake : accepted) {
        SCOPED_TRACE(mistake.replacement);
        const Json report = check(default_with(mistake.text, mistake.replacement));
        EXPECT_EQ(true, report["accepted"]);
        EXPECT_EQ("No Error", report["verdict"]);
        expect_found(mistake, report);
    }
}

TEST(ConfigMistakes, FilesThatAreCutOffOrEmpty)
{
    const std::string text = content_of(default_path());
    const std::size_t orange = text.find("rgb=\"FF8B09\"");
    for (const auto& [size, words] : {std::pair<std::size_t, const char*>{0, "the file is empty"},
                                      {orange, "the end of this tag"},
                                      {orange + 7, "the file was cut off"},
                                      {text.find("</presets>"), "</presets> is missing"},
                                      {text.find("  The notice"), "the end of this comment"}}) {
        const Json report = check(text.substr(0, size));
        SCOPED_TRACE(words);
        EXPECT_EQ(1, count_refused(report));
        EXPECT_EQ("refused-34", report["findings"][0]["code"]);
        EXPECT_THAT(report["findings"][0]["message"].get<std::string>(), testing::HasSubstr(words));
        EXPECT_EQ(false, report["read_to_the_end"]);
    }
}

TEST(ConfigMistakes, SeveralInOneFileAreAllToldInOneRun)
{
    std::string text = default_with("color=\"orange\"", "color=\"Orange\"");
    text.replace(text.find("<!-- Red. -->"), 13, "Red.");
    const std::string pink = "<preset color=\"pink\"";
    text.replace(text.find(pink), pink.size(), "<preset color=\"pink");
    const Json report = check(text);
    ASSERT_EQ(3, count_refused(report)) << report["findings"].dump(2);
    EXPECT_EQ("refused-38", report["findings"][0]["code"]);
    EXPECT_EQ("refused-29", report["findings"][1]["code"]);
    EXPECT_THAT(report["findings"][2]["message"].get<std::string>(),
                testing::HasSubstr("closing quote of 'color' is missing"));
    EXPECT_EQ(true, report["read_to_the_end"]);
}

} // namespace
