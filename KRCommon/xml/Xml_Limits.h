#pragma once

/// \file
/// The bounds of what the XML reader takes.

#include <cstddef>

namespace kr_internal {

namespace xml_limits {
constexpr std::size_t depth = 64;               ///< open elements
constexpr std::size_t name_length = 1'024;      ///< bytes of any name
constexpr std::size_t value_length = 65'536;    ///< bytes of an attribute's value
constexpr std::size_t dtd_length = 65'536;      ///< bytes of the internal DTD subset
constexpr std::size_t entities = 64;            ///< declared general entities, each name once
constexpr std::size_t entity_depth = 8;         ///< entities open within each other
constexpr std::size_t expanded_length = 65'536; ///< bytes all declared entities expand to
} // namespace xml_limits

} // namespace kr_internal
