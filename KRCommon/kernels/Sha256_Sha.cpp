// SHA-256 by the processor's own instructions for it: two rounds each, and the schedule's words four at
// a time.

#include <KRCommon/kernels/Forms.h>
#include <KRCommon/kernels/Sha256_Constants.h>

#include <cstddef>
#include <immintrin.h>

#define KR_SHA_NI [[gnu::target("sha,ssse3")]]
#define KR_SHA_NI_STEP [[gnu::target("sha,ssse3"), gnu::always_inline]] inline

namespace kr_internal {

namespace {

// The eight words as the instructions take them, the first one in the topmost lane.
struct State {
    __m128i abef;
    __m128i cdgh;
};

// Rounds 4 * group to 4 * group + 3 on the words of the schedule for them.
template <int group>
KR_SHA_NI_STEP void four_rounds(State& state, __m128i words)
{
    const auto* const constants =
        reinterpret_cast<const __m128i*>(sha256_constants + std::size_t{4} * group);
    const __m128i sums = _mm_add_epi32(words, _mm_load_si128(constants));
    const __m128i upper_sums = _mm_shuffle_epi32(sums, 0x0E);
    state.cdgh = _mm_sha256rnds2_epu32(state.cdgh, state.abef, sums);
    state.abef = _mm_sha256rnds2_epu32(state.abef, state.cdgh, upper_sums);
}

// The schedule's next four words, in place of the first of the last sixteen.
KR_SHA_NI_STEP void next_words(__m128i& w0, __m128i w1, __m128i w2, __m128i w3)
{
    const __m128i seven_before = _mm_alignr_epi8(w3, w2, 4);
    w0 = _mm_sha256msg2_epu32(_mm_add_epi32(_mm_sha256msg1_epu32(w0, w1), seven_before), w3);
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
    // In each word the first byte on top.
    const __m128i swapped = _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), swapped);
}

} // namespace

KR_SHA_NI void compress_sha256_sha(std::uint32_t* h, const unsigned char* data,
                                   std::size_t blocks) noexcept
{
    constexpr int pairs_swapped = 0xB1;
    auto* const words = reinterpret_cast<__m128i*>(h);
    const __m128i badc = _mm_shuffle_epi32(_mm_loadu_si128(words), pairs_swapped);
    const __m128i fehg = _mm_shuffle_epi32(_mm_loadu_si128(words + 1), pairs_swapped);
    State state = {_mm_unpacklo_epi64(fehg, badc), _mm_unpackhi_epi64(fehg, badc)};
    for (; blocks > 0; --blocks, data += 64) {
        const State before = state;
        __m128i w0 = load_words(data);
        __m128i w1 = load_words(data + 16);
        __m128i w2 = load_words(data + 32);
        __m128i w3 = load_words(data + 48);
        sixteen_rounds<0>(state, w0, w1, w2, w3);
        sixteen_rounds<4>(state, w0, w1, w2, w3);
        sixteen_rounds<8>(state, w0, w1, w2, w3);
        four_rounds<12>(state, w0);
        four_rounds<13>(state, w1);
        four_rounds<14>(state, w2);
        four_rounds<15>(state, w3);
        state.abef = _mm_add_epi32(state.abef, before.abef);
        state.cdgh = _mm_add_epi32(state.cdgh, before.cdgh);
    }
    const __m128i first = _mm_unpackhi_epi64(state.abef, state.cdgh);
    const __m128i last = _mm_unpacklo_epi64(state.abef, state.cdgh);
    _mm_storeu_si128(words, _mm_shuffle_epi32(first, pairs_swapped));
    _mm_storeu_si128(words + 1, _mm_shuffle_epi32(last, pairs_swapped));
}

} // namespace kr_internal
