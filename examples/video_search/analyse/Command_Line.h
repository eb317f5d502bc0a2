#pragma once

/// \file
/// The command line of kr_analyse. Threads: no state.

#include "Worker.h"

#include <ace/Time_Value.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace video_search {

/// One of what is to be analysed.
struct Input {
    std::string name;                    ///< path of a recording, or address of a camera
    std::optional<ACE_Time_Value> start; ///< time of a recording's first picture, when it is said
    Analysis_Settings settings;
};

struct Command_Line {
    std::vector<Input> inputs;       ///< at least one
    std::string store;               ///< file
    std::string logs;                ///< folder
    std::chrono::milliseconds stall; ///< a camera silent for so long is connected anew
};

/// Whether a name is an address, like "rtsp://camera/stream", and no path. What is a file is none.
[[nodiscard]] bool is_address(const std::string& name);

/// Reads a command line. Nothing when it asks for help or version, which goes to `out`. Throws
/// Usage_Error (host/Program.h).
///
/// version  of the program, as text
[[nodiscard]] std::optional<Command_Line>
read_command_line(int argc, const char* const* argv, const std::string& version, std::ostream& out);

} // namespace video_search
