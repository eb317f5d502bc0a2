#include <KRCommon/util/String_Encryption.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Rijndael.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using kr_internal::CRijndael;
using kr_internal::digit_value;
using kr_internal::no_digit;

constexpr std::size_t block_size = CRijndael::block_size;

constexpr std::size_t secret_size = CRijndael::key_length + block_size;

// Random bytes. Neither half says anything about the secret without the other. Changing them makes
// all stored cipher texts unreadable.
constexpr unsigned char upper_half[secret_size] = {
    0x41, 0x70, 0x33, 0xFB, 0x87, 0xAA, 0x88, 0xBB, 0xC2, 0xE9, 0x30, 0x41, 0x2C, 0x4B, 0x7E, 0x88,
    0x54, 0x69, 0x07, 0xCC, 0x20, 0x76, 0xBA, 0x41, 0x8C, 0x83, 0x97, 0xAD, 0x4D, 0x90, 0x9D, 0x7C,
    0xB1, 0x24, 0xAB, 0x7B, 0x1B, 0x54, 0x8D, 0x85, 0xE3, 0xF4, 0x81, 0x3A, 0xF3, 0xE5, 0x00, 0xE6};
constexpr unsigned char lower_half[secret_size] = {
    0xD7, 0xB3, 0x33, 0x39, 0xC6, 0xC5, 0xDE, 0xF1, 0x94, 0x2B, 0x4B, 0xE4, 0x48, 0x05, 0xF3, 0x83,
    0xA2, 0xA1, 0xDA, 0x11, 0x1A, 0xF2, 0x14, 0xE3, 0x5D, 0x8D, 0x7A, 0xF6, 0x75, 0x9F, 0x9D, 0xE2,
    0x5C, 0x7F, 0xB4, 0xE0, 0x6B, 0x61, 0x89, 0xEB, 0x64, 0x0D, 0x51, 0x5D, 0xF5, 0x11, 0x36, 0x5C};

// The key and the initial chain after it, for as long as they are needed.
class Secret {
public:
    Secret() noexcept
    {
        // The compiler is not to see what comes out, or it would store that.
        const unsigned char* __restrict upper = upper_half;
        asm volatile("" : "+r"(upper));
        for (std::size_t i = 0; i < secret_size; ++i)
            bytes_[i] = upper[i] ^ lower_half[i];
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

// Some blocks of plain or cipher bytes, which leave no trace.
struct Chunk {
    static constexpr std::size_t size = 8 * block_size; // a text as a rule
    static constexpr std::size_t characters = size / 2;

    Chunk() = default; // NOLINT(cppcoreguidelines-pro-type-member-init)
    Chunk(const Chunk&) = delete;
    Chunk& operator=(const Chunk&) = delete;
    ~Chunk() { kr_internal::wipe(bytes, sizeof bytes); }

    unsigned char bytes[size];
};

constexpr std::size_t whole_blocks(std::size_t bytes)
{
    return (bytes + block_size - 1) / block_size * block_size;
}

void widen_block(const char* characters, unsigned char* block)
{
    std::uint16_t units[block_size / 2];
    for (std::size_t i = 0; i < block_size / 2; ++i)
        units[i] = static_cast<unsigned char>(characters[i]);
    std::memcpy(block, units, block_size);
}

// Characters at even places, zeros at odd ones and after the last; returns the bytes of all blocks.
std::size_t widen(const char* characters, std::size_t count, Chunk& chunk)
{
    unsigned char* block = chunk.bytes;
    for (; count >= block_size / 2; count -= block_size / 2) {
        widen_block(characters, block);
        characters += block_size / 2;
        block += block_size;
    }
    if (count > 0) {
        std::memset(block, 0, block_size);
        for (std::size_t i = 0; i < count; ++i)
            block[2 * i] = static_cast<unsigned char>(characters[i]);
        block += block_size;
    }
    return static_cast<std::size_t>(block - chunk.bytes);
}

} // namespace

std::string encrypt_string(const std::string& plain)
{
    std::string hex;
    hex.resize(kr_internal::size_for(hex, kr_internal::cipher_text_size(plain.size())));
    CRijndael cipher;
    set_secret_key(cipher);
    Chunk chunk;
    for (std::size_t at = 0; at < plain.size(); at += Chunk::characters) {
        const std::size_t count = std::min(Chunk::characters, plain.size() - at);
        const std::size_t size = widen(plain.data() + at, count, chunk);
        cipher.Encrypt(chunk.bytes, chunk.bytes, size);
        kr_internal::kernels().encode_hex(chunk.bytes, size, hex.data() + 4 * at);
    }
    return hex;
}

namespace {

constexpr auto allowed = [] {
    std::array<bool, 256> table{};
    for (const char* range : {"az", "AZ", "09", ";;", "--", ",,", "==", "..", "__"})
        for (char character = range[0]; character <= range[1]; ++character)
            table[static_cast<unsigned char>(character)] = true;
    return table;
}();

unsigned char read_pair(const char* pair)
{
    const unsigned high = digit_value(pair[0]);
    const unsigned low = digit_value(pair[1]);
    if (high == no_digit)
        return 0;
    return static_cast<unsigned char>(low == no_digit ? high : high * 16 + low);
}

// Zeros after the last byte up to the end of its block; returns the bytes of all blocks.
std::size_t read_digits(const char* hex, std::size_t count, Chunk& chunk)
{
    const std::size_t size = whole_blocks(count);
    std::size_t done = kr_internal::kernels().decode_hex(hex, count, chunk.bytes);
    for (; done < count; ++done) // from the first pair on that is not two digits
        chunk.bytes[done] = read_pair(hex + 2 * done);
    std::memset(chunk.bytes + count, 0, size - count);
    return size;
}

// Moves the characters together, up to the first that is not allowed; returns how many.
std::size_t narrow(Chunk& chunk, std::size_t size)
{
    std::size_t count = 0;
    for (; count < size / 2 && allowed[chunk.bytes[2 * count]]; ++count)
        chunk.bytes[count] = chunk.bytes[2 * count];
    return count;
}

} // namespace

std::string decrypt_string(const std::string& hex)
{
    CRijndael cipher;
    set_secret_key(cipher);
    Chunk chunk;
    std::string plain;
    const std::size_t bytes = hex.size() / 2;
    for (std::size_t at = 0; at < bytes; at += Chunk::size) {
        const std::size_t size =
            read_digits(hex.data() + 2 * at, std::min(Chunk::size, bytes - at), chunk);
        cipher.Decrypt(chunk.bytes, chunk.bytes, size);
        const std::size_t count = narrow(chunk, size);
        plain.append(reinterpret_cast<const char*>(chunk.bytes), count);
        if (count < size / 2)
            return plain;
    }
    // Quirk: the last place that was looked at is cut, a character that was copied included.
    if (!plain.empty())
        plain.pop_back();
    return plain;
}
