#pragma once

/// \file
/// The lines of Base64 text that has line breaks: 76 characters, as long as RFC 2045 allows. A header
/// alone, on top of nothing.

#include <cstddef>

namespace kr_internal {

constexpr std::size_t base64_line_bytes = 57;
constexpr std::size_t base64_line_characters = 76;

} // namespace kr_internal
