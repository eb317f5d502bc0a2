// Base64_Ssse3.cpp with twice as many characters at a time; the comments are there.

#include <KRCommon/kernels/Forms.h>

#include <algorithm>
#include <immintrin.h>

namespace kr_internal {

namespace {

constexpr std::size_t block_bytes = 24;
constexpr std::size_t block_characters = 32;

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load(const void* bytes)
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(bytes));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void store(void* out, __m256i bytes)
{
    _mm256_storeu_si256(static_cast<__m256i*>(out), bytes);
}

// The same 16 bytes in both halves.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i twice(__m128i bytes)
{
    return _mm256_broadcastsi128_si256(bytes);
}

// 24 bytes: the first 12 are the first of the lower half, the others the last of the upper one.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load_24(const unsigned char* bytes)
{
    const auto* const lower = reinterpret_cast<const __m128i*>(bytes);
    const auto* const upper = reinterpret_cast<const __m128i*>(bytes + 8);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(lower)),
                                   _mm_loadu_si128(upper), 1);
}

[[gnu::target("avx2"), gnu::always_inline]] inline void store_24(unsigned char* out, __m256i bytes)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i split(__m256i bytes)
{
    const __m256i groups = _mm256_shuffle_epi8(
        bytes, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 5, 4, 6, 5, 8, 7,
                                9, 8, 11, 10, 12, 11, 14, 13, 15, 14));
    const __m256i odd = _mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00));
    const __m256i even = _mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0));
    return _mm256_or_si256(_mm256_mulhi_epu16(odd, _mm256_set1_epi32(0x04000040)),
                           _mm256_mullo_epi16(even, _mm256_set1_epi32(0x01000010)));
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i characters_of(__m256i numbers)
{
    const __m256i after_letters = _mm256_subs_epu8(numbers, _mm256_set1_epi8(51));
    const __m256i are_no_capitals = _mm256_cmpgt_epi8(numbers, _mm256_set1_epi8(25));
    const __m256i range = _mm256_sub_epi8(after_letters, are_no_capitals);
    constexpr char digit = '0' - 52;
    const __m256i offsets =
        twice(_mm_setr_epi8('A', 'a' - 26, digit, digit, digit, digit, digit, digit, digit, digit,
                            digit, digit, '+' - 62, '/' - 63, 0, 0));
    return _mm256_add_epi8(numbers, _mm256_shuffle_epi8(offsets, range));
}

} // namespace

[[gnu::target("avx2")]] void encode_base64_avx2(const unsigned char* data, std::size_t size,
                                                char* out) noexcept
{
    const unsigned char* const end = data + (size - size % 3);
    char* const out_end = out + size / 3 * 4;
    if (size < block_bytes)
        return encode_base64_ssse3(data, size, out);
    for (; end - data >= 24; data += block_bytes, out += block_characters)
        store(out, characters_of(split(load_24(data))));
    if (data < end)
        store(out_end - block_characters, characters_of(split(load_24(end - block_bytes))));
}

[[gnu::target("avx2")]] void encode_base64_lines_avx2(const unsigned char* data, std::size_t lines,
                                                      char* out) noexcept
{
    if (lines == 0)
        return;
    for (; lines > 1; --lines, data += base64_line_bytes, out += base64_line_characters + 1) {
        store(out, characters_of(split(load_24(data))));
        store(out + 32, characters_of(split(load_24(data + 24))));
        store(out + 64, characters_of(split(load_24(data + 48))));
        out[base64_line_characters] = '\n';
    }
    encode_base64_avx2(data, base64_line_bytes, out);
    out[base64_line_characters] = '\n';
}

namespace {

struct Values {
    __m256i numbers;
    __m256i errors;
};

[[gnu::target("avx2"), gnu::always_inline]] inline Values values_of(__m256i characters)
{
    const __m256i by_low = twice(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                               0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
    const __m256i by_high = twice(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                                0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
    const __m256i offsets = twice(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A',
                                                26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i mask = _mm256_set1_epi8(0x2F);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), mask);
    const __m256i low = _mm256_and_si256(characters, mask);
    const __m256i are_slashes = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
    const __m256i offset = _mm256_shuffle_epi8(offsets, _mm256_add_epi8(are_slashes, high));
    return {_mm256_add_epi8(characters, offset),
            _mm256_and_si256(_mm256_shuffle_epi8(by_low, low), _mm256_shuffle_epi8(by_high, high))};
}

// 24 bytes, and others behind them.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i join(__m256i numbers)
{
    const __m256i pairs = _mm256_maddubs_epi16(numbers, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i halves = _mm256_shuffle_epi8(
        groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    return _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

[[gnu::target("avx2"), gnu::always_inline]] inline bool is_any(__m256i errors)
{
    return _mm256_testz_si256(errors, errors) == 0;
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::size_t whole_groups(__m256i errors)
{
    if (!is_any(errors))
        return block_characters;
    const __m256i are_errors = _mm256_cmpgt_epi8(errors, _mm256_setzero_si256());
    const auto places = static_cast<unsigned>(_mm256_movemask_epi8(are_errors));
    return static_cast<unsigned>(__builtin_ctz(places)) & ~3U;
}

// Two blocks. False, and nothing written, when there is an error.
[[gnu::target("avx2"), gnu::always_inline]] inline bool decode_two(const char* text,
                                                                   unsigned char* out)
{
    const Values first = values_of(load(text));
    const Values second = values_of(load(text + block_characters));
    if (is_any(_mm256_or_si256(first.errors, second.errors)))
        return false;
    store(out, join(first.numbers));
    store_24(out + block_bytes, join(second.numbers));
    return true;
}

} // namespace

[[gnu::target("avx2")]] std::size_t decode_base64_avx2(const char* text, std::size_t size,
                                                       unsigned char* out) noexcept
{
    const std::size_t characters = size - size % 4;
    if (characters < block_characters)
        return decode_base64_ssse3(text, size, out);
    const char* at = text;
    const char* const last = text + characters - block_characters;
    for (; last - at >= 32 && decode_two(at, out); at += 2 * block_characters)
        out += 2 * block_bytes;
    for (; at <= last; at += block_characters, out += block_bytes) {
        const Values values = values_of(load(at));
        if (is_any(values.errors))
            break;
        store_24(out, join(values.numbers));
    }
    const char* end = std::min(at, last);
    end += whole_groups(values_of(load(end)).errors);
    const auto done = static_cast<std::size_t>(at - text);
    const auto more = static_cast<std::size_t>(end - at);
    if (more == 0)
        return done;
    if (done == 0)
        return decode_base64_ssse3(text, more, out);
    const Values values = values_of(load(end - block_characters));
    store_24(out + more / 4 * 3 - block_bytes, join(values.numbers));
    return done + more;
}

[[gnu::target("avx2")]] std::size_t decode_base64_lines_avx2(const char* text, std::size_t size,
                                                             unsigned char* out) noexcept
{
    std::size_t lines = 0;
    for (; size > base64_line_characters && text[base64_line_characters] == '\n'; ++lines) {
        const Values last = values_of(load(text + 44));
        if (is_any(last.errors) || !decode_two(text, out))
            break;
        store_24(out + 33, join(last.numbers));
        text += base64_line_characters + 1;
        size -= base64_line_characters + 1;
        out += base64_line_bytes;
    }
    return lines;
}

} // namespace kr_internal
