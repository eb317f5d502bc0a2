#pragma once

/// \file
/// The commands of "krtool config".

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_config_commands(CLI::App& app, Program& program);

} // namespace krtool
