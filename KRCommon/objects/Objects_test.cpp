#include <KRCommon/objects/Objects.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<unsigned char>;

// A list of one instance in binary form, seen at second 9.
Bytes list_of_one()
{
    Bytes list(4 + 68);
    list[0] = 1;
    list[4] = 9;
    return list;
}

KR_ObjectBase object_with_everything()
{
    KR_ObjectBase object;
    object.SensorId.word1 = 3;
    object.SensorId.word2 = 4;
    object.ObjectId = 12;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = ACE_Time_Value(100, 200);
    object.Word1 = 5;
    object.Word2 = 6;
    object.SecondTime = ACE_Time_Value(300, 400);
    object.StatisticsWord1 = 7;
    object.StatisticsWord2 = 8;
    object.Duration = 9;
    object.ClassScores[0] = 0.25F;
    object.ClassScores[1] = 0.5F;
    object.ClassScores[2] = 0.75F;
    object.StatisticsWord7 = 10;
    object.StatisticsWord8 = 11;
    object.Metadata.emplace_back().Time = ACE_Time_Value(500);
    object.Metadata[0].AuxiliaryData->push_back(0x55);
    object.Instances.emplace_back().Box = Geom_Box2D<float>(1, 2, 3, 4);
    object.Instances[0].Colors.emplace_back().code = 6;
    object.AuxiliaryData->push_back(0xAA);
    const Bytes list = list_of_one();
    object.set_pending_instances(list.data(), static_cast<unsigned>(list.size()));
    return object;
}

void expect_everything(const KR_ObjectBase& object)
{
    EXPECT_EQ(3, object.SensorId.word1);
    EXPECT_EQ(4, object.SensorId.word2);
    EXPECT_EQ(12U, object.ObjectId);
    EXPECT_EQ(1, object.DetectorType);
    EXPECT_EQ(ACE_Time_Value(100, 200), object.FirstSeenTime);
    EXPECT_EQ(5, object.Word1);
    EXPECT_EQ(6, object.Word2);
    EXPECT_EQ(ACE_Time_Value(300, 400), object.SecondTime);
    EXPECT_EQ(7, object.StatisticsWord1);
    EXPECT_EQ(8, object.StatisticsWord2);
    EXPECT_EQ(9U, object.Duration);
    EXPECT_THAT(object.ClassScores, ElementsAre(0.25F, 0.5F, 0.75F));
    EXPECT_EQ(10, object.StatisticsWord7);
    EXPECT_EQ(11, object.StatisticsWord8);
    ASSERT_EQ(1U, object.Metadata.size());
    EXPECT_EQ(ACE_Time_Value(500), object.Metadata[0].Time);
    EXPECT_EQ((Bytes{0x55}), *object.Metadata[0].AuxiliaryData);
    ASSERT_EQ(1U, object.Instances.size());
    EXPECT_EQ(4.0F, object.Instances[0].Box.MaxY);
    ASSERT_EQ(1U, object.Instances[0].Colors.size());
    EXPECT_EQ(6, object.Instances[0].Colors[0].code);
    ASSERT_NE(nullptr, object.AuxiliaryData);
    EXPECT_EQ((Bytes{0xAA}), *object.AuxiliaryData);
    EXPECT_EQ(72U, object.pending_instances_length());
}

TEST(KrObjectBase, StartsWithTheStatedDefaults)
{
    const KR_ObjectBase object;
    EXPECT_EQ(0, object.SensorId.word1);
    EXPECT_EQ(1, object.SensorId.word2);
    EXPECT_EQ(0U, object.ObjectId);
    EXPECT_EQ(7, object.DetectorType);
    EXPECT_EQ(ACE_Time_Value::zero, object.FirstSeenTime);
    EXPECT_EQ(0, object.Word1);
    EXPECT_EQ(0, object.Word2);
    EXPECT_EQ(ACE_Time_Value::zero, object.SecondTime);
    EXPECT_EQ(0, object.StatisticsWord1);
    EXPECT_EQ(0, object.StatisticsWord2);
    EXPECT_EQ(0U, object.Duration);
    EXPECT_THAT(object.ClassScores, Each(0.0F));
    EXPECT_EQ(0, object.StatisticsWord7);
    EXPECT_EQ(0, object.StatisticsWord8);
    EXPECT_THAT(object.Metadata, IsEmpty());
    EXPECT_THAT(object.Instances, IsEmpty());
    EXPECT_EQ(0U, object.pending_instances_length());
    ASSERT_NE(nullptr, object.AuxiliaryData);
    EXPECT_THAT(*object.AuxiliaryData, IsEmpty());
}

TEST(KrObjectBase, InstanceStartsWithTheStatedDefaults)
{
    const KR_ObjectBase::Instance instance;
    EXPECT_EQ(ACE_Time_Value::zero, instance.Time);
    EXPECT_EQ(0, instance.Word1);
    EXPECT_EQ(0, instance.Word2);
    EXPECT_EQ(0.0F, instance.PersonValue);
    EXPECT_EQ(0.0F, instance.VehicleValue);
    EXPECT_EQ(0.0F, instance.ObjectValue);
    EXPECT_EQ(0.0F, instance.UnknownValue);
    EXPECT_EQ(0.0F, instance.Box.MinX);
    EXPECT_EQ(0.0F, instance.Box.MinY);
    EXPECT_EQ(0.0F, instance.Box.MaxX);
    EXPECT_EQ(0.0F, instance.Box.MaxY);
    EXPECT_EQ(0, instance.Box.IsSet);
    EXPECT_EQ(0.0F, instance.Float1);
    EXPECT_EQ(0.0F, instance.Float2);
    EXPECT_EQ(0, instance.Flag);
    EXPECT_THAT(instance.Group, Each(0.0F));
    EXPECT_EQ(0, instance.Number);
    EXPECT_THAT(instance.Colors, IsEmpty());
    EXPECT_EQ(0.0F, instance.PointX);
    EXPECT_EQ(0.0F, instance.PointY);
}

TEST(KrObjectBase, SameIdFromTheSameSensorIsEqualWhateverTheInstances)
{
    KR_ObjectBase one;
    KR_ObjectBase other = object_with_everything();
    one.ObjectId = other.ObjectId;
    one.SensorId = other.SensorId;
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
}

TEST(KrObjectBase, AnotherIdOrSensorIsNotEqual)
{
    const KR_ObjectBase object = object_with_everything();
    KR_ObjectBase another_id = object;
    another_id.ObjectId = std::uint64_t{12} << 32;
    KR_ObjectBase another_first_word = object;
    another_first_word.SensorId.word1 = 33;
    KR_ObjectBase another_second_word = object;
    another_second_word.SensorId.word2 = 44;
    for (const KR_ObjectBase& other : {another_id, another_first_word, another_second_word}) {
        EXPECT_FALSE(object == other);
        EXPECT_TRUE(object != other);
    }
}

TEST(KrObjectBase, CopyHasEverything)
{
    const KR_ObjectBase object = object_with_everything();
    const KR_ObjectBase copy = object; // NOLINT(performance-unnecessary-copy-initialization)
    expect_everything(copy);
    expect_everything(object);
}

TEST(KrObjectBase, AssignmentReplacesEverything)
{
    const KR_ObjectBase object = object_with_everything();
    KR_ObjectBase copy;
    copy.Instances.resize(3);
    copy = object;
    expect_everything(copy);
    expect_everything(object);
}

TEST(KrObjectBase, AssignmentToItselfChangesNothing)
{
    KR_ObjectBase object = object_with_everything();
    const KR_ObjectBase& same = object;
    object = same;
    expect_everything(object);
}

TEST(KrObjectBase, CopyHasListsOfItsOwn)
{
    KR_ObjectBase object = object_with_everything();
    const KR_ObjectBase copy = object;
    object.Instances[0].Colors[0].code = 99;
    object.Instances[0].Box.MaxY = 99;
    object.Instances.emplace_back();
    object.Metadata[0].Time = ACE_Time_Value(99);
    object.Metadata.emplace_back();
    object.set_pending_instances(nullptr, 0);
    expect_everything(copy);
}

TEST(KrObjectBase, CopySharesTheAuxiliaryDataBlock)
{
    KR_ObjectBase object = object_with_everything();
    KR_ObjectBase copy = object;
    KR_ObjectBase assigned;
    assigned = object;
    object.AuxiliaryData->push_back(0xBB);
    copy.AuxiliaryData->push_back(0xCC);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *object.AuxiliaryData);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *copy.AuxiliaryData);
    EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), *assigned.AuxiliaryData);
}

TEST(KrObjectBase, AuxiliaryDataBlockLivesAsLongAsItsLastSharer)
{
    std::weak_ptr<Bytes> block;
    {
        KR_ObjectBase copy;
        {
            const KR_ObjectBase object = object_with_everything();
            block = object.AuxiliaryData;
            copy = object;
        }
        EXPECT_FALSE(block.expired());
        EXPECT_EQ((Bytes{0xAA}), *copy.AuxiliaryData);
    }
    EXPECT_TRUE(block.expired());
}

TEST(KrObjectBase, MovesNeverThrow)
{
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<KR_ObjectBase>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<KR_ObjectBase>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<KR_ObjectBase::Instance>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<KR_ObjectBase::Instance>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<ObjectMetadataWithAuxilaryData>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<ObjectMetadataWithAuxilaryData>);
    EXPECT_TRUE(std::has_virtual_destructor_v<KR_ObjectBase>);
}

TEST(KrObjectBase, MoveTakesEverythingAlong)
{
    KR_ObjectBase object = object_with_everything();
    const auto* const first_instance = object.Instances.data();
    KR_ObjectBase moved = std::move(object);
    expect_everything(moved);
    EXPECT_EQ(first_instance, moved.Instances.data());
    KR_ObjectBase assigned;
    assigned = std::move(moved);
    expect_everything(assigned);
    EXPECT_EQ(first_instance, assigned.Instances.data());
}

TEST(KrObjectBase, WhatWasMovedFromHasNoBlockAndMayBeAssignedTo)
{
    KR_ObjectBase object = object_with_everything();
    const KR_ObjectBase moved = std::move(object);
    EXPECT_EQ(nullptr, object.AuxiliaryData); // NOLINT(bugprone-use-after-move)
    object = moved;
    expect_everything(object);
}

TEST(KrObjectBase, GrowingInstanceListKeepsItsColorLists)
{
    std::vector<KR_ObjectBase::Instance> instances(1);
    instances[0].Colors.resize(3);
    const auto* const colors = instances[0].Colors.data();
    instances.reserve(instances.capacity() + 1);
    EXPECT_EQ(colors, instances[0].Colors.data());
}

TEST(KrObjectBase, PendingInstancesAreDecodedOnceAndLetGo)
{
    KR_ObjectBase object;
    const Bytes list = list_of_one();
    object.set_pending_instances(list.data(), 72);
    EXPECT_EQ(72U, object.pending_instances_length());
    EXPECT_THAT(object.Instances, IsEmpty());
    EXPECT_EQ(72U, object.deserialize_instances());
    EXPECT_EQ(0U, object.pending_instances_length());
    ASSERT_EQ(1U, object.Instances.size());
    EXPECT_EQ(ACE_Time_Value(9), object.Instances[0].Time);
}

TEST(KrObjectBase, PendingInstancesOfACopyAreItsOwn)
{
    const KR_ObjectBase object = object_with_everything();
    KR_ObjectBase copy = object;
    copy.Instances.clear();
    EXPECT_EQ(72U, copy.deserialize_instances());
    EXPECT_EQ(0U, copy.pending_instances_length());
    EXPECT_EQ(72U, object.pending_instances_length());
}

TEST(KrObjectBase, PendingInstancesAreReplacedAndANullListHasNone)
{
    KR_ObjectBase object = object_with_everything();
    const Bytes list = list_of_one();
    object.set_pending_instances(list.data(), 4);
    EXPECT_EQ(4U, object.pending_instances_length());
    object.set_pending_instances(nullptr, 72);
    EXPECT_EQ(0U, object.pending_instances_length());
}

TEST(KrObjectMetadata, CopiesShareTheirBlock)
{
    ObjectMetadataWithAuxilaryData metadata;
    EXPECT_THAT(*metadata.AuxiliaryData, IsEmpty());
    metadata.Time = ACE_Time_Value(5);
    metadata.Box = Geom_Box2D<float>(1, 2, 3, 4);
    const ObjectMetadataWithAuxilaryData copy = metadata;
    metadata.AuxiliaryData->push_back(0x11);
    EXPECT_EQ((Bytes{0x11}), *copy.AuxiliaryData);
    EXPECT_EQ(ACE_Time_Value(5), copy.Time);
    EXPECT_EQ(3.0F, copy.Box.MaxX);
}

TEST(KrObjectMetadata, IsDestroyedThroughItsBase)
{
    auto metadata = std::make_unique<ObjectMetadataWithAuxilaryData>();
    const std::weak_ptr<Bytes> block = metadata->AuxiliaryData;
    std::unique_ptr<ObjectMetadata> base = std::move(metadata);
    base.reset();
    EXPECT_TRUE(block.expired());
}

TEST(KrQueryCriteria, StartsAtZeroAndCopiesEveryWord)
{
    QueryCriteria criteria;
    EXPECT_THAT(criteria.Words1, Each(0));
    EXPECT_EQ(0, criteria.Color.hue);
    EXPECT_EQ(0.0F, criteria.Color.saturation);
    EXPECT_EQ(0.0F, criteria.Color.value);
    EXPECT_THAT(criteria.Words2, Each(0));
    for (int i = 0; i < 6; ++i)
        criteria.Words1[i] = i + 1;
    criteria.Color.hue = 240;
    criteria.Color.saturation = 0.5F;
    criteria.Color.value = 0.75F;
    for (int i = 0; i < 5; ++i)
        criteria.Words2[i] = i + 11;
    QueryCriteria copy;
    copy = criteria;
    EXPECT_THAT(copy.Words1, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(240, copy.Color.hue);
    EXPECT_EQ(0.5F, copy.Color.saturation);
    EXPECT_EQ(0.75F, copy.Color.value);
    EXPECT_THAT(copy.Words2, ElementsAre(11, 12, 13, 14, 15));
}

TEST(KrGeomBox2D, HoldsAValueOnceItIsGivenOne)
{
    const Geom_Box2D<float> empty;
    EXPECT_EQ(0, empty.IsSet);
    const Geom_Box2D<float> box(4, 3, 2, 1);
    EXPECT_EQ(1, box.IsSet);
    EXPECT_EQ(4.0F, box.MinX); // taken as it is
    EXPECT_EQ(3.0F, box.MinY);
    EXPECT_EQ(2.0F, box.MaxX);
    EXPECT_EQ(1.0F, box.MaxY);
    EXPECT_EQ(1, Geom_Box2D<float>(box).IsSet);
    EXPECT_TRUE(std::has_virtual_destructor_v<Geom_Box2D<float>>);
}

TEST(KrGeomBox2D, UnionTakesSmallerMinimaAndLargerMaximaAndSetsTheFlag)
{
    Geom_Box2D<float> box(10, 2, 30, 4);
    box.unite(Geom_Box2D<float>(5, 3, 20, 8));
    EXPECT_EQ(5.0F, box.MinX);
    EXPECT_EQ(2.0F, box.MinY);
    EXPECT_EQ(30.0F, box.MaxX);
    EXPECT_EQ(8.0F, box.MaxY);
    Geom_Box2D<float> empty;
    empty.unite(Geom_Box2D<float>());
    EXPECT_EQ(1, empty.IsSet);
}

TEST(KrGeomBox2D, UnionKeepsItsOwnWhereTheOtherIsNan)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Geom_Box2D<float> box(1, 2, 3, 4);
    box.unite(Geom_Box2D<float>(nan, nan, nan, nan));
    EXPECT_EQ(1.0F, box.MinX);
    EXPECT_EQ(2.0F, box.MinY);
    EXPECT_EQ(3.0F, box.MaxX);
    EXPECT_EQ(4.0F, box.MaxY);
}

} // namespace
