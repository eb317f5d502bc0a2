#include <KRCommon/kernels/Forms.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace kr_internal {

namespace {

// RFC 4648, table 1.
constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two characters for each 12 bits.
using Pair = std::array<char, 2>;

constexpr std::array<Pair, 4096> make_pairs()
{
    std::array<Pair, 4096> pairs{};
    for (std::size_t bits = 0; bits < pairs.size(); ++bits)
        pairs[bits] = {alphabet[bits >> 6], alphabet[bits & 63]};
    return pairs;
}

constexpr std::array<Pair, 4096> pairs = make_pairs();

void put_pair(char* out, std::uint64_t bits)
{
    std::memcpy(out, &pairs[bits & 0xFFF], sizeof(Pair));
}

std::uint64_t eight_bytes(const unsigned char* data)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, data, sizeof bits);
    return __builtin_bswap64(bits);
}

} // namespace

void encode_base64_portable(const unsigned char* data, std::size_t size, char* out) noexcept
{
    std::size_t done = 0;
    // Six bytes at a time, read as eight.
    for (; size - done >= 8; done += 6, out += 8) {
        const std::uint64_t bits = eight_bytes(data + done);
        put_pair(out, bits >> 52);
        put_pair(out + 2, bits >> 40);
        put_pair(out + 4, bits >> 28);
        put_pair(out + 6, bits >> 16);
    }
    for (; size - done >= 3; done += 3, out += 4) {
        const unsigned bits = static_cast<unsigned>(data[done]) << 16 |
                              static_cast<unsigned>(data[done + 1]) << 8 | data[done + 2];
        put_pair(out, bits >> 12);
        put_pair(out + 2, bits);
    }
}

void encode_base64_lines_portable(const unsigned char* data, std::size_t lines, char* out) noexcept
{
    for (; lines > 0; --lines, data += base64_line_bytes, out += base64_line_characters + 1) {
        encode_base64_portable(data, base64_line_bytes, out);
        out[base64_line_characters] = '\n';
    }
}

namespace {

// A group's three bytes, first byte lowest, are the sum of four entries, one for each place and
// character. What is not of the alphabet sets the bit on top.
constexpr std::uint32_t not_in_alphabet = 0x80000000;

using Place = std::array<std::uint32_t, 256>;

constexpr std::array<Place, 4> make_places()
{
    std::array<Place, 4> places{};
    for (unsigned place = 0; place < 4; ++place) {
        for (std::uint32_t& entry : places[place])
            entry = not_in_alphabet;
        for (std::uint32_t value = 0; value < 64; ++value) {
            const std::uint32_t bits = value << (18 - 6 * place);
            places[place][static_cast<unsigned char>(alphabet[value])] =
                bits >> 16 | (bits & 0xFF00) | (bits & 0xFF) << 16;
        }
    }
    return places;
}

constexpr std::array<Place, 4> places = make_places();

[[gnu::always_inline]] inline std::uint32_t group_at(const unsigned char* text)
{
    return places[0][text[0]] | places[1][text[1]] | places[2][text[2]] | places[3][text[3]];
}

// The lowest of the number's bytes, so many.
void put_bytes(unsigned char* out, std::uint64_t number, std::size_t count)
{
    std::memcpy(out, &number, count);
}

} // namespace

std::size_t decode_base64_portable(const char* text, std::size_t size, unsigned char* out) noexcept
{
    const auto* const characters = reinterpret_cast<const unsigned char*>(text);
    std::size_t done = 0;
    for (; size - done >= 8; done += 8, out += 6) {
        const std::uint32_t first = group_at(characters + done);
        const std::uint32_t second = group_at(characters + done + 4);
        if (((first | second) & not_in_alphabet) != 0)
            break;
        put_bytes(out, first | std::uint64_t{second} << 24, 6);
    }
    for (; size - done >= 4; done += 4, out += 3) {
        const std::uint32_t group = group_at(characters + done);
        if ((group & not_in_alphabet) != 0)
            break;
        put_bytes(out, group, 3);
    }
    return done;
}

std::size_t decode_base64_lines_portable(const char* text, std::size_t size,
                                         unsigned char* out) noexcept
{
    std::size_t lines = 0;
    for (; size > base64_line_characters && text[base64_line_characters] == '\n'; ++lines) {
        if (decode_base64_portable(text, base64_line_characters, out) != base64_line_characters)
            break;
        text += base64_line_characters + 1;
        size -= base64_line_characters + 1;
        out += base64_line_bytes;
    }
    return lines;
}

} // namespace kr_internal
