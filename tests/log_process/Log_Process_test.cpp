// The log beyond one process: two processes with one prefix, processes that the host starts or forks,
// a host without stdout and stderr, and the end of a process whose log is stuck. The children are
// hosts of the real library.

#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Child_Process.h>
#include <tests/support/Sanitizers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ace/OS_NS_sys_time.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using testing::HasSubstr;

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

// All text of the log files, which have the prefix.
std::string log_text(const Temp_Folder& folder, const std::string& prefix)
{
    std::string text;
    for (const std::string& name : folder.names())
        if (name.find(prefix) == 0)
            text += read_text(folder.path(name));
    return text;
}

// A child process that runs beside the test.
class Background_Child {
public:
    // stderr_handle  ACE_INVALID_HANDLE: the test's own
    explicit Background_Child(const std::vector<std::string>& arguments,
                              ACE_HANDLE stderr_handle = ACE_INVALID_HANDLE)
    {
        ACE::init();
        std::string line = '"' + program_folder() + "log_child\"";
        for (const std::string& argument : arguments)
            line += " \"" + argument + '"';
        ACE_Process_Options options;
        options.command_line("%s", line.c_str());
        if (stderr_handle != ACE_INVALID_HANDLE)
            options.set_handles(ACE_INVALID_HANDLE, ACE_INVALID_HANDLE, stderr_handle);
        is_running_ = process_.spawn(options) != ACE_INVALID_PID;
        options.release_handles();
        EXPECT_TRUE(is_running_) << line;
    }
    ~Background_Child()
    {
        if (is_running_)
            process_.terminate();
    }
    Background_Child(const Background_Child&) = delete;
    Background_Child& operator=(const Background_Child&) = delete;

    // Ends the process at once: no code of its own runs any more.
    void kill()
    {
        process_.terminate();
        process_.wait();
        is_running_ = false;
    }

    // The exit code, or -1 when the process has not ended within the time.
    int wait(int seconds)
    {
        ACE_exitcode status = 0;
        if (!is_running_ || process_.wait(ACE_Time_Value(seconds), &status) <= 0)
            return -1;
        is_running_ = false;
        return process_.return_value();
    }

private:
    ACE_Process process_;
    bool is_running_ = false;
};

// One line of a child, from stamp to last word.
bool is_whole(const std::string& line)
{
    constexpr std::string_view end = " what it is doing";
    const std::size_t message = line.find(" INF ");
    return line.size() > end.size() &&
           line.compare(line.size() - end.size(), end.size(), end) == 0 &&
           message != std::string::npos && line.find(" INF ", message + 1) == std::string::npos;
}

// Whoever formats the lines: the library where the parameter says so, else ACE.
class Log_Process_Lines : public testing::TestWithParam<bool> {
protected:
    static std::vector<std::string> arguments(std::vector<std::string> mode)
    {
        if (GetParam())
            mode.insert(mode.begin(), "fast");
        return mode;
    }
};

INSTANTIATE_TEST_SUITE_P(Lines, Log_Process_Lines, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& lines) {
                             return std::string(lines.param ? "Fast" : "ByAce");
                         });

TEST_P(Log_Process_Lines, ProcessesWithOnePrefixLoseNoLine)
{
    constexpr std::size_t count = 10'000;
    const Temp_Folder folder;
    std::vector<std::unique_ptr<Background_Child>> children;
    for (const char* name : {"a", "b", "c", "d"})
        children.push_back(std::make_unique<Background_Child>(
            arguments({"write", folder.path(), "shared", std::to_string(count), name})));
    folder.write("go", "");
    for (const auto& child : children)
        EXPECT_EQ(0, child->wait(100));
    std::set<std::string> messages;
    int torn = 0;
    for (const std::string& line : lines_of(log_text(folder, "shared_")))
        if (is_whole(line))
            messages.insert(line.substr(line.find(" INF ")));
        else
            ++torn;
    const std::size_t all = children.size() * count;
    EXPECT_EQ(all, messages.size()) << all - messages.size() << " lines are lost";
    EXPECT_EQ(0, torn);
}

TEST(Log_Process, AChildProcessInheritsNoFileOfTheLibrary)
{
    const Temp_Folder folder;
    const Child_Result child = run_child("log_child", {"rotate", folder.path()});
    EXPECT_EQ("part deleted\n", child.output);
    EXPECT_EQ(0, child.exit_code);
}

TEST(Log_Process, InADaemonTheLogFileHasEachLineOnceAndNoForeignText)
{
    for (const char* closed : {"2", "12", "012"}) {
        SCOPED_TRACE(closed);
        const Temp_Folder folder;
        const Child_Result child = run_child("log_child", {"daemon", folder.path(), closed});
        EXPECT_EQ(0, child.exit_code);
        const std::string text = log_text(folder, "daemon_");
        for (const char* line : {"line 0", "line 1", "line 2"})
            EXPECT_EQ(text.find(line), text.rfind(line)) << text;
        EXPECT_THAT(text, HasSubstr(" INF line 2\n"));
        EXPECT_THAT(text, testing::Not(HasSubstr("foreign")));
        EXPECT_THAT(log_text(folder, "profile_"), testing::Not(HasSubstr("foreign")));
    }
}

TEST_P(Log_Process_Lines, ForkedChildrenOfAProcessWhoseThreadsLogCanLog)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "this system has no fork()";
    const Temp_Folder folder;
    const Child_Result child = run_child("log_child", arguments({"fork", folder.path(), "40"}));
    EXPECT_EQ("ended 40 of 40\n", child.output);
    const std::string text = log_text(folder, "server_");
    for (int i = 0; i < 40; ++i) {
        const std::string mark = " INF child " + std::to_string(i);
        const std::size_t at = text.find(mark + ": a text");
        ASSERT_NE(std::string::npos, at) << i;
        EXPECT_EQ(at, text.rfind(mark + ": a text"));
        EXPECT_THAT(text, HasSubstr(mark + " by ACE: a text"));
    }
    for (const std::string& line : lines_of(text))
        ASSERT_TRUE(is_whole(line)) << line;
}

TEST(Log_Process, AForkedChildOpensALogOfItsOwnAndTheParentKeepsIts)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "this system has no fork()";
    const Temp_Folder folder;
    const Child_Result child = run_child("log_child", {"reopen", folder.path()});
    EXPECT_THAT(child.output, HasSubstr("child 0\n"));
    EXPECT_THAT(child.output, HasSubstr("timers 1\n"));
    EXPECT_THAT(log_text(folder, "child_"), HasSubstr("in the child's own file"));
    EXPECT_THAT(log_text(folder, "parent_"), HasSubstr("in the parent's file"));
    EXPECT_THAT(log_text(folder, "parent_"), testing::Not(HasSubstr("own file")));
}

TEST_P(Log_Process_Lines, AKilledProcessHasLostNoLineThatItHadLogged)
{
    const Temp_Folder folder;
    Background_Child child(arguments({"endless", folder.path()}));
    const std::string progress = folder.path("progress");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (lines_of(read_text(progress)).size() < 1'000 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    child.kill();
    const std::string noted = read_text(progress);
    const std::size_t count =
        static_cast<std::size_t>(std::count(noted.begin(), noted.end(), '\n'));
    ASSERT_LE(1'000u, count);
    std::vector<std::string> lines = lines_of(log_text(folder, "server_"));
    ASSERT_LE(count, lines.size());
    // The one that was being written may be cut: a system may stop at the end of a page.
    if (lines.size() > count && !is_whole(lines.back()))
        lines.pop_back();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(is_whole(lines[i])) << lines[i];
        EXPECT_THAT(lines[i], HasSubstr(" INF line " + std::to_string(i) + ": "));
    }
}

// Nobody reads what the process says on stderr: its thread that logs gets stuck inside the log.
class Stuck_Log {
public:
    Stuck_Log() { kr_platform_testing::make_pipe(ends_); }
    ~Stuck_Log() { kr_platform_testing::close_pipe(ends_); }
    Stuck_Log(const Stuck_Log&) = delete;
    Stuck_Log& operator=(const Stuck_Log&) = delete;

    ACE_HANDLE write_end() const { return (ACE_HANDLE)ends_.write; }

private:
    kr_platform_testing::Pipe ends_;
};

// ThreadSanitizer's own _exit() flushes stderr first, which is what hangs here.
constexpr const char* no_end_under_it = "ThreadSanitizer lets no process end whose stderr is stuck";

TEST(Log_Process, AFailedAssertionEndsTheProcessThoughTheLogIsStuck)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << no_end_under_it;
    const Stuck_Log stuck;
    Background_Child child({"assert"}, stuck.write_end());
    EXPECT_EQ(1, child.wait(8)) << "1 second until the assertion, and at most 1 for its line";
}

TEST(Log_Process_Slow, ADeadLockEndsTheProcessThoughItsHolderIsStuckInTheLog)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << no_end_under_it;
    const Stuck_Log stuck;
    Background_Child child({"guard"}, stuck.write_end());
    EXPECT_EQ(1, child.wait(145)) << "130 seconds for the lock, and at most 1 for the line";
}

TEST(Log_Process_Slow, ADeadLockEndsTheProcessThoughTheLineAboutTheDelayIsStuckToo)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << no_end_under_it;
    const Stuck_Log stuck;
    const auto start = std::chrono::steady_clock::now();
    Background_Child child({"delay"}, stuck.write_end());
    EXPECT_EQ(1, child.wait(145));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(130));
}

} // namespace
