#pragma once

/// \file
/// Conversion between wide text and text in a code page.
///
/// Both functions stop at the first zero of the text, and the result holds none. They replace what
/// cannot be converted instead of reporting it. A text of more than 2^31-1 units (bytes or wide
/// characters), and one that the system refuses, gives the empty text.
///
/// Threads: no state, any thread at any time. Throws nothing but std::bad_alloc; does not log.

#include <string>

namespace kr_platform {

enum class Code_Page {
    ansi, ///< Windows: the system's ANSI code page. Linux: UTF-8
    utf8
};

/// Wide text is UTF-16 on Windows. On Linux it is UTF-32, but two surrogates that make a pair are
/// read as the one character that they stand for.
///
/// To UTF-8, a surrogate without its other half becomes EF BF BD (U+FFFD), and so does, on Linux, a
/// number above 0x10FFFF. To ANSI on Windows, the nearest character or "?" stands for what the code
/// page lacks ("??" for a pair).
[[nodiscard]] std::string narrow(const std::wstring& text, Code_Page code_page);

/// From UTF-8 to UTF-16 on Windows and UTF-32 on Linux. Bytes that are no UTF-8 become U+FFFD.
///
/// Linux does so as Windows does: one U+FFFD for a byte that cannot begin a character (80 to C1, F5
/// to FF), and one for a begin (C2 to F4) with as many continuation bytes as follow and fit. The
/// first of these is taken even where it makes the form too long, a surrogate or more than
/// 0x10FFFF: E0 80 80 gives two U+FFFD.
[[nodiscard]] std::wstring widen(const std::string& text, Code_Page code_page);

} // namespace kr_platform
