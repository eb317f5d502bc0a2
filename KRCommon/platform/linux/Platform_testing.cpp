#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <pthread.h>
#include <sys/time.h>
#include <threads.h>
#include <unistd.h>

namespace kr_platform_testing {

unsigned open_handle_count()
{
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += entry.path().empty() ? 0 : 1;
    return count;
}

std::uint64_t private_memory()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "RssAnon:") {
            std::uint64_t kilobytes = 0;
            status >> kilobytes;
            return 1024 * kilobytes;
        }
    return 0;
}

std::string unwritable_folder()
{
    return "/proc";
}

bool set_file_times(const std::string& path, std::int64_t seconds)
{
    const timeval times[2] = {{seconds, 0}, {seconds, 0}};
    return utimes(path.c_str(), times) == 0;
}

void set_last_errors(int runtime_error, int)
{
    errno = runtime_error;
}

bool can_delete_open_files()
{
    return true;
}

bool are_thread_starts_reported()
{
    return false;
}

void* load_library(const std::string& path)
{
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

bool unload_library(void* library)
{
    return dlclose(library) == 0;
}

void* find_symbol(void* library, const char* name)
{
    return dlsym(library, name);
}

void run_on_system_thread(const std::function<void()>& function)
{
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread;
    if (pthread_create(&thread, nullptr, run, const_cast<std::function<void()>*>(&function)) == 0)
        pthread_join(thread, nullptr);
}

void run_on_runtime_thread(const std::function<void()>& function)
{
    const auto run = [](void* argument) -> int {
        (*static_cast<const std::function<void()>*>(argument))();
        return 0;
    };
    thrd_t thread;
    if (thrd_create(&thread, run, const_cast<std::function<void()>*>(&function)) == thrd_success)
        thrd_join(thread, nullptr);
}

void call_at_thread_end(void (*function)())
{
    static const pthread_key_t key = [] {
        pthread_key_t made;
        pthread_key_create(&made, [](void* value) { reinterpret_cast<void (*)()>(value)(); });
        return made;
    }();
    pthread_setspecific(key, reinterpret_cast<void*>(function));
}

void block_stderr()
{
    int ends[2];
    if (pipe(ends) == 0)
        dup2(ends[1], 2);
}

} // namespace kr_platform_testing
