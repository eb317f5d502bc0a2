#pragma once

/// \file
/// The certain end of a process that has a last thing to do which may never return.

#include <cstdint>

namespace kr_platform {

/// Has the process end with the exit code when so many milliseconds have passed, as by end_process()
/// and whatever its threads wait for by then. It cannot be called off, and of several calls the
/// first one counts. The thread's last error stays as it is.
///
/// False: other threads do not get to run, so what hangs would hang for ever. Windows: that is so
/// while any thread holds the loader's lock, which is waited for as long as the time says, and for a
/// second at most. When the
/// system has no room for one more thread nothing is prepared, and the answer is true: that says
/// nothing of what comes next.
[[nodiscard]] bool end_process_after(std::int64_t milliseconds, int exit_code) noexcept;

/// Calls the function on a thread of its own, as far as the system has room for one; false when it
/// has none. For one function in the life of a process, a last thing to do. The thread takes no signals
/// of the host's.
bool start_last_thread(void (*function)()) noexcept;

/// For who is about to do something that may never return: while the object lives, the function is called
/// each time that so many milliseconds have passed, on a thread of the object's own. One that is being
/// called when the object is destroyed is waited for, and it may end the process. The thread's last error
/// stays as it is.
class Stand_In {
public:
    using Function = void (*)(void* argument);

    Stand_In(std::int64_t milliseconds, Function function, void* argument) noexcept;
    ~Stand_In();
    Stand_In(const Stand_In&) = delete;
    Stand_In& operator=(const Stand_In&) = delete;

    /// False: the thread does not get to run yet. Windows: that is so while somebody holds the loader's
    /// lock, for which the constructor waits a second. When the system has no room for one more
    /// thread the answer is true, and the function is never called.
    bool is_ready() const noexcept;

private:
    struct Thread;
    Thread* thread_; // null when there is none
};

/// True on the threads that these three have started. The entry routine asks: they must wait for nothing
/// while they start.
bool is_watchdog() noexcept;

} // namespace kr_platform
