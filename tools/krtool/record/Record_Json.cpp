#include "Record_Json.h"

#include "../host/Number_Text.h"

#include "Record_Values.h"

#include <KRCommon/util/Base64.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t most_colors = 127; // of an instance

// The part has a member of its own for these: they are counts of what follows.
bool is_count(std::string_view name)
{
    return name == "color_count";
}

std::string reserved_name(const KR_Record_Field& field)
{
    return "reserved_" + std::to_string(field.offset);
}

std::uint32_t size_of_number(KR_Field_Type type)
{
    switch (type) {
    case KR_Field_Type::int8:
    case KR_Field_Type::uint8: return 1;
    case KR_Field_Type::uint64: return 8;
    default: return 4;
    }
}

} // namespace

// To JSON

namespace {

std::string base64(KR_Byte_Span bytes)
{
    std::string text;
    KR_Base64::encode(reinterpret_cast<const char*>(bytes.data), static_cast<unsigned>(bytes.size),
                      text, false);
    return text;
}

std::string hex_bits(std::uint32_t bits)
{
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[bits >> shift & 15U];
    return text;
}

// As the double with the fewest digits that is the same float; as its bits where there is none.
Json float_json(const unsigned char* bytes)
{
    const float number = number_at<float>(bytes);
    if (std::isfinite(number)) {
        const std::string text = number_text(number);
        double shortest = 0;
        std::from_chars(text.data(), text.data() + text.size(), shortest);
        const auto back = static_cast<float>(shortest);
        std::uint32_t bits = 0;
        std::memcpy(&bits, &back, sizeof bits);
        if (bits == number_at<std::uint32_t>(bytes))
            return shortest;
    }
    return hex_bits(number_at<std::uint32_t>(bytes));
}

Json time_json(const Stored_Time& time)
{
    if (const std::optional<std::string> text = iso_text(time))
        return *text;
    return {{"seconds", time.seconds}, {"microseconds", time.microseconds}};
}

Json number_json(KR_Field_Type type, const unsigned char* bytes)
{
    switch (type) {
    case KR_Field_Type::int8: return number_at<std::int8_t>(bytes);
    case KR_Field_Type::uint8: return number_at<std::uint8_t>(bytes);
    case KR_Field_Type::int32: return number_at<std::int32_t>(bytes);
    case KR_Field_Type::uint32: return number_at<std::uint32_t>(bytes);
    case KR_Field_Type::uint64: return number_at<std::uint64_t>(bytes);
    case KR_Field_Type::float32: return float_json(bytes);
    case KR_Field_Type::time32:
    case KR_Field_Type::time64: return time_json(time_at(bytes, type));
    case KR_Field_Type::reserved: break;
    }
    return {};
}

Json field_json(const KR_Record_Field& field, const unsigned char* bytes)
{
    const std::uint32_t step = size_of_number(field.type);
    if (field.type != KR_Field_Type::float32 || field.size == step)
        return number_json(field.type, bytes);
    Json numbers = Json::array();
    for (std::uint32_t i = 0; i < field.size; i += step)
        numbers.push_back(number_json(field.type, bytes + i));
    return numbers;
}

void add_fields(Json& object, KR_Record_Part part, const unsigned char* bytes)
{
    for (const KR_Record_Field& field : kr_record_fields(part)) {
        const unsigned char* const place = bytes + field.offset;
        if (field.type != KR_Field_Type::reserved) {
            if (!is_count(field.name))
                object[field.name] = field_json(field, place);
        } else if (std::any_of(place, place + field.size,
                               [](unsigned char byte) { return byte != 0; })) {
            object[reserved_name(field)] = hex_text(place, field.size);
        }
    }
}

Json color_json(const unsigned char* color)
{
    Json object = Json::object();
    add_fields(object, KR_Record_Part::color, color);
    return object;
}

// Whole parts alone, as the item's status found them.
void add_record(Json& object, KR_Byte_Span bytes)
{
    KR_Record_Map map(bytes.data, bytes.size);
    KR_Record_Piece piece;
    Json instances = Json::array();
    Json data = "";
    while (map.next(piece)) {
        const unsigned char* const part = bytes.data + piece.offset;
        switch (piece.part) {
        case KR_Record_Part::fixed_block: add_fields(object, piece.part, part); break;
        case KR_Record_Part::instance:
            instances.push_back(Json::object());
            add_fields(instances.back(), piece.part, part);
            instances.back()["colors"] = Json::array();
            break;
        case KR_Record_Part::color: instances.back()["colors"].push_back(color_json(part)); break;
        case KR_Record_Part::auxiliary_data: data = base64({part, piece.size}); break;
        case KR_Record_Part::instance_count:
        case KR_Record_Part::auxiliary_length: break;
        }
    }
    object["instances"] = std::move(instances);
    object["auxiliary_data"] = std::move(data);
}

// The names of the colours, for who reads the text; they are not read back.
void add_presets(Json& object, KR_Byte_Span bytes)
{
    const KR_Object_View record(bytes.data, bytes.size);
    std::size_t index = 0;
    for (const KR_Instance_View instance : record.instances()) {
        Json& colors = object["instances"][index++]["colors"];
        for (std::size_t i = 0; i < instance.colors().size(); ++i)
            colors[i]["presets"] = preset_names(instance.colors()[i]);
    }
}

} // namespace

Json to_json(const Record_Item& item, const std::string& file)
{
    Json object = {{"file", file}, {"record", item.number}};
    if (item.key != nullptr)
        object["run"] = item.key->run;
    else
        object["offset"] = item.offset;
    object["size"] = item.bytes.size;
    if (item.has_length)
        object["length"] = item.length;
    if (item.damage != Damage::none) {
        object["damage"] = code_of(item.damage);
        object["bytes"] = base64(item.bytes);
        return object;
    }
    object["state"] = item.status.instances > 0 ? "whole" : "no_instances";
    add_record(object, item.bytes);
    add_presets(object, item.bytes);
    return object;
}

// And back

namespace {

[[noreturn]] void refuse(const std::string& member, const std::string& what)
{
    throw Json_Mistake("'" + member + "' " + what);
}

template <typename Number>
void append(std::string& bytes, Number number)
{
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

template <typename Integer>
void append_integer(std::string& bytes, const Json& json, const std::string& member)
{
    using Limits = std::numeric_limits<Integer>;
    const auto refuse_it = [&] {
        refuse(member, "must be a whole number from " + std::to_string(Limits::min()) + " to " +
                           std::to_string(Limits::max()));
    };
    if (!json.is_number_integer())
        refuse_it();
    if (json.is_number_unsigned()) {
        const auto number = json.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(Limits::max()))
            refuse_it();
        append(bytes, static_cast<Integer>(number));
        return;
    }
    const auto number = json.get<std::int64_t>(); // below zero, as the parser has it
    if (!Limits::is_signed || number < static_cast<std::int64_t>(Limits::min()) ||
        (number > 0 && static_cast<std::uint64_t>(number) > Limits::max()))
        refuse_it();
    append(bytes, static_cast<Integer>(number));
}

std::uint32_t bits_of(const std::string& text, const std::string& member)
{
    std::uint32_t bits = 0;
    const char* const end = text.data() + text.size();
    if (text.size() == 10 && text[0] == '0' && text[1] == 'x') {
        const auto [stop, error] = std::from_chars(text.data() + 2, end, bits, 16);
        if (error == std::errc() && stop == end)
            return bits;
    }
    refuse(member, "must be a number, or the bits of one like \"0x7FC00000\"");
}

void append_float(std::string& bytes, const Json& json, const std::string& member)
{
    if (json.is_string()) {
        append(bytes, bits_of(json.get_ref<const std::string&>(), member));
        return;
    }
    if (!json.is_number())
        refuse(member, "must be a number, or the bits of one like \"0x7FC00000\"");
    // The shortest text of the greatest float is a little above it.
    constexpr auto greatest = static_cast<double>(std::numeric_limits<float>::max());
    const auto number = json.get<double>();
    if (!(std::fabs(number) < greatest * (1 + 0x1p-25)))
        refuse(member, "is too large for a number of single precision");
    append(bytes, static_cast<float>(std::clamp(number, -greatest, greatest)));
}

template <typename Seconds>
void append_time(std::string& bytes, const Json& json, const std::string& member)
{
    if (json.is_object()) {
        const auto at = [&](const char* name) {
            return json.contains(name) ? json[name] : Json(0);
        };
        append_integer<Seconds>(bytes, at("seconds"), member + "/seconds");
        append_integer<std::int32_t>(bytes, at("microseconds"), member + "/microseconds");
        return;
    }
    std::optional<ACE_Time_Value> time;
    if (json.is_string())
        time = parse_time(json.get_ref<const std::string&>());
    if (!time)
        refuse(member, "must be a time like \"2024-03-05T07:08:09.000000Z\", or "
                       "{\"seconds\": 5, \"microseconds\": -1}");
    append_integer<Seconds>(bytes, Json(static_cast<std::int64_t>(time->sec())), member);
    append(bytes, static_cast<std::int32_t>(time->usec()));
}

void append_number(std::string& bytes, KR_Field_Type type, const Json& json,
                   const std::string& member)
{
    switch (type) {
    case KR_Field_Type::int8: append_integer<std::int8_t>(bytes, json, member); break;
    case KR_Field_Type::uint8: append_integer<std::uint8_t>(bytes, json, member); break;
    case KR_Field_Type::int32: append_integer<std::int32_t>(bytes, json, member); break;
    case KR_Field_Type::uint32: append_integer<std::uint32_t>(bytes, json, member); break;
    case KR_Field_Type::uint64: append_integer<std::uint64_t>(bytes, json, member); break;
    case KR_Field_Type::float32: append_float(bytes, json, member); break;
    case KR_Field_Type::time32: append_time<std::int32_t>(bytes, json, member); break;
    case KR_Field_Type::time64: append_time<std::int64_t>(bytes, json, member); break;
    case KR_Field_Type::reserved: break;
    }
}

void append_hex(std::string& bytes, std::size_t size, const Json& json, const std::string& member)
{
    const std::string text = json.is_string() ? json.get<std::string>() : "";
    bool is_hex = text.size() + 1 == 3 * size;
    for (std::size_t i = 0; is_hex && i < size; ++i) {
        unsigned char byte = 0;
        const char* const first = text.data() + 3 * i;
        is_hex = std::from_chars(first, first + 2, byte, 16).ptr == first + 2 &&
                 (i + 1 == size || first[2] == ' ');
        append(bytes, byte);
    }
    if (!is_hex)
        refuse(member, "must be " + std::to_string(size) + " bytes in hexadecimal like \"0A FF\"");
}

void append_field(std::string& bytes, const KR_Record_Field& field, const Json& json,
                  const std::string& member)
{
    const std::uint32_t step = size_of_number(field.type);
    if (field.type != KR_Field_Type::float32 || field.size == step) {
        append_number(bytes, field.type, json, member);
        return;
    }
    const std::size_t count = field.size / step;
    if (!json.is_array() || json.size() != count)
        refuse(member, "must be a list of " + std::to_string(count) + " numbers");
    for (std::size_t i = 0; i < count; ++i)
        append_number(bytes, field.type, json[i], member + "/" + std::to_string(i));
}

// Beside the fields of its part an object may have these members.
using Others = std::vector<std::string_view>;

void refuse_unknown(const Json& object, KR_Record_Part part, const std::string& path,
                    const Others& others)
{
    const KR_Record_Fields fields = kr_record_fields(part);
    for (const auto& [name, value] : object.items()) {
        const std::string& member = name;
        const bool is_field =
            std::any_of(fields.begin(), fields.end(), [&](const KR_Record_Field& field) {
                return field.type == KR_Field_Type::reserved ? member == reserved_name(field)
                                                             : member == field.name;
            });
        if ((!is_field || is_count(member)) &&
            std::find(others.begin(), others.end(), member) == others.end())
            refuse(path + member, "is no member of a record");
    }
}

// The fields of a part, zero where they are missing.
void append_fields(std::string& bytes, KR_Record_Part part, const Json& object,
                   const std::string& path, const Others& others, std::size_t count = 0)
{
    if (!object.is_object())
        refuse(path.substr(0, path.size() - 1), "must be an object");
    refuse_unknown(object, part, path, others);
    for (const KR_Record_Field& field : kr_record_fields(part)) {
        const bool is_reserved = field.type == KR_Field_Type::reserved;
        const std::string name = is_reserved ? reserved_name(field) : field.name;
        const auto found = object.find(name);
        if (is_count(name))
            append(bytes, static_cast<std::int8_t>(count));
        else if (found == object.end())
            bytes.append(field.size, '\0');
        else if (is_reserved)
            append_hex(bytes, field.size, *found, path + name);
        else
            append_field(bytes, field, *found, path + name);
    }
}

// A member that is a list; an empty one where it is missing.
const Json& list_in(const Json& object, const char* name, const std::string& path)
{
    static const Json empty = Json::array();
    const auto found = object.find(name);
    if (found == object.end())
        return empty;
    if (!found->is_array())
        refuse(path + name, "must be a list");
    return *found;
}

void append_instance(std::string& bytes, const Json& instance, const std::string& path)
{
    if (!instance.is_object())
        refuse(path.substr(0, path.size() - 1), "must be an object");
    const Json& colors = list_in(instance, "colors", path);
    if (colors.size() > most_colors)
        refuse(path + "colors", "has more than " + std::to_string(most_colors) + " colours");
    append_fields(bytes, KR_Record_Part::instance, instance, path, {"colors"}, colors.size());
    for (std::size_t i = 0; i < colors.size(); ++i)
        append_fields(bytes, KR_Record_Part::color, colors[i],
                      path + "colors/" + std::to_string(i) + "/", {"presets"});
}

// The library's decoder takes any text; what it would not give back is no Base64.
std::string base64_in(const Json& object, const char* name)
{
    const auto found = object.find(name);
    if (found == object.end())
        return {};
    if (found->is_string()) {
        const std::string& text = found->get_ref<const std::string&>();
        std::string bytes;
        std::string back;
        KR_Base64::decode(text, bytes);
        KR_Base64::encode(bytes, back, false);
        if (back == text)
            return bytes;
    }
    refuse(name, "must be Base64");
}

std::string record_bytes(const Json& record)
{
    std::string bytes;
    append_fields(bytes, KR_Record_Part::fixed_block, record, "",
                  {"schema_version", "file", "record", "run", "offset", "size", "length", "state",
                   "instances", "auxiliary_data"});
    const Json& instances = list_in(record, "instances", "");
    append(bytes, static_cast<std::uint32_t>(instances.size()));
    for (std::size_t i = 0; i < instances.size(); ++i)
        append_instance(bytes, instances[i], "instances/" + std::to_string(i) + "/");
    const std::string data = base64_in(record, "auxiliary_data");
    append(bytes, static_cast<std::uint32_t>(data.size()));
    return bytes + data;
}

} // namespace

std::string to_bytes(const Json& record)
{
    if (!record.is_object())
        throw Json_Mistake("a record must be an object");
    const bool is_damage = record.contains("bytes");
    std::string bytes = is_damage ? base64_in(record, "bytes") : record_bytes(record);
    const auto told = record.find("length");
    if (told == record.end())
        return bytes;
    std::string length; // of damage as it stood, else as it is
    if (is_damage)
        append_integer<std::uint32_t>(length, *told, "length");
    else
        append(length, static_cast<std::uint32_t>(bytes.size()));
    return length + bytes;
}

} // namespace krtool
