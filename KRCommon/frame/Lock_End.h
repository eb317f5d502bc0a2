#pragma once

/// \file
/// What surrounds a guard's last line, before the process ends over a dead lock: the certain end, and
/// what the host has asked for besides (Lock_Report.h).

namespace kr_internal {

/// As may_log_last_line(), with the time that the host's hook has on top. The hook gets a thread of its
/// own, which runs it when the line is written or cannot be: a log that is stuck does not keep it away.
/// Of several guards that end the process at once, each may log its line; the hook runs once.
[[nodiscard]] bool begin_lock_end() noexcept;

/// Called when the line is written: reports the locks where the host wants that, and waits for the
/// hook, for no longer than the process has.
void finish_lock_end() noexcept;

/// For a guard that does not come back from a line: ends the process with exit code 1, without a line, once
/// the hook has had its time.
void end_without_line() noexcept;

} // namespace kr_internal
