#pragma once

/// \file
/// The commands of "krtool log".

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_log_commands(CLI::App& app, Program& program);

} // namespace krtool
