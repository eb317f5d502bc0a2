#pragma once

/// \file
/// The commands of "krtool profile".

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_profile_commands(CLI::App& app, Program& program);

} // namespace krtool
