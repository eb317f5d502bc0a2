#include <KRCommon/objects/Objects.h>

#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<unsigned char>;
using Instance = KR_ObjectBase::Instance;

constexpr unsigned ample = 0xFFFFFFFF;

unsigned length_of(const Bytes& bytes)
{
    return static_cast<unsigned>(bytes.size());
}

// The object's list; after the bytes written nothing may change.
Bytes list_of(const KR_ObjectBase& object, unsigned limit = ample)
{
    Bytes bytes(object.serialize_instances_size(std::max(limit, 4U)) + 20, 0xEE);
    const unsigned written = object.serialize_instances(bytes.data(), limit);
    EXPECT_EQ(20, std::count(bytes.begin() + written, bytes.end(), 0xEE));
    bytes.resize(written);
    return bytes;
}

Bytes record_of(const KR_ObjectBase& object, unsigned limit = ample)
{
    Bytes bytes(object.serialize_size(std::max(limit, 4U)) + 20, 0xEE);
    const unsigned written = object.serialize(bytes.data(), limit);
    EXPECT_EQ(20, std::count(bytes.begin() + written, bytes.end(), 0xEE));
    bytes.resize(written);
    return bytes;
}

unsigned word_at(const Bytes& bytes, std::size_t offset)
{
    return bytes.at(offset) | unsigned{bytes.at(offset + 1)} << 8 |
           unsigned{bytes.at(offset + 2)} << 16 | unsigned{bytes.at(offset + 3)} << 24;
}

void set_word_at(Bytes& bytes, std::size_t offset, unsigned word)
{
    for (unsigned i = 0; i < 4; ++i)
        bytes.at(offset + i) = static_cast<unsigned char>(word >> 8 * i);
}

// From a block of exactly that many bytes, so that a sanitizer sees a read beyond them.
unsigned read_record(const Bytes& bytes, KR_ObjectBase& object)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    const unsigned consumed = KR_ObjectBase::deserialize(exact.get(), length_of(bytes), &object);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), exact.get())) << "the bytes were changed";
    return consumed;
}

unsigned read_list(const Bytes& bytes, KR_ObjectBase& object)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    const unsigned consumed =
        KR_ObjectBase::deserialize_instances(exact.get(), length_of(bytes), &object);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), exact.get())) << "the bytes were changed";
    return consumed;
}

// What comes back of one instance.
Instance round_trip(const Instance& instance)
{
    KR_ObjectBase object;
    object.Instances.push_back(instance);
    KR_ObjectBase stored;
    read_list(list_of(object), stored);
    return stored.Instances.at(0);
}

// One instance at offset 4 of its list.
Bytes list_of_one(const Instance& instance)
{
    KR_ObjectBase object;
    object.Instances.push_back(instance);
    return list_of(object);
}

KR_ObjectBase object_with(const std::vector<std::size_t>& color_counts)
{
    KR_ObjectBase object;
    int seconds = 1700000000;
    for (const std::size_t count : color_counts) {
        object.Instances.emplace_back().Time = ACE_Time_Value(seconds++);
        object.Instances.back().Colors.resize(count);
    }
    return object;
}

std::vector<long long> seconds_of(const KR_ObjectBase& object)
{
    std::vector<long long> seconds;
    for (const Instance& instance : object.Instances)
        seconds.push_back(instance.Time.sec());
    return seconds;
}

// A whole record, byte for byte.

KR_ObjectBase known_object()
{
    KR_ObjectBase object;
    object.SensorId.word1 = 0x01020304;
    object.SensorId.word2 = -2;
    object.ObjectId = 0x1122334455667788;
    object.FirstSeenTime = ACE_Time_Value(5'000'000'000, 250'000);
    object.Word1 = 0x0A0B0C0D;
    object.Word2 = -1;
    object.SecondTime = ACE_Time_Value(-1, -500'000);
    object.StatisticsWord1 = 1;
    object.StatisticsWord2 = 2;
    object.Duration = 4'000'000'000;
    object.ClassScores[0] = 0.5F;
    object.ClassScores[1] = 1.0F;
    object.ClassScores[2] = -2.0F;
    object.StatisticsWord7 = 7;
    object.StatisticsWord8 = 8;

    Instance& first = object.Instances.emplace_back();
    first.Time = ACE_Time_Value(1'700'000'000, 999'999);
    first.Word1 = 0x5555; // not written, nor the next
    first.Word2 = 0x6666;
    first.PersonValue = 50;
    first.VehicleValue = -1.9F;
    first.ObjectValue = 0;
    first.UnknownValue = 127.5F;
    first.Box = Geom_Box2D<float>(10, 20, 30, 60);
    first.Float1 = 1.5F;
    first.Float2 = -0.25F;
    first.Flag = 1;
    first.Group[0] = 1;
    first.Group[1] = 2;
    first.Group[2] = 4;
    first.Group[3] = 8;
    first.Number = -3;
    first.PointX = 0.75F;
    first.PointY = 100;
    first.Colors.resize(2);
    first.Colors[0].color.red = 255;
    first.Colors[0].color.green = 128;
    first.Colors[0].color.blue = 1;
    first.Colors[0].area = 37.9F;
    first.Colors[0].code = 11;
    first.Colors[1].color.green = 16;
    first.Colors[1].color.blue = 32;
    first.Colors[1].area = 100;
    first.Colors[1].code = -1;

    object.Instances.emplace_back().Time = ACE_Time_Value(-1, -500'000);
    *object.AuxiliaryData = {0xAA, 0xBB, 0xCC};
    return object;
}

// clang-format off
const Bytes& known_record()
{
    static const Bytes bytes = {
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // reserved
        0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, // sensor
        0x00, 0x00, 0x00, 0x00,                         // reserved
        0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, // object id
        0x07, 0x00, 0x00, 0x00,                         // detector type
        0x00, 0x00, 0x00, 0x00,                         // reserved
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // reserved
        0x00, 0xF2, 0x05, 0x2A, 0x01, 0x00, 0x00, 0x00, // first seen: seconds
        0x90, 0xD0, 0x03, 0x00,                         // and microseconds
        0x00, 0x00, 0x00, 0x00,                         // reserved
        0x0D, 0x0C, 0x0B, 0x0A, 0xFF, 0xFF, 0xFF, 0xFF, // two words
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // reserved
        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, // second time: seconds
        0xE0, 0x5E, 0xF8, 0xFF,                         // and microseconds
        0x00, 0x00, 0x00, 0x00,                         // reserved
        0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, // statistics
        0x00, 0x28, 0x6B, 0xEE,                         // duration
        0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0xC0, // class scores
        0x07, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, // statistics
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // pending instances: none

        0x02, 0x00, 0x00, 0x00,                         // instances

        0x00, 0xF1, 0x53, 0x65, 0x3F, 0x42, 0x0F, 0x00, // time
        0x32, 0xFF, 0x00, 0x7F,                         // class values
        0x00, 0x00, 0x20, 0x41, 0x00, 0x00, 0xA0, 0x41, // box
        0x00, 0x00, 0xF0, 0x41, 0x00, 0x00, 0x70, 0x42,
        0x00, 0x00, 0xC0, 0x3F, 0x00, 0x00, 0x80, 0xBE, // two floats
        0x01, 0x00, 0x00, 0x00,                         // flag, reserved
        0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40, // group
        0x00, 0x00, 0x80, 0x40, 0x00, 0x00, 0x00, 0x41,
        0xFD, 0x02, 0x00, 0x00,                         // number, colours, reserved
        0x00, 0x00, 0x40, 0x3F, 0x00, 0x00, 0xC8, 0x42, // point
        0xFF, 0x80, 0x01, 0x25, 0x0B,                   // colours
        0x00, 0x10, 0x20, 0x64, 0xFF,

        0xFF, 0xFF, 0xFF, 0xFF, 0xE0, 0x5E, 0xF8, 0xFF, // time
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // all else
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,

        0x03, 0x00, 0x00, 0x00, 0xAA, 0xBB, 0xCC,       // auxiliary data
    };
    return bytes;
}
// clang-format on

constexpr std::size_t list_at = 132;
constexpr std::size_t first_at = 136;
constexpr std::size_t second_at = first_at + 68 + 10; // with two colours
constexpr std::size_t auxiliary_at = second_at + 68;

TEST(KrObjectCodec, RecordHasTheKnownBytes)
{
    const KR_ObjectBase object = known_object();
    EXPECT_EQ(289U, known_record().size());
    EXPECT_EQ(289U, object.serialize_size(ample));
    EXPECT_EQ(known_record(), record_of(object));
}

TEST(KrObjectCodec, ListHasTheKnownBytes)
{
    const KR_ObjectBase object = known_object();
    const Bytes list(known_record().begin() + list_at, known_record().begin() + auxiliary_at);
    EXPECT_EQ(150U, object.serialize_instances_size(ample));
    EXPECT_EQ(list, list_of(object));
}

void expect_known_scalars(const KR_ObjectBase& object)
{
    EXPECT_EQ(0x01020304, object.SensorId.word1);
    EXPECT_EQ(-2, object.SensorId.word2);
    EXPECT_EQ(0x1122334455667788U, object.ObjectId);
    EXPECT_EQ(7, object.DetectorType);
    EXPECT_EQ(5'000'000'000, object.FirstSeenTime.sec());
    EXPECT_EQ(250'000, object.FirstSeenTime.usec());
    EXPECT_EQ(0x0A0B0C0D, object.Word1);
    EXPECT_EQ(-1, object.Word2);
    EXPECT_EQ(-1, object.SecondTime.sec());
    EXPECT_EQ(-500'000, object.SecondTime.usec());
    EXPECT_EQ(1, object.StatisticsWord1);
    EXPECT_EQ(2, object.StatisticsWord2);
    EXPECT_EQ(4'000'000'000U, object.Duration);
    EXPECT_THAT(object.ClassScores, ElementsAre(0.5F, 1.0F, -2.0F));
    EXPECT_EQ(7, object.StatisticsWord7);
    EXPECT_EQ(8, object.StatisticsWord8);
}

void expect_known_instance(const Instance& instance)
{
    EXPECT_EQ(1'700'000'000, instance.Time.sec());
    EXPECT_EQ(999'999, instance.Time.usec());
    EXPECT_EQ(0, instance.Word1);
    EXPECT_EQ(0, instance.Word2);
    EXPECT_EQ(50.0F, instance.PersonValue);
    EXPECT_EQ(-1.0F, instance.VehicleValue);
    EXPECT_EQ(0.0F, instance.ObjectValue);
    EXPECT_EQ(127.0F, instance.UnknownValue);
    EXPECT_EQ(10.0F, instance.Box.MinX);
    EXPECT_EQ(20.0F, instance.Box.MinY);
    EXPECT_EQ(30.0F, instance.Box.MaxX);
    EXPECT_EQ(60.0F, instance.Box.MaxY);
    EXPECT_EQ(1, instance.Box.IsSet);
    EXPECT_EQ(1.5F, instance.Float1);
    EXPECT_EQ(-0.25F, instance.Float2);
    EXPECT_EQ(1, instance.Flag);
    EXPECT_THAT(instance.Group, ElementsAre(1.0F, 2.0F, 4.0F, 8.0F));
    EXPECT_EQ(-3, instance.Number);
    EXPECT_EQ(0.75F, instance.PointX);
    EXPECT_EQ(100.0F, instance.PointY);
    ASSERT_EQ(2U, instance.Colors.size());
    EXPECT_EQ(255, instance.Colors[0].color.red);
    EXPECT_EQ(128, instance.Colors[0].color.green);
    EXPECT_EQ(1, instance.Colors[0].color.blue);
    EXPECT_EQ(37.0F, instance.Colors[0].area);
    EXPECT_EQ(11, instance.Colors[0].code);
    EXPECT_EQ(0, instance.Colors[1].color.red);
    EXPECT_EQ(16, instance.Colors[1].color.green);
    EXPECT_EQ(32, instance.Colors[1].color.blue);
    EXPECT_EQ(100.0F, instance.Colors[1].area);
    EXPECT_EQ(-1, instance.Colors[1].code);
}

TEST(KrObjectCodec, KnownBytesGiveTheRecord)
{
    KR_ObjectBase object;
    EXPECT_EQ(289U, read_record(known_record(), object));
    expect_known_scalars(object);
    ASSERT_EQ(2U, object.Instances.size());
    expect_known_instance(object.Instances[0]);
    EXPECT_EQ(-1, object.Instances[1].Time.sec());
    EXPECT_EQ(-500'000, object.Instances[1].Time.usec());
    EXPECT_EQ(1, object.Instances[1].Box.IsSet);
    EXPECT_THAT(object.Instances[1].Colors, IsEmpty());
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *object.AuxiliaryData);
    EXPECT_EQ(known_record(), record_of(object));
}

TEST(KrObjectCodec, KnownListIsReadByItself)
{
    KR_ObjectBase object;
    EXPECT_EQ(150U,
              read_list(Bytes(known_record().begin() + list_at, known_record().end()), object));
    ASSERT_EQ(2U, object.Instances.size());
    expect_known_instance(object.Instances[0]);
    EXPECT_EQ(0U, object.ObjectId);
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, ReaderIgnoresReservedBytesAndPendingWords)
{
    Bytes record = known_record();
    for (const std::size_t reserved : {0, 4, 16, 32, 36, 40, 56, 68, 72, 88, 124, 128})
        set_word_at(record, reserved, 0xFFFFFFFF);
    for (const std::size_t reserved : {37, 38, 39, 58, 59})
        record[first_at + reserved] = 0xFF;
    KR_ObjectBase object;
    EXPECT_EQ(289U, read_record(record, object));
    EXPECT_EQ(0U, object.pending_instances_length());
    EXPECT_EQ(known_record(), record_of(object));
}

TEST(KrObjectCodec, EqualObjectsGiveEqualBytes)
{
    Bytes first(500, 0x11);
    Bytes second(500, 0x22);
    ASSERT_EQ(289U, known_object().serialize(first.data(), ample));
    ASSERT_EQ(289U, known_object().serialize(second.data(), ample));
    EXPECT_EQ(0, std::memcmp(first.data(), second.data(), 289));
}

TEST(KrObjectCodec, PendingInstancesAreNeitherWrittenNorKept)
{
    const Bytes list(known_record().begin() + list_at, known_record().begin() + auxiliary_at);
    KR_ObjectBase object = known_object();
    object.set_pending_instances(list.data(), length_of(list));
    EXPECT_EQ(known_record(), record_of(object));
    object.Instances.clear();
    EXPECT_EQ(289U, read_record(known_record(), object));
    EXPECT_EQ(0U, object.pending_instances_length());
}

TEST(KrObjectCodec, PendingInstancesAreDecodedWithinTheirLength)
{
    const Bytes list(known_record().begin() + list_at, known_record().begin() + auxiliary_at);
    KR_ObjectBase object;
    object.set_pending_instances(list.data(), length_of(list) - 1);
    EXPECT_EQ(4U + 78U, object.deserialize_instances());
    ASSERT_EQ(1U, object.Instances.size());
    expect_known_instance(object.Instances[0]);
    EXPECT_EQ(0U, object.pending_instances_length());
}

TEST(KrObjectCodec, TimesOfTheFixedBlockAreTakenAsTheyStand)
{
    Bytes record = known_record();
    set_word_at(record, 44, 0);
    set_word_at(record, 48, 0x80000000); // the least 64-bit number
    set_word_at(record, 52, 0x80000000);
    KR_ObjectBase object;
    EXPECT_EQ(289U, read_record(record, object));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::min(), object.FirstSeenTime.sec());
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), object.FirstSeenTime.usec());
    EXPECT_EQ(record, record_of(object));
}

// Sizes and budgets.

TEST(KrObjectCodec, NoInstancesAreAFourByteCountOfZero)
{
    const KR_ObjectBase object;
    for (const unsigned limit : {4U, 5U, 71U, 72U, 1000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(4U, object.serialize_instances_size(limit)) << limit;
        EXPECT_EQ((Bytes{0, 0, 0, 0}), list_of(object, limit)) << limit;
        EXPECT_EQ(140U, object.serialize_size(limit)) << limit;
    }
}

TEST(KrObjectCodec, QuirkLimitBelowFourHasSizeZeroButTheCountIsWritten)
{
    const Log_Capture unseen;
    for (const std::size_t instances : {0, 1, 3}) {
        const KR_ObjectBase object = object_with(std::vector<std::size_t>(instances, 2));
        for (unsigned limit = 0; limit < 4; ++limit) {
            EXPECT_EQ(0U, object.serialize_instances_size(limit));
            EXPECT_EQ((Bytes{0, 0, 0, 0}), list_of(object, limit));
            EXPECT_EQ(136U, object.serialize_size(limit));
            EXPECT_EQ(140U, record_of(object, limit).size());
        }
    }
    EXPECT_EQ(16U, unseen.lines().size()); // none for the object without instances
}

TEST(KrObjectCodec, InstanceWhoseLastColorDoesNotFitIsDroppedWhole)
{
    const KR_ObjectBase object = object_with({2});
    const Log_Capture log;
    EXPECT_EQ(4U, object.serialize_instances_size(4 + 68 + 5));
    EXPECT_EQ((Bytes{0, 0, 0, 0}), list_of(object, 4 + 68 + 5));
    EXPECT_EQ(1U, log.lines().size());
}

TEST(KrObjectCodec, InstancesBehindOneThatDoesNotFitAreDroppedEvenWhereTheyWouldFit)
{
    const KR_ObjectBase object = object_with({0, 100, 0});
    const Log_Capture log;
    const Bytes list = list_of(object, 300);
    EXPECT_EQ(4U + 68U, list.size());
    EXPECT_EQ(1U, word_at(list, 0));
    EXPECT_EQ(72U, object.serialize_instances_size(300));
}

TEST(KrObjectCodec, LimitBoundsTheListAlone)
{
    KR_ObjectBase object = object_with({1, 1});
    object.AuxiliaryData->assign(50, 0x77);
    const Log_Capture log;
    const Bytes record = record_of(object, 4 + 73);
    EXPECT_EQ(132U + 4U + 73U + 4U + 50U, record.size());
    EXPECT_EQ(263U, object.serialize_size(4 + 73));
    EXPECT_EQ(1U, word_at(record, 132));
    EXPECT_EQ(50U, word_at(record, 132 + 4 + 73));
}

TEST(KrObjectCodec, ObjectWithoutABlockWritesNoAuxiliaryData)
{
    KR_ObjectBase object = known_object();
    object.AuxiliaryData.reset();
    const Bytes record = record_of(object);
    EXPECT_EQ(286U, record.size());
    EXPECT_EQ(286U, object.serialize_size(ample));
    EXPECT_EQ(0U, word_at(record, 282));
}

TEST(KrObjectCodec, InstanceThatDoesNotFitIsLogged)
{
    KR_ObjectBase object = object_with({1, 0, 0});
    object.ObjectId = 18446744073709551615U;
    Bytes bytes(500);
    std::ostringstream position;
    std::ostringstream base;
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(bytes.data()));
    position << std::hex << address + 77U;
    base << std::hex << address;
    const Log_Capture log;
    EXPECT_EQ(77U, object.serialize_instances(bytes.data(), 144));
    ASSERT_EQ(1U, log.lines().size());
    EXPECT_EQ(LM_ERROR, log.lines()[0].priority);
    EXPECT_EQ("Objects.cpp", log.lines()[0].file);
    EXPECT_EQ(-1, log.lines()[0].status);
    EXPECT_EQ(thread_mark() +
                  "*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object id "
                  "18446744073709551615 while trying to add InstanceForDB, current buffer position "
                  "(" +
                  position.str() + "), buffer base address (" + base.str() +
                  "), instance size to add (68), used size (77) from (144), instance (1) of (3), "
                  "trimming instances to (1) from (3)\n",
              log.unstamped(0));
}

TEST(KrObjectCodec, ColorThatDoesNotFitIsLogged)
{
    KR_ObjectBase object = object_with({1, 4});
    object.ObjectId = 12;
    Bytes bytes(500);
    std::ostringstream position;
    std::ostringstream base;
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(bytes.data()));
    position << std::hex << address + 155U;
    base << std::hex << address;
    const Log_Capture log;
    EXPECT_EQ(77U, object.serialize_instances(bytes.data(), 159));
    ASSERT_EQ(1U, log.lines().size());
    EXPECT_EQ(LM_ERROR, log.lines()[0].priority);
    EXPECT_EQ("Objects.cpp", log.lines()[0].file);
    EXPECT_EQ(-1, log.lines()[0].status);
    EXPECT_EQ(thread_mark() +
                  "*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object id "
                  "12 while trying to add Color, current buffer position (" +
                  position.str() + "), buffer base address (" + base.str() +
                  "), instance size to add (5), used size (155) from (159), instance (1) of (2), "
                  "color (2) from (4), trimming instances to (1) from (2)\n",
              log.unstamped(0));
}

TEST(KrObjectCodec, ListThatFitsExactlyIsNotTrimmed)
{
    const KR_ObjectBase object = object_with({2, 0});
    const Log_Capture log;
    const Bytes list = list_of(object, 4 + 78 + 68);
    EXPECT_EQ(150U, list.size());
    EXPECT_EQ(2U, word_at(list, 0));
    EXPECT_THAT(log.lines(), IsEmpty());
}

// The writer once more, part by part, as the format's rule has it.
struct Expected_List {
    unsigned size = 4;
    unsigned count = 0;
    std::string line; // after the stamp and the thread; empty when nothing is trimmed
};

std::string overrun_line(const KR_ObjectBase& object, const char* part, unsigned part_size,
                         unsigned base, unsigned used, unsigned limit, unsigned index,
                         const std::string& color)
{
    const std::size_t count = object.Instances.size();
    std::ostringstream line;
    line << "*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object id "
         << object.ObjectId << " while trying to add " << part << ", current buffer position ("
         << std::hex << base + used << "), buffer base address (" << base << std::dec
         << "), instance size to add (" << part_size << "), used size (" << used << ") from ("
         << limit << "), instance (" << index << ") of (" << count << "), " << color
         << "trimming instances to (" << index << ") from (" << count << ")\n";
    return line.str();
}

Expected_List expected_list(const KR_ObjectBase& object, unsigned base, unsigned limit)
{
    Expected_List list;
    for (const Instance& instance : object.Instances) {
        unsigned position = list.size;
        if (position + 68 > limit) {
            list.line =
                overrun_line(object, "InstanceForDB", 68, base, position, limit, list.count, "");
            return list;
        }
        position += 68;
        for (std::size_t j = 0; j < instance.Colors.size(); ++j) {
            if (position + 5 > limit) {
                const std::string color = "color (" + std::to_string(j) + ") from (" +
                                          std::to_string(instance.Colors.size()) + "), ";
                list.line =
                    overrun_line(object, "Color", 5, base, position, limit, list.count, color);
                return list;
            }
            position += 5;
        }
        list.size = position;
        ++list.count;
    }
    return list;
}

void expect_list_within(const KR_ObjectBase& object, unsigned limit, const Bytes& whole)
{
    Bytes bytes(whole.size() + 16, 0xEE);
    const auto base = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(bytes.data()));
    const Expected_List expected = expected_list(object, base, limit);
    const Log_Capture log;
    ASSERT_EQ(limit < 4 ? 0 : expected.size, object.serialize_instances_size(limit)) << limit;
    ASSERT_EQ(expected.size, object.serialize_instances(bytes.data(), limit)) << limit;
    ASSERT_EQ(expected.count, word_at(bytes, 0)) << limit;
    ASSERT_TRUE(std::equal(bytes.begin() + 4, bytes.begin() + expected.size, whole.begin() + 4))
        << limit;
    ASSERT_EQ(static_cast<std::ptrdiff_t>(bytes.size() - expected.size),
              std::count(bytes.begin() + expected.size, bytes.end(), 0xEE))
        << limit;
    ASSERT_EQ(expected.line.empty() ? 0U : 1U, log.lines().size()) << limit;
    if (!expected.line.empty()) {
        ASSERT_EQ(thread_mark() + expected.line, log.unstamped(0)) << limit;
    }
}

TEST(KrObjectCodec, EveryBudgetTrimsWholeInstancesAndSaysWhy)
{
    std::mt19937 random(1);
    for (int round = 0; round < 25; ++round) {
        std::vector<std::size_t> color_counts(random() % 5);
        for (std::size_t& count : color_counts)
            count = random() % 6;
        KR_ObjectBase object = object_with(color_counts);
        object.ObjectId = random();
        const Bytes whole = list_of(object);
        for (unsigned limit = 0; limit <= whole.size() + 8; ++limit)
            ASSERT_NO_FATAL_FAILURE(expect_list_within(object, limit, whole)) << "round " << round;
    }
}

TEST(KrObjectCodec, TrimmedRecordIsWellFormed)
{
    const KR_ObjectBase object = known_object();
    const Log_Capture log;
    const Bytes record = record_of(object, 149);
    EXPECT_EQ(289U - 68U, record.size());
    KR_ObjectBase stored;
    EXPECT_EQ(record.size(), read_record(record, stored));
    ASSERT_EQ(1U, stored.Instances.size());
    expect_known_instance(stored.Instances[0]);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *stored.AuxiliaryData);
}

TEST(KrObjectCodec, HundredThousandInstancesComeBack)
{
    KR_ObjectBase object = object_with(std::vector<std::size_t>(100'000, 1));
    EXPECT_EQ(7'300'004U, object.serialize_instances_size(ample));
    const Bytes list = list_of(object);
    EXPECT_EQ(7'300'004U, list.size());
    KR_ObjectBase stored;
    EXPECT_EQ(7'300'004U, read_list(list, stored));
    EXPECT_EQ(100'000U, stored.Instances.size());
    EXPECT_EQ(1'700'099'999, stored.Instances.back().Time.sec());
    EXPECT_EQ(list, list_of(stored));
    const Log_Capture log;
    EXPECT_EQ(7'299'931U, list_of(object, 7'300'003).size());
    EXPECT_EQ(7'299'931U, object.serialize_instances_size(7'300'003));
    EXPECT_EQ(1U, log.lines().size());
}

// Numbers that do not come back as they were.

TEST(KrObjectCodec, AreaIsTruncatedTowardZeroToASignedByte)
{
    struct Row {
        float area;
        int byte;
        float read;
    };
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Row rows[] = {
        {37.9F, 0x25, 37},
        {-37.9F, 0xDB, -37},
        {0.99F, 0, 0},
        {-0.99F, 0, 0},
        {127.9F, 0x7F, 127},
        {128, 0x80, -128},
        {-128, 0x80, -128},
        {200, 0xC8, -56},
        {256, 0, 0},
        {300, 0x2C, 44},
        {2147483520.0F, 0x80, -128}, // the largest that an int32 holds
        {-2147483648.0F, 0, 0},
        {2147483648.0F, 0, 0},
        {-2147483904.0F, 0, 0},
        {4294967040.0F, 0, 0}, // 0xFFFFFF00
        {8589934846.0F, 0, 0},
        {infinity, 0, 0},
        {-infinity, 0, 0},
        {std::numeric_limits<float>::quiet_NaN(), 0, 0},
    };
    for (const Row& row : rows) {
        Instance instance;
        instance.Colors.emplace_back().area = row.area;
        EXPECT_EQ(row.byte, list_of_one(instance).at(4 + 68 + 3)) << row.area;
        EXPECT_EQ(row.read, round_trip(instance).Colors.at(0).area) << row.area;
        instance.PersonValue = row.area;
        instance.UnknownValue = row.area;
        const Bytes list = list_of_one(instance);
        EXPECT_EQ(row.byte, list.at(4 + 8)) << row.area;
        EXPECT_EQ(0, list.at(4 + 9)) << row.area;
        EXPECT_EQ(0, list.at(4 + 10)) << row.area;
        EXPECT_EQ(row.byte, list.at(4 + 11)) << row.area;
        EXPECT_EQ(row.read, round_trip(instance).PersonValue) << row.area;
    }
}

TEST(KrObjectCodec, ClassValuesKeepTheirOrder)
{
    Instance instance;
    instance.PersonValue = 1;
    instance.VehicleValue = 2;
    instance.ObjectValue = 3;
    instance.UnknownValue = 4;
    const Bytes list = list_of_one(instance);
    EXPECT_EQ((Bytes{1, 2, 3, 4}), Bytes(list.begin() + 12, list.begin() + 16));
    const Instance read = round_trip(instance);
    EXPECT_EQ(1.0F, read.PersonValue);
    EXPECT_EQ(2.0F, read.VehicleValue);
    EXPECT_EQ(3.0F, read.ObjectValue);
    EXPECT_EQ(4.0F, read.UnknownValue);
}

TEST(KrObjectCodec, QuirkClassValueOf200ComesBackAsMinus56)
{
    Instance instance;
    instance.VehicleValue = 200;
    EXPECT_EQ(0xC8, list_of_one(instance).at(4 + 9));
    EXPECT_EQ(-56.0F, round_trip(instance).VehicleValue);
}

TEST(KrObjectCodec, NumberAndCodeKeepTheirLowBytesSigned)
{
    struct Row {
        std::int32_t written;
        std::int32_t read;
    };
    for (const Row& row : {Row{0, 0}, Row{127, 127}, Row{128, -128}, Row{255, -1}, Row{256, 0},
                           Row{-128, -128}, Row{-129, 127}, Row{0x7FFFFF05, 5}}) {
        Instance instance;
        instance.Number = row.written;
        instance.Colors.emplace_back().code = row.written;
        EXPECT_EQ(row.read, round_trip(instance).Number) << row.written;
        EXPECT_EQ(row.read, round_trip(instance).Colors.at(0).code) << row.written;
    }
}

TEST(KrObjectCodec, FlagIsAByteOfItsOwn)
{
    Instance instance;
    instance.Flag = 0xFF;
    const Bytes list = list_of_one(instance);
    EXPECT_EQ((Bytes{0xFF, 0, 0, 0}), Bytes(list.begin() + 40, list.begin() + 44));
    EXPECT_EQ(0xFF, round_trip(instance).Flag);
}

TEST(KrObjectCodec, QuirkInstanceTimeBeyond32BitsIsCut)
{
    struct Row {
        std::int64_t written;
        std::int64_t read;
    };
    for (const Row& row : {Row{2'147'483'647, 2'147'483'647}, Row{2'147'483'648, -2'147'483'648},
                           Row{4'294'967'301, 5}, Row{-2'147'483'649, 2'147'483'647},
                           Row{-2'147'483'648, -2'147'483'648}, Row{-1, -1}}) {
        Instance instance;
        instance.Time = ACE_Time_Value(static_cast<std::time_t>(row.written), 0);
        EXPECT_EQ(row.read, round_trip(instance).Time.sec()) << row.written;
        KR_ObjectBase object;
        object.FirstSeenTime = instance.Time;
        object.SecondTime = instance.Time;
        object.Instances.push_back(instance);
        KR_ObjectBase stored;
        read_record(record_of(object), stored);
        EXPECT_EQ(row.written, stored.FirstSeenTime.sec()) << row.written;
        EXPECT_EQ(row.written, stored.SecondTime.sec()) << row.written;
    }
}

TEST(KrObjectCodec, InstanceTimeIsBroughtIntoNormalForm)
{
    struct Row {
        unsigned seconds;
        unsigned microseconds;
        std::int64_t read_seconds;
        std::int64_t read_microseconds;
    };
    const unsigned minus_1 = 0xFFFFFFFF;
    const Row rows[] = {
        {10, 999'999, 10, 999'999},
        {10, 1'000'000, 11, 0},
        {10, 2'500'000, 12, 500'000},
        {10, minus_1, 9, 999'999},
        {0, minus_1, 0, -1},
        {minus_1, minus_1, -1, -1},
        {minus_1 - 4, 250'000, -4, -750'000},
        {minus_1, 1'500'000, 0, 500'000},
        {0x80000000, 0x80000000, -2'147'485'795, -483'648},
        {0x7FFFFFFF, 0x7FFFFFFF, 2'147'485'794, 483'647},
    };
    for (const Row& row : rows) {
        Bytes list = list_of_one(Instance());
        set_word_at(list, 4, row.seconds);
        set_word_at(list, 8, row.microseconds);
        KR_ObjectBase object;
        read_list(list, object);
        EXPECT_EQ(row.read_seconds, object.Instances.at(0).Time.sec()) << row.microseconds;
        EXPECT_EQ(row.read_microseconds, object.Instances.at(0).Time.usec()) << row.microseconds;
    }
}

TEST(KrObjectCodec, BoxComesBackOrderedAndSet)
{
    Instance instance;
    instance.Box = Geom_Box2D<float>(30, 20, 10, 60);
    EXPECT_EQ(0x41, list_of_one(instance).at(4 + 15)); // 30 is written first
    Instance read = round_trip(instance);
    EXPECT_EQ(10.0F, read.Box.MinX);
    EXPECT_EQ(20.0F, read.Box.MinY);
    EXPECT_EQ(30.0F, read.Box.MaxX);
    EXPECT_EQ(60.0F, read.Box.MaxY);
    EXPECT_EQ(1, read.Box.IsSet);
    instance.Box = Geom_Box2D<float>(-1, 5, 1, -5);
    read = round_trip(instance);
    EXPECT_EQ(-1.0F, read.Box.MinX);
    EXPECT_EQ(-5.0F, read.Box.MinY);
    EXPECT_EQ(1.0F, read.Box.MaxX);
    EXPECT_EQ(5.0F, read.Box.MaxY);
}

TEST(KrObjectCodec, BoxPairWithANanStaysInItsOrder)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Instance instance;
    instance.Box = Geom_Box2D<float>(nan, 20, 10, nan);
    const Instance read = round_trip(instance);
    EXPECT_TRUE(std::isnan(read.Box.MinX));
    EXPECT_EQ(10.0F, read.Box.MaxX);
    EXPECT_EQ(20.0F, read.Box.MinY);
    EXPECT_TRUE(std::isnan(read.Box.MaxY));
    EXPECT_EQ(1, read.Box.IsSet);
    EXPECT_EQ(list_of_one(instance), list_of_one(read));
}

TEST(KrObjectCodec, BoxPairOfZerosStaysInItsOrder)
{
    Instance instance;
    instance.Box = Geom_Box2D<float>(0.0F, -0.0F, -0.0F, 0.0F);
    const Instance read = round_trip(instance);
    EXPECT_FALSE(std::signbit(read.Box.MinX));
    EXPECT_TRUE(std::signbit(read.Box.MaxX));
    EXPECT_TRUE(std::signbit(read.Box.MinY));
    EXPECT_FALSE(std::signbit(read.Box.MaxY));
    EXPECT_EQ(list_of_one(instance), list_of_one(read));
}

TEST(KrObjectCodec, UnsetBoxComesBackSet)
{
    EXPECT_EQ(1, round_trip(Instance()).Box.IsSet);
}

// Colour counts.

TEST(KrObjectCodec, UpTo127ColorsComeBackInTheirOrder)
{
    for (const std::size_t count : {0, 1, 2, 127}) {
        Instance instance;
        for (std::size_t i = 0; i < count; ++i)
            instance.Colors.emplace_back().code = static_cast<std::int32_t>(i);
        const Bytes list = list_of_one(instance);
        EXPECT_EQ(4 + 68 + 5 * count, list.size());
        EXPECT_EQ(count, list.at(4 + 57));
        const Instance read = round_trip(instance);
        ASSERT_EQ(count, read.Colors.size());
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(static_cast<std::int32_t>(i), read.Colors[i].code);
    }
}

TEST(KrObjectCodec, Quirk128AndMoreColorsAreWrittenButNotRead)
{
    struct Row {
        std::size_t count;
        int byte;
    };
    for (const Row& row : {Row{128, 0x80}, Row{129, 0x81}, Row{255, 0xFF}, Row{256, 0x00}}) {
        const KR_ObjectBase object = object_with({row.count});
        const Bytes list = list_of(object);
        EXPECT_EQ(4 + 68 + 5 * row.count, list.size()) << row.count;
        EXPECT_EQ(4 + 68 + 5 * row.count, object.serialize_instances_size(ample)) << row.count;
        EXPECT_EQ(row.byte, list.at(4 + 57)) << row.count;
        KR_ObjectBase stored;
        EXPECT_EQ(4U + 68U, read_list(list, stored)) << row.count;
        ASSERT_EQ(1U, stored.Instances.size());
        EXPECT_THAT(stored.Instances[0].Colors, IsEmpty());
    }
}

TEST(KrObjectCodec, QuirkListLosesStepBehind128Colors)
{
    const KR_ObjectBase object = object_with({128, 0});
    KR_ObjectBase stored;
    EXPECT_EQ(4U + 2U * 68U, read_list(list_of(object), stored));
    // The second is made of the first one's colours, which are zero.
    EXPECT_THAT(seconds_of(stored), ElementsAre(1700000000, 0));
}

// Objects that hold something already.

TEST(KrObjectCodec, InstancesHeldBeforeCountTowardTheListsCount)
{
    const Bytes list = list_of(object_with({0, 0, 0}));
    KR_ObjectBase object;
    object.Instances.resize(1);
    EXPECT_EQ(4U + 2U * 68U, read_list(list, object));
    EXPECT_THAT(seconds_of(object), ElementsAre(0, 1700000000, 1700000001));
    EXPECT_EQ(4U, read_list(list, object));
    EXPECT_EQ(3U, object.Instances.size());
    object.Instances.resize(9);
    EXPECT_EQ(4U, read_list(list, object));
    EXPECT_EQ(9U, object.Instances.size());
}

TEST(KrObjectCodec, RecordReadIntoAnObjectWithInstancesEndsWhereItsListWasLeft)
{
    KR_ObjectBase object;
    object.Instances.resize(1);
    // The second instance stays unread. What stands for the auxiliary length is its time, -1.
    EXPECT_EQ(second_at, read_record(known_record(), object));
    EXPECT_EQ(2U, object.Instances.size());
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, AuxiliaryDataReplaceTheBytesOfASharedBlock)
{
    KR_ObjectBase object;
    object.AuxiliaryData->assign(100, 0x11);
    const KR_ObjectBase sharer = object;
    EXPECT_EQ(289U, read_record(known_record(), object));
    EXPECT_EQ(sharer.AuxiliaryData, object.AuxiliaryData);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *sharer.AuxiliaryData);
}

TEST(KrObjectCodec, AuxiliaryDataGiveABlockToAnObjectWithoutOne)
{
    KR_ObjectBase object;
    object.AuxiliaryData.reset();
    EXPECT_EQ(289U, read_record(known_record(), object));
    ASSERT_NE(nullptr, object.AuxiliaryData);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *object.AuxiliaryData);
}

TEST(KrObjectCodec, QuirkRecordWithoutAuxiliaryDataLeavesTheBlockAsItIs)
{
    Bytes record(known_record().begin(), known_record().end() - 3);
    set_word_at(record, auxiliary_at, 0);
    KR_ObjectBase object;
    *object.AuxiliaryData = {0x11, 0x22};
    EXPECT_EQ(286U, read_record(record, object));
    EXPECT_EQ((Bytes{0x11, 0x22}), *object.AuxiliaryData);
}

// Bytes that are cut short or tell lies.

TEST(KrObjectCodec, QuirkListThatCountsTooManyGoesOnIntoTheAuxiliaryData)
{
    KR_ObjectBase object = object_with({0});
    object.AuxiliaryData->assign(64, 0);
    Bytes record = record_of(object);
    set_word_at(record, list_at, 2);
    KR_ObjectBase stored;
    EXPECT_EQ(132U + 4U + 2U * 68U, read_record(record, stored));
    EXPECT_THAT(seconds_of(stored), ElementsAre(1700000000, 64)); // the length, taken for a time
    EXPECT_THAT(*stored.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, ListThatCountsMoreThanThereIsStopsBeforeWhatIsCutShort)
{
    Bytes record = known_record();
    set_word_at(record, list_at, 0xFFFFFFFF);
    KR_ObjectBase object;
    EXPECT_EQ(auxiliary_at, read_record(record, object));
    EXPECT_EQ(2U, object.Instances.size());
    EXPECT_LE(object.Instances.capacity(), 2U); // no room for what the bytes cannot hold
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, RecordWithoutAWholeFixedBlockGivesNothing)
{
    for (const std::size_t length : {0, 1, 4, 131}) {
        KR_ObjectBase object = object_with({0});
        object.ObjectId = 5;
        const Bytes list = list_of(object);
        object.set_pending_instances(list.data(), length_of(list));
        const Bytes cut(known_record().begin(),
                        known_record().begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(0U, read_record(cut, object)) << length;
        EXPECT_EQ(5U, object.ObjectId) << length;
        EXPECT_EQ(1U, object.Instances.size()) << length;
        EXPECT_EQ(72U, object.pending_instances_length()) << length;
    }
}

TEST(KrObjectCodec, RecordWithoutAWholeCountGivesItsScalars)
{
    for (const std::ptrdiff_t length : {132, 133, 135}) {
        KR_ObjectBase object = object_with({0});
        const Bytes cut(known_record().begin(), known_record().begin() + length);
        EXPECT_EQ(132U, read_record(cut, object)) << length;
        expect_known_scalars(object);
        EXPECT_THAT(seconds_of(object), ElementsAre(1700000000)) << length;
    }
}

TEST(KrObjectCodec, CutShortAuxiliaryDataAreNotTakenOver)
{
    for (const std::ptrdiff_t missing : {1, 3, 4, 6, 7}) {
        KR_ObjectBase object;
        *object.AuxiliaryData = {0x11};
        const Bytes cut(known_record().begin(), known_record().end() - missing);
        EXPECT_EQ(auxiliary_at, read_record(cut, object)) << missing;
        EXPECT_EQ(2U, object.Instances.size()) << missing;
        EXPECT_EQ((Bytes{0x11}), *object.AuxiliaryData) << missing;
    }
    Bytes lying = known_record();
    set_word_at(lying, auxiliary_at, 0xFFFFFFFF);
    KR_ObjectBase object;
    EXPECT_EQ(auxiliary_at, read_record(lying, object));
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, CutShortInstanceEndsTheRecord)
{
    // Its first bytes would make a fine auxiliary length.
    KR_ObjectBase object = object_with({0, 0});
    object.Instances[1].Time = ACE_Time_Value(3);
    Bytes record = record_of(object);
    record.resize(132 + 4 + 68 + 67);
    KR_ObjectBase stored;
    EXPECT_EQ(132U + 4U + 68U, read_record(record, stored));
    EXPECT_EQ(1U, stored.Instances.size());
    EXPECT_THAT(*stored.AuxiliaryData, IsEmpty());
}

TEST(KrObjectCodec, CutShortListGivesItsWholeInstances)
{
    const Bytes list = list_of(object_with({0, 2}));
    for (std::ptrdiff_t length = 0; length <= 4 + 68 + 78; ++length) {
        KR_ObjectBase object;
        object.Instances.resize(1);
        Bytes cut = list;
        set_word_at(cut, 0, 3); // with the one held
        cut.resize(static_cast<std::size_t>(length));
        const unsigned consumed = length < 4 ? 0U : length < 72 ? 4U : length < 150 ? 72U : 150U;
        const std::size_t read = length < 72 ? 0 : length < 150 ? 1 : 2;
        EXPECT_EQ(consumed, read_list(cut, object)) << length;
        EXPECT_EQ(1 + read, object.Instances.size()) << length;
    }
}

TEST(KrObjectCodec, NullBufferHasNoBytes)
{
    KR_ObjectBase object = object_with({0});
    object.ObjectId = 5;
    EXPECT_EQ(0U, KR_ObjectBase::deserialize(nullptr, 1000, &object));
    EXPECT_EQ(0U, KR_ObjectBase::deserialize_instances(nullptr, 1000, &object));
    EXPECT_EQ(5U, object.ObjectId);
    EXPECT_EQ(1U, object.Instances.size());
}

// The reader once more, on any bytes, for an object that holds one instance.
struct Expected_Reading {
    std::size_t consumed = 0;
    std::size_t instances = 1;
    std::size_t auxiliary_length = 0;
};

Expected_Reading expected_reading(const Bytes& bytes)
{
    Expected_Reading reading;
    if (bytes.size() < 132)
        return reading;
    reading.consumed = 132;
    if (bytes.size() < 136)
        return reading;
    reading.consumed = 136;
    const std::size_t count = word_at(bytes, 132);
    while (reading.instances < count) {
        const std::size_t left = bytes.size() - reading.consumed;
        if (left < 68)
            return reading;
        const std::size_t colors = bytes[reading.consumed + 57];
        const std::size_t size = 68 + (colors < 128 ? 5 * colors : 0);
        if (left < size)
            return reading;
        reading.consumed += size;
        ++reading.instances;
    }
    const std::size_t left = bytes.size() - reading.consumed;
    if (left < 4 || word_at(bytes, reading.consumed) > left - 4)
        return reading;
    reading.auxiliary_length = word_at(bytes, reading.consumed);
    reading.consumed += 4 + reading.auxiliary_length;
    return reading;
}

void expect_stated_outcome(const Bytes& bytes)
{
    KR_ObjectBase object;
    object.Instances.resize(1);
    const Expected_Reading expected = expected_reading(bytes);
    ASSERT_EQ(expected.consumed, read_record(bytes, object));
    ASSERT_EQ(expected.instances, object.Instances.size());
    ASSERT_EQ(expected.auxiliary_length, object.AuxiliaryData->size());
}

// Records for an object that holds one instance already.
std::vector<Bytes> records_to_damage()
{
    std::vector<Bytes> records;
    for (const auto& color_counts : std::vector<std::vector<std::size_t>>{
             {}, {0}, {2}, {127}, {1, 0, 3}, {128, 2}, {0, 255, 1}, {5, 4, 3, 2, 1, 0}}) {
        KR_ObjectBase object = object_with(color_counts);
        object.AuxiliaryData->assign(color_counts.size() % 3 * 40, 0x01);
        records.push_back(record_of(object));
        set_word_at(records.back(), list_at, static_cast<unsigned>(color_counts.size()) + 1);
    }
    records.push_back(known_record());
    set_word_at(records.back(), list_at, 3);
    return records;
}

TEST(KrObjectCodec, EveryTruncationHasAStatedOutcome)
{
    for (const Bytes& record : records_to_damage())
        for (std::size_t length = 0; length <= record.size(); ++length) {
            const Bytes cut(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(length));
            ASSERT_NO_FATAL_FAILURE(expect_stated_outcome(cut))
                << length << " of " << record.size();
        }
}

// 500,000 of them; `first` is the first byte that may be hit.
void expect_stated_outcome_with_flipped_bits(unsigned seed, std::size_t first)
{
    std::mt19937 random(seed);
    std::vector<Bytes> records = records_to_damage();
    for (int round = 0; round < 500'000; ++round) {
        Bytes& record = records[random() % records.size()];
        const std::size_t at = first + random() % (record.size() - first);
        const auto bit = static_cast<unsigned char>(1U << random() % 8);
        record[at] = static_cast<unsigned char>(record[at] ^ bit); // stays for the later rounds
        ASSERT_NO_FATAL_FAILURE(expect_stated_outcome(record)) << "round " << round;
        if (round % 16 == 15)
            records = records_to_damage();
    }
}

TEST(KrObjectCodec, FlippedBitsAnywhereHaveAStatedOutcome)
{
    expect_stated_outcome_with_flipped_bits(1, 0);
}

TEST(KrObjectCodec, FlippedBitsInTheListHaveAStatedOutcome)
{
    expect_stated_outcome_with_flipped_bits(2, list_at);
}

TEST(KrObjectCodec, RandomBytesHaveAStatedOutcome)
{
    std::mt19937 random(3);
    for (int round = 0; round < 20'000; ++round) {
        Bytes bytes(random() % 1000);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        if (bytes.size() >= first_at && round % 2 == 0)
            set_word_at(bytes, list_at, static_cast<unsigned>(random() % 10));
        ASSERT_NO_FATAL_FAILURE(expect_stated_outcome(bytes)) << "round " << round;
    }
}

// Objects that are left without an instance.

const char* const assertion_line = "\\d\\d:\\d\\d:\\d\\d\\.\\d{6} T\\d{4,}\\*EMR Assertion failed "
                                   "for 'obj->Instances\\.size\\(\\) > 0' in "
                                   "Objects\\.cpp:\\d+\\.\r?\n";

TEST(KrObjectCodecDeathTest, ListWithoutInstancesIsAFailedAssertion)
{
    Bytes list = list_of(KR_ObjectBase());
    KR_ObjectBase object;
    EXPECT_EXIT(KR_ObjectBase::deserialize_instances(list.data(), 4, &object),
                testing::ExitedWithCode(1), FullyMatches(assertion_line));
    list.resize(100); // with bytes after the count
    EXPECT_EXIT(KR_ObjectBase::deserialize_instances(list.data(), 100, &object),
                testing::ExitedWithCode(1), FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, ListOfFourBytesAndLessIsAFailedAssertion)
{
    Bytes list = list_of(object_with({0}));
    for (const unsigned length : {0U, 3U, 4U}) {
        KR_ObjectBase object;
        EXPECT_EXIT(KR_ObjectBase::deserialize_instances(list.data(), length, &object),
                    testing::ExitedWithCode(1), FullyMatches(assertion_line))
            << length;
    }
    KR_ObjectBase object;
    EXPECT_EXIT(KR_ObjectBase::deserialize_instances(nullptr, 72, &object),
                testing::ExitedWithCode(1), FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, ListWhoseFirstInstanceIsCutShortIsAFailedAssertion)
{
    Bytes list = list_of(object_with({1}));
    KR_ObjectBase object;
    EXPECT_EXIT(KR_ObjectBase::deserialize_instances(list.data(), 76, &object),
                testing::ExitedWithCode(1), FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, RecordWithoutInstancesIsAFailedAssertion)
{
    Bytes record = record_of(KR_ObjectBase());
    KR_ObjectBase object;
    EXPECT_EXIT(KR_ObjectBase::deserialize(record.data(), length_of(record), &object),
                testing::ExitedWithCode(1), FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, RecordWithoutAWholeFixedBlockIsAFailedAssertion)
{
    Bytes record = known_record();
    KR_ObjectBase object;
    EXPECT_EXIT(KR_ObjectBase::deserialize(record.data(), 131, &object), testing::ExitedWithCode(1),
                FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, PendingInstancesThatAreNoneAreAFailedAssertion)
{
    KR_ObjectBase object;
    EXPECT_EXIT(object.deserialize_instances(), testing::ExitedWithCode(1),
                FullyMatches(assertion_line));
}

TEST(KrObjectCodecDeathTest, NullObjectIsAFailedAssertion)
{
    Bytes record = known_record();
    EXPECT_EXIT(
        KR_ObjectBase::deserialize(record.data(), length_of(record), nullptr),
        testing::ExitedWithCode(1),
        testing::HasSubstr("*EMR Assertion failed for 'object != nullptr' in Objects.cpp:"));
    EXPECT_EXIT(
        KR_ObjectBase::deserialize_instances(record.data() + list_at, 157, nullptr),
        testing::ExitedWithCode(1),
        testing::HasSubstr("*EMR Assertion failed for 'object != nullptr' in Objects.cpp:"));
}

} // namespace
