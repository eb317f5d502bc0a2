#pragma once

/// \file
/// Writing a page so that there is never half of one. Threads: one at a time for each path.

#include <string>

namespace video_search {

/// Writes the text to "<path>.part" and renames that to the path. Failure when it cannot; a file
/// that was there before is then still there and "<path>.part" is removed.
void write_whole(const std::string& path, const std::string& text);

} // namespace video_search
