#include "Record_Values.h"

#include "../host/Number_Text.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/util/Time_Text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace krtool {

// Times

Stored_Time time_at(const unsigned char* field, KR_Field_Type type) noexcept
{
    if (type == KR_Field_Type::time64)
        return {number_at<std::int64_t>(field), number_at<std::int32_t>(field + 8)};
    return {number_at<std::int32_t>(field), number_at<std::int32_t>(field + 4)};
}

namespace {

constexpr std::int64_t end_of_years = 32'535'216'000; // 3001-01-01
constexpr std::string_view pattern = "dddd/dd/dd dd:dd:dd";

bool is_like_pattern(std::string_view text)
{
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                      [](char c, char expected) {
                          return expected == 'd' ? c >= '0' && c <= '9' : c == expected;
                      });
}

// The digits of a fraction as microseconds: "5" is 500000.
std::optional<std::string> microseconds_of(std::string_view fraction)
{
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    if (fraction.empty() || fraction.size() > 6 ||
        !std::all_of(fraction.begin(), fraction.end(), is_digit))
        return std::nullopt;
    std::string digits(fraction);
    digits.resize(6, '0');
    return digits;
}

} // namespace

std::optional<std::string> iso_text(const Stored_Time& time)
{
    if (!time.is_normal() || time.seconds < 0 || time.seconds >= end_of_years)
        return std::nullopt;
    std::string text =
        kr_to_string(ACE_Time_Value(static_cast<time_t>(time.seconds), time.microseconds));
    text[4] = text[7] = '-';
    text[10] = 'T';
    return text + "Z";
}

std::string time_text(const Stored_Time& time)
{
    if (const std::optional<std::string> text = iso_text(time))
        return *text;
    return std::to_string(time.seconds) + " s, " + std::to_string(time.microseconds) + " us";
}

std::string time_text(const ACE_Time_Value& time)
{
    return time_text(Stored_Time{time.sec(), static_cast<std::int32_t>(time.usec())});
}

std::optional<ACE_Time_Value> parse_time(std::string_view given)
{
    if (!given.empty() && given.back() == 'Z')
        given.remove_suffix(1);
    if (given.size() < pattern.size())
        return std::nullopt;
    std::string text(given.substr(0, pattern.size()));
    if (text[4] == '-' && text[7] == '-')
        text[4] = text[7] = '/';
    if (text[10] == 'T')
        text[10] = ' ';
    if (!is_like_pattern(text))
        return std::nullopt;
    std::string whole = text + ".000000";
    if (given.size() > pattern.size()) {
        const auto fraction = microseconds_of(given.substr(pattern.size() + 1));
        if (given[pattern.size()] != '.' || !fraction)
            return std::nullopt;
        whole = text + "." + *fraction;
    }
    // What is no date, like February 30, is carried into one, and then reads otherwise.
    const ACE_Time_Value time = kr_to_ace_time_value(whole);
    if (time < ACE_Time_Value::zero || kr_to_string(time) != whole)
        return std::nullopt;
    return time;
}

// Numbers

std::string fixed_text(double number, int digits)
{
    std::array<char, 400> text{};
    const int size = std::snprintf(text.data(), text.size(), "%.*f", digits, number);
    return {text.data(), static_cast<std::size_t>(size)};
}

namespace {

std::string integer_text(KR_Field_Type type, const unsigned char* bytes)
{
    switch (type) {
    case KR_Field_Type::int8: return std::to_string(number_at<std::int8_t>(bytes));
    case KR_Field_Type::uint8: return std::to_string(number_at<std::uint8_t>(bytes));
    case KR_Field_Type::int32: return std::to_string(number_at<std::int32_t>(bytes));
    case KR_Field_Type::uint32: return std::to_string(number_at<std::uint32_t>(bytes));
    case KR_Field_Type::uint64: return std::to_string(number_at<std::uint64_t>(bytes));
    default: return {};
    }
}

} // namespace

std::string value_text(const KR_Record_Field& field, const unsigned char* bytes)
{
    std::string text;
    switch (field.type) {
    case KR_Field_Type::reserved:
        return std::all_of(bytes, bytes + field.size, [](unsigned char byte) { return byte == 0; })
                   ? ""
                   : "not zero";
    case KR_Field_Type::time32:
    case KR_Field_Type::time64: return time_text(time_at(bytes, field.type));
    case KR_Field_Type::float32:
        for (std::uint32_t i = 0; i < field.size; i += 4)
            text += (i > 0 ? ", " : "") + number_text(number_at<float>(bytes + i));
        return text;
    default: return integer_text(field.type, bytes);
    }
}

// Names

const char* name_of(ns__ObjectClass object_class) noexcept
{
    switch (object_class) {
    case ns__ObjectClass__person: return "person";
    case ns__ObjectClass__vehicle: return "vehicle";
    case ns__ObjectClass__object: return "object";
    default: return "unknown";
    }
}

const char* name_of(KR_Record_State state) noexcept
{
    switch (state) {
    case KR_Record_State::whole: return "whole";
    case KR_Record_State::cut_in_fixed_block: return "cut_in_fixed_block";
    case KR_Record_State::bad_color_count: return "bad_color_count";
    case KR_Record_State::cut_in_instances: return "cut_in_instances";
    case KR_Record_State::cut_in_auxiliary_data: return "cut_in_auxiliary_data";
    case KR_Record_State::no_instances: return "no_instances";
    case KR_Record_State::trailing_bytes: return "trailing_bytes";
    }
    return "";
}

const char* name_of(KR_Field_Type type) noexcept
{
    switch (type) {
    case KR_Field_Type::reserved: return "reserved";
    case KR_Field_Type::int8: return "int8";
    case KR_Field_Type::uint8: return "uint8";
    case KR_Field_Type::int32: return "int32";
    case KR_Field_Type::uint32: return "uint32";
    case KR_Field_Type::uint64: return "uint64";
    case KR_Field_Type::float32: return "float32";
    case KR_Field_Type::time32: return "time32";
    case KR_Field_Type::time64: return "time64";
    }
    return "";
}

const char* name_of(KR_Record_Part part) noexcept
{
    switch (part) {
    case KR_Record_Part::fixed_block: return "fixed_block";
    case KR_Record_Part::instance_count: return "instance_count";
    case KR_Record_Part::instance: return "instance";
    case KR_Record_Part::color: return "color";
    case KR_Record_Part::auxiliary_length: return "auxiliary_length";
    case KR_Record_Part::auxiliary_data: return "auxiliary_data";
    }
    return "";
}

namespace {

constexpr std::array<std::string_view, 13> presets{
    "white",      "black",  "gray",   "light_blue", "dark_blue", "brown",  "light_green",
    "dark_green", "yellow", "orange", "red",        "pink",      "purple",
}; // number 1 first

} // namespace

std::string name_of(ns__ColorPreset preset)
{
    const auto index = static_cast<std::size_t>(preset) - 1; // 0 and less become huge
    return std::string(index < presets.size() ? presets[index] : "unknown");
}

std::optional<ns__ColorPreset> preset_of_name(std::string_view name) noexcept
{
    const auto* const found = std::find(presets.begin(), presets.end(), name);
    if (found == presets.end())
        return std::nullopt;
    return static_cast<ns__ColorPreset>(found - presets.begin() + 1);
}

std::string all_preset_names()
{
    std::string all;
    for (const std::string_view name : presets)
        all += (all.empty() ? "" : ", ") + std::string(name);
    return all;
}

bool has_preset_names()
{
    return kr_configuration_status().is_read;
}

std::vector<std::string> preset_names(const KR_Color_View& color)
{
    ns__RgbColor rgb;
    rgb.red = color.red();
    rgb.green = color.green();
    rgb.blue = color.blue();
    return preset_names(rgb);
}

std::vector<std::string> preset_names(const ns__RgbColor& rgb)
{
    ns__HsvColor hsv;
    std::vector<ns__ColorPreset> found;
    KR_Colors::instance()->rgb_to_hsv(rgb, hsv);
    KR_Colors::instance()->get_color_presets(hsv, found, ns__QueryTolerancePreset__value_0);
    std::vector<std::string> names;
    names.reserve(found.size());
    for (const ns__ColorPreset preset : found)
        names.push_back(name_of(preset));
    return names;
}

// Bytes

std::string rgb_text(const unsigned char* color)
{
    std::string text = "#";
    for (int i = 0; i < 3; ++i)
        text += hex_text(color + i, 1);
    return text;
}

std::string hex_text(const unsigned char* bytes, std::size_t size)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(3 * size);
    for (std::size_t i = 0; i < size; ++i) {
        if (i > 0)
            text += ' ';
        text += digits[bytes[i] >> 4U];
        text += digits[bytes[i] & 15U];
    }
    return text;
}

std::string kind_of(KR_Byte_Span data)
{
    const auto begins = [&](const char* magic, std::size_t size) {
        return data.size >= size && std::memcmp(data.data, magic, size) == 0;
    };
    if (begins("\xFF\xD8\xFF", 3))
        return "a JPEG picture";
    if (begins("\x89PNG", 4))
        return "a PNG picture";
    return {};
}

} // namespace krtool
