#include <KRCommon/kernels/Forms.h>
#include <KRCommon/kernels/Kernels.h>

#include <array>
#include <cstring>

namespace kr_internal {

namespace {

constexpr int rounds = 14;
constexpr int key_words = 4 * (rounds + 1);
static_assert(key_words == aes_key_words);

// The field of FIPS 197, section 4.2: bytes as polynomials modulo x^8 + x^4 + x^3 + x + 1.
constexpr unsigned times_x(unsigned a)
{
    return (a << 1 ^ (a >> 7) * 0x1B) & 0xFF;
}

constexpr unsigned multiply(unsigned a, unsigned b)
{
    unsigned product = 0;
    for (; b != 0; b >>= 1, a = times_x(a))
        if ((b & 1) != 0)
            product ^= a;
    return product;
}

using Bytes = std::array<std::uint8_t, 256>;

constexpr unsigned rotate_byte(unsigned byte, unsigned bits)
{
    return (byte << bits | byte >> (8 - bits)) & 0xFF;
}

// FIPS 197, section 5.1.1: the inverse, 0 for 0, and an affine step.
constexpr Bytes make_s_box()
{
    Bytes box{};
    box[0] = 0x63;
    // 3 generates all non-zero elements, and 0xF6 is its inverse.
    unsigned element = 1;
    unsigned inverse = 1;
    for (int i = 0; i < 255; ++i) {
        const unsigned affine = inverse ^ rotate_byte(inverse, 1) ^ rotate_byte(inverse, 2) ^
                                rotate_byte(inverse, 3) ^ rotate_byte(inverse, 4) ^ 0x63;
        box[element] = static_cast<std::uint8_t>(affine);
        element ^= times_x(element);
        inverse = multiply(inverse, 0xF6);
    }
    return box;
}

constexpr Bytes s_box = make_s_box();

constexpr Bytes make_inverse_s_box()
{
    Bytes box{};
    for (unsigned i = 0; i < 256; ++i)
        box[s_box[i]] = static_cast<std::uint8_t>(i);
    return box;
}

constexpr Bytes inverse_s_box = make_inverse_s_box();

// What a byte adds to its column, by its row: substitution and mixing in one. Columns are words
// with row 0 in the lowest byte.
using Rows = std::array<std::array<std::uint32_t, 256>, 4>;

constexpr Rows make_rows(const Bytes& box, unsigned f0, unsigned f1, unsigned f2, unsigned f3)
{
    Rows rows{};
    for (unsigned i = 0; i < 256; ++i) {
        std::uint32_t column = multiply(box[i], f0) | multiply(box[i], f1) << 8 |
                               multiply(box[i], f2) << 16 | multiply(box[i], f3) << 24;
        for (auto& row : rows) {
            row[i] = column;
            column = column << 8 | column >> 24;
        }
    }
    return rows;
}

constexpr Rows encryption_rows = make_rows(s_box, 2, 1, 1, 3);
constexpr Rows decryption_rows = make_rows(inverse_s_box, 14, 9, 13, 11);

// One column of a round, of the four columns from which ShiftRows takes its bytes.
[[gnu::always_inline]] inline std::uint32_t
mix(const Rows& rows, std::uint32_t c0, std::uint32_t c1, std::uint32_t c2, std::uint32_t c3)
{
    return rows[0][c0 & 0xFF] ^ rows[1][c1 >> 8 & 0xFF] ^ rows[2][c2 >> 16 & 0xFF] ^
           rows[3][c3 >> 24];
}

// The same in the last round, which does not mix.
[[gnu::always_inline]] inline std::uint32_t
substitute(const Bytes& box, std::uint32_t c0, std::uint32_t c1, std::uint32_t c2, std::uint32_t c3)
{
    return box[c0 & 0xFF] | static_cast<std::uint32_t>(box[c1 >> 8 & 0xFF]) << 8 |
           static_cast<std::uint32_t>(box[c2 >> 16 & 0xFF]) << 16 |
           static_cast<std::uint32_t>(box[c3 >> 24]) << 24;
}

// The columns' words are moved as they lie in memory, which is little-endian.
struct Block {
    std::uint32_t c0, c1, c2, c3;
};

Block load(const unsigned char* bytes)
{
    Block block; // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::memcpy(&block, bytes, sizeof block);
    return block;
}

void store(unsigned char* bytes, const Block& block)
{
    std::memcpy(bytes, &block, sizeof block);
}

Block operator^(const Block& a, const Block& b)
{
    return {a.c0 ^ b.c0, a.c1 ^ b.c1, a.c2 ^ b.c2, a.c3 ^ b.c3};
}

Block operator^(const Block& a, const std::uint32_t* key)
{
    return {a.c0 ^ key[0], a.c1 ^ key[1], a.c2 ^ key[2], a.c3 ^ key[3]};
}

// FIPS 197, section 5.1. Unrolled and inlined, a chain of blocks takes a sixth less time.
[[gnu::always_inline]] inline Block encrypt(Block b, const std::uint32_t* key)
{
    const Rows& rows = encryption_rows;
    b = b ^ key;
#pragma GCC unroll 14
    for (int round = 1; round < rounds; ++round) {
        key += 4;
        b = Block{mix(rows, b.c0, b.c1, b.c2, b.c3), mix(rows, b.c1, b.c2, b.c3, b.c0),
                  mix(rows, b.c2, b.c3, b.c0, b.c1), mix(rows, b.c3, b.c0, b.c1, b.c2)} ^
            key;
    }
    const Bytes& box = s_box;
    return Block{substitute(box, b.c0, b.c1, b.c2, b.c3), substitute(box, b.c1, b.c2, b.c3, b.c0),
                 substitute(box, b.c2, b.c3, b.c0, b.c1), substitute(box, b.c3, b.c0, b.c1, b.c2)} ^
           (key + 4);
}

// FIPS 197, section 5.3.5: the same steps as in encryption, with the inverse of everything.
[[gnu::always_inline]] inline Block decrypt(Block b, const std::uint32_t* key)
{
    const Rows& rows = decryption_rows;
    b = b ^ key;
#pragma GCC unroll 14
    for (int round = 1; round < rounds; ++round) {
        key += 4;
        b = Block{mix(rows, b.c0, b.c3, b.c2, b.c1), mix(rows, b.c1, b.c0, b.c3, b.c2),
                  mix(rows, b.c2, b.c1, b.c0, b.c3), mix(rows, b.c3, b.c2, b.c1, b.c0)} ^
            key;
    }
    const Bytes& box = inverse_s_box;
    return Block{substitute(box, b.c0, b.c3, b.c2, b.c1), substitute(box, b.c1, b.c0, b.c3, b.c2),
                 substitute(box, b.c2, b.c1, b.c0, b.c3), substitute(box, b.c3, b.c2, b.c1, b.c0)} ^
           (key + 4);
}

// The inverse mixing of a column; the table's own substitution is undone first.
std::uint32_t unmix(std::uint32_t column)
{
    const std::uint32_t substituted = substitute(s_box, column, column, column, column);
    return mix(decryption_rows, substituted, substituted, substituted, substituted);
}

} // namespace

// FIPS 197, section 5.2, for keys of eight words.
void expand_aes_key_portable(const unsigned char* key, std::uint32_t* keys) noexcept
{
    std::memcpy(keys, key, 32);
    std::uint32_t round_constant = 1;
    for (int i = 8; i < key_words; ++i) {
        std::uint32_t word = keys[i - 1];
        if (i % 8 == 0) {
            word = word >> 8 | word << 24;
            word = substitute(s_box, word, word, word, word) ^ round_constant;
            round_constant = times_x(round_constant);
        } else if (i % 8 == 4) {
            word = substitute(s_box, word, word, word, word);
        }
        keys[i] = keys[i - 8] ^ word;
    }
}

void invert_aes_keys_portable(const std::uint32_t* keys, std::uint32_t* inverse) noexcept
{
    for (int i = 0; i < key_words; ++i) {
        const std::uint32_t word = keys[key_words - 4 - i / 4 * 4 + i % 4];
        const bool is_at_an_end = i < 4 || i >= key_words - 4;
        inverse[i] = is_at_an_end ? word : unmix(word);
    }
}

void encrypt_aes_portable(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                          unsigned char* out, std::size_t blocks) noexcept
{
    Block running = load(chain);
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        running = encrypt(load(in) ^ running, keys);
        store(out, running);
    }
    store(chain, running);
}

void decrypt_aes_portable(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                          unsigned char* out, std::size_t blocks) noexcept
{
    Block running = load(chain);
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        const Block cipher = load(in);
        store(out, decrypt(cipher, keys) ^ running);
        running = cipher;
    }
    store(chain, running);
}

} // namespace kr_internal
