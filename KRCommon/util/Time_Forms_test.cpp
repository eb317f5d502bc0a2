#include <KRCommon/util/Time_Forms.h>

#include <KRCommon/util/Time_Text.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using Error = KR_Parse_Error;
using Fraction = KR_Time_Fraction;

const ACE_Time_Value seen(1'700'000'000, 123'456);
const ACE_Time_Value first(-11'644'473'600, 0);
const ACE_Time_Value last(253'402'300'799, 999'999);
const ACE_Time_Value before_first(-11'644'473'601, 999'999);
const ACE_Time_Value after_last(253'402'300'800, 0);
const ACE_Time_Value untouched(-77, 0);

struct Bad {
    std::string text;
    KR_Parse_Result result;
};

TEST(TimeTextWithFraction, IsCutNotRounded)
{
    EXPECT_EQ("2023/11/14 22:13:20", kr_to_string(seen, Fraction::none));
    EXPECT_EQ("2023/11/14 22:13:20.123", kr_to_string(seen, Fraction::milliseconds));
    EXPECT_EQ("2023/11/14 22:13:20.123456", kr_to_string(seen, Fraction::microseconds));
    const ACE_Time_Value late(1'700'000'000, 999'999);
    EXPECT_EQ("2023/11/14 22:13:20", kr_to_string(late, Fraction::none));
    EXPECT_EQ("2023/11/14 22:13:20.999", kr_to_string(late, Fraction::milliseconds));
    EXPECT_EQ("1969/12/31 23:59:59.500",
              kr_to_string(ACE_Time_Value(0, -500'000), Fraction::milliseconds));
}

TEST(TimeTextWithFraction, IsEmptyOutOfRange)
{
    EXPECT_EQ("1601/01/01 00:00:00.000", kr_to_string(first, Fraction::milliseconds));
    EXPECT_EQ("9999/12/31 23:59:59.999", kr_to_string(last, Fraction::milliseconds));
    EXPECT_EQ("", kr_to_string(before_first, Fraction::none));
    EXPECT_EQ("", kr_to_string(after_last, Fraction::none));
    EXPECT_EQ("", kr_to_string(ACE_Time_Value::max_time, Fraction::microseconds));
    EXPECT_EQ(
        "", kr_to_string(ACE_Time_Value(std::numeric_limits<std::time_t>::min()), Fraction::none));
}

TEST(TimeTextWithFraction, IsReadBack)
{
    for (const ACE_Time_Value& value : {seen, first, last, ACE_Time_Value(-1, 500'000)})
        for (const Fraction fraction :
             {Fraction::none, Fraction::milliseconds, Fraction::microseconds}) {
            const std::string text = kr_to_string(value, fraction);
            ACE_Time_Value back(untouched);
            EXPECT_EQ((KR_Parse_Result{Error::none, text.size()}),
                      kr_try_to_ace_time_value(text, fraction, back));
            EXPECT_EQ(text, kr_to_string(back, fraction));
        }
    ACE_Time_Value back;
    ASSERT_TRUE(kr_try_to_ace_time_value("2023/11/14 22:13:20.123", Fraction::milliseconds, back));
    EXPECT_EQ(ACE_Time_Value(1'700'000'000, 123'000), back);
    ASSERT_TRUE(kr_try_to_ace_time_value("2016/12/31 23:59:60.5", Fraction::none, back).error ==
                Error::surplus);
    ASSERT_TRUE(kr_try_to_ace_time_value("2016/12/31 23:59:60", Fraction::none, back));
    EXPECT_EQ("2017/01/01 00:00:00", kr_to_string(back, Fraction::none));
}

TEST(TimeTextWithFraction, IsReadInItsExactFormAlone)
{
    const std::vector<Bad> rows = {{"", {Error::cut, 0}},
                                   {"2023/11/14 22:13:20", {Error::cut, 19}},
                                   {"2023/11/14 22:13:20.", {Error::cut, 20}},
                                   {"2023/11/14 22:13:20.12", {Error::cut, 22}},
                                   {"2023/11/14 22:13:20.1234", {Error::surplus, 23}},
                                   {"2023/11/14 22:13:20,123", {Error::character, 19}},
                                   {"2023/11/14T22:13:20.123", {Error::character, 10}},
                                   {"2023/1/14 22:13:20.123", {Error::character, 6}},
                                   {" 2023/11/14 22:13:20.123", {Error::character, 0}},
                                   {"2023/11/14 22:13:20.123 ", {Error::surplus, 23}},
                                   {"1600/12/31 23:59:59.999", {Error::range, 0}},
                                   {"2023/02/29 22:13:20.123", {Error::range, 8}},
                                   {"2023/11/14 24:00:00.000", {Error::range, 11}},
                                   {"2023/11/14 23:59:60.000", {Error::range, 17}},
                                   {"9999/12/31 23:59:60.000", {Error::range, 0}}};
    for (const Bad& row : rows) {
        ACE_Time_Value out(untouched);
        EXPECT_EQ(row.result, kr_try_to_ace_time_value(row.text, Fraction::milliseconds, out))
            << row.text;
        EXPECT_EQ(untouched, out);
    }
}

TEST(Iso8601, IsWrittenWithZOrAnOffset)
{
    EXPECT_EQ("2023-11-14T22:13:20.123Z", kr_to_iso8601(seen));
    EXPECT_EQ("2023-11-14T22:13:20Z", kr_to_iso8601(seen, Fraction::none));
    EXPECT_EQ("2023-11-14T22:13:20.123456Z", kr_to_iso8601(seen, Fraction::microseconds));
    EXPECT_EQ("2023-11-15T03:43:20+05:30", kr_to_iso8601(seen, Fraction::none, 330));
    EXPECT_EQ("2023-11-14T18:43:20.123-03:30", kr_to_iso8601(seen, Fraction::milliseconds, -210));
    EXPECT_EQ("2023-11-15T22:12:20+23:59", kr_to_iso8601(seen, Fraction::none, 1'439));
    EXPECT_EQ("2023-11-13T22:14:20-23:59", kr_to_iso8601(seen, Fraction::none, -1'439));
    EXPECT_EQ("", kr_to_iso8601(seen, Fraction::none, 1'440));
    EXPECT_EQ("", kr_to_iso8601(seen, Fraction::none, -1'440));
    EXPECT_EQ("", kr_to_iso8601(seen, Fraction::none, std::numeric_limits<int>::min()));
}

TEST(Iso8601, IsEmptyOutOfRange)
{
    EXPECT_EQ("1601-01-01T00:00:00Z", kr_to_iso8601(first, Fraction::none));
    EXPECT_EQ("9999-12-31T23:59:59.999Z", kr_to_iso8601(last));
    EXPECT_EQ("", kr_to_iso8601(before_first));
    EXPECT_EQ("", kr_to_iso8601(after_last));
    EXPECT_EQ("", kr_to_iso8601(first, Fraction::none, -1));
    EXPECT_EQ("", kr_to_iso8601(last, Fraction::none, 1));
}

struct Read {
    ACE_Time_Value value;
    int offset;
};

Read iso(std::string_view text)
{
    Read read{untouched, 4711};
    const KR_Parse_Result result = kr_try_from_iso8601(text, read.value, &read.offset);
    EXPECT_TRUE(result) << text << ": " << result.reason() << " at " << result.position;
    EXPECT_EQ(text.size(), result.position);
    return read;
}

TEST(Iso8601, IsReadInAllItsShapes)
{
    const struct {
        const char* text;
        std::time_t seconds;
        suseconds_t microseconds;
        int offset;
    } rows[] = {{"2023-11-14T22:13:20Z", 1'700'000'000, 0, 0},
                {"2023-11-14t22:13:20z", 1'700'000'000, 0, 0},
                {"2023-11-14 22:13:20Z", 1'700'000'000, 0, 0},
                {"2023-11-14T22:13:20.5Z", 1'700'000'000, 500'000, 0},
                {"2023-11-14T22:13:20,05Z", 1'700'000'000, 50'000, 0},
                {"2023-11-14T22:13:20.123456Z", 1'700'000'000, 123'456, 0},
                {"2023-11-14T22:13:20.1234569999Z", 1'700'000'000, 123'456, 0},
                {"2023-11-15T03:43:20+05:30", 1'700'000'000, 0, 330},
                {"2023-11-15T03:43:20+0530", 1'700'000'000, 0, 330},
                {"2023-11-14T23:13:20+01", 1'700'000'000, 0, 60},
                {"2023-11-14T18:43:20-03:30", 1'700'000'000, 0, -210},
                {"2023-11-14T22:13:20-00:00", 1'700'000'000, 0, 0},
                {"2023-11-15T22:12:20+23:59", 1'700'000'000, 0, 1'439},
                {"1970-01-01T00:00:00Z", 0, 0, 0},
                {"1969-12-31T23:59:59.5Z", -1, 500'000, 0},
                {"1601-01-01T00:00:00Z", -11'644'473'600, 0, 0},
                {"9999-12-31T23:59:59.999999Z", 253'402'300'799, 999'999, 0},
                {"2000-02-29T00:00:00Z", 951'782'400, 0, 0}};
    for (const auto& row : rows) {
        const Read read = iso(row.text);
        EXPECT_EQ(ACE_Time_Value(row.seconds, row.microseconds), read.value) << row.text;
        EXPECT_EQ(row.offset, read.offset) << row.text;
    }
    ACE_Time_Value value;
    EXPECT_TRUE(kr_try_from_iso8601("2023-11-14T22:13:20Z", value));
    EXPECT_EQ(1'700'000'000, value.sec());
}

TEST(Iso8601, ALeapSecondIsTheSecondAfterIt)
{
    EXPECT_EQ(ACE_Time_Value(1'483'228'800), iso("2016-12-31T23:59:60Z").value);
    EXPECT_EQ(ACE_Time_Value(1'483'228'800, 250'000), iso("2016-12-31T23:59:60.25Z").value);
    EXPECT_EQ(ACE_Time_Value(1'483'228'800), iso("2017-01-01T00:59:60+01:00").value);
    EXPECT_EQ(ACE_Time_Value(1'435'708'800), iso("2015-06-30T19:59:60-04:00").value);
    EXPECT_EQ("2017-01-01T00:00:00Z",
              kr_to_iso8601(iso("2016-12-31T23:59:60Z").value, Fraction::none));
}

const std::vector<Bad> bad_iso = {{"", {Error::cut, 0}},
                                  {"2023", {Error::cut, 4}},
                                  {"2023-11-14", {Error::cut, 10}},
                                  {"2023-11-14T", {Error::cut, 11}},
                                  {"2023-11-14T22:13Z", {Error::character, 16}},
                                  {"2023-11-14T22:13:20", {Error::cut, 19}},
                                  {"2023-11-14T22:13:20.", {Error::cut, 20}},
                                  {"2023-11-14T22:13:20.Z", {Error::character, 20}},
                                  {"2023-11-14T22:13:20.5", {Error::cut, 21}},
                                  {"2023-11-14T22:13:20 Z", {Error::character, 19}},
                                  {"2023-11-14T22:13:20ZZ", {Error::surplus, 20}},
                                  {"2023-11-14T22:13:20Z ", {Error::surplus, 20}},
                                  {" 2023-11-14T22:13:20Z", {Error::character, 0}},
                                  {"2023-11-14X22:13:20Z", {Error::character, 10}},
                                  {"2023/11/14T22:13:20Z", {Error::character, 4}},
                                  {"20231114T221320Z", {Error::character, 4}},
                                  {"2023-W46-2T22:13:20Z", {Error::character, 5}},
                                  {"-2023-11-14T22:13:20Z", {Error::character, 0}},
                                  {"12023-11-14T22:13:20Z", {Error::range, 0}},
                                  {"2023-11-14T22:13:20+", {Error::cut, 20}},
                                  {"2023-11-14T22:13:20+1", {Error::cut, 21}},
                                  {"2023-11-14T22:13:20+01:", {Error::cut, 23}},
                                  {"2023-11-14T22:13:20+01:5", {Error::cut, 24}},
                                  {"2023-11-14T22:13:20+01:000", {Error::surplus, 25}},
                                  {"2023-11-14T22:13:20+0x", {Error::character, 21}},
                                  {"2023-11-14T22:13:20+24:00", {Error::range, 20}},
                                  {"2023-11-14T22:13:20+01:60", {Error::range, 23}},
                                  {"1600-12-31T23:59:59Z", {Error::range, 0}},
                                  {"1601-01-01T00:00:00+00:01", {Error::range, 0}},
                                  {"9999-12-31T23:59:59-00:01", {Error::range, 0}},
                                  {"9999-12-31T23:59:60Z", {Error::range, 0}},
                                  {"2023-00-14T22:13:20Z", {Error::range, 5}},
                                  {"2023-13-14T22:13:20Z", {Error::range, 5}},
                                  {"2023-11-00T22:13:20Z", {Error::range, 8}},
                                  {"2023-11-31T22:13:20Z", {Error::range, 8}},
                                  {"1900-02-29T22:13:20Z", {Error::range, 8}},
                                  {"2023-11-14T24:00:00Z", {Error::range, 11}},
                                  {"2023-11-14T22:60:20Z", {Error::range, 14}},
                                  {"2023-11-14T22:13:61Z", {Error::range, 17}},
                                  {"2023-11-14T22:13:60Z", {Error::range, 17}},
                                  {"2016-12-30T23:59:60Z", {Error::range, 17}},
                                  {"2016-12-31T23:59:60+01:00", {Error::range, 17}},
                                  {std::string("2023-11-14T22:13:20Z\0", 21), {Error::surplus, 20}},
                                  {std::string("2023-11-14\0", 11), {Error::character, 10}}};

TEST(Iso8601, OfOthersNothingIsRead)
{
    for (const Bad& row : bad_iso) {
        Read read{untouched, 4711};
        EXPECT_EQ(row.result, kr_try_from_iso8601(row.text, read.value, &read.offset))
            << row.text << " at " << kr_try_from_iso8601(row.text, read.value).position;
        EXPECT_EQ(untouched, read.value) << row.text;
        EXPECT_EQ(4711, read.offset) << row.text;
    }
}

TEST(Iso8601, EveryDayOfTheRangeComesBack)
{
    for (std::int64_t day = first.sec() / 86'400; day <= last.sec() / 86'400; day += 7) {
        const ACE_Time_Value value(static_cast<std::time_t>(day * 86'400 + 86'399), 999'999);
        const int offset = static_cast<int>(day % 1'439);
        const std::string text = kr_to_iso8601(value, Fraction::microseconds, offset);
        if (text.empty()) {
            ASSERT_TRUE(day <= first.sec() / 86'400 + 1 || day >= last.sec() / 86'400 - 1);
            continue;
        }
        const Read read = iso(text);
        ASSERT_EQ(value, read.value) << text;
        ASSERT_EQ(offset, read.offset) << text;
    }
}

TEST(DurationText, HasItsTwoLargestUnits)
{
    const struct {
        std::time_t seconds;
        suseconds_t microseconds;
        const char* text;
    } rows[] = {{0, 0, "0 s"},
                {0, 999, "0 s"},
                {0, 1'000, "1 ms"},
                {0, 250'999, "250 ms"},
                {1, 0, "1 s"},
                {36, 999'999, "36 s"},
                {59, 0, "59 s"},
                {60, 0, "1 min 00 s"},
                {307, 0, "5 min 07 s"},
                {3'599, 999'999, "59 min 59 s"},
                {3'600, 0, "1 h 00 min"},
                {3'725, 0, "1 h 02 min"},
                {86'399, 0, "23 h 59 min"},
                {86'400, 0, "1 d 00 h"},
                {273'600, 0, "3 d 04 h"},
                {86'400'000'000, 0, "1000000 d 00 h"},
                {-36, 0, "-36 s"},
                {0, -250'000, "-250 ms"},
                {0, -10, "0 s"},
                {-3'725, 0, "-1 h 02 min"}};
    for (const auto& row : rows)
        EXPECT_EQ(row.text, kr_to_duration_text(ACE_Time_Value(row.seconds, row.microseconds)));
    EXPECT_EQ("106751991167300 d 15 h",
              kr_to_duration_text(ACE_Time_Value(std::numeric_limits<std::int64_t>::max())));
    EXPECT_EQ("-106751991167300 d 15 h",
              kr_to_duration_text(ACE_Time_Value(std::numeric_limits<std::int64_t>::min())));
}

TEST(DurationText, IsRead)
{
    const struct {
        const char* text;
        std::time_t seconds;
        suseconds_t microseconds;
    } rows[] = {{"0 s", 0, 0},
                {"36 s", 36, 0},
                {"36s", 36, 0},
                {"1 h 02 min", 3'720, 0},
                {"1h2min", 3'720, 0},
                {"1 h  2   min", 3'720, 0},
                {"90 min", 5'400, 0},
                {"1 d 23 h 59 min 59 s 999 ms", 172'799, 999'000},
                {"1 d 1 ms", 86'400, 1'000},
                {"250 ms", 0, 250'000},
                {"1500 ms", 1, 500'000},
                {"1.5 s", 1, 500'000},
                {"0.000001 s", 0, 1},
                {"2 min 0.25 s", 120, 250'000},
                {"-36 s", -36, 0},
                {"-1 h 02 min", -3'720, 0},
                {"-1.5 s", -1, -500'000},
                {"000000000000036 s", 36, 0},
                {"999999999999 ms", 999'999'999, 999'000},
                {"999999999999 s", 999'999'999'999, 0}};
    for (const auto& row : rows) {
        ACE_Time_Value out(untouched);
        const KR_Parse_Result result = kr_try_from_duration_text(row.text, out);
        EXPECT_TRUE(result) << row.text << ": " << result.reason() << " at " << result.position;
        EXPECT_EQ(std::string(row.text).size(), result.position);
        EXPECT_EQ(ACE_Time_Value(row.seconds, row.microseconds), out) << row.text;
    }
    ACE_Time_Value out;
    EXPECT_TRUE(kr_try_from_duration_text("999999999999 d", out));
    EXPECT_EQ(86'399'999'999'913'600, out.sec());
}

TEST(DurationText, OfOthersNothingIsRead)
{
    const std::vector<Bad> rows = {{"", {Error::cut, 0}},
                                   {"-", {Error::cut, 1}},
                                   {" ", {Error::character, 0}},
                                   {"36", {Error::cut, 2}},
                                   {"36 ", {Error::cut, 3}},
                                   {"s", {Error::character, 0}},
                                   {" 36 s", {Error::character, 0}},
                                   {"36 s ", {Error::cut, 5}},
                                   {"36 x", {Error::character, 3}},
                                   {"36 S", {Error::character, 3}},
                                   {"36 sec", {Error::character, 4}},
                                   {"1 m", {Error::character, 2}},
                                   {"+36 s", {Error::character, 0}},
                                   {"- 36 s", {Error::character, 1}},
                                   {"--36 s", {Error::character, 1}},
                                   {"1 h -2 min", {Error::character, 4}},
                                   {"2 min 1 h", {Error::character, 8}},
                                   {"1 s 2 s", {Error::character, 6}},
                                   {"1 h 60 min", {Error::range, 4}},
                                   {"1 d 24 h", {Error::range, 4}},
                                   {"1 min 60 s", {Error::range, 6}},
                                   {"1 s 1000 ms", {Error::range, 4}},
                                   {"1000000000000 s", {Error::range, 0}},
                                   {"99999999999999999999999 s", {Error::range, 0}},
                                   {"1.5 h", {Error::character, 4}},
                                   {"1.5 ms", {Error::character, 4}},
                                   {"1. s", {Error::character, 2}},
                                   {"1.", {Error::cut, 2}},
                                   {".5 s", {Error::character, 0}},
                                   {"1.5 s 3 ms", {Error::surplus, 5}},
                                   {"1.5 s ", {Error::surplus, 5}},
                                   {"1.0000001 s", {Error::character, 8}},
                                   {"1,5 s", {Error::character, 1}},
                                   {std::string("36 s\0", 5), {Error::character, 4}}};
    for (const Bad& row : rows) {
        ACE_Time_Value out(untouched);
        const KR_Parse_Result result = kr_try_from_duration_text(row.text, out);
        EXPECT_EQ(static_cast<int>(row.result.error), static_cast<int>(result.error)) << row.text;
        EXPECT_EQ(row.result.position, result.position) << row.text;
        EXPECT_EQ(untouched, out) << row.text;
    }
}

TEST(DurationText, ThatIsWrittenIsReadBackAsFarAsItTells)
{
    for (std::time_t seconds = 0; seconds < 400'000; seconds += 7) {
        const ACE_Time_Value duration(seconds);
        ACE_Time_Value back;
        const std::string text = kr_to_duration_text(duration);
        ASSERT_TRUE(kr_try_from_duration_text(text, back)) << text;
        ASSERT_LE(back, duration);
        ASSERT_EQ(text, kr_to_duration_text(back));
    }
}

} // namespace
