#pragma once

/// \file
/// A filter as SQL. For the store's own sources. Threads: values.

#include "Object_Source.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace video_search {

/// Microseconds since 1970; what no 64 bits can hold counts as their first or last second.
[[nodiscard]] std::int64_t to_microseconds(const ACE_Time_Value& time);

struct Sql_Query {
    std::string text;
    std::vector<std::variant<std::int64_t, double>> values; ///< of its parameters
};

/// Selects sensor1, sensor2, object_id of the objects whose traits may pass, in the filter's order.
/// has_shares  whether the shares are those of this process' classifier
[[nodiscard]] Sql_Query query_of_traits(const Filter& filter, bool has_shares);

/// Whole seconds, from the least on and below the other.
struct Duration_Range {
    std::int64_t least = 0;
    std::int64_t below = 0;
};

/// The known durations that may pass.
[[nodiscard]] Duration_Range durations_of(const Filter& filter) noexcept;

/// Selects, of the objects of one duration that were first seen in the time, sensor1, sensor2,
/// object_id, first_seen_us and whether their traits may pass, in time order. The duration is one
/// parameter more, behind the values; NULL for an unknown one. Needs the index of durations.
[[nodiscard]] Sql_Query query_of_a_duration(const Filter& filter, bool has_shares);

/// Of an object in the order by duration.
struct Duration_Place {
    std::int64_t duration = 0;
    std::int64_t first_seen = 0; ///< microseconds
    std::int64_t sensor1 = 0;
    std::int64_t sensor2 = 0;
    std::int64_t object_id = 0;
};

/// As query_of_traits() of a filter whose order is by duration, of the objects behind the place.
[[nodiscard]] Sql_Query query_of_shorter(const Filter& filter, bool has_shares,
                                         const Duration_Place& place);

/// The same without traits: in time order, or latest first when that is asked for.
[[nodiscard]] Sql_Query query_of_objects(const Filter& filter);

} // namespace video_search
