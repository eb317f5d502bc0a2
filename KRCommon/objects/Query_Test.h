#pragma once

/// \file
/// What KR_ObjectBase::test() and KR_Object_View::test() decide, for a record in either form.
/// Threads: no state. Never fails.

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstdint>

namespace kr_internal {

/// A query as test() takes it.
struct Query {
    const ACE_Time_Value& from;
    const ACE_Time_Value& to;
    ns__DetectorType detector;
    ns__ObjectClass object_class;
    float min_score;
    float min_duration;
};

/// Whether a time is in the window, both ends included, as ACE_Time_Value compares times: in normal
/// form or not. On which side of the window a record lies is what a processor cannot predict, so
/// that one branch decides of the seconds; with more that has to wait for the record's bytes the
/// processor would run ahead to fewer records. Hence inline too, whatever the compiler thinks of it.
template <typename Record>
[[nodiscard]] [[gnu::always_inline]] inline bool is_in_window(const Record& record,
                                                              const Query& query) noexcept
{
    const std::int64_t from = query.from.sec();
    const std::int64_t to = query.to.sec();
    if (from > to)
        return false;
    const std::int64_t seconds = record.first_seen_seconds();
    const auto after = [=](std::int64_t time) { // `from`, as numbers without a sign, which wrap
        return static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(from);
    };
    if (after(seconds) > after(to))
        return false;
    const std::int64_t microseconds = record.first_seen_microseconds();
    return !(seconds == from && query.from.usec() > microseconds) &&
           !(seconds == to && microseconds > query.to.usec());
}

/// Thresholds are compared with '>', so that equality passes, and NaN too.
template <typename Record>
[[nodiscard]] bool reaches_score(const Record& record, const Query& query) noexcept
{
    switch (query.object_class) {
    case 1: return !(query.min_score > record.class_score(0));
    case 2: return !(query.min_score > record.class_score(1));
    case 3: return !(query.min_score > record.class_score(2));
    default: return true;
    }
}

/// A field of the record is read when its turn comes: most records fail at their time.
template <typename Record>
[[nodiscard]] [[gnu::always_inline]] inline bool passes(const Record& record,
                                                        const Query& query) noexcept
{
    if (!is_in_window(record, query))
        return false;
    if (record.detector_type() != query.detector)
        return false;
    if (query.min_duration > static_cast<float>(record.duration()))
        return false;
    return reaches_score(record, query);
}

} // namespace kr_internal
