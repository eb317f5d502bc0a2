#include "Cluster_Query.h"

#include "Store_File.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <set>
#include <tuple>

namespace video_search {

namespace {

auto time_key(const Object_Place& place)
{
    return std::tie(place.first_seen, place.sensor1, place.sensor2, place.object_id);
}

// Its bits, so that it is the same number there.
std::string exact(float value)
{
    std::array<unsigned char, sizeof value> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    constexpr const char* digits = "0123456789ABCDEF";
    std::string hex;
    for (const unsigned char byte : bytes)
        hex.append({digits[byte >> 4], digits[byte & 15]});
    return "reinterpretAsFloat32(unhex('" + hex + "'))";
}

std::string where_nan(const char* column)
{
    return std::string("if(isNaN(") + column + "), toFloat32(0), " + column + ")";
}

// That of no class is never NaN.
std::string score_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "person";
    case ns__ObjectClass__vehicle: return "vehicle";
    case ns__ObjectClass__object: return "object";
    default: break;
    }
    return "greatest(greatest(toFloat32(0), " + where_nan("person") + "), greatest(" +
           where_nan("vehicle") + ", " + where_nan("object") + "))";
}

class Conditions {
public:
    void add(const std::string& condition)
    {
        text_ += (text_.empty() ? " WHERE " : " AND ") + condition;
    }
    [[nodiscard]] const std::string& text() const noexcept { return text_; }

private:
    std::string text_;
};

std::string between(const Time_Range& range)
{
    return "first_seen_us BETWEEN " + std::to_string(range.first) + " AND " +
           std::to_string(range.last);
}

// What is before 1970 has a remainder below 0, where both numbers have a sign.
void ask_hours(Conditions& where, const std::optional<Hours>& hours)
{
    constexpr std::int64_t hour = 3'600'000'000; // microseconds
    if (!hours || hours->from == hours->to)
        return;
    const std::string time_of_day =
        "((first_seen_us % toInt64(86400000000) + 86400000000) % 86400000000)";
    where.add("(" + time_of_day + " >= " + std::to_string(hours->from * hour) +
              (hours->from < hours->to ? " AND " : " OR ") + time_of_day + " < " +
              std::to_string(hours->to * hour) + ")");
}

// A sensor as one number: thousands of conditions, or a list of pairs, would take several times as long.
std::string key_of(const ns__SensorId& sensor)
{
    constexpr unsigned word = 32; // bits
    return std::to_string(std::uint64_t{static_cast<std::uint32_t>(sensor.word1)} << word |
                          static_cast<std::uint32_t>(sensor.word2));
}

void ask_sensors(Conditions& where, const std::vector<ns__SensorId>& sensors)
{
    if (sensors.size() == 1)
        where.add("sensor1 = " + std::to_string(sensors[0].word1) +
                  " AND sensor2 = " + std::to_string(sensors[0].word2));
    if (sensors.size() <= 1)
        return;
    std::string keys;
    for (const ns__SensorId& sensor : sensors)
        keys += (keys.empty() ? "" : ", ") + key_of(sensor);
    where.add("bitOr(bitShiftLeft(toUInt64(toUInt32(sensor1)), 32), toUInt64(toUInt32(sensor2))) "
              "IN (" +
              keys + ")");
}

void ask_score(Conditions& where, const Filter& filter)
{
    if (filter.object_class != ns__ObjectClass__unknown || filter.min_score > 0)
        where.add(score_of(filter.object_class) + " >= " + exact(filter.min_score));
}

// Searches compare as float, which rounds; an unknown duration may be any.
void ask_duration(Conditions& where, const Filter& filter)
{
    constexpr double rounding = 1e-6;
    constexpr double most = 5e9; // above what 32 bits hold
    const std::string unknown = "(duration = " + std::to_string(no_duration) + " OR duration ";
    const auto whole = [most](double seconds) {
        const double known = seconds >= -1 ? std::min(seconds, most) : -1; // of a NaN, too
        return std::to_string(static_cast<std::int64_t>(known));
    };
    if (filter.min_duration > 0)
        where.add(unknown + ">= " + whole(std::ceil(double{filter.min_duration} * (1 - rounding))) +
                  ")");
    if (filter.max_duration)
        where.add(unknown +
                  "<= " + whole(std::floor(double{*filter.max_duration} * (1 + rounding))) + ")");
}

std::string share_of(Preset_Set set)
{
    std::string sum;
    for (std::size_t k = 0; k < trait_colors.size(); ++k)
        if ((set >> (k + 1) & 1) != 0)
            sum += (sum.empty() ? "" : " + ") + std::string(trait_colors[k]);
    return sum.empty() ? "0" : "(" + sum + ")";
}

// As query_of_traits() has it: shares are rounded up, and what has nothing of a colour has not the
// colour. What was seen with other presets may have any.
void ask_colors(Conditions& where, const Filter& filter)
{
    const float least = std::clamp(filter.min_area, 1.0F, static_cast<float>(most_share));
    const std::string enough = " >= " + std::to_string(static_cast<int>(std::ceil(least)));
    std::string condition;
    for (const Preset_Set set : filter.colors)
        condition += (condition.empty()         ? ""
                      : filter.wants_all_colors ? " AND "
                                                : " OR ") +
                     share_of(set) + enough;
    if (!condition.empty())
        where.add("(presets != " + std::to_string(own_fingerprint()) + " OR " + condition + ")");
}

void ask_place(Conditions& where, const std::optional<Geom_Box2D<float>>& box)
{
    if (!box)
        return;
    const Place place = place_around(*box);
    where.add("max_x >= " + std::to_string(place.min_x) + " AND min_x <= " +
              std::to_string(place.max_x) + " AND max_y >= " + std::to_string(place.min_y) +
              " AND min_y <= " + std::to_string(place.max_y));
}

// For those of the same duration or score, too.
std::string behind_in_time(const Object_Place& place, bool is_turned)
{
    const std::string id = std::to_string(place.object_id);
    const char* const behind = is_turned ? "<" : ">";
    return "(first_seen_us, sensor1, sensor2, object_id) " + std::string(behind) + " (toInt64(" +
           std::to_string(place.first_seen) + "), toInt32(" + std::to_string(place.sensor1) +
           "), toInt32(" + std::to_string(place.sensor2) + "), toUInt64(" + id + "))";
}

// Comparisons with NaN are false, but `!=` is true.
std::string behind(const Filter& filter, const Object_Place& place)
{
    std::string later = behind_in_time(place, filter.order == Order::latest);
    if (filter.order == Order::duration) {
        const std::string value = std::to_string(place.duration);
        return "(duration < " + value + " OR (duration = " + value + " AND " + later + "))";
    }
    if (filter.order != Order::score)
        return later;
    const std::string score = score_of(filter.object_class);
    if (std::isnan(place.score))
        return "(isNaN(" + score + ") AND " + later + ")";
    const std::string value = exact(place.score);
    return "(" + score + " < " + value + " OR isNaN(" + score + ") OR (" + score + " = " + value +
           " AND " + later + "))";
}

std::string order_of(const Filter& filter)
{
    std::string time = "first_seen_us, sensor1, sensor2, object_id";
    switch (filter.order) {
    case Order::latest: return "first_seen_us DESC, sensor1 DESC, sensor2 DESC, object_id DESC";
    case Order::duration: return "duration DESC, " + time;
    case Order::score: return "score DESC, " + time; // NaN comes last
    case Order::time: break;
    }
    return time;
}

} // namespace

bool operator==(const Object_Place& one, const Object_Place& other) noexcept
{
    return time_key(one) == time_key(other);
}

bool is_before(const Object_Place& one, const Object_Place& other, Order order) noexcept
{
    switch (order) {
    case Order::latest: return time_key(other) < time_key(one);
    case Order::duration:
        if (one.duration != other.duration)
            return one.duration > other.duration;
        break;
    case Order::score:
        if (std::isnan(one.score) != std::isnan(other.score))
            return std::isnan(other.score);
        if (one.score > other.score || one.score < other.score)
            return one.score > other.score;
        break;
    case Order::time: break;
    }
    return time_key(one) < time_key(other);
}

std::string query_of_places(const std::string& database, const Filter& filter,
                            const Time_Range& range, const Object_Place* after, std::size_t most)
{
    Conditions where;
    where.add(between(range));
    ask_hours(where, filter.hours);
    ask_sensors(where, filter.sensors);
    if (filter.detector)
        where.add("detector IN (" + std::to_string(static_cast<std::int32_t>(*filter.detector)) +
                  ", " + std::to_string(any_detector) + ")");
    ask_score(where, filter);
    ask_duration(where, filter);
    ask_place(where, filter.place);
    ask_colors(where, filter);
    if (after != nullptr)
        where.add(behind(filter, *after));
    const std::string duration = filter.order == Order::duration ? "duration" : "toInt64(0)";
    const std::string score =
        filter.order == Order::score ? score_of(filter.object_class) : "toFloat32(0)";
    return "SELECT first_seen_us, sensor1, sensor2, object_id, " + duration + ", " + score +
           " AS score FROM " + database + ".object_local" + where.text() + " ORDER BY " +
           order_of(filter) + " LIMIT " + std::to_string(most) + " FORMAT RowBinary";
}

std::string query_of_records(const std::string& database, const std::vector<Object_Place>& places)
{
    std::set<std::int64_t> times;
    std::string keys;
    for (const Object_Place& place : places) {
        times.insert(place.first_seen);
        keys += (keys.empty() ? "(" : ", (") + std::to_string(place.first_seen) + ", " +
                std::to_string(place.sensor1) + ", " + std::to_string(place.sensor2) + ", " +
                std::to_string(place.object_id) + ")";
    }
    std::string list;
    for (const std::int64_t time : times)
        list += (list.empty() ? "" : ", ") + std::to_string(time);
    return "SELECT first_seen_us, sensor1, sensor2, object_id, run, record FROM " + database +
           ".object_local PREWHERE first_seen_us IN (" + list + ") WHERE " +
           between({*times.begin(), *times.rbegin()}) +
           " AND (first_seen_us, sensor1, sensor2, object_id) IN (" + keys + ") FORMAT RowBinary";
}

} // namespace video_search
