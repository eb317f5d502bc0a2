// The Windows side of Watchdog.h; its twin is ../linux/Watchdog.cpp.

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <atomic>
#include <cerrno>
#include <windows.h>

namespace kr_platform {

namespace {

constexpr SIZE_T stack_size = 64 * 1024;

std::atomic<DWORD> watchdog{0}; // its thread's number

struct Order {
    DWORD milliseconds;
    int exit_code;
    HANDLE is_running;
};

DWORD WINAPI end_in_time(void* argument)
{
    const Order& order = *static_cast<const Order*>(argument);
    SetEvent(order.is_running);
    Sleep(order.milliseconds);
    end_process(order.exit_code);
}

bool start_watchdog(const Order& given) noexcept
{
    static const Order order = given; // as long as the process
    DWORD id = 0;
    const HANDLE thread =
        CreateThread(nullptr, stack_size, &end_in_time, const_cast<Order*>(&order),
                     CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, &id);
    if (thread == nullptr || order.is_running == nullptr)
        return true;
    watchdog = id; // known before the entry routine sees the thread
    ResumeThread(thread);
    return WaitForSingleObject(order.is_running, order.milliseconds) == WAIT_OBJECT_0;
}

} // namespace

bool end_process_after(std::int64_t milliseconds, int exit_code) noexcept
{
    const int runtime_error = errno;
    const DWORD error = GetLastError();
    static const bool is_certain = start_watchdog(
        {static_cast<DWORD>(milliseconds), exit_code, CreateEventA(nullptr, TRUE, FALSE, nullptr)});
    SetLastError(error);
    errno = runtime_error;
    return is_certain;
}

bool is_watchdog() noexcept
{
    return GetCurrentThreadId() == watchdog;
}

} // namespace kr_platform
