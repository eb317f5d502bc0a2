#pragma once

/// \file
/// What was written to ask for something, before its meaning is checked. Threads: no state.

#include "Criteria.h"

#include <optional>
#include <string>
#include <vector>

namespace video_search {

/// Texts as kr_search takes them behind its options of these names, numbers read already.
struct Criteria_Texts {
    std::optional<std::string> from;
    std::optional<std::string> to;
    std::optional<std::string> object_class;
    std::optional<std::string> hours;
    std::vector<std::string> sensors;
    std::vector<std::string> colors;
    std::optional<std::string> which_colors;
    std::optional<std::string> stood_in;
    std::optional<std::string> crossed;
    std::string order = "time";
    std::optional<float> min_score;
    std::optional<float> min_area;
    std::optional<float> min_duration;
    std::optional<float> max_duration;
    std::optional<int> window;
    std::optional<int> limit;
    bool counts_all = false;
};

/// Throws Usage_Error (host/Program.h) with the option's name first: "--min-area: needs a --color".
[[nodiscard]] Criteria criteria_of(const Criteria_Texts& texts);

/// "3.1", or "3" for the second word 1. Throws Usage_Error as above.
[[nodiscard]] ns__SensorId sensor_of_text(const std::string& text);

} // namespace video_search
