#include "Record_Filter.h"

#include "../host/Number_Text.h"
#include "../host/Program.h"
#include "Record_Values.h"

#include <KRCommon/frame/Configuration_Status.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

namespace krtool {

void Record_Filter::add_options(CLI::App& command)
{
    const std::string group = "Filters";
    command.add_option("--record", number_, "The record of this number, from 0")
        ->type_name("N")
        ->group(group);
    command
        .add_option("--from", texts_.from,
                    "First seen at this time or later, UTC: YYYY-MM-DDThh:mm:ss[.uuuuuu]Z or "
                    "\"YYYY/MM/DD hh:mm:ss[.uuuuuu]\"")
        ->type_name("TIME")
        ->group(group);
    command.add_option("--to", texts_.to, "First seen at this time or earlier")
        ->type_name("TIME")
        ->group(group);
    command.add_option("--class", texts_.object_class, "person, vehicle or object")
        ->type_name("CLASS")
        ->group(group);
    command
        .add_option("--min-score", texts_.min_score,
                    "Least score of that class, 0 to 1; 0.5 at first. Without a class: least "
                    "score of the best one")
        ->type_name("X")
        ->group(group);
    command.add_option("--has-color", texts_.color, "Has this colour: " + all_preset_names())
        ->type_name("NAME")
        ->group(group);
    command
        .add_option("--min-area", texts_.min_area,
                    "Least part of the object that has the colour, in percent; 20 at first")
        ->type_name("PERCENT")
        ->group(group);
    command.add_option("--min-duration", texts_.min_duration, "Least duration in seconds")
        ->type_name("S")
        ->group(group);
    command.add_option("--detector", texts_.detector, "Number of the detector")
        ->type_name("N")
        ->group(group);
    command.add_option("--sensor", texts_.sensor, "First word of the sensor, or both: 17 or 17,1")
        ->type_name("WORD[,WORD]")
        ->group(group);
    command.add_option("--object", object_id_, "Number of the object")
        ->type_name("ID")
        ->group(group);
}

namespace {

ACE_Time_Value time_of(const std::string& option, const std::string& text)
{
    if (const std::optional<ACE_Time_Value> time = parse_time(text))
        return *time;
    throw Failure(option + ": '" + text +
                  "' is no time; write it as 2024-03-05T07:08:09Z or \"2024/03/05 07:08:09\"");
}

ns__ObjectClass class_of(const std::string& name)
{
    for (const ns__ObjectClass each :
         {ns__ObjectClass__person, ns__ObjectClass__vehicle, ns__ObjectClass__object})
        if (name == name_of(each))
            return each;
    throw Failure("--class: '" + name + "' is no class; the classes are person, vehicle, object");
}

ns__ColorPreset preset_of(const std::string& name)
{
    if (!has_preset_names())
        throw Failure("--has-color: colours have no names, since the library could not read '" +
                      kr_configuration_status().path + "'");
    if (const std::optional<ns__ColorPreset> preset = preset_of_name(name))
        return *preset;
    throw Failure("--has-color: '" + name + "' is no colour; the colours are " +
                  all_preset_names());
}

std::pair<std::int32_t, std::optional<std::int32_t>> sensor_of(const std::string& text)
{
    std::int32_t words[2] = {};
    const char* const end = text.data() + text.size();
    auto [first_end, first_error] = std::from_chars(text.data(), end, words[0]);
    if (first_error == std::errc() && first_end == end)
        return {words[0], std::nullopt};
    if (first_error == std::errc() && *first_end == ',') {
        const auto [second_end, error] = std::from_chars(first_end + 1, end, words[1]);
        if (error == std::errc() && second_end == end)
            return {words[0], words[1]};
    }
    throw Failure("--sensor: '" + text + "' is no sensor; write it as 17 or 17,1");
}

// The comparison is written so that NaN fails it.
float within(const char* option, float number, float most)
{
    if (number >= 0 && number <= most)
        return number;
    throw Failure(std::string(option) + (most < 1000
                                             ? ": the number must be from 0 to " + number_text(most)
                                             : ": the number must be 0 or more"));
}

} // namespace

void Record_Filter::read()
{
    const Texts& texts = texts_;
    if (texts.from)
        filter_.from = time_of("--from", *texts.from);
    else
        filter_.from = ACE_Time_Value(std::numeric_limits<std::int64_t>::min());
    if (texts.to)
        filter_.to = time_of("--to", *texts.to);
    if (texts.from && texts.to && filter_.from > filter_.to)
        throw Failure("--from: " + *texts.from + " is after --to " + *texts.to);
    if (texts.object_class) {
        filter_.object_class = class_of(*texts.object_class);
        filter_.min_score = 0.5F; // as kr_search has it
    }
    if (texts.min_score)
        filter_.min_score = within("--min-score", *texts.min_score, 1);
    if (texts.color) {
        filter_.preset = preset_of(*texts.color);
        filter_.min_percent = 20;
    }
    if (texts.min_area) {
        if (!texts.color)
            throw Failure("--min-area: needs --has-color");
        filter_.min_percent = within("--min-area", *texts.min_area, 100);
    }
    // An object that has nothing of a colour does not match it, even where 0 percent are enough.
    filter_.min_percent = std::max(filter_.min_percent, std::numeric_limits<float>::min());
    if (texts.min_duration)
        filter_.min_duration =
            within("--min-duration", *texts.min_duration, std::numeric_limits<float>::max());
    if (texts.sensor)
        sensor_ = sensor_of(*texts.sensor);
    asks_ = texts.from || texts.to || texts.object_class || texts.color || texts.sensor ||
            texts.min_score || texts.min_duration || texts.detector || object_id_;
}

// Without a class the test asks for no score, and a NaN passes it.
bool Record_Filter::has_score(const KR_Object_View& record) const
{
    if (!texts_.min_score)
        return true;
    const auto scores = record.class_scores();
    if (filter_.object_class != ns__ObjectClass__unknown)
        return scores[static_cast<std::size_t>(filter_.object_class) - 1] >= filter_.min_score;
    return std::any_of(scores.begin(), scores.end(),
                       [this](float score) { return score >= filter_.min_score; });
}

bool Record_Filter::matches(const Record_Item& item) const
{
    if (number_ && item.number != *number_)
        return false;
    if (!asks_)
        return true;
    if (item.damage != Damage::none)
        return false;
    const KR_Object_View record(item.bytes.data, item.bytes.size);
    if (object_id_ && record.object_id() != *object_id_)
        return false;
    if (sensor_ && (record.sensor_id().word1 != sensor_->first ||
                    (sensor_->second && record.sensor_id().word2 != *sensor_->second)))
        return false;
    KR_Object_Filter filter = filter_;
    filter.detector =
        texts_.detector ? static_cast<ns__DetectorType>(*texts_.detector) : record.detector_type();
    return kr_matches(record, filter) && has_score(record);
}

} // namespace krtool
