#pragma once

/// \file
/// What the main() functions of the programs share: exit codes, how an error reaches the user, and
/// times on a command line. Threads: no state.

#include <ace/Time_Value.h>

#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace video_search {

enum Exit_Code {
    done = 0,
    failed = 1,
    wrong_usage = 2,
    interrupted = 130, ///< Ctrl-C, as a shell tells it
};

/// A command line that the program cannot follow. The text is one sentence for the user.
class Usage_Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Runs a program's work and gives its exit code. An exception becomes one line on stderr,
/// "<program>: <sentence>", and the exit code: wrong_usage for Usage_Error, failed for all others.
[[nodiscard]] int run_program(const std::string& program, const std::function<int()>& work);

/// Reads the command line into what the options of `app` are bound to. False when it asks for help
/// or version, which goes to `out`. Throws Usage_Error.
[[nodiscard]] bool parse(CLI::App& app, int argc, const char* const* argv, std::ostream& out);

/// Reads "YYYY/MM/DD hh:mm:ss" or "YYYY/MM/DD hh:mm:ss.uuuuuu", UTC, from 1970 to 3000. Nothing for
/// any other text and for times that no calendar has.
[[nodiscard]] std::optional<ACE_Time_Value> to_time(const std::string& text);

} // namespace video_search
