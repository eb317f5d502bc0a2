#pragma once

/// \file
/// The parts of the page as data for its template. Threads: no state.

#include "Page.h"

#include <kainjow/mustache.hpp>

#include <cstddef>
#include <string>

namespace video_search {

using Page_Data = kainjow::mustache::data;
using Page_List = kainjow::mustache::list;

/// A data URI of the picture; empty for what is no JPEG.
[[nodiscard]] std::string picture_uri(const Bytes& jpeg);

/// "#rrggbb".
[[nodiscard]] std::string css_color(const ns__RgbColor& color);

/// Text of the store as valid UTF-8.
[[nodiscard]] std::string stored_text(const std::string& text);

/// The panel of a recording with its time line. The bars link to cards by the place of the hit in
/// the result, 1 for the first.
[[nodiscard]] Page_Data recording_data(const Scene& scene, const Page& page);

/// The card of a hit, which is given by its index.
[[nodiscard]] Page_Data card_data(const Page& page, std::size_t index);

} // namespace video_search
