#include <KRCommon/kernels/Forms.h>

#include <immintrin.h>

namespace kr_internal {

namespace {

// 16 bytes to 32 digits.
[[gnu::target("avx2"), gnu::always_inline]] inline void encode_16(const unsigned char* data,
                                                                  char* out)
{
    const __m256i digits = _mm256_broadcastsi128_si256(_mm_setr_epi8(
        '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'));
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    const __m256i words = _mm256_cvtepu8_epi16(bytes);
    const __m256i both = _mm256_or_si256(_mm256_srli_epi16(words, 4), _mm256_slli_epi16(words, 8));
    const __m256i numbers = _mm256_and_si256(both, _mm256_set1_epi8(0x0F));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_shuffle_epi8(digits, numbers));
}

} // namespace

[[gnu::target("avx2")]] void encode_hex_avx2(const unsigned char* data, std::size_t size,
                                             char* out) noexcept
{
    if (size < 16)
        return encode_hex_ssse3(data, size, out);
    const unsigned char* const last = data + size - 16;
    char* const last_out = out + 2 * size - 32;
    for (; data < last; data += 16, out += 32)
        encode_16(data, out);
    encode_16(last, last_out); // part of it may be done already
}

} // namespace kr_internal
