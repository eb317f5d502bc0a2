#pragma once

/// \file
/// The lenient Base64 codec KR_Base64.

#include <KRCommon/KRCommon_Export.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>

/// Base64 as in RFC 4648 section 4: bytes into text with "=" padding, and text back into bytes.
///
///     std::string text;
///     KR_Base64::encode("Ma", text, false);    // "TWE="
///     std::string bytes;
///     KR_Base64::decode(text, bytes);          // "Ma"
///
/// Decoding takes any text and is lenient:
/// - It goes by groups of four characters. Carriage returns and line feeds are skipped before a
///   group, and only there.
/// - A character outside the alphabet counts as "A", that is 0: also a blank, a line feed inside a
///   group, a character with a code above 127, and "=" in the first or second place of a group.
/// - "=" in the third or fourth place of a group leaves out that place's byte and ends nothing:
///   decoding goes on with the next group.
/// - A last group with fewer than four characters counts as filled up with "=", so that "TWE"
///   decodes like "TWE=" and "T" like "TA==".
///
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
/// Threads: no state, safe from any thread at once. Failure: none is reported; where memory runs
/// out, or a text would be longer than any can be, std::bad_alloc leaves and out is valid, with
/// unspecified content. Same on Windows and Linux.
class KRCOMMON_EXPORT KR_Base64 {
public:
    /// The 64 characters of the alphabet, by value, and a terminating zero.
    static const char* const bstr;

    /// The values 0-63 by character code 0-127; 0 for every character outside the alphabet.
    static const std::array<signed char, 128> rstr;

    /// Copied and moved as a whole, member by member.
    /// @{
    KR_Base64() = default;
    KR_Base64(const KR_Base64&) = default;
    KR_Base64& operator=(const KR_Base64&) = default;
    /// @}

    /// Encodes what is left of a file, from its position to its end; a read error counts as the
    /// end. The file stays open. A null file gives the empty text.
    ///
    /// Takes no more memory than the text, 4/3 of what is left of a file on disk. What tells no
    /// size, such as a pipe, may take three times as much.
    ///
    /// input        Windows: open it in binary mode, or the runtime changes the bytes it hands
    ///              out; and with the C runtime that the library uses.
    /// out          is replaced by the text
    /// line_breaks  one line feed, without carriage return, after every 76 characters but not at
    ///              the end of the text
    static void encode(std::FILE* input, std::string& out, bool line_breaks);

    /// Encodes the bytes of a string, zeros included. input and out may be the same object.
    static void encode(const std::string& input, std::string& out, bool line_breaks);

    /// Encodes length bytes. Null counts as no bytes, whatever the length. The bytes may be out's
    /// own.
    static void encode(const char* data, unsigned length, std::string& out, bool line_breaks);
    /// The same of unsigned bytes.
    static void encode(unsigned char* data, unsigned length, std::string& out, bool line_breaks);

    /// Replaces out by the bytes of the text. text and out may be the same object.
    static void decode(const std::string& text, std::string& out);

    /// Writes the bytes of the text at out[0], out[1], ... and nothing after them; no terminator.
    ///
    /// out     Null: the bytes are counted only. Otherwise it must have room for all of them,
    ///         which is not checked. (text.size() + 3) / 4 * 3 bytes are enough for any text,
    ///         counting gives the exact number. decode_length() is enough only for a text whose
    ///         length is a multiple of 4: of 17 characters it says 0, and 13 bytes are written.
    /// length  is replaced by the number of bytes (its low 32 bits)
    static void decode(const std::string& text, unsigned char* out, unsigned& length);

    /// The same into a buffer that may be too small.
    ///
    /// out       capacity bytes; may be null, which counts as no room
    /// length    is replaced by the number of bytes of the text, whether they fit or not
    /// returns   true when they fit: they were written, and nothing behind them. False when they do
    ///           not: nothing was written.
    ///
    /// Reads the text twice. Never throws.
    [[nodiscard]] static bool decode(const std::string& text, unsigned char* out,
                                     std::size_t capacity, std::size_t& length);

    /// How many bytes a text without line breaks decodes to (the low 32 bits of that number).
    ///
    /// Quirk: looks at the length and the last two characters only. Line breaks are counted like
    /// other characters, and a text whose length is not a multiple of 4 gives 0, though it does
    /// decode to something. So it is no size for a buffer unless the length is such a multiple;
    /// then it is never too small.
    static unsigned decode_length(const std::string& text);
};
