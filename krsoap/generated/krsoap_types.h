// The web-service value types as soapcpp2 reads them: the interface from which the module's C++ types,
// serialisers and schema are generated. Names, order, widths and defaults are those of the stand-in,
// whose header says what the fields mean.

//gsoap ns service name:      KRSearch
//gsoap ns service protocol:  SOAP
//gsoap ns service style:     document
//gsoap ns service encoding:  literal
//gsoap ns service namespace: urn:krsearch
//gsoap ns schema namespace:  urn:krsearch
//gsoap ns schema form:       qualified

#import "stlvector.h"

enum ns__DetectorType {
    ns__DetectorType__value_0 = 0,
    ns__DetectorType__value_1 = 1,
    ns__DetectorType__value_7 = 7,
};

enum ns__ObjectClass {
    ns__ObjectClass__unknown = 0,
    ns__ObjectClass__person = 1,
    ns__ObjectClass__vehicle = 2,
    ns__ObjectClass__object = 3,
};

enum ns__ColorPreset {
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

enum ns__QueryTolerancePreset {
    ns__QueryTolerancePreset__value_0 = 0,
    ns__QueryTolerancePreset__value_1 = 1,
    ns__QueryTolerancePreset__value_2 = 2,
};

enum ns__ScheduledTaskRecurrence {
    ns__ScheduledTaskRecurrence__value_0 = 0,
    ns__ScheduledTaskRecurrence__value_1 = 1,
};

enum ns__ObjectType {
    ns__ObjectType__value_0 = 0,
    ns__ObjectType__value_1 = 1,
};

enum ns__ObjectAction {
    ns__ObjectAction__value_0 = 0,
    ns__ObjectAction__value_1 = 1,
};

enum ns__NotificationCode {
    ns__NotificationCode__value_0 = 0,
    ns__NotificationCode__value_14 = 14,
    ns__NotificationCode__value_15 = 15,
    ns__NotificationCode__value_24 = 24,
    ns__NotificationCode__value_35 = 35,
    ns__NotificationCode__value_36 = 36,
    ns__NotificationCode__value_38 = 38,
    ns__NotificationCode__value_39 = 39,
};

class ns__RgbColor {
public:
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
};

class ns__RgbColorArea {
public:
    ns__RgbColor color;
    int32_t code = 0;
    float area = 0.0;
};

class ns__HsvColor {
public:
    int32_t hue = 0;
    float saturation = 0.0;
    float value = 0.0;
};

class ns__Box {
public:
    float minX = 0.0;
    float minY = 0.0;
    float maxX = 0.0;
    float maxY = 0.0;
};

class ns__Geom_Point2D_Float {
public:
    float x = 0.0;
    float y = 0.0;
};

class ns__Time {
public:
    int64_t seconds = 0;
    int32_t milliseconds = 0;
};

class ns__SensorId {
public:
    int32_t word1 = 0;
    int32_t word2 = 1;
};

class ns__QueryResultObjectInstance {
public:
    ns__Time time;
    ns__Box box;
    ns__Geom_Point2D_Float point;
};

class ns__QueryResultObjectInstanceDebug {
public:
    float float1 = 0.0;
    float float2 = 0.0;
    float float3 = 0.0;
    float float4 = 0.0;
    std::vector<ns__RgbColorArea> colors;
    std::string classNames;
    float personValue = 0.0;
    float vehicleValue = 0.0;
    float objectValue = 0.0;
    float unknownValue = 0.0;
};

class ns__QueryResultObject {
public:
    uint64_t objectId = 0;
    enum ns__DetectorType detectorType = ns__DetectorType__value_0;
    int64_t startTimeSeconds = 0;
    int32_t startTimeMilliseconds = 0;
    int64_t endTimeSeconds = 0;
    int32_t endTimeMilliseconds = 0;
    ns__Time instanceTime;
    ns__Box instanceBox;
    ns__Geom_Point2D_Float instancePoint;
    std::vector<ns__QueryResultObjectInstance> instances;
    int32_t instanceCount = 0;
    std::vector<ns__QueryResultObjectInstanceDebug> debugInstances;
    uint32_t duration = 0;
};

class ns__Agent {
public:
    uint32_t word1 = 0;
    std::string text1;
    std::string text2;
    std::wstring text3;
    std::string text4;
    uint32_t word2 = 0;
    uint32_t word3 = 0;
    std::string text5;
    std::string text6;
    std::string text7;
    uint8_t flag1 = 0;
    uint8_t flag2 = 1;
    uint8_t flag3 = 1;
    int32_t word4 = -1;
    uint32_t word5 = 0;
    uint32_t word6 = 0;
    uint32_t word7 = 0;
    uint32_t word8 = 0;
    uint32_t word9 = 0;
    std::vector<uint32_t> values;
};

class ns__ScheduledTask {
public:
    uint32_t id = 0;
    std::wstring name;
    uint8_t flag = 0;
    int64_t time1 = 0;
    int64_t time2 = 0;
    enum ns__ScheduledTaskRecurrence recurrence = ns__ScheduledTaskRecurrence__value_0;
    uint32_t parameter = 0;
    uint32_t targetId = 0;
    enum ns__ObjectType objectType = ns__ObjectType__value_0;
    enum ns__ObjectAction action = ns__ObjectAction__value_0;
    std::string argument;
};

class ns__LogParam {
public:
    std::wstring name;
    std::wstring value;
};

class ns__LogEntity {
public:
    std::vector<ns__LogParam> params;
};
