#pragma once

/// \file
/// The command line of kr_analyse. Threads: no state.

#include "Analyser.h"

#include <optional>
#include <ostream>
#include <string>

namespace video_search {

struct Command_Line {
    std::string store;      ///< file
    std::string logs;       ///< folder
    bool has_start = false; ///< else the start is the time of the file, see file_time()
    Analysis_Settings analysis;
};

/// Reads a command line. Nothing when it asks for help or version, which goes to `out`. Throws
/// Usage_Error (host/Program.h).
///
/// version  of the program, as text
[[nodiscard]] std::optional<Command_Line>
read_command_line(int argc, const char* const* argv, const std::string& version, std::ostream& out);

/// When a video starts that the command line says nothing of: when its file was last changed. The
/// epoch for a file whose time cannot be had or lies outside of 1970 to 2037.
[[nodiscard]] ACE_Time_Value file_time(const std::string& video);

} // namespace video_search
