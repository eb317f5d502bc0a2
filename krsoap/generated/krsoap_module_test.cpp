// The stand-in beside the generated module, in one program: the same types, field by field.

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace standin {
#include KRSOAP_STANDIN
}

#include <krsoap/krsoap.h>

#include <gtest/gtest.h>

namespace {

// Whether two fields are of one type, where a type of the one module is that of the other.
template <class Left, class Right>
struct Same : std::is_same<Left, Right> {
};

template <class Left, class Right>
struct Same<std::vector<Left>, std::vector<Right>> : Same<Left, Right> {
};

#define KR_SAME_TYPE(name)                                                                         \
    template <>                                                                                    \
    struct Same<standin::name, ::name> : std::true_type {                                          \
    }

KR_SAME_TYPE(ns__DetectorType);
KR_SAME_TYPE(ns__ObjectClass);
KR_SAME_TYPE(ns__ColorPreset);
KR_SAME_TYPE(ns__QueryTolerancePreset);
KR_SAME_TYPE(ns__ScheduledTaskRecurrence);
KR_SAME_TYPE(ns__ObjectType);
KR_SAME_TYPE(ns__ObjectAction);
KR_SAME_TYPE(ns__NotificationCode);
KR_SAME_TYPE(ns__RgbColor);
KR_SAME_TYPE(ns__RgbColorArea);
KR_SAME_TYPE(ns__HsvColor);
KR_SAME_TYPE(ns__Box);
KR_SAME_TYPE(ns__Geom_Point2D_Float);
KR_SAME_TYPE(ns__Time);
KR_SAME_TYPE(ns__SensorId);
KR_SAME_TYPE(ns__QueryResultObjectInstance);
KR_SAME_TYPE(ns__QueryResultObjectInstanceDebug);
KR_SAME_TYPE(ns__QueryResultObject);
KR_SAME_TYPE(ns__Agent);
KR_SAME_TYPE(ns__ScheduledTask);
KR_SAME_TYPE(ns__LogParam);
KR_SAME_TYPE(ns__LogEntity);

// Values of both modules, on memory that held other bytes before.
template <class Value>
class Fresh {
public:
    Fresh()
    {
        for (unsigned char& byte : memory_)
            byte = 0xA5;
        value_ = new (memory_) Value;
    }
    ~Fresh() { value_->~Value(); }
    Fresh(const Fresh&) = delete;
    Fresh& operator=(const Fresh&) = delete;

    template <class Field>
    std::ptrdiff_t place(const Field Value::*field) const
    {
        return reinterpret_cast<const unsigned char*>(&(value_->*field)) - memory_;
    }
    const Value& operator*() const { return *value_; }

private:
    alignas(Value) unsigned char memory_[sizeof(Value)];
    Value* value_;
};

template <class Left, class Right>
std::enable_if_t<std::is_arithmetic_v<Left> || std::is_enum_v<Left>> expect_same(const Left& left,
                                                                                 const Right& right)
{
    EXPECT_EQ(static_cast<double>(left), static_cast<double>(right));
}

void expect_same(const std::string& left, const std::string& right)
{
    EXPECT_EQ(left, right);
}

void expect_same(const std::wstring& left, const std::wstring& right)
{
    EXPECT_EQ(left, right);
}

// Classes are compared in tests of their own.
template <class Left, class Right>
std::enable_if_t<std::is_class_v<Left>> expect_same(const Left&, const Right&)
{
}

template <class Left, class Right>
void expect_same(const std::vector<Left>& left, const std::vector<Right>& right)
{
    EXPECT_EQ(left.size(), right.size());
}

template <class Type, class Other, class Left, class Right>
void expect_same_field(Left Type::*left, Right Other::*right)
{
    static_assert(Same<Left, Right>::value);
    const Fresh<Type> ours;
    const Fresh<Other> theirs;
    EXPECT_EQ(ours.place(left), theirs.place(right));
    expect_same((*ours).*left, (*theirs).*right);
}

#define KR_EXPECT_FIELD(type, field)                                                               \
    {                                                                                              \
        SCOPED_TRACE(#field);                                                                      \
        expect_same_field(&standin::type::field, &::type::field);                                  \
    }

#define KR_EXPECT_NUMBER(name) EXPECT_EQ(int(standin::name), int(::name)) << #name

} // namespace

TEST(KrsoapModule, EnumerationsHaveTheStandInsNumbers)
{
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__DetectorType>,
                                 std::underlying_type_t<::ns__DetectorType>>);
    KR_EXPECT_NUMBER(ns__DetectorType__value_0);
    KR_EXPECT_NUMBER(ns__DetectorType__value_1);
    KR_EXPECT_NUMBER(ns__DetectorType__value_7);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__ObjectClass>,
                                 std::underlying_type_t<::ns__ObjectClass>>);
    KR_EXPECT_NUMBER(ns__ObjectClass__unknown);
    KR_EXPECT_NUMBER(ns__ObjectClass__person);
    KR_EXPECT_NUMBER(ns__ObjectClass__vehicle);
    KR_EXPECT_NUMBER(ns__ObjectClass__object);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__ColorPreset>,
                                 std::underlying_type_t<::ns__ColorPreset>>);
    KR_EXPECT_NUMBER(ns__ColorPreset__white);
    KR_EXPECT_NUMBER(ns__ColorPreset__black);
    KR_EXPECT_NUMBER(ns__ColorPreset__gray);
    KR_EXPECT_NUMBER(ns__ColorPreset__light_blue);
    KR_EXPECT_NUMBER(ns__ColorPreset__dark_blue);
    KR_EXPECT_NUMBER(ns__ColorPreset__brown);
    KR_EXPECT_NUMBER(ns__ColorPreset__light_green);
    KR_EXPECT_NUMBER(ns__ColorPreset__dark_green);
    KR_EXPECT_NUMBER(ns__ColorPreset__yellow);
    KR_EXPECT_NUMBER(ns__ColorPreset__orange);
    KR_EXPECT_NUMBER(ns__ColorPreset__red);
    KR_EXPECT_NUMBER(ns__ColorPreset__pink);
    KR_EXPECT_NUMBER(ns__ColorPreset__purple);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__QueryTolerancePreset>,
                                 std::underlying_type_t<::ns__QueryTolerancePreset>>);
    KR_EXPECT_NUMBER(ns__QueryTolerancePreset__value_0);
    KR_EXPECT_NUMBER(ns__QueryTolerancePreset__value_1);
    KR_EXPECT_NUMBER(ns__QueryTolerancePreset__value_2);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__ScheduledTaskRecurrence>,
                                 std::underlying_type_t<::ns__ScheduledTaskRecurrence>>);
    KR_EXPECT_NUMBER(ns__ScheduledTaskRecurrence__value_0);
    KR_EXPECT_NUMBER(ns__ScheduledTaskRecurrence__value_1);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__ObjectType>,
                                 std::underlying_type_t<::ns__ObjectType>>);
    KR_EXPECT_NUMBER(ns__ObjectType__value_0);
    KR_EXPECT_NUMBER(ns__ObjectType__value_1);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__ObjectAction>,
                                 std::underlying_type_t<::ns__ObjectAction>>);
    KR_EXPECT_NUMBER(ns__ObjectAction__value_0);
    KR_EXPECT_NUMBER(ns__ObjectAction__value_1);
    static_assert(std::is_same_v<std::underlying_type_t<standin::ns__NotificationCode>,
                                 std::underlying_type_t<::ns__NotificationCode>>);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_0);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_14);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_15);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_24);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_35);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_36);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_38);
    KR_EXPECT_NUMBER(ns__NotificationCode__value_39);
}

TEST(KrsoapModule, RgbColorIsTheStandIns)
{
    static_assert(sizeof(standin::ns__RgbColor) ==
                  sizeof(::ns__RgbColor)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__RgbColor, red);
    KR_EXPECT_FIELD(ns__RgbColor, green);
    KR_EXPECT_FIELD(ns__RgbColor, blue);
}

TEST(KrsoapModule, RgbColorAreaIsTheStandIns)
{
    static_assert(sizeof(standin::ns__RgbColorArea) ==
                  sizeof(::ns__RgbColorArea)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__RgbColorArea, color);
    KR_EXPECT_FIELD(ns__RgbColorArea, code);
    KR_EXPECT_FIELD(ns__RgbColorArea, area);
}

TEST(KrsoapModule, HsvColorIsTheStandIns)
{
    static_assert(sizeof(standin::ns__HsvColor) ==
                  sizeof(::ns__HsvColor)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__HsvColor, hue);
    KR_EXPECT_FIELD(ns__HsvColor, saturation);
    KR_EXPECT_FIELD(ns__HsvColor, value);
}

TEST(KrsoapModule, BoxIsTheStandIns)
{
    static_assert(sizeof(standin::ns__Box) == sizeof(::ns__Box)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__Box, minX);
    KR_EXPECT_FIELD(ns__Box, minY);
    KR_EXPECT_FIELD(ns__Box, maxX);
    KR_EXPECT_FIELD(ns__Box, maxY);
}

TEST(KrsoapModule, GeomPoint2DFloatIsTheStandIns)
{
    static_assert(sizeof(standin::ns__Geom_Point2D_Float) ==
                  sizeof(::ns__Geom_Point2D_Float)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__Geom_Point2D_Float, x);
    KR_EXPECT_FIELD(ns__Geom_Point2D_Float, y);
}

TEST(KrsoapModule, TimeIsTheStandIns)
{
    static_assert(sizeof(standin::ns__Time) == sizeof(::ns__Time)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__Time, seconds);
    KR_EXPECT_FIELD(ns__Time, milliseconds);
}

TEST(KrsoapModule, SensorIdIsTheStandIns)
{
    static_assert(sizeof(standin::ns__SensorId) ==
                  sizeof(::ns__SensorId)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__SensorId, word1);
    KR_EXPECT_FIELD(ns__SensorId, word2);
}

TEST(KrsoapModule, QueryResultObjectInstanceIsTheStandIns)
{
    static_assert(sizeof(standin::ns__QueryResultObjectInstance) ==
                  sizeof(::ns__QueryResultObjectInstance)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__QueryResultObjectInstance, time);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstance, box);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstance, point);
}

TEST(KrsoapModule, QueryResultObjectInstanceDebugIsTheStandIns)
{
    static_assert(sizeof(standin::ns__QueryResultObjectInstanceDebug) ==
                  sizeof(::ns__QueryResultObjectInstanceDebug)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, float1);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, float2);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, float3);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, float4);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, colors);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, classNames);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, personValue);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, vehicleValue);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, objectValue);
    KR_EXPECT_FIELD(ns__QueryResultObjectInstanceDebug, unknownValue);
}

TEST(KrsoapModule, QueryResultObjectIsTheStandIns)
{
    static_assert(sizeof(standin::ns__QueryResultObject) ==
                  sizeof(::ns__QueryResultObject)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__QueryResultObject, objectId);
    KR_EXPECT_FIELD(ns__QueryResultObject, detectorType);
    KR_EXPECT_FIELD(ns__QueryResultObject, startTimeSeconds);
    KR_EXPECT_FIELD(ns__QueryResultObject, startTimeMilliseconds);
    KR_EXPECT_FIELD(ns__QueryResultObject, endTimeSeconds);
    KR_EXPECT_FIELD(ns__QueryResultObject, endTimeMilliseconds);
    KR_EXPECT_FIELD(ns__QueryResultObject, instanceTime);
    KR_EXPECT_FIELD(ns__QueryResultObject, instanceBox);
    KR_EXPECT_FIELD(ns__QueryResultObject, instancePoint);
    KR_EXPECT_FIELD(ns__QueryResultObject, instances);
    KR_EXPECT_FIELD(ns__QueryResultObject, instanceCount);
    KR_EXPECT_FIELD(ns__QueryResultObject, debugInstances);
    KR_EXPECT_FIELD(ns__QueryResultObject, duration);
}

TEST(KrsoapModule, AgentIsTheStandIns)
{
    static_assert(sizeof(standin::ns__Agent) ==
                  sizeof(::ns__Agent)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__Agent, word1);
    KR_EXPECT_FIELD(ns__Agent, text1);
    KR_EXPECT_FIELD(ns__Agent, text2);
    KR_EXPECT_FIELD(ns__Agent, text3);
    KR_EXPECT_FIELD(ns__Agent, text4);
    KR_EXPECT_FIELD(ns__Agent, word2);
    KR_EXPECT_FIELD(ns__Agent, word3);
    KR_EXPECT_FIELD(ns__Agent, text5);
    KR_EXPECT_FIELD(ns__Agent, text6);
    KR_EXPECT_FIELD(ns__Agent, text7);
    KR_EXPECT_FIELD(ns__Agent, flag1);
    KR_EXPECT_FIELD(ns__Agent, flag2);
    KR_EXPECT_FIELD(ns__Agent, flag3);
    KR_EXPECT_FIELD(ns__Agent, word4);
    KR_EXPECT_FIELD(ns__Agent, word5);
    KR_EXPECT_FIELD(ns__Agent, word6);
    KR_EXPECT_FIELD(ns__Agent, word7);
    KR_EXPECT_FIELD(ns__Agent, word8);
    KR_EXPECT_FIELD(ns__Agent, word9);
    KR_EXPECT_FIELD(ns__Agent, values);
}

TEST(KrsoapModule, ScheduledTaskIsTheStandIns)
{
    static_assert(sizeof(standin::ns__ScheduledTask) ==
                  sizeof(::ns__ScheduledTask)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__ScheduledTask, id);
    KR_EXPECT_FIELD(ns__ScheduledTask, name);
    KR_EXPECT_FIELD(ns__ScheduledTask, flag);
    KR_EXPECT_FIELD(ns__ScheduledTask, time1);
    KR_EXPECT_FIELD(ns__ScheduledTask, time2);
    KR_EXPECT_FIELD(ns__ScheduledTask, recurrence);
    KR_EXPECT_FIELD(ns__ScheduledTask, parameter);
    KR_EXPECT_FIELD(ns__ScheduledTask, targetId);
    KR_EXPECT_FIELD(ns__ScheduledTask, objectType);
    KR_EXPECT_FIELD(ns__ScheduledTask, action);
    KR_EXPECT_FIELD(ns__ScheduledTask, argument);
}

TEST(KrsoapModule, LogParamIsTheStandIns)
{
    static_assert(sizeof(standin::ns__LogParam) ==
                  sizeof(::ns__LogParam)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__LogParam, name);
    KR_EXPECT_FIELD(ns__LogParam, value);
}

TEST(KrsoapModule, LogEntityIsTheStandIns)
{
    static_assert(sizeof(standin::ns__LogEntity) ==
                  sizeof(::ns__LogEntity)); // so that no field is forgotten
    KR_EXPECT_FIELD(ns__LogEntity, params);
}
