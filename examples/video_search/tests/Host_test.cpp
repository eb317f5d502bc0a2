#include "host/Host.h"

#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/kernels/Instructions.h>
#include <KRCommon/util/Guid.h>

#include <ace/Event_Handler.h>
#include <ace/OS_NS_unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

using namespace video_search;

namespace {

std::string text_of(const std::filesystem::path& file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// What a component does, as a test wants it.
class Test_Component final : public KR_Component_Base, private ACE_Event_Handler {
public:
    enum class Upcall { none, throws };

    explicit Test_Component(State start_result = STATE_STARTED, Upcall upcall = Upcall::none)
        : KR_Component_Base("test component"), start_result_(start_result), upcall_(upcall)
    {
    }
    ~Test_Component() override
    {
        if (get_state() != STATE_STOPPED)
            component_stop();
    }

    bool throws_at_start = false;
    State stop_result = STATE_STOPPED;
    int upcalls = 0;
    int stops = 0;
    std::atomic<bool> is_running{false};

private:
    State do_component_start(ACE_Reactor* reactor) override
    {
        if (throws_at_start)
            throw std::runtime_error("no start");
        if (start_result_ == STATE_STOPPED)
            return STATE_STOPPED;
        const ACE_Time_Value period(0, 20'000);
        this->reactor(reactor);
        reactor->schedule_timer(this, nullptr, period, period);
        is_running = true;
        return start_result_;
    }
    State do_component_stop() override
    {
        reactor()->cancel_timer(this);
        ++stops;
        is_running = false;
        const State result = stop_result;
        stop_result = STATE_STOPPED;
        return result;
    }
    int handle_timeout(const ACE_Time_Value&, const void*) override
    {
        ++upcalls;
        if (upcall_ == Upcall::throws)
            throw std::runtime_error("upcall");
        return 0;
    }

    State start_result_;
    Upcall upcall_;
};

class HostTest : public testing::Test {
protected:
    void SetUp() override
    {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder_ = std::filesystem::path(testing::TempDir()) /
                  ("video search host " + std::to_string(ACE_OS::getpid()) + ' ' + test->name());
        std::error_code error;
        std::filesystem::remove_all(folder_, error);
        std::filesystem::create_directories(folder_);
    }
    void TearDown() override
    {
        // The log goes on in its last file after the host's end. Of a file that is in use and may be
        // deleted, Wine keeps the name, and the folder would be emptied for ever.
        const std::string elsewhere = testing::TempDir();
        KR_LOG_MANAGER::instance()->open(nullptr, elsewhere.c_str(), "video_search_tests");
        std::error_code error;
        std::filesystem::remove_all(folder_, error);
    }

    std::string logs() const { return (folder_ / "logs").string(); }

    // The files in the log folder whose names match.
    std::vector<std::filesystem::path> files(const std::string& pattern) const
    {
        std::vector<std::filesystem::path> result;
        for (const auto& entry : std::filesystem::directory_iterator(logs()))
            if (std::regex_match(entry.path().filename().string(), std::regex(pattern)))
                result.push_back(entry.path());
        return result;
    }

    std::string log_text() const
    {
        const auto found = files("prog_[0-9]{4}_[0-9]{2}_[0-9]{2}_part_[0-9]{2}\\.log");
        return found.size() == 1 ? text_of(found[0]) : "not one log file";
    }

    // The lines that hold the text.
    std::vector<std::string> log_lines(const std::string& part) const
    {
        std::vector<std::string> result;
        for (const std::string& line : lines_of(log_text()))
            if (line.find(part) != std::string::npos)
                result.push_back(line);
        return result;
    }

    std::filesystem::path folder_;
};

std::string failure_of_host(const std::string& program, const std::string& logs)
{
    try {
        const Host host(program, logs);
        return "no failure";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST_F(HostTest, StartLineNamesProgramRunAndVersions)
{
    std::string run;
    {
        const Host host("prog", logs());
        run = host.run_id();
    }
    const auto found = log_lines("started");
    ASSERT_EQ(1U, found.size());
    const std::regex line("\\d\\d:\\d\\d:\\d\\d\\.\\d{6} T\\d{4,} INF prog: started, run " + run +
                          ", video_search_tests.* on (lib)?KRCommon\\.(so|dll)[.0-9]* 1\\.0\\.0.*, "
                          "instructions " +
                          kr_instructions());
    EXPECT_TRUE(std::regex_match(found[0], line)) << found[0];
}

TEST_F(HostTest, OneLineTellsWhatBecameOfTheConfiguration)
{
    {
        const Host host("prog", logs());
    }
    const KR_Configuration_Status& configuration = kr_configuration_status();
    ASSERT_TRUE(configuration.is_read) << configuration.error;
    EXPECT_EQ(1U, log_lines(" INF prog: named colours from '" + configuration.path).size());
}

TEST_F(HostTest, LastLineTellsThatTheRunEnded)
{
    std::string run;
    {
        const Host host("prog", logs());
        run = host.run_id();
    }
    const auto lines = lines_of(log_text());
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(std::string::npos, lines.back().find(" INF prog: ended, run " + run)) << lines.back();
}

TEST_F(HostTest, LastLineTellsThatTheRunWasInterrupted)
{
    std::string run;
    {
        const Host host("prog", logs());
        run = host.run_id();
        std::raise(SIGINT);
    }
    const auto lines = lines_of(log_text());
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(std::string::npos, lines.back().find(" INF prog: interrupted, run " + run))
        << lines.back();
}

TEST_F(HostTest, EachRunHasAnIdentifierOfItsOwn)
{
    std::string first;
    {
        const Host host("prog", logs());
        first = host.run_id();
    }
    const Host host("prog", logs());
    EXPECT_EQ(36U, first.size());
    EXPECT_EQ(first, kr_to_string(kr_to_guid(first)));
    EXPECT_NE(first, "00000000-0000-0000-0000-000000000000");
    EXPECT_NE(first, host.run_id());
}

TEST_F(HostTest, LinesOfEveryLevelGoIntoTheFileAndNotToTheConsole)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        Host host("prog", logs());
        Test_Component component;
        host.end();
        EXPECT_TRUE(host.run(component));
        kr_log(KR_LOG_SITE(LM_NOTICE), "%T T%04t INF a notice\n");
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR an error\n");
        std::thread([] { kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF of a thread\n"); }).join();
    }
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(1U, log_lines(" DBG test component: Component started.").size());
    EXPECT_EQ(1U, log_lines(" INF a notice").size());
    EXPECT_EQ(1U, log_lines("*ERR an error").size());
    EXPECT_EQ(1U, log_lines(" INF of a thread").size());
}

TEST_F(HostTest, LogSettingsAreGivenBack)
{
    ACE_Log_Msg* const log = ACE_Log_Msg::instance();
    const unsigned long flags = log->flags();
    log->clr_flags(~0UL);
    log->set_flags(ACE_Log_Msg::STDERR | ACE_Log_Msg::VERBOSE_LITE);
    const unsigned long mask = log->priority_mask(LM_CRITICAL, ACE_Log_Msg::PROCESS);
    {
        const Host host("prog", logs());
        EXPECT_EQ(0U, log->flags() & ACE_Log_Msg::STDERR);
    }
    EXPECT_EQ(ACE_Log_Msg::STDERR | ACE_Log_Msg::VERBOSE_LITE, log->flags());
    EXPECT_EQ(static_cast<unsigned long>(LM_CRITICAL),
              log->priority_mask(mask, ACE_Log_Msg::PROCESS));
    log->clr_flags(~0UL);
    log->set_flags(flags);
}

TEST_F(HostTest, LogFolderIsMadeWithItsParentsAndMayHaveBlanks)
{
    const std::filesystem::path deep = folder_ / "a b" / " c" / "logs of today";
    {
        const Host host("my prog", deep.string());
    }
    int logs = 0;
    int tables = 0;
    for (const auto& entry : std::filesystem::directory_iterator(deep)) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(0U, name.find("my prog_")) << name;
        logs += entry.path().extension() == ".log" ? 1 : 0;
        tables += entry.path().extension() == ".csv" ? 1 : 0;
    }
    EXPECT_EQ(1, logs);
    EXPECT_EQ(1, tables);
}

TEST_F(HostTest, LogFolderThatIsAFileIsAFailure)
{
    std::ofstream(logs()) << "text";
    const std::string failure = failure_of_host("prog", logs());
    EXPECT_EQ(0U, failure.find("cannot make the log folder '" + logs() + "': ")) << failure;
    EXPECT_EQ(std::string::npos, failure.find('\n'));
    EXPECT_EQ("text", text_of(logs()));
}

TEST_F(HostTest, LogFolderBelowAFileIsAFailure)
{
    std::ofstream(logs()) << "text";
    const std::string failure = failure_of_host("prog", logs() + "/deeper/still");
    EXPECT_EQ(0U, failure.find("cannot make the log folder '")) << failure;
}

TEST_F(HostTest, LogFolderWithoutANameIsAFailure)
{
    const std::string failure = failure_of_host("prog", "");
    EXPECT_EQ(0U, failure.find("cannot make the log folder ''")) << failure;
}

TEST_F(HostTest, LogFileThatCannotBeWrittenIsAFailure)
{
    EXPECT_EQ("cannot write a log file in the folder '" + logs() + "'",
              failure_of_host("no such folder/prog", logs()));
}

TEST_F(HostTest, FailedHostLeavesNothingBehind)
{
    ACE_Log_Msg* const log = ACE_Log_Msg::instance();
    const unsigned long flags = log->flags();
    const unsigned long mask = log->priority_mask(ACE_Log_Msg::PROCESS);
    static volatile std::sig_atomic_t signals = 0;
    signals = 0;
    const auto previous = std::signal(SIGINT, [](int) { signals = signals + 1; });
    failure_of_host("no such folder/prog", logs());
    std::raise(SIGINT);
    std::signal(SIGINT, previous);
    EXPECT_EQ(1, signals);
    EXPECT_EQ(flags, log->flags());
    EXPECT_EQ(mask, log->priority_mask(ACE_Log_Msg::PROCESS));
    EXPECT_EQ("no failure", failure_of_host("prog", logs()));
}

TEST_F(HostTest, SecondHostAtATimeIsRefused)
{
    Host host("prog", logs());
    EXPECT_THROW(Host("other", logs()), std::logic_error);
    std::raise(SIGINT); // still taken by the first
    EXPECT_TRUE(host.is_interrupted());
}

TEST_F(HostTest, RunEndsByEndOfAnotherThread)
{
    Host host("prog", logs());
    Test_Component component;
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_TRUE(component.is_running);
        host.end();
    });
    EXPECT_TRUE(host.run(component));
    other.join();
    EXPECT_FALSE(component.is_running);
    EXPECT_GE(component.upcalls, 3); // one each 20 ms
    EXPECT_EQ(1, component.stops);
    EXPECT_FALSE(host.is_interrupted());
}

TEST_F(HostTest, EndBeforeRunStartsAndStopsTheComponent)
{
    Host host("prog", logs());
    Test_Component component;
    host.end();
    EXPECT_TRUE(host.run(component));
    EXPECT_EQ(0, component.upcalls);
    EXPECT_EQ(1, component.stops);
}

TEST_F(HostTest, SignalsEndTheRunAndASecondOneDoesNoHarm)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Host host("prog", logs());
        EXPECT_FALSE(host.is_interrupted());
        Test_Component component;
        std::thread other([&] {
            while (!component.is_running)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            std::raise(signal);
            std::raise(signal);
            std::raise(signal);
        });
        EXPECT_TRUE(host.run(component));
        other.join();
        EXPECT_TRUE(host.is_interrupted());
        EXPECT_EQ(1, component.stops);
    }
}

TEST_F(HostTest, SignalHandlersAreGivenBack)
{
    static volatile std::sig_atomic_t signals = 0;
    signals = 0;
    const auto previous = std::signal(SIGTERM, [](int) { signals = signals + 1; });
    {
        const Host host("prog", logs());
        std::raise(SIGTERM);
        EXPECT_TRUE(host.is_interrupted());
        EXPECT_EQ(0, signals);
    }
    std::raise(SIGTERM);
    EXPECT_EQ(1, signals);
    std::signal(SIGTERM, previous);
}

TEST_F(HostTest, ComponentThatDoesNotStartMakesRunFalse)
{
    Host host("prog", logs());
    Test_Component component(KR_Component_Base::STATE_STOPPED);
    EXPECT_FALSE(host.run(component));
    EXPECT_EQ(0, component.stops);
    EXPECT_EQ(1U, log_lines("*ERR test component: Failed to start component.").size());
}

TEST_F(HostTest, ComponentThatDoesNotStopMakesRunFalse)
{
    Host host("prog", logs());
    Test_Component component;
    component.stop_result = KR_Component_Base::STATE_STARTED;
    host.end();
    EXPECT_FALSE(host.run(component));
    EXPECT_EQ(1U, log_lines("*ERR test component: Failed to stop component.").size());
}

TEST_F(HostTest, ExceptionOfAStartPassesAndTheHostGoesOn)
{
    Host host("prog", logs());
    Test_Component component;
    component.throws_at_start = true;
    EXPECT_THROW(static_cast<void>(host.run(component)), std::runtime_error);
    EXPECT_EQ(0, component.stops);
    component.throws_at_start = false;
    host.end();
    EXPECT_TRUE(host.run(component));
}

TEST_F(HostTest, ExceptionOfAnUpcallPassesWhenTheComponentHasStopped)
{
    Host host("prog", logs());
    Test_Component component(KR_Component_Base::STATE_STARTED, Test_Component::Upcall::throws);
    EXPECT_THROW(static_cast<void>(host.run(component)), std::runtime_error);
    EXPECT_EQ(1, component.stops);
    EXPECT_FALSE(component.is_running);
}

TEST_F(HostTest, LastReportOfTheProfilerIsInTheCsvFileAndInTheLog)
{
    {
        Host host("prog", logs());
        {
            const ProfileHelperBlock block(&host.profile(), "decode");
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
        }
        host.profile().AddSample("detect", 7);
        host.profile().AddSample("detect", 2);
    }
    const auto found = files("prog_[0-9]+\\.csv");
    ASSERT_EQ(1U, found.size());
    const auto lines = lines_of(text_of(found[0]));
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ("tag,timeStamp,totalMs,count,averageMs,highMs", lines[0]);
    EXPECT_TRUE(std::regex_match(lines[1], std::regex("decode,\\d{13},\\d+,1,\\d+,\\d+")))
        << lines[1];
    EXPECT_TRUE(std::regex_match(lines[2], std::regex("detect,\\d{13},9,2,4\\.5,7"))) << lines[2];
    EXPECT_EQ(1U, log_lines(" INF PROF: detect - totalMs: 9, count: 2").size());
}

TEST_F(HostTest, PathsAreTakenAsTheyAre)
{
    EXPECT_EQ("a b/c.db", to_path("a b/c.db").generic_string());
    EXPECT_EQ("c.db", to_path("a b/c.db").filename().string());
}

} // namespace
