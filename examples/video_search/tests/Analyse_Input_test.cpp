// What comes from outside: the command line and the video file; and what is shown of the progress.

#include "Clip.h"
#include "analyse/Command_Line.h"
#include "analyse/Progress.h"
#include "analyse/Video.h"
#include "host/Host.h"
#include "host/Program.h"

#include <KRCommon/util/Time_Text.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace video_search;

namespace {

// Command line

std::optional<Command_Line> parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "kr_analyse");
    std::ostringstream out;
    return read_command_line(static_cast<int>(arguments.size()), arguments.data(), "1.2.3", out);
}

std::string error_of(const std::vector<const char*>& arguments)
{
    try {
        (void)parse(arguments);
    } catch (const Usage_Error& error) {
        return error.what();
    }
    return "no error";
}

TEST(AnalyseCommandLine, TakesTheDefaults)
{
    const Command_Line line = parse({"a.avi", "--store", "s.db", "--logs", "l"}).value();
    EXPECT_EQ("a.avi", line.analysis.video);
    EXPECT_EQ("s.db", line.store);
    EXPECT_EQ("l", line.logs);
    EXPECT_FALSE(line.has_start);
    EXPECT_EQ(1, line.analysis.sensor);
    EXPECT_EQ(65536U, line.analysis.budget);
    EXPECT_EQ(1, line.analysis.every);
    EXPECT_EQ(0.05, line.analysis.min_area);
}

TEST(AnalyseCommandLine, TakesEachOption)
{
    const Command_Line line =
        parse({"--sensor", "0", "--start", "2024/03/05 07:08:09.000123", "--budget", "92",
               "--every", "3", "--min-area", "1.5", "--store", "s.db", "--logs", "l", "a.avi"})
            .value();
    EXPECT_EQ(0, line.analysis.sensor);
    EXPECT_TRUE(line.has_start);
    EXPECT_EQ("2024/03/05 07:08:09.000123", kr_to_string(line.analysis.start));
    EXPECT_EQ(92U, line.analysis.budget);
    EXPECT_EQ(3, line.analysis.every);
    EXPECT_EQ(1.5, line.analysis.min_area);
}

TEST(AnalyseCommandLine, RefusesWhatItCannotFollow)
{
    const std::vector<std::vector<const char*>> wrong = {
        {},
        {"--store", "s", "--logs", "l"},
        {"a.avi", "--logs", "l"},
        {"a.avi", "--store", "s"},
        {"a.avi", "--store", "s", "--logs", "l", "--sensor", "-1"},
        {"a.avi", "--store", "s", "--logs", "l", "--sensor", "one"},
        {"a.avi", "--store", "s", "--logs", "l", "--budget", "91"},
        {"a.avi", "--store", "s", "--logs", "l", "--budget", "-1"},
        {"a.avi", "--store", "s", "--logs", "l", "--every", "0"},
        {"a.avi", "--store", "s", "--logs", "l", "--min-area", "0"},
        {"a.avi", "--store", "s", "--logs", "l", "--min-area", "nan"},
        {"a.avi", "--store", "s", "--logs", "l", "--other"},
        {"a.avi", "b.avi", "--store", "s", "--logs", "l"},
    };
    for (std::size_t i = 0; i < wrong.size(); ++i)
        EXPECT_NE("no error", error_of(wrong[i])) << i;
}

TEST(AnalyseCommandLine, RefusesATextThatIsNoTime)
{
    for (const char* text :
         {"", "yesterday", "2024/03/05", "2024/03/05 07:08", "2024/13/05 07:08:09",
          "2024/02/30 07:08:09", "2024/03/05 24:00:00", "2024/03/05 07:08:09.5",
          "2024/03/05 07:08:09 ", "2024-03-05 07:08:09", "1969/12/31 23:59:59",
          "2038/01/01 00:00:00", "2024/03/05 07:08:09.000000x"}) {
        const std::string error =
            error_of({"a.avi", "--store", "s", "--logs", "l", "--start", text});
        EXPECT_NE(std::string::npos, error.find(std::string("'") + text + "' is no time")) << error;
    }
}

TEST(AnalyseCommandLine, TellsItsVersionAndItsHelp)
{
    std::ostringstream out;
    const char* version[] = {"kr_analyse", "--version"};
    EXPECT_FALSE(read_command_line(2, version, "1.2.3", out).has_value());
    EXPECT_EQ("kr_analyse 1.2.3\n", out.str());
    const char* help[] = {"kr_analyse", "--help"};
    EXPECT_FALSE(read_command_line(2, help, "1.2.3", out).has_value());
    EXPECT_NE(std::string::npos, out.str().find("--budget"));
}

// Video

class AnalyseVideo : public testing::Test {
protected:
    AnalyseVideo()
    {
        std::string name = (std::filesystem::path(testing::TempDir()) / "videoXXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~AnalyseVideo() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& name) const { return (folder_ / name).string(); }

    std::filesystem::path folder_;
};

std::string failure_of(const std::string& path)
{
    try {
        const Video video(path);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "no failure";
}

TEST_F(AnalyseVideo, GivesEachFrameOfAClip)
{
    clip::write(file("clip.avi"));
    Video video(file("clip.avi"));
    EXPECT_EQ(cv::Size(320, 240), video.size());
    EXPECT_EQ(10.0, video.fps());
    EXPECT_EQ(130, video.count());
    for (int i = 0; i < 130; ++i)
        ASSERT_FALSE(video.next().empty()) << i;
    EXPECT_FALSE(video.is_at_end());
    EXPECT_TRUE(video.next().empty());
    EXPECT_TRUE(video.next().empty());
    EXPECT_TRUE(video.is_at_end());
    EXPECT_EQ(130, video.position());
    EXPECT_FALSE(video.is_truncated());
}

TEST_F(AnalyseVideo, PassesOverFrames)
{
    clip::write(file("clip.avi"));
    Video all(file("clip.avi"));
    Video third(file("clip.avi"));
    for (int i = 0; i < 60; i += 3) {
        const cv::Mat expected = all.next().clone();
        all.skip();
        all.next();
        const cv::Mat frame = third.next();
        EXPECT_EQ(0.0, cv::norm(expected, frame, cv::NORM_INF)) << i;
        third.skip();
        third.skip();
    }
}

TEST_F(AnalyseVideo, RefusesWhatIsNoVideo)
{
    std::ofstream(file("text.avi")) << "This is no video.\n";
    std::ofstream(file("empty.avi")).flush();
    EXPECT_EQ("no such file: " + file("none.avi"), failure_of(file("none.avi")));
    for (const char* name : {"text.avi", "empty.avi", "."})
        EXPECT_EQ(file(name) + " is no video that can be read", failure_of(file(name)));
    EXPECT_EQ("no such file: 0", failure_of("0")) << "no camera";
    EXPECT_EQ("no such file: http://127.0.0.1/a.avi", failure_of("http://127.0.0.1/a.avi"));
}

TEST_F(AnalyseVideo, KnowsThatAFileIsTruncated)
{
    clip::write(file("clip.avi"));
    std::filesystem::resize_file(file("clip.avi"),
                                 std::filesystem::file_size(file("clip.avi")) / 2);
    Video video(file("clip.avi"));
    EXPECT_EQ(130, video.count());
    while (!video.next().empty())
        EXPECT_FALSE(video.is_truncated());
    EXPECT_TRUE(video.is_truncated());
    EXPECT_GT(video.position(), 30);
    EXPECT_LT(video.position(), 90);
}

TEST_F(AnalyseVideo, SamplesTheWholeOfAShortClip)
{
    clip::write(file("clip.avi"));
    const std::vector<cv::Mat> samples = sample_scene(file("clip.avi"), {160, 120});
    EXPECT_EQ(60U, samples.size());
    for (const cv::Mat& sample : samples)
        EXPECT_EQ(cv::Size(160, 120), sample.size());
}

// Progress

TEST(AnalyseProgress, DrawsABarInTheRoomThatIsLeft)
{
    const Status half{50, 100, 3};
    EXPECT_EQ("[##########----------]  50 %  50 of 100 frames, 25.0 frames/s, 2 s left, 3 objects",
              progress_line(half, 2.0, 82));
    EXPECT_EQ(79U, progress_line(half, 2.0, 79).size());
    EXPECT_EQ('[', progress_line(half, 2.0, 79)[0]);
}

TEST(AnalyseProgress, LeavesTheBarOutWhereThereIsNoRoom)
{
    EXPECT_EQ(" 50 %  50 of 100 frames, 25.0", progress_line({50, 100, 3}, 2.0, 29));
    EXPECT_EQ("", progress_line({50, 100, 3}, 2.0, 0));
}

TEST(AnalyseProgress, CopesWithoutATotal)
{
    EXPECT_EQ("50 frames, 25.0 frames/s, 1 object", progress_line({50, {}, 1}, 2.0, 80));
}

TEST(AnalyseProgress, StaysAtOneHundredPercentWhenThereAreMoreFramesThanSaid)
{
    const std::string line = progress_line({150, 100, 0}, 10.0, 60);
    EXPECT_EQ("100 %  150 of 100 frames, 15.0 frames/s, 0 s left, 0 objects",
              line.substr(line.find("100 %")))
        << line;
}

TEST(AnalyseProgress, DoesNotDivideByZeroAtTheBegin)
{
    EXPECT_EQ("  0 %  0 of 100 frames, 0.0 frames/s, 0 objects",
              progress_line({0, 100, 0}, 0.0, 50));
}

} // namespace
