#pragma once

/// \file
/// What KR_ObjectBase::test() and KR_Object_View::test() decide, for a record in either form.
/// Threads: no state. Never fails.

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

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

/// Thresholds are compared with '>', so that equality passes, and NaN too.
template <typename Scores>
[[nodiscard]] bool reaches_score(const Scores& scores, const Query& query) noexcept
{
    switch (query.object_class) {
    case 1: return !(query.min_score > scores[0]);
    case 2: return !(query.min_score > scores[1]);
    case 3: return !(query.min_score > scores[2]);
    default: return true;
    }
}

/// A field of the record is read when its turn comes: most records fail at their time.
template <typename Record>
[[nodiscard]] bool passes(const Record& record, const Query& query) noexcept
{
    const ACE_Time_Value& first_seen = record.first_seen_time();
    if (query.from > first_seen || first_seen > query.to)
        return false;
    if (record.detector_type() != query.detector)
        return false;
    if (query.min_duration > static_cast<float>(record.duration()))
        return false;
    return reaches_score(record.class_scores(), query);
}

} // namespace kr_internal
