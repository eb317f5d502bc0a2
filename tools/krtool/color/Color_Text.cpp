#include "Color_Text.h"

#include "../host/Program.h"

#include <KRCommon/colors/Colors.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

namespace krtool {

namespace {

using Numbers = std::array<double, 3>;

[[noreturn]] void refuse(const std::string& text, const std::string& why)
{
    throw Failure("'" + text + "' is no colour: " + why);
}

bool is_hex(std::string_view text)
{
    return !text.empty() &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::optional<Numbers> read_numbers(std::string_view text)
{
    Numbers numbers{};
    const char* position = text.data();
    const char* const end = text.data() + text.size();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i != 0 && (position == end || *position++ != ','))
            return std::nullopt;
        while (position != end && *position == ' ')
            ++position;
        const auto [stop, error] = std::from_chars(position, end, numbers[i]);
        if (error != std::errc() || !std::isfinite(numbers[i]))
            return std::nullopt;
        position = stop;
    }
    return position == end ? std::optional<Numbers>(numbers) : std::nullopt;
}

ns__RgbColor read_hex(std::string_view digits)
{
    std::string all;
    for (const char digit : digits)
        all.append(digits.size() == 3 ? 2 : 1, digit);
    std::uint32_t number = 0;
    std::from_chars(all.data(), all.data() + all.size(), number, 16);
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(number >> 16);
    color.green = static_cast<std::uint8_t>(number >> 8);
    color.blue = static_cast<std::uint8_t>(number);
    return color;
}

ns__RgbColor rgb_of(const Numbers& numbers, const std::string& text)
{
    for (const double number : numbers)
        if (number < 0 || number > 255 || number != std::floor(number))
            refuse(text, "red, green and blue are whole numbers from 0 to 255");
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(numbers[0]);
    color.green = static_cast<std::uint8_t>(numbers[1]);
    color.blue = static_cast<std::uint8_t>(numbers[2]);
    return color;
}

ns__HsvColor hsv_of(const Numbers& numbers, const std::string& text)
{
    const auto [hue, saturation, value] = numbers;
    if (hue != std::floor(hue) || hue < -1 || hue > 359)
        refuse(text, "the hue is a whole number from 0 to 359, or -1 for greys");
    if (saturation < 0 || saturation > 1 || value < 0 || value > 1)
        refuse(text, "saturation and value are numbers from 0 to 1");
    ns__HsvColor color;
    color.hue = static_cast<std::int32_t>(hue);
    color.saturation = static_cast<float>(saturation);
    color.value = static_cast<float>(value);
    return color;
}

bool looks_like_hsv(const Numbers& numbers, std::string_view text)
{
    return text.find('.') != std::string_view::npos || text.find('-') != std::string_view::npos ||
           (numbers[0] > 255 && numbers[1] <= 1 && numbers[2] <= 1);
}

} // namespace

Given_Color read_color(const std::string& text)
{
    const KR_Colors& colors = *KR_Colors::instance();
    Given_Color color{text, {}, {}};
    const bool is_rgb = text.rfind("rgb:", 0) == 0;
    const bool is_hsv = text.rfind("hsv:", 0) == 0;
    const std::string_view rest = std::string_view(text).substr(is_rgb || is_hsv ? 4 : 0);
    const std::string_view digits = rest.substr(!rest.empty() && rest[0] == '#' ? 1 : 0);
    const bool has_mark = digits.size() != rest.size();
    if (!is_hsv && is_hex(digits) && (digits.size() == 6 || (has_mark && digits.size() == 3))) {
        color.rgb = read_hex(digits);
        colors.rgb_to_hsv(color.rgb, color.hsv);
        return color;
    }
    const std::optional<Numbers> numbers = read_numbers(rest);
    if (!numbers)
        refuse(text, "write #A52A2A, three numbers R,G,B from 0 to 255, or hsv:H,S,V");
    if (is_hsv || (!is_rgb && looks_like_hsv(*numbers, rest))) {
        color.hsv = hsv_of(*numbers, text);
        colors.hsv_to_rgb(color.hsv, color.rgb);
    } else {
        color.rgb = rgb_of(*numbers, text);
        colors.rgb_to_hsv(color.rgb, color.hsv);
    }
    return color;
}

} // namespace krtool
