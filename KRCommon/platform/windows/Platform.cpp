// The Windows side of Platform.h; its twin is ../linux/Platform.cpp.

#include <KRCommon/platform/Platform.h>

#include <ace/Thread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <direct.h>
#include <io.h>
#include <memory>
#include <sys/stat.h>
#include <sys/types.h>
#include <windows.h>

namespace kr_platform {

static_assert(sizeof(std::time_t) == 8, "64-bit seconds: compile with -D__MINGW_USE_VC2005_COMPAT");

namespace {

bool is_supported(std::int64_t seconds) noexcept
{
    return seconds >= 0 && seconds <= last_second;
}

// A slot of the system's own. A thread_local of this tool chain would make its thread library
// register a thread that is about to start, and register it again when it starts: the first
// record would never be freed. Allocated by the first note and never freed.
std::atomic<DWORD> note_slot{TLS_OUT_OF_INDEXES};

DWORD make_note_slot() noexcept
{
    DWORD slot = note_slot;
    if (slot != TLS_OUT_OF_INDEXES)
        return slot;
    const DWORD fresh = TlsAlloc();
    if (note_slot.compare_exchange_strong(slot, fresh))
        return fresh;
    TlsFree(fresh);
    return slot;
}

void call_at_thread_end(void* function)
{
    reinterpret_cast<void (*)()>(function)();
}

HMODULE own_module() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const char*>(&path_separator), &module);
    return module;
}

} // namespace

char path_separator() noexcept
{
    return '\\';
}

std::string module_path()
{
    char path[256] = {}; // a longer path is cut, with or without a zero within the 255
    GetModuleFileNameA(own_module(), path, 255);
    return path;
}

std::string program_path()
{
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH - 1);
    return path;
}

void keep_loaded(void (*code)()) noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const char*>(code), &module);
}

unsigned thread_id() noexcept
{
    return GetCurrentThreadId();
}

int process_id() noexcept
{
    return static_cast<int>(GetCurrentProcessId()); // no call of the kernel
}

unsigned char thread_note() noexcept
{
    const DWORD error = GetLastError(); // the next call sets it
    void* const note = TlsGetValue(note_slot);
    SetLastError(error);
    return static_cast<unsigned char>(reinterpret_cast<std::uintptr_t>(note));
}

void set_thread_note(unsigned char note) noexcept
{
    TlsSetValue(make_note_slot(), reinterpret_cast<void*>(static_cast<std::uintptr_t>(note)));
}

// A key of ACE's, which runs its destructors last in, first out when a thread ends.
void at_thread_end(void (*function)() noexcept) noexcept
{
    static ACE_thread_key_t key;
    static const int made = ACE_Thread::keycreate(&key, &call_at_thread_end);
    if (made == 0)
        ACE_Thread::setspecific(key, reinterpret_cast<void*>(function));
}

void abandon_stderr_lock() noexcept {}

bool do_threads_outlive_exit() noexcept
{
    return false;
}

void end_process(int exit_code) noexcept
{
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_code));
    std::abort(); // TerminateProcess on oneself does not return
}

int last_error() noexcept
{
    return errno != 0 ? errno : system_error();
}

int system_error() noexcept
{
    return static_cast<int>(GetLastError());
}

void clear_last_error() noexcept
{
    SetLastError(0);
    errno = 0;
}

bool make_folder(const std::string& path) noexcept
{
    return _mkdir(path.c_str()) == 0;
}

std::optional<File_Info> file_info(const std::string& path) noexcept
{
    struct _stat64 status;
    if (_stat64(path.c_str(), &status) != 0)
        return std::nullopt;
    File_Info info;
    info.is_folder = (status.st_mode & _S_IFDIR) != 0;
    info.size = info.is_folder ? 0 : static_cast<std::uint64_t>(status.st_size);
    info.created = status.st_ctime;
    return info;
}

bool remove_file(const std::string& path) noexcept
{
    return _unlink(path.c_str()) == 0;
}

std::string working_folder()
{
    const std::unique_ptr<char, decltype(&std::free)> folder(_getcwd(nullptr, 0), &std::free);
    return folder ? std::string(folder.get()) : std::string();
}

std::uint64_t bytes_left(std::FILE* file) noexcept
{
    struct _stat64 status {};
    const std::int64_t position = _ftelli64(file);
    if (position < 0 || _fstat64(_fileno(file), &status) != 0 ||
        (status.st_mode & _S_IFMT) != _S_IFREG || status.st_size <= position)
        return 0;
    return static_cast<std::uint64_t>(status.st_size - position);
}

std::string local_clock_text(std::int64_t seconds)
{
    char text[100];
    if (!is_supported(seconds) || _ctime64_s(text, sizeof text, &seconds) != 0) {
        errno = EINVAL;
        return {};
    }
    return std::string(text + 11, 8);
}

std::uint32_t time_zone_mark() noexcept
{
    const auto load = [](auto& word) {
        return static_cast<std::uint32_t>(__atomic_load_n(&word, __ATOMIC_RELAXED));
    };
    const std::uint32_t words = (load(_timezone) * 31 + load(_daylight)) * 31 + load(_dstbias);
    return words * 0x9E37'79B1;
}

Local_Date local_date(std::int64_t seconds) noexcept
{
    std::tm fields{};
    if (!is_supported(seconds) || _localtime64_s(&fields, &seconds) != 0)
        return {};
    std::tm as_utc = fields;
    const std::int64_t offset = _mkgmtime64(&as_utc) - seconds;
    return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
            static_cast<int>(offset / 60)};
}

} // namespace kr_platform
