#pragma once

/// \file
/// Which lines are wanted. Threads: one at a time.

#include "Log_Line.h"
#include "Part_Reader.h"

#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace krtool {

/// Every condition that is given must hold.
struct Line_Conditions {
    Level level = Level::unknown;       ///< at least as bad; unknown: any line
    std::vector<std::uint64_t> threads; ///< one of them; empty: any
    std::optional<Local_Time> since;    ///< not before
    std::optional<Local_Time> until;    ///< before it
    std::vector<std::string> texts; ///< each of them within the line, or a line that continues it
    std::string regex;              ///< ECMAScript, likewise; empty: any
    bool ignores_case = false;      ///< of texts and regex, for ASCII letters
};

class Line_Filter {
public:
    /// Throws Failure for a regular expression that is none.
    explicit Line_Filter(Line_Conditions conditions);

    /// Whether there is any condition.
    [[nodiscard]] bool is_needed() const noexcept { return is_needed_; }

    [[nodiscard]] bool accepts(const Log_Record& record, const Line_Head* head) const;

private:
    [[nodiscard]] bool has_text(std::string_view line, const std::string& text) const;
    [[nodiscard]] bool matches(std::string_view record) const;

    Line_Conditions conditions_;
    std::regex regex_;
    bool is_needed_;
};

} // namespace krtool
