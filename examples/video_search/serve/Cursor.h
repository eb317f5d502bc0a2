#pragma once

/// \file
/// Where a page of results ended, so that the next one begins behind it: the key of its last object.
/// Objects that arrive meanwhile move nothing: one that belongs before the cursor is not shown on
/// later pages, one that belongs behind it is. Threads: values.

#include "search/Criteria.h"
#include "search/Query.h"

#include <cstdint>
#include <string>

namespace video_search {

struct Cursor {
    std::int64_t first_seen = 0; ///< microseconds since 1970
    ns__SensorId sensor;
    std::uint64_t object_id = 0;
    std::uint32_t duration = 0; ///< seconds
    float score = 0.0F;
};

[[nodiscard]] Cursor cursor_of(const Hit& hit);
[[nodiscard]] Cursor cursor_of(const KR_Object_View& record, std::uint64_t object_id,
                               const Criteria& criteria);

/// Whether the first one comes behind the second in the order.
[[nodiscard]] bool is_behind(const Cursor& one, const Cursor& other, Order order);

/// A text for clients, of letters, digits, "-" and ".", that holds good for these criteria alone.
[[nodiscard]] std::string to_text(const Cursor& cursor, const Criteria& criteria);

/// Throws Api_Error for a text that is no cursor, or one of other criteria.
[[nodiscard]] Cursor parse_cursor(const std::string& text, const Criteria& criteria);

} // namespace video_search
