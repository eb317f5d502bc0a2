#include <KRCommon/platform/Lock.h>

#include <KRCommon/platform/Lock_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Sanitizers.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace kr_platform;

constexpr std::int64_t minute = 60'000'000;

TEST(PlatformClock, MicrosecondsAndMillisecondsAreOfOneClock)
{
    const std::int64_t before = steady_milliseconds();
    const std::int64_t now = steady_microseconds() / 1000;
    EXPECT_GE(now, before);
    EXPECT_LE(now, steady_milliseconds());
}

TEST(PlatformClock, MicrosecondsMeasure)
{
    const std::int64_t start = steady_microseconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::int64_t passed = steady_microseconds() - start;
    EXPECT_GE(passed, 48'000);
    EXPECT_LT(passed, minute);
}

TEST(PlatformClock, CoarseMillisecondsMeasureInTheirSteps)
{
    const std::int64_t start = coarse_steady_milliseconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::int64_t passed = coarse_steady_milliseconds() - start;
    EXPECT_GE(passed, 80);
    EXPECT_LT(passed, minute / 1000);
}

TEST(PlatformShortLock, KeepsThreadsApart)
{
    constexpr int rounds = 20'000;
    Short_Lock lock;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const std::lock_guard<Short_Lock> hold(lock);
                ++counter;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(8 * rounds, counter);
}

TEST(PlatformShortLock, WakesAllWhoSleptWhileItWasHeld)
{
    Short_Lock lock;
    std::atomic<int> count{0};
    std::vector<std::thread> threads;
    {
        const std::lock_guard<Short_Lock> hold(lock);
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                const std::lock_guard<Short_Lock> own_hold(lock);
                ++count;
            });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(0, count);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(4, count);
}

class PlatformSeat : public testing::Test {
protected:
    bool can_be_taken_elsewhere()
    {
        return std::async(std::launch::async,
                          [this] {
                              const bool is_taken = seat_->take();
                              if (is_taken)
                                  seat_->leave();
                              return is_taken;
                          })
            .get();
    }

    const std::unique_ptr<Seat> seat_{Seat::make()};
};

TEST_F(PlatformSeat, IsOneThreadsUntilThatLeavesIt)
{
    EXPECT_TRUE(can_be_taken_elsewhere());
    EXPECT_TRUE(seat_->take());
    EXPECT_FALSE(can_be_taken_elsewhere());
    seat_->leave();
    EXPECT_TRUE(can_be_taken_elsewhere());
}

TEST_F(PlatformSeat, IsFreeAfterItsThreadHasEnded)
{
    for (int i = 0; i < 3; ++i)
        std::thread([&] { EXPECT_TRUE(seat_->take()); }).join();
    EXPECT_TRUE(seat_->take());
    EXPECT_FALSE(can_be_taken_elsewhere());
    seat_->leave();
}

TEST_F(PlatformSeat, IsFreeAfterItsThreadWasKilled)
{
    if (!may_kill_threads)
        GTEST_SKIP() << "the sanitizer stumbles over a thread that ends unseen";
    std::promise<void> has_taken;
    kr_platform_testing::Mortal_Thread thread([&] {
        EXPECT_TRUE(seat_->take());
        has_taken.set_value();
        seat_->sleep_for(minute);
    });
    has_taken.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(can_be_taken_elsewhere());
    thread.kill();
    EXPECT_TRUE(can_be_taken_elsewhere());
}

TEST_F(PlatformSeat, SleepsForItsTime)
{
    for (const std::int64_t microseconds : {1'000, 50'000, 1'100'000}) {
        const std::int64_t start = steady_microseconds();
        while (steady_microseconds() - start < microseconds - 1'000)
            seat_->sleep_for(microseconds); // may end early
        EXPECT_LT(steady_microseconds() - start, minute);
    }
}

TEST_F(PlatformSeat, DoesNotSleepForNoTime)
{
    const std::int64_t start = steady_microseconds();
    for (const std::int64_t microseconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN / 2})
        seat_->sleep_for(microseconds);
    EXPECT_LT(steady_microseconds() - start, minute / 2);
}

TEST_F(PlatformSeat, IsWoken)
{
    const std::int64_t start = steady_microseconds();
    std::atomic<bool> is_over{false};
    std::thread sleeper([&] {
        while (!is_over)
            seat_->sleep_for(minute);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    is_over = true;
    seat_->wake();
    sleeper.join();
    EXPECT_LT(steady_microseconds() - start, minute / 2);
}

TEST_F(PlatformSeat, AWakeThatComesBeforeTheSleepIsNotLost)
{
    const std::int64_t start = steady_microseconds();
    seat_->wake();
    seat_->sleep_for(minute);
    EXPECT_LT(steady_microseconds() - start, minute / 2);
}

TEST_F(PlatformSeat, AWakeCountsOnce)
{
    seat_->wake();
    seat_->wake();
    seat_->sleep_for(minute);
    const std::int64_t start = steady_microseconds();
    seat_->sleep_for(300'000);
    EXPECT_GE(steady_microseconds() - start, 200'000);
}

TEST_F(PlatformSeat, ForgottenInAForkItIsFreeThere)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    EXPECT_TRUE(seat_->take());
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] {
                  seat_->forget();
                  return seat_->take() ? 0 : 1;
              }));
    EXPECT_FALSE(can_be_taken_elsewhere());
    seat_->leave();
}

TEST(PlatformFork, CallsBackInTheChildAlone)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    static int calls = 0;
    call_after_fork([] { ++calls; });
    EXPECT_EQ(1, kr_platform_testing::run_in_fork([] { return calls; }));
    EXPECT_EQ(0, calls);
}

} // namespace
