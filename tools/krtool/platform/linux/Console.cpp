#include "../Console.h"

#include <unistd.h>

namespace krtool {

bool is_terminal(std::FILE* stream) noexcept
{
    return isatty(fileno(stream)) != 0;
}

void make_binary(std::FILE*) noexcept {}

} // namespace krtool
