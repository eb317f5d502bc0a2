#include <KRCommon/platform/Process_testing.h>

#include <io.h>
#include <windows.h>

namespace kr_platform_testing {

unsigned inheritable_handle_count()
{
    constexpr std::uintptr_t highest = 4 * 4096; // far above what a test has open
    unsigned count = 0;
    for (std::uintptr_t handle = 4; handle <= highest; handle += 4) {
        DWORD flags;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) != 0)
            count += (flags & HANDLE_FLAG_INHERIT) != 0 ? 1 : 0;
    }
    return count;
}

std::vector<std::string> files_open_in(std::int64_t)
{
    return {};
}

void close_standard_file(int descriptor)
{
    _close(descriptor);
}

void write_to_standard_files(const std::string& text)
{
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        static_cast<void>(_write(descriptor, text.data(), static_cast<unsigned>(text.size())));
}

void make_pipe(Pipe& pipe)
{
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (!CreatePipe(&read, &write, nullptr, 0))
        return;
    SetHandleInformation(write, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    pipe.read = reinterpret_cast<std::intptr_t>(read);
    pipe.write = reinterpret_cast<std::intptr_t>(write);
}

void close_pipe(const Pipe& pipe)
{
    CloseHandle(reinterpret_cast<HANDLE>(pipe.read));
    CloseHandle(reinterpret_cast<HANDLE>(pipe.write));
}

bool forbid_file_growth(bool)
{
    return false;
}

bool can_fork()
{
    return false;
}

std::int64_t fork_process(const std::function<int()>&)
{
    return -1;
}

int wait_for_process(std::int64_t, int)
{
    return -1;
}

} // namespace kr_platform_testing
