// The Linux side of Lock.h and of Platform.h's clocks; its twin is ../windows/Lock.cpp.

#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Platform.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <new>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kr_platform {

namespace {

// Sleeps while the word has this value, until woken or, when there is one, for the time.
void sleep_on(void* word, std::uint32_t value, const timespec* time) noexcept
{
    const int error = errno;
    syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, value, time, nullptr, 0);
    errno = error;
}

void wake_one(void* word) noexcept
{
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// The kernel releases a robust mutex when its thread ends.
class Robust_Seat final : public Seat {
public:
    Robust_Seat() noexcept { make_mutex(); }
    ~Robust_Seat() override { pthread_mutex_destroy(&mutex_); }
    Robust_Seat(const Robust_Seat&) = delete;
    Robust_Seat& operator=(const Robust_Seat&) = delete;

    bool take() noexcept override
    {
        int error = pthread_mutex_trylock(&mutex_);
        if (error == EOWNERDEAD)
            error = pthread_mutex_consistent(&mutex_);
        return error == 0;
    }

    void leave() noexcept override { pthread_mutex_unlock(&mutex_); }

    void sleep_for(std::int64_t microseconds) noexcept override
    {
        const std::int64_t wait = std::max<std::int64_t>(microseconds, 0);
        const timespec time{wait / 1'000'000, wait % 1'000'000 * 1000};
        if (is_woken_.load(std::memory_order_acquire) == 0)
            sleep_on(&is_woken_, 0, &time);
        is_woken_.store(0, std::memory_order_relaxed);
    }

    void wake() noexcept override
    {
        is_woken_.store(1, std::memory_order_release);
        wake_one(&is_woken_);
    }

    void forget() noexcept override
    {
        make_mutex();
        is_woken_ = 0;
    }

private:
    void make_mutex() noexcept
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    pthread_mutex_t mutex_;
    std::atomic<std::uint32_t> is_woken_{0};
};

// What a short lock's word says.
enum : std::uintptr_t { is_free, is_taken, is_waited_for };

} // namespace

void Short_Lock::lock() noexcept
{
    std::uintptr_t word = is_free;
    if (word_.compare_exchange_strong(word, is_taken, std::memory_order_acquire))
        return;
    while (word_.exchange(is_waited_for, std::memory_order_acquire) != is_free)
        sleep_on(&word_, is_waited_for, nullptr);
}

void Short_Lock::unlock() noexcept
{
    if (word_.exchange(is_free, std::memory_order_release) == is_waited_for)
        wake_one(&word_);
}

Seat* Seat::make() noexcept
{
    return new (std::nothrow) Robust_Seat;
}

void call_after_fork(void (*function)()) noexcept
{
    pthread_atfork(nullptr, nullptr, function);
}

void call_at_unload(void (*)()) noexcept {}

std::int64_t steady_microseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

std::int64_t steady_milliseconds() noexcept
{
    return steady_microseconds() / 1000;
}

std::int64_t coarse_steady_milliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

std::int64_t coarse_wall_microseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

} // namespace kr_platform
