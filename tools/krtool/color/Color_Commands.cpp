#include "Color_Commands.h"

namespace krtool {

void add_color_commands(CLI::App&, Program&) {}

} // namespace krtool
