// 64 characters at a time, with AVX-512 VBMI, which looks up bytes in tables of 64 and 128: W. Mula and
// D. Lemire, "Base64 encoding and decoding at almost the speed of a memory copy" (2020). Both ends of a
// text are taken as in Base64_Ssse3.cpp: masks of 64 bits would be slow to make in 32-bit code.

#include <KRCommon/kernels/Forms.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <immintrin.h>

#define KR_TARGET gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi")

namespace kr_internal {

namespace {

constexpr std::size_t block_bytes = 48;
constexpr std::size_t block_characters = 64;

struct alignas(64) Table {
    std::array<std::uint8_t, 64> at{};
};

[[KR_TARGET, gnu::always_inline]] inline __m512i load(const void* table)
{
    return _mm512_loadu_si512(table);
}

[[KR_TARGET, gnu::always_inline]] inline __m512i load_48(const unsigned char* bytes)
{
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 32));
    return _mm512_inserti32x4(_mm512_castsi256_si512(low), high, 2);
}

[[KR_TARGET, gnu::always_inline]] inline void store_48(unsigned char* out, __m512i bytes)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm512_castsi512_si256(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 32), _mm512_extracti32x4_epi32(bytes, 2));
}

constexpr Table alphabet = [] {
    constexpr char characters[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Table table;
    for (std::size_t i = 0; i < 64; ++i)
        table.at[i] = static_cast<std::uint8_t>(characters[i]);
    return table;
}();

// Each group with its bytes 1 0 2 1, as in Base64_Ssse3.cpp.
constexpr Table spread = [] {
    Table table;
    for (std::size_t group = 0; group < 16; ++group)
        for (std::size_t i = 0; i < 4; ++i)
            table.at[4 * group + i] = static_cast<std::uint8_t>(3 * group + (i == 0 || i == 3 ? 1
                                                                             : i == 1         ? 0
                                                                                              : 2));
    return table;
}();

[[KR_TARGET, gnu::always_inline]] inline __m512i encode_block(__m512i bytes)
{
    const __m512i groups = _mm512_permutexvar_epi8(load(&spread), bytes);
    // The bits from which each number comes, of the two groups in 64; the upper two are not looked at.
    const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
    const __m512i numbers = _mm512_multishift_epi64_epi8(shifts, groups);
    return _mm512_permutexvar_epi8(numbers, load(&alphabet));
}

} // namespace

[[KR_TARGET]] void encode_base64_avx512(const unsigned char* data, std::size_t size,
                                        char* out) noexcept
{
    const unsigned char* const end = data + (size - size % 3);
    char* const out_end = out + size / 3 * 4;
    if (size < block_bytes)
        return encode_base64_avx2(data, size, out);
    for (; end - data >= 64; data += block_bytes, out += block_characters)
        _mm512_storeu_si512(out, encode_block(load(data)));
    if (end - data >= 48) {
        _mm512_storeu_si512(out, encode_block(load_48(data)));
        data += block_bytes;
    }
    if (data < end)
        _mm512_storeu_si512(out_end - block_characters, encode_block(load_48(end - block_bytes)));
}

[[KR_TARGET]] void encode_base64_lines_avx512(const unsigned char* data, std::size_t lines,
                                              char* out) noexcept
{
    if (lines == 0)
        return;
    // What a line's last block has too much, before and behind, belongs to the next line.
    for (; lines > 1; --lines, data += base64_line_bytes, out += base64_line_characters + 1) {
        _mm512_storeu_si512(out, encode_block(load(data)));
        _mm512_storeu_si512(out + 64, encode_block(load(data + 48)));
        out[base64_line_characters] = '\n';
    }
    encode_base64_avx512(data, base64_line_bytes, out);
    out[base64_line_characters] = '\n';
}

namespace {

constexpr std::uint8_t not_in_alphabet = 0x80;

// The numbers of the characters from 0 to 63, or from 64 to 127.
constexpr Table values_from(std::size_t first)
{
    Table table;
    for (std::uint8_t& value : table.at)
        value = not_in_alphabet;
    for (std::uint8_t number = 0; number < 64; ++number)
        if (alphabet.at[number] / 64 == first / 64)
            table.at[alphabet.at[number] % 64] = number;
    return table;
}

constexpr Table lower_values = values_from(0);
constexpr Table upper_values = values_from(64);

// Of each group's four bytes the lowest three, last one first.
constexpr Table gather = [] {
    Table table;
    for (std::size_t i = 0; i < block_bytes; ++i)
        table.at[i] = static_cast<std::uint8_t>(i / 3 * 4 + 2 - i % 3);
    return table;
}();

[[KR_TARGET, gnu::always_inline]] inline __m512i values_of(__m512i characters)
{
    return _mm512_permutex2var_epi8(load(&lower_values), characters, load(&upper_values));
}

// A bit for each character that is not of the alphabet; the tables know those up to 127.
[[KR_TARGET, gnu::always_inline]] inline std::uint64_t errors_of(__m512i characters,
                                                                 __m512i numbers)
{
    return _mm512_movepi8_mask(_mm512_or_si512(characters, numbers));
}

[[KR_TARGET, gnu::always_inline]] inline __m512i join(__m512i numbers)
{
    const __m512i pairs = _mm512_maddubs_epi16(numbers, _mm512_set1_epi32(0x01400140));
    const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
    return _mm512_permutexvar_epi8(load(&gather), groups);
}

[[KR_TARGET, gnu::always_inline]] inline std::size_t whole_groups(std::uint64_t errors)
{
    if (errors == 0)
        return block_characters;
    return static_cast<unsigned>(__builtin_ctzll(errors)) & ~3U;
}

} // namespace

[[KR_TARGET]] std::size_t decode_base64_avx512(const char* text, std::size_t size,
                                               unsigned char* out) noexcept
{
    const std::size_t characters = size - size % 4;
    if (characters < block_characters)
        return decode_base64_avx2(text, size, out);
    const char* at = text;
    const char* const last = text + characters - block_characters;
    for (; at <= last; at += block_characters, out += block_bytes) {
        const __m512i block = load(at);
        const __m512i numbers = values_of(block);
        if (errors_of(block, numbers) != 0)
            break;
        store_48(out, join(numbers));
    }
    const char* end = std::min(at, last);
    const __m512i block = load(end);
    end += whole_groups(errors_of(block, values_of(block)));
    const auto done = static_cast<std::size_t>(at - text);
    const auto more = static_cast<std::size_t>(end - at);
    if (more == 0)
        return done;
    if (done == 0)
        return decode_base64_avx2(text, more, out);
    const __m512i numbers = values_of(load(end - block_characters));
    store_48(out + more / 4 * 3 - block_bytes, join(numbers));
    return done + more;
}

[[KR_TARGET]] std::size_t decode_base64_lines_avx512(const char* text, std::size_t size,
                                                     unsigned char* out) noexcept
{
    std::size_t lines = 0;
    for (; size > base64_line_characters && text[base64_line_characters] == '\n'; ++lines) {
        const __m512i first = load(text);
        const __m512i last = load(text + 12);
        const __m512i first_numbers = values_of(first);
        const __m512i last_numbers = values_of(last);
        if ((errors_of(first, first_numbers) | errors_of(last, last_numbers)) != 0)
            break;
        store_48(out, join(first_numbers));
        store_48(out + 9, join(last_numbers));
        text += base64_line_characters + 1;
        size -= base64_line_characters + 1;
        out += base64_line_bytes;
    }
    return lines;
}

} // namespace kr_internal
