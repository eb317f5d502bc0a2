#include "Json_Answers.h"

#include "search/Color_Names.h"
#include "search/Format.h"
#include "search/Json_Text.h"
#include "search/Page_Data.h"

#include <KRCommon/util/Time_Forms.h>

#include <utility>

namespace video_search {

namespace {

constexpr const char* version = "1";

std::string time(const ACE_Time_Value& value)
{
    return quoted(kr_to_iso8601(value, KR_Time_Fraction::microseconds));
}

std::string flag(bool value)
{
    return value ? "true" : "false";
}

// The last member is there only where something is missing.
std::string with_unanswered(std::string json, const std::vector<std::string>& unanswered)
{
    if (unanswered.empty())
        return json;
    json.pop_back();
    return json + ", \"unanswered\": " + array_of(unanswered, quoted) + "}";
}

} // namespace

std::string json_of(const Api_Error& error)
{
    const std::string parameter =
        error.parameter().empty() ? "null" : quoted(stored_text(error.parameter()));
    return json_object({{"schema_version", version},
                        {"error", json_object({{"code", quoted(error.code())},
                                               {"message", quoted(stored_text(error.what()))},
                                               {"parameter", parameter}})}});
}

ACE_Time_Value last_seen_of(const Hit& hit)
{
    return ACE_Time_Value(static_cast<time_t>(hit.result.endTimeSeconds),
                          static_cast<suseconds_t>(hit.result.endTimeMilliseconds) * 1000);
}

std::vector<ns__Geom_Point2D_Float> thinned(const std::vector<ns__Geom_Point2D_Float>& path,
                                            std::size_t most)
{
    if (path.size() <= most || most < 2)
        return path;
    std::vector<ns__Geom_Point2D_Float> points;
    for (std::size_t k = 0; k < most; ++k)
        points.push_back(path[k * (path.size() - 1) / (most - 1)]);
    return points;
}

namespace {

std::string json_of_box(const Geom_Box2D<float>& box)
{
    return "[" + number(box.MinX) + ", " + number(box.MinY) + ", " + number(box.MaxX - box.MinX) +
           ", " + number(box.MaxY - box.MinY) + "]";
}

std::string json_of_color(const Color_Share& share)
{
    return json_object({{"preset", quoted(color_name(share.preset))},
                        {"percent", number(share.percent)},
                        {"rgb", quoted(css_color(share.color))}});
}

std::string json_of_point(const ns__Geom_Point2D_Float& point)
{
    return "[" + number(point.x) + ", " + number(point.y) + "]";
}

std::string json_of_scores(const Hit& hit)
{
    return json_object({{"person", number(hit.scores[0])},
                        {"vehicle", number(hit.scores[1])},
                        {"object", number(hit.scores[2])}});
}

std::string json_of_best(const Hit& hit)
{
    return json_object({{"time", time(hit.best_time)},
                        {"box", json_of_box(hit.best_box)},
                        {"score", number(hit.best_value / 100)}});
}

std::string address_of(const Hit& hit)
{
    return "/api/objects/" + sensor_text(hit.sensor) + "/" + std::to_string(hit.result.objectId);
}

} // namespace

std::string json_of(const Hit& hit, std::size_t path_points)
{
    const std::string thumbnail =
        hit.has_thumbnail ? quoted(address_of(hit) + "/thumbnail.jpg") : "null";
    return json_object({{"sensor", quoted(sensor_text(hit.sensor))},
                        {"id", quoted(std::to_string(hit.result.objectId))},
                        {"run", quoted(stored_text(hit.run))},
                        {"from", time(hit.first_seen)},
                        {"to", time(last_seen_of(hit))},
                        {"duration", std::to_string(hit.result.duration)},
                        {"class", quoted(name_of(hit.object_class))},
                        {"score", number(hit.score)},
                        {"scores", json_of_scores(hit)},
                        {"colors", array_of(hit.colors, json_of_color)},
                        {"best", json_of_best(hit)},
                        {"instance_count", std::to_string(hit.instance_count)},
                        {"thumbnail", thumbnail},
                        {"path", array_of(thinned(hit.path, path_points), json_of_point)}});
}

std::string json_of(const Hit_Page& page, std::size_t path_points,
                    std::chrono::milliseconds duration)
{
    const auto object = [&](const Hit& hit) { return json_of(hit, path_points); };
    const std::string objects = array_of(page.hits, object);
    const std::string next = page.next ? quoted(*page.next) : "null";
    return with_unanswered(json_object({{"schema_version", version},
                                        {"objects", objects},
                                        {"next", next},
                                        {"complete", flag(!page.next && page.unanswered.empty())},
                                        {"milliseconds", std::to_string(duration.count())}}),
                           page.unanswered);
}

std::string json_of(const Density_Request& request, const Density& density)
{
    std::size_t total = 0;
    for (const std::size_t count : density.counts)
        total += count;
    const auto digits = [](std::size_t n) { return std::to_string(n); };
    return with_unanswered(json_object({{"schema_version", version},
                                        {"from", time(*request.criteria.from)},
                                        {"to", time(*request.criteria.to)},
                                        {"buckets", array_of(density.counts, digits)},
                                        {"total", std::to_string(total)}}),
                           density.unanswered);
}

namespace {

std::string frame_rate_of(const Recording& recording)
{
    const double seconds = static_cast<double>((recording.end - recording.start).msec()) / 1000;
    return seconds > 0 ? number(static_cast<float>(recording.frames / seconds)) : "null";
}

std::string json_of_recording(const Shown_Recording& shown)
{
    const Recording& recording = shown.counted.recording;
    return json_object({{"run", quoted(stored_text(recording.run))},
                        {"name", quoted(stored_text(shown.name))},
                        {"sensor", quoted(sensor_text(recording.sensor))},
                        {"from", time(recording.start)},
                        {"to", time(recording.end)},
                        {"width", std::to_string(recording.width)},
                        {"height", std::to_string(recording.height)},
                        {"frame_rate", frame_rate_of(recording)},
                        {"state", quoted(stored_text(recording.state))},
                        {"objects", std::to_string(shown.counted.objects)},
                        {"has_frames", flag(shown.has_frames)}});
}

} // namespace

std::string json_of(const std::vector<Shown_Recording>& recordings,
                    const std::vector<std::string>& unanswered)
{
    return with_unanswered(json_object({{"schema_version", version},
                                        {"recordings", array_of(recordings, json_of_recording)}}),
                           unanswered);
}

namespace {

std::string json_of_group(const Color_Group& group)
{
    const auto name = [](ns__ColorPreset preset) { return quoted(color_name(preset)); };
    return json_object({{"name", quoted(group.name)}, {"presets", array_of(group.presets, name)}});
}

std::string json_of_swatch(const Swatch& swatch)
{
    return json_object({{"number", std::to_string(static_cast<int>(swatch.preset))},
                        {"name", quoted(color_name(swatch.preset))},
                        {"rgb", quoted(css_color(swatch.color))}});
}

} // namespace

std::string json_of_presets(const std::vector<Swatch>& swatches)
{
    return json_object({{"schema_version", version},
                        {"presets", array_of(swatches, json_of_swatch)},
                        {"groups", array_of(color_groups(), json_of_group)}});
}

namespace {

float value_of(const KR_ObjectBase::Instance& instance, ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return instance.PersonValue;
    case ns__ObjectClass__vehicle: return instance.VehicleValue;
    case ns__ObjectClass__object: return instance.ObjectValue;
    default: return instance.UnknownValue;
    }
}

} // namespace

std::string json_of(const Found_Object& found, bool has_frames)
{
    const auto instance = [&](const KR_ObjectBase::Instance& each) {
        return json_object({{"time", time(each.Time)},
                            {"box", json_of_box(each.Box)},
                            {"score", number(value_of(each, found.hit.object_class) / 100)}});
    };
    const std::string picture = found.recording
                                    ? "[" + std::to_string(found.recording->width) + ", " +
                                          std::to_string(found.recording->height) + "]"
                                    : "null";
    std::string json = json_of(found.hit, found.hit.path.size());
    json.pop_back();
    return json + ", \"schema_version\": " + version + ", \"picture\": " + picture +
           ", \"has_frames\": " + flag(has_frames) +
           ", \"instances\": " + array_of(found.object.Instances, instance) + "}";
}

} // namespace video_search
