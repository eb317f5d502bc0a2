// The Linux side of Platform.h; its twin is ../windows/Platform.cpp.

#include <KRCommon/platform/Platform.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kr_platform {

static_assert(sizeof(std::time_t) == 8, "seconds are 64 bits wide on every target");

namespace {

thread_local unsigned own_thread_id = 0; // asked of the kernel once a thread

// Needs no destruction, and so is there until the end. Every masked line reads it: at a fixed place the
// loader need not be asked for it.
[[gnu::tls_model("initial-exec")]] thread_local unsigned char own_note = 0;

// Destroyed before the values of pthread keys are, ACE's among them.
struct End_Of_Thread {
    explicit End_Of_Thread(void (*function)() noexcept) noexcept : function_(function) {}
    ~End_Of_Thread() { function_(); }
    End_Of_Thread(const End_Of_Thread&) = delete;
    End_Of_Thread& operator=(const End_Of_Thread&) = delete;

private:
    void (*function_)() noexcept;
};

bool is_supported(std::int64_t seconds) noexcept
{
    return seconds >= 0 && seconds <= last_second;
}

} // namespace

char path_separator() noexcept
{
    return '/';
}

std::string module_path()
{
    Dl_info module;
    if (dladdr(reinterpret_cast<void*>(&path_separator), &module) == 0)
        return {};
    const std::unique_ptr<char, decltype(&std::free)> path(realpath(module.dli_fname, nullptr),
                                                           &std::free);
    return path ? path.get() : module.dli_fname;
}

std::string program_path()
{
    const std::unique_ptr<char, decltype(&std::free)> path(realpath("/proc/self/exe", nullptr),
                                                           &std::free);
    return path ? path.get() : "";
}

void keep_loaded(void (*code)()) noexcept
{
    Dl_info module;
    if (dladdr(reinterpret_cast<void*>(code), &module) != 0)
        dlopen(module.dli_fname, RTLD_NOLOAD | RTLD_NODELETE | RTLD_LAZY);
}

unsigned thread_id() noexcept
{
    if (own_thread_id == 0) {
        // A forked process goes on with a copy of the forking thread under another number.
        static const int registered = pthread_atfork(nullptr, nullptr, [] { own_thread_id = 0; });
        static_cast<void>(registered);
        own_thread_id = static_cast<unsigned>(gettid());
    }
    return own_thread_id;
}

int process_id() noexcept
{
    static std::atomic<int> own_process_id{0};
    static const int registered = pthread_atfork(nullptr, nullptr, [] { own_process_id = 0; });
    static_cast<void>(registered);
    int number = own_process_id.load(std::memory_order_relaxed);
    if (number == 0) {
        number = getpid();
        own_process_id.store(number, std::memory_order_relaxed);
    }
    return number;
}

unsigned char thread_note() noexcept
{
    return own_note;
}

void set_thread_note(unsigned char note) noexcept
{
    own_note = note;
}

void at_thread_end(void (*function)() noexcept) noexcept
{
    thread_local const End_Of_Thread end(function);
    static_cast<void>(end);
}

void abandon_stderr_lock() noexcept
{
    __fsetlocking(stderr, FSETLOCKING_BYCALLER);
}

bool do_threads_outlive_exit() noexcept
{
    return true;
}

void end_process(int exit_code) noexcept
{
    _exit(exit_code);
}

int last_error() noexcept
{
    return errno;
}

int system_error() noexcept
{
    return 0;
}

void clear_last_error() noexcept
{
    errno = 0;
}

bool make_folder(const std::string& path) noexcept
{
    return mkdir(path.c_str(), 0777) == 0;
}

std::optional<File_Info> file_info(const std::string& path) noexcept
{
    struct statx status;
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return std::nullopt;
    File_Info info;
    info.is_folder = S_ISDIR(status.stx_mode);
    info.size = info.is_folder ? 0 : status.stx_size;
    info.created =
        (status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime.tv_sec : status.stx_ctime.tv_sec;
    return info;
}

bool remove_file(const std::string& path) noexcept
{
    return unlink(path.c_str()) == 0;
}

std::string working_folder()
{
    const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
    return folder ? std::string(folder.get()) : std::string();
}

std::uint64_t bytes_left(std::FILE* file) noexcept
{
    struct stat status {};
    const off_t position = ftello(file);
    if (position < 0 || fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size <= position)
        return 0;
    return static_cast<std::uint64_t>(status.st_size - position);
}

std::string local_clock_text(std::int64_t seconds)
{
    char text[26];
    if (!is_supported(seconds) || ctime_r(&seconds, text) == nullptr) {
        errno = EINVAL;
        return {};
    }
    return std::string(text + 11, 8);
}

// The C library keeps the names of zones for good: others have other addresses.
std::uint32_t time_zone_mark() noexcept
{
    const auto load = [](auto& word) {
        return static_cast<std::uint64_t>(__atomic_load_n(&word, __ATOMIC_RELAXED));
    };
    const auto address_of = [](char*& name) {
        return reinterpret_cast<std::uintptr_t>(__atomic_load_n(&name, __ATOMIC_RELAXED));
    };
    const std::uint64_t words = (load(timezone) * 31 + load(daylight)) * 31 +
                                address_of(tzname[0]) * 17 + address_of(tzname[1]);
    return static_cast<std::uint32_t>(words * 0x9E37'79B9'7F4A'7C15 >> 32);
}

Local_Date local_date(std::int64_t seconds) noexcept
{
    std::tm fields{};
    const std::time_t time = seconds;
    if (!is_supported(seconds) || localtime_r(&time, &fields) == nullptr)
        return {};
    return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
            static_cast<int>(fields.tm_gmtoff / 60)};
}

} // namespace kr_platform
