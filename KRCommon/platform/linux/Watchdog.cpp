// The Linux side of Watchdog.h; its twin is ../windows/Watchdog.cpp.

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <cerrno>
#include <pthread.h>
#include <signal.h>
#include <time.h>

namespace kr_platform {

namespace {

struct Order {
    std::int64_t end; // steady_milliseconds()
    int exit_code;
};

[[noreturn]] void* end_in_time(void* argument)
{
    const Order& order = *static_cast<const Order*>(argument);
    for (;;) {
        const std::int64_t left = order.end - steady_milliseconds();
        if (left <= 0)
            end_process(order.exit_code);
        const timespec time{left / 1000, left % 1000 * 1'000'000};
        nanosleep(&time, nullptr);
    }
}

// The thread takes no signals of the host's.
bool start_thread(void* (*routine)(void*), void* argument) noexcept
{
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    pthread_t thread;
    const bool has_started = pthread_create(&thread, nullptr, routine, argument) == 0;
    if (has_started)
        pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return has_started;
}

bool start_watchdog(const Order& given) noexcept
{
    static const Order order = given; // as long as the process
    static_cast<void>(start_thread(&end_in_time, const_cast<Order*>(&order)));
    return true;
}

} // namespace

bool end_process_after(std::int64_t milliseconds, int exit_code) noexcept
{
    const int error = errno;
    static const bool is_certain =
        start_watchdog({steady_milliseconds() + milliseconds, exit_code});
    errno = error;
    return is_certain;
}

bool start_last_thread(void (*function)()) noexcept
{
    const int error = errno;
    const bool has_started = start_thread(
        [](void* routine) -> void* {
            reinterpret_cast<void (*)()>(routine)();
            return nullptr;
        },
        reinterpret_cast<void*>(function));
    errno = error;
    return has_started;
}

bool is_watchdog() noexcept
{
    return false; // no entry routine asks on this system
}

} // namespace kr_platform
