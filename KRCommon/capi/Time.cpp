#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/util/Time_Forms.h>
#include <KRCommon/util/Time_Text.h>

using namespace kr_internal::c;

static_assert(KR_C_FRACTION_MILLISECONDS == static_cast<int>(KR_Time_Fraction::milliseconds));

namespace {

bool is_fraction(kr_c_int32 fraction)
{
    return fraction == KR_C_FRACTION_NONE || fraction == KR_C_FRACTION_MILLISECONDS ||
           fraction == KR_C_FRACTION_MICROSECONDS;
}

KR_Time_Fraction fraction_of(kr_c_int32 fraction)
{
    return static_cast<KR_Time_Fraction>(fraction);
}

// What instants out of range have no text for.
kr_c_error give_time_text(const std::string& text, char* out, std::size_t capacity,
                          std::size_t* length)
{
    return text.empty() ? KR_C_OUT_OF_RANGE : give_text(text, out, capacity, length);
}

// read(text, time) is a checked reader.
template <typename Read>
kr_c_error read_time(const char* text, std::size_t length, std::int64_t* time,
                     std::size_t* position, Read read)
{
    if (const kr_c_error error = first_error({check_text(text, length), check_pointer(time)}))
        return error;
    ACE_Time_Value value;
    const KR_Parse_Result result = read(view_of(text, length), value);
    if (result)
        *time = to_microseconds(value);
    return give_result(result, position);
}

} // namespace

kr_c_error kr_c_time_to_date(kr_c_int64 time, kr_c_date* date)
{
    if (const kr_c_error error = check_pointer(date))
        return error;
    const auto number = [](long field) { return static_cast<std::int32_t>(field); };
    const ACE_Date_Time fields = kr_to_ace_date_time(to_time_value(time));
    *date = {number(fields.year()),     number(fields.month()),  number(fields.day()),
             number(fields.hour()),     number(fields.minute()), number(fields.second()),
             number(fields.microsec()), number(fields.weekday())};
    return KR_C_OK;
}

kr_c_error kr_c_time_from_date(const kr_c_date* date, kr_c_int64* time)
{
    constexpr std::int32_t last_microsecond = 999'999;
    if (const kr_c_error error = first_error({check_pointer(date), check_pointer(time)}))
        return error;
    // With others a failure could not be told from a time.
    if (date->microsecond < 0 || date->microsecond > last_microsecond)
        return KR_C_OUT_OF_RANGE;
    const ACE_Time_Value value =
        kr_to_ace_time_value(ACE_Date_Time(date->day, date->month, date->year, date->hour,
                                           date->minute, date->second, date->microsecond));
    if (value < ACE_Time_Value::zero)
        return KR_C_OUT_OF_RANGE;
    *time = to_microseconds(value);
    return KR_C_OK;
}

kr_c_error kr_c_time_to_text(kr_c_int64 time, kr_c_int32 fraction, char* out, kr_c_size capacity,
                             kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        if (!is_fraction(fraction))
            return KR_C_OUT_OF_RANGE;
        return give_time_text(kr_to_string(to_time_value(time), fraction_of(fraction)), out,
                              capacity, length);
    });
}

kr_c_error kr_c_time_from_text(const char* text, kr_c_size text_length, kr_c_int32 fraction,
                               kr_c_int64* time, kr_c_size* position)
{
    if (fraction != KR_C_FRACTION_ANY && !is_fraction(fraction))
        return KR_C_OUT_OF_RANGE;
    return read_time(text, text_length, time, position,
                     [&](std::string_view view, ACE_Time_Value& value) {
                         return fraction == KR_C_FRACTION_ANY
                                    ? kr_try_to_ace_time_value(view, value)
                                    : kr_try_to_ace_time_value(view, fraction_of(fraction), value);
                     });
}

kr_c_error kr_c_time_to_iso8601(kr_c_int64 time, kr_c_int32 fraction, kr_c_int32 offset_minutes,
                                char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        if (!is_fraction(fraction))
            return KR_C_OUT_OF_RANGE;
        return give_time_text(
            kr_to_iso8601(to_time_value(time), fraction_of(fraction), offset_minutes), out,
            capacity, length);
    });
}

kr_c_error kr_c_time_from_iso8601(const char* text, kr_c_size text_length, kr_c_int64* time,
                                  kr_c_int32* offset_minutes, kr_c_size* position)
{
    return read_time(text, text_length, time, position,
                     [&](std::string_view view, ACE_Time_Value& value) {
                         return kr_try_from_iso8601(view, value, offset_minutes);
                     });
}

kr_c_error kr_c_duration_to_text(kr_c_int64 duration, char* out, kr_c_size capacity,
                                 kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        return give_text(kr_to_duration_text(to_time_value(duration)), out, capacity, length);
    });
}

kr_c_error kr_c_duration_from_text(const char* text, kr_c_size text_length, kr_c_int64* duration,
                                   kr_c_size* position)
{
    return read_time(text, text_length, duration, position, kr_try_from_duration_text);
}
