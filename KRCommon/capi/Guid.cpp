#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/util/Guid.h>

#include <cstring>
#include <vector>

using namespace kr_internal::c;

static_assert(sizeof(kr_c_guid) == sizeof(KR_GUID));

kr_c_error kr_c_guid_create(kr_c_int32 version, kr_c_guid* out, kr_c_size count)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_array(out, count, sizeof *out))
            return error;
        if (version != 4 && version != 7)
            return KR_C_OUT_OF_RANGE;
        std::vector<KR_GUID> made(count);
        const bool is_made = version == 4 ? kr_create_guids_v4(made.data(), count)
                                          : kr_create_guids_v7(made.data(), count);
        if (!is_made)
            return KR_C_SYSTEM;
        if (count > 0)
            std::memcpy(out, made.data(), count * sizeof *out);
        return KR_C_OK;
    });
}

kr_c_error kr_c_guid_to_text(const kr_c_guid* guid, char* out, kr_c_size capacity,
                             kr_c_size* length)
{
    if (const kr_c_error error =
            first_error({check_pointer(guid), check_out(out, capacity, length)}))
        return error;
    KR_GUID told;
    std::memcpy(static_cast<void*>(&told), guid, sizeof told);
    return give_text(kr_to_guid_text(told).view(), out, capacity, length);
}

kr_c_error kr_c_guid_from_text(const char* text, kr_c_size text_length, kr_c_guid* guid,
                               kr_c_size* position)
{
    if (const kr_c_error error = first_error({check_text(text, text_length), check_pointer(guid)}))
        return error;
    KR_GUID read;
    const KR_Parse_Result result = kr_try_to_guid(view_of(text, text_length), read);
    if (result)
        std::memcpy(guid, &read, sizeof read);
    return give_result(result, position);
}
