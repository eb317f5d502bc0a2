#include "Time_Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace krtool {

namespace {

// Reads a text from front to back.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool is_over() const { return rest_.empty(); }
    std::string_view rest() const { return rest_; }

    bool take(char c)
    {
        if (rest_.empty() || rest_.front() != c)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool take_any(std::string_view characters)
    {
        return std::any_of(characters.begin(), characters.end(),
                           [this](char c) { return take(c); });
    }

    void skip_blanks()
    {
        while (take(' '))
            ;
    }

    // A number of at least and at most so many digits.
    std::optional<std::int64_t> number(std::size_t least, std::size_t most)
    {
        std::size_t size = 0;
        std::int64_t value = 0;
        for (; size < rest_.size() && size < most && rest_[size] >= '0' && rest_[size] <= '9';
             ++size)
            value = value * 10 + (rest_[size] - '0');
        if (size < least)
            return std::nullopt;
        rest_.remove_prefix(size);
        return value;
    }

    // The digits behind a point, as millionths.
    std::optional<std::int64_t> fraction()
    {
        const std::size_t before = rest_.size();
        std::optional<std::int64_t> value = number(1, 6);
        for (std::size_t digits = before - rest_.size(); value && digits < 6; ++digits)
            *value *= 10;
        return value;
    }

private:
    std::string_view rest_;
};

std::optional<Local_Time> unit_of(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, Local_Time>, 18> units{{
        {"s", one_second},
        {"sec", one_second},
        {"secs", one_second},
        {"second", one_second},
        {"seconds", one_second},
        {"m", one_minute},
        {"min", one_minute},
        {"mins", one_minute},
        {"minute", one_minute},
        {"minutes", one_minute},
        {"h", one_hour},
        {"hour", one_hour},
        {"hours", one_hour},
        {"d", one_day},
        {"day", one_day},
        {"days", one_day},
        {"week", 7 * one_day},
        {"weeks", 7 * one_day},
    }};
    for (const auto& [unit, length] : units)
        if (unit == name)
            return length;
    return std::nullopt;
}

// "30 min ago"
std::optional<Local_Time> parse_ago(std::string_view text, Local_Time now)
{
    constexpr std::string_view ago = "ago";
    if (text.size() < ago.size() || text.substr(text.size() - ago.size()) != ago)
        return std::nullopt;
    text.remove_suffix(ago.size());
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    Scanner scanner(text);
    const std::optional<std::int64_t> number = scanner.number(1, 6);
    scanner.skip_blanks();
    const std::optional<Local_Time> unit = unit_of(scanner.rest());
    if (!number || !unit)
        return std::nullopt;
    return now - *number * *unit;
}

// "05:00", "05:00:30.5"; microseconds of the day.
std::optional<Local_Time> parse_clock(Scanner& scanner)
{
    const auto hour = scanner.number(1, 2);
    if (!hour || *hour > 23 || !scanner.take(':'))
        return std::nullopt;
    const auto minute = scanner.number(2, 2);
    if (!minute || *minute > 59)
        return std::nullopt;
    std::optional<std::int64_t> second = 0;
    std::optional<std::int64_t> fraction = 0;
    if (scanner.take(':')) {
        second = scanner.number(2, 2);
        if (second && scanner.take('.'))
            fraction = scanner.fraction();
    }
    if (!second || *second > 60 || !fraction)
        return std::nullopt;
    return (*hour * 60 + *minute) * one_minute + *second * one_second + *fraction;
}

// "2026/11/22"; days since 1970.
std::optional<std::int64_t> parse_date(Scanner& scanner)
{
    const auto year = scanner.number(4, 4);
    const char separator = scanner.rest().empty() ? '\0' : scanner.rest().front();
    if (!year || !scanner.take_any("/-"))
        return std::nullopt;
    const auto month = scanner.number(1, 2);
    if (!month || !scanner.take(separator))
        return std::nullopt;
    const auto day = scanner.number(1, 2);
    if (!day || !is_date(*year, static_cast<unsigned>(*month), static_cast<unsigned>(*day)))
        return std::nullopt;
    return days_of_date(*year, static_cast<unsigned>(*month), static_cast<unsigned>(*day));
}

std::optional<Local_Time> parse_absolute(std::string_view text, Local_Time now)
{
    Scanner clock_alone(text);
    if (const auto clock = parse_clock(clock_alone); clock && clock_alone.is_over())
        return now / one_day * one_day + *clock;
    Scanner scanner(text);
    const auto date = parse_date(scanner);
    if (!date)
        return std::nullopt;
    if (scanner.is_over())
        return *date * one_day;
    if (!scanner.take('t'))
        scanner.skip_blanks();
    const auto clock = parse_clock(scanner);
    if (!clock || !scanner.is_over())
        return std::nullopt;
    return *date * one_day + *clock;
}

} // namespace

std::optional<Local_Time> parse_time(std::string_view text, Local_Time now)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    const std::size_t first = lower.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::nullopt;
    lower = lower.substr(first, lower.find_last_not_of(' ') - first + 1);
    if (lower == "now")
        return now;
    if (lower == "today")
        return now / one_day * one_day;
    if (lower == "yesterday")
        return now / one_day * one_day - one_day;
    if (const auto ago = parse_ago(lower, now))
        return ago;
    return parse_absolute(lower, now);
}

} // namespace krtool
