#include <KRCommon/kernels/Forms.h>

#include <cstring>
#include <utility>

namespace kr_internal {

namespace {

constexpr std::size_t block_size = 64;

constexpr std::uint32_t constants[4] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

std::uint32_t circularShift(unsigned bits, std::uint32_t word)
{
    return word << bits | word >> (32 - bits);
}

template <unsigned t>
std::uint32_t logical(std::uint32_t b, std::uint32_t c, std::uint32_t d)
{
    if constexpr (t < 20)
        return d ^ (b & (c ^ d));
    else if constexpr (t >= 40 && t < 60)
        return (b & c) | (d & (b | c));
    else
        return b ^ c ^ d;
}

// The last 16 words of the schedule are all that a step looks back at.
struct Schedule {
    const unsigned char* block;
    std::uint32_t words[16];
};

template <unsigned t>
[[gnu::always_inline]] inline std::uint32_t next_word(Schedule& schedule)
{
    auto& w = schedule.words;
    if constexpr (t < 16) {
        std::memcpy(&w[t], schedule.block + std::size_t{4} * t, 4);
        return w[t] = __builtin_bswap32(w[t]);
    } else {
        return w[t % 16] = circularShift(1, w[(t + 13) % 16] ^ w[(t + 8) % 16] ^ w[(t + 2) % 16] ^
                                                w[t % 16]);
    }
}

template <unsigned t>
[[gnu::always_inline]] inline void step(std::uint32_t a, std::uint32_t& b, std::uint32_t c,
                                        std::uint32_t d, std::uint32_t& e, Schedule& schedule)
{
    e += next_word<t>(schedule) + constants[t / 20];
    e += logical<t>(b, c, d);
    e += circularShift(5, a);
    b = circularShift(30, b);
}

// After five steps every word is back in its place, so none has to be moved.
template <unsigned t>
[[gnu::always_inline]] inline void five_steps(std::uint32_t (&h)[5], Schedule& schedule)
{
    step<t>(h[0], h[1], h[2], h[3], h[4], schedule);
    step<t + 1>(h[4], h[0], h[1], h[2], h[3], schedule);
    step<t + 2>(h[3], h[4], h[0], h[1], h[2], schedule);
    step<t + 3>(h[2], h[3], h[4], h[0], h[1], schedule);
    step<t + 4>(h[1], h[2], h[3], h[4], h[0], schedule);
}

template <unsigned... fives>
[[gnu::always_inline]] inline void eighty_steps(std::uint32_t (&h)[5], Schedule& schedule,
                                                std::integer_sequence<unsigned, fives...>)
{
    (five_steps<5 * fives>(h, schedule), ...);
}

} // namespace

void compress_sha1_portable(std::uint32_t* h, const unsigned char* data,
                            std::size_t blocks) noexcept
{
    for (; blocks > 0; --blocks, data += block_size) {
        std::uint32_t next[5] = {h[0], h[1], h[2], h[3], h[4]};
        Schedule schedule; // NOLINT(cppcoreguidelines-pro-type-member-init)
        schedule.block = data;
        eighty_steps(next, schedule, std::make_integer_sequence<unsigned, 16>());
        for (int i = 0; i < 5; ++i)
            h[i] += next[i];
    }
}

} // namespace kr_internal
