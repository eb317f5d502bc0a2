#pragma once

/// \file
/// The three ways to hold a point in time, and conversions between them: ACE_Time_Value (seconds
/// and microseconds since 1970-01-01 00:00:00), ACE_Date_Time (calendar fields) and the time text,
/// of exactly this shape:
///
///     2024/03/05 07:08:09.000123
///
/// Year, month, day, hour (00-23), minute, second and six digits of microseconds, with zeros in
/// front. Everything is UTC: no function looks at the local time zone or at daylight saving.
///
///     const ACE_Time_Value seen(1'700'000'000, 5);
///     kr_to_string(seen);                                        // 2023/11/14 22:13:20.000005
///     kr_to_ace_time_value("2023/11/14 22:13:20.000005") == seen // true
///
/// Two ranges matter. Fields become a time value from 1970 through the year 3000. Time values
/// become fields and texts in the Gregorian calendar extended to both sides; years before
/// -1,000,000 count as the first and years after 1,000,000 as the last instant between the two.
///
/// A time value whose microseconds are not within 0 to 999,999, as ACE keeps instants before 1970,
/// stands for the sum of both, and the fields and texts show that: -0.5 s is 1969/12/31
/// 23:59:59.500000.
///
/// Threads: no state; all functions may run on any thread at once. They take no lock and do not
/// log.
/// Failure: none is reported but by kr_try_...(). Only the texts may throw, std::bad_alloc. Same on
/// Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <ace/Date_Time.h>
#include <ace/Time_Value.h>

#include <string>
#include <string_view>

/// The time text. A year before 0 begins with a minus sign and one after 9999 has as many digits as
/// it needs, so that only the years 0 to 9999 give 26 characters.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const ACE_Time_Value& value);

/// The time text of the fields as they stand: nothing is checked or carried, a month of 13 is
/// printed as 13. A field that needs more room takes it, a negative one has a minus sign within its
/// digits, and negative microseconds show as 2^32 more (-1 is 4294967295).
/// Of a field on Linux, where it has 64 bits, the low 32 bits count. The weekday is not read.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const ACE_Date_Time& date);

/// Calendar fields from a time text, as scanf reads "%04d/%02d/%02d %02d:%02d:%02d.%06d": white
/// space may stand before every number and around the blank, which may be missing; a number may
/// have a sign, which counts as one of its characters, and fewer digits. What follows the text is
/// ignored; a zero byte ends it.
///
/// returns  fields that were read, not checked for their range; 0 from the first that does not
///          match. An empty text gives all zeros. The weekday is always 0.
/// Quirk: the microseconds are a plain number, no fraction: "...:59.5" reads 5.
[[nodiscard]] KRCOMMON_EXPORT ACE_Date_Time kr_to_ace_date_time(const std::string& text);

/// Calendar fields of an instant, with the weekday (0 is Sunday).
[[nodiscard]] KRCOMMON_EXPORT ACE_Date_Time kr_to_ace_date_time(const ACE_Time_Value& value);

/// The instant of calendar fields. Fields outside their ranges are carried, however far: month 13
/// of 2023 is January 2024, 2,592,000 seconds after midnight are 30 days. The weekday is not read.
///
/// returns  seconds plus the date's microseconds. Where that is not possible the seconds are -1: of
///          an instant before 1970 or after the year 3000, as of the all-zero date of an unreadable
///          text, and, on Linux, of a field (microseconds aside) that does not fit into 32 bits.
/// Quirk: the microseconds are added to these -1 seconds too. As long as there are 0 to 999,999 of
///        them, a failure is below ACE_Time_Value::zero and nothing else is. Compare the whole
///        value: sec() alone may be 0, since ACE keeps -1 s and 500,000 us as 0 s and -500,000 us.
///        With more microseconds a failure looks like a time soon after 1970, with fewer a time
///        like a failure: check date.microsec() where the fields do not come from a text.
[[nodiscard]] KRCOMMON_EXPORT ACE_Time_Value kr_to_ace_time_value(const ACE_Date_Time& date);

/// The instant of a time text, which is read as kr_to_ace_date_time() reads it. Below
/// ACE_Time_Value::zero when there is none, see above.
[[nodiscard]] KRCOMMON_EXPORT ACE_Time_Value kr_to_ace_time_value(const std::string& text);

/// The time of day of in: seconds and microseconds since 00:00:00 UTC of its day, from 0 to
/// 86,399.999999, of any instant. out may be in.
KRCOMMON_EXPORT void kr_extract_time(const ACE_Time_Value& in, ACE_Time_Value& out);

/// The checked readers of a time text, for texts from outside. They give what the lenient ones above
/// give, or an error. Accepted is, from the text's begin to its end,
///
///     year/month/day [hour [:minute [:second [.microsecond]]]]
///
/// in the shapes that kr_to_ace_date_time() takes: numbers with fewer digits, white space or a plus
/// in front of them, no blank before the hour. What is left out is 0. Refused are a tail of any kind,
/// a zero byte too, and numbers out of range: year 1 to 9999, month 1 to 12, day 1 to the month's last,
/// hour to 23, minute to 59, second to 59. Second 60 is taken at 23:59 on a month's last day, where leap
/// seconds are, and is the same instant as the second after it.
/// Quirk: the microseconds are a plain number here too, ".5" reads 5.
///
/// out      the fields as they stand in the text, weekday 0; or their instant, for which the year must
///          be 1970 to 3000
/// returns  cut, character (where a digit or mark should be), surplus, or range with the number's place
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_ace_date_time(std::string_view text,
                                                                      ACE_Date_Time& out) noexcept;
/// The same text as an instant, of a year from 1970 to 3000.
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result
kr_try_to_ace_time_value(std::string_view text, ACE_Time_Value& out) noexcept;
