#include <KRCommon/platform/Watchdog.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using kr_platform::end_process_after;

void wait_for_ever()
{
    for (;;)
        std::this_thread::sleep_for(std::chrono::seconds(1));
}

TEST(WatchdogDeathTest, TheProcessEndsThoughItsThreadsWait)
{
    EXPECT_EXIT(
        {
            static_cast<void>(end_process_after(50, 7));
            wait_for_ever();
        },
        testing::ExitedWithCode(7), "");
}

TEST(WatchdogDeathTest, ItEndsWhenTheTimeIsOverAndNotBefore)
{
    EXPECT_EXIT(
        {
            if (!end_process_after(300, 7))
                kr_platform::end_process(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            kr_platform::end_process(8); // reached
        },
        testing::ExitedWithCode(8), "");
    const std::int64_t start = kr_platform::steady_milliseconds();
    EXPECT_EXIT(
        {
            static_cast<void>(end_process_after(300, 7));
            wait_for_ever();
        },
        testing::ExitedWithCode(7), "");
    EXPECT_GE(kr_platform::steady_milliseconds() - start, 300);
}

TEST(WatchdogDeathTest, OfSeveralCallsTheFirstOneCounts)
{
    EXPECT_EXIT(
        {
            const bool is_certain = end_process_after(50, 7);
            if (is_certain != end_process_after(1'000'000, 8))
                kr_platform::end_process(1);
            wait_for_ever();
        },
        testing::ExitedWithCode(7), "");
}

TEST(WatchdogDeathTest, TheLastErrorStays)
{
    EXPECT_EXIT(
        {
            kr_platform_testing::set_last_errors(0, 0);
            static_cast<void>(end_process_after(10'000, 7));
            if (kr_platform::last_error() != 0)
                kr_platform::end_process(1);
            kr_platform_testing::set_last_errors(5, 6);
            static_cast<void>(end_process_after(10'000, 7));
            kr_platform::end_process(kr_platform::last_error());
        },
        testing::ExitedWithCode(5), "");
}

TEST(Watchdog, OtherThreadsAreNone)
{
    EXPECT_FALSE(kr_platform::is_watchdog());
}

} // namespace
