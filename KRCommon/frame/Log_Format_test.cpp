#include <KRCommon/frame/Log_Format.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace kr_internal;
using namespace std::string_literals;

TEST(LogFormat, ThreadNumberHasAtLeastFourDigits)
{
    struct Row {
        unsigned thread;
        const char* text;
    };
    const Row rows[] = {
        {0, "T0000"},         {7, "T0007"},           {42, "T0042"},
        {999, "T0999"},       {1000, "T1000"},        {9999, "T9999"},
        {10'000, "T10000"},   {65'536, "T65536"},     {4'294'967'295u, "T4294967295"},
        {999'999, "T999999"}, {1'000'000, "T1000000"}};
    for (const Row& row : rows) {
        Format_Buffer buffer;
        EXPECT_EQ(row.text, with_stamp("T%04t", "", row.thread, buffer) + ""s);
    }
}

TEST(LogFormat, EveryThreadNumberOfFiveDigitsHasItsZeros)
{
    Format_Buffer buffer;
    for (unsigned thread = 0; thread < 20'000; ++thread) {
        const std::string digits = std::to_string(thread);
        const std::string zeros(digits.size() < 4 ? 4 - digits.size() : 0, '0');
        ASSERT_EQ("T" + zeros + digits, with_stamp("T%04t", "", thread, buffer) + ""s);
    }
}

TEST(LogFormat, OnlyTheFirstThreadDirectiveIsReplaced)
{
    struct Row {
        const char* format;
        const char* expected;
    };
    const Row rows[] = {{"%T T%04t INF %s\n", "%T T0042 INF %s\n"},
                        {"%04t", "0042"},
                        {"a %04t b %04t", "a 0042 b %04t"},
                        {"%%04t %04t", "%%04t 0042"},
                        {"%%%04t", "%%0042"},
                        {"", ""},
                        {"%", "%"},
                        {"%%", "%%"},
                        {"%t %4t %05t", "%t %4t %05t"},
                        {"100%", "100%"}};
    for (const Row& row : rows) {
        Format_Buffer buffer;
        EXPECT_EQ(row.expected, with_stamp(row.format, "", 42, buffer) + ""s) << row.format;
    }
}

TEST(LogFormat, AFormatWithoutDirectiveIsNotCopied)
{
    Format_Buffer buffer;
    const char* const format = "%T\n";
    EXPECT_EQ(format, with_stamp(format, "", 42, buffer));
}

TEST(LogFormat, TheFirstStampDirectiveIsReplaced)
{
    struct Row {
        const char* format;
        const char* expected;
    };
    const Row rows[] = {{"%T T%04t INF %s\n", "12:00:00.000001 T0042 INF %s\n"},
                        {"%04t %T", "0042 12:00:00.000001"},
                        {"%T", "12:00:00.000001"},
                        {"a %T b %T", "a 12:00:00.000001 b %T"},
                        {"%%T %T", "%%T 12:00:00.000001"},
                        {"%t %5T %s", "%t %5T %s"}};
    for (const Row& row : rows) {
        Format_Buffer buffer;
        EXPECT_EQ(row.expected, with_stamp(row.format, "12:00:00.000001", 42, buffer) + ""s)
            << row.format;
    }
}

TEST(LogFormat, HarmlessTextsHaveNoControlCharactersAndFit)
{
    EXPECT_TRUE(is_harmless("", 0));
    EXPECT_TRUE(is_harmless("C:\\a b\\\xe4\xf6\xfc %s", 100));
    EXPECT_TRUE(is_harmless("abc", 3));
    EXPECT_FALSE(is_harmless("abcd", 3));
    EXPECT_FALSE(is_harmless("a\n", 100));
    EXPECT_FALSE(is_harmless("a\x7f", 100));
    EXPECT_FALSE(is_harmless(std::string_view("a\0b", 3), 100));
}

TEST(LogFormat, EscapeMakesControlCharactersVisible)
{
    EXPECT_EQ("", escape("", 100));
    EXPECT_EQ("a\\r\\nb\\t\\x1b[31m\\x7f", escape("a\r\nb\t\x1b[31m\x7f", 100));
    EXPECT_EQ("a\\x00b", escape(std::string_view("a\0b", 3), 100));
    EXPECT_EQ("C:\\new", escape("C:\\new", 100)) << "a backslash stays single";
}

TEST(LogFormat, EscapeCutsAtTheRoom)
{
    EXPECT_EQ("abcdef", escape("abcdef", 6));
    EXPECT_EQ("abc...", escape("abcdefg", 6));
    EXPECT_EQ("...", escape("abcd", 3));
    for (std::size_t room = 3; room < 40; ++room) {
        const std::string cut = escape(std::string(100, '\n'), room);
        EXPECT_EQ(room, cut.size());
        EXPECT_EQ("...", cut.substr(room - 3));
    }
}

TEST(LogFormat, EscapeCutsAUtf8CharacterAsAWhole)
{
    const std::string euro = "\xe2\x82\xac";
    EXPECT_EQ(euro + "...", escape(euro + euro + euro, 6));
    EXPECT_EQ(euro + "...", escape(euro + euro + euro, 7));
    EXPECT_EQ(euro + "...", escape(euro + euro + euro, 8));
    EXPECT_EQ(euro + euro + euro, escape(euro + euro + euro, 9));
}

TEST(LogFormat, EscapeCutsBeforeACharacterWhateverItsBytesAre)
{
    for (int code = 0x80; code <= 0xFF; ++code) {
        const char byte = static_cast<char>(code);
        const bool is_continuation = code < 0xC0;
        const std::string kept = is_continuation ? "ab"s : "ab\xc3"s;
        EXPECT_EQ(kept + "...", escape("ab\xc3"s + byte + "defgh", 6)) << code;
    }
}

TEST(LogFormat, EscapeDropsThreeContinuationBytesAtMost)
{
    // Bytes of a code page that look like it lose no more than that.
    EXPECT_EQ(std::string(4, '\x80') + "...", escape(std::string(100, '\x80'), 10));
}

} // namespace
