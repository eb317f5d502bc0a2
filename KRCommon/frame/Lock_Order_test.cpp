#include <KRCommon/frame/Lock_Order.h>

#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/Mutex_World.h>
#include <tests/support/Log_Capture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <thread>

namespace {

using kr_internal::Lock_Order;

class LockOrder : public testing::Test {
protected:
    void take(std::uint32_t first, std::uint32_t second)
    {
        order_->add({first, "First.cpp", static_cast<int>(first)},
                    {second, "Second.cpp", static_cast<int>(second)});
    }

    std::unique_ptr<Lock_Order> order_ = std::make_unique<Lock_Order>();
};

TEST_F(LockOrder, KnowsNothingAtFirst)
{
    EXPECT_EQ("", order_->reverse(1, 2));
}

TEST_F(LockOrder, TheSameOrderAgainIsNothing)
{
    take(1, 2);
    EXPECT_EQ("", order_->reverse(1, 2));
}

TEST_F(LockOrder, TellsWhereItWasTheOtherWayRound)
{
    take(1, 2);
    EXPECT_EQ("at Second.cpp:2 while holding the lock of First.cpp:1", order_->reverse(2, 1));
}

TEST_F(LockOrder, TellsOfARingOfSeveral)
{
    take(1, 2);
    take(2, 3);
    take(9, 3);
    EXPECT_EQ("at Second.cpp:2 while holding the lock of First.cpp:1, "
              "at Second.cpp:3 while holding the lock of First.cpp:2",
              order_->reverse(3, 1));
    EXPECT_EQ("", order_->reverse(1, 3)) << "that is the same order";
    EXPECT_EQ("at Second.cpp:3 while holding the lock of First.cpp:9", order_->reverse(3, 9));
}

TEST_F(LockOrder, TellsTheShortestWay)
{
    take(1, 2);
    take(2, 3);
    take(1, 3);
    EXPECT_EQ("at Second.cpp:3 while holding the lock of First.cpp:1", order_->reverse(3, 1));
}

TEST_F(LockOrder, AReversedOrderIsToldOnce)
{
    take(1, 2);
    EXPECT_NE("", order_->reverse(2, 1));
    take(2, 1);
    EXPECT_EQ("", order_->reverse(2, 1));
    EXPECT_EQ("", order_->reverse(1, 2));
}

TEST_F(LockOrder, ForgetsTheOldestWhenItIsFull)
{
    take(1, 2);
    for (std::uint32_t i = 0; i + 1 < Lock_Order::capacity; ++i)
        take(10, 100 + i);
    EXPECT_NE("", order_->reverse(2, 1));
    take(3, 4);
    EXPECT_EQ("", order_->reverse(2, 1));
    EXPECT_NE("", order_->reverse(4, 3));
}

TEST_F(LockOrder, ARingOfAllThatItRemembersIsFound)
{
    constexpr std::uint32_t count = Lock_Order::capacity;
    for (std::uint32_t i = 1; i <= count; ++i)
        take(i, i + 1);
    EXPECT_NE("", order_->reverse(count + 1, 1));
}

TEST_F(LockOrder, ForgetsWhenItIsTold)
{
    take(1, 2);
    order_->forget();
    EXPECT_EQ("", order_->reverse(2, 1));
}

// Through guards: debug builds of the library alone.
#ifdef NDEBUG
constexpr std::size_t lines_in_debug = 0;
#else
constexpr std::size_t lines_in_debug = 1;
#endif

using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

void take_both(Process_Mutex_Ex& first, Process_Mutex_Ex& second)
{
    const KR_Mutex_Guard outer(first, "first", "Outer.cpp", 1);
    const KR_Mutex_Guard inner(second, "second", "Inner.cpp", 2);
}

TEST_F(LockOrder, GuardsTellOnceInDebugBuildsAndNeverInReleaseBuilds)
{
    Process_Mutex_Ex a;
    Process_Mutex_Ex b;
    const Log_Capture capture;
    take_both(a, b);
    take_both(a, b);
    EXPECT_EQ(0u, capture.lines().size());
    take_both(b, a);
    take_both(b, a);
    take_both(a, b);
    ASSERT_EQ(lines_in_debug, capture.lines().size());
    if (lines_in_debug != 0) {
        EXPECT_EQ(LM_ERROR, capture.lines()[0].priority);
        EXPECT_THAT(
            capture.lines()[0].text,
            testing::HasSubstr(
                "*ERR KR_GUARD:[0] second - Lock order: acquired at Inner.cpp:2 while "
                "holding the lock of Outer.cpp:1, but before it was the other way round: at "
                "Inner.cpp:2 while holding the lock of Outer.cpp:1.\n"));
    }
}

TEST_F(LockOrder, AMutexInAnotherOnesPlaceIsAnotherOne)
{
    Process_Mutex_Ex a;
    alignas(Process_Mutex_Ex) unsigned char place[sizeof(Process_Mutex_Ex)];
    const Log_Capture capture;
    auto* b = new (place) Process_Mutex_Ex;
    take_both(a, *b);
    b->~Process_Mutex_Ex();
    b = new (place) Process_Mutex_Ex;
    take_both(*b, a);
    b->~Process_Mutex_Ex();
    EXPECT_EQ(0u, capture.lines().size());
}

// Looks how much was logged when a guard begins to wait.
class Observing_World final : public kr_internal::Guard_World {
public:
    Observing_World(const Log_Capture& capture, std::atomic<bool>& may_go)
        : capture_(capture), may_go_(may_go)
    {
        kr_internal::guard_world.replace(this);
    }
    ~Observing_World() { kr_internal::guard_world.replace(nullptr); }
    Observing_World(const Observing_World&) = delete;
    Observing_World& operator=(const Observing_World&) = delete;

    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t wall_microseconds() override { return 0; }
    int acquire_for(kr_internal::Process_Lock& lock, std::int64_t milliseconds,
                    std::int64_t arrival) override
    {
        lines_before_wait_ = capture_.lines().size();
        may_go_ = true;
        return kr_internal::acquire_for(lock, milliseconds, arrival);
    }
    void end_process(int) override {}

    std::size_t lines_before_wait_ = 99;

private:
    const Log_Capture& capture_;
    std::atomic<bool>& may_go_;
};

TEST_F(LockOrder, ItIsToldBeforeTheWait)
{
    Process_Mutex_Ex a;
    Process_Mutex_Ex b;
    take_both(a, b);
    std::atomic<bool> has_taken{false};
    std::atomic<bool> may_go{false};
    std::thread other([&] {
        const KR_Mutex_Guard guard(a, "a", "Other.cpp", 3);
        has_taken = true;
        while (!may_go)
            std::this_thread::yield();
    });
    while (!has_taken)
        std::this_thread::yield();
    const Log_Capture capture;
    Observing_World world(capture, may_go);
    take_both(b, a);
    other.join();
    EXPECT_EQ(lines_in_debug, world.lines_before_wait_);
}

} // namespace
