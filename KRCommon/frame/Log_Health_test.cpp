// What KR_LOG_MANAGER::status() tells.

#include <KRCommon/frame/Log_Disk_testing.h>
#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Ends_Within.h>
#include <tests/support/Sanitizers.h>

#include <ace/OS_NS_sys_time.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

class Log_Status : public Both_Kinds_Of_Lines {
protected:
    void SetUp() override { manager_.set_options(with_lines()); }
    void TearDown() override
    {
        manager_.set_options({});
        release_files();
    }

    std::uint64_t lines() const { return manager_.status().lines; }
    std::uint64_t lost() const { return manager_.status().lines_lost; }

    Fake_Disk disk_;
    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

// In a process of its own, where no test has opened a file before.
TEST(Log_StatusDeathTest, BeforeTheFirstOpenThereIsNothingToTell)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const KR_Log_Status status = Test_Log_Manager().status();
            const bool is_right = status.file.empty() && status.part == 0 && !status.is_good &&
                                  status.file_bytes == 0 && status.total_bytes == 0 &&
                                  status.lines == 0 && status.lines_lost == 0 &&
                                  status.last_error == 0 && status.last_error_text.empty() &&
                                  status.last_error_time == 0 && status.level == -1;
            kr_platform::end_process(is_right ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_P(Log_Status, TellsFilePartAndBytes)
{
    folder_.write("server_old.log", std::string(1000, 'x'));
    folder_.write("other.log", std::string(5000, 'x'));
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    say("text");
    manager_.set_file_max_sizes(1, 1'000'000);
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    say("more text");
    const KR_Log_Status status = manager_.status();
    EXPECT_EQ(folder_.path("server_2014_03_05_part_01.log"), status.file);
    EXPECT_EQ(1u, status.part);
    EXPECT_TRUE(status.is_good);
    EXPECT_EQ(kr_platform::file_info(status.file)->size, status.file_bytes);
    EXPECT_LT(0u, status.file_bytes);
    std::uint64_t all = 0;
    for (const std::string& name : folder_.names())
        if (name.find("server") == 0)
            all += kr_platform::file_info(folder_.path(name))->size;
    EXPECT_EQ(all, status.total_bytes);
    EXPECT_LT(1000u, status.total_bytes);
}

TEST_P(Log_Status, CountsTheLinesOfTheHelperAndOfAceAlike)
{
    manager_.open_in(folder_.path());
    const std::uint64_t before = lines();
    const std::uint64_t lost_before = lost();
    say("one");
    ACE_ERROR((LM_INFO, "%T T%t INF two\n"));
    say("three");
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF four\n\n");
    EXPECT_EQ(before + 5, lines()) << "an empty line is one";
    EXPECT_EQ(lost_before, lost());
}

TEST_P(Log_Status, LinesOfManyThreadsAreCounted)
{
    manager_.open_in(folder_.path());
    const std::uint64_t before = lines();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int line = 0; line < 500; ++line) {
                say("text");
                if (line % 50 == 0)
                    static_cast<void>(manager_.status());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(before + 2000, lines());
}

TEST_P(Log_Status, MaskedLinesCountNowhere)
{
    manager_.open_in(folder_.path());
    manager_.set_debug_level(1);
    const KR_Log_Status before = manager_.status();
    say("masked");
    EXPECT_EQ(before.lines, lines());
    EXPECT_EQ(before.lines_lost, lost());
}

TEST_P(Log_Status, AFullDiskFailsTheFileAndItsLinesAreLostUntilTheNextDay)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    const KR_Log_Status before = manager_.status();
    const std::int64_t begin = kr_platform::coarse_wall_microseconds();
    disk_.set_room(0);
    say("lost");
    KR_Log_Status status = manager_.status();
    EXPECT_FALSE(status.is_good);
    EXPECT_EQ(Fake_Disk::full, status.last_error);
    EXPECT_FALSE(status.last_error_text.empty());
    EXPECT_LE(begin, status.last_error_time);
    EXPECT_GE(kr_platform::coarse_wall_microseconds(), status.last_error_time);
    EXPECT_EQ(before.lines_lost + 1, status.lines_lost);
    EXPECT_EQ(folder_.path("server_2014_03_05_part_00.log"), status.file);

    disk_.set_empty();
    say("lost as well");
    EXPECT_TRUE(ACE_Log_Msg::instance()->msg_ostream()->fail());
    EXPECT_EQ(-1, static_cast<int>(ACE_Log_Msg::instance()->msg_ostream()->tellp()));
    EXPECT_EQ(before.lines_lost + 2, lost());
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    EXPECT_FALSE(manager_.status().is_good);

    manager_.tick(local_time(2014, 3, 6));
    status = manager_.status();
    EXPECT_TRUE(status.is_good);
    EXPECT_EQ(Fake_Disk::full, status.last_error) << "it stays";
    say("kept");
    EXPECT_EQ("kept\n", messages(status.file));
    EXPECT_EQ(before.lines_lost + 2, lost());
}

TEST_P(Log_Status, ALineThatWasWrittenInPartIsFinishedBeforeItsFileCloses)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    const KR_Log_Status before = manager_.status();
    disk_.set_room(30);
    say("a line that is longer than thirty characters");
    EXPECT_EQ(30u, kr_platform::file_info(before.file)->size);
    EXPECT_EQ(before.lines_lost + 1, lost());
    disk_.set_empty();
    manager_.tick(local_time(2014, 3, 6));
    EXPECT_EQ("a line that is longer than thirty characters\n", messages(before.file));
    EXPECT_EQ(before.lines_lost, lost()) << "not lost after all";
    EXPECT_EQ(before.lines + 1, lines());
}

TEST_P(Log_Status, NoDescriptorAtARotationIsAnError)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    const std::uint64_t lost_before = lost();
    disk_.let_open(false);
    manager_.tick(local_time(2014, 3, 6));
    say("lost");
    const KR_Log_Status status = manager_.status();
    EXPECT_FALSE(status.is_good);
    EXPECT_EQ(Fake_Disk::no_descriptor, status.last_error);
    EXPECT_EQ(folder_.path("server_2014_03_06_part_00.log"), status.file);
    EXPECT_EQ(0u, status.file_bytes);
    EXPECT_EQ(lost_before + 1, status.lines_lost);
}

TEST_P(Log_Status, AFolderThatCannotBeWrittenHasTheSystemsError)
{
    manager_.open_in(kr_platform_testing::unwritable_folder());
    const KR_Log_Status status = manager_.status();
    EXPECT_FALSE(status.is_good);
    EXPECT_NE(0, status.last_error);
    EXPECT_FALSE(status.last_error_text.empty());
}

TEST_P(Log_Status, TellsTheLevelThatWasSetLast)
{
    for (const unsigned level : {0u, 1u, 2u, 3u, 4u}) {
        manager_.set_debug_level(level);
        EXPECT_EQ(static_cast<int>(level), manager_.status().level);
    }
    manager_.set_debug_level(5);
    EXPECT_EQ(0, manager_.status().level);
}

TEST_P(Log_Status, WaitsForNobodyWhoHoldsTheLog)
{
    manager_.open_in(folder_.path());
    ACE_Log_Msg::instance()->acquire();
    const bool is_over =
        ends_within(std::chrono::seconds(20), [this] { EXPECT_TRUE(manager_.status().is_good); });
    ACE_Log_Msg::instance()->release();
    EXPECT_TRUE(is_over);
}

TEST_P(Log_Status, AForkedChildCanAsk)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "this system has no fork()";
    if (!may_fork_while_others_allocate)
        GTEST_SKIP() << "the sanitizer's allocator is not made for a fork beside other threads";
    manager_.open_in(folder_.path());
    std::atomic<bool> is_over{false};
    std::thread asks([&] {
        while (!is_over)
            static_cast<void>(manager_.status());
    });
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(
            0, kr_platform_testing::run_in_fork([&] { return manager_.status().is_good ? 0 : 1; }));
    is_over = true;
    asks.join();
}

INSTANTIATE_BOTH_KINDS_OF_LINES(Log_Status);

} // namespace
