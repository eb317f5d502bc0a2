#include <KRCommon/util/String_Encryption.h>

#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Rijndael.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <cstddef>

namespace {

using kr_internal::CRijndael;
using kr_internal::digit_value;
using kr_internal::no_digit;

constexpr std::size_t block_size = CRijndael::block_size;
constexpr std::size_t block_characters = block_size / 2;
constexpr std::size_t block_digits = block_size * 2;

constexpr std::size_t secret_size = CRijndael::key_length + block_size;

// Random bytes. Neither half says anything about the secret without the other. Changing them makes
// all stored cipher texts unreadable.
constexpr unsigned char upper_half[secret_size] = {
    0x41, 0x70, 0x33, 0xFB, 0x87, 0xAA, 0x88, 0xBB, 0xC2, 0xE9, 0x30, 0x41, 0x2C, 0x4B, 0x7E, 0x88,
    0x54, 0x69, 0x07, 0xCC, 0x20, 0x76, 0xBA, 0x41, 0x8C, 0x83, 0x97, 0xAD, 0x4D, 0x90, 0x9D, 0x7C,
    0xB1, 0x24, 0xAB, 0x7B, 0x1B, 0x54, 0x8D, 0x85, 0xE3, 0xF4, 0x81, 0x3A, 0xF3, 0xE5, 0x00, 0xE6};
constexpr unsigned char lower_half[secret_size] = {
    0x2D, 0x08, 0xE4, 0xC9, 0x32, 0x27, 0xE4, 0x3C, 0xC4, 0x63, 0x3C, 0x47, 0xBD, 0x92, 0x5E, 0x3C,
    0xC3, 0x7F, 0x82, 0x59, 0xDB, 0x60, 0x74, 0x45, 0xCC, 0xFE, 0xDD, 0x06, 0xFE, 0xC8, 0x90, 0x92,
    0x74, 0xE5, 0xF8, 0x3C, 0xD9, 0x41, 0x22, 0x8C, 0xEA, 0xD8, 0xC0, 0xC2, 0x36, 0x31, 0xB2, 0xD7};

// The key and the initial chain after it, for as long as they are needed.
class Secret {
public:
    Secret() noexcept
    {
        // Volatile, or the compiler would store the result.
        const volatile unsigned char* const upper = upper_half;
        for (std::size_t i = 0; i < secret_size; ++i)
            bytes_[i] =
                static_cast<unsigned char>(upper[i] ^ (lower_half[secret_size - 1 - i] + i));
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { kr_internal::wipe(bytes_, sizeof bytes_); }

    [[nodiscard]] const unsigned char* key() const noexcept { return bytes_; }
    [[nodiscard]] const unsigned char* chain() const noexcept
    {
        return bytes_ + CRijndael::key_length;
    }

private:
    unsigned char bytes_[secret_size];
};

void set_secret_key(CRijndael& cipher)
{
    const Secret secret;
    cipher.MakeKey(secret.key(), secret.chain());
}

// A block of plain or cipher bytes, which leaves no trace.
struct Block {
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { kr_internal::wipe(bytes, sizeof bytes); }

    unsigned char bytes[block_size] = {};
};

// Characters at even places, zeros at odd ones and after the last.
void fill_block(Block& block, const char* characters, std::size_t count)
{
    for (std::size_t i = 0; i < block_characters; ++i) {
        block.bytes[2 * i] = i < count ? static_cast<unsigned char>(characters[i]) : 0;
        block.bytes[2 * i + 1] = 0;
    }
}

void write_digits(const Block& block, char* hex)
{
    for (const unsigned char byte : block.bytes) {
        *hex++ = kr_internal::upper_hex_digits[byte >> 4];
        *hex++ = kr_internal::upper_hex_digits[byte & 15];
    }
}

} // namespace

std::string encrypt_string(const std::string& plain)
{
    std::string hex;
    hex.resize(kr_internal::size_for(hex, kr_internal::cipher_text_size(plain.size())));
    const std::size_t blocks = hex.size() / block_digits;
    CRijndael cipher;
    set_secret_key(cipher);
    Block block;
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::size_t at = i * block_characters;
        fill_block(block, plain.data() + at, std::min(block_characters, plain.size() - at));
        cipher.Encrypt(block.bytes, block.bytes, block_size);
        write_digits(block, hex.data() + i * block_digits);
    }
    return hex;
}

namespace {

unsigned char read_pair(const char* pair)
{
    const unsigned high = digit_value(pair[0]);
    const unsigned low = digit_value(pair[1]);
    if (high == no_digit)
        return 0;
    return static_cast<unsigned char>(low == no_digit ? high : high * 16 + low);
}

// Zeros after the last byte.
void read_digits(Block& block, const char* hex, std::size_t bytes)
{
    for (std::size_t i = 0; i < block_size; ++i)
        block.bytes[i] = i < bytes ? read_pair(hex + 2 * i) : 0;
}

bool is_allowed(unsigned char character)
{
    switch (character) {
    case ';':
    case '-':
    case ',':
    case '=':
    case '.':
    case '_': return true;
    default:
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               kr_internal::is_decimal_digit(static_cast<char>(character));
    }
}

// Appends a block's characters up to the first that is not allowed; true when all are.
bool append_characters(const Block& block, std::string& plain)
{
    for (std::size_t i = 0; i < block_size; i += 2) {
        if (!is_allowed(block.bytes[i]))
            return false;
        plain += static_cast<char>(block.bytes[i]);
    }
    return true;
}

} // namespace

std::string decrypt_string(const std::string& hex)
{
    CRijndael cipher;
    set_secret_key(cipher);
    Block block;
    std::string plain;
    const std::size_t bytes = hex.size() / 2;
    for (std::size_t at = 0; at < bytes; at += block_size) {
        read_digits(block, hex.data() + 2 * at, bytes - at);
        cipher.Decrypt(block.bytes, block.bytes, block_size);
        if (!append_characters(block, plain))
            return plain;
    }
    // Quirk: the last place that was looked at is cut, a character that was copied included.
    if (!plain.empty())
        plain.pop_back();
    return plain;
}
