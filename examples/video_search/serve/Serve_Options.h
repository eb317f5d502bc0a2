#pragma once

/// \file
/// The command line of kr_serve. Threads: no state.

#include "Limits.h"

#include <optional>
#include <ostream>
#include <string>

namespace video_search {

struct Serve_Options {
    std::string store;
    std::string logs;                  ///< folder
    std::string address = "127.0.0.1"; ///< to listen on
    int port = 8080;                   ///< 0 for any free one
    std::string token_file;            ///< empty for none
    std::string recordings; ///< folder of the recordings; empty: where the store says that they are
    Limits limits;
};

/// Reads a command line. Nothing when it asks for help or version, which goes to `out`. Throws
/// Usage_Error (host/Program.h), also for an address beyond loopback without a token file.
///
/// version  of the program, as text
[[nodiscard]] std::optional<Serve_Options> parse_serve_options(int argc, const char* const* argv,
                                                               const std::string& version,
                                                               std::ostream& out);

} // namespace video_search
