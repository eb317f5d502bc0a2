#include <KRCommon/frame/Mutex.h>

#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Lock_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <regex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

// Reaches a private member without a word in the header: an explicit instantiation may name it.
std::atomic<int>& depth_of(Process_Mutex_Ex& mutex);

template <std::atomic<int> Process_Mutex_Ex::*DEPTH>
struct Depth_Access {
    friend std::atomic<int>& depth_of(Process_Mutex_Ex& mutex) { return mutex.*DEPTH; }
};

template struct Depth_Access<&Process_Mutex_Ex::dbg_depth_>;

namespace {

// A thread that holds the mutex by `depth` guards from construction to let_go().
class Holder {
public:
    explicit Holder(Process_Mutex_Ex& mutex, int depth = 1)
        : thread_([this, &mutex, depth] {
              std::vector<std::unique_ptr<KR_Mutex_Guard>> guards;
              for (int i = 0; i < depth; ++i)
                  guards.push_back(
                      std::make_unique<KR_Mutex_Guard>(mutex, "mutex_", "Holder.cpp", 70 + i));
              number_ = kr_platform::thread_id();
              has_taken_.set_value();
              may_go_.get_future().wait();
              while (!guards.empty())
                  guards.pop_back();
          })
    {
        has_taken_.get_future().wait();
    }

    ~Holder() { let_go(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    void let_go()
    {
        if (thread_.joinable()) {
            may_go_.set_value();
            thread_.join();
        }
    }

    std::string number() const { return std::to_string(number_); }

private:
    std::promise<void> has_taken_;
    std::promise<void> may_go_;
    unsigned number_ = 0;
    std::thread thread_;
};

// Answers each attempt of its own thread as it is told, and moves its clock by what the attempt takes.
// Other threads, which may meet the watch of a line for a moment, wait as ever.
class Fake_World final : public kr_internal::Guard_World {
public:
    struct Attempt {
        int error; ///< 0: the lock comes; -1: a failure that sets no error
        std::int64_t milliseconds;
        std::int64_t wall_step = 0; ///< milliseconds by which the wall clock is set meanwhile
    };

    explicit Fake_World(std::deque<Attempt> attempts) : attempts_(std::move(attempts))
    {
        kr_internal::guard_world.replace(this);
    }
    ~Fake_World() { kr_internal::guard_world.replace(nullptr); }
    Fake_World(const Fake_World&) = delete;
    Fake_World& operator=(const Fake_World&) = delete;

    std::int64_t steady_milliseconds() override { return now_; }
    std::int64_t wall_microseconds() override { return wall_ * 1000; }

    int acquire_for(kr_internal::Process_Lock& lock, std::int64_t milliseconds,
                    std::int64_t arrival) override
    {
        if (std::this_thread::get_id() != thread_)
            return kr_internal::acquire_for(lock, milliseconds, arrival);
        waits_.push_back(milliseconds);
        arrivals_.push_back(arrival);
        const Attempt attempt = attempts_.front();
        attempts_.pop_front();
        now_ += attempt.milliseconds;
        wall_ += attempt.milliseconds + attempt.wall_step;
        if (attempt.error == 0) {
            before_success_();
            return kr_internal::acquire_for(lock, 10'000, arrival);
        }
        if (attempt.error > 0)
            kr_platform_testing::set_last_errors(attempt.error, 0);
        return -1;
    }

    void end_process(int exit_code) override
    {
        exit_codes_.push_back(exit_code);
        if (does_end_)
            kr_platform::end_process(exit_code);
    }

    std::deque<Attempt> attempts_;
    std::function<void()> before_success_ = [] {};
    std::vector<std::int64_t> waits_;
    std::vector<std::int64_t> arrivals_;
    std::int64_t longest_line_milliseconds(std::int64_t until_end) override
    {
        until_end_ = until_end;
        return longest_line_;
    }

    void end_without_line() override { ++ends_without_line_; }

    std::vector<int> exit_codes_;
    bool does_end_ = false;
    std::int64_t longest_line_ = 1'000'000;
    std::int64_t until_end_ = 0;
    std::atomic<int> ends_without_line_{0};
    std::int64_t wall_ = 1'400'000'000'000;

private:
    const std::thread::id thread_ = std::this_thread::get_id();
    std::int64_t now_ = 123'456'789;
};

class Mutex : public testing::Test {
protected:
    Mutex() { ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS); }

    void expect_free()
    {
        EXPECT_EQ(0, mutex_.depth());
        EXPECT_EQ(nullptr, mutex_.first_locker_file());
        EXPECT_EQ(-1, mutex_.first_locker_line());
        EXPECT_EQ(0u, mutex_.owner());
        EXPECT_EQ(ACE_Time_Value::zero, mutex_.first_lock_time());
    }

    // What a waiting guard logs, with the attempts answered as told while another thread holds
    // the mutex.
    void wait_while_held(Fake_World& world, int holders_depth = 1)
    {
        Holder holder(mutex_, holders_depth);
        holder_number_ = holder.number();
        world.before_success_ = [&] { holder.let_go(); };
        KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
        if (world.exit_codes_.empty()) {
            EXPECT_EQ(1, mutex_.depth());
        } else {
            EXPECT_EQ(holders_depth, mutex_.depth());
            EXPECT_EQ(-1, guard.release());
            EXPECT_EQ(holders_depth, mutex_.depth()) << "it never held the mutex";
        }
    }

    // The end of the lines that name the holder: "(locked ... at Holder.cpp:70)."
    std::string holder_text(int depth) const
    {
        return "\\(locked " + std::to_string(depth) + " time\\(s\\) by T" + holder_number_ +
               " first on \\d\\d:\\d\\d:\\d\\d\\.\\d{6} at Holder\\.cpp:70\\)\\.\n";
    }

    void expect_line(std::size_t index, ACE_Log_Priority priority, int line,
                     const std::string& pattern)
    {
        ASSERT_LT(index, capture_.lines().size());
        const Log_Capture::Line& seen = capture_.lines()[index];
        EXPECT_EQ(priority, seen.priority);
        EXPECT_EQ("Mutex.h", seen.file);
        EXPECT_EQ(line, seen.line);
        EXPECT_EQ(-1, seen.status);
        EXPECT_THAT(capture_.unstamped(index), FullyMatches(" T\\d{4,}" + pattern));
    }

    void expect_delay(std::size_t index, int seconds, int depth = 1)
    {
        expect_line(index, LM_ERROR, 87,
                    "\\*ERR KR_GUARD:\\[0\\] mutex_ - Lock acquire delay \\(" +
                        std::to_string(seconds) + " seconds passed\\) at Waiter\\.cpp:42 " +
                        holder_text(depth));
    }

    Process_Mutex_Ex mutex_;
    std::string holder_number_;
    Log_Capture capture_;
};

TEST_F(Mutex, RecordOfAFreeMutexIsEmpty)
{
    expect_free();
}

TEST_F(Mutex, GuardWritesTheRecordAndClearsIt)
{
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "First.cpp", 7);
        EXPECT_EQ(1, mutex_.depth());
        EXPECT_STREQ("First.cpp", mutex_.first_locker_file());
        EXPECT_EQ(7, mutex_.first_locker_line());
        EXPECT_EQ(kr_platform::thread_id(), mutex_.owner());
        EXPECT_NEAR(static_cast<double>(std::time(nullptr)),
                    static_cast<double>(mutex_.first_lock_time().sec()), 2);
    }
    expect_free();
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Mutex, NestedGuardsRaiseTheDepthAndKeepTheFirstRecord)
{
    {
        const KR_Mutex_Guard outer(mutex_, "mutex_", "Outer.cpp", 1);
        const ACE_Time_Value time = mutex_.first_lock_time();
        {
            const KR_Mutex_Guard inner(mutex_, "mutex_", "Inner.cpp", 2);
            EXPECT_EQ(2, mutex_.depth());
            const KR_Mutex_Guard innermost(mutex_, "mutex_", "Innermost.cpp", 3);
            EXPECT_EQ(3, mutex_.depth());
            EXPECT_STREQ("Outer.cpp", mutex_.first_locker_file());
        }
        EXPECT_EQ(1, mutex_.depth());
        EXPECT_STREQ("Outer.cpp", mutex_.first_locker_file());
        EXPECT_EQ(1, mutex_.first_locker_line());
        EXPECT_EQ(time, mutex_.first_lock_time());
    }
    expect_free();
}

TEST_F(Mutex, NestedGuardsMayBeReleasedInAnyOrder)
{
    KR_Mutex_Guard outer(mutex_, "mutex_", "Outer.cpp", 1);
    KR_Mutex_Guard inner(mutex_, "mutex_", "Inner.cpp", 2);
    EXPECT_EQ(0, outer.release());
    EXPECT_EQ(1, mutex_.depth());
    EXPECT_STREQ("Outer.cpp", mutex_.first_locker_file()) << "until the last one releases";
    EXPECT_EQ(0, inner.release());
    expect_free();
}

TEST_F(Mutex, ReleaseIsOnceAndDestructionAfterItDoesNothing)
{
    const KR_Mutex_Guard outer(mutex_, "mutex_", "Outer.cpp", 1);
    {
        KR_Mutex_Guard inner(mutex_, "mutex_", "Inner.cpp", 2);
        EXPECT_EQ(0, inner.release());
        EXPECT_EQ(-1, inner.release());
        EXPECT_EQ(1, mutex_.depth());
    }
    EXPECT_EQ(1, mutex_.depth());
}

TEST_F(Mutex, ReleaseByAnotherThreadIsRefusedAndChangesNothing)
{
    KR_Mutex_Guard guard(mutex_, "mutex_", "First.cpp", 7);
    std::thread([&] {
        EXPECT_EQ(-1, guard.release());
        EXPECT_EQ(EPERM, errno);
    }).join();
    EXPECT_EQ(1, mutex_.depth());
    EXPECT_STREQ("First.cpp", mutex_.first_locker_file());
    EXPECT_EQ(0, guard.release());
    expect_free();
}

TEST_F(Mutex, MacroGuardsTheScopeUnderItsOwnNameFileAndLine)
{
    {
        KR_GUARD(mutex_);
        EXPECT_EQ(__LINE__ - 1, mutex_.first_locker_line());
        EXPECT_STREQ("Mutex_test.cpp", mutex_.first_locker_file());
        KR_GUARD(mutex_);
        EXPECT_EQ(2, mutex_.depth());
    }
    expect_free();
}

TEST_F(Mutex, AWaitOfLessThanTenSecondsIsNotReported)
{
    Fake_World world({{0, 9'999}});
    wait_while_held(world);
    EXPECT_EQ((std::vector<std::int64_t>{10'000}), world.waits_);
    EXPECT_TRUE(capture_.lines().empty());
    expect_free();
}

TEST_F(Mutex, AHolderOf15SecondsIsReportedAfter10AndTheLockEventuallyAcquired)
{
    Fake_World world({{ETIME, 10'000}, {0, 5'000}});
    wait_while_held(world, 2);
    EXPECT_EQ((std::vector<std::int64_t>{10'000, 120'000}), world.waits_);
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10, 2);
    expect_line(1, LM_ERROR, 113,
                "\\*ERR KR_GUARD:\\[1\\] mutex_ - Lock eventually acquired after 15 seconds at "
                "Waiter\\.cpp:42\\.\n");
    EXPECT_TRUE(world.exit_codes_.empty());
    expect_free();
}

TEST_F(Mutex, AWaitOf130SecondsEndsTheProcess)
{
    Fake_World world({{ETIME, 10'000}, {ETIME, 120'000}});
    wait_while_held(world, 3);
    EXPECT_EQ((std::vector<std::int64_t>{10'000, 120'000}), world.waits_);
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10, 3);
    expect_line(1, LM_EMERGENCY, 96,
                "\\*EMR KR_GUARD:\\[0\\] mutex_ - Lock acquire failed \\(130 seconds passed\\) at "
                "Waiter\\.cpp:42 " +
                    holder_text(3));
    EXPECT_EQ(std::vector<int>{1}, world.exit_codes_);
}

// Holds up a guard within its first line, for as long as the function takes.
class Stuck_Line : public ACE_Log_Msg_Callback {
public:
    explicit Stuck_Line(std::function<void()> meanwhile) : meanwhile_(std::move(meanwhile))
    {
        previous_ = ACE_Log_Msg::instance()->msg_callback(this);
    }
    ~Stuck_Line() override { ACE_Log_Msg::instance()->msg_callback(previous_); }
    Stuck_Line(const Stuck_Line&) = delete;
    Stuck_Line& operator=(const Stuck_Line&) = delete;

    void log(ACE_Log_Record& record) override
    {
        if (lines_++ == 0)
            meanwhile_();
        if (previous_ != nullptr)
            previous_->log(record);
    }

private:
    std::function<void()> meanwhile_;
    ACE_Log_Msg_Callback* previous_ = nullptr;
    int lines_ = 0;
};

void pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

TEST_F(Mutex, TheProcessEndsOverADeadLockWhileTheLineAboutTheDelayIsStuck)
{
    Fake_World world({{ETIME, 10'000}, {0, 1'000}});
    world.longest_line_ = 20;
    const Stuck_Line line([&] {
        for (int i = 0; i < 10'000 && world.ends_without_line_ == 0; ++i)
            pause(1);
    });
    wait_while_held(world);
    EXPECT_LE(1, world.ends_without_line_);
    EXPECT_EQ(120'000, world.until_end_);
    EXPECT_EQ((std::vector<std::int64_t>{10'000, 120'000}), world.waits_) << "the end was no end";
}

TEST_F(Mutex, TheProcessDoesNotEndWhileTheLineIsStuckWhenTheLockGoesFromHandToHand)
{
    Fake_World world({{ETIME, 10'000}, {0, 1'000}});
    world.longest_line_ = 800; // longer than a busy machine holds up a thread
    auto holder = std::make_unique<Holder>(mutex_);
    const Stuck_Line line([&] {
        const std::int64_t start = kr_platform::steady_milliseconds();
        while (kr_platform::steady_milliseconds() - start < 2'500) {
            holder.reset();
            world.wall_ += 10;
            holder = std::make_unique<Holder>(mutex_);
            pause(10);
        }
    });
    world.before_success_ = [&] { holder.reset(); };
    const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    EXPECT_EQ(0, world.ends_without_line_);
    EXPECT_EQ(2u, capture_.lines().size());
}

TEST_F(Mutex, TheProcessDoesNotEndWhileTheLineIsStuckWhenTheHoldersThreadHasEnded)
{
    Fake_World world({{ETIME, 10'000}, {0, 1'000}});
    world.longest_line_ = 800;
    std::promise<void> may_end;
    std::promise<void> has_taken;
    alignas(KR_Mutex_Guard) std::array<unsigned char, sizeof(KR_Mutex_Guard)> place;
    std::thread holder([&] {
        new (&place) KR_Mutex_Guard(mutex_, "mutex_", "Holder.cpp", 70); // never destroyed
        has_taken.set_value();
        may_end.get_future().wait();
    });
    has_taken.get_future().wait();
    const Stuck_Line line([&] {
        may_end.set_value();
        holder.join();
        pause(2'500);
    });
    const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    EXPECT_EQ(0, world.ends_without_line_);
}

TEST_F(Mutex, AWaiterKeepsItsPlaceInTheQueueOverTheReport)
{
    Fake_World world({{ETIME, 10'000}, {0, 5'000}});
    const std::int64_t before = kr_platform::steady_microseconds();
    wait_while_held(world);
    ASSERT_EQ(2u, world.arrivals_.size());
    EXPECT_GE(world.arrivals_[0], before);
    EXPECT_EQ(world.arrivals_[0], world.arrivals_[1]);
}

TEST_F(Mutex, TheNameMayGoOnceTheGuardIsConstructed)
{
    std::string name(200, 'n');
    Fake_World world({{ETIME, 10'000}, {0, 5'000}});
    Holder holder(mutex_);
    world.before_success_ = [&] { holder.let_go(); };
    KR_Mutex_Guard guard(mutex_, (name + "_mutex_").c_str(), "Waiter.cpp", 42);
    ASSERT_EQ(2u, capture_.lines().size());
    for (std::size_t i : {0, 1})
        EXPECT_THAT(capture_.unstamped(i), testing::HasSubstr("] " + name + "_mutex_ - Lock "));
    EXPECT_EQ(0, guard.release());
    EXPECT_EQ(2u, capture_.lines().size());
}

TEST_F(Mutex, SecondsPassedAreWholeSeconds)
{
    Fake_World world({{ETIME, 10'999}, {0, 4'000}});
    wait_while_held(world);
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10);
    EXPECT_THAT(capture_.unstamped(1), testing::HasSubstr("after 14 seconds"));
}

TEST_F(Mutex, StepsOfTheWallClockChangeNeitherWaitsNorSecondsPassed)
{
    constexpr std::int64_t hour = 3'600'000;
    for (const std::int64_t step : {-hour, hour}) {
        SCOPED_TRACE(step);
        const Log_Capture capture;
        Fake_World world({{ETIME, 10'000, step}, {0, 5'000, step}});
        const std::int64_t start = world.wall_;
        Holder holder(mutex_);
        EXPECT_EQ(ACE_Time_Value(1'400'000'000), mutex_.first_lock_time());
        world.before_success_ = [&] { holder.let_go(); };
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
        EXPECT_EQ((std::vector<std::int64_t>{10'000, 120'000}), world.waits_);
        ASSERT_EQ(2u, capture.lines().size());
        EXPECT_THAT(capture.unstamped(0), testing::HasSubstr("(10 seconds passed)"));
        EXPECT_THAT(capture.unstamped(1), testing::HasSubstr("after 15 seconds"));
        EXPECT_EQ(ACE_Time_Value(static_cast<time_t>((start + 15'000 + 2 * step) / 1000)),
                  mutex_.first_lock_time())
            << "the record shows the wall clock as it is now";
    }
}

TEST_F(Mutex, AnyOtherErrorIsAPanicThatEndsTheProcess)
{
    Fake_World world({{EINVAL, 0}});
    wait_while_held(world);
    ASSERT_EQ(1u, capture_.lines().size());
    expect_line(0, LM_EMERGENCY, 102,
                "\\*EMR KR_GUARD:\\[0\\] mutex_ - Lock panic at Waiter\\.cpp:42, ace error " +
                    std::to_string(EINVAL) + ", OS: Invalid argument\\.\n");
    EXPECT_EQ(EINVAL, capture_.lines()[0].error);
    EXPECT_EQ(std::vector<int>{1}, world.exit_codes_);
}

TEST_F(Mutex, AnErrorOfBeforeIsNotTakenForTheAttempts)
{
    Fake_World world({{-1, 0}});
    kr_platform_testing::set_last_errors(ETIME, 5);
    wait_while_held(world);
    ASSERT_EQ(1u, capture_.lines().size());
    EXPECT_THAT(capture_.unstamped(0),
                testing::HasSubstr("Lock panic at Waiter.cpp:42, ace error 0, OS: "));
}

TEST_F(Mutex, APanicAfterTheReportIsLoggedAsWell)
{
    Fake_World world({{ETIME, 10'000}, {EPERM, 3'000}});
    wait_while_held(world);
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10);
    expect_line(1, LM_EMERGENCY, 102,
                "\\*EMR KR_GUARD:\\[0\\] mutex_ - Lock panic at Waiter\\.cpp:42, ace error " +
                    std::to_string(EPERM) + ", OS: .*\\.\n");
    EXPECT_EQ(std::vector<int>{1}, world.exit_codes_);
}

TEST_F(Mutex, ALockThatPassesFromAnEndedThreadIsTakenWithAFreshRecord)
{
    static auto& abandoned = *new std::vector<KR_Mutex_Guard*>; // never destroyed
    std::thread([&] {
        abandoned.push_back(new KR_Mutex_Guard(mutex_, "mutex_", "Dead.cpp", 1));
        abandoned.push_back(new KR_Mutex_Guard(mutex_, "mutex_", "Dead.cpp", 2));
    }).join();
    EXPECT_EQ(2, mutex_.depth()) << "its record is all that is left";
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Heir.cpp", 3);
        EXPECT_EQ(1, mutex_.depth());
        EXPECT_STREQ("Heir.cpp", mutex_.first_locker_file());
    }
    expect_free();
    std::thread([&] {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Third.cpp", 4);
        EXPECT_EQ(1, mutex_.depth());
    }).join();
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Mutex, GuardsKeepThreadsApart)
{
    constexpr int rounds = 2'000;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                KR_GUARD(mutex_);
                KR_GUARD(mutex_);
                ++counter;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(8 * rounds, counter);
    expect_free();
}

TEST_F(Mutex, TheRecordMayBeReadWhileItsHolderWritesIt)
{
    std::atomic<bool> is_over{false};
    std::thread holder([&] {
        for (int i = 0; i < 20'000; ++i)
            const KR_Mutex_Guard guard(mutex_, "mutex_", "First.cpp", 7);
        is_over = true;
    });
    while (!is_over) {
        const char* const file = mutex_.first_locker_file();
        EXPECT_TRUE(file == nullptr || std::string(file) == "First.cpp");
        EXPECT_THAT(mutex_.first_locker_line(), testing::AnyOf(-1, 7));
        EXPECT_THAT(mutex_.depth(), testing::AnyOf(0, 1));
        EXPECT_GE(mutex_.first_lock_time(), ACE_Time_Value::zero);
        static_cast<void>(mutex_.owner());
    }
    holder.join();
    expect_free();
}

TEST_F(Mutex, ManyMutexesLeaveNothingOpen)
{
    {
        Process_Mutex_Ex warm_up;
        KR_GUARD(warm_up);
    }
    const unsigned before = kr_platform_testing::open_handle_count();
    std::vector<Process_Mutex_Ex> mutexes(100'000);
    for (Process_Mutex_Ex& mutex : mutexes) {
        KR_GUARD(mutex);
    }
    EXPECT_EQ(before, kr_platform_testing::open_handle_count());
    EXPECT_EQ(48u, sizeof(Process_Mutex_Ex));
}

TEST_F(Mutex, AGuardHeldAcrossAForkIsReleasedInTheChild)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    Process_Mutex_Ex others;
    Holder holder(others, 2);
    KR_Mutex_Guard outer(mutex_, "mutex_", "Outer.cpp", 1);
    KR_Mutex_Guard inner(mutex_, "mutex_", "Inner.cpp", 2);
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([&] {
                  if (inner.release() != 0 || mutex_.depth() != 1)
                      return 1;
                  if (outer.release() != 0 || mutex_.depth() != 0 || mutex_.owner() != 0)
                      return 2;
                  KR_GUARD(mutex_);
                  KR_GUARD(others); // its thread does not exist here
                  return others.depth() == 1 && mutex_.depth() == 1 ? 0 : 3;
              }));
    EXPECT_EQ(2, mutex_.depth());
    EXPECT_EQ(2, others.depth());
    EXPECT_TRUE(capture_.lines().empty());
}

MATCHER(HasOneEmergencyLine, "")
{
    const std::string text = arg;
    const std::regex line("\\*EMR ");
    return 1 == std::distance(std::sregex_iterator(text.begin(), text.end(), line),
                              std::sregex_iterator());
}

TEST(MutexDeathTest, ADepthBelowZeroIsAFailedAssertion)
{
    EXPECT_EXIT(
        {
            Process_Mutex_Ex mutex;
            KR_Mutex_Guard guard(mutex, "mutex", "First.cpp", 7);
            depth_of(mutex) = 0;
            guard.release();
        },
        testing::ExitedWithCode(1),
        FullyMatches("\\d\\d:\\d\\d:\\d\\d\\.\\d{6} T\\d{4,}\\*EMR Assertion failed for "
                     "'lock_\\.dbg_depth_ >= 0' in Mutex\\.h:150\\.\r?\n"));
}

TEST(MutexDeathTest, APanicEndsTheProcessWithExitCode1AndOneEmergencyLine)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Process_Mutex_Ex mutex;
            Fake_World world({{EINVAL, 0}});
            world.does_end_ = true;
            Holder holder(mutex);
            KR_Mutex_Guard guard(mutex, "mutex", "Waiter.cpp", 42);
        },
        testing::ExitedWithCode(1),
        testing::AllOf(HasOneEmergencyLine(), testing::HasSubstr("Lock panic at Waiter.cpp:42")));
}

// The real clock, the real lock and the real end.
using Mutex_Slow = Mutex;

TEST_F(Mutex_Slow, AHolderOf15SecondsIsReportedAndTheLockEventuallyAcquired)
{
    const auto start = std::chrono::steady_clock::now();
    Holder holder(mutex_);
    holder_number_ = holder.number();
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(15'500));
        holder.let_go();
    });
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
        EXPECT_EQ(1, mutex_.depth());
    }
    release.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15'400));
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10);
    EXPECT_THAT(capture_.unstamped(1),
                FullyMatches(" T\\d{4,}\\*ERR KR_GUARD:\\[1\\] mutex_ - Lock eventually acquired "
                             "after 1[5-9] seconds at Waiter\\.cpp:42\\.\n"));
}

TEST_F(Mutex_Slow, AHolderOfLittleMoreThan10SecondsIsReportedOnce)
{
    Holder holder(mutex_);
    holder_number_ = holder.number();
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10'800));
        holder.let_go();
    });
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    }
    release.join();
    ASSERT_EQ(2u, capture_.lines().size());
    expect_delay(0, 10);
    EXPECT_THAT(capture_.unstamped(1),
                FullyMatches(" T\\d{4,}\\*ERR KR_GUARD:\\[1\\] mutex_ - Lock eventually acquired "
                             "after 1[0-4] seconds at Waiter\\.cpp:42\\.\n"));
}

TEST_F(Mutex_Slow, AHolderOf9SecondsIsNotReported)
{
    Holder holder(mutex_);
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::seconds(9));
        holder.let_go();
    });
    {
        const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    }
    release.join();
    EXPECT_TRUE(capture_.lines().empty());
}

TEST(MutexDeathTest_Slow, ADeadLockEndsTheProcessAfter130Seconds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(
        {
            Process_Mutex_Ex mutex;
            Holder holder(mutex);
            KR_Mutex_Guard guard(mutex, "mutex", "Waiter.cpp", 42);
        },
        testing::ExitedWithCode(1),
        testing::AllOf(HasOneEmergencyLine(),
                       testing::HasSubstr("*ERR KR_GUARD:[0] mutex - Lock acquire delay (10 "
                                          "seconds passed) at Waiter.cpp:42 (locked 1 time(s) by"),
                       testing::HasSubstr("*EMR KR_GUARD:[0] mutex - Lock acquire failed (130 "
                                          "seconds passed) at Waiter.cpp:42 (locked 1 time(s) by"),
                       testing::Not(testing::HasSubstr("eventually"))));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(130));
}

TEST_F(Mutex, AReportTellsTheFirstLocksTimeToTheMicrosecond)
{
    Fake_World world({{ETIME, 10'000}, {0, 5'000}});
    Holder holder(mutex_);
    world.before_success_ = [&] { holder.let_go(); };
    const ACE_Time_Value first = mutex_.first_lock_time();
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06ld ", static_cast<long>(first.usec()));
    const KR_Mutex_Guard guard(mutex_, "mutex_", "Waiter.cpp", 42);
    ASSERT_EQ(2u, capture_.lines().size());
    EXPECT_THAT(
        capture_.lines()[0].text,
        testing::HasSubstr(" first on " + kr_platform::local_clock_text(first.sec()) + fraction));
}

// A copy would release once more.
static_assert(!std::is_copy_constructible_v<KR_Mutex_Guard>);
static_assert(!std::is_copy_assignable_v<KR_Mutex_Guard>);
static_assert(!std::is_copy_constructible_v<Process_Mutex_Ex>);
static_assert(!std::is_copy_assignable_v<Process_Mutex_Ex>);

} // namespace
