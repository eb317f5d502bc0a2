#pragma once

/// \file
/// The query string of an address, read strictly. Threads: no state.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace video_search {

/// Names and values in their order.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// Whether it is valid UTF-8 without control characters.
[[nodiscard]] bool is_clean_text(std::string_view text) noexcept;

/// Reads "name=value&name=value": "+" is a blank, "%41" a byte; what has no "=" has an empty value, and
/// empty parts are passed over. Throws Api_Error for "%" without two digits, for texts that are not
/// clean, and for more parameters than `most`.
[[nodiscard]] Parameters parse_query(std::string_view text, std::size_t most);

} // namespace video_search
