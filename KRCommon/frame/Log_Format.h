#pragma once

/// \file
/// The texts of a log line: arguments made harmless, stamp and thread number. Pure functions, for
/// any thread.

#include <ace/Log_Msg.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kr_internal {

/// True for a text that can stand in a line as it is: no control characters (codes below 32, and
/// 127), and at most `room` characters.
bool is_harmless(std::string_view text, std::size_t room) noexcept;

/// The text with each control character as a visible escape: \n, \r, \t, else \x and two
/// hexadecimal digits. A result of more than `room` characters is cut there and ends in "...";
/// a UTF-8 character at the cut goes as a whole. Backslashes stay single: paths stay readable.
/// REQUIRES: room >= 3.
std::string escape(std::string_view text, std::size_t room);

/// Room for any format that kr_log() takes, with texts in place of the directives.
using Format_Buffer = std::array<char, ACE_MAXLOGMSGLEN>;

/// The format with the stamp in place of its first "%T", unless the stamp is empty, and with the
/// number, in at least four digits, in place of its first "%04t", which ACE prints without zeros on
/// Linux. The result is in `buffer`, or is the format itself when it has neither.
const char* with_stamp(const char* format, const char* stamp, unsigned thread,
                       Format_Buffer& buffer) noexcept;

/// The format with " (17 held back)" before the line feeds at its end, or itself when there are none.
const char* with_held_back(const char* format, std::uint64_t held_back,
                           Format_Buffer& buffer) noexcept;

} // namespace kr_internal
