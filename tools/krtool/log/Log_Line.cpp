#include "Log_Line.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace krtool {

namespace {

bool is_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

template <typename Number>
bool read_number(std::string_view text, Number& out) noexcept
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), out);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

constexpr std::array<const char*, 5> level_texts{"", "DBG", "INF", "ERR", "EMR"};

Level level_of(std::string_view mark) noexcept
{
    if (mark == " DBG")
        return Level::debug;
    if (mark == " INF")
        return Level::info;
    if (mark == "*ERR")
        return Level::error;
    if (mark == "*EMR")
        return Level::emergency;
    return Level::unknown;
}

unsigned days_of_month(std::int64_t year, unsigned month) noexcept
{
    if (month == 2)
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool takes_back(std::string_view& text, std::string_view end) noexcept
{
    if (text.size() < end.size() || text.substr(text.size() - end.size()) != end)
        return false;
    text.remove_suffix(end.size());
    return true;
}

// The number behind the last '_' or whatever stands before it; empty when there is none.
std::string_view take_back_number(std::string_view& text, char separator) noexcept
{
    std::size_t first = text.size();
    while (first > 0 && is_digit(text[first - 1]))
        --first;
    if (first == text.size() || first == 0 || text[first - 1] != separator)
        return {};
    const std::string_view number = text.substr(first);
    text.remove_suffix(number.size() + 1);
    return number;
}

} // namespace

// As in Howard Hinnant, "chrono-Compatible Low-Level Date Algorithms".
std::int64_t days_of_date(std::int64_t year, unsigned month, unsigned day) noexcept
{
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t year_of_era = year - era * 400;
    const std::int64_t day_of_year = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
    return era * 146'097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year -
           719'468;
}

bool is_date(std::int64_t year, unsigned month, unsigned day) noexcept
{
    return year >= 1970 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
           day <= days_of_month(year, month);
}

std::string time_text(Local_Time time, char separator)
{
    const std::int64_t days = time / one_day - (time % one_day < 0 ? 1 : 0);
    const std::int64_t rest = time - days * one_day;
    const std::int64_t shifted = days + 719'468;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146'096) / 146'097;
    const std::int64_t of_era = shifted - era * 146'097;
    const std::int64_t year_of_era =
        (of_era - of_era / 1460 + of_era / 36'524 - of_era / 146'096) / 365;
    const std::int64_t of_year = of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const std::int64_t shifted_month = (5 * of_year + 2) / 153;
    const auto day = static_cast<int>(of_year - (153 * shifted_month + 2) / 5 + 1);
    const auto month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
    const auto year = static_cast<int>(year_of_era + era * 400 + (month <= 2 ? 1 : 0));
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d%c%02d:%02d:%02d.%06d", year, month, day,
                  separator, static_cast<int>(rest / one_hour),
                  static_cast<int>(rest / one_minute % 60),
                  static_cast<int>(rest / one_second % 60), static_cast<int>(rest % one_second));
    return text;
}

std::string date_text(Local_Time time)
{
    std::string text = time_text(time);
    return text.substr(0, text.find('T'));
}

const char* level_text(Level level) noexcept
{
    return level_texts[static_cast<std::size_t>(level)];
}

std::optional<Line_Head> parse_head(std::string_view line) noexcept
{
    Line_Head head;
    head.stamp = stamp_of(line.data(), line.size());
    if (head.stamp < 0)
        return std::nullopt;
    constexpr std::size_t first_digit = 17;
    std::size_t end = first_digit;
    while (end < line.size() && is_digit(line[end]))
        ++end;
    if (!read_number(line.substr(first_digit, end - first_digit), head.thread))
        head.thread = UINT64_MAX;
    head.level = level_of(line.substr(end, 4));
    head.message = end;
    if (head.level != Level::unknown)
        head.message += 4;
    if (head.message < line.size() && line[head.message] == ' ')
        ++head.message;
    return head;
}

std::string_view without_end(std::string_view line) noexcept
{
    if (!line.empty() && line.back() == '\n')
        line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

std::uint64_t held_back_of(std::string_view message) noexcept
{
    std::uint64_t count = 0;
    if (!takes_back(message, " held back)"))
        return 0;
    const std::size_t open = message.rfind(" (");
    if (open == std::string_view::npos || !read_number(message.substr(open + 2), count))
        return 0;
    return count;
}

std::optional<std::int64_t> date_of_header(std::string_view line) noexcept
{
    constexpr std::string_view begin = "KR_LOG_MANAGER: Log of host '";
    const std::optional<Line_Head> head = parse_head(line);
    if (!head || line.substr(head->message, begin.size()) != begin)
        return std::nullopt;
    const std::size_t zone = line.rfind(", UTC");
    if (zone == std::string_view::npos || zone < 12 || line.substr(zone - 12, 2) != ", ")
        return std::nullopt;
    const std::string_view date = line.substr(zone - 10, 10); // 2014-03-05
    std::int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    if (!read_number(date.substr(0, 4), year) || !read_number(date.substr(5, 2), month) ||
        !read_number(date.substr(8, 2), day) || !is_date(year, month, day))
        return std::nullopt;
    return days_of_date(year, month, day);
}

std::optional<Part_Name> parse_part_name(std::string_view name)
{
    Part_Name part;
    part.is_compressed = takes_back(name, ".gz");
    if (!takes_back(name, ".log"))
        return std::nullopt;
    const std::string_view number = take_back_number(name, '_');
    if (!read_number(number, part.part) || !takes_back(name, "_part"))
        return std::nullopt;
    std::int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    if (!read_number(take_back_number(name, '_'), day) ||
        !read_number(take_back_number(name, '_'), month) ||
        !read_number(take_back_number(name, '_'), year) || !is_date(year, month, day))
        return std::nullopt;
    part.prefix = name;
    part.date = days_of_date(year, month, day);
    return part;
}

} // namespace krtool
