#pragma once

/// \file
/// What the XML reader reports: an error code, the line, and the name of the element or attribute
/// at fault. docs/configuration.md explains each code to operators.

#include <cstddef>
#include <string>
#include <string_view>

namespace kr_internal {

/// The reader's error codes. Those marked (unused) belong to kinds of schemas and content that the
/// configuration file does not have, so no document can cause them.
enum class Xml_Code : int {
    no_error = 0,
    cannot_open_file = 1,
    all_cardinality = 2, ///< (unused)
    attribute_already_read = 3,
    anonymous_attributes = 4, ///< (unused)
    badly_formed = 5,
    encoding_not_supported = 6,
    inappropriate_choice = 7, ///< (unused)
    bad_comment = 8,
    bad_dtd = 9,
    bad_element_end = 10,
    bad_start_tag_end = 11,
    bad_end_tag = 12,
    bad_declaration = 13,
    unsupported_version = 14,
    encoding_mismatch = 15,
    element_not_found = 16,
    external_entity = 17,
    fraction_digits = 18, ///< (unused)
    too_long = 19,
    too_short = 20, ///< (unused)
    mandatory_element_missing = 21,
    no_pattern_matched = 22, ///< (unused)
    not_well_formed = 23,
    recursive_entity = 24,
    attributes_missing = 25, ///< (unused)
    too_many_elements = 26,
    total_digits = 27, ///< (unused)
    unreadable_attribute = 28,
    unreadable_element = 29,
    unknown_element_in_all = 30, ///< (unused)
    unknown_element = 31,
    unexpected_empty_element = 32, ///< (unused)
    unexpected_entity = 33,
    unexpected_end = 34,
    invalid_format = 35,
    above_maximum = 36,
    below_minimum = 37,
    not_in_enumeration = 38,
    unexpected_attribute = 39,
    nilled_element_not_empty = 40, ///< (unused)
};

/// The message of a code; empty for a number that is no code.
std::string_view message_of(Xml_Code code) noexcept;

/// One error, or none.
struct Xml_Error {
    Xml_Code code = Xml_Code::no_error;
    std::size_t line = 0;       ///< counted from 1; 0 before the first line is read
    std::string name;           ///< of the element or attribute at fault; may be empty
    std::string_view message{}; ///< a literal that stands in for the code's own; else empty
    std::size_t place = 0;      ///< what the line is that of, as an offset in Xml_Text::characters
    std::size_t stop = 0;       ///< how far reading had come

    explicit operator bool() const noexcept { return code != Xml_Code::no_error; }
};

/// "line:7-'color'-Value does not match enumerations", or "No Error".
std::string text_of(const Xml_Error& error);

} // namespace kr_internal
