// What the log manager does only when it is asked to.

#include <KRCommon/frame/Log_Options.h>

#include <KRCommon/frame/Log_Disk_testing.h>
#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Text_Matching.h>

#include <ace/OS_NS_sys_time.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

class Log_Options : public Both_Kinds_Of_Lines {
protected:
    ~Log_Options() override { manager_.set_options({}); }
    void TearDown() override
    {
        disk_.set_empty();
        disk_.let_open(true);
        release_files();
    }

    void open_with(const KR_Log_Options& options)
    {
        manager_.set_options(with_lines(options));
        manager_.open_in(folder_.path());
        go_to(manager_, 2014, 3, 5);
    }

    void next_tick() { manager_.tick(local_time(2014, 3, 5, 12, 0, ++seconds_)); }
    std::string part(const char* number) const
    {
        return folder_.path(std::string("server_2014_03_05_part_") + number + ".log");
    }
    std::string text() const { return read_text(manager_.status().file); }

    Fake_Disk disk_;
    Temp_Folder folder_;
    Test_Log_Manager manager_;

private:
    int seconds_ = 0;
};

KR_Log_Options with_retries()
{
    KR_Log_Options options;
    options.retries = true;
    return options;
}

KR_Log_Options with_reports()
{
    KR_Log_Options options = with_retries();
    options.reports_failures = true;
    return options;
}

KR_Log_Options that_finds_lost_files()
{
    KR_Log_Options options = with_reports();
    options.finds_lost_file = true;
    return options;
}

TEST_P(Log_Options, AreAllOffAtFirstAndAreWhatWasSet)
{
    KR_Log_Options options = manager_.options();
    EXPECT_FALSE(options.retries || options.reports_failures || options.finds_lost_file ||
                 options.keeps_file_in_use || options.writes_header || options.silences_stderr);
    EXPECT_FALSE(options.fast_lines || options.only_manager_sets_level);
    EXPECT_EQ(0u, options.early_bytes);
    EXPECT_EQ(0u, options.ring_lines);
    options.keeps_file_in_use = true;
    manager_.set_options(options);
    EXPECT_TRUE(manager_.options().keeps_file_in_use);
    EXPECT_TRUE(Test_Log_Manager(manager_).options().keeps_file_in_use) << "copies have them";
}

// Retries

TEST_P(Log_Options, AFullDiskIsTriedAgainAtTheNextTick)
{
    open_with(with_retries());
    say("one");
    const std::uint64_t lost = manager_.status().lines_lost;
    disk_.set_room(0);
    say("lost");
    ACE_ERROR((LM_INFO, "%T T%t INF lost, by ACE\n"));
    EXPECT_FALSE(manager_.status().is_good);
    EXPECT_EQ(lost + 2, manager_.status().lines_lost);
    next_tick();
    EXPECT_TRUE(manager_.status().is_good) << "nothing was written yet";
    say("lost again");
    EXPECT_FALSE(manager_.status().is_good);
    disk_.set_empty();
    say("lost until the tick");
    next_tick();
    say("two");
    EXPECT_TRUE(manager_.status().is_good);
    EXPECT_EQ("one\ntwo\n", messages(part("00")));
    EXPECT_EQ(lost + 4, manager_.status().lines_lost);
}

TEST_P(Log_Options, ALineIsNeverTornByAFullDisk)
{
    for (const std::size_t room : {1, 20, 30, 33}) {
        SCOPED_TRACE(room);
        open_with(with_retries());
        const KR_Log_Status before = manager_.status();
        disk_.set_room(room);
        say("a line that does not fit");
        say("lost");
        next_tick();
        EXPECT_FALSE(manager_.status().is_good) << "the disk is full still";
        disk_.set_room(5);
        next_tick();
        EXPECT_FALSE(manager_.status().is_good);
        disk_.set_empty();
        next_tick();
        say("next");
        EXPECT_EQ("a line that does not fit\nnext\n", messages(part("00")));
        EXPECT_EQ(before.lines_lost + 1, manager_.status().lines_lost);
        EXPECT_EQ(before.lines + 2, manager_.status().lines);
        manager_.open_in(folder_.path("elsewhere"));
        kr_platform::remove_file(part("00"));
    }
}

TEST_P(Log_Options, ARotationWithoutADescriptorGoesOnWithTheOldFileAndLosesNothing)
{
    open_with(with_retries());
    say("one");
    manager_.set_file_max_sizes(1, 1'000'000);
    disk_.let_open(false);
    const std::uint64_t lost = manager_.status().lines_lost;
    next_tick();
    say("two");
    KR_Log_Status status = manager_.status();
    EXPECT_TRUE(status.is_good);
    EXPECT_EQ(part("00"), status.file);
    EXPECT_EQ(Fake_Disk::no_descriptor, status.last_error);
    next_tick();
    say("three");
    disk_.let_open(true);
    next_tick();
    say("four");
    status = manager_.status();
    EXPECT_EQ(part("01"), status.file);
    EXPECT_EQ(lost, status.lines_lost);
    EXPECT_EQ("one\ntwo\nthree\n", messages(part("00")));
    EXPECT_EQ("four\n", messages(part("01")));
}

TEST_P(Log_Options, SoDoesOneOnANewDay)
{
    open_with(with_retries());
    disk_.let_open(false);
    manager_.tick(local_time(2014, 3, 6));
    say("late");
    disk_.let_open(true);
    manager_.tick(local_time(2014, 3, 6, 12, 0, 5));
    say("new day");
    EXPECT_EQ("late\n", messages(part("00")));
    EXPECT_EQ("new day\n", messages(folder_.path("server_2014_03_06_part_00.log")));
}

TEST_P(Log_Options, AFileThatCouldNotBeOpenedAtFirstIsOpenedByATick)
{
    manager_.set_options(with_lines(with_retries()));
    disk_.let_open(false);
    manager_.open_in(folder_.path());
    EXPECT_FALSE(manager_.status().is_good);
    say("lost");
    disk_.let_open(true);
    manager_.tick(ACE_OS::gettimeofday());
    say("kept");
    EXPECT_TRUE(manager_.status().is_good);
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
}

TEST_P(Log_Options, WithoutDescriptorsOfTheSystemsOwnNoLineIsLostAtARotation)
{
    open_with(with_retries());
    manager_.set_file_max_sizes(1, 1'000'000'000);
    say("one");
    std::vector<std::FILE*> files;
    for (std::FILE* file = nullptr;
         files.size() < 100'000 && (file = std::fopen(part("00").c_str(), "r")) != nullptr;)
        files.push_back(file);
    next_tick();
    say("two");
    for (std::FILE* const file : files)
        std::fclose(file);
    next_tick();
    say("three");
    std::string all;
    for (const std::string& name : folder_.names())
        if (name.find("server_2014_03_05") == 0)
            all += messages(folder_.path(name));
    EXPECT_EQ("one\ntwo\nthree\n", all);
}

// Reports

TEST_P(Log_Options, AFailureIsReportedOnceOnStderrAndOnceInTheFile)
{
    open_with(with_reports());
    manager_.set_debug_level(0); // the reports come whatever it is
    testing::internal::CaptureStderr();
    disk_.set_room(0);
    for (int i = 0; i < 3; ++i) {
        kr_log(KR_LOG_SITE(LM_EMERGENCY), "%T T%04t*EMR lost\n");
        next_tick();
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(
        said,
        FullyMatches(
            R"(\d\d:\d\d:\d\d\.\d{6} T\d{4,}\*ERR KR_LOG_MANAGER: The log file '[^']*server_2014_03_05_part_00\.log' failed: [^\n]*\.\n)"));
    disk_.set_empty();
    next_tick();
    EXPECT_THAT(
        text(),
        FullyMatches(
            R"(\d\d:\d\d:\d\d\.\d{6} T\d{4,}\*ERR KR_LOG_MANAGER: The log file is back after \d seconds, 3 lines are lost\.\n)"));
    next_tick();
    EXPECT_EQ(text().find("is back"), text().rfind("is back"));
}

TEST_P(Log_Options, ASecondFailureIsReportedAnew)
{
    open_with(with_reports());
    for (int i = 0; i < 2; ++i) {
        testing::internal::CaptureStderr();
        disk_.set_room(0);
        say("lost");
        disk_.set_empty();
        next_tick();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("failed: "));
    }
    EXPECT_NE(text().find("1 lines are lost"), text().rfind("1 lines are lost"));
}

TEST_P(Log_Options, AReportThatDoesNotFitIsWrittenLater)
{
    open_with(with_reports());
    testing::internal::CaptureStderr();
    disk_.set_room(0);
    say("lost");
    disk_.set_room(10); // of the line that it is back
    next_tick();
    EXPECT_FALSE(manager_.status().is_good);
    disk_.set_empty();
    next_tick();
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(text(), HasSubstr("1 lines are lost.\n"));
    for (std::size_t at = 0; at < text().size(); at = text().find('\n', at) + 1)
        EXPECT_EQ(':', text()[at + 2]) << "each line is whole: " << text();
}

TEST_P(Log_Options, WithoutRetriesTheReportComesWithTheNextDay)
{
    KR_Log_Options options;
    options.reports_failures = true;
    open_with(options);
    testing::internal::CaptureStderr();
    disk_.set_room(0);
    say("lost");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("failed: "));
    disk_.set_empty();
    next_tick();
    EXPECT_FALSE(manager_.status().is_good);
    say("lost, too");
    manager_.tick(local_time(2014, 3, 6));
    EXPECT_THAT(text(), HasSubstr("2 lines are lost.\n"));
}

// A file that goes

TEST_P(Log_Options, AFileThatWasRenamedIsNoticedAtTheTick)
{
    open_with(that_finds_lost_files());
    say("one");
    std::filesystem::rename(part("00"), folder_.path("renamed"));
    say("two");
    next_tick();
    say("three");
    EXPECT_EQ("one\ntwo\n", messages(folder_.path("renamed")));
    EXPECT_THAT(read_text(part("00")),
                HasSubstr("*ERR KR_LOG_MANAGER: The log file was deleted or renamed.\n"));
    EXPECT_THAT(read_text(part("00")), HasSubstr("INF three\n"));
}

TEST_P(Log_Options, AFileThatWasDeletedIsNoticedAtTheTick)
{
    open_with(that_finds_lost_files());
    say("one");
    ASSERT_TRUE(kr_platform::remove_file(part("00")));
    if (std::filesystem::exists(part("00")))
        GTEST_SKIP() << "this system keeps the name of a deleted file that is open";
    next_tick();
    say("two");
    EXPECT_THAT(read_text(part("00")), HasSubstr("INF two\n"));
    EXPECT_THAT(read_text(part("00")), Not(HasSubstr("one")));
    next_tick();
    EXPECT_TRUE(manager_.status().is_good);
}

TEST_P(Log_Options, AnotherFileUnderTheNameIsNoticedToo)
{
    open_with(that_finds_lost_files());
    std::filesystem::rename(part("00"), folder_.path("renamed"));
    folder_.write("server_2014_03_05_part_00.log", "T1 INF another\n");
    next_tick();
    say("two");
    EXPECT_THAT(messages(part("00")), HasSubstr("another\n"));
    EXPECT_THAT(messages(part("00")), HasSubstr("two\n"));
}

TEST_P(Log_Options, WithoutThemALostFileStaysInUse)
{
    if (!kr_platform_testing::can_delete_open_files())
        GTEST_SKIP() << "nobody can rename the file in use here";
    open_with({});
    std::filesystem::rename(part("00"), folder_.path("renamed"));
    next_tick();
    say("one");
    EXPECT_EQ("one\n", messages(folder_.path("renamed")));
    EXPECT_FALSE(std::filesystem::exists(part("00")));
}

// Reopening

TEST_P(Log_Options, ReopenGoesOnInAFileOfTheSameName)
{
    KR_Log_Options options;
    options.finds_lost_file = true; // so that it can be renamed on Windows as well
    open_with(options);
    say("one");
    std::filesystem::rename(part("00"), folder_.path("renamed"));
    EXPECT_TRUE(manager_.reopen());
    say("two");
    EXPECT_EQ("one\n", messages(folder_.path("renamed")));
    EXPECT_EQ("two\n", messages(part("00")));
    EXPECT_TRUE(kr_platform::remove_file(folder_.path("renamed"))) << "closed";
}

TEST_P(Log_Options, ReopenAppends)
{
    open_with({});
    say("one");
    EXPECT_TRUE(manager_.reopen());
    say("two");
    EXPECT_EQ("one\ntwo\n", messages(part("00")));
}

TEST_P(Log_Options, ReopenWithoutADescriptorTells)
{
    open_with({});
    disk_.let_open(false);
    EXPECT_FALSE(manager_.reopen());
    EXPECT_FALSE(manager_.status().is_good);
    disk_.let_open(true);
    EXPECT_TRUE(manager_.reopen());

    manager_.set_options(with_lines(with_retries()));
    disk_.let_open(false);
    EXPECT_TRUE(manager_.reopen()) << "the old one goes on";
    say("kept");
    EXPECT_EQ("kept\n", messages(part("00")));
}

TEST_P(Log_Options, ARequestedReopeningIsDoneByTheNextTickOnce)
{
    KR_Log_Options options;
    options.finds_lost_file = true;
    open_with(options);
    options.finds_lost_file = false;
    manager_.set_options(options);
    std::filesystem::rename(part("00"), folder_.path("renamed"));
    KR_LOG_MANAGER::request_reopen();
    EXPECT_FALSE(std::filesystem::exists(part("00")));
    next_tick();
    EXPECT_TRUE(std::filesystem::exists(part("00")));
    if (kr_platform_testing::can_delete_open_files()) {
        std::filesystem::remove(part("00"));
        next_tick();
        EXPECT_FALSE(std::filesystem::exists(part("00"))) << "once";
    }
}

TEST_P(Log_Options, ReopeningFromManyThreadsLosesNoLine)
{
    open_with(with_retries());
    const KR_Log_Status before = manager_.status();
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int line = 0; line < 200; ++line) {
                say("text");
                if (line % 20 == 0) {
                    EXPECT_TRUE(manager_.reopen());
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(before.lines + 600, manager_.status().lines);
    EXPECT_EQ(before.lines_lost, manager_.status().lines_lost);
}

// In a process of its own, where no test has opened a file before.
TEST(Log_OptionsDeathTest, ReopenBeforeAnyOpenDoesNothing)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(kr_platform::end_process(Test_Log_Manager().reopen() ? 1 : 0),
                testing::ExitedWithCode(0), "");
}

// Pruning

TEST_P(Log_Options, TheFileInUseIsExemptFromPruning)
{
    KR_Log_Options options;
    options.keeps_file_in_use = true;
    open_with(options);
    for (const std::string& name : folder_.names())
        if (folder_.path(name) != part("00"))
            kr_platform::remove_file(folder_.path(name));
    say("in use");
    manager_.set_file_max_sizes(1'000'000, 0);
    const std::string other = folder_.write("server_other.log", "text");
    manager_.del_old_files();
    EXPECT_TRUE(std::filesystem::exists(part("00")));
    EXPECT_FALSE(std::filesystem::exists(other));
}

// First lines

TEST_P(Log_Options, EachPartBeginsWithALineThatNamesItsOrigin)
{
    KR_Log_Options options;
    options.writes_header = true;
    open_with(options);
    manager_.set_debug_level(0);
    const std::string header =
        R"(\d\d:\d\d:\d\d\.\d{6} T\d{4,} INF KR_LOG_MANAGER: Log of host '[^']+', )"
        R"(program '[^']*frame_tests[^']*', process \d+, \d{4}-\d\d-\d\d, UTC[+-]\d\d:\d\d\.\n)";
    EXPECT_THAT(text(), FullyMatches(header));
    manager_.set_file_max_sizes(1, 1'000'000);
    next_tick();
    EXPECT_EQ(part("01"), manager_.status().file);
    EXPECT_THAT(text(), FullyMatches(header));
}

TEST_P(Log_Options, StderrGoesOffWhereItIsAskedFor)
{
    KR_Log_Options options;
    options.silences_stderr = true;
    manager_.set_options(options);
    ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
    manager_.open(nullptr, folder_.path().c_str(), "server");
    EXPECT_EQ(0u, ACE_Log_Msg::instance()->flags() & ACE_Log_Msg::STDERR);
    manager_.set_options({});
    manager_.open(nullptr, folder_.path().c_str(), "server");
    EXPECT_NE(0u, ACE_Log_Msg::instance()->flags() & ACE_Log_Msg::STDERR);
}

INSTANTIATE_BOTH_KINDS_OF_LINES(Log_Options);

// In processes of their own, where no test has opened a file before.
class Log_EarlyDeathTest : public testing::Test {
protected:
    Log_EarlyDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void say(const std::string& text)
    {
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s\n", text);
    }

    // Ends the process: with 0 when the first file holds what is expected.
    [[noreturn]] static void open_and_compare(Test_Log_Manager& manager,
                                              const std::string& expected, std::uint64_t lost)
    {
        const Temp_Folder folder;
        manager.open_in(folder.path());
        std::string text = read_text(manager.status().file);
        std::string messages;
        for (std::size_t at = 0; (at = text.find(" INF ", at)) != std::string::npos; ++at)
            messages += text.substr(at + 5, text.find('\n', at) - at - 4);
        const bool is_right = messages == expected && manager.status().lines_lost == lost;
        if (!is_right)
            std::printf("lost %d, messages:\n%s", static_cast<int>(manager.status().lines_lost),
                        messages.c_str());
        std::fflush(stdout);
        kr_platform::end_process(is_right ? 0 : 1);
    }
};

TEST_F(Log_EarlyDeathTest, LinesFromBeforeOpenGoIntoTheFirstFile)
{
    EXPECT_EXIT(
        {
            Test_Log_Manager manager;
            say("before it is asked for");
            KR_Log_Options options;
            options.early_bytes = 1'000;
            manager.set_options(options);
            ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
            say("one");
            std::thread([] { say("two, of another thread"); }).join();
            manager.tick(local_time(2014, 3, 6)); // nothing is open: no file is made
            open_and_compare(manager, "one\ntwo, of another thread\n", 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Log_EarlyDeathTest, TheyAreBounded)
{
    EXPECT_EXIT(
        {
            Test_Log_Manager manager;
            KR_Log_Options options;
            options.early_bytes = 100;
            manager.set_options(options);
            ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
            say("one");
            say(std::string(80, 'x'));
            say("three");
            open_and_compare(manager, "one\nthree\n", 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Log_EarlyDeathTest, TheyWaitForTheFirstFileThatIsGood)
{
    EXPECT_EXIT(
        {
            Test_Log_Manager manager;
            KR_Log_Options options;
            options.early_bytes = 1'000;
            options.fast_lines = true;
            manager.set_options(options);
            say("one");
            manager.open_in(kr_platform_testing::unwritable_folder());
            say("two");
            open_and_compare(manager, "one\ntwo\n", 0);
        },
        testing::ExitedWithCode(0), "");
}

// The level is the manager's alone

class Log_Level_Promised : public Log_Manager_Fixture {
protected:
    ~Log_Level_Promised() override { manager_.set_options({}); }
    void SetUp() override
    {
        promise();
        manager_.open_in(folder_.path());
    }
    void TearDown() override { release_files(); }

    void promise(bool is_promised = true, std::uint32_t ring_lines = 0)
    {
        KR_Log_Options options;
        options.only_manager_sets_level = is_promised;
        options.ring_lines = ring_lines;
        manager_.set_options(options);
    }

    // Of one line for each priority, those that came.
    std::string say_all()
    {
        const std::size_t before = text().size();
        kr_log(KR_LOG_SITE(LM_EMERGENCY), "emergency ");
        kr_log(KR_LOG_SITE(LM_ERROR), "error ");
        kr_log(KR_LOG_SITE(LM_DEBUG), "debug ");
        kr_log(KR_LOG_SITE(LM_INFO), "info ");
        kr_log(KR_LOG_SITE(LM_NOTICE), "notice ");
        return text().substr(before);
    }
    std::string text() const { return read_text(manager_.status().file); }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

TEST_F(Log_Level_Promised, EachLevelLetsThroughWhatItDidBefore)
{
    const char* const passed[] = {"emergency ", "emergency error ", "emergency error debug ",
                                  "emergency error debug info ",
                                  "emergency error debug info notice "};
    for (const bool is_promised : {true, false, true}) {
        promise(is_promised);
        for (const unsigned level : {0, 4, 1, 3, 2, 4}) {
            SCOPED_TRACE(level);
            manager_.set_debug_level(level);
            EXPECT_EQ(passed[level], say_all());
            std::thread([&] { EXPECT_EQ(passed[level], say_all()); }).join();
        }
    }
}

TEST_F(Log_Level_Promised, UntilALevelIsSetEveryLineComes)
{
    EXPECT_EQ("emergency error debug info notice ", say_all());
}

TEST_F(Log_Level_Promised, AMaskThatIsSetPastTheManagerCountsOnlyWithoutThePromise)
{
    manager_.set_debug_level(1);
    ACE_Log_Msg::instance()->priority_mask(LM_INFO, ACE_Log_Msg::THREAD);
    EXPECT_EQ("emergency error ", say_all());
    promise(false);
    EXPECT_EQ("emergency error info ", say_all());
    ACE_Log_Msg::instance()->priority_mask(0, ACE_Log_Msg::THREAD);
}

TEST_F(Log_Level_Promised, AMaskThatLetsLessThroughCountsAllTheSame)
{
    manager_.set_debug_level(4);
    ACE_Log_Msg::instance()->priority_mask(LM_EMERGENCY, ACE_Log_Msg::PROCESS);
    EXPECT_EQ("emergency ", say_all());
}

TEST_F(Log_Level_Promised, TheRingKeepsWhatTheLevelDrops)
{
    promise(true, 10);
    manager_.set_debug_level(1);
    say("led up to it");
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR error\n");
    EXPECT_THAT(text(), HasSubstr(" INF led up to it\n"));
    promise(true);
    say("is dropped");
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR error\n");
    EXPECT_THAT(text(), Not(HasSubstr("is dropped")));
}

TEST_F(Log_Level_Promised, ADroppedLineLeavesErrnoAndIsNotHeldBack)
{
    manager_.set_debug_level(1);
    for (int i = 0; i < 5; ++i) {
        errno = EACCES;
        if (i == 4)
            manager_.set_debug_level(4);
        kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF limited\n");
    }
    EXPECT_EQ(EACCES, errno);
    EXPECT_THAT(text(), testing::EndsWith(" INF limited\n"));
}

TEST_F(Log_Level_Promised, LevelsMayChangeWhileThreadsLog)
{
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            while (!is_over)
                say("text");
        });
    for (unsigned i = 0; i < 300; ++i) {
        manager_.set_debug_level(1 + i % 4);
        promise(i % 3 != 0);
    }
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
    promise();
    manager_.set_debug_level(3);
    EXPECT_EQ("emergency error debug info ", say_all());
}

} // namespace
