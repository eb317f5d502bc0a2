#include "Store_Query.h"

#include "Store_File.h"
#include "Traits.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace video_search {

namespace {

constexpr std::int64_t second = 1'000'000;              // microseconds
constexpr std::int64_t last_second = 9'223'372'000'000; // leaves room for microseconds above one

class Builder {
public:
    // A condition with its values, in the order of its question marks.
    template <class... Values>
    void where(const std::string& condition, Values... values)
    {
        query_.text += (query_.text.empty() ? "" : " AND ") + condition;
        (query_.values.emplace_back(values), ...);
    }

    Sql_Query select(const std::string& table, const std::string& order) const
    {
        return {"SELECT sensor1, sensor2, object_id FROM " + table + " WHERE " + query_.text +
                    " ORDER BY " + order,
                query_.values};
    }

    // All of them as one condition; true when there are none.
    Sql_Query conditions() const
    {
        return {query_.text.empty() ? "1" : query_.text, query_.values};
    }

private:
    Sql_Query query_;
};

void ask_hours(Builder& builder, const std::optional<Hours>& hours)
{
    constexpr std::int64_t hour = 3600 * second;
    if (!hours || hours->from == hours->to)
        return;
    const std::string time_of_day = "(first_seen_us % 86400000000 + 86400000000) % 86400000000";
    const char* const joined = hours->from < hours->to ? " AND " : " OR ";
    builder.where("(" + time_of_day + " >= ?" + joined + time_of_day + " < ?)", hours->from * hour,
                  hours->to * hour);
}

// Of several the plus keeps their index out: it would go through all that these have ever seen.
void ask_sensors(Builder& builder, const std::vector<ns__SensorId>& sensors)
{
    constexpr std::size_t most = 500; // SQLite takes a thousand conditions in one another
    if (sensors.size() > most) {
        std::string pairs;
        for (const ns__SensorId& sensor : sensors)
            pairs += (pairs.empty() ? "(" : ", (") + std::to_string(sensor.word1) + ", " +
                     std::to_string(sensor.word2) + ")";
        builder.where("(+sensor1, sensor2) IN (VALUES " + pairs + ")");
        return;
    }
    const std::string first = sensors.size() > 1 ? "(+sensor1 = " : "(sensor1 = ";
    std::string condition;
    for (const ns__SensorId& sensor : sensors)
        condition += (condition.empty() ? "" : " OR ") + (first + std::to_string(sensor.word1)) +
                     " AND sensor2 = " + std::to_string(sensor.word2) + ")";
    if (!condition.empty())
        builder.where("(" + condition + ")");
}

void ask_time(Builder& builder, const Filter& filter)
{
    builder.where("first_seen_us BETWEEN ? AND ?", to_microseconds(filter.from),
                  to_microseconds(filter.to));
}

// What stands beside each record, with and without traits.
void ask_origin(Builder& builder, const Filter& filter)
{
    ask_hours(builder, filter.hours);
    ask_sensors(builder, filter.sensors);
}

// Where a score is no number the column is NULL.
std::string score_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "person";
    case ns__ObjectClass__vehicle: return "vehicle";
    case ns__ObjectClass__object: return "object";
    default: return "max(0, coalesce(person, 0), coalesce(vehicle, 0), coalesce(object, 0))";
    }
}

// Searches compare as float, which rounds.
double shortest_of(const Filter& filter)
{
    return double{filter.min_duration} * (1 - 1e-6);
}

double longest_of(const Filter& filter)
{
    return double{*filter.max_duration} * (1 + 1e-6);
}

// An unknown duration may be any. The plus keeps the index of durations out: a query goes by time.
void ask_duration(Builder& builder, const Filter& filter)
{
    if (filter.min_duration > 0)
        builder.where("(+duration IS NULL OR +duration >= ?)", shortest_of(filter));
    if (filter.max_duration)
        builder.where("(+duration IS NULL OR +duration < ?)", longest_of(filter));
}

bool has(Preset_Set set, std::size_t index)
{
    return (set >> (index + 1) & 1) != 0;
}

// As a rule of a single colour, whose index can be used then.
std::string share_of(Preset_Set set)
{
    std::vector<std::string> colors;
    for (std::size_t k = 0; k < trait_colors.size(); ++k)
        if (has(set, k))
            colors.emplace_back(trait_colors[k]);
    if (colors.size() == 1)
        return colors[0];
    std::string sum = "0";
    for (const std::string& color : colors)
        sum += " + coalesce(" + color + ", 0)";
    return sum;
}

// A share reaches a number when, rounded up, it reaches the number rounded up. An object that has
// nothing of a colour does not have the colour.
std::int64_t least_share(const Filter& filter)
{
    constexpr float highest = 1e9F;
    return static_cast<std::int64_t>(
        std::ceil(filter.min_area > 1 ? std::min(filter.min_area, highest) : 1.0F));
}

void ask_colors(Builder& builder, const Filter& filter)
{
    const std::string least = std::to_string(least_share(filter));
    std::string condition;
    for (const Preset_Set set : filter.colors)
        condition += (condition.empty()         ? ""
                      : filter.wants_all_colors ? " AND "
                                                : " OR ") +
                     share_of(set) + " >= " + least;
    if (!condition.empty())
        builder.where("(" + condition + ")");
}

// A colour that everything has that is asked for and that has an index; null for none.
const char* indexed_color(const Filter& filter)
{
    const bool needs_first =
        !filter.colors.empty() && (filter.wants_all_colors || filter.colors.size() == 1);
    if (!needs_first || least_share(filter) < least_indexed_share)
        return nullptr;
    for (std::size_t k = 0; k < trait_colors.size(); ++k)
        if (filter.colors[0] == Preset_Set{1} << (k + 1))
            return trait_colors[k];
    return nullptr;
}

void ask_place(Builder& builder, const std::optional<Geom_Box2D<float>>& box)
{
    if (!box)
        return;
    const Place place = place_around(*box);
    builder.where("max_x >= ? AND min_x <= ? AND max_y >= ? AND min_y <= ?", place.min_x,
                  place.max_x, place.min_y, place.max_y);
}

// All but the time.
void ask_traits(Builder& builder, const Filter& filter, bool has_shares)
{
    ask_origin(builder, filter);
    if (filter.object_class != ns__ObjectClass__unknown || filter.min_score > 0)
        builder.where(score_of(filter.object_class) + " >= ?", double{filter.min_score});
    ask_duration(builder, filter);
    ask_place(builder, filter.place);
    if (has_shares)
        ask_colors(builder, filter);
}

constexpr const char* time_order = "first_seen_us, sensor1, sensor2, object_id";

std::string order_of(const Filter& filter)
{
    std::string time = time_order;
    switch (filter.order) {
    case Order::latest: return "first_seen_us DESC, sensor1 DESC, sensor2 DESC, object_id DESC";
    case Order::duration: return "+duration DESC, " + time;
    case Order::score: return score_of(filter.object_class) + " DESC, " + time;
    case Order::time: break;
    }
    return time;
}

} // namespace

std::int64_t to_microseconds(const ACE_Time_Value& time)
{
    const std::int64_t seconds = std::clamp<std::int64_t>(time.sec(), -last_second, last_second);
    return seconds * second + time.usec();
}

namespace {

Sql_Query select_traits(Builder& builder, const Filter& filter, bool has_shares)
{
    ask_time(builder, filter);
    ask_traits(builder, filter, has_shares);
    const char* const color = has_shares ? indexed_color(filter) : nullptr;
    std::string table = "trait"; // in time order
    if (color != nullptr) {
        table = std::string("trait INDEXED BY trait_") + color;
        builder.where(color + (" >= " + std::to_string(least_indexed_share))); // as the index
    } else if (filter.sensors.size() == 1) {
        table = "trait INDEXED BY trait_sensor";
    }
    return builder.select(table, order_of(filter));
}

} // namespace

Sql_Query query_of_traits(const Filter& filter, bool has_shares)
{
    Builder builder;
    return select_traits(builder, filter, has_shares);
}

Duration_Range durations_of(const Filter& filter) noexcept
{
    constexpr double end = 4294967296; // of 32 bits
    Duration_Range range{0, static_cast<std::int64_t>(end)};
    if (const double least = std::ceil(shortest_of(filter)); least > 0)
        range.least = static_cast<std::int64_t>(std::min(least, end));
    if (filter.max_duration && longest_of(filter) < end)
        range.below = static_cast<std::int64_t>(std::max(std::floor(longest_of(filter)), -1.0)) + 1;
    return range;
}

Sql_Query query_of_a_duration(const Filter& filter, bool has_shares)
{
    Builder traits;
    ask_traits(traits, filter, has_shares);
    Sql_Query query = traits.conditions();
    Builder time;
    ask_time(time, filter);
    const auto [times, bounds] = time.conditions();
    query.text = "SELECT sensor1, sensor2, object_id, first_seen_us, " + query.text +
                 " FROM trait INDEXED BY trait_duration WHERE " + times +
                 " AND duration IS ? ORDER BY " + time_order;
    query.values.insert(query.values.end(), bounds.begin(), bounds.end());
    return query;
}

Sql_Query query_of_shorter(const Filter& filter, bool has_shares, const Duration_Place& place)
{
    Builder builder;
    builder.where("(+duration IS NULL OR +duration < ? OR (+duration = ? AND "
                  "(first_seen_us, sensor1, sensor2, object_id) > (?, ?, ?, ?)))",
                  place.duration, place.duration, place.first_seen, place.sensor1, place.sensor2,
                  place.object_id);
    return select_traits(builder, filter, has_shares);
}

Sql_Query query_of_objects(const Filter& filter)
{
    Builder builder;
    ask_time(builder, filter);
    ask_origin(builder, filter);
    Filter in_time;
    in_time.order = filter.order == Order::latest ? Order::latest : Order::time;
    return builder.select("object", order_of(in_time));
}

} // namespace video_search
