#pragma once

/// \file
/// The check of a log line's format against its arguments, which kr_log() has the compiler do.
/// Part of Log.h; hosts include that.

#include <cstddef>
#include <string_view>
#include <type_traits>

namespace kr_internal {

template <typename T>
constexpr bool is_log_text = std::is_convertible_v<const T&, std::string_view> ||
                             std::is_convertible_v<const T&, const char*>;

template <typename T>
constexpr bool is_log_number = std::is_arithmetic_v<T> || std::is_enum_v<T>;

/// What an argument is once it has passed through "...".
enum class Log_Kind {
    none, ///< nothing that a line can hold
    text,
    real, ///< float and double
    long_real,
    any_32, ///< under "%d" as under "%u": what is narrower than int, and 32-bit enumerations
    int_32,
    uint_32,
    int_64,
    uint_64
};

template <typename T>
constexpr Log_Kind log_kind_of_integer() noexcept
{
    if (sizeof(T) < sizeof(int))
        return Log_Kind::any_32;
    if (sizeof(T) == sizeof(int))
        return std::is_signed_v<T> ? Log_Kind::int_32 : Log_Kind::uint_32;
    return std::is_signed_v<T> ? Log_Kind::int_64 : Log_Kind::uint_64;
}

template <typename T>
constexpr Log_Kind log_kind() noexcept
{
    if constexpr (is_log_text<T>)
        return Log_Kind::text;
    else if constexpr (std::is_enum_v<T>)
        return sizeof(T) > sizeof(int) ? log_kind_of_integer<std::underlying_type_t<T>>()
                                       : Log_Kind::any_32;
    else if constexpr (std::is_same_v<T, long double>)
        return Log_Kind::long_real;
    else if constexpr (std::is_floating_point_v<T>)
        return Log_Kind::real;
    else if constexpr (std::is_integral_v<T>)
        return log_kind_of_integer<T>();
    else
        return Log_Kind::none;
}

enum class Format_Fault {
    none,
    argument_missing,
    argument_left,
    text_wanted,
    real_wanted,
    int_wanted,
    unsigned_wanted,
    int_64_wanted,
    uint_64_wanted,
    size_wanted,
    long_wanted,
    long_without_capital,
    unknown_directive
};

/// `argument` counts from 1; `padding` is the sum of all widths and precisions.
struct Format_Check {
    Format_Fault fault = Format_Fault::none;
    std::size_t argument = 0;
    std::size_t padding = 0;
};

constexpr bool is_one_of(char c, const char* set) noexcept
{
    for (; *set != '\0'; ++set)
        if (*set == c)
            return true;
    return false;
}

/// Whether a number of this size and sign is this kind.
constexpr bool is_integer(Log_Kind kind, std::size_t size, bool is_signed) noexcept
{
    if (size == sizeof(int))
        return kind == (is_signed ? Log_Kind::int_32 : Log_Kind::uint_32) ||
               kind == Log_Kind::any_32;
    return kind == (is_signed ? Log_Kind::int_64 : Log_Kind::uint_64);
}

/// The fault of an argument of this kind under a directive, none when it fits.
constexpr Format_Fault fault_of(char directive, bool is_long, Log_Kind kind) noexcept
{
    const auto unless = [](bool fits, Format_Fault fault) {
        return fits ? Format_Fault::none : fault;
    };
    if (is_one_of(directive, "sCp"))
        return unless(kind == Log_Kind::text, Format_Fault::text_wanted);
    if (is_one_of(directive, "eEfFgG"))
        return unless(kind == (is_long ? Log_Kind::long_real : Log_Kind::real),
                      Format_Fault::real_wanted);
    if (directive == 'q')
        return unless(kind == Log_Kind::int_64, Format_Fault::int_64_wanted);
    if (directive == 'Q')
        return unless(kind == Log_Kind::uint_64, Format_Fault::uint_64_wanted);
    if (is_one_of(directive, "bB"))
        return unless(is_integer(kind, sizeof(std::size_t), directive == 'b'),
                      Format_Fault::size_wanted);
    if (is_long)
        return unless(is_integer(kind, sizeof(long), is_one_of(directive, "di")),
                      Format_Fault::long_wanted);
    if (is_one_of(directive, "dic"))
        return unless(is_integer(kind, sizeof(int), true), Format_Fault::int_wanted);
    const bool are_bits = is_one_of(directive, "xXo"); // of either sign
    return unless(is_integer(kind, sizeof(int), false) || (are_bits && kind == Log_Kind::int_32),
                  Format_Fault::unsigned_wanted);
}

/// Compares a format in ACE's directives with the kinds of its arguments and tells the first fault.
/// What ACE knows beyond these directives has no place in a line: it reads pointers, ends the
/// process or calls functions.
constexpr Format_Check check_format(const char* format, const Log_Kind* kinds,
                                    std::size_t count) noexcept
{
    Format_Check check;
    std::size_t used = 0;
    for (const char* c = format; *c != '\0'; ++c) {
        if (*c != '%')
            continue;
        ++c;
        bool is_long = false;
        bool is_plain = true; // without the flag that makes %T and %D read a pointer
        for (std::size_t number = 0; is_one_of(*c, "-+ #.0123456789L"); ++c) {
            const bool is_digit = is_one_of(*c, "0123456789");
            const std::size_t next = is_digit ? number * 10 + std::size_t(*c - '0') : 0;
            check.padding += next - (is_digit ? number : 0);
            number = next;
            is_long = is_long || *c == 'L';
            is_plain = is_plain && *c != '#';
        }
        if (is_one_of(*c, "TD") ? is_plain : is_one_of(*c, "%NlMmnPRt")) {
            if (*c == 'l' && is_one_of(c[1], "diuxXolfeg"))
                check.fault = Format_Fault::long_without_capital;
        } else if (!is_one_of(*c, "sCpeEfFgGqQbBdicuxXo") || *c == '\0') {
            check.fault = Format_Fault::unknown_directive;
        } else if (used == count) {
            check.fault = Format_Fault::argument_missing;
        } else {
            check.fault = fault_of(*c, is_long, kinds[used]);
            check.argument = ++used;
        }
        if (check.fault != Format_Fault::none)
            return check;
    }
    if (used != count) {
        check.fault = Format_Fault::argument_left;
        check.argument = used + 1;
    }
    return check;
}

/// check_format() of a format and its arguments' types.
template <typename... Arguments>
constexpr Format_Check check_format_for(const char* format) noexcept
{
    constexpr Log_Kind kinds[] = {log_kind<Arguments>()..., Log_Kind::none};
    return check_format(format, kinds, sizeof...(Arguments));
}

/// Does not compile when there is a fault; the compiler's message names the argument.
template <Format_Fault fault, std::size_t argument>
constexpr void require_good_format() noexcept
{
    static_assert(fault != Format_Fault::argument_missing,
                  "kr_log: the format has a directive without an argument");
    static_assert(fault != Format_Fault::argument_left,
                  "kr_log: an argument has no directive in the format");
    static_assert(fault != Format_Fault::text_wanted, "kr_log: %s, %C and %p take a text");
    static_assert(fault != Format_Fault::real_wanted,
                  "kr_log: %f, %e and %g take a float or double, %Lf a long double");
    static_assert(fault != Format_Fault::int_wanted,
                  "kr_log: %d, %i and %c take an int or less; %u is for unsigned, %q for 64 bits");
    static_assert(fault != Format_Fault::unsigned_wanted,
                  "kr_log: %u, %x, %X and %o take 32 bits, %u unsigned; %Q is for 64 bits");
    static_assert(fault != Format_Fault::int_64_wanted,
                  "kr_log: %q takes a signed 64-bit integer: cast the argument to std::int64_t");
    static_assert(fault != Format_Fault::uint_64_wanted,
                  "kr_log: %Q takes an unsigned 64-bit integer: cast the argument to "
                  "std::uint64_t; a size_t has 32 bits on one of the targets");
    static_assert(fault != Format_Fault::size_wanted,
                  "kr_log: %B takes a size_t, %b its signed counterpart");
    static_assert(fault != Format_Fault::long_wanted,
                  "kr_log: %Ld and %Li take a long, %Lu, %Lx and %Lo an unsigned long");
    static_assert(fault != Format_Fault::long_without_capital,
                  "kr_log: %l is the line number; a long is %Ld or %Lu, 64 bits are %q or %Q");
    static_assert(fault != Format_Fault::unknown_directive,
                  "kr_log: a directive that lines do not support, or a '%' that should be '%%'");
}

} // namespace kr_internal
