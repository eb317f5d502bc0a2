#include <KRCommon/frame/Log_Clock.h>

#include <ace/ACE.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/Time_Value.h>

#include <gtest/gtest.h>

#include <string>

namespace {

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
    for (std::int64_t second = 0; second < 180; ++second) {
        const std::int64_t instant = (present / 1'000'000 + second) * 1'000'000 + second;
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

} // namespace
