#include "Soap_Types.h"

#include "Json_Answers.h"
#include "Xml_Element.h"
#include "search/Color_Names.h"
#include "search/Format.h"
#include "search/Page_Data.h"

#include <KRCommon/util/Time_Forms.h>

#include <cmath>
#include <cstdint>
#include <string_view>

namespace video_search {

namespace {

std::string text(std::string_view name, const std::string& value)
{
    return xml_element(name, xml_text(stored_text(value)));
}

std::string number(std::string_view name, float value)
{
    const std::string beyond = std::isnan(value) ? "NaN" : value > 0 ? "INF" : "-INF";
    return xml_element(name, std::isfinite(value) ? shortest(value) : beyond);
}

template <class Integer>
std::string whole(std::string_view name, Integer value)
{
    return xml_element(name, std::to_string(value));
}

std::string time(std::string_view name, const ACE_Time_Value& value)
{
    return xml_element(name, kr_to_iso8601(value, KR_Time_Fraction::microseconds));
}

// The library's types, with the names of their fields.

std::string xml_of(std::string_view name, const ns__Time& value)
{
    return xml_element(name,
                       whole("seconds", value.seconds) + whole("milliseconds", value.milliseconds));
}

std::string xml_of(std::string_view name, const ns__Box& box)
{
    return xml_element(name, number("minX", box.minX) + number("minY", box.minY) +
                                 number("maxX", box.maxX) + number("maxY", box.maxY));
}

std::string xml_of(std::string_view name, const ns__Geom_Point2D_Float& point)
{
    return xml_element(name, number("x", point.x) + number("y", point.y));
}

std::string xml_of(const ns__QueryResultObjectInstance& instance)
{
    return xml_element("instances", xml_of("time", instance.time) + xml_of("box", instance.box) +
                                        xml_of("point", instance.point));
}

std::string xml_of(const ns__QueryResultObject& result)
{
    std::string instances;
    for (const ns__QueryResultObjectInstance& instance : result.instances)
        instances += xml_of(instance);
    return xml_element("result",
                       whole("objectId", result.objectId) +
                           whole("detectorType", static_cast<std::int32_t>(result.detectorType)) +
                           whole("startTimeSeconds", result.startTimeSeconds) +
                           whole("startTimeMilliseconds", result.startTimeMilliseconds) +
                           whole("endTimeSeconds", result.endTimeSeconds) +
                           whole("endTimeMilliseconds", result.endTimeMilliseconds) +
                           xml_of("instanceTime", result.instanceTime) +
                           xml_of("instanceBox", result.instanceBox) +
                           xml_of("instancePoint", result.instancePoint) + instances +
                           whole("instanceCount", result.instanceCount) +
                           whole("duration", result.duration));
}

std::string xml_of_box(std::string_view name, const Geom_Box2D<float>& box)
{
    return xml_element(name, number("minX", box.MinX) + number("minY", box.MinY) +
                                 number("maxX", box.MaxX) + number("maxY", box.MaxY));
}

std::string xml_of(const Color_Share& share)
{
    return xml_element("color", text("preset", color_name(share.preset)) +
                                    number("percent", share.percent) +
                                    text("rgb", css_color(share.color)));
}

} // namespace

std::string xml_of(const Hit& hit)
{
    std::string colors;
    for (const Color_Share& share : hit.colors)
        colors += xml_of(share);
    std::string path;
    for (const ns__Geom_Point2D_Float& point : hit.path)
        path += xml_of("path", point);
    return xml_element(
        "object", text("sensor", sensor_text(hit.sensor)) + whole("id", hit.result.objectId) +
                      text("run", hit.run) + time("from", hit.first_seen) +
                      time("to", last_seen_of(hit)) + whole("duration", hit.result.duration) +
                      text("class", name_of(hit.object_class)) + number("score", hit.score) +
                      number("personScore", hit.scores[0]) + number("vehicleScore", hit.scores[1]) +
                      number("objectScore", hit.scores[2]) + colors +
                      time("bestTime", hit.best_time) + xml_of_box("bestBox", hit.best_box) +
                      number("bestScore", hit.best_value / 100) +
                      whole("observations", hit.instance_count) + path + xml_of(hit.result));
}

std::string xml_of(const Counted_Recording& counted, const std::string& name)
{
    const Recording& recording = counted.recording;
    return xml_element("recording",
                       text("run", recording.run) + text("name", name) +
                           text("sensor", sensor_text(recording.sensor)) +
                           time("from", recording.start) + time("to", recording.end) +
                           whole("width", recording.width) + whole("height", recording.height) +
                           text("state", recording.state) + whole("objects", counted.objects));
}

std::string xml_of_presets(const std::vector<Swatch>& swatches)
{
    std::string xml;
    for (const Swatch& swatch : swatches)
        xml += xml_element("preset", whole("number", static_cast<int>(swatch.preset)) +
                                         text("name", color_name(swatch.preset)) +
                                         text("rgb", css_color(swatch.color)));
    for (const Color_Group& group : color_groups()) {
        std::string names;
        for (const ns__ColorPreset preset : group.presets)
            names += text("preset", color_name(preset));
        xml += xml_element("group", text("name", group.name) + names);
    }
    return xml;
}

} // namespace video_search
