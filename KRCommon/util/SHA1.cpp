#include <KRCommon/util/SHA1.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/util/Hash_Message.h>
#include <KRCommon/util/Little_Endian.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

using kr_internal::put_u32;

constexpr std::int32_t length_index = 56; // where a last block holds the message's length

// The compression of whole blocks.
void process_blocks(std::uint32_t* h, const unsigned char* data, std::size_t blocks)
{
    kr_internal::kernels().compress_sha1(h, data, blocks);
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
    kr_internal::feed_blocks(block_, index_, data, length,
                             [this](const unsigned char* blocks, std::size_t count) {
                                 process_blocks(h_, blocks, count);
                             });
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

cSHA1& cSHA1::operator<<(const wchar_t* text) noexcept
{
    if (text == nullptr)
        return *this;
    kr_internal::feed_wide(
        text, [this](const unsigned char* data, std::size_t length) { feed(data, length); });
    return *this;
}

void cSHA1::pad() noexcept
{
    block_[index_] = 0x80;
    if (index_ >= length_index) {
        processBlock();
        std::memset(block_, 0, sizeof block_);
    }
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
