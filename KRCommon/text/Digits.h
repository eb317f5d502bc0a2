#pragma once

/// \file
/// Digits as the library reads and writes them: ASCII, whatever the locale. A header alone, on top
/// of nothing.
///
/// Threads: no state. Never throws.

#include <array>
#include <cstddef>
#include <cstdint>

namespace kr_internal {

constexpr bool is_decimal_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

/// The digits from 0 to 15.
inline constexpr char lower_hex_digits[] = "0123456789abcdef";
inline constexpr char upper_hex_digits[] = "0123456789ABCDEF";

/// Stands for no digit: one bit above all of them.
constexpr unsigned no_digit = 16;

/// The value of each character as a hexadecimal digit.
inline constexpr auto hex_digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    for (auto& value : values)
        value = no_digit;
    for (std::uint8_t digit = 0; digit < 16; ++digit) {
        values[static_cast<unsigned char>(lower_hex_digits[digit])] = digit;
        values[static_cast<unsigned char>(upper_hex_digits[digit])] = digit;
    }
    return values;
}();

/// What a hexadecimal digit of either case stands for, 0 to 15; no_digit for any other character.
constexpr unsigned digit_value(char c) noexcept
{
    return hex_digit_values[static_cast<unsigned char>(c)];
}

/// The two digits of each byte, one pair after the other: "00", "01", ... "ff".
constexpr std::array<char, 512> hex_pairs(const char* digits) noexcept
{
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        pairs[2 * byte] = digits[byte >> 4];
        pairs[2 * byte + 1] = digits[byte & 0xF];
    }
    return pairs;
}

} // namespace kr_internal
