#include <KRCommon/frame/Lock_End.h>

#include <KRCommon/frame/Lock_Report.h>
#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

void pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Every wait fails at once, with the error that it is told; the end is the real one.
class Hasty_World final : public kr_internal::Guard_World {
public:
    explicit Hasty_World(int error = ETIME) : error_(error)
    {
        kr_internal::guard_world.replace(this);
    }
    ~Hasty_World() { kr_internal::guard_world.replace(nullptr); }
    Hasty_World(const Hasty_World&) = delete;
    Hasty_World& operator=(const Hasty_World&) = delete;

    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t wall_microseconds() override { return 0; }
    int acquire_for(kr_internal::Process_Lock&, std::int64_t, std::int64_t) override
    {
        errno = error_;
        return -1;
    }
    bool begin_end() override { return kr_internal::begin_lock_end(); }
    void finish_end() override { kr_internal::finish_lock_end(); }
    std::int64_t longest_line_milliseconds(std::int64_t) override { return 200; }
    void end_without_line() override { kr_internal::end_without_line(); }
    void end_process(int exit_code) override { kr_platform::end_process(exit_code); }

private:
    int error_;
};

void say(const char* text)
{
    std::fputs(text, stderr);
    std::fflush(stderr);
}

// Ends the process over a dead lock, with so many guards at once.
void end_over_a_dead_lock(const KR_Lock_End* end, int guards = 1, int error = ETIME)
{
    if (end != nullptr)
        kr_set_lock_end(*end);
    Process_Mutex_Ex mutex;
    const KR_Mutex_Guard holder(mutex, "mutex", "Holder.cpp", 70);
    Hasty_World world(error);
    for (int i = 0; i < guards; ++i)
        std::thread([&] { const KR_Mutex_Guard guard(mutex, "mutex", "Waiter.cpp", 42); }).detach();
    pause(60'000);
}

// On another thread, for ever.
void hold_log()
{
    std::thread([] {
        ACE_Log_Msg::instance()->acquire();
        pause(600'000);
    }).detach();
    pause(300);
}

class LockEndDeathTest : public testing::Test {
protected:
    LockEndDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    KR_Lock_End end_;
};

TEST_F(LockEndDeathTest, NothingMoreThanTheLineHappensUntilAHostAsks)
{
    EXPECT_EXIT(end_over_a_dead_lock(nullptr), testing::ExitedWithCode(1),
                testing::AllOf(testing::HasSubstr("Lock acquire failed"),
                               testing::Not(testing::HasSubstr("Locks:"))));
}

TEST_F(LockEndDeathTest, TheReportComesAfterTheLine)
{
    end_.reports_locks = true;
    EXPECT_EXIT(end_over_a_dead_lock(&end_), testing::ExitedWithCode(1),
                testing::ContainsRegex(
                    "Lock acquire failed .*\n.*ERR KR_GUARD: Locks: 1 held, 1 waiting.\r?"
                    "\n.*ERR KR_GUARD: Lock 0x.* at Holder.cpp:70, 1 waiting: T.* for "
                    "mutex at Waiter.cpp:42 for "));
}

TEST_F(LockEndDeathTest, TheHookIsCalledAfterLineAndReport)
{
    end_.reports_locks = true;
    static char text[] = "the hook's argument\n";
    end_.argument = text;
    end_.hook = [](void* argument) { say(static_cast<const char*>(argument)); };
    EXPECT_EXIT(end_over_a_dead_lock(&end_), testing::ExitedWithCode(1),
                testing::ContainsRegex(
                    "Lock acquire failed .*\n.*Locks: 1 held.*\n.*\n.*the hook's argument"));
}

TEST_F(LockEndDeathTest, APanicCallsTheHookToo)
{
    end_.hook = [](void*) { say("the hook\n"); };
    EXPECT_EXIT(end_over_a_dead_lock(&end_, 1, EINVAL), testing::ExitedWithCode(1),
                testing::ContainsRegex("Lock panic .*\n.*the hook"));
}

TEST_F(LockEndDeathTest, TheLastWishCounts)
{
    end_.hook = [](void*) { say("the first hook\n"); };
    EXPECT_EXIT(
        {
            kr_set_lock_end(end_);
            KR_Lock_End second;
            second.hook = [](void*) { say("the second hook\n"); };
            end_over_a_dead_lock(&second);
        },
        testing::ExitedWithCode(1),
        testing::AllOf(testing::HasSubstr("the second hook"),
                       testing::Not(testing::HasSubstr("the first hook"))));
}

TEST_F(LockEndDeathTest, AHookThatHangsDoesNotKeepTheProcess)
{
    end_.hook = [](void*) {
        say("the hook begins\n");
        pause(60'000);
        say("and ends\n");
    };
    end_.hook_milliseconds = 300;
    const std::int64_t start = kr_platform::steady_milliseconds();
    EXPECT_EXIT(end_over_a_dead_lock(&end_), testing::ExitedWithCode(1),
                testing::AllOf(testing::HasSubstr("the hook begins"),
                               testing::Not(testing::HasSubstr("and ends"))));
    EXPECT_LT(kr_platform::steady_milliseconds() - start, 30'000);
}

TEST_F(LockEndDeathTest, TheProcessWaitsForAHookThatTakesItsTime)
{
    end_.hook = [](void*) {
        pause(2'000);
        say("the hook has ended\n");
    };
    EXPECT_EXIT(end_over_a_dead_lock(&end_), testing::ExitedWithCode(1),
                testing::HasSubstr("the hook has ended"));
}

TEST_F(LockEndDeathTest, AHookThatThrowsEndsTheProcessAsAnyOther)
{
    end_.hook = [](void*) { throw std::runtime_error("from the hook"); };
    EXPECT_EXIT(end_over_a_dead_lock(&end_), testing::ExitedWithCode(1),
                testing::HasSubstr("Lock acquire failed"));
}

TEST_F(LockEndDeathTest, ALogThatIsStuckDoesNotKeepTheHookAway)
{
    end_.hook = [](void*) { say("the hook\n"); };
    EXPECT_EXIT(
        {
            hold_log();
            end_over_a_dead_lock(&end_, 1, EINVAL);
        },
        testing::ExitedWithCode(1),
        testing::AllOf(testing::HasSubstr("the hook"),
                       testing::Not(testing::HasSubstr("Lock panic"))));
}

TEST_F(LockEndDeathTest, ADelaysLineThatIsStuckDoesNotKeepTheProcess)
{
    EXPECT_EXIT(
        {
            hold_log();
            end_over_a_dead_lock(nullptr, 3);
        },
        testing::ExitedWithCode(1), testing::Not(testing::HasSubstr("Lock acquire")));
}

TEST_F(LockEndDeathTest, ADelaysLineThatIsStuckDoesNotKeepTheHookAway)
{
    end_.hook = [](void*) { say("the hook\n"); };
    end_.reports_locks = true; // there is no log to report to
    end_.hook_milliseconds = 60'000;
    const std::int64_t start = kr_platform::steady_milliseconds();
    EXPECT_EXIT(
        {
            hold_log();
            end_over_a_dead_lock(&end_);
        },
        testing::ExitedWithCode(1), "the hook");
    EXPECT_LT(kr_platform::steady_milliseconds() - start, 30'000) << "it waits for no line";
}

TEST_F(LockEndDeathTest, OfSeveralGuardsTheHookRunsOnceAndAllWaitForIt)
{
    end_.hook = [](void*) {
        pause(500);
        say("the hook\n");
    };
    EXPECT_EXIT(end_over_a_dead_lock(&end_, 5), testing::ExitedWithCode(1),
                testing::AllOf(testing::HasSubstr("the hook"),
                               testing::Not(testing::ContainsRegex("the hook.*\n.*the hook"))));
}

} // namespace
