// Any bytes for the readers kr_try_...(): what they accept is what the lenient ones read, and reads again
// once it is written; what they do not has its error within the text and leaves the output alone.

#include <KRCommon/util/Addresses.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Strict.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Text.h>
#include <KRCommon/util/Time_Text.h>
#include <KRCommon/util/Url.h>
#include <KRCommon/util/Version_Retriever.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// An accepted text is read to its end; an error is in it or at its end.
bool accepted(const KR_Parse_Result& result, const std::string& text)
{
    require(result.position <= text.size());
    require(!result || result.position == text.size());
    require(result.error != KR_Parse_Error::cut || result.position == text.size());
    require(result.error != KR_Parse_Error::character || result.position < text.size());
    require(result.error != KR_Parse_Error::surplus || result.position < text.size());
    return bool(result);
}

void require_time(const std::string& text)
{
    ACE_Date_Time date(31, 12, 77, 1, 2, 3, 4, 5);
    if (!accepted(kr_try_to_ace_date_time(text, date), text)) {
        require(kr_to_string(date) == "0077/12/31 01:02:03.000004");
        ACE_Time_Value value(-77);
        require(!kr_try_to_ace_time_value(text, value) && value == ACE_Time_Value(-77));
        return;
    }
    require(kr_to_string(date) == kr_to_string(kr_to_ace_date_time(text)));
    require(date.month() >= 1 && date.month() <= 12 && date.day() >= 1 && date.day() <= 31);
    require(date.hour() < 24 && date.minute() < 60 && date.second() <= 60);
    ACE_Time_Value value(-77);
    if (!accepted(kr_try_to_ace_time_value(text, value), text)) {
        require(date.year() < 1970 || date.year() >= 3000);
        require(value == ACE_Time_Value(-77));
        return;
    }
    require(value == kr_to_ace_time_value(text) && value >= ACE_Time_Value(0));
    ACE_Time_Value again;
    require(kr_try_to_ace_time_value(kr_to_string(value), again) && again == value);
}

void require_guid(const std::string& text)
{
    const KR_GUID before = {1, 2, 3, {4}};
    KR_GUID guid = before;
    if (accepted(kr_try_to_guid(text, guid), text))
        require(guid == kr_to_guid(text) && text.size() >= 36 && text.size() <= 38);
    else
        require(guid == before);
}

void require_base64(const std::string& text)
{
    std::string bytes = "before";
    if (!accepted(kr_try_decode_base64(text, bytes), text)) {
        require(bytes == "before");
        return;
    }
    std::string lenient, again;
    KR_Base64::decode(text, lenient);
    KR_Base64::encode(bytes, again, false);
    require(bytes == lenient && again == text);
}

void require_hex(const std::string& text)
{
    std::string bytes = "before";
    if (!accepted(kr_try_from_hex(text, bytes), text)) {
        require(bytes == "before");
        return;
    }
    std::string again = kr_to_string(reinterpret_cast<unsigned char*>(bytes.data()),
                                     static_cast<unsigned>(bytes.size()));
    std::string lower = text;
    to_lower(again);
    to_lower(lower);
    require(again == lower);
}

void require_address(const std::string& text)
{
    KR_Ip_Address address;
    if (!accepted(kr_try_to_address(text, address), text)) {
        require(kr_to_string(address) == "0.0.0.0");
        return;
    }
    const std::string written = kr_to_string(address);
    KR_Ip_Address again;
    require(bool(kr_try_to_address(written, again)));
    require(again.bytes == address.bytes && again.port == address.port &&
            again.has_port == address.has_port && again.is_ipv6 == address.is_ipv6 &&
            again.zone == address.zone);
    ACE_INET_Addr ace;
    require(bool(kr_try_to_address(text, ace)) != address.is_ipv6);
    if (!address.is_ipv6 && address.has_port)
        require(kr_to_string(ace) == written);
}

void require_version(const std::string& text)
{
    KR_Version version = {9, 8, 7, 6};
    KR_Version again{};
    if (accepted(kr_try_to_version(text, version), text))
        require(kr_try_to_version(kr_to_string(version), again) && again == version);
    else
        require(version == KR_Version{9, 8, 7, 6});
}

void require_percent(const std::string& text)
{
    std::string bytes = "before";
    if (accepted(kr_try_percent_decode(text, bytes), text))
        require(bytes == kr_percent_decode(text));
    else
        require(bytes == "before");
    require(kr_percent_decode(kr_percent_encode(text)) == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    require_time(text);
    require_guid(text);
    require_base64(text);
    require_hex(text);
    require_address(text);
    require_version(text);
    require_percent(text);
    return 0;
}
