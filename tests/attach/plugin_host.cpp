// A program that loads the library in the middle of its life, by way of a module that uses it.
//
//     plugin_host MODULE reload FOLDER CYCLES   opens a log FOLDER/cycle_<n>... in each cycle,
//                                               unloads, loads again; a thread that lives through
//                                               all of them logs as well. Prints open handles
//     plugin_host MODULE leave FOLDER           main returns while 16 threads log, and lingers in
//                                               an exit routine that is older than the library;
//                                               prints how many lines are logged meanwhile

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/No_Leak_Check.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace {

class Plugin {
public:
    explicit Plugin(const std::string& path) : library_(kr_platform_testing::load_library(path))
    {
        if (library_ == nullptr)
            std::puts("not loaded");
        open = symbol<void(const char*, const char*)>("plugin_open");
        log = symbol<void(const char*)>("plugin_log");
        count = symbol<void()>("plugin_count");
        counted = symbol<int()>("plugin_counted");
    }
    ~Plugin() { kr_platform_testing::unload_library(library_); }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    void (*open)(const char* folder, const char* prefix) = nullptr;
    void (*log)(const char* text) = nullptr;
    void (*count)() = nullptr;
    int (*counted)() = nullptr;

private:
    template <typename Function>
    Function* symbol(const char* name)
    {
        return reinterpret_cast<Function*>(kr_platform_testing::find_function(library_, name));
    }

    void* library_;
};

// Runs what it is given, one thing after the other, on one thread.
class Worker {
public:
    ~Worker()
    {
        run(nullptr);
        thread_.join();
    }

    void run(std::function<void()> work)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        work_ = std::move(work);
        has_work_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !has_work_; });
    }

private:
    void loop()
    {
        for (bool goes_on = true; goes_on;) {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return has_work_; });
            goes_on = work_ != nullptr;
            if (goes_on)
                work_();
            has_work_ = false;
            changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void()> work_;
    bool has_work_ = false;
    std::thread thread_{[this] { loop(); }};
};

int reload(const std::string& path, const std::string& folder, int cycles)
{
    Worker worker;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        const Plugin plugin(path);
        plugin.open(folder.c_str(), ("cycle" + std::to_string(cycle) + "_").c_str());
        const std::string number = ' ' + std::to_string(cycle);
        plugin.log(("main" + number).c_str());
        worker.run([&] { plugin.log(("worker" + number).c_str()); });
        std::printf("%u handles\n", kr_platform_testing::open_handle_count());
    }
    return 0;
}

int leave(const std::string& path, const std::string& folder)
{
    static const Plugin* plugin = nullptr;
    static std::atomic<int> started{0};
    std::atexit([] {
        const int before = plugin->counted();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::printf("%d lines after the end\n", plugin->counted() - before);
    });
    plugin = new Plugin(path);
    plugin->open(folder.c_str(), "leave");
    for (int i = 0; i < 16; ++i)
        std::thread([] {
            plugin->count(); // enters ACE itself, so before main returns
            ++started;
            for (;;)
                plugin->log("line");
        }).detach();
    while (started < 16)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc < 4)
        return 2;
    const std::string mode = argv[2];
    return mode == "reload" ? reload(argv[1], argv[3], std::atoi(argv[4]))
                            : leave(argv[1], argv[3]);
}
