#include "../Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace krtool {

bool is_terminal(std::FILE* stream) noexcept
{
    // A console takes colours once it is told to read them.
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void make_binary(std::FILE* stream) noexcept
{
    _setmode(_fileno(stream), _O_BINARY);
}

} // namespace krtool
