#include <KRCommon/text/Scanner.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace {

using kr_internal::no_digit;
using kr_internal::Scanner;

// Texts of what numbers are made of, and of what stands beside them.
template <typename Check>
void for_each_short_text(const std::string& characters, std::size_t length, Check check)
{
    std::size_t count = 1;
    for (std::size_t i = 0; i < length; ++i)
        count *= characters.size();
    for (std::size_t number = 0; number < count; ++number) {
        std::string text;
        for (std::size_t rest = number, i = 0; i < length; ++i, rest /= characters.size())
            text += characters[rest % characters.size()];
        check(text);
    }
}

TEST(Scanner, ReadsDecimalsAsTheCLibraryDoes)
{
    for (std::size_t length = 0; length <= 5; ++length)
        for_each_short_text("019-+ a", length, [](const std::string& text) {
            int expected = 77;
            int taken = 0;
            const bool is_number = std::sscanf(text.c_str(), "%3d%n", &expected, &taken) == 1;
            int value = 77;
            Scanner scan(text);
            ASSERT_EQ(is_number, scan.decimal(3, value)) << text;
            ASSERT_EQ(expected, value) << text;
            if (is_number) {
                ASSERT_EQ(text.substr(static_cast<std::size_t>(taken)), scan.rest()) << text;
            }
        });
}

TEST(Scanner, ReadsHexadecimalsAsTheCLibraryDoes)
{
    for (std::size_t length = 1; length <= 5; ++length)
        for_each_short_text("01fFx-+ ", length, [](const std::string& text) {
            if (text.find('x') != std::string::npos)
                return; // C libraries differ on a prefix without a digit after it
            unsigned expected = 77;
            int taken = 0;
            const bool is_number = std::sscanf(text.c_str(), "%4x%n", &expected, &taken) == 1;
            unsigned value = 77;
            Scanner scan(text);
            ASSERT_EQ(is_number, scan.hexadecimal(4, value)) << text;
            ASSERT_EQ(expected, value) << text;
            if (is_number) {
                ASSERT_EQ(text.substr(static_cast<std::size_t>(taken)), scan.rest()) << text;
            }
        });
}

TEST(Scanner, TakesAPrefixOfHexadecimals)
{
    for (const char* text : {"0x1F", "0X1f", "+0x1F", " 0x01f"}) {
        int value = 0;
        EXPECT_TRUE(Scanner(text).hexadecimal(8, value)) << text;
        EXPECT_EQ(0x1F, value) << text;
    }
    int value = 7;
    Scanner alone("0x-");
    EXPECT_TRUE(alone.hexadecimal(8, value)) << "a prefix alone is a zero";
    EXPECT_EQ(0, value);
    EXPECT_EQ("-", alone.rest());
    Scanner narrow("0x1F");
    EXPECT_TRUE(narrow.hexadecimal(3, value)) << "the prefix counts";
    EXPECT_EQ(1, value);
    EXPECT_EQ("F", narrow.rest());
}

TEST(Scanner, KeepsTheLowBitsOfANumber)
{
    std::uint8_t byte = 0;
    EXPECT_TRUE(Scanner("123456ab").hexadecimal(8, byte));
    EXPECT_EQ(0xAB, byte);
    std::uint16_t word = 0;
    EXPECT_TRUE(Scanner("-1").hexadecimal(8, word));
    EXPECT_EQ(0xFFFF, word);
    std::uint32_t number = 0;
    EXPECT_TRUE(Scanner("ffffffff").hexadecimal(8, number));
    EXPECT_EQ(0xFFFF'FFFF, number);
}

TEST(Scanner, TakesMarksBlanksSignsAndDigitsOneByOne)
{
    Scanner scan("\t\n\v\f\r --+9aG");
    EXPECT_FALSE(scan.mark('-'));
    EXPECT_TRUE(scan.blanks());
    EXPECT_TRUE(scan.blanks());
    EXPECT_TRUE(scan.mark('-'));
    EXPECT_TRUE(scan.minus());
    EXPECT_FALSE(scan.minus()) << "a plus";
    EXPECT_FALSE(scan.minus()) << "no sign";
    EXPECT_EQ(9U, scan.digit(10));
    EXPECT_EQ(no_digit, scan.digit(10));
    EXPECT_EQ(10U, scan.digit(16));
    EXPECT_EQ(no_digit, scan.digit(16));
    EXPECT_EQ("G", scan.rest());
}

TEST(Scanner, AnEmptyTextHasNothing)
{
    Scanner scan("");
    int value = 3;
    EXPECT_TRUE(scan.blanks());
    EXPECT_FALSE(scan.minus());
    EXPECT_FALSE(scan.hex_prefix());
    EXPECT_FALSE(scan.mark('\0'));
    EXPECT_EQ(no_digit, scan.digit(16));
    EXPECT_FALSE(scan.decimal(4, value));
    EXPECT_FALSE(scan.hexadecimal(4, value));
    EXPECT_EQ(3, value);
}

TEST(Scanner, AZeroIsNoBlankAndNoDigit)
{
    Scanner scan(std::string_view("\0 1", 3));
    int value = 3;
    EXPECT_FALSE(scan.decimal(3, value));
    EXPECT_EQ(3U, scan.rest().size());
}

} // namespace
