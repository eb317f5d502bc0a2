#pragma once

/// \file
/// The commands of "krtool record".

namespace CLI {
class App;
}

namespace krtool {

class Program;

void add_record_commands(CLI::App& app, Program& program);

} // namespace krtool
