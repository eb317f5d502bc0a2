#pragma once

/// \file
/// The loops that take the time, in the fastest form that the processor can run.
///
/// Kernels is a table of functions, of which there is a constant one for each set of instructions.
/// kernels() gives the table of this process, chosen at first use. What each function does is said
/// here once, for all of its forms: they give the same results. A form lies in a file named after its
/// subject and its instructions, Base64_Avx2.cpp; Forms.h declares them all, and Kernels.cpp says
/// which table has which.
///
/// No form reads or writes a byte outside of what is said here, whatever the alignment, and none
/// keeps anything between calls. Input and output do not overlap unless it is said.
/// Threads: any thread at any time, without a lock. Nothing here throws, logs or takes memory.

#include <KRCommon/kernels/Instruction_Set.h>
#include <KRCommon/text/Base64_Lines.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kr_internal {

/// Words of the 15 round keys of AES with a key of 256 bits.
inline constexpr std::size_t aes_key_words = 60;

struct Kernels {
    Instruction_Set instructions;
    std::array<char, 24> name; ///< of the instructions, as kr_instructions() says it

    /// Two upper-case hexadecimal digits for each byte, the high four bits first.
    /// size     bytes of data
    /// out      2 * size characters
    void (*encode_hex)(const unsigned char* data, std::size_t size, char* out) noexcept;

    /// Bytes from two digits of either case each, up to the first pair with another character.
    /// size     bytes that 2 * size characters of text give
    /// out      of the bytes after those that are returned none is touched
    /// returns  bytes decoded
    std::size_t (*decode_hex)(const char* text, std::size_t size, unsigned char* out) noexcept;

    /// Base64, RFC 4648 section 4: encodes whole groups, three bytes to four characters.
    /// size     bytes of data; what is left of it after the last whole group is not read
    /// out      4 * (size / 3) characters
    void (*encode_base64)(const unsigned char* data, std::size_t size, char* out) noexcept;

    /// Decodes whole groups of four characters of the alphabet, up to the first other group.
    /// size     characters of text
    /// out      3 bytes for each group that is decoded, and no byte after them is touched
    /// returns  characters decoded, a multiple of 4: fewer than size / 4 * 4 only when the group
    ///          after them has a character outside of the alphabet
    std::size_t (*decode_base64)(const char* text, std::size_t size, unsigned char* out) noexcept;

    /// The same for lines of 76 characters, 57 bytes, and a line feed each.
    /// data     57 bytes for each line
    /// out      77 characters for each line
    void (*encode_base64_lines)(const unsigned char* data, std::size_t lines, char* out) noexcept;

    /// Decodes such lines up to the first piece of the text that is none.
    /// out      57 bytes for each line that is decoded. After them no byte is touched but those that
    ///          decode_base64 would write next.
    /// returns  how many lines were decoded
    std::size_t (*decode_base64_lines)(const char* text, std::size_t size,
                                       unsigned char* out) noexcept;

    /// SHA-1, FIPS 180-1 section 7: takes whole blocks into the state.
    /// h        the five words of the state, changed
    /// data     64 * blocks bytes
    void (*compress_sha1)(std::uint32_t* h, const unsigned char* data, std::size_t blocks) noexcept;

    /// SHA-256, FIPS 180-4 section 6.2.2: takes whole blocks into the state.
    /// h        the eight words of the state, changed
    /// data     64 * blocks bytes
    void (*compress_sha256)(std::uint32_t* h, const unsigned char* data,
                            std::size_t blocks) noexcept;

    /// AES with a key of 256 bits, FIPS 197 section 5.2: the round keys.
    /// key      32 bytes
    /// keys     aes_key_words words, with the lowest byte of each the first in the standard's order
    void (*expand_aes_key)(const unsigned char* key, std::uint32_t* keys) noexcept;

    /// FIPS 197 section 5.3.5: the round keys for decryption, the last first.
    /// keys     of expand_aes_key
    /// inverse  as many words
    void (*invert_aes_keys)(const std::uint32_t* keys, std::uint32_t* inverse) noexcept;

    /// Cipher-block chaining, SP 800-38A section 6.2.
    /// keys     of expand_aes_key to encrypt, of invert_aes_keys to decrypt
    /// chain    16 bytes: the cipher block before, which becomes the last one
    /// in, out  16 * blocks bytes each, which may be the same memory
    void (*encrypt_aes)(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                        unsigned char* out, std::size_t blocks) noexcept;
    void (*decrypt_aes)(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                        unsigned char* out, std::size_t blocks) noexcept;

    /// Colours from RGB to HSV as KR_Colors::rgb_to_hsv() does.
    /// colors   red in bits 0-7, green in 8-15, blue in 16-23; the other bits do not matter
    /// hues, saturations, values   as many as colors
    void (*rgb_to_hsv)(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                       float* saturations, float* values) noexcept;

    /// Back, as KR_Colors::hsv_to_rgb() does; the top 8 bits of each of the colors are 0.
    void (*hsv_to_rgb)(const std::int32_t* hues, const float* saturations, const float* values,
                       std::size_t count, std::uint32_t* colors) noexcept;
};

/// The table that is in use; null before the first use.
extern std::atomic<const Kernels*> kernels_in_use;

/// Chooses the table by the processor and the environment, and remembers it. Threads that come at
/// once choose the same.
const Kernels& choose_kernels() noexcept;

[[nodiscard]] inline const Kernels& kernels() noexcept
{
    // The tables are constants: whoever sees the pointer sees the table.
    const Kernels* const table = kernels_in_use.load(std::memory_order_relaxed);
    return table != nullptr ? *table : choose_kernels();
}

/// The table of a set of instructions, whether the processor has them or not.
[[nodiscard]] const Kernels& kernels_for(Instruction_Set set) noexcept;

} // namespace kr_internal
