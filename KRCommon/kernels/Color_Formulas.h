#pragma once

/// \file
/// The two conversions between RGB and HSV, of one colour; KR_Colors says what they are. All forms
/// give the same bits as these.
///
/// Threads: no state. Never throws.

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>

namespace kr_internal {

// 80-bit intermediate results would change some hues by one degree.
static_assert(FLT_EVAL_METHOD == 0, "float arithmetic must be single precision");

/// A colour as a number: red is bits 0-7, green 8-15, blue 16-23.
constexpr std::uint32_t rgb_number(std::uint8_t red, std::uint8_t green, std::uint8_t blue) noexcept
{
    return static_cast<std::uint32_t>(red) | static_cast<std::uint32_t>(green) << 8 |
           static_cast<std::uint32_t>(blue) << 16;
}

constexpr std::array<float, 256> make_color_fractions()
{
    std::array<float, 256> fractions{};
    for (std::size_t i = 0; i < fractions.size(); ++i)
        fractions[i] = static_cast<float>(i) / 255.0F;
    return fractions;
}

inline constexpr std::array<float, 256> color_fractions = make_color_fractions(); // i / 255

// Without branches on the colour, which a processor could not predict.
inline void rgb_to_hsv(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::int32_t& hue,
                       float& saturation, float& value) noexcept
{
    const std::uint8_t max_byte = std::max({red, green, blue});
    const std::uint8_t min_byte = std::min({red, green, blue});
    const float max = color_fractions[max_byte];
    value = max;
    if (max_byte == min_byte) {
        hue = -1;
        saturation = 0.0F;
        return;
    }
    const float delta = max - color_fractions[min_byte];
    saturation = delta / max;

    // Which component is the largest: 0 red, 1 green, 2 blue. Quirk: of equal ones the first.
    const bool not_red = red != max_byte;
    const bool not_green = green != max_byte;
    const std::size_t largest =
        static_cast<std::size_t>(not_red) + static_cast<std::size_t>(not_red & not_green);
    static constexpr float sector_starts[] = {0.0F, 2.0F, 4.0F};
    const float components[] = {color_fractions[red], color_fractions[green], color_fractions[blue],
                                color_fractions[red], color_fractions[green]};
    const float sector =
        (components[largest + 1] - components[largest + 2]) / delta + sector_starts[largest];
    const float degrees = sector * 60.0F;
    hue = static_cast<std::int32_t>(degrees + (degrees < 0.0F ? 360.0F : 0.0F));
}

// Quirk: not limited to 0-255; the low 8 bits are kept. What is no 32-bit number counts as -2^31,
// as the processor's conversion has it, and gives 0.
inline std::uint8_t component_byte(float component) noexcept
{
    const double scaled = static_cast<double>(component) * 255.0;
    if (!(scaled > -2147483649.0 && scaled < 2147483648.0))
        return 0;
    return static_cast<std::uint8_t>(static_cast<std::int32_t>(scaled));
}

// Which of value, p, q and t (0 to 3) become red, green and blue. Quirk: 6 and more (hue 360 and above)
// and negative numbers choose as 5 does.
struct Color_Choice {
    std::uint8_t red, green, blue;
};

inline constexpr std::array<Color_Choice, 6> color_choices{
    {{0, 3, 1}, {2, 0, 1}, {1, 0, 3}, {1, 2, 0}, {3, 1, 0}, {0, 1, 2}}};

inline void hsv_to_rgb(std::int32_t hue, float saturation, float value, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue) noexcept
{
    if (saturation == 0.0F || hue == -1) {
        red = green = blue = component_byte(value);
        return;
    }
    const float h6 = static_cast<float>(hue) / 360.0F * 6.0F;
    const auto truncated = static_cast<std::int32_t>(h6); // any hue / 60 fits
    const std::int32_t i =
        truncated - static_cast<std::int32_t>(h6 < static_cast<float>(truncated));
    const float f = h6 - static_cast<float>(i);
    const float p = (1.0F - saturation) * value;
    const float q = (1.0F - f * saturation) * value;
    const float t = (1.0F - (1.0F - f) * saturation) * value;

    const Color_Choice choice =
        color_choices[std::min<std::uint32_t>(static_cast<std::uint32_t>(i), 5)];
    const std::uint8_t bytes[] = {component_byte(value), component_byte(p), component_byte(q),
                                  component_byte(t)};
    red = bytes[choice.red];
    green = bytes[choice.green];
    blue = bytes[choice.blue];
}

} // namespace kr_internal
