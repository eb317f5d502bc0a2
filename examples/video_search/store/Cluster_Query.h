#pragma once

/// \file
/// A filter as SQL for the servers of a cluster. For the store's own sources. Threads: values.

#include "Cluster_Tables.h"
#include "Object_Source.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace video_search {

/// Where an object stands in the order of a filter, and where its record is found.
struct Object_Place {
    std::int64_t first_seen = 0; ///< microseconds
    std::int32_t sensor1 = 0;
    std::int32_t sensor2 = 0;
    std::uint64_t object_id = 0;
    std::int64_t duration = 0; ///< for Order::duration; no_duration for none
    float score = 0;           ///< for Order::score; may be NaN
};

[[nodiscard]] bool operator==(const Object_Place& one, const Object_Place& other) noexcept;

/// Whether one comes before the other; a score that is no number comes last.
[[nodiscard]] bool is_before(const Object_Place& one, const Object_Place& other,
                             Order order) noexcept;

/// Selects the places of objects that may pass, in the filter's order: first_seen_us, sensor1, sensor2,
/// object_id, duration, score.
///
/// range  of first_seen_us; the filter's own times are not asked
/// after  those behind it alone; null for all
[[nodiscard]] std::string query_of_places(const std::string& database, const Filter& filter,
                                          const Time_Range& range, const Object_Place* after,
                                          std::size_t most);

/// Selects first_seen_us, sensor1, sensor2, object_id, run, record of these, of which there is one at
/// least, in any order.
[[nodiscard]] std::string query_of_records(const std::string& database,
                                           const std::vector<Object_Place>& places);

} // namespace video_search
