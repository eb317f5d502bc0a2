// Sixteen characters at a time. Both directions follow W. Mula and D. Lemire, "Faster Base64 Encoding
// and Decoding Using AVX2 Instructions" (2018).

#include <KRCommon/kernels/Forms.h>

#include <algorithm>
#include <tmmintrin.h>

namespace kr_internal {

namespace {

constexpr std::size_t block_bytes = 12;
constexpr std::size_t block_characters = 16;

[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i load(const void* bytes)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void store(void* out, __m128i bytes)
{
    _mm_storeu_si128(static_cast<__m128i*>(out), bytes);
}

// 12 bytes and nothing behind them.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i load_12(const unsigned char* bytes)
{
    const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    return _mm_unpacklo_epi64(low, _mm_loadu_si32(bytes + 8));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void store_12(unsigned char* out, __m128i bytes)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), bytes);
    _mm_storeu_si32(out + 8, _mm_srli_si128(bytes, 8));
}

// The first 12 of the bytes as numbers of 6 bits.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i split(__m128i bytes)
{
    // Each group, with its bytes 1 0 2 1, becomes two words in which two numbers stand each.
    const __m128i groups =
        _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m128i odd = _mm_and_si128(groups, _mm_set1_epi32(0x0FC0FC00));
    const __m128i even = _mm_and_si128(groups, _mm_set1_epi32(0x003F03F0));
    return _mm_or_si128(_mm_mulhi_epu16(odd, _mm_set1_epi32(0x04000040)),
                        _mm_mullo_epi16(even, _mm_set1_epi32(0x01000010)));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i characters_of(__m128i numbers)
{
    // Which range of the alphabet: 0 for 0 to 25, 1 for 26 to 51, 2 to 13 for those after them.
    const __m128i after_letters = _mm_subs_epu8(numbers, _mm_set1_epi8(51));
    const __m128i are_no_capitals = _mm_cmpgt_epi8(numbers, _mm_set1_epi8(25));
    const __m128i range = _mm_sub_epi8(after_letters, are_no_capitals);
    constexpr char digit = '0' - 52;
    const __m128i offsets = _mm_setr_epi8('A', 'a' - 26, digit, digit, digit, digit, digit, digit,
                                          digit, digit, digit, digit, '+' - 62, '/' - 63, 0, 0);
    return _mm_add_epi8(numbers, _mm_shuffle_epi8(offsets, range));
}

} // namespace

[[gnu::target("ssse3")]] void encode_base64_ssse3(const unsigned char* data, std::size_t size,
                                                  char* out) noexcept
{
    const unsigned char* const end = data + (size - size % 3);
    char* const out_end = out + size / 3 * 4;
    if (size < block_bytes)
        return encode_base64_portable(data, size, out);
    for (; end - data >= 16; data += block_bytes, out += block_characters)
        store(out, characters_of(split(load(data))));
    if (end - data > 12) {
        store(out, characters_of(split(load_12(data))));
        data += block_bytes;
    }
    if (data < end) // a last block, part of which is done already
        store(out_end - block_characters, characters_of(split(load_12(end - block_bytes))));
}

[[gnu::target("ssse3")]] void encode_base64_lines_ssse3(const unsigned char* data,
                                                        std::size_t lines, char* out) noexcept
{
    if (lines == 0)
        return;
    // What a line's last block has too much, before and behind, belongs to the next line.
    for (; lines > 1; --lines, data += base64_line_bytes, out += base64_line_characters + 1) {
        store(out, characters_of(split(load(data))));
        store(out + 16, characters_of(split(load(data + 12))));
        store(out + 32, characters_of(split(load(data + 24))));
        store(out + 48, characters_of(split(load(data + 36))));
        store(out + 64, characters_of(split(load(data + 48))));
        out[base64_line_characters] = '\n';
    }
    encode_base64_ssse3(data, base64_line_bytes, out);
    out[base64_line_characters] = '\n';
}

namespace {

struct Values {
    __m128i numbers; // of 6 bits
    __m128i errors;  // not 0 where the character is not of the alphabet
};

[[gnu::target("ssse3"), gnu::always_inline]] inline Values values_of(__m128i characters)
{
    // By its two halves a character is of the alphabet when their entries have no bit in common.
    const __m128i by_low = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                         0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m128i by_high = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                          0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    // What is added, by the upper half; '/' takes the place before that of '+'.
    const __m128i offsets = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                          26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
    // A shuffle looks at the lowest four bits and the topmost one.
    const __m128i mask = _mm_set1_epi8(0x2F);
    const __m128i high = _mm_and_si128(_mm_srli_epi32(characters, 4), mask);
    const __m128i low = _mm_and_si128(characters, mask);
    const __m128i are_slashes = _mm_cmpeq_epi8(characters, _mm_set1_epi8('/'));
    const __m128i offset = _mm_shuffle_epi8(offsets, _mm_add_epi8(are_slashes, high));
    return {_mm_add_epi8(characters, offset),
            _mm_and_si128(_mm_shuffle_epi8(by_low, low), _mm_shuffle_epi8(by_high, high))};
}

// 12 bytes, and zeros behind them.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i join(__m128i numbers)
{
    const __m128i pairs = _mm_maddubs_epi16(numbers, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    return _mm_shuffle_epi8(groups,
                            _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
}

// How many characters of a block can be taken: whole groups up to the first error.
[[gnu::target("ssse3"), gnu::always_inline]] inline std::size_t whole_groups(__m128i errors)
{
    const __m128i are_errors = _mm_cmpgt_epi8(errors, _mm_setzero_si128());
    const auto places = static_cast<unsigned>(_mm_movemask_epi8(are_errors)) | 0x10000U;
    return static_cast<unsigned>(__builtin_ctz(places)) & ~3U;
}

[[gnu::target("ssse3"), gnu::always_inline]] inline bool is_any(__m128i errors)
{
    return _mm_movemask_epi8(_mm_cmpgt_epi8(errors, _mm_setzero_si128())) != 0;
}

// Four blocks. False, and nothing written, when there is an error.
[[gnu::target("ssse3"), gnu::always_inline]] inline bool decode_four(const char* text,
                                                                     unsigned char* out)
{
    const Values first = values_of(load(text));
    const Values second = values_of(load(text + block_characters));
    const Values third = values_of(load(text + 2 * block_characters));
    const Values fourth = values_of(load(text + 3 * block_characters));
    if (is_any(_mm_or_si128(_mm_or_si128(first.errors, second.errors),
                            _mm_or_si128(third.errors, fourth.errors))))
        return false;
    store(out, join(first.numbers));
    store(out + block_bytes, join(second.numbers));
    store(out + 2 * block_bytes, join(third.numbers));
    store_12(out + 3 * block_bytes, join(fourth.numbers));
    return true;
}

} // namespace

[[gnu::target("ssse3")]] std::size_t decode_base64_ssse3(const char* text, std::size_t size,
                                                         unsigned char* out) noexcept
{
    const std::size_t characters = size - size % 4;
    if (characters < block_characters)
        return decode_base64_portable(text, size, out);
    const char* at = text;
    const char* const last = text + characters - block_characters;
    for (; last - at >= 48 && decode_four(at, out); at += 4 * block_characters)
        out += 4 * block_bytes;
    for (; at <= last; at += block_characters, out += block_bytes) {
        const Values values = values_of(load(at));
        if (is_any(values.errors))
            break;
        store_12(out, join(values.numbers));
    }
    // A last block, part of which is done already: it ends at an error or with the text.
    const char* end = std::min(at, last);
    end += whole_groups(values_of(load(end)).errors);
    const auto done = static_cast<std::size_t>(at - text);
    const auto more = static_cast<std::size_t>(end - at);
    if (more == 0)
        return done;
    if (done == 0)
        return decode_base64_portable(text, more, out);
    const Values values = values_of(load(end - block_characters));
    store_12(out + more / 4 * 3 - block_bytes, join(values.numbers));
    return done + more;
}

[[gnu::target("ssse3")]] std::size_t decode_base64_lines_ssse3(const char* text, std::size_t size,
                                                               unsigned char* out) noexcept
{
    std::size_t lines = 0;
    for (; size > base64_line_characters && text[base64_line_characters] == '\n'; ++lines) {
        const Values last = values_of(load(text + 60));
        if (is_any(last.errors) || !decode_four(text, out))
            break;
        store_12(out + 45, join(last.numbers));
        text += base64_line_characters + 1;
        size -= base64_line_characters + 1;
        out += base64_line_bytes;
    }
    return lines;
}

} // namespace kr_internal
