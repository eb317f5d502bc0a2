#pragma once

/// \file
/// Percent-encoding of parts of a URL, as the WHATWG URL standard has it: which characters each part
/// must not have as they are.
///
/// Threads: no state, any thread at any time.

#include <KRCommon/text/Digits.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kr_internal {

/// The standard's sets, section 1.3. Control characters and everything above "~" are in all of them.
enum class Percent_Set : std::uint8_t {
    control = 0x01,
    fragment = 0x02,
    query = 0x04,
    special_query = 0x08, ///< of http, https, ws, wss and ftp
    path = 0x10,
    userinfo = 0x20,
    component = 0x40,
};

/// Appends the text with the characters of the set as "%XX". A "%" is in the last set only.
void append_encoded(std::string& out, std::string_view text, Percent_Set set);

/// Appends the text with each "%XX" as its byte. A "%" without two digits stays.
void append_decoded(std::string& out, std::string_view text);

/// Whether "%" and two hexadecimal digits are at the text's begin.
constexpr bool begins_with_escape(std::string_view text) noexcept
{
    return text.size() >= 3 && text[0] == '%' && digit_value(text[1]) != no_digit &&
           digit_value(text[2]) != no_digit;
}

constexpr char escaped_byte(std::string_view text) noexcept
{
    return static_cast<char>(digit_value(text[1]) << 4 | digit_value(text[2]));
}

} // namespace kr_internal
