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

/// True on the threads that these two have started. The entry routine asks: they must wait for nothing
/// while they start.
bool is_watchdog() noexcept;

} // namespace kr_platform
