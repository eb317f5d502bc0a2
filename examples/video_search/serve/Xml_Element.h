#pragma once

/// \file
/// Small XML documents from outside as a tree, and text for XML. Threads: no state.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace video_search {

struct Xml_Element {
    std::string space; ///< its namespace
    std::string name;  ///< without a prefix
    std::string text;  ///< UTF-8: all character data directly in it
    std::vector<Xml_Element> children;
    bool must_be_understood = false; ///< has mustUnderstand="1" or "true"
};

/// Reads a whole document with namespaces, in UTF-8, UTF-16, ISO-8859-1 or US-ASCII. Throws Api_Error for
/// what is not well formed, has a DOCTYPE or goes deeper than `depth` or beyond so many elements.
[[nodiscard]] Xml_Element parse_xml(std::string_view document, std::size_t depth,
                                    std::size_t elements);

/// Text that is UTF-8 for an element or an attribute; U+FFFD for what XML does not allow.
[[nodiscard]] std::string xml_text(std::string_view text);

/// <name>content</name> of content that is XML.
[[nodiscard]] std::string xml_element(std::string_view name, std::string_view content);

} // namespace video_search
