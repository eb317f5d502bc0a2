#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Sanitizers.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <new>
#include <pthread.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
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

Time_Zone::Time_Zone(const std::string& zone)
{
    if (const char* const previous = std::getenv("TZ"))
        previous_ = previous;
    set(zone);
}

Time_Zone::~Time_Zone()
{
    if (previous_)
        setenv("TZ", previous_->c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

void Time_Zone::set(const std::string& zone)
{
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

bool Time_Zone::has_rules()
{
    return true;
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

std::optional<Calendar_Time> system_breakdown(std::int64_t seconds)
{
    std::tm fields{};
    if (gmtime_r(&seconds, &fields) == nullptr)
        return std::nullopt;
    return Calendar_Time{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour,
                         fields.tm_min,         fields.tm_sec,     fields.tm_wday};
}

std::int64_t system_seconds(const Calendar_Time& time)
{
    std::tm fields{};
    fields.tm_year = time.year - 1900;
    fields.tm_mon = time.month - 1;
    fields.tm_mday = time.day;
    fields.tm_hour = time.hour;
    fields.tm_min = time.minute;
    fields.tm_sec = time.second;
    const std::int64_t seconds = timegm(&fields);
    return seconds < 0 ? -1 : seconds;
}

Guarded_Memory::Guarded_Memory(std::size_t size, Guarded_End end)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (size + page - 1) / page * page;
    pages_size_ = page + usable + page;
    pages_ = mmap(nullptr, pages_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages_ == MAP_FAILED)
        throw std::bad_alloc();
    data_ = static_cast<unsigned char*>(pages_) + page;
    if (mprotect(data_, usable, PROT_READ | PROT_WRITE) != 0) {
        munmap(pages_, pages_size_);
        throw std::bad_alloc();
    }
    if (end == Guarded_End::last)
        data_ += usable - size;
}

Guarded_Memory::~Guarded_Memory()
{
    munmap(pages_, pages_size_);
}

void call_on_shifted_stack(unsigned, void (*function)(void* argument), void* argument)
{
    function(argument);
}

Pipe_Files open_pipe()
{
    int ends[2];
    if (pipe(ends) != 0)
        return {};
    return {fdopen(ends[0], "rb"), fdopen(ends[1], "wb")};
}

bool has_version_reader()
{
    return false;
}

std::string system_file_version(const std::string&)
{
    return {};
}

void run_on_runtime_thread(const std::function<void()>& function)
{
    if (is_under_thread_sanitizer) // which falls over threads of the C library
        return run_on_system_thread(function);
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
