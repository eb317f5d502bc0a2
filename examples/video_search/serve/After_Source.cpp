#include "After_Source.h"

#include <algorithm>

namespace video_search {

After_Source::After_Source(Object_Source& source, const Criteria& criteria, const Cursor& cursor,
                           const std::function<bool()>& is_stopped)
    : source_(source), criteria_(criteria), cursor_(cursor), is_stopped_(is_stopped)
{
}

namespace {

ACE_Time_Value time_of(const Cursor& cursor)
{
    constexpr std::int64_t second = 1'000'000;
    return ACE_Time_Value(static_cast<time_t>(cursor.first_seen / second),
                          static_cast<suseconds_t>(cursor.first_seen % second));
}

// What certainly lies before the cursor is not even asked for.
Filter narrowed(Filter filter, const Cursor& cursor)
{
    if (filter.order == Order::time)
        filter.from = std::max(filter.from, time_of(cursor));
    if (filter.order == Order::latest)
        filter.to = std::min(filter.to, time_of(cursor));
    if (filter.order == Order::duration) {
        const auto duration = static_cast<float>(cursor.duration);
        filter.max_duration = std::min(filter.max_duration.value_or(duration), duration);
    }
    return filter;
}

} // namespace

void After_Source::visit(const Filter& filter, const Visitor& visitor)
{
    source_.visit(narrowed(filter, cursor_), [&](const Found_Record& found) {
        const Cursor place = cursor_of(found.record, found.object_id, criteria_);
        if (is_behind(place, cursor_, criteria_.order))
            return visitor(found);
        return !is_stopped_();
    });
}

std::size_t After_Source::count(const ACE_Time_Value& from, const ACE_Time_Value& to)
{
    return source_.count(from, to);
}

} // namespace video_search
