// What the compiler sees to is asserted while compiling. Whether the map is the right one is shown by
// the known bytes in Objects_Codec_test.cpp.

#include <KRCommon/objects/Record_Layout.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using namespace kr_internal;

// Whether put(bytes, field, value) compiles.
template <typename Map_Field, typename Value, typename = void>
constexpr bool can_put = false;

template <typename Map_Field, typename Value>
constexpr bool
    can_put<Map_Field, Value,
            std::void_t<decltype(put(std::declval<unsigned char*>(), std::declval<Map_Field>(),
                                     std::declval<Value>()))>> = true;

using Object_Id = decltype(fixed_block::object_id);
using Seconds = decltype(fixed_block::first_seen_seconds);
using Duration = decltype(fixed_block::duration);
using Scores = decltype(fixed_block::class_scores);

static_assert(can_put<Object_Id, std::uint64_t>);
static_assert(!can_put<Object_Id, std::uint32_t>, "four bytes into eight");
static_assert(!can_put<Object_Id, std::int64_t>, "a sign into none");
static_assert(can_put<Seconds, std::int64_t>);
static_assert(!can_put<Seconds, std::int32_t>, "four bytes into eight");
static_assert(!can_put<Duration, std::uint64_t>, "eight bytes into four");
static_assert(!can_put<Duration, std::uint8_t>, "one byte into four");
static_assert(!can_put<Duration, float>, "a float into a count");
static_assert(can_put<Scores, const float (&)[3]>);
static_assert(!can_put<Scores, const float (&)[2]>, "two floats into three");
static_assert(!can_put<Scores, const double (&)[3]>, "doubles into floats");
static_assert(!can_put<Scores, float>, "one float into three");
static_assert(!can_put<Field, std::uint32_t>, "anything into reserved bytes");

static_assert(std::is_same_v<decltype(get(nullptr, fixed_block::object_id)), std::uint64_t>);
static_assert(std::is_same_v<decltype(get(nullptr, entry::color_count)), std::int8_t>);

TEST(Record_Layout, AFieldIsStoredAtItsPlaceAlone)
{
    std::array<unsigned char, 12> bytes;
    bytes.fill(0xEE);
    put(bytes.data(), Field_Of<std::uint32_t>{3}, 0x11223344U);
    EXPECT_EQ((std::array<unsigned char, 12>{0xEE, 0xEE, 0xEE, 0x44, 0x33, 0x22, 0x11, 0xEE, 0xEE,
                                             0xEE, 0xEE, 0xEE}),
              bytes);
    EXPECT_EQ(0x11223344U, get(bytes.data(), Field_Of<std::uint32_t>{3}));
}

TEST(Record_Layout, AnArrayIsStoredNumberByNumberAndEachIsAFieldOfItsOwn)
{
    constexpr Array_Of<std::int32_t, 2> field{1};
    std::array<unsigned char, 10> bytes;
    bytes.fill(0xEE);
    put(bytes.data(), field, {-2, 0x01020304});
    EXPECT_EQ(
        (std::array<unsigned char, 10>{0xEE, 0xFE, 0xFF, 0xFF, 0xFF, 0x04, 0x03, 0x02, 0x01, 0xEE}),
        bytes);
    EXPECT_EQ(-2, get(bytes.data(), field[0]));
    EXPECT_EQ(0x01020304, get(bytes.data(), field[1]));
    std::int32_t numbers[2];
    get(bytes.data(), field, numbers);
    EXPECT_EQ(-2, numbers[0]);
    EXPECT_EQ(0x01020304, numbers[1]);
}

} // namespace
