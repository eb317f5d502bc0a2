#include <KRCommon/util/Guid.h>

#include <array>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t text_length = 36;
constexpr std::size_t byte_count = 16;

// Where each byte's two digits stand in the text, and where the hyphens do.
constexpr std::array<std::uint8_t, byte_count> digit_positions = {0,  2,  4,  6,  9,  11, 14, 16,
                                                                  19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::array<std::uint8_t, 4> hyphen_positions = {8, 13, 18, 23};

constexpr std::uint8_t no_digit = 0xFF;

// The value of each hexadecimal digit, by character.
constexpr auto digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    for (auto& value : values)
        value = no_digit;
    for (unsigned digit = 0; digit < 10; ++digit)
        values['0' + digit] = static_cast<std::uint8_t>(digit);
    for (unsigned digit = 10; digit < 16; ++digit) {
        values['A' + digit - 10] = static_cast<std::uint8_t>(digit);
        values['a' + digit - 10] = static_cast<std::uint8_t>(digit);
    }
    return values;
}();

std::uint8_t digit_value(char character) noexcept
{
    return digit_values[static_cast<unsigned char>(character)];
}

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
    std::copy(std::begin(guid.Data4), std::end(guid.Data4), bytes.begin() + 8);
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

// Hexadecimal numbers and marks as scanf takes them, in the "C" locale. A zero byte is none of
// them.
class Scanner {
public:
    explicit Scanner(std::string_view text) noexcept : rest_(text) {}

    // At most 8 characters wide. Keeps the low bits that the value has room for.
    template <typename Value>
    bool number(std::size_t width, Value& value) noexcept
    {
        blanks();
        std::string_view field = rest_.substr(0, width);
        const bool is_negative = !field.empty() && field.front() == '-';
        if (is_negative || (!field.empty() && field.front() == '+'))
            field.remove_prefix(1);
        const bool has_prefix =
            field.size() > 1 && field[0] == '0' && (field[1] == 'x' || field[1] == 'X');
        if (has_prefix)
            field.remove_prefix(2);
        else if (field.empty() || digit_value(field.front()) == no_digit)
            return false;
        std::uint32_t magnitude = 0;
        for (; !field.empty() && digit_value(field.front()) != no_digit; field.remove_prefix(1))
            magnitude = magnitude << 4 | digit_value(field.front());
        value = static_cast<Value>(is_negative ? 0 - magnitude : magnitude);
        rest_.remove_prefix(static_cast<std::size_t>(field.data() - rest_.data()));
        return true;
    }

    bool hyphen() noexcept
    {
        if (rest_.empty() || rest_.front() != '-')
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool word() noexcept
    {
        blanks();
        return !rest_.empty();
    }

private:
    void blanks() noexcept
    {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\v\f\r"), rest_.size()));
    }

    std::string_view rest_;
};

// Any other text of which ACE_Utils::UUID makes an identifier.
bool read_odd(std::string_view text, KR_GUID& guid) noexcept
{
    text = text.substr(0, text.find('\0'));
    if (text.size() < text_length)
        return false;
    Scanner scan(text);
    if (!(scan.number(8, guid.Data1) && scan.hyphen() && scan.number(4, guid.Data2) &&
          scan.hyphen() && scan.number(4, guid.Data3) && scan.hyphen() &&
          scan.number(2, guid.Data4[0]) && scan.number(2, guid.Data4[1]) && scan.hyphen()))
        return false;
    for (std::size_t index = 2; index < std::size(guid.Data4); ++index)
        if (!scan.number(2, guid.Data4[index]))
            return false;
    return text.size() == text_length || (scan.hyphen() && scan.word());
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

// "00", "01", ... "ff".
constexpr auto digit_pairs = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        pairs[2 * byte] = digits[byte >> 4];
        pairs[2 * byte + 1] = digits[byte & 0xF];
    }
    return pairs;
}();

} // namespace

std::string kr_to_string(const KR_GUID& guid)
{
    const Bytes bytes = bytes_of(guid);
    std::string text(text_length, '-');
    for (std::size_t index = 0; index < byte_count; ++index) {
        const char* const pair = digit_pairs.data() + std::size_t{2} * bytes[index];
        std::memcpy(text.data() + digit_positions[index], pair, 2);
    }
    return text;
}
