#pragma once

/// \file
/// The checked reader of Base64, for texts from outside, beside the lenient KR_Base64::decode().
///
///     std::string bytes;
///     if (const KR_Parse_Result result = kr_try_decode_base64(text, bytes); !result)
///         ...; // result.reason(), result.position
///
/// Threads: no state, safe from any thread at once. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <string>
#include <string_view>

/// Accepts what RFC 4648 section 4 encodes and nothing else: groups of four characters of the alphabet
/// "A-Za-z0-9+/", the last one filled up with "=" or "==". No line breaks or blanks; the bits that a
/// filled group leaves over are 0 (section 3.5), so that each sequence of bytes has one text.
///
/// out      is replaced by the bytes; may be what text views
/// returns  character (outside the alphabet, "=" where none may be, or with bits left over) or cut (the
///          last group has fewer than four characters)
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_decode_base64(std::string_view text,
                                                                   std::string& out);
