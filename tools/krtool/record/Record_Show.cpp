#include "Record_Show.h"

#include "../host/Number_Text.h"

#include "Record_Text.h"
#include "Record_Values.h"

#include <KRCommon/colors/Colors.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace krtool {

namespace {

std::string scores_text(const KR_Object_View& record)
{
    const auto scores = record.class_scores();
    return "person " + number_text(scores[0]) + ", vehicle " + number_text(scores[1]) +
           ", object " + number_text(scores[2]);
}

std::string shares_text(const KR_Object_View& record)
{
    const KR_Color_Shares shares = record.color_shares(*KR_Colors::instance());
    std::vector<std::pair<float, std::string>> named;
    for (int number = 1; number < static_cast<int>(KR_Color_Shares::preset_count); ++number) {
        const auto preset = static_cast<ns__ColorPreset>(number);
        if (shares.of(preset) > 0)
            named.emplace_back(shares.of(preset), name_of(preset));
    }
    std::stable_sort(named.begin(), named.end(),
                     [](const auto& left, const auto& right) { return left.first > right.first; });
    std::string text;
    for (const auto& [percent, name] : named)
        text += (text.empty() ? "" : ", ") + name + " " + fixed_text(percent, 1) + " %";
    return text;
}

std::string color_text(const KR_Color_View& color)
{
    const unsigned char rgb[] = {color.red(), color.green(), color.blue()};
    std::string text = rgb_text(rgb) + " " + number_text(color.area()) + " %";
    for (const std::string& name : preset_names(color))
        text += " " + name;
    return text;
}

std::string values_text(const KR_Instance_View& instance)
{
    std::string text;
    const auto add = [&](const char* name, float value) {
        if (value != 0)
            text += std::string("  ") + name + " " + number_text(value);
    };
    add("person", instance.person_value());
    add("vehicle", instance.vehicle_value());
    add("object", instance.object_value());
    add("unknown", instance.unknown_value());
    return text;
}

std::string instance_text(const KR_Instance_View& instance)
{
    const Geom_Box2D<float> box = instance.box();
    std::string text = time_text(instance.time()) + "  box " + number_text(box.MinX) + ", " +
                       number_text(box.MinY) + " to " + number_text(box.MaxX) + ", " +
                       number_text(box.MaxY) + values_text(instance) + "  point " +
                       number_text(instance.point_x()) + ", " + number_text(instance.point_y());
    std::string colors;
    for (std::size_t i = 0; i < instance.colors().size(); ++i)
        colors += (i > 0 ? ", " : "  colours ") + color_text(instance.colors()[i]);
    return text + colors;
}

// The fields that have no meaning here, as they stand.
std::string others_text(const KR_Instance_View& instance)
{
    std::string text = "floats " + number_text(instance.float1()) + ", " +
                       number_text(instance.float2()) + "  flag " +
                       std::to_string(instance.flag()) + "  group ";
    int index = 0;
    for (const float number : instance.group())
        text += (index++ > 0 ? ", " : "") + number_text(number);
    return text + "  number " + std::to_string(instance.number());
}

void show_fields(const KR_Object_View& record, Output& output)
{
    const auto line = [&](const char* name, const std::string& text) {
        output.text("  " + output.painted(Paint::dim, name) +
                    std::string(14 - std::strlen(name), ' ') + text + "\n");
    };
    line("object", std::to_string(record.object_id()) + " of sensor " +
                       std::to_string(record.sensor_id().word1) + ", " +
                       std::to_string(record.sensor_id().word2) + "; detector " +
                       std::to_string(record.detector_type()));
    line("first seen", time_text(record.first_seen_time()));
    line("second time", time_text(record.second_time()));
    line("duration", std::to_string(record.duration()) + " s");
    line("scores", scores_text(record));
    line("words", std::to_string(record.word1()) + ", " + std::to_string(record.word2()));
    line("statistics", std::to_string(record.statistics_word1()) + ", " +
                           std::to_string(record.statistics_word2()) + "; " +
                           std::to_string(record.statistics_word7()) + ", " +
                           std::to_string(record.statistics_word8()));
    const std::string shares = shares_text(record);
    line("colours", shares.empty() ? "none that has a name" : shares);
}

void show_instances(const KR_Object_View& record, std::size_t count, std::size_t most,
                    Output& output)
{
    output.text("  " + output.painted(Paint::dim, "instances") + "     " + std::to_string(count) +
                "\n");
    std::size_t index = 0;
    for (const KR_Instance_View instance : record.instances()) {
        if (index == most) {
            output.text("    ... " + std::to_string(count - most) +
                        " more, with --instances to be seen\n");
            return;
        }
        output.text("    " + output.painted(Paint::dim, std::to_string(index++)) + "  " +
                    instance_text(instance) + "\n       " + others_text(instance) + "\n");
    }
}

void show_auxiliary_data(KR_Byte_Span data, Output& output)
{
    constexpr std::size_t most = 16;
    std::string text = counted(data.size, "byte");
    const std::string kind = kind_of(data);
    if (!kind.empty())
        text += ", " + kind;
    else if (!data.empty())
        text += ": " + hex_text(data.data, std::min(data.size, most)) +
                (data.size > most ? " ..." : "");
    output.text("  " + output.painted(Paint::dim, "auxiliary") + "     " + text + "\n");
}

void show_damage(const Record_Item& item, Output& output)
{
    if (item.is_first)
        output.text(output.painted(Paint::red, "  damaged at byte " +
                                                   std::to_string(damage_offset(item)) + ": " +
                                                   sentence_of(item)) +
                    "\n");
    if (item.is_last && item.key == nullptr && !item.has_length)
        output.text(output.painted(Paint::red, "  " + counted(item.damage_size, "byte") +
                                                   " are passed over up to byte " +
                                                   std::to_string(item.offset + item.bytes.size)) +
                    "\n");
}

} // namespace

void show(const Record_Item& item, std::size_t most_instances, Output& output)
{
    if (item.is_first) {
        std::string head = place_of(item);
        if (item.damage == Damage::none)
            head += ", " + counted(item.bytes.size, "byte");
        if (item.key != nullptr && !item.key->run.empty())
            head += ", of the recording " + item.key->run;
        output.text(output.painted(Paint::bold, head) + "\n");
        const KR_Byte_Span bytes = record_bytes(item);
        const KR_Object_View record(bytes.data, bytes.size);
        if (item.damage != Damage::zeros && item.damage != Damage::wrong_length &&
            record.check().state != KR_Record_State::cut_in_fixed_block) {
            show_fields(record, output);
            show_instances(record, item.status.instances, most_instances, output);
        }
        if (item.damage == Damage::none)
            show_auxiliary_data(record.auxiliary_data(), output);
    }
    if (item.damage != Damage::none)
        show_damage(item, output);
}

} // namespace krtool
