#include <KRCommon/text/Unicode.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace kr_internal;

TEST(Unicode, CharactersAsUtf8AndBack)
{
    struct Row {
        char32_t character;
        const char* bytes;
    };
    const Row rows[] = {{0x1, "\x01"},
                        {0x7F, "\x7F"},
                        {0x80, "\xC2\x80"},
                        {0x7FF, "\xDF\xBF"},
                        {0x800, "\xE0\xA0\x80"},
                        {0x20AC, "\xE2\x82\xAC"},
                        {0xFFFF, "\xEF\xBF\xBF"},
                        {0x10000, "\xF0\x90\x80\x80"},
                        {0x1F600, "\xF0\x9F\x98\x80"},
                        {0x10FFFF, "\xF4\x8F\xBF\xBF"}};
    for (const Row& row : rows) {
        char buffer[4];
        EXPECT_EQ(row.bytes, std::string(buffer, encode_utf8(row.character, buffer)));
        const char* position = row.bytes;
        EXPECT_EQ(row.character, decode_utf8(position));
        EXPECT_EQ('\0', *position);
    }
}

TEST(Unicode, EveryCharacterReturnsFromUtf8WithEveryByteInItsPlace)
{
    for (char32_t character = 0; character <= last_character; ++character) {
        char bytes[5] = {};
        const char* const end = encode_utf8(character, bytes);
        const char* position = bytes;
        ASSERT_EQ(character, decode_utf8(position)) << std::hex << unsigned(character);
        ASSERT_EQ(end, position);
        const auto first = static_cast<unsigned char>(bytes[0]);
        ASSERT_EQ(end - bytes - 1, continuation_count(first));
        for (const char* at = bytes + 1; at != end; ++at)
            ASSERT_TRUE(is_continuation(*at));
        if (end - bytes > 1) {
            const auto second = static_cast<unsigned char>(bytes[1]);
            ASSERT_EQ(!is_surrogate(character), may_follow(first, second));
        }
    }
}

TEST(Unicode, BytesThatBeginNoCharacter)
{
    for (unsigned byte = 0x80; byte < 0x100; ++byte)
        EXPECT_EQ(byte < 0xC2 || byte > 0xF4,
                  continuation_count(static_cast<unsigned char>(byte)) < 0)
            << byte;
    for (unsigned byte = 0; byte < 0x100; ++byte)
        EXPECT_EQ(byte >= 0x80 && byte < 0xC0, is_continuation(static_cast<char>(byte))) << byte;
}

// The shortest forms of RFC 3629 section 4 alone.
TEST(Unicode, SecondBytesThatMakeAFormTooLongOrNoCharacter)
{
    const struct {
        unsigned first, lowest, highest;
    } rows[] = {{0xC2, 0x80, 0xBF}, {0xDF, 0x80, 0xBF}, {0xE0, 0xA0, 0xBF}, {0xE1, 0x80, 0xBF},
                {0xEC, 0x80, 0xBF}, {0xED, 0x80, 0x9F}, {0xEE, 0x80, 0xBF}, {0xEF, 0x80, 0xBF},
                {0xF0, 0x90, 0xBF}, {0xF1, 0x80, 0xBF}, {0xF3, 0x80, 0xBF}, {0xF4, 0x80, 0x8F}};
    for (const auto& row : rows)
        for (unsigned second = 0x80; second < 0xC0; ++second)
            EXPECT_EQ(second >= row.lowest && second <= row.highest,
                      may_follow(static_cast<unsigned char>(row.first),
                                 static_cast<unsigned char>(second)))
                << row.first << ' ' << second;
}

TEST(Unicode, SurrogatesAndTheirPairs)
{
    for (char32_t unit = 0; unit <= 0x1'0000; ++unit) {
        ASSERT_EQ(unit >= 0xD800 && unit <= 0xDBFF, is_high_surrogate(unit));
        ASSERT_EQ(unit >= 0xDC00 && unit <= 0xDFFF, is_low_surrogate(unit));
        ASSERT_EQ(unit >= 0xD800 && unit <= 0xDFFF, is_surrogate(unit));
    }
    EXPECT_FALSE(is_surrogate(0x1'D800));
    EXPECT_EQ(U'\U00010000', character_of(0xD800, 0xDC00));
    EXPECT_EQ(U'\U0001F600', character_of(0xD83D, 0xDE00));
    EXPECT_EQ(last_character, character_of(0xDBFF, 0xDFFF));
}

} // namespace
