#include "Command_Line.h"

#include "../host/Program.h"
#include "Track_Record.h"

#include <KRCommon/util/Time_Text.h>

#include <ace/OS_NS_sys_stat.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <limits>

namespace video_search {

namespace {

// The record keeps 32 bits of the seconds of an instance.
ACE_Time_Value latest_start()
{
    return kr_to_ace_time_value("2037/12/31 23:59:59.999999");
}

ACE_Time_Value time_of(const std::string& text)
{
    const std::optional<ACE_Time_Value> time = to_time(text);
    if (!time || *time > latest_start())
        throw Usage_Error(
            "--start: '" + text +
            "' is no time; write YYYY/MM/DD hh:mm:ss or YYYY/MM/DD hh:mm:ss.uuuuuu (UTC, years "
            "1970 to 2037), like 2024/03/05 07:08:09");
    return *time;
}

constexpr double least_min_area = 0.001; // percent
constexpr double most_min_area = 50;

void add_files(CLI::App& app, Command_Line& line)
{
    app.add_option("VIDEO", line.analysis.video, "The recording")->required();
    app.add_option("--store", line.store, "The store; made when it is missing")
        ->type_name("FILE")
        ->required();
    app.add_option("--logs", line.logs, "Folder of the log files; made when it is missing")
        ->type_name("DIR")
        ->required();
}

void add_settings(CLI::App& app, Analysis_Settings& settings, std::string& start)
{
    constexpr int most = std::numeric_limits<int>::max();
    app.add_option("--sensor", settings.sensor, "Number of the camera; 1 at first")
        ->type_name("N")
        ->check(CLI::Range(0, most));
    app.add_option("--start", start,
                   "When the recording begins, \"YYYY/MM/DD hh:mm:ss[.uuuuuu]\", UTC; the time of "
                   "the file at first")
        ->type_name("TIME");
    app.add_option("--budget", settings.budget,
                   "Most bytes of an object's instances; 65536 at first")
        ->type_name("BYTES")
        ->check(CLI::Range(least_budget(), std::numeric_limits<unsigned>::max()));
    app.add_option("--every", settings.every, "Analyse each n-th frame; 1 at first")
        ->type_name("N")
        ->check(CLI::Range(1, 1000));
    app.add_option("--min-area", settings.min_area,
                   "Least area of an object in percent of the picture; 0.05 at first")
        ->type_name("PERCENT")
        ->check(CLI::Range(least_min_area, most_min_area));
}

// The range above lets NaN pass, since it only looks for what is below or above.
void check_area(double percent)
{
    if (std::isnan(percent))
        throw Usage_Error("--min-area: the area must be from 0.001 to 50 percent");
}

} // namespace

std::optional<Command_Line> read_command_line(int argc, const char* const* argv,
                                              const std::string& version, std::ostream& out)
{
    Command_Line line;
    std::string start;
    CLI::App app{"Finds moving objects in a recording, follows them and stores each as a record.",
                 "kr_analyse"};
    app.set_version_flag("--version", "kr_analyse " + version);
    add_files(app, line);
    add_settings(app, line.analysis, start);
    if (!parse(app, argc, argv, out))
        return std::nullopt;
    check_area(line.analysis.min_area);
    line.has_start = app.count("--start") > 0;
    if (line.has_start)
        line.analysis.start = time_of(start);
    return line;
}

ACE_Time_Value file_time(const std::string& video)
{
    ACE_stat status = {};
    if (ACE_OS::stat(video.c_str(), &status) != 0)
        return {};
    const ACE_Time_Value time(status.st_mtime);
    const bool is_in_range = time >= ACE_Time_Value::zero && time <= latest_start();
    return is_in_range ? time : ACE_Time_Value();
}

} // namespace video_search
