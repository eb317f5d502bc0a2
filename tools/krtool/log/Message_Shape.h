#pragma once

/// \file
/// Messages that differ in their numbers alone, counted together. Threads: one at a time.

#include "Log_Line.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace krtool {

/// The message with placeholders: <guid>, <address> for 0x and hexadecimal digits, <text> for what stands
/// in quotes, <hex> for eight and more hexadecimal digits that have both letters and figures, <n> for numbers.
/// Of its first line, cut to 300 bytes, and without " (17 held back)".
[[nodiscard]] std::string shape_of(std::string_view message);

class Shape_Counts {
public:
    struct Count {
        std::string shape;
        Level level = Level::unknown;
        std::uint64_t lines = 0;
        std::uint64_t held_back = 0; ///< lines that these stand for besides
        Local_Time first = 0;
        Local_Time last = 0;
        std::string example; ///< the first message
    };

    /// So many shapes are told apart; what comes then is counted as one, "(other shapes)".
    static constexpr std::size_t limit = 100'000;

    void add(Level level, std::string_view message, Local_Time time);

    /// The most frequent first.
    [[nodiscard]] std::vector<Count> result() const;

private:
    std::map<std::pair<std::string, Level>, Count> counts_;
};

} // namespace krtool
