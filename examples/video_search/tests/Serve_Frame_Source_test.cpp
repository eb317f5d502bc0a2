#include "../serve/Frame_Source.h"

#include "Clip.h"
#include "analyse/Decoder.h"

#include <KRCommon/util/Time_Text.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace video_search;

namespace {

using std::chrono::microseconds;

// A folder with a recording in it: that of Clip.h, once or several times one after the other.
class FrameSource : public testing::Test {
protected:
    FrameSource()
    {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
    }
    ~FrameSource() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    Recording record(const std::string& name, const std::string& codec = "", int times = 1) const
    {
        clip::Recorder_Settings settings;
        settings.size = {clip::width, clip::height};
        settings.fps = clip::fps;
        settings.codec = codec;
        clip::write(path(name), settings, times);
        return describe(name, times);
    }

    Recording describe(const std::string& name, int times = 1) const
    {
        Recording recording;
        recording.run = "run";
        recording.video = path(name);
        recording.start = kr_to_ace_time_value("2024/03/05 12:00:00.000500");
        recording.end = recording.start + ACE_Time_Value(clip::frames * times / clip::fps);
        recording.width = clip::width;
        recording.height = clip::height;
        recording.state = "complete";
        return recording;
    }

private:
    const std::filesystem::path folder_ =
        std::filesystem::path(testing::TempDir()) /
        ("frames_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
};

ACE_Time_Value at(const Recording& recording, int frame)
{
    return recording.start + ACE_Time_Value(frame / clip::fps, frame % clip::fps * 100'000);
}

cv::Mat picture(const Frame_Source::Picture_Bytes& jpeg)
{
    return cv::imdecode(*jpeg, cv::IMREAD_COLOR);
}

// Mean difference per channel value; that of JPEG's losses is some units.
double difference(const cv::Mat& left, const cv::Mat& right)
{
    if (left.size() != right.size())
        return 255;
    return cv::norm(left, right, cv::NORM_L1) / static_cast<double>(left.total() * 3);
}

std::vector<cv::Mat> all_frames(const std::string& path)
{
    std::vector<cv::Mat> frames;
    Decoder decoder(path, {});
    while (decoder.grab())
        frames.push_back(decoder.picture().clone());
    return frames;
}

// Which of the frames it is: the most similar one.
int number_of(const cv::Mat& picture, const std::vector<cv::Mat>& frames)
{
    int best = 0;
    double least = 255;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const double off = difference(picture, frames[i]);
        if (off < least)
            best = static_cast<int>(i);
        least = std::min(least, off);
    }
    return best;
}

Frame_Error error_of(Frame_Source& source, const Recording& recording, const ACE_Time_Value& time)
{
    try {
        (void)source.frame(recording, time);
    } catch (const Frame_Failure& failure) {
        EXPECT_EQ(std::string(failure.what()).find('/'), std::string::npos) << failure.what();
        return failure.error();
    }
    ADD_FAILURE() << "no error";
    return {};
}

// The actors move, so that each of these frames differs from its neighbours.
const std::vector<int> hops = {14, 50, 49, 51, 20, 100, 122, 13};

TEST_F(FrameSource, TheFrameAtATimeIsTheFrameAtThatTime)
{
    const Recording recording = record("clip.avi");
    const std::vector<cv::Mat> frames = all_frames(recording.video);
    Frame_Source source;
    for (const int hop : hops)
        EXPECT_EQ(number_of(picture(source.frame(recording, at(recording, hop))), frames), hop);
}

TEST_F(FrameSource, ItIsSoInContainersThatHaveFewKeyFramesOrNoIndex)
{
    for (const char* const name : {"clip.avi", "clip.mkv", "clip.mp4", "clip.ts"}) {
        const Recording recording = record(name, "mpeg4");
        const std::vector<cv::Mat> frames = all_frames(recording.video);
        ASSERT_EQ(frames.size(), static_cast<std::size_t>(clip::frames)) << name;
        Frame_Source fresh;
        EXPECT_EQ(number_of(picture(fresh.frame(recording, at(recording, 77))), frames), 77)
            << name;
        Frame_Source source;
        for (const int hop : hops)
            EXPECT_EQ(number_of(picture(source.frame(recording, at(recording, hop))), frames), hop)
                << name;
    }
}

TEST_F(FrameSource, TimesOfObservationsAreCutToMilliseconds)
{
    Recording recording = record("clip.avi");
    recording.start += ACE_Time_Value(0, 400); // the frames are at .000900
    const std::vector<cv::Mat> frames = all_frames(recording.video);
    Frame_Source source;
    for (const int hop : {0, 14, 50}) {
        ACE_Time_Value cut = at(recording, hop);
        cut -= ACE_Time_Value(0, 900);
        const cv::Mat found = picture(source.frame(recording, cut));
        EXPECT_LT(difference(found, frames[static_cast<std::size_t>(hop)]), 3.0) << hop;
        if (hop > 0) {
            EXPECT_EQ(number_of(found, frames), hop);
        }
    }
}

TEST_F(FrameSource, ATimeBetweenTwoFramesGivesTheLaterOne)
{
    const Recording recording = record("clip.avi");
    const std::vector<cv::Mat> frames = all_frames(recording.video);
    Frame_Source source;
    const ACE_Time_Value time = at(recording, 40) + ACE_Time_Value(0, 1);
    EXPECT_EQ(number_of(picture(source.frame(recording, time)), frames), 41);
}

TEST_F(FrameSource, ARecordingWithSeveralMinutesIsNotDecodedFromItsBegin)
{
    const int times = 8;
    const Recording recording = record("long.mkv", "mpeg4", times);
    Decoder decoder(recording.video, {});
    ASSERT_TRUE(decoder.grab());
    const microseconds near_end{(clip::frames * times - 5) * 100'000};
    ASSERT_TRUE(decoder.seek(near_end));
    int steps = 0;
    do
        ASSERT_TRUE(decoder.grab());
    while (++steps, decoder.time() < near_end);
    EXPECT_EQ(decoder.time(), near_end);
    EXPECT_LT(steps, 100); // of 1035
}

TEST_F(FrameSource, OutsideOfTheRecordingThereIsNoFrame)
{
    const Recording recording = record("clip.avi");
    Frame_Source source;
    EXPECT_EQ(error_of(source, recording, ACE_Time_Value(0)), Frame_Error::no_frame);
    EXPECT_EQ(error_of(source, recording, recording.start - ACE_Time_Value(0, 1000)),
              Frame_Error::no_frame);
    EXPECT_EQ(error_of(source, recording, recording.end), Frame_Error::no_frame);
    EXPECT_EQ(error_of(source, recording, ACE_Time_Value::max_time), Frame_Error::no_frame);
    EXPECT_NO_THROW((void)source.frame(recording, at(recording, clip::frames - 1)));
}

TEST_F(FrameSource, AMissingRecordingIsSaidToBeMissing)
{
    Frame_Source source;
    const Recording recording = describe("none.avi");
    EXPECT_FALSE(Frame_Source::has_frames(recording));
    EXPECT_EQ(error_of(source, recording, recording.start), Frame_Error::missing);
    EXPECT_THROW((void)source.still(recording), Frame_Failure);
    Recording folder = recording;
    folder.video = testing::TempDir();
    EXPECT_FALSE(Frame_Source::has_frames(folder));
    Recording camera = recording;
    camera.video = "http://localhost:1/stream";
    EXPECT_FALSE(Frame_Source::has_frames(camera));
    EXPECT_THROW((void)source.frame(camera, camera.start), Frame_Failure);
}

TEST_F(FrameSource, AnotherFileInItsPlaceIsSeen)
{
    const Recording recording = record("clip.avi");
    Frame_Source source;
    const Frame_Source::Picture_Bytes before = source.frame(recording, at(recording, 110));
    EXPECT_EQ(source.frame(recording, at(recording, 110)), before); // kept
    {
        clip::Recorder recorder(recording.video, [] {
            clip::Recorder_Settings settings;
            settings.size = {64, 48};
            return settings;
        }());
        recorder.write(cv::Mat(48, 64, CV_8UC3, cv::Scalar(1, 2, 3)), microseconds(0));
        recorder.finish();
    }
    EXPECT_EQ(error_of(source, recording, at(recording, 110)), Frame_Error::changed);
    {
        clip::Recorder_Settings settings;
        settings.size = {clip::width, clip::height};
        clip::Recorder recorder(recording.video, settings); // as large, but too short
        recorder.write(cv::Mat(clip::height, clip::width, CV_8UC3, cv::Scalar(1, 2, 3)),
                       microseconds(0));
        recorder.finish();
    }
    EXPECT_EQ(error_of(source, recording, at(recording, 110)), Frame_Error::changed);
    std::ofstream(recording.video, std::ios::trunc) << "a text, not a video";
    EXPECT_EQ(error_of(source, recording, at(recording, 110)), Frame_Error::unreadable);
    std::filesystem::remove(recording.video);
    EXPECT_EQ(error_of(source, recording, at(recording, 110)), Frame_Error::missing);
}

TEST_F(FrameSource, TheStillIsTheSceneOfTheAnalysisElseTheFirstFrame)
{
    Recording recording = record("clip.avi");
    Frame_Source source;
    EXPECT_LT(difference(picture(source.still(recording)), all_frames(recording.video)[0]), 3.0);
    recording.background = {1, 2, 3};
    EXPECT_EQ(*source.still(recording), (Bytes{1, 2, 3}));
    std::filesystem::remove(recording.video);
    EXPECT_EQ(*source.still(recording), (Bytes{1, 2, 3}));
}

TEST_F(FrameSource, NoMoreIsKeptThanIsSaid)
{
    const Recording recording = record("clip.avi");
    Frame_Settings settings;
    settings.cache_bytes = 0;
    Frame_Source keeps_none(settings);
    const auto first = keeps_none.frame(recording, at(recording, 20));
    const auto second = keeps_none.frame(recording, at(recording, 20));
    EXPECT_NE(first, second);
    EXPECT_EQ(*first, *second);

    settings.cache_bytes = first->size() * 5 / 2; // two
    Frame_Source keeps_two(settings);
    const auto at_20 = keeps_two.frame(recording, at(recording, 20));
    const auto at_21 = keeps_two.frame(recording, at(recording, 21));
    EXPECT_EQ(keeps_two.frame(recording, at(recording, 20)), at_20); // 21 is the oldest now
    (void)keeps_two.frame(recording, at(recording, 22));
    EXPECT_EQ(keeps_two.frame(recording, at(recording, 20)), at_20);
    EXPECT_NE(keeps_two.frame(recording, at(recording, 21)), at_21);
}

TEST_F(FrameSource, WhoWaitsTooLongIsToldThatItIsBusyOrSlow)
{
    const Recording recording = record("clip.avi");
    Frame_Settings settings;
    settings.patience = std::chrono::milliseconds(0);
    Frame_Source source(settings);
    const Frame_Error error = error_of(source, recording, at(recording, 120));
    EXPECT_TRUE(error == Frame_Error::slow || error == Frame_Error::busy);
    // A failure leaves nothing behind that would keep others out.
    EXPECT_EQ(error_of(source, recording, at(recording, 120)), error);
}

TEST_F(FrameSource, ManyThreadsGetTheirFramesAtOnce)
{
    const std::vector<Recording> recordings = {record("a.avi"), record("b.mkv", "mpeg4"),
                                               record("c.mp4", "mpeg4")};
    std::vector<std::vector<cv::Mat>> frames;
    for (const Recording& each : recordings)
        frames.push_back(all_frames(each.video));
    Frame_Settings settings;
    settings.patience = std::chrono::seconds(60); // the sanitizers are slow
    settings.cache_bytes = 100'000;
    Frame_Source source(settings);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 6; ++i)
        threads.emplace_back([&, i] {
            const Recording& recording = recordings[i % 3];
            for (std::size_t k = 0; k < 6; ++k) {
                const int hop = hops[(k + i) % hops.size()];
                const cv::Mat found = picture(source.frame(recording, at(recording, hop)));
                const double off = difference(found, frames[i % 3][static_cast<std::size_t>(hop)]);
                wrong += off > 3.0 ? 1 : 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
