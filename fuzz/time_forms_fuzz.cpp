// Any bytes as ISO 8601, as a time text with a fraction and as a duration: what is read is written and
// read once more; what is not has its error within the text and leaves the outputs alone.

#include <KRCommon/util/Time_Forms.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

const ACE_Time_Value untouched(-77);
const ACE_Time_Value first(-11'644'473'600);
const ACE_Time_Value end(253'402'300'800);

bool accepted(const KR_Parse_Result& result, const std::string& text)
{
    require(result.position <= text.size());
    require(!result || result.position == text.size());
    return bool(result);
}

void require_iso(const std::string& text)
{
    ACE_Time_Value value(untouched);
    int offset = 4711;
    if (!accepted(kr_try_from_iso8601(text, value, &offset), text)) {
        require(value == untouched && offset == 4711);
        return;
    }
    require(value >= first && value < end);
    ACE_Time_Value again;
    int again_offset = 4711;
    std::string written = kr_to_iso8601(value, KR_Time_Fraction::microseconds, offset);
    if (written.empty()) { // a leap second of the last day, in local time
        offset = 0;
        written = kr_to_iso8601(value, KR_Time_Fraction::microseconds);
    }
    require(bool(kr_try_from_iso8601(written, again, &again_offset)));
    require(again == value && again_offset == offset);
}

void require_fraction(const std::string& text, KR_Time_Fraction fraction)
{
    ACE_Time_Value value(untouched);
    if (!accepted(kr_try_to_ace_time_value(text, fraction, value), text)) {
        require(value == untouched);
        return;
    }
    const std::string written = kr_to_string(value, fraction);
    require(written == text || text.compare(17, 2, "60") == 0);
    ACE_Time_Value again;
    require(kr_try_to_ace_time_value(written, fraction, again) && again == value);
}

void require_duration(const std::string& text)
{
    ACE_Time_Value value(untouched);
    if (!accepted(kr_try_from_duration_text(text, value), text)) {
        require(value == untouched);
        return;
    }
    const std::string written = kr_to_duration_text(value);
    ACE_Time_Value again;
    require(bool(kr_try_from_duration_text(written, again)));
    require(kr_to_duration_text(again) == written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    require_iso(text);
    require_fraction(text, KR_Time_Fraction::none);
    require_fraction(text, KR_Time_Fraction::milliseconds);
    require_fraction(text, KR_Time_Fraction::microseconds);
    require_duration(text);
    return 0;
}
