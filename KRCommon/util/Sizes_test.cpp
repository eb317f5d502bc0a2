#include <KRCommon/util/Sizes.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using namespace kr_internal;

constexpr std::uint64_t highest = std::numeric_limits<std::uint32_t>::max();

// What std::string can hold in a 32-bit process.
struct Text_Of_32_Bits {
    static constexpr std::uint64_t longest = 0x3FFF'FFFF;
    [[nodiscard]] std::uint64_t max_size() const { return longest; }
};

TEST(Sizes, OfCipherTextsDoNotWrapAt32Bits)
{
    EXPECT_EQ(0U, cipher_text_size(0));
    EXPECT_EQ(32U, cipher_text_size(1));
    EXPECT_EQ(32U, cipher_text_size(8));
    EXPECT_EQ(64U, cipher_text_size(9));
    EXPECT_EQ(0xFFFF'FFE0U, cipher_text_size(1'073'741'816));
    EXPECT_EQ(0x1'0000'0000U, cipher_text_size(1'073'741'817));
    EXPECT_EQ(0x1'0000'0000U, cipher_text_size(Text_Of_32_Bits::longest));
    EXPECT_EQ(0x4'0000'0000U, cipher_text_size(highest));
}

TEST(Sizes, OfHexadecimalTextsDoNotWrapAt32Bits)
{
    EXPECT_EQ(0U, hex_size(0));
    EXPECT_EQ(0x1'0000'0000U, hex_size(0x8000'0000));
    EXPECT_EQ(0x1'FFFF'FFFEU, hex_size(highest));
}

TEST(Sizes, OfBase64TextsDoNotWrapAt32Bits)
{
    struct Row {
        std::uint64_t bytes, characters, with_breaks;
    };
    constexpr Row rows[] = {{0, 0, 0},
                            {1, 4, 4},
                            {3, 4, 4},
                            {4, 8, 8},
                            {57, 76, 76},
                            {58, 80, 81},
                            {114, 152, 153},
                            {115, 156, 158},
                            {0xBFFF'FFFD, 0xFFFF'FFFC, 0x1'035E'50D3},
                            {0xBFFF'FFFE, 0x1'0000'0000, 0x1'035E'50D7},
                            {highest, 0x1'5555'5554, 0x1'59D3'1673}};
    for (const Row& row : rows) {
        EXPECT_EQ(row.characters, base64_size(row.bytes, false)) << row.bytes;
        EXPECT_EQ(row.with_breaks, base64_size(row.bytes, true)) << row.bytes;
    }
}

TEST(Sizes, ThatAContainerCannotHaveAreALackOfMemory)
{
    const Text_Of_32_Bits text;
    EXPECT_EQ(0U, size_for(text, 0));
    EXPECT_EQ(Text_Of_32_Bits::longest, size_for(text, Text_Of_32_Bits::longest));
    for (const std::uint64_t size : {Text_Of_32_Bits::longest + 1, cipher_text_size(1'073'741'817),
                                     cipher_text_size(268'435'449), highest, highest + 2})
        EXPECT_THROW(static_cast<void>(size_for(text, size)), std::bad_alloc) << size;
    EXPECT_EQ(1'073'741'792U, size_for(text, cipher_text_size(268'435'448)));
    EXPECT_THROW(
        static_cast<void>(size_for(std::string(), std::numeric_limits<std::uint64_t>::max())),
        std::bad_alloc);
}

TEST(Sizes, OfMoreThan32BitsAreALackOfMemoryWhereThereAreNoMore)
{
    EXPECT_EQ(0U, size_of_32_bits(0));
    EXPECT_EQ(0xFFFF'FFFFU, size_of_32_bits(highest));
    EXPECT_THROW(size_of_32_bits(highest + 1), std::bad_alloc);
    EXPECT_THROW(size_of_32_bits(highest + 133), std::bad_alloc);
}

TEST(Sizes, WithinMemoryHandsOnResultsAndOtherExceptions)
{
    EXPECT_EQ(5, within_memory([] { return 5; }));
    EXPECT_THROW(within_memory([] { std::string().resize(std::string().max_size() + 1); }),
                 std::bad_alloc);
    EXPECT_THROW(within_memory([] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_THROW(within_memory([] { throw std::out_of_range("x"); }), std::out_of_range);
}

} // namespace
