#pragma once

/// \file
/// Digits as the library reads and writes them: ASCII, whatever the locale. Headers only, nothing of
/// the library below.
///
/// Threads: no state. Never throws.

namespace kr_internal {

constexpr bool is_decimal_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

/// No digit: above every base.
constexpr unsigned no_digit = 16;

/// What a hexadecimal digit of either case stands for, 0 to 15; no_digit for any other character.
constexpr unsigned digit_value(char c) noexcept
{
    if (is_decimal_digit(c))
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return no_digit;
}

/// The digits from 0 to 15.
inline constexpr char lower_hex_digits[] = "0123456789abcdef";
inline constexpr char upper_hex_digits[] = "0123456789ABCDEF";

} // namespace kr_internal
