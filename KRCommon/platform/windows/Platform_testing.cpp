#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <io.h>
#include <process.h>
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

bool can_delete_open_files()
{
    return false;
}

bool are_thread_starts_reported()
{
    return true;
}

void* load_library(const std::string& path)
{
    return LoadLibraryA(path.c_str());
}

bool unload_library(void* library)
{
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

void* find_symbol(void* library, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
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
