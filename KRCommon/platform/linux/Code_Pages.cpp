// The Linux side of Code_Pages.h; its twin is ../windows/Code_Pages.cpp.

#include <KRCommon/platform/Code_Pages.h>

#include <KRCommon/text/Unicode.h>

#include <cstdint>
#include <limits>
#include <string_view>

namespace kr_platform {

static_assert(sizeof(wchar_t) == 4, "wide text is UTF-32");

namespace {

using namespace kr_internal;

constexpr char32_t replacement = 0xFFFD;

template <typename Character>
std::basic_string_view<Character> up_to_zero(const std::basic_string<Character>& text) noexcept
{
    constexpr auto limit = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (text.size() > limit)
        return {};
    return std::basic_string_view<Character>(text).substr(0, text.find(Character(0)));
}

// Takes one character, or one unit that is none, from the front.
char32_t take_wide(std::wstring_view& text) noexcept
{
    const auto unit = static_cast<char32_t>(text[0]);
    const char32_t next = text.size() > 1 ? static_cast<char32_t>(text[1]) : 0;
    if (is_high_surrogate(unit) && is_low_surrogate(next)) {
        text.remove_prefix(2);
        return character_of(unit, next);
    }
    text.remove_prefix(1);
    const bool is_none = is_surrogate(unit) || unit > last_character;
    return is_none ? replacement : unit;
}

void append_utf8(std::string& out, char32_t character)
{
    char bytes[4];
    out.append(bytes, encode_utf8(character, bytes));
}

// Takes one character, or the bytes that become one U+FFFD, from the front.
char32_t take_utf8(std::string_view& text) noexcept
{
    const auto first = static_cast<unsigned char>(text[0]);
    text.remove_prefix(1);
    const int count = continuation_count(first);
    if (count < 0)
        return replacement;
    char32_t character = count == 0 ? first : first & (0x3Fu >> count);
    for (int i = 0; i < count; ++i) {
        if (text.empty() || !is_continuation(text[0]))
            return replacement;
        const auto next = static_cast<unsigned char>(text[0]);
        text.remove_prefix(1);
        if (i == 0 && !may_follow(first, next))
            return replacement;
        character = character << 6 | (next & 0x3Fu);
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
