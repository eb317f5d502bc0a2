// A host of the real library that does for minutes what services do for months, and everything that
// may go wrong meanwhile: counts what is lost, torn or left behind.
//
//     soak FOLDER SECONDS
//
// 64 threads log, guard and profile, and short-lived ones come and go, while the log rotates every
// 100 KB, changes its level and its options, is closed, opened and reopened, is told of other days and finds
// the disk full, and while components start and stop. FOLDER is emptied first. Prints one table; the exit code is 1 when
// a line was lost or torn, a guard failed, or, in a minute and more, descriptors or memory grow, 2 for wrong
// arguments.

#include <KRCommon/frame/Component_Group.h>
#include <KRCommon/frame/Lock_Report.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/ProfileHelper.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Sanitizers.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/Reactor.h>
#include <ace/Thread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

constexpr unsigned threads = 64;
constexpr unsigned writers = threads + 2; // and the visitors, and the components
constexpr unsigned visitors = threads;
constexpr unsigned components = threads + 1;
constexpr unsigned file_limit = 100'000;           // bytes at which the next part begins
constexpr unsigned total_limit = 4'000'000'000;    // nothing is pruned, since all of it is read
constexpr std::chrono::milliseconds work_step{25}; // what a thread does between two lines
constexpr const char* prefix = "soak";
constexpr const char* filler = "a text of a length that is usual for lines of a service";

std::atomic<bool> is_over{false};

void sleep_for(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Which lines each writer has logged: the numbers from 0 on. No line is under way while the disk is
// full, as the log may lose those.
class Lines {
public:
    void log(unsigned writer)
    {
        while (++under_way_, is_halted_) {
            --under_way_;
            sleep_for(1);
        }
        const unsigned number = logged_.at(writer)++;
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR line %u %u %s end\n", writer, number, filler);
        --under_way_;
    }

    // Lines that may get lost, and that nobody misses. Those with an error's text always go ACE's way.
    static void log_noise()
    {
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF noise %f %s end\n", 0.25, filler);
        kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG noise %p %s end\n", "of", filler);
        kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG noise %s end\n", filler);
    }

    void halt()
    {
        is_halted_ = true;
        while (under_way_ != 0)
            sleep_for(1);
    }
    void go_on() { is_halted_ = false; }

    unsigned logged(unsigned writer) const { return logged_.at(writer); }

private:
    std::atomic<bool> is_halted_{false};
    std::atomic<unsigned> under_way_{0};
    std::array<std::atomic<unsigned>, writers> logged_{};
};

// What there is to count, beside the lines.
struct Counts {
    std::atomic<std::uint64_t> guards{0};
    std::atomic<std::uint64_t> visitors{0};
    std::uint64_t ticks = 0;
    std::uint64_t levels = 0;
    std::uint64_t options = 0;
    std::uint64_t openings = 0;
    std::uint64_t reopenings = 0;
    std::uint64_t clock_steps = 0;
    std::uint64_t full_disks = 0;
    std::uint64_t cycles = 0;
    std::uint64_t lock_reports = 0;
    std::atomic<std::uint64_t> failures{0};
};

// Counters that only guards keep right.
struct Guarded {
    Process_Mutex_Ex mutex;
    std::uint64_t count = 0;
};

class Ticking_Component final : public KR_Component_Base {
public:
    Ticking_Component(const char* name, Lines& lines) : KR_Component_Base(name), lines_(lines) {}
    ~Ticking_Component() override
    {
        if (get_state() != STATE_STOPPED)
            component_stop();
    }

private:
    State do_component_start(ACE_Reactor*) override
    {
        must_stop_ = false;
        thread_ = std::thread([this] {
            while (!must_stop_) {
                lines_.log(components);
                sleep_for(20);
            }
        });
        return STATE_STARTED;
    }

    State do_component_stop() override
    {
        must_stop_ = true;
        thread_.join();
        return STATE_STOPPED;
    }

    Lines& lines_;
    std::atomic<bool> must_stop_{false};
    std::thread thread_;
};

// Descriptors and memory, sampled each second once the program has warmed up.
class Resources {
public:
    void sample()
    {
        descriptors_.push_back(kr_platform_testing::open_handle_count());
        memory_.push_back(static_cast<double>(kr_platform_testing::private_memory()) / 1'000'000);
    }

    struct Change {
        double first = 0; // the mean of the first third of all samples
        double last = 0;
    };
    Change descriptors() const { return change(descriptors_); }
    Change memory() const { return change(memory_); }

private:
    static Change change(const std::vector<double>& samples)
    {
        const std::size_t third = samples.size() / 3;
        if (third == 0)
            return {};
        Change change;
        for (std::size_t i = 0; i < third; ++i) {
            change.first += samples[i] / static_cast<double>(third);
            change.last += samples[samples.size() - 1 - i] / static_cast<double>(third);
        }
        return change;
    }

    std::vector<double> descriptors_;
    std::vector<double> memory_;
};

class Soak {
public:
    explicit Soak(const std::string& folder) : folder_(folder), profile_(1, folder + "/profile")
    {
        profile_.WritePercentiles();
        change_options();
        logs_.set_file_max_sizes(file_limit, total_limit);
        logs_.set_debug_level(4);
        open();
    }

    void run(std::chrono::seconds time)
    {
        const Clock::time_point start = Clock::now();
        std::vector<std::thread> all;
        for (unsigned i = 0; i < threads; ++i)
            all.emplace_back([this, i] { work(i); });
        all.emplace_back([this] { receive_visitors(); });
        all.emplace_back([this] { run_components(); });
        all.emplace_back([this, start, time] { control(start, time); });
        reactor_.owner(ACE_Thread::self());
        while (!is_over) {
            ACE_Time_Value wait(0, 100'000);
            reactor_.handle_events(wait);
        }
        for (std::thread& thread : all)
            thread.join();
        logs_.close();
    }

    const Lines& lines() const { return lines_; }
    const Counts& counts() const { return counts_; }
    const Resources& resources() const { return resources_; }
    KR_Log_Status status() const { return logs_.status(); }

    std::uint64_t guarded() const
    {
        std::uint64_t sum = 0;
        for (const Guarded& guarded : guarded_)
            sum += guarded.count;
        return sum;
    }

private:
    void open()
    {
        logs_.open(&reactor_, folder_.c_str(), prefix);
        ++counts_.openings;
    }

    void work(unsigned writer)
    {
        for (unsigned round = 0; !is_over; ++round) {
            {
                const ProfileHelperSteadyBlock block(&profile_, "tag " + std::to_string(round % 8));
                lines_.log(writer);
                Guarded& guarded = guarded_.at(round % guarded_.size());
                KR_GUARD(guarded.mutex);
                KR_GUARD(guarded.mutex);
                ++guarded.count;
                ++counts_.guards;
            }
            if (round % 8 == 0)
                Lines::log_noise();
            std::this_thread::sleep_for(work_step);
        }
    }

    // Threads that log one line in a guard and end.
    void receive_visitors()
    {
        while (!is_over) {
            std::thread([this] {
                KR_GUARD(guarded_[0].mutex);
                ++guarded_[0].count;
                ++counts_.guards;
                lines_.log(visitors);
            }).join();
            ++counts_.visitors;
            sleep_for(20);
        }
    }

    void run_components()
    {
        Ticking_Component first("first", lines_);
        Ticking_Component second("second", lines_);
        KR_Component_Group group("group");
        group.add("first", first);
        group.add("second", second);
        while (!is_over) {
            counts_.failures += group.component_start(nullptr) != 0 ? 1 : 0;
            sleep_for(200);
            counts_.failures += group.component_stop() != 0 ? 1 : 0;
            ++counts_.cycles;
        }
    }

    void control(Clock::time_point start, std::chrono::seconds time)
    {
        for (unsigned step = 1; Clock::now() - start < time; ++step) {
            tick(0);
            if (step % 7 == 0)
                change_level();
            if (step % 9 == 0)
                change_options();
            if (step % 11 == 0)
                counts_.lock_reports += kr_locks().size() <= writers ? 1 : 0;
            if (step % 20 == 0)
                profile_.ReportStat();
            if (step % 31 == 0)
                reopen();
            if (step % 50 == 0)
                close_and_open();
            if (step % 70 == 0)
                step_clock();
            if (step % 90 == 0)
                fill_disk();
            if (step % 20 == 0 && Clock::now() - start > time / 4)
                resources_.sample();
            sleep_for(50);
        }
        is_over = true;
    }

    // As the timer does every five seconds, at a time of so many days from now.
    void tick(int days)
    {
        logs_.handle_timeout(ACE_OS::gettimeofday() + ACE_Time_Value(days * 86'400), nullptr);
        ++counts_.ticks;
    }

    // Lines that count pass at all of these levels.
    void change_level() { logs_.set_debug_level(1 + static_cast<unsigned>(counts_.levels++ % 4)); }

    // Both ways of formatting a line and of failing, with a ring and without: each with each.
    void change_options()
    {
        KR_Log_Options options;
        options.reports_failures = options.finds_lost_file = true;
        options.keeps_file_in_use = options.writes_header = options.silences_stderr = true;
        options.fast_lines = counts_.options % 2 == 0;
        options.ring_lines = counts_.options / 2 % 2 == 0 ? 100 : 0;
        options.retries = counts_.options / 4 % 2 == 0;
        options.only_manager_sets_level = counts_.options / 8 % 2 == 0;
        logs_.set_options(options);
        ++counts_.options;
    }

    // By hand at one time, after somebody has renamed the file at another, where the system lets him.
    void reopen()
    {
        if (++counts_.reopenings % 2 == 0) {
            std::error_code error;
            const std::string renamed =
                folder_ + "/renamed_" + std::to_string(counts_.reopenings) + ".log";
            fs::rename(logs_.status().file, renamed, error);
            KR_LOG_MANAGER::request_reopen();
            tick(0);
        } else {
            counts_.failures += logs_.reopen() ? 0 : 1;
        }
    }

    void close_and_open()
    {
        logs_.close();
        sleep_for(20);
        open();
    }

    void step_clock()
    {
        for (const int days : {1, -3, 31, 0})
            tick(days);
        ++counts_.clock_steps;
    }

    // Lines are lost meanwhile, which the log counts, and none that we count.
    void fill_disk()
    {
        lines_.halt();
        if (kr_platform_testing::forbid_file_growth(true)) {
            ++counts_.full_disks;
            for (int i = 0; i < 20; ++i)
                Lines::log_noise();
            tick(0);
            kr_platform_testing::forbid_file_growth(false);
            if (!logs_.options().retries)
                logs_.reopen();
            for (int i = 0; !logs_.status().is_good && i < 100; ++i) {
                tick(0);
                sleep_for(10);
            }
            counts_.failures += logs_.status().is_good ? 0 : 1;
        }
        lines_.go_on();
    }

    const std::string folder_;
    KR_LOG_MANAGER& logs_ = *KR_LOG_MANAGER::instance();
    ACE_Reactor reactor_;
    ProfileHelper profile_;
    Lines lines_;
    Counts counts_;
    Resources resources_;
    std::array<Guarded, 4> guarded_;
};

// What the files hold.
class Reading {
public:
    void read(const std::string& folder)
    {
        for (const fs::directory_entry& entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".log")
                read_file(entry.path());
    }

    std::uint64_t files() const { return files_; }
    std::uint64_t lines() const { return lines_; }
    std::uint64_t torn() const { return torn_; }
    std::uint64_t found() const { return found_; }
    std::uint64_t twice() const { return twice_; }
    std::uint64_t rings() const { return rings_; }

private:
    void read_file(const fs::path& path)
    {
        ++files_;
        kept_ = -1;
        std::ifstream file(path, std::ios::binary);
        for (std::string line; std::getline(file, line);) {
            ++lines_;
            if (file.eof()) // without a line feed at its end
                ++torn_;
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            read_line(line);
            read_kept(line);
        }
        if (kept_ >= 0)
            tear("the end of the kept lines in " + path.string());
    }

    // The lines of the ring stand between two marker lines, of which the second has their number.
    void read_kept(const std::string& line)
    {
        const char* const begin = "KR_LOG_MANAGER: Lines that the level held back:";
        const char* const end = "KR_LOG_MANAGER: End of ";
        const std::size_t end_at = line.find(end);
        if (end_at != std::string::npos) {
            if (kept_ <= 0 || std::atol(line.c_str() + end_at + std::strlen(end)) != kept_)
                tear(line);
            ++rings_;
            kept_ = -1;
        } else if (line.find(begin) != std::string::npos) {
            if (kept_ >= 0)
                tear(line);
            kept_ = 0;
        } else if (kept_ >= 0) {
            ++kept_;
        }
    }

    void read_line(const std::string& line)
    {
        unsigned writer = 0;
        unsigned number = 0;
        const std::size_t text = text_of(line);
        const bool is_ours = text != 0 && (line.compare(text, 5, "line ") == 0 ||
                                           line.compare(text, 6, "noise ") == 0);
        if (text == 0 || text_of(line.substr(text)) != 0) {
            tear(line);
        } else if (is_ours && !ends_with(line, std::string(filler) + " end")) {
            tear(line);
        } else if (std::sscanf(line.c_str() + text, "line %u %u ", &writer, &number) == 2) {
            if (writer >= writers)
                return tear(line);
            std::vector<bool>& seen = seen_.at(writer);
            if (number >= seen.size())
                seen.resize(number + 1);
            twice_ += seen[number] ? 1 : 0;
            found_ += seen[number] ? 0 : 1;
            seen[number] = true;
        }
    }

    void tear(const std::string& line)
    {
        if (torn_++ < 5)
            std::printf("torn: %s\n", line.c_str());
    }

    // Where the text begins after "hh:mm:ss.uuuuuu T0042*ERR "; 0 when the line does not begin so.
    static std::size_t text_of(const std::string& line)
    {
        int length = 0;
        std::sscanf(line.c_str(), "%*2u:%*2u:%*2u.%*6u T%*u%*1[ *]%*3[A-Z] %n", &length);
        return length < 25 ? 0 : static_cast<std::size_t>(length);
    }

    static bool ends_with(const std::string& text, const std::string& end)
    {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    std::uint64_t files_ = 0;
    std::uint64_t lines_ = 0;
    std::uint64_t torn_ = 0;
    std::uint64_t found_ = 0;
    std::uint64_t twice_ = 0;
    std::uint64_t rings_ = 0;
    long kept_ = -1; // lines of the ring so far; -1: outside
    std::array<std::vector<bool>, writers> seen_;
};

void print(const char* name, std::uint64_t value)
{
    std::printf("| %-34s | %12llu |\n", name, static_cast<unsigned long long>(value));
}

void print(const char* name, const Resources::Change& change, const char* unit)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.1f, %.1f%s", change.first, change.last, unit);
    std::printf("| %-34s | %12s |\n", name, text);
}

// The table, and whether all is well.
bool report(const Soak& soak, const Reading& reading, long seconds)
{
    std::uint64_t logged = 0;
    for (unsigned writer = 0; writer < writers; ++writer)
        logged += soak.lines().logged(writer);
    const std::uint64_t lost = logged - reading.found();
    const Counts& counts = soak.counts();
    const KR_Log_Status status = soak.status();
    const Resources::Change descriptors = soak.resources().descriptors();
    const Resources::Change memory = soak.resources().memory();
    // A program that has just begun grows, and so do the books of some sanitizers.
    const bool is_growth_judged = seconds >= 60 && gives_memory_back;
    const bool do_descriptors_grow = descriptors.last > descriptors.first + 8;
    const bool does_memory_grow = memory.last > memory.first * 1.1 + 2;
    const bool are_guards_right = soak.guarded() == counts.guards;
    const bool is_good = lost == 0 && reading.torn() == 0 && reading.twice() == 0 &&
                         counts.failures == 0 && are_guards_right && logged != 0 &&
                         !(is_growth_judged && (do_descriptors_grow || does_memory_grow));

    print("seconds", static_cast<std::uint64_t>(seconds));
    print("threads", threads);
    print("lines logged", logged);
    print("lines lost", lost);
    print("lines torn", reading.torn());
    print("lines twice", reading.twice());
    print("lines in all files", reading.lines());
    print("written, as status() tells", status.lines);
    print("lost, as status() tells", status.lines_lost);
    print("files", reading.files());
    print("files got the ring's lines, times", reading.rings());
    print("ticks", counts.ticks);
    print("level changes", counts.levels);
    print("changes of options", counts.options);
    print("openings", counts.openings);
    print("reopenings, half after a renaming", counts.reopenings);
    print("clock steps", counts.clock_steps);
    print("full disks", counts.full_disks);
    print("guards", counts.guards);
    print("guards that did not keep apart", are_guards_right ? 0 : 1);
    print("reports of all locks", counts.lock_reports);
    print("component groups started, stopped", counts.cycles);
    print("short-lived threads", counts.visitors);
    print("operations that failed", counts.failures);
    print("descriptors, first and last third", descriptors, "");
    print("memory, first and last third", memory, " MB");
    std::printf("| %-34s | %12s |\n", "growth", is_growth_judged ? "judged" : "not judged");
    std::printf("| %-34s | %12s |\n", "verdict", is_good ? "good" : "BAD");
    return is_good;
}

} // namespace

int main(int argc, char** argv)
{
    const long seconds = argc == 3 ? std::atol(argv[2]) : 0;
    if (seconds <= 0) {
        std::fprintf(stderr, "soak FOLDER SECONDS\n");
        return 2;
    }
    const std::string folder = argv[1];
    fs::remove_all(folder);
    fs::create_directories(folder);
    Soak soak(folder);
    soak.run(std::chrono::seconds(seconds));
    Reading reading;
    reading.read(folder);
    return report(soak, reading, seconds) ? 0 : 1;
}
