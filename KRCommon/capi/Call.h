#pragma once

/// \file
/// What every function of the C interface does before and after its one call into the library: looks at
/// its arguments, hands texts over, and makes error codes of exceptions.
///
/// Threads: no state.

#include <KRCommon/capi/krcommon_c.h>
#include <KRCommon/util/Parse_Result.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kr_internal::c {

/// Runs the steps of a function, which answer with its error code. Only what the library throws is
/// caught: a thread that is cancelled (Linux) unwinds through here.
template <typename Steps>
kr_c_error run(Steps steps)
{
    try {
        return steps();
    } catch (const std::bad_alloc&) {
        return KR_C_NO_MEMORY;
    } catch (const std::length_error&) { // longer than any text or list can be
        return KR_C_NO_MEMORY;
    } catch (const std::exception&) {
        return KR_C_INTERNAL;
    }
}

/// The first that is none of KR_C_OK.
inline kr_c_error first_error(std::initializer_list<kr_c_error> errors) noexcept
{
    for (const kr_c_error error : errors)
        if (error != KR_C_OK)
            return error;
    return KR_C_OK;
}

inline kr_c_error check_pointer(const void* pointer) noexcept
{
    return pointer != nullptr ? KR_C_OK : KR_C_NULL_ARGUMENT;
}

/// Whether `count` elements of that size can lie anywhere.
inline kr_c_error check_size(std::size_t count, std::size_t element_size = 1) noexcept
{
    return count <= PTRDIFF_MAX / element_size ? KR_C_OK : KR_C_OUT_OF_RANGE;
}

/// Elements that are read or written; null is allowed for none.
inline kr_c_error check_array(const void* data, std::size_t count,
                              std::size_t element_size = 1) noexcept
{
    if (data == nullptr && count > 0)
        return KR_C_NULL_ARGUMENT;
    return check_size(count, element_size);
}

/// A text of any bytes; as UTF-8; as what the system takes for a name, without zeros.
inline kr_c_error check_bytes(const void* data, std::size_t size) noexcept
{
    return check_array(data, size);
}
kr_c_error check_text(const char* text, std::size_t length) noexcept;

/// Where a text or bytes go.
inline kr_c_error check_out(const void* out, std::size_t capacity,
                            const std::size_t* length) noexcept
{
    return first_error({check_pointer(length), check_array(out, capacity)});
}

/// A struct that begins with its size.
template <typename Struct>
kr_c_error check_struct(const Struct* value) noexcept
{
    constexpr std::uint32_t largest = 65'536;
    if (value == nullptr)
        return KR_C_NULL_ARGUMENT;
    return value->size >= sizeof(Struct) && value->size <= largest ? KR_C_OK : KR_C_BAD_STRUCT_SIZE;
}

/// A new struct for the library to fill, its size set.
template <typename Struct>
Struct make_struct() noexcept
{
    Struct value{};
    value.size = sizeof(Struct);
    return value;
}

/// Of arguments that were found good; null with no bytes is empty.
inline std::string_view view_of(const void* data, std::size_t size) noexcept
{
    return {static_cast<const char*>(data), size};
}
inline std::string string_of(const void* data, std::size_t size)
{
    return std::string(view_of(data, size));
}

/// A text goes to the host, with a zero behind it where there is room.
kr_c_error give_text(std::string_view text, char* out, std::size_t capacity,
                     std::size_t* length) noexcept;
/// Bytes do, without.
kr_c_error give_bytes(std::string_view bytes, std::uint8_t* out, std::size_t capacity,
                      std::size_t* size) noexcept;

/// The error of a checked reader, which tells its place where the host wants it.
kr_c_error give_result(const KR_Parse_Result& result, std::size_t* position) noexcept;

/// A name for the system, in its code page.
/// returns  KR_C_OUT_OF_RANGE for a text with a zero, KR_C_NOT_CONVERTIBLE
kr_c_error to_system_text(const char* text, std::size_t length, std::string& out);
/// What the system's text says, as far as it can be told.
std::string from_system_text(const std::string& text);

/// Microseconds since 1970, and back. KR_C_NO_END is ACE_Time_Value::max_time; what a kr_c_int64 cannot
/// tell becomes its smallest or largest number.
ACE_Time_Value to_time_value(std::int64_t microseconds);
std::int64_t to_microseconds(const ACE_Time_Value& time) noexcept;

} // namespace kr_internal::c
