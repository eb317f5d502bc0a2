#pragma once

/// \file
/// Reads numbers from the front of a text as the C library's scanf, strtol and atoi do in the "C"
/// locale, whatever the process's locale is. A zero is a character like any other, and no blank.
///
/// Threads: one at a time. Never throws.

#include <KRCommon/text/Digits.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kr_internal {

class Scanner {
public:
    explicit constexpr Scanner(std::string_view text) noexcept : rest_(text) {}

    /// What has not been taken yet.
    constexpr std::string_view rest() const noexcept { return rest_; }

    /// Takes one character. False, and nothing taken, when another is next or none.
    constexpr bool mark(char expected) noexcept
    {
        if (rest_.empty() || rest_.front() != expected)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// Takes all blanks, if any: isspace() in the "C" locale. Always true.
    constexpr bool blanks() noexcept
    {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\v\f\r"), rest_.size()));
        return true;
    }

    /// Takes a sign, if any. True for a minus.
    constexpr bool minus() noexcept
    {
        const bool is_negative = mark('-');
        if (!is_negative)
            mark('+');
        return is_negative;
    }

    /// Takes "0x" or "0X", if it is next.
    constexpr bool hex_prefix() noexcept
    {
        if (rest_.size() < 2 || rest_[0] != '0' || (rest_[1] != 'x' && rest_[1] != 'X'))
            return false;
        rest_.remove_prefix(2);
        return true;
    }

    /// Takes a digit below the base, 10 or 16; no_digit, and nothing taken, without one.
    constexpr unsigned digit(unsigned base) noexcept
    {
        const unsigned value = rest_.empty() ? no_digit : digit_value(rest_.front());
        if (value >= base)
            return no_digit;
        rest_.remove_prefix(1);
        return value;
    }

    /// "%<width>d" with a width of at most 9. False, and the value as it was, when no number is next.
    constexpr bool decimal(std::size_t width, int& value) noexcept
    {
        blanks();
        Scanner field(rest_.substr(0, width));
        const bool is_negative = field.minus();
        if (field.rest().empty() || !is_decimal_digit(field.rest().front()))
            return false;
        const auto magnitude = static_cast<int>(field.digits(10));
        value = is_negative ? -magnitude : magnitude;
        take(field);
        return true;
    }

    /// "%<width>x" with a width of at most 8, into a number of any size: its low bits are kept.
    template <typename Value>
    constexpr bool hexadecimal(std::size_t width, Value& value) noexcept
    {
        blanks();
        Scanner field(rest_.substr(0, width));
        const bool is_negative = field.minus();
        if (!field.hex_prefix() &&
            (field.rest().empty() || digit_value(field.rest().front()) == no_digit))
            return false;
        const std::uint32_t magnitude = field.digits(16);
        value = static_cast<Value>(is_negative ? 0 - magnitude : magnitude);
        take(field);
        return true;
    }

private:
    constexpr std::uint32_t digits(unsigned base) noexcept
    {
        std::uint32_t number = 0;
        for (unsigned next = digit(base); next != no_digit; next = digit(base))
            number = number * base + next;
        return number;
    }

    // Goes on where a field of the rest stands.
    constexpr void take(const Scanner& field) noexcept
    {
        rest_.remove_prefix(static_cast<std::size_t>(field.rest_.data() - rest_.data()));
    }

    std::string_view rest_;
};

} // namespace kr_internal
