#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <vector>
#include <windows.h>

namespace kr_platform_testing {

namespace {

// As NtQuerySystemInformation() gives it for SystemExtendedHandleInformation.
struct Handle_Entry {
    void* object;
    ULONG_PTR process;
    ULONG_PTR handle;
    ULONG access;
    USHORT creator;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct Handle_List {
    ULONG_PTR count;
    ULONG_PTR reserved;
    Handle_Entry entries[1];
};

std::vector<char> all_handles()
{
    constexpr ULONG extended_handle_information = 64;
    constexpr LONG too_short = static_cast<LONG>(0xC0000004);
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleA("ntdll"), "NtQuerySystemInformation")));
    std::vector<char> list(65'536);
    while (query(extended_handle_information, list.data(), static_cast<ULONG>(list.size()),
                 nullptr) == too_short)
        list.resize(list.size() * 2);
    return list;
}

} // namespace

// From the system's whole list: GetProcessHandleCount() always says 0 under Wine.
unsigned open_handle_count()
{
    const std::vector<char> list = all_handles();
    const auto* const handles = reinterpret_cast<const Handle_List*>(list.data());
    unsigned count = 0;
    for (ULONG_PTR i = 0; i < handles->count; ++i)
        count += handles->entries[i].process == GetCurrentProcessId() ? 1 : 0;
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

void* load_library(const std::string& path)
{
    return LoadLibraryA(path.c_str());
}

bool unload_library(void* library)
{
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
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
