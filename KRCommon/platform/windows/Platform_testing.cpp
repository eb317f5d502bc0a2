#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <io.h>
#include <new>
#include <process.h>
#include <stdexcept>
#include <vector>
#include <windows.h>

#include <psapi.h> // needs windows.h

namespace kr_platform_testing {

// Each handle is asked for. Under Wine GetProcessHandleCount() always says 0, and Wine's server
// may crash when it lists all handles while some other process begins or ends.
unsigned open_handle_count()
{
    constexpr std::uintptr_t highest = 4 * 4096; // far above what a test has open
    unsigned count = 0;
    for (std::uintptr_t handle = 4; handle <= highest; handle += 4) {
        DWORD flags;
        count += GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) != 0 ? 1 : 0;
    }
    return count;
}

std::uint64_t private_memory()
{
    PROCESS_MEMORY_COUNTERS counters{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

std::string unwritable_folder()
{
    return "Z:\\proc";
}

bool set_file_times(const std::string& path, std::int64_t seconds)
{
    const HANDLE file =
        CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const std::int64_t ticks = seconds * 10'000'000 + 116'444'736'000'000'000;
    const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    const bool is_set = SetFileTime(file, &time, nullptr, &time) != 0;
    CloseHandle(file);
    return is_set;
}

void set_last_errors(int runtime_error, int system_error)
{
    SetLastError(static_cast<DWORD>(system_error));
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
    set(previous_.value_or("")); // an empty one is none
}

void Time_Zone::set(const std::string& zone)
{
    _putenv(("TZ=" + zone).c_str());
    _tzset();
}

bool Time_Zone::has_rules()
{
    return false;
}

bool can_delete_open_files()
{
    return false;
}

bool are_thread_starts_reported()
{
    return true;
}

bool make_pipe(const std::string&)
{
    return false;
}

std::string unreadable_file()
{
    const std::string path = "Z:\\proc\\self\\mem"; // under Wine, on Linux
    return GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES ? std::string() : path;
}

Irregular_Files::Irregular_Files(const std::string& folder)
    : paths_{"NUL", folder + "\\NUL", "CON",
             "\\\\.\\C:", "\\\\.\\pipe\\krcommon-" + std::to_string(GetCurrentProcessId())},
      open_(reinterpret_cast<std::intptr_t>(CreateNamedPipeA(
          paths_.back().c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr)))
{
    if (reinterpret_cast<HANDLE>(open_) == INVALID_HANDLE_VALUE)
        throw std::runtime_error("cannot make the pipe " + paths_.back());
}

Irregular_Files::~Irregular_Files()
{
    CloseHandle(reinterpret_cast<HANDLE>(open_));
}

bool keeps_creation_time(const std::string&)
{
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr;
}

void* load_library(const std::string& path)
{
    return LoadLibraryA(path.c_str());
}

bool unload_library(void* library)
{
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

bool is_library_loaded(const std::string& path)
{
    return GetModuleHandleA(path.c_str()) != nullptr;
}

Spare_Library spare_library()
{
    return {"cabinet.dll", "FDICreate"};
}

void (*find_function(void* library, const std::string& name))()
{
    const auto function =
        library == nullptr ? nullptr : GetProcAddress(static_cast<HMODULE>(library), name.c_str());
    return reinterpret_cast<void (*)()>(function);
}

namespace {

DWORD WINAPI run_function(void* argument)
{
    (*static_cast<const std::function<void()>*>(argument))();
    return 0;
}

unsigned __stdcall run_runtime_function(void* argument)
{
    return run_function(argument);
}

} // namespace

void run_on_system_thread(const std::function<void()>& function)
{
    const HANDLE thread = CreateThread(nullptr, 0, &run_function,
                                       const_cast<std::function<void()>*>(&function), 0, nullptr);
    if (thread == nullptr)
        return;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

std::optional<Calendar_Time> system_breakdown(std::int64_t seconds)
{
    std::tm fields{};
    if (_gmtime64_s(&fields, &seconds) != 0)
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
    const std::int64_t seconds = _mkgmtime64(&fields);
    return seconds < 0 ? -1 : seconds;
}

Guarded_Memory::Guarded_Memory(std::size_t size, Guarded_End end)
{
    constexpr std::size_t page = 4096;
    const std::size_t usable = (size + page - 1) / page * page;
    pages_size_ = page + usable + page;
    pages_ = VirtualAlloc(nullptr, pages_size_, MEM_RESERVE, PAGE_NOACCESS);
    if (pages_ == nullptr)
        throw std::bad_alloc();
    data_ = static_cast<unsigned char*>(pages_) + page;
    if (usable > 0 && VirtualAlloc(data_, usable, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        VirtualFree(pages_, 0, MEM_RELEASE);
        throw std::bad_alloc();
    }
    if (end == Guarded_End::last)
        data_ += usable - size;
}

Guarded_Memory::~Guarded_Memory()
{
    VirtualFree(pages_, 0, MEM_RELEASE);
}

void call_on_shifted_stack(unsigned bytes, void (*function)(void* argument), void* argument)
{
    asm volatile("movl %%esp, %%ebx\n\t"
                 "andl $-64, %%esp\n\t"
                 "subl %[bytes], %%esp\n\t"
                 "pushl %[argument]\n\t"
                 "call *%[function]\n\t"
                 "movl %%ebx, %%esp"
                 : [bytes] "+d"(bytes), [function] "+a"(function), [argument] "+c"(argument)
                 :
                 : "ebx", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "cc",
                   "memory");
}

Pipe_Files open_pipe()
{
    int ends[2];
    if (_pipe(ends, 65'536, _O_BINARY | _O_NOINHERIT) != 0)
        return {};
    return {_fdopen(ends[0], "rb"), _fdopen(ends[1], "wb")};
}

bool has_version_reader()
{
    return true;
}

std::string system_file_version(const std::string& path)
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(path.c_str(), &ignored);
    std::vector<unsigned char> block(size + 10);
    void* root = nullptr;
    UINT length = 0;
    if (size == 0 || !GetFileVersionInfoA(path.c_str(), 0, size, block.data()) ||
        !VerQueryValueA(block.data(), "\\", &root, &length) || length != sizeof(VS_FIXEDFILEINFO))
        return {};
    const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    return std::to_string(HIWORD(fixed->dwFileVersionMS)) + '.' +
           std::to_string(LOWORD(fixed->dwFileVersionMS)) + '.' +
           std::to_string(HIWORD(fixed->dwFileVersionLS)) + '.' +
           std::to_string(LOWORD(fixed->dwFileVersionLS));
}

void run_on_runtime_thread(const std::function<void()>& function)
{
    const auto thread = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, &run_runtime_function,
                       const_cast<std::function<void()>*>(&function), 0, nullptr));
    if (thread == nullptr)
        return;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

namespace {

void WINAPI call(void* function)
{
    reinterpret_cast<void (*)()>(function)();
}

} // namespace

void call_at_thread_end(void (*function)())
{
    static const DWORD slot = FlsAlloc(&call);
    FlsSetValue(slot, reinterpret_cast<void*>(function));
}

void block_stderr()
{
    int ends[2];
    if (_pipe(ends, 4096, _O_BINARY) == 0)
        _dup2(ends[1], 2);
}

} // namespace kr_platform_testing
