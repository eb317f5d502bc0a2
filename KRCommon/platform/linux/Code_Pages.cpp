// The Linux side of Code_Pages.h; its twin is ../windows/Code_Pages.cpp.

#include <KRCommon/platform/Code_Pages.h>

#include <cstdint>
#include <limits>
#include <string_view>

namespace kr_platform {

static_assert(sizeof(wchar_t) == 4, "wide text is UTF-32");

namespace {

constexpr std::uint32_t replacement = 0xFFFD;
constexpr std::uint32_t last_character = 0x10'FFFF;

template <typename Character>
std::basic_string_view<Character> up_to_zero(const std::basic_string<Character>& text) noexcept
{
    constexpr auto limit = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (text.size() > limit)
        return {};
    return std::basic_string_view<Character>(text).substr(0, text.find(Character(0)));
}

bool is_high_surrogate(std::uint32_t unit) noexcept
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool is_low_surrogate(std::uint32_t unit) noexcept
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Takes one character, or one unit that is none, from the front.
std::uint32_t take_wide(std::wstring_view& text) noexcept
{
    const std::uint32_t unit = static_cast<char32_t>(text[0]);
    const std::uint32_t next = text.size() > 1 ? static_cast<char32_t>(text[1]) : 0;
    if (is_high_surrogate(unit) && is_low_surrogate(next)) {
        text.remove_prefix(2);
        return 0x1'0000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
    }
    text.remove_prefix(1);
    const bool is_none = is_high_surrogate(unit) || is_low_surrogate(unit) || unit > last_character;
    return is_none ? replacement : unit;
}

void append_byte(std::string& out, std::uint32_t byte)
{
    out.push_back(static_cast<char>(static_cast<unsigned char>(byte)));
}

// RFC 3629 section 3.
void append_utf8(std::string& out, std::uint32_t character)
{
    if (character < 0x80)
        return append_byte(out, character);
    if (character < 0x800) {
        append_byte(out, 0xC0 | character >> 6);
    } else if (character < 0x1'0000) {
        append_byte(out, 0xE0 | character >> 12);
        append_byte(out, 0x80 | (character >> 6 & 0x3F));
    } else {
        append_byte(out, 0xF0 | character >> 18);
        append_byte(out, 0x80 | (character >> 12 & 0x3F));
        append_byte(out, 0x80 | (character >> 6 & 0x3F));
    }
    append_byte(out, 0x80 | (character & 0x3F));
}

// How many bytes follow a character's first one; -1 for a byte that is no first one.
int continuation_count(std::uint32_t first) noexcept
{
    if (first < 0x80)
        return 0;
    if (first < 0xC2 || first > 0xF4)
        return -1;
    return first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
}

// Whether a first byte and the bits of the second can only become a form that is too long, a
// surrogate or a number above 0x10FFFF.
bool is_ruled_out(std::uint32_t first, std::uint32_t second_bits) noexcept
{
    switch (first) {
    case 0xE0: return second_bits < 0x20;
    case 0xED: return second_bits >= 0x20;
    case 0xF0: return second_bits < 0x10;
    case 0xF4: return second_bits >= 0x10;
    default: return false;
    }
}

std::uint32_t byte_at(std::string_view text, std::size_t index) noexcept
{
    return static_cast<unsigned char>(text[index]);
}

// Takes one character, or the bytes that become one U+FFFD, from the front.
std::uint32_t take_utf8(std::string_view& text) noexcept
{
    const std::uint32_t first = byte_at(text, 0);
    text.remove_prefix(1);
    const int count = continuation_count(first);
    if (count < 0)
        return replacement;
    std::uint32_t character = count == 0 ? first : first & (0x3Fu >> count);
    for (int i = 0; i < count; ++i) {
        if (text.empty() || (byte_at(text, 0) & 0xC0) != 0x80)
            return replacement;
        const std::uint32_t bits = byte_at(text, 0) & 0x3F;
        text.remove_prefix(1);
        if (i == 0 && is_ruled_out(first, bits))
            return replacement;
        character = character << 6 | bits;
    }
    return character;
}

} // namespace

std::string narrow(const std::wstring& text, Code_Page)
{
    std::string out;
    std::wstring_view rest = up_to_zero(text);
    out.reserve(rest.size());
    while (!rest.empty())
        append_utf8(out, take_wide(rest));
    return out;
}

std::wstring widen(const std::string& text, Code_Page)
{
    std::wstring out;
    std::string_view rest = up_to_zero(text);
    out.reserve(rest.size());
    while (!rest.empty())
        out.push_back(static_cast<wchar_t>(take_utf8(rest)));
    return out;
}

} // namespace kr_platform
