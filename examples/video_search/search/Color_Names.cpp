#include "Color_Names.h"

#include <algorithm>
#include <array>

namespace video_search {

namespace {

constexpr std::array<std::string_view, 13> names{
    "white",      "black",  "gray",   "light_blue", "dark_blue", "brown",  "light_green",
    "dark_green", "yellow", "orange", "red",        "pink",      "purple",
}; // number 1 first

struct Named_Set {
    std::string_view name;
    Preset_Set set;
};

constexpr std::array sets{
    Named_Set{"blue", set_of(ns__ColorPreset__light_blue) | set_of(ns__ColorPreset__dark_blue)},
    Named_Set{"green", set_of(ns__ColorPreset__light_green) | set_of(ns__ColorPreset__dark_green)},
};

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

std::string readable_name(Preset_Set set)
{
    for (const Named_Set& each : sets)
        if (each.set == set)
            return std::string(each.name);
    std::string text;
    for (unsigned number = 1; number <= names.size(); ++number) {
        const auto preset = static_cast<ns__ColorPreset>(number);
        if ((set & set_of(preset)) != 0)
            text += (text.empty() ? "" : "/") + readable_name(preset);
    }
    return text.empty() ? "no colour" : text;
}

std::optional<Preset_Set> color_of_name(std::string_view name)
{
    for (const Named_Set& each : sets)
        if (each.name == name)
            return each.set;
    const auto* const found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        return std::nullopt;
    return set_of(static_cast<ns__ColorPreset>(found - names.begin() + 1));
}

std::string all_color_names()
{
    std::string all;
    for (const std::string_view name : names)
        all += (all.empty() ? "" : ", ") + std::string(name);
    for (const Named_Set& each : sets)
        all += ", " + std::string(each.name);
    return all;
}

} // namespace video_search
