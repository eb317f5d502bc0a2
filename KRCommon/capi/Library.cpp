// Version, capabilities, the texts of errors.

#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/KRCommon_Version.h>
#include <KRCommon/kernels/Instructions.h>
#include <KRCommon/util/Parse_Result.h>

kr_c_static_text kr_c_error_text(kr_c_error error)
{
    switch (error) {
    case KR_C_OK: return "no error";
    case KR_C_NULL_ARGUMENT: return "a pointer or handle is null";
    case KR_C_OUT_OF_RANGE: return "an argument is out of range";
    case KR_C_BAD_HANDLE: return "the handle is none of this kind";
    case KR_C_BAD_STRUCT_SIZE: return "the size of a struct is not set";
    case KR_C_BUFFER_TOO_SMALL: return "the buffer is too small";
    case KR_C_NO_MEMORY: return "out of memory";
    case KR_C_BAD_UTF8: return "the text is not valid UTF-8";
    case KR_C_NOT_CONVERTIBLE: return "the system's code page lacks a character of the text";
    case KR_C_NOT_FOUND: return "not found";
    case KR_C_IN_USE: return "in use";
    case KR_C_WRONG_STATE: return "not possible in this state";
    case KR_C_SYSTEM: return "the operating system refused";
    case KR_C_INTERNAL: return "a mistake of the library";
    default: break;
    }
    if (error < KR_C_TEXT_CUT || error > KR_C_TEXT_PORT)
        return "unknown error";
    KR_Parse_Result result;
    result.error = static_cast<KR_Parse_Error>(error - KR_C_TEXT_CUT + 1);
    return result.reason();
}

kr_c_uint32 kr_c_abi(void)
{
    return KR_C_ABI;
}

kr_c_uint32 kr_c_version(void)
{
    return KRCOMMON_VERSION;
}

kr_c_static_text kr_c_version_text(void)
{
    return KRCOMMON_VERSION_TEXT;
}

kr_c_uint32 kr_c_capabilities(void)
{
    return KR_C_HAS_CONFIGURATION | KR_C_HAS_LOG | KR_C_HAS_COLORS | KR_C_HAS_RECORDS |
           KR_C_HAS_TIME | KR_C_HAS_GUID | KR_C_HAS_TEXTS | KR_C_HAS_FILE_VERSIONS |
           KR_C_HAS_EVENT_LOG;
}

kr_c_static_text kr_c_instructions(void)
{
    return kr_instructions();
}
