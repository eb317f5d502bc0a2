#pragma once

/// \file
/// A pull parser for XML 1.0 documents in memory: it checks that a document is well formed and
/// hands out its elements, attributes and character data one by one. What they mean, and whether
/// they may stand where they stand, is its caller's affair.
///
///     Xml_Parser parser(bytes);
///     for (auto event = parser.next(); event != Event::end_of_document; event = parser.next()) {
///         if (event == Event::error)
///             return parser.error();
///         ...
///     }
///
/// Encodings: UTF-8, UTF-16, ISO-8859-1, US-ASCII and ISO-10646-UCS-2, told by byte order mark,
/// declaration or both; everything is handed out as UTF-8.
/// Errors: the first one ends the reading. Which code means what in this parser:
///
///     badly_formed           other syntax errors in markup or text, characters that XML 1.0 does
///                            not allow, a replacement text that ends within something
///     encoding_not_supported, encoding_mismatch   see Xml_Text.h
///     bad_declaration, unsupported_version        of the XML declaration
///     bad_comment            "--" in a comment, "<!-" that begins none
///     bad_dtd                any syntax error in a DOCTYPE, and one that may not stand there
///     bad_start_tag_end      something else where an attribute or the end of a tag is due
///     bad_end_tag            the same in an end tag
///     bad_element_end        an end tag of another element, or across an entity's border
///     not_well_formed        something outside the root element, an XML declaration too late
///     unreadable_attribute   no "=", no quoted value, or "<" in the value
///     unexpected_entity      a reference to what is not declared, or to a parameter entity
///     recursive_entity       met when it is expanded
///     external_entity        a DOCTYPE or an entity declaration with SYSTEM or PUBLIC
///     too_long               a bound of xml_limits
///     unexpected_end         the document ends within something
///
/// An error's line is that of the character at which reading could not go on. What is missing shows
/// later, so these are told in another line:
///
///     in the line of the attribute's name     no "=", no quotes, "<" in the value, a value that is
///                                             too long; no white space after the value, which may
///                                             lack its quote
///     where the tag begins                    a tag that ends with another one's "<"; something
///                                             else in an end tag
///     where the comment begins                "<!--" in a comment
///     where it begins                         a tag, value, comment, instruction, CDATA section or
///                                             DOCTYPE that the document's end cuts off
///     where the innermost element begins      the end tag of an element further out; the innermost
///                                             element is the one that is named
///     that of the (outermost) reference       whatever stands in an entity's replacement
///
/// It names the entity at fault, else the attribute being read, else the element whose tag is being
/// read, else the innermost open element, else nothing; in the XML declaration "version",
/// "encoding" or "standalone". A name that is cut off or too long is not known yet.
///
/// Bounds: no external entity is ever read; depth, lengths, and what entities expand to are bounded
/// by the constants of Xml_Limits.h. The cost is linear in the size of the document, and no memory is taken
/// per element or attribute.
/// Not done: declared default values of attributes are not filled in, declared content models are
/// not checked, parameter entities are not expanded, and names are not taken apart at colons.
/// Threads: one at a time.

#include <KRCommon/xml/Xml_Error.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace kr_internal {

class Xml_Parser {
public:
    enum class Event {
        start_element,   ///< name(); its attributes come from next_attribute()
        end_element,     ///< name(); follows the start at once for <a/>
        text,            ///< text(); may come in several pieces
        end_of_document, ///< the document was well formed; comes again and again
        error,           ///< error(); comes again and again
    };

    struct Attribute {
        std::string_view name;
        std::string_view value; ///< references resolved, white space normalised to blanks
    };

    /// `document` is the file's bytes and must live as long as the parser.
    explicit Xml_Parser(std::string_view document);
    ~Xml_Parser();
    Xml_Parser(const Xml_Parser&) = delete;
    Xml_Parser& operator=(const Xml_Parser&) = delete;

    /// The next event. Attributes that were not asked for are read and checked before.
    Event next();

    /// After start_element: the next attribute, in document order. False when there is none left
    /// or on an error, which next() then reports. That no name comes twice is the caller's to
    /// check. The views are valid until the next call of next() or next_attribute().
    bool next_attribute(Attribute& attribute);

    /// The name of the element that starts or ends; valid until next().
    std::string_view name() const noexcept;

    /// Character data: references resolved, line ends as "\n". Valid until next().
    std::string_view text() const noexcept;

    /// The line of what was handed out last, counted from 1: where the tag, the attribute's name or
    /// the text begins. Inside an entity's replacement it is the line of the reference. Costs a
    /// walk over the document up to there: for error reports.
    std::size_t line() const noexcept;

    /// After text: the line of text()[offset]. Costs the same.
    std::size_t text_line(std::size_t offset) const noexcept;

    /// After start_element, not of the root: the line where the element around it begins. Costs the
    /// same.
    std::size_t parent_line() const noexcept;

    /// The same three places as offsets in Xml_Text::characters, and the line of such an offset.
    /// Asking for the offsets costs nothing.
    std::size_t position() const noexcept;
    std::size_t text_position(std::size_t offset) const noexcept;
    std::size_t parent_position() const noexcept;
    std::size_t line_at(std::size_t position) const noexcept;

    /// How far the document was read, as such an offset: behind the last attribute's value, behind
    /// the ">" of a tag.
    std::size_t cursor() const noexcept;

    /// What was wrong; no error before event error.
    const Xml_Error& error() const noexcept;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace kr_internal
