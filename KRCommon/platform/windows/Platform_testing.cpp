#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <windows.h>

namespace kr_platform_testing {

unsigned open_handle_count()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
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

} // namespace kr_platform_testing
