#include <KRCommon/frame/Mutex.h>

#include <KRCommon/frame/Lock_End.h>
#include <KRCommon/frame/Lock_Order.h>
#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

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
    bool begin_end() override { return kr_internal::begin_lock_end(); }
    void finish_end() override { kr_internal::finish_lock_end(); }
    void end_without_line() override { kr_internal::end_without_line(); }
    void end_process(int exit_code) override { kr_platform::end_process(exit_code); }
};

Real_World real_world;

} // namespace

Guard_World& guard_world_in_use() noexcept
{
    return guard_world.in_use(real_world);
}

} // namespace kr_internal

namespace {

using kr_internal::guard_world_in_use;
using kr_internal::own_thread;
using kr_internal::Thread_Locks;

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
    return static_cast<int>((guard_world_in_use().steady_milliseconds() - start) / 1000);
}

// A mutex's note: the slot in which its holder's thread shows it, and in debug builds its number in the
// order of locks, 0 until it was taken for the first time.
constexpr unsigned slot_bits = 4;
static_assert(Thread_Locks::slots < 1 << slot_bits);

constexpr unsigned slot_number(std::uint32_t note) noexcept
{
    return note & ((1u << slot_bits) - 1);
}

constexpr std::uint32_t order_number(std::uint32_t note) noexcept
{
    return note >> slot_bits;
}

#ifdef NDEBUG
constexpr bool does_watch_order = false;
#else
constexpr bool does_watch_order = true;
#endif

kr_internal::Lock_Order& lock_order()
{
    static kr_internal::Lock_Order& order = *[] {
        static kr_internal::Lock_Order kept;
        kr_platform::call_after_fork([] { kept.forget(); });
        return &kept;
    }();
    return order;
}

[[maybe_unused]] std::uint32_t next_order_number() noexcept
{
    static std::atomic<std::uint32_t> last{0};
    return last.fetch_add(1, relaxed) + 1;
}

template <typename Function>
void for_each_listed(Function function)
{
    for (int slot = 0; own_thread.locks != nullptr && slot < Thread_Locks::slots; ++slot)
        if (const Thread_Locks::Held held = own_thread.locks->held(slot); held.mutex != nullptr)
            function(held);
}

// Asked before the wait, which may be the one that never ends. Without memory there is no report.
[[maybe_unused]] void report_reversed_order(std::uint32_t order, const char* name, const char* file,
                                            int line) noexcept
try {
    if (order == 0)
        return;
    for_each_listed([&](const Thread_Locks::Held& held) {
        const std::string earlier = lock_order().reverse(held.order, order);
        if (!earlier.empty())
            kr_log(KR_LOG_SITE(LM_ERROR),
                   "%T T%04t*ERR KR_GUARD:[0] %s - Lock order: acquired at %s:%d while holding the "
                   "lock of %s:%d, but before it was the other way round: %s.\n",
                   name, file, line, held.file, held.line, earlier);
    });
} catch (const std::bad_alloc&) {
}

[[maybe_unused]] void remember_order(std::uint32_t order, const char* file, int line)
{
    for_each_listed([&](const Thread_Locks::Held& held) {
        lock_order().add({held.order, held.file, held.line}, {order, file, line});
    });
}

// Shows that the calling thread waits, until it does no more.
class Shown_Wait {
public:
    Shown_Wait(const void* mutex, const char* name, const char* file, int line) noexcept
        : mutex_(mutex), name_(name), file_(file), line_(line),
          since_(guard_world_in_use().coarse_steady_milliseconds())
    {
        show();
    }
    ~Shown_Wait() { end(); }
    Shown_Wait(const Shown_Wait&) = delete;
    Shown_Wait& operator=(const Shown_Wait&) = delete;

    // Once more after a line, whose callback may have waited for another mutex.
    void show() noexcept
    {
        if (own_thread.locks != nullptr)
            own_thread.locks->begin_wait(mutex_, name_, file_, line_, since_);
    }

    void end() noexcept
    {
        if (own_thread.locks != nullptr)
            own_thread.locks->end_wait();
    }

private:
    const void* mutex_;
    const char* name_;
    const char* file_;
    int line_;
    std::int64_t since_;
};

// A line that is stuck in the log keeps its guard for ever. So while it is under way another thread looks
// after the lock, and ends the process when one thread has held it all the time.
class Line_Watch {
public:
    Line_Watch(kr_internal::Process_Lock& lock, const std::atomic<std::int64_t>& first_lock_time,
               std::int64_t milliseconds_until_end) noexcept
        : lock_(lock), first_lock_time_(first_lock_time), seen_(now()),
          stand_in_(
              guard_world_in_use().longest_line_milliseconds(milliseconds_until_end),
              [](void* watch) { static_cast<Line_Watch*>(watch)->look(); }, this)
    {
    }

    bool is_ready() const noexcept { return stand_in_.is_ready(); }

private:
    struct Holder {
        std::uint64_t token;
        std::int64_t since;
    };

    Holder now() const noexcept
    {
        return {kr_internal::holder(lock_.word), first_lock_time_.load(relaxed)};
    }

    void look() noexcept
    {
        constexpr std::int64_t moment = 100; // ms in which a thread that has ended is noticed
        if (kr_internal::acquire_for(lock_, moment, kr_platform::steady_microseconds()) == 0)
            kr_internal::release(lock_);
        const Holder before = std::exchange(seen_, now());
        const bool is_dead =
            seen_.token != 0 && seen_.token == before.token && seen_.since == before.since;
        if (is_dead)
            guard_world_in_use().end_without_line();
    }

    kr_internal::Process_Lock& lock_;
    const std::atomic<std::int64_t>& first_lock_time_;
    Holder seen_;
    kr_platform::Stand_In stand_in_;
};

} // namespace

// A thread that holds the mutex only counts. Clocks for waiting are read when the lock is not to be
// had at once.
KR_Mutex_Guard::KR_Mutex_Guard(KR_Mutex_Ex<ACE_Process_Mutex>& lock, const char* name,
                               const char* file, int line)
    : lock_(lock), file_(file), line_(line)
{
    const kr_internal::Attempt attempt = kr_internal::try_acquire(lock_.lock_);
    if (attempt == kr_internal::Attempt::own) {
        take_again();
        return;
    }
    if constexpr (does_watch_order)
        report_reversed_order(order_number(lock_.note_), name, file, line);
    if (attempt == kr_internal::Attempt::taken)
        take();
    else
        acquire_slowly(name);
}

KR_Mutex_Guard::~KR_Mutex_Guard()
{
    release();
}

void KR_Mutex_Guard::acquire_slowly(const char* name)
{
    kr_internal::Guard_World& world = guard_world_in_use();
    Shown_Wait wait(&lock_, name, file_, line_);
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
        std::int64_t seconds_left = seconds_until_end;
        {
            Line_Watch watch(lock_.lock_, lock_.first_lock_time_, seconds_left * 1000);
            for (; !watch.is_ready() && error == ETIME && seconds_left > 0; --seconds_left)
                error = attempt(1, arrival); // the line can wait, a watch that cannot begin is none
            if (watch.is_ready() || error == 0)
                report_holder(delay_site, "ERR", "delay");
        }
        wait.show();
        if (error == ETIME)
            error = attempt(seconds_left, arrival);
        if (error == ETIME) {
            if (world.begin_end()) {
                report_holder(failed_site, "EMR", "failed");
                wait.show();
                world.finish_end();
            }
            world.end_process(1);
            return;
        }
    }
    if (result_ != 0) {
        if (world.begin_end()) {
            kr_log(panic_site,
                   "%T T%04t*EMR KR_GUARD:[%d] %s - Lock panic at %s:%d, ace error %d, %p.\n",
                   acquisitions_, name, file_, line_, error, "OS");
            world.finish_end();
        }
        world.end_process(1);
        return;
    }
    wait.end();
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
    result_ = guard_world_in_use().acquire_for(lock_.lock_, seconds * 1000, arrival);
    return result_ == 0 ? 0 : kr_platform::last_error();
}

// Writes the record; the lock is held. What a thread that ended while it held the lock has left
// behind is overwritten.
void KR_Mutex_Guard::take()
{
    kr_internal::Guard_World& world = guard_world_in_use();
    lock_.first_lock_time_.store(world.wall_microseconds(), relaxed);
    lock_.first_locker_file_.store(file_, relaxed);
    lock_.first_locker_line_.store(line_, relaxed);
    lock_.owner_.store(own_thread.locks->thread(), relaxed);
    lock_.dbg_depth_.store(1, relaxed);
    result_ = 0;
    acquisitions_ = 1;
    std::uint32_t order = order_number(lock_.note_.load(relaxed));
    if constexpr (does_watch_order) {
        if (order == 0)
            order = next_order_number();
        remember_order(order, file_, line_);
    }
    const unsigned slot =
        own_thread.locks->add({&lock_, file_, line_, world.coarse_steady_milliseconds(), order});
    lock_.note_.store(order << slot_bits | slot, relaxed);
}

void KR_Mutex_Guard::take_again()
{
    lock_.dbg_depth_.store(lock_.dbg_depth_.load(relaxed) + 1, relaxed);
    result_ = 0;
    acquisitions_ = 1;
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
    const std::uint32_t note = lock_.note_.load(relaxed);
    own_thread.locks->remove(slot_number(note));
    lock_.note_.store(note & ~slot_number(~0u), relaxed);
    kr_internal::release(lock_.lock_);
    return 0;
}
