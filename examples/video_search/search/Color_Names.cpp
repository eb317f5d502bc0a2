#include "Color_Names.h"

#include <algorithm>
#include <array>

namespace video_search {

namespace {

constexpr std::array<std::string_view, 13> names{
    "white",      "black",  "gray",   "light_blue", "dark_blue", "brown",  "light_green",
    "dark_green", "yellow", "orange", "red",        "pink",      "purple",
}; // number 1 first

} // namespace

std::string color_name(ns__ColorPreset preset)
{
    const auto index = static_cast<std::size_t>(preset) - 1; // 0 and less become huge
    return std::string(index < names.size() ? names[index] : "unknown");
}

std::string readable_name(ns__ColorPreset preset)
{
    std::string name = color_name(preset);
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

std::optional<ns__ColorPreset> color_of_name(std::string_view name)
{
    const auto* const found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        return std::nullopt;
    return static_cast<ns__ColorPreset>(found - names.begin() + 1);
}

std::string all_color_names()
{
    std::string all;
    for (const std::string_view name : names)
        all += (all.empty() ? "" : ", ") + std::string(name);
    return all;
}

} // namespace video_search
