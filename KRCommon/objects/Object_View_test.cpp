#include <KRCommon/objects/Object_View.h>

#include <KRCommon/objects/Object_View_testing.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/util/Little_Endian.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using kr_object_testing::Bytes;
using kr_object_testing::colors_with;
using kr_object_testing::Comparison;
using kr_object_testing::test_colors;
using testing::ElementsAre;
using testing::IsEmpty;

using Instance = KR_ObjectBase::Instance;
using State = KR_Record_State;

constexpr unsigned ample = 0xFFFFFFFF;
constexpr std::size_t count_at = 132;
constexpr std::size_t first_at = 136;

KR_Object_View view_of(const Bytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

Bytes record_of(const KR_ObjectBase& object)
{
    Bytes bytes(object.serialize_size(ample));
    object.serialize(bytes.data(), ample);
    return bytes;
}

// Instances at the seconds 100, 101, ... with so many colours each.
KR_ObjectBase object_with(const std::vector<std::size_t>& color_counts)
{
    KR_ObjectBase object;
    std::int64_t seconds = 100;
    for (const std::size_t count : color_counts) {
        object.Instances.emplace_back().Time = ACE_Time_Value(static_cast<time_t>(seconds++));
        object.Instances.back().Colors.resize(count);
    }
    return object;
}

std::vector<std::int64_t> seconds_of(KR_Object_View view)
{
    std::vector<std::int64_t> seconds;
    for (const KR_Instance_View instance : view.instances())
        seconds.push_back(instance.time().sec());
    return seconds;
}

// Bytes that no two fields share.

Bytes numbered_record()
{
    KR_ObjectBase object = object_with({1});
    *object.AuxiliaryData = {0xAA, 0xBB, 0xCC};
    Bytes bytes = record_of(object);
    for (std::size_t i = 0; i < count_at; ++i)
        bytes[i] = static_cast<unsigned char>(i);
    for (std::size_t i = 0; i < 73; ++i)
        if (i != 57)
            bytes[first_at + i] = static_cast<unsigned char>(i);
    return bytes;
}

float float_of(std::uint32_t bits)
{
    float number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

void expect_numbered_fields(KR_Object_View view)
{
    EXPECT_EQ(0x0B0A0908, view.sensor_id().word1);
    EXPECT_EQ(0x0F0E0D0C, view.sensor_id().word2);
    EXPECT_EQ(0x1B1A191817161514U, view.object_id());
    EXPECT_EQ(0x1F1E1D1C, view.detector_type());
    EXPECT_EQ(0x333231302F2E2D2C, view.first_seen_time().sec());
    EXPECT_EQ(0x37363534, view.first_seen_time().usec());
    EXPECT_EQ(0x3F3E3D3C, view.word1());
    EXPECT_EQ(0x43424140, view.word2());
    EXPECT_EQ(0x535251504F4E4D4C, view.second_time().sec());
    EXPECT_EQ(0x57565554, view.second_time().usec());
    EXPECT_EQ(0x5F5E5D5C, view.statistics_word1());
    EXPECT_EQ(0x63626160, view.statistics_word2());
    EXPECT_EQ(0x67666564U, view.duration());
    EXPECT_THAT(view.class_scores(),
                ElementsAre(float_of(0x6B6A6968), float_of(0x6F6E6D6C), float_of(0x73727170)));
    EXPECT_EQ(0x77767574, view.statistics_word7());
    EXPECT_EQ(0x7B7A7978, view.statistics_word8());
}

void expect_numbered_instance(KR_Instance_View instance)
{
    EXPECT_EQ(0x03020100 + 0x07060504 / 1'000'000, instance.time().sec());
    EXPECT_EQ(0x07060504 % 1'000'000, instance.time().usec());
    EXPECT_EQ(8.0F, instance.person_value());
    EXPECT_EQ(9.0F, instance.vehicle_value());
    EXPECT_EQ(10.0F, instance.object_value());
    EXPECT_EQ(11.0F, instance.unknown_value());
    EXPECT_EQ(float_of(0x0F0E0D0C), instance.box().MinX);
    EXPECT_EQ(float_of(0x13121110), instance.box().MinY);
    EXPECT_EQ(float_of(0x17161514), instance.box().MaxX);
    EXPECT_EQ(float_of(0x1B1A1918), instance.box().MaxY);
    EXPECT_EQ(1, instance.box().IsSet);
    EXPECT_EQ(float_of(0x1F1E1D1C), instance.float1());
    EXPECT_EQ(float_of(0x23222120), instance.float2());
    EXPECT_EQ(36, instance.flag());
    EXPECT_THAT(instance.group(), ElementsAre(float_of(0x2B2A2928), float_of(0x2F2E2D2C),
                                              float_of(0x33323130), float_of(0x37363534)));
    EXPECT_EQ(56, instance.number());
    EXPECT_EQ(float_of(0x3F3E3D3C), instance.point_x());
    EXPECT_EQ(float_of(0x43424140), instance.point_y());
    ASSERT_EQ(1U, instance.colors().size());
    EXPECT_EQ(68, instance.colors()[0].red());
    EXPECT_EQ(69, instance.colors()[0].green());
    EXPECT_EQ(70, instance.colors()[0].blue());
    EXPECT_EQ(71.0F, instance.colors()[0].area());
    EXPECT_EQ(72, instance.colors()[0].code());
}

void expect_numbered(KR_Object_View view)
{
    expect_numbered_fields(view);
    ASSERT_FALSE(view.instances().empty());
    expect_numbered_instance(*view.instances().begin());
    const KR_Byte_Span data = view.auxiliary_data();
    EXPECT_THAT(Bytes(data.begin(), data.end()), ElementsAre(0xAA, 0xBB, 0xCC));
}

TEST(KrObjectView, EveryFieldIsReadFromItsPlace)
{
    expect_numbered(view_of(numbered_record()));
}

TEST(KrObjectView, BytesNeedNoAlignment)
{
    const Bytes record = numbered_record();
    for (std::size_t shift = 0; shift < 16; ++shift) {
        Bytes shifted(shift, 0xEE);
        shifted.insert(shifted.end(), record.begin(), record.end());
        SCOPED_TRACE(shift);
        expect_numbered({shifted.data() + shift, record.size()});
    }
}

TEST(KrObjectView, SmallNumbersOfAnInstanceAreSigned)
{
    Bytes record = numbered_record();
    for (const std::size_t at : {8, 9, 10, 11, 36, 56, 71, 72})
        record[first_at + at] = 0x80;
    const KR_Object_View view = view_of(record);
    const KR_Instance_View instance = *view.instances().begin();
    EXPECT_EQ(-128.0F, instance.person_value());
    EXPECT_EQ(-128.0F, instance.vehicle_value());
    EXPECT_EQ(-128.0F, instance.object_value());
    EXPECT_EQ(-128.0F, instance.unknown_value());
    EXPECT_EQ(128, instance.flag());
    EXPECT_EQ(-128, instance.number());
    EXPECT_EQ(-128.0F, instance.colors()[0].area());
    EXPECT_EQ(-128, instance.colors()[0].code());
}

TEST(KrObjectView, BoxesAreOrderedAndPairsWithANanStayAsStored)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    KR_ObjectBase object = object_with({0, 0});
    object.Instances[0].Box = Geom_Box2D<float>(30, 60, 10, 20);
    object.Instances[1].Box = Geom_Box2D<float>(5, nan, nan, 4);
    const Bytes record = record_of(object);
    const KR_Object_View view = view_of(record);
    auto each = view.instances().begin();
    EXPECT_EQ(10.0F, each->box().MinX);
    EXPECT_EQ(20.0F, each->box().MinY);
    EXPECT_EQ(30.0F, each->box().MaxX);
    EXPECT_EQ(60.0F, each->box().MaxY);
    ++each;
    EXPECT_EQ(5.0F, each->box().MinX);
    EXPECT_TRUE(std::isnan(each->box().MinY));
    EXPECT_TRUE(std::isnan(each->box().MaxX));
    EXPECT_EQ(4.0F, each->box().MaxY);
}

// Short of a fixed block.

void expect_new_object(KR_Object_View view)
{
    const KR_ObjectBase object;
    const auto detector = ns__DetectorType__value_7;
    EXPECT_EQ(object.SensorId, view.sensor_id());
    EXPECT_EQ(0U, view.object_id());
    EXPECT_EQ(7, view.detector_type());
    EXPECT_EQ(ACE_Time_Value::zero, view.first_seen_time());
    EXPECT_EQ(ACE_Time_Value::zero, view.second_time());
    EXPECT_EQ(0U, view.duration());
    EXPECT_THAT(view.class_scores(), ElementsAre(0, 0, 0));
    EXPECT_TRUE(view.instances().empty());
    EXPECT_EQ(0U, view.instances().max_size());
    EXPECT_TRUE(view.auxiliary_data().empty());
    EXPECT_TRUE(view.test({}, {}, detector, ns__ObjectClass__person, 0, 0));
    EXPECT_FALSE(view.test({}, {}, detector, ns__ObjectClass__person, 0.1F, 0));
    EXPECT_FALSE(view.test({}, {}, ns__DetectorType__value_0, ns__ObjectClass__person, 0, 0));
}

TEST(KrObjectView, FewerBytesThanAFixedBlockAreANewObject)
{
    const Bytes record = numbered_record();
    for (std::size_t length = 0; length < count_at; ++length) {
        SCOPED_TRACE(length);
        const Bytes cut(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(length));
        expect_new_object(view_of(cut));
        EXPECT_EQ((KR_Record_Status{State::cut_in_fixed_block, 0, 0, 0}), view_of(cut).check());
    }
}

TEST(KrObjectView, NullPointerHasNoBytes)
{
    expect_new_object(KR_Object_View());
    expect_new_object(KR_Object_View(nullptr, 1000));
    EXPECT_TRUE(KR_Object_View(nullptr, 1000).bytes().empty());
    EXPECT_EQ((KR_Record_Status{State::cut_in_fixed_block, 0, 0, 0}),
              KR_Object_View::check(nullptr, 1000));
}

// What check() says.

KR_Record_Status status_of(const Bytes& bytes)
{
    return KR_Object_View::check(bytes.data(), bytes.size());
}

TEST(KrObjectView, CheckNamesTheFirstPartThatIsCutAndItsPosition)
{
    // 0 fixed block, 132 count, 136 and 214 instances, 282 length, 286 data, 289 end
    KR_ObjectBase object = object_with({2, 0});
    object.AuxiliaryData->assign(3, 0xAA);
    Bytes record = record_of(object);
    EXPECT_EQ((KR_Record_Status{State::whole, 289, 289, 2}), status_of(record));
    for (std::size_t length = 288; length > 0; --length) {
        record.resize(length);
        KR_Record_Status expected;
        if (length >= 282)
            expected = {State::cut_in_auxiliary_data, 282, 282, 2};
        else if (length >= 214)
            expected = {State::cut_in_instances, 214, 214, 1};
        else if (length >= 136)
            expected = {State::cut_in_instances, 136, 136, 0};
        else if (length >= 132)
            expected = {State::cut_in_instances, 132, 132, 0};
        EXPECT_EQ(expected, status_of(record)) << length;
    }
}

TEST(KrObjectView, CheckFindsTrailingBytesAndNoInstances)
{
    Bytes record = record_of(object_with({0}));
    EXPECT_EQ((KR_Record_Status{State::whole, 208, 208, 1}), status_of(record));
    record.push_back(0);
    EXPECT_EQ((KR_Record_Status{State::trailing_bytes, 208, 208, 1}), status_of(record));
    record = record_of(KR_ObjectBase());
    EXPECT_EQ((KR_Record_Status{State::no_instances, 132, 140, 0}), status_of(record));
    record.push_back(0);
    EXPECT_EQ((KR_Record_Status{State::no_instances, 132, 140, 0}), status_of(record));
}

TEST(KrObjectView, CheckFindsTheFirstColorCountBelowZero)
{
    const Bytes record = record_of(object_with({3, 128, 1}));
    EXPECT_EQ(State::bad_color_count, status_of(record).state);
    EXPECT_EQ(first_at + 68 + 15, status_of(record).position);
    EXPECT_EQ(3U, status_of(record).instances);
}

TEST(KrObjectView, QuirkNoColorsAreReadOfACountBelowZero)
{
    const Bytes record = record_of(object_with({128, 0}));
    const KR_Object_View view = view_of(record);
    EXPECT_TRUE(view.instances().begin()->colors().empty());
    // The second is made of the first one's colours, which are zero.
    EXPECT_THAT(seconds_of(view), ElementsAre(100, 0));
}

TEST(KrObjectView, QuirkListThatCountsTooManyGoesOnIntoTheAuxiliaryData)
{
    KR_ObjectBase object = object_with({0});
    object.AuxiliaryData->assign(64, 0);
    Bytes record = record_of(object);
    kr_internal::put_u32(record.data(), count_at, 2);
    EXPECT_THAT(seconds_of(view_of(record)), ElementsAre(100, 64));
    EXPECT_TRUE(view_of(record).auxiliary_data().empty());
}

TEST(KrObjectView, HostileCountsAndLengthsLeadNowhere)
{
    KR_ObjectBase object = object_with({1});
    object.AuxiliaryData->assign(3, 0);
    for (const std::uint32_t number : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Bytes record = record_of(object);
        kr_internal::put_u32(record.data(), count_at, number);
        EXPECT_THAT(seconds_of(view_of(record)), ElementsAre(100));
        EXPECT_EQ(1U, view_of(record).instances().max_size());
        EXPECT_TRUE(view_of(record).auxiliary_data().empty());
        record = record_of(object);
        kr_internal::put_u32(record.data(), first_at + 73, number);
        EXPECT_TRUE(view_of(record).auxiliary_data().empty());
        EXPECT_EQ(State::cut_in_auxiliary_data, status_of(record).state);
    }
}

TEST(KrObjectView, AuxiliaryDataEndWhereTheirLengthSays)
{
    KR_ObjectBase object = object_with({0});
    EXPECT_TRUE(view_of(record_of(object)).auxiliary_data().empty());
    object.AuxiliaryData->assign({1, 2});
    Bytes record = record_of(object);
    record.insert(record.end(), 10, 0xEE);
    const KR_Byte_Span data = view_of(record).auxiliary_data();
    EXPECT_EQ(record.data() + 208, data.data);
    EXPECT_EQ(2U, data.size);
}

// Ranges.

TEST(KrObjectView, RangesAreForwardRanges)
{
    static_assert(std::is_same_v<std::forward_iterator_tag,
                                 std::iterator_traits<KR_Instance_Iterator>::iterator_category>);
    static_assert(std::is_same_v<std::forward_iterator_tag,
                                 std::iterator_traits<KR_Color_Iterator>::iterator_category>);
    const Bytes record = record_of(object_with({1, 0, 2}));
    const KR_Instance_Range range = view_of(record).instances();
    EXPECT_EQ(3, std::distance(range.begin(), range.end()));
    const KR_Instance_Iterator first = range.begin();
    KR_Instance_Iterator second = first;
    EXPECT_EQ(first, second++);
    EXPECT_NE(first, second);
    EXPECT_EQ(100, first->time().sec());
    EXPECT_EQ(101, (*second).time().sec());
    EXPECT_EQ(second, std::next(range.begin()));
    EXPECT_EQ(range.end(), std::next(second, 2));
    EXPECT_EQ(KR_Instance_Iterator(), range.end());

    const auto most = std::max_element(range.begin(), range.end(), [](auto left, auto right) {
        return left.colors().size() < right.colors().size();
    });
    EXPECT_EQ(102, most->time().sec());
    const KR_Color_Range colors = most->colors();
    KR_Color_Iterator color = colors.begin();
    EXPECT_EQ(colors.begin(), color++);
    EXPECT_EQ(0, color->red());
    EXPECT_EQ(colors.end(), ++color);
    EXPECT_EQ(10U, colors.bytes().size);
}

TEST(KrObjectView, SelectsTheFirstInstanceOfExactlyATimeElseTheFirst)
{
    KR_ObjectBase object = object_with({0, 0, 0, 0});
    object.Instances[2].Time = object.Instances[1].Time;
    object.Instances[1].PointX = 1;
    object.Instances[3].Time = ACE_Time_Value(5, -1); // normal form: 4 s and 999,999 us
    const Bytes record = record_of(object);
    const KR_Instance_Range range = view_of(record).instances();
    EXPECT_EQ(std::next(range.begin()), range.select(ACE_Time_Value(101)));
    EXPECT_EQ(range.begin(), range.select(ACE_Time_Value(100)));
    EXPECT_EQ(range.begin(), range.select(ACE_Time_Value(101, 1)));
    EXPECT_EQ(std::next(range.begin(), 3), range.select(ACE_Time_Value(4, 999'999)));
    EXPECT_EQ(range.end(), KR_Object_View().instances().select(ACE_Time_Value(100)));
}

// The test of a query. That its answers are those of an object is shown below.

TEST(KrObjectView, TestComparesWindowDetectorDurationAndScore)
{
    KR_ObjectBase object = object_with({0});
    object.FirstSeenTime = ACE_Time_Value(1'700'000'000, 250'000);
    object.DetectorType = ns__DetectorType__value_1;
    object.Duration = 5;
    object.ClassScores[1] = 0.5F;
    const Bytes record = record_of(object);
    const KR_Object_View view = view_of(record);
    const ACE_Time_Value seen = object.FirstSeenTime;
    const ACE_Time_Value microsecond(0, 1);
    const auto detector = ns__DetectorType__value_1;
    const auto vehicle = ns__ObjectClass__vehicle;
    EXPECT_TRUE(view.test(seen, seen, detector, vehicle, 0.5F, 5));
    EXPECT_FALSE(view.test(seen + microsecond, seen + microsecond, detector, vehicle, 0.5F, 5));
    EXPECT_FALSE(view.test(seen - microsecond, seen - microsecond, detector, vehicle, 0.5F, 5));
    EXPECT_FALSE(view.test(seen, seen, ns__DetectorType__value_7, vehicle, 0.5F, 5));
    EXPECT_FALSE(view.test(seen, seen, detector, vehicle, 0.51F, 5));
    EXPECT_FALSE(view.test(seen, seen, detector, ns__ObjectClass__person, 0.5F, 5));
    EXPECT_TRUE(view.test(seen, seen, detector, ns__ObjectClass__unknown, 0.51F, 5));
    EXPECT_FALSE(view.test(seen, seen, detector, vehicle, 0.5F, 5.1F));
    EXPECT_TRUE(view.test(seen, seen, detector, vehicle, std::nanf(""), std::nanf("")));
}

// Colour shares.

ns__RgbColorArea area(int red, int green, int blue, float area)
{
    ns__RgbColorArea color;
    color.color.red = static_cast<std::uint8_t>(red);
    color.color.green = static_cast<std::uint8_t>(green);
    color.color.blue = static_cast<std::uint8_t>(blue);
    color.area = area;
    return color;
}

KR_Color_Shares shares_of(const std::vector<std::vector<ns__RgbColorArea>>& colors)
{
    KR_ObjectBase object;
    for (const std::vector<ns__RgbColorArea>& each : colors)
        object.Instances.emplace_back().Colors = each;
    return view_of(record_of(object)).color_shares(test_colors());
}

constexpr auto red = ns__ColorPreset__red;
constexpr auto orange = ns__ColorPreset__orange;
constexpr auto white = ns__ColorPreset__white;

TEST(KrColorShares, AreTheMeanAreaOverTheInstancesThatHaveColors)
{
    const KR_Color_Shares shares = shares_of({{area(255, 0, 0, 60), area(250, 250, 250, 40)},
                                              {},
                                              {area(250, 0, 10, 30)},
                                              {area(0, 0, 255, 10), area(200, 0, 0, 10)}});
    EXPECT_EQ(100.0F / 3, shares.of(red));
    EXPECT_EQ(40.0F / 3, shares.of(white));
    EXPECT_EQ(0.0F, shares.of(orange));
    EXPECT_EQ(shares.of(red), shares.percent[11]);
}

TEST(KrColorShares, AColorOfSeveralPresetsCountsForEach)
{
    const KR_Color_Shares shares = shares_of({{area(255, 100, 0, 80), area(255, 0, 0, 50)}});
    EXPECT_EQ(130.0F, shares.of(red));
    EXPECT_EQ(80.0F, shares.of(orange));
}

TEST(KrColorShares, AreasOfZeroAndBelowCountForNothingButTheirInstanceCounts)
{
    const KR_Color_Shares shares =
        shares_of({{area(255, 0, 0, 60), area(255, 0, 0, -20)}, {area(255, 0, 0, 0)}});
    EXPECT_EQ(30.0F, shares.of(red));
    EXPECT_EQ(0.0F, shares_of({{area(255, 0, 0, -128)}}).of(red));
}

TEST(KrColorShares, RangesWithoutANameArePresetZero)
{
    const KR_Color_Shares shares = shares_of({{area(0, 255, 0, 33)}});
    EXPECT_EQ(33.0F, shares.percent[0]);
    EXPECT_EQ(33.0F, shares.of(static_cast<ns__ColorPreset>(0)));
}

TEST(KrColorShares, NumbersThatAreNoPresetHaveNoShare)
{
    const KR_Color_Shares shares = shares_of({{area(255, 0, 0, 60)}});
    for (const int number :
         {-1, 14, 15, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_EQ(0.0F, shares.of(static_cast<ns__ColorPreset>(number)));
}

void expect_no_share(const KR_Color_Shares& shares)
{
    for (const float percent : shares.percent)
        EXPECT_EQ(0.0F, percent);
}

TEST(KrColorShares, AreZeroWithoutColorsInstancesBytesOrPresets)
{
    expect_no_share(shares_of({}));
    expect_no_share(shares_of({{}, {}}));
    expect_no_share(KR_Object_View().color_shares(test_colors()));
    const Bytes record = record_of(object_with({5}));
    expect_no_share(view_of(record).color_shares(colors_with({})));
    EXPECT_GE(view_of(record).color_shares(test_colors()).percent[2], 0.0F);
}

TEST(KrColorShares, HasColorAsksForThatShareOrMore)
{
    KR_ObjectBase object = object_with({0, 0});
    object.Instances[0].Colors = {area(255, 0, 0, 60)};
    object.Instances[1].Colors = {area(255, 0, 0, 41)};
    const Bytes record = record_of(object);
    const KR_Object_View view = view_of(record);
    EXPECT_TRUE(view.has_color(red, 50.5F, test_colors()));
    EXPECT_FALSE(view.has_color(red, std::nextafter(50.5F, 100.0F), test_colors()));
    EXPECT_FALSE(view.has_color(orange, 1, test_colors()));
    EXPECT_TRUE(view.has_color(orange, 0, test_colors()));
    EXPECT_TRUE(view.has_color(orange, -5, test_colors()));
    EXPECT_FALSE(view.has_color(red, std::nanf(""), test_colors()));
    EXPECT_FALSE(view.has_color(static_cast<ns__ColorPreset>(14), 0, test_colors()));
    EXPECT_FALSE(view.has_color(static_cast<ns__ColorPreset>(-1), -1, test_colors()));
    EXPECT_FALSE(view.has_color(red, 1, colors_with({})));
    EXPECT_TRUE(view.has_color(red, 0, colors_with({})));
}

TEST(KrColorShares, InstancesThatAreCutShortDoNotCount)
{
    KR_ObjectBase object = object_with({0, 0, 0});
    object.Instances[0].Colors = {area(255, 0, 0, 60)};
    object.Instances[1].Colors = {area(0, 0, 255, 60)};
    Bytes record = record_of(object);
    record.resize(first_at + 2 * 73 + 67);
    EXPECT_EQ(30.0F, view_of(record).color_shares(test_colors()).of(red));
    EXPECT_TRUE(view_of(record).has_color(red, 30, test_colors()));
    record.resize(first_at + 73 + 72);
    EXPECT_EQ(60.0F, view_of(record).color_shares(test_colors()).of(red));
    EXPECT_TRUE(view_of(record).has_color(red, 60, test_colors()));
    EXPECT_FALSE(view_of(record).has_color(red, 60.1F, test_colors()));
}

// Agreement with what is decoded.

// Bytes whose end is the end of the memory, so that who reads on ends the program.
class At_The_End {
public:
    explicit At_The_End(std::size_t most) : memory_(most), most_(most) {}

    const unsigned char* place(const Bytes& bytes)
    {
        EXPECT_LE(bytes.size(), most_);
        unsigned char* const first = memory_.data() + most_ - bytes.size();
        std::copy(bytes.begin(), bytes.end(), first);
        return first;
    }

private:
    kr_platform_testing::Guarded_Memory memory_;
    std::size_t most_;
};

constexpr std::size_t most_bytes = 64 * 1024;

std::string difference(At_The_End& memory, const Bytes& bytes)
{
    return Comparison(memory.place(bytes), bytes.size(), test_colors()).run();
}

std::string difference_with_colors(At_The_End& memory, const Bytes& bytes)
{
    return Comparison(memory.place(bytes), bytes.size(), test_colors()).run_with_colors();
}

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    unsigned below(unsigned end) { return static_cast<unsigned>(engine_() % end); }

    // Now and then an extreme, often a small number, else any.
    template <typename Number>
    void number(Number& number)
    {
        const std::uint64_t any = engine_();
        switch (below(4)) {
        case 0: number = static_cast<Number>(std::uint64_t{0} - any % 2); break;
        case 1: number = static_cast<Number>(any % 600 - 300); break;
        case 2: number = static_cast<Number>((std::uint64_t{1} << any % 64) - any % 2); break;
        default: number = static_cast<Number>(any); break;
        }
    }

    // Half of them of ordinary size, else any bits: NaN and infinity too.
    void number(float& number)
    {
        const std::uint64_t any = engine_();
        if (any % 2 == 0) {
            number = (static_cast<float>(any >> 48) - 32768.0F) / 100.0F;
            return;
        }
        auto bits = static_cast<std::uint32_t>(any >> 32);
        if (any % 16 == 1)
            bits |= 0x7F800000U;
        std::memcpy(&number, &bits, sizeof bits);
    }

    void number(ACE_Time_Value& time)
    {
        std::int64_t seconds = 0;
        std::int32_t microseconds = 0;
        number(seconds);
        number(microseconds);
        if (below(2) == 0) { // an ordinary one
            seconds &= 0x7FFFFFFF;
            microseconds = static_cast<std::int32_t>(below(1'000'000));
        }
        time = kr_object_testing::raw_time(seconds, microseconds);
    }

    template <typename... Numbers>
    void numbers(Numbers&... each)
    {
        (number(each), ...);
    }

private:
    std::mt19937_64 engine_;
};

Instance random_instance(Random& random)
{
    Instance instance;
    random.numbers(instance.Time, instance.PersonValue, instance.VehicleValue, instance.ObjectValue,
                   instance.UnknownValue, instance.Box.MinX, instance.Box.MinY, instance.Box.MaxX,
                   instance.Box.MaxY, instance.Float1, instance.Float2, instance.Flag,
                   instance.Group[0], instance.Group[1], instance.Group[2], instance.Group[3],
                   instance.Number, instance.PointX, instance.PointY);
    instance.Colors.resize(random.below(random.below(100) == 0 ? 260 : 5));
    for (ns__RgbColorArea& color : instance.Colors)
        random.numbers(color.color.red, color.color.green, color.color.blue, color.area,
                       color.code);
    return instance;
}

KR_ObjectBase random_object(Random& random)
{
    KR_ObjectBase object;
    std::int32_t detector = 0;
    random.numbers(object.SensorId.word1, object.SensorId.word2, object.ObjectId, detector,
                   object.FirstSeenTime, object.Word1, object.Word2, object.SecondTime,
                   object.StatisticsWord1, object.StatisticsWord2, object.Duration,
                   object.ClassScores[0], object.ClassScores[1], object.ClassScores[2],
                   object.StatisticsWord7, object.StatisticsWord8);
    object.DetectorType = static_cast<ns__DetectorType>(detector);
    for (unsigned left = random.below(6); left > 0; --left)
        object.Instances.push_back(random_instance(random));
    object.AuxiliaryData->resize(random.below(2) * random.below(60), 0xA5);
    return object;
}

TEST(KrObjectViewAgrees, WithTenThousandRandomObjects)
{
    At_The_End memory(most_bytes);
    Random random(1);
    for (int i = 0; i < 10'000; ++i)
        ASSERT_EQ("", difference_with_colors(memory, record_of(random_object(random)))) << i;
}

TEST(KrObjectViewAgrees, WithEveryTruncationAndWithBytesBehind)
{
    At_The_End memory(most_bytes);
    Random random(2);
    for (int i = 0; i < 20; ++i) {
        Bytes record = record_of(random_object(random));
        record.insert(record.end(), 5, 0x00);
        for (; !record.empty(); record.pop_back())
            ASSERT_EQ("", difference_with_colors(memory, record)) << i << ' ' << record.size();
    }
}

TEST(KrObjectViewAgrees, WithRandomBytes)
{
    At_The_End memory(most_bytes);
    Random random(3);
    for (int i = 0; i < 5'000; ++i) {
        Bytes bytes(random.below(1000));
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random.below(256));
        if (bytes.size() >= first_at && i % 2 == 0)
            kr_internal::put_u32(bytes.data(), count_at, random.below(10));
        ASSERT_EQ("", difference_with_colors(memory, bytes)) << i;
    }
}

void expect_agreement_with_flipped_bits(unsigned seed, int rounds)
{
    At_The_End memory(most_bytes);
    Random random(seed);
    Bytes record;
    for (int i = 0; i < rounds; ++i) {
        if (i % 16 == 0)
            record = record_of(random_object(random));
        // Half of them in the counts and in what follows the fixed block.
        const auto size = static_cast<unsigned>(record.size());
        const unsigned first = random.below(2) == 0 ? 0U : static_cast<unsigned>(count_at);
        const unsigned at = first + random.below(size - first);
        record[at] = static_cast<unsigned char>(record[at] ^ 1U << random.below(8));
        ASSERT_EQ("", i % 16 == 15 ? difference_with_colors(memory, record)
                                   : difference(memory, record))
            << i;
    }
}

TEST(KrObjectViewAgrees, WithFlippedBits)
{
    expect_agreement_with_flipped_bits(4, 20'000);
}

// A million in four tests, which run beside each other: under a sanitizer one takes a minute.
class KrObjectViewAgrees_Slow : public testing::TestWithParam<unsigned> {};

TEST_P(KrObjectViewAgrees_Slow, WithAQuarterOfAMillionFlippedBits)
{
    expect_agreement_with_flipped_bits(GetParam(), 250'000);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KrObjectViewAgrees_Slow, testing::Values(5, 6, 7, 8));

std::vector<Bytes> files_of(const std::string& folder, const std::string& extension)
{
    std::vector<Bytes> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (extension.empty() || entry.path().extension() == extension) {
            std::ifstream file(entry.path(), std::ios::binary);
            files.emplace_back(std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>());
        }
    return files;
}

TEST(KrObjectViewAgrees, WithTheGoldenRecordsAndTheirTruncations)
{
    At_The_End memory(most_bytes);
    const std::vector<Bytes> records = files_of(KR_GOLDEN_RECORDS, ".bin");
    ASSERT_GE(records.size(), 20U);
    for (Bytes record : records)
        for (; !record.empty(); record.pop_back())
            ASSERT_EQ("", difference_with_colors(memory, record)) << record.size();
}

TEST(KrObjectViewAgrees, WithTheCorpusOfTheFuzzers)
{
    At_The_End memory(most_bytes);
    for (const char* const folder : {KR_FUZZ_CORPUS "/object", KR_FUZZ_CORPUS "/object_view"}) {
        const std::vector<Bytes> inputs = files_of(folder, "");
        ASSERT_GE(inputs.size(), 20U) << folder;
        for (const Bytes& input : inputs)
            ASSERT_EQ("", difference_with_colors(memory, input)) << folder << ' ' << input.size();
    }
}

} // namespace
