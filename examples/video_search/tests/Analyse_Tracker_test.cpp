// Tracks from boxes alone, at ten pictures per second.

#include "analyse/Tracker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <vector>

using namespace video_search;

namespace {

constexpr double fps = 10.0;
const cv::Size2f body(30, 80);

cv::Rect2f at(int x, int y, cv::Size2f size = body)
{
    return {static_cast<float>(x), static_cast<float>(y), size.width, size.height};
}

// A tracker, and what it has told of each track.
struct Trial {
    Tracker tracker{fps};
    std::map<std::uint64_t, std::vector<Sighting>> seen;
    std::vector<Ended_Track> ended;

    std::vector<Sighting> step(const std::vector<cv::Rect2f>& blobs)
    {
        const std::vector<Sighting> sightings = tracker.update(blobs);
        for (const Sighting& sighting : sightings)
            seen[sighting.track].push_back(sighting);
        for (const Ended_Track& track : tracker.take_ended())
            ended.push_back(track);
        return sightings;
    }

    std::set<std::uint64_t> finish()
    {
        tracker.finish();
        for (const Ended_Track& track : tracker.take_ended())
            ended.push_back(track);
        std::set<std::uint64_t> confirmed;
        for (const Ended_Track& track : ended)
            if (track.is_confirmed)
                confirmed.insert(track.track);
        return confirmed;
    }
};

TEST(AnalyseTracker, FollowsABoxFromItsFirstToItsLastPicture)
{
    Trial run;
    for (int i = 0; i < 20; ++i) {
        const std::vector<Sighting> sightings = run.step({at(10 + 5 * i, 50)});
        ASSERT_EQ(1U, sightings.size());
        EXPECT_EQ(1U, sightings[0].track);
        EXPECT_EQ(0, sightings[0].blob);
        EXPECT_EQ(1, sightings[0].sharers);
        EXPECT_EQ(at(10 + 5 * i, 50), sightings[0].box);
    }
    EXPECT_EQ((std::set<std::uint64_t>{1}), run.finish());
}

TEST(AnalyseTracker, GivesNothingForNoBoxes)
{
    Trial run;
    EXPECT_TRUE(run.step({}).empty());
    EXPECT_TRUE(run.finish().empty());
    EXPECT_TRUE(run.ended.empty());
}

TEST(AnalyseTracker, DoesNotConfirmWhatIsSeenThreeTimesOnly)
{
    Trial run;
    for (int i = 0; i < 3; ++i)
        run.step({at(10, 50)});
    for (int i = 0; i < 3; ++i)
        run.step({});
    ASSERT_EQ(1U, run.ended.size());
    EXPECT_FALSE(run.ended[0].is_confirmed);
}

TEST(AnalyseTracker, ConfirmsWhatIsSeenFourTimes)
{
    Trial run;
    for (int i = 0; i < 4; ++i)
        run.step({at(10, 50)});
    EXPECT_EQ((std::set<std::uint64_t>{1}), run.finish());
}

TEST(AnalyseTracker, GoesOnBehindAGapOfOneSecond)
{
    Trial run;
    for (int i = 0; i < 40; ++i) {
        const bool is_hidden = i >= 15 && i < 25;
        const std::vector<Sighting> sightings =
            run.step(is_hidden ? std::vector<cv::Rect2f>() : std::vector{at(10 + 5 * i, 50)});
        EXPECT_EQ(is_hidden ? 0U : 1U, sightings.size()) << i;
    }
    EXPECT_EQ(30U, run.seen[1].size());
    EXPECT_EQ((std::set<std::uint64_t>{1}), run.finish());
}

TEST(AnalyseTracker, EndsATrackThatIsNotSeenForLongerThanOneAndAHalfSeconds)
{
    Trial run;
    for (int i = 0; i < 10; ++i)
        run.step({at(10, 50)});
    for (int i = 0; i < 15; ++i)
        run.step({});
    EXPECT_TRUE(run.ended.empty());
    run.step({});
    ASSERT_EQ(1U, run.ended.size());
    EXPECT_TRUE(run.ended[0].is_confirmed);
    run.step({at(10, 50)});
    EXPECT_EQ(1U, run.seen.count(2));
}

TEST(AnalyseTracker, KeepsTwoAtOnceApart)
{
    Trial run;
    for (int i = 0; i < 20; ++i)
        run.step({at(10 + 5 * i, 50), at(300 - 5 * i, 250)});
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
    EXPECT_EQ(at(105, 50), run.seen[1].back().box);
    EXPECT_EQ(at(205, 250), run.seen[2].back().box);
}

TEST(AnalyseTracker, DoesNotMindTheOrderOfTheBoxes)
{
    Trial run;
    for (int i = 0; i < 20; ++i) {
        const cv::Rect2f a = at(10 + 5 * i, 50);
        const cv::Rect2f b = at(300 - 5 * i, 250);
        run.step(i % 2 == 0 ? std::vector{a, b} : std::vector{b, a});
    }
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
    EXPECT_EQ(at(105, 50), run.seen[1].back().box);
    EXPECT_EQ(0, run.seen[2].back().blob);
}

// Two boxes walk toward each other, melt into one blob while they overlap, and walk on.
TEST(AnalyseTracker, KeepsWhoIsWhoWhenTwoCross)
{
    Trial run;
    int shared = 0;
    for (int i = 0; i < 50; ++i) {
        const cv::Rect2f a = at(10 + 6 * i, 50);
        const cv::Rect2f b = at(304 - 6 * i, 58);
        const std::vector<Sighting> sightings =
            run.step((a & b).empty() ? std::vector{a, b} : std::vector{a | b});
        for (const Sighting& sighting : sightings)
            shared += sighting.sharers == 2 ? 1 : 0;
    }
    EXPECT_GT(shared, 4);
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
    EXPECT_EQ(at(304, 50), run.seen[1].back().box);
    EXPECT_EQ(at(10, 58), run.seen[2].back().box);
}

TEST(AnalyseTracker, KeepsTheSizesOfTwoWhoWalkTogether)
{
    Trial run;
    for (int i = 0; i < 40; ++i) {
        const cv::Rect2f a = at(10 + 5 * i, 50);
        const cv::Rect2f b = at(60 + 5 * i, 50);
        const bool is_one_blob = i >= 10 && i < 30;
        run.step(is_one_blob ? std::vector{a | b} : std::vector{a, b});
        for (const auto& [track, sightings] : run.seen)
            EXPECT_NEAR(30.0F, sightings.back().box.width, 1.0F) << track << " in " << i;
    }
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
    EXPECT_EQ(2, run.seen[1][20].sharers);
    EXPECT_EQ(40U, run.seen[1].size());
    EXPECT_EQ(at(205, 50), run.seen[1].back().box);
    EXPECT_EQ(at(255, 50), run.seen[2].back().box);
}

TEST(AnalyseTracker, PutsThePiecesOfABodyTogether)
{
    Trial run;
    for (int i = 0; i < 20; ++i) {
        const int x = 10 + 4 * i;
        const bool is_split = i == 10 || i == 11;
        run.step(is_split ? std::vector{at(x, 50, {30, 35}), at(x + 3, 95, {25, 35})}
                          : std::vector{at(x, 50)});
        EXPECT_EQ(1U, run.seen.size()) << i;
    }
    EXPECT_EQ((std::set<std::uint64_t>{1}), run.finish());
    EXPECT_EQ(at(50, 50), run.seen[1][10].box);
}

TEST(AnalyseTracker, BeginsANewTrackForAJump)
{
    Trial run;
    for (int i = 0; i < 10; ++i)
        run.step({at(10, 50)});
    for (int i = 0; i < 10; ++i)
        run.step({at(200, 50)});
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
}

// A track that goes on unseen drifts toward where somebody else has just come.
TEST(AnalyseTracker, LeavesANewcomerToItsOwnTrack)
{
    Trial run;
    for (int i = 0; i < 20; ++i)
        run.step({at(10 + 4 * i, 50)});
    for (int i = 0; i < 30; ++i)
        run.step({at(190 - 4 * i, 50)});
    EXPECT_EQ((std::set<std::uint64_t>{1, 2}), run.finish());
    EXPECT_EQ(20U, run.seen[1].size());
    EXPECT_EQ(30U, run.seen[2].size());
}

// Somebody is hidden for a moment; then two come out, the nearer one in other clothes.
TEST(AnalyseTracker, TakesTheBlobThatLooksLikeTheTrack)
{
    const Look red(0, 0, 200, 0, 0, 200);
    const Look blue(200, 0, 0, 200, 0, 0);
    for (const bool is_near_one_red : {true, false}) {
        Tracker tracker(fps);
        for (int i = 0; i < 10; ++i)
            tracker.update({at(100, 50)}, {red});
        tracker.update({}, {});
        const std::vector<Sighting> sightings =
            tracker.update({at(105, 50), at(120, 50)},
                           {is_near_one_red ? red : blue, is_near_one_red ? blue : red});
        ASSERT_EQ(2U, sightings.size());
        EXPECT_EQ(1U, sightings[0].track);
        EXPECT_EQ(is_near_one_red ? 0 : 1, sightings[0].blob);
    }
}

TEST(AnalyseTracker, KeepsTimeBySecondsNotByPictures)
{
    Tracker fast(50.0);
    for (int i = 0; i < 19; ++i)
        fast.update({at(10, 50)});
    fast.finish();
    const std::vector<Ended_Track> ended = fast.take_ended();
    ASSERT_EQ(1U, ended.size());
    EXPECT_FALSE(ended[0].is_confirmed); // 0.4 seconds are 20 pictures
}

TEST(AnalyseTracker, FollowsWhatIsSeenOnceASecond)
{
    Tracker slow(1.0);
    for (int i = 0; i < 3; ++i) {
        const std::vector<Sighting> sightings = slow.update({at(10 + 90 * i, 50)});
        ASSERT_EQ(1U, sightings.size());
        EXPECT_EQ(1U, sightings[0].track) << i; // 90 pixels are more than its diagonal
    }
    slow.finish();
    const std::vector<Ended_Track> ended = slow.take_ended();
    ASSERT_EQ(1U, ended.size());
    EXPECT_TRUE(ended[0].is_confirmed);
}

// The same way, once in even steps and once in uneven ones, both fifty pixels a second.
TEST(AnalyseTracker, FollowsThroughUnevenTimes)
{
    Tracker tracker(fps);
    double x = 0;
    for (int i = 0; i < 40; ++i) {
        const double seconds = i % 3 == 0 ? 0.5 : 0.05;
        x += 50 * seconds;
        const std::vector<Sighting> sightings =
            tracker.update({at(static_cast<int>(x), 50)}, {}, seconds);
        ASSERT_EQ(1U, sightings.size());
        EXPECT_EQ(1U, sightings[0].track) << i;
    }
}

TEST(AnalyseTracker, EndsAllTracksInAGapOfMoreThanFiveSeconds)
{
    for (const double gap : {5.0, 5.1}) {
        Tracker tracker(fps);
        for (int i = 0; i < 10; ++i)
            tracker.update({at(10, 50)});
        const std::vector<Sighting> sightings = tracker.update({at(10, 50)}, {}, gap);
        ASSERT_EQ(1U, sightings.size());
        EXPECT_EQ(gap > 5.0 ? 2U : 1U, sightings[0].track);
        EXPECT_EQ(gap > 5.0 ? 1U : 0U, tracker.take_ended().size());
    }
}

} // namespace
