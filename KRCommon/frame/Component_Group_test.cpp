#include <KRCommon/frame/Component_Group.h>

#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What was called, in order, on whatever threads.
class Journal {
public:
    void add(const std::string& entry)
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        entries_.push_back(entry);
    }

    std::vector<std::string> entries()
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        return std::exchange(entries_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::string> entries_;
};

class Part final : public KR_Component_Base {
public:
    Part(const std::string& name, Journal& journal)
        : KR_Component_Base(name.c_str()), name_(name), journal_(journal)
    {
    }
    ~Part() override
    {
        if (get_state() != STATE_STOPPED)
            component_stop();
    }

    bool is_running() { return get_state() != STATE_STOPPED; }

    // The hooks: what they do, and whether it works out.
    std::function<bool()> on_start_ = [] { return true; };
    std::function<bool()> on_stop_ = [] { return true; };
    std::atomic<unsigned> start_thread_{0};
    std::atomic<ACE_Reactor*> reactor_{nullptr};

private:
    State do_component_start(ACE_Reactor* reactor) override
    {
        journal_.add("start " + name_);
        start_thread_ = kr_platform::thread_id();
        reactor_ = reactor;
        return on_start_() ? STATE_STARTED : STATE_STOPPED;
    }

    State do_component_stop() override
    {
        journal_.add("stop " + name_);
        return on_stop_() ? STATE_STOPPED : STATE_STARTED;
    }

    const std::string name_;
    Journal& journal_;
};

// Lets a hook hang until the test lets it go.
class Obstacle {
public:
    void wait() const
    {
        while (!is_gone_)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void remove() { is_gone_ = true; }

private:
    std::atomic<bool> is_gone_{false};
};

void wait_until(const std::function<bool()>& is_so)
{
    while (!is_so())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

class ComponentGroup : public testing::Test {
protected:
    ComponentGroup()
    {
        ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS);
        group_.add("a", a_);
        group_.add("b", b_);
        group_.add("c", c_);
    }

    // The group's own lines.
    std::vector<std::string> lines() const
    {
        std::vector<std::string> lines;
        for (const Log_Capture::Line& line : capture_.lines())
            if (const std::size_t at = line.text.find(" group: "); at != std::string::npos)
                lines.push_back(line.text.substr(at - 4, line.text.size() - at + 3));
        return lines;
    }

    Log_Capture capture_;
    Journal journal_;
    Part a_{"part a", journal_};
    Part b_{"part b", journal_};
    Part c_{"part c", journal_};
    KR_Component_Group group_{"group"};
};

TEST_F(ComponentGroup, StartsInOrderAndStopsInReverse)
{
    int reactor = 0;
    EXPECT_EQ(0, group_.component_start(reinterpret_cast<ACE_Reactor*>(&reactor)));
    EXPECT_THAT(journal_.entries(), ElementsAre("start part a", "start part b", "start part c"));
    EXPECT_EQ(reinterpret_cast<ACE_Reactor*>(&reactor), c_.reactor_);
    EXPECT_THAT(lines(), ElementsAre(" DBG group: Component started."));
    EXPECT_EQ(0, group_.component_stop());
    EXPECT_THAT(journal_.entries(), ElementsAre("stop part c", "stop part b", "stop part a"));
    EXPECT_THAT(lines(),
                ElementsAre(" DBG group: Component started.", " DBG group: Component stopped."));
    EXPECT_THAT(group_.failed(), IsEmpty());
}

TEST_F(ComponentGroup, StartsAgainAfterAStop)
{
    EXPECT_EQ(0, group_.component_start(nullptr));
    EXPECT_EQ(0, group_.component_stop());
    journal_.entries();
    EXPECT_EQ(0, group_.component_start(nullptr));
    EXPECT_THAT(journal_.entries(), ElementsAre("start part a", "start part b", "start part c"));
    EXPECT_EQ(-1, group_.component_start(nullptr)) << "as any component";
    EXPECT_EQ(-1, group_.add("d", a_)) << "not while it runs";
}

TEST_F(ComponentGroup, AnEmptyGroupStartsAndStops)
{
    KR_Component_Group empty(nullptr);
    EXPECT_EQ(0, empty.component_start(nullptr));
    EXPECT_EQ(0, empty.component_stop());
}

TEST_F(ComponentGroup, RollsBackWhenOneFailsToStart)
{
    c_.on_start_ = [] { return false; };
    EXPECT_EQ(-1, group_.component_start(nullptr));
    EXPECT_THAT(journal_.entries(), ElementsAre("start part a", "start part b", "start part c",
                                                "stop part b", "stop part a"));
    EXPECT_THAT(group_.failed(), ElementsAre("c"));
    EXPECT_THAT(lines(), ElementsAre("*ERR group: c failed to start; stopping what runs.",
                                     "*ERR group: Failed to start component."));
    c_.on_start_ = [] { return true; };
    EXPECT_EQ(0, group_.component_start(nullptr));
    EXPECT_THAT(group_.failed(), IsEmpty());
}

TEST_F(ComponentGroup, AnExceptionFromAHookIsAFailure)
{
    b_.on_start_ = []() -> bool { throw std::runtime_error("from the hook"); };
    EXPECT_EQ(-1, group_.component_start(nullptr));
    EXPECT_THAT(journal_.entries(), ElementsAre("start part a", "start part b", "stop part a"));
    EXPECT_THAT(group_.failed(), ElementsAre("b"));
}

TEST_F(ComponentGroup, OneThatFailsToStopDoesNotKeepTheOthers)
{
    EXPECT_EQ(0, group_.component_start(nullptr));
    journal_.entries();
    b_.on_stop_ = [] { return false; };
    EXPECT_EQ(-1, group_.component_stop());
    EXPECT_THAT(journal_.entries(), ElementsAre("stop part c", "stop part b", "stop part a"));
    EXPECT_THAT(group_.failed(), ElementsAre("b"));
    b_.on_stop_ = [] { return true; };
    EXPECT_EQ(0, group_.component_stop()) << "of what still runs";
    EXPECT_THAT(journal_.entries(), ElementsAre("stop part b"));
}

TEST_F(ComponentGroup, WhatARollbackCouldNotStopIsNotStartedAgain)
{
    c_.on_start_ = [] { return false; };
    a_.on_stop_ = [] { return false; };
    EXPECT_EQ(-1, group_.component_start(nullptr));
    EXPECT_THAT(group_.failed(), ElementsAre("c", "a"));
    journal_.entries();
    c_.on_start_ = a_.on_stop_ = [] { return true; };
    EXPECT_EQ(0, group_.component_start(nullptr));
    EXPECT_THAT(journal_.entries(), ElementsAre("start part b", "start part c"));
    EXPECT_EQ(0, group_.component_stop());
    EXPECT_FALSE(a_.is_running());
}

TEST_F(ComponentGroup, AStopThatHangsIsNamedAndTheOthersStop)
{
    Obstacle obstacle;
    Part slow("slow part", journal_);
    slow.on_stop_ = [&] { return obstacle.wait(), true; };
    KR_Component_Group group("group");
    group.add("first", a_);
    group.add("slow", slow, 100);
    group.add("last", b_);
    EXPECT_EQ(0, group.component_start(nullptr));
    EXPECT_EQ(-1, group.component_stop());
    EXPECT_THAT(group.failed(), ElementsAre("slow"));
    EXPECT_THAT(lines(),
                ElementsAre(" DBG group: Component started.",
                            "*ERR group: slow hangs: its stop has not returned after 0.1 seconds.",
                            "*ERR group: slow failed to stop.",
                            "*ERR group: Failed to stop component."));
    EXPECT_FALSE(a_.is_running());
    EXPECT_FALSE(b_.is_running());
    journal_.entries();
    obstacle.remove();
    EXPECT_EQ(0, group.component_stop()) << "the call comes to its end";
    EXPECT_THAT(journal_.entries(), IsEmpty()) << "and is not made again";
    EXPECT_FALSE(slow.is_running());
}

TEST_F(ComponentGroup, AStartThatHangsIsNamedAndUndoneWhenItReturns)
{
    Obstacle obstacle;
    Part slow("slow part", journal_);
    slow.on_start_ = [&] { return obstacle.wait(), true; };
    KR_Component_Group group("group");
    group.add("first", a_);
    group.add("slow", slow, 100);
    EXPECT_EQ(-1, group.component_start(nullptr));
    EXPECT_THAT(group.failed(), ElementsAre("slow"));
    EXPECT_THAT(lines(),
                ElementsAre("*ERR group: slow hangs: its start has not returned after 0.1 seconds.",
                            "*ERR group: slow failed to start; stopping what runs.",
                            "*ERR group: Failed to start component."));
    EXPECT_FALSE(a_.is_running());
    EXPECT_EQ(-1, group.component_start(nullptr)) << "it still hangs";
    EXPECT_THAT(group.failed(), ElementsAre("slow"));
    obstacle.remove();
    EXPECT_EQ(0, group.component_start(nullptr));
    EXPECT_TRUE(slow.is_running());
    EXPECT_EQ(0, group.component_stop());
    EXPECT_FALSE(slow.is_running());
}

TEST_F(ComponentGroup, AGroupMayGoWhileACallHangs)
{
    Obstacle obstacle;
    Part slow("slow part", journal_);
    slow.on_stop_ = [&] { return obstacle.wait(), true; };
    {
        KR_Component_Group group("group");
        group.add("slow", slow, 50);
        EXPECT_EQ(0, group.component_start(nullptr));
    }
    EXPECT_THAT(lines(), testing::Contains("*ERR group: slow failed to stop."));
    obstacle.remove();
    wait_until([&] { return !slow.is_running(); });
}

TEST_F(ComponentGroup, AGroupThatGoesStopsWhatRuns)
{
    {
        KR_Component_Group group("group");
        group.add("a", a_);
        EXPECT_EQ(0, group.component_start(nullptr));
    }
    EXPECT_FALSE(a_.is_running());
}

TEST_F(ComponentGroup, WithoutALimitHooksRunOnTheCallersThread)
{
    KR_Component_Group group("group");
    group.add("a", a_, 0);
    group.add("b", b_, 60'000);
    EXPECT_EQ(0, group.component_start(nullptr));
    EXPECT_EQ(kr_platform::thread_id(), a_.start_thread_);
    EXPECT_NE(kr_platform::thread_id(), b_.start_thread_);
    EXPECT_EQ(0, group.component_stop());
}

TEST_F(ComponentGroup, GroupsHoldGroups)
{
    KR_Component_Group outer("outer");
    outer.add("inner", group_);
    outer.add("last", c_);
    KR_Component_Group empty("empty");
    outer.add(nullptr, empty);
    EXPECT_EQ(-1, outer.component_start(nullptr)) << "c belongs to both";
    EXPECT_THAT(journal_.entries(), ElementsAre("start part a", "start part b", "start part c",
                                                "stop part c", "stop part b", "stop part a"));
    EXPECT_THAT(outer.failed(), ElementsAre("last"));
}

} // namespace
