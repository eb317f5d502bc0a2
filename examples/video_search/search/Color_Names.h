#pragma once

/// \file
/// The names of the colour presets, as in the library's configuration file. Threads: no state.

#include <krsoap/krsoap.h>

#include <optional>
#include <string>
#include <string_view>

namespace video_search {

/// "light_blue". A number that is no preset gives "unknown".
[[nodiscard]] std::string color_name(ns__ColorPreset preset);

/// The same with blanks: "light blue".
[[nodiscard]] std::string readable_name(ns__ColorPreset preset);

/// The preset of exactly this name.
[[nodiscard]] std::optional<ns__ColorPreset> color_of_name(std::string_view name);

/// All names in the order of their numbers, joined by ", ".
[[nodiscard]] std::string all_color_names();

} // namespace video_search
