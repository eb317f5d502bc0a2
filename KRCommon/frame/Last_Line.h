#pragma once

/// \file
/// The line before the process ends. It is logged where it can be had, but it must not keep the
/// process: a thread that writes to a pipe which nobody reads holds ACE's log lock for ever.

#include <KRCommon/platform/Watchdog.h>

namespace kr_internal {

/// Called before the last line, which is logged when the answer is true. From here the process ends
/// within a second with exit code 1, if the caller has not ended it before.
[[nodiscard]] inline bool may_log_last_line() noexcept
{
    return kr_platform::end_process_after(1000, 1);
}

} // namespace kr_internal
