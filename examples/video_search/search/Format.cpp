#include "Format.h"

#include <KRCommon/util/Time_Text.h>

#include <array>
#include <charconv>
#include <cmath>

namespace video_search {

std::string decimal(double value, int digits)
{
    if (!std::isfinite(value))
        return "-";
    std::array<char, 512> text{}; // the largest double has 309 digits
    char* const end = text.data() + text.size();
    const auto result = std::to_chars(text.data(), end, value, std::chars_format::fixed, digits);
    return {text.data(), result.ptr};
}

std::string reached(float value, int digits)
{
    if (!std::isfinite(value))
        return "-";
    const double scale = std::pow(10.0, digits);
    const double below = std::floor(double{value} * scale);
    // The float that is nearest to a decimal number may lie below it.
    const bool is_next_reached = static_cast<float>((below + 1) / scale) <= value;
    return decimal((is_next_reached ? below + 1 : below) / scale, digits);
}

std::string shortest(float value)
{
    if (!std::isfinite(value))
        return "-";
    std::array<char, 64> text{};
    char* const end = text.data() + text.size();
    const auto result = std::to_chars(text.data(), end, value, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string time_text(const ACE_Time_Value& time)
{
    std::string text = kr_to_string(time);
    text.resize(text.size() - 3);
    return text;
}

std::string clock_text(const ACE_Time_Value& time)
{
    const std::string text = kr_to_string(time); // ends in "hh:mm:ss.uuuuuu"
    return text.substr(text.size() - 15, 8);
}

std::string duration_text(std::uint32_t seconds)
{
    const std::uint32_t minutes = seconds / 60;
    if (minutes == 0)
        return std::to_string(seconds) + " s";
    if (minutes < 60)
        return std::to_string(minutes) + " min " + std::to_string(seconds % 60) + " s";
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

std::string sensor_text(const ns__SensorId& sensor)
{
    return std::to_string(sensor.word1) + "." + std::to_string(sensor.word2);
}

} // namespace video_search
