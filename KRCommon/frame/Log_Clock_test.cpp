#include <KRCommon/frame/Log_Clock.h>

#include <KRCommon/platform/Platform_testing.h>

#include <ace/ACE.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/Time_Value.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_platform_testing::Time_Zone;

constexpr std::int64_t second = 1'000'000; // in microseconds
constexpr std::int64_t hour = 3'600 * second;
constexpr std::int64_t day = 24 * hour;
constexpr std::int64_t begin_of_2014 = 1'388'534'400 * second; // UTC

std::string stamp(std::int64_t microseconds)
{
    return kr_internal::local_stamp(microseconds).data();
}

// What ACE prints for "%T".
std::string stamp_by_ace(std::int64_t microseconds)
{
    char text[27];
    return ACE::timestamp(ACE_Time_Value(static_cast<time_t>(microseconds / 1'000'000),
                                         static_cast<suseconds_t>(microseconds % 1'000'000)),
                          text, sizeof text, true);
}

TEST(LogClock, AStampIsWhatAcePrints)
{
    const std::int64_t present = ACE_OS::gettimeofday().sec() * std::int64_t{1'000'000} + 5;
    // In every step of the first loop the minute, in many the hour and the day are others.
    for (std::int64_t i = 0; i < 3'000; ++i) {
        const std::int64_t instant = present + i * 60'999'983 * 7;
        EXPECT_EQ(stamp_by_ace(instant), stamp(instant)) << instant;
    }
    for (std::int64_t i = 0; i < 180; ++i) {
        const std::int64_t instant = (present / second + i) * second + i;
        EXPECT_EQ(stamp_by_ace(instant), stamp(instant)) << instant;
    }
    for (const std::int64_t instant :
         {1'000'000'019'999'999, 1'000'000'020'000'000, 1'000'000'020'000'001})
        EXPECT_EQ(stamp_by_ace(instant), stamp(instant)) << instant; // around a minute's begin
}

TEST(LogClock, TimeMayStepBack)
{
    const std::int64_t instant = 1'400'000'000'000'000;
    const std::string before = stamp(instant);
    stamp(instant + 3'600'000'000);
    EXPECT_EQ(before, stamp(instant));
}

TEST(LogClock, AnInstantThatTheSystemDoesNotConvertHasNone)
{
    EXPECT_EQ("", stamp(-1));
    EXPECT_EQ("", stamp(32'535'216'000LL * 1'000'000));
    EXPECT_EQ("", stamp(std::int64_t{1} << 62));
    EXPECT_EQ(15u, stamp(32'535'215'000LL * 1'000'000).size());
}

// East and west of Greenwich, with changes in both halves of the year, by half an hour and at midnight.
const char* const zones[] = {"UTC0",
                             "CET-1CEST,M3.5.0,M10.5.0/3",
                             "EST5EDT,M3.2.0,M11.1.0",
                             "NZST-12NZDT,M9.5.0,M4.1.0/3",
                             "LHST-10:30LHDT-11,M10.1.0,M4.1.0",
                             "IST-5:30",
                             "NST3:30NDT,M3.2.0/0:01,M11.1.0/0:01",
                             "AST4ADT,M10.2.0/0,M3.2.0/0",
                             "AAA12",
                             "BBB-14",
                             "CET-1CEST",
                             "PST8PDT"};

void expect_as_ace(std::int64_t instant)
{
    ASSERT_EQ(stamp_by_ace(instant), stamp(instant)) << instant;
}

TEST(LogClock, EveryHourOfAYearIsAcesInEveryTimeZone)
{
    for (const char* const name : zones) {
        SCOPED_TRACE(name);
        const Time_Zone zone(name);
        for (std::int64_t at = begin_of_2014; at < begin_of_2014 + 365 * day; at += hour) {
            expect_as_ace(at - 1);
            expect_as_ace(at);
        }
    }
}

TEST(LogClock, EverySecondAroundMidnightIsAces)
{
    for (const char* const name : zones) {
        SCOPED_TRACE(name);
        const Time_Zone zone(name);
        std::int64_t midnight = begin_of_2014 - 15 * hour;
        while (stamp(midnight) != "00:00:00.000000")
            midnight += hour / 2;
        EXPECT_EQ("23:59:59.999999", stamp(midnight - 1));
        for (std::int64_t at = midnight - 90 * second; at < midnight + 90 * second; at += second)
            expect_as_ace(at);
    }
}

TEST(LogClock, TheHourThatIsLeftOutIsLeftOut)
{
    if (!Time_Zone::has_rules())
        GTEST_SKIP() << "a zone does not say here when it changes";
    const Time_Zone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::int64_t change = 1'396'141'200 * second; // 2014-03-30, 01:00 UTC
    EXPECT_EQ("01:59:59.999999", stamp(change - 1));
    EXPECT_EQ("03:00:00.000000", stamp(change));
    EXPECT_EQ("01:59:59.999999", stamp(change - 1)) << "the clock was set back";
    for (std::int64_t at = change - 90 * second; at < change + 90 * second; at += second)
        expect_as_ace(at);
}

TEST(LogClock, TheHourThatComesTwiceComesTwice)
{
    if (!Time_Zone::has_rules())
        GTEST_SKIP() << "a zone does not say here when it changes";
    const Time_Zone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::int64_t change = 1'414'285'200 * second; // 2014-10-26, 01:00 UTC
    EXPECT_EQ("02:00:00.000000", stamp(change - hour));
    EXPECT_EQ("02:59:59.999999", stamp(change - 1));
    EXPECT_EQ("02:00:00.000000", stamp(change));
    EXPECT_EQ("02:59:59.999999", stamp(change + hour - 1));
    EXPECT_EQ("03:00:00.000000", stamp(change + hour));
    for (std::int64_t at = change - 90 * second; at < change + 90 * second; at += second)
        expect_as_ace(at);
}

TEST(LogClock, ATimeZoneThatIsSetShowsAtOnce)
{
    const std::int64_t noon = begin_of_2014 + 12 * hour;
    Time_Zone zone("UTC0");
    EXPECT_EQ("12:00:00.000000", stamp(noon));
    zone.set("XXX-2");
    EXPECT_EQ("14:00:00.000000", stamp(noon));
    zone.set("YYY5:30");
    EXPECT_EQ("06:30:00.000000", stamp(noon));
    for (int i = 0; i < 100; ++i) {
        zone.set("ZZZ-" + std::to_string(i % 12));
        expect_as_ace(noon);
        expect_as_ace(noon + second);
    }
    if (Time_Zone::has_rules()) { // the other half of the year
        zone.set("AAA0BBB,M3.5.0,M10.5.0");
        stamp(noon);
        zone.set("AAA0CCC,M10.5.0,M3.5.0");
        EXPECT_EQ("13:00:00.000000", stamp(noon));
    }
}

TEST(LogClock, StepsOfTheClockAreFollowed)
{
    const Time_Zone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::int64_t start = begin_of_2014 + 12'345'678'901;
    for (const std::int64_t step :
         {second, 59 * second, 60 * second, 61 * second, hour, day, 90 * day, 20 * 365 * day})
        for (int i = 0; i < 20; ++i) {
            expect_as_ace(start);
            expect_as_ace(start + step);
            expect_as_ace(start - step);
        }
}

TEST(LogClock, ThreadsOfDifferentMinutesGetTheirOwn)
{
    const Time_Zone zone("UTC0");
    std::atomic<int> mistakes{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([i, &mistakes] {
            const std::int64_t minute = begin_of_2014 + i * 61 * 60 * second;
            const std::string expected =
                "0" + std::to_string(i) + ":0" + std::to_string(i) + ":00.000000";
            for (int n = 0; n < 5'000; ++n)
                mistakes += stamp(minute) == expected ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, mistakes);
}

} // namespace
