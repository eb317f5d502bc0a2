#include <KRCommon/util/Time_Forms.h>

#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Calendar.h>
#include <KRCommon/util/Time_Text.h>

#include <algorithm>
#include <limits>

namespace {

using namespace kr_internal;

constexpr std::int64_t seconds_per_day = 86'400;
constexpr int seconds_per_minute = 60;
constexpr int microseconds_per_second = 1'000'000;
constexpr int first_year = 1'601;
constexpr int last_year = 9'999;
constexpr std::int64_t first_instant = days_to_month(first_year, 1) * seconds_per_day;
constexpr std::int64_t end_of_instants = days_to_month(last_year + 1, 1) * seconds_per_day;
constexpr int largest_offset = 23 * 60 + 59;

constexpr std::size_t length_without_fraction = 19;

// Seconds, and microseconds from 0 to 999,999.
struct Instant {
    std::int64_t seconds = 0;
    std::int64_t microseconds = 0;
};

Instant instant_of(const ACE_Time_Value& value) noexcept
{
    Instant instant{static_cast<std::int64_t>(value.sec()), value.usec() % microseconds_per_second};
    const std::int64_t carried = value.usec() / microseconds_per_second;
    const bool is_below = instant.microseconds < 0;
    // Far from any limit, or out of range anyway.
    instant.seconds = std::clamp<std::int64_t>(instant.seconds, -end_of_instants, end_of_instants);
    instant.seconds += carried - (is_below ? 1 : 0);
    instant.microseconds += is_below ? microseconds_per_second : 0;
    return instant;
}

bool is_instant(std::int64_t seconds) noexcept
{
    return seconds >= first_instant && seconds < end_of_instants;
}

// The time text in local time, cut behind its fraction; empty when it is out of range.
std::string text_of(const ACE_Time_Value& value, KR_Time_Fraction fraction, int offset_minutes)
{
    Instant instant = instant_of(value);
    const std::int64_t local = instant.seconds + std::int64_t{offset_minutes} * seconds_per_minute;
    if (!is_instant(instant.seconds) || !is_instant(local))
        return {};
    std::string text = kr_to_string(ACE_Time_Value(static_cast<std::time_t>(local),
                                                   static_cast<suseconds_t>(instant.microseconds)));
    const auto digits = static_cast<std::size_t>(fraction);
    text.resize(length_without_fraction + (digits > 0 ? digits + 1 : 0));
    return text;
}

// Reads a text of a fixed form from its begin to its end.
class Form_Reader {
public:
    explicit Form_Reader(std::string_view text) noexcept : text_(text) {}

    bool is_at_end() const noexcept { return at_ == text_.size(); }
    char next() const noexcept { return is_at_end() ? '\0' : text_[at_]; }
    std::size_t position() const noexcept { return at_; }

    bool mark(char expected) noexcept
    {
        const bool is_it = !is_at_end() && text_[at_] == expected;
        at_ += is_it ? 1 : 0;
        return is_it;
    }

    bool mark_one_of(std::string_view marks) noexcept
    {
        return !is_at_end() && marks.find(text_[at_]) != std::string_view::npos && mark(text_[at_]);
    }

    void blanks() noexcept
    {
        while (mark(' ')) {
        }
    }

    unsigned digit() noexcept
    {
        return is_decimal_digit(next()) ? digit_value(text_[at_++]) : no_digit;
    }

    // Exactly so many digits, and a number in its range.
    KR_Parse_Result number(int digits, int least, int most, int& value) noexcept
    {
        const std::size_t begin = at_;
        value = 0;
        for (; digits > 0; --digits) {
            const unsigned next = digit();
            if (next == no_digit)
                return wrong();
            value = value * 10 + static_cast<int>(next);
        }
        return value >= least && value <= most ? good() : out_of_range(begin);
    }

    static KR_Parse_Result good() noexcept { return {}; }

    static KR_Parse_Result out_of_range(std::size_t position) noexcept
    {
        return {KR_Parse_Error::range, position};
    }

    KR_Parse_Result wrong() const noexcept
    {
        return {is_at_end() ? KR_Parse_Error::cut : KR_Parse_Error::character, at_};
    }

    KR_Parse_Result end() const noexcept
    {
        return {is_at_end() ? KR_Parse_Error::none : KR_Parse_Error::surplus, at_};
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

struct Fields {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0; // 60 in a leap second
    int microsecond = 0;
    std::size_t second_position = 0;
};

// Date, one of the marks between, and time without a fraction.
KR_Parse_Result read_fields(Form_Reader& reader, char date_mark, std::string_view between,
                            Fields& fields) noexcept
{
    KR_Parse_Result result = reader.number(4, first_year, last_year, fields.year);
    if (result)
        result = reader.mark(date_mark) ? reader.number(2, 1, 12, fields.month) : reader.wrong();
    if (result)
        result = reader.mark(date_mark)
                     ? reader.number(2, 1, days_in_month(fields.year, fields.month), fields.day)
                     : reader.wrong();
    if (result)
        result =
            reader.mark_one_of(between) ? reader.number(2, 0, 23, fields.hour) : reader.wrong();
    if (result)
        result = reader.mark(':') ? reader.number(2, 0, 59, fields.minute) : reader.wrong();
    if (result) {
        fields.second_position = reader.position() + 1;
        result = reader.mark(':') ? reader.number(2, 0, 60, fields.second) : reader.wrong();
    }
    return result;
}

// A second 60 may only be where a month begins in UTC.
bool is_leap_second(std::int64_t seconds)
{
    return seconds % seconds_per_day == 0 &&
           kr_to_ace_date_time(ACE_Time_Value(static_cast<std::time_t>(seconds))).day() == 1;
}

KR_Parse_Result make_instant(const Fields& fields, int offset_minutes, ACE_Time_Value& out)
{
    const std::int64_t days = days_to_month(fields.year, fields.month) + fields.day - 1;
    const std::int64_t minutes = fields.hour * 60 + fields.minute - offset_minutes;
    const std::int64_t seconds =
        days * seconds_per_day + minutes * seconds_per_minute + fields.second;
    if (fields.second == 60 && !is_leap_second(seconds))
        return Form_Reader::out_of_range(fields.second_position);
    if (!is_instant(seconds))
        return Form_Reader::out_of_range(0);
    out.set(static_cast<std::time_t>(seconds), fields.microsecond);
    return Form_Reader::good();
}

// Of one digit or more, six count.
KR_Parse_Result read_any_fraction(Form_Reader& reader, int& microsecond) noexcept
{
    int unit = microseconds_per_second / 10;
    unsigned digit = reader.digit();
    if (digit == no_digit)
        return reader.wrong();
    for (; digit != no_digit; digit = reader.digit(), unit /= 10)
        microsecond += static_cast<int>(digit) * unit;
    return Form_Reader::good();
}

KR_Parse_Result read_offset(Form_Reader& reader, int& minutes) noexcept
{
    if (reader.mark_one_of("Zz"))
        return Form_Reader::good();
    const bool is_west = reader.next() == '-';
    if (!reader.mark_one_of("+-"))
        return reader.wrong();
    int hour = 0;
    int minute = 0;
    KR_Parse_Result result = reader.number(2, 0, 23, hour);
    if (result && (reader.mark(':') || is_decimal_digit(reader.next())))
        result = reader.number(2, 0, 59, minute);
    minutes = (hour * 60 + minute) * (is_west ? -1 : 1);
    return result;
}

} // namespace

std::string kr_to_string(const ACE_Time_Value& value, KR_Time_Fraction fraction)
{
    return text_of(value, fraction, 0);
}

KR_Parse_Result kr_try_to_ace_time_value(std::string_view text, KR_Time_Fraction fraction,
                                         ACE_Time_Value& out) noexcept
{
    Form_Reader reader(text);
    Fields fields;
    KR_Parse_Result result = read_fields(reader, '/', " ", fields);
    const int digits = static_cast<int>(fraction);
    if (result && digits > 0)
        result = reader.mark('.')
                     ? reader.number(digits, 0, microseconds_per_second, fields.microsecond)
                     : reader.wrong();
    if (fraction == KR_Time_Fraction::milliseconds)
        fields.microsecond *= 1'000;
    if (result)
        result = reader.end();
    if (result)
        result = make_instant(fields, 0, out);
    return result ? reader.end() : result;
}

std::string kr_to_iso8601(const ACE_Time_Value& value, KR_Time_Fraction fraction,
                          int offset_minutes)
{
    if (offset_minutes < -largest_offset || offset_minutes > largest_offset)
        return {};
    std::string text = text_of(value, fraction, offset_minutes);
    if (text.empty())
        return text;
    text[4] = text[7] = '-';
    text[10] = 'T';
    if (offset_minutes == 0)
        return text += 'Z';
    const int minutes = offset_minutes < 0 ? -offset_minutes : offset_minutes;
    const auto digit = [](int number) { return static_cast<char>('0' + number % 10); };
    const char offset[] = {
        offset_minutes < 0 ? '-' : '+', digit(minutes / 600), digit(minutes / 60), ':',
        digit(minutes % 60 / 10),       digit(minutes % 60)};
    return text.append(offset, sizeof offset);
}

KR_Parse_Result kr_try_from_iso8601(std::string_view text, ACE_Time_Value& out,
                                    int* offset_minutes) noexcept
{
    Form_Reader reader(text);
    Fields fields;
    int offset = 0;
    KR_Parse_Result result = read_fields(reader, '-', "Tt ", fields);
    if (result && reader.mark_one_of(".,"))
        result = read_any_fraction(reader, fields.microsecond);
    if (result)
        result = read_offset(reader, offset);
    if (result)
        result = reader.end();
    if (result)
        result = make_instant(fields, offset, out);
    if (!result)
        return result;
    if (offset_minutes != nullptr)
        *offset_minutes = offset;
    return reader.end();
}

namespace {

struct Unit {
    std::string_view name;
    std::int64_t microseconds;
    std::int64_t limit; // behind a larger unit
};

constexpr Unit units[] = {{"d", 86'400'000'000, 0},
                          {"h", 3'600'000'000, 24},
                          {"min", 60'000'000, 60},
                          {"s", 1'000'000, 60},
                          {"ms", 1'000, 1'000}};
constexpr const Unit& second_unit = units[3];
constexpr std::int64_t largest_number = 999'999'999'999;

std::string pair_text(std::int64_t number)
{
    return number < 10 ? "0" + std::to_string(number) : std::to_string(number);
}

// Of the unit and the one below it.
std::string two_units(std::int64_t seconds, const Unit& unit, const Unit& below)
{
    const std::int64_t size = unit.microseconds / microseconds_per_second;
    const std::int64_t rest = seconds % size / (below.microseconds / microseconds_per_second);
    std::string text = std::to_string(seconds / size);
    text.append(" ").append(unit.name).append(" ").append(pair_text(rest));
    return text.append(" ").append(below.name);
}

// Of a duration that is not negative.
std::string duration_text(std::int64_t seconds, std::int64_t microseconds)
{
    if (seconds == 0 && microseconds >= 1'000)
        return std::to_string(microseconds / 1'000) + " ms";
    if (seconds < 60)
        return std::to_string(seconds) + " s";
    if (seconds < 3'600)
        return two_units(seconds, units[2], units[3]);
    if (seconds < seconds_per_day)
        return two_units(seconds, units[1], units[2]);
    return two_units(seconds, units[0], units[1]);
}

// One to twelve digits.
KR_Parse_Result read_number(Form_Reader& reader, std::int64_t& number) noexcept
{
    const std::size_t begin = reader.position();
    unsigned digit = reader.digit();
    if (digit == no_digit)
        return reader.wrong();
    for (; digit != no_digit; digit = reader.digit()) {
        number = number * 10 + digit;
        if (number > largest_number)
            return Form_Reader::out_of_range(begin);
    }
    return Form_Reader::good();
}

// The longest name that is next: "min" before "m", "ms" before "s".
const Unit* read_unit(Form_Reader& reader, std::string_view text) noexcept
{
    const std::string_view rest = text.substr(reader.position());
    const Unit* found = nullptr;
    for (const Unit& unit : units)
        if (rest.substr(0, unit.name.size()) == unit.name)
            found = &unit;
    for (std::size_t count = found != nullptr ? found->name.size() : 0; count > 0; --count)
        reader.mark(reader.next());
    return found;
}

// Microseconds would not fit into 64 bits.
struct Sum {
    std::int64_t seconds = 0;
    std::int64_t microseconds = 0;

    void add(std::int64_t number, const Unit& unit) noexcept
    {
        if (unit.microseconds >= microseconds_per_second) {
            seconds += number * (unit.microseconds / microseconds_per_second);
            return;
        }
        const std::int64_t per_second = microseconds_per_second / unit.microseconds;
        seconds += number / per_second;
        microseconds += number % per_second * unit.microseconds;
    }
};

KR_Parse_Result read_sum(Form_Reader& reader, std::string_view text, Sum& sum) noexcept
{
    const Unit* last = nullptr;
    do {
        const std::size_t begin = reader.position();
        std::int64_t number = 0;
        if (const KR_Parse_Result result = read_number(reader, number); !result)
            return result;
        int fraction = 0;
        const bool has_fraction = reader.mark('.');
        const std::size_t fraction_begin = reader.position();
        if (has_fraction) {
            if (const KR_Parse_Result result = read_any_fraction(reader, fraction); !result)
                return result;
            if (reader.position() - fraction_begin > 6)
                return {KR_Parse_Error::character, fraction_begin + 6};
        }
        reader.blanks();
        const std::size_t unit_position = reader.position();
        const Unit* const unit = read_unit(reader, text);
        if (unit == nullptr)
            return reader.wrong();
        if ((last != nullptr && unit <= last) || (has_fraction && unit != &second_unit))
            return {KR_Parse_Error::character, unit_position};
        if (last != nullptr && number >= unit->limit)
            return Form_Reader::out_of_range(begin);
        sum.add(number, *unit);
        sum.microseconds += fraction;
        last = unit;
        if (has_fraction)
            return reader.end();
        if (!reader.is_at_end())
            reader.blanks();
        if (reader.is_at_end() && !text.empty() && text.back() == ' ')
            return {KR_Parse_Error::cut, text.size()};
    } while (!reader.is_at_end());
    return reader.end();
}

} // namespace

std::string kr_to_duration_text(const ACE_Time_Value& duration)
{
    std::int64_t seconds = duration.sec();
    std::int64_t microseconds = duration.usec();
    const bool is_negative = seconds < 0 || (seconds == 0 && microseconds < 0);
    if (is_negative) {
        seconds = -std::max(seconds, -std::numeric_limits<std::int64_t>::max());
        microseconds = -microseconds;
    }
    std::string text = duration_text(seconds, microseconds);
    return is_negative && text != "0 s" ? "-" + text : text;
}

KR_Parse_Result kr_try_from_duration_text(std::string_view text, ACE_Time_Value& out) noexcept
{
    Form_Reader reader(text);
    const bool is_negative = reader.mark('-');
    Sum sum;
    const KR_Parse_Result result = read_sum(reader, text, sum);
    if (!result)
        return result;
    const std::int64_t sign = is_negative ? -1 : 1;
    out.set(static_cast<std::time_t>(sign * sum.seconds),
            static_cast<suseconds_t>(sign * sum.microseconds));
    return result;
}
