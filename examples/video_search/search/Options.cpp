#include "Options.h"

#include "../host/Program.h"
#include "Color_Names.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace video_search {

namespace {

// What was written, before its meaning is checked.
struct Texts {
    std::optional<std::string> from;
    std::optional<std::string> to;
    std::optional<std::string> object_class;
    std::optional<std::string> hours;
    std::vector<std::string> sensors;
    std::vector<std::string> colors;
    std::optional<std::string> which_colors;
    std::optional<std::string> stood_in;
    std::optional<std::string> crossed;
    std::string order = "time";
    std::optional<float> min_score;
    std::optional<float> min_area;
    std::optional<float> min_duration;
    std::optional<float> max_duration;
    std::optional<int> window;
    std::optional<int> limit;
    bool counts_all = false;
};

void add_files(CLI::App& app, Options& options)
{
    app.add_option("--store", options.store, "The store to search")->type_name("FILE")->required();
    app.add_option("--logs", options.logs, "Folder of the log files; that of the store at first")
        ->type_name("DIR");
    app.add_option("--html", options.html, "Write the hits as a page too")->type_name("FILE");
    app.add_option("--csv", options.csv, "Write the hits as CSV too")->type_name("FILE");
    app.add_option("--json", options.json, "Write the hits as JSON too")->type_name("FILE");
    app.add_option("--title", options.title, "Title of the page")->type_name("TEXT");
}

void add_filters(CLI::App& app, Texts& texts)
{
    app.add_option("--from", texts.from,
                   "First seen at this time or later, \"YYYY/MM/DD hh:mm:ss[.uuuuuu]\", UTC")
        ->type_name("TIME");
    app.add_option("--to", texts.to, "First seen at this time or earlier")->type_name("TIME");
    app.add_option("--hours", texts.hours,
                   "First seen in these hours of the day, UTC: 8-17 ends at 17:00, 22-6 goes over "
                   "midnight")
        ->type_name("HOURS");
    app.add_option("--sensor", texts.sensors, "Of this sensor, or of one of these: 3, 3.1")
        ->type_name("SENSOR")
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_option("--class", texts.object_class, "person, vehicle or object")->type_name("CLASS");
    app.add_option("--min-score", texts.min_score,
                   "Least score of that class, 0 to 1; 0.5 at first. Without a class: least score "
                   "of the best one; 0 at first")
        ->type_name("X");
    app.add_option("--color", texts.colors,
                   "One or several of " + all_color_names() + "; red,blue is two")
        ->type_name("NAME")
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_option("--colors", texts.which_colors,
                   "any (one of several colours is enough) or all; any at first")
        ->type_name("WHICH");
    app.add_option("--min-area", texts.min_area,
                   "Least part of the object that has the colour, 0 to 100; 20 at first")
        ->type_name("PERCENT");
    app.add_option("--min-duration", texts.min_duration, "Least duration in seconds")
        ->type_name("S");
    app.add_option("--max-duration", texts.max_duration, "Longest duration in seconds")
        ->type_name("S");
    app.add_option(
           "--stood-in", texts.stood_in,
           "Was observed with its foot, the middle of its box's lower edge, in this area: two "
           "opposite corners of a rectangle or three corners and more of a polygon, pixels "
           "from the upper left, like \"0,300 767,575\"")
        ->type_name("AREA");
    app.add_option("--crossed", texts.crossed,
                   "Came with its foot into this area from outside and went out again")
        ->type_name("AREA");
}

void add_display(CLI::App& app, Texts& texts)
{
    app.add_option("--sort", texts.order,
                   "time (first seen first), latest (first seen last), duration (longest first) or "
                   "score (highest first)")
        ->type_name("ORDER");
    app.add_option("--limit", texts.limit, "Most hits to show; the search ends there")
        ->type_name("N");
    app.add_flag("--count", texts.counts_all, "Count all that match, whatever the limit");
    app.add_option("--window", texts.window,
                   "Instances around the best one of each object; 8 at first, -1 for all")
        ->type_name("N");
}

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

void read_times(const Texts& texts, Criteria& criteria)
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
void read_class(const Texts& texts, Criteria& criteria)
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

void read_color(const Texts& texts, Criteria& criteria)
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

void read_places(const Texts& texts, Criteria& criteria)
{
    for (const std::string& sensor : texts.sensors)
        criteria.sensors.push_back(sensor_of(sensor));
    check(!texts.stood_in || !texts.crossed, "--crossed: not together with --stood-in");
    if (texts.stood_in)
        criteria.area = {corners_of("--stood-in", *texts.stood_in), Presence::stood};
    if (texts.crossed)
        criteria.area = {corners_of("--crossed", *texts.crossed), Presence::crossed};
}

void read_numbers(const Texts& texts, Criteria& criteria)
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

void read_criteria(const Texts& texts, Criteria& criteria)
{
    read_times(texts, criteria);
    read_class(texts, criteria);
    read_color(texts, criteria);
    read_places(texts, criteria);
    read_numbers(texts, criteria);
    criteria.order = order_of(texts.order);
}

// With the separator at its end; without a folder in front of the name, the working folder.
std::string folder_of(const std::string& path)
{
    const std::string separators{'/',
                                 static_cast<char>(std::filesystem::path::preferred_separator)};
    const std::size_t last = path.find_last_of(separators);
    return last == std::string::npos ? "." : path.substr(0, last + 1);
}

} // namespace

std::optional<Options> parse_options(int argc, const char* const* argv, const std::string& version,
                                     std::ostream& out)
{
    Options options;
    Texts texts;
    CLI::App app{"Finds objects in a store, by time, sensor, class, colour, score, duration and "
                 "place, prints "
                 "them as a table and writes them as a page, as CSV and as JSON.",
                 "kr_search"};
    app.set_version_flag("--version", "kr_search " + version);
    add_files(app, options);
    add_filters(app, texts);
    add_display(app, texts);
    if (!parse(app, argc, argv, out))
        return std::nullopt;
    read_criteria(texts, options.criteria);
    if (options.logs.empty())
        options.logs = folder_of(options.store);
    return options;
}

} // namespace video_search
