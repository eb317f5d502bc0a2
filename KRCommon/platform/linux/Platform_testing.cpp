#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <pthread.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

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

Irregular_Files::Irregular_Files(const std::string& folder)
    : paths_{"/dev/null", "/dev/zero", folder + "/pipe", folder + "/link to the pipe",
             folder + "/socket"},
      open_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (paths_[4].copy(address.sun_path, sizeof address.sun_path - 1) != paths_[4].size() ||
        bind(static_cast<int>(open_), reinterpret_cast<const sockaddr*>(&address),
             sizeof address) != 0 ||
        !make_pipe(paths_[2]) || symlink("pipe", paths_[3].c_str()) != 0)
        throw std::runtime_error("cannot make a pipe, a link and a socket in " + folder);
}

Irregular_Files::~Irregular_Files()
{
    close(static_cast<int>(open_));
}

void* load_library(const std::string& path)
{
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

bool unload_library(void* library)
{
    return dlclose(library) == 0;
}

void (*find_function(void* library, const std::string& name))()
{
    void* const function = library == nullptr ? nullptr : dlsym(library, name.c_str());
    return reinterpret_cast<void (*)()>(function);
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
