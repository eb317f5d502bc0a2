#include "Options.h"

#include "../host/Program.h"
#include "../store/Object_Store.h"
#include "Color_Names.h"
#include "Criteria_Texts.h"

#include <CLI/CLI.hpp>

#include <filesystem>

namespace video_search {

namespace {

void add_files(CLI::App& app, Options& options)
{
    app.add_option("--store", options.store, "The store to search, or clickhouse://...")
        ->type_name("FILE")
        ->required();
    app.add_flag("--strict", options.is_strict,
                 "Fail when a part of the store does not answer; else what it has is left out");
    app.add_option("--logs", options.logs, "Folder of the log files; that of the store at first")
        ->type_name("DIR");
    app.add_option("--html", options.html, "Write the hits as a page too")->type_name("FILE");
    app.add_option("--csv", options.csv, "Write the hits as CSV too")->type_name("FILE");
    app.add_option("--json", options.json, "Write the hits as JSON too")->type_name("FILE");
    app.add_option("--title", options.title, "Title of the page")->type_name("TEXT");
}

void add_filters(CLI::App& app, Criteria_Texts& texts)
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

void add_display(CLI::App& app, Criteria_Texts& texts)
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
    Criteria_Texts texts;
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
    options.criteria = criteria_of(texts);
    if (options.logs.empty())
        options.logs = is_cluster(options.store) ? "." : folder_of(options.store);
    return options;
}

} // namespace video_search
