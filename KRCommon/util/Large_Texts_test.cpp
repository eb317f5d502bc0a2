// Texts as long as a 32-bit process can have them, where sizes of 32 bits wrap. A program of its
// own: it may use 4 GiB, and each test takes more than one of them.

#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Code_Pages.h>
#include <KRCommon/util/String_Encryption.h>
#include <KRCommon/util/Text.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

static_assert(sizeof(std::size_t) == 4, "nothing wraps where sizes have 64 bits");

constexpr std::size_t wrapping = 1'073'741'817; // whose cipher text needs 2^32 characters

// Null where the memory cannot be had.
std::unique_ptr<std::string> long_text(std::size_t size)
{
    try {
        return std::make_unique<std::string>(size, 'a');
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

#define KR_LONG_TEXT(text, size)                                                                   \
    const auto text##_owner = long_text(size);                                                     \
    if (text##_owner == nullptr)                                                                   \
        GTEST_SKIP() << "no memory for a text of " << (size) << " characters";                     \
    std::string& text = *text##_owner

TEST(LargeTexts_Slow, WhoseCipherTextWrapsAreALackOfMemory)
{
    KR_LONG_TEXT(text, wrapping);
    EXPECT_THROW(encrypt_string(text), std::bad_alloc);
}

TEST(LargeTexts_Slow, OfTheGreatestLengthHaveNoCipherText)
{
    KR_LONG_TEXT(text, std::string().max_size());
    EXPECT_THROW(encrypt_string(text), std::bad_alloc);
}

TEST(LargeTexts_Slow, OfTheGreatestLengthDecrypt)
{
    KR_LONG_TEXT(text, std::string().max_size());
    EXPECT_LT(decrypt_string(text).size(), 16U);
}

TEST(LargeTexts_Slow, OfTheGreatestLengthHaveNoBase64)
{
    KR_LONG_TEXT(text, std::string().max_size());
    std::string out;
    EXPECT_THROW(KR_Base64::encode(text, out, false), std::bad_alloc);
    EXPECT_THROW(KR_Base64::encode(text, out, true), std::bad_alloc);
}

TEST(LargeTexts_Slow, OfTheGreatestLengthDecodeFromBase64)
{
    KR_LONG_TEXT(text, std::string().max_size());
    std::string out;
    try {
        KR_Base64::decode(text, out);
        EXPECT_EQ(805'306'367U, out.size()); // 268,435,455 groups, and one of three characters
    } catch (const std::bad_alloc&) {
        std::cout << "no memory for the bytes\n";
    }
    unsigned count = 0;
    KR_Base64::decode(text, nullptr, count);
    EXPECT_EQ(805'306'367U, count);
    EXPECT_EQ(0U, KR_Base64::decode_length(text));
    text.pop_back();
    text.pop_back();
    text.pop_back();
    EXPECT_EQ(805'306'365U, KR_Base64::decode_length(text));
}

TEST(LargeTexts_Slow, AreNotReadWhereTheirBase64WouldBeTooLong)
{
    const char byte = 'a';
    std::string out;
    for (const unsigned length : {0x3000'0000U, 0xC000'0000U, 0xC000'0001U, 0xFFFF'FFFFU})
        for (const bool line_breaks : {false, true})
            EXPECT_THROW(KR_Base64::encode(&byte, length, out, line_breaks), std::bad_alloc)
                << length;
}

TEST(LargeTexts_Slow, ThatNoWideTextHoldsAreALackOfMemory)
{
    KR_LONG_TEXT(text, std::wstring().max_size() + 1);
    EXPECT_THROW(utf8_to_widechar(text), std::bad_alloc);
    EXPECT_THROW(kr_to_widechar(text), std::bad_alloc);
}

TEST(LargeTexts_Slow, WideOnesWhoseUtf8IsTooLongAreALackOfMemory)
{
    std::wstring text;
    try {
        text.assign(std::wstring().max_size(), L'\u20AC');
    } catch (const std::bad_alloc&) {
        GTEST_SKIP() << "no memory for a wide text";
    }
    EXPECT_THROW(kr_to_utf8(text), std::bad_alloc);
}

TEST(LargeTexts_Slow, OfMorePiecesThanAListHoldsAreALackOfMemory)
{
    KR_LONG_TEXT(text, 100'000'000);
    std::vector<std::string> pieces;
    ASSERT_LT(pieces.max_size(), text.size());
    EXPECT_THROW(kr_split(pieces, text, "a"), std::bad_alloc);
    EXPECT_TRUE(pieces.empty());
}

} // namespace
