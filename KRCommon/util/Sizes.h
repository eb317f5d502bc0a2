#pragma once

/// \file
/// Sizes of texts that are made of other texts. They are computed in 64 bits, where the lengths of a
/// 32-bit process can be multiplied and rounded up without wrapping, and checked before a container
/// takes them.
///
/// Threads: no state, any thread at any time. What does not fit is a lack of memory: of the
/// standard library's two exceptions only std::bad_alloc leaves the library.

#include <KRCommon/text/Base64_Lines.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>

namespace kr_internal {

/// Hexadecimal digits of so many bytes.
constexpr std::uint64_t hex_size(std::uint64_t bytes) noexcept
{
    return 2 * bytes;
}

/// Characters of so many bytes in Base64, with or without a line feed between lines of 76.
constexpr std::uint64_t base64_size(std::uint64_t bytes, bool line_breaks) noexcept
{
    const std::uint64_t characters = (bytes + 2) / 3 * 4;
    const bool has_breaks = line_breaks && bytes > 0;
    return characters + (has_breaks ? (characters - 1) / base64_line_characters : 0);
}

/// Digits of the cipher text of so many characters: 32 for each 8 that are begun.
constexpr std::uint64_t cipher_text_size(std::uint64_t characters) noexcept
{
    return (characters + 7) / 8 * 32;
}

/// The size as one that the container can have. Throws std::bad_alloc when it cannot, where the
/// container would throw std::length_error.
template <typename Container>
std::size_t size_for(const Container& container, std::uint64_t size)
{
    if (size > container.max_size())
        throw std::bad_alloc();
    return static_cast<std::size_t>(size);
}

/// The size as one that fits into 32 bits. Throws std::bad_alloc when it does not.
inline unsigned size_of_32_bits(std::uint64_t size)
{
    if (size > std::numeric_limits<std::uint32_t>::max())
        throw std::bad_alloc();
    return static_cast<unsigned>(size);
}

/// Does what joins texts of any length: throws std::bad_alloc where std::length_error would leave.
template <typename Join>
auto within_memory(Join join)
{
    try {
        return join();
    } catch (const std::length_error&) {
        throw std::bad_alloc();
    }
}

} // namespace kr_internal
