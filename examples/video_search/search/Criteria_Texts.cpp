#include "Criteria_Texts.h"

#include "../host/Program.h"
#include "Color_Names.h"

#include <charconv>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace video_search {

namespace {

ACE_Time_Value time_of(const std::string& option, const std::string& text)
{
    const std::optional<ACE_Time_Value> time = to_time(text);
    if (!time)
        throw Usage_Error(option + ": '" + text +
                          "' is no time; write YYYY/MM/DD hh:mm:ss or YYYY/MM/DD hh:mm:ss.uuuuuu "
                          "(UTC, years 1970 to 3000), like 2024/03/05 07:08:09");
    return *time;
}

ns__ObjectClass class_of(const std::string& name)
{
    for (const ns__ObjectClass each :
         {ns__ObjectClass__person, ns__ObjectClass__vehicle, ns__ObjectClass__object})
        if (name == name_of(each))
            return each;
    throw Usage_Error("--class: '" + name +
                      "' is no class; the classes are person, vehicle, "
                      "object");
}

Preset_Set color_of(const std::string& name)
{
    const auto color = color_of_name(name);
    if (!color)
        throw Usage_Error("--color: '" + name + "' is no colour; the colours are " +
                          all_color_names());
    return *color;
}

// The whole text as a number.
template <typename Number>
std::optional<Number> number_of(std::string_view text)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end)
        return std::nullopt;
    return number;
}

// The numbers on both sides of a character.
template <typename Number>
std::optional<std::pair<Number, Number>> pair_of(std::string_view text, char between)
{
    const std::size_t place = text.find(between);
    if (place == std::string_view::npos)
        return std::nullopt;
    const auto first = number_of<Number>(text.substr(0, place));
    const auto second = number_of<Number>(text.substr(place + 1));
    if (!first || !second)
        return std::nullopt;
    return std::pair(*first, *second);
}

// As kr_analyse has it: the second word is 1 where it is not written.
ns__SensorId sensor_of(const std::string& text)
{
    const bool has_both = text.find('.') != std::string::npos;
    const auto words = pair_of<int>(has_both ? text : text + ".1", '.');
    if (!words || words->first < 0 || words->second < 0)
        throw Usage_Error("--sensor: '" + text + "' is no sensor; write 3 or 3.1");
    ns__SensorId sensor;
    sensor.word1 = words->first;
    sensor.word2 = words->second;
    return sensor;
}

Hours hours_of(const std::string& text)
{
    const auto hours = pair_of<int>(text, '-');
    if (!hours || hours->first < 0 || hours->first > 23 || hours->second < 0 || hours->second > 24)
        throw Usage_Error("--hours: '" + text + "' are no hours of the day; write 8-17 or 22-6");
    return {hours->first, hours->second};
}

[[noreturn]] void refuse_area(const std::string& option, const std::string& text)
{
    throw Usage_Error(option + ": '" + text +
                      "' is no area; write two opposite corners of a rectangle, like \"0,300 "
                      "767,575\", or three corners and more of a polygon");
}

std::vector<Foot> corners_of(const std::string& option, const std::string& text)
{
    std::vector<Foot> corners;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto corner = pair_of<float>(word, ',');
        if (!corner || !is_finite({corner->first, corner->second}))
            refuse_area(option, text);
        corners.push_back({corner->first, corner->second});
    }
    if (corners.size() < 2)
        refuse_area(option, text);
    return corners.size() == 2 ? rectangle(corners[0], corners[1]) : corners;
}

Order order_of(const std::string& name)
{
    if (name == "time")
        return Order::time;
    if (name == "latest")
        return Order::latest;
    if (name == "duration")
        return Order::duration;
    if (name == "score")
        return Order::score;
    throw Usage_Error("--sort: '" + name +
                      "' is no order; the orders are time, latest, duration, score");
}

void check(bool is_good, const char* sentence)
{
    if (!is_good)
        throw Usage_Error(sentence);
}

void read_times(const Criteria_Texts& texts, Criteria& criteria)
{
    if (texts.from)
        criteria.from = time_of("--from", *texts.from);
    if (texts.to)
        criteria.to = time_of("--to", *texts.to);
    if (criteria.from && criteria.to && *criteria.from > *criteria.to)
        throw Usage_Error("--from: " + *texts.from + " is after --to " + *texts.to);
    if (texts.hours)
        criteria.hours = hours_of(*texts.hours);
}

// The comparisons are written so that NaN fails them.
void read_class(const Criteria_Texts& texts, Criteria& criteria)
{
    constexpr float score_of_a_class = 0.5F;
    if (texts.object_class) {
        criteria.object_class = class_of(*texts.object_class);
        criteria.min_score = score_of_a_class;
    }
    criteria.min_score = texts.min_score.value_or(criteria.min_score);
    check(criteria.min_score >= 0 && criteria.min_score <= 1,
          "--min-score: the score must be from 0 to 1");
}

void read_color(const Criteria_Texts& texts, Criteria& criteria)
{
    for (const std::string& name : texts.colors)
        criteria.colors.push_back(color_of(name));
    check(!texts.colors.empty() || !texts.min_area, "--min-area: needs a --color");
    check(!texts.colors.empty() || !texts.which_colors, "--colors: needs a --color");
    const std::string which = texts.which_colors.value_or("any");
    check(which == "any" || which == "all", "--colors: write any or all");
    criteria.wants_all_colors = which == "all";
    criteria.min_area = texts.min_area.value_or(criteria.min_area);
    check(criteria.min_area >= 0 && criteria.min_area <= 100,
          "--min-area: the area must be from 0 to 100 percent");
}

void read_places(const Criteria_Texts& texts, Criteria& criteria)
{
    for (const std::string& sensor : texts.sensors)
        criteria.sensors.push_back(sensor_of(sensor));
    check(!texts.stood_in || !texts.crossed, "--crossed: not together with --stood-in");
    if (texts.stood_in)
        criteria.area = {corners_of("--stood-in", *texts.stood_in), Presence::stood};
    if (texts.crossed)
        criteria.area = {corners_of("--crossed", *texts.crossed), Presence::crossed};
}

void read_numbers(const Criteria_Texts& texts, Criteria& criteria)
{
    criteria.min_duration = texts.min_duration.value_or(criteria.min_duration);
    check(criteria.min_duration >= 0, "--min-duration: the duration must be 0 seconds or more");
    criteria.max_duration = texts.max_duration;
    check(criteria.max_duration.value_or(criteria.min_duration) >= criteria.min_duration,
          "--max-duration: the duration must be that of --min-duration or more");
    criteria.window = texts.window.value_or(criteria.window);
    check(criteria.window >= -1, "--window: the window must be -1 (all) or more");
    check(!texts.limit || *texts.limit > 0, "--limit: the limit must be 1 or more");
    if (texts.limit)
        criteria.limit = static_cast<std::size_t>(*texts.limit);
    criteria.counts_all = texts.counts_all;
}

} // namespace

Criteria criteria_of(const Criteria_Texts& texts)
{
    Criteria criteria;
    read_times(texts, criteria);
    read_class(texts, criteria);
    read_color(texts, criteria);
    read_places(texts, criteria);
    read_numbers(texts, criteria);
    criteria.order = order_of(texts.order);
    return criteria;
}

ns__SensorId sensor_of_text(const std::string& text)
{
    return sensor_of(text);
}

} // namespace video_search
