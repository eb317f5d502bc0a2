#pragma once

/// \file
/// Text between wide characters, UTF-8 and the ANSI code page.
///
///     kr_to_utf8(L"25 \u20AC");           // "25 \xE2\x82\xAC"
///     utf8_to_widechar("25 \xE2\x82\xAC") // L"25 \u20AC"
///
/// All four stop at the first zero of the text; the result holds none. Nothing is reported: what
/// cannot be converted is replaced, and a text that the system refuses or that has more than 2^31-1
/// units (bytes or wide characters) gives the empty text.
///
/// Windows: wide text is UTF-16, and the ANSI code page is the system's (1252, 1251, ...).
/// Linux: wide text is UTF-32, though a pair of surrogates is read as the one character that it
/// stands for; the ANSI code page is UTF-8, so kr_to_multibyte() is kr_to_utf8() and
/// kr_to_widechar() is utf8_to_widechar().
///
/// Threads: no state; all functions may run on any thread at once. They take no lock, do not log.
/// Failure: std::bad_alloc may be thrown, nothing else.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>

#include <string>

/// Wide text in the ANSI code page. Windows: for a character that the code page lacks comes the one
/// that the system thinks nearest, or "?" ("??" for a pair of surrogates), so the way back may give
/// another text.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_multibyte(const std::wstring& text);

/// Wide text in UTF-8, without byte order mark. A surrogate without its other half becomes U+FFFD
/// (EF BF BD) and, on Linux, so does a number above 0x10FFFF; the text is always valid UTF-8.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_utf8(const std::wstring& text);

/// Text in the ANSI code page as wide text.
[[nodiscard]] KRCOMMON_EXPORT std::wstring kr_to_widechar(const std::string& text);

/// Text in UTF-8 as wide text; a byte order mark is kept. Bytes that are no UTF-8 (overlong forms,
/// surrogates, cut characters, numbers above 0x10FFFF) become U+FFFD, one or more.
[[nodiscard]] KRCOMMON_EXPORT std::wstring utf8_to_widechar(const std::string& text);
