// Any bytes as hexadecimal digits, decoded up to the first pair that is none, and as bytes to be
// encoded, which must come back: with each set of instructions that the processor has, compared with
// the rules taken one digit at a time.

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/Text.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

using kr_internal::kernels;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

std::string decode_literally(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    std::string bytes;
    for (; text.size() >= 2; text.remove_prefix(2)) {
        const std::size_t high = digits.find(text[0]);
        const std::size_t low = digits.find(text[1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
            break;
        bytes += static_cast<char>((high < 16 ? high : high - 6) * 16 + (low < 16 ? low : low - 6));
    }
    return bytes;
}

// From and into memory without a byte to spare.
void require_decoded(std::string_view text, const std::string& expected)
{
    const std::size_t room = text.size() / 2;
    const std::unique_ptr<char[]> copy(new char[2 * room]);
    text.copy(copy.get(), 2 * room);
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[room]);
    const std::size_t count = kernels().decode_hex(copy.get(), room, bytes.get());
    require(std::string(bytes.get(), bytes.get() + count) == expected);
}

void require_round_trip(const std::uint8_t* data, std::size_t size)
{
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
    std::copy(data, data + size, bytes.get());
    const std::string text = kr_to_string(bytes.get(), static_cast<unsigned>(size));
    require(text.size() == 2 * size);
    require(text.find_first_not_of("0123456789ABCDEF") == std::string::npos);
    require(decode_literally(text) == std::string(data, data + size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto sets = kr_internal::present_instruction_sets();
    const std::string input(data, data + size);
    const std::string expected = decode_literally(input);
    for (const kr_internal::Instruction_Set set : sets) {
        const kr_internal::Forced_Kernels forced(set);
        require_decoded(input, expected);
        require_round_trip(data, size);
    }
    return 0;
}
