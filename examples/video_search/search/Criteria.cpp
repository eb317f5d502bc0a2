#include "Criteria.h"

#include "Color_Names.h"
#include "Format.h"

#include <KRCommon/util/Time_Text.h>

namespace video_search {

ACE_Time_Value from_time(const Criteria& criteria)
{
    return criteria.from.value_or(kr_to_ace_time_value("1970/01/01 00:00:00.000000"));
}

ACE_Time_Value to_time(const Criteria& criteria)
{
    return criteria.to.value_or(kr_to_ace_time_value("3000/12/31 23:59:59.999999"));
}

Filter filter_of(const Criteria& criteria)
{
    Filter filter;
    filter.from = from_time(criteria);
    filter.to = to_time(criteria);
    filter.hours = criteria.hours;
    filter.sensors = criteria.sensors;
    filter.detector = ns__DetectorType__value_1; // as is_match() does
    filter.object_class = criteria.object_class;
    filter.min_score = criteria.min_score;
    filter.min_duration = criteria.min_duration;
    filter.max_duration = criteria.max_duration;
    filter.colors = criteria.colors;
    filter.wants_all_colors = criteria.wants_all_colors;
    filter.min_area = criteria.min_area;
    if (criteria.area)
        filter.place = box_around(*criteria.area);
    filter.order = criteria.order;
    return filter;
}

bool is_in(const ACE_Time_Value& time, const Hours& hours) noexcept
{
    constexpr std::int64_t hour = 3600;
    constexpr std::int64_t day = 24 * hour;
    const std::int64_t second = (time.sec() % day + day) % day;
    const bool has_begun = second >= hours.from * hour;
    const bool is_over = second >= hours.to * hour;
    if (hours.from == hours.to)
        return true;
    return hours.from < hours.to ? has_begun && !is_over : has_begun || !is_over;
}

const char* name_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "person";
    case ns__ObjectClass__vehicle: return "vehicle";
    case ns__ObjectClass__object: return "object";
    default: return "unknown";
    }
}

namespace {

std::string subject_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "persons";
    case ns__ObjectClass__vehicle: return "vehicles";
    case ns__ObjectClass__object: return "objects that are neither person nor vehicle";
    default: return "all objects";
    }
}

std::string joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : between) + word;
    return text;
}

std::string colors_in_words(const Criteria& criteria)
{
    std::vector<std::string> names;
    for (const Preset_Set set : criteria.colors)
        names.push_back(readable_name(set));
    return joined(names, criteria.wants_all_colors ? " and " : " or ") + " on " +
           shortest(criteria.min_area) + " % or more";
}

std::string hours_in_words(const Hours& hours)
{
    return "first seen between " + std::to_string(hours.from) + ":00 and " +
           std::to_string(hours.to) + ":00";
}

std::string sensors_in_words(const std::vector<ns__SensorId>& sensors)
{
    std::vector<std::string> names;
    names.reserve(sensors.size());
    for (const ns__SensorId& sensor : sensors)
        names.push_back(sensor_text(sensor));
    return "sensor " + joined(names, " or ");
}

std::string area_in_words(const Area& area)
{
    std::vector<std::string> corners;
    for (const Foot& corner : area.corners)
        corners.push_back(shortest(corner.x) + "," + shortest(corner.y));
    return (area.presence == Presence::stood ? "stood in " : "crossed ") + joined(corners, " ");
}

void add_order(std::vector<std::string>& words, const Criteria& criteria)
{
    if (criteria.order == Order::latest)
        words.emplace_back("latest first");
    if (criteria.order == Order::duration)
        words.emplace_back("longest first");
    if (criteria.order == Order::score)
        words.emplace_back("highest score first");
    if (criteria.limit)
        words.push_back("at most " + std::to_string(*criteria.limit));
}

} // namespace

std::vector<std::string> in_words(const Criteria& criteria)
{
    std::vector<std::string> words{subject_of(criteria.object_class)};
    if (!criteria.colors.empty())
        words.push_back(colors_in_words(criteria));
    if (criteria.min_score > 0)
        words.push_back("score " + shortest(criteria.min_score) + " or more");
    if (criteria.min_duration > 0)
        words.push_back(shortest(criteria.min_duration) + " s or longer");
    if (criteria.max_duration)
        words.push_back(shortest(*criteria.max_duration) + " s or shorter");
    if (criteria.area)
        words.push_back(area_in_words(*criteria.area));
    if (!criteria.sensors.empty())
        words.push_back(sensors_in_words(criteria.sensors));
    if (criteria.hours)
        words.push_back(hours_in_words(*criteria.hours));
    if (criteria.from)
        words.push_back("first seen from " + time_text(*criteria.from));
    if (criteria.to)
        words.push_back("first seen to " + time_text(*criteria.to));
    add_order(words, criteria);
    return words;
}

} // namespace video_search
