#include "Coverage.h"

#include "Configuration_File.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>

namespace krtool {

namespace {

constexpr std::size_t row_size = 256;

// Colours near each other, to tell gaps apart.
std::size_t cell_of(const ns__HsvColor& color) noexcept
{
    const auto hue = static_cast<std::size_t>(std::max(color.hue, 0)) / 15;
    const auto saturation = static_cast<std::size_t>(color.saturation * 4.99F);
    const auto value = static_cast<std::size_t>(color.value * 4.99F);
    return (hue * 5 + saturation) * 5 + value;
}

ns__RgbColor rgb(std::uint8_t red, std::uint8_t green, std::size_t blue) noexcept
{
    ns__RgbColor color;
    color.red = red;
    color.green = green;
    color.blue = static_cast<std::uint8_t>(blue);
    return color;
}

struct Gap_Cell {
    std::size_t count = 0;
    ns__RgbColor example{};
};

float beyond(float number, float from, float to) noexcept
{
    return number < from ? number - from : number > to ? number - to : 0.0F;
}

// Degrees from a hue up to another.
int up_to(int from, int to) noexcept
{
    return ((to - from) % 360 + 360) % 360;
}

} // namespace

void for_all_colors(const KR_Colors& colors, const Color_Row& visit)
{
    std::array<std::uint8_t, row_size> reds;
    std::array<std::uint8_t, row_size> greens;
    std::array<std::uint8_t, row_size> blues;
    std::array<std::int32_t, row_size> hues;
    std::array<float, row_size> saturations;
    std::array<float, row_size> values;
    std::array<std::uint32_t, row_size> masks;
    for (std::size_t blue = 0; blue < row_size; ++blue)
        blues[blue] = static_cast<std::uint8_t>(blue);
    for (int red = 0; red < 256; ++red)
        for (int green = 0; green < 256; ++green) {
            reds.fill(static_cast<std::uint8_t>(red));
            greens.fill(static_cast<std::uint8_t>(green));
            colors.rgb_to_hsv_batch({reds.data(), greens.data(), blues.data()}, row_size,
                                    {hues.data(), saturations.data(), values.data()});
            colors.get_color_preset_masks({hues.data(), saturations.data(), values.data()},
                                          row_size, masks.data());
            visit(static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green), masks.data());
        }
}

Coverage coverage_of(const KR_Colors& colors)
{
    std::vector<std::size_t> counts(1U << 14);
    std::map<std::size_t, Gap_Cell> gaps;
    for_all_colors(colors, [&](std::uint8_t red, std::uint8_t green, const std::uint32_t* masks) {
        for (std::size_t blue = 0; blue < row_size; ++blue) {
            ++counts[masks[blue]];
            if (masks[blue] != 0)
                continue;
            const ns__RgbColor color = rgb(red, green, blue);
            ns__HsvColor hsv;
            colors.rgb_to_hsv(color, hsv);
            Gap_Cell& cell = gaps[cell_of(hsv)];
            ++cell.count;
            if ((cell.count & (cell.count - 1)) == 0) // not always one at the rim
                cell.example = color;
        }
    });

    const auto share = [](std::size_t count) {
        return static_cast<double>(count) / static_cast<double>(all_colors);
    };
    Coverage coverage;
    std::array<std::array<std::size_t, 14>, 14> shared{};
    for (std::size_t mask = 1; mask < counts.size(); ++mask) {
        if (counts[mask] == 0)
            continue;
        if ((mask & (mask - 1)) != 0)
            coverage.several += share(counts[mask]);
        for (std::size_t a = 0; a < 14; ++a)
            for (std::size_t b = a; b < 14; ++b)
                if ((mask >> a & mask >> b & 1U) != 0)
                    shared[a][b] += counts[mask];
    }
    coverage.unnamed = share(counts[0]);
    for (std::size_t a = 0; a < 14; ++a) {
        coverage.shares[a] = share(shared[a][a]);
        for (std::size_t b = a + 1; b < 14; ++b)
            if (shared[a][b] != 0)
                coverage.overlaps.push_back({static_cast<ns__ColorPreset>(a),
                                             static_cast<ns__ColorPreset>(b), share(shared[a][b])});
    }
    for (const auto& [cell, gap] : gaps)
        coverage.gaps.push_back({gap.example, share(gap.count)});
    const auto is_larger = [](const auto& a, const auto& b) { return a.share > b.share; };
    std::stable_sort(coverage.overlaps.begin(), coverage.overlaps.end(), is_larger);
    std::stable_sort(coverage.gaps.begin(), coverage.gaps.end(), is_larger);
    return coverage;
}

Range_Distance distance_of(const KR_Configured_Range& range, const ns__HsvColor& color) noexcept
{
    Range_Distance distance;
    const int hue = std::max(color.hue, 0) % 360;
    const int width = up_to(range.hue_from % 360, range.hue_to % 360);
    const int above = up_to(range.hue_from % 360, hue);
    if (width != 0 && above > width) { // a width of 0 is the full circle
        const int beyond_end = above - width;
        const int before_begin = 360 - above;
        distance.hue = beyond_end <= before_begin ? beyond_end : -before_begin;
    }
    distance.saturation = beyond(color.saturation, range.sat_from, range.sat_to);
    distance.value = beyond(color.value, range.val_from, range.val_to);
    distance.whole = std::hypot(distance.hue / 180.0, distance.saturation, distance.value);
    const bool holds_nothing = !(range.sat_from <= range.sat_to && range.val_from <= range.val_to);
    if (holds_nothing)
        distance.whole = std::numeric_limits<double>::infinity();
    return distance;
}

std::string distance_text(const Range_Distance& distance)
{
    std::string text;
    const auto add = [&text](const std::string& what) {
        text += (text.empty() ? "" : ", ") + what;
    };
    if (distance.hue != 0)
        add("hue " + std::to_string(std::abs(distance.hue)) +
            (std::abs(distance.hue) == 1 ? " degree" : " degrees") +
            (distance.hue < 0 ? " too low" : " too high"));
    const auto add_number = [&](const char* what, float number) {
        char digits[48];
        std::snprintf(digits, sizeof digits, "%s %.2g too %s", what,
                      static_cast<double>(std::fabs(number)), number < 0 ? "low" : "high");
        if (number != 0)
            add(digits);
    };
    add_number("saturation", distance.saturation);
    add_number("value", distance.value);
    return text;
}

const KR_Configured_Range* nearest_range(const std::vector<KR_Configured_Range>& ranges,
                                         const ns__HsvColor& color) noexcept
{
    const KR_Configured_Range* nearest = nullptr;
    double least = std::numeric_limits<double>::infinity();
    for (const KR_Configured_Range& range : ranges) {
        const double whole = distance_of(range, color).whole;
        if (whole < least) {
            least = whole;
            nearest = &range;
        }
    }
    return nearest;
}

} // namespace krtool
