#include <KRCommon/frame/Mutex.h>

#include <KRCommon/frame/Last_Line.h>
#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Platform.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace kr_internal {

Seam<Guard_World> guard_world;

namespace {

class Real_World final : public Guard_World {
public:
    std::int64_t steady_milliseconds() override { return kr_platform::steady_milliseconds(); }
    std::int64_t wall_microseconds() override { return kr_platform::coarse_wall_microseconds(); }
    int acquire_for(Process_Lock& lock, std::int64_t milliseconds, std::int64_t arrival) override
    {
        return kr_internal::acquire_for(lock, milliseconds, arrival);
    }
    bool may_log_last_line() override { return kr_internal::may_log_last_line(); }
    void end_process(int exit_code) override { kr_platform::end_process(exit_code); }
};

Guard_World& world_in_use()
{
    static Real_World real;
    return guard_world.in_use(real);
}

} // namespace

} // namespace kr_internal

namespace {

constexpr std::int64_t seconds_until_report = 10;
constexpr std::int64_t seconds_until_end = 120; // after the report

constexpr KR_Log_Site delay_site{"Mutex.h", 87, LM_ERROR};
constexpr KR_Log_Site failed_site{"Mutex.h", 96, LM_EMERGENCY};
constexpr KR_Log_Site panic_site{"Mutex.h", 102, LM_EMERGENCY};
constexpr KR_Log_Site acquired_site{"Mutex.h", 113, LM_ERROR};
constexpr int depth_assertion_line = 150;

// The record is for reports: each field is whole by itself, none promises anything of another.
constexpr std::memory_order relaxed = std::memory_order_relaxed;

// "hh:mm:ss.uuuuuu" in local time.
std::string clock_text(std::int64_t microseconds)
{
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06ld", static_cast<long>(microseconds % 1'000'000));
    return kr_platform::local_clock_text(microseconds / 1'000'000) + fraction;
}

int seconds_since(std::int64_t start)
{
    return static_cast<int>((kr_internal::world_in_use().steady_milliseconds() - start) / 1000);
}

} // namespace

// A thread that holds the mutex only counts. Clocks for waiting are read when the lock is not to be
// had at once.
KR_Mutex_Guard::KR_Mutex_Guard(KR_Mutex_Ex<ACE_Process_Mutex>& lock, const char* name,
                               const char* file, int line)
    : lock_(lock), file_(file), line_(line)
{
    switch (kr_internal::try_acquire(lock_.lock_)) {
    case kr_internal::Attempt::taken: take(); return;
    case kr_internal::Attempt::own: take_again(); return;
    case kr_internal::Attempt::busy: acquire_slowly(name); return;
    }
}

KR_Mutex_Guard::~KR_Mutex_Guard()
{
    release();
}

void KR_Mutex_Guard::acquire_slowly(const char* name)
{
    kr_internal::Guard_World& world = kr_internal::world_in_use();
    const std::int64_t start = world.steady_milliseconds();
    const std::int64_t arrival = kr_platform::steady_microseconds();
    // The record is read while its owner may be changing it: by design, it is a report.
    const auto report_holder = [&](const KR_Log_Site& site, const char* tag, const char* event) {
        kr_log(site,
               "%T T%04t*%s KR_GUARD:[%d] %s - Lock acquire %s (%d seconds passed) at "
               "%s:%d (locked %d time(s) by T%d first on %s at %s:%d).\n",
               tag, acquisitions_, name, event, seconds_since(start), file_, line_, lock_.depth(),
               static_cast<int>(lock_.owner()), clock_text(lock_.first_lock_time_),
               lock_.first_locker_file(), lock_.first_locker_line());
    };
    int error = attempt(seconds_until_report, arrival);
    const bool is_delayed = error == ETIME;
    if (is_delayed) {
        report_holder(delay_site, "ERR", "delay");
        error = attempt(seconds_until_end, arrival);
        if (error == ETIME) {
            if (world.may_log_last_line())
                report_holder(failed_site, "EMR", "failed");
            world.end_process(1);
            return;
        }
    }
    if (result_ != 0) {
        if (world.may_log_last_line())
            kr_log(panic_site,
                   "%T T%04t*EMR KR_GUARD:[%d] %s - Lock panic at %s:%d, ace error %d, %p.\n",
                   acquisitions_, name, file_, line_, error, "OS");
        world.end_process(1);
        return;
    }
    take();
    if (is_delayed)
        kr_log(acquired_site,
               "%T T%04t*ERR KR_GUARD:[%d] %s - Lock eventually acquired after %d seconds at "
               "%s:%d.\n",
               acquisitions_, name, seconds_since(start), file_, line_);
}

// Waits for the lock; 0 or the error, which is ETIME when the time is over.
int KR_Mutex_Guard::attempt(std::int64_t seconds, std::int64_t arrival)
{
    kr_platform::clear_last_error();
    result_ = kr_internal::world_in_use().acquire_for(lock_.lock_, seconds * 1000, arrival);
    return result_ == 0 ? 0 : kr_platform::last_error();
}

// Writes the record; the lock is held. What a thread that ended while it held the lock has left
// behind is overwritten.
void KR_Mutex_Guard::take()
{
    lock_.first_lock_time_.store(kr_internal::world_in_use().wall_microseconds(), relaxed);
    lock_.first_locker_file_.store(file_, relaxed);
    lock_.first_locker_line_.store(line_, relaxed);
    lock_.owner_.store(kr_platform::thread_id(), relaxed);
    lock_.dbg_depth_.store(0, relaxed);
    take_again();
}

void KR_Mutex_Guard::take_again()
{
    lock_.dbg_depth_.store(lock_.dbg_depth_.load(relaxed) + 1, relaxed);
    result_ = 0;
    ++acquisitions_;
}

int KR_Mutex_Guard::release()
{
    if (result_ == -1)
        return -1;
    if (!kr_internal::is_own(lock_.lock_)) {
        errno = EPERM; // another thread's
        return -1;
    }
    const int depth = lock_.dbg_depth_.load(relaxed) - 1;
    lock_.dbg_depth_.store(depth, relaxed);
    kr_assert(depth >= 0, "lock_.dbg_depth_ >= 0", "Mutex.h", depth_assertion_line);
    result_ = -1;
    if (depth > 0)
        return 0;
    lock_.owner_.store(0, relaxed);
    lock_.first_locker_file_.store(nullptr, relaxed);
    lock_.first_locker_line_.store(-1, relaxed);
    lock_.first_lock_time_.store(0, relaxed);
    kr_internal::release(lock_.lock_);
    return 0;
}
