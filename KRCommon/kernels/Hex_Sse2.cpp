#include <KRCommon/kernels/Forms.h>

#include <emmintrin.h>

namespace kr_internal {

namespace {

constexpr std::size_t block = 16;

// Digits of 16 numbers from 0 to 15.
[[gnu::target("sse2")]] inline __m128i digits_of(__m128i numbers) noexcept
{
    const __m128i are_letters = _mm_cmpgt_epi8(numbers, _mm_set1_epi8(9));
    const __m128i letter_gap = _mm_and_si128(are_letters, _mm_set1_epi8('A' - '0' - 10));
    return _mm_add_epi8(_mm_add_epi8(numbers, _mm_set1_epi8('0')), letter_gap);
}

// 16 bytes to 32 digits.
[[gnu::target("sse2")]] inline void encode_block(const unsigned char* data, char* out) noexcept
{
    const __m128i low_bits = _mm_set1_epi8(0x0F);
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    const __m128i high = digits_of(_mm_and_si128(_mm_srli_epi16(bytes, 4), low_bits));
    const __m128i low = digits_of(_mm_and_si128(bytes, low_bits));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(high, low));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + block), _mm_unpackhi_epi8(high, low));
}

} // namespace

[[gnu::target("sse2")]] void encode_hex_sse2(const unsigned char* data, std::size_t size,
                                             char* out) noexcept
{
    for (; size >= block; size -= block, data += block, out += 2 * block)
        encode_block(data, out);
    encode_hex_portable(data, size, out);
}

} // namespace kr_internal
