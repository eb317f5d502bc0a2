#include <KRCommon/util/Guid.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/text/Scanner.h>

#include <array>
#include <cstring>
#include <string_view>

namespace {

using kr_internal::digit_value;

constexpr std::size_t text_length = 36;
constexpr std::size_t byte_count = 16;

// Where each byte's two digits stand in the text, and where the hyphens do.
constexpr std::array<std::uint8_t, byte_count> digit_positions = {0,  2,  4,  6,  9,  11, 14, 16,
                                                                  19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::array<std::uint8_t, 4> hyphen_positions = {8, 13, 18, 23};

// The bytes in the order of their digits in the text.
using Bytes = std::array<std::uint8_t, byte_count>;

KR_GUID guid_of(const Bytes& bytes) noexcept
{
    KR_GUID guid;
    guid.Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 |
                 static_cast<std::uint32_t>(bytes[1]) << 16 |
                 static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::copy(bytes.begin() + 8, bytes.end(), std::begin(guid.Data4));
    return guid;
}

Bytes bytes_of(const KR_GUID& guid) noexcept
{
    Bytes bytes = {
        static_cast<std::uint8_t>(guid.Data1 >> 24), static_cast<std::uint8_t>(guid.Data1 >> 16),
        static_cast<std::uint8_t>(guid.Data1 >> 8),  static_cast<std::uint8_t>(guid.Data1),
        static_cast<std::uint8_t>(guid.Data2 >> 8),  static_cast<std::uint8_t>(guid.Data2),
        static_cast<std::uint8_t>(guid.Data3 >> 8),  static_cast<std::uint8_t>(guid.Data3)};
    std::memcpy(bytes.data() + 8, guid.Data4, sizeof guid.Data4);
    return bytes;
}

std::string_view without_braces(std::string_view text) noexcept
{
    if (text.size() > 2 && text.front() == '{' && text.back() == '}')
        return text.substr(1, text.size() - 2);
    return text;
}

// The plain form. False, and guid as it was, for any other.
bool read_plain(std::string_view text, KR_GUID& guid) noexcept
{
    if (text.size() != text_length)
        return false;
    for (const std::size_t position : hyphen_positions)
        if (text[position] != '-')
            return false;
    Bytes bytes{};
    unsigned seen = 0;
    for (std::size_t index = 0; index < byte_count; ++index) {
        const std::size_t position = digit_positions[index];
        const unsigned high = digit_value(text[position]);
        const unsigned low = digit_value(text[position + 1]);
        seen |= high | low;
        bytes[index] = static_cast<std::uint8_t>(high << 4 | low);
    }
    if (seen > 0xF)
        return false;
    guid = guid_of(bytes);
    return true;
}

// Any other text of which ACE_Utils::UUID makes an identifier.
bool read_odd(std::string_view text, KR_GUID& guid) noexcept
{
    text = text.substr(0, text.find('\0'));
    if (text.size() < text_length)
        return false;
    kr_internal::Scanner scan(text);
    if (!(scan.hexadecimal(8, guid.Data1) && scan.mark('-') && scan.hexadecimal(4, guid.Data2) &&
          scan.mark('-') && scan.hexadecimal(4, guid.Data3) && scan.mark('-') &&
          scan.hexadecimal(2, guid.Data4[0]) && scan.hexadecimal(2, guid.Data4[1]) &&
          scan.mark('-')))
        return false;
    for (std::size_t index = 2; index < std::size(guid.Data4); ++index)
        if (!scan.hexadecimal(2, guid.Data4[index]))
            return false;
    // after the last digits, when there is more, a hyphen and a word
    return text.size() == text_length || (scan.mark('-') && scan.blanks() && !scan.rest().empty());
}

} // namespace

KR_GUID kr_to_guid(const std::string& text) noexcept
{
    const std::string_view bare = without_braces(text);
    KR_GUID guid;
    if (read_plain(bare, guid) || read_odd(bare, guid))
        return guid;
    return {};
}

namespace {

void write(const KR_GUID& guid, char* out) noexcept
{
    const Bytes bytes = bytes_of(guid);
    char digits[2 * byte_count];
    kr_internal::kernels().encode_hex(bytes.data(), byte_count, digits);
    for (char& digit : digits)
        digit = static_cast<char>(digit | 0x20); // lower case
    const auto put = [&](std::size_t at, std::size_t first, std::size_t count) {
        std::memcpy(out + at, digits + first, count);
    };
    put(0, 0, 8);
    put(9, 8, 4);
    put(14, 12, 4);
    put(19, 16, 4);
    put(24, 20, 12);
    for (const std::size_t position : hyphen_positions)
        out[position] = '-';
}

} // namespace

std::string kr_to_string(const KR_GUID& guid)
{
    std::string text(text_length, '-');
    write(guid, text.data());
    return text;
}

KR_Guid_Text kr_to_guid_text(const KR_GUID& guid) noexcept
{
    KR_Guid_Text text;
    write(guid, text.characters);
    return text;
}

namespace {

// What is wrong with a text that is no plain identifier; of one in braces there is one after it.
KR_Parse_Result wrong_of(std::string_view text, std::size_t begin) noexcept
{
    const std::string_view bare = text.substr(begin);
    for (std::size_t at = 0; at < std::min(bare.size(), text_length); ++at) {
        const bool is_hyphen = std::find(hyphen_positions.begin(), hyphen_positions.end(), at) !=
                               hyphen_positions.end();
        if (is_hyphen ? bare[at] != '-' : digit_value(bare[at]) == kr_internal::no_digit)
            return {KR_Parse_Error::character, begin + at};
    }
    const std::size_t end = begin + text_length;
    if (text.size() < end + begin)
        return {KR_Parse_Error::cut, text.size()};
    if (begin > 0 && text[end] != '}')
        return {KR_Parse_Error::character, end};
    return {KR_Parse_Error::surplus, end + begin};
}

} // namespace

KR_Parse_Result kr_try_to_guid(std::string_view text, KR_GUID& out) noexcept
{
    if (read_plain(without_braces(text), out))
        return {KR_Parse_Error::none, text.size()};
    return wrong_of(text, !text.empty() && text.front() == '{' ? 1 : 0);
}
