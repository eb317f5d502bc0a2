#pragma once

/// \file
/// Colours as people write them. Threads: no state.

#include <krsoap/krsoap.h>

#include <string>

namespace krtool {

struct Given_Color {
    std::string text; ///< as it was written
    ns__RgbColor rgb;
    ns__HsvColor hsv;
};

/// "#A52A2A", "A52A2A", "#ABC", "165,42,42" or "rgb:165,42,42"; "0,0.75,0.65" or "hsv:300,1,1". Three
/// numbers are a hue, a saturation and a value when one of them has a point or is below 0, or the
/// first is above 255; "hsv:" in front says so for whole ones. A hue of -1 is a grey.
/// Throws Failure for what is none of these, and for numbers out of range.
Given_Color read_color(const std::string& text);

} // namespace krtool
