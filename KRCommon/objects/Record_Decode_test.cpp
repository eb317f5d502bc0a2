// The checked reader: KR_ObjectBase::decode(), and clear(), with which one object takes in record
// after record.

#include <KRCommon/objects/Objects.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Found by GoogleTest.
static std::ostream& operator<<(std::ostream& out, const KR_Record_Status& status)
{
    return out << "state " << static_cast<int>(status.state) << " at " << status.position << ", "
               << status.consumed << " bytes, " << status.instances << " instances";
}

namespace {

using testing::Each;
using testing::IsEmpty;

using Bytes = std::vector<unsigned char>;
using State = KR_Record_State;
using Status = KR_Record_Status;

constexpr unsigned ample = 0xFFFFFFFF;

Bytes record_of(const KR_ObjectBase& object)
{
    Bytes bytes(object.serialize_size(ample));
    EXPECT_EQ(bytes.size(), object.serialize(bytes.data(), ample));
    return bytes;
}

void set_word_at(Bytes& bytes, std::size_t offset, std::uint32_t word)
{
    for (unsigned i = 0; i < 4; ++i)
        bytes.at(offset + i) = static_cast<unsigned char>(word >> 8 * i);
}

Bytes first_of(const Bytes& bytes, std::size_t length)
{
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
}

// From a block of exactly that many bytes, so that a sanitizer sees a read beyond them.
Status decode(const Bytes& bytes, KR_ObjectBase& object)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return object.decode(exact.get(), bytes.size());
}

// An instance for each number, with so many colours.
KR_ObjectBase object_with(const std::vector<std::size_t>& color_counts, std::size_t auxiliary = 0)
{
    KR_ObjectBase object;
    object.ObjectId = 100 + color_counts.size();
    object.FirstSeenTime = ACE_Time_Value(1'700'000'000);
    object.Duration = 7;
    std::int32_t number = 0;
    for (const std::size_t count : color_counts) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Time = ACE_Time_Value(1'700'000'000 + number, 5);
        instance.Number = ++number;
        instance.Box.IsSet = 1; // as the reader leaves it
        instance.Colors.resize(count);
        for (ns__RgbColorArea& color : instance.Colors)
            color.code = ++number % 100;
    }
    object.AuxiliaryData->assign(auxiliary, 0x5A);
    return object;
}

// What an object holds, stored or not.
std::string content(const KR_ObjectBase& object)
{
    std::string text;
    for (const unsigned char byte : record_of(object))
        text += std::to_string(byte) + ' ';
    for (const KR_ObjectBase::Instance& instance : object.Instances)
        text += std::to_string(instance.Word1) + ',' + std::to_string(instance.Word2) + ',' +
                std::to_string(instance.Box.IsSet) + ' ';
    return text + std::to_string(object.Metadata.size()) + ' ' +
           std::to_string(object.pending_instances_length());
}

// An object of which everything differs from a new one.
KR_ObjectBase filled_object()
{
    KR_ObjectBase object = object_with({3, 0, 127}, 50);
    object.SensorId.word1 = 1;
    object.SensorId.word2 = 2;
    object.DetectorType = ns__DetectorType__value_1;
    object.Word1 = 3;
    object.Word2 = 4;
    object.SecondTime = ACE_Time_Value(5, 6);
    object.StatisticsWord1 = 7;
    object.StatisticsWord2 = 8;
    std::fill(std::begin(object.ClassScores), std::end(object.ClassScores), 0.5F);
    object.StatisticsWord7 = 9;
    object.StatisticsWord8 = 10;
    for (KR_ObjectBase::Instance& instance : object.Instances)
        instance.Word1 = instance.Word2 = 11;
    object.Metadata.resize(2);
    const unsigned char list[10] = {};
    object.set_pending_instances(list, sizeof list);
    return object;
}

// 2 instances, the first with 2 colours, 3 bytes of auxiliary data.
constexpr std::size_t list_at = 132;
constexpr std::size_t first_at = 136;
constexpr std::size_t second_at = first_at + 68 + 2 * 5;
constexpr std::size_t auxiliary_at = second_at + 68;
constexpr std::size_t end = auxiliary_at + 4 + 3;

Bytes known_record()
{
    Bytes record = record_of(object_with({2, 0}, 3));
    EXPECT_EQ(end, record.size());
    return record;
}

// States.

TEST(KrObjectDecode, AWholeRecordIsWholeToItsEnd)
{
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::whole, end, end, 2}), decode(known_record(), object));
    EXPECT_EQ(content(object_with({2, 0}, 3)), content(object));
}

TEST(KrObjectDecode, EveryCutIsToldWithThePartThatItIsIn)
{
    const Bytes record = known_record();
    for (std::size_t length = 0; length < end; ++length) {
        const Status expected =
            length < list_at     ? Status{State::cut_in_fixed_block, 0, 0, 0}
            : length < first_at  ? Status{State::cut_in_instances, list_at, list_at, 0}
            : length < second_at ? Status{State::cut_in_instances, first_at, first_at, 0}
            : length < auxiliary_at
                ? Status{State::cut_in_instances, second_at, second_at, 1}
                : Status{State::cut_in_auxiliary_data, auxiliary_at, auxiliary_at, 2};
        KR_ObjectBase object;
        EXPECT_EQ(expected, decode(first_of(record, length), object)) << length;
        EXPECT_EQ(expected.instances, object.Instances.size()) << length;
        EXPECT_THAT(*object.AuxiliaryData, IsEmpty()) << length;
        EXPECT_EQ(length < list_at ? 0U : 102U, object.ObjectId) << length;
    }
}

TEST(KrObjectDecode, BytesBehindTheRecordAreToldAndNotLookedAt)
{
    Bytes bytes = known_record();
    bytes.push_back(0xFF);
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::trailing_bytes, end, end, 2}), decode(bytes, object));
    EXPECT_EQ(content(object_with({2, 0}, 3)), content(object));
}

TEST(KrObjectDecode, ARecordWithoutInstancesGivesTheRestAndThereMayBeBytesBehindIt)
{
    const KR_ObjectBase source = object_with({}, 3);
    Bytes bytes = record_of(source);
    for (int i = 0; i < 2; ++i) {
        KR_ObjectBase object;
        EXPECT_EQ((Status{State::no_instances, list_at, 143, 0}), decode(bytes, object));
        EXPECT_EQ(content(source), content(object));
        bytes.push_back(0);
    }
    for (const std::size_t length : {136, 139, 142}) {
        KR_ObjectBase object;
        EXPECT_EQ((Status{State::cut_in_auxiliary_data, first_at, first_at, 0}),
                  decode(first_of(bytes, length), object));
    }
}

TEST(KrObjectDecode, OfTwoBadColorCountsTheFirstIsTold)
{
    Bytes bytes = record_of(object_with({0, 0, 0}));
    bytes[first_at + 68 + 57] = 0x80;
    bytes[first_at + 2 * 68 + 57] = 0xFF;
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::bad_color_count, first_at + 68, bytes.size(), 3}),
              decode(bytes, object));
}

TEST(KrObjectDecode, ABadColorCountIsToldBeforeAllElse)
{
    Bytes bytes = known_record();
    bytes[second_at + 57] = 0xFF; // which the reader takes for no colours
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::bad_color_count, second_at, end, 2}), decode(bytes, object));
    EXPECT_EQ(2U, object.Instances.size());
    bytes[first_at + 57] = 0x80;
    EXPECT_EQ(State::bad_color_count, decode(bytes, object).state);
    EXPECT_EQ(first_at, decode(bytes, object).position);
    // Whatever else is wrong behind it.
    bytes.resize(second_at + 40);
    EXPECT_EQ((Status{State::bad_color_count, first_at, first_at + 68, 1}), decode(bytes, object));
    // In an instance that is cut short nothing is looked at.
    bytes.resize(first_at + 67);
    EXPECT_EQ((Status{State::cut_in_instances, first_at, first_at, 0}), decode(bytes, object));
}

TEST(KrObjectDecode, QuirkAWritersInstanceOf128ColorsIsABadColorCount)
{
    const Bytes bytes = record_of(object_with({128, 0}));
    KR_ObjectBase object;
    const Status status = decode(bytes, object);
    EXPECT_EQ(State::bad_color_count, status.state);
    EXPECT_EQ(first_at, status.position);
}

TEST(KrObjectDecode, QuirkAListThatCountsTooManyGoesOnIntoTheAuxiliaryData)
{
    KR_ObjectBase source = object_with({0});
    source.AuxiliaryData->resize(64);
    Bytes bytes = record_of(source);
    set_word_at(bytes, list_at, 2);
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::cut_in_auxiliary_data, 272, 272, 2}), decode(bytes, object));
    EXPECT_EQ(2U, object.Instances.size());
}

TEST(KrObjectDecode, ACountBeyondTheBytesTakesNoMemoryForIt)
{
    Bytes bytes = known_record();
    set_word_at(bytes, list_at, 0xFFFFFFFF);
    KR_ObjectBase object;
    EXPECT_EQ((Status{State::cut_in_instances, auxiliary_at, auxiliary_at, 2}),
              decode(bytes, object));
    EXPECT_LE(object.Instances.capacity(), 3U);
}

TEST(KrObjectDecode, NullHasNoBytes)
{
    KR_ObjectBase object = filled_object();
    const std::string before = content(object);
    EXPECT_EQ(Status(), object.decode(nullptr, 1000));
    EXPECT_EQ(Status(), object.decode(nullptr, 0));
    EXPECT_EQ(before, content(object));
}

TEST(KrObjectDecode, BytesWithoutAWholeFixedBlockLeaveTheObjectAsItWas)
{
    KR_ObjectBase object = filled_object();
    const std::string before = content(object);
    const KR_Auxiliary_Data block = object.AuxiliaryData;
    for (const std::size_t length : {0, 1, 131})
        EXPECT_EQ((Status{State::cut_in_fixed_block, 0, 0, 0}),
                  decode(first_of(known_record(), length), object));
    EXPECT_EQ(before, content(object));
    EXPECT_EQ(block, object.AuxiliaryData);
}

TEST(KrObjectDecode, StatusesAreEqualWhenEveryPartIs)
{
    const Status status{State::trailing_bytes, 1, 2, 3};
    EXPECT_TRUE(status == status);
    for (const Status& other :
         {Status{State::whole, 1, 2, 3}, Status{State::trailing_bytes, 0, 2, 3},
          Status{State::trailing_bytes, 1, 0, 3}, Status{State::trailing_bytes, 1, 2, 0}}) {
        EXPECT_FALSE(status == other);
        EXPECT_TRUE(status != other);
    }
}

// Beside the plain reader, on any bytes.

// The plain one ends the process where no instance comes of it.
void expect_the_plain_readers_object(const Bytes& bytes, KR_ObjectBase& reused)
{
    reused.clear();
    const Status status = decode(bytes, reused);
    ASSERT_EQ(status.instances, reused.Instances.size());
    if (status.instances == 0)
        return;
    KR_ObjectBase plain;
    Bytes copy = bytes;
    ASSERT_EQ(status.consumed,
              KR_ObjectBase::deserialize(copy.data(), static_cast<unsigned>(copy.size()), &plain));
    ASSERT_EQ(record_of(plain), record_of(reused));
}

std::vector<Bytes> records_to_damage()
{
    return {record_of(object_with({})),
            record_of(object_with({}, 80)),
            record_of(object_with({0})),
            known_record(),
            record_of(object_with({127})),
            record_of(object_with({1, 0, 3}, 80)),
            record_of(object_with({128, 2})),
            record_of(object_with({0, 255, 1}, 40)),
            record_of(object_with({5, 4, 3, 2, 1, 0}, 40))};
}

TEST(KrObjectDecode, EveryTruncationGivesThePlainReadersObject)
{
    KR_ObjectBase object;
    for (const Bytes& record : records_to_damage())
        for (std::size_t length = 0; length <= record.size(); ++length)
            ASSERT_NO_FATAL_FAILURE(
                expect_the_plain_readers_object(first_of(record, length), object))
                << length << " of " << record.size();
}

// 500,000 of them; `first` is the first byte that may be hit.
void expect_the_plain_readers_object_with_flipped_bits(unsigned seed, std::size_t first)
{
    std::mt19937 random(seed);
    const std::vector<Bytes> whole = records_to_damage();
    std::vector<Bytes> records = whole;
    KR_ObjectBase object;
    for (int round = 0; round < 500'000; ++round) {
        const std::size_t index = random() % records.size();
        Bytes& record = records[index];
        unsigned char& byte = record[first + random() % (record.size() - first)];
        byte = static_cast<unsigned char>(byte ^ 1U << random() % 8);
        ASSERT_NO_FATAL_FAILURE(expect_the_plain_readers_object(record, object))
            << "round " << round;
        if (round % 16 == 15) // flips stay for some rounds
            records[index] = whole[index];
    }
}

TEST(KrObjectDecode, FlippedBitsAnywhereGiveThePlainReadersObject)
{
    expect_the_plain_readers_object_with_flipped_bits(1, 0);
}

TEST(KrObjectDecode, FlippedBitsInTheListGiveThePlainReadersObject)
{
    expect_the_plain_readers_object_with_flipped_bits(2, list_at);
}

// One object for many records.

TEST(KrObjectDecode, NothingOfARecordIsLeftInTheNext)
{
    std::mt19937 random(2);
    KR_ObjectBase reused = filled_object();
    for (int round = 0; round < 2'000; ++round) {
        std::vector<std::size_t> color_counts(random() % 6);
        for (std::size_t& count : color_counts)
            count = random() % 10;
        const Bytes record = record_of(object_with(color_counts, random() % 2 * (random() % 50)));
        KR_ObjectBase fresh;
        ASSERT_EQ(decode(record, fresh), decode(record, reused));
        ASSERT_EQ(content(fresh), content(reused)) << "round " << round;
        reused.Metadata.resize(random() % 3);
        for (KR_ObjectBase::Instance& instance : reused.Instances)
            instance.Word1 = 5;
    }
}

TEST(KrObjectDecode, QuirkTheBlockOfBeforeIsLeftByThePlainReaderButNotAfterClear)
{
    const Bytes record = record_of(object_with({0}));
    KR_ObjectBase object = object_with({0}, 5);
    EXPECT_EQ(State::whole, decode(record, object).state);
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());

    KR_ObjectBase plain = object_with({}, 5);
    plain.clear();
    Bytes copy = record;
    KR_ObjectBase::deserialize(copy.data(), static_cast<unsigned>(copy.size()), &plain);
    EXPECT_THAT(*plain.AuxiliaryData, IsEmpty());
}

TEST(KrObjectClear, MakesTheObjectANewOne)
{
    KR_ObjectBase object = filled_object();
    object.clear();
    const KR_ObjectBase fresh;
    EXPECT_EQ(content(fresh), content(object));
    EXPECT_EQ(fresh.DetectorType, object.DetectorType);
    EXPECT_TRUE(fresh == object);
    ASSERT_NE(nullptr, object.AuxiliaryData);
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectClear, KeepsRoomForInstancesAndForAuxiliaryData)
{
    KR_ObjectBase object = filled_object();
    const std::size_t room = object.Instances.capacity();
    const std::vector<unsigned char>* const block = object.AuxiliaryData.get();
    object.clear();
    EXPECT_EQ(room, object.Instances.capacity());
    EXPECT_EQ(block, object.AuxiliaryData.get());
    EXPECT_GE(object.AuxiliaryData->capacity(), 50U);
}

TEST(KrObjectClear, ListsOfColorsServeTheNextInstances)
{
    KR_ObjectBase object;
    const Bytes record = record_of(object_with({100}));
    decode(record, object);
    const ns__RgbColorArea* const colors = object.Instances[0].Colors.data();
    decode(record_of(object_with({2})), object);
    EXPECT_EQ(colors, object.Instances[0].Colors.data());
    EXPECT_EQ(2U, object.Instances[0].Colors.size());
    EXPECT_EQ(2, object.Instances[0].Colors[0].code);
}

TEST(KrObjectClear, LeavesTheBytesOfASharedBlockToItsSharers)
{
    KR_ObjectBase object = object_with({0}, 5);
    const KR_ObjectBase sharer = object;
    const KR_Auxiliary_Data block = sharer.AuxiliaryData;
    object.clear();
    EXPECT_EQ(Bytes(5, 0x5A), *sharer.AuxiliaryData);
    EXPECT_EQ(block, sharer.AuxiliaryData);
    ASSERT_NE(nullptr, object.AuxiliaryData);
    EXPECT_NE(block, object.AuxiliaryData);
    EXPECT_EQ(State::whole, decode(known_record(), object).state);
    EXPECT_EQ(Bytes(5, 0x5A), *sharer.AuxiliaryData);
    EXPECT_EQ(Bytes(3, 0x5A), *object.AuxiliaryData);
}

TEST(KrObjectClear, GivesABlockToAnObjectWithoutOne)
{
    KR_ObjectBase object = object_with({0});
    object.AuxiliaryData.reset();
    object.clear();
    ASSERT_NE(nullptr, object.AuxiliaryData);

    KR_ObjectBase source = filled_object();
    const KR_ObjectBase target = std::move(source);
    source.clear(); // NOLINT(bugprone-use-after-move): what clear() is for
    EXPECT_EQ(content(KR_ObjectBase()), content(source));
    EXPECT_EQ(content(filled_object()), content(target));
}

TEST(KrObjectClear, CopiesAndMovesOfAClearedObjectAreItsEquals)
{
    KR_ObjectBase object = filled_object();
    object.clear(); // has lists to spare now
    KR_ObjectBase copy = object;
    copy = object;
    KR_ObjectBase moved = std::move(object);
    object = std::move(moved);
    for (KR_ObjectBase* each : {&copy, &object}) {
        EXPECT_EQ(State::whole, decode(known_record(), *each).state);
        EXPECT_EQ(content(object_with({2, 0}, 3)), content(*each));
    }
}

TEST(KrObjectClear, WaitsForWhatASharerOnAnotherThreadHasDone)
{
    for (int round = 0; round < 200; ++round) {
        KR_ObjectBase object = object_with({0}, 100);
        std::thread reader([sharer = std::make_unique<KR_ObjectBase>(object)]() mutable {
            EXPECT_THAT(*sharer->AuxiliaryData, Each(0x5A));
            sharer.reset();
        });
        decode(known_record(), object); // with or without a sharer by now
        EXPECT_EQ(Bytes(3, 0x5A), *object.AuxiliaryData);
        reader.join();
    }
}

// Many lists for one object.

TEST(KrObjectLists, EachOfManySmallListsDoesNotMoveAllThatIsThere)
{
    constexpr std::uint32_t lists = 10'000;
    const KR_ObjectBase source = object_with({1});
    Bytes list(source.serialize_instances_size(ample));
    source.serialize_instances(list.data(), ample);
    KR_ObjectBase object;
    int moves = 0;
    for (std::uint32_t count = 1; count <= lists; ++count) {
        const KR_ObjectBase::Instance* const before = object.Instances.data();
        set_word_at(list, 0, count);
        KR_ObjectBase::deserialize_instances(list.data(), static_cast<unsigned>(list.size()),
                                             &object);
        moves += object.Instances.data() != before ? 1 : 0;
    }
    EXPECT_EQ(lists, object.Instances.size());
    EXPECT_LE(moves, 16); // one whenever the room has doubled
}

TEST(KrObjectLists, OneListGetsNoMoreRoomThanItNeeds)
{
    for (const std::size_t count : {1, 2, 3, 1000}) {
        const Bytes record = record_of(object_with(std::vector<std::size_t>(count)));
        KR_ObjectBase object;
        EXPECT_EQ(State::whole, decode(record, object).state);
        EXPECT_EQ(count, object.Instances.capacity());
    }
}

} // namespace
