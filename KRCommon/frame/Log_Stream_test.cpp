#include <KRCommon/frame/Log_Stream.h>

#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Capture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace {

class Log_Stream : public Log_Manager_Fixture {
protected:
    void TearDown() override
    {
        ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
        release_files();
    }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

// A stream of the host's own, whose life ACE counts.
class Host_Stream : public std::ostringstream {
public:
    explicit Host_Stream(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
    ~Host_Stream() override { ++destroyed_; }

private:
    std::atomic<int>& destroyed_;
};

std::ostream* own_stream()
{
    return ACE_Log_Msg::instance()->msg_ostream();
}

TEST_F(Log_Stream, AThreadStartedBeforeOpenLandsInTheFileInUse)
{
    std::atomic<int> step{0};
    std::thread thread([&] {
        say("before open, to stderr only");
        step = 1;
        while (step != 2)
            std::this_thread::yield();
        say("after open");
    });
    while (step != 1)
        std::this_thread::yield();
    manager_.open_in(folder_.path());
    step = 2;
    thread.join();
    EXPECT_EQ("after open\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Stream, AThreadFollowsARotationAtOnce)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    std::atomic<int> step{0};
    std::thread thread([&] {
        say("one");
        step = 1;
        while (step != 2)
            std::this_thread::yield();
        say("two");
    });
    while (step != 1)
        std::this_thread::yield();
    manager_.tick(local_time(2014, 3, 6));
    step = 2;
    thread.join();
    EXPECT_EQ("one\n", messages(folder_.path("server_2014_03_05_part_00.log")));
    EXPECT_EQ("two\n", messages(folder_.path("server_2014_03_06_part_00.log")));
}

TEST_F(Log_Stream, NonAceThreadInitLogGivesTheStreamToLinesThatAceItselfLogs)
{
    manager_.open_in(folder_.path());
    std::thread([&] {
        EXPECT_EQ(nullptr, own_stream());
        manager_.non_ace_thread_init_log();
        ACE_ERROR((LM_INFO, "%T T%t INF by ACE\n"));
    }).join();
    EXPECT_EQ("by ACE\n", messages(manager_.log_file_name()));
}

// In a process of its own, where no test has opened a file before.
TEST(Log_StreamDeathTest, NonAceThreadInitLogBeforeOpenDoesNothing)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Test_Log_Manager().non_ace_thread_init_log();
            kr_platform::end_process(own_stream() == nullptr ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Log_Stream, NonAceThreadInitLogMayBeRepeated)
{
    manager_.open_in(folder_.path());
    std::thread([&] {
        for (int i = 0; i < 100; ++i)
            manager_.non_ace_thread_init_log();
        say("once");
    }).join();
    EXPECT_EQ("once\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Stream, NonAceThreadInitLogGivesTheThreadMaskOfTheCapturingThread)
{
    ACE_Log_Msg::instance()->priority_mask(LM_TRACE, ACE_Log_Msg::THREAD);
    manager_.open_in(folder_.path());
    ACE_Log_Msg::instance()->priority_mask(0, ACE_Log_Msg::THREAD);
    std::thread([&] {
        EXPECT_EQ(0u, ACE_Log_Msg::instance()->priority_mask(ACE_Log_Msg::THREAD));
        manager_.non_ace_thread_init_log();
        EXPECT_EQ(unsigned{LM_TRACE}, ACE_Log_Msg::instance()->priority_mask(ACE_Log_Msg::THREAD));
    }).join();
}

TEST_F(Log_Stream, AThreadWithAStreamOfItsOwnKeepsItUntilItAsks)
{
    manager_.open_in(folder_.path());
    std::atomic<int> destroyed{0};
    std::thread([&] {
        auto* const own = new Host_Stream(destroyed);
        ACE_Log_Msg::instance()->msg_ostream(own, true);
        say("own");
        EXPECT_NE(std::string::npos, own->str().find("own\n"));
        manager_.non_ace_thread_init_log();
        EXPECT_EQ(1, destroyed) << "given up as on any exchange";
        say("common");
    }).join();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ("common\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Stream, AThreadWhoseStreamWasTakenAwayStaysWithout)
{
    manager_.open_in(folder_.path());
    std::thread([&] {
        say("kept");
        ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
        const Log_Capture quiet;
        say("to stderr only");
        EXPECT_EQ(nullptr, own_stream());
    }).join();
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Stream, CaptureTakesNoShareInAStreamThatAceCounts)
{
    // Captured once and inherited often, such a stream would be destroyed by the second thread
    // that ends.
    std::atomic<int> destroyed{0};
    ACE_Log_Msg::instance()->msg_ostream(new Host_Stream(destroyed), true);
    {
        Test_Log_Manager manager; // captures
        manager.set_debug_level(4);
        manager.set_debug_level(4);
        for (int i = 0; i < 5; ++i)
            std::thread([&] {
                manager.non_ace_thread_init_log();
                const Log_Capture quiet;
                say("x");
            }).join();
        EXPECT_EQ(0, destroyed);
        say("the host's stream still works");
    }
    ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
    EXPECT_EQ(1, destroyed) << "the host's own share was the last";
}

TEST_F(Log_Stream, OpenReplacesTheHostsOwnStreamAndAceDestroysIt)
{
    std::atomic<int> destroyed{0};
    ACE_Log_Msg::instance()->msg_ostream(new Host_Stream(destroyed), true);
    manager_.open_in(folder_.path());
    EXPECT_EQ(1, destroyed);
    say("kept");
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Stream, ALevelChangeOnAThreadWithoutAStreamKeepsItForLaterThreads)
{
    manager_.open_in(folder_.path());
    std::thread([&] {
        EXPECT_EQ(nullptr, own_stream());
        manager_.set_debug_level(4);
        EXPECT_EQ(nullptr, own_stream());
    }).join();
    std::thread([&] {
        manager_.non_ace_thread_init_log();
        EXPECT_NE(nullptr, own_stream());
    }).join();
}

TEST_F(Log_Stream, ManyOpensLeaveOneFileOpen)
{
    manager_.open_in(folder_.path());
    const unsigned before = kr_platform_testing::open_handle_count();
    for (int i = 0; i < 50; ++i)
        manager_.open_in(folder_.path());
    EXPECT_EQ(before, kr_platform_testing::open_handle_count());
}

} // namespace
