#include "search/Timeline.h"

#include "Search_Testing.h"

using namespace video_search;

namespace {

const Time_Span minute{second(0), second(60)};

using Lanes = std::vector<std::size_t>;

} // namespace

TEST(Search_Timeline, PositionIsThePartBefore)
{
    EXPECT_DOUBLE_EQ(position(second(0), minute), 0);
    EXPECT_DOUBLE_EQ(position(second(15), minute), 25);
    EXPECT_DOUBLE_EQ(position(second(60), minute), 100);
    EXPECT_DOUBLE_EQ(position(second(-1), minute), 0);
    EXPECT_DOUBLE_EQ(position(second(61), minute), 100);
}

TEST(Search_Timeline, StepIsRoundAndGivesNotTooManyMarks)
{
    const struct {
        int length;
        int most;
        int step;
    } rows[] = {{1, 10, 1},
                {9, 10, 1},
                {10, 10, 2},
                {60, 10, 10},
                {79, 10, 10},
                {91, 10, 15},
                {3600, 10, 600},
                {86'400, 10, 10'800},
                {864'000, 10, 172'800},
                {31'536'000, 10, 3'628'800}};
    for (const auto& row : rows)
        EXPECT_EQ(mark_step({second(0), second(row.length)}, row.most), row.step) << row.length;
}

TEST(Search_Timeline, MarksAreMultiplesOfTheStepInTheSpan)
{
    const auto list = marks(minute, 20); // from 07:08:09
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0], second(11)); // 07:08:20
    EXPECT_EQ(list[1], second(31));
    EXPECT_EQ(list[2], second(51));
    EXPECT_EQ(marks({second(11), second(31)}, 20).size(), 2U);
    EXPECT_EQ(marks({second(11) + ACE_Time_Value(0, 1), second(31)}, 20).size(), 1U);
}

TEST(Search_Timeline, BarsThatMeetGetLanesOfTheirOwn)
{
    EXPECT_EQ(lanes({{0, 10}, {5, 20}, {10, 12}, {21, 30}}, 0), (Lanes{0, 1, 0, 0}));
    EXPECT_EQ(lanes({{0, 10}, {10, 12}}, 1), (Lanes{0, 1}));
    EXPECT_EQ(lanes({{0, 10}, {0, 10}, {0, 10}}, 0), (Lanes{0, 1, 2}));
    EXPECT_EQ(lanes({}, 0), Lanes{});
}

TEST(Search_Timeline, StripTakesThePicturesNearestToTheMiddles)
{
    std::vector<Picture> pictures;
    for (int k = 0; k <= 60; k += 10)
        pictures.push_back({second(k), {}});
    const auto three = strip(pictures, minute, 3); // middles at 10, 30 and 50
    ASSERT_EQ(three.size(), 3U);
    EXPECT_EQ(three[0]->time, second(10));
    EXPECT_EQ(three[1]->time, second(30));
    EXPECT_EQ(three[2]->time, second(50));
    EXPECT_EQ(strip(pictures, minute, 100).size(), 7U);
    EXPECT_TRUE(strip({}, minute, 5).empty());
}
