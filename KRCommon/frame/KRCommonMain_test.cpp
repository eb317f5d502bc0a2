#include <KRCommon/frame/KRCommonMain.h>

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>
#include <tests/support/Temp_Folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_internal::Start_Up;

// A path in the system's own form, written with '/' here.
std::string native(std::string path)
{
    std::replace(path.begin(), path.end(), '/', kr_platform::path_separator());
    return path;
}

// An empty classifier: no entry routine runs in a unit test.
KR_Colors empty_colors()
{
    return *KR_Colors::instance();
}

std::vector<ns__RgbColor> palette(const KR_Colors& colors)
{
    std::vector<ns__RgbColor> palette;
    colors.get_available_colors(palette);
    return palette;
}

constexpr const char* two_reds =
    "<?xml version='1.0' encoding='UTF-8'?>\n"
    "<configuration><colors><presets>\n"
    "<preset color='red' rgb='FF0000' hue_from='-20' hue_to='15' sat_from='0.4' sat_to='1.5'"
    " val_from='0.3' val_to='1'/>\n"
    "<preset color='red' rgb='800000' hue_from='20' hue_to='25' sat_from='0' sat_to='1'"
    " val_from='0' val_to='1'/>\n"
    "</presets></colors></configuration>\n";

TEST(StartUp, TheConfigurationLiesBesideTheModule)
{
    const struct {
        const char* module;
        const char* expected;
    } rows[] = {
        {"C:/Program Files/Video/KRCommon.dll", "C:/Program Files/Video/KRCommon.xml"},
        {"/KRCommon.dll", "/KRCommon.xml"},
        {"C:/a/b/c.d/e", "C:/a/b/c.d/KRCommon.xml"},
        {"C:/ends/", "C:/ends/KRCommon.xml"},
        {"KRCommon.dll", "KRCommon.dll/KRCommon.xml"}, // no separator: the whole name is kept
        {"", "/KRCommon.xml"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(native(row.expected), Start_Up::configuration_path(native(row.module)));
}

TEST(StartUp, AGoodFileFillsTheClassifierInSilence)
{
    const Temp_Folder folder;
    const Log_Capture capture;
    KR_Colors colors = empty_colors();
    Start_Up::load_configuration(folder.write("KRCommon.xml", two_reds), colors);
    EXPECT_TRUE(capture.lines().empty());

    ASSERT_EQ(2U, palette(colors).size());
    EXPECT_EQ(255, palette(colors)[0].red);
    EXPECT_EQ(128, palette(colors)[1].red);
    ns__HsvColor color;
    color.hue = 340;
    color.saturation = 1.5F;
    color.value = 0.5F;
    EXPECT_TRUE(colors.is_color(ns__ColorPreset__red, color, ns__QueryTolerancePreset__value_0));
    color.hue = 339;
    EXPECT_FALSE(colors.is_color(ns__ColorPreset__red, color, ns__QueryTolerancePreset__value_0));
}

TEST(StartUp, AMissingFileGivesOneEmergencyLineAndLeavesTheClassifierEmpty)
{
    const Temp_Folder folder;
    const Log_Capture capture;
    KR_Colors colors = empty_colors();
    const std::string path = folder.path("KRCommon.xml");
    Start_Up::load_configuration(path, colors);
    ASSERT_EQ(1U, capture.lines().size());
    EXPECT_EQ(thread_mark() + "*EMR Failed to read '" + path +
                  "' file: line:0-''-Unable to open file\n",
              capture.unstamped(0));
    EXPECT_EQ(LM_EMERGENCY, capture.lines()[0].priority);
    EXPECT_EQ("KRCommonMain.cpp", capture.lines()[0].file);
    EXPECT_EQ(32, capture.lines()[0].line);
    EXPECT_EQ(-1, capture.lines()[0].status);
    EXPECT_TRUE(palette(colors).empty());
}

TEST(StartUp, TellsWhetherAFileWasReadAndWhyNot)
{
    const Temp_Folder folder;
    const Log_Capture capture;
    KR_Colors colors = empty_colors();
    const std::string good = folder.write("good.xml", two_reds);
    const KR_Configuration_Status read = Start_Up::load_configuration(good, colors);
    EXPECT_TRUE(read.is_read);
    EXPECT_EQ(good, read.path);
    EXPECT_EQ("", read.error);

    const std::string bad = folder.write("bad.xml", "<configuration>\n</settings>");
    const KR_Configuration_Status refused = Start_Up::load_configuration(bad, colors);
    EXPECT_FALSE(refused.is_read);
    EXPECT_EQ(bad, refused.path);
    EXPECT_EQ("line:2-'settings'-Bad end of element", refused.error);
}

TEST(StartUp, NothingIsReadBeforeTheLibraryIsAttached)
{
    EXPECT_FALSE(kr_configuration_status().is_read); // no entry routine runs in a unit test
    EXPECT_EQ("", kr_configuration_status().path);
    EXPECT_EQ("", kr_configuration_status().error);
}

TEST(StartUp, NothingOfABadFileIsUsed)
{
    const Temp_Folder folder;
    const Log_Capture capture;
    KR_Colors colors = empty_colors();
    std::string text = two_reds;
    text.insert(text.find("</presets>"), "<preset color='reddish'/>\n");
    Start_Up::load_configuration(folder.write("KRCommon.xml", text), colors);
    ASSERT_EQ(1U, capture.lines().size());
    EXPECT_THAT(capture.lines()[0].text,
                testing::EndsWith("line:5-'color'-Value does not match enumerations\n"));
    EXPECT_TRUE(palette(colors).empty());
}

TEST(StartUp, ALineFeedInTheFilesTextCannotBreakTheLine)
{
    const Temp_Folder folder;
    const Log_Capture capture;
    KR_Colors colors = empty_colors();
    Start_Up::load_configuration(
        folder.write("KRCommon.xml", "<configuration \xE2\x80\xA8x&#10;='1'/>"), colors);
    ASSERT_EQ(1U, capture.lines().size());
    const std::string& line = capture.lines()[0].text;
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
}

TEST(StartUp, AttachingAThreadGivesItTheLogSettings)
{
    const Temp_Folder folder;
    KR_LOG_MANAGER::instance()->open(nullptr, folder.path("logs").c_str(), "attach");
    std::ostream* stream = nullptr;
    std::thread([&] {
        Start_Up::attach_thread();
        stream = ACE_Log_Msg::instance()->msg_ostream();
    }).join();
    EXPECT_NE(nullptr, stream);
    EXPECT_EQ(ACE_Log_Msg::instance()->msg_ostream(), stream);
    KR_LOG_MANAGER::instance()->open(nullptr, folder.path("missing/too").c_str(), "attach");
    KR_LOG_MANAGER::instance()->close();
}

} // namespace
