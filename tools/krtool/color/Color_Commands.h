#pragma once

/// \file
/// The commands of "krtool color".

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_color_commands(CLI::App& app, Program& program);

} // namespace krtool
