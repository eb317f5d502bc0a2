#pragma once

/// \file
/// What hashes with blocks of 64 bytes have in common, SHA-1 and SHA-256: their blocks, which bytes a
/// wide text stands for, and the usual text of a digest.
///
/// Threads: no state of its own. Throws std::bad_alloc, where a text is made.

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/util/Little_Endian.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

namespace kr_internal {

inline constexpr std::size_t hash_block_size = 64;

/// Takes bytes: hands whole blocks to process(data, count) and keeps what is left in `block`, with
/// zeros behind it. `index` is where `block` is filled next, below 64 before and after.
template <typename Process>
void feed_blocks(unsigned char (&block)[hash_block_size], std::int32_t& index,
                 const unsigned char* data, std::size_t length, Process process) noexcept
{
    if (index > 0) {
        const auto begun = static_cast<std::size_t>(index);
        const std::size_t head = std::min(length, hash_block_size - begun);
        std::memcpy(block + begun, data, head);
        index += static_cast<std::int32_t>(head);
        data += head;
        length -= head;
        if (begun + head < hash_block_size)
            return;
        process(block, 1);
    }
    process(data, length / hash_block_size);
    const std::size_t tail = length % hash_block_size;
    std::memset(block, 0, sizeof block);
    std::memcpy(block, data + (length - tail), tail);
    index = static_cast<std::int32_t>(tail);
}

/// Words of a digest as upper-case hexadecimal digits, the highest byte of each first.
template <std::size_t count>
std::string hex_of_words(const unsigned (&words)[count])
{
    unsigned char bytes[4 * count];
    for (std::size_t i = 0; i < count; ++i)
        put_u32(bytes, 4 * i, __builtin_bswap32(words[i]));
    std::string text(2 * sizeof bytes, '\0');
    kernels().encode_hex(bytes, sizeof bytes, text.data());
    return text;
}

/// UTF-16, also where a wide character has 32 bits.
struct Utf16_Units {
    unsigned count;
    std::uint32_t units[2];
};

inline Utf16_Units utf16_of(wchar_t character) noexcept
{
    const std::uint32_t code = static_cast<char32_t>(character);
    if (code <= 0xFFFF || code > 0x10FFFF)
        return {1, {code & 0xFFFF, 0}};
    return {2, {0xD800 + ((code - 0x10000) >> 10), 0xDC00 + (code & 0x3FF)}};
}

/// Appends the two or four bytes of a character.
inline unsigned char* put_wide(unsigned char* out, wchar_t character) noexcept
{
    const Utf16_Units units = utf16_of(character);
    for (unsigned i = 0; i < units.count; ++i) {
        *out++ = static_cast<unsigned char>(units.units[i]);
        *out++ = static_cast<unsigned char>(units.units[i] >> 8);
    }
    return out;
}

/// Hands the bytes of a wide text to feed(data, length), in pieces.
template <typename Feed>
void feed_wide(const wchar_t* text, Feed feed) noexcept
{
    unsigned char piece[512];
    while (*text != 0) {
        unsigned char* end = piece;
        for (; *text != 0 && end <= std::end(piece) - 4; ++text)
            end = put_wide(end, *text);
        feed(piece, static_cast<std::size_t>(end - piece));
    }
}

} // namespace kr_internal
