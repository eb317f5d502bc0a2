#include <KRCommon/util/Time_Text.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/text/Scanner.h>
#include <KRCommon/util/Calendar.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

using namespace kr_internal;

// A reading of calendar and clock in UTC.
struct Calendar_Time {
    int year = 0;
    int month = 0; // 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int weekday = 0; // 0 (Sunday) to 6
};

constexpr std::int64_t seconds_per_day = 86'400;
constexpr int microseconds_per_second = 1'000'000;

struct Instant {
    std::int64_t seconds = 0;
    int microsecond = 0; // 0 to 999,999
};

// Calendar and clock as someone wrote them down.
struct Reading {
    Calendar_Time time;
    int microsecond = 0; // any
};

constexpr int last_year = 1'000'000;

constexpr std::int64_t first_instant = days_to_month(-last_year, 1) * seconds_per_day;
constexpr std::int64_t last_instant = days_to_month(last_year + 1, 1) * seconds_per_day - 1;

// In 32-bit code divisions of 64 bits are calls that cost as much as all the rest: Number is the
// narrowest type that holds the number.
template <typename Number>
constexpr Number floor_divide(Number number, int divisor) noexcept
{
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

Instant instant_of(const ACE_Time_Value& value) noexcept
{
    std::int64_t seconds = std::clamp<std::int64_t>(value.sec(), first_instant, last_instant);
    std::int64_t microseconds = value.usec();
    if (microseconds < 0 || microseconds >= microseconds_per_second) {
        const std::int64_t carried = floor_divide(microseconds, microseconds_per_second);
        seconds = std::clamp(seconds + carried, first_instant, last_instant);
        microseconds -= carried * microseconds_per_second;
    }
    return {seconds, static_cast<int>(microseconds)};
}

// After C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar
// algorithms" (2022): fewer divisions that wait for each other than in the inverse above.
void set_date(Calendar_Time& time, unsigned biased_days) noexcept
{
    const unsigned century = (4 * biased_days + 3) / days_per_era;
    const unsigned day_of_century = (4 * biased_days + 3) % days_per_era / 4;
    const std::uint64_t scaled = std::uint64_t{2'939'745} * (4 * day_of_century + 3);
    const auto year_of_century = static_cast<unsigned>(scaled >> 32);
    const unsigned day_of_year = static_cast<unsigned>(scaled) / 2'939'745 / 4;
    const unsigned months = 2'141 * day_of_year + 197'913; // in units of 2^16
    const bool is_next_year = day_of_year >= 306;
    const unsigned year = century * 100 + year_of_century + (is_next_year ? 1 : 0);
    time.year = static_cast<int>(year) - bias_years;
    time.month = static_cast<int>((months >> 16) - (is_next_year ? 12 : 0));
    time.day = static_cast<int>((months & 0xFFFF) / 2'141 + 1);
    time.weekday = static_cast<int>((biased_days + 3) % 7); // day 0 is a Wednesday
}

struct Day_And_Second {
    unsigned biased_day;
    unsigned second_of_day;
};

// seconds: first_instant to last_instant
Day_And_Second split(std::int64_t seconds) noexcept
{
    constexpr auto divisor = static_cast<unsigned>(seconds_per_day);
    const auto low_bits = static_cast<std::uint32_t>(seconds);
    if (low_bits == seconds) // 1970 to 2106
        return {low_bits / divisor + bias_days, low_bits % divisor};
    const auto biased = static_cast<std::uint64_t>(seconds + bias_days * seconds_per_day);
    const auto day = static_cast<unsigned>(biased / divisor);
    return {day, static_cast<unsigned>(biased - std::uint64_t{day} * divisor)};
}

Calendar_Time breakdown(std::int64_t seconds) noexcept
{
    const auto [biased_day, second_of_day] = split(seconds);
    Calendar_Time time;
    set_date(time, biased_day);
    time.hour = static_cast<int>(second_of_day / 3'600);
    time.minute = static_cast<int>(second_of_day / 60 % 60);
    time.second = static_cast<int>(second_of_day % 60);
    return time;
}

constexpr std::size_t text_length = 26;

bool has_four_digits(int year) noexcept
{
    return year >= 0 && year < 10'000;
}

// "00", "01", ... "99".
constexpr auto digit_pairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t number = 0; number < 100; ++number) {
        pairs[2 * number] = static_cast<char>('0' + number / 10);
        pairs[2 * number + 1] = static_cast<char>('0' + number % 10);
    }
    return pairs;
}();

void put_pair(char* out, unsigned number) noexcept
{
    std::memcpy(out, digit_pairs.data() + std::size_t{2} * number, 2);
}

std::string text_of_any(const Calendar_Time& time, unsigned microsecond)
{
    char text[100]; // each field needs 11 characters at most
    const int length =
        std::snprintf(text, sizeof text, "%04d/%02d/%02d %02d:%02d:%02d.%06u", time.year,
                      time.month, time.day, time.hour, time.minute, time.second, microsecond);
    return std::string(text, static_cast<std::size_t>(length));
}

// Of fields that have no more digits than the text has room for.
std::string text_of_usual(const Calendar_Time& time, unsigned microsecond)
{
    // Written in place: copying what was just written by twos would have to wait for it.
    std::string text("0000/00/00 00:00:00.000000", text_length);
    char* const out = text.data();
    const auto put = [out](std::size_t at, int field) {
        put_pair(out + at, static_cast<unsigned>(field));
    };
    put(0, time.year / 100);
    put(2, time.year % 100);
    put(5, time.month);
    put(8, time.day);
    put(11, time.hour);
    put(14, time.minute);
    put(17, time.second);
    put_pair(out + 20, microsecond / 10'000);
    put_pair(out + 22, microsecond / 100 % 100);
    put_pair(out + 24, microsecond % 100);
    return text;
}

} // namespace

std::string kr_to_string(const ACE_Time_Value& value)
{
    const Instant instant = instant_of(value);
    const Calendar_Time time = breakdown(instant.seconds);
    const auto microsecond = static_cast<unsigned>(instant.microsecond);
    return has_four_digits(time.year) ? text_of_usual(time, microsecond)
                                      : text_of_any(time, microsecond);
}

namespace {

// Whether all fields but the microseconds fit into 32 bits, as they always do on Windows.
bool read_fields(const ACE_Date_Time& date, Calendar_Time& time) noexcept
{
    bool fit = true;
    const auto field = [&fit](long value) {
        const auto low_bits = static_cast<int>(value);
        fit = fit && low_bits == value;
        return low_bits;
    };
    time.year = field(date.year());
    time.month = field(date.month());
    time.day = field(date.day());
    time.hour = field(date.hour());
    time.minute = field(date.minute());
    time.second = field(date.second());
    return fit;
}

bool fits_shape(const Calendar_Time& time, unsigned microsecond) noexcept
{
    const auto is_pair = [](int field) { return static_cast<unsigned>(field) < 100; };
    return has_four_digits(time.year) && is_pair(time.month) && is_pair(time.day) &&
           is_pair(time.hour) && is_pair(time.minute) && is_pair(time.second) &&
           microsecond < microseconds_per_second;
}

} // namespace

std::string kr_to_string(const ACE_Date_Time& date)
{
    Calendar_Time time;
    static_cast<void>(read_fields(date, time)); // of each the low 32 bits
    const auto microsecond = static_cast<unsigned>(date.microsec());
    return fits_shape(time, microsecond) ? text_of_usual(time, microsecond)
                                         : text_of_any(time, microsecond);
}

namespace {

// Reads pairs of characters as digits; whether all of them were some is asked once, at the end.
class Digit_Pairs {
public:
    explicit Digit_Pairs(const char* text) noexcept : text_(text) {}

    int at(std::size_t position) noexcept
    {
        const unsigned tens = distance_from_zero(text_[position]);
        const unsigned ones = distance_from_zero(text_[position + 1]);
        others_ |= static_cast<unsigned>(tens > 9) | static_cast<unsigned>(ones > 9);
        return static_cast<int>(tens * 10 + ones);
    }

    [[nodiscard]] bool are_digits() const noexcept { return others_ == 0; }

private:
    static unsigned distance_from_zero(char character) noexcept
    {
        return static_cast<unsigned>(static_cast<unsigned char>(character)) - '0';
    }

    const char* text_;
    unsigned others_ = 0;
};

// The time text in its full shape, whatever follows it.
bool read_full_shape(std::string_view text, Reading& reading) noexcept
{
    if (text.size() < text_length || text[4] != '/' || text[7] != '/' || text[10] != ' ' ||
        text[13] != ':' || text[16] != ':' || text[19] != '.')
        return false;
    Digit_Pairs pairs(text.data());
    Calendar_Time& time = reading.time;
    time.year = pairs.at(0) * 100 + pairs.at(2);
    time.month = pairs.at(5);
    time.day = pairs.at(8);
    time.hour = pairs.at(11);
    time.minute = pairs.at(14);
    time.second = pairs.at(17);
    reading.microsecond = pairs.at(20) * 10'000 + pairs.at(22) * 100 + pairs.at(24);
    return pairs.are_digits();
}

Reading read_any_shape(const std::string& text) noexcept
{
    Reading reading;
    Calendar_Time& time = reading.time;
    Scanner scan(text);
    // Stops at the first that does not match.
    static_cast<void>(scan.decimal(4, time.year) && scan.mark('/') && scan.decimal(2, time.month) &&
                      scan.mark('/') && scan.decimal(2, time.day) && scan.blanks() &&
                      scan.decimal(2, time.hour) && scan.mark(':') &&
                      scan.decimal(2, time.minute) && scan.mark(':') &&
                      scan.decimal(2, time.second) && scan.mark('.') &&
                      scan.decimal(6, reading.microsecond));
    return reading;
}

Reading read_time(const std::string& text) noexcept
{
    Reading reading; // returned in place: a copy would have to wait for the single fields
    if (!read_full_shape(text, reading))
        reading = read_any_shape(text);
    return reading;
}

ACE_Date_Time date_time_of(const Reading& reading)
{
    const Calendar_Time& time = reading.time;
    return ACE_Date_Time(time.day, time.month, time.year, time.hour, time.minute, time.second,
                         reading.microsecond, time.weekday);
}

} // namespace

ACE_Date_Time kr_to_ace_date_time(const std::string& text)
{
    return date_time_of(read_time(text));
}

ACE_Date_Time kr_to_ace_date_time(const ACE_Time_Value& value)
{
    const Instant instant = instant_of(value);
    return date_time_of({breakdown(instant.seconds), instant.microsecond});
}

namespace {

// Days from 1970-01-01 to the first day of a month of any number. Cold, since its 64-bit divisions
// cost as much as all the rest.
[[gnu::cold, gnu::noinline]] std::int64_t days_to_far_month(std::int64_t year,
                                                            std::int64_t month) noexcept
{
    const std::int64_t years = floor_divide(month - 1, 12);
    const std::int64_t eras = floor_divide(year + years, years_per_era);
    const int year_of_era = static_cast<int>(year + years - eras * years_per_era);
    return eras * days_per_era + days_to_month(year_of_era, static_cast<int>(month - years * 12));
}

std::int64_t days_to_any_month(int year, int month) noexcept
{
    const auto is_near = [](int number) { return number >= -last_year && number <= last_year; };
    if (!is_near(year) || !is_near(month))
        return days_to_far_month(year, month);
    const int years = floor_divide(month - 1, 12);
    return days_to_month(year + years, month - years * 12);
}

// Fields outside their ranges are carried; 64 bits hold every sum of 32-bit ones.
std::int64_t seconds_of(const Calendar_Time& time) noexcept
{
    const std::int64_t days = days_to_any_month(time.year, time.month) + time.day - 1;
    const std::int64_t seconds =
        days * seconds_per_day + time.hour * 3'600LL + time.minute * 60LL + time.second;
    return seconds >= 0 && seconds <= kr_platform::last_second ? seconds : -1;
}

} // namespace

ACE_Time_Value kr_to_ace_time_value(const ACE_Date_Time& date)
{
    Calendar_Time time;
    std::int64_t seconds = read_fields(date, time) ? seconds_of(time) : -1;
    // Carried here, because ACE may count many microseconds down second by second.
    seconds += date.microsec() / microseconds_per_second;
    return ACE_Time_Value(seconds,
                          static_cast<suseconds_t>(date.microsec() % microseconds_per_second));
}

ACE_Time_Value kr_to_ace_time_value(const std::string& text)
{
    const Reading reading = read_time(text);
    return ACE_Time_Value(seconds_of(reading.time), reading.microsecond);
}

void kr_extract_time(const ACE_Time_Value& in, ACE_Time_Value& out)
{
    const Instant instant = instant_of(in);
    out.set(static_cast<std::time_t>(split(instant.seconds).second_of_day), instant.microsecond);
}

namespace {

constexpr int first_checked_year = 1;
constexpr int last_checked_year = 9'999;

// A number of a time text, and where it stands.
struct Checked_Field {
    int Calendar_Time::*number;
    std::size_t width;
    int least;
    int most;
    char mark; // before it, but for a blank
};

constexpr Checked_Field checked_fields[] = {
    {&Calendar_Time::year, 4, first_checked_year, last_checked_year, '\0'},
    {&Calendar_Time::month, 2, 1, 12, '/'},
    {&Calendar_Time::day, 2, 1, 31, '/'},
    {&Calendar_Time::hour, 2, 0, 23, '\0'},
    {&Calendar_Time::minute, 2, 0, 59, ':'},
    {&Calendar_Time::second, 2, 0, 60, ':'},
};
constexpr std::size_t date_fields = 3;

bool is_leap_second(const Calendar_Time& time) noexcept
{
    return time.second == 60 && time.minute == 59 && time.hour == 23 &&
           time.day == days_in_month(time.year, time.month);
}

bool is_in_range(const Calendar_Time& time) noexcept
{
    const auto is_below = [](int number, unsigned end) {
        return static_cast<unsigned>(number) < end;
    };
    return is_below(time.year - 1, last_checked_year) && is_below(time.month - 1, 12) &&
           time.day >= 1 && is_below(time.hour, 24) && is_below(time.minute, 60) &&
           time.day <= days_in_month(time.year, time.month) &&
           (is_below(time.second, 60) || is_leap_second(time));
}

// Reads a time text in any shape, and knows where its numbers stand.
class Checked_Reader {
public:
    explicit Checked_Reader(std::string_view text) noexcept : text_(text), scan_(text) {}

    KR_Parse_Result read(Reading& reading) noexcept
    {
        std::size_t count = 0;
        for (const Checked_Field& field : checked_fields) {
            if (count++ >= date_fields && scan_.rest().empty())
                return done();
            if (field.mark != '\0' && !scan_.mark(field.mark))
                return wrong();
            const KR_Parse_Result result =
                number(field.width, reading.time.*field.number, field.least, field.most);
            if (!result)
                return result;
            if (field.number == &Calendar_Time::day && !is_day(reading.time))
                return out_of_range();
        }
        if (reading.time.second == 60 && !is_leap_second(reading.time))
            return out_of_range();
        if (scan_.rest().empty())
            return done();
        if (!scan_.mark('.'))
            return {KR_Parse_Error::surplus, position()};
        if (const KR_Parse_Result result = number(6, reading.microsecond, 0, 999'999); !result)
            return result;
        return scan_.rest().empty() ? done() : KR_Parse_Result{KR_Parse_Error::surplus, position()};
    }

private:
    std::size_t position() const noexcept { return text_.size() - scan_.rest().size(); }

    KR_Parse_Result done() const noexcept { return {KR_Parse_Error::none, text_.size()}; }

    KR_Parse_Result wrong() const noexcept
    {
        return {scan_.rest().empty() ? KR_Parse_Error::cut : KR_Parse_Error::character, position()};
    }

    static bool is_day(const Calendar_Time& time) noexcept
    {
        return time.day <= days_in_month(time.year, time.month);
    }

    KR_Parse_Result number(std::size_t width, int& value, int least, int most) noexcept
    {
        before_ = scan_.rest();
        if (!scan_.decimal(width, value)) {
            scan_.minus();
            return wrong();
        }
        return value >= least && value <= most ? done() : out_of_range();
    }

    // Of the last number.
    KR_Parse_Result out_of_range() const noexcept
    {
        Scanner number(before_);
        number.blanks();
        return {KR_Parse_Error::range, text_.size() - number.rest().size()};
    }

    std::string_view text_;
    Scanner scan_;
    std::string_view before_; // what was left before the last number
};

KR_Parse_Result read_checked(std::string_view text, Reading& reading) noexcept
{
    if (text.size() == text_length && read_full_shape(text, reading) && is_in_range(reading.time))
        return {KR_Parse_Error::none, text.size()};
    reading = {};
    return Checked_Reader(text).read(reading);
}

} // namespace

KR_Parse_Result kr_try_to_ace_date_time(std::string_view text, ACE_Date_Time& out) noexcept
{
    Reading reading;
    const KR_Parse_Result result = read_checked(text, reading);
    if (result)
        out = date_time_of(reading);
    return result;
}

KR_Parse_Result kr_try_to_ace_time_value(std::string_view text, ACE_Time_Value& out) noexcept
{
    Reading reading;
    const KR_Parse_Result result = read_checked(text, reading);
    if (!result)
        return result;
    const std::int64_t seconds = seconds_of(reading.time);
    if (seconds < 0)
        return {KR_Parse_Error::range, text.find_first_not_of(" \t\n\v\f\r")};
    out.set(static_cast<std::time_t>(seconds), reading.microsecond);
    return result;
}
