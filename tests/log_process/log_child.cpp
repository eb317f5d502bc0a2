// A host of the real library, one mode a run, for what shows only in a process of its own. With the word
// "fast" before the mode the library formats its lines itself.
//
//     log_child write FOLDER PREFIX COUNT NAME   so many lines, when FOLDER/go is there
//     log_child rotate FOLDER       a child process lives on while the log rotates; prints what of
//                                   the library's it has open and whether the old part can go
//     log_child daemon FOLDER DIGITS   with these descriptors closed, "2" or "012"
//     log_child fork FOLDER COUNT   so many forked children of a process whose threads log
//     log_child reopen FOLDER       a forked child of a process with a reactor opens a log of its own
//     log_child assert              an assertion fails while a thread is stuck in the log
//     log_child guard               a mutex's holder is stuck in the log, and who waits logs its end alone
//     log_child delay               the same, but who waits logs the delay as well
//     log_child endless FOLDER      numbered lines; each is noted in FOLDER/progress once it is logged
//     log_child wait FILE           until there is such a file

#include <KRCommon/eventlog/Event_Log.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/ProfileHelper.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/No_Leak_Check.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Process.h>
#include <ace/Reactor.h>
#include <ace/Thread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

constexpr const char* filler =
    "a text of a length that is usual for lines in which a service tells what it is doing";

void sleep_for(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void wait_for_file(const std::string& path)
{
    while (!std::filesystem::exists(path))
        sleep_for(1);
}

void open_log(const std::string& folder, const std::string& prefix)
{
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(3);
    logs->open(nullptr, folder.c_str(), prefix.c_str());
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
}

int write_lines(const Arguments& arguments)
{
    open_log(arguments.at(1), arguments.at(2));
    wait_for_file(arguments.at(1) + "/go");
    const int count = std::stoi(arguments.at(3));
    for (int i = 0; i < count; ++i)
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s %d: %s\n", arguments.at(4), i, filler);
    return 0;
}

// Lets a file go and tells whether the system did so.
const char* try_to_delete(const std::string& path)
{
    std::error_code error;
    return std::filesystem::remove(path, error) ? "deleted" : "kept";
}

int rotate(const Arguments& arguments)
{
    const std::string& folder = arguments.at(1);
    open_log(folder, "server");
    const ProfileHelper profile(60, folder + "/profile");
    const std::string part = std::filesystem::directory_iterator(folder)->path().string();
    const std::string stop = folder + "/stop";

    ACE_Process_Options options; // handles that can be inherited are
    options.command_line("\"%s\" wait \"%s\"", arguments.at(0).c_str(), stop.c_str());
    ACE_Process child;
    if (child.spawn(options) == ACE_INVALID_PID)
        return 3;
    sleep_for(500);
    for (const std::string& path : kr_platform_testing::files_open_in(child.getpid()))
        if (path.find(folder) == 0)
            std::printf("inherited %s\n", path.c_str());
    KR_LOG_MANAGER::instance()->set_file_max_sizes(0, 1'000'000'000);
    std::vector<std::string> parts;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().filename().string().find("_part_00") != std::string::npos)
            parts.push_back(entry.path().string());
    KR_LOG_MANAGER::instance()->handle_timeout(ACE_OS::gettimeofday(), nullptr);
    for (const std::string& path : parts)
        std::printf("part %s\n", try_to_delete(path));
    std::fclose(std::fopen(stop.c_str(), "w"));
    child.wait();
    return 0;
}

int run_as_daemon(const Arguments& arguments)
{
    for (const char digit : arguments.at(2))
        kr_platform_testing::close_standard_file(digit - '0');
    KR_LOG_MANAGER::instance()->set_debug_level(3);
    KR_LOG_MANAGER::instance()->open(nullptr, arguments.at(1).c_str(), "daemon");
    ProfileHelper profile(0, arguments.at(1) + "/profile");
    profile.AddSample("tag", 1);
    for (int i = 0; i < 3; ++i) {
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF line %d\n", i);
        kr_platform_testing::write_to_standard_files("foreign text\n");
    }
    profile.ReportStat();
    return 0;
}

int fork_children(const Arguments& arguments)
{
    open_log(arguments.at(1), "server");
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            KR_LOG_MANAGER::instance()->non_ace_thread_init_log();
            for (int line = 0; !is_over; ++line) {
                if (i < 2)
                    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF thread %d %d: %s\n", i, line,
                           filler);
                else
                    ACE_ERROR((LM_INFO, "%T T%t INF thread %d %d: %C\n", i, line, filler));
                std::this_thread::sleep_for(std::chrono::microseconds(20)); // the lock is not fair
            }
        });
    std::vector<std::int64_t> children;
    for (int i = 0; i < std::stoi(arguments.at(2)); ++i) {
        sleep_for(5);
        children.push_back(kr_platform_testing::fork_process([i] {
            kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF child %d: %s\n", i, filler);
            ACE_ERROR((LM_INFO, "T%t without a stamp INF child %d by ACE: %C\n", i, filler));
            return 0;
        }));
    }
    int ended = 0;
    for (const std::int64_t child : children)
        ended += kr_platform_testing::wait_for_process(child, 5'000) == 0 ? 1 : 0;
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
    std::printf("ended %d of %d\n", ended, static_cast<int>(children.size()));
    return 0;
}

// The parent's reactor waits on a thread of its own, which the child does not have.
int reopen_in_child(const Arguments& arguments)
{
    const std::string& folder = arguments.at(1);
    ACE_Reactor& reactor = *new ACE_Reactor; // its end would wait in the child for that thread
    std::atomic<bool> is_over{false};
    std::thread events([&] {
        reactor.owner(ACE_Thread::self());
        while (!is_over) {
            ACE_Time_Value wait(0, 200'000);
            reactor.handle_events(wait);
        }
    });
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->open(&reactor, folder.c_str(), "parent");
    sleep_for(50); // the reactor waits by now
    const std::int64_t child = kr_platform_testing::fork_process([&] {
        logs->close();
        logs->open(nullptr, folder.c_str(), "child");
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF in the child's own file\n");
        std::exit(0); // with all that a process's end does
        return 1;
    });
    std::printf("child %d\n", kr_platform_testing::wait_for_process(child, 5'000));
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF in the parent's file\n");
    std::printf("timers %d\n", reactor.cancel_timer(logs));
    logs->close();
    is_over = true;
    events.join();
    return 0;
}

// The parent's stderr is a pipe that nobody reads.
void get_stuck_in_the_log()
{
    ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
    for (;;)
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", filler);
}

int fail_an_assertion(const Arguments&)
{
    std::thread([] { get_stuck_in_the_log(); }).detach();
    sleep_for(1'000);
    KR_ASSERT(std::getenv("no such variable") != nullptr);
    return 0;
}

void wait_for_a_dead_lock(unsigned long mask)
{
    static KR_Mutex_Ex<ACE_Process_Mutex> mutex;
    std::thread([] {
        KR_GUARD(mutex);
        get_stuck_in_the_log();
    }).detach();
    // Not a line more: that would be stuck as well.
    ACE_Log_Msg::instance()->priority_mask(mask, ACE_Log_Msg::THREAD);
    sleep_for(1'000);
    ACE_Log_Msg::instance()->priority_mask(mask, ACE_Log_Msg::PROCESS);
    KR_GUARD(mutex);
}

int wait_with_one_line(const Arguments&)
{
    wait_for_a_dead_lock(LM_EMERGENCY);
    return 0;
}

int wait_with_two_lines(const Arguments&)
{
    wait_for_a_dead_lock(LM_EMERGENCY | LM_ERROR);
    return 0;
}

int log_without_end(const Arguments& arguments)
{
    const std::string& folder = arguments.at(1);
    open_log(folder, "server");
    std::FILE* const progress = std::fopen((folder + "/progress").c_str(), "w");
    for (int i = 0;; ++i) {
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF line %d: %s\n", i, filler);
        std::fprintf(progress, "%d\n", i);
        std::fflush(progress);
    }
}

int wait(const Arguments& arguments)
{
    wait_for_file(arguments.at(1));
    return 0;
}

struct Mode {
    const char* name;
    int (*run)(const Arguments&);
};

constexpr Mode modes[] = {{"write", &write_lines},        {"rotate", &rotate},
                          {"daemon", &run_as_daemon},     {"fork", &fork_children},
                          {"reopen", &reopen_in_child},   {"assert", &fail_an_assertion},
                          {"guard", &wait_with_one_line}, {"delay", &wait_with_two_lines},
                          {"endless", &log_without_end},  {"wait", &wait}};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    Arguments arguments(argv + 1, argv + argc);
    if (arguments[0] == "fast") {
        KR_Log_Options options;
        options.fast_lines = true;
        KR_LOG_MANAGER::instance()->set_options(options);
        arguments.erase(arguments.begin());
        arguments.resize(std::max<std::size_t>(arguments.size(), 1));
    }
    for (const Mode& mode : modes)
        if (arguments[0] == mode.name) {
            arguments[0] = argv[0];
            return mode.run(arguments);
        }
    return 2;
}
