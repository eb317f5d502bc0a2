// From observations to records: what counts as an object, its class, its instances, its budget; and
// the colours of its pixels.

#include "analyse/Colours.h"
#include "analyse/Thumbnail.h"
#include "analyse/Track_Record.h"

#include <KRCommon/util/Time_Text.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

using namespace video_search;

namespace {

const cv::Size frame_size(320, 240);
const ACE_Time_Value begin = kr_to_ace_time_value("2024/03/05 07:08:09.000000");

// Ten observations per second of a box that moves to the right.
std::vector<Observation> walk(int count, cv::Size2f size, float step, double person)
{
    std::vector<Observation> track;
    for (int i = 0; i < count; ++i) {
        Observation observation;
        observation.time = begin + ACE_Time_Value(i / 10, i % 10 * 100'000);
        observation.box = {5.0F + step * static_cast<float>(i), 20, size.width, size.height};
        observation.fill = 0.9;
        if (i % 3 == 0)
            observation.person = person;
        observation.colours.resize(2);
        observation.colours[0].area = 70;
        observation.colours[1].area = 30;
        track.push_back(observation);
    }
    return track;
}

TEST(AnalyseRecord, TakesForAnObjectWhatMovesByAThirdOfItsSize)
{
    EXPECT_TRUE(is_moving_object(walk(20, {30, 40}, 1, 0.9)));     // 19 of 50 pixels
    EXPECT_FALSE(is_moving_object(walk(20, {30, 40}, 0.5F, 0.9))); // 9.5
    EXPECT_FALSE(is_moving_object(walk(20, {30, 40}, 0, 0.9)));
}

TEST(AnalyseRecord, TakesForAnObjectWhatIsSeenForHalfASecond)
{
    EXPECT_TRUE(is_moving_object(walk(6, {30, 40}, 10, 0.9)));
    EXPECT_FALSE(is_moving_object(walk(5, {30, 40}, 10, 0.9)));
    EXPECT_FALSE(is_moving_object({}));
}

TEST(AnalyseRecord, TakesThePersonFromTheBetterHalfOfTheScores)
{
    std::vector<Observation> track = walk(12, {30, 80}, 5, 0.9); // scores at 0, 3, 6, 9
    track[3].person = 0.1;
    track[9].person = 0.7;
    track[6].person = 0.2;
    const Class_Scores scores = classify(track, frame_size);
    EXPECT_NEAR(0.8, scores.person, 1e-9);
    EXPECT_EQ(0.0, scores.vehicle);
    EXPECT_NEAR(0.2, scores.object, 1e-9);
}

TEST(AnalyseRecord, HalvesThePersonOfAShapeThatIsWiderThanHigh)
{
    EXPECT_NEAR(0.45, classify(walk(12, {80, 60}, 5, 0.9), frame_size).person, 1e-9);
}

TEST(AnalyseRecord, TakesForAVehicleWhatIsWideLargeAndRigidAndTravels)
{
    EXPECT_NEAR(0.7, classify(walk(30, {80, 36}, 5, 0.1), frame_size).vehicle, 1e-9);
    EXPECT_EQ(0.0, classify(walk(30, {50, 40}, 5, 0.1), frame_size).vehicle) << "not wide";
    EXPECT_EQ(0.0, classify(walk(30, {24, 12}, 5, 0.1), frame_size).vehicle) << "small";
    EXPECT_EQ(0.0, classify(walk(30, {80, 36}, 2, 0.1), frame_size).vehicle) << "travels little";
    std::vector<Observation> thin = walk(30, {80, 36}, 5, 0.1);
    for (Observation& observation : thin)
        observation.fill = 0.4;
    EXPECT_EQ(0.0, classify(thin, frame_size).vehicle) << "does not fill its box";
    std::vector<Observation> soft = walk(30, {80, 36}, 5, 0.1);
    for (std::size_t i = 0; i < soft.size(); i += 2)
        soft[i].box.height = 50;
    EXPECT_EQ(0.0, classify(soft, frame_size).vehicle) << "changes its shape";
}

TEST(AnalyseRecord, TakesAllElseForAnObject)
{
    const Class_Scores scores = classify(walk(30, {36, 40}, 5, 0.1), frame_size);
    EXPECT_NEAR(0.1, scores.person, 1e-9);
    EXPECT_EQ(0.0, scores.vehicle);
    EXPECT_NEAR(0.9, scores.object, 1e-9);
}

TEST(AnalyseRecord, MakesAnInstanceOfEachObservation)
{
    std::vector<Observation> track = walk(29, {30, 80}, 5, 0.9);
    track[1].sharers = 2;
    track[3].person = 0.004;
    const KR_ObjectBase object = make_object(track, frame_size);
    EXPECT_EQ(ns__DetectorType__value_1, object.DetectorType);
    EXPECT_EQ("2024/03/05 07:08:09.000000", kr_to_string(object.FirstSeenTime));
    EXPECT_EQ("2024/03/05 07:08:11.800000", kr_to_string(object.SecondTime));
    EXPECT_EQ(2U, object.Duration);
    EXPECT_FLOAT_EQ(0.9F, object.ClassScores[0]);
    EXPECT_FLOAT_EQ(0.0F, object.ClassScores[1]);
    EXPECT_FLOAT_EQ(0.1F, object.ClassScores[2]);
    ASSERT_EQ(29U, object.Instances.size());
    const KR_ObjectBase::Instance& second = object.Instances[1];
    EXPECT_EQ("2024/03/05 07:08:09.100000", kr_to_string(second.Time));
    EXPECT_EQ(10.0F, second.Box.MinX);
    EXPECT_EQ(20.0F, second.Box.MinY);
    EXPECT_EQ(40.0F, second.Box.MaxX);
    EXPECT_EQ(100.0F, second.Box.MaxY);
    EXPECT_EQ(1, second.Box.IsSet);
    EXPECT_EQ(25.0F, second.PointX);
    EXPECT_EQ(100.0F, second.PointY);
    EXPECT_EQ(90.0F, second.PersonValue);
    EXPECT_EQ(0.0F, second.VehicleValue);
    EXPECT_EQ(0.0F, second.ObjectValue);
    EXPECT_EQ(2, second.Number);
    EXPECT_EQ(1, second.Flag);
    EXPECT_EQ(2U, second.Colors.size());
    EXPECT_EQ(1, object.Instances[2].Number);
    EXPECT_EQ(0, object.Instances[2].Flag);
    EXPECT_EQ(1.0F, object.Instances[4].PersonValue) << "at least 1: it is a person";
}

TEST(AnalyseRecord, KeepsAllInstancesThatTheBudgetHolds)
{
    KR_ObjectBase object = make_object(walk(10, {30, 80}, 5, 0.9), frame_size);
    const unsigned needed = 4 + 10 * (68 + 2 * 5);
    ASSERT_EQ(needed, object.serialize_instances_size(65536));
    fit(object, needed);
    EXPECT_EQ(10U, object.Instances.size());
}

TEST(AnalyseRecord, ThinsInstancesEvenly)
{
    KR_ObjectBase object = make_object(walk(10, {30, 80}, 5, 0.9), frame_size);
    fit(object, 4 + 10 * (68 + 2 * 5) - 1);
    EXPECT_EQ(9U, object.Instances.size());
    object = make_object(walk(10, {30, 80}, 5, 0.9), frame_size);
    fit(object, 4 + 4 * (68 + 2 * 5));
    ASSERT_EQ(4U, object.Instances.size());
    EXPECT_EQ(5.0F, object.Instances[0].Box.MinX);
    EXPECT_EQ(20.0F, object.Instances[1].Box.MinX);
    EXPECT_EQ(35.0F, object.Instances[2].Box.MinX);
    EXPECT_EQ(50.0F, object.Instances[3].Box.MinX);
}

TEST(AnalyseRecord, KeepsTheFirstInstanceForTheLeastBudget)
{
    KR_ObjectBase object = make_object(walk(10, {30, 80}, 5, 0.9), frame_size);
    fit(object, least_budget());
    ASSERT_EQ(1U, object.Instances.size());
    EXPECT_EQ(5.0F, object.Instances[0].Box.MinX);
    EXPECT_LE(object.serialize_instances_size(least_budget()), least_budget());
}

// Colours

cv::Mat full_mask(const cv::Mat& picture)
{
    return cv::Mat(picture.size(), CV_8U, cv::Scalar(255));
}

TEST(AnalyseColours, GivesTheColoursByTheirAreas)
{
    cv::Mat picture(60, 30, CV_8UC3, cv::Scalar(0, 0, 200));       // red
    picture(cv::Rect(0, 45, 30, 15)).setTo(cv::Scalar(200, 0, 0)); // a quarter of blue
    const std::vector<ns__RgbColorArea> colours = main_colours(picture, full_mask(picture));
    ASSERT_EQ(2U, colours.size());
    EXPECT_EQ(200, colours[0].color.red);
    EXPECT_EQ(0, colours[0].color.blue);
    EXPECT_NEAR(75.0F, colours[0].area, 3.0F);
    EXPECT_EQ(200, colours[1].color.blue);
    EXPECT_NEAR(25.0F, colours[1].area, 3.0F);
    EXPECT_EQ(static_cast<float>(static_cast<int>(colours[0].area)), colours[0].area);
}

TEST(AnalyseColours, LooksAtTheObjectAlone)
{
    cv::Mat picture(40, 40, CV_8UC3, cv::Scalar(90, 90, 90));
    const cv::Rect object(10, 10, 20, 20);
    picture(object).setTo(cv::Scalar(0, 220, 220));
    cv::Mat mask = cv::Mat::zeros(picture.size(), CV_8U);
    mask(object).setTo(255);
    const std::vector<ns__RgbColorArea> colours = main_colours(picture, mask);
    ASSERT_EQ(1U, colours.size());
    EXPECT_EQ(220, colours[0].color.red);
    EXPECT_EQ(100.0F, colours[0].area);
}

TEST(AnalyseColours, LeavesOutWhatIsLessThanFivePercent)
{
    cv::Mat picture(50, 40, CV_8UC3, cv::Scalar(0, 0, 200));
    picture(cv::Rect(0, 20, 40, 1)).setTo(cv::Scalar(255, 255, 255)); // 2 %
    const std::vector<ns__RgbColorArea> colours = main_colours(picture, full_mask(picture));
    ASSERT_EQ(1U, colours.size());
    EXPECT_EQ(200, colours[0].color.red);
}

TEST(AnalyseColours, GivesNothingForAnEmptyMask)
{
    const cv::Mat picture(20, 20, CV_8UC3, cv::Scalar(1, 2, 3));
    EXPECT_TRUE(main_colours(picture, cv::Mat::zeros(picture.size(), CV_8U)).empty());
}

TEST(AnalyseColours, CopesWithFewerPixelsThanColours)
{
    const cv::Mat picture(1, 2, CV_8UC3, cv::Scalar(10, 20, 30));
    const std::vector<ns__RgbColorArea> colours = main_colours(picture, full_mask(picture));
    ASSERT_EQ(1U, colours.size());
    EXPECT_EQ(30, colours[0].color.red);
    EXPECT_EQ(100.0F, colours[0].area);
}

// Thumbnails

cv::Mat decoded(const Bytes& jpeg)
{
    return cv::imdecode(jpeg, cv::IMREAD_COLOR);
}

TEST(AnalyseThumbnail, KeepsTheBestView)
{
    const cv::Mat dark(240, 320, CV_8UC3, cv::Scalar::all(20));
    const cv::Mat bright(240, 320, CV_8UC3, cv::Scalar::all(220));
    Thumbnail thumbnail;
    EXPECT_TRUE(thumbnail.jpeg().empty());
    thumbnail.offer(dark, {100, 100, 30, 80}, 0.5);
    thumbnail.offer(bright, {100, 100, 30, 80}, 0.9);
    thumbnail.offer(dark, {100, 100, 30, 80}, 0.6);
    EXPECT_NEAR(220, decoded(thumbnail.jpeg()).at<cv::Vec3b>(80, 30)[0], 5);
}

TEST(AnalyseThumbnail, PrefersAViewThatTheBorderDoesNotCut)
{
    const cv::Mat dark(240, 320, CV_8UC3, cv::Scalar::all(20));
    const cv::Mat bright(240, 320, CV_8UC3, cv::Scalar::all(220));
    Thumbnail thumbnail;
    thumbnail.offer(dark, {0, 100, 30, 80}, 0.9);
    thumbnail.offer(bright, {100, 100, 30, 80}, 0.4);
    thumbnail.offer(dark, {290, 100, 30, 80}, 0.9);
    EXPECT_NEAR(220, decoded(thumbnail.jpeg()).at<cv::Vec3b>(80, 30)[0], 5);
}

TEST(AnalyseThumbnail, Is160PixelsHighButEnlargedThreeTimesAtMost)
{
    const cv::Mat frame(600, 800, CV_8UC3, cv::Scalar::all(20));
    Thumbnail usual;
    usual.offer(frame, {100, 100, 30, 80}, 0.5);
    EXPECT_EQ(160, decoded(usual.jpeg()).rows);
    Thumbnail small;
    small.offer(frame, {100, 100, 8, 20}, 0.5); // with its margin 28 pixels high
    EXPECT_EQ(84, decoded(small.jpeg()).rows);
    Thumbnail wide;
    wide.offer(frame, {100, 100, 600, 100}, 0.5);
    EXPECT_EQ(320, decoded(wide.jpeg()).cols);
}

} // namespace
