#pragma once

/// \file
/// The vectors of Vector.h in plain C++: what each function does, place by place.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kr_internal::vector_portable {

/// 16 bytes.
struct Bytes {
    std::array<std::uint8_t, 16> at;
};

/// From and to any address.
inline Bytes load_bytes(const void* bytes) noexcept
{
    Bytes result;
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

inline void store_bytes(void* out, Bytes bytes) noexcept
{
    std::memcpy(out, &bytes, sizeof bytes);
}

/// The same number, its low byte, in all places.
inline Bytes all_bytes(int number) noexcept
{
    Bytes result;
    result.at.fill(static_cast<std::uint8_t>(number));
    return result;
}

template <typename Operation>
Bytes for_each_byte(const Bytes& a, const Bytes& b, Operation operation) noexcept
{
    Bytes result;
    for (std::size_t i = 0; i < result.at.size(); ++i)
        result.at[i] = static_cast<std::uint8_t>(operation(a.at[i], b.at[i]));
    return result;
}

/// 0xFF where it holds, else 0.
inline Bytes equal(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(a, b, [](std::uint8_t x, std::uint8_t y) { return x == y ? 0xFF : 0; });
}

inline Bytes signed_less(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(
        a, b, [](std::uint8_t x, std::uint8_t y) { return (x ^ 0x80U) < (y ^ 0x80U) ? 0xFF : 0; });
}

inline Bytes unsigned_at_most(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(a, b, [](std::uint8_t x, std::uint8_t y) { return x <= y ? 0xFF : 0; });
}

/// Modulo 256.
inline Bytes sum(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(a, b, [](std::uint8_t x, std::uint8_t y) { return x + y; });
}

inline Bytes both(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(a, b, [](std::uint8_t x, std::uint8_t y) { return x & y; });
}

inline Bytes either(const Bytes& a, const Bytes& b) noexcept
{
    return for_each_byte(a, b, [](std::uint8_t x, std::uint8_t y) { return x | y; });
}

/// The top bit of each byte, that of the first one lowest.
inline unsigned mask_of(const Bytes& bytes) noexcept
{
    unsigned mask = 0;
    for (std::size_t i = 0; i < bytes.at.size(); ++i)
        mask |= static_cast<unsigned>(bytes.at[i] >> 7) << i;
    return mask;
}

/// 4 floats.
struct Floats {
    std::array<float, 4> at;
};

/// From an address that is a multiple of 16.
inline Floats load_aligned(const float* numbers) noexcept
{
    Floats result;
    std::memcpy(&result, numbers, sizeof result);
    return result;
}

inline Floats all_floats(float number) noexcept
{
    return {{number, number, number, number}};
}

inline Floats four_floats(float a, float b, float c, float d) noexcept
{
    return {{a, b, c, d}};
}

/// Whether something holds, for each of 4 floats.
struct Flags {
    std::array<bool, 4> at;
};

/// a <= b: false when one of them is NaN.
inline Flags at_most(const Floats& a, const Floats& b) noexcept
{
    return {{a.at[0] <= b.at[0], a.at[1] <= b.at[1], a.at[2] <= b.at[2], a.at[3] <= b.at[3]}};
}

inline Flags both(const Flags& a, const Flags& b) noexcept
{
    return {{a.at[0] && b.at[0], a.at[1] && b.at[1], a.at[2] && b.at[2], a.at[3] && b.at[3]}};
}

/// A bit for each flag, that of the first one lowest.
inline unsigned mask_of(const Flags& flags) noexcept
{
    unsigned mask = 0;
    for (std::size_t i = 0; i < flags.at.size(); ++i)
        mask |= (flags.at[i] ? 1U : 0U) << i;
    return mask;
}

/// Towards zero; what is no 32-bit number, NaN too, counts as -2^31.
inline std::int32_t truncate(float number) noexcept
{
    constexpr float beyond = 2147483648.0F; // 2^31
    if (number >= -beyond && number < beyond)
        return static_cast<std::int32_t>(number);
    return std::numeric_limits<std::int32_t>::min();
}

/// The low byte of each truncated number, that of the first one lowest.
inline std::uint32_t truncated_low_bytes(const Floats& numbers) noexcept
{
    std::uint32_t bytes = 0;
    for (std::size_t i = 0; i < numbers.at.size(); ++i)
        bytes |= (static_cast<std::uint32_t>(truncate(numbers.at[i])) & 0xFF) << 8 * i;
    return bytes;
}

} // namespace kr_internal::vector_portable
