#include <KRCommon/util/Little_Endian.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

using namespace kr_internal;

namespace {

using Bytes = std::array<unsigned char, 12>;
using testing::ElementsAre;

// Numbers go to odd and even offsets, with bytes around them that have to stay.
class Little_Endian : public testing::Test {
protected:
    Little_Endian() { bytes_.fill(0xEE); }

    Bytes bytes_;
};

TEST_F(Little_Endian, U8IsOneByte)
{
    put_number(bytes_.data(), 2, std::uint8_t{0xFE});
    EXPECT_EQ(0xEE, bytes_[1]);
    EXPECT_EQ(0xFE, bytes_[2]);
    EXPECT_EQ(0xEE, bytes_[3]);
    EXPECT_EQ(254, get_number<std::uint8_t>(bytes_.data(), 2));
}

TEST_F(Little_Endian, I8IsTwosComplement)
{
    bytes_[2] = 0xFE;
    EXPECT_EQ(-2, get_number<std::int8_t>(bytes_.data(), 2));
    bytes_[2] = 0x80;
    EXPECT_EQ(-128, get_number<std::int8_t>(bytes_.data(), 2));
}

TEST_F(Little_Endian, U16HasTheLowByteFirst)
{
    put_u16(bytes_.data(), 1, 0xF1E2);
    EXPECT_EQ((Bytes{0xEE, 0xE2, 0xF1, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}),
              bytes_);
}

TEST_F(Little_Endian, U32HasTheLowByteFirst)
{
    put_u32(bytes_.data(), 3, 0xF1E2D3C4);
    EXPECT_EQ((Bytes{0xEE, 0xEE, 0xEE, 0xC4, 0xD3, 0xE2, 0xF1, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}),
              bytes_);
    EXPECT_EQ(0xF1E2D3C4U, get_u32(bytes_.data(), 3));
}

TEST_F(Little_Endian, I32IsTwosComplement)
{
    put_number(bytes_.data(), 2, std::int32_t{-500000});
    EXPECT_EQ((Bytes{0xEE, 0xEE, 0xE0, 0x5E, 0xF8, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}),
              bytes_);
    EXPECT_EQ(-500000, get_number<std::int32_t>(bytes_.data(), 2));
}

TEST_F(Little_Endian, U64HasTheLowByteFirst)
{
    put_number(bytes_.data(), 1, std::uint64_t{0xF1E2D3C4B5A69788});
    EXPECT_EQ((Bytes{0xEE, 0x88, 0x97, 0xA6, 0xB5, 0xC4, 0xD3, 0xE2, 0xF1, 0xEE, 0xEE, 0xEE}),
              bytes_);
    EXPECT_EQ(0xF1E2D3C4B5A69788U, get_u64(bytes_.data(), 1));
}

TEST_F(Little_Endian, I64IsTwosComplement)
{
    put_number(bytes_.data(), 2, std::int64_t{-2});
    EXPECT_EQ((Bytes{0xEE, 0xEE, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xEE, 0xEE}),
              bytes_);
    EXPECT_EQ(-2, get_number<std::int64_t>(bytes_.data(), 2));
}

TEST_F(Little_Endian, FloatIsItsSinglePrecisionBits)
{
    put_u32(bytes_.data(), 3, 0xBE800000);
    EXPECT_EQ(-0.25F, get_number<float>(bytes_.data(), 3));
}

TEST_F(Little_Endian, FloatsStandOneBehindTheOther)
{
    const float written[2] = {1.5F, -2.0F}; // 0x3FC00000, 0xC0000000
    put_number(bytes_.data(), 1, written);
    EXPECT_EQ((Bytes{0xEE, 0x00, 0x00, 0xC0, 0x3F, 0x00, 0x00, 0x00, 0xC0, 0xEE, 0xEE, 0xEE}),
              bytes_);
    using Numbers = std::array<float, 2>;
    EXPECT_THAT((get_number<Numbers>(bytes_.data(), 1)), ElementsAre(1.5F, -2.0F));
}

TEST_F(Little_Endian, FloatsKeepTheBitsOfEveryNan)
{
    // Quiet with a payload, then signalling.
    const std::array<unsigned char, 8> nans = {0x34, 0x12, 0xC0, 0x7F, 0x01, 0x00, 0xA0, 0xFF};
    using Numbers = std::array<float, 2>;
    put_number(bytes_.data(), 0, get_number<Numbers>(nans.data(), 0));
    EXPECT_EQ(0, std::memcmp(nans.data(), bytes_.data(), nans.size()));
}

TEST_F(Little_Endian, ExtremeNumbersComeBack)
{
    put_number(bytes_.data(), 1, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), get_number<std::int32_t>(bytes_.data(), 1));
    put_number(bytes_.data(), 1, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(std::numeric_limits<std::int64_t>::min(), get_number<std::int64_t>(bytes_.data(), 1));
    put_number(bytes_.data(), 1, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(std::numeric_limits<std::uint64_t>::max(), get_u64(bytes_.data(), 1));
}

TEST_F(Little_Endian, ZerosFillTheFieldAlone)
{
    put_zeros(bytes_.data(), Field{3, 4});
    EXPECT_EQ((Bytes{0xEE, 0xEE, 0xEE, 0, 0, 0, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}), bytes_);
}

TEST(Field_Table, TilesWhenTheFieldsFillTheRecord)
{
    constexpr Field one[] = {{0, 8}};
    constexpr Field three[] = {{0, 1}, {1, 4}, {5, 3}};
    static_assert(tiles(one, 8) && tiles(three, 8), "also while compiling");
    EXPECT_TRUE(tiles(one, 8));
    EXPECT_TRUE(tiles(three, 8));
}

TEST(Field_Table, DoesNotTileWithAGap)
{
    const Field at_the_start[] = {{1, 7}};
    const Field between[] = {{0, 4}, {5, 3}};
    const Field at_the_end[] = {{0, 4}, {4, 3}};
    EXPECT_FALSE(tiles(at_the_start, 8));
    EXPECT_FALSE(tiles(between, 8));
    EXPECT_FALSE(tiles(at_the_end, 8));
}

TEST(Field_Table, DoesNotTileWithAnOverlap)
{
    const Field overlapping[] = {{0, 4}, {3, 5}};
    const Field twice[] = {{0, 4}, {0, 4}, {4, 4}};
    EXPECT_FALSE(tiles(overlapping, 8));
    EXPECT_FALSE(tiles(twice, 8));
}

TEST(Field_Table, DoesNotTileBeyondTheRecord)
{
    const Field too_long[] = {{0, 4}, {4, 5}};
    const Field wrapping[] = {{0, 4}, {4, 0xFFFFFFFF}, {3, 5}};
    EXPECT_FALSE(tiles(too_long, 8));
    EXPECT_FALSE(tiles(wrapping, 8));
}

TEST(Field_Table, DoesNotTileInAnotherOrder)
{
    const Field swapped[] = {{4, 4}, {0, 4}};
    EXPECT_FALSE(tiles(swapped, 8));
}

TEST(Field_Table, DoesNotTileWithAnEmptyField)
{
    const Field empty[] = {{0, 4}, {4, 0}, {4, 4}};
    EXPECT_FALSE(tiles(empty, 8));
}

} // namespace
