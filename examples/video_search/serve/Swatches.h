#pragma once

/// \file
/// A colour to show for each preset, and the presets that go together under one name.
/// Threads: no state.

#include <krsoap/krsoap.h>

#include <string>
#include <vector>

class KR_Colors;

namespace video_search {

struct Swatch {
    ns__ColorPreset preset = ns__ColorPreset__white;
    ns__RgbColor color;
};

/// For each preset, number 1 first: of the colours that the configuration gives to it the one nearest to
/// what its name says. Goes through some thousands of colours.
[[nodiscard]] std::vector<Swatch> swatches(const KR_Colors& colors);

struct Color_Group {
    std::string name;
    std::vector<ns__ColorPreset> presets;
};

/// "blue" and "green".
[[nodiscard]] std::vector<Color_Group> color_groups();

} // namespace video_search
