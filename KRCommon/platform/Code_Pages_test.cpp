#include <KRCommon/platform/Code_Pages.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using kr_platform::Code_Page;
using kr_platform::narrow;
using kr_platform::widen;
using namespace std::string_literals;

constexpr bool is_utf16 = sizeof(wchar_t) == 2; // as on Windows

struct Known_Text {
    const wchar_t* wide;
    std::string utf8;
};

// The first and the last character of each length, and their neighbours beside the surrogates.
const Known_Text known_texts[] = {
    {L"", ""},
    {L"camera 1", "camera 1"},
    {L"\x01\x7F", "\x01\x7F"},
    {L"\x80\xBF\xC0\xFF", "\xC2\x80\xC2\xBF\xC3\x80\xC3\xBF"},
    {L"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},
    {L"\u0FFF\u1000", "\xE0\xBF\xBF\xE1\x80\x80"},
    {L"25 \u20AC", "25 \xE2\x82\xAC"},
    {L"\uD7FF\uE000", "\xED\x9F\xBF\xEE\x80\x80"},
    {L"\uFEFFx", "\xEF\xBB\xBFx"},
    {L"\uFFFF", "\xEF\xBF\xBF"},
    {L"\U00010000", "\xF0\x90\x80\x80"},
    {L"a\U0001F600b", "a\xF0\x9F\x98\x80"s + "b"},
    {L"\U0003FFFF\U00040000", "\xF0\xBF\xBF\xBF\xF1\x80\x80\x80"},
    {L"\U000FFFFF\U00100000", "\xF3\xBF\xBF\xBF\xF4\x80\x80\x80"},
    {L"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
};

TEST(CodePageUtf8, ConvertsKnownTextsBothWays)
{
    for (const Known_Text& text : known_texts) {
        EXPECT_EQ(text.utf8, narrow(text.wide, Code_Page::utf8));
        EXPECT_EQ(text.wide, widen(text.utf8, Code_Page::utf8)) << text.utf8;
    }
}

TEST(CodePageUtf8, ReadsPairsOfSurrogates)
{
    const auto pair = [](unsigned high, unsigned low) {
        return narrow({static_cast<wchar_t>(high), static_cast<wchar_t>(low)}, Code_Page::utf8);
    };
    EXPECT_EQ("\xF0\x90\x80\x80", pair(0xD800, 0xDC00)); // U+10000
    EXPECT_EQ("\xF0\x90\x8F\xBF", pair(0xD800, 0xDFFF)); // U+103FF
    EXPECT_EQ("\xF0\x90\x90\x80", pair(0xD801, 0xDC00)); // U+10400
    EXPECT_EQ("\xF0\x9F\x98\x80", pair(0xD83D, 0xDE00)); // U+1F600
    EXPECT_EQ("\xF4\x8F\xB0\x80", pair(0xDBFF, 0xDC00)); // U+10FC00
    EXPECT_EQ("\xF4\x8F\xBF\xBF", pair(0xDBFF, 0xDFFF)); // U+10FFFF
}

TEST(CodePageUtf8, ReplacesSurrogatesWithoutTheirOtherHalf)
{
    const std::string replaced = "\xEF\xBF\xBD";
    const auto utf8 = [](const std::wstring& text) { return narrow(text, Code_Page::utf8); };
    for (const unsigned unit : {0xD800u, 0xD801u, 0xDBFFu, 0xDC00u, 0xDC01u, 0xDFFFu}) {
        const wchar_t lone = static_cast<wchar_t>(unit);
        EXPECT_EQ(replaced, utf8({lone})) << unit;
        EXPECT_EQ("a" + replaced + "b", utf8({L'a', lone, L'b'})) << unit;
    }
    const wchar_t high = 0xDBFF;
    const wchar_t low = 0xDC00;
    const std::string both = "\xF4\x8F\xB0\x80";
    EXPECT_EQ(replaced + both, utf8({high, high, low}));
    EXPECT_EQ(both + replaced, utf8({high, low, low}));
    EXPECT_EQ(replaced + replaced, utf8({low, high}));
    EXPECT_EQ(replaced + "\xEE\x80\x80", utf8({high, wchar_t(0xE000)}));
    EXPECT_EQ(replaced + "\xED\x9F\xBF", utf8({high, wchar_t(0xD7FF)}));
}

TEST(CodePageUtf8, ReplacesNumbersBeyondTheLastCharacter)
{
    if (is_utf16)
        GTEST_SKIP() << "16 bits hold no such number";
    for (const std::uint32_t number : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ("<\xEF\xBF\xBD>",
                  narrow({L'<', static_cast<wchar_t>(number), L'>'}, Code_Page::utf8))
            << number;
}

struct Damaged_Text {
    std::string bytes;
    std::size_t replacements; // U+FFFD that come of it
};

const Damaged_Text damaged_texts[] = {
    {"\x80", 1},
    {"\xBF", 1},
    {"\xC0\x80", 2}, // too long
    {"\xC1\xBF", 2},
    {"\xE0\x80\x80", 2},
    {"\xE0\x9F\xBF", 2},
    {"\xF0\x80\x80\x80", 3},
    {"\xF0\x8F\xBF\xBF", 3},
    {"\xED\xA0\x80", 2}, // surrogates
    {"\xED\xBF\xBF", 2},
    {"\xF4\x90\x80\x80", 3}, // above U+10FFFF
    {"\xF4\xBF\xBF\xBF", 3},
    {"\xF5\x80\x80\x80", 4},
    {"\xF8\x88\x80\x80\x80", 5},
    {"\xFF", 1},
    {"\xC2", 1}, // cut
    {"\xDF", 1},
    {"\xE2\x82", 1},
    {"\xF0\x9F", 1},
    {"\xF0\x9F\x98", 1},
    {"\xC2\xC2", 2},
    {"\xE1\x80\xC0", 2},
};

TEST(CodePageUtf8, ReplacesWhatIsNoUtf8)
{
    for (const Damaged_Text& text : damaged_texts) {
        const std::wstring replaced(text.replacements, wchar_t(0xFFFD));
        EXPECT_EQ(L"<" + replaced + L">", widen("<" + text.bytes + ">", Code_Page::utf8))
            << testing::PrintToString(text.bytes);
        EXPECT_EQ(L"<" + replaced, widen("<" + text.bytes, Code_Page::utf8))
            << testing::PrintToString(text.bytes);
    }
    EXPECT_EQ(L"\uFFFD\u20AC", widen("\xE2\x82\xE2\x82\xAC", Code_Page::utf8));
}

TEST(CodePages, EndATextAtItsFirstZero)
{
    for (const Code_Page page : {Code_Page::ansi, Code_Page::utf8}) {
        EXPECT_EQ("ab", narrow(L"ab\0cd"s, page));
        EXPECT_EQ("", narrow(L"\0cd"s, page));
        EXPECT_EQ(L"ab", widen("ab\0cd"s, page));
        EXPECT_EQ(L"", widen("\0cd"s, page));
    }
    EXPECT_EQ("\xEF\xBF\xBD", narrow({wchar_t(0xD800), L'\0', wchar_t(0xDC00)}, Code_Page::utf8));
    EXPECT_EQ(L"\uFFFD", widen("\xE2\x82\0\xAC"s, Code_Page::utf8));
}

TEST(CodePageAnsi, HoldsAscii)
{
    for (char c = 1; c > 0 && c < 127; ++c) {
        EXPECT_EQ(std::string(1, c), narrow(std::wstring(1, wchar_t(c)), Code_Page::ansi));
        EXPECT_EQ(std::wstring(1, wchar_t(c)), widen(std::string(1, c), Code_Page::ansi));
    }
}

TEST(CodePageAnsi, IsUtf8WhereWideTextIsUtf32)
{
    if (is_utf16)
        GTEST_SKIP() << "Windows has a code page of its own";
    for (const Known_Text& text : known_texts) {
        EXPECT_EQ(text.utf8, narrow(text.wide, Code_Page::ansi));
        EXPECT_EQ(text.wide, widen(text.utf8, Code_Page::ansi));
    }
}

TEST(CodePageAnsi, IsTheSystemsOwnWhereWideTextIsUtf16)
{
    if (widen("\x80\xC0\xDE", Code_Page::ansi) != L"\u20AC\u00C0\u00DE")
        GTEST_SKIP() << "the system's ANSI code page is not 1252";
    EXPECT_EQ("25 \x80", narrow(L"25 \u20AC", Code_Page::ansi));
    EXPECT_EQ("?", narrow(L"\u0416", Code_Page::ansi));
    EXPECT_EQ("a??b", narrow(L"a\U0001F600b", Code_Page::ansi));
    EXPECT_EQ(L"\u00E9\u00FF\u0178", widen("\xE9\xFF\x9F", Code_Page::ansi));
}

} // namespace
