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

/// The same without traits: in time order, or latest first when that is asked for.
[[nodiscard]] Sql_Query query_of_objects(const Filter& filter);

} // namespace video_search
