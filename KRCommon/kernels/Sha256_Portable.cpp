#include <KRCommon/kernels/Forms.h>
#include <KRCommon/kernels/Sha256_Constants.h>

#include <cstring>
#include <utility>

namespace kr_internal {

namespace {

constexpr std::size_t block_size = 64;

constexpr std::uint32_t rotated(std::uint32_t word, unsigned bits)
{
    return word >> bits | word << (32 - bits);
}

// FIPS 180-4 section 4.1.2: the sums of the rounds, and those of the schedule.
constexpr std::uint32_t sum_0(std::uint32_t a)
{
    return rotated(a, 2) ^ rotated(a, 13) ^ rotated(a, 22);
}

constexpr std::uint32_t sum_1(std::uint32_t e)
{
    return rotated(e, 6) ^ rotated(e, 11) ^ rotated(e, 25);
}

constexpr std::uint32_t schedule_sum_0(std::uint32_t word)
{
    return rotated(word, 7) ^ rotated(word, 18) ^ word >> 3;
}

constexpr std::uint32_t schedule_sum_1(std::uint32_t word)
{
    return rotated(word, 17) ^ rotated(word, 19) ^ word >> 10;
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
        return w[t % 16] +=
               schedule_sum_1(w[(t + 14) % 16]) + w[(t + 9) % 16] + schedule_sum_0(w[(t + 1) % 16]);
    }
}

template <unsigned t>
[[gnu::always_inline]] inline void step(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                        std::uint32_t& d, std::uint32_t e, std::uint32_t f,
                                        std::uint32_t g, std::uint32_t& h, Schedule& schedule)
{
    const std::uint32_t choice = g ^ (e & (f ^ g));
    const std::uint32_t majority = (a & b) | (c & (a | b));
    h += sum_1(e) + choice + sha256_constants[t] + next_word<t>(schedule);
    d += h;
    h += sum_0(a) + majority;
}

// After eight steps every word is back in its place, so none has to be moved.
template <unsigned t>
[[gnu::always_inline]] inline void eight_steps(std::uint32_t (&h)[8], Schedule& schedule)
{
    step<t>(h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7], schedule);
    step<t + 1>(h[7], h[0], h[1], h[2], h[3], h[4], h[5], h[6], schedule);
    step<t + 2>(h[6], h[7], h[0], h[1], h[2], h[3], h[4], h[5], schedule);
    step<t + 3>(h[5], h[6], h[7], h[0], h[1], h[2], h[3], h[4], schedule);
    step<t + 4>(h[4], h[5], h[6], h[7], h[0], h[1], h[2], h[3], schedule);
    step<t + 5>(h[3], h[4], h[5], h[6], h[7], h[0], h[1], h[2], schedule);
    step<t + 6>(h[2], h[3], h[4], h[5], h[6], h[7], h[0], h[1], schedule);
    step<t + 7>(h[1], h[2], h[3], h[4], h[5], h[6], h[7], h[0], schedule);
}

template <unsigned... eights>
[[gnu::always_inline]] inline void all_steps(std::uint32_t (&h)[8], Schedule& schedule,
                                             std::integer_sequence<unsigned, eights...>)
{
    (eight_steps<8 * eights>(h, schedule), ...);
}

} // namespace

void compress_sha256_portable(std::uint32_t* h, const unsigned char* data,
                              std::size_t blocks) noexcept
{
    for (; blocks > 0; --blocks, data += block_size) {
        std::uint32_t next[8];
        std::memcpy(next, h, sizeof next);
        Schedule schedule; // NOLINT(cppcoreguidelines-pro-type-member-init)
        schedule.block = data;
        all_steps(next, schedule, std::make_integer_sequence<unsigned, 8>());
        for (int i = 0; i < 8; ++i)
            h[i] += next[i];
    }
}

} // namespace kr_internal
