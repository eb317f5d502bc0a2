#pragma once

/// \file
/// A configuration file as the library reads it, and places in it. Threads: one at a time.

#include <KRCommon/colors/Configuration_Check.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace krtool {

struct Configuration_File {
    std::string name; ///< as a sentence names it
    std::string path; ///< as it was given
    KR_Configuration_Report report;

    /// The reader's text, "No Error" when the file is accepted.
    [[nodiscard]] std::string verdict() const;
};

/// Reads any file, or the standard input for "-". What the reader thinks of it is in the report.
/// Throws Failure when it cannot be read.
Configuration_File read_configuration_file(const std::string& path);

/// Reads a file that the reader accepts; throws Failure for others, with the reader's text.
Configuration_File read_accepted_configuration(const std::string& path);

/// A byte of a text as people count: both from 1, columns in characters.
struct Text_Place {
    std::size_t line = 1;
    std::size_t column = 1;
    std::size_t line_begin = 0; ///< offsets in the text
    std::size_t line_end = 0;   ///< without the line end
};

/// Lines end with LF, CR LF or CR. An offset beyond the text is its end.
Text_Place place_of(std::string_view text, std::size_t offset) noexcept;

/// One line for a terminal, and a second one with a mark under [begin, end) of it; both cut to what is
/// around the mark. What could disturb a terminal, and what is no UTF-8, becomes "?".
struct Marked_Line {
    std::string text;
    std::string mark;
};
Marked_Line marked_line(std::string_view text, std::size_t begin, std::size_t end);

/// The text with "?" for what could disturb a terminal and for what is no UTF-8.
std::string printable(std::string_view text);

// Short texts.

/// The number with the fewest decimals that is the same float: 0.461, not 0.4609999954700470.
double decimal(float number);

/// "#A52A2A".
std::string rgb_text(const ns__RgbColor& color);

/// "hue 342 to 11, saturation 0.601 to 1, value 0.401 to 1".
std::string bounds_text(const KR_Configured_Range& range);

/// The names of a set of presets, bit n for preset n: "red and brown", "no name".
std::string names_text(std::uint32_t presets);

/// The preset's name; "without a name" for 0.
std::string preset_text(ns__ColorPreset preset);

/// "12.3 %", with as many decimals as small shares need.
std::string percent_text(double share);

/// Writes a whole file. Throws Failure.
void write_file(const std::string& path, std::string_view content);

} // namespace krtool
