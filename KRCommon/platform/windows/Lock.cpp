// The Windows side of kr_platform::Lock; its twin is ../linux/Lock.cpp.

#include <KRCommon/platform/Platform.h>

#include <ace/Process_Mutex.h>

#include <algorithm>
#include <cerrno>
#include <windows.h>

namespace kr_platform {

namespace {

constexpr std::int64_t longest_wait = 0x7fffffff;

class Process_Mutex_Lock : public Lock {
public:
    // Unnamed, default attributes, the mode of a mutex for everybody.
    Process_Mutex_Lock() : mutex_(static_cast<const char*>(nullptr), nullptr, 7) {}

    int try_acquire() noexcept override { return wait(0, EBUSY); }

    int acquire_for(std::int64_t milliseconds) noexcept override
    {
        return wait(std::clamp<std::int64_t>(milliseconds, 0, longest_wait), ETIME);
    }

    int release() noexcept override { return mutex_.release(); }

private:
    // Not through ACE's timed acquire: it takes an instant of the wall clock, and one that has just
    // passed, or a clock that steps forward, makes it wait for 49 days.
    int wait(std::int64_t milliseconds, int error_when_busy) noexcept
    {
        switch (WaitForSingleObject(mutex_.lock().proc_mutex_, static_cast<DWORD>(milliseconds))) {
        case WAIT_OBJECT_0:
        case WAIT_ABANDONED: // its thread has ended: go on as if it had released the lock
            return 0;
        case WAIT_TIMEOUT: errno = error_when_busy; return -1;
        default: errno = 0; return -1; // the system's own error tells
        }
    }

    ACE_Process_Mutex mutex_;
};

} // namespace

std::unique_ptr<Lock> Lock::make()
{
    return std::make_unique<Process_Mutex_Lock>();
}

std::int64_t steady_milliseconds() noexcept
{
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return now.QuadPart / frequency.QuadPart * 1000 +
           now.QuadPart % frequency.QuadPart * 1000 / frequency.QuadPart;
}

std::int64_t coarse_wall_microseconds() noexcept
{
    constexpr std::int64_t from_1601_to_1970 = 11'644'473'600'000'000;
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const std::int64_t ticks =
        static_cast<std::int64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
    return ticks / 10 - from_1601_to_1970;
}

} // namespace kr_platform
