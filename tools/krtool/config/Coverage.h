#pragma once

/// \file
/// How the ranges of a file share out all colours of 8 bits a channel. Threads: one at a time.

#include <KRCommon/colors/Configuration_Check.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace krtool {

constexpr std::size_t all_colors = 256 * 256 * 256;

/// Goes through all colours, 256 at a time, which differ in blue alone, from 0 to 255. The masks have
/// bit n for preset n (0: a range without a colour name).
using Color_Row =
    std::function<void(std::uint8_t red, std::uint8_t green, const std::uint32_t* masks)>;
void for_all_colors(const KR_Colors& colors, const Color_Row& visit);

struct Color_Overlap {
    ns__ColorPreset first;
    ns__ColorPreset second;
    double share; ///< of all colours
};

/// Colours without a name that lie near each other.
struct Color_Gap {
    ns__RgbColor example;
    double share;
};

struct Coverage {
    double unnamed = 0.0; ///< share of all colours, 0 to 1
    double several = 0.0;
    std::array<double, 14> shares{};     ///< by preset
    std::vector<Color_Overlap> overlaps; ///< largest first
    std::vector<Color_Gap> gaps;         ///< largest first
};

Coverage coverage_of(const KR_Colors& colors);

/// What keeps a colour out of a range. All are 0 when it is inside.
struct Range_Distance {
    int hue = 0; ///< degrees to the nearer border; positive: the colour lies above the range
    float saturation = 0.0F; ///< positive: the colour lies above the range
    float value = 0.0F;
    double whole =
        0.0; ///< one number to compare: 180 degrees count as much as 1. NaN bounds: infinite
};
Range_Distance distance_of(const KR_Configured_Range& range, const ns__HsvColor& color) noexcept;

/// "saturation 0.04 too low, hue 3 degrees too high"; empty when it is inside.
std::string distance_text(const Range_Distance& distance);

/// The range that is nearest to a colour; null without ranges.
const KR_Configured_Range* nearest_range(const std::vector<KR_Configured_Range>& ranges,
                                         const ns__HsvColor& color) noexcept;

} // namespace krtool
