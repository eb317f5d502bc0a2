#include <KRCommon/capi/Call.h>

#include <KRCommon/text/Unicode.h>
#include <KRCommon/util/Code_Pages.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace kr_internal::c {

namespace {

bool is_utf8(std::string_view text) noexcept
{
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const int more = continuation_count(first);
        if (more < 0 || text.size() - at <= static_cast<std::size_t>(more))
            return false;
        for (int i = 1; i <= more; ++i)
            if (!is_continuation(text[at + static_cast<std::size_t>(i)]))
                return false;
        if (more > 0 && !may_follow(first, static_cast<unsigned char>(text[at + 1])))
            return false;
        at += 1 + static_cast<std::size_t>(more);
    }
    return true;
}

} // namespace

kr_c_error check_text(const char* text, std::size_t length) noexcept
{
    const kr_c_error error = check_bytes(text, length);
    if (error != KR_C_OK)
        return error;
    return is_utf8(view_of(text, length)) ? KR_C_OK : KR_C_BAD_UTF8;
}

kr_c_error give_text(std::string_view text, char* out, std::size_t capacity,
                     std::size_t* length) noexcept
{
    *length = text.size();
    if (text.size() > capacity)
        return KR_C_BUFFER_TOO_SMALL;
    if (!text.empty())
        std::memcpy(out, text.data(), text.size());
    if (text.size() < capacity)
        out[text.size()] = '\0';
    return KR_C_OK;
}

kr_c_error give_bytes(std::string_view bytes, std::uint8_t* out, std::size_t capacity,
                      std::size_t* size) noexcept
{
    *size = bytes.size();
    if (bytes.size() > capacity)
        return KR_C_BUFFER_TOO_SMALL;
    if (!bytes.empty())
        std::memcpy(out, bytes.data(), bytes.size());
    return KR_C_OK;
}

kr_c_error give_result(const KR_Parse_Result& result, std::size_t* position) noexcept
{
    if (result)
        return KR_C_OK;
    if (position != nullptr)
        *position = result.position;
    return KR_C_TEXT_CUT - 1 + static_cast<kr_c_error>(result.error);
}

kr_c_error to_system_text(const char* text, std::size_t length, std::string& out)
{
    const std::string utf8 = string_of(text, length);
    if (utf8.find('\0') != std::string::npos)
        return KR_C_OUT_OF_RANGE;
    out = kr_to_multibyte(utf8_to_widechar(utf8));
    // What the code page lacks was replaced, and is another text now.
    return from_system_text(out) == utf8 ? KR_C_OK : KR_C_NOT_CONVERTIBLE;
}

std::string from_system_text(const std::string& text)
{
    return kr_to_utf8(kr_to_widechar(text));
}

namespace {

constexpr std::int64_t microseconds_per_second = 1'000'000;

} // namespace

ACE_Time_Value to_time_value(std::int64_t microseconds)
{
    if (microseconds == KR_C_NO_END)
        return ACE_Time_Value::max_time;
    return ACE_Time_Value(static_cast<time_t>(microseconds / microseconds_per_second),
                          static_cast<suseconds_t>(microseconds % microseconds_per_second));
}

std::int64_t to_microseconds(const ACE_Time_Value& time) noexcept
{
    std::int64_t total = 0;
    if (__builtin_mul_overflow(std::int64_t{time.sec()}, microseconds_per_second, &total) ||
        __builtin_add_overflow(total, std::int64_t{time.usec()}, &total))
        return time.sec() < 0 ? std::numeric_limits<std::int64_t>::min()
                              : std::numeric_limits<std::int64_t>::max();
    return total;
}

} // namespace kr_internal::c
