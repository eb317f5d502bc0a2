#pragma once

/// \file
/// Numbers and times as texts for people; the same in every locale. Threads: no state.

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstdint>
#include <string>

namespace video_search {

/// With so many digits after the point: decimal(2.5, 2) is "2.50". What is not finite gives "-".
[[nodiscard]] std::string decimal(double value, int digits);

/// The same, but never more than the value: the largest number of so many digits that a search for
/// "at least this" finds the value with, compared as float. 19.96F is "19.9", 0.29F is "0.29".
[[nodiscard]] std::string reached(float value, int digits);

/// The fewest digits that give the same float again: "0.35", "20". What is not finite gives "-".
[[nodiscard]] std::string shortest(float value);

/// The time text to milliseconds, UTC: "2024/03/05 07:08:09.000".
[[nodiscard]] std::string time_text(const ACE_Time_Value& time);

/// The time of day to seconds, UTC: "07:08:09".
[[nodiscard]] std::string clock_text(const ACE_Time_Value& time);

/// "9 s", "3 min 20 s", "2 h 5 min".
[[nodiscard]] std::string duration_text(std::uint32_t seconds);

/// The two words: "3.1".
[[nodiscard]] std::string sensor_text(const ns__SensorId& sensor);

} // namespace video_search
