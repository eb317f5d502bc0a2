// The log under load: threads that start and end, rotations, and everything else at once.

#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform_testing.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/Reactor.h>
#include <ace/Thread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <thread>
#include <vector>

namespace {

class Log_Threads : public Both_Kinds_Of_Lines {
protected:
    void SetUp() override
    {
        if (GetParam())
            manager_.set_options(all_options());
    }
    void TearDown() override
    {
        manager_.set_options({});
        release_files();
    }

    static KR_Log_Options all_options()
    {
        KR_Log_Options options = with_lines();
        options.retries = options.reports_failures = options.finds_lost_file = true;
        options.keeps_file_in_use = options.silences_stderr = true;
        options.only_manager_sets_level = true;
        return options;
    }

    static constexpr int workers = 8;
    static constexpr int rotations = 200;
    static constexpr int lines_per_life = 25;

    static std::string line_text(int worker, int life, int line)
    {
        return "worker " + std::to_string(worker) + " life " + std::to_string(life) + " line " +
               std::to_string(line) + " of a text that is not too short.";
    }

    // Each worker is a row of threads, one after the other, as long as there are rotations.
    void log_lives(int worker)
    {
        std::atomic<int>& lives = lives_[static_cast<std::size_t>(worker)];
        for (int life = 0; !has_rotated_enough_; life = ++lives)
            std::thread([=] {
                for (int line = 0; line < lines_per_life; ++line)
                    say(line_text(worker, life, line));
            }).join();
    }

    bool has_every_worker_lived(int least) const
    {
        return std::all_of(lives_.begin(), lives_.end(),
                           [=](const std::atomic<int>& lives) { return lives >= least; });
    }

    // Calls `rotate` 200 times at least while the workers log.
    template <typename Function>
    void rotate_while_workers_log(Function rotate)
    {
        std::vector<std::thread> threads;
        for (int worker = 0; worker < workers; ++worker)
            threads.emplace_back([this, worker] { log_lives(worker); });
        for (int i = 0; i < rotations || !has_every_worker_lived(5); ++i)
            rotate();
        has_rotated_enough_ = true;
        for (std::thread& thread : threads)
            thread.join();
    }

    void expect_every_line_whole_and_once()
    {
        std::map<std::string, int> seen;
        for (const std::string& name : folder_.names())
            for (const std::string& message : split(messages(folder_.path(name))))
                ++seen[message];
        for (int worker = 0; worker < workers; ++worker) {
            const int lives = lives_[static_cast<std::size_t>(worker)];
            for (int life = 0; life < lives; ++life)
                for (int line = 0; line < lines_per_life; ++line) {
                    const std::string text = line_text(worker, life, line);
                    ASSERT_EQ(1, seen[text]) << text;
                    seen.erase(text);
                }
        }
        EXPECT_TRUE(seen.empty()) << "not a line that was logged: " << seen.begin()->first;
    }

    static std::vector<std::string> split(const std::string& text)
    {
        std::vector<std::string> lines;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = text.find('\n', at);
            lines.push_back(text.substr(at, end - at));
            at = end == std::string::npos ? text.size() : end + 1;
        }
        return lines;
    }

    std::atomic<bool> has_rotated_enough_{false};
    std::array<std::atomic<int>, workers> lives_{};
    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

INSTANTIATE_BOTH_KINDS_OF_LINES(Log_Threads);

TEST_P(Log_Threads, EveryLineIsWholeAndThereOnceOver200Rotations)
{
    std::thread([] { say("warm-up, to stderr"); }).join();
    manager_.set_file_max_sizes(0, 1'000'000'000);
    manager_.open_in(folder_.path());
    go_to(manager_, 2014, 3, 5);
    const unsigned handles = kr_platform_testing::open_handle_count();
    rotate_while_workers_log([&] { manager_.tick(local_time(2014, 3, 5)); });
    // A lock's first contention makes a handle on Windows; files left open would be 200.
    EXPECT_LT(kr_platform_testing::open_handle_count(), handles + 20) << "files were left open";
    EXPECT_GT(folder_.names().size(), 200u);
    expect_every_line_whole_and_once();
}

TEST_P(Log_Threads, EverythingAtOnceFromSeveralThreadsDoesNotLock)
{
    // Ticks every millisecond on the reactor's thread and logs there, while it holds whatever a
    // reactor holds during an upcall.
    class Chatty : public ACE_Event_Handler {
    public:
        int handle_timeout(const ACE_Time_Value&, const void*) override
        {
            kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG chat\n");
            KR_LOG_MANAGER::instance()->set_debug_level(4);
            return 0;
        }
    };
    ACE_Reactor reactor;
    Chatty chatty;
    reactor.schedule_timer(&chatty, nullptr, ACE_Time_Value(0, 1000), ACE_Time_Value(0, 1000));
    std::atomic<bool> is_over{false};
    std::vector<std::thread> others;
    others.emplace_back([&] {
        reactor.owner(ACE_Thread::self());
        while (!is_over) {
            ACE_Time_Value wait(0, 5'000);
            reactor.handle_events(wait);
        }
    });
    manager_.open_in(folder_.path());
    // Two threads that open and close, so that they meet each other as well.
    for (int i = 0; i < 2; ++i)
        others.emplace_back([&] {
            while (!is_over) {
                manager_.open(&reactor, folder_.path().c_str(), "server");
                ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
                std::this_thread::yield();
                manager_.close();
            }
        });
    others.emplace_back([&] {
        for (unsigned i = 0; !is_over; ++i) {
            manager_.set_debug_level(3 + i % 2);
            manager_.set_file_max_sizes(i % 2 == 0 ? 0 : 10'000, 1'000'000'000);
            unsigned file = 0;
            manager_.get_file_max_sizes(&file, nullptr);
            if (GetParam()) { // from one kind of lines to the other
                KR_Log_Options options = all_options();
                options.fast_lines = i % 2 == 0;
                options.retries = i % 3 == 0;
                options.ring_lines = i % 5 == 0 ? 20 : 0;
                manager_.set_options(options);
            }
            manager_.non_ace_thread_init_log();
        }
    });
    rotate_while_workers_log([&] { manager_.tick(ACE_OS::gettimeofday()); });
    is_over = true;
    for (std::thread& thread : others)
        thread.join();
    manager_.close();
    EXPECT_EQ(1, reactor.cancel_timer(&chatty));
    EXPECT_EQ(0, reactor.cancel_timer(&manager_)) << "no timer was left behind";
    release_files();
    for (const std::string& name : folder_.names()) {
        std::string without_chat;
        for (const std::string& line : split(read_text(folder_.path(name))))
            if (line.find(" DBG chat") == std::string::npos)
                without_chat += line + '\n';
        folder_.write(name, without_chat);
    }
    expect_every_line_whole_and_once();
}

TEST_P(Log_Threads, FirstUseFromManyThreadsAtOnceBuildsOneManager)
{
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    std::vector<KR_LOG_MANAGER*> seen(workers);
    for (std::size_t i = 0; i < workers; ++i)
        threads.emplace_back([&, i] {
            while (!go)
                std::this_thread::yield();
            seen[i] = KR_LOG_MANAGER::instance();
        });
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    for (KR_LOG_MANAGER* manager : seen)
        EXPECT_EQ(seen[0], manager);
}

} // namespace
