#pragma once

/// \file
/// The files of the web page, which are part of the program. Threads: all functions may be called
/// from any at once; what they return lives until the process ends.

#include <string_view>
#include <vector>

namespace video_search {

struct Asset {
    std::string_view path;  ///< of the address: "/" is index.html, the others "/assets/app.css"
    std::string_view bytes; ///< as they are to be sent
    std::string_view content_type; ///< with the character set of texts
    std::string_view etag;         ///< strong, with its quotation marks; changes with the bytes
};

/// All of them, "/" first.
[[nodiscard]] const std::vector<Asset>& assets();

/// The one of exactly this path; null for any other. "/index.html" is none.
[[nodiscard]] const Asset* find_asset(std::string_view path);

} // namespace video_search
