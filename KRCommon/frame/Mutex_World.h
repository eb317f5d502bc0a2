#pragma once

/// \file
/// What a guard asks of the world, so that a test can answer in a millisecond.

#include <KRCommon/frame/Mutex_Lock.h>
#include <KRCommon/frame/Seam.h>
#include <KRCommon/platform/Lock.h>

namespace kr_internal {

class Guard_World {
public:
    /// Milliseconds of a clock that nobody sets.
    virtual std::int64_t steady_milliseconds() = 0;

    /// Milliseconds of the cheapest clock that nobody sets; it may have another zero.
    virtual std::int64_t coarse_steady_milliseconds()
    {
        return kr_platform::coarse_steady_milliseconds();
    }

    /// Microseconds since 1970 UTC of the wall clock, which may be set at any time.
    virtual std::int64_t wall_microseconds() = 0;

    /// As kr_internal::acquire_for().
    virtual int acquire_for(Process_Lock& lock, std::int64_t milliseconds,
                            std::int64_t arrival) = 0;

    /// As kr_internal::begin_lock_end(): asked before the line that announces the end.
    virtual bool begin_end() { return true; }

    /// As kr_internal::finish_lock_end(): called after that line.
    virtual void finish_end() {}

    /// How long the line about a delay may be under way with the lock dead all the while.
    virtual std::int64_t longest_line_milliseconds(std::int64_t until_end) { return until_end; }

    /// As kr_internal::end_without_line(), on another thread than the guard's.
    virtual void end_without_line() { end_process(1); }

    /// Ends the process. Where a test's own one returns, the guard is left without the mutex.
    virtual void end_process(int exit_code) = 0;

protected:
    ~Guard_World() = default; // never owned by way of this class
};

/// The world of all guards, and what is in its place.
extern Seam<Guard_World> guard_world;
Guard_World& guard_world_in_use() noexcept;

} // namespace kr_internal
