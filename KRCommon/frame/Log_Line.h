#pragma once

/// \file
/// The whole text of a line, without ACE. Pure functions, for any thread.

#include <KRCommon/frame/Log.h>

#include <cstdarg>
#include <cstddef>

namespace kr_internal {

/// What a line tells besides its arguments.
struct Line_Facts {
    const char* stamp; ///< of local_stamp()
    unsigned thread;   ///< number of the thread
    KR_Log_Site site;
    int error; ///< the system's error number
};

/// Writes what ACE prints for the same format and arguments, byte for byte, and a zero, and tells how
/// many characters that is. 0: it is ACE's affair, and `out` may be changed. That are "%p", "%m", "%M",
/// "%n", "%P", "%R", "%D", "%L..." and "%c" of zero, "%T" with a width or a second time, "%t" other than
/// one "%04t", a line that is longer than the room, and one without a stamp.
std::size_t format_as_ace(char* out, std::size_t room, const char* format, const Line_Facts& facts,
                          std::va_list arguments) noexcept;

/// The same for lines that ACE never gets: every directive of kr_log() is written, those of the list
/// above in simpler words ("error 13"), and a line that is too long is cut and keeps its line feed.
/// REQUIRES: room >= 8.
std::size_t format_plainly(char* out, std::size_t room, const char* format, const Line_Facts& facts,
                           std::va_list arguments) noexcept;

/// Whether lines are formatted here and handed to ACE's sinks as finished records, as far as they can be.
void set_fast_lines(bool are_fast) noexcept;

} // namespace kr_internal
