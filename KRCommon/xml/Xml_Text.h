#pragma once

/// \file
/// The first step of reading an XML document: its bytes become characters in UTF-8. The encoding is
/// told by byte order mark, by the pattern of the first bytes and by the XML declaration, which is
/// read here for that reason.
///
///     first bytes                 read as
///     EF BB BF                    UTF-8
///     FE FF, 00 3C 00 xx          UTF-16 or ISO-10646-UCS-2, big-endian
///     FF FE, 3C 00 xx 00          the same, little-endian
///     00 00 FE FF, FF FE 00 00,   UCS-4, which is not supported
///     00 00 00 3C, 3C 00 00 00
///     others                      UTF-8, US-ASCII or ISO-8859-1 as declared; UTF-8 by default
///
/// Threads: all functions may be called at once from any thread.

#include <KRCommon/text/Unicode.h>
#include <KRCommon/xml/Xml_Error.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace kr_internal {

struct Xml_Text {
    /// What is wrong with the XML declaration.
    struct Fault {
        Xml_Code code = Xml_Code::no_error;
        std::size_t position = 0; ///< in `characters`
        std::string_view name{};  ///< "version", "encoding", "standalone" or empty
    };

    /// The document without its byte order mark, up to the first byte that cannot be used: valid
    /// UTF-8, and only characters that XML 1.0 allows. After a fault in the declaration nothing
    /// after the fault has been checked.
    std::string_view characters;

    /// What it means that `characters` ends: unexpected_end is the document's own end,
    /// encoding_mismatch a byte that is not of the encoding, badly_formed a character that XML 1.0
    /// does not allow, encoding_not_supported UCS-4 (`characters` is empty then).
    Xml_Code end_code = Xml_Code::unexpected_end;

    /// How much of `characters` is the XML declaration; 0 if there is none.
    std::size_t declaration_size = 0;

    /// bad_declaration, unsupported_version, unexpected_end or end_code when the declaration is cut
    /// off, encoding_not_supported for a name that is not known, encoding_mismatch for an encoding
    /// that the bytes contradict.
    Fault fault;

    /// Holds `characters` when they could not stay in place.
    std::unique_ptr<char[]> copy;
};

/// Reads a whole document. UTF-8, US-ASCII, and ISO-8859-1 that uses ASCII alone, stay in place:
/// `document` must live as long as the result. Everything else is copied, to at most twice its
/// size. Throws std::bad_alloc only.
Xml_Text read_xml_text(std::string_view document);

/// A number that stands for all that are no characters.
constexpr char32_t beyond_unicode = last_character + 1;

/// Whether XML 1.0 allows the character in a document.
constexpr bool is_xml_character(char32_t character) noexcept
{
    if (character < 0x20)
        return character == '\t' || character == '\n' || character == '\r';
    return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
           (character > 0xFFFF && character <= 0x10FFFF);
}

} // namespace kr_internal
