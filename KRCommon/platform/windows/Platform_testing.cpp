#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <cstdint>
#include <windows.h>

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

bool make_pipe(const std::string&)
{
    return false;
}

std::string unreadable_file()
{
    return {};
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
    return reinterpret_cast<void (*)()>(
        reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name.c_str())));
}

namespace {

DWORD WINAPI run_function(void* argument)
{
    (*static_cast<const std::function<void()>*>(argument))();
    return 0;
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

} // namespace kr_platform_testing
