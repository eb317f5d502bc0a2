#include <KRCommon/text/Digits.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using namespace kr_internal;

TEST(Digits, EachCharacterIsWhatItStandsFor)
{
    for (int code = std::numeric_limits<char>::min(); code <= std::numeric_limits<char>::max();
         ++code) {
        const char c = static_cast<char>(code);
        const auto lower = std::string(lower_hex_digits).find(c);
        const auto upper = std::string(upper_hex_digits).find(c);
        const auto digit = lower != std::string::npos ? lower : upper;
        EXPECT_EQ(digit == std::string::npos ? no_digit : digit, digit_value(c)) << code;
        EXPECT_EQ(std::string("0123456789").find(c) != std::string::npos, is_decimal_digit(c))
            << code;
    }
}

TEST(Digits, AreSixteenOfEitherCase)
{
    EXPECT_EQ("0123456789abcdef", std::string(lower_hex_digits));
    EXPECT_EQ("0123456789ABCDEF", std::string(upper_hex_digits));
}

TEST(Digits, EachByteHasItsPair)
{
    const auto pairs = hex_pairs(upper_hex_digits);
    EXPECT_EQ("00010203", std::string(pairs.data(), 8));
    EXPECT_EQ("9F", std::string(pairs.data() + 2 * 0x9F, 2));
    EXPECT_EQ("FF", std::string(pairs.data() + 2 * 0xFF, 2));
}

} // namespace
