#include <KRCommon/objects/Objects.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace {

using Box = Geom_Box2D<float>;
using Instance = KR_ObjectBase::Instance;
using Time = ACE_Time_Value;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr int int_min = std::numeric_limits<int>::min();
constexpr int int_max = std::numeric_limits<int>::max();

std::uint32_t bits_of(float number)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

// What test() is asked, with values that the object of this test matches.
struct Query {
    Time from{1000, 500'000};
    Time to{1000, 500'000};
    ns__DetectorType detector = ns__DetectorType__value_1;
    int object_class = 0;
    float min_score = 0.0F;
    float min_duration = 0.0F;
};

class KrObjectTest : public testing::Test {
protected:
    KrObjectTest()
    {
        object_.FirstSeenTime = Time(1000, 500'000);
        object_.DetectorType = ns__DetectorType__value_1;
        object_.Duration = 30;
        object_.ClassScores[0] = 0.25F;
        object_.ClassScores[1] = 0.5F;
        object_.ClassScores[2] = 0.75F;
    }

    bool matches(const Query& query) const
    {
        return object_.test(query.from, query.to, query.detector,
                            static_cast<ns__ObjectClass>(query.object_class), query.min_score,
                            query.min_duration);
    }

    KR_ObjectBase object_;
};

TEST_F(KrObjectTest, WindowIncludesBothEnds)
{
    struct Row {
        Time from;
        Time to;
        bool matches;
    };
    const Row rows[] = {
        {Time(1000, 500'000), Time(1000, 500'000), true},
        {Time(1000, 500'000), Time(2000, 0), true},
        {Time(0, 0), Time(1000, 500'000), true},
        {Time(1000, 499'999), Time(1000, 500'001), true},
        {Time(1000, 500'001), Time(2000, 0), false},
        {Time(0, 0), Time(1000, 499'999), false},
        {Time(1001, 0), Time(1002, 0), false},
        {Time(998, 0), Time(999, 0), false},
        {Time(1000, 500'001), Time(1000, 499'999), false},
        {Time(2000, 0), Time(0, 0), false},
        {Time(-5, 0), Time(5000, 0), true},
    };
    for (const Row& row : rows) {
        Query query;
        query.from = row.from;
        query.to = row.to;
        EXPECT_EQ(row.matches, matches(query))
            << row.from.sec() << "." << row.from.usec() << " to " << row.to.sec();
    }
}

TEST_F(KrObjectTest, OnlyTheFirstSeenTimeIsInTheWindow)
{
    object_.SecondTime = Time(5000);
    object_.Instances.resize(1);
    object_.Instances[0].Time = Time(1010);
    Query query;
    query.from = Time(1005);
    query.to = Time(6000);
    EXPECT_FALSE(matches(query)) << "though an instance, the end and the second time lie inside";
}

TEST_F(KrObjectTest, TimesBefore1970AndAfter2038Compare)
{
    Query query;
    query.from = Time(-20);
    query.to = Time(-10);
    EXPECT_FALSE(matches(query));
    object_.FirstSeenTime = Time(-15);
    EXPECT_TRUE(matches(query));

    query.from = query.to = object_.FirstSeenTime = Time(4'102'444'800, 1);
    EXPECT_TRUE(matches(query));
    query.to = Time(4'102'444'800, 0);
    EXPECT_FALSE(matches(query));
}

TEST_F(KrObjectTest, DetectorMustBeTheSame)
{
    for (const int detector : {0, 2, 7, -1, int_max}) {
        Query query;
        query.detector = static_cast<ns__DetectorType>(detector);
        EXPECT_FALSE(matches(query)) << detector;
        object_.DetectorType = query.detector;
        EXPECT_TRUE(matches(query)) << detector;
        object_.DetectorType = ns__DetectorType__value_1;
    }
}

TEST_F(KrObjectTest, DurationMayNotBeBelowTheMinimum)
{
    struct Row {
        std::uint32_t duration;
        float min_duration;
        bool matches;
    };
    const Row rows[] = {
        {30, 29.9F, true},
        {30, 30.0F, true},
        {30, 30.000002F, false},
        {30, -1.0F, true},
        {0, 0.0F, true},
        {0, -0.0F, true},
        {0, 1e-45F, false},
        {4'294'967'295, 4'294'967'296.0F, true}, // the nearest float to the duration
        {4'294'967'295, 4'294'967'808.0F, false},
        {2'147'483'648, 2'147'483'648.0F, true},
        {16'777'217, 16'777'216.0F, true},
        {16'777'217, 16'777'218.0F, false},
        {30, infinity, false},
        {30, -infinity, true},
        {30, nan, true},
    };
    for (const Row& row : rows) {
        object_.Duration = row.duration;
        Query query;
        query.min_duration = row.min_duration;
        EXPECT_EQ(row.matches, matches(query)) << row.duration << ", " << row.min_duration;
    }
}

TEST_F(KrObjectTest, EachOfThreeClassesHasItsScore)
{
    struct Row {
        int object_class;
        float min_score;
        bool matches;
    };
    const Row rows[] = {
        {1, 0.25F, true}, {1, 0.2500001F, false}, {1, 0.0F, true},
        {2, 0.5F, true},  {2, 0.5000001F, false}, {2, 0.25F, true},
        {3, 0.75F, true}, {3, 0.7500001F, false}, {3, -1.0F, true},
        {1, nan, true},   {2, infinity, false},   {3, -infinity, true},
    };
    for (const Row& row : rows) {
        Query query;
        query.object_class = row.object_class;
        query.min_score = row.min_score;
        EXPECT_EQ(row.matches, matches(query)) << row.object_class << ", " << row.min_score;
    }
}

TEST_F(KrObjectTest, AnyOtherClassAsksForNoScore)
{
    for (const int object_class : {0, 4, 5, -1, 255, int_min, int_max}) {
        Query query;
        query.object_class = object_class;
        query.min_score = infinity;
        EXPECT_TRUE(matches(query)) << object_class;
    }
}

TEST_F(KrObjectTest, QuirkAScoreThatIsNoNumberPasses)
{
    object_.ClassScores[0] = nan;
    Query query;
    query.object_class = 1;
    query.min_score = infinity;
    EXPECT_TRUE(matches(query));
    query.object_class = 2;
    EXPECT_FALSE(matches(query)) << "the other scores are numbers";
}

TEST_F(KrObjectTest, EveryStepMustPass)
{
    Query query;
    query.object_class = 3;
    query.min_score = 0.75F;
    query.min_duration = 30.0F;
    ASSERT_TRUE(matches(query));

    Query late = query;
    late.from = Time(1000, 500'001);
    EXPECT_FALSE(matches(late));
    Query early = query;
    early.to = Time(1000, 499'999);
    EXPECT_FALSE(matches(early));
    Query other_detector = query;
    other_detector.detector = ns__DetectorType__value_7;
    EXPECT_FALSE(matches(other_detector));
    Query longer = query;
    longer.min_duration = 31.0F;
    EXPECT_FALSE(matches(longer));
    Query surer = query;
    surer.min_score = 0.8F;
    EXPECT_FALSE(matches(surer));
}

KR_ObjectBase object_with(std::initializer_list<Box> boxes)
{
    KR_ObjectBase object;
    for (const Box& box : boxes)
        object.Instances.emplace_back().Box = box;
    return object;
}

void expect_box(const Box& expected, const Box& box)
{
    EXPECT_EQ(bits_of(expected.MinX), bits_of(box.MinX)) << expected.MinX << ", " << box.MinX;
    EXPECT_EQ(bits_of(expected.MinY), bits_of(box.MinY)) << expected.MinY << ", " << box.MinY;
    EXPECT_EQ(bits_of(expected.MaxX), bits_of(box.MaxX)) << expected.MaxX << ", " << box.MaxX;
    EXPECT_EQ(bits_of(expected.MaxY), bits_of(box.MaxY)) << expected.MaxY << ", " << box.MaxY;
    EXPECT_EQ(expected.IsSet, box.IsSet);
}

const Box own(100, 100, 200, 200);

TEST(KrExtendedBox, ZeroPercentAndLessGiveTheBoxAsItIs)
{
    const KR_ObjectBase object = object_with({{0, 0, 300, 300}, own, {0, 0, 400, 400}});
    for (const float percent : {0.0F, -0.0F, -1e-45F, -50.0F, -infinity})
        expect_box(own, object.GetExtendedBoundingBox(1, percent));
}

TEST(KrExtendedBox, ZeroPercentKeepsTheFlagAndTheOrder)
{
    KR_ObjectBase object = object_with({{0, 0, 300, 300}, {9, 8, 2, 1}});
    object.Instances[1].Box.IsSet = 0;
    Box expected(9, 8, 2, 1);
    expected.IsSet = 0;
    expect_box(expected, object.GetExtendedBoundingBox(1, 0));
}

TEST(KrExtendedBox, MoreThanZeroPercentMarksTheBoxAsSet)
{
    KR_ObjectBase object = object_with({own});
    object.Instances[0].Box.IsSet = 0;
    expect_box(own, object.GetExtendedBoundingBox(0, 1e-45F));
    EXPECT_EQ(0, object.Instances[0].Box.IsSet);
}

TEST(KrExtendedBox, ASingleInstanceNeverExtends)
{
    const KR_ObjectBase object = object_with({own});
    for (const float percent : {0.0F, 1.0F, 50.0F, 100.0F, 1000.0F, infinity, nan})
        expect_box(own, object.GetExtendedBoundingBox(0, percent));
}

TEST(KrExtendedBox, ANeighbourInsideMovesNothing)
{
    const KR_ObjectBase object =
        object_with({{120, 130, 180, 190}, own, {100, 100, 200, 200}, own, {150, 150, 150, 150}});
    expect_box(own, object.GetExtendedBoundingBox(1, 50));
    expect_box(own, object.GetExtendedBoundingBox(2, 100));
    expect_box(own, object.GetExtendedBoundingBox(3, infinity));
}

TEST(KrExtendedBox, EachSideMovesOnItsOwn)
{
    struct Row {
        Box neighbour;
        Box expected;
    };
    const Row rows[] = {
        {{80, 100, 200, 200}, {90, 100, 200, 200}},   {{100, 60, 200, 200}, {100, 80, 200, 200}},
        {{100, 100, 220, 200}, {100, 100, 210, 200}}, {{100, 100, 200, 260}, {100, 100, 200, 230}},
        {{80, 150, 150, 260}, {90, 100, 200, 230}},   {{-100, -50, 400, 600}, {0, 25, 300, 400}},
        {{300, 300, 400, 400}, {100, 100, 300, 300}}, {{10, 20, 30, 40}, {55, 60, 200, 200}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(&row - rows));
        expect_box(row.expected, object_with({row.neighbour, own}).GetExtendedBoundingBox(1, 50));
        expect_box(row.expected, object_with({own, row.neighbour}).GetExtendedBoundingBox(0, 50));
    }
}

TEST(KrExtendedBox, UnitesWhatBothNeighboursGive)
{
    const KR_ObjectBase object =
        object_with({{80, 120, 240, 180}, own, {60, 40, 220, 300}, {0, 0, 999, 999}});
    expect_box(Box(80, 70, 220, 250), object.GetExtendedBoundingBox(1, 50));
    expect_box(Box(60, 40, 240, 300), object.GetExtendedBoundingBox(1, 100));
}

TEST(KrExtendedBox, FirstAndLastInstanceExtendTowardTheirSingleNeighbour)
{
    const KR_ObjectBase object = object_with({own, {0, 50, 150, 150}, {90, 90, 300, 180}});
    expect_box(Box(50, 75, 200, 200), object.GetExtendedBoundingBox(0, 50));
    expect_box(Box(45, 70, 300, 180), object.GetExtendedBoundingBox(2, 50));
}

TEST(KrExtendedBox, MoreThanAHundredPercentGoesBeyondTheNeighbour)
{
    const KR_ObjectBase object = object_with({{90, 100, 210, 200}, own});
    expect_box(Box(90, 100, 210, 200), object.GetExtendedBoundingBox(1, 100));
    expect_box(Box(75, 100, 225, 200), object.GetExtendedBoundingBox(1, 250));
    expect_box(Box(-infinity, 100, infinity, 200), object.GetExtendedBoundingBox(1, infinity));
}

TEST(KrExtendedBox, ComputesInSinglePrecisionMultiplyingBeforeDividing)
{
    struct Row {
        float own;
        float neighbour;
        float percent;
        std::uint32_t min_bits;
    };
    const Row rows[] = {
        {0.1F, 0.03F, 33.3F, 0x3D9D0FA6},         {1.0F, -2.7F, 7.0F, 0x3F3DB22D},
        {100.3F, 16.1F, 12.5F, 0x42B38CCD},       {16777216.0F, 1.0F, 33.0F, 0x4B2B8520},
        {5.0F, -0.001F, 66.6F, 0x3FD5ACBE},       {302.08F, -729.64F, 86.1F, 0xC4128EC6},
        {1253.67F, -1397.65F, 50.7F, 0xC2B51930}, {1929.3F, -189.7F, 56.8F, 0x44356D52},
        {1427.92F, -1577.54F, 82.5F, 0xC48372B5}, {1118.96F, -759.13F, 93.2F, 0xC41DDAE0},
    };
    for (const Row& row : rows) {
        const KR_ObjectBase object = object_with({{row.neighbour, 0, 0, 0}, {row.own, 0, 0, 0}});
        EXPECT_EQ(row.min_bits, bits_of(object.GetExtendedBoundingBox(1, row.percent).MinX))
            << row.own << ", " << row.neighbour << ", " << row.percent;
    }
}

TEST(KrExtendedBox, QuirkABoxInTheWrongOrderMovesItsSidesAllTheSame)
{
    const KR_ObjectBase object = object_with({{100, 100, 200, 200}, {200, 200, 100, 100}});
    expect_box(Box(150, 150, 150, 150), object.GetExtendedBoundingBox(1, 50));
}

TEST(KrExtendedBox, QuirkASideThatIsNoNumberStaysSo)
{
    const KR_ObjectBase object = object_with({{0, 0, 300, 300}, {nan, 100, nan, 200}});
    const Box box = object.GetExtendedBoundingBox(1, 50);
    EXPECT_EQ(0x7FC00000u, bits_of(box.MinX));
    EXPECT_EQ(50.0F, box.MinY);
    EXPECT_EQ(0x7FC00000u, bits_of(box.MaxX));
    EXPECT_EQ(250.0F, box.MaxY);
}

TEST(KrExtendedBox, QuirkANeighbourThatIsNoNumberMovesNothing)
{
    const KR_ObjectBase object = object_with({{nan, 0, nan, 300}, own, {nan, nan, nan, nan}});
    expect_box(Box(100, 50, 200, 250), object.GetExtendedBoundingBox(1, 50));
}

TEST(KrExtendedBox, QuirkAPercentageThatIsNoNumberSpoilsTheSidesThatThePreviousInstanceMoves)
{
    const KR_ObjectBase object = object_with({{0, 100, 200, 200}, own, {100, 0, 200, 200}});
    const Box box = object.GetExtendedBoundingBox(1, nan);
    EXPECT_NE(box.MinX, box.MinX);
    EXPECT_EQ(100.0F, box.MinY) << "the next instance's is passed over when they are united";
    EXPECT_EQ(200.0F, box.MaxX);
    EXPECT_EQ(200.0F, box.MaxY);
}

TEST(KrExtendedBox, InfiniteBoxes)
{
    const KR_ObjectBase object = object_with({{-infinity, 100, infinity, 200}, own});
    expect_box(Box(-infinity, 100, infinity, 200), object.GetExtendedBoundingBox(1, 1));
    const KR_ObjectBase outermost = object_with({own, {-infinity, 100, infinity, 200}});
    expect_box(Box(-infinity, 100, infinity, 200), outermost.GetExtendedBoundingBox(1, 1));
}

TEST(KrExtendedBox, LastOfManyInstances)
{
    KR_ObjectBase object;
    object.Instances.resize(100'000);
    object.Instances[99'998].Box = Box(0, 0, 300, 300);
    object.Instances[99'999].Box = own;
    expect_box(Box(50, 50, 250, 250), object.GetExtendedBoundingBox(99'999, 50));
}

// Instances at the seconds 0, 1, 2..., so that a time tells which ones were chosen.
KR_ObjectBase object_of(std::size_t count)
{
    KR_ObjectBase object;
    object.Instances.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        object.Instances[i].Time = Time(static_cast<time_t>(i));
    return object;
}

std::vector<std::int64_t> chosen(const KR_ObjectBase& object, std::int64_t selected, int window)
{
    ns__QueryResultObject result;
    object.Fill(result, Time(static_cast<time_t>(selected)), 0, window, true);
    std::vector<std::int64_t> indexes;
    for (const ns__QueryResultObjectInstance& instance : result.instances)
        indexes.push_back(instance.time.seconds);
    EXPECT_EQ(static_cast<std::int32_t>(indexes.size()), result.instanceCount);
    EXPECT_EQ(indexes.size(), result.debugInstances.size());
    EXPECT_EQ(selected, result.instanceTime.seconds);
    return indexes;
}

std::vector<std::int64_t> indexes(std::int64_t start, std::int64_t end)
{
    std::vector<std::int64_t> result;
    for (std::int64_t i = start; i < end; ++i)
        result.push_back(i);
    return result;
}

TEST(KrFillWindow, IsShiftedWhereOneSideHasFewer)
{
    struct Row {
        std::size_t count;
        std::int64_t selected;
        int window;
        std::vector<std::int64_t> chosen;
    };
    const Row rows[] = {
        {10, 0, 4, {0, 1, 2, 3}},
        {10, 9, 4, {6, 7, 8, 9}},
        {10, 1, 4, {0, 1, 2, 3}},
        {10, 2, 4, {0, 1, 2, 3}},
        {10, 3, 4, {1, 2, 3, 4}},
        {10, 8, 4, {6, 7, 8, 9}},
        {10, 7, 4, {5, 6, 7, 8}},
        {3, 0, 4, {0, 1, 2}},
        {3, 1, 4, {0, 1, 2}},
        {3, 2, 4, {0, 1, 2}},
        {1, 0, 2, {0}},
        {2, 0, 2, {0, 1}},
        {2, 1, 2, {0, 1}},
        {4, 0, 4, {0, 1, 2, 3}},
        {4, 3, 4, {0, 1, 2, 3}},
        {5, 4, 2, {3, 4}},
        {10, 5, 20, indexes(0, 10)},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.chosen, chosen(object_of(row.count), row.selected, row.window))
            << row.count << ", " << row.selected << ", " << row.window;
}

TEST(KrFillWindow, QuirkAnOddWindowGivesOneInstanceFewer)
{
    const KR_ObjectBase object = object_of(20);
    EXPECT_EQ(indexes(3, 7), chosen(object, 5, 5));
    EXPECT_EQ(indexes(3, 7), chosen(object, 5, 4));
    EXPECT_EQ(indexes(4, 6), chosen(object, 5, 3));
    EXPECT_EQ(indexes(0, 0), chosen(object, 5, 1));
}

TEST(KrFillWindow, ZeroGivesNoInstances)
{
    for (const std::int64_t selected : {0, 5, 9})
        EXPECT_EQ(indexes(0, 0), chosen(object_of(10), selected, 0)) << selected;
}

TEST(KrFillWindow, BelowZeroGivesAll)
{
    for (const int window : {-1, -2, -10, int_min})
        for (const std::int64_t selected : {0, 4, 9})
            EXPECT_EQ(indexes(0, 10), chosen(object_of(10), selected, window)) << window;
}

TEST(KrFillWindow, LargestWindowAndManyInstances)
{
    EXPECT_EQ(indexes(0, 1), chosen(object_of(1), 0, int_max));
    EXPECT_EQ(indexes(0, 10), chosen(object_of(10), 9, int_max));
    const KR_ObjectBase object = object_of(100'000);
    EXPECT_EQ(indexes(0, 100'000), chosen(object, 99'999, int_max));
    EXPECT_EQ(indexes(0, 100'000), chosen(object, 50'000, int_min));
    EXPECT_EQ(indexes(99'996, 100'000), chosen(object, 99'999, 4));
    EXPECT_EQ(indexes(49'000, 51'000), chosen(object, 50'000, 2'001));
}

// The same choice seen differently: a frame of fixed width, laid as near to the selected instance
// as the list's ends allow.
TEST(KrFillWindow, AgreesWithAFrameThatSlidesAlongTheList)
{
    int rows = 0;
    for (int count = 1; count <= 12; ++count) {
        const KR_ObjectBase object = object_of(static_cast<std::size_t>(count));
        for (int selected = 0; selected < count; ++selected)
            for (int window = -2; window <= 30; ++window, ++rows) {
                const int half = window / 2;
                const int width = window < 0 ? count : std::min(2 * half, count);
                const int start = std::clamp(selected - half, 0, count - width);
                ASSERT_EQ(indexes(start, start + width), chosen(object, selected, window))
                    << count << ", " << selected << ", " << window;
            }
    }
    EXPECT_EQ(78 * 33, rows);
}

TEST(KrFill, ObjectFields)
{
    KR_ObjectBase object = object_of(1);
    object.ObjectId = 0xFEDCBA9876543210u;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = Time(1'700'000'000, 123'999);
    object.Duration = 75;
    ns__QueryResultObject result;
    object.Fill(result, Time::zero, 0, -1, false);
    EXPECT_EQ(0xFEDCBA9876543210u, result.objectId);
    EXPECT_EQ(ns__DetectorType__value_1, result.detectorType);
    EXPECT_EQ(1'700'000'000, result.startTimeSeconds);
    EXPECT_EQ(123, result.startTimeMilliseconds);
    EXPECT_EQ(1'700'000'075, result.endTimeSeconds);
    EXPECT_EQ(123, result.endTimeMilliseconds);
    EXPECT_EQ(75u, result.duration);
}

TEST(KrFill, MillisecondsAreTruncated)
{
    struct Row {
        time_t seconds;
        suseconds_t microseconds;
        std::int32_t milliseconds;
    };
    const Row rows[] = {{1, 0, 0},         {1, 999, 0},          {1, 1000, 1},
                        {1, 999'999, 999}, {-1, -999'999, -999}, {-1, -999, 0},
                        {-1, -1000, -1},   {0, -1500, -1}};
    for (const Row& row : rows) {
        KR_ObjectBase object = object_of(1);
        object.FirstSeenTime = Time(row.seconds, row.microseconds);
        object.Instances[0].Time = object.FirstSeenTime;
        ns__QueryResultObject result;
        object.Fill(result, Time::zero, 0, -1, false);
        EXPECT_EQ(row.seconds, result.startTimeSeconds) << row.microseconds;
        EXPECT_EQ(row.milliseconds, result.startTimeMilliseconds) << row.microseconds;
        EXPECT_EQ(row.milliseconds, result.endTimeMilliseconds) << row.microseconds;
        EXPECT_EQ(row.milliseconds, result.instanceTime.milliseconds) << row.microseconds;
        EXPECT_EQ(row.milliseconds, result.instances.at(0).time.milliseconds) << row.microseconds;
    }
}

TEST(KrFill, EndTimeIsReckonedIn64Bits)
{
    struct Row {
        std::int64_t start;
        std::uint32_t duration;
        std::int64_t end;
    };
    const Row rows[] = {
        {2'147'483'647, 1, 2'147'483'648},
        {0, 4'294'967'295, 4'294'967'295},
        {4'000'000'000, 4'294'967'295, 8'294'967'295},
        {-10, 4, -6},
        {-4'294'967'296, 4'294'967'295, -1},
        {std::numeric_limits<std::int64_t>::max(), 1, std::numeric_limits<std::int64_t>::min()},
    };
    for (const Row& row : rows) {
        KR_ObjectBase object = object_of(1);
        object.FirstSeenTime = Time(row.start);
        object.Duration = row.duration;
        ns__QueryResultObject result;
        object.Fill(result, Time::zero, 0, -1, false);
        EXPECT_EQ(row.end, result.endTimeSeconds) << row.start << ", " << row.duration;
        EXPECT_EQ(row.start, result.startTimeSeconds) << row.duration;
    }
}

TEST(KrFill, SelectsTheInstanceOfExactlyThisTime)
{
    KR_ObjectBase object = object_with({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    for (std::size_t i = 0; i < 3; ++i) {
        object.Instances[i].Time = Time(1000, 100'000 + static_cast<suseconds_t>(i));
        object.Instances[i].PointX = static_cast<float>(i) + 0.5F;
        object.Instances[i].PointY = static_cast<float>(i) + 0.25F;
    }
    ns__QueryResultObject result;
    object.Fill(result, Time(1000, 100'001), 0, 0, false);
    EXPECT_EQ(1000, result.instanceTime.seconds);
    EXPECT_EQ(100, result.instanceTime.milliseconds);
    EXPECT_EQ(5.0F, result.instanceBox.minX);
    EXPECT_EQ(6.0F, result.instanceBox.minY);
    EXPECT_EQ(7.0F, result.instanceBox.maxX);
    EXPECT_EQ(8.0F, result.instanceBox.maxY);
    EXPECT_EQ(1.5F, result.instancePoint.x);
    EXPECT_EQ(1.25F, result.instancePoint.y);
}

TEST(KrFill, ATimeThatMatchesNoInstanceSelectsTheFirst)
{
    KR_ObjectBase object = object_with({{1, 2, 3, 4}, {5, 6, 7, 8}});
    object.Instances[0].Time = Time(1000, 100'000);
    object.Instances[1].Time = Time(1001, 100'000);
    const Time times[] = {Time(0, 0),         Time(1000, 0),       Time(1001, 0),
                          Time(1001, 99'999), Time(1001, 100'001), Time(1002, 100'000),
                          Time(-1, 0)};
    for (const Time& time : times) {
        ns__QueryResultObject result;
        object.Fill(result, time, 0, 0, false);
        EXPECT_EQ(1000, result.instanceTime.seconds) << time.sec() << "." << time.usec();
        EXPECT_EQ(1.0F, result.instanceBox.minX) << time.sec() << "." << time.usec();
    }
}

TEST(KrFill, OfSeveralInstancesOfThisTimeSelectsTheFirst)
{
    KR_ObjectBase object = object_with({{1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}});
    object.Instances[1].Time = object.Instances[2].Time = Time(7);
    ns__QueryResultObject result;
    object.Fill(result, Time(7), 0, 0, false);
    EXPECT_EQ(2.0F, result.instanceBox.minX);
}

TEST(KrFill, ZeroWindowStillFillsTheSelectedInstance)
{
    KR_ObjectBase object = object_with({{1, 2, 3, 4}, {5, 6, 7, 8}});
    object.Instances[1].Time = Time(7);
    ns__QueryResultObject result;
    object.Fill(result, Time(7), 0, 0, true);
    EXPECT_EQ(7, result.instanceTime.seconds);
    EXPECT_EQ(5.0F, result.instanceBox.minX);
    EXPECT_EQ(0, result.instanceCount);
    EXPECT_TRUE(result.instances.empty());
    EXPECT_TRUE(result.debugInstances.empty());
}

TEST(KrFill, InstancesHaveTimeExtendedBoxAndPoint)
{
    KR_ObjectBase object = object_with({{0, 0, 150, 150}, own, {120, 120, 300, 400}});
    for (std::size_t i = 0; i < 3; ++i) {
        object.Instances[i].Time = Time(static_cast<time_t>(100 + i), 250'999);
        object.Instances[i].PointX = static_cast<float>(i) + 0.5F;
        object.Instances[i].PointY = -static_cast<float>(i);
    }
    ns__QueryResultObject result;
    object.Fill(result, Time(101, 250'999), 50, -1, false);

    const float boxes[][4] = {{0, 0, 175, 175}, {50, 50, 250, 300}, {110, 110, 300, 400}};
    ASSERT_EQ(3u, result.instances.size());
    EXPECT_EQ(3, result.instanceCount);
    for (std::size_t i = 0; i < 3; ++i) {
        const ns__QueryResultObjectInstance& instance = result.instances[i];
        EXPECT_EQ(static_cast<std::int64_t>(100 + i), instance.time.seconds);
        EXPECT_EQ(250, instance.time.milliseconds);
        EXPECT_EQ(boxes[i][0], instance.box.minX) << i;
        EXPECT_EQ(boxes[i][1], instance.box.minY) << i;
        EXPECT_EQ(boxes[i][2], instance.box.maxX) << i;
        EXPECT_EQ(boxes[i][3], instance.box.maxY) << i;
        EXPECT_EQ(static_cast<float>(i) + 0.5F, instance.point.x);
        EXPECT_EQ(-static_cast<float>(i), instance.point.y);
    }
    EXPECT_EQ(50.0F, result.instanceBox.minX);
    EXPECT_EQ(50.0F, result.instanceBox.minY);
    EXPECT_EQ(250.0F, result.instanceBox.maxX);
    EXPECT_EQ(300.0F, result.instanceBox.maxY);
    EXPECT_TRUE(result.debugInstances.empty());
}

TEST(KrFill, BoxesExtendTowardNeighboursOutsideTheWindow)
{
    const KR_ObjectBase object = [] {
        KR_ObjectBase made = object_with({{0, 0, 300, 300}, own, own, {0, 0, 400, 400}});
        made.Instances[1].Time = Time(1);
        made.Instances[2].Time = Time(2);
        return made;
    }();
    ns__QueryResultObject result;
    object.Fill(result, Time(2), 100, 2, false);
    ASSERT_EQ(2u, result.instances.size());
    EXPECT_EQ(300.0F, result.instances[0].box.maxX);
    EXPECT_EQ(400.0F, result.instances[1].box.maxX);
}

TEST(KrFill, DebugInstancesReportFourNumbersColorsAndClasses)
{
    KR_ObjectBase object = object_of(1);
    Instance& instance = object.Instances[0];
    instance.Float1 = 1.0F;
    instance.Float2 = 2.0F;
    for (int i = 0; i < 4; ++i)
        instance.Group[i] = 10.0F + static_cast<float>(i);
    instance.PersonValue = 0.5F;
    instance.VehicleValue = -1.0F;
    instance.ObjectValue = 3.0F;
    instance.UnknownValue = 0.0F;
    instance.Colors.resize(2);
    instance.Colors[0].color.red = 255;
    instance.Colors[0].code = -3;
    instance.Colors[0].area = 37.9F;
    instance.Colors[1].color.blue = 7;

    ns__QueryResultObject result;
    object.Fill(result, Time::zero, 0, -1, true);
    ASSERT_EQ(1u, result.debugInstances.size());
    const ns__QueryResultObjectInstanceDebug& debug = result.debugInstances[0];
    EXPECT_EQ(12.0F, debug.float1);
    EXPECT_EQ(11.0F, debug.float2);
    EXPECT_EQ(2.0F, debug.float3);
    EXPECT_EQ(10.0F, debug.float4);
    ASSERT_EQ(2u, debug.colors.size());
    EXPECT_EQ(255, debug.colors[0].color.red);
    EXPECT_EQ(-3, debug.colors[0].code);
    EXPECT_EQ(37.9F, debug.colors[0].area);
    EXPECT_EQ(7, debug.colors[1].color.blue);
    EXPECT_EQ("object person ", debug.classNames);
    EXPECT_EQ(0.5F, debug.personValue);
    EXPECT_EQ(-1.0F, debug.vehicleValue);
    EXPECT_EQ(3.0F, debug.objectValue);
    EXPECT_EQ(0.0F, debug.unknownValue);
}

TEST(KrFill, ClassNamesStandInFixedOrderEachWithABlank)
{
    struct Row {
        float person, vehicle, object, unknown;
        const char* names;
    };
    const Row rows[] = {
        {0, 0, 0, 0, ""},
        {1, 0, 0, 0, "person "},
        {0, 1, 0, 0, "vehicle "},
        {0, 0, 1, 0, "object "},
        {0, 0, 0, 1, "unknown "},
        {1, 1, 0, 0, "person vehicle "},
        {1, 0, 1, 0, "object person "},
        {1, 0, 0, 1, "person unknown "},
        {0, 1, 1, 0, "object vehicle "},
        {0, 1, 0, 1, "vehicle unknown "},
        {0, 0, 1, 1, "object unknown "},
        {1, 1, 1, 0, "object person vehicle "},
        {1, 1, 0, 1, "person vehicle unknown "},
        {1, 0, 1, 1, "object person unknown "},
        {0, 1, 1, 1, "object vehicle unknown "},
        {1, 1, 1, 1, "object person vehicle unknown "},
        {-1, -1, -1, -1, ""},
        {-0.0F, 1e-45F, infinity, nan, "object vehicle "},
    };
    for (const Row& row : rows) {
        KR_ObjectBase object = object_of(1);
        object.Instances[0].PersonValue = row.person;
        object.Instances[0].VehicleValue = row.vehicle;
        object.Instances[0].ObjectValue = row.object;
        object.Instances[0].UnknownValue = row.unknown;
        ns__QueryResultObject result;
        object.Fill(result, Time::zero, 0, -1, true);
        EXPECT_EQ(row.names, result.debugInstances.at(0).classNames);
    }
}

TEST(KrFill, FillingAgainAppendsToTheListsAndReplacesTheRest)
{
    KR_ObjectBase first = object_of(3);
    first.ObjectId = 1;
    KR_ObjectBase second = object_of(2);
    second.ObjectId = 2;
    ns__QueryResultObject result;
    first.Fill(result, Time::zero, 0, -1, true);
    second.Fill(result, Time(1), 0, -1, true);
    ASSERT_EQ(5u, result.instances.size());
    EXPECT_EQ(5u, result.debugInstances.size());
    EXPECT_EQ(2, result.instances[2].time.seconds);
    EXPECT_EQ(0, result.instances[3].time.seconds);
    EXPECT_EQ(2u, result.objectId);
    EXPECT_EQ(2, result.instanceCount) << "of the last call";
    EXPECT_EQ(1, result.instanceTime.seconds);

    second.Fill(result, Time(1), 0, -1, false);
    EXPECT_EQ(7u, result.instances.size());
    EXPECT_EQ(5u, result.debugInstances.size());
}

TEST(KrFill, WithoutInstancesReportsNoneAndLeavesTheSelectedOne)
{
    KR_ObjectBase object;
    object.ObjectId = 12;
    ns__QueryResultObject result;
    result.instanceCount = 9;
    result.instanceTime.seconds = 5;
    result.instanceBox.minX = 6.0F;
    result.instancePoint.x = 7.0F;
    for (const int window : {-1, 0, 4}) {
        object.Fill(result, Time::zero, 50, window, true);
        EXPECT_EQ(12u, result.objectId);
        EXPECT_EQ(0, result.instanceCount);
        EXPECT_EQ(5, result.instanceTime.seconds);
        EXPECT_EQ(6.0F, result.instanceBox.minX);
        EXPECT_EQ(7.0F, result.instancePoint.x);
        EXPECT_TRUE(result.instances.empty());
        EXPECT_TRUE(result.debugInstances.empty());
    }
}

} // namespace
