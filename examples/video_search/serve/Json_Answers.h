#pragma once

/// \file
/// Answers as JSON (docs/serve.md). Times are ISO 8601, UTC, with microseconds; ids are texts, since they
/// have 64 bits. Threads: no state.

#include "Api_Error.h"
#include "Limits.h"
#include "Search_Api.h"
#include "Swatches.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace video_search {

[[nodiscard]] std::string json_of(const Api_Error& error);
[[nodiscard]] std::string json_of(const Hit_Page& page, std::size_t path_points,
                                  std::chrono::milliseconds duration);
[[nodiscard]] std::string json_of(const Density_Request& request, const Density& density);

/// A recording, and whether its frames can be shown.
struct Shown_Recording {
    Counted_Recording counted;
    std::string name; ///< of the file, without folders
    bool has_frames = false;
};
[[nodiscard]] std::string json_of(const std::vector<Shown_Recording>& recordings,
                                  const std::vector<std::string>& unanswered);

[[nodiscard]] std::string json_of_presets(const std::vector<Swatch>& swatches);

/// An object as it stands in a list, without the schema version.
[[nodiscard]] std::string json_of(const Hit& hit, std::size_t path_points);
/// With all its instances.
[[nodiscard]] std::string json_of(const Found_Object& found, bool has_frames);

/// Of so many points at most; the first and the last are among them.
[[nodiscard]] std::vector<ns__Geom_Point2D_Float>
thinned(const std::vector<ns__Geom_Point2D_Float>& path, std::size_t most);

/// The end of the object's time.
[[nodiscard]] ACE_Time_Value last_seen_of(const Hit& hit);

} // namespace video_search
