#pragma once

/// \file
/// What the values in records are called, and how they are written. Threads: no state.

#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Record_Map.h>

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krtool {

/// A number where it lies.
template <typename Number>
[[nodiscard]] Number number_at(const unsigned char* bytes) noexcept
{
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

/// Seconds and microseconds as they stand.
struct Stored_Time {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;

    [[nodiscard]] bool is_normal() const noexcept
    {
        return microseconds >= 0 && microseconds < 1'000'000;
    }
};

/// Of a field of the type time32 or time64.
[[nodiscard]] Stored_Time time_at(const unsigned char* field, KR_Field_Type type) noexcept;

/// ISO 8601 in UTC with six digits, "2023-11-14T22:13:20.250000Z", where the years are 1970 to 3000
/// and the microseconds within a second, so that parse_time() gives the same numbers back.
[[nodiscard]] std::optional<std::string> iso_text(const Stored_Time& time);
[[nodiscard]] std::string time_text(const Stored_Time& time); ///< that, or "5 s, -1 us"
[[nodiscard]] std::string time_text(const ACE_Time_Value& time);

/// Of that text, with or without a fraction of up to six digits and the Z, with '-' or '/' in the date
/// and 'T' or a blank behind it; nothing where it is no time from 1970 to 3000.
[[nodiscard]] std::optional<ACE_Time_Value> parse_time(std::string_view text);

/// With so many digits behind the point.
[[nodiscard]] std::string fixed_text(double number, int digits);

/// The numbers of a field, with ", " in between; a time; of reserved bytes "" where they are zero.
[[nodiscard]] std::string value_text(const KR_Record_Field& field, const unsigned char* bytes);

[[nodiscard]] const char* name_of(ns__ObjectClass object_class) noexcept; ///< "person", "unknown"
[[nodiscard]] const char* name_of(KR_Record_State state) noexcept;        ///< "whole", ...
[[nodiscard]] const char* name_of(KR_Field_Type type) noexcept;           ///< "int32", ...
[[nodiscard]] const char* name_of(KR_Record_Part part) noexcept;          ///< "fixed_block", ...

/// "red"; "unknown" for numbers that name no preset.
[[nodiscard]] std::string name_of(ns__ColorPreset preset);
[[nodiscard]] std::optional<ns__ColorPreset> preset_of_name(std::string_view name) noexcept;
[[nodiscard]] std::string all_preset_names();
/// Whether the library has read its configuration, which names colours.
[[nodiscard]] bool has_preset_names();
/// The presets of a colour.
[[nodiscard]] std::vector<std::string> preset_names(const ns__RgbColor& rgb);
[[nodiscard]] std::vector<std::string> preset_names(const KR_Color_View& color);

[[nodiscard]] std::string rgb_text(const unsigned char* color); ///< "#C81E1E"
/// "C8 1E", so many bytes.
[[nodiscard]] std::string hex_text(const unsigned char* bytes, std::size_t size);
/// What auxiliary data look like: "a JPEG picture"; "" for others.
[[nodiscard]] std::string kind_of(KR_Byte_Span data);

} // namespace krtool
