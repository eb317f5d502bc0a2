// SHA-1 by the processor's own instructions for it: four rounds each, and the schedule's words four
// at a time.

#include <KRCommon/kernels/Forms.h>

#include <immintrin.h>

#define KR_SHA_NI [[gnu::target("sha,ssse3")]]
#define KR_SHA_NI_STEP [[gnu::target("sha,ssse3"), gnu::always_inline]] inline

namespace kr_internal {

namespace {

// The five words between two groups of four rounds. Of the fifth only the topmost lane counts: it
// is the word a of four rounds before, which the instructions rotate and add.
struct State {
    __m128i abcd;
    __m128i e;
};

// Rounds 4 * group to 4 * group + 3 on the words of the schedule for them.
template <int group>
KR_SHA_NI_STEP void four_rounds(State& state, __m128i words)
{
    const __m128i with_e = group == 0 ? _mm_add_epi32(state.e, words) //
                                      : _mm_sha1nexte_epu32(state.e, words);
    state.e = state.abcd;
    state.abcd = _mm_sha1rnds4_epu32(state.abcd, with_e, group / 5);
}

// The schedule's next four words, in place of the first of the last sixteen.
KR_SHA_NI_STEP void next_words(__m128i& w0, __m128i w1, __m128i w2, __m128i w3)
{
    w0 = _mm_sha1msg2_epu32(_mm_xor_si128(_mm_sha1msg1_epu32(w0, w1), w2), w3);
}

// Sixteen rounds that make the words of the sixteen after them.
template <int group>
KR_SHA_NI_STEP void sixteen_rounds(State& state, __m128i& w0, __m128i& w1, __m128i& w2, __m128i& w3)
{
    four_rounds<group>(state, w0);
    next_words(w0, w1, w2, w3);
    four_rounds<group + 1>(state, w1);
    next_words(w1, w2, w3, w0);
    four_rounds<group + 2>(state, w2);
    next_words(w2, w3, w0, w1);
    four_rounds<group + 3>(state, w3);
    next_words(w3, w0, w1, w2);
}

KR_SHA_NI_STEP __m128i load_words(const unsigned char* bytes)
{
    // The first word in the topmost lane, and in each the first byte on top.
    const __m128i backwards = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), backwards);
}

} // namespace

KR_SHA_NI void compress_sha1_sha(std::uint32_t* h, const unsigned char* data,
                                 std::size_t blocks) noexcept
{
    constexpr int reversed = 0x1B;
    auto* const abcd = reinterpret_cast<__m128i*>(h);
    State state = {_mm_shuffle_epi32(_mm_loadu_si128(abcd), reversed),
                   _mm_set_epi32(static_cast<int>(h[4]), 0, 0, 0)};
    for (; blocks > 0; --blocks, data += 64) {
        const State before = state;
        __m128i w0 = load_words(data);
        __m128i w1 = load_words(data + 16);
        __m128i w2 = load_words(data + 32);
        __m128i w3 = load_words(data + 48);
        sixteen_rounds<0>(state, w0, w1, w2, w3);
        sixteen_rounds<4>(state, w0, w1, w2, w3);
        sixteen_rounds<8>(state, w0, w1, w2, w3);
        sixteen_rounds<12>(state, w0, w1, w2, w3);
        four_rounds<16>(state, w0);
        four_rounds<17>(state, w1);
        four_rounds<18>(state, w2);
        four_rounds<19>(state, w3);
        state.e = _mm_sha1nexte_epu32(state.e, before.e);
        state.abcd = _mm_add_epi32(state.abcd, before.abcd);
    }
    _mm_storeu_si128(abcd, _mm_shuffle_epi32(state.abcd, reversed));
    h[4] = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(state.e, 12)));
}

} // namespace kr_internal
