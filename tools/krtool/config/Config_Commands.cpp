#include "Config_Commands.h"

namespace krtool {

void add_config_commands(CLI::App&, Program&) {}

} // namespace krtool
