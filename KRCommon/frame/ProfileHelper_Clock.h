#pragma once

/// \file
/// The clocks that profiling reads, so that a test can move time instead of waiting.

#include <KRCommon/frame/Seam.h>

#include <cstdint>

namespace kr_internal {

/// Tells milliseconds since 1970-01-01 UTC.
extern Seam<std::uint64_t()> profile_clock;

/// Tells microseconds of a clock that nobody sets.
extern Seam<std::int64_t()> steady_profile_clock;

} // namespace kr_internal
