#pragma once

/// \file
/// The forms of characters in UTF-8 (RFC 3629 section 3) and UTF-16 (RFC 2781 section 2), a step at
/// a time; what becomes of wrong forms is each caller's affair. A header alone, on top of nothing.
///
/// Threads: no state. Never throws.

namespace kr_internal {

constexpr char32_t last_character = 0x10'FFFF;

/// Half of a pair in UTF-16: the first, the second, either.
constexpr bool is_high_surrogate(char32_t unit) noexcept
{
    return unit >> 10 == 0xD800 >> 10;
}

constexpr bool is_low_surrogate(char32_t unit) noexcept
{
    return unit >> 10 == 0xDC00 >> 10;
}

constexpr bool is_surrogate(char32_t unit) noexcept
{
    return unit >> 11 == 0xD800 >> 11;
}

/// The character of a pair: U+10000 to U+10FFFF.
constexpr char32_t character_of(char32_t high, char32_t low) noexcept
{
    return 0x1'0000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

/// A byte of UTF-8 that is not a character's first.
constexpr bool is_continuation(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// How many bytes follow a character's first one in UTF-8, 0 to 3; -1 for a byte that is no first one.
constexpr int continuation_count(unsigned char first) noexcept
{
    if (first < 0x80)
        return 0;
    if (first < 0xC2 || first > 0xF4)
        return -1;
    return first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
}

/// Whether the second byte, a continuation, may follow the first of two bytes or more: after others
/// the form would be too long, a surrogate, or above U+10FFFF.
constexpr bool may_follow(unsigned char first, unsigned char second) noexcept
{
    switch (first) {
    case 0xE0: return second >= 0xA0;
    case 0xED: return second < 0xA0;
    case 0xF0: return second >= 0x90;
    case 0xF4: return second < 0x90;
    default: return true;
    }
}

/// Reads the character at `position` and steps over it. Valid UTF-8 only: nothing is checked.
inline char32_t decode_utf8(const char*& position) noexcept
{
    const auto next = [&position] { return static_cast<unsigned char>(*position++); };
    const auto more = [&next](char32_t bits) { return bits << 6 | (next() & 0x3Fu); };
    const char32_t first = next();
    if (first < 0x80)
        return first;
    if (first < 0xE0)
        return more(first & 0x1F);
    if (first < 0xF0)
        return more(more(first & 0x0F));
    return more(more(more(first & 0x07)));
}

/// Writes a character, at most U+10FFFF, as 1 to 4 bytes and returns where they end. A surrogate
/// becomes three bytes like any other number.
inline char* encode_utf8(char32_t character, char* out) noexcept
{
    const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
    const auto put_rest = [&put](char32_t bits) { put(0x80 | (bits & 0x3F)); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put_rest(character);
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put_rest(character >> 6);
        put_rest(character);
    } else {
        put(0xF0 | character >> 18);
        put_rest(character >> 12);
        put_rest(character >> 6);
        put_rest(character);
    }
    return out;
}

} // namespace kr_internal
