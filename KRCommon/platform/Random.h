#pragma once

/// \file
/// Random bytes from the system's generator, which nobody can foresee.

#include <cstddef>

namespace kr_platform {

/// Fills `size` bytes. False when the system has none to give, which no running system does in
/// practice; the bytes may be changed then.
///
/// Nothing is kept from one call to the next, so that the child of a fork gets others than its parent.
/// One call for many bytes costs much less than many calls: each goes to the system.
///
/// Threads: no state, any thread at any time. Never throws, does not log.
[[nodiscard]] bool random_bytes(void* out, std::size_t size) noexcept;

} // namespace kr_platform
