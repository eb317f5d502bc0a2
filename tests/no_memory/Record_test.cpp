// Reading records when memory is short: what remains is made of whole parts.

#include <KRCommon/objects/Objects.h>
#include <tests/no_memory/Failing_New.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned ample = 0xFFFFFFFF;
constexpr std::uint64_t stored_id = 12;
constexpr std::uint64_t held_id = 5;

KR_ObjectBase stored_object()
{
    KR_ObjectBase object;
    object.ObjectId = stored_id;
    object.Duration = 3;
    for (std::int32_t number = 1; number <= 5; ++number) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Number = number;
        instance.Box.IsSet = 1;
        instance.Colors.resize(static_cast<std::size_t>(number % 3 * 10));
        for (ns__RgbColorArea& color : instance.Colors)
            color.code = number;
    }
    object.AuxiliaryData->assign(100, 0x5A);
    return object;
}

// One instance, with room for no other.
KR_ObjectBase holding_object()
{
    KR_ObjectBase object;
    object.ObjectId = held_id;
    object.Duration = 4;
    object.Instances.resize(1);
    object.Instances[0].Number = 1;
    object.Instances[0].Colors.resize(1);
    object.AuxiliaryData->assign(3, 0x11);
    return object;
}

Bytes record_of(const KR_ObjectBase& object)
{
    Bytes bytes(object.serialize_size(ample));
    EXPECT_EQ(bytes.size(), object.serialize(bytes.data(), ample));
    return bytes;
}

Bytes list_of(const KR_ObjectBase& object)
{
    Bytes bytes(object.serialize_instances_size(ample));
    EXPECT_EQ(bytes.size(), object.serialize_instances(bytes.data(), ample));
    return bytes;
}

unsigned length_of(const Bytes& bytes)
{
    return static_cast<unsigned>(bytes.size());
}

// Those of the stored object, from the first on, behind the ones that were held.
void expect_whole_instances(const KR_ObjectBase& object, std::size_t held)
{
    const KR_ObjectBase stored = stored_object();
    ASSERT_GE(object.Instances.size(), held);
    ASSERT_LE(object.Instances.size(), held + stored.Instances.size());
    for (std::size_t i = held; i < object.Instances.size(); ++i) {
        KR_ObjectBase found;
        KR_ObjectBase expected;
        found.Instances.push_back(object.Instances[i]);
        expected.Instances.push_back(stored.Instances[i - held]);
        EXPECT_EQ(list_of(expected), list_of(found)) << i;
        EXPECT_EQ(1, object.Instances[i].Box.IsSet) << i;
    }
}

void expect_consistent_scalars(const KR_ObjectBase& object)
{
    EXPECT_EQ(object.ObjectId == stored_id ? 3U
              : object.ObjectId == held_id ? 4U
                                           : 0U,
              object.Duration);
}

void expect_auxiliary_data(const Bytes& expected, const KR_ObjectBase& object)
{
    EXPECT_EQ(expected, object.AuxiliaryData != nullptr ? *object.AuxiliaryData : Bytes());
}

TEST(No_Memory_Record, APlainDecodeIntoANewObjectLeavesWholeParts)
{
    Bytes record = record_of(stored_object());
    KR_ObjectBase object;
    bool has_thrown = false;
    std::size_t fewest = 5;
    fail_each_allocation(
        [&] {
            object = KR_ObjectBase();
            object.AuxiliaryData.reset();
        },
        [&] {
            has_thrown = throws_bad_alloc(
                [&] { KR_ObjectBase::deserialize(record.data(), length_of(record), &object); });
        },
        [&](bool has_failed) {
            EXPECT_EQ(has_failed, has_thrown);
            EXPECT_EQ(stored_id, object.ObjectId);
            expect_consistent_scalars(object);
            expect_whole_instances(object, 0);
            expect_auxiliary_data(has_thrown ? Bytes() : Bytes(100, 0x5A), object);
            fewest = std::min(fewest, object.Instances.size());
        });
    EXPECT_EQ(0U, fewest);
}

TEST(No_Memory_Record, APlainDecodeLeavesWhatTheObjectHeld)
{
    Bytes record = record_of(stored_object());
    KR_ObjectBase object;
    bool has_thrown = false;
    fail_each_allocation([&] { object = holding_object(); },
                         [&] {
                             has_thrown = throws_bad_alloc([&] {
                                 KR_ObjectBase::deserialize(record.data(), length_of(record),
                                                            &object);
                             });
                         },
                         [&](bool has_failed) {
                             EXPECT_EQ(has_failed, has_thrown);
                             expect_consistent_scalars(object);
                             expect_whole_instances(object, 1);
                             EXPECT_EQ(1U, object.Instances[0].Colors.size());
                             // One instance was held, so that the list is not read to its end.
                             expect_auxiliary_data(Bytes(3, 0x11), object);
                         });
}

TEST(No_Memory_Record, AListLeavesWholeInstances)
{
    Bytes list = list_of(stored_object());
    KR_ObjectBase object;
    bool has_thrown = false;
    fail_each_allocation([&] { object = holding_object(); },
                         [&] {
                             has_thrown = throws_bad_alloc([&] {
                                 KR_ObjectBase::deserialize_instances(list.data(), length_of(list),
                                                                      &object);
                             });
                         },
                         [&](bool has_failed) {
                             EXPECT_EQ(has_failed, has_thrown);
                             expect_whole_instances(object, 1);
                             EXPECT_EQ(held_id, object.ObjectId);
                         });
}

TEST(No_Memory_Record, PendingInstancesAreDecodedAllOrNone)
{
    const Bytes list = list_of(stored_object());
    KR_ObjectBase object;
    bool has_thrown = false;
    fail_each_allocation(
        [&] {
            object = holding_object();
            object.set_pending_instances(list.data(), length_of(list));
        },
        [&] { has_thrown = throws_bad_alloc([&] { object.deserialize_instances(); }); },
        [&](bool has_failed) {
            EXPECT_EQ(has_failed, has_thrown);
            EXPECT_EQ(has_thrown ? length_of(list) : 0U, object.pending_instances_length());
            EXPECT_EQ(has_thrown ? 1U : 5U, object.Instances.size());
            if (has_thrown)
                object.deserialize_instances(); // once there is memory
            expect_whole_instances(object, 1);
        });
}

TEST(No_Memory_Record, ACheckedDecodeLeavesTheObjectAsItWasOrWholeParts)
{
    const Bytes record = record_of(stored_object());
    KR_ObjectBase sharer;
    KR_ObjectBase object;
    bool has_thrown = false;
    for (const bool is_shared : {false, true}) {
        bool was_left = false;
        fail_each_allocation(
            [&] {
                object = holding_object();
                sharer = is_shared ? object : KR_ObjectBase();
            },
            [&] {
                has_thrown = throws_bad_alloc([&] { object.decode(record.data(), record.size()); });
            },
            [&](bool has_failed) {
                // The list of spare colours is done without.
                EXPECT_TRUE(has_failed || !has_thrown);
                expect_consistent_scalars(object);
                EXPECT_EQ(is_shared ? Bytes(3, 0x11) : Bytes(), *sharer.AuxiliaryData);
                if (object.ObjectId == held_id) {
                    was_left = true;
                    EXPECT_EQ(1U, object.Instances.size());
                    EXPECT_EQ(Bytes(3, 0x11), *object.AuxiliaryData);
                    return;
                }
                EXPECT_EQ(stored_id, object.ObjectId);
                expect_whole_instances(object, 0);
                EXPECT_TRUE(has_thrown || object.Instances.size() == 5);
                expect_auxiliary_data(has_thrown ? Bytes() : Bytes(100, 0x5A), object);
            });
        EXPECT_EQ(is_shared, was_left) << "the sharer keeps the block, another one is needed";
    }
}

TEST(No_Memory_Record, ClearNeedsNoMemoryOrLeavesTheObjectAsItWas)
{
    KR_ObjectBase object = holding_object();
    {
        const Failing_New failing(0, Failing_New::rest);
        EXPECT_FALSE(throws_bad_alloc([&] { object.clear(); }));
    }
    EXPECT_EQ(0U, object.ObjectId);
    EXPECT_TRUE(object.Instances.empty());

    object = holding_object();
    const KR_ObjectBase sharer = object;
    {
        const Failing_New failing(0, Failing_New::rest);
        EXPECT_TRUE(throws_bad_alloc([&] { object.clear(); }));
    }
    EXPECT_EQ(held_id, object.ObjectId);
    EXPECT_EQ(1U, object.Instances.size());
    EXPECT_EQ(sharer.AuxiliaryData, object.AuxiliaryData);
}

TEST(No_Memory_Record, AnObjectThatIsUsedAgainDecodesWithoutAllocating)
{
    const Bytes record = record_of(stored_object());
    KR_ObjectBase object;
    // Lists of colours change their places, until each has grown to the longest.
    for (int i = 0; i < 10; ++i)
        object.decode(record.data(), record.size());
    const Failing_New failing(0, Failing_New::rest);
    EXPECT_EQ(KR_Record_State::whole, object.decode(record.data(), record.size()).state);
    EXPECT_FALSE(failing.has_failed());
}

} // namespace
