// AES-256 by the processor's own instructions for it: a round each.

#include <KRCommon/kernels/Forms.h>

#include <immintrin.h>

#define KR_AES_NI [[gnu::target("aes,ssse3")]]
#define KR_AES_NI_STEP [[gnu::target("aes,ssse3"), gnu::always_inline]] inline

namespace kr_internal {

namespace {

constexpr int rounds = 14;

KR_AES_NI_STEP __m128i load(const unsigned char* block)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
}

KR_AES_NI_STEP void store(unsigned char* block, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(block), value);
}

KR_AES_NI_STEP __m128i load_key(const std::uint32_t* keys, int round)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(keys) + round);
}

KR_AES_NI_STEP void store_key(std::uint32_t* keys, int round, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(keys) + round, value);
}

// Each word xor all words before it.
KR_AES_NI_STEP __m128i running_xor(__m128i words)
{
    words = _mm_xor_si128(words, _mm_slli_si128(words, 4));
    return _mm_xor_si128(words, _mm_slli_si128(words, 8));
}

// The last round substitutes, shifts rows and adds a key. Of four equal words the shift changes
// nothing. It takes a third of the time of the instruction that is made for expanding keys.
KR_AES_NI_STEP __m128i rotated_and_substituted(__m128i words, __m128i round_constant)
{
    const __m128i last_word_rotated = _mm_set1_epi32(0x0C0F0E0D);
    return _mm_aesenclast_si128(_mm_shuffle_epi8(words, last_word_rotated), round_constant);
}

KR_AES_NI_STEP __m128i substituted(__m128i words)
{
    constexpr int last_word = 0xFF;
    return _mm_aesenclast_si128(_mm_shuffle_epi32(words, last_word), _mm_setzero_si128());
}

} // namespace

// FIPS 197, section 5.2, four words at a time.
KR_AES_NI void expand_aes_key_aes(const unsigned char* key, std::uint32_t* keys) noexcept
{
    __m128i even = load(key);
    __m128i odd = load(key + 16);
    __m128i round_constant = _mm_set1_epi32(1);
    store_key(keys, 0, even);
    store_key(keys, 1, odd);
#pragma GCC unroll 7
    for (int round = 2; round <= rounds; round += 2) {
        even = _mm_xor_si128(running_xor(even), rotated_and_substituted(odd, round_constant));
        store_key(keys, round, even);
        if (round == rounds)
            break;
        odd = _mm_xor_si128(running_xor(odd), substituted(even));
        store_key(keys, round + 1, odd);
        round_constant = _mm_slli_epi32(round_constant, 1);
    }
}

// The round keys backwards, those between the first and the last with the inverse mixing.
KR_AES_NI void invert_aes_keys_aes(const std::uint32_t* keys, std::uint32_t* inverse) noexcept
{
    store_key(inverse, 0, load_key(keys, rounds));
#pragma GCC unroll 13
    for (int round = 1; round < rounds; ++round)
        store_key(inverse, round, _mm_aesimc_si128(load_key(keys, rounds - round)));
    store_key(inverse, rounds, load_key(keys, 0));
}

KR_AES_NI void encrypt_aes_aes(const std::uint32_t* keys, unsigned char* chain,
                               const unsigned char* in, unsigned char* out,
                               std::size_t blocks) noexcept
{
    __m128i block = load(chain);
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        block = _mm_xor_si128(block, _mm_xor_si128(load(in), load_key(keys, 0)));
#pragma GCC unroll 13
        for (int round = 1; round < rounds; ++round)
            block = _mm_aesenc_si128(block, load_key(keys, round));
        block = _mm_aesenclast_si128(block, load_key(keys, rounds));
        store(out, block);
    }
    store(chain, block);
}

namespace {

// Blocks that pass through the rounds side by side: a round takes several cycles, but one or two can
// begin in each. Members of their own, since the compiler keeps these in registers and arrays not.
template <int count>
struct Blocks {
    __m128i first;
    Blocks<count - 1> others;
};

template <>
struct Blocks<0> {
};

template <int count>
KR_AES_NI_STEP void load_all(Blocks<count>& blocks, const unsigned char* in, __m128i key)
{
    blocks.first = _mm_xor_si128(load(in), key);
    if constexpr (count > 1)
        load_all(blocks.others, in + 16, key);
}

template <int count>
KR_AES_NI_STEP void unmix_all(Blocks<count>& blocks, __m128i key)
{
    blocks.first = _mm_aesdec_si128(blocks.first, key);
    if constexpr (count > 1)
        unmix_all(blocks.others, key);
}

template <int count>
KR_AES_NI_STEP void end_all(Blocks<count>& blocks, __m128i key)
{
    blocks.first = _mm_aesdeclast_si128(blocks.first, key);
    if constexpr (count > 1)
        end_all(blocks.others, key);
}

// Each block with the cipher block before it.
template <int count>
KR_AES_NI_STEP void unchain_all(Blocks<count>& blocks, __m128i before, const unsigned char* in)
{
    blocks.first = _mm_xor_si128(blocks.first, before);
    if constexpr (count > 1)
        unchain_all(blocks.others, load(in), in + 16);
}

template <int count>
KR_AES_NI_STEP void store_all(const Blocks<count>& blocks, unsigned char* out)
{
    store(out, blocks.first);
    if constexpr (count > 1)
        store_all(blocks.others, out + 16);
}

// The first of the blocks as long as there are count of them; returns how many it took.
template <int count>
KR_AES_NI_STEP std::size_t decrypt_some(const std::uint32_t* keys, __m128i& chain,
                                        const unsigned char* in, unsigned char* out,
                                        std::size_t blocks)
{
    constexpr std::size_t size = 16UL * count;
    std::size_t done = 0;
    for (; blocks - done >= count; done += count, in += size, out += size) {
        Blocks<count> some;
        load_all(some, in, load_key(keys, 0));
#pragma GCC unroll 13
        for (int round = 1; round < rounds; ++round)
            unmix_all(some, load_key(keys, round));
        end_all(some, load_key(keys, rounds));
        // All is read before anything is written: in and out may be the same.
        unchain_all(some, chain, in);
        chain = load(in + size - 16);
        store_all(some, out);
    }
    return done;
}

// What the vector registers hold: eight of them in 32-bit code, and sixteen.
constexpr int in_flight = sizeof(void*) == 4 ? 4 : 8;

} // namespace

KR_AES_NI void decrypt_aes_aes(const std::uint32_t* keys, unsigned char* chain,
                               const unsigned char* in, unsigned char* out,
                               std::size_t blocks) noexcept
{
    __m128i running = load(chain);
    std::size_t done = decrypt_some<in_flight>(keys, running, in, out, blocks);
    if constexpr (in_flight > 4)
        done += decrypt_some<4>(keys, running, in + 16 * done, out + 16 * done, blocks - done);
    decrypt_some<1>(keys, running, in + 16 * done, out + 16 * done, blocks - done);
    store(chain, running);
}

} // namespace kr_internal
