#pragma once

/// \file
/// What the library's lock (frame/Mutex_Lock.h) needs from the operating system. As in Platform.h,
/// windows/ and linux/ fulfil this contract, and no system header is included here.

#include <atomic>
#include <cstdint>

namespace kr_platform {

/// Microseconds of a clock that is never set, the one of steady_milliseconds().
std::int64_t steady_microseconds() noexcept;

/// Milliseconds of a clock that is never set, as it costs least: in steps of up to 16 ms on Windows and
/// 4 ms on Linux. Not to be mixed with steady_milliseconds(), it may have another zero.
std::int64_t coarse_steady_milliseconds() noexcept;

/// A lock for sections of a few instructions: not recursive, without a limit, and without anything
/// of the system's to be had or given back, so that it may be a static object that is never
/// constructed. For std::lock_guard.
class Short_Lock {
public:
    constexpr Short_Lock() noexcept = default;
    Short_Lock(const Short_Lock&) = delete;
    Short_Lock& operator=(const Short_Lock&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    std::atomic<std::uintptr_t> word_{0}; // the system's to interpret
};

/// A place that one thread at a time takes for the rest of its life, and in which it sleeps until it
/// is woken. Whether the thread has ended is thereby known to all, in whatever way it ended.
class Seat {
public:
    /// Null when the system has no more of what it takes: memory, or handles on Windows.
    static Seat* make() noexcept;
    virtual ~Seat() = default;
    Seat(const Seat&) = delete;
    Seat& operator=(const Seat&) = delete;

    /// Takes the seat for the calling thread, without waiting. False while another living thread has
    /// it; once that one has ended, or has left it, the first who asks gets it.
    virtual bool take() noexcept = 0;

    /// Gives up what the calling thread has taken.
    virtual void leave() noexcept = 0;

    /// Sleeps for so long, or until wake() is called, or has been called since the last sleep. May
    /// end early for no reason. For the thread that has the seat.
    virtual void sleep_for(std::int64_t microseconds) noexcept = 0;

    /// Wakes the seat's thread, or keeps it from falling asleep the next time.
    virtual void wake() noexcept = 0;

    /// In the child of a fork: makes the seat one that nobody has. All other threads are gone, and
    /// what they had taken would stay so.
    virtual void forget() noexcept = 0;

protected:
    Seat() = default;
};

/// Linux: calls the function in every child of a fork, before fork() returns there. Windows, where
/// processes do not fork: does nothing.
void call_after_fork(void (*function)()) noexcept;

/// Windows: calls the function when the library is unloaded or the process exits. Linux: does
/// nothing; there the library stays in memory, and threads of the host may run until the very end.
void call_at_unload(void (*function)()) noexcept;

} // namespace kr_platform
