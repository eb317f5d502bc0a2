#include "Record_Stats.h"

#include "Record_Text.h"
#include "Record_Values.h"

#include <KRCommon/colors/Colors.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

// Upper ends of the durations that are counted together, in seconds.
constexpr std::array<std::uint32_t, 12> duration_ends{1,  2,   5,   10,  20,   30,
                                                      60, 120, 300, 600, 1800, 3600};
constexpr float enough_score = 0.5F;    // as kr_search asks for
constexpr float enough_percent = 20.0F; // as kr_search asks for
constexpr std::size_t most_names = 1024;

// Counts under the name, or under the others once there are too many names.
template <typename Name>
void count(std::map<Name, std::uint64_t>& counts, const Name& name, std::uint64_t& others)
{
    const auto found = counts.find(name);
    if (found != counts.end())
        ++found->second;
    else if (counts.size() < most_names)
        counts.emplace(name, 1);
    else
        ++others;
}

} // namespace

Record_Stats::Record_Stats(bool with_colors) : has_names_(with_colors && has_preset_names())
{
    static_assert(duration_ends.size() == durations);
}

void Record_Stats::add(const Record_Item& item, bool is_match)
{
    bytes_ += item.bytes.size + (item.has_length ? 4 : 0);
    records_ += item.is_first ? 1 : 0;
    if (item.damage != Damage::none) {
        damaged_ += item.is_first ? 1 : 0;
        damaged_bytes_ += item.bytes.size;
        return;
    }
    without_instances_ += item.status.instances == 0 ? 1 : 0;
    if (is_match)
        add_record(item);
}

void Record_Stats::add_record(const Record_Item& item)
{
    const KR_Object_View record(item.bytes.data, item.bytes.size);
    const ACE_Time_Value seen = record.first_seen_time();
    first_seen_ = sizes_.count == 0 || seen < first_seen_ ? seen : first_seen_;
    last_seen_ = sizes_.count == 0 || seen > last_seen_ ? seen : last_seen_;
    constexpr std::int64_t day = 86'400;
    const std::int64_t second_of_day = (seen.sec() % day + day) % day;
    ++hours_[static_cast<std::size_t>(second_of_day / 3600)];
    sizes_.add(item.bytes.size);

    const std::uint32_t duration = record.duration();
    durations_.add(duration);
    const auto* const end = std::upper_bound(duration_ends.begin(), duration_ends.end(), duration);
    ++duration_counts_[static_cast<std::size_t>(end - duration_ends.begin())];

    const auto scores = record.class_scores();
    for (std::size_t i = 0; i < scores.size(); ++i) {
        classes_[i].sure += scores[i] >= enough_score ? 1 : 0;
        classes_[i].score_sum += scores[i] == scores[i] ? static_cast<double>(scores[i]) : 0;
    }
    count(detectors_, static_cast<std::int32_t>(record.detector_type()), other_detectors_);
    const ns__SensorId sensor = record.sensor_id();
    count(sensors_, {sensor.word1, sensor.word2}, other_sensors_);
    add_instances(record);
}

void Record_Stats::add_instances(const KR_Object_View& record)
{
    std::uint64_t number = 0;
    std::uint64_t colored = 0;
    for (const KR_Instance_View instance : record.instances()) {
        const std::size_t colors = instance.colors().size();
        colors_.add(colors);
        colored += colors;
        ++number;
    }
    instances_.add(number);
    if (const std::size_t size = record.auxiliary_data().size; size > 0)
        auxiliary_.add(size);
    if (has_names_ && colored > 0)
        add_colors(record);
}

void Record_Stats::add_colors(const KR_Object_View& record)
{
    const KR_Color_Shares shares = record.color_shares(*KR_Colors::instance());
    for (std::size_t i = 0; i < shares_.size(); ++i) {
        shares_[i].records += shares.percent[i] >= enough_percent ? 1 : 0;
        shares_[i].percent_sum += static_cast<double>(shares.percent[i]);
    }
}

// Text

namespace {

std::string range_text(const Number_Range& range)
{
    return std::to_string(range.least) + " to " + std::to_string(range.most) + ", mean " +
           fixed_text(range.mean(), 1);
}

std::string percent_text(std::uint64_t part, std::uint64_t whole)
{
    return fixed_text(
               whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole), 1) +
           " %";
}

std::string right(const std::string& text, std::size_t width)
{
    return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

void write_line(Output& output, const std::string& name, const std::string& text)
{
    constexpr std::size_t width = 14;
    output.text(output.painted(Paint::bold, name) +
                std::string(name.size() < width ? width - name.size() : 1, ' ') + text + "\n");
}

// A name, a count, a bar that is as long as its part of the most.
void write_bar(Output& output, const std::string& name, std::uint64_t number, std::uint64_t most,
               const std::string& behind = {})
{
    constexpr std::uint64_t longest = 40;
    // Without a product that a large count could make too large.
    const auto length = static_cast<std::size_t>(most == 0 ? 0
                                                           : static_cast<double>(longest) *
                                                                 static_cast<double>(number) /
                                                                 static_cast<double>(most));
    std::string line = "  " + right(name, 14) + "  " + right(std::to_string(number), 10) + "  " +
                       std::string(length, '#');
    if (!behind.empty())
        line += std::string(longest + 1 - length, ' ') + behind;
    line.erase(line.find_last_not_of(' ') + 1);
    output.text(line + "\n");
}

std::string duration_name(std::size_t index)
{
    if (index == 0)
        return "0 s";
    if (index == duration_ends.size())
        return "3600 s and more";
    const std::uint32_t first = duration_ends[index - 1];
    const std::uint32_t last = duration_ends[index] - 1;
    return std::to_string(first) + (first == last ? "" : " to " + std::to_string(last)) + " s";
}

} // namespace

void Record_Stats::write(Output& output) const
{
    if (output.is_json())
        write_json(output);
    else
        write_text(output);
}

void Record_Stats::write_text(Output& output) const
{
    write_line(output, "files", std::to_string(files_) + ", " + counted(bytes_, "byte"));
    std::string records = std::to_string(records_);
    if (damaged_ > 0)
        records += ", of them damaged " + std::to_string(damaged_) + " with " +
                   counted(damaged_bytes_, "byte");
    if (without_instances_ > 0)
        records += ", without instances " + std::to_string(without_instances_);
    write_line(output, "records", records);
    if (sizes_.count < records_ - damaged_)
        write_line(output, "matching", std::to_string(sizes_.count));
    if (sizes_.count == 0)
        return;
    write_line(output, "size", range_text(sizes_) + " bytes");
    write_line(output, "first seen", time_text(first_seen_) + " to " + time_text(last_seen_));
    write_line(output, "instances",
               std::to_string(instances_.sum) + ", a record " + range_text(instances_));
    write_line(output, "colours",
               std::to_string(colors_.sum) + ", an instance " + range_text(colors_));
    write_line(output, "auxiliary",
               auxiliary_.count == 0 ? "none"
                                     : counted(auxiliary_.count, "record") + ", " +
                                           range_text(auxiliary_) + " bytes");

    write_line(output, "duration", range_text(durations_) + " s");
    const std::uint64_t most_durations =
        *std::max_element(duration_counts_.begin(), duration_counts_.end());
    for (std::size_t i = 0; i < duration_counts_.size(); ++i)
        if (duration_counts_[i] > 0)
            write_bar(output, duration_name(i), duration_counts_[i], most_durations);

    write_line(output, "hour", "of the day, UTC, in which objects were first seen");
    const std::uint64_t most_hours = *std::max_element(hours_.begin(), hours_.end());
    for (std::size_t hour = 0; hour < hours_.size(); ++hour)
        if (hours_[hour] > 0)
            write_bar(output, std::to_string(hour), hours_[hour], most_hours);

    write_line(output, "class", "records with a score of 0.5 and more, mean score of all");
    for (std::size_t i = 0; i < classes_.size(); ++i)
        write_bar(output, name_of(static_cast<ns__ObjectClass>(i + 1)), classes_[i].sure,
                  sizes_.count,
                  fixed_text(classes_[i].score_sum / static_cast<double>(sizes_.count), 3));

    if (has_names_) {
        write_line(output, "colour", "records with 20 % and more, mean share of all");
        for (std::size_t i = 1; i < shares_.size(); ++i)
            if (shares_[i].percent_sum > 0)
                write_bar(
                    output, name_of(static_cast<ns__ColorPreset>(i)), shares_[i].records,
                    sizes_.count,
                    fixed_text(shares_[i].percent_sum / static_cast<double>(sizes_.count), 1) +
                        " %");
    }
    write_line(output, "detector", "records of each");
    for (const auto& [detector, number] : detectors_)
        write_bar(output, std::to_string(detector), number, sizes_.count);
    if (other_detectors_ > 0)
        write_bar(output, "others", other_detectors_, sizes_.count);
    write_line(output, "sensor", "records of each");
    constexpr std::size_t most_sensors = 20;
    std::uint64_t others = other_sensors_;
    std::size_t shown = 0;
    for (const auto& [sensor, number] : sensors_) {
        if (shown++ < most_sensors)
            write_bar(output, std::to_string(sensor.first) + ", " + std::to_string(sensor.second),
                      number, sizes_.count, percent_text(number, sizes_.count));
        else
            others += number;
    }
    if (others > 0)
        write_bar(output, "others", others, sizes_.count, percent_text(others, sizes_.count));
}

// JSON

namespace {

Json range_json(const Number_Range& range)
{
    return {{"count", range.count},
            {"least", range.least},
            {"most", range.most},
            {"sum", range.sum},
            {"mean", range.mean()}};
}

} // namespace

void Record_Stats::write_json(Output& output) const
{
    Json json = {{"files", files_},
                 {"bytes", bytes_},
                 {"records", records_},
                 {"damaged", damaged_},
                 {"damaged_bytes", damaged_bytes_},
                 {"without_instances", without_instances_},
                 {"matching", sizes_.count}};
    json["size"] = range_json(sizes_);
    json["instances"] = range_json(instances_);
    json["colors_of_instances"] = range_json(colors_);
    json["auxiliary_data"] = range_json(auxiliary_);
    json["duration"] = range_json(durations_);
    json["first_seen"] = {{"from", sizes_.count > 0 ? Json(time_text(first_seen_)) : Json()},
                          {"to", sizes_.count > 0 ? Json(time_text(last_seen_)) : Json()}};
    Json histogram = Json::array();
    for (std::size_t i = 0; i < duration_counts_.size(); ++i)
        histogram.push_back({{"from", i == 0 ? 0 : duration_ends[i - 1]},
                             {"below", i < durations ? Json(duration_ends[i]) : Json()},
                             {"records", duration_counts_[i]}});
    json["durations"] = std::move(histogram);
    json["hours"] = hours_;
    const auto records = static_cast<double>(std::max<std::uint64_t>(sizes_.count, 1));
    for (std::size_t i = 0; i < classes_.size(); ++i)
        json["classes"][name_of(static_cast<ns__ObjectClass>(i + 1))] = {
            {"records", classes_[i].sure}, {"mean_score", classes_[i].score_sum / records}};
    json["colors"] = Json::object();
    for (std::size_t i = 1; has_names_ && i < shares_.size(); ++i)
        json["colors"][name_of(static_cast<ns__ColorPreset>(i))] = {
            {"records", shares_[i].records}, {"mean_percent", shares_[i].percent_sum / records}};
    json["detectors"] = Json::array();
    for (const auto& [detector, number] : detectors_)
        json["detectors"].push_back({{"detector", detector}, {"records", number}});
    json["sensors"] = Json::array();
    for (const auto& [sensor, number] : sensors_)
        json["sensors"].push_back(
            {{"word1", sensor.first}, {"word2", sensor.second}, {"records", number}});
    json["other_detectors"] = other_detectors_;
    json["other_sensors"] = other_sensors_;
    output.json(json);
}

} // namespace krtool
