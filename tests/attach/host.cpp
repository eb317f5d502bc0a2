// A host of the library, linked to it, for what only a whole process shows: threads of every kind
// that come and go, and ends of the process with threads in the middle of a line. The log's files
// go to FOLDER.
//
//     host threads FOLDER KIND COUNT  so many threads, one after the other, of which every other
//                                     logs a line; prints open handles and memory after the first
//                                     tenth and at the end
//     host last_words FOLDER KIND [away]
//                                     one thread that logs from destructors at its end, with its
//                                     stream taken away after the first line or not; then main
//     host leave FOLDER [fast]        main returns while 16 threads log, by ACE or by the library itself
//     host stuck FOLDER WHERE         main returns while a thread is stuck: holding the log "lock",
//                                     writing a line to stderr's full "pipe", or so within a
//                                     "reactor" that has the log's timer

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/No_Leak_Check.h>

#include <ace/Reactor.h>
#include <ace/Thread.h>
#include <ace/Thread_Manager.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using Function = std::function<void()>;
using Run_On_Thread = void (*)(const Function&);

void run_on_std_thread(const Function& function)
{
    std::thread(function).join();
}

void run_on_ace_thread(const Function& function)
{
    const ACE_THR_FUNC run = [](void* argument) -> ACE_THR_FUNC_RETURN {
        (*static_cast<const Function*>(argument))();
        return 0;
    };
    ACE_Thread_Manager* const manager = ACE_Thread_Manager::instance();
    manager->spawn(run, const_cast<Function*>(&function));
    manager->wait();
}

Run_On_Thread runner_of(const std::string& kind)
{
    static const std::map<std::string, Run_On_Thread> runners{
        {"std", &run_on_std_thread},
        {"system", &kr_platform_testing::run_on_system_thread},
        {"runtime", &kr_platform_testing::run_on_runtime_thread},
        {"ace", &run_on_ace_thread},
    };
    return runners.at(kind);
}

void say(const char* text)
{
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s\n", text);
}

void open_log(const std::string& folder, ACE_Reactor* reactor = nullptr)
{
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(3);
    logs->open(reactor, folder.c_str(), "host");
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
}

void print_resources()
{
    std::printf("%u handles, %llu bytes\n", kr_platform_testing::open_handle_count(),
                static_cast<unsigned long long>(kr_platform_testing::private_memory()));
}

int run_threads(const std::string& folder, const std::string& kind, const std::string& count)
{
    open_log(folder);
    const int threads = std::atoi(count.c_str());
    for (int i = 0; i < threads; ++i) {
        if (i == threads / 10)
            print_resources();
        runner_of(kind)([i] {
            if (i % 2 == 0)
                say("a line");
        });
    }
    print_resources();
    return 0;
}

struct Last_Words {
    explicit Last_Words(const char* words) : words_(words) {}
    ~Last_Words() { say(words_); }
    Last_Words(const Last_Words&) = delete;
    Last_Words& operator=(const Last_Words&) = delete;

private:
    const char* words_;
};

bool takes_stream_away = false;

void log_until_the_end()
{
    thread_local const Last_Words thread_words("the thread's object");
    static_cast<void>(thread_words);
    kr_platform_testing::call_at_thread_end([] {
        say("the thread's end");
        // Linux comes back for it.
        kr_platform_testing::call_at_thread_end([] { say("the thread's very end"); });
    });
    say("the thread");
    if (takes_stream_away)
        ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
}

int have_last_words(const std::string& folder, const std::string& kind, const std::string& stream)
{
    takes_stream_away = stream == "away";
    static const Last_Words words("the process's object");
    open_log(folder);
    runner_of(kind)(&log_until_the_end);
    return 0;
}

int leave_16_threads(const std::string& folder, const std::string& lines)
{
    KR_Log_Options options;
    options.fast_lines = lines == "fast";
    KR_LOG_MANAGER::instance()->set_options(options);
    open_log(folder);
    for (int i = 0; i < 16; ++i)
        std::thread([] {
            for (;;)
                say("a line");
        }).detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    return 0;
}

// Blocks for ever while it holds the log lock. Counts lines, so that one sees when it does.
class Stuck : public ACE_Event_Handler {
public:
    explicit Stuck(bool is_in_a_line) : is_in_a_line_(is_in_a_line) {}

    int handle_timeout(const ACE_Time_Value&, const void*) override
    {
        if (!is_in_a_line_)
            ACE_Log_Msg::instance()->acquire();
        while (is_in_a_line_) {
            say(std::string(3000, 'x').c_str());
            ++lines_;
        }
        is_stuck_ = true;
        for (;;)
            std::this_thread::sleep_for(std::chrono::hours(1));
    }

    void wait_until_stuck() const
    {
        const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); };
        while (!is_in_a_line_ && !is_stuck_)
            pause();
        for (int seen = -1; is_in_a_line_ && (lines_ == 0 || lines_ != seen);) {
            seen = lines_;
            pause();
        }
    }

private:
    const bool is_in_a_line_;
    std::atomic<int> lines_{0};
    std::atomic<bool> is_stuck_{false};
};

int leave_a_stuck_thread(const std::string& folder, const std::string& where)
{
    // They outlive the process's objects, as their thread does.
    static ACE_Reactor* const reactor = new ACE_Reactor;
    static Stuck* const stuck = new Stuck(where != "lock");
    open_log(folder, reactor);
    if (where != "lock") {
        kr_platform_testing::block_stderr();
        ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
    }
    if (where == "reactor")
        std::thread([] {
            reactor->owner(ACE_Thread::self());
            reactor->schedule_timer(stuck, nullptr, ACE_Time_Value(0, 1000));
            reactor->run_reactor_event_loop();
        }).detach();
    else
        std::thread([] { stuck->handle_timeout(ACE_Time_Value(), nullptr); }).detach();
    stuck->wait_until_stuck();
    std::puts("main returns");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    arguments.resize(4);
    const std::string& mode = arguments[0];
    if (mode == "threads")
        return run_threads(arguments[1], arguments[2], arguments[3]);
    if (mode == "last_words")
        return have_last_words(arguments[1], arguments[2], arguments[3]);
    if (mode == "leave")
        return leave_16_threads(arguments[1], arguments[2]);
    if (mode == "stuck")
        return leave_a_stuck_thread(arguments[1], arguments[2]);
    return 2;
}
