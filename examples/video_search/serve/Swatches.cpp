#include "Swatches.h"

#include "search/Color_Names.h"

#include <KRCommon/colors/Colors.h>

#include <algorithm>
#include <array>
#include <limits>

namespace video_search {

namespace {

struct Rgb {
    int red, green, blue;
};

// What the names say, number 1 first.
constexpr std::array<Rgb, 13> ideals{Rgb{255, 255, 255}, Rgb{17, 17, 17},  Rgb{136, 136, 136},
                                     Rgb{119, 187, 238}, Rgb{34, 68, 153}, Rgb{119, 68, 34},
                                     Rgb{136, 221, 102}, Rgb{34, 102, 34}, Rgb{255, 221, 17},
                                     Rgb{255, 136, 17},  Rgb{221, 34, 34}, Rgb{255, 136, 187},
                                     Rgb{136, 51, 170}};

int distance(const Rgb& one, const Rgb& other)
{
    const auto square = [](int value) { return value * value; };
    return square(one.red - other.red) + square(one.green - other.green) +
           square(one.blue - other.blue);
}

ns__RgbColor color_of(const Rgb& rgb)
{
    ns__RgbColor color;
    color.red = static_cast<std::uint8_t>(rgb.red);
    color.green = static_cast<std::uint8_t>(rgb.green);
    color.blue = static_cast<std::uint8_t>(rgb.blue);
    return color;
}

std::vector<ns__ColorPreset> presets_of(const Rgb& rgb, const KR_Colors& colors)
{
    ns__HsvColor hsv;
    colors.rgb_to_hsv(color_of(rgb), hsv);
    std::vector<ns__ColorPreset> presets;
    colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
    return presets;
}

} // namespace

std::vector<Swatch> swatches(const KR_Colors& colors)
{
    std::array<int, ideals.size()> nearest{};
    nearest.fill(std::numeric_limits<int>::max());
    std::vector<Swatch> all;
    for (std::size_t k = 0; k < ideals.size(); ++k)
        all.push_back({static_cast<ns__ColorPreset>(k + 1), color_of(ideals[k])});
    constexpr int step = 17; // the ideals are multiples of it
    const auto look_at = [&](const Rgb& rgb) {
        for (const ns__ColorPreset preset : presets_of(rgb, colors)) {
            const auto index = static_cast<std::size_t>(preset) - 1;
            if (index >= ideals.size() || distance(rgb, ideals[index]) >= nearest[index])
                continue;
            nearest[index] = distance(rgb, ideals[index]);
            all[index].color = color_of(rgb);
        }
    };
    for (int red = 0; red < 256; red += step)
        for (int green = 0; green < 256; green += step)
            for (int blue = 0; blue < 256; blue += step)
                look_at({red, green, blue});
    return all;
}

std::vector<Color_Group> color_groups()
{
    std::vector<Color_Group> groups;
    for (const char* const name : {"blue", "green"}) {
        Color_Group group;
        group.name = name;
        const Preset_Set set = color_of_name(name).value_or(0);
        for (std::size_t number = 1; number <= ideals.size(); ++number)
            if (const auto preset = static_cast<ns__ColorPreset>(number);
                (set & set_of(preset)) != 0)
                group.presets.push_back(preset);
        groups.push_back(group);
    }
    return groups;
}

} // namespace video_search
