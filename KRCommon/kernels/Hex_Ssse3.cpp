#include <KRCommon/kernels/Forms.h>

#include <tmmintrin.h>

namespace kr_internal {

namespace {

[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i load(const void* bytes)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void store(void* out, __m128i bytes)
{
    _mm_storeu_si128(static_cast<__m128i*>(out), bytes);
}

[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i load_8(const void* bytes)
{
    return _mm_loadl_epi64(static_cast<const __m128i*>(bytes));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void store_8(void* out, __m128i bytes)
{
    _mm_storel_epi64(static_cast<__m128i*>(out), bytes);
}

// Digits of numbers from 0 to 15.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i digits_of(__m128i numbers)
{
    const __m128i digits = _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B',
                                         'C', 'D', 'E', 'F');
    return _mm_shuffle_epi8(digits, numbers);
}

// The first 8 of the bytes.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i encode_8(__m128i bytes)
{
    const __m128i high = _mm_srli_epi16(bytes, 4);
    return digits_of(_mm_and_si128(_mm_unpacklo_epi8(high, bytes), _mm_set1_epi8(0x0F)));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void encode_16(const unsigned char* data,
                                                                   char* out)
{
    const __m128i low_bits = _mm_set1_epi8(0x0F);
    const __m128i bytes = load(data);
    const __m128i high = digits_of(_mm_and_si128(_mm_srli_epi16(bytes, 4), low_bits));
    const __m128i low = digits_of(_mm_and_si128(bytes, low_bits));
    store(out, _mm_unpacklo_epi8(high, low));
    store(out + 16, _mm_unpackhi_epi8(high, low));
}

// From 8 to 15 bytes, in two parts that overlap.
[[gnu::target("ssse3")]] void encode_few(const unsigned char* data, std::size_t size, char* out)
{
    store(out, encode_8(load_8(data)));
    store(out + 2 * size - 16, encode_8(load_8(data + size - 8)));
}

} // namespace

[[gnu::target("ssse3")]] void encode_hex_ssse3(const unsigned char* data, std::size_t size,
                                               char* out) noexcept
{
    if (size < 8)
        return encode_hex_portable(data, size, out);
    if (size < 16)
        return encode_few(data, size, out);
    const unsigned char* const last = data + size - 16;
    char* const last_out = out + 2 * size - 32;
    for (; data < last; data += 16, out += 32)
        encode_16(data, out);
    encode_16(last, last_out); // part of it may be done already
}

namespace {

struct Values {
    __m128i numbers;
    __m128i are_digits; // all bits where the character is one
};

[[gnu::target("ssse3"), gnu::always_inline]] inline Values values_of(__m128i characters)
{
    const __m128i decimal = _mm_sub_epi8(characters, _mm_set1_epi8('0'));
    const __m128i are_decimal = _mm_cmpeq_epi8(_mm_min_epu8(decimal, _mm_set1_epi8(9)), decimal);
    const __m128i in_lower_case = _mm_or_si128(characters, _mm_set1_epi8(0x20));
    const __m128i letter = _mm_sub_epi8(in_lower_case, _mm_set1_epi8('a'));
    const __m128i are_letters = _mm_cmpeq_epi8(_mm_min_epu8(letter, _mm_set1_epi8(5)), letter);
    const __m128i of_letters = _mm_and_si128(are_letters, _mm_add_epi8(letter, _mm_set1_epi8(10)));
    return {_mm_or_si128(_mm_and_si128(are_decimal, decimal), of_letters),
            _mm_or_si128(are_decimal, are_letters)};
}

// Two numbers to a word.
[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i join(__m128i numbers)
{
    return _mm_maddubs_epi16(numbers, _mm_set1_epi16(0x0110));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline bool are_all(__m128i flags)
{
    return _mm_movemask_epi8(flags) == 0xFFFF;
}

// 8 bytes of 16 digits. False, and nothing written, when one is none.
[[gnu::target("ssse3"), gnu::always_inline]] inline bool decode_8(const char* text,
                                                                  unsigned char* out)
{
    const Values values = values_of(load(text));
    if (!are_all(values.are_digits))
        return false;
    const __m128i words = join(values.numbers);
    store_8(out, _mm_packus_epi16(words, words));
    return true;
}

[[gnu::target("ssse3"), gnu::always_inline]] inline bool decode_16(const char* text,
                                                                   unsigned char* out)
{
    const Values first = values_of(load(text));
    const Values second = values_of(load(text + 16));
    if (!are_all(_mm_and_si128(first.are_digits, second.are_digits)))
        return false;
    store(out, _mm_packus_epi16(join(first.numbers), join(second.numbers)));
    return true;
}

} // namespace

[[gnu::target("ssse3")]] std::size_t decode_hex_ssse3(const char* text, std::size_t size,
                                                      unsigned char* out) noexcept
{
    std::size_t done = 0;
    while (size - done >= 16 && decode_16(text + 2 * done, out + done))
        done += 16;
    if (size - done >= 8 && decode_8(text + 2 * done, out + done))
        done += 8;
    // Less than 8 are left: a part that overlaps what is done. Or there is an error.
    const std::size_t last = size - 8;
    if (done >= 8 && size - done < 8 && decode_8(text + 2 * last, out + last))
        return size;
    return done + decode_hex_portable(text + 2 * done, size - done, out + done);
}

} // namespace kr_internal
