#include <KRCommon/frame/Mutex_Lock.h>

#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Lock_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Sanitizers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace kr_internal;
using kr_platform::steady_microseconds;
using kr_platform::steady_milliseconds;
using kr_platform_testing::Mortal_Thread;

constexpr std::int64_t long_time = 60'000; // milliseconds that no test waits for

int acquire(Process_Lock& lock, std::int64_t milliseconds = long_time)
{
    return acquire_for(lock, milliseconds, steady_microseconds());
}

// 0 or the error. A lock that is had is given back.
int attempt(Process_Lock& lock, std::int64_t milliseconds)
{
    if (acquire(lock, milliseconds) != 0)
        return errno;
    EXPECT_TRUE(is_own(lock));
    release(lock);
    return 0;
}

template <typename Function>
auto on_another_thread(Function function)
{
    return std::async(std::launch::async, function).get();
}

int try_elsewhere(Process_Lock& lock)
{
    return on_another_thread([&] { return attempt(lock, 0); });
}

void wait_until_queued(const Process_Lock& lock)
{
    while ((lock.word.load() & is_queued) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class MutexLock : public testing::Test {
protected:
    Process_Lock lock_;
};

TEST_F(MutexLock, IsExclusiveAndKnowsItsThread)
{
    EXPECT_FALSE(is_own(lock_));
    EXPECT_EQ(Attempt::taken, try_acquire(lock_));
    EXPECT_TRUE(is_own(lock_));
    EXPECT_EQ(Attempt::own, try_acquire(lock_));
    EXPECT_EQ(Attempt::busy, on_another_thread([&] { return try_acquire(lock_); }));
    EXPECT_FALSE(on_another_thread([&] { return is_own(lock_); }));
    EXPECT_EQ(ETIME, try_elsewhere(lock_));
    release(lock_);
    EXPECT_FALSE(is_own(lock_));
    EXPECT_EQ(0, try_elsewhere(lock_));
    EXPECT_EQ(0u, lock_.word) << "a free lock that nobody waits for is one that was never used";
}

TEST_F(MutexLock, WaitsAsLongAsItIsTold)
{
    EXPECT_EQ(0, acquire(lock_));
    for (const std::int64_t milliseconds : {1, 50, 1100}) {
        const std::int64_t start = steady_milliseconds();
        EXPECT_EQ(ETIME, on_another_thread([&] { return attempt(lock_, milliseconds); }));
        EXPECT_GE(steady_milliseconds() - start, milliseconds - 1);
        EXPECT_TRUE(is_own(lock_));
    }
    release(lock_);
    EXPECT_EQ(0u, lock_.word) << "those whose time was over have left the queue";
}

TEST_F(MutexLock, AWaitWhoseTimeIsOverAlreadyDoesNotWait)
{
    for (const std::int64_t milliseconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        EXPECT_EQ(0, on_another_thread([&] { return attempt(lock_, milliseconds); })) << "free";
    EXPECT_EQ(0, acquire(lock_));
    const std::int64_t start = steady_milliseconds();
    for (const std::int64_t milliseconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        EXPECT_EQ(ETIME, on_another_thread([&] { return attempt(lock_, milliseconds); }));
    EXPECT_LT(steady_milliseconds() - start, 10'000);
    release(lock_);
}

TEST_F(MutexLock, AWaitOfAnyLengthIsPossible)
{
    EXPECT_EQ(0, acquire(lock_));
    std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, INT64_MAX)); });
    wait_until_queued(lock_);
    release(lock_);
    waiter.join();
}

TEST_F(MutexLock, AWaiterGetsItAsSoonAsItIsReleased)
{
    for (const int milliseconds : {0, 1, 50}) {
        EXPECT_EQ(0, acquire(lock_));
        const std::int64_t start = steady_milliseconds();
        std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, long_time)); });
        wait_until_queued(lock_);
        pause(milliseconds);
        release(lock_);
        waiter.join();
        EXPECT_LT(steady_milliseconds() - start, long_time / 2);
        EXPECT_EQ(0u, lock_.word);
    }
}

TEST_F(MutexLock, IsHandedOverToOneWhoHasWaited)
{
    EXPECT_EQ(0, acquire(lock_));
    std::promise<void> may_go;
    std::thread waiter([&] {
        EXPECT_EQ(0, acquire(lock_));
        may_go.get_future().wait();
        release(lock_);
    });
    wait_until_queued(lock_);
    pause(20);
    release(lock_);
    EXPECT_EQ(Attempt::busy, try_acquire(lock_)) << "whoever releases it does not get it again";
    EXPECT_NE(0u, holder(lock_.word));
    may_go.set_value();
    waiter.join();
    EXPECT_EQ(0u, lock_.word);
}

// A waiter that came back has the arrival of its first time. Here each thread arrives before the
// ones that are in the queue already.
TEST_F(MutexLock, IsHandedOverInOrderOfArrival)
{
    constexpr int threads = 8;
    EXPECT_EQ(0, acquire(lock_));
    const std::int64_t start = steady_microseconds() - 1'000'000;
    std::vector<int> order;
    std::vector<std::thread> waiters;
    for (int i = threads - 1; i >= 0; --i) {
        waiters.emplace_back([&, i] {
            EXPECT_EQ(0, acquire_for(lock_, long_time, start + i));
            order.push_back(i);
            release(lock_);
        });
        pause(5);
    }
    pause(300); // until all are in the queue
    release(lock_);
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    EXPECT_EQ(0u, lock_.word);
}

TEST_F(MutexLock, OneWhoseTimeIsOverIsNotHandedTheLock)
{
    EXPECT_EQ(0, acquire(lock_));
    std::thread patient([&] {
        pause(20);
        EXPECT_EQ(0, attempt(lock_, long_time));
    });
    EXPECT_EQ(ETIME, on_another_thread([&] { return attempt(lock_, 100); }));
    wait_until_queued(lock_);
    release(lock_);
    patient.join();
    EXPECT_EQ(0u, lock_.word);
}

TEST_F(MutexLock, KeepsThreadsApart)
{
    constexpr int rounds = 50'000;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                if (try_acquire(lock_) != Attempt::taken) {
                    EXPECT_EQ(0, acquire(lock_));
                }
                ++counter;
                release(lock_);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(8 * rounds, counter);
    EXPECT_EQ(0u, lock_.word);
}

// Short waits whose time runs out while the lock is being handed over, over many locks that share
// queues.
TEST_F(MutexLock, KeepsThreadsApartWhenTimesRunOut)
{
    std::array<Process_Lock, 200> locks;
    std::array<int, 200> counters{};
    std::atomic<int> had{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (std::size_t round = 0; round < 600; ++round) {
                const std::size_t which = round * (i + 1) % 3 == 0 ? 0 : round % locks.size();
                if (acquire(locks[which], static_cast<std::int64_t>(round % 4)) != 0)
                    continue;
                ++counters[which];
                if (round % 16 == i)
                    pause(2);
                release(locks[which]);
                ++had;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    int counted = 0;
    for (const int counter : counters)
        counted += counter;
    EXPECT_EQ(had, counted);
    for (const Process_Lock& lock : locks)
        EXPECT_EQ(0u, lock.word);
}

TEST_F(MutexLock, PassesOnWhenItsThreadHasEnded)
{
    std::thread([&] { EXPECT_EQ(0, acquire(lock_)); }).join();
    EXPECT_EQ(Attempt::busy, try_acquire(lock_));
    EXPECT_EQ(0, acquire(lock_, 0)) << "not even a wait";
    EXPECT_EQ(ETIME, try_elsewhere(lock_));
    release(lock_);
    EXPECT_EQ(0, try_elsewhere(lock_));
}

TEST_F(MutexLock, PassesOnWhenASystemThreadHasEnded)
{
    kr_platform_testing::run_on_system_thread([&] { EXPECT_EQ(0, acquire(lock_)); });
    EXPECT_EQ(0, attempt(lock_, 0));
}

TEST_F(MutexLock, IsNotTakenForALaterThreadsOwn)
{
    std::thread([&] { EXPECT_EQ(0, acquire(lock_)); }).join();
    for (int i = 0; i < 300; ++i)
        std::thread([&] {
            Process_Lock other;
            EXPECT_EQ(Attempt::taken, try_acquire(other));
            release(other);
            EXPECT_NE(Attempt::own, try_acquire(lock_));
        }).join();
    EXPECT_EQ(0, attempt(lock_, 0));
}

TEST_F(MutexLock, PassesToAWaiterWhenItsThreadEnds)
{
    std::thread thread([&] {
        EXPECT_EQ(0, acquire(lock_));
        wait_until_queued(lock_);
    });
    while (holder(lock_.word) == 0)
        pause(1);
    EXPECT_EQ(0, on_another_thread([&] { return attempt(lock_, long_time); }));
    thread.join();
}

TEST_F(MutexLock, PassesToAWaiterWhenItsThreadIsKilled)
{
    if (!may_kill_threads)
        GTEST_SKIP() << "the sanitizer stumbles over a thread that ends unseen";
    Mortal_Thread victim([&] {
        EXPECT_EQ(0, acquire(lock_));
        pause(static_cast<int>(long_time));
    });
    while (holder(lock_.word) == 0)
        pause(1);
    std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, long_time)); });
    wait_until_queued(lock_);
    pause(50);
    victim.kill();
    waiter.join();
    EXPECT_EQ(0u, lock_.word);
}

TEST_F(MutexLock, AWaiterThatIsKilledIsPassedOver)
{
    if (!may_kill_threads)
        GTEST_SKIP() << "the sanitizer stumbles over a thread that ends unseen";
    EXPECT_EQ(0, acquire(lock_));
    Mortal_Thread victim([&] { static_cast<void>(acquire(lock_)); });
    wait_until_queued(lock_);
    pause(50);
    std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, long_time)); });
    pause(50);
    victim.kill();
    const std::int64_t start = steady_milliseconds();
    release(lock_);
    waiter.join();
    EXPECT_LT(steady_milliseconds() - start, long_time / 2);
    EXPECT_EQ(0, try_elsewhere(lock_));
    EXPECT_EQ(0u, lock_.word);
}

TEST_F(MutexLock, ALockHandedToAWaiterThatWasKilledIsHadByTheNext)
{
    if (!may_kill_threads)
        GTEST_SKIP() << "the sanitizer stumbles over a thread that ends unseen";
    EXPECT_EQ(0, acquire(lock_));
    Mortal_Thread victim([&] { static_cast<void>(acquire(lock_)); });
    wait_until_queued(lock_);
    pause(50);
    victim.kill();
    release(lock_);
    EXPECT_EQ(0, attempt(lock_, 0));
    EXPECT_EQ(0u, lock_.word);
}

TEST_F(MutexLock, ALockMayBeDestroyedByWhoeverGetsIt)
{
    for (int i = 0; i < 200; ++i) {
        auto lock = std::make_unique<Process_Lock>();
        EXPECT_EQ(0, acquire(*lock));
        std::thread heir([&] {
            EXPECT_EQ(0, acquire(*lock));
            release(*lock);
            lock = nullptr;
        });
        wait_until_queued(*lock);
        if (i % 4 == 0)
            pause(2);
        release(*lock);
        heir.join();
    }
}

// The place of a thread in the table, as its token says.
std::uint64_t own_place_number()
{
    Process_Lock lock;
    EXPECT_EQ(Attempt::taken, try_acquire(lock));
    const std::uint64_t number = lock.word >> 2 & 0x3fffff;
    release(lock);
    return number;
}

TEST_F(MutexLock, ThreadsThatHaveEndedLeaveNothing)
{
    const auto run_threads = [](int count) {
        std::uint64_t highest = 0;
        for (int i = 0; i < count; i += 5) {
            std::deque<std::future<std::uint64_t>> threads;
            for (int j = 0; j < 4; ++j)
                threads.push_back(std::async(std::launch::async, &own_place_number));
            for (std::future<std::uint64_t>& thread : threads)
                highest = std::max(highest, thread.get());
            kr_platform_testing::run_on_system_thread(
                [&] { highest = std::max(highest, own_place_number()); });
        }
        return highest;
    };
    run_threads(100);
    const unsigned handles = kr_platform_testing::open_handle_count();
    EXPECT_LT(run_threads(10'000), 1'000u);
    EXPECT_LE(kr_platform_testing::open_handle_count(), handles + 8);
}

TEST_F(MutexLock, ThreadsThatHaveEndedLeaveNothingBesideManyThatLive)
{
    constexpr std::uint64_t count = 64;
    std::promise<void> may_end;
    const std::shared_future<void> end = may_end.get_future().share();
    std::atomic<unsigned> running{0};
    std::atomic<std::uint64_t> highest_living{0};
    std::vector<std::thread> living;
    for (unsigned i = 0; i < count; ++i)
        living.emplace_back([&] {
            const std::uint64_t number = own_place_number();
            std::uint64_t highest = highest_living;
            while (highest < number && !highest_living.compare_exchange_weak(highest, number))
                ;
            ++running;
            end.wait();
        });
    while (running < count)
        pause(1);
    std::uint64_t highest = 0;
    for (int i = 0; i < 500; ++i)
        highest = std::max(highest, on_another_thread(&own_place_number));
    EXPECT_LT(highest, highest_living + count);
    may_end.set_value();
    for (std::thread& thread : living)
        thread.join();
}

TEST_F(MutexLock, ManyThreadsAtATimeHaveTheirPlaces)
{
    constexpr int count = 300;
    std::promise<void> may_end;
    const std::shared_future<void> end = may_end.get_future().share();
    std::atomic<int> running{0};
    std::array<Process_Lock, count> locks;
    std::vector<std::thread> threads;
    for (Process_Lock& lock : locks)
        threads.emplace_back([&] {
            EXPECT_EQ(Attempt::taken, try_acquire(lock));
            ++running;
            end.wait();
            EXPECT_TRUE(is_own(lock));
            release(lock);
        });
    while (running < count)
        pause(1);
    std::vector<std::uint64_t> holders;
    for (const Process_Lock& lock : locks)
        holders.push_back(holder(lock.word));
    std::sort(holders.begin(), holders.end());
    EXPECT_EQ(holders.end(), std::adjacent_find(holders.begin(), holders.end()));
    for (Process_Lock& lock : locks)
        EXPECT_EQ(-1, acquire(lock, 0)) << "their threads live";
    may_end.set_value();
    for (std::thread& thread : threads)
        thread.join();
}

class MutexLockFork : public MutexLock {
protected:
    void SetUp() override
    {
        if (!kr_platform_testing::can_fork())
            GTEST_SKIP() << "no fork on this system";
    }
};

TEST_F(MutexLockFork, TheChildStillHoldsWhatItsThreadHeld)
{
    EXPECT_EQ(0, acquire(lock_));
    std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, long_time)); });
    wait_until_queued(lock_);
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] {
                  if (!is_own(lock_) || try_acquire(lock_) != Attempt::own)
                      return 1;
                  release(lock_);
                  if (holder(lock_.word) != 0 || try_acquire(lock_) != Attempt::taken)
                      return 2;
                  release(lock_);
                  return attempt(lock_, 0) == 0 ? 0 : 3;
              }));
    EXPECT_TRUE(is_own(lock_)) << "the parent's is its own";
    release(lock_);
    waiter.join();
}

TEST_F(MutexLockFork, InTheChildWhatOtherThreadsHeldPassesOn)
{
    std::promise<void> has_taken;
    std::promise<void> may_go;
    std::thread other([&] {
        EXPECT_EQ(0, acquire(lock_));
        has_taken.set_value();
        may_go.get_future().wait();
        release(lock_);
    });
    has_taken.get_future().wait();
    for (int i = 0; i < 2; ++i) // with a place in the table or without
        EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] { return attempt(lock_, 0); }));
    EXPECT_EQ(ETIME, attempt(lock_, 0));
    may_go.set_value();
    other.join();
}

TEST_F(MutexLockFork, TheChildsThreadsWaitForEachOther)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << "ThreadSanitizer ends a forked process that starts a thread";
    EXPECT_EQ(0, acquire(lock_));
    std::thread waiter([&] { EXPECT_EQ(0, attempt(lock_, long_time)); });
    wait_until_queued(lock_);
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] {
                  int error = -1;
                  std::thread child([&] { error = attempt(lock_, long_time); });
                  pause(20);
                  release(lock_);
                  child.join();
                  return error;
              }));
    release(lock_);
    waiter.join();
}

TEST_F(MutexLockFork, AForkAtAnyTimeLeavesTheChildWhole)
{
    if (!may_fork_while_others_allocate)
        GTEST_SKIP() << "the sanitizer's allocator is not made for a fork beside other threads";
    std::array<Process_Lock, 3> locks;
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (!is_over)
                for (Process_Lock& lock : locks)
                    std::thread([&] { EXPECT_EQ(0, attempt(lock, long_time)); }).join();
        });
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(0, kr_platform_testing::run_in_fork([&] {
                      for (Process_Lock& lock : locks)
                          if (attempt(lock, 1'000) != 0)
                              return 1;
                      return 0;
                  }))
            << i;
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
}

// In real time: what threads that are greedy for the lock get of it.
TEST(MutexLock_Slow, NobodyIsOvertakenForLong)
{
    constexpr int threads = 16;
    Process_Lock lock;
    std::atomic<bool> is_over{false};
    std::atomic<std::int64_t> turns{0};
    std::int64_t most_overtaken = 0;
    std::vector<std::thread> greedy;
    for (int i = 0; i < threads; ++i)
        greedy.emplace_back([&] {
            while (!is_over) {
                const std::int64_t before = turns;
                if (try_acquire(lock) != Attempt::taken) {
                    EXPECT_EQ(0, acquire(lock));
                }
                most_overtaken = std::max(most_overtaken, turns - before);
                pause(10);
                ++turns;
                release(lock);
            }
        });
    pause(6'000);
    is_over = true;
    for (std::thread& thread : greedy)
        thread.join();
    EXPECT_LE(most_overtaken, 3 * threads) << "of " << turns << " turns";
    EXPECT_GE(turns, threads);
}

} // namespace
