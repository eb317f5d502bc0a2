#pragma once

/// \file
/// How the library writes and reads numbers in bytes: little-endian, floats in IEEE-754 single
/// precision, each at its byte offset, whatever its alignment. Also the field tables with which the
/// byte map of a record is checked while compiling.
///
/// Nothing here knows the length of a buffer: the caller has checked that [offset, offset + size)
/// lies inside. Every bit pattern is a valid number and comes back as it was; only a signalling NaN
/// may become a quiet one where a float is passed as a value.
/// Threads: no state. Never fails.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kr_internal {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "numbers are moved as they lie in memory, which must be little-endian");
static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);

/// A field of a record: its first byte and how many bytes it has.
struct Field {
    unsigned offset;
    unsigned size;
};

/// Whether the fields, in their order, fill [0, size) without a gap or an overlap.
template <std::size_t count>
[[nodiscard]] constexpr bool tiles(const Field (&fields)[count], unsigned size) noexcept
{
    unsigned end = 0;
    for (const Field& field : fields) {
        if (field.offset != end || field.size == 0 || field.size > size - end)
            return false;
        end += field.size;
    }
    return end == size;
}

/// A number, or an array of numbers that stand one after the other.
template <typename Number>
void put_number(unsigned char* bytes, std::size_t offset, const Number& number) noexcept
{
    std::memcpy(bytes + offset, &number, sizeof number);
}

template <typename Number>
[[nodiscard]] Number get_number(const unsigned char* bytes, std::size_t offset) noexcept
{
    Number number;
    std::memcpy(&number, bytes + offset, sizeof number);
    return number;
}

inline void put_u16(unsigned char* bytes, std::size_t offset, std::uint16_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_u32(unsigned char* bytes, std::size_t offset, std::uint32_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_zeros(unsigned char* bytes, const Field& field) noexcept
{
    std::memset(bytes + field.offset, 0, field.size);
}

[[nodiscard]] inline std::uint32_t get_u32(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::uint32_t>(bytes, offset);
}

[[nodiscard]] inline std::uint64_t get_u64(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::uint64_t>(bytes, offset);
}

} // namespace kr_internal
