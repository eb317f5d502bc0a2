#pragma once

/// \file
/// Short texts, such as settings, turned into hexadecimal text that nobody reads in passing, and
/// back.
///
///     const std::string hex = encrypt_string("Pass-1");    // 32 hexadecimal digits
///     const std::string plain = decrypt_string(hex);       // "Pass-1"
///
/// Protects against casual reading: a file that is shown, printed, copied or sent. Does not protect
/// against anybody who has this library, for the key is in it and the same for all; and equal texts
/// give equal cipher texts, nor is a change noticed. What must stay secret needs another mechanism.
///
/// Made for texts of the letters A-Z and a-z, the digits, and ; - , = . _ only: all others are
/// encrypted but cut the text when it is decrypted.
///
/// AES-256 (FIPS 197) in cipher-block chaining, with one fixed key and initial chain for all texts.
/// Cipher texts last: every version of the library reads those of all others.
///
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
/// Threads: no state, safe from any thread at once. Failure: none is reported; only std::bad_alloc
/// may leave, where memory runs out or a result would be longer than any text can be: 256 Mi
/// characters are too many in a 32-bit process. Same on Windows and Linux.

#include <KRCommon/KRCommon_Export.h>

#include <string>

/// Returns the cipher text in upper-case hexadecimal digits: four for each character, rounded up to
/// a multiple of 32; the empty text for the empty text.
///
/// plain  bytes; each is encrypted as a unit of 16 bits, its low byte first and its high byte 0,
///        with zeros after the last unit up to the end of its block of eight
KRCOMMON_EXPORT std::string encrypt_string(const std::string& plain);

/// Returns the plain text: the characters up to the first that is not allowed (see above), a zero
/// of the padding as a rule.
///
/// hex  digits in either case. Every two make a byte; an odd last one is ignored. A pair with a
///      character that is no digit gives the value of the digit before that, or 0 without one. A
///      last block that is not complete is filled up with zeros. So any text decrypts to something,
///      often to the empty text.
///
/// Quirk: a text whose end is not found comes back without its last character. That is every text
/// of 8, 16, 24, ... characters, which fill their blocks without padding. Stored cipher texts and
/// their readers rely on it.
KRCOMMON_EXPORT std::string decrypt_string(const std::string& hex);
