#include <KRCommon/frame/Log_Gate.h>

#include <KRCommon/platform/Platform.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using kr_internal::Log_Gate;

constexpr int for_ever = 60'000;

bool can_enter(Log_Gate& gate)
{
    const int here = 0;
    Log_Gate::Counter* const counter = gate.enter(&here);
    if (counter != nullptr)
        Log_Gate::leave(*counter);
    return counter != nullptr;
}

bool can_another_thread_enter(Log_Gate& gate)
{
    bool can = false;
    std::thread([&] { can = can_enter(gate); }).join();
    return can;
}

// A thread that is inside until it is told to leave.
class Inside {
public:
    explicit Inside(Log_Gate& gate)
        : thread_([&] {
              const int here = 0;
              Log_Gate::Counter* const counter = gate.enter(&here);
              is_inside_ = true;
              while (!may_leave_)
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
              Log_Gate::leave(*counter);
          })
    {
        while (!is_inside_)
            std::this_thread::yield();
    }
    ~Inside()
    {
        leave();
        thread_.join();
    }

    void leave() { may_leave_ = true; }

private:
    std::atomic<bool> is_inside_{false};
    std::atomic<bool> may_leave_{false};
    std::thread thread_;
};

TEST(LogGate, IsOpenForEverybodyAtFirst)
{
    Log_Gate gate;
    EXPECT_TRUE(can_enter(gate));
    EXPECT_TRUE(can_another_thread_enter(gate));
}

TEST(LogGate, ClosedItLetsItsOwnThreadInOnly)
{
    Log_Gate gate;
    EXPECT_TRUE(gate.close(for_ever));
    EXPECT_TRUE(can_enter(gate));
    EXPECT_FALSE(can_another_thread_enter(gate));
}

TEST(LogGate, ClosingWaitsForThoseInside)
{
    Log_Gate gate;
    Inside inside(gate);
    std::atomic<bool> has_left{false};
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        has_left = true;
        inside.leave();
    });
    EXPECT_TRUE(gate.close(for_ever));
    EXPECT_TRUE(has_left);
    helper.join();
}

TEST(LogGate, ClosingWaitsNoLongerThanToldAndThenLetsNobodyIn)
{
    Log_Gate gate;
    const Inside inside(gate);
    const std::int64_t start = kr_platform::steady_milliseconds();
    EXPECT_FALSE(gate.close(100));
    EXPECT_LE(100, kr_platform::steady_milliseconds() - start);
    EXPECT_FALSE(can_enter(gate));
    EXPECT_FALSE(can_another_thread_enter(gate));
}

TEST(LogGate, ThreadsThatAreTurnedAwayDoNotLookLikeThreadsInside)
{
    Log_Gate gate;
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i)
        threads.emplace_back([&] {
            while (!is_over)
                can_enter(gate);
        });
    EXPECT_TRUE(gate.close(for_ever));
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
}

// Nobody is inside when close() has returned, whatever the others were about.
TEST(LogGate, NobodyGetsInWhileItCloses)
{
    for (int round = 0; round < 200; ++round) {
        Log_Gate gate;
        std::atomic<bool> is_over{false};
        std::atomic<bool> is_closed{false};
        std::atomic<int> late{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                while (!is_over) {
                    const int here = 0;
                    Log_Gate::Counter* const counter = gate.enter(&here);
                    if (counter == nullptr)
                        continue;
                    late += is_closed ? 1 : 0;
                    Log_Gate::leave(*counter);
                }
            });
        EXPECT_TRUE(gate.close(for_ever));
        is_closed = true;
        is_over = true;
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(0, late);
    }
}

TEST(LogGate, AForkedChildForgetsThreadsThatAreNotItsOwn)
{
    Log_Gate gate;
    const Inside inside(gate);
    gate.forget_other_threads();
    EXPECT_TRUE(gate.close(0));
}

} // namespace
