#include "Profile_Commands.h"

namespace krtool {

void add_profile_commands(CLI::App&, Program&) {}

} // namespace krtool
