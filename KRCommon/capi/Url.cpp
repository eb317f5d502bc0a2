#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Handles.h>
#include <KRCommon/util/Url.h>

#include <optional>

using namespace kr_internal::c;

static_assert(KR_C_HOST_IPV6 == static_cast<int>(KR_Url::Host_Kind::ipv6));

namespace {

template <typename Steps>
kr_c_error with_url(const kr_c_url* url, Steps steps)
{
    return run([&]() -> kr_c_error {
        const Use<kr_c_url, KR_Url, Sharing::by_all> read(url);
        return read.error() != KR_C_OK ? read.error() : steps(static_cast<const KR_Url&>(*read));
    });
}

} // namespace

kr_c_error kr_c_url_parse(const char* text, kr_c_size text_length, kr_c_owned_url* url,
                          kr_c_size* position)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_pointer(url)}))
            return error;
        KR_Url read;
        if (const KR_Parse_Result result = kr_try_to_url(view_of(text, text_length), read); !result)
            return give_result(result, position);
        return give_handle<kr_c_url, KR_Url>(url, std::move(read));
    });
}

kr_c_error kr_c_url_destroy(kr_c_owned_url* url)
{
    return destroy_handle<kr_c_url, KR_Url>(url);
}

kr_c_error kr_c_url_part(const kr_c_url* url, kr_c_int32 part, char* out, kr_c_size capacity,
                         kr_c_size* length)
{
    return with_url(url, [&](const KR_Url& read) -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        const auto give = [&](std::string_view text) {
            return give_text(text, out, capacity, length);
        };
        switch (part) {
        case KR_C_URL_TEXT: return give(read.text());
        case KR_C_URL_SCHEME: return give(read.scheme());
        case KR_C_URL_USER: return give(read.user());
        case KR_C_URL_PASSWORD: return give(read.password());
        case KR_C_URL_HOST: return give(read.host());
        case KR_C_URL_ZONE: return give(read.zone());
        case KR_C_URL_PATH: return give(read.path());
        case KR_C_URL_QUERY: return give(read.query());
        case KR_C_URL_FRAGMENT: return give(read.fragment());
        case KR_C_URL_LOG_TEXT: return give(read.log_text());
        default: return KR_C_OUT_OF_RANGE;
        }
    });
}

kr_c_error kr_c_url_port(const kr_c_url* url, kr_c_int32* port)
{
    return with_url(url, [&](const KR_Url& read) -> kr_c_error {
        if (const kr_c_error error = check_pointer(port))
            return error;
        *port = read.port();
        return KR_C_OK;
    });
}

kr_c_error kr_c_url_host_kind(const kr_c_url* url, kr_c_int32* kind)
{
    return with_url(url, [&](const KR_Url& read) -> kr_c_error {
        if (const kr_c_error error = check_pointer(kind))
            return error;
        *kind = static_cast<std::int32_t>(read.host_kind());
        return KR_C_OK;
    });
}

kr_c_error kr_c_url_query_value(const kr_c_url* url, const char* name, kr_c_size name_length,
                                char* out, kr_c_size capacity, kr_c_size* length)
{
    return with_url(url, [&](const KR_Url& read) -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_text(name, name_length), check_out(out, capacity, length)}))
            return error;
        const std::optional<std::string> value = read.query_value(view_of(name, name_length));
        return value ? give_text(*value, out, capacity, length) : KR_C_NOT_FOUND;
    });
}

kr_c_error kr_c_url_with_credentials(const kr_c_url* url, const char* user, kr_c_size user_length,
                                     const char* password, kr_c_size password_length, char* out,
                                     kr_c_size capacity, kr_c_size* length)
{
    return with_url(url, [&](const KR_Url& read) -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(user, user_length), check_bytes(password, password_length),
                             check_out(out, capacity, length)}))
            return error;
        return give_text(
            read.with_credentials(view_of(user, user_length), view_of(password, password_length)),
            out, capacity, length);
    });
}

namespace {

template <typename Make>
kr_c_error give_made(const char* text, std::size_t text_length, char* out, std::size_t capacity,
                     std::size_t* length, Make make)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_out(out, capacity, length)}))
            return error;
        return give_text(make(view_of(text, text_length)), out, capacity, length);
    });
}

} // namespace

kr_c_error kr_c_url_log_text(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                             kr_c_size* length)
{
    return give_made(text, text_length, out, capacity, length, kr_url_log_text);
}

kr_c_error kr_c_percent_encode(const char* text, kr_c_size text_length, char* out,
                               kr_c_size capacity, kr_c_size* length)
{
    return give_made(text, text_length, out, capacity, length, kr_percent_encode);
}

kr_c_error kr_c_percent_decode(const char* text, kr_c_size text_length, char* out,
                               kr_c_size capacity, kr_c_size* length, kr_c_size* position)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_out(out, capacity, length)}))
            return error;
        std::string decoded;
        if (const KR_Parse_Result result =
                kr_try_percent_decode(view_of(text, text_length), decoded);
            !result)
            return give_result(result, position);
        return give_text(decoded, out, capacity, length);
    });
}
