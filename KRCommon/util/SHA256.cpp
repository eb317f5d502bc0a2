#include <KRCommon/util/SHA256.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/util/Hash_Message.h>
#include <KRCommon/util/Little_Endian.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

using kr_internal::put_u32;

constexpr std::int32_t length_index = 56; // where a last block holds the message's length

// FIPS 180-4 section 5.3.3.
constexpr std::uint32_t initial[8] = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                      0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};

// The compression of whole blocks.
void process_blocks(std::uint32_t* h, const unsigned char* data, std::size_t blocks)
{
    kr_internal::kernels().compress_sha256(h, data, blocks);
}

} // namespace

void cSHA256::reset() noexcept
{
    std::copy(std::begin(initial), std::end(initial), h_);
    length_ = 0;
    std::memset(block_, 0, sizeof block_);
    index_ = 0;
    computed_ = false;
    corrupted_ = false;
}

bool cSHA256::add_to_length(std::uint64_t bytes) noexcept
{
    const std::uint64_t before = length_;
    length_ += 8 * bytes;
    return length_ >= before;
}

void cSHA256::processBlock() noexcept
{
    process_blocks(h_, block_, 1);
    index_ = 0;
}

void cSHA256::feed(const unsigned char* data, std::size_t length) noexcept
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

void cSHA256::input(const unsigned char* data, unsigned length) noexcept
{
    feed(data, length);
}

cSHA256& cSHA256::operator<<(const char* text) noexcept
{
    if (text != nullptr)
        feed(reinterpret_cast<const unsigned char*>(text), std::strlen(text));
    return *this;
}

cSHA256& cSHA256::operator<<(const wchar_t* text) noexcept
{
    if (text == nullptr)
        return *this;
    kr_internal::feed_wide(
        text, [this](const unsigned char* data, std::size_t length) { feed(data, length); });
    return *this;
}

void cSHA256::pad() noexcept
{
    block_[index_] = 0x80;
    if (index_ >= length_index) {
        processBlock();
        std::memset(block_, 0, sizeof block_);
    }
    put_u32(block_, length_index, __builtin_bswap32(static_cast<std::uint32_t>(length_ >> 32)));
    put_u32(block_, length_index + 4, __builtin_bswap32(static_cast<std::uint32_t>(length_)));
    processBlock();
}

bool cSHA256::computeHash(unsigned* digest) noexcept
{
    if (corrupted_)
        return false;
    if (!computed_)
        pad();
    computed_ = true;
    std::copy(std::begin(h_), std::end(h_), digest);
    return true;
}

bool cSHA256::computeHash(std::string& digest)
{
    unsigned words[8];
    if (!computeHash(words))
        return false;
    digest = kr_internal::hex_of_words(words);
    return true;
}
