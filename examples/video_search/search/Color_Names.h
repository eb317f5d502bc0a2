#pragma once

/// \file
/// The names of the colour presets, as in the library's configuration file, and of the colours that
/// have two: "blue" and "green" are their dark and light presets together. Threads: no state.

#include "../store/Object_Source.h"

#include <krsoap/krsoap.h>

#include <optional>
#include <string>
#include <string_view>

namespace video_search {

/// "light_blue". A number that is no preset gives "unknown".
[[nodiscard]] std::string color_name(ns__ColorPreset preset);

/// The same with blanks: "light blue".
[[nodiscard]] std::string readable_name(ns__ColorPreset preset);

/// "light blue", "blue"; of other sets the names of their presets, like "red/pink".
[[nodiscard]] std::string readable_name(Preset_Set set);

/// The colour of exactly this name.
[[nodiscard]] std::optional<Preset_Set> color_of_name(std::string_view name);

/// All names, the presets in the order of their numbers first, joined by ", ".
[[nodiscard]] std::string all_color_names();

} // namespace video_search
