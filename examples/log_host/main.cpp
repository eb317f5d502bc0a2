// A small host: opens the log manager on a reactor, logs at every level from several threads while
// the reactor rotates the files every 5 seconds, and shows what was written.
//
//     log_host FOLDER [SECONDS]
//
// FOLDER is made when its parent exists and emptied first; 12 seconds are two rotations.

#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>

#include <ace/Reactor.h>
#include <ace/Thread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned level = 4;                     // everything from debug to notice
constexpr unsigned file_limit = 20'000;           // bytes; small, so that each tick rotates
constexpr unsigned total_limit = 1'000'000;       // bytes of all files together
constexpr std::chrono::milliseconds work_step{5}; // what a camera thread takes for a frame

std::atomic<bool> is_over{false};
std::atomic<int> lines_logged{0};

// A service without its configuration runs on, and its log is where one looks why.
void report_configuration()
{
    const KR_Configuration_Status& configuration = kr_configuration_status();
    if (configuration.is_read)
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF named colours from '%s'\n", configuration.path);
    else
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR no named colours, '%s' is not used: %s\n",
               configuration.path, configuration.error);
    ++lines_logged;
}

// Logs at every level, the way a service would.
void watch_camera(int camera)
{
    const std::string name = "camera-" + std::to_string(camera);
    for (int frame = 0; !is_over; ++frame) {
        kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG %s: frame %d\n", name, frame);
        ++lines_logged;
        if (frame % 25 == 0) {
            kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s: %d frames, %f ms each\n", name, frame,
                   5.0);
            ++lines_logged;
        }
        if (frame % 100 == 99) {
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: lost the stream of '%s'\n", name,
                   "a name with\na line feed");
            ++lines_logged;
        }
        std::this_thread::sleep_for(work_step);
    }
    kr_log(KR_LOG_SITE(LM_EMERGENCY), "%T T%04t*EMR %s: going down\n", name);
    ++lines_logged;
}

void run_reactor(ACE_Reactor& reactor)
{
    reactor.owner(ACE_Thread::self());
    while (!is_over) {
        ACE_Time_Value wait(0, 100'000);
        reactor.handle_events(wait);
    }
}

int count_lines(const std::filesystem::path& file)
{
    std::ifstream in(file);
    int count = 0;
    for (std::string line; std::getline(in, line);)
        ++count;
    return count;
}

// Prints the files and returns how many lines they hold; `files` counts them.
int report(const std::filesystem::path& folder, int& files)
{
    int lines = 0;
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const auto& path : paths) {
        const int count = count_lines(path);
        std::printf("  %s  %ju bytes, %d lines\n", path.string().c_str(),
                    static_cast<std::uintmax_t>(std::filesystem::file_size(path)), count);
        lines += count;
        ++files;
    }
    std::ifstream last(paths.empty() ? std::filesystem::path() : paths.back());
    std::printf("the last file begins:\n");
    std::string line;
    for (int i = 0; i < 5 && std::getline(last, line); ++i)
        std::printf("  %s\n", line.c_str());
    return lines;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: log_host FOLDER [SECONDS]\n");
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 12;
    std::filesystem::remove_all(folder);

    ACE_Reactor reactor;
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(level);
    logs->set_file_max_sizes(file_limit, total_limit);
    logs->open(&reactor, folder.string().c_str(), "log host");
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR); // the files are enough
    report_configuration();

    std::vector<std::thread> threads;
    threads.emplace_back([&] { run_reactor(reactor); });
    for (int camera = 1; camera <= 4; ++camera)
        threads.emplace_back([=] { watch_camera(camera); });
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
    logs->close(); // before the reactor ends

    int files = 0;
    const int lines = report(folder, files);
    std::printf("%d lines logged, %d lines in %d files\n", lines_logged.load(), lines, files);
    const bool is_good = lines == lines_logged && (seconds < 6 || files > 1);
    return is_good ? 0 : 1;
}
