#include <KRCommon/util/Time_Text.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>

#include <ace/OS_NS_stdlib.h>
#include <ace/OS_NS_time.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using std::to_string;

ACE_Time_Value value(std::int64_t seconds, int microseconds = 0)
{
    return ACE_Time_Value(seconds, microseconds);
}

ACE_Date_Time date_of(const char* text)
{
    return kr_to_ace_date_time(std::string(text));
}

ACE_Time_Value value_of(const char* text)
{
    return kr_to_ace_time_value(std::string(text));
}

// Year, month, day, hour, minute, second, microsecond, weekday.
std::vector<long> fields(const ACE_Date_Time& date)
{
    return {date.year(),   date.month(),  date.day(),      date.hour(),
            date.minute(), date.second(), date.microsec(), date.weekday()};
}

using Fields = std::vector<long>;

ACE_Date_Time date(long year, long month, long day, long hour = 0, long minute = 0, long second = 0,
                   long microsecond = 0, long weekday = 0)
{
    return ACE_Date_Time(day, month, year, hour, minute, second, microsecond, weekday);
}

ACE_Time_Value time_of_day(const ACE_Time_Value& instant)
{
    ACE_Time_Value result(12'345, 678);
    kr_extract_time(instant, result);
    return result;
}

// Another way to the same calendar: years and months are counted off one by one.
struct Day_Counter {
    int year = 1970;
    int month = 1;
    int day = 1;
    int weekday = 4; // a Thursday

    void next()
    {
        weekday = (weekday + 1) % 7;
        if (++day <= days_in_month())
            return;
        day = 1;
        if (++month <= 12)
            return;
        month = 1;
        ++year;
    }

    [[nodiscard]] int days_in_month() const
    {
        if (month == 2)
            return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
        return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
    }

    [[nodiscard]] std::string text() const
    {
        const auto two = [](int number) { return (number < 10 ? "0" : "") + to_string(number); };
        return to_string(year) + '/' + two(month) + '/' + two(day);
    }
};

struct Time_Of_Day {
    int hour, minute, second, microsecond;
    const char* text;
};

constexpr Time_Of_Day four_times[] = {{0, 0, 0, 0, " 00:00:00.000000"},
                                      {0, 0, 1, 1, " 00:00:01.000001"},
                                      {12, 34, 56, 789'012, " 12:34:56.789012"},
                                      {23, 59, 59, 999'999, " 23:59:59.999999"}};

TEST(KrTime, EveryDayFrom1970To2199IsTheSameInAllForms)
{
    Day_Counter day;
    for (std::int64_t midnight = 0; day.year < 2200; midnight += 86'400, day.next()) {
        for (const Time_Of_Day& time : four_times) {
            const int second_of_day = time.hour * 3'600 + time.minute * 60 + time.second;
            const ACE_Time_Value instant = value(midnight + second_of_day, time.microsecond);
            const std::string text = day.text() + time.text;
            const Fields expected = {day.year,    day.month,   day.day,          time.hour,
                                     time.minute, time.second, time.microsecond, day.weekday};
            Fields from_text = expected;
            from_text.back() = 0;
            ACE_Time_Value time_of_day;
            kr_extract_time(instant, time_of_day);

            ASSERT_EQ(text, kr_to_string(instant));
            ASSERT_EQ(expected, fields(kr_to_ace_date_time(instant))) << text;
            ASSERT_EQ(text, kr_to_string(kr_to_ace_date_time(instant)));
            ASSERT_EQ(from_text, fields(kr_to_ace_date_time(text))) << text;
            ASSERT_EQ(instant, kr_to_ace_time_value(kr_to_ace_date_time(instant))) << text;
            ASSERT_EQ(instant, kr_to_ace_time_value(text)) << text;
            ASSERT_EQ(value(second_of_day, time.microsecond), time_of_day) << text;
        }
    }
    EXPECT_EQ("2200/01/01", day.text());
}

TEST(KrTime, AgreesWithTheSystemsCalendarUpToItsEnd)
{
    std::mt19937_64 random(1);
    std::uniform_int_distribution<std::int64_t> any(0, kr_platform::last_second);
    for (int round = 0; round < 20'000; ++round) {
        const std::int64_t seconds = round == 0 ? kr_platform::last_second : any(random);
        const auto expected = kr_platform_testing::system_breakdown(seconds);
        ASSERT_TRUE(expected.has_value());
        const ACE_Date_Time date = kr_to_ace_date_time(value(seconds));
        ASSERT_EQ((Fields{expected->year, expected->month, expected->day, expected->hour,
                          expected->minute, expected->second, 0, expected->weekday}),
                  fields(date))
            << seconds;
        ASSERT_EQ(value(seconds), kr_to_ace_time_value(date));
    }
}

TEST(KrTimeText, OfATimeValue)
{
    EXPECT_EQ("2023/11/14 22:13:20.000005", kr_to_string(value(1'700'000'000, 5)));
    EXPECT_EQ("2024/03/05 07:08:09.000123", kr_to_string(value(1'709'622'489, 123)));
    EXPECT_EQ("1970/01/01 00:00:00.000000", kr_to_string(value(0)));
    EXPECT_EQ("2000/02/29 23:59:59.999999", kr_to_string(value(951'868'799, 999'999)));
    EXPECT_EQ("2100/03/01 00:00:00.100000", kr_to_string(value(4'107'542'400, 100'000)));
    EXPECT_EQ("2038/01/19 03:14:08.000000", kr_to_string(value(2'147'483'648)));
    EXPECT_EQ("3000/12/31 23:59:59.000000", kr_to_string(value(32'535'215'999)));
}

TEST(KrTimeText, GoesOnAfterTheLastSecondOf32Bits)
{
    EXPECT_EQ("2106/02/07 06:28:15.999999", kr_to_string(value(4'294'967'295, 999'999)));
    EXPECT_EQ("2106/02/07 06:28:16.000000", kr_to_string(value(4'294'967'296)));
    EXPECT_EQ("2106/02/08 00:00:00.000000", kr_to_string(value(4'295'030'400)));
}

TEST(KrTimeText, OfTheYears3001To9999)
{
    EXPECT_EQ("3001/01/01 00:00:00.000000", kr_to_string(value(32'535'216'000)));
    EXPECT_EQ("9999/12/31 23:59:59.999999", kr_to_string(value(253'402'300'799, 999'999)));
}

TEST(KrTimeText, OfAYearWithMoreThanFourDigits)
{
    EXPECT_EQ("10000/01/01 00:00:00.000000", kr_to_string(value(253'402'300'800)));
    EXPECT_EQ("100000/01/01 00:00:00.000007", kr_to_string(value(3'093'527'980'800, 7)));
}

TEST(KrTimeText, OfAnInstantBefore1970ContinuesTheCalendar)
{
    EXPECT_EQ("1969/12/31 23:59:59.000000", kr_to_string(value(-1)));
    EXPECT_EQ("1969/12/31 00:00:00.000000", kr_to_string(value(-86'400)));
    EXPECT_EQ("1900/03/01 00:00:00.000000", kr_to_string(value(-2'203'891'200)));
    EXPECT_EQ("1600/02/29 00:00:00.000000", kr_to_string(value(-11'670'998'400)));
    EXPECT_EQ("0001/01/01 00:00:00.000000", kr_to_string(value(-62'135'596'800)));
    EXPECT_EQ("0000/01/01 00:00:00.000000", kr_to_string(value(-62'167'219'200)));
    EXPECT_EQ("-001/12/31 23:59:59.000000", kr_to_string(value(-62'167'219'201)));
}

TEST(KrTimeText, OfNegativeMicrosecondsIsTheInstantThatTheyStandFor)
{
    EXPECT_EQ("1969/12/31 23:59:59.500000", kr_to_string(value(0, -500'000)));
    EXPECT_EQ("1969/12/31 23:59:59.500000", kr_to_string(value(-1, 500'000)));
    EXPECT_EQ("1969/12/31 23:59:57.999999", kr_to_string(value(-2, -1)));
}

TEST(KrTimeText, OfMicrosecondsSetAsideIsTheInstantThatTheyStandFor)
{
    ACE_Time_Value instant(1'700'000'000);
    instant.usec(2'000'003);
    EXPECT_EQ("2023/11/14 22:13:22.000003", kr_to_string(instant));
    instant.usec(-1);
    EXPECT_EQ("2023/11/14 22:13:19.999999", kr_to_string(instant));
}

TEST(KrTimeText, StopsAtTheYearsOfAMillion)
{
    constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ("1000000/12/31 23:59:59.000000", kr_to_string(value(highest)));
    EXPECT_EQ("-1000000/01/01 00:00:00.000000", kr_to_string(value(lowest)));
    ACE_Time_Value beyond(highest);
    beyond.usec(2'000'000);
    EXPECT_EQ("1000000/12/31 23:59:59.000000", kr_to_string(beyond));
    EXPECT_EQ((Fields{1'000'000, 12, 31, 23, 59, 59, 0, 0}),
              fields(kr_to_ace_date_time(value(highest))));
    EXPECT_EQ((Fields{-1'000'000, 1, 1, 0, 0, 0, 0, 6}),
              fields(kr_to_ace_date_time(value(lowest))));
}

TEST(KrTimeText, OfFieldsIsMadeFromThemAsTheyStand)
{
    const struct {
        ACE_Date_Time date;
        const char* text;
    } rows[] = {
        {date(2024, 3, 5, 7, 8, 9, 123), "2024/03/05 07:08:09.000123"},
        {date(2023, 13, 1), "2023/13/01 00:00:00.000000"},
        {date(0, 0, 0), "0000/00/00 00:00:00.000000"},
        {date(9999, 99, 99, 99, 99, 99, 999'999), "9999/99/99 99:99:99.999999"},
        {date(12024, 3, 5), "12024/03/05 00:00:00.000000"},
        {date(7, 3, 5), "0007/03/05 00:00:00.000000"},
        {date(-7, -3, -5, -1), "-007/-3/-5 -1:00:00.000000"},
        {date(2024, 100, 1, 100, 100, 100, 1'000'000), "2024/100/01 100:100:100.1000000"},
        {date(2024, 1, 1, 0, 0, 0, -1), "2024/01/01 00:00:00.4294967295"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.text, kr_to_string(row.date));
}

TEST(KrTimeText, OfOneFieldWithThreeDigitsIsComplete)
{
    EXPECT_EQ("2024/100/01 00:00:00.000000", kr_to_string(date(2024, 100, 1)));
    EXPECT_EQ("2024/01/100 00:00:00.000000", kr_to_string(date(2024, 1, 100)));
    EXPECT_EQ("2024/01/01 100:00:00.000000", kr_to_string(date(2024, 1, 1, 100)));
    EXPECT_EQ("2024/01/01 00:100:00.000000", kr_to_string(date(2024, 1, 1, 0, 100)));
    EXPECT_EQ("2024/01/01 00:00:100.000000", kr_to_string(date(2024, 1, 1, 0, 0, 100)));
    EXPECT_EQ("2024/01/01 00:00:00.1000000", kr_to_string(date(2024, 1, 1, 0, 0, 0, 1'000'000)));
    EXPECT_EQ("10000/01/01 00:00:00.000000", kr_to_string(date(10000, 1, 1)));
}

TEST(KrTimeText, OfTheLongestFieldsIsComplete)
{
    constexpr long low = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ("-2147483648/-2147483648/-2147483648 -2147483648:-2147483648:-2147483648.2147483648",
              kr_to_string(date(low, low, low, low, low, low, low)));
}

TEST(KrTimeText, OfFieldsTakesTheirLow32Bits)
{
    if (sizeof(long) == 4)
        GTEST_SKIP() << "fields have 32 bits here";
    const auto wide = static_cast<long>(std::int64_t{1} << 32);
    EXPECT_EQ("2024/03/05 07:08:09.000123",
              kr_to_string(
                  date(wide + 2024, wide + 3, wide + 5, wide + 7, wide + 8, wide + 9, wide + 123)));
}

TEST(KrTimeText, ReadFullyAndWrittenComesBack)
{
    for (const char* text : {"2024/02/29 23:59:59.500000", "1970/01/01 00:00:00.000000",
                             "0000/12/31 01:02:03.000004", "9999/12/31 23:59:59.999999"})
        EXPECT_EQ(text, kr_to_string(date_of(text)));
}

TEST(KrTimeText, OfATimeValueGivesItsValueBack)
{
    for (const ACE_Time_Value& instant : {value(1'700'000'000, 5), value(0), value(0, 1),
                                          value(4'102'444'800, 999'999), value(32'535'215'999, 1)})
        EXPECT_EQ(instant, kr_to_ace_time_value(kr_to_string(instant)));
}

TEST(KrTimeText, IsReadUpToTheFirstFieldThatDoesNotMatch)
{
    const struct {
        const char* text;
        Fields fields;
    } rows[] = {
        {"2024/02/29 23:59:59.123456", {2024, 2, 29, 23, 59, 59, 123'456, 0}},
        {"2024/02/29 23:59:59.1234567", {2024, 2, 29, 23, 59, 59, 123'456, 0}},
        {"2024/02/29 23:59:59.123456 UTC", {2024, 2, 29, 23, 59, 59, 123'456, 0}},
        {"2024/02/29 23:59:59.123456+03:00", {2024, 2, 29, 23, 59, 59, 123'456, 0}},
        {"2024/02/29 23:59:59.5", {2024, 2, 29, 23, 59, 59, 5, 0}},
        {"2024/02/29 23:59:59.", {2024, 2, 29, 23, 59, 59, 0, 0}},
        {"2024/02/29 23:59:59", {2024, 2, 29, 23, 59, 59, 0, 0}},
        {"2024/02/29 23:59:", {2024, 2, 29, 23, 59, 0, 0, 0}},
        {"2024/02/29 23", {2024, 2, 29, 23, 0, 0, 0, 0}},
        {"2024/02/29 ", {2024, 2, 29, 0, 0, 0, 0, 0}},
        {"2024/02/29", {2024, 2, 29, 0, 0, 0, 0, 0}},
        {"2024/02", {2024, 2, 0, 0, 0, 0, 0, 0}},
        {"2024", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"24", {24, 0, 0, 0, 0, 0, 0, 0}},
        {"", {0, 0, 0, 0, 0, 0, 0, 0}},
        {"never", {0, 0, 0, 0, 0, 0, 0, 0}},
        {"2024-02-29 23:59:59.123456", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"2024/02/29T23:59:59.123456", {2024, 2, 29, 0, 0, 0, 0, 0}},
        {"2024/02/29 23:59:59,123456", {2024, 2, 29, 23, 59, 59, 0, 0}},
        {"2024/02/29 23:5x:59.123456", {2024, 2, 29, 23, 5, 0, 0, 0}},
        {"2024/02/29 23:59:59.12345x", {2024, 2, 29, 23, 59, 59, 12'345, 0}},
        {"2024/02/29 23:59:59.x23456", {2024, 2, 29, 23, 59, 59, 0, 0}},
        {"x024/02/29 23:59:59.123456", {0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.fields, fields(date_of(row.text))) << row.text;
}

TEST(KrTimeText, IsReadWithShortFieldsBlanksAndSigns)
{
    const struct {
        const char* text;
        Fields fields;
    } rows[] = {
        {"2024/3/5 7:8:9.123", {2024, 3, 5, 7, 8, 9, 123, 0}},
        {" 2024/ 3/\t5\n 7: 8: 9. 123", {2024, 3, 5, 7, 8, 9, 123, 0}},
        {"2024/03/0507:08:09.000123", {2024, 3, 5, 7, 8, 9, 123, 0}},
        {"2024/03/05 \t\n\v\f\r 07:08:09.000123", {2024, 3, 5, 7, 8, 9, 123, 0}},
        {"2024 /03/05", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"2024/03/05 07 :08", {2024, 3, 5, 7, 0, 0, 0, 0}},
        {"+024/+3/-5 -1:+2:-3.-12345", {24, 3, -5, -1, 2, -3, -12'345, 0}},
        {"-2024/03", {-202, 0, 0, 0, 0, 0, 0, 0}},
        {"2024/-12/05", {2024, -1, 0, 0, 0, 0, 0, 0}},
        {"2024/+-1/05", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"2024/- 1/05", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"12024/03/05", {1202, 0, 0, 0, 0, 0, 0, 0}},
        {"2024/003/05", {2024, 0, 0, 0, 0, 0, 0, 0}},
        {"9999/99/99 99:99:99.999999", {9999, 99, 99, 99, 99, 99, 999'999, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.fields, fields(date_of(row.text))) << row.text;
}

TEST(KrTimeText, QuirkFewerDigitsOfMicrosecondsAreNoFraction)
{
    EXPECT_EQ(5, date_of("2024/02/29 23:59:59.5").microsec());
    EXPECT_EQ(value(1'709'251'199, 5), value_of("2024/02/29 23:59:59.5"));
    EXPECT_EQ("2024/02/29 23:59:59.000005", kr_to_string(date_of("2024/02/29 23:59:59.5")));
}

TEST(KrTimeText, EndsAtAZeroByte)
{
    std::string text = "2024/02/29 23:59:59.123456";
    text[22] = '\0';
    EXPECT_EQ((Fields{2024, 2, 29, 23, 59, 59, 12, 0}), fields(kr_to_ace_date_time(text)));
    text[4] = '\0';
    EXPECT_EQ((Fields{2024, 0, 0, 0, 0, 0, 0, 0}), fields(kr_to_ace_date_time(text)));
    text.insert(0, 1, '\0');
    EXPECT_EQ((Fields{0, 0, 0, 0, 0, 0, 0, 0}), fields(kr_to_ace_date_time(text)));
}

Fields read_by_scanf(const std::string& text)
{
    int read[7] = {};
    EXPECT_LE(std::sscanf(text.c_str(), "%04d/%02d/%02d %02d:%02d:%02d.%06d", &read[0], &read[1],
                          &read[2], &read[3], &read[4], &read[5], &read[6]),
              7);
    Fields fields(read, read + 7);
    fields.push_back(0);
    return fields;
}

TEST(KrTimeText, IsReadAsScanfReadsIt)
{
    const std::string characters("0123456789/:. +-\t\n\r\v\f\0xX\x85\xA0", 27);
    std::mt19937 random(2);
    for (int round = 0; round < 100'000; ++round) {
        std::string text = "2024/03/05 07:08:09.000123";
        for (auto change = random() % 6; change > 0; --change) {
            const std::size_t at = random() % text.size();
            const char character = characters[random() % characters.size()];
            switch (random() % 3) {
            case 0: text[at] = character; break;
            case 1: text.insert(at, 1, character); break;
            default: text.erase(at, 1); break;
            }
        }
        ASSERT_EQ(read_by_scanf(text), fields(kr_to_ace_date_time(text))) << text;
    }
}

TEST(KrTimeText, WithAnyOtherCharacterAtAnyPlaceIsReadAsScanfReadsIt)
{
    const std::string full = "2024/03/05 07:08:09.000123";
    for (std::size_t position = 0; position < full.size(); ++position) {
        for (int character = 0; character < 256; ++character) {
            std::string text = full;
            text[position] = static_cast<char>(character);
            ASSERT_EQ(read_by_scanf(text), fields(kr_to_ace_date_time(text))) << text;
        }
    }
}

TEST(KrTimeText, WithoutATimeIsMidnight)
{
    EXPECT_EQ(value(1'709'164'800), value_of("2024/02/29"));
    EXPECT_EQ("2024/02/29 00:00:00.000000", kr_to_string(value_of("2024/02/29")));
}

// Puts the process into a time zone, and back into UTC at the end.
struct Time_Zone {
    explicit Time_Zone(const char* assignment)
    {
        ACE_OS::putenv(assignment);
        ACE_OS::tzset();
    }
    ~Time_Zone()
    {
        ACE_OS::putenv("TZ=UTC0");
        ACE_OS::tzset();
    }
    Time_Zone(const Time_Zone&) = delete;
    Time_Zone& operator=(const Time_Zone&) = delete;
};

TEST(KrTimeText, IsNeverLocalTime)
{
    const Time_Zone five_hours_ahead("TZ=XXX-5");
    const ACE_Time_Value instant = value(1'719'835'200);
    ASSERT_EQ(17, ACE_Date_Time(instant).hour()) << "the zone does not act";
    EXPECT_EQ("2024/07/01 12:00:00.000000", kr_to_string(instant));
    EXPECT_EQ(12, kr_to_ace_date_time(instant).hour());
    EXPECT_EQ(instant, value_of("2024/07/01 12:00:00.000000"));
    EXPECT_EQ(instant, value_of("2024/07/01 12:00:00.000000+02:00"));
    EXPECT_EQ(instant, kr_to_ace_time_value(date(2024, 7, 1, 12)));
    EXPECT_EQ(value(43'200), time_of_day(instant));
}

TEST(KrDateTime, OfATimeValueHasTheWeekday)
{
    EXPECT_EQ((Fields{1970, 1, 1, 0, 0, 0, 0, 4}), fields(kr_to_ace_date_time(value(0))));
    EXPECT_EQ((Fields{2023, 11, 14, 22, 13, 20, 5, 2}),
              fields(kr_to_ace_date_time(value(1'700'000'000, 5))));
    EXPECT_EQ((Fields{2024, 3, 3, 0, 0, 0, 0, 0}),
              fields(kr_to_ace_date_time(value(1'709'424'000))));
    EXPECT_EQ((Fields{1969, 12, 31, 23, 59, 59, 500'000, 3}),
              fields(kr_to_ace_date_time(value(-1, 500'000))));
    EXPECT_EQ((Fields{3001, 1, 1, 0, 0, 0, 0, 4}),
              fields(kr_to_ace_date_time(value(32'535'216'000))));
}

TEST(KrDateTime, OfATextHasNoWeekday)
{
    EXPECT_EQ(0, date_of("2023/11/14 22:13:20.000005").weekday());
}

TEST(KrTimeValue, OfFieldsDoesNotReadTheWeekday)
{
    EXPECT_EQ(value(1'700'000'000, 5), kr_to_ace_time_value(date(2023, 11, 14, 22, 13, 20, 5, 6)));
}

TEST(KrTimeValue, OfFieldsOutsideTheirRangesIsCarried)
{
    const struct {
        ACE_Date_Time date;
        const char* text;
    } rows[] = {
        {date(2023, 13, 1), "2024/01/01 00:00:00.000000"},
        {date(2023, 0, 1), "2022/12/01 00:00:00.000000"},
        {date(2024, -11, 1), "2023/01/01 00:00:00.000000"},
        {date(2024, -12, 1), "2022/12/01 00:00:00.000000"},
        {date(2000, 25, 1), "2002/01/01 00:00:00.000000"},
        {date(2023, 2, 29), "2023/03/01 00:00:00.000000"},
        {date(2024, 3, 0), "2024/02/29 00:00:00.000000"},
        {date(2024, 1, 400), "2025/02/03 00:00:00.000000"},
        {date(2024, 1, 1, 24, 60, 60), "2024/01/02 01:01:00.000000"},
        {date(2024, 1, 1, 0, 0, -1), "2023/12/31 23:59:59.000000"},
        {date(2024, 1, 1, 0, 0, 0, 1'000'001), "2024/01/01 00:00:01.000001"},
        {date(2024, 1, 1, 0, 0, 0, -1), "2023/12/31 23:59:59.999999"},
        {date(1969, 13, 1), "1970/01/01 00:00:00.000000"},
        {date(0, 12 * 1970 + 1, 1), "1970/01/01 00:00:00.000000"},
        {date(2024, 1, 1, 0, 0, 0, 2'147'483'647), "2024/01/01 00:35:47.483647"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.text, kr_to_string(kr_to_ace_time_value(row.date)));
}

TEST(KrTimeValue, OfADateBefore1970IsMinusOneSecondAndTheMicroseconds)
{
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(1969, 12, 31, 23, 59, 58)));
    EXPECT_EQ(value(-1, 7), kr_to_ace_time_value(date(1969, 12, 31, 0, 0, 0, 7)));
    EXPECT_EQ(value(-1, 500'000), kr_to_ace_time_value(date(1900, 1, 1, 0, 0, 0, 500'000)));
    EXPECT_EQ(value(-1), kr_to_ace_time_value(ACE_Date_Time(0)));
    EXPECT_EQ(value(-1), value_of(""));
    EXPECT_EQ(value(-1, 999'999), value_of("0000/00/00 00:00:00.999999"));
    EXPECT_EQ("1969/12/31 23:59:59.999999", kr_to_string(value_of("0000/00/00 00:00:00.999999")));
    EXPECT_EQ(value(0), value_of("1970/01/01"));
}

TEST(KrTimeValue, OfADateAfterTheYear3000IsMinusOneSecondAndTheMicroseconds)
{
    EXPECT_EQ(value(32'535'215'999, 999'999), value_of("3000/12/31 23:59:59.999999"));
    EXPECT_EQ(value(-1, 3), value_of("3001/01/01 00:00:00.000003"));
    EXPECT_EQ(value(-1), value_of("3000/12/32"));
    EXPECT_EQ(value(-1, 999'999), value_of("9999/99/99 99:99:99.999999"));
}

constexpr long highest = std::numeric_limits<std::int32_t>::max();
constexpr long lowest = std::numeric_limits<std::int32_t>::min();

TEST(KrTimeValue, OfFieldsFarOutsideTheirRangesIsCarried)
{
    EXPECT_EQ(value(1'706'659'200), kr_to_ace_time_value(date(2024, 1, 1, 0, 0, 2'592'000)));
    const struct {
        ACE_Date_Time date;
        std::int64_t seconds;
    } rows[] = {
        {date(2024, 1, 1, 0, 0, 1'000'001), 1'705'067'201},
        {date(2024, 1, 1, 0, 0, -2'592'000), 1'701'475'200},
        {date(2024, 1, 1, 0, 0, highest), 3'851'550'847},
        {date(2093, 1, 1, 0, 0, lowest), 1'734'122'752},
        {date(1970, 1, 1, 0, 1'000'001, -60'000'060), 0},
        {date(2024, 1, 1, 0, 5'000'000), 2'004'067'200},
        {date(2024, 1, 1, 5'000'000), 19'704'067'200},
        {date(2024, 1, 300'000), 27'623'980'800},
        {date(2024, 11'000, 1), 30'628'627'200},
        // Far out by one field, and back by another.
        {date(2024, 1, -1'000'000 + 1, 24'000'000), 1'704'067'200},
        {date(2024, 1, -24'854, 0, 0, 2'147'472'000), 1'704'067'200},
        {date(-1'200'000, 12 * 1'202'024 + 1, 1), 1'704'067'200},
        {date(lowest, 1, 1), -1},
        {date(-5'877'616, 1, highest), 773'798'400},
        {date(highest, lowest, 1), -1},
        {date(178'958'994, lowest + 1, 1), 1'682'899'200},
    };
    for (const auto& row : rows)
        EXPECT_EQ(value(row.seconds), kr_to_ace_time_value(row.date)) << kr_to_string(row.date);
}

TEST(KrTimeValue, OfTheMostExtremeFieldsIsMinusOneSecond)
{
    for (const long field : {highest, lowest}) {
        EXPECT_EQ(value(-1), kr_to_ace_time_value(date(field, 1, 1)));
        EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, field, 1)));
        EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1, field)));
        EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1, 1, field)));
        EXPECT_EQ(value(-1), kr_to_ace_time_value(date(field, field, field, field, field, field)));
    }
}

TEST(KrTimeValue, OfFieldsOfMoreThan32BitsIsMinusOneSecond)
{
    if (sizeof(long) == 4)
        GTEST_SKIP() << "fields have 32 bits here";
    const auto wide = static_cast<long>(std::int64_t{1} << 32);
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024 + wide, 1, 1)));
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1 + wide, 1)));
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1, 1 - wide)));
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1, 1, wide)));
    EXPECT_EQ(value(-1), kr_to_ace_time_value(date(2024, 1, 1, 0, -wide)));
    EXPECT_EQ(value(-1, 5), kr_to_ace_time_value(date(2024, 1, 1, 0, 0, wide / 2, 5)));
}

TEST(KrTimeValue, IsBelowZeroExactlyWhenThereIsNoTime)
{
    for (const char* microseconds : {"000000", "000001", "500000", "999999"}) {
        const std::string end = std::string(" 00:00:00.") + microseconds;
        EXPECT_LT(kr_to_ace_time_value("1969/12/31" + end), ACE_Time_Value::zero);
        EXPECT_LT(kr_to_ace_time_value("9999/12/31" + end), ACE_Time_Value::zero);
        EXPECT_GE(kr_to_ace_time_value("1970/01/01" + end), ACE_Time_Value::zero);
    }
    // As the header says, the seconds alone do not tell, nor does a sum with more microseconds.
    EXPECT_EQ(0, value_of("1969/12/31 00:00:00.500000").sec());
    EXPECT_EQ(value(1), kr_to_ace_time_value(date(1969, 1, 1, 0, 0, 0, 2'000'000)));
}

TEST(KrTimeValue, OfTheMostMicrosecondsIsCarriedAtOnce)
{
    constexpr std::int64_t most = std::numeric_limits<long>::max();
    const ACE_Time_Value instant =
        kr_to_ace_time_value(date(1970, 1, 1, 0, 0, 0, static_cast<long>(most)));
    EXPECT_EQ(most / 1'000'000, instant.sec());
    EXPECT_EQ(most % 1'000'000, instant.usec());
}

TEST(KrTimeValue, OfFieldsAgreesWithTheSystemsCalendar)
{
    std::mt19937 random(3);
    for (int round = 0; round < 50'000; ++round) {
        const auto any = [&](int limit) {
            return static_cast<int>(random() % (2U * static_cast<unsigned>(limit))) - limit;
        };
        // Windows refuses fields whose months lead out of its years, even if the days lead back.
        const int spread = round % 2 == 0 ? 40 : 20'000;
        kr_platform_testing::Calendar_Time time;
        time.year = 2484 + any(508);
        time.month = any(70);
        time.day = any(spread);
        time.hour = any(spread);
        time.minute = any(spread);
        time.second = any(spread * spread);
        const std::int64_t expected = kr_platform_testing::system_seconds(time);
        ASSERT_EQ(value(expected <= kr_platform::last_second ? expected : -1),
                  kr_to_ace_time_value(
                      date(time.year, time.month, time.day, time.hour, time.minute, time.second)))
            << time.year << ' ' << time.month << ' ' << time.day << ' ' << time.hour << ' '
            << time.minute << ' ' << time.second;
    }
}

TEST(KrExtractTime, IsTheTimeSinceMidnightOfTheSameDay)
{
    for (const std::int64_t day : {0, 1, 365, 19'675, 20'000, 80'000, 376'000})
        EXPECT_EQ(value(3'600), time_of_day(value(86'400 * day + 3'600))) << day;
    EXPECT_EQ(value(80'000, 5), time_of_day(value(1'700'000'000, 5)));
    EXPECT_EQ(value(0), time_of_day(value(0)));
    EXPECT_EQ(value(0), time_of_day(value(86'400)));
    EXPECT_EQ(value(86'399, 999'999), time_of_day(value(86'399, 999'999)));
    EXPECT_EQ(value(23'295), time_of_day(value(4'294'967'295)));
    EXPECT_EQ(value(23'296), time_of_day(value(4'294'967'296)));
}

TEST(KrExtractTime, WorksBefore1970AndAfterTheYear3000)
{
    EXPECT_EQ(value(86'399, 500'000), time_of_day(value(-1, 500'000)));
    EXPECT_EQ(value(0), time_of_day(value(-86'400)));
    EXPECT_EQ(value(7), time_of_day(value(32'535'216'007)));
    EXPECT_EQ(value(86'399), time_of_day(value(std::numeric_limits<std::int64_t>::max())));
}

TEST(KrExtractTime, WritesToItsArgumentToo)
{
    ACE_Time_Value instant = value(1'700'000'000, 5);
    kr_extract_time(instant, instant);
    EXPECT_EQ(value(80'000, 5), instant);
}

} // namespace
