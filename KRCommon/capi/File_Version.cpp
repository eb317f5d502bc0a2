#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/util/Program_Version.h>
#include <KRCommon/util/Version_Retriever.h>

#include <algorithm>

using namespace kr_internal::c;

kr_c_error kr_c_file_version(const char* path, kr_c_size path_length, kr_c_int32 part, char* out,
                             kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_text(path, path_length), check_out(out, capacity, length)}))
            return error;
        if (part < KR_C_FILE_VERSION || part > KR_C_FILE_SUMMARY)
            return KR_C_OUT_OF_RANGE;
        std::string name;
        if (const kr_c_error error = to_system_text(path, path_length, name))
            return error;
        const KR_Program_Version version = kr_program_version(name);
        std::string text;
        switch (part) {
        case KR_C_FILE_VERSION: text = version.version; break;
        case KR_C_FILE_SONAME: text = version.soname; break;
        case KR_C_FILE_BUILD_ID: text = version.build_id; break;
        default: text = from_system_text(kr_to_string(version)); break;
        }
        return text.empty() ? KR_C_NOT_FOUND : give_text(text, out, capacity, length);
    });
}

kr_c_error kr_c_version_from_text(const char* text, kr_c_size text_length, kr_c_uint16* numbers,
                                  kr_c_size* position)
{
    if (const kr_c_error error =
            first_error({check_text(text, text_length), check_pointer(numbers)}))
        return error;
    KR_Version version;
    const KR_Parse_Result result = kr_try_to_version(view_of(text, text_length), version);
    if (result)
        std::copy(version.begin(), version.end(), numbers);
    return give_result(result, position);
}
