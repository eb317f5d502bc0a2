#pragma once

/// \file
/// The time of day in front of a log line.

#include <array>
#include <cstdint>

namespace kr_internal {

/// Room for a stamp and the zero after it.
using Stamp_Text = std::array<char, 16>;

/// "hh:mm:ss.uuuuuu" of an instant, in microseconds since 1970-01-01 UTC, in local time: what ACE's
/// "%T" prints. Empty for instants before 1970 or after the year 3000.
///
/// The system is asked for the local time once a minute, and when the process's time zone is another. It answers under a lock of its own, which
/// nobody can release in a forked child when another thread of the parent held it: there the first
/// stamp would wait for ever. And it costs more than the rest of a line's stamp.
///
/// Threads: any at any time. Never throws.
Stamp_Text local_stamp(std::int64_t microseconds) noexcept;

} // namespace kr_internal
