/* Debian's libwinpthread and libmingwex for i686 have a 32-bit time_t, this project a 64-bit
   one (__MINGW_USE_VC2005_COMPAT). Without this file every timed wait of the C++ library
   reads a wrong time and does not wait. The linker's --wrap sends the calls whose arguments
   hold a time_t through here; it needs the dynamic libstdc++. */
#include <pthread.h>
#include <semaphore.h>
#include <stdint.h>
#include <sys/stat.h>
#include <time.h>

_Static_assert(sizeof(time_t) == 8, "compile with -D__MINGW_USE_VC2005_COMPAT");

typedef struct {
    int32_t tv_sec, tv_nsec;
} timespec32;

static timespec32* down(const struct timespec* from, timespec32* to)
{
    if (!from)
        return 0;
    to->tv_sec = from->tv_sec > INT32_MAX   ? INT32_MAX
                 : from->tv_sec < INT32_MIN ? INT32_MIN
                                            : (int32_t)from->tv_sec;
    to->tv_nsec = (int32_t)from->tv_nsec;
    return to;
}

static int up(struct timespec* to, const timespec32* from, int result)
{
    if (to) {
        to->tv_sec = from->tv_sec;
        to->tv_nsec = from->tv_nsec;
    }
    return result;
}

int __real_nanosleep(const timespec32*, timespec32*);
int __wrap_nanosleep(const struct timespec* wanted, struct timespec* left)
{
    timespec32 w, l = {0, 0};
    int result = __real_nanosleep(down(wanted, &w), &l);
    return up(left, &l, result);
}

int __real_clock_nanosleep(clockid_t, int, const timespec32*, timespec32*);
int __wrap_clock_nanosleep(clockid_t clock, int flags, const struct timespec* wanted,
                           struct timespec* left)
{
    timespec32 w, l = {0, 0};
    int result = __real_clock_nanosleep(clock, flags, down(wanted, &w), &l);
    return up(left, &l, result);
}

int __real_pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const timespec32*);
int __wrap_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                  const struct timespec* until)
{
    timespec32 u;
    return __real_pthread_cond_timedwait(cond, mutex, down(until, &u));
}

#define WRAP_CLOCK(name)                                                                           \
    int __real_##name(clockid_t, timespec32*);                                                     \
    int __wrap_##name(clockid_t clock, struct timespec* out)                                       \
    {                                                                                              \
        timespec32 value = {0, 0};                                                                 \
        int result = __real_##name(clock, &value);                                                 \
        return up(out, &value, result);                                                            \
    }

#define WRAP_TIMED_LOCK(name, object)                                                              \
    int __real_##name(object*, const timespec32*);                                                 \
    int __wrap_##name(object* lock, const struct timespec* until)                                  \
    {                                                                                              \
        timespec32 u;                                                                              \
        return __real_##name(lock, down(until, &u));                                               \
    }

WRAP_CLOCK(clock_gettime)
WRAP_CLOCK(clock_getres)
WRAP_TIMED_LOCK(pthread_mutex_timedlock, pthread_mutex_t)
WRAP_TIMED_LOCK(pthread_rwlock_timedrdlock, pthread_rwlock_t)
WRAP_TIMED_LOCK(pthread_rwlock_timedwrlock, pthread_rwlock_t)
WRAP_TIMED_LOCK(sem_timedwait, sem_t)

/* With 64-bit time_t and 32-bit off_t, struct stat is struct _stat64i32. */
int __wrap_stat(const char* path, struct stat* out)
{
    return _stat64i32(path, (struct _stat64i32*)out);
}
int __wrap_wstat(const wchar_t* path, struct stat* out)
{
    return _wstat64i32(path, (struct _stat64i32*)out);
}
