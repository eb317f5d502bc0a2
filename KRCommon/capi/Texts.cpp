// Base64, string encryption, code pages.

#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/text/Unicode.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Strict.h>
#include <KRCommon/util/Code_Pages.h>
#include <KRCommon/util/String_Encryption.h>

#include <algorithm>
#include <limits>

using namespace kr_internal::c;

kr_c_error kr_c_base64_encode(const void* data, kr_c_size data_size, kr_c_int32 line_breaks,
                              char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(data, data_size), check_out(out, capacity, length)}))
            return error;
        if (data_size > std::numeric_limits<unsigned>::max())
            return KR_C_OUT_OF_RANGE;
        std::string text;
        KR_Base64::encode(static_cast<const char*>(data), static_cast<unsigned>(data_size), text,
                          line_breaks != 0);
        return give_text(text, out, capacity, length);
    });
}

kr_c_error kr_c_base64_decode(const char* text, kr_c_size text_length, kr_c_int32 is_lenient,
                              kr_c_uint8* out, kr_c_size capacity, kr_c_size* size,
                              kr_c_size* position)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_out(out, capacity, size)}))
            return error;
        std::string bytes;
        if (is_lenient != 0) {
            KR_Base64::decode(string_of(text, text_length), bytes);
        } else if (const KR_Parse_Result result =
                       kr_try_decode_base64(view_of(text, text_length), bytes);
                   !result) {
            return give_result(result, position);
        }
        return give_bytes(bytes, out, capacity, size);
    });
}

namespace {

// make(text) is a text of any bytes.
template <typename Make>
kr_c_error give_made(const char* text, std::size_t text_length, char* out, std::size_t capacity,
                     std::size_t* length, Make make)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_out(out, capacity, length)}))
            return error;
        return give_text(make(string_of(text, text_length)), out, capacity, length);
    });
}

} // namespace

kr_c_error kr_c_encrypt_string(const char* plain, kr_c_size plain_length, char* out,
                               kr_c_size capacity, kr_c_size* length)
{
    return give_made(plain, plain_length, out, capacity, length, encrypt_string);
}

kr_c_error kr_c_decrypt_string(const char* hex, kr_c_size hex_length, char* out, kr_c_size capacity,
                               kr_c_size* length)
{
    return give_made(hex, hex_length, out, capacity, length, decrypt_string);
}

kr_c_error kr_c_utf8_to_ansi(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                             kr_c_size* length)
{
    return give_made(text, text_length, out, capacity, length, [](const std::string& utf8) {
        return kr_to_multibyte(utf8_to_widechar(utf8));
    });
}

kr_c_error kr_c_ansi_to_utf8(const char* text, kr_c_size text_length, char* out, kr_c_size capacity,
                             kr_c_size* length)
{
    return give_made(text, text_length, out, capacity, length, from_system_text);
}

namespace {

// Of wide characters of 16 or 32 bits.
std::u16string to_utf16(const std::wstring& wide)
{
    constexpr char32_t last_of_one_unit = 0xFFFF;
    std::u16string units;
    units.reserve(wide.size());
    for (const wchar_t each : wide) {
        const auto character = static_cast<char32_t>(each);
        if (character <= last_of_one_unit) {
            units += static_cast<char16_t>(character);
        } else {
            const char32_t rest = character - (last_of_one_unit + 1);
            units += static_cast<char16_t>(0xD800 + (rest >> 10));
            units += static_cast<char16_t>(0xDC00 + (rest & 0x3FF));
        }
    }
    return units;
}

} // namespace

kr_c_error kr_c_utf8_to_utf16(const char* text, kr_c_size text_length, kr_c_uint16* out,
                              kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(text, text_length), check_pointer(length),
                             check_array(out, capacity, sizeof *out)}))
            return error;
        const std::u16string units = to_utf16(utf8_to_widechar(string_of(text, text_length)));
        *length = units.size();
        if (units.size() > capacity)
            return KR_C_BUFFER_TOO_SMALL;
        std::copy(units.begin(), units.end(), out);
        if (units.size() < capacity)
            out[units.size()] = 0;
        return KR_C_OK;
    });
}

kr_c_error kr_c_utf16_to_utf8(const kr_c_uint16* text, kr_c_size text_length, char* out,
                              kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = first_error(
                {check_array(text, text_length, sizeof *text), check_out(out, capacity, length)}))
            return error;
        return give_text(kr_to_utf8(std::wstring(text, text + text_length)), out, capacity, length);
    });
}
