#include <KRCommon/frame/Duration_Histogram.h>

#include <algorithm>

namespace kr_internal {

namespace {

constexpr unsigned step_bits = 5; // 32 classes to a power of two
constexpr std::uint64_t steps = 1u << step_bits;
constexpr std::uint64_t longest = (std::uint64_t{1} << 42) - 1;

// The power of two by which a class is wide.
unsigned shift_of(std::uint64_t value) noexcept
{
    unsigned shift = 0;
    while (value >> shift >= 2 * steps)
        ++shift;
    return shift;
}

std::size_t class_of(std::uint64_t value) noexcept
{
    const unsigned shift = shift_of(value);
    return static_cast<std::size_t>(shift * steps + (value >> shift));
}

double middle_of(std::size_t index) noexcept
{
    const std::uint64_t shift = index < 2 * steps ? 0 : index / steps - 1;
    const std::uint64_t first = (index - shift * steps) << shift;
    const std::uint64_t width = std::uint64_t{1} << shift;
    return static_cast<double>(first) + static_cast<double>(width - 1) / 2;
}

} // namespace

void Duration_Histogram::add(std::uint64_t microseconds)
{
    const std::size_t index = class_of(std::min(microseconds, longest));
    if (index >= counts_.size()) {
        counts_.reserve(index + 1); // no more than that
        counts_.resize(index + 1);
    }
    ++counts_[index];
    ++count_;
}

double Duration_Histogram::percentile(unsigned percent) const noexcept
{
    const std::uint64_t rank = count_ / 100 * percent + (count_ % 100 * percent + 99) / 100;
    std::uint64_t passed = 0;
    for (std::size_t index = 0; index < counts_.size(); ++index) {
        passed += counts_[index];
        if (counts_[index] != 0 && passed >= rank)
            return middle_of(index);
    }
    return 0;
}

} // namespace kr_internal
