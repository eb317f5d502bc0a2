#pragma once

/// \file
/// How identifiers are made, apart from the system's generator and clock.
///
/// Threads: any thread at any time.

#include <KRCommon/util/Guid.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kr_internal {

using Random_Bytes = bool(void* out, std::size_t size) noexcept;

/// False and nil identifiers when the generator fails.
bool make_guids_v4(KR_GUID* out, std::size_t count, Random_Bytes& random) noexcept;

/// The same; the first one has the instant `first`, each other the one after the one before it.
/// first  in 1/4096 ms since 1970
bool make_guids_v7(KR_GUID* out, std::size_t count, std::uint64_t first,
                   Random_Bytes& random) noexcept;

/// Gives instants in 1/4096 ms that only grow, whatever the clock does.
class Guid_Clock {
public:
    /// Takes `count` instants in a row and returns the first of them: now, or the one after all that
    /// were taken before.
    std::uint64_t take(std::uint64_t now, std::size_t count) noexcept;

private:
    std::atomic<std::uint64_t> next_{0};
};

} // namespace kr_internal
