#include "../config/Configuration_File.h"
#include "../config/Coverage.h"
#include "../config/Explain.h"
#include "Config_Files.h"
#include "Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using krtool::marked_line;
using krtool::place_of;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Json = nlohmann::json;

std::string document_with(const std::string& presets)
{
    return "<configuration>\n<colors>\n<presets>\n" + presets +
           "\n</presets>\n</colors>\n</configuration>\n";
}

// Two ranges that share a quarter of all hues, and leave a lot out.
const std::string small_document =
    document_with("<preset color='red' rgb='FF0000' hue_from='0' hue_to='179' sat_from='0.5' "
                  "sat_to='1' val_from='0.5' "
                  "val_to='1'/>\n<preset color='pink' rgb='FF00FE' hue_from='90' hue_to='269' "
                  "sat_from='0.5' sat_to='1' "
                  "val_from='0.5' val_to='1'/>");

TEST(ConfigPlaces, LinesEndWithAnyLineEndAndColumnsAreCharacters)
{
    const std::string text = "a\r\nb\rc\n\xC3\xA9x";
    EXPECT_EQ(1u, place_of(text, 0).line);
    EXPECT_EQ(2u, place_of(text, 3).line);
    EXPECT_EQ(3u, place_of(text, 5).line);
    EXPECT_EQ(4u, place_of(text, 7).line);
    EXPECT_EQ(1u, place_of(text, 7).column);
    EXPECT_EQ(2u, place_of(text, 9).column);
    EXPECT_EQ(3u, place_of(text, 1000).column);
    EXPECT_EQ(1u, place_of("", 0).line);
}

TEST(ConfigPlaces, TheMarkStandsUnderThePlace)
{
    const auto line = marked_line("x\n   <a b='1'/>\n", 8, 13);
    EXPECT_EQ("<a b='1'/>", line.text);
    EXPECT_EQ("   ^~~~~", line.mark);
    const auto end = marked_line("ab", 2, 2);
    EXPECT_EQ("ab", end.text);
    EXPECT_EQ("  ^", end.mark);
    EXPECT_EQ("^", marked_line("", 0, 0).mark);
    const auto accents = marked_line("\xC3\xA9\xC3\xA9!", 4, 5);
    EXPECT_EQ("  ^", accents.mark);
}

TEST(ConfigPlaces, LongLinesAreCutAroundThePlace)
{
    const std::string text = std::string(500, 'a') + "MISTAKE" + std::string(500, 'b');
    const auto line = marked_line(text, 500, 507);
    EXPECT_THAT(line.text, StartsWith("...a"));
    EXPECT_THAT(line.text, testing::EndsWith("b..."));
    EXPECT_EQ("MISTAKE", line.text.substr(line.mark.find('^'), 7));
    EXPECT_EQ(line.mark.find('^') + 7, line.mark.size());
    EXPECT_GT(120u, line.text.size());
}

TEST(ConfigPlaces, NothingOfTheFileDisturbsATerminal)
{
    EXPECT_EQ("a?[31mb??c? d?", krtool::printable("a\033[31mb\xFF\xC2\x9B"
                                                  "c\x7F\td\xE2\x80\xAE"));
    EXPECT_EQ("\xC3\xA9", krtool::printable("\xC3\xA9"));
    const Test_File file(document_with("<preset color='\xC2\x9B"
                                       "31mred'/>"));
    const Ran ran = run({"config", "check", file.path()});
    EXPECT_EQ(std::string::npos, ran.out.find("\xC2\x9B"));
}

TEST(ConfigWords, NearestIsTheOneThatWasMeant)
{
    EXPECT_EQ("light_blue", krtool::nearest_word("LightBlue", krtool::color_names()));
    EXPECT_EQ("orange", krtool::nearest_word("ornage", krtool::color_names()));
    EXPECT_EQ("", krtool::nearest_word("beige", krtool::color_names()));
    EXPECT_EQ("", krtool::nearest_word(std::string(100'000, 'x'), krtool::color_names()));
    EXPECT_EQ("val_to", krtool::nearest_word("valto", krtool::attribute_names()));
    EXPECT_EQ("", krtool::nearest_word("", {}));
}

TEST(ConfigCheck, TheDefaultFileHasNothingWrong)
{
    const Ran ran = run({"config", "check", default_path()});
    EXPECT_EQ(0, ran.code) << ran.out;
    EXPECT_THAT(ran.out, HasSubstr("The library accepts '"));
    EXPECT_THAT(ran.out, HasSubstr("\n0 errors, 0 warnings, "));
    EXPECT_THAT(ran.out, HasSubstr("of all colours are both red and pink [overlap]"));
    const Json json = Json::parse(run({"config", "check", "--json", default_path()}).out);
    EXPECT_EQ(1, json["schema_version"]);
    EXPECT_EQ(true, json["accepted"]);
    EXPECT_EQ("No Error", json["verdict"]);
    EXPECT_EQ(48, json["ranges"]);
    EXPECT_EQ(0.0, json["shares"]["without_name"]);
    EXPECT_NEAR(0.05, json["shares"]["with_several"].get<double>(), 0.002);
}

TEST(ConfigCheck, ShowsTheLineWithAMarkAndTheLibrarysOwnText)
{
    const Test_File file(document_with("  <preset color='Red' rgb='FF0000'/>"));
    const Ran ran = run({"config", "check", file.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_EQ("", ran.errors);
    EXPECT_THAT(
        ran.out,
        StartsWith(file.path() +
                   ":4:11: error: 'Red' is no colour name; did you mean 'red'? [refused-38]\n"
                   "    4 | <preset color='Red' rgb='FF0000'/>\n"
                   "      |         ^~~~~~~~~~~\n"
                   "      = the library says: line:4-'color'-Value does not match "
                   "enumerations\n"));
    EXPECT_THAT(ran.out, HasSubstr("The library refuses '" + file.path() +
                                   "': line:4-'color'-Value does not match enumerations\n"));
    EXPECT_THAT(ran.out, Not(HasSubstr("\033[")));
    const Ran colored = run({"--color", "always", "config", "check", file.path()});
    EXPECT_THAT(colored.out, HasSubstr("\033[31merror: \033[0m"));
}

TEST(ConfigCheck, WarningsChangeNothing)
{
    const Test_File file(default_with("rgb=\"FF8B09\"", "rgb=\"#FF8B09\""));
    const Ran ran = run({"config", "check", file.path()});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("[rgb-not-six-digits]"));
}

TEST(ConfigCheck, SharesAndOverlapsAreThoseOfAllColors)
{
    const KR_Configuration_Report report = kr_check_configuration(
        document_with("<preset color='black' hue_to='360' sat_to='1' val_to='0.25'/>"
                      "<preset color='gray' hue_to='360' sat_to='0' val_to='1'/>"));
    const krtool::Coverage coverage = krtool::coverage_of(*report.colors);
    const double black = 64.0 * 64 * 64 / krtool::all_colors; // up to 63 of 255
    const double gray = 256.0 / krtool::all_colors;
    const double both = 64.0 / krtool::all_colors;
    EXPECT_DOUBLE_EQ(black, coverage.shares[ns__ColorPreset__black]);
    EXPECT_DOUBLE_EQ(gray, coverage.shares[ns__ColorPreset__gray]);
    EXPECT_DOUBLE_EQ(both, coverage.several);
    EXPECT_DOUBLE_EQ(1 - black - gray + both, coverage.unnamed);
    ASSERT_EQ(1u, coverage.overlaps.size());
    EXPECT_DOUBLE_EQ(both, coverage.overlaps[0].share);
}

TEST(ConfigCheck, ReadsAnyBytes)
{
    for (const std::string& bytes :
         {std::string(), std::string(1, '\0'), std::string("\xFF\xFE"),
          std::string("\xFF\xFE<\0", 4), std::string(100'000, '<'), std::string(70'000, 'x'),
          std::string("<a>\0</a>", 8),
          document_with("<preset rgb='" + std::string(70'000, 'x') + "'/>")}) {
        const Test_File file(bytes);
        EXPECT_EQ(1, run({"config", "check", file.path()}).code);
        const Ran ran = run({"config", "check", "--json", file.path()});
        EXPECT_EQ(1, ran.code);
        EXPECT_FALSE(Json::parse(ran.out, nullptr, false).is_discarded());
    }
}

TEST(ConfigCheck, AFileBeyondTheBoundIsRefusedAsTheLibraryDoes)
{
    const Test_File file(std::string(16 * 1024 * 1024 + 1, ' '));
    const Ran ran = run({"config", "check", file.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("the file has more than 16 MiB"));
    EXPECT_THAT(ran.out, HasSubstr("line:0-''-Length too long"));
}

TEST(ConfigCommands, WhatCannotBeReadOrWrittenIsOneSentence)
{
    const std::string folder = std::filesystem::temp_directory_path().string();
    const Test_File refused("<configuration/>");
    const Test_File accepted(small_document);
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"config"},
          {"config", "check"},
          {"config", "check", "no such file"},
          {"config", "check", folder},
          {"config", "diff", default_path()},
          {"config", "diff", default_path(), refused.path()},
          {"config", "diff", refused.path(), default_path()},
          {"config", "diff", accepted.path(), accepted.path(), "--survey", refused.path()},
          {"config", "diff", accepted.path(), accepted.path(), "--html", folder},
          {"config", "swatch", accepted.path()},
          {"config", "swatch", refused.path(), "--html", folder},
          {"config", "swatch", accepted.path(), "--html", folder},
          {"config", "swatch", accepted.path(), "--png", folder + "/no/such/folder.png"}}) {
        const Ran ran = run(arguments);
        EXPECT_EQ(2, ran.code) << testing::PrintToString(arguments);
        EXPECT_EQ("", ran.out);
        EXPECT_THAT(ran.errors, StartsWith("krtool: "));
        EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n')) << ran.errors;
    }
}

TEST(ConfigDiff, TheSameRangesChangeNothing)
{
    const Ran ran = run({"config", "diff", default_path(), default_path()});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("100.00 % of all colours keep their names, 0.00 % change\n"));
}

TEST(ConfigDiff, TellsWhichNamesBecomeWhich)
{
    const Test_File before(
        document_with("<preset color='red' hue_to='360' sat_to='1' val_to='1'/>"));
    const Test_File after(
        document_with("<preset color='red' hue_to='360' sat_to='1' val_to='1'/>"
                      "<preset color='black' hue_to='360' sat_to='1' val_to='0.25'/>"));
    const Ran ran = run({"config", "diff", "--json", before.path(), after.path()});
    EXPECT_EQ(1, ran.code);
    const Json json = Json::parse(ran.out);
    EXPECT_DOUBLE_EQ(1.0 / 64, json["changed_share"].get<double>());
    ASSERT_EQ(1u, json["changes"].size());
    const Json& change = json["changes"][0];
    EXPECT_EQ(Json({"red"}), change["from"]);
    EXPECT_EQ(Json({"black", "red"}), change["to"]);
    EXPECT_EQ(64 * 64 * 64, change["colors"]);
    EXPECT_EQ(24u, change["examples"].size());
    EXPECT_THAT(run({"config", "diff", before.path(), after.path()}).out,
                HasSubstr("1.56 %  red -> black and red   #"));
}

TEST(ConfigDiff, AgreementWithTheSurveyIsThatOfTheFittingScript)
{
    const Json json = Json::parse(run({"config", "diff", "--json", default_path(), default_path(),
                                       "--survey", KRTOOL_CONFIG_DIR "/survey/c3_data.json"})
                                      .out);
    EXPECT_NEAR(0.8245, json["old"]["agreement"]["hit"].get<double>(), 0.00005);
    EXPECT_NEAR(0.8033, json["new"]["agreement"]["exact"].get<double>(), 0.00005);
}

TEST(ConfigDiff, ThePageHoldsItsData)
{
    const Test_File before(small_document);
    const Test_File page("");
    const Ran ran = run({"config", "diff", before.path(), default_path(), "--html", page.path()});
    EXPECT_EQ(1, ran.code);
    const std::string html = content_of(page.path());
    EXPECT_THAT(html, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(html, HasSubstr("\"changed_share\":"));
    EXPECT_THAT(html, HasSubstr("function hsvOfRgb("));
    EXPECT_THAT(html, Not(HasSubstr("/*DATA*/")));
    EXPECT_THAT(html, Not(HasSubstr("/*SCRIPT*/")));
}

TEST(ConfigSwatch, ThePageIsSelfContained)
{
    const Test_File page("", ".html");
    const Test_File file(small_document);
    const Ran ran = run({"config", "swatch", file.path(), "--html", page.path()});
    EXPECT_EQ(0, ran.code) << ran.errors;
    EXPECT_EQ("wrote " + page.path() + "\n", ran.out);
    const std::string html = content_of(page.path());
    EXPECT_THAT(html, HasSubstr("\"hue\":[90,269],\"sat\":[0.5,1.0]"));
    for (const char* outside : {"http:", "https:", "src=", "@import", "url(", "fetch("})
        EXPECT_THAT(html, Not(HasSubstr(outside)));
}

TEST(ConfigSwatch, ThePictureIsAPngAndTheSameEachTime)
{
    const Test_File first("", ".png");
    const Test_File second("", ".png");
    const Test_File file(small_document);
    EXPECT_EQ(0, run({"config", "swatch", file.path(), "--png", first.path()}).code);
    EXPECT_EQ(0, run({"config", "swatch", file.path(), "--json", "--png", second.path()}).code);
    const std::string png = content_of(first.path());
    EXPECT_EQ("\x89PNG\r\n\x1A\n", png.substr(0, 8));
    EXPECT_EQ("IEND", png.substr(png.size() - 8, 4));
    EXPECT_EQ(png, content_of(second.path()));
}

} // namespace
