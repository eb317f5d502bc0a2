#pragma once

/// \file
/// The stand-in for KRSOAP, the module of generated web-service value types. KRCommon is built
/// against this header when no real KRSOAP package is found. It holds the fields that KRCommon
/// reads or fills, in their order and with their defaults, and nothing of the web service itself.
///
/// Defaults: every field starts at zero, empty or the value written beside it.
/// Verbatim: a field named only for its place (word1, text2, flag3) has a meaning that the services
///           agree on among themselves. It is carried as it is, and at most compared for equality.
///           In the same way an enumeration may hold any 32-bit number, whether named here or not.
/// Texts:    narrow texts are bytes as the sender encoded them. Wide texts are std::wstring:
///           wchar_t has 16 bits on Windows and 32 on Linux.
/// Memory:   no type here is serialised by copying its memory. Each object holds a pointer of its
///           own process, and sizes differ between targets; writers go field by field.
/// Threads:  plain values; an object belongs to one thread at a time.
/// Failure:  copying may throw std::bad_alloc where a type holds a text or a list; moving never
///           throws.
///
/// Example:
///     ns__QueryResultObject found;
///     found.objectId = 12;
///     found.instances.emplace_back();
///     found.instances.back().time.seconds = 1700000000;

#include <cstdint>
#include <string>
#include <vector>

// Enumerations. Plain 32-bit numbers that convert to int without a cast.

/// The kind of detector that produced an object. The kinds are the services' affair: values are
/// carried verbatim and compared for equality, and the names here say only the number.
enum ns__DetectorType : std::int32_t {
    ns__DetectorType__value_0 = 0,
    ns__DetectorType__value_1 = 1,
    ns__DetectorType__value_7 = 7, ///< what an object record starts with
};

/// What an object is taken for. 1, 2 and 3 choose the first, second and third class score of an
/// object record; any other value chooses none.
enum ns__ObjectClass : std::int32_t {
    ns__ObjectClass__unknown = 0,
    ns__ObjectClass__person = 1,
    ns__ObjectClass__vehicle = 2,
    ns__ObjectClass__object = 3,
};

/// A named colour. The names are those of the configuration file; the numeric order is the order of
/// the preset table and of every list of matching presets. Other numbers name no preset.
enum ns__ColorPreset : std::int32_t {
    ns__ColorPreset__white = 1,
    ns__ColorPreset__black = 2,
    ns__ColorPreset__gray = 3,
    ns__ColorPreset__light_blue = 4,
    ns__ColorPreset__dark_blue = 5,
    ns__ColorPreset__brown = 6,
    ns__ColorPreset__light_green = 7,
    ns__ColorPreset__dark_green = 8,
    ns__ColorPreset__yellow = 9,
    ns__ColorPreset__orange = 10,
    ns__ColorPreset__red = 11,
    ns__ColorPreset__pink = 12,
    ns__ColorPreset__purple = 13,
};

/// How generous a colour query asks to be. Values are carried verbatim and colour matching ignores
/// them; the names here say only the number.
enum ns__QueryTolerancePreset : std::int32_t {
    ns__QueryTolerancePreset__value_0 = 0,
    ns__QueryTolerancePreset__value_1 = 1,
    ns__QueryTolerancePreset__value_2 = 2,
};

/// How a scheduled task repeats. Values are carried verbatim; the names here say only the number.
enum ns__ScheduledTaskRecurrence : std::int32_t {
    ns__ScheduledTaskRecurrence__value_0 = 0, ///< what a task starts with
    ns__ScheduledTaskRecurrence__value_1 = 1,
};

/// The kind of object that a task's action applies to. Values are carried verbatim; the names here
/// say only the number.
enum ns__ObjectType : std::int32_t {
    ns__ObjectType__value_0 = 0, ///< what an action starts with
    ns__ObjectType__value_1 = 1,
};

/// What a task's action does to its object. Values are carried verbatim; the names here say only
/// the number.
enum ns__ObjectAction : std::int32_t {
    ns__ObjectAction__value_0 = 0, ///< what an action starts with
    ns__ObjectAction__value_1 = 1,
};

/// What a notification is about. Values are carried verbatim and the names here say only the
/// number; those listed after 0 are the ones whose event text has a shape of its own.
enum ns__NotificationCode : std::int32_t {
    ns__NotificationCode__value_0 = 0,
    ns__NotificationCode__value_14 = 14, ///< event text without the entity's parameters
    ns__NotificationCode__value_15 = 15, ///< event text without any parameter
    ns__NotificationCode__value_24 = 24, ///< event text without the entity's parameters
    ns__NotificationCode__value_35 = 35, ///< event text without the entity's parameters
    ns__NotificationCode__value_36 = 36, ///< event text without the entity's parameters
    ns__NotificationCode__value_38 = 38, ///< event text without the entity's parameters
    ns__NotificationCode__value_39 = 39, ///< event text without the entity's parameters
};

// Colours, geometry and time.

/// A colour as cameras deliver it, 0-255 per component.
class ns__RgbColor {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__RgbColor() = default;
    ns__RgbColor(const ns__RgbColor&) = default;
    ns__RgbColor(ns__RgbColor&&) = default;
    ns__RgbColor& operator=(const ns__RgbColor&) = default;
    ns__RgbColor& operator=(ns__RgbColor&&) = default;
    virtual ~ns__RgbColor() = default;
    /// @}

    std::uint8_t red = 0;   ///< 0-255
    std::uint8_t green = 0; ///< 0-255
    std::uint8_t blue = 0;  ///< 0-255
};

/// One colour of an observation and how much of the observation it covers.
class ns__RgbColorArea {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__RgbColorArea() = default;
    ns__RgbColorArea(const ns__RgbColorArea&) = default;
    ns__RgbColorArea(ns__RgbColorArea&&) = default;
    ns__RgbColorArea& operator=(const ns__RgbColorArea&) = default;
    ns__RgbColorArea& operator=(ns__RgbColorArea&&) = default;
    virtual ~ns__RgbColorArea() = default;
    /// @}

    ns__RgbColor color;    ///< the colour
    std::int32_t code = 0; ///< carried verbatim; a stored record keeps its low 8 bits, signed
    float area = 0.0F;     ///< a stored record keeps it truncated to 8 bits, signed
};

/// A colour as the classifier works on it; also a set of tolerances, field by field.
class ns__HsvColor {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__HsvColor() = default;
    ns__HsvColor(const ns__HsvColor&) = default;
    ns__HsvColor(ns__HsvColor&&) = default;
    ns__HsvColor& operator=(const ns__HsvColor&) = default;
    ns__HsvColor& operator=(ns__HsvColor&&) = default;
    virtual ~ns__HsvColor() = default;
    /// @}

    std::int32_t hue = 0;    ///< whole degrees 0-359; -1 means no hue (white, black, grey)
    float saturation = 0.0F; ///< 0.0-1.0
    float value = 0.0F;      ///< 0.0-1.0, brightness
};

/// An axis-aligned box in the coordinates of the object records, the smaller corner first.
class ns__Box {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__Box() = default;
    ns__Box(const ns__Box&) = default;
    ns__Box(ns__Box&&) = default;
    ns__Box& operator=(const ns__Box&) = default;
    ns__Box& operator=(ns__Box&&) = default;
    virtual ~ns__Box() = default;
    /// @}

    float minX = 0.0F; ///< the smaller x
    float minY = 0.0F; ///< the smaller y
    float maxX = 0.0F; ///< the larger x
    float maxY = 0.0F; ///< the larger y
};

/// A point in the coordinates of the object records.
class ns__Geom_Point2D_Float {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__Geom_Point2D_Float() = default;
    ns__Geom_Point2D_Float(const ns__Geom_Point2D_Float&) = default;
    ns__Geom_Point2D_Float(ns__Geom_Point2D_Float&&) = default;
    ns__Geom_Point2D_Float& operator=(const ns__Geom_Point2D_Float&) = default;
    ns__Geom_Point2D_Float& operator=(ns__Geom_Point2D_Float&&) = default;
    virtual ~ns__Geom_Point2D_Float() = default;
    /// @}

    float x = 0.0F; ///< as the boxes count it
    float y = 0.0F; ///< as the boxes count it
};

/// An instant, counted from 1970-01-01 UTC.
class ns__Time {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__Time() = default;
    ns__Time(const ns__Time&) = default;
    ns__Time(ns__Time&&) = default;
    ns__Time& operator=(const ns__Time&) = default;
    ns__Time& operator=(ns__Time&&) = default;
    virtual ~ns__Time() = default;
    /// @}

    std::int64_t seconds = 0;      ///< whole seconds
    std::int32_t milliseconds = 0; ///< microseconds / 1000, truncated
};

// Sensors and query results.

/// Which sensor saw an object. Two ids are equal when both words are.
/// The words are carried verbatim.
class ns__SensorId {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__SensorId() = default;
    ns__SensorId(const ns__SensorId&) = default;
    ns__SensorId(ns__SensorId&&) = default;
    ns__SensorId& operator=(const ns__SensorId&) = default;
    ns__SensorId& operator=(ns__SensorId&&) = default;
    virtual ~ns__SensorId() = default;
    /// @}

    /// Whether both words are equal.
    bool operator==(const ns__SensorId& other) const noexcept
    {
        return word1 == other.word1 && word2 == other.word2;
    }
    /// The opposite.
    bool operator!=(const ns__SensorId& other) const noexcept { return !(*this == other); }

    std::int32_t word1 = 0; ///< carried verbatim
    std::int32_t word2 = 1; ///< carried verbatim
};

/// One observation of a found object.
class ns__QueryResultObjectInstance {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__QueryResultObjectInstance() = default;
    ns__QueryResultObjectInstance(const ns__QueryResultObjectInstance&) = default;
    ns__QueryResultObjectInstance(ns__QueryResultObjectInstance&&) = default;
    ns__QueryResultObjectInstance& operator=(const ns__QueryResultObjectInstance&) = default;
    ns__QueryResultObjectInstance& operator=(ns__QueryResultObjectInstance&&) = default;
    virtual ~ns__QueryResultObjectInstance() = default;
    /// @}

    ns__Time time;                ///< of the observation
    ns__Box box;                  ///< extended toward the neighbouring observations
    ns__Geom_Point2D_Float point; ///< of the observation
};

/// What else is known of one observation, for people who look into a detector's work. A class is
/// present when its value is above 0.
class ns__QueryResultObjectInstanceDebug {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__QueryResultObjectInstanceDebug() = default;
    ns__QueryResultObjectInstanceDebug(const ns__QueryResultObjectInstanceDebug&) = default;
    ns__QueryResultObjectInstanceDebug(ns__QueryResultObjectInstanceDebug&&) = default;
    ns__QueryResultObjectInstanceDebug&
    operator=(const ns__QueryResultObjectInstanceDebug&) = default;
    ns__QueryResultObjectInstanceDebug& operator=(ns__QueryResultObjectInstanceDebug&&) = default;
    virtual ~ns__QueryResultObjectInstanceDebug() = default;
    /// @}

    float float1 = 0.0F;                  ///< four numbers of the observation, not otherwise named
    float float2 = 0.0F;                  ///< see float1
    float float3 = 0.0F;                  ///< see float1
    float float4 = 0.0F;                  ///< see float1
    std::vector<ns__RgbColorArea> colors; ///< of the observation
    std::string classNames;    ///< names of the classes present, each followed by a space
    float personValue = 0.0F;  ///< above 0: taken for a person
    float vehicleValue = 0.0F; ///< above 0: taken for a vehicle
    float objectValue = 0.0F;  ///< above 0: taken for an object
    float unknownValue = 0.0F; ///< above 0: taken for something unknown
};

/// One object that a query found, with its observations around the selected one.
///
/// Times count from 1970-01-01 UTC; milliseconds are microseconds / 1000, truncated. The start is
/// when the object was first seen; the end lies duration later, with the same milliseconds.
/// instanceTime, instanceBox and instancePoint belong to the selected observation; its box is
/// extended toward the neighbouring ones. Filling a result again appends to both lists, while
/// instanceCount tells how many observations the last fill chose.
class ns__QueryResultObject {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__QueryResultObject() = default;
    ns__QueryResultObject(const ns__QueryResultObject&) = default;
    ns__QueryResultObject(ns__QueryResultObject&&) = default;
    ns__QueryResultObject& operator=(const ns__QueryResultObject&) = default;
    ns__QueryResultObject& operator=(ns__QueryResultObject&&) = default;
    virtual ~ns__QueryResultObject() = default;
    /// @}

    std::uint64_t objectId = 0;                                ///< the object's number
    ns__DetectorType detectorType = ns__DetectorType__value_0; ///< what found it
    std::int64_t startTimeSeconds = 0;                         ///< when it was first seen
    std::int32_t startTimeMilliseconds = 0;                    ///< and its milliseconds
    std::int64_t endTimeSeconds = 0;                           ///< the start and the duration
    std::int32_t endTimeMilliseconds = 0;                      ///< those of the start
    ns__Time instanceTime;                                     ///< of the selected observation
    ns__Box instanceBox;                                       ///< of the selected observation
    ns__Geom_Point2D_Float instancePoint;                      ///< of the selected observation
    std::vector<ns__QueryResultObjectInstance> instances;      ///< around the selected one
    std::int32_t instanceCount = 0;                            ///< how many the last fill chose
    std::vector<ns__QueryResultObjectInstanceDebug> debugInstances; ///< on request
    std::uint32_t duration = 0;                                     ///< whole seconds
};

// Service records.

/// One agent as the services describe it. Every field is carried verbatim.
class ns__Agent {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__Agent() = default;
    ns__Agent(const ns__Agent&) = default;
    ns__Agent(ns__Agent&&) = default;
    ns__Agent& operator=(const ns__Agent&) = default;
    ns__Agent& operator=(ns__Agent&&) = default;
    virtual ~ns__Agent() = default;
    /// @}

    std::uint32_t word1 = 0;           ///< carried verbatim
    std::string text1;                 ///< carried verbatim
    std::string text2;                 ///< carried verbatim
    std::wstring text3;                ///< carried verbatim
    std::string text4;                 ///< carried verbatim
    std::uint32_t word2 = 0;           ///< carried verbatim
    std::uint32_t word3 = 0;           ///< carried verbatim
    std::string text5;                 ///< carried verbatim
    std::string text6;                 ///< carried verbatim
    std::string text7;                 ///< carried verbatim
    std::uint8_t flag1 = 0;            ///< carried verbatim
    std::uint8_t flag2 = 1;            ///< carried verbatim
    std::uint8_t flag3 = 1;            ///< carried verbatim
    std::int32_t word4 = -1;           ///< carried verbatim
    std::uint32_t word5 = 0;           ///< carried verbatim
    std::uint32_t word6 = 0;           ///< carried verbatim
    std::uint32_t word7 = 0;           ///< carried verbatim
    std::uint32_t word8 = 0;           ///< carried verbatim
    std::uint32_t word9 = 0;           ///< carried verbatim
    std::vector<std::uint32_t> values; ///< bit masks, joined with OR by those who need one mask
};

/// One scheduled task with its one action.
///
/// flag is 0 when the task's own state flag is set, else 1. The two times and the parameter are
/// carried verbatim. The action applies to the object targetId, which is of kind objectType.
class ns__ScheduledTask {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__ScheduledTask() = default;
    ns__ScheduledTask(const ns__ScheduledTask&) = default;
    ns__ScheduledTask(ns__ScheduledTask&&) = default;
    ns__ScheduledTask& operator=(const ns__ScheduledTask&) = default;
    ns__ScheduledTask& operator=(ns__ScheduledTask&&) = default;
    virtual ~ns__ScheduledTask() = default;
    /// @}

    std::uint32_t id = 0;   ///< the task's number
    std::wstring name;      ///< for people
    std::uint8_t flag = 0;  ///< the inverse of the task's state flag
    std::int64_t time1 = 0; ///< carried verbatim
    std::int64_t time2 = 0; ///< carried verbatim
    /// How the task repeats.
    ns__ScheduledTaskRecurrence recurrence = ns__ScheduledTaskRecurrence__value_0;
    std::uint32_t parameter = 0;                         ///< carried verbatim
    std::uint32_t targetId = 0;                          ///< what the action applies to
    ns__ObjectType objectType = ns__ObjectType__value_0; ///< the kind of that object
    ns__ObjectAction action = ns__ObjectAction__value_0; ///< what is done to it
    std::string argument; ///< bytes, in whatever encoding the services use
};

/// One named parameter of a notification.
class ns__LogParam {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__LogParam() = default;
    ns__LogParam(const ns__LogParam&) = default;
    ns__LogParam(ns__LogParam&&) = default;
    ns__LogParam& operator=(const ns__LogParam&) = default;
    ns__LogParam& operator=(ns__LogParam&&) = default;
    virtual ~ns__LogParam() = default;
    /// @}

    std::wstring name;  ///< of the parameter
    std::wstring value; ///< of the parameter
};

/// What a notification is about, described by parameters of its own.
class ns__LogEntity {
public:
    /// Made with the defaults beside the fields; copied and moved field by field.
    /// @{
    ns__LogEntity() = default;
    ns__LogEntity(const ns__LogEntity&) = default;
    ns__LogEntity(ns__LogEntity&&) = default;
    ns__LogEntity& operator=(const ns__LogEntity&) = default;
    ns__LogEntity& operator=(ns__LogEntity&&) = default;
    virtual ~ns__LogEntity() = default;
    /// @}

    std::vector<ns__LogParam> params; ///< in the order in which they are reported
};
