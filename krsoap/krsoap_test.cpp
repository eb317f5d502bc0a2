#include <krsoap/krsoap.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

template <class Value>
constexpr bool is_value_type = std::has_virtual_destructor_v<Value>&&
    std::is_nothrow_destructible_v<Value>&& std::is_default_constructible_v<Value>&&
        std::is_copy_constructible_v<Value>&& std::is_copy_assignable_v<Value>&&
            std::is_nothrow_move_constructible_v<Value>&& std::is_nothrow_move_assignable_v<Value>;

static_assert(is_value_type<ns__SensorId>);
static_assert(is_value_type<ns__RgbColor>);
static_assert(is_value_type<ns__RgbColorArea>);
static_assert(is_value_type<ns__HsvColor>);
static_assert(is_value_type<ns__Box>);
static_assert(is_value_type<ns__Time>);
static_assert(is_value_type<ns__Geom_Point2D_Float>);
static_assert(is_value_type<ns__QueryResultObject>);
static_assert(is_value_type<ns__QueryResultObjectInstance>);
static_assert(is_value_type<ns__QueryResultObjectInstanceDebug>);
static_assert(is_value_type<ns__Agent>);
static_assert(is_value_type<ns__ScheduledTask>);
static_assert(is_value_type<ns__LogParam>);
static_assert(is_value_type<ns__LogEntity>);

// A default-constructed value on memory that held other bytes before, so that a field without an
// initialiser shows as such instead of passing by a lucky zero.
template <class Value>
class Fresh {
public:
    Fresh()
    {
        volatile unsigned char* bytes = memory_;
        for (std::size_t i = 0; i < sizeof(Value); ++i) {
            bytes[i] = 0xA5;
        }
        value_ = new (memory_) Value;
    }
    ~Fresh() { value_->~Value(); }
    Fresh(const Fresh&) = delete;
    Fresh& operator=(const Fresh&) = delete;

    const Value* operator->() const { return value_; }
    const Value& operator*() const { return *value_; }

private:
    alignas(Value) unsigned char memory_[sizeof(Value)];
    Value* value_;
};

void expect_zero(const ns__Time& time)
{
    EXPECT_EQ(time.seconds, 0);
    EXPECT_EQ(time.milliseconds, 0);
}

void expect_zero(const ns__Box& box)
{
    EXPECT_EQ(box.minX, 0.0F);
    EXPECT_EQ(box.minY, 0.0F);
    EXPECT_EQ(box.maxX, 0.0F);
    EXPECT_EQ(box.maxY, 0.0F);
}

void expect_zero(const ns__Geom_Point2D_Float& point)
{
    EXPECT_EQ(point.x, 0.0F);
    EXPECT_EQ(point.y, 0.0F);
}

void expect_zero(const ns__RgbColor& color)
{
    EXPECT_EQ(color.red, 0);
    EXPECT_EQ(color.green, 0);
    EXPECT_EQ(color.blue, 0);
}

ns__SensorId sensor(std::int32_t word1, std::int32_t word2)
{
    ns__SensorId id;
    id.word1 = word1;
    id.word2 = word2;
    return id;
}

struct Numbered {
    int actual;
    int expected;
    const char* name;
};

template <std::size_t Count>
void expect_numbers(const Numbered (&rows)[Count])
{
    for (const Numbered& row : rows) {
        EXPECT_EQ(row.actual, row.expected) << row.name;
    }
}

} // namespace

TEST(KrsoapEnumerations, DetectorTypeNamesItsNumbers)
{
    expect_numbers({{ns__DetectorType__value_0, 0, "value_0"},
                    {ns__DetectorType__value_1, 1, "value_1"},
                    {ns__DetectorType__value_7, 7, "value_7"}});
}

TEST(KrsoapEnumerations, ObjectClassesFollowTheOrderOfTheClassScores)
{
    expect_numbers({{ns__ObjectClass__unknown, 0, "unknown"},
                    {ns__ObjectClass__person, 1, "person"},
                    {ns__ObjectClass__vehicle, 2, "vehicle"},
                    {ns__ObjectClass__object, 3, "object"}});
}

TEST(KrsoapEnumerations, ColorPresetsCountFromOneInConfigurationOrder)
{
    expect_numbers({{ns__ColorPreset__white, 1, "white"},
                    {ns__ColorPreset__black, 2, "black"},
                    {ns__ColorPreset__gray, 3, "gray"},
                    {ns__ColorPreset__light_blue, 4, "light_blue"},
                    {ns__ColorPreset__dark_blue, 5, "dark_blue"},
                    {ns__ColorPreset__brown, 6, "brown"},
                    {ns__ColorPreset__light_green, 7, "light_green"},
                    {ns__ColorPreset__dark_green, 8, "dark_green"},
                    {ns__ColorPreset__yellow, 9, "yellow"},
                    {ns__ColorPreset__orange, 10, "orange"},
                    {ns__ColorPreset__red, 11, "red"},
                    {ns__ColorPreset__pink, 12, "pink"},
                    {ns__ColorPreset__purple, 13, "purple"}});
}

TEST(KrsoapEnumerations, QueryTolerancePresetNamesItsNumbers)
{
    expect_numbers({{ns__QueryTolerancePreset__value_0, 0, "value_0"},
                    {ns__QueryTolerancePreset__value_1, 1, "value_1"},
                    {ns__QueryTolerancePreset__value_2, 2, "value_2"}});
}

TEST(KrsoapEnumerations, TaskEnumerationsNameTheirNumbers)
{
    expect_numbers({{ns__ScheduledTaskRecurrence__value_0, 0, "recurrence value_0"},
                    {ns__ScheduledTaskRecurrence__value_1, 1, "recurrence value_1"},
                    {ns__ObjectType__value_0, 0, "object type value_0"},
                    {ns__ObjectType__value_1, 1, "object type value_1"},
                    {ns__ObjectAction__value_0, 0, "object action value_0"},
                    {ns__ObjectAction__value_1, 1, "object action value_1"}});
}

TEST(KrsoapEnumerations, NotificationCodesOfEventTextsKeepTheirNumbers)
{
    expect_numbers({{ns__NotificationCode__value_0, 0, "value_0"},
                    {ns__NotificationCode__value_14, 14, "value_14"},
                    {ns__NotificationCode__value_15, 15, "value_15"},
                    {ns__NotificationCode__value_24, 24, "value_24"},
                    {ns__NotificationCode__value_35, 35, "value_35"},
                    {ns__NotificationCode__value_36, 36, "value_36"},
                    {ns__NotificationCode__value_38, 38, "value_38"},
                    {ns__NotificationCode__value_39, 39, "value_39"}});
}

template <class Enumeration>
class KrsoapEnumeration : public testing::Test {
};

using Enumerations = testing::Types<ns__DetectorType, ns__ObjectClass, ns__ColorPreset,
                                    ns__QueryTolerancePreset, ns__ScheduledTaskRecurrence,
                                    ns__ObjectType, ns__ObjectAction, ns__NotificationCode>;
TYPED_TEST_SUITE(KrsoapEnumeration, Enumerations, );

TYPED_TEST(KrsoapEnumeration, IsAPlain32BitNumber)
{
    static_assert(std::is_same_v<std::underlying_type_t<TypeParam>, std::int32_t>);
    static_assert(std::is_convertible_v<TypeParam, std::int32_t>);
    EXPECT_EQ(sizeof(TypeParam), 4U);
}

TYPED_TEST(KrsoapEnumeration, CarriesNumbersWithoutANameVerbatim)
{
    using Limits = std::numeric_limits<std::int32_t>;
    for (const std::int32_t number : {-1, 0, 7, 1000, Limits::min(), Limits::max()}) {
        EXPECT_EQ(static_cast<std::int32_t>(static_cast<TypeParam>(number)), number);
    }
}

TEST(KrsoapDefaults, SensorIdIsZeroAndOne)
{
    const Fresh<ns__SensorId> id;
    EXPECT_EQ(id->word1, 0);
    EXPECT_EQ(id->word2, 1);
}

TEST(KrsoapDefaults, ColorsAreBlackWithoutAreaOrCode)
{
    expect_zero(*Fresh<ns__RgbColor>());

    const Fresh<ns__RgbColorArea> area;
    expect_zero(area->color);
    EXPECT_EQ(area->code, 0);
    EXPECT_EQ(area->area, 0.0F);

    const Fresh<ns__HsvColor> hsv;
    EXPECT_EQ(hsv->hue, 0);
    EXPECT_EQ(hsv->saturation, 0.0F);
    EXPECT_EQ(hsv->value, 0.0F);
}

TEST(KrsoapDefaults, GeometryAndTimeAreZero)
{
    expect_zero(*Fresh<ns__Box>());
    expect_zero(*Fresh<ns__Geom_Point2D_Float>());
    expect_zero(*Fresh<ns__Time>());
}

TEST(KrsoapDefaults, QueryResultObjectIsZeroAndEmpty)
{
    const Fresh<ns__QueryResultObject> result;
    EXPECT_EQ(result->objectId, 0U);
    EXPECT_EQ(result->detectorType, ns__DetectorType__value_0);
    EXPECT_EQ(result->startTimeSeconds, 0);
    EXPECT_EQ(result->startTimeMilliseconds, 0);
    EXPECT_EQ(result->endTimeSeconds, 0);
    EXPECT_EQ(result->endTimeMilliseconds, 0);
    expect_zero(result->instanceTime);
    expect_zero(result->instanceBox);
    expect_zero(result->instancePoint);
    EXPECT_TRUE(result->instances.empty());
    EXPECT_EQ(result->instanceCount, 0);
    EXPECT_TRUE(result->debugInstances.empty());
    EXPECT_EQ(result->duration, 0U);
}

TEST(KrsoapDefaults, QueryResultObjectInstanceIsZero)
{
    const Fresh<ns__QueryResultObjectInstance> instance;
    expect_zero(instance->time);
    expect_zero(instance->box);
    expect_zero(instance->point);
}

TEST(KrsoapDefaults, QueryResultObjectInstanceDebugIsZeroAndEmpty)
{
    const Fresh<ns__QueryResultObjectInstanceDebug> instance;
    EXPECT_EQ(instance->float1, 0.0F);
    EXPECT_EQ(instance->float2, 0.0F);
    EXPECT_EQ(instance->float3, 0.0F);
    EXPECT_EQ(instance->float4, 0.0F);
    EXPECT_TRUE(instance->colors.empty());
    EXPECT_EQ(instance->classNames, "");
    EXPECT_EQ(instance->personValue, 0.0F);
    EXPECT_EQ(instance->vehicleValue, 0.0F);
    EXPECT_EQ(instance->objectValue, 0.0F);
    EXPECT_EQ(instance->unknownValue, 0.0F);
}

TEST(KrsoapDefaults, AgentFlagsAreZeroOneOneAndItsFourthWordIsMinusOne)
{
    const Fresh<ns__Agent> agent;
    EXPECT_EQ(agent->flag1, 0);
    EXPECT_EQ(agent->flag2, 1);
    EXPECT_EQ(agent->flag3, 1);
    EXPECT_EQ(agent->word4, -1);
}

TEST(KrsoapDefaults, OtherAgentFieldsAreZeroOrEmpty)
{
    const Fresh<ns__Agent> agent;
    EXPECT_EQ(agent->word1, 0U);
    EXPECT_EQ(agent->text1, "");
    EXPECT_EQ(agent->text2, "");
    EXPECT_EQ(agent->text3, L"");
    EXPECT_EQ(agent->text4, "");
    EXPECT_EQ(agent->word2, 0U);
    EXPECT_EQ(agent->word3, 0U);
    EXPECT_EQ(agent->text5, "");
    EXPECT_EQ(agent->text6, "");
    EXPECT_EQ(agent->text7, "");
    EXPECT_EQ(agent->word5, 0U);
    EXPECT_EQ(agent->word6, 0U);
    EXPECT_EQ(agent->word7, 0U);
    EXPECT_EQ(agent->word8, 0U);
    EXPECT_EQ(agent->word9, 0U);
    EXPECT_TRUE(agent->values.empty());
}

TEST(KrsoapDefaults, ScheduledTaskIsZeroAndEmpty)
{
    const Fresh<ns__ScheduledTask> task;
    EXPECT_EQ(task->id, 0U);
    EXPECT_EQ(task->name, L"");
    EXPECT_EQ(task->flag, 0);
    EXPECT_EQ(task->time1, 0);
    EXPECT_EQ(task->time2, 0);
    EXPECT_EQ(task->recurrence, 0);
    EXPECT_EQ(task->parameter, 0U);
    EXPECT_EQ(task->targetId, 0U);
    EXPECT_EQ(task->objectType, 0);
    EXPECT_EQ(task->action, 0);
    EXPECT_EQ(task->argument, "");
}

TEST(KrsoapDefaults, LogParamAndEntityAreEmpty)
{
    const Fresh<ns__LogParam> param;
    EXPECT_EQ(param->name, L"");
    EXPECT_EQ(param->value, L"");
    EXPECT_TRUE(Fresh<ns__LogEntity>()->params.empty());
}

TEST(KrsoapFields, HaveTheWidthsThatTheRecordsNeed)
{
    static_assert(std::is_same_v<decltype(ns__SensorId::word1), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__SensorId::word2), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__RgbColor::red), std::uint8_t>);
    static_assert(std::is_same_v<decltype(ns__RgbColor::green), std::uint8_t>);
    static_assert(std::is_same_v<decltype(ns__RgbColor::blue), std::uint8_t>);
    static_assert(std::is_same_v<decltype(ns__RgbColorArea::code), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__RgbColorArea::area), float>);
    static_assert(std::is_same_v<decltype(ns__HsvColor::hue), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__HsvColor::saturation), float>);
    static_assert(std::is_same_v<decltype(ns__HsvColor::value), float>);
    static_assert(std::is_same_v<decltype(ns__Time::seconds), std::int64_t>);
    static_assert(std::is_same_v<decltype(ns__QueryResultObject::objectId), std::uint64_t>);
    static_assert(std::is_same_v<decltype(ns__QueryResultObject::startTimeSeconds), std::int64_t>);
    static_assert(std::is_same_v<decltype(ns__QueryResultObject::endTimeSeconds), std::int64_t>);
    static_assert(std::is_same_v<decltype(ns__QueryResultObject::instanceCount), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__QueryResultObject::duration), std::uint32_t>);
    static_assert(std::is_same_v<decltype(ns__Agent::flag1), std::uint8_t>);
    static_assert(std::is_same_v<decltype(ns__Agent::word4), std::int32_t>);
    static_assert(std::is_same_v<decltype(ns__Agent::values), std::vector<std::uint32_t>>);
    static_assert(std::is_same_v<decltype(ns__ScheduledTask::flag), std::uint8_t>);
    static_assert(std::is_same_v<decltype(ns__ScheduledTask::time1), std::int64_t>);
    static_assert(std::is_same_v<decltype(ns__ScheduledTask::time2), std::int64_t>);
    SUCCEED() << "checked by the compiler";
}

TEST(KrsoapSensorId, EqualityNeedsBothWords)
{
    const struct {
        ns__SensorId left;
        ns__SensorId right;
        bool equal;
    } rows[] = {
        {sensor(0, 1), ns__SensorId(), true},   {sensor(5, 9), sensor(5, 9), true},
        {sensor(-1, -2), sensor(-1, -2), true}, {sensor(5, 9), sensor(6, 9), false},
        {sensor(5, 9), sensor(5, 8), false},    {sensor(5, 9), sensor(9, 5), false},
        {sensor(1, 1), sensor(-1, 1), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.left.word1 << "," << row.left.word2 << " and "
                                        << row.right.word1 << "," << row.right.word2);
        EXPECT_EQ(row.left == row.right, row.equal);
        EXPECT_EQ(row.right == row.left, row.equal);
        EXPECT_EQ(row.left != row.right, !row.equal);
        EXPECT_EQ(row.right != row.left, !row.equal);
    }
}

TEST(KrsoapValues, DestroyingThroughTheBaseReachesTheDerivedRecord)
{
    class Extended_Agent : public ns__Agent {
    public:
        explicit Extended_Agent(bool& destroyed) : destroyed_(&destroyed) {}
        Extended_Agent(const Extended_Agent&) = default;
        Extended_Agent& operator=(const Extended_Agent&) = default;
        ~Extended_Agent() override { *destroyed_ = true; }

    private:
        bool* destroyed_;
    };

    bool destroyed = false;
    std::unique_ptr<ns__Agent> agent = std::make_unique<Extended_Agent>(destroyed);
    agent.reset();
    EXPECT_TRUE(destroyed);
}

TEST(KrsoapValues, CopiesAreIndependent)
{
    ns__LogParam port;
    port.name = L"Port";
    port.value = L"8080";
    ns__LogEntity entity;
    entity.params.push_back(port);

    const ns__LogEntity copy = entity;
    entity.params[0].value = L"0";
    entity.params.clear();

    ASSERT_EQ(copy.params.size(), 1U);
    EXPECT_EQ(copy.params[0].name, L"Port");
    EXPECT_EQ(copy.params[0].value, L"8080");
}

TEST(KrsoapValues, MovesHandOverTheirLists)
{
    ns__QueryResultObject found;
    found.objectId = 12;
    found.instances.emplace_back();
    found.instances.back().time.seconds = 1700000000;
    const ns__QueryResultObjectInstance* const first = found.instances.data();

    ns__QueryResultObject taken = std::move(found);
    EXPECT_EQ(taken.objectId, 12U);
    EXPECT_EQ(taken.instances.data(), first);

    ns__QueryResultObject assigned;
    assigned = std::move(taken);
    ASSERT_EQ(assigned.instances.data(), first);
    EXPECT_EQ(assigned.instances.front().time.seconds, 1700000000);
}

TEST(KrsoapValues, BytesOfFlagsAreCarriedVerbatim)
{
    ns__Agent agent;
    agent.flag1 = 255;
    EXPECT_EQ(ns__Agent(agent).flag1, 255);

    ns__ScheduledTask task;
    task.flag = 2;
    EXPECT_EQ(ns__ScheduledTask(task).flag, 2);
}
