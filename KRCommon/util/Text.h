#pragma once

/// \file
/// Small text helpers: bytes as hexadecimal digits, splitting, lower case, and a test against a
/// list of prefixes. Texts are bytes; none of the functions knows an encoding or looks at the C
/// locale.
///
/// Threads: no state; all functions may run on any thread at once. They take no lock and do not
/// log.
/// Failure: none is reported but by kr_try_...(); where memory is needed, or a text would be longer than any can be,
/// std::bad_alloc may be thrown.
/// Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h, and that of kr_is_prefix_match().

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Two upper-case hexadecimal digits per byte, the high four bits first: 0x0A 0xFF gives "0AFF".
///
/// data    length bytes; only read. May be null when length is 0.
/// returns exactly 2 * length characters
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(unsigned char* data, unsigned length);

/// Bytes from hexadecimal text: two digits of either case for each, the high four bits first. Nothing
/// else may stand in the text; an empty one has no bytes.
///
/// out      is replaced by the bytes; may be what text views
/// returns  character (the first that is no digit) or cut (a digit lacks its second)
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_from_hex(std::string_view text,
                                                              std::string& out);

/// The same of a text that has exactly size bytes, two digits for each. Never throws.
///
/// out      size bytes; may be null when size is 0. Must not overlap text.
/// returns  character, cut (of fewer digits) or surplus (of more)
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_from_hex(std::string_view text,
                                                              unsigned char* out,
                                                              std::size_t size) noexcept;

/// Appends the pieces of text between the delimiters to out, which is not cleared. Empty pieces
/// count: "a,,b" gives "a", "" and "b"; an empty text gives one empty piece, a delimiter at the end
/// an empty last piece.
///
/// delimiter  compared whole and with regard to case. An empty one is a caller's mistake: text is
///            appended as one piece then.
/// text and delimiter may be elements of out.
KRCOMMON_EXPORT void kr_split(std::vector<std::string>& out, const std::string& text,
                              const std::string& delimiter);

/// Turns the bytes "A" to "Z" into "a" to "z" in place and leaves all others as they are, zeros and
/// the bytes above 127 included. Never throws.
KRCOMMON_EXPORT void to_lower(std::string& text) noexcept;

/// Whether text begins with one of the pieces of list.
///
/// separator  a regular expression (ECMAScript, the global locale's): the pieces are what stands
///            between its matches. What stands after the last match is a piece unless it is empty.
/// returns    true at the first piece that fits. Quirk: an empty piece (two separators in a row, or
///            one at the start) fits every text. An empty list has no pieces: false.
/// throws     std::regex_error when separator is no regular expression. That is the one exception
///            that callers must expect.
///
/// Separators without any of ^$\.*+?()[]{}| are looked for as they are, without the price of an
/// expression (some 20 times). Expressions take stack in proportion to the length of one match,
/// some 300 bytes per character: do not give one with a repetition, like ",+", to a list of unknown
/// origin. Lists of any length are fine with "[,;]" or ", *|; *" as long as each match is
/// short.
[[nodiscard]] KRCOMMON_EXPORT bool
kr_is_prefix_match(const std::string& list, const std::string& text, std::string separator);
