// What comes from outside: the command line and the video file; and what is shown of the progress.

#include "Clip.h"
#include "analyse/Command_Line.h"
#include "analyse/Progress.h"
#include "analyse/Video.h"
#include "host/Host.h"
#include "host/Program.h"

#include <KRCommon/util/Time_Text.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
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
    ASSERT_EQ(1U, line.inputs.size());
    EXPECT_EQ("a.avi", line.inputs[0].name);
    EXPECT_EQ("s.db", line.store);
    EXPECT_EQ("l", line.logs);
    EXPECT_FALSE(line.inputs[0].start.has_value());
    EXPECT_EQ(1, line.inputs[0].settings.sensor);
    EXPECT_EQ(65536U, line.inputs[0].settings.budget);
    EXPECT_EQ(1, line.inputs[0].settings.every);
    EXPECT_EQ(0.05, line.inputs[0].settings.min_area);
    EXPECT_EQ(10'000, line.stall.count());
}

TEST(AnalyseCommandLine, TakesEachOption)
{
    const Command_Line line = parse({"--sensor", "0", "--start", "2024/03/05 07:08:09.000123",
                                     "--budget", "92", "--every", "3", "--min-area", "1.5",
                                     "--stall", "2.5", "--store", "s.db", "--logs", "l", "a.avi"})
                                  .value();
    ASSERT_EQ(1U, line.inputs.size());
    const Input& input = line.inputs[0];
    EXPECT_EQ(0, input.settings.sensor);
    EXPECT_EQ("2024/03/05 07:08:09.000123", kr_to_string(input.start.value()));
    EXPECT_EQ(92U, input.settings.budget);
    EXPECT_EQ(3, input.settings.every);
    EXPECT_EQ(1.5, input.settings.min_area);
    EXPECT_EQ(2500, line.stall.count());
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
        {"a.avi", "--store", "s", "--logs", "l", "--stall", "0"},
        {"a.avi", "--store", "s", "--logs", "l", "--stall", "nan"},
        {"a.avi", "--store", "s", "--logs", "l", "--sensor", "1,2"},
        {"a.avi", "b.avi", "--store", "s", "--logs", "l", "--sensor", "2147483647"},
        {"a.avi", "b.avi", "c.avi", "--store", "s", "--logs", "l", "--sensor", "1", "--sensor",
         "2"},
        {"rtsp://a/b", "--store", "s", "--logs", "l", "--start", "2024/03/05 07:08:09"},
    };
    for (std::size_t i = 0; i < wrong.size(); ++i)
        EXPECT_NE("no error", error_of(wrong[i])) << i;
}

TEST(AnalyseCommandLine, GivesEachOfSeveralVideosASensorAndAStart)
{
    const auto sensors_of = [](std::vector<const char*> sensors) {
        sensors.insert(sensors.begin(), {"--store", "s", "--logs", "l", "a.avi", "rtsp://b/c"});
        std::vector<int> numbers;
        const Command_Line line = parse(sensors).value();
        for (const Input& input : line.inputs)
            numbers.push_back(input.settings.sensor);
        return numbers;
    };
    EXPECT_EQ((std::vector<int>{1, 2}), sensors_of({}));
    EXPECT_EQ((std::vector<int>{7, 8}), sensors_of({"--sensor", "7"}));
    EXPECT_EQ((std::vector<int>{7, 3}), sensors_of({"--sensor", "7", "--sensor", "3"}));
    EXPECT_EQ((std::vector<int>{7, 7}), sensors_of({"--sensor", "7,7"}));

    const Command_Line line =
        parse({"--start", "2024/03/05 07:08:09", "--start", "2024/03/05 07:08:10", "a.avi", "b.avi",
               "--store", "s", "--logs", "l"})
            .value();
    EXPECT_EQ("2024/03/05 07:08:09.000000", kr_to_string(line.inputs.at(0).start.value()));
    EXPECT_EQ("2024/03/05 07:08:10.000000", kr_to_string(line.inputs.at(1).start.value()));
}

TEST(AnalyseCommandLine, TellsAddressesFromPaths)
{
    for (const char* name : {"rtsp://camera/a", "http://127.0.0.1:80/a.avi", "UDP://239.0.0.1:1"})
        EXPECT_TRUE(is_address(name)) << name;
    for (const char* name : {"", "a.avi", "/a/b.avi", "://a", "a b://c", "./x://y", "C:/a.avi"})
        EXPECT_FALSE(is_address(name)) << name;
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
        ASSERT_FALSE(video.next().picture.empty()) << i;
    EXPECT_FALSE(video.is_at_end());
    EXPECT_TRUE(video.next().picture.empty());
    EXPECT_TRUE(video.next().picture.empty());
    EXPECT_TRUE(video.is_at_end());
    EXPECT_EQ(130, video.position());
    EXPECT_FALSE(video.shortfall().has_value());
}

TEST_F(AnalyseVideo, PassesOverFrames)
{
    clip::write(file("clip.avi"));
    Video all(file("clip.avi"));
    Video third(file("clip.avi"));
    for (int i = 0; i < 60; i += 3) {
        const cv::Mat expected = all.next().picture.clone();
        all.skip();
        all.next();
        const cv::Mat frame = third.next().picture;
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
    while (!video.next().picture.empty())
        EXPECT_FALSE(video.shortfall().has_value());
    EXPECT_TRUE(video.shortfall().has_value());
    EXPECT_GT(video.position(), 30);
    EXPECT_LT(video.position(), 90);
}

// A picture that shows its number, as grey.
cv::Mat numbered(int number, cv::Size size = {64, 48})
{
    return cv::Mat(size, CV_8UC3, cv::Scalar::all(20 + 20 * (number % 10)));
}

int number_of(const cv::Mat& picture)
{
    return cvRound((cv::mean(picture)[0] - 20) / 20);
}

void write_numbered(const std::string& path, const std::vector<int>& milliseconds,
                    clip::Recorder_Settings settings = {})
{
    settings.size = {64, 48};
    clip::Recorder recorder(path, settings);
    for (std::size_t i = 0; i < milliseconds.size(); ++i)
        recorder.write(numbered(static_cast<int>(i)), std::chrono::milliseconds(milliseconds[i]));
    recorder.finish();
}

// Each picture's time since the first, in milliseconds, by its number.
std::vector<int> times_of(const std::string& path)
{
    Video video(path);
    video.set_start(ACE_Time_Value::zero);
    std::vector<int> times;
    for (Frame frame = video.next(); !frame.picture.empty(); frame = video.next()) {
        EXPECT_EQ(static_cast<int>(times.size() % 10), number_of(frame.picture));
        times.push_back(static_cast<int>(1000 * frame.time.sec() + frame.time.usec() / 1000));
    }
    return times;
}

const std::vector<int> uneven = {0, 40, 80, 1500, 1540, 3000, 3020, 3040, 3060, 9000, 9500};

TEST_F(AnalyseVideo, TakesTheTimesOfTheFramesFromTheFile)
{
    write_numbered(file("a.mkv"), uneven);
    EXPECT_EQ(uneven, times_of(file("a.mkv")));
    clip::Recorder_Settings jpeg;
    jpeg.codec = "mjpeg";
    write_numbered(file("a.mp4"), uneven, jpeg);
    EXPECT_EQ(uneven, times_of(file("a.mp4")));
}

TEST_F(AnalyseVideo, CountsTimeFromTheFirstFrame)
{
    write_numbered(file("a.mkv"), {500, 600, 900});
    EXPECT_EQ((std::vector<int>{0, 100, 400}), times_of(file("a.mkv")));
}

TEST_F(AnalyseVideo, TakesEachConstantRate)
{
    for (const int fps : {1, 5, 10, 24, 30, 60}) {
        std::vector<int> times;
        for (int i = 0; i < 20; ++i)
            times.push_back(1000 * i / fps);
        clip::Recorder_Settings settings;
        settings.fps = fps;
        write_numbered(file("a.avi"), times, settings);
        EXPECT_EQ(fps, Video(file("a.avi")).fps());
        EXPECT_EQ(times, times_of(file("a.avi")));
        settings.codec = "mpeg4"; // whose decoder holds a frame back
        write_numbered(file("b.avi"), times, settings);
        EXPECT_EQ(times, times_of(file("b.avi")));
        settings.codec.clear();
    }
}

TEST_F(AnalyseVideo, PassesOverTimesToo)
{
    write_numbered(file("a.mkv"), uneven);
    Video video(file("a.mkv"));
    video.set_start(ACE_Time_Value(100));
    video.next();
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(video.skip());
    EXPECT_EQ(ACE_Time_Value(109), video.next().time);
    EXPECT_EQ(10, video.position());
}

TEST_F(AnalyseVideo, BeginsAtTheCreationTimeOfTheFile)
{
    clip::Recorder_Settings settings;
    settings.creation_time = "2024-03-05T07:08:09.000000Z";
    write_numbered(file("a.mkv"), uneven, settings);
    settings.codec = "mjpeg";
    write_numbered(file("a.mp4"), uneven, settings);
    for (const char* name : {"a.mkv", "a.mp4"})
        EXPECT_EQ("2024/03/05 07:08:09.000000", kr_to_string(Video(file(name)).start())) << name;
}

void set_file_time(const std::string& path, std::time_t time)
{
    const timespec times[2] = {{time, 0}, {time, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
}

TEST_F(AnalyseVideo, BeginsAtTheTimeOfTheFileLessItsDurationWhereTheFileSaysNothing)
{
    clip::write(file("clip.avi")); // 13 seconds
    set_file_time(file("clip.avi"), 1'000'000'000);
    EXPECT_EQ(ACE_Time_Value(999'999'987), Video(file("clip.avi")).start());
}

TEST_F(AnalyseVideo, BeginsAtTheEpochWhereNoTimeCanBeHad)
{
    clip::Recorder_Settings settings;
    settings.creation_time = "2040-03-05T07:08:09.000000Z"; // beyond what a record holds
    write_numbered(file("a.mkv"), uneven, settings);
    set_file_time(file("a.mkv"), 5); // it would begin before 1970
    EXPECT_EQ(ACE_Time_Value::zero, Video(file("a.mkv")).start());
}

TEST_F(AnalyseVideo, EndsAfterItsLastFrame)
{
    clip::write(file("clip.avi"));
    Video video(file("clip.avi"));
    video.set_start(ACE_Time_Value(100));
    EXPECT_EQ(ACE_Time_Value(100), video.end());
    while (video.skip()) {
    }
    EXPECT_EQ(ACE_Time_Value(113), video.end());
}

TEST_F(AnalyseVideo, IsUprightWhenItsCameraWasNot)
{
    clip::Recorder_Settings settings;
    settings.size = {64, 48};
    settings.codec = "mpeg4";
    cv::Mat picture(settings.size, CV_8UC3, cv::Scalar::all(40));
    picture(cv::Rect(0, 0, 32, 24)).setTo(cv::Scalar::all(220)); // top left
    for (const int rotation : {0, 90, 180, 270}) {
        settings.rotation = rotation;
        {
            clip::Recorder recorder(file("a.mp4"), settings);
            for (int i = 0; i < 3; ++i)
                recorder.write(picture, std::chrono::milliseconds(100 * i));
        }
        Video video(file("a.mp4"));
        const bool is_turned = rotation % 180 != 0;
        EXPECT_EQ(is_turned ? cv::Size(48, 64) : cv::Size(64, 48), video.size()) << rotation;
        const cv::Mat seen = video.next().picture;
        const int right = seen.cols - 10;
        const int bottom = seen.rows - 10;
        const cv::Point corners[] = {{10, 10}, {right, 10}, {right, bottom}, {10, bottom}};
        for (int corner = 0; corner < 4; ++corner)
            EXPECT_NEAR(corner == rotation / 90 ? 220 : 40, seen.at<cv::Vec3b>(corners[corner])[0],
                        8)
                << rotation << " degrees, corner " << corner;
    }
}

TEST_F(AnalyseVideo, TakesGreyForColour)
{
    clip::Recorder_Settings settings;
    settings.is_grey = true;
    write_numbered(file("a.mkv"), uneven, settings);
    EXPECT_EQ(uneven, times_of(file("a.mkv")));
    EXPECT_EQ(CV_8UC3, Video(file("a.mkv")).next().picture.type());
}

// RIFF WAVE, PCM, 8 bits, 8000 samples per second, one channel.
std::string sound()
{
    const std::string samples(8000, '\x40');
    const auto number = [](std::uint32_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text += static_cast<char>(value >> 8 * i & 0xFF);
        return text;
    };
    return "RIFF" + number(static_cast<std::uint32_t>(36 + samples.size()), 4) + "WAVEfmt " +
           number(16, 4) + number(1, 2) + number(1, 2) + number(8000, 4) + number(8000, 4) +
           number(1, 2) + number(8, 2) + "data" +
           number(static_cast<std::uint32_t>(samples.size()), 4) + samples;
}

TEST_F(AnalyseVideo, RefusesSoundAlone)
{
    std::ofstream(file("sound.wav"), std::ios::binary) << sound();
    EXPECT_EQ(file("sound.wav") + " holds no video stream", failure_of(file("sound.wav")));
}

TEST_F(AnalyseVideo, OpensNoOtherFileOnBehalfOfAPlaylist)
{
    write_numbered(file("a.mkv"), uneven);
    std::ofstream(file("list.m3u8")) << "#EXTM3U\n#EXTINF:1,\nhttp://127.0.0.1:9/a.ts\n";
    EXPECT_NE("no failure", failure_of(file("list.m3u8")));
}

TEST_F(AnalyseVideo, KnowsThatAFileOfUnevenTimesIsTruncated)
{
    std::vector<int> times;
    for (int i = 0; i < 200; ++i)
        times.push_back(100 * i + (i % 7) * 10);
    write_numbered(file("a.mkv"), times);
    const auto cut = [&](double share) {
        std::filesystem::copy_file(file("a.mkv"), file("cut.mkv"),
                                   std::filesystem::copy_options::overwrite_existing);
        const auto size = static_cast<double>(std::filesystem::file_size(file("a.mkv")));
        std::filesystem::resize_file(file("cut.mkv"), static_cast<std::uintmax_t>(share * size));
        Video video(file("cut.mkv"));
        while (video.skip()) {
        }
        return video.shortfall();
    };
    EXPECT_EQ(std::nullopt, cut(1.0));
    const std::optional<std::string> half = cut(0.5);
    ASSERT_TRUE(half.has_value());
    EXPECT_THAT(*half, testing::MatchesRegex("[0-9]+\\.[0-9] of [0-9]+\\.[0-9] s"));
}

TEST_F(AnalyseVideo, RefusesAFileWhoseIndexIsCutOff)
{
    clip::Recorder_Settings settings;
    settings.codec = "mjpeg";
    write_numbered(file("a.mp4"), uneven, settings);
    std::filesystem::resize_file(file("a.mp4"), std::filesystem::file_size(file("a.mp4")) / 2);
    EXPECT_EQ(file("a.mp4") + " is no video that can be read", failure_of(file("a.mp4")));
}

TEST_F(AnalyseVideo, SamplesTheWholeOfAShortClip)
{
    clip::write(file("clip.avi"));
    const std::vector<cv::Mat> samples = Video(file("clip.avi")).sample_scene({160, 120});
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

TEST(AnalyseProgress, TellsHowManyCamerasAreAway)
{
    EXPECT_EQ("50 frames, 25.0 frames/s, 1 object, 1 camera away",
              progress_line({50, {}, 1, 1}, 2.0, 80));
    EXPECT_EQ("50 frames, 25.0 frames/s, 1 object, 2 cameras away",
              progress_line({50, {}, 1, 2}, 2.0, 80));
}

} // namespace
