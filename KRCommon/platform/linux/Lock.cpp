// The Linux side of kr_platform::Lock; its twin is ../windows/Lock.cpp. ACE's process mutex is a
// System V semaphore here, which can neither wait with a limit nor be acquired twice.

#include <KRCommon/platform/Platform.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <pthread.h>

namespace kr_platform {

namespace {

constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;

// ThreadSanitizer does not know pthread_mutex_clocklock.
#if defined(__SANITIZE_THREAD__)
constexpr clockid_t lock_clock = CLOCK_REALTIME;
int timed_lock(pthread_mutex_t* mutex, const timespec* until) noexcept
{
    return pthread_mutex_timedlock(mutex, until);
}
#else
constexpr clockid_t lock_clock = CLOCK_MONOTONIC;
int timed_lock(pthread_mutex_t* mutex, const timespec* until) noexcept
{
    return pthread_mutex_clocklock(mutex, lock_clock, until);
}
#endif

timespec instant_in(std::int64_t milliseconds) noexcept
{
    timespec instant{};
    clock_gettime(lock_clock, &instant);
    const std::int64_t nanoseconds = instant.tv_nsec + milliseconds % 1000 * 1'000'000;
    instant.tv_sec += milliseconds / 1000 + nanoseconds / nanoseconds_per_second;
    instant.tv_nsec = nanoseconds % nanoseconds_per_second;
    return instant;
}

class Robust_Lock : public Lock {
public:
    Robust_Lock() noexcept
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    ~Robust_Lock() override { pthread_mutex_destroy(&mutex_); }
    Robust_Lock(const Robust_Lock&) = delete;
    Robust_Lock& operator=(const Robust_Lock&) = delete;

    int try_acquire() noexcept override { return result_of(pthread_mutex_trylock(&mutex_)); }

    int acquire_for(std::int64_t milliseconds) noexcept override
    {
        const timespec until = instant_in(std::max<std::int64_t>(milliseconds, 0));
        return result_of(timed_lock(&mutex_, &until));
    }

    int release() noexcept override { return result_of(pthread_mutex_unlock(&mutex_)); }

private:
    int result_of(int error) noexcept
    {
        if (error == EOWNERDEAD) // its thread has ended: go on as if it had released the lock
            error = pthread_mutex_consistent(&mutex_);
        if (error == 0)
            return 0;
        errno = error == ETIMEDOUT ? ETIME : error;
        return -1;
    }

    pthread_mutex_t mutex_;
};

} // namespace

std::unique_ptr<Lock> Lock::make()
{
    return std::make_unique<Robust_Lock>();
}

std::int64_t steady_milliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

std::int64_t coarse_wall_microseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

} // namespace kr_platform
