// Which operations wait for ACE's log lock, and so never change what a line of another thread is
// being written by.

#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/frame/Log_Stream.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Log_Msg.h>
#include <ace/Reactor.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace {

// Whether the function, called on another thread, is still under way when this one has held the
// log lock for that time. It may go on then; `look` is called before.
bool is_held_up(const std::function<void()>& function, std::chrono::milliseconds time,
                const std::function<void()>& look)
{
    std::atomic<bool> may_begin{false};
    std::atomic<bool> is_ready{false};
    std::atomic<bool> is_over{false};
    std::thread other([&] {
        ACE_Log_Msg::instance(); // ACE's own object of the thread is made under the same lock
        is_ready = true;
        while (!may_begin)
            std::this_thread::yield();
        function();
        is_over = true;
    });
    while (!is_ready)
        std::this_thread::yield();
    bool has_waited = false;
    {
        const kr_internal::Log_Lock lock;
        may_begin = true;
        const auto end = std::chrono::steady_clock::now() + time;
        while (!is_over && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        has_waited = !is_over;
        look();
    }
    other.join();
    return has_waited;
}

bool waits_for_the_log_lock(
    const std::function<void()>& function, const std::function<void()>& look = [] {})
{
    return is_held_up(function, std::chrono::milliseconds(50), look);
}

bool leaves_the_log_lock_alone(const std::function<void()>& function)
{
    return !is_held_up(function, std::chrono::seconds(20), [] {});
}

class Log_Locks : public Log_Manager_Fixture {
protected:
    void TearDown() override { release_files(); }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

TEST_F(Log_Locks, OpeningWaitsForTheLogLock)
{
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.open_in(folder_.path()); }));
}

TEST_F(Log_Locks, ClosingWaitsForTheLogLock)
{
    manager_.open_in(folder_.path());
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.close(); }));
}

TEST_F(Log_Locks, ConstructionOfACopyAndAssignmentWaitForTheLogLock)
{
    std::optional<Test_Log_Manager> copy;
    EXPECT_TRUE(waits_for_the_log_lock([&] { copy.emplace(manager_); }));
    EXPECT_TRUE(waits_for_the_log_lock([&] { *copy = manager_; }));
}

// In a process of its own, where nobody has asked for the instance before.
TEST(Log_LocksDeathTest, ConstructionOfTheInstanceWaitsForTheLogLock)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(kr_platform::end_process(
                    waits_for_the_log_lock([] { KR_LOG_MANAGER::instance(); }) ? 3 : 4),
                testing::ExitedWithCode(3), "");
}

TEST_F(Log_Locks, DestructionLeavesTheLogLockAlone)
{
    auto manager = std::make_unique<Test_Log_Manager>();
    EXPECT_TRUE(leaves_the_log_lock_alone([&] { manager.reset(); }));
    manager = std::make_unique<Test_Log_Manager>();
    manager->open_in(folder_.path());
    EXPECT_TRUE(leaves_the_log_lock_alone([&] { manager.reset(); }));
    manager = std::make_unique<Test_Log_Manager>();
    manager->open_in(folder_.path());
    manager->close();
    EXPECT_TRUE(leaves_the_log_lock_alone([&] { manager.reset(); }));
}

TEST_F(Log_Locks, SettingsAreWrittenAndReadUnderTheLogLock)
{
    unsigned size = 0;
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.set_debug_level(4); }));
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.set_file_max_sizes(1, 2); }));
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.get_file_max_sizes(&size, nullptr); }));
    EXPECT_EQ(1u, size);
}

TEST_F(Log_Locks, JoiningRotatingAndPruningWaitForTheLogLock)
{
    manager_.open_in(folder_.path());
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.non_ace_thread_init_log(); }));
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.tick(local_time(2014, 3, 5)); }));
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.del_old_files(); }));
}

TEST_F(Log_Locks, NoFileIsOpenedWhileALineMayBeUnderWay)
{
    manager_.open_in(folder_.path("a"));
    const std::string file = manager_.log_file_name();
    Test_Log_Manager other;
    other.open_in(folder_.path("b"));
    ASSERT_TRUE(kr_platform::remove_file(file));
    EXPECT_TRUE(waits_for_the_log_lock([&] { manager_.set_current_file(); },
                                       [&] { EXPECT_FALSE(std::filesystem::exists(file)); }));
    EXPECT_TRUE(std::filesystem::exists(file));
}

} // namespace
