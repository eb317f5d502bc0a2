#include "Log_Commands.h"

namespace krtool {

void add_log_commands(CLI::App&, Program&) {}

} // namespace krtool
