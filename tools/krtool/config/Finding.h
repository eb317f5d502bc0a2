#pragma once

/// \file
/// What is said about a configuration file, and where. docs/krtool_config.md lists the codes.

#include <cstddef>
#include <string>

namespace krtool {

enum class Level {
    error,   ///< the library refuses the file, or a range cannot do what it is for
    warning, ///< likely a mistake
    note,    ///< a figure to know
};

struct Finding {
    std::string code; ///< stays the same from version to version: "refused-38", "from-above-to"
    Level level = Level::error;
    std::string message;    ///< a sentence for an operator
    bool has_place = false; ///< false for what concerns the file as a whole
    std::size_t begin = 0;  ///< offsets in the report's text
    std::size_t end = 0;
    std::string reader_text{};   ///< of a "refused" one: the library's own text
    std::size_t reader_line = 0; ///< the line in that
};

} // namespace krtool
