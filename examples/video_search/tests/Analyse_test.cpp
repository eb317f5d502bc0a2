// The whole analysis of a recording whose truth is known, from the file to the store.

#include "Clip.h"
#include "analyse/Analyser.h"
#include "analyse/Video.h"
#include "host/Host.h"
#include "store/Store.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/util/Time_Text.h>

#include <ace/Reactor.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace video_search;

namespace {

const ACE_Time_Value begin_of_recording = kr_to_ace_time_value("2024/03/05 07:08:09.500000");
constexpr double seconds_per_frame = 1.0 / clip::fps;

class Analyse : public testing::Test {
protected:
    Analyse()
    {
        std::string name = (std::filesystem::path(testing::TempDir()) / "analyseXXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~Analyse() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& name) const { return (folder_ / name).string(); }

    static Analysis_Settings settings()
    {
        Analysis_Settings settings;
        settings.sensor = 3;
        return settings;
    }

    Analysis analyse(const std::string& path, const std::string& store_name,
                     const Analysis_Settings& used = settings(),
                     const ACE_Time_Value& start = begin_of_recording)
    {
        Host host("analyse_test", file("logs"));
        Video video(path);
        video.set_start(start);
        Store store(file(store_name), Store::Access::write);
        Analyser analyser(host, store, {{&video, used}});
        EXPECT_TRUE(host.run(analyser));
        return analyser.result(0);
    }

    std::vector<Stored_Record> records(const std::string& store_name) const
    {
        Store store(file(store_name), Store::Access::read);
        return store.select(ACE_Time_Value::zero, ACE_Time_Value::max_time);
    }

    std::vector<KR_ObjectBase> objects(const std::string& store_name) const
    {
        std::vector<KR_ObjectBase> found;
        for (const Stored_Record& record : records(store_name))
            found.push_back(decode(record.record).value());
        return found;
    }

    Recording recording(const std::string& store_name) const
    {
        Store store(file(store_name), Store::Access::read);
        return store.recordings().at(0);
    }

    // The library logs no "*ERR" line in a run in which all goes well.
    std::string log() const
    {
        std::string all;
        for (const auto& entry : std::filesystem::directory_iterator(file("logs"))) {
            std::ifstream in(entry.path());
            all.append(std::istreambuf_iterator<char>(in), {});
        }
        return all;
    }

    std::filesystem::path folder_;
};

double seconds_since_begin(const ACE_Time_Value& time)
{
    const ACE_Time_Value since = time - begin_of_recording;
    return static_cast<double>(since.sec()) + static_cast<double>(since.usec()) / 1e6;
}

int frame_of(const ACE_Time_Value& time)
{
    return static_cast<int>(seconds_since_begin(time) / seconds_per_frame + 0.5);
}

double overlap(const Geom_Box2D<float>& box, const cv::Rect& truth)
{
    const cv::Rect2d seen(box.MinX, box.MinY, box.MaxX - box.MinX, box.MaxY - box.MinY);
    const double common = (seen & cv::Rect2d(truth)).area();
    return common / (seen.area() + truth.area() - common);
}

// The class of the best score.
ns__ObjectClass class_of(const KR_ObjectBase& object)
{
    const auto best = std::max_element(object.ClassScores, object.ClassScores + 3);
    return static_cast<ns__ObjectClass>(best - object.ClassScores + 1);
}

void expect_like(const KR_ObjectBase& object, const clip::Actor& actor)
{
    SCOPED_TRACE("the actor of frame " + std::to_string(actor.first));
    EXPECT_NEAR(actor.first, frame_of(object.FirstSeenTime), 3);
    EXPECT_NEAR(actor.last, frame_of(object.SecondTime), 3);
    EXPECT_NEAR((actor.last - actor.first) * seconds_per_frame, object.Duration, 1.0);
    EXPECT_EQ(actor.object_class, class_of(object));
    EXPECT_GE(object.ClassScores[actor.object_class - 1], 0.5F);

    const KR_ObjectBase::Instance& middle = object.Instances[object.Instances.size() / 2];
    const cv::Rect truth = actor.box_at(frame_of(middle.Time));
    EXPECT_GE(overlap(middle.Box, truth), 0.8);
    EXPECT_NEAR(truth.x + truth.width / 2.0, middle.PointX, 3.0);
    EXPECT_NEAR(truth.y + truth.height, middle.PointY, 3.0);

    ASSERT_FALSE(middle.Colors.empty());
    EXPECT_GE(middle.Colors[0].area, 80.0F);
    ns__HsvColor hsv;
    KR_Colors::instance()->rgb_to_hsv(middle.Colors[0].color, hsv);
    EXPECT_TRUE(
        KR_Colors::instance()->is_color(actor.colour, hsv, ns__QueryTolerancePreset__value_0));
}

TEST_F(Analyse, FindsEachBoxOfTheClipAsOneObject)
{
    clip::write(file("clip.avi"));
    const Analysis analysis = analyse(file("clip.avi"), "store.db");
    EXPECT_EQ(0, analysis.objects[0]);
    EXPECT_EQ(1, analysis.objects[1]);
    EXPECT_EQ(5, analysis.objects[2]);

    const std::vector<KR_ObjectBase> found = objects("store.db");
    ASSERT_EQ(clip::actors().size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        expect_like(found[i], clip::actors()[i]);
    EXPECT_EQ(std::string::npos, log().find("*ERR"));
}

TEST_F(Analyse, DescribesTheRecording)
{
    clip::write(file("clip.avi"));
    const Analysis analysis = analyse(file("clip.avi"), "store.db");
    const Recording stored = recording("store.db");
    EXPECT_EQ(analysis.recording.run, stored.run);
    EXPECT_EQ(file("clip.avi"), stored.video);
    EXPECT_EQ("complete", stored.state);
    EXPECT_EQ(3, stored.sensor.word1);
    EXPECT_EQ(1, stored.sensor.word2);
    EXPECT_EQ(320, stored.width);
    EXPECT_EQ(240, stored.height);
    EXPECT_EQ(130, stored.frames);
    EXPECT_EQ("2024/03/05 07:08:09.500000", kr_to_string(stored.start));
    EXPECT_EQ("2024/03/05 07:08:22.500000", kr_to_string(stored.end));
    const cv::Mat scene = cv::imdecode(stored.background, cv::IMREAD_COLOR);
    EXPECT_EQ(cv::Size(320, 240), scene.size());

    Store store(file("store.db"), Store::Access::read);
    const std::vector<Picture> pictures = store.pictures(stored.run);
    ASSERT_EQ(3U, pictures.size());
    EXPECT_EQ("2024/03/05 07:08:09.500000", kr_to_string(pictures[0].time));
    EXPECT_EQ("2024/03/05 07:08:14.500000", kr_to_string(pictures[1].time));
    EXPECT_EQ("2024/03/05 07:08:19.500000", kr_to_string(pictures[2].time));
}

TEST_F(Analyse, StoresWholeRecordsWithThumbnails)
{
    clip::write(file("clip.avi"));
    analyse(file("clip.avi"), "store.db");
    std::set<std::uint64_t> ids;
    for (const Stored_Record& record : records("store.db")) {
        const std::optional<KR_ObjectBase> object = decode(record.record);
        ASSERT_TRUE(object.has_value());
        EXPECT_EQ(record.record, encode(*object, settings().budget));
        EXPECT_EQ(record.object_id, object->ObjectId);
        EXPECT_EQ(3, object->SensorId.word1);
        EXPECT_EQ(ns__DetectorType__value_1, object->DetectorType);
        EXPECT_EQ(object->FirstSeenTime, object->Instances.front().Time);
        EXPECT_EQ(object->SecondTime, object->Instances.back().Time);
        EXPECT_TRUE(std::is_sorted(object->Instances.begin(), object->Instances.end(),
                                   [](const auto& a, const auto& b) { return a.Time < b.Time; }));
        ids.insert(object->ObjectId);
        const cv::Mat thumbnail = cv::imdecode(*object->AuxiliaryData, cv::IMREAD_COLOR);
        EXPECT_GT(thumbnail.rows, 100);
        EXPECT_LE(thumbnail.rows, 160);
    }
    EXPECT_EQ((std::set<std::uint64_t>{1, 2, 3, 4, 5, 6}), ids);
}

TEST_F(Analyse, ShowsTheBoxInTheMiddleOfItsThumbnail)
{
    clip::write(file("clip.avi"));
    analyse(file("clip.avi"), "store.db");
    const std::vector<KR_ObjectBase> found = objects("store.db");
    ASSERT_EQ(clip::actors().size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const cv::Mat picture = cv::imdecode(*found[i].AuxiliaryData, cv::IMREAD_COLOR);
        ASSERT_FALSE(picture.empty());
        const cv::Vec3b middle = picture.at<cv::Vec3b>(picture.rows / 2, picture.cols / 2);
        EXPECT_LT(cv::norm(cv::Vec3d(middle), cv::Vec3d(clip::actors()[i].bgr)), 30.0) << i;
    }
}

TEST_F(Analyse, GivesTheSameRecordsEachTime)
{
    clip::write(file("clip.avi"));
    analyse(file("clip.avi"), "first.db");
    analyse(file("clip.avi"), "second.db");
    const std::vector<Stored_Record> first = records("first.db");
    const std::vector<Stored_Record> second = records("second.db");
    ASSERT_EQ(6U, first.size());
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i)
        EXPECT_EQ(first[i].record, second[i].record) << i;
}

TEST_F(Analyse, GoesOnCountingObjectsInAStoreThatHoldsSome)
{
    clip::write(file("clip.avi"));
    analyse(file("clip.avi"), "store.db");
    analyse(file("clip.avi"), "store.db", settings(), begin_of_recording + ACE_Time_Value(3600));
    const std::vector<Stored_Record> all = records("store.db");
    ASSERT_EQ(12U, all.size());
    std::set<std::uint64_t> ids;
    for (const Stored_Record& record : all)
        ids.insert(record.object_id);
    EXPECT_EQ(12U, ids.size());
    EXPECT_EQ(12U, *ids.rbegin());
}

TEST_F(Analyse, FindsTheBoxesInEachSecondFrameToo)
{
    clip::write(file("clip.avi"));
    Analysis_Settings coarse = settings();
    coarse.every = 2;
    analyse(file("clip.avi"), "store.db", coarse);
    EXPECT_EQ(65, recording("store.db").frames);
    EXPECT_EQ("complete", recording("store.db").state);
    const std::vector<KR_ObjectBase> found = objects("store.db");
    ASSERT_EQ(clip::actors().size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        expect_like(found[i], clip::actors()[i]);
}

TEST_F(Analyse, ThinsInstancesToTheBudgetAndLosesNoEnd)
{
    clip::write(file("clip.avi"));
    analyse(file("clip.avi"), "whole.db");
    Analysis_Settings tight = settings();
    tight.budget = 900;
    analyse(file("clip.avi"), "thin.db", tight);
    const std::vector<KR_ObjectBase> whole = objects("whole.db");
    const std::vector<KR_ObjectBase> thin = objects("thin.db");
    ASSERT_EQ(whole.size(), thin.size());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_GT(whole[i].serialize_instances_size(65536), 900U);
        EXPECT_LE(thin[i].serialize_instances_size(65536), 900U);
        EXPECT_GE(thin[i].Instances.size(), 9U);
        EXPECT_EQ(whole[i].Instances.front().Time, thin[i].Instances.front().Time);
        EXPECT_EQ(whole[i].Instances.back().Time, thin[i].Instances.back().Time);
        EXPECT_EQ(*whole[i].AuxiliaryData, *thin[i].AuxiliaryData);
    }
    EXPECT_EQ(std::string::npos, log().find("*ERR"));
}

TEST_F(Analyse, StoppedInTheMiddleLeavesWholeObjects)
{
    clip::write(file("clip.avi"), 8);
    {
        Host host("analyse_test", file("logs"));
        Video video(file("clip.avi"));
        video.set_start(begin_of_recording);
        Store store(file("store.db"), Store::Access::write);
        Analyser analyser(host, store, {{&video, settings()}});
        ACE_Reactor reactor;
        ASSERT_EQ(0, analyser.component_start(&reactor));
        while (analyser.status().objects == 0)
            std::this_thread::yield();
        ASSERT_EQ(0, analyser.component_stop());
        EXPECT_EQ("stopped", analyser.result(0).recording.state);
    }
    const Recording stored = recording("store.db");
    EXPECT_EQ("stopped", stored.state);
    EXPECT_LT(stored.frames, 8 * 130);
    EXPECT_EQ(stored.frames, frame_of(stored.end));
    EXPECT_FALSE(stored.background.empty());
    const std::vector<Stored_Record> all = records("store.db");
    ASSERT_FALSE(all.empty());
    for (const Stored_Record& record : all)
        EXPECT_TRUE(decode(record.record).has_value());
    expect_like(decode(all.front().record).value(), clip::actors().front());
}

TEST_F(Analyse, KeepsWhatATruncatedFileHolds)
{
    clip::write(file("clip.avi"));
    std::filesystem::resize_file(file("clip.avi"),
                                 std::filesystem::file_size(file("clip.avi")) * 7 / 10);
    const Analysis analysis = analyse(file("clip.avi"), "store.db");
    EXPECT_EQ("truncated", analysis.recording.state);
    EXPECT_LT(analysis.recording.frames, 110);
    EXPECT_GT(analysis.recording.frames, 70);
    EXPECT_EQ(std::to_string(analysis.recording.frames) + " of 130 frames", analysis.shortfall);
    EXPECT_EQ("truncated", recording("store.db").state);
    EXPECT_EQ(analysis.recording.frames, recording("store.db").frames);
    const std::vector<KR_ObjectBase> found = objects("store.db");
    ASSERT_GE(found.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i)
        expect_like(found[i], clip::actors()[i]);
}

TEST_F(Analyse, KeepsTheFailureAndMarksTheRecording)
{
    clip::write(file("clip.avi"));
    Host host("analyse_test", file("logs"));
    Video video(file("clip.avi"));
    std::filesystem::remove(file("clip.avi")); // the scene cannot be learnt any more
    Store store(file("store.db"), Store::Access::write);
    Analyser analyser(host, store, {{&video, settings()}});
    EXPECT_TRUE(host.run(analyser));
    try {
        analyser.result(0);
        FAIL() << "nothing was thrown";
    } catch (const Failure& failure) {
        EXPECT_EQ("no such file: " + file("clip.avi"), failure.what());
    }
    EXPECT_EQ("failed", recording("store.db").state);
}

} // namespace
