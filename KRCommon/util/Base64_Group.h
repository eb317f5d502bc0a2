#pragma once

/// \file
/// The groups of Base64, three bytes or fewer and four characters: what goes beside the fast loops for
/// whole groups. The rules for reading are those of Base64.h.
///
/// Threads: no state. Never throws.

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace kr_internal {

/// RFC 4648, table 1.
inline constexpr char base64_alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The values by character code; 0 for what is not in the alphabet.
inline constexpr std::array<signed char, 128> base64_values = [] {
    std::array<signed char, 128> values{};
    for (int value = 0; value < 64; ++value)
        values[static_cast<unsigned char>(base64_alphabet[value])] =
            static_cast<signed char>(value);
    return values;
}();

/// The one or two bytes after the last whole group, as four characters.
inline void encode_base64_rest(const unsigned char* data, std::size_t length, char* out) noexcept
{
    const unsigned second = length > 1 ? data[1] : 0U;
    out[0] = base64_alphabet[data[0] >> 2];
    out[1] = base64_alphabet[(data[0] & 3U) << 4 | second >> 4];
    out[2] = length > 1 ? base64_alphabet[(second & 15U) << 2] : '=';
    out[3] = '=';
}

/// Where the line breaks from `at` on end.
inline std::size_t skip_line_breaks(std::string_view text, std::size_t at) noexcept
{
    while (at < text.size() && (text[at] == '\r' || text[at] == '\n'))
        ++at;
    return at;
}

/// A character of the group that begins at `at`; what is missing at the end counts as padding.
inline char base64_place(std::string_view text, std::size_t at, std::size_t place) noexcept
{
    return place < text.size() - at ? text[at + place] : '=';
}

inline unsigned base64_value(char character) noexcept
{
    const auto code = static_cast<unsigned char>(character);
    return code < base64_values.size() ? static_cast<unsigned>(base64_values[code]) : 0;
}

/// How many bytes the group at `at` has.
inline std::size_t base64_group_size(std::string_view text, std::size_t at) noexcept
{
    return std::size_t{1} + (base64_place(text, at, 2) != '=' ? 1 : 0) +
           (base64_place(text, at, 3) != '=' ? 1 : 0);
}

/// How many bytes the text has by the rules.
inline std::size_t count_base64_bytes(std::string_view text) noexcept
{
    std::size_t count = 0;
    for (std::size_t at = 0;; at += std::min<std::size_t>(4, text.size() - at)) {
        at = skip_line_breaks(text, at);
        if (at == text.size())
            return count;
        count += base64_group_size(text, at);
    }
}

/// Any group, by the rules. Returns how many bytes it has, and writes no more.
inline std::size_t decode_base64_group(std::string_view text, std::size_t at,
                                       unsigned char* out) noexcept
{
    const char third = base64_place(text, at, 2);
    const char fourth = base64_place(text, at, 3);
    const unsigned bits = base64_value(base64_place(text, at, 0)) << 18 |
                          base64_value(base64_place(text, at, 1)) << 12 | base64_value(third) << 6 |
                          base64_value(fourth);
    std::size_t count = 0;
    out[count++] = static_cast<unsigned char>(bits >> 16);
    if (third != '=')
        out[count++] = static_cast<unsigned char>(bits >> 8);
    if (fourth != '=')
        out[count++] = static_cast<unsigned char>(bits);
    return count;
}

} // namespace kr_internal
