#pragma once

/// \file
/// The commands of "krtool log".

#include "Line_Filter.h"
#include "Log_View.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_log_commands(CLI::App& app, Program& program);

/// What "krtool log" is asked.
struct Log_Call {
    std::vector<std::string> files; ///< files and folders
    Line_Conditions conditions;
    View_Options view;
    bool is_following = false;

    /// Between two looks at files that grow; false ends the following.
    std::function<bool()> pause;
};

/// Does it; the exit code. Throws Failure.
[[nodiscard]] int show_log(const Log_Call& call, Output& output);

} // namespace krtool
