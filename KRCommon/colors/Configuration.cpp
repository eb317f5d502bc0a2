#include <KRCommon/colors/Configuration.h>

#include <array>

namespace KRCMN {

namespace {

// In the order of ns__ColorPreset, from 1.
constexpr std::array<std::string_view, 13> color_names{
    "white",      "black",  "gray",   "light_blue", "dark_blue", "brown", "light_green",
    "dark_green", "yellow", "orange", "red",        "pink",      "purple"};

} // namespace

ns__ColorPreset color_enumeration(std::string_view name) noexcept
{
    for (std::size_t i = 0; i < color_names.size(); ++i)
        if (color_names[i] == name)
            return static_cast<ns__ColorPreset>(i + 1);
    return static_cast<ns__ColorPreset>(0);
}

std::string_view color_name(ns__ColorPreset preset) noexcept
{
    const auto index = static_cast<std::size_t>(preset) - 1; // 0 becomes a huge number
    return index < color_names.size() ? color_names[index] : std::string_view();
}

using XML_presets = XML_configuration::XML_colors::XML_presets;
using XML_preset = XML_presets::XML_preset;

ns__ColorPreset XML_preset::get_color_enumeration() const noexcept
{
    return color_enumeration(get_color());
}

const std::string& XML_preset::text_of(const std::optional<std::string>& text) noexcept
{
    static const std::string empty;
    return text ? *text : empty;
}

XML_preset& XML_presets::get_preset(std::size_t index)
{
    while (presets_.size() <= index)
        presets_.emplace_back();
    return presets_[index];
}

} // namespace KRCMN
