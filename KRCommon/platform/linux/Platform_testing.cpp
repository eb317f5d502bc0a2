#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace kr_platform_testing {

unsigned open_handle_count()
{
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += entry.path().empty() ? 0 : 1;
    return count;
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

bool make_pipe(const std::string& path)
{
    return mkfifo(path.c_str(), 0600) == 0;
}

std::string unreadable_file()
{
    return "/proc/self/mem";
}

bool keeps_creation_time(const std::string& path)
{
    struct statx status;
    return statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &status) == 0 &&
           (status.stx_mask & STATX_BTIME) != 0;
}

void* load_library(const std::string& path)
{
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

bool unload_library(void* library)
{
    return dlclose(library) == 0;
}

bool is_library_loaded(const std::string& path)
{
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    return library != nullptr && dlclose(library) == 0;
}

Spare_Library spare_library()
{
    return {"libBrokenLocale.so.1", "__ctype_get_mb_cur_max"};
}

void (*find_function(void* library, const std::string& name))()
{
    return reinterpret_cast<void (*)()>(dlsym(library, name.c_str()));
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

} // namespace kr_platform_testing
