#pragma once

/// \file
/// The hits as one self-contained HTML page: pictures are in it, nothing is loaded from elsewhere
/// and no script is needed. Texts from outside (names of videos, the title) are escaped.
/// Threads: no state.

#include "Query.h"

#include <string>
#include <vector>

namespace video_search {

/// A recording with the pictures of its time line.
struct Scene {
    Recording recording;
    std::vector<Picture> pictures;
};

struct Page {
    std::string title; ///< ANSI code page; empty for the usual one
    std::string run;   ///< GUID of the search
    Criteria criteria;
    Result result;
    std::vector<Scene> scenes; ///< in the order in which they are to be shown
};

/// The page in UTF-8. Pictures that are no JPEG are left out.
[[nodiscard]] std::string html_of(const Page& page);

} // namespace video_search
