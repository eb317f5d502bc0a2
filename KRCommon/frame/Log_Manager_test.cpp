#include <KRCommon/frame/Log_Manager.h>

#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Temp_Folder.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/Reactor.h>
#include <ace/Thread.h>
#include <ace/Timer_Queue.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <type_traits>

namespace {

using Names = std::set<std::string>;

// "server_2014_03_05_part_00.log" of today.
std::string todays_name(const char* right = "_part_00.log")
{
    const std::time_t now = std::time(nullptr);
    char text[64];
    std::strftime(text, sizeof text, "server_%Y_%m_%d", std::localtime(&now));
    return std::string(text) + right;
}

class Log_Manager : public Log_Manager_Fixture {
protected:
    void TearDown() override { release_files(); }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

TEST_F(Log_Manager, HasTheDefaultLimits)
{
    unsigned file = 0;
    unsigned total = 0;
    manager_.get_file_max_sizes(&file, &total);
    EXPECT_EQ(6'291'456u, file);
    EXPECT_EQ(104'857'600u, total);
}

TEST_F(Log_Manager, LimitsAreTakenUnchecked)
{
    for (const unsigned value : {0u, 1u, 2'147'483'648u, 4'294'967'295u}) {
        unsigned file = 5;
        unsigned total = 5;
        manager_.set_file_max_sizes(value, value / 2);
        manager_.get_file_max_sizes(&file, &total);
        EXPECT_EQ(value, file);
        EXPECT_EQ(value / 2, total);
    }
    manager_.get_file_max_sizes(nullptr, nullptr);
}

TEST_F(Log_Manager, OpenInAnEmptyDirectoryCreatesPart00OfToday)
{
    const std::string before = todays_name();
    manager_.open_in(folder_.path());
    EXPECT_THAT(folder_.names(), testing::ElementsAre(testing::AnyOf(before, todays_name())));
    say("first");
    EXPECT_EQ("first\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Manager, OpenGoesOnWithTodaysHighestPart)
{
    for (const char* part : {"_part_00.log", "_part_01.log", "_part_02.log", "_part_03.log"})
        folder_.write(todays_name(part), "old\n");
    const std::string last = folder_.write(todays_name("_part_04.log"), "T1 INF old\n");
    const std::string yesterday = folder_.write("server_2001_01_01_part_09.log", "");
    const Names before = folder_.names();
    manager_.open_in(folder_.path());
    say("new");
    EXPECT_EQ(before, folder_.names()) << "no new part";
    EXPECT_EQ("old\nnew\n", messages(last));
    EXPECT_EQ("_part_04.log", manager_.log_file_name_right());
}

TEST_F(Log_Manager, AFullPartThatOpenFoundIsRotatedAtTheFirstTick)
{
    folder_.write(todays_name("_part_04.log"), std::string(100, 'x'));
    manager_.set_file_max_sizes(100, 1'000'000);
    manager_.open_in(folder_.path());
    manager_.tick(ACE_OS::gettimeofday());
    EXPECT_EQ("_part_05.log", manager_.log_file_name_right());
}

TEST_F(Log_Manager, FileNamesOverPartsAndDays)
{
    manager_.set_file_max_sizes(0, 1'000'000);
    manager_.open_in(folder_.path(), "my server");
    go_to(manager_, 2014, 3, 5);
    for (unsigned part = 0; part <= 100; ++part) {
        const std::string digits = (part < 10 ? "0" : "") + std::to_string(part);
        const std::string name = "my server_2014_03_05_part_" + digits + ".log";
        EXPECT_EQ(folder_.path(name), manager_.log_file_name());
        EXPECT_TRUE(folder_.names().count(name)) << name;
        manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    }
    manager_.tick(local_time(2014, 12, 31));
    EXPECT_EQ(folder_.path("my server_2014_12_31_part_00.log"), manager_.log_file_name());
    EXPECT_EQ(folder_.path("my server_2014_12_31"), manager_.log_file_name_left());
}

TEST_F(Log_Manager, SizeExactlyAtTheLimitStartsTheNextPartAtTheNextTick)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    say("0123456789");
    const auto size = kr_platform::file_info(manager_.log_file_name())->size;
    const auto limit = static_cast<unsigned>(size);
    manager_.set_file_max_sizes(limit + 1, 1'000'000);
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    EXPECT_EQ("_part_00.log", manager_.log_file_name_right()) << "one byte is missing";
    manager_.set_file_max_sizes(limit, 1'000'000);
    manager_.tick(local_time(2014, 3, 5, 12, 0, 10));
    EXPECT_EQ("_part_01.log", manager_.log_file_name_right());
    say("next");
    EXPECT_EQ("next\n", messages(folder_.path("server_2014_03_05_part_01.log")));
    EXPECT_EQ("0123456789\n", messages(folder_.path("server_2014_03_05_part_00.log")));
}

TEST_F(Log_Manager, AFileThatGrewByOthersCountsWithItsRealSize)
{
    // A part that exists already: its size is known before the first line.
    manager_.set_file_max_sizes(1000, 1'000'000);
    folder_.write("server_2014_03_05_part_00.log", std::string(1000, 'x'));
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    EXPECT_EQ("_part_01.log", manager_.log_file_name_right());
}

TEST_F(Log_Manager, AFileAbove2GiBIsRotated)
{
    manager_.open_in(folder_.path());
    std::filesystem::resize_file(folder_.write("server_2014_03_05_part_00.log", ""), 2'147'483'650);
    manager_.set_file_max_sizes(2'147'483'649u, 4'294'967'295u);
    go_to(manager_, 2014, 3, 5);
    EXPECT_EQ("_part_00.log", manager_.log_file_name_right());
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    EXPECT_EQ("_part_01.log", manager_.log_file_name_right());
}

TEST_F(Log_Manager, AtMidnightThePartReturnsTo00UnderTheNewDate)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    manager_.set_file_max_sizes(0, 1'000'000);
    manager_.tick(local_time(2014, 3, 5, 23, 59, 59));
    EXPECT_EQ(folder_.path("server_2014_03_05_part_01.log"), manager_.log_file_name());
    manager_.tick(local_time(2014, 3, 6, 0, 0, 0));
    EXPECT_EQ(folder_.path("server_2014_03_06_part_00.log"), manager_.log_file_name());
    say("after midnight");
    EXPECT_EQ("after midnight\n", messages(folder_.path("server_2014_03_06_part_00.log")));
}

TEST_F(Log_Manager, QuirkTheSameDayNumberInTheNextMonthDoesNotRotate)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    manager_.tick(local_time(2014, 4, 5));
    manager_.tick(local_time(2015, 3, 5));
    EXPECT_EQ(folder_.path("server_2014_03_05_part_00.log"), manager_.log_file_name());
    manager_.set_file_max_sizes(0, 1'000'000);
    manager_.tick(local_time(2014, 4, 5));
    EXPECT_EQ(folder_.path("server_2014_04_05_part_01.log"), manager_.log_file_name())
        << "a rotation by size takes the new date and the next part";
}

TEST_F(Log_Manager, TimeMayStepBackByADay)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    say("one");
    manager_.tick(local_time(2014, 3, 4));
    manager_.tick(local_time(2014, 3, 5));
    say("two");
    EXPECT_EQ("one\ntwo\n", messages(folder_.path("server_2014_03_05_part_00.log")));
}

TEST_F(Log_Manager, AStreamInTheFailedStateRotatesByDayOnly)
{
    const std::string logs = folder_.path("a") + kr_platform::path_separator() + "b";
    manager_.set_file_max_sizes(0, 0);
    manager_.open_in(logs);
    ASSERT_FALSE(std::filesystem::exists(logs)) << "two levels are not made";
    const std::string before = manager_.log_file_name_right();
    std::filesystem::create_directory(folder_.path("a"));
    manager_.tick(ACE_OS::gettimeofday());
    EXPECT_EQ(before, manager_.log_file_name_right()) << "failed: position -1 is below any limit";
    say("lost");
    go_to(manager_, 2014, 3, 5);
    manager_.set_file_max_sizes(1'000'000, 1'000'000);
    say("kept");
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Manager, TimeoutOnAThreadWithoutAStreamDoesNothing)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    std::thread([&] {
        say("joins");
        ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
        manager_.tick(local_time(2014, 3, 6));
    }).join();
    EXPECT_EQ(folder_.path("server_2014_03_05_part_00.log"), manager_.log_file_name());
}

// In a process of its own, where no test has opened a file before.
TEST(Log_ManagerDeathTest, TimeoutBeforeAnyOpenDoesNothing)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Test_Log_Manager().tick(local_time(2014, 3, 6));
            kr_platform::end_process(ACE_Log_Msg::instance()->msg_ostream() == nullptr ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Log_Manager, TimeoutRotatesOnAThreadThatNeverLogged)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    std::thread([&] { manager_.tick(local_time(2014, 3, 6)); }).join();
    EXPECT_EQ(folder_.path("server_2014_03_06_part_00.log"), manager_.log_file_name());
}

TEST_F(Log_Manager, OpenPrunes)
{
    const std::string old = folder_.write("server_old.log", std::string(1000, 'x'));
    const std::string other = folder_.write("other.log", std::string(1000, 'x'));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // ages are whole seconds
    manager_.set_file_max_sizes(1'000'000, 999);
    manager_.open_in(folder_.path());
    EXPECT_FALSE(std::filesystem::exists(old));
    EXPECT_TRUE(std::filesystem::exists(other));
    EXPECT_TRUE(std::filesystem::exists(manager_.log_file_name()));
}

TEST_F(Log_Manager, ATickPrunesAfterARotationOnly)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    for (const std::string& name : folder_.names())
        if (folder_.path(name) != manager_.log_file_name())
            std::filesystem::remove(folder_.path(name));
    // Ages are whole seconds, and of two files of one second only one is a candidate: which one, the
    // file system decides.
    const std::chrono::milliseconds another_second(1100);
    std::this_thread::sleep_for(another_second);
    const std::string old = folder_.write("server_old.log", std::string(1000, 'x'));
    std::this_thread::sleep_for(another_second);
    manager_.set_file_max_sizes(1'000'000, 999);
    manager_.tick(local_time(2014, 3, 5, 12, 0, 5));
    EXPECT_TRUE(std::filesystem::exists(old)) << "no rotation, no pruning";
    manager_.tick(local_time(2014, 3, 6));
    EXPECT_FALSE(std::filesystem::exists(old));
    EXPECT_TRUE(std::filesystem::exists(manager_.log_file_name()));
}

TEST_F(Log_Manager, TheFileInUseIsNotExemptFromPruning)
{
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    say("in use");
    const std::string in_use = manager_.log_file_name();
    manager_.set_file_max_sizes(1'000'000, 0);
    for (const std::string& name : folder_.names())
        if (folder_.path(name) != in_use)
            std::filesystem::remove(folder_.path(name));
    manager_.del_old_files();
    // Where the system refuses to delete an open file it stays.
    EXPECT_EQ(!kr_platform_testing::can_delete_open_files(), std::filesystem::exists(in_use));
    say("goes on");
}

TEST_F(Log_Manager, OpenMakesTheDirectorysLastLevel)
{
    const std::string logs = folder_.path("my logs");
    manager_.open_in(logs);
    say("kept");
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
    EXPECT_TRUE(std::filesystem::is_directory(logs));
}

TEST_F(Log_Manager, ADirectoryThatVanishesIsMadeAnewAtTheNextRotation)
{
    const std::string logs = folder_.path("logs");
    manager_.open_in(logs);
    go_to(manager_, 2014, 3, 5);
    manager_.open_in(folder_.path("elsewhere"));
    std::filesystem::remove_all(logs);
    manager_.open_in(logs);
    say("kept");
    EXPECT_EQ("kept\n", messages(manager_.log_file_name()));
}

TEST_F(Log_Manager, ARelativeDirectoryIsRelativeToTheWorkingFolder)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    manager_.open_in("logs");
    go_to(manager_, 2014, 3, 5);
    say("kept");
    const std::string name =
        std::string("logs") + kr_platform::path_separator() + "server_2014_03_05_part_00.log";
    EXPECT_EQ(name, manager_.log_file_name());
    EXPECT_EQ("kept\n", messages(folder_.path(name)));
    manager_.open_in(folder_.path()); // closes the file below "logs"
    std::filesystem::current_path(before);
}

// Whatever cannot be used as a folder: no crash, no line of the manager's own, lines go on to
// stderr.
class Unusable_Directory : public Log_Manager {
protected:
    void expect_quiet(const std::string& directory)
    {
        SCOPED_TRACE(directory);
        const Log_Capture capture;
        manager_.open_in(directory);
        EXPECT_TRUE(ACE_Log_Msg::instance()->msg_ostream()->fail());
        EXPECT_EQ(-1, static_cast<int>(ACE_Log_Msg::instance()->msg_ostream()->tellp()));
        manager_.set_file_max_sizes(0, 0);
        manager_.tick(ACE_OS::gettimeofday());
        manager_.tick(local_time(2014, 3, 5));
        manager_.tick(local_time(2014, 3, 6));
        manager_.close();
        EXPECT_TRUE(capture.lines().empty());
        say("still logging");
        EXPECT_EQ(1u, capture.lines().size());
    }
};

TEST_F(Unusable_Directory, TwoMissingLevels)
{
    expect_quiet(folder_.path("a") + kr_platform::path_separator() + "b");
    EXPECT_EQ(Names{}, folder_.names());
}

TEST_F(Unusable_Directory, AFile)
{
    expect_quiet(folder_.write("file", "text"));
    EXPECT_EQ("text", read_text(folder_.path("file")));
}

TEST_F(Unusable_Directory, AnUnwritableOne)
{
    expect_quiet(kr_platform_testing::unwritable_folder());
}

TEST_F(Unusable_Directory, AnOverlongPath)
{
    expect_quiet(folder_.path(std::string(5000, 'x')));
}

TEST_F(Log_Manager, NullTextsCountAsEmpty)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    manager_.open_in(".", nullptr);
    go_to(manager_, 2014, 3, 5);
    EXPECT_TRUE(folder_.names().count("_2014_03_05_part_00.log"));
    manager_.open(nullptr, kr_platform_testing::unwritable_folder().c_str(), nullptr);
    std::filesystem::current_path(before);
}

TEST_F(Log_Manager, LevelsMaskExactlyThePrioritiesOfTheTable)
{
    const ACE_Log_Priority priorities[] = {LM_TRACE, LM_DEBUG,    LM_INFO,  LM_NOTICE,   LM_WARNING,
                                           LM_ERROR, LM_CRITICAL, LM_ALERT, LM_EMERGENCY};
    struct Row {
        unsigned level;
        unsigned long mask;
    };
    const Row rows[] = {{0, 1024}, {1, 1152}, {2, 1156}, {3, 1164},          {4, 1180},
                        {5, 1024}, {7, 1024}, {8, 1024}, {4294967295u, 1024}};
    std::atomic<int> step{0};
    std::atomic<unsigned long> seen_by_old_thread{0};
    const auto visible = [&] {
        unsigned long seen = 0;
        const Log_Capture capture;
        for (const ACE_Log_Priority priority : priorities)
            kr_log((KR_Log_Site{"x.cpp", 1, priority}), "%T T%04t\n");
        for (const Log_Capture::Line& line : capture.lines())
            seen |= static_cast<unsigned long>(line.priority);
        return seen;
    };
    std::thread old_thread([&] {
        for (int done = 0; done < 9;) {
            if (step != 2 * done + 1) {
                std::this_thread::yield();
                continue;
            }
            seen_by_old_thread = visible();
            step = 2 * ++done;
        }
    });
    int done = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.level);
        manager_.set_debug_level(row.level);
        EXPECT_EQ(row.mask, visible());
        step = 2 * done + 1;
        ++done;
        while (step != 2 * done)
            std::this_thread::yield();
        EXPECT_EQ(row.mask, seen_by_old_thread) << "a thread that was there before";
        unsigned long seen_by_new_thread = 0;
        std::thread([&] { seen_by_new_thread = visible(); }).join();
        EXPECT_EQ(row.mask, seen_by_new_thread) << "a new thread";
    }
    old_thread.join();
}

// A host may set ACE's masks itself.
TEST_F(Log_Manager, BothMasksCountFromTheVeryNextLine)
{
    const auto count_lines = [] {
        constexpr unsigned long none = 0;
        ACE_Log_Msg& log = *ACE_Log_Msg::instance();
        const Log_Capture capture;
        say("while neither lets it through");
        EXPECT_EQ(0u, capture.lines().size());
        log.priority_mask(LM_INFO, ACE_Log_Msg::THREAD);
        say("by the thread's mask");
        EXPECT_EQ(1u, capture.lines().size());
        log.priority_mask(none, ACE_Log_Msg::THREAD);
        say("while neither lets it through");
        EXPECT_EQ(1u, capture.lines().size());
        log.priority_mask(LM_INFO | LM_ERROR, ACE_Log_Msg::PROCESS);
        say("by the process's mask");
        EXPECT_EQ(2u, capture.lines().size());
        log.priority_mask(LM_ERROR, ACE_Log_Msg::PROCESS);
        say("while neither lets it through");
        EXPECT_EQ(2u, capture.lines().size());
    };
    const Temp_Folder folder;
    manager_.open_in(folder.path());
    ACE_Log_Msg::instance()->priority_mask(LM_ERROR, ACE_Log_Msg::PROCESS);
    count_lines();
    std::thread(count_lines).join(); // joins the log with a line
    std::thread([&] {
        manager_.non_ace_thread_init_log();
        count_lines();
    }).join();
    release_files();
}

TEST_F(Log_Manager, OpenSetsTheFlagsForStderrAndFile)
{
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    manager_.open(nullptr, folder_.path().c_str(), "server");
    const unsigned long flags = ACE_Log_Msg::instance()->flags();
    EXPECT_TRUE(flags & ACE_Log_Msg::STDERR);
    EXPECT_TRUE(flags & ACE_Log_Msg::OSTREAM);
}

TEST_F(Log_Manager, CloseWithoutOpenDoesNothing)
{
    manager_.close();
    manager_.close();
}

TEST_F(Log_Manager, AfterCloseLinesKeepGoingIntoTheFile)
{
    manager_.open_in(folder_.path());
    say("one");
    const std::string file = manager_.log_file_name();
    manager_.close();
    say("two");
    EXPECT_EQ("one\ntwo\n", messages(file));
}

TEST_F(Log_Manager, OpeningElsewhereMovesEveryThreadAndClosesTheOldFile)
{
    manager_.open_in(folder_.path("a"));
    const std::string a = manager_.log_file_name();
    const unsigned handles = kr_platform_testing::open_handle_count();
    say("in a");
    manager_.open_in(folder_.path("b"));
    const std::string b = manager_.log_file_name();
    say("in b");
    EXPECT_EQ("in a\n", messages(a));
    EXPECT_EQ("in b\n", messages(b));
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count());
    EXPECT_TRUE(kr_platform::remove_file(a)) << "nobody holds it";
}

TEST_F(Log_Manager, TimerIsScheduledAndCancelled)
{
    ACE_Reactor reactor;
    manager_.open(&reactor, folder_.path().c_str(), "server");
    EXPECT_EQ(&reactor, manager_.reactor());
    EXPECT_FALSE(reactor.timer_queue()->is_empty());
    const ACE_Time_Value first = reactor.timer_queue()->earliest_time() - ACE_OS::gettimeofday();
    EXPECT_GT(first, ACE_Time_Value(4));
    EXPECT_LE(first, ACE_Time_Value(5));
    manager_.close();
    EXPECT_EQ(nullptr, manager_.reactor());
    EXPECT_TRUE(reactor.timer_queue()->is_empty());
}

TEST_F(Log_Manager, ReopeningLeavesOneTimerOnTheNewReactor)
{
    ACE_Reactor first;
    ACE_Reactor second;
    for (int i = 0; i < 3; ++i)
        manager_.open(&first, folder_.path().c_str(), "server");
    manager_.open(&second, folder_.path().c_str(), "server");
    EXPECT_TRUE(first.timer_queue()->is_empty());
    EXPECT_EQ(&second, manager_.reactor());
    EXPECT_EQ(1, second.cancel_timer(&manager_)) << "exactly one timer";
    manager_.close();
}

TEST_F(Log_Manager, DestructionCancelsTheTimer)
{
    ACE_Reactor reactor;
    {
        Test_Log_Manager manager;
        manager.open(&reactor, folder_.path().c_str(), "server");
        EXPECT_FALSE(reactor.timer_queue()->is_empty());
    }
    EXPECT_TRUE(reactor.timer_queue()->is_empty());
}

TEST_F(Log_Manager, TimerTicksEveryFiveSecondsAndRotates)
{
    // The queue is told the time, so nobody waits.
    ACE_Reactor reactor;
    manager_.set_file_max_sizes(0, 1'000'000);
    manager_.open(&reactor, folder_.path().c_str(), "server");
    const ACE_Time_Value start = ACE_OS::gettimeofday();
    const auto parts = [&] { return folder_.names().size(); };
    EXPECT_EQ(1u, parts());
    reactor.timer_queue()->expire(start + ACE_Time_Value(4));
    EXPECT_EQ(1u, parts());
    reactor.timer_queue()->expire(start + ACE_Time_Value(6));
    EXPECT_EQ(2u, parts());
    reactor.timer_queue()->expire(start + ACE_Time_Value(9));
    EXPECT_EQ(2u, parts());
    reactor.timer_queue()->expire(start + ACE_Time_Value(11));
    EXPECT_EQ(3u, parts());
    manager_.close();
}

TEST_F(Log_Manager, ACopyHasTheSettingsAndNeitherTimerNorReactor)
{
    ACE_Reactor reactor;
    manager_.set_file_max_sizes(111, 222'222);
    manager_.open(&reactor, folder_.path().c_str(), "server");
    manager_.tick(ACE_OS::gettimeofday());
    const Test_Log_Manager& source = manager_;
    {
        Test_Log_Manager copy(source);
        unsigned file = 0;
        unsigned total = 0;
        copy.get_file_max_sizes(&file, &total);
        EXPECT_EQ(111u, file);
        EXPECT_EQ(222'222u, total);
        EXPECT_EQ(manager_.log_file_name(), copy.log_file_name());
        EXPECT_EQ(nullptr, copy.reactor());
    }
    EXPECT_FALSE(reactor.timer_queue()->is_empty()) << "the copy's end leaves the timer alone";
    manager_.close();
}

TEST_F(Log_Manager, AssignmentCopiesTheSettingsAndLeavesTheTimerOfItsTarget)
{
    ACE_Reactor reactor;
    Test_Log_Manager other;
    other.set_file_max_sizes(7, 8);
    manager_.open(&reactor, folder_.path().c_str(), "server");
    manager_ = other;
    unsigned file = 0;
    unsigned total = 0;
    manager_.get_file_max_sizes(&file, &total);
    EXPECT_EQ(7u, file);
    EXPECT_EQ(8u, total);
    EXPECT_EQ(&reactor, manager_.reactor());
    manager_.close();
    EXPECT_TRUE(reactor.timer_queue()->is_empty()) << "the timer can still be cancelled";
    const Test_Log_Manager& self = manager_;
    manager_ = self;
}

TEST_F(Log_Manager, InstanceIsOneForAllThreads)
{
    static_assert(!std::is_default_constructible_v<KR_LOG_MANAGER>);
    static_assert(std::is_copy_constructible_v<KR_LOG_MANAGER>);
    static_assert(std::is_copy_assignable_v<KR_LOG_MANAGER>);
    static_assert(std::has_virtual_destructor_v<KR_LOG_MANAGER>);
    KR_LOG_MANAGER* other = nullptr;
    std::thread([&] { other = KR_LOG_MANAGER::instance(); }).join();
    EXPECT_EQ(KR_LOG_MANAGER::instance(), other);
}

// The real thing: the reactor's own thread, the real clock.
class Ticking_Manager : public Test_Log_Manager {
public:
    int handle_timeout(const ACE_Time_Value& now, const void* act) override
    {
        thread_ = kr_platform::thread_id();
        ++ticks_;
        return Test_Log_Manager::handle_timeout(now, act);
    }

    std::atomic<unsigned> thread_{0};
    std::atomic<int> ticks_{0};
};

using Log_Manager_Slow = Log_Manager;

TEST_F(Log_Manager_Slow, TheTimerFiresAfterFiveSecondsOnTheReactorsThreadAndRotates)
{
    Ticking_Manager manager;
    manager.set_file_max_sizes(1, 1'000'000);
    ACE_Reactor reactor;
    std::atomic<bool> is_over{false};
    unsigned reactor_thread = 0;
    std::thread events([&] {
        reactor_thread = kr_platform::thread_id();
        reactor.owner(ACE_Thread::self());
        while (!is_over) {
            ACE_Time_Value wait(0, 50'000);
            reactor.handle_events(wait);
        }
    });
    manager.open(&reactor, folder_.path().c_str(), "server");
    const ACE_Time_Value start = ACE_OS::gettimeofday();
    say("part 0");
    while (manager.ticks_ == 0 && ACE_OS::gettimeofday() - start < ACE_Time_Value(20))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const ACE_Time_Value waited = ACE_OS::gettimeofday() - start;
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // the upcall finishes
    say("part 1");
    manager.close();
    is_over = true;
    events.join();
    EXPECT_EQ(1, manager.ticks_);
    EXPECT_EQ(reactor_thread, manager.thread_);
    EXPECT_GE(waited, ACE_Time_Value(4, 900'000));
    EXPECT_EQ("_part_01.log", manager.log_file_name_right());
    EXPECT_EQ("part 1\n", messages(manager.log_file_name()));
}

} // namespace
