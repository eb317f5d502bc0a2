#include "Command_Line.h"

#include "../host/Host.h"
#include "../host/Program.h"

#include <KRCommon/util/Time_Text.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <system_error>

namespace video_search {

namespace {

constexpr int most_sensor = std::numeric_limits<int>::max();
constexpr double least_min_area = 0.001; // percent
constexpr double most_min_area = 50;
constexpr double least_stall = 0.1; // seconds
constexpr double most_stall = 3600;

// The options as they are written.
struct Texts {
    std::vector<std::string> videos;
    std::vector<int> sensors;
    std::vector<std::string> starts;
    Analysis_Settings settings;
    double stall = 10;
};

// The record keeps 32 bits of the seconds of an instance.
ACE_Time_Value time_of(const std::string& text)
{
    const ACE_Time_Value latest = kr_to_ace_time_value("2037/12/31 23:59:59.999999");
    const std::optional<ACE_Time_Value> time = to_time(text);
    if (!time || *time > latest)
        throw Usage_Error(
            "--start: '" + text +
            "' is no time; write YYYY/MM/DD hh:mm:ss or YYYY/MM/DD hh:mm:ss.uuuuuu (UTC, years "
            "1970 to 2037), like 2024/03/05 07:08:09");
    return *time;
}

void add_inputs(CLI::App& app, Texts& texts)
{
    app.add_option("VIDEO", texts.videos,
                   "Recordings, and addresses of cameras like rtsp://camera/stream, analysed at "
                   "the same time")
        ->required();
    app.add_option("--sensor", texts.sensors,
                   "Number of the camera; 1 at first. Of several videos one each, or the first: "
                   "the others count on")
        ->type_name("N")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(0, most_sensor));
    app.add_option("--start", texts.starts,
                   "When the recording begins, \"YYYY/MM/DD hh:mm:ss[.uuuuuu]\", UTC; what the "
                   "file says at first, else its time less its duration. Of several one each, or "
                   "one for all")
        ->type_name("TIME")
        ->allow_extra_args(false);
}

void add_files(CLI::App& app, Command_Line& line)
{
    app.add_option("--store", line.store, "The store, or clickhouse://...; made when it is missing")
        ->type_name("FILE")
        ->required();
    app.add_option("--logs", line.logs, "Folder of the log files; made when it is missing")
        ->type_name("DIR")
        ->required();
}

void add_settings(CLI::App& app, Texts& texts)
{
    Analysis_Settings& settings = texts.settings;
    app.add_option("--budget", settings.budget,
                   "Most bytes of an object's instances; 65536 at first")
        ->type_name("BYTES")
        ->check(CLI::Range(least_budget(), std::numeric_limits<unsigned>::max()));
    app.add_option("--every", settings.every,
                   "Analyse each n-th frame; 1 at first. At least one frame a second must be left")
        ->type_name("N")
        ->check(CLI::Range(1, 1000));
    app.add_option("--min-area", settings.min_area,
                   "Least area of an object in percent of the picture; 0.05 at first")
        ->type_name("PERCENT")
        ->check(CLI::Range(least_min_area, most_min_area));
    app.add_option("--stall", texts.stall,
                   "Seconds after which a silent camera is connected anew; 10 at first")
        ->type_name("SECONDS")
        ->check(CLI::Range(least_stall, most_stall));
}

// The ranges above let NaN pass, since they only look for what is below or above.
void check_numbers(const Texts& texts)
{
    if (std::isnan(texts.settings.min_area))
        throw Usage_Error("--min-area: the area must be from 0.001 to 50 percent");
    if (std::isnan(texts.stall))
        throw Usage_Error("--stall: the time must be from 0.1 to 3600 seconds");
}

void check_count(const char* option, std::size_t given, std::size_t videos)
{
    if (given > 1 && given != videos)
        throw Usage_Error(std::string(option) + ": " + std::to_string(given) + " for " +
                          std::to_string(videos) + " videos; give one each, or one");
}

int sensor_of(const std::vector<int>& sensors, std::size_t video)
{
    if (sensors.size() > 1)
        return sensors[video];
    const int first = sensors.empty() ? 1 : sensors[0];
    if (static_cast<std::size_t>(most_sensor - first) < video)
        throw Usage_Error("--sensor: there is no number after " + std::to_string(most_sensor));
    return first + static_cast<int>(video);
}

std::optional<ACE_Time_Value> start_of(const std::vector<std::string>& starts, std::size_t video)
{
    if (starts.empty())
        return std::nullopt;
    return time_of(starts.size() > 1 ? starts[video] : starts[0]);
}

Input input_of(const Texts& texts, std::size_t video)
{
    Input input;
    input.name = texts.videos[video];
    input.settings = texts.settings;
    input.settings.sensor = sensor_of(texts.sensors, video);
    input.start = start_of(texts.starts, video);
    if (input.start && is_address(input.name))
        throw Usage_Error("--start: the pictures of the camera " + input.name +
                          " begin when they come");
    return input;
}

} // namespace

bool is_address(const std::string& name)
{
    const std::size_t end = name.find("://");
    if (end == std::string::npos || end == 0)
        return false;
    const auto is_of_scheme = [](unsigned char letter) {
        return std::isalnum(letter) != 0 || letter == '+' || letter == '-' || letter == '.';
    };
    std::error_code error;
    return std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(end),
                       is_of_scheme) &&
           !std::filesystem::exists(to_path(name), error);
}

std::optional<Command_Line> read_command_line(int argc, const char* const* argv,
                                              const std::string& version, std::ostream& out)
{
    Command_Line line;
    Texts texts;
    CLI::App app{"Finds moving objects in recordings and in what cameras send, follows them and "
                 "stores each as a record.",
                 "kr_analyse"};
    app.set_version_flag("--version", "kr_analyse " + version);
    add_inputs(app, texts);
    add_files(app, line);
    add_settings(app, texts);
    if (!parse(app, argc, argv, out))
        return std::nullopt;
    check_numbers(texts);
    check_count("--sensor", texts.sensors.size(), texts.videos.size());
    check_count("--start", texts.starts.size(), texts.videos.size());
    for (std::size_t i = 0; i < texts.videos.size(); ++i)
        line.inputs.push_back(input_of(texts, i));
    line.stall = std::chrono::milliseconds(std::llround(1000 * texts.stall));
    return line;
}

} // namespace video_search
