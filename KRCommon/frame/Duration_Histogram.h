#pragma once

/// \file
/// Durations counted by size, so that percentiles of any number of them can be told from little memory.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kr_internal {

/// A histogram of microseconds whose classes are 1 wide below 64 and above that a 32nd of their power of
/// two (log-linear). A percentile is the middle of the class in which it lies: exact below 64 us, above
/// it at most 1/64, that is 1.6 %, off. Longer durations than 2^42 us, which are 50 days, count as these.
/// At most 1,216 classes of 8 bytes: 10 KiB, and 4 KiB while nothing takes longer than a second.
///
/// Threads: one at a time.
class Duration_Histogram {
public:
    /// May throw std::bad_alloc; then nothing was counted.
    void add(std::uint64_t microseconds);

    std::uint64_t count() const noexcept { return count_; }

    /// The smallest duration which so many percent of all do not exceed (nearest rank), in microseconds.
    /// 0 when there is none. `percent` from 1 to 100.
    double percentile(unsigned percent) const noexcept;

private:
    std::vector<std::uint64_t> counts_; // by class, up to the highest one in use
    std::uint64_t count_ = 0;
};

} // namespace kr_internal
