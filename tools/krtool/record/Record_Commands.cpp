#include "Record_Commands.h"

namespace krtool {

void add_record_commands(CLI::App&, Program&) {}

} // namespace krtool
