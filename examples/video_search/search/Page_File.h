#pragma once

/// \file
/// Writing a file so that there is never half of one. Threads: one at a time for each path.

#include <string>

namespace video_search {

/// Writes the text to "<path>.part" and renames that to the path. Failure when it cannot; a file
/// that was there before is then still there and "<path>.part" is removed.
/// what  it is, for the sentence of the failure: "page"
void write_whole(const char* what, const std::string& path, const std::string& text);

} // namespace video_search
