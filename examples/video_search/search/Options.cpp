#include "Options.h"

#include "../host/Program.h"
#include "Color_Names.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>

namespace video_search {

namespace {

// What was written, before its meaning is checked.
struct Texts {
    std::optional<std::string> from;
    std::optional<std::string> to;
    std::optional<std::string> object_class;
    std::optional<std::string> color;
    std::string order = "time";
    std::optional<float> min_score;
    std::optional<float> min_area;
    std::optional<float> min_duration;
    std::optional<int> window;
    std::optional<int> limit;
};

void add_files(CLI::App& app, Options& options)
{
    app.add_option("--store", options.store, "The store to search")->type_name("FILE")->required();
    app.add_option("--logs", options.logs, "Folder of the log files; that of the store at first")
        ->type_name("DIR");
    app.add_option("--html", options.html, "Write the hits as a page too")->type_name("FILE");
    app.add_option("--title", options.title, "Title of the page")->type_name("TEXT");
}

void add_filters(CLI::App& app, Texts& texts)
{
    app.add_option("--from", texts.from,
                   "First seen at this time or later, \"YYYY/MM/DD hh:mm:ss[.uuuuuu]\", UTC")
        ->type_name("TIME");
    app.add_option("--to", texts.to, "First seen at this time or earlier")->type_name("TIME");
    app.add_option("--class", texts.object_class, "person, vehicle or object")->type_name("CLASS");
    app.add_option("--min-score", texts.min_score,
                   "Least score of that class, 0 to 1; 0.5 at first. Without a class: least score "
                   "of the best one; 0 at first")
        ->type_name("X");
    app.add_option("--color", texts.color, all_color_names())->type_name("NAME");
    app.add_option("--min-area", texts.min_area,
                   "Least part of the object that has the colour, 0 to 100; 20 at first")
        ->type_name("PERCENT");
    app.add_option("--min-duration", texts.min_duration, "Least duration in seconds")
        ->type_name("S");
}

void add_display(CLI::App& app, Texts& texts)
{
    app.add_option("--sort", texts.order,
                   "time (first seen first), duration (longest first) or score (highest first)")
        ->type_name("ORDER");
    app.add_option("--limit", texts.limit, "Most hits to show")->type_name("N");
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

void read_times(const Texts& texts, Criteria& criteria)
{
    if (texts.from)
        criteria.from = time_of("--from", *texts.from);
    if (texts.to)
        criteria.to = time_of("--to", *texts.to);
    if (criteria.from && criteria.to && *criteria.from > *criteria.to)
        throw Usage_Error("--from: " + *texts.from + " is after --to " + *texts.to);
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

ns__ColorPreset preset_of(const std::string& name)
{
    const auto preset = color_of_name(name);
    if (!preset)
        throw Usage_Error("--color: '" + name + "' is no colour; the colours are " +
                          all_color_names());
    return *preset;
}

Order order_of(const std::string& name)
{
    if (name == "time")
        return Order::time;
    if (name == "duration")
        return Order::duration;
    if (name == "score")
        return Order::score;
    throw Usage_Error("--sort: '" + name + "' is no order; the orders are time, duration, score");
}

void check(bool is_good, const char* sentence)
{
    if (!is_good)
        throw Usage_Error(sentence);
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
    if (texts.color)
        criteria.color = preset_of(*texts.color);
    check(texts.color || !texts.min_area, "--min-area: needs a --color");
    criteria.min_area = texts.min_area.value_or(criteria.min_area);
    check(criteria.min_area >= 0 && criteria.min_area <= 100,
          "--min-area: the area must be from 0 to 100 percent");
}

void read_numbers(const Texts& texts, Criteria& criteria)
{
    criteria.min_duration = texts.min_duration.value_or(criteria.min_duration);
    check(criteria.min_duration >= 0, "--min-duration: the duration must be 0 seconds or more");
    criteria.window = texts.window.value_or(criteria.window);
    check(criteria.window >= -1, "--window: the window must be -1 (all) or more");
    check(!texts.limit || *texts.limit > 0, "--limit: the limit must be 1 or more");
    if (texts.limit)
        criteria.limit = static_cast<std::size_t>(*texts.limit);
}

void read_criteria(const Texts& texts, Criteria& criteria)
{
    read_times(texts, criteria);
    read_class(texts, criteria);
    read_color(texts, criteria);
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
    CLI::App app{
        "Finds objects in a store, by time, class, colour, score and duration, prints them "
        "as a table and writes them as a page.",
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
