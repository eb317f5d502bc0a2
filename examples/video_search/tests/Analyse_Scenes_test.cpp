// Whole analyses of generated recordings whose truth is known: one box, or two, of any grey, at any
// frame rate, size and light.

#include "Recorder.h"
#include "analyse/Analyser.h"
#include "analyse/Video.h"
#include "host/Host.h"
#include "store/Store.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace video_search;

namespace {

// What a box does: it appears at a time, crosses the picture at a speed, and is gone.
struct Box {
    double from = 1.5; // seconds
    double to = 6.5;
    cv::Rect2d start = {30, 90, 40, 50}; // pixels
    double speed = 40;                   // to the right, pixels per second

    bool is_there(double time) const { return from <= time && time < to; }
    cv::Rect at(double time) const
    {
        return {cvRound(start.x + speed * (time - from)), cvRound(start.y), cvRound(start.width),
                cvRound(start.height)};
    }
};

using Draw = std::function<cv::Mat(double time)>;

cv::Mat plain(int grey, cv::Size size = {320, 240})
{
    return {size, CV_8UC3, cv::Scalar::all(grey)};
}

// A ground with a coarse pattern.
cv::Mat pattern(cv::Size size = {320, 240})
{
    cv::Mat noise(size.height / 6, size.width / 6, CV_8U);
    cv::RNG(11).fill(noise, cv::RNG::UNIFORM, 90, 160);
    cv::Mat grey;
    cv::resize(noise, grey, size, 0, 0, cv::INTER_CUBIC);
    cv::Mat scene;
    cv::cvtColor(grey, scene, cv::COLOR_GRAY2BGR);
    return scene;
}

Draw box_on(const cv::Mat& ground, int grey, const Box& box = {})
{
    return [=](double time) {
        cv::Mat picture = ground.clone();
        if (box.is_there(time))
            cv::rectangle(picture, box.at(time), cv::Scalar::all(grey), cv::FILLED);
        return picture;
    };
}

Draw with_noise(const Draw& draw, double deviation)
{
    const auto random = std::make_shared<cv::RNG>(3);
    return [=](double time) {
        const cv::Mat picture = draw(time);
        cv::Mat noise(picture.size(), CV_16SC3);
        random->fill(noise, cv::RNG::NORMAL, 0, deviation);
        cv::Mat sum;
        cv::add(picture, noise, sum, cv::noArray(), CV_8UC3);
        return sum;
    };
}

// The camera is moved by up to so many pixels in each direction.
Draw with_shake(const Draw& draw, double pixels)
{
    const auto random = std::make_shared<cv::RNG>(5);
    return [=](double time) {
        const cv::Matx23d map(1, 0, random->uniform(-pixels, pixels), 0, 1,
                              random->uniform(-pixels, pixels));
        cv::Mat moved;
        cv::warpAffine(draw(time), moved, map, draw(time).size(), cv::INTER_LINEAR,
                       cv::BORDER_REPLICATE);
        return moved;
    };
}

std::vector<double> steady(double fps, double seconds = 8)
{
    std::vector<double> times;
    for (int i = 0; i < cvRound(seconds * fps); ++i)
        times.push_back(i / fps);
    return times;
}

class AnalyseScenes : public testing::Test {
protected:
    AnalyseScenes()
    {
        std::string name = (std::filesystem::path(testing::TempDir()) / "scenesXXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~AnalyseScenes() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& name) const { return (folder_ / name).string(); }

    std::string record(const Draw& draw, const std::vector<double>& times = steady(10),
                       clip::Recorder_Settings settings = {})
    {
        const std::string path = file("scene.mkv");
        settings.size = draw(0).size();
        clip::Recorder recorder(path, settings);
        for (const double time : times)
            recorder.write(draw(time), std::chrono::microseconds(std::llround(1e6 * time)));
        recorder.finish();
        return path;
    }

    // The objects of a recording that begins at 1000 seconds.
    std::vector<KR_ObjectBase> analyse(const std::string& path, int every = 1)
    {
        Analysis_Settings settings;
        settings.every = every;
        std::filesystem::remove(file("store.db"));
        {
            Host host("analyse_test", file("logs"));
            Video video(path);
            video.set_start(ACE_Time_Value(1000));
            Store store(file("store.db"), Store::Access::write);
            Analyser analyser(host, store, {{&video, settings}});
            EXPECT_TRUE(host.run(analyser));
            analyser.result(0);
        }
        return objects();
    }

    std::vector<KR_ObjectBase> objects() const
    {
        Store store(file("store.db"), Store::Access::read);
        std::vector<KR_ObjectBase> found;
        for (const Stored_Record& record :
             store.select(ACE_Time_Value::zero, ACE_Time_Value::max_time))
            found.push_back(decode(record.record).value());
        return found;
    }

    std::filesystem::path folder_;
};

double seconds_of(const ACE_Time_Value& time)
{
    return static_cast<double>(time.sec() - 1000) + static_cast<double>(time.usec()) / 1e6;
}

double overlap(const Geom_Box2D<float>& box, const cv::Rect& truth)
{
    const cv::Rect2d seen(box.MinX, box.MinY, box.MaxX - box.MinX, box.MaxY - box.MinY);
    const double common = (seen & cv::Rect2d(truth)).area();
    return common / (seen.area() + truth.area() - common);
}

// That the box was found, and no other: its times to a frame, its place in each instance.
void expect_found(const std::vector<KR_ObjectBase>& objects, const Box& box, double frame,
                  double least_overlap = 0.75)
{
    ASSERT_EQ(1U, objects.size());
    const KR_ObjectBase& object = objects[0];
    EXPECT_NEAR(box.from, seconds_of(object.FirstSeenTime), 1.1 * frame);
    EXPECT_NEAR(box.to, seconds_of(object.SecondTime), 2.1 * frame);
    double sum = 0;
    for (const KR_ObjectBase::Instance& instance : object.Instances)
        sum += overlap(instance.Box, box.at(seconds_of(instance.Time)));
    EXPECT_GE(sum / static_cast<double>(object.Instances.size()), least_overlap);
}

TEST_F(AnalyseScenes, FindsEachGreyOnAGreyGround)
{
    for (const int grey : {48, 72, 96, 112, 128, 168, 196, 224}) {
        SCOPED_TRACE(grey);
        expect_found(analyse(record(box_on(plain(144), grey))), Box(), 0.1);
    }
}

TEST_F(AnalyseScenes, FindsSomebodyDarkAtNight)
{
    expect_found(analyse(record(with_noise(box_on(plain(40), 24), 2))), Box(), 0.1);
}

TEST_F(AnalyseScenes, FindsWhatIsDarkOnAPattern)
{
    expect_found(analyse(record(box_on(pattern(), 75))), Box(), 0.1);
}

// A light coat over dark trousers.
TEST_F(AnalyseScenes, KeepsDarkTrousers)
{
    const Box box;
    const Draw draw = [=](double time) {
        cv::Mat picture = plain(144);
        if (!box.is_there(time))
            return picture;
        const cv::Rect all = box.at(time);
        const cv::Rect coat(all.x, all.y, all.width, all.height / 2);
        cv::rectangle(picture, all, cv::Scalar::all(90), cv::FILLED);
        cv::rectangle(picture, coat, cv::Scalar::all(230), cv::FILLED);
        return picture;
    };
    expect_found(analyse(record(draw)), box, 0.1);
}

// As wide again as the box, beside its foot, with a soft edge.
TEST_F(AnalyseScenes, TakesAShadowOut)
{
    const Box box;
    const cv::Mat ground = pattern();
    const Draw draw = [=](double time) {
        cv::Mat picture = ground.clone();
        if (!box.is_there(time))
            return picture;
        const cv::Rect body = box.at(time);
        cv::Mat light(picture.size(), CV_32F, cv::Scalar(1));
        cv::rectangle(light, {body.x + 10, body.y + 32, 60, 18}, cv::Scalar(0.7), cv::FILLED);
        cv::GaussianBlur(light, light, {9, 9}, 2.5);
        cv::Mat lights;
        cv::merge(std::vector<cv::Mat>{light, light, light}, lights);
        cv::multiply(picture, lights, picture, 1.0, CV_8U);
        cv::rectangle(picture, body, cv::Scalar::all(235), cv::FILLED);
        return picture;
    };
    expect_found(analyse(record(draw)), box, 0.1);
}

TEST_F(AnalyseScenes, IsNotConfusedByNoise)
{
    expect_found(analyse(record(with_noise(box_on(pattern(), 225), 8))), Box(), 0.1, 0.7);
}

TEST_F(AnalyseScenes, IsNotConfusedByACameraThatShakes)
{
    expect_found(analyse(record(with_shake(box_on(pattern(), 235), 2))), Box(), 0.1, 0.7);
}

TEST_F(AnalyseScenes, TakesEachFrameRate)
{
    for (const double fps : {1.0, 2.0, 5.0, 15.0, 25.0, 29.97, 60.0}) {
        SCOPED_TRACE(fps);
        expect_found(analyse(record(box_on(plain(144), 225), steady(fps))), Box(), 1 / fps);
    }
}

TEST_F(AnalyseScenes, FollowsInEachNthFrame)
{
    const std::string path = record(box_on(plain(144), 225), steady(30));
    for (const int every : {2, 5, 10, 30}) {
        SCOPED_TRACE(every);
        expect_found(analyse(path, every), Box(), every / 30.0);
    }
}

TEST_F(AnalyseScenes, RefusesWhatLeavesLessThanAFrameASecond)
{
    const std::string path = record(box_on(plain(144), 225), steady(10));
    try {
        analyse(path, 11);
        FAIL() << "nothing was thrown";
    } catch (const Failure& failure) {
        EXPECT_EQ(path + ": each 11. of its 10.00 frames/s is too few to follow anybody; at least "
                         "1 frame/s is to be analysed",
                  failure.what());
    }
}

// From four to thirty frames a second, and back.
TEST_F(AnalyseScenes, FollowsThroughUnevenTimes)
{
    std::vector<double> times = {0};
    while (times.back() < 8)
        times.push_back(times.back() + (times.size() / 12 % 2 == 0 ? 0.25 : 1.0 / 30));
    expect_found(analyse(record(box_on(plain(144), 225), times)), Box(), 0.25);
}

TEST_F(AnalyseScenes, TakesPortraits)
{
    Box box;
    box.start = {30, 160, 40, 50};
    box.speed = 25;
    expect_found(analyse(record(box_on(pattern({240, 320}), 235, box))), box, 0.1);
}

TEST_F(AnalyseScenes, TakesTheLargestPictures)
{
    Box box;
    box.from = 1;
    box.to = 4;
    box.start = {300, 900, 400, 500};
    box.speed = 500;
    clip::Recorder_Settings settings;
    settings.codec = "mjpeg";
    const std::string path =
        record(box_on(plain(144, {3840, 2160}), 225, box), steady(5, 5), settings);
    expect_found(analyse(path), box, 0.2);
}

TEST_F(AnalyseScenes, TakesGreyRecordings)
{
    clip::Recorder_Settings settings;
    settings.is_grey = true;
    expect_found(analyse(record(box_on(plain(144), 225), steady(10), settings)), Box(), 0.1);
}

TEST_F(AnalyseScenes, AnalysesSeveralAtOnceIntoOneStore)
{
    const std::string path = record(box_on(plain(144), 225));
    {
        Host host("analyse_test", file("logs"));
        std::vector<std::unique_ptr<Video>> videos;
        std::vector<Job> jobs;
        for (const int sensor : {4, 7, 7}) {
            videos.push_back(std::make_unique<Video>(path));
            videos.back()->set_start(ACE_Time_Value(1000));
            jobs.push_back({videos.back().get(), {}});
            jobs.back().settings.sensor = sensor;
        }
        Store store(file("store.db"), Store::Access::write);
        Analyser analyser(host, store, jobs);
        EXPECT_TRUE(host.run(analyser));
        EXPECT_EQ(3U, analyser.count());
        EXPECT_EQ(240, analyser.status().frames);
        EXPECT_TRUE(analyser.status().total.has_value());
        EXPECT_EQ(host.run_id(), analyser.result(0).recording.run);
    }
    std::vector<std::pair<int, std::uint64_t>> ids;
    for (const KR_ObjectBase& object : objects()) {
        expect_found({object}, Box(), 0.1);
        ids.emplace_back(object.SensorId.word1, object.ObjectId);
    }
    EXPECT_EQ((std::vector<std::pair<int, std::uint64_t>>{{4, 1}, {7, 1}, {7, 2}}), ids);
    Store store(file("store.db"), Store::Access::read);
    std::set<std::string> runs;
    for (const Recording& recording : store.recordings()) {
        EXPECT_EQ("complete", recording.state);
        runs.insert(recording.run);
    }
    EXPECT_EQ(3U, runs.size());
}

TEST_F(AnalyseScenes, GoesOnWithTheOthersWhenOneFails)
{
    const std::string path = record(box_on(plain(144), 225));
    std::filesystem::copy_file(path, file("other.mkv"));
    Host host("analyse_test", file("logs"));
    Video whole(path);
    Video gone(file("other.mkv"));
    std::filesystem::remove(file("other.mkv")); // its scene cannot be learnt any more
    Store store(file("store.db"), Store::Access::write);
    Analyser analyser(host, store, {{&gone, {}}, {&whole, {}}});
    EXPECT_TRUE(host.run(analyser));
    EXPECT_THROW(analyser.result(0), Failure);
    EXPECT_EQ("complete", analyser.result(1).recording.state);
    EXPECT_EQ(1, analyser.result(1).stored());
}

} // namespace
