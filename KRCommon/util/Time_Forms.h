#pragma once

/// \file
/// Other texts of instants and durations: the time text with milliseconds or whole seconds, ISO 8601
/// as web services write it, and durations for people.
///
///     const ACE_Time_Value seen(1'700'000'000, 123'456);
///     kr_to_string(seen, KR_Time_Fraction::milliseconds); // 2023/11/14 22:13:20.123
///     kr_to_iso8601(seen);                                // 2023-11-14T22:13:20.123Z
///     kr_to_iso8601(seen, KR_Time_Fraction::none, 60);    // 2023-11-14T23:13:20+01:00
///     kr_to_duration_text(ACE_Time_Value(3'725));         // 1 h 02 min
///
/// Instants are from 1601-01-01 00:00:00 to 9999-12-31 23:59:59.999999 UTC here, and the year that a text
/// shows is 1601 to 9999 too. Others have the empty text and are not read.
///
/// Leap seconds: a time value counts none (as POSIX has it). The second 60 is read where one may be, at
/// 23:59 UTC on a month's last day, and is the same instant as the second after it; it is never written.
///
/// Threads: no state; all functions may run on any thread at once. They take no lock and do not log.
/// Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <ace/Time_Value.h>

#include <cstdint>
#include <string>
#include <string_view>

/// How many digits of the second's fraction a text has.
enum class KR_Time_Fraction : std::uint8_t { none = 0, milliseconds = 3, microseconds = 6 };

/// The time text, UTC, with such a fraction: "2024/03/05 07:08:09", "2024/03/05 07:08:09.000". Digits
/// that are left out are cut off, not rounded.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const ACE_Time_Value& value,
                                                       KR_Time_Fraction fraction);

/// Reads such a text back: exactly the form that kr_to_string() writes with that fraction, every number
/// in its range.
///
/// returns  cut, character, surplus, or range with the number's place; out is as it was then
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_ace_time_value(
    std::string_view text, KR_Time_Fraction fraction, ACE_Time_Value& out) noexcept;

/// ISO 8601 as RFC 3339 and xs:dateTime have it: "2024-03-05T07:08:09.000Z".
///
/// offset_minutes  how far the text's time is from UTC, positive east of Greenwich: 60 writes
///                 "...T08:08:09+01:00". 0 writes "Z". Beyond +-23:59 the text is empty.
[[nodiscard]] KRCOMMON_EXPORT std::string
kr_to_iso8601(const ACE_Time_Value& value,
              KR_Time_Fraction fraction = KR_Time_Fraction::milliseconds, int offset_minutes = 0);

/// Reads ISO 8601. Accepted is, from the text's begin to its end,
///
///     YYYY-MM-DD ("T" | "t" | " ") hh:mm:ss [("." | ",") digits] ("Z" | "z" | (+|-)hh[[:]mm])
///
/// with every number in its range, the hour from 0 to 23, offsets to 23:59. Of the fraction six digits
/// count; there may be any number of them. A text without "Z" or an offset is refused: nobody knows
/// which instant it tells. "-00:00" is UTC. Dates of weeks or ordinal days, the basic form without
/// hyphens and the hour 24 are not read.
///
/// offset_minutes  takes the text's offset; may be null
/// returns         cut, character, surplus, or range with the number's place (0 where the instant itself
///                 is out of range); the outputs are as they were then
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_from_iso8601(
    std::string_view text, ACE_Time_Value& out, int* offset_minutes = nullptr) noexcept;

/// A duration in its two largest units, the second with two digits; what is smaller is cut off:
///
///     0 s    250 ms    36 s    5 min 07 s    1 h 02 min    3 d 04 h
///
/// Seconds stand alone, and milliseconds where there is no whole second. A negative one has a minus in
/// front.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_duration_text(const ACE_Time_Value& duration);

/// Reads a duration: numbers with the units d, h, min, s and ms, larger units first, each at most once.
/// Blanks may stand between numbers and units or not; a minus may stand in front. The first number has
/// any size up to 999,999,999,999; those after it must be less than one of the unit above theirs: h to
/// 23, min and s to 59, ms to 999. Seconds may have a fraction of one to six digits, and end the text
/// then: "36 s", "1 h 02 min", "90 min", "-1d", "1.5 s", "2 min 0.25 s".
///
/// returns  cut, character, surplus, or range with the number's place; out is as it was then
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result
kr_try_from_duration_text(std::string_view text, ACE_Time_Value& out) noexcept;
