// Any bytes as a time text, read beside scanf; what is read is written and read once more.

#include <KRCommon/util/Time_Text.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void require_as_scanf(const std::string& text, const ACE_Date_Time& date)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, microsecond = 0;
    static_cast<void>(std::sscanf(text.c_str(), "%04d/%02d/%02d %02d:%02d:%02d.%06d", &year, &month,
                                  &day, &hour, &minute, &second, &microsecond));
    require(date.year() == year && date.month() == month && date.day() == day);
    require(date.hour() == hour && date.minute() == minute && date.second() == second);
    require(date.microsec() == microsecond && date.weekday() == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const ACE_Date_Time date = kr_to_ace_date_time(text);
    require_as_scanf(text, date);

    const ACE_Time_Value instant = kr_to_ace_time_value(text);
    require(instant == kr_to_ace_time_value(date));
    require(instant >= ACE_Time_Value(-2) && instant <= ACE_Time_Value(32'535'216'000));

    const std::string written = kr_to_string(instant);
    require(written.size() == 26);
    require(written == kr_to_string(kr_to_ace_date_time(instant)));
    if (instant >= ACE_Time_Value(0) && instant < ACE_Time_Value(32'535'216'000))
        require(instant == kr_to_ace_time_value(written));

    ACE_Time_Value time_of_day;
    kr_extract_time(instant, time_of_day);
    require(time_of_day >= ACE_Time_Value(0) && time_of_day < ACE_Time_Value(86'400));
    require(kr_to_string(time_of_day).substr(11) == written.substr(11));
    require(kr_to_string(date).size() <= 82);
    return 0;
}
