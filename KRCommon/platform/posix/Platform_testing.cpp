#include <KRCommon/platform/Platform_testing.h>

#include <cerrno>
#include <filesystem>
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

} // namespace kr_platform_testing
