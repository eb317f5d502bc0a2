#include <KRCommon/platform/Watchdog.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using kr_platform::end_process_after;
using kr_platform::Stand_In;

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

// What a stand-in's function tells of itself.
struct Calls {
    std::atomic<int> begun{0};
    std::atomic<int> over{0};
    std::atomic<unsigned> thread{0};
    int milliseconds = 0;

    static void call(void* argument)
    {
        auto& calls = *static_cast<Calls*>(argument);
        ++calls.begun;
        calls.thread = kr_platform::thread_id();
        std::this_thread::sleep_for(std::chrono::milliseconds(calls.milliseconds));
        ++calls.over;
    }

    void wait_for(int count) const
    {
        while (begun < count)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
};

TEST(Stand_In, ItsThreadCallsTheFunctionAgainAndAgain)
{
    Calls calls;
    const std::int64_t start = kr_platform::steady_milliseconds();
    {
        const Stand_In stand_in(40, &Calls::call, &calls);
        EXPECT_TRUE(stand_in.is_ready());
        calls.wait_for(3);
    }
    EXPECT_GE(kr_platform::steady_milliseconds() - start, 3 * 40 - 3 * 16) << "3 clock steps less";
    EXPECT_NE(kr_platform::thread_id(), calls.thread);
    const int count = calls.begun;
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(count, calls.begun) << "the object is gone";
}

TEST(Stand_In, WhoIsBackInTimeDoesNotWait)
{
    Calls calls;
    const std::int64_t start = kr_platform::steady_milliseconds();
    for (int i = 0; i < 50; ++i)
        const Stand_In stand_in(1'000'000, &Calls::call, &calls);
    EXPECT_LT(kr_platform::steady_milliseconds() - start, 60'000);
    EXPECT_EQ(0, calls.begun);
}

TEST(Stand_In, ACallThatIsUnderWayIsWaitedFor)
{
    Calls calls;
    calls.milliseconds = 1'500; // longer than a thread's start is waited for
    {
        const Stand_In stand_in(1, &Calls::call, &calls);
        calls.wait_for(1);
    }
    EXPECT_EQ(calls.begun, calls.over);
}

TEST(Stand_In, SeveralAtATimeHaveAThreadEach)
{
    Calls slow;
    Calls other;
    slow.milliseconds = 300;
    const Stand_In first(1, &Calls::call, &slow);
    slow.wait_for(1);
    const Stand_In second(1, &Calls::call, &other);
    other.wait_for(1);
    EXPECT_NE(slow.thread, other.thread);
}

TEST(Stand_In, TheLastErrorStays)
{
    kr_platform_testing::set_last_errors(5, 6);
    {
        const Stand_In stand_in(
            1'000'000, [](void*) {}, nullptr);
        EXPECT_EQ(5, kr_platform::last_error());
        kr_platform_testing::set_last_errors(7, 8);
    }
    EXPECT_EQ(7, kr_platform::last_error());
}

TEST(Stand_In, NothingIsLeftOpen)
{
    const auto use = [] {
        const Stand_In stand_in(
            1'000'000, [](void*) {}, nullptr);
    };
    use();
    const unsigned before = kr_platform_testing::open_handle_count();
    for (int i = 0; i < 20; ++i)
        use();
    EXPECT_LE(kr_platform_testing::open_handle_count(), before);
}

TEST(Watchdog, OtherThreadsAreNone)
{
    EXPECT_FALSE(kr_platform::is_watchdog());
}

} // namespace
