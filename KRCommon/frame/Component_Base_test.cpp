#include <KRCommon/frame/Component_Base.h>

#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <ace/Reactor.h>
#include <ace/Timer_Queue.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

// Does in its hooks what the test says, and counts them.
class Test_Component : public KR_Component_Base {
public:
    using KR_Component_Base::get_state;
    using KR_Component_Base::mutex_;
    using KR_Component_Base::set_state;

    explicit Test_Component(const char* name = "camera-7") : KR_Component_Base(name) {}
    ~Test_Component() override
    {
        if (get_state() == STATE_STOPPED)
            return;
        in_stop_ = [] { return 0; };
        component_stop();
    }

    std::function<int()> in_start_ = [] { return 1; };
    std::function<int()> in_stop_ = [] { return 0; };
    int starts_ = 0;
    int stops_ = 0;
    ACE_Reactor* reactor_ = nullptr;

protected:
    State do_component_start(ACE_Reactor* reactor) override
    {
        ++starts_;
        reactor_ = reactor;
        return static_cast<State>(in_start_());
    }
    State do_component_stop() override
    {
        ++stops_;
        return static_cast<State>(in_stop_());
    }
};

constexpr auto stopped = KR_Component_Base::STATE_STOPPED;

class Component_Base : public testing::Test {
protected:
    void SetUp() override { ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS); }
    void TearDown() override { SetUp(); }

    // The component runs in that state, by way of its start.
    void run_in(int state)
    {
        component_.in_start_ = [state] { return state; };
        const Log_Capture unseen;
        ASSERT_EQ(0, component_.component_start(nullptr));
    }

    // Exactly one line was logged, and this is the whole of it.
    void expect_line(ACE_Log_Priority priority, int line, int status, const std::string& text)
    {
        ASSERT_EQ(1u, capture_.lines().size());
        EXPECT_EQ(priority, capture_.lines()[0].priority);
        EXPECT_EQ("Component_Base.cpp", capture_.lines()[0].file);
        EXPECT_EQ(line, capture_.lines()[0].line);
        EXPECT_EQ(status, capture_.lines()[0].status);
        EXPECT_EQ(thread_mark() + text, capture_.unstamped(0));
    }

    void expect_calls(int starts, int stops)
    {
        EXPECT_EQ(starts, component_.starts_);
        EXPECT_EQ(stops, component_.stops_);
    }

    Log_Capture capture_; // until after the component's end
    Test_Component component_;
};

TEST_F(Component_Base, ShapeOfTheClass)
{
    using Base = KR_Component_Base;
    static_assert(std::is_abstract_v<Base>);
    static_assert(std::has_virtual_destructor_v<Test_Component>);
    static_assert(!std::is_destructible_v<Base>, "protected");
    static_assert(!std::is_copy_constructible_v<Test_Component>);
    static_assert(!std::is_copy_assignable_v<Test_Component>);
    static_assert(!std::is_move_constructible_v<Test_Component>);
    static_assert(std::is_same_v<std::int32_t, std::underlying_type_t<Base::State>>);
    EXPECT_EQ(0, Base::STATE_STOPPED);
    EXPECT_EQ(1, Base::STATE_STARTED);
}

TEST_F(Component_Base, IsStoppedAtFirstAndLogsNothing)
{
    EXPECT_EQ(stopped, component_.get_state());
    expect_calls(0, 0);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, StartOfAStoppedComponentTakesTheHooksState)
{
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(KR_Component_Base::STATE_STARTED, component_.get_state());
    expect_calls(1, 0);
    expect_line(LM_DEBUG, 25, 0, " DBG camera-7: Component started.\n");
}

TEST_F(Component_Base, StartHookThatReturnsZeroLeavesTheComponentStopped)
{
    component_.in_start_ = [] { return 0; };
    EXPECT_EQ(-1, component_.component_start(nullptr));
    EXPECT_EQ(stopped, component_.get_state());
    expect_calls(1, 0);
    expect_line(LM_ERROR, 24, -1, "*ERR camera-7: Failed to start component.\n");
}

TEST_F(Component_Base, StartOfARunningComponentCallsNoHook)
{
    run_in(1);
    EXPECT_EQ(-1, component_.component_start(nullptr));
    EXPECT_EQ(KR_Component_Base::STATE_STARTED, component_.get_state());
    expect_calls(1, 0);
    expect_line(LM_ERROR, 21, -1, "*ERR camera-7: Cannot start component while in state 1.\n");
}

TEST_F(Component_Base, StopOfARunningComponent)
{
    run_in(1);
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_EQ(stopped, component_.get_state());
    expect_calls(1, 1);
    expect_line(LM_DEBUG, 37, 0, " DBG camera-7: Component stopped.\n");
}

TEST_F(Component_Base, StopHookThatReturnsARunningStateKeepsThatOne)
{
    run_in(7);
    component_.in_stop_ = [] { return 9; };
    EXPECT_EQ(-1, component_.component_stop());
    EXPECT_EQ(9, component_.get_state());
    expect_calls(1, 1);
    expect_line(LM_ERROR, 36, -1, "*ERR camera-7: Failed to stop component.\n");
}

TEST_F(Component_Base, StopOfAStoppedComponentCallsNoHook)
{
    EXPECT_EQ(-1, component_.component_stop());
    EXPECT_EQ(stopped, component_.get_state());
    expect_calls(0, 0);
    expect_line(LM_ERROR, 33, -1, "*ERR camera-7: Cannot stop component while in state 0.\n");
}

TEST_F(Component_Base, StopThatFailedMayBeTriedAgain)
{
    run_in(7);
    component_.in_stop_ = [] { return 7; };
    EXPECT_EQ(-1, component_.component_stop());
    component_.in_stop_ = [] { return 0; };
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_EQ(stopped, component_.get_state());
    expect_calls(1, 2);
}

TEST_F(Component_Base, StartsAndStopsAnyNumberOfTimes)
{
    for (int round = 1; round <= 100; ++round) {
        EXPECT_EQ(0, component_.component_start(nullptr));
        EXPECT_EQ(0, component_.component_stop());
        expect_calls(round, round);
    }
    EXPECT_EQ(200u, capture_.lines().size());
}

TEST_F(Component_Base, RunningStateOfAnyValueIsKeptAndPrinted)
{
    for (const int state : {7, -1, 2, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(state);
        run_in(state);
        EXPECT_EQ(state, component_.get_state());
        const int starts = component_.starts_;
        const Log_Capture capture;
        EXPECT_EQ(-1, component_.component_start(nullptr));
        EXPECT_EQ(thread_mark() + "*ERR camera-7: Cannot start component while in state " +
                      std::to_string(state) + ".\n",
                  capture.unstamped(0));
        EXPECT_EQ(state, component_.get_state());
        EXPECT_EQ(starts, component_.starts_);
        EXPECT_EQ(0, component_.component_stop());
        EXPECT_EQ(stopped, component_.get_state());
    }
}

TEST_F(Component_Base, WaitForStopIsNotSupportedInAnyState)
{
    EXPECT_EQ(-1, component_.component_wait_for_stop());
    EXPECT_EQ(stopped, component_.get_state());
    for (const int state : {1, 7, -1, INT_MAX, 0}) {
        component_.set_state(static_cast<KR_Component_Base::State>(state));
        EXPECT_EQ(-1, component_.component_wait_for_stop()) << state;
        EXPECT_EQ(state, component_.get_state());
    }
    expect_calls(0, 0);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, ReactorReachesTheHook)
{
    ACE_Reactor reactor;
    EXPECT_EQ(0, component_.component_start(&reactor));
    EXPECT_EQ(&reactor, component_.reactor_);
    EXPECT_EQ(-1, component_.component_start(nullptr));
    EXPECT_EQ(&reactor, component_.reactor_) << "the hook was not called";
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(nullptr, component_.reactor_);
}

TEST_F(Component_Base, SetStateReturnsThePreviousOneAndCallsNoHook)
{
    const auto seven = static_cast<KR_Component_Base::State>(7);
    EXPECT_EQ(stopped, component_.set_state(seven));
    EXPECT_EQ(seven, component_.set_state(KR_Component_Base::STATE_STARTED));
    EXPECT_EQ(KR_Component_Base::STATE_STARTED, component_.get_state());
    EXPECT_EQ(KR_Component_Base::STATE_STARTED, component_.set_state(stopped));
    EXPECT_EQ(stopped, component_.set_state(stopped));
    expect_calls(0, 0);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, HookSeesTheStateOfBefore)
{
    int in_start = -5;
    int in_stop = -5;
    component_.in_start_ = [&] {
        in_start = component_.get_state();
        return 7;
    };
    component_.in_stop_ = [&] {
        in_stop = component_.get_state();
        return 0;
    };
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_EQ(0, in_start);
    EXPECT_EQ(7, in_stop);
}

TEST_F(Component_Base, WhatAHookSetsIsReplacedByWhatItReturns)
{
    int set_by_start = -5;
    component_.in_start_ = [&] {
        component_.set_state(static_cast<KR_Component_Base::State>(5));
        set_by_start = component_.get_state();
        return 7;
    };
    component_.in_stop_ = [&] {
        component_.set_state(stopped);
        return 8;
    };
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(5, set_by_start);
    EXPECT_EQ(7, component_.get_state());
    EXPECT_EQ(-1, component_.component_stop());
    EXPECT_EQ(8, component_.get_state());
}

TEST_F(Component_Base, HooksRunUnderTheMutexOfTheirOperation)
{
    struct Record {
        int depth = 0;
        std::string file;
        int line = 0;
        unsigned owner = 0;
    };
    const auto record = [&] {
        return Record{component_.mutex_.depth(), component_.mutex_.first_locker_file(),
                      component_.mutex_.first_locker_line(), component_.mutex_.owner()};
    };
    std::vector<Record> records;
    component_.in_start_ = [&] {
        records.push_back(record());
        return 1;
    };
    component_.in_stop_ = [&] {
        records.push_back(record());
        return 0;
    };
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(0, component_.mutex_.depth());
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_EQ(0, component_.mutex_.depth());
    ASSERT_EQ(2u, records.size());
    for (std::size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        EXPECT_GE(records[i].depth, 1);
        EXPECT_EQ("Component_Base.cpp", records[i].file);
        EXPECT_EQ(i == 0 ? 19 : 31, records[i].line);
        EXPECT_EQ(kr_platform::thread_id(), records[i].owner);
    }
}

// The first ten seconds of a wait pass at once; then the holder lets go.
class Impatient_World final : public kr_internal::Guard_World {
public:
    explicit Impatient_World(std::function<void()> let_go) : let_go_(std::move(let_go))
    {
        kr_internal::guard_world.replace(this);
    }
    ~Impatient_World() { kr_internal::guard_world.replace(nullptr); }
    Impatient_World(const Impatient_World&) = delete;
    Impatient_World& operator=(const Impatient_World&) = delete;

    std::int64_t steady_milliseconds() override { return now_; }
    std::int64_t wall_microseconds() override { return kr_platform::coarse_wall_microseconds(); }
    int acquire_for(kr_internal::Process_Lock& lock, std::int64_t milliseconds,
                    std::int64_t arrival) override
    {
        if (now_ > 0)
            return kr_internal::acquire_for(lock, milliseconds, arrival);
        now_ = milliseconds;
        let_go_();
        errno = ETIME;
        return -1;
    }
    void end_process(int exit_code) override { kr_platform::end_process(exit_code); }

private:
    const std::function<void()> let_go_;
    std::int64_t now_ = 0;
};

TEST_F(Component_Base, EachOperationNamesItsPlaceWhenItHasToWaitForTheMutex)
{
    struct Row {
        std::function<void()> operation;
        int line;
    };
    const Row rows[] = {{[this] { component_.get_state(); }, 5},
                        {[this] { component_.set_state(stopped); }, 11},
                        {[this] { component_.component_start(nullptr); }, 19},
                        {[this] { component_.component_stop(); }, 31}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        std::promise<void> held;
        std::promise<void> let_go;
        std::thread holder([&] {
            const KR_Mutex_Guard guard(component_.mutex_, "mutex_", "Holder.cpp", 77);
            held.set_value();
            let_go.get_future().wait();
        });
        held.get_future().wait();
        const Log_Capture capture;
        {
            const Impatient_World world([&] { let_go.set_value(); });
            row.operation();
        }
        holder.join();
        ASSERT_LE(2u, capture.lines().size());
        const std::string place =
            " seconds passed) at Component_Base.cpp:" + std::to_string(row.line) + " (locked ";
        EXPECT_THAT(capture.lines()[0].text, testing::HasSubstr(place));
        EXPECT_THAT(capture.lines()[0].text, testing::HasSubstr(" mutex_ - Lock acquire delay"));
    }
}

TEST_F(Component_Base, GetStateOfAnotherThreadWaitsForTheHook)
{
    std::atomic<bool> has_answer{false};
    bool had_answer_during_hook = true;
    int answer = -5;
    std::thread asking;
    component_.in_start_ = [&] {
        asking = std::thread([&] {
            answer = component_.get_state();
            has_answer = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        had_answer_during_hook = has_answer;
        return 7;
    };
    EXPECT_EQ(0, component_.component_start(nullptr));
    asking.join();
    EXPECT_FALSE(had_answer_during_hook);
    EXPECT_EQ(7, answer);
}

// What one thread of a crowd saw.
struct Outcome {
    int result = -5;
    std::vector<Log_Capture::Line> lines;
};

// All threads do it at once. The end of a capture switches callbacks off for a moment, and for all
// threads; so the captures end when all have logged.
std::array<Outcome, 8> all_at_once(const std::function<int()>& operation)
{
    std::array<Outcome, 8> outcomes;
    std::atomic<std::size_t> ready{0};
    std::atomic<std::size_t> done{0};
    const auto wait_for_all = [&](std::atomic<std::size_t>& arrived) {
        ++arrived;
        while (arrived < outcomes.size())
            std::this_thread::yield();
    };
    std::vector<std::thread> threads;
    threads.reserve(outcomes.size());
    for (Outcome& outcome : outcomes)
        threads.emplace_back([&] {
            const Log_Capture capture;
            wait_for_all(ready);
            outcome.result = operation();
            outcome.lines = capture.lines();
            wait_for_all(done);
        });
    for (std::thread& thread : threads)
        thread.join();
    return outcomes;
}

// Exactly one thread succeeded, and each logged the line that goes with its result.
void expect_one_success(const std::array<Outcome, 8>& outcomes, const std::string& success,
                        const std::string& refusal)
{
    int successes = 0;
    for (const Outcome& outcome : outcomes) {
        EXPECT_TRUE(outcome.result == 0 || outcome.result == -1) << outcome.result;
        successes += outcome.result == 0;
        ASSERT_EQ(1u, outcome.lines.size());
        EXPECT_THAT(outcome.lines[0].text,
                    testing::EndsWith(outcome.result == 0 ? success : refusal));
    }
    EXPECT_EQ(1, successes);
}

TEST_F(Component_Base, OfEightStartsAtOnceOneSucceedsAndOfEightStopsOne)
{
    const auto slowly = [](int state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return state;
    };
    component_.in_start_ = [&] { return slowly(7); };
    component_.in_stop_ = [&] { return slowly(0); };
    for (int round = 1; round <= 20; ++round) {
        SCOPED_TRACE(round);
        expect_one_success(all_at_once([this] { return component_.component_start(nullptr); }),
                           " DBG camera-7: Component started.\n",
                           "*ERR camera-7: Cannot start component while in state 7.\n");
        expect_calls(round, round - 1);
        EXPECT_EQ(7, component_.get_state());
        expect_one_success(all_at_once([this] { return component_.component_stop(); }),
                           " DBG camera-7: Component stopped.\n",
                           "*ERR camera-7: Cannot stop component while in state 0.\n");
        expect_calls(round, round);
        EXPECT_EQ(stopped, component_.get_state());
    }
}

TEST_F(Component_Base, StartsAndStopsOfManyThreadsAlternate)
{
    std::atomic<int> started{0};
    std::atomic<int> ended{0};
    all_at_once([&] {
        for (int i = 0; i < 100; ++i) {
            started += component_.component_start(nullptr) == 0;
            ended += component_.component_stop() == 0;
        }
        return 0;
    });
    EXPECT_GE(started, 1);
    expect_calls(started, ended);
    EXPECT_EQ(started, ended) << "each thread ends with a stop";
    EXPECT_EQ(stopped, component_.get_state());
}

TEST_F(Component_Base, ExceptionOfAHookPassesThroughWithTheMutexReleased)
{
    component_.in_start_ = []() -> int { throw std::runtime_error("start"); };
    component_.in_stop_ = []() -> int { throw std::runtime_error("stop"); };
    EXPECT_THROW(component_.component_start(nullptr), std::runtime_error);
    EXPECT_EQ(0, component_.mutex_.depth());
    EXPECT_EQ(stopped, component_.get_state());
    component_.set_state(static_cast<KR_Component_Base::State>(7));
    EXPECT_THROW(component_.component_stop(), std::runtime_error);
    EXPECT_EQ(0, component_.mutex_.depth());
    int seen_by_other_thread = -5;
    std::thread([&] { seen_by_other_thread = component_.get_state(); }).join();
    EXPECT_EQ(7, seen_by_other_thread);
    expect_calls(1, 1);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, NameIsCopied)
{
    std::string name = "first";
    Test_Component component(name.c_str());
    name = "other";
    component.component_start(nullptr);
    expect_line(LM_DEBUG, 25, 0, " DBG first: Component started.\n");
}

TEST_F(Component_Base, NameMayBeEmptyOrNull)
{
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        Test_Component component(name);
        const Log_Capture capture;
        component.component_stop();
        EXPECT_EQ(thread_mark() + "*ERR : Cannot stop component while in state 0.\n",
                  capture.unstamped(0));
    }
}

TEST_F(Component_Base, NameIsNeverReadAsAFormatAndCannotForgeALine)
{
    Test_Component component("%s%n%d a\nb\r\tc\x1b\x7f");
    component.component_start(nullptr);
    expect_line(LM_DEBUG, 25, 0, " DBG %s%n%d a\\nb\\r\\tc\\x1b\\x7f: Component started.\n");
}

TEST_F(Component_Base, LongNameIsCutAndTheRestOfTheLineStays)
{
    const std::string name(10'000, 'x');
    Test_Component component(name.c_str());
    component.component_stop();
    component.component_start(nullptr);
    component.component_start(nullptr);
    component.component_stop();
    const char* const ends[] = {
        "xxx...: Cannot stop component while in state 0.\n", "xxx...: Component started.\n",
        "xxx...: Cannot start component while in state 1.\n", "xxx...: Component stopped.\n"};
    ASSERT_EQ(4u, capture_.lines().size());
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string& text = capture_.lines()[i].text;
        EXPECT_THAT(text, testing::EndsWith(ends[i]));
        EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n'));
        EXPECT_GT(text.size(), 3000u);
        EXPECT_LT(text.size(), 4096u);
    }
}

TEST_F(Component_Base, ResultsDoNotDependOnWhatTheMaskLetsThrough)
{
    ACE_Log_Msg::instance()->priority_mask(0, ACE_Log_Msg::PROCESS);
    EXPECT_EQ(-1, component_.component_stop());
    EXPECT_EQ(0, component_.component_start(nullptr));
    EXPECT_EQ(-1, component_.component_start(nullptr));
    EXPECT_EQ(0, component_.component_stop());
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, DestructionOfAStoppedComponentLogsNothingAndCallsNoHook)
{
    int stops = 0;
    {
        auto component = std::make_unique<Test_Component>();
        component->in_stop_ = [&] {
            ++stops;
            return 0;
        };
        const Log_Capture capture;
        component->component_start(nullptr);
        component->component_stop();
        EXPECT_EQ(2u, capture.lines().size());
        component.reset();
        Test_Component().get_state();
        EXPECT_EQ(2u, capture.lines().size());
    }
    EXPECT_EQ(1, stops);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Component_Base, DerivedDestructorStopsARunningComponent)
{
    {
        Test_Component component;
        component.set_state(KR_Component_Base::STATE_STARTED);
    }
    expect_line(LM_DEBUG, 37, 0, " DBG camera-7: Component stopped.\n");
}

// The header's example.
class Heartbeat final : public KR_Component_Base, private ACE_Event_Handler {
public:
    Heartbeat() : KR_Component_Base("heartbeat") {}
    ~Heartbeat() override
    {
        if (get_state() != STATE_STOPPED)
            component_stop();
    }

    int beats_ = 0;

private:
    State do_component_start(ACE_Reactor* reactor) override
    {
        const ACE_Time_Value period(1);
        reactor_ = reactor;
        timer_ = reactor_ ? reactor_->schedule_timer(this, nullptr, period, period) : -1;
        return timer_ != -1 ? STATE_STARTED : STATE_STOPPED;
    }
    State do_component_stop() override
    {
        reactor_->cancel_timer(timer_);
        return STATE_STOPPED;
    }
    int handle_timeout(const ACE_Time_Value&, const void*) override
    {
        ++beats_;
        return 0;
    }

    ACE_Reactor* reactor_ = nullptr;
    long timer_ = -1;
};

TEST_F(Component_Base, ExampleBeatsWhileItRuns)
{
    ACE_Reactor reactor;
    {
        Heartbeat heartbeat;
        EXPECT_EQ(-1, heartbeat.component_start(nullptr)) << "needs a reactor";
        EXPECT_EQ(0, heartbeat.component_start(&reactor));
        const ACE_Time_Value first_beat = reactor.timer_queue()->earliest_time();
        reactor.timer_queue()->expire(first_beat);
        EXPECT_EQ(1, heartbeat.beats_);
        EXPECT_EQ(0, heartbeat.component_stop());
        EXPECT_TRUE(reactor.timer_queue()->is_empty());
        EXPECT_EQ(0, heartbeat.component_start(&reactor));
    }
    EXPECT_TRUE(reactor.timer_queue()->is_empty());
}

// Forgets to stop itself.
class Forgetful final : public KR_Component_Base {
public:
    Forgetful() : KR_Component_Base("forgetful") {}

private:
    State do_component_start(ACE_Reactor*) override { return STATE_STARTED; }
    State do_component_stop() override { return STATE_STOPPED; }
};

// Asks itself to stop and refuses.
class Stubborn final : public KR_Component_Base {
public:
    Stubborn() : KR_Component_Base("stubborn") {}
    ~Stubborn() override { component_stop(); }

private:
    State do_component_start(ACE_Reactor*) override { return STATE_STARTED; }
    State do_component_stop() override { return STATE_STARTED; }
};

TEST(Component_BaseDeathTest, DestructionOfARunningComponentIsAPureCall)
{
    EXPECT_DEATH(
        {
            Forgetful component;
            component.component_start(nullptr);
        },
        "pure virtual");
}

TEST(Component_BaseDeathTest, DestructionAfterAStopThatFailedIsAPureCall)
{
    EXPECT_DEATH(
        {
            ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS);
            Stubborn component;
            component.component_start(nullptr);
        },
        testing::AllOf(testing::HasSubstr("*ERR stubborn: Failed to stop component."),
                       testing::HasSubstr("pure virtual"),
                       testing::Not(testing::HasSubstr("Component stopped"))));
}

TEST(Component_BaseDeathTest, ForgetfulComponentThatIsStoppedEndsWell)
{
    Forgetful component;
    const Log_Capture capture;
    EXPECT_EQ(0, component.component_start(nullptr));
    EXPECT_EQ(0, component.component_stop());
}

} // namespace
