// The Linux side of Watchdog.h; its twin is ../windows/Watchdog.cpp.

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <cerrno>
#include <memory>
#include <new>
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
bool start_thread(pthread_t& thread, void* (*routine)(void*), void* argument) noexcept
{
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const bool has_started = pthread_create(&thread, nullptr, routine, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return has_started;
}

bool start_detached_thread(void* (*routine)(void*), void* argument) noexcept
{
    pthread_t thread;
    const bool has_started = start_thread(thread, routine, argument);
    if (has_started)
        pthread_detach(thread);
    return has_started;
}

bool start_watchdog(const Order& given) noexcept
{
    static const Order order = given; // as long as the process
    static_cast<void>(start_detached_thread(&end_in_time, const_cast<Order*>(&order)));
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
    const bool has_started = start_detached_thread(
        [](void* routine) -> void* {
            reinterpret_cast<void (*)()>(routine)();
            return nullptr;
        },
        reinterpret_cast<void*>(function));
    errno = error;
    return has_started;
}

struct Stand_In::Thread {
    Thread(std::int64_t milliseconds, Function function, void* argument) noexcept
        : milliseconds_(milliseconds), function_(function), argument_(argument)
    {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC); // steady_milliseconds()
        pthread_cond_init(&end_, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    ~Thread() { pthread_cond_destroy(&end_); }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    bool start() noexcept { return start_thread(id_, &run, this); }

    // A child of a fork has no such thread.
    bool is_of_this_process() const noexcept { return process_ == process_id(); }

    void end() noexcept
    {
        pthread_mutex_lock(&mutex_);
        is_over_ = true;
        pthread_cond_signal(&end_);
        pthread_mutex_unlock(&mutex_);
        pthread_join(id_, nullptr);
    }

private:
    static void* run(void* thread) noexcept
    {
        auto& self = *static_cast<Thread*>(thread);
        while (self.wait())
            self.function_(self.argument_);
        return nullptr;
    }

    // False: it is over before the time has passed.
    bool wait() noexcept
    {
        const std::int64_t end = steady_milliseconds() + milliseconds_;
        const timespec deadline{end / 1000, end % 1000 * 1'000'000};
        pthread_mutex_lock(&mutex_);
        while (!is_over_ && steady_milliseconds() < end)
            pthread_cond_timedwait(&end_, &mutex_, &deadline);
        const bool has_passed = !is_over_;
        pthread_mutex_unlock(&mutex_);
        return has_passed;
    }

    const std::int64_t milliseconds_;
    const Function function_;
    void* const argument_;
    const int process_ = process_id();
    pthread_t id_{};
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t end_{};
    bool is_over_ = false;
};

Stand_In::Stand_In(std::int64_t milliseconds, Function function, void* argument) noexcept
{
    const int error = errno;
    std::unique_ptr<Thread> thread(new (std::nothrow) Thread(milliseconds, function, argument));
    const bool has_started = thread != nullptr && thread->start();
    thread_ = has_started ? thread.release() : nullptr;
    errno = error;
}

Stand_In::~Stand_In()
{
    if (thread_ == nullptr || !thread_->is_of_this_process())
        return;
    const int error = errno;
    thread_->end();
    delete thread_;
    errno = error;
}

bool Stand_In::is_ready() const noexcept
{
    return true;
}

bool is_watchdog() noexcept
{
    return false; // no entry routine asks on this system
}

} // namespace kr_platform
