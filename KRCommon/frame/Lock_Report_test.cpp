#include <KRCommon/frame/Lock_Report.h>

#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Lock_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>
#include <tests/support/Sanitizers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

void pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// The real locks under clocks that stand still until they are told to go.
class Stopped_World final : public kr_internal::Guard_World {
public:
    Stopped_World() { kr_internal::guard_world.replace(this); }
    ~Stopped_World() { kr_internal::guard_world.replace(nullptr); }
    Stopped_World(const Stopped_World&) = delete;
    Stopped_World& operator=(const Stopped_World&) = delete;

    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t coarse_steady_milliseconds() override { return now_; }
    std::int64_t wall_microseconds() override { return wall_ -= 3'600'000'000; }
    int acquire_for(kr_internal::Process_Lock& lock, std::int64_t milliseconds,
                    std::int64_t arrival) override
    {
        return kr_internal::acquire_for(lock, milliseconds, arrival);
    }
    void end_process(int) override {}

    std::atomic<std::int64_t> now_{1'000'000};

private:
    std::atomic<std::int64_t> wall_{1'400'000'000'000'000}; // is set back all the time
};

// A thread that guards the mutex, at once or when it can, until it is told to go.
class Guarding_Thread {
public:
    Guarding_Thread(Process_Mutex_Ex& mutex, const char* name, const char* file, int line)
        : thread_([this, &mutex, name, file, line] {
              number_ = kr_platform::thread_id();
              const KR_Mutex_Guard guard(mutex, name, file, line);
              has_it_ = true;
              while (!may_go_)
                  pause();
          })
    {
        while (number_ == 0)
            pause();
    }
    ~Guarding_Thread() { let_go(); }
    Guarding_Thread(const Guarding_Thread&) = delete;
    Guarding_Thread& operator=(const Guarding_Thread&) = delete;

    unsigned number() const { return number_; }
    void wait_until_held() const
    {
        while (!has_it_)
            pause();
    }
    void let_go()
    {
        may_go_ = true;
        if (thread_.joinable())
            thread_.join();
    }

private:
    std::atomic<unsigned> number_{0};
    std::atomic<bool> has_it_{false};
    std::atomic<bool> may_go_{false};
    std::thread thread_;
};

void wait_for_waiters(std::size_t count)
{
    for (;;) {
        std::size_t waiting = 0;
        for (const KR_Lock_State& lock : kr_locks())
            waiting += lock.waiters.size();
        if (waiting >= count)
            return;
        pause();
    }
}

std::string padded(unsigned number)
{
    char text[16];
    std::snprintf(text, sizeof text, "T%04u", number);
    return text;
}

class LockReport : public testing::Test {
protected:
    LockReport() { ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS); }

    Process_Mutex_Ex mutex_;
    Process_Mutex_Ex other_;
};

TEST_F(LockReport, IsEmptyWhileNobodyHoldsAnything)
{
    unsigned unlisted = 7;
    EXPECT_TRUE(kr_locks(&unlisted).empty());
    EXPECT_EQ(0u, unlisted);
}

TEST_F(LockReport, TellsWhoHoldsAMutexFromWhereAndForHowLong)
{
    Stopped_World world;
    const KR_Mutex_Guard guard(mutex_, "mutex_", "Holder.cpp", 70);
    const KR_Mutex_Guard nested(mutex_, "mutex_", "Nested.cpp", 80);
    world.now_ += 12'345;
    const std::vector<KR_Lock_State> locks = kr_locks();
    ASSERT_EQ(1u, locks.size());
    EXPECT_EQ(&mutex_, locks[0].mutex);
    EXPECT_EQ(kr_platform::thread_id(), locks[0].owner);
    EXPECT_STREQ("Holder.cpp", locks[0].file);
    EXPECT_EQ(70, locks[0].line);
    EXPECT_EQ(12'345, locks[0].held_milliseconds) << "whatever the wall clock does";
    EXPECT_TRUE(locks[0].waiters.empty());
}

TEST_F(LockReport, AMutexThatIsReleasedIsGone)
{
    KR_Mutex_Guard first(mutex_, "mutex_", "First.cpp", 1);
    KR_Mutex_Guard second(other_, "other_", "Second.cpp", 2);
    EXPECT_EQ(2u, kr_locks().size());
    EXPECT_EQ(0, first.release());
    ASSERT_EQ(1u, kr_locks().size());
    EXPECT_EQ(&other_, kr_locks()[0].mutex);
    EXPECT_EQ(0, second.release());
    EXPECT_TRUE(kr_locks().empty());
}

TEST_F(LockReport, TellsWhoWaitsWhereAndForHowLongTheLongestFirst)
{
    Stopped_World world;
    Guarding_Thread holder(mutex_, "mutex_", "Holder.cpp", 70);
    holder.wait_until_held();
    world.now_ += 1'000;
    Guarding_Thread first(mutex_, "this->mutex_", "First.cpp", 1);
    wait_for_waiters(1);
    world.now_ += 2'000;
    const std::string long_name(60, 'n');
    Guarding_Thread second(mutex_, long_name.c_str(), "Second.cpp", 2);
    wait_for_waiters(2);
    world.now_ += 4'000;
    const KR_Mutex_Guard unwanted(other_, "other_", "Unwanted.cpp", 3);
    const std::vector<KR_Lock_State> locks = kr_locks();
    ASSERT_EQ(2u, locks.size());
    EXPECT_EQ(&mutex_, locks[0].mutex);
    EXPECT_EQ(holder.number(), locks[0].owner);
    EXPECT_EQ(7'000, locks[0].held_milliseconds);
    ASSERT_EQ(2u, locks[0].waiters.size());
    EXPECT_EQ(first.number(), locks[0].waiters[0].thread);
    EXPECT_EQ("this->mutex_", locks[0].waiters[0].name);
    EXPECT_STREQ("First.cpp", locks[0].waiters[0].file);
    EXPECT_EQ(1, locks[0].waiters[0].line);
    EXPECT_EQ(6'000, locks[0].waiters[0].milliseconds);
    EXPECT_EQ(second.number(), locks[0].waiters[1].thread);
    EXPECT_EQ(std::string(47, 'n'), locks[0].waiters[1].name);
    EXPECT_EQ(4'000, locks[0].waiters[1].milliseconds);
    EXPECT_EQ(&other_, locks[1].mutex) << "what nobody waits for comes last";
    for (Guarding_Thread* thread : {&holder, &first, &second})
        thread->let_go();
    EXPECT_EQ(1u, kr_locks().size());
}

TEST_F(LockReport, AWaiterThatHasGotTheMutexIsItsHolder)
{
    Guarding_Thread first(mutex_, "mutex_", "First.cpp", 1);
    first.wait_until_held();
    Guarding_Thread second(mutex_, "mutex_", "Second.cpp", 2);
    wait_for_waiters(1);
    first.let_go();
    second.wait_until_held();
    const std::vector<KR_Lock_State> locks = kr_locks();
    ASSERT_EQ(1u, locks.size());
    EXPECT_EQ(second.number(), locks[0].owner);
    EXPECT_TRUE(locks[0].waiters.empty());
}

TEST_F(LockReport, BeyondEightMutexesOfAThreadOneOnlyCounts)
{
    std::array<Process_Mutex_Ex, 10> mutexes;
    std::vector<std::unique_ptr<KR_Mutex_Guard>> guards;
    for (Process_Mutex_Ex& mutex : mutexes)
        guards.push_back(std::make_unique<KR_Mutex_Guard>(mutex, "mutex", "Many.cpp", 1));
    unsigned unlisted = 0;
    EXPECT_EQ(8u, kr_locks(&unlisted).size());
    EXPECT_EQ(2u, unlisted);
    guards[0] = nullptr;
    EXPECT_EQ(7u, kr_locks(&unlisted).size());
    EXPECT_EQ(2u, unlisted) << "the others stay what they are";
    guards[0] = std::make_unique<KR_Mutex_Guard>(mutexes[0], "mutex", "Many.cpp", 2);
    EXPECT_EQ(8u, kr_locks(&unlisted).size());
    guards.clear();
    EXPECT_TRUE(kr_locks(&unlisted).empty());
    EXPECT_EQ(0u, unlisted);
}

TEST_F(LockReport, WhatAThreadThatHasEndedHeldIsFree)
{
    static auto& abandoned = *new std::vector<KR_Mutex_Guard*>; // never destroyed
    std::thread([&] {
        abandoned.push_back(new KR_Mutex_Guard(mutex_, "mutex_", "Dead.cpp", 1));
        EXPECT_EQ(1u, kr_locks().size());
    }).join();
    EXPECT_TRUE(kr_locks().empty());
    for (int i = 0; i < 20; ++i) // threads that take its place
        std::thread([&] {
            const KR_Mutex_Guard guard(other_, "other_", "Later.cpp", 2);
            ASSERT_EQ(1u, kr_locks().size());
            EXPECT_EQ(kr_platform::thread_id(), kr_locks()[0].owner);
        }).join();
    const KR_Mutex_Guard guard(mutex_, "mutex_", "Heir.cpp", 3);
    EXPECT_EQ(1u, kr_locks().size());
}

TEST_F(LockReport, WhatAThreadThatWasKilledHeldIsFree)
{
    if (!may_kill_threads)
        GTEST_SKIP() << "the sanitizer stumbles over a thread that ends unseen";
    std::atomic<bool> has_it{false};
    kr_platform_testing::Mortal_Thread victim([&] {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Victim.cpp", 1);
        has_it = true;
        std::this_thread::sleep_for(std::chrono::minutes(1));
    });
    while (!has_it)
        pause();
    EXPECT_EQ(1u, kr_locks().size());
    victim.kill();
    EXPECT_TRUE(kr_locks().empty());
}

TEST_F(LockReport, MutexesMayComeAndGoMeanwhile)
{
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (!is_over) {
                const auto mutex = std::make_unique<Process_Mutex_Ex>();
                const KR_Mutex_Guard guard(*mutex, "mutex", "Short.cpp", 7);
                const KR_Mutex_Guard contended(mutex_, "mutex_", "Short.cpp", 8);
            }
        });
    threads.emplace_back([&] {
        while (!is_over)
            std::thread([&] {
                const KR_Mutex_Guard guard(other_, "other_", "Short.cpp", 9);
            }).join();
    });
    for (int i = 0; i < 100; ++i)
        for (const KR_Lock_State& lock : kr_locks()) {
            EXPECT_THAT(lock.line, testing::AnyOf(-1, 7, 8, 9));
            EXPECT_GE(lock.held_milliseconds, 0);
            for (const KR_Lock_Waiter& waiter : lock.waiters)
                EXPECT_STREQ("Short.cpp", waiter.file);
        }
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(kr_locks().empty());
}

TEST_F(LockReport, WaitsForNobodyNotEvenForTheLog)
{
    std::promise<void> has_log;
    std::promise<void> may_go;
    std::thread stuck([&] {
        ACE_Log_Msg::instance()->acquire();
        has_log.set_value();
        may_go.get_future().wait();
        ACE_Log_Msg::instance()->release();
    });
    has_log.get_future().wait();
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Holder.cpp", 70);
        EXPECT_EQ(1u, kr_locks().size());
    }
    may_go.set_value();
    stuck.join();
}

// Answers the first attempt by a time-out and looks, at the second one, who waits.
class Delayed_World final : public kr_internal::Guard_World {
public:
    Delayed_World() { kr_internal::guard_world.replace(this); }
    ~Delayed_World() { kr_internal::guard_world.replace(nullptr); }
    Delayed_World(const Delayed_World&) = delete;
    Delayed_World& operator=(const Delayed_World&) = delete;

    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t wall_microseconds() override { return 0; }
    int acquire_for(kr_internal::Process_Lock&, std::int64_t, std::int64_t) override
    {
        if (attempts_++ == 0) {
            errno = ETIME;
            return -1;
        }
        waiters_ = kr_locks().at(0).waiters;
        errno = EINVAL;
        return -1;
    }
    void end_process(int) override {}

    int attempts_ = 0;
    std::vector<KR_Lock_Waiter> waiters_;
};

// What a line's callback may leave behind when it waits for a mutex of its own.
class Waiting_Callback final : public ACE_Log_Msg_Callback {
public:
    void log(ACE_Log_Record&) override
    {
        kr_internal::own_thread.locks->begin_wait(this, "callback", "Callback.cpp", 1, 0);
        kr_internal::own_thread.locks->end_wait();
    }
};

TEST_F(LockReport, AGuardStillWaitsAfterACallbackOfItsLineHasWaited)
{
    Guarding_Thread holder(mutex_, "mutex_", "Holder.cpp", 70);
    holder.wait_until_held();
    const Log_Capture capture; // for silence, and to bring back the callback of before
    Waiting_Callback callback;
    ACE_Log_Msg_Callback* const previous = ACE_Log_Msg::instance()->msg_callback(&callback);
    Delayed_World world;
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    }
    ACE_Log_Msg::instance()->msg_callback(previous);
    ASSERT_EQ(1u, world.waiters_.size());
    EXPECT_EQ(42, world.waiters_[0].line);
}

TEST_F(LockReport, AForkedChildHoldsWhatItsThreadHeld)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    Guarding_Thread holder(other_, "other_", "Holder.cpp", 70);
    holder.wait_until_held();
    Guarding_Thread waiter(other_, "other_", "Waiter.cpp", 42);
    wait_for_waiters(1);
    KR_Mutex_Guard guard(mutex_, "mutex_", "Forking.cpp", 1);
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] {
                  const std::vector<KR_Lock_State> locks = kr_locks();
                  if (locks.size() != 1 || locks[0].mutex != &mutex_)
                      return 1;
                  if (locks[0].owner != kr_platform::thread_id())
                      return 2;
                  if (kr_report_locks() != 1)
                      return 3;
                  guard.release();
                  return kr_locks().empty() ? 0 : 4;
              }));
    EXPECT_EQ(2u, kr_locks().size());
    holder.let_go();
}

TEST_F(LockReport, LogsALineForEachMutexAndOneWithTheSums)
{
    Stopped_World world;
    Guarding_Thread holder(mutex_, "mutex_", "Holder.cpp", 70);
    holder.wait_until_held();
    world.now_ += 9'007;
    Guarding_Thread first(mutex_, "mutex_", "First.cpp", 1);
    wait_for_waiters(1);
    world.now_ += 60;
    Guarding_Thread second(mutex_, "mutex_", "Second.cpp", 2);
    wait_for_waiters(2);
    const KR_Mutex_Guard guard(other_, "other_", "Own.cpp", 5);
    const Log_Capture capture;
    EXPECT_EQ(2u, kr_report_locks());
    ASSERT_EQ(3u, capture.lines().size());
    for (const Log_Capture::Line& line : capture.lines()) {
        EXPECT_EQ(LM_INFO, line.priority);
        EXPECT_EQ("Lock_Report.cpp", line.file);
        EXPECT_EQ(0, line.status);
    }
    EXPECT_THAT(capture.unstamped(0),
                FullyMatches(" T\\d{4,} INF KR_GUARD: Locks: 2 held, 2 waiting\\.\n"));
    EXPECT_THAT(
        capture.unstamped(1),
        FullyMatches(
            " T\\d{4,} INF KR_GUARD: Lock 0x[0-9a-f]+ held by " + padded(holder.number()) +
            " for 9\\.067 seconds at Holder\\.cpp:70, 2 waiting: " + padded(first.number()) +
            " for mutex_ at First\\.cpp:1 for 0\\.060 seconds, " + padded(second.number()) +
            " for mutex_ at Second\\.cpp:2 for 0\\.000 seconds\\.\n"));
    EXPECT_THAT(capture.unstamped(2),
                FullyMatches(" T\\d{4,} INF KR_GUARD: Lock 0x[0-9a-f]+ held by " +
                             padded(kr_platform::thread_id()) +
                             " for 0\\.000 seconds at Own\\.cpp:5\\.\n"));
    for (Guarding_Thread* thread : {&holder, &first, &second})
        thread->let_go();
}

TEST_F(LockReport, ThePriorityAndItsTagAreTheCallers)
{
    const std::pair<ACE_Log_Priority, const char*> cases[] = {{LM_DEBUG, " DBG"},
                                                              {LM_INFO, " INF"},
                                                              {LM_ERROR, "*ERR"},
                                                              {LM_EMERGENCY, "*EMR"},
                                                              {LM_TRACE, " INF"}};
    for (const auto& [priority, tag] : cases) {
        const Log_Capture capture;
        EXPECT_EQ(0u, kr_report_locks(priority));
        ASSERT_EQ(1u, capture.lines().size());
        EXPECT_EQ(priority == LM_TRACE ? LM_INFO : priority, capture.lines()[0].priority);
        EXPECT_THAT(capture.unstamped(0),
                    testing::EndsWith(tag + std::string(" KR_GUARD: Locks: 0 held, 0 waiting.\n")));
    }
}

TEST_F(LockReport, SaysHowManyAreNotListed)
{
    std::array<Process_Mutex_Ex, 11> mutexes;
    std::vector<std::unique_ptr<KR_Mutex_Guard>> guards;
    for (Process_Mutex_Ex& mutex : mutexes)
        guards.push_back(std::make_unique<KR_Mutex_Guard>(mutex, "mutex", "Many.cpp", 1));
    const Log_Capture capture;
    EXPECT_EQ(8u, kr_report_locks());
    EXPECT_THAT(capture.unstamped(0),
                testing::EndsWith(" KR_GUARD: Locks: 11 held (3 not listed), 0 waiting.\n"));
}

TEST_F(LockReport, AMutexWhoseHolderIsNotListedIsHeldByNobodyKnown)
{
    std::array<Process_Mutex_Ex, 8> mutexes;
    std::vector<std::unique_ptr<KR_Mutex_Guard>> guards;
    for (Process_Mutex_Ex& mutex : mutexes)
        guards.push_back(std::make_unique<KR_Mutex_Guard>(mutex, "mutex", "Many.cpp", 1));
    guards.push_back(std::make_unique<KR_Mutex_Guard>(mutex_, "mutex_", "Ninth.cpp", 1));
    Guarding_Thread waiter(mutex_, "mutex_", "Waiter.cpp", 42);
    wait_for_waiters(1);
    const Log_Capture capture;
    EXPECT_EQ(9u, kr_report_locks());
    EXPECT_THAT(capture.unstamped(1),
                testing::HasSubstr(" held by nobody known, 1 waiting: " + padded(waiter.number())));
    guards.clear();
}

} // namespace
