// What travels as XML: each type out and in again, through the generated serialisers.

#include <krsoap/krsoap.h>
#include <krsoap/krsoapH.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

namespace {

// Texts are UTF-8.
class Context {
public:
    Context() : soap_(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_STRICT | SOAP_ENC_PLAIN)) {}
    ~Context()
    {
        soap_destroy(soap_);
        soap_end(soap_);
        soap_free(soap_);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    operator soap*() const { return soap_; }

private:
    soap* soap_;
};

template <class Value>
std::string written(const Value& value)
{
    const Context context;
    std::ostringstream out;
    static_cast<soap*>(context)->os = &out;
    EXPECT_EQ(SOAP_OK, soap_begin_send(context));
    EXPECT_EQ(SOAP_OK, value.soap_put(context, "value", nullptr));
    EXPECT_EQ(SOAP_OK, soap_end_send(context));
    return out.str();
}

template <class Value>
bool read(const std::string& xml, Value& value)
{
    const Context context;
    std::istringstream in(xml);
    static_cast<soap*>(context)->is = &in;
    return soap_begin_recv(context) == SOAP_OK && value.soap_get(context, "value", nullptr) &&
           soap_end_recv(context) == SOAP_OK;
}

template <class Value>
Value passed_on(const Value& value)
{
    Value result;
    const std::string xml = written(value);
    EXPECT_TRUE(read(xml, result)) << xml;
    return result;
}

constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

} // namespace

TEST(KrsoapXml, NumbersThatHaveNoNameSurviveTheWayBothWays)
{
    for (const std::int32_t number : {0, 1, 2, 7, 8, -1, 1000, smallest, largest}) {
        ns__QueryResultObject object;
        object.detectorType = static_cast<ns__DetectorType>(number);
        EXPECT_EQ(number, passed_on(object).detectorType);
        ns__ScheduledTask task;
        task.recurrence = static_cast<ns__ScheduledTaskRecurrence>(number);
        task.objectType = static_cast<ns__ObjectType>(number);
        task.action = static_cast<ns__ObjectAction>(number);
        const ns__ScheduledTask result = passed_on(task);
        EXPECT_EQ(number, result.recurrence);
        EXPECT_EQ(number, result.objectType);
        EXPECT_EQ(number, result.action);
    }
}

TEST(KrsoapXml, WhatIsNoNumberAndNoNameIsRefused)
{
    const std::string xml = written(ns__QueryResultObject());
    const std::string name = "<ns:detectorType>value-0<";
    const std::size_t at = xml.find(name);
    ASSERT_NE(std::string::npos, at) << xml;
    for (const std::string text : {"", "value-2", "2147483648", "1.5", "x"}) {
        std::string changed = xml;
        changed.replace(at, name.size(), "<ns:detectorType>" + text + "<");
        ns__QueryResultObject object;
        EXPECT_FALSE(read(changed, object)) << text;
    }
}

TEST(KrsoapXml, AnObjectKeepsEveryBit)
{
    ns__QueryResultObject object;
    object.objectId = std::numeric_limits<std::uint64_t>::max();
    object.startTimeSeconds = std::numeric_limits<std::int64_t>::min();
    object.endTimeMilliseconds = -999;
    object.duration = 4294967295u;
    object.instances.resize(2);
    object.instances[0].box.minX = 0.1F;
    object.instances[1].box.maxY = -std::numeric_limits<float>::infinity();
    object.instances[1].time.milliseconds = smallest;
    object.debugInstances.resize(1);
    object.debugInstances[0].float1 = std::numeric_limits<float>::quiet_NaN();
    object.debugInstances[0].float2 = std::numeric_limits<float>::denorm_min();
    object.debugInstances[0].classNames = "person \xC3\xA9 ";
    object.debugInstances[0].colors.resize(2);
    object.debugInstances[0].colors[1].color.blue = 255;
    object.debugInstances[0].colors[1].code = -128;

    const ns__QueryResultObject result = passed_on(object);
    EXPECT_EQ(object.objectId, result.objectId);
    EXPECT_EQ(object.startTimeSeconds, result.startTimeSeconds);
    EXPECT_EQ(-999, result.endTimeMilliseconds);
    EXPECT_EQ(4294967295u, result.duration);
    ASSERT_EQ(2u, result.instances.size());
    EXPECT_EQ(0.1F, result.instances[0].box.minX);
    EXPECT_EQ(object.instances[1].box.maxY, result.instances[1].box.maxY);
    EXPECT_EQ(smallest, result.instances[1].time.milliseconds);
    ASSERT_EQ(1u, result.debugInstances.size());
    EXPECT_TRUE(std::isnan(result.debugInstances[0].float1));
    EXPECT_EQ(std::numeric_limits<float>::denorm_min(), result.debugInstances[0].float2);
    EXPECT_EQ("person \xC3\xA9 ", result.debugInstances[0].classNames);
    ASSERT_EQ(2u, result.debugInstances[0].colors.size());
    EXPECT_EQ(255, result.debugInstances[0].colors[1].color.blue);
    EXPECT_EQ(-128, result.debugInstances[0].colors[1].code);
}

TEST(KrsoapXml, TextsKeepBlanksLineEndsAndWhatXmlEscapes)
{
    ns__LogEntity entity;
    entity.params.resize(2);
    entity.params[0].name = L"  <a & \"b\"> ]]> ";
    entity.params[0].value = L"\r\n\t\x20AC\x00E9 ";
    const ns__LogEntity result = passed_on(entity);
    ASSERT_EQ(2u, result.params.size());
    EXPECT_EQ(entity.params[0].name, result.params[0].name);
    EXPECT_EQ(entity.params[0].value, result.params[0].value);
    EXPECT_EQ(L"", result.params[1].name);
}

TEST(KrsoapXml, AnAgentIsWrittenWithItsDefaults)
{
    ns__Agent agent;
    agent.values = {0, 4294967295u};
    agent.text3 = L"name";
    const ns__Agent result = passed_on(agent);
    EXPECT_EQ(0, result.flag1);
    EXPECT_EQ(1, result.flag2);
    EXPECT_EQ(1, result.flag3);
    EXPECT_EQ(-1, result.word4);
    EXPECT_EQ(L"name", result.text3);
    EXPECT_EQ(agent.values, result.values);
}

TEST(KrsoapXml, EveryCutOfAnObjectIsRefused)
{
    ns__QueryResultObject object;
    object.instances.resize(1);
    const std::string xml = written(object);
    for (std::size_t size = 0; size + 1 < xml.size(); ++size) {
        ns__QueryResultObject result;
        EXPECT_FALSE(read(xml.substr(0, size), result)) << size;
    }
}
