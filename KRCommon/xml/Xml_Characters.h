#pragma once

/// \file
/// What XML 1.0 tells characters apart by: which stand in names, in white space, in public
/// identifiers, and at which reading a value or a text pauses.
///
/// Threads: no state.

#include <array>
#include <cstddef>
#include <string_view>

namespace kr_internal {

/// Kinds of ASCII characters, one bit each, and of the bytes above.
namespace xml_kinds {

enum Kind : unsigned char {
    space = 1,
    name_start = 2,
    name_part = 4,
    not_ascii = 8,
    value_stop = 16,  // what an attribute's value cannot just go on with
    text_stop = 32,   // the same for character data
    public_part = 64, // of a public identifier
};

constexpr std::array<unsigned char, 256> make_kinds()
{
    std::array<unsigned char, 256> kinds{};
    const auto mark = [&kinds](std::string_view characters, int kind) {
        for (const char c : characters)
            kinds[static_cast<unsigned char>(c)] |= static_cast<unsigned char>(kind);
    };
    mark("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", name_start | name_part);
    mark("_:", name_start | name_part);
    mark("0123456789.-", name_part);
    mark(" \t\r\n", space);
    mark("\"'&<\t\r\n", value_stop);
    mark("<&]\r", text_stop);
    mark("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", public_part);
    mark(" \r\n-'()+,./:=?;!*#@$_%", public_part);
    for (std::size_t byte = 0x80; byte < kinds.size(); ++byte)
        kinds[byte] = not_ascii;
    return kinds;
}

inline constexpr std::array<unsigned char, 256> kinds = make_kinds();

constexpr bool is(char c, int kind) noexcept
{
    return (kinds[static_cast<unsigned char>(c)] & kind) != 0;
}

} // namespace xml_kinds

/// White space of XML 1.0 and of the types of its schemas: blank, tab, carriage return, line feed.
constexpr bool is_xml_space(char c) noexcept
{
    return xml_kinds::is(c, xml_kinds::space);
}

/// Where the name characters from `position` on end. The text is valid UTF-8.
const char* skip_name_parts(const char* position, const char* end) noexcept;

/// Where the name that begins at `position` ends; `position` itself if none does. The text is valid
/// UTF-8.
const char* skip_name(const char* position, const char* end) noexcept;

} // namespace kr_internal
