#pragma once

/// \file
/// How the bytes of a record are read, by those who build an object of them and those who look at
/// them in place alike: which entries are whole, what their numbers mean, and what a whole record is.
///
/// Threads: no state. Never fails. Reads no byte outside of those that it is given; a function that
/// is given none but an entry's address reads the 68 bytes of the entry, which the caller has found
/// whole.

#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Record_Layout.h>
#include <KRCommon/objects/Record_Status.h>

#include <cstddef>
#include <cstdint>

namespace kr_internal {

/// Quirk: the count is a signed byte, so of 128 to 255 colours none are read.
[[nodiscard]] inline unsigned readable_colors(const unsigned char* entry) noexcept
{
    const std::int8_t count = get(entry, entry::color_count);
    return __builtin_expect(count >= 0, true) ? static_cast<std::uint8_t>(count) : 0;
}

[[nodiscard]] inline bool has_bad_color_count(const unsigned char* entry) noexcept
{
    return get(entry, entry::color_count) < 0;
}

/// Bytes of the entry and its colours, at least 68, or 0 where `left` bytes cut them short. What is
/// expected is a branch: who walks over entries knows by it where the next one lies, without waiting
/// for the comparison.
[[nodiscard]] inline std::size_t whole_entry_size(const unsigned char* entry,
                                                  std::size_t left) noexcept
{
    if (left < entry_size)
        return 0;
    const std::size_t size = entry_size + readable_colors(entry) * color_size;
    return __builtin_expect(size <= left, true) ? size : 0;
}

/// Bytes of the auxiliary data and their length, at least 4, or 0 where `left` bytes cut them short.
[[nodiscard]] inline std::size_t whole_auxiliary_size(const unsigned char* auxiliary,
                                                      std::size_t left) noexcept
{
    if (left < auxiliary_length_size)
        return 0;
    const std::size_t length = get(auxiliary, auxiliary::length);
    return length <= left - auxiliary_length_size ? auxiliary_length_size + length : 0;
}

struct Seconds_And_Microseconds {
    std::int64_t seconds;
    std::int32_t microseconds;
};

/// The time of an instance as ACE_Time_Value takes a timeval: carried into whole seconds, both
/// numbers of one sign.
[[nodiscard]] inline Seconds_And_Microseconds instance_time(const unsigned char* entry) noexcept
{
    constexpr std::int32_t microseconds_per_second = 1'000'000;
    const std::int64_t seconds = get(entry, entry::seconds);
    const std::int32_t microseconds = get(entry, entry::microseconds);
    if (seconds >= 0 && microseconds >= 0 && microseconds < microseconds_per_second)
        return {seconds, microseconds};
    const std::int64_t total = seconds * microseconds_per_second + microseconds;
    return {total / microseconds_per_second,
            static_cast<std::int32_t>(total % microseconds_per_second)};
}

/// The smaller of each pair first, marked as set. A pair with a NaN stays in the order in which it is
/// stored.
[[nodiscard]] inline Geom_Box2D<float> ordered_box(const unsigned char* entry) noexcept
{
    float corners[4];
    get(entry, entry::box, corners);
    const auto [x1, y1, x2, y2] = corners;
    return {x2 < x1 ? x2 : x1, y2 < y1 ? y2 : y1, x2 < x1 ? x1 : x2, y2 < y1 ? y1 : y2};
}

/// What KR_Object_View::check() answers: what the bytes are found to be, by walking over their
/// entries. A null `record` has no bytes.
[[nodiscard]] KR_Record_Status check_record(const unsigned char* record,
                                            std::size_t length) noexcept;

} // namespace kr_internal
