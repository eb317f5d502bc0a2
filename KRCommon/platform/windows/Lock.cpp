// The Windows side of Lock.h and of Platform.h's clocks; its twin is ../linux/Lock.cpp.

#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Process_Mutex.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <windows.h>

namespace kr_platform {

namespace {

// The system gives up a process mutex when its thread ends, also for one that is terminated. An event
// keeps no list of sleepers on their stacks, which vanish with a terminated thread.
class Process_Mutex_Seat final : public Seat {
public:
    // Unnamed, default attributes, the mode of a mutex for everybody.
    Process_Mutex_Seat()
        : mutex_(static_cast<const char*>(nullptr), nullptr, 7),
          event_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
    }

    ~Process_Mutex_Seat() override
    {
        if (event_ != nullptr)
            CloseHandle(event_);
    }

    Process_Mutex_Seat(const Process_Mutex_Seat&) = delete;
    Process_Mutex_Seat& operator=(const Process_Mutex_Seat&) = delete;

    bool is_whole() const noexcept
    {
        return event_ != nullptr && mutex_.lock().proc_mutex_ != nullptr;
    }

    bool take() noexcept override
    {
        const DWORD result = WaitForSingleObject(mutex_.lock().proc_mutex_, 0);
        return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }

    void leave() noexcept override { mutex_.release(); }

    void sleep_for(std::int64_t microseconds) noexcept override
    {
        constexpr std::int64_t longest_wait = 0x7fffffff;
        const std::int64_t milliseconds = (microseconds + 999) / 1000;
        WaitForSingleObject(
            event_, static_cast<DWORD>(std::clamp<std::int64_t>(milliseconds, 0, longest_wait)));
    }

    void wake() noexcept override { SetEvent(event_); }

    void forget() noexcept override {}

private:
    ACE_Process_Mutex mutex_;
    const HANDLE event_;
};

SRWLOCK* system_lock(std::atomic<std::uintptr_t>* word) noexcept
{
    static_assert(sizeof *word == sizeof(SRWLOCK));
    return reinterpret_cast<SRWLOCK*>(word);
}

} // namespace

void Short_Lock::lock() noexcept
{
    AcquireSRWLockExclusive(system_lock(&word_));
}

void Short_Lock::unlock() noexcept
{
    ReleaseSRWLockExclusive(system_lock(&word_));
}

Seat* Seat::make() noexcept
{
    try {
        auto seat = std::make_unique<Process_Mutex_Seat>();
        return seat->is_whole() ? seat.release() : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void call_after_fork(void (*)()) noexcept {}

void call_at_unload(void (*function)()) noexcept
{
    std::atexit(function);
}

std::int64_t steady_microseconds() noexcept
{
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return now.QuadPart / frequency.QuadPart * 1'000'000 +
           now.QuadPart % frequency.QuadPart * 1'000'000 / frequency.QuadPart;
}

std::int64_t steady_milliseconds() noexcept
{
    return steady_microseconds() / 1000;
}

std::int64_t coarse_steady_milliseconds() noexcept
{
    return static_cast<std::int64_t>(GetTickCount64());
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
