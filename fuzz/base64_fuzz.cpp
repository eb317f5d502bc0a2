// Any bytes as a Base64 text, decoded in every way and compared with the rules taken one character
// at a time; then as the bytes to be encoded, which must come back. With each set of instructions
// that the processor has, and each must give the same.

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/Base64.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

unsigned value_of(char character)
{
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t value = alphabet.find(character);
    return value == std::string_view::npos ? 0 : static_cast<unsigned>(value);
}

std::string decode_literally(std::string_view text)
{
    std::string bytes;
    for (;;) {
        while (!text.empty() && (text[0] == '\r' || text[0] == '\n'))
            text.remove_prefix(1);
        if (text.empty())
            return bytes;
        std::string group(text.substr(0, 4));
        text.remove_prefix(group.size());
        group.resize(4, '=');
        const unsigned r1 = value_of(group[1]);
        const unsigned r2 = value_of(group[2]);
        bytes += static_cast<char>((value_of(group[0]) << 2) ^ ((r1 >> 4) & 3));
        if (group[2] != '=')
            bytes += static_cast<char>(((r1 << 4) & 255) ^ ((r2 >> 2) & 15));
        if (group[3] != '=')
            bytes += static_cast<char>(((r2 << 6) + value_of(group[3])) & 255);
    }
}

// Into a buffer that may be too small: all or nothing.
void require_bounded(const std::string& text, const std::string& expected, std::size_t capacity)
{
    if (capacity > expected.size() + 1) // one less than none
        return;
    constexpr unsigned char untouched = 0xEE;
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[capacity]);
    std::fill_n(buffer.get(), capacity, untouched);
    std::size_t length = 0;
    const bool fits = KR_Base64::decode(text, buffer.get(), capacity, length);
    require(length == expected.size() && fits == (length <= capacity));
    std::string all = fits ? expected : "";
    all.resize(capacity, static_cast<char>(untouched));
    require(all == std::string(buffer.get(), buffer.get() + capacity));
}

void require_decoded(const std::string& text)
{
    const std::string expected = decode_literally(text);
    std::string bytes = "before";
    KR_Base64::decode(text, bytes);
    require(bytes == expected);

    unsigned count = 0;
    KR_Base64::decode(text, nullptr, count);
    require(count == expected.size());

    // Without a byte to spare, and not null even when there are none.
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[count]);
    KR_Base64::decode(text, buffer.get(), count);
    require(std::string(buffer.get(), buffer.get() + count) == expected);
    require((text.size() + 3) / 4 * 3 >= count);
    if (text.size() % 4 == 0)
        require(KR_Base64::decode_length(text) >= count);
    for (const std::size_t capacity : {0U, count / 2, count - 1, count, count + 1})
        require_bounded(text, expected, capacity);

    std::string both = text;
    KR_Base64::decode(both, both);
    require(both == expected);

    const bool has_breaks = text.find_first_of("\r\n") != std::string::npos;
    if (!has_breaks && text.size() % 4 == 0 && text.find('=') == std::string::npos)
        require(KR_Base64::decode_length(text) == expected.size());
}

void require_lines(const std::string& text)
{
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', begin)) {
        require(end - begin == 76);
        begin = end + 1;
    }
    require(text.size() - begin <= 76 && (text.empty() || begin < text.size()));
}

// Returns both texts.
std::string require_round_trip(const std::string& bytes)
{
    std::string texts;
    for (const bool line_breaks : {false, true}) {
        std::string text;
        KR_Base64::encode(bytes, text, line_breaks);
        if (line_breaks)
            require_lines(text);
        else
            require(text.size() == (bytes.size() + 2) / 3 * 4 &&
                    KR_Base64::decode_length(text) == bytes.size());
        std::string back;
        KR_Base64::decode(text, back);
        require(back == bytes);
        texts += text;
    }
    return texts;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto sets = kr_internal::present_instruction_sets();
    const std::string input(data, data + size);
    std::string texts;
    for (const kr_internal::Instruction_Set set : sets) {
        const kr_internal::Forced_Kernels forced(set);
        require_decoded(input);
        const std::string own_texts = require_round_trip(input);
        require(texts.empty() || own_texts == texts);
        texts = own_texts;
    }
    return 0;
}
