#pragma once

/// \file
/// What a search asks for. Threads: a value; one thread at a time.

#include "../store/Object_Source.h"
#include "Area.h"

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

/// What of a hit is filled beside what a line of a table shows; each has what the ones before it have.
enum class Detail {
    line, ///< nothing
    path, ///< the path
    all,  ///< the thumbnail, and debug instances in the window
};

struct Criteria {
    std::optional<ACE_Time_Value> from; ///< first seen at this time or later
    std::optional<ACE_Time_Value> to;   ///< first seen at this time or earlier

    std::optional<Hours> hours;        ///< of the day at which it was first seen
    std::vector<ns__SensorId> sensors; ///< one of these; any when empty

    /// unknown asks for no class.
    ns__ObjectClass object_class = ns__ObjectClass__unknown;
    /// 0.0-1.0, for the score of the class that is asked for, else for the best of the three.
    float min_score = 0.0F;

    std::vector<Preset_Set> colors; ///< any when empty
    bool wants_all_colors = false;  ///< all of these, else one of them
    /// Percent of the object that has the colour asked for, 0-100; of several, each of them.
    float min_area = 20.0F;

    float min_duration = 0.0F;         ///< seconds
    std::optional<float> max_duration; ///< seconds; equal to it is short enough

    std::optional<Area> area;

    int window = 8; ///< as in KR_ObjectBase::Fill; -1 is all instances
    Detail detail = Detail::all;

    Order order = Order::time;
    std::optional<std::size_t> limit; ///< of hits, taken in that order
    /// Whether to count all that match when the limit is reached, which takes as long as without one.
    bool counts_all = false;
};

/// The first and the last time to ask the store for: those of the criteria, else 1970 and 3000.
[[nodiscard]] ACE_Time_Value from_time(const Criteria& criteria);
[[nodiscard]] ACE_Time_Value to_time(const Criteria& criteria);

/// What a store can be asked for of these.
[[nodiscard]] Filter filter_of(const Criteria& criteria);

/// Whether a time of the day is in the hours, by its UTC.
[[nodiscard]] bool is_in(const ACE_Time_Value& time, const Hours& hours) noexcept;

/// The criteria in words, one phrase each: "persons", "red on 20 % or more", "3 s or longer".
/// Names a class in any case; leaves out what does not restrict.
[[nodiscard]] std::vector<std::string> in_words(const Criteria& criteria);

/// "person", "vehicle", "object" and, for any other number, "unknown".
[[nodiscard]] const char* name_of(ns__ObjectClass object_class);

} // namespace video_search
