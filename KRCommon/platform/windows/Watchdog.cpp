// The Windows side of Watchdog.h; its twin is ../linux/Watchdog.cpp.

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <atomic>
#include <cerrno>
#include <windows.h>

namespace kr_platform {

namespace {

constexpr SIZE_T stack_size = 64 * 1024;

constexpr DWORD longest_wait = 1000; // milliseconds until the watchdog runs

std::atomic<DWORD> watchdog{0}; // the numbers of the two threads
std::atomic<DWORD> last_thread{0};

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
    const DWORD wait = order.milliseconds < longest_wait ? order.milliseconds : longest_wait;
    return WaitForSingleObject(order.is_running, wait) == WAIT_OBJECT_0;
}

void (*last_function)() = nullptr;

DWORD WINAPI run_last(void*)
{
    last_function();
    return 0;
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

bool start_last_thread(void (*function)()) noexcept
{
    const int runtime_error = errno;
    const DWORD error = GetLastError();
    last_function = function;
    DWORD id = 0;
    const HANDLE thread = CreateThread(nullptr, 0, &run_last, nullptr, CREATE_SUSPENDED, &id);
    if (thread != nullptr) {
        last_thread = id; // known before the entry routine sees the thread
        ResumeThread(thread);
        CloseHandle(thread);
    }
    SetLastError(error);
    errno = runtime_error;
    return thread != nullptr;
}

bool is_watchdog() noexcept
{
    const DWORD id = GetCurrentThreadId();
    return id == watchdog || id == last_thread;
}

} // namespace kr_platform
