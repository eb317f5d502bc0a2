#pragma once

/// \file
/// The clock that profiling reads, so that a test can move time instead of waiting.

#include <cstdint>

namespace kr_internal {

/// Tells milliseconds since 1970-01-01 UTC.
using Profile_Clock = std::uint64_t (*)();

/// Puts a clock in the place of the system's, null: the system's again. For tests. From any thread;
/// the clock may then be called by any thread that profiles.
void set_profile_clock(Profile_Clock clock) noexcept;

} // namespace kr_internal
