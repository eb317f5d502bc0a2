#include <KRCommon/util/Code_Pages.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using namespace std::string_literals;

constexpr bool is_utf16 = sizeof(wchar_t) == 2; // as on Windows

// Characters as wide text: pairs of surrogates where wide characters have 16 bits.
std::wstring wide(const std::u32string& characters)
{
    std::wstring text;
    for (const char32_t character : characters) {
        if (is_utf16 && character >= 0x10000) {
            text += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
            text += static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
        } else {
            text += static_cast<wchar_t>(character);
        }
    }
    return text;
}

// Written down from the table of RFC 3629 section 3.
std::string utf8(char32_t c)
{
    const auto byte = [](char32_t value) { return static_cast<char>(value); };
    if (c < 0x80)
        return {byte(c)};
    if (c < 0x800)
        return {byte(0xC0 + c / 64), byte(0x80 + c % 64)};
    if (c < 0x10000)
        return {byte(0xE0 + c / 4096), byte(0x80 + c / 64 % 64), byte(0x80 + c % 64)};
    return {byte(0xF0 + c / 262144), byte(0x80 + c / 4096 % 64), byte(0x80 + c / 64 % 64),
            byte(0x80 + c % 64)};
}

bool is_surrogate(char32_t character)
{
    return character >= 0xD800 && character <= 0xDFFF;
}

struct Known_Text {
    std::u32string characters;
    std::string utf8;
};

const Known_Text known_texts[] = {
    {U"", ""},
    {U"camera 1", "camera 1"},
    {U"\u007F\u0080", "\x7F\xC2\x80"},
    {U"25 \u20AC", "25 \xE2\x82\xAC"},
    {U"na\u00EFve", "na\xC3\xAFve"},
    {U"\u041A\u0430\u043C\u0435\u0440\u0430", "\xD0\x9A\xD0\xB0\xD0\xBC\xD0\xB5\xD1\x80\xD0\xB0"},
    {U"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},
    {U"\uD7FF\uE000", "\xED\x9F\xBF\xEE\x80\x80"},
    {U"\uFEFFx", "\xEF\xBB\xBFx"}, // the byte order mark is kept
    {U"\uFFFE\uFFFF", "\xEF\xBF\xBE\xEF\xBF\xBF"},
    {U"\U00010000", "\xF0\x90\x80\x80"},
    {U"a\U0001F600b", "a\xF0\x9F\x98\x80"s + "b"},
    {U"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
};

TEST(KrToUtf8, ConvertsKnownTexts)
{
    for (const Known_Text& text : known_texts)
        EXPECT_EQ(text.utf8, kr_to_utf8(wide(text.characters)));
}

TEST(Utf8ToWidechar, ConvertsKnownTexts)
{
    for (const Known_Text& text : known_texts)
        EXPECT_EQ(wide(text.characters), utf8_to_widechar(text.utf8)) << text.utf8;
}

TEST(KrToUtf8, ConvertsEveryCharacterAndBack)
{
    for (char32_t c = 1; c <= 0x10FFFF; ++c) {
        if (is_surrogate(c))
            continue;
        const std::wstring text = wide({c});
        const std::string bytes = kr_to_utf8(text);
        ASSERT_EQ(utf8(c), bytes) << std::uint32_t(c);
        ASSERT_EQ(text, utf8_to_widechar(bytes)) << std::uint32_t(c);
    }
}

TEST(KrToUtf8, ReadsSurrogatePairsOnBothSystems)
{
    EXPECT_EQ("\xF0\x90\x80\x80", kr_to_utf8({wchar_t(0xD800), wchar_t(0xDC00)}));
    EXPECT_EQ("\xF0\x9F\x98\x80!", kr_to_utf8({wchar_t(0xD83D), wchar_t(0xDE00), L'!'}));
    EXPECT_EQ("\xF4\x8F\xBF\xBF", kr_to_utf8({wchar_t(0xDBFF), wchar_t(0xDFFF)}));
    for (char32_t c = 0x10000; c <= 0x10FFFF; c += 0x3FF) {
        const wchar_t high = static_cast<wchar_t>(0xD7C0 + (c >> 10));
        const wchar_t low = static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
        ASSERT_EQ(utf8(c), kr_to_utf8({high, low})) << std::uint32_t(c);
    }
}

TEST(KrToUtf8, ReplacesEverySurrogateWithoutItsOtherHalf)
{
    const std::string replaced = "\xEF\xBF\xBD";
    for (unsigned c = 0xD800; c <= 0xDFFF; ++c) {
        const wchar_t lone = static_cast<wchar_t>(c);
        ASSERT_EQ(replaced, kr_to_utf8({lone})) << c;
        ASSERT_EQ("a" + replaced + "b", kr_to_utf8({L'a', lone, L'b'})) << c;
    }
    const wchar_t high = 0xD83D;
    const wchar_t low = 0xDE00;
    EXPECT_EQ(replaced + "\xF0\x9F\x98\x80", kr_to_utf8({high, high, low}));
    EXPECT_EQ("\xF0\x9F\x98\x80" + replaced, kr_to_utf8({high, low, low}));
    EXPECT_EQ(replaced + replaced, kr_to_utf8({low, high}));
    EXPECT_EQ(replaced, kr_to_utf8({high, L'\0', low})); // the zero ends the text between them
}

TEST(KrToUtf8, ReplacesNumbersThatAreNoCharacter)
{
    if (is_utf16)
        GTEST_SKIP() << "16 bits hold no such number";
    for (const std::uint32_t number : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ("<\xEF\xBF\xBD>", kr_to_utf8({L'<', static_cast<wchar_t>(number), L'>'}))
            << number;
}

struct Invalid_Text {
    std::string bytes;
    std::size_t replacements; // U+FFFD that come of it
};

// As the converter of Windows does it.
const Invalid_Text invalid_texts[] = {
    {"\x80", 1},
    {"\xBF\xBF", 2},
    {"\xC0\x80", 2}, // overlong
    {"\xC1\xBF", 2},
    {"\xE0\x80\x80", 2},
    {"\xE0\x9F\xBF", 2},
    {"\xF0\x80\x80\x80", 3},
    {"\xF0\x8F\xBF\xBF", 3},
    {"\xED\xA0\x80", 2}, // surrogates
    {"\xED\xBF\xBF", 2},
    {"\xED\xA0\xBD\xED\xB8\x80", 4},
    {"\xF4\x90\x80\x80", 3}, // above U+10FFFF
    {"\xF5\x80\x80\x80", 4},
    {"\xF7\xBF\xBF\xBF", 4},
    {"\xF8\x88\x80\x80\x80", 5}, // forms of 5 and 6 bytes
    {"\xFC\x84\x80\x80\x80\x80", 6},
    {"\xFE", 1},
    {"\xFF\xFF", 2},
    {"\xC2", 1}, // cut
    {"\xE2", 1},
    {"\xE2\x82", 1},
    {"\xF0", 1},
    {"\xF0\x9F", 1},
    {"\xF0\x9F\x98", 1},
    {"\xC2\xC2", 2},
    {"\xE2\x82\xE2\x82", 2},
    {"\xF0\x9F\x98\xF0\x9F\x98", 2},
    {"\xE1\x80\xC0", 2},
};

TEST(Utf8ToWidechar, ReplacesInvalidBytesWithinAText)
{
    for (const Invalid_Text& text : invalid_texts) {
        const std::wstring replaced(text.replacements, wchar_t(0xFFFD));
        EXPECT_EQ(L"<" + replaced + L"/tail", utf8_to_widechar("<" + text.bytes + "/tail"))
            << testing::PrintToString(text.bytes);
    }
}

TEST(Utf8ToWidechar, ReplacesInvalidBytesAtTheEndOfAText)
{
    for (const Invalid_Text& text : invalid_texts) {
        const std::wstring replaced(text.replacements, wchar_t(0xFFFD));
        EXPECT_EQ(L"text " + replaced, utf8_to_widechar("text " + text.bytes))
            << testing::PrintToString(text.bytes);
    }
}

TEST(Utf8ToWidechar, GoesOnWithTheCharacterBehindACutOne)
{
    EXPECT_EQ(L"\uFFFD\u20AC...", utf8_to_widechar("\xE2\x82\xE2\x82\xAC..."));
    EXPECT_EQ(L"\uFFFD\u0080...", utf8_to_widechar("\xC2\xC2\x80..."));
    EXPECT_EQ(wide(U"\uFFFD\U0001F600..."), utf8_to_widechar("\xF0\x9F\x98\xF0\x9F\x98\x80..."));
}

TEST(CodePages, TheFirstZeroEndsEveryText)
{
    EXPECT_EQ("ab", kr_to_utf8(L"ab\0cd"s));
    EXPECT_EQ("ab", kr_to_multibyte(L"ab\0cd"s));
    EXPECT_EQ(L"ab", utf8_to_widechar("ab\0cd"s));
    EXPECT_EQ(L"ab", kr_to_widechar("ab\0cd"s));
    EXPECT_EQ("", kr_to_utf8(L"\0cd"s));
    EXPECT_EQ(L"", utf8_to_widechar("\0cd"s));
    EXPECT_EQ(L"\uFFFD", utf8_to_widechar("\xE2\x82\0\xAC"s));
}

TEST(CodePages, TheEmptyTextStaysEmpty)
{
    EXPECT_EQ("", kr_to_utf8(L""));
    EXPECT_EQ("", kr_to_multibyte(L""));
    EXPECT_EQ(L"", utf8_to_widechar(""));
    EXPECT_EQ(L"", kr_to_widechar(""));
}

TEST(CodePages, ConvertTextsOfAMebibyte)
{
    constexpr std::size_t count = 1 << 20;
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += "\xE2\x82\xAC";
    const std::wstring euros(count, L'\u20AC');
    EXPECT_TRUE(bytes == kr_to_utf8(euros));
    EXPECT_TRUE(euros == utf8_to_widechar(bytes));

    const std::string plain(count, 'x');
    const std::wstring wide_plain(count, L'x');
    EXPECT_TRUE(plain == kr_to_multibyte(wide_plain));
    EXPECT_TRUE(wide_plain == kr_to_widechar(plain));
}

TEST(AnsiCodePage, HoldsAsciiOnBothSystems)
{
    for (char c = 1; c > 0 && c < 127; ++c) {
        EXPECT_EQ(std::string(1, c), kr_to_multibyte(std::wstring(1, wchar_t(c))));
        EXPECT_EQ(std::wstring(1, wchar_t(c)), kr_to_widechar(std::string(1, c)));
    }
}

TEST(AnsiCodePage, IsUtf8OnLinux)
{
    if (is_utf16)
        GTEST_SKIP() << "Windows has a code page of its own";
    for (const Known_Text& text : known_texts) {
        EXPECT_EQ(text.utf8, kr_to_multibyte(wide(text.characters)));
        EXPECT_EQ(wide(text.characters), kr_to_widechar(text.utf8));
    }
    EXPECT_EQ(L"\uFFFD!", kr_to_widechar("\xE9!"));
}

class WesternCodePage : public testing::Test {
protected:
    void SetUp() override
    {
        if (kr_to_widechar("\x80\xC0\xDE") != L"\u20AC\u00C0\u00DE")
            GTEST_SKIP() << "the system's ANSI code page is not 1252";
    }
};

TEST_F(WesternCodePage, ConvertsWhatItHolds)
{
    EXPECT_EQ("25 \x80", kr_to_multibyte(L"25 \u20AC"));
    EXPECT_EQ("na\xEFve", kr_to_multibyte(L"na\u00EFve"));
    EXPECT_EQ(L"25 \u20AC", kr_to_widechar("25 \x80"));
    EXPECT_EQ(L"\u00E9\u00FF\u0178", kr_to_widechar("\xE9\xFF\x9F"));
}

TEST_F(WesternCodePage, AsksForWhatItLacks)
{
    EXPECT_EQ("?", kr_to_multibyte(L"\u0416"));
    EXPECT_EQ("a??b", kr_to_multibyte(L"a\U0001F600b"));
}

TEST_F(WesternCodePage, ConvertsEveryByteAndBack)
{
    for (int c = 1; c < 256; ++c) {
        const std::string byte(1, static_cast<char>(c));
        EXPECT_EQ(byte, kr_to_multibyte(kr_to_widechar(byte))) << c;
    }
}

} // namespace
