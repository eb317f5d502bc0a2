#include <KRCommon/util/SHA1.h>

#include <KRCommon/util/Little_Endian.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

using kr_internal::get_u32;
using kr_internal::put_u32;

constexpr std::size_t block_size = 64;
constexpr std::int32_t length_index = 56; // where a last block holds the message's length

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
    if constexpr (t < 16)
        return w[t] = __builtin_bswap32(get_u32(schedule.block, std::size_t{4} * t));
    else
        return w[t % 16] = circularShift(1, w[(t + 13) % 16] ^ w[(t + 8) % 16] ^ w[(t + 2) % 16] ^
                                                w[t % 16]);
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

void process_portably(std::uint32_t* h, const unsigned char* data, std::size_t blocks)
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

// The compression of whole blocks. One with special instructions would be chosen here, once, by
// what the processor has.
void process_blocks(std::uint32_t* h, const unsigned char* data, std::size_t blocks)
{
    process_portably(h, data, blocks);
}

} // namespace

void cSHA1::reset() noexcept
{
    h_[0] = 0x67452301;
    h_[1] = 0xEFCDAB89;
    h_[2] = 0x98BADCFE;
    h_[3] = 0x10325476;
    h_[4] = 0xC3D2E1F0;
    length_low_ = 0;
    length_high_ = 0;
    std::memset(block_, 0, sizeof block_);
    index_ = 0;
    computed_ = false;
    corrupted_ = false;
}

bool cSHA1::add_to_length(std::uint64_t bytes) noexcept
{
    const std::uint64_t before = std::uint64_t{length_high_} << 32 | length_low_;
    const std::uint64_t after = before + 8 * bytes;
    length_low_ = static_cast<std::uint32_t>(after);
    length_high_ = static_cast<std::uint32_t>(after >> 32);
    return after >= before;
}

void cSHA1::processBlock() noexcept
{
    process_blocks(h_, block_, 1);
    index_ = 0;
}

void cSHA1::feed(const unsigned char* data, std::size_t length) noexcept
{
    if (data == nullptr || length == 0)
        return;
    if (computed_ || corrupted_ || !add_to_length(length)) {
        corrupted_ = true;
        return;
    }
    if (index_ > 0) {
        const auto index = static_cast<std::size_t>(index_);
        const std::size_t head = std::min(length, block_size - index);
        std::memcpy(block_ + index, data, head);
        index_ += static_cast<std::int32_t>(head);
        data += head;
        length -= head;
        if (index_ < static_cast<std::int32_t>(block_size))
            return;
        processBlock();
    }
    process_blocks(h_, data, length / block_size);
    const std::size_t tail = length % block_size;
    std::memcpy(block_, data + (length - tail), tail);
    index_ = static_cast<std::int32_t>(tail);
}

void cSHA1::input(const unsigned char* data, unsigned length) noexcept
{
    feed(data, length);
}

void cSHA1::input(const char* data, unsigned length) noexcept
{
    feed(reinterpret_cast<const unsigned char*>(data), length);
}

cSHA1& cSHA1::operator<<(const char* text) noexcept
{
    if (text != nullptr)
        feed(reinterpret_cast<const unsigned char*>(text), std::strlen(text));
    return *this;
}

namespace {

struct Units {
    unsigned count;
    std::uint32_t units[2];
};

// UTF-16, also where a wide character has 32 bits.
Units utf16_of(wchar_t character)
{
    const std::uint32_t code = static_cast<char32_t>(character);
    if (code <= 0xFFFF || code > 0x10FFFF)
        return {1, {code & 0xFFFF, 0}};
    return {2, {0xD800 + ((code - 0x10000) >> 10), 0xDC00 + (code & 0x3FF)}};
}

// Appends the two or four bytes of a character.
char* put_wide(char* out, wchar_t character)
{
    const Units units = utf16_of(character);
    for (unsigned i = 0; i < units.count; ++i) {
        *out++ = static_cast<char>(units.units[i]);
        *out++ = static_cast<char>(units.units[i] >> 8);
    }
    return out;
}

} // namespace

cSHA1& cSHA1::operator<<(const wchar_t* text) noexcept
{
    if (text == nullptr)
        return *this;
    char piece[512];
    while (*text != 0) {
        char* end = piece;
        for (; *text != 0 && end <= std::end(piece) - 4; ++text)
            end = put_wide(end, *text);
        input(piece, static_cast<unsigned>(end - piece));
    }
    return *this;
}

void cSHA1::pad() noexcept
{
    block_[index_++] = 0x80;
    if (index_ > length_index) {
        std::fill(block_ + index_, block_ + block_size, static_cast<unsigned char>(0));
        processBlock();
    }
    std::fill(block_ + index_, block_ + length_index, static_cast<unsigned char>(0));
    put_u32(block_, length_index, __builtin_bswap32(length_high_));
    put_u32(block_, length_index + 4, __builtin_bswap32(length_low_));
    processBlock();
}

bool cSHA1::computeHash(unsigned* digest) noexcept
{
    if (corrupted_)
        return false;
    if (!computed_)
        pad();
    computed_ = true;
    std::copy(std::begin(h_), std::end(h_), digest);
    return true;
}

bool cSHA1::computeHash(std::string& digest)
{
    unsigned words[5];
    if (!computeHash(words))
        return false;
    std::string text;
    text.reserve(40);
    // Quirk: lowest byte first.
    for (const unsigned word : words)
        for (unsigned shift = 0; shift < 32; shift += 8) {
            text += "0123456789ABCDEF"[word >> (shift + 4) & 15];
            text += "0123456789ABCDEF"[word >> shift & 15];
        }
    digest = std::move(text);
    return true;
}
