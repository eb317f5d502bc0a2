// The card of a hit: its picture, what is known of it, and its track in the scene.

#include "Color_Names.h"
#include "Format.h"
#include "Page_Data.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace video_search {

namespace {

// Coordinates as the page can use them, whatever a record holds.
std::string coordinate(float value)
{
    constexpr float most = 100'000;
    return decimal(std::isfinite(value) ? std::clamp(value, -most, most) : 0.0F, 1);
}

Page_Data box_data(const ns__Box& box)
{
    Page_Data data;
    data.set("x", coordinate(box.minX));
    data.set("y", coordinate(box.minY));
    data.set("w", coordinate(std::max(box.maxX - box.minX, 0.0F)));
    data.set("h", coordinate(std::max(box.maxY - box.minY, 0.0F)));
    return data;
}

Page_List boxes_of(const ns__QueryResultObject& result)
{
    Page_List boxes;
    for (const ns__QueryResultObjectInstance& instance : result.instances)
        boxes.push_back(box_data(instance.box));
    return boxes;
}

// A long track does not need every point.
std::vector<ns__Geom_Point2D_Float> thinned(const std::vector<ns__Geom_Point2D_Float>& path)
{
    constexpr std::size_t most = 200;
    const std::size_t step = path.size() / most + 1;
    std::vector<ns__Geom_Point2D_Float> points;
    for (std::size_t k = 0; k < path.size(); k += step)
        points.push_back(path[k]);
    if (!path.empty())
        points.push_back(path.back());
    return points;
}

std::string points_of(const std::vector<ns__Geom_Point2D_Float>& path)
{
    std::string text;
    for (const ns__Geom_Point2D_Float& point : thinned(path))
        text += (text.empty() ? "" : " ") + coordinate(point.x) + "," + coordinate(point.y);
    return text;
}

Page_Data track_data(const std::vector<ns__Geom_Point2D_Float>& path)
{
    Page_Data data;
    data.set("points", points_of(path));
    data.set("first_x", coordinate(path.front().x));
    data.set("first_y", coordinate(path.front().y));
    data.set("last_x", coordinate(path.back().x));
    data.set("last_y", coordinate(path.back().y));
    return data;
}

Page_Data scene_data(const Hit& hit, const Scene& scene, std::size_t number)
{
    constexpr double dots_per_width = 110;
    Page_Data data;
    data.set("width", std::to_string(scene.recording.width));
    data.set("height", std::to_string(scene.recording.height));
    data.set("dot", decimal(scene.recording.width / dots_per_width, 1));
    if (!picture_uri(scene.recording.background).empty())
        data.set("background", std::to_string(number));
    if (!hit.path.empty())
        data.set("track", track_data(hit.path));
    data.set("boxes", boxes_of(hit.result));
    data.set("best", box_data(hit.result.instanceBox));
    return data;
}

void set_scene(Page_Data& data, const Hit& hit, const std::vector<Scene>& scenes)
{
    const auto scene = std::find_if(scenes.begin(), scenes.end(), [&](const Scene& each) {
        return each.recording.run == hit.run;
    });
    if (scene == scenes.end())
        return;
    const Recording& recording = scene->recording;
    if (recording.width > 0 && recording.height > 0)
        data.set("scene",
                 scene_data(hit, *scene, static_cast<std::size_t>(scene - scenes.begin()) + 1));
    if (scenes.size() > 1)
        data.set("source", stored_text(recording.video));
}

ACE_Time_Value time_value(std::int64_t seconds, std::int32_t milliseconds)
{
    return ACE_Time_Value(static_cast<time_t>(seconds),
                          static_cast<suseconds_t>(milliseconds) * 1000);
}

void set_facts(Page_Data& data, const Hit& hit)
{
    const ns__QueryResultObject& result = hit.result;
    data.set("id", std::to_string(result.objectId));
    data.set("class", name_of(hit.object_class));
    data.set("score", reached(hit.score, 2));
    data.set("first_seen", time_text(hit.first_seen));
    data.set("last_seen", time_text(time_value(result.endTimeSeconds, result.endTimeMilliseconds)));
    data.set("duration", duration_text(result.duration));
    data.set("sensor", sensor_text(hit.sensor));
    const std::string thumbnail = picture_uri(hit.thumbnail);
    if (!thumbnail.empty())
        data.set("thumbnail", thumbnail);
}

Page_List scores_of(const Hit& hit)
{
    Page_List scores;
    for (std::size_t k = 0; k < hit.scores.size(); ++k) {
        const float score = std::isfinite(hit.scores[k]) ? hit.scores[k] : 0.0F;
        Page_Data data;
        data.set("label", name_of(static_cast<ns__ObjectClass>(k + 1)));
        data.set("value", reached(score, 2));
        data.set("percent", decimal(100 * std::clamp(score, 0.0F, 1.0F), 0));
        scores.push_back(std::move(data));
    }
    return scores;
}

Page_List colors_of(const Hit& hit)
{
    constexpr std::size_t most = 5;
    constexpr float least_percent = 5;
    Page_List colors;
    for (const Color_Share& share : hit.colors) {
        if (share.percent < least_percent || colors.size() == most)
            break;
        Page_Data data;
        data.set("rgb", css_color(share.color));
        data.set("label", readable_name(share.preset));
        data.set("share", reached(share.percent, 0));
        colors.push_back(std::move(data));
    }
    return colors;
}

// Instances

std::string size_text(const ns__Box& box)
{
    const auto whole = [](float value) { return decimal(value, 0); };
    return whole(box.maxX - box.minX) + " \u00D7 " + whole(box.maxY - box.minY);
}

Page_List swatches_of(const std::vector<ns__RgbColorArea>& colors)
{
    Page_List swatches;
    for (const ns__RgbColorArea& part : colors) {
        Page_Data data;
        data.set("rgb", css_color(part.color));
        data.set("tip", reached(part.area, 0) + " %");
        swatches.push_back(std::move(data));
    }
    return swatches;
}

Page_Data instance_data(const ns__QueryResultObjectInstance& instance,
                        const ns__QueryResultObjectInstanceDebug& debug, const ns__Time& best)
{
    const std::string time =
        time_text(time_value(instance.time.seconds, instance.time.milliseconds));
    Page_Data data;
    data.set("time", time.substr(time.find(' ') + 1));
    data.set("size", size_text(instance.box));
    data.set("person", decimal(debug.personValue, 0));
    data.set("vehicle", decimal(debug.vehicleValue, 0));
    data.set("object", decimal(debug.objectValue, 0));
    data.set("swatches", swatches_of(debug.colors));
    data.set("is_best", instance.time.seconds == best.seconds &&
                            instance.time.milliseconds == best.milliseconds);
    return data;
}

void set_instances(Page_Data& data, const Hit& hit)
{
    const ns__QueryResultObject& result = hit.result;
    Page_List list;
    for (std::size_t k = 0; k < result.instances.size(); ++k)
        list.push_back(
            instance_data(result.instances[k], result.debugInstances[k], result.instanceTime));
    data.set("has_instances", !list.empty());
    data.set("instances_text", std::to_string(list.size()) + " of " +
                                   std::to_string(hit.instance_count) + " observations");
    data.set("instances", list);
}

} // namespace

Page_Data card_data(const Page& page, std::size_t index)
{
    const Hit& hit = page.result.hits[index];
    Page_Data data;
    data.set("number", std::to_string(index + 1));
    set_facts(data, hit);
    set_scene(data, hit, page.scenes);
    data.set("scores", scores_of(hit));
    data.set("colors", colors_of(hit));
    set_instances(data, hit);
    return data;
}

} // namespace video_search
