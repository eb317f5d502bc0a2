#pragma once

/// \file
/// A log line's begin: "12:30:01.250000 T0042*ERR ". And times as lines and names of files tell
/// them. Pure functions.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace krtool {

/// Microseconds since 1970-01-01 00:00 of the clock that the lines show: a local time, of whatever zone.
using Local_Time = std::int64_t;

constexpr Local_Time one_second = 1'000'000;
constexpr Local_Time one_minute = 60 * one_second;
constexpr Local_Time one_hour = 60 * one_minute;
constexpr Local_Time one_day = 24 * one_hour;

/// Days since 1970-01-01 of a date; month and day count from 1.
[[nodiscard]] std::int64_t days_of_date(std::int64_t year, unsigned month, unsigned day) noexcept;

/// Whether the calendar has it.
[[nodiscard]] bool is_date(std::int64_t year, unsigned month, unsigned day) noexcept;

/// "2014-03-05"
[[nodiscard]] std::string date_text(Local_Time time);

/// "2014-03-05T12:30:01.250000", with this character in place of the T.
[[nodiscard]] std::string time_text(Local_Time time, char separator = 'T');

/// In ascending order of how bad it is.
enum class Level { unknown, debug, info, error, emergency };

/// "DBG", "INF", "ERR" or "EMR"; "" for unknown.
[[nodiscard]] const char* level_text(Level level) noexcept;

/// What a line must have at least to begin with a stamp and a thread.
constexpr std::size_t least_head = 18;

/// Eight characters as a number, the first one lowest, as the processor reads them.
constexpr std::uint64_t word_of(const char (&text)[9]) noexcept
{
    std::uint64_t word = 0;
    for (int i = 8; i-- > 0;)
        word = word << 8 | static_cast<unsigned char>(text[i]);
    return word;
}

/// What carries a digit beyond 9 over to the upper half of its byte, and anything beyond 0 elsewhere.
constexpr std::uint64_t excess_of(const char (&form)[9]) noexcept
{
    std::uint64_t word = 0;
    for (int i = 8; i-- > 0;)
        word = word << 8 | (form[i] == '0' ? 6 : 15);
    return word;
}

/// Eight characters of a form such as "00:00:00", in which a 0 stands for any digit. In the result byte i
/// has the two digits at i and i + 1 as a number; all bits for any other text.
template <std::uint64_t form, std::uint64_t excess>
std::uint64_t read_pairs(const char* text) noexcept
{
    std::uint64_t word = 0;
    std::memcpy(&word, text, 8);
    word ^= form;
    constexpr std::uint64_t high = 0xf0f0f0f0f0f0f0f0;
    if (((word | (word + excess)) & high) != 0)
        return UINT64_MAX;
    return word * 10 + (word >> 8);
}

/// Microseconds of the day that the line begins with; -1 for any other text. What makes a line is
/// the stamp, a blank, 'T' and a digit.
[[nodiscard]] inline std::int64_t stamp_of(const char* text, std::size_t size) noexcept
{
    if (size < least_head || text[16] != 'T' || text[17] < '0' || text[17] > '9')
        return -1;
    const std::uint64_t clock = read_pairs<word_of("00:00:00"), excess_of("00:00:00")>(text);
    const std::uint64_t rest = read_pairs<word_of(".000000 "), excess_of(".000000 ")>(text + 8);
    const auto pair = [](std::uint64_t pairs, int place) {
        return static_cast<std::int64_t>(pairs >> 8 * place & 0xff);
    };
    const std::int64_t hour = pair(clock, 0);
    const std::int64_t minute = pair(clock, 3);
    const std::int64_t second = pair(clock, 6);
    if (hour > 23 || minute > 59 || second > 60 || rest == UINT64_MAX) // 60: a leap second
        return -1;
    return ((hour * 60 + minute) * 60 + second) * one_second + pair(rest, 1) * 10'000 +
           pair(rest, 3) * 100 + pair(rest, 5);
}

struct Line_Head {
    std::int64_t stamp = 0; ///< microseconds of the day
    std::uint64_t thread = 0;
    Level level = Level::unknown; ///< unknown: the mark is none of the library's
    std::size_t message = 0;      ///< where the message begins
};

[[nodiscard]] std::optional<Line_Head> parse_head(std::string_view line) noexcept;

/// Without the line end, LF or CR LF.
[[nodiscard]] std::string_view without_end(std::string_view line) noexcept;

/// The number in " (319 held back)" at the message's end; 0 without one.
[[nodiscard]] std::uint64_t held_back_of(std::string_view message) noexcept;

/// The date in the line with which a process begins a file: "... KR_LOG_MANAGER: Log of host 'cam01',
/// program '/usr/bin/server', process 1234, 2014-03-05, UTC+01:00."; in days since 1970.
[[nodiscard]] std::optional<std::int64_t> date_of_header(std::string_view line) noexcept;

/// A log file's name: "server_2014_03_05_part_03.log", or the same with ".gz".
struct Part_Name {
    std::string prefix;
    std::int64_t date = 0; ///< days since 1970
    std::uint64_t part = 0;
    bool is_compressed = false;
};

[[nodiscard]] std::optional<Part_Name> parse_part_name(std::string_view file_name);

} // namespace krtool
