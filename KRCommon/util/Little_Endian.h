#pragma once

/// \file
/// How the library writes and reads numbers in binary records: little-endian, floats in IEEE-754
/// single precision, each at its byte offset, whatever its alignment. Also the field tables with
/// which a record's byte map is checked while compiling.
///
/// Nothing here knows the length of a buffer: the caller has checked that [offset, offset + size)
/// lies inside. Every bit pattern is a valid number and comes back as it was; only a signalling NaN
/// may become a quiet one where get_float() passes it as a value.
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

inline void put_u8(unsigned char* bytes, std::size_t offset, std::uint8_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_u16(unsigned char* bytes, std::size_t offset, std::uint16_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_u32(unsigned char* bytes, std::size_t offset, std::uint32_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_u64(unsigned char* bytes, std::size_t offset, std::uint64_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_i32(unsigned char* bytes, std::size_t offset, std::int32_t number) noexcept
{
    put_number(bytes, offset, number);
}

inline void put_i64(unsigned char* bytes, std::size_t offset, std::int64_t number) noexcept
{
    put_number(bytes, offset, number);
}

/// The numbers of an array, one after the other.
template <std::size_t count>
void put_floats(unsigned char* bytes, std::size_t offset, const float (&numbers)[count]) noexcept
{
    put_number(bytes, offset, numbers);
}

inline void put_zeros(unsigned char* bytes, const Field& field) noexcept
{
    std::memset(bytes + field.offset, 0, field.size);
}

[[nodiscard]] inline std::uint8_t get_u8(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::uint8_t>(bytes, offset);
}

[[nodiscard]] inline std::int8_t get_i8(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::int8_t>(bytes, offset);
}

[[nodiscard]] inline std::uint32_t get_u32(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::uint32_t>(bytes, offset);
}

[[nodiscard]] inline std::uint64_t get_u64(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::uint64_t>(bytes, offset);
}

[[nodiscard]] inline std::int32_t get_i32(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::int32_t>(bytes, offset);
}

[[nodiscard]] inline std::int64_t get_i64(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<std::int64_t>(bytes, offset);
}

[[nodiscard]] inline float get_float(const unsigned char* bytes, std::size_t offset) noexcept
{
    return get_number<float>(bytes, offset);
}

/// Fills the array with numbers that stand one after the other.
template <std::size_t count>
void get_floats(const unsigned char* bytes, std::size_t offset, float (&numbers)[count]) noexcept
{
    std::memcpy(numbers, bytes + offset, sizeof numbers);
}

} // namespace kr_internal
