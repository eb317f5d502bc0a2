#pragma once

/// \file
/// The command line of kr_search. Threads: no state.

#include "Criteria.h"

#include <optional>
#include <ostream>
#include <string>

namespace video_search {

struct Options {
    std::string store;
    std::string logs;       ///< folder
    std::string html;       ///< page to write; empty for none
    std::string csv;        ///< file to write (Export.h); empty for none
    std::string json;       ///< file to write (Export.h); empty for none
    bool is_strict = false; ///< whether a search that is not whole fails
    std::string title;      ///< of the page; empty for the usual one
    Criteria criteria;
};

/// Reads a command line. Nothing when it asks for help or version, which goes to `out`. Throws
/// Usage_Error (host/Program.h).
///
/// version  of the program, as text
[[nodiscard]] std::optional<Options> parse_options(int argc, const char* const* argv,
                                                   const std::string& version, std::ostream& out);

} // namespace video_search
