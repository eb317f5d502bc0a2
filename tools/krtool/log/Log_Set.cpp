#include "Log_Set.h"

#include "../host/Program.h"
#include "Log_Line.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

namespace krtool {

namespace {

namespace fs = std::filesystem;

Local_Time local_time(std::time_t seconds)
{
    const std::tm* const local = std::localtime(&seconds);
    if (local == nullptr)
        return 0;
    const std::int64_t days =
        days_of_date(local->tm_year + 1900, static_cast<unsigned>(local->tm_mon + 1),
                     static_cast<unsigned>(local->tm_mday));
    return days * one_day +
           (local->tm_hour * 3600 + local->tm_min * 60 + local->tm_sec) * one_second;
}

// The day on which the file was changed last.
std::int64_t date_of_change(const fs::path& path)
{
    std::error_code error;
    const fs::file_time_type changed = fs::last_write_time(path, error);
    if (error)
        return local_now() / one_day;
    const auto age = fs::file_time_type::clock::now() - changed;
    const auto then = std::chrono::system_clock::now() -
                      std::chrono::duration_cast<std::chrono::system_clock::duration>(age);
    return local_time(std::chrono::system_clock::to_time_t(then)) / one_day;
}

class Collector {
public:
    void add_part(const fs::path& path, const Part_Name& name)
    {
        Log_Part part;
        part.path = path.string();
        part.name = path.filename().string();
        part.date = name.date;
        part.number = name.part;
        part.has_name = true;
        const std::string key = key_of(path, name);
        const auto [place, is_new] =
            chains_[key].insert({{part.date, part.number}, {part, name.is_compressed}});
        if (!is_new && place->second.is_compressed && !name.is_compressed)
            place->second = {part, false};
    }

    void add_file(const std::string& path)
    {
        Log_Part part;
        part.path = path;
        part.name = path == "-" ? path : fs::path(path).filename().string();
        part.date = path == "-" ? local_now() / one_day : date_of_change(path);
        chains_[path].insert({{0, 0}, {part, false}});
    }

    std::vector<Log_Chain> result() const
    {
        std::vector<Log_Chain> all;
        for (const auto& [key, parts] : chains_) {
            all.push_back({key, {}});
            for (const auto& [place, found] : parts)
                all.back().parts.push_back(found.part);
        }
        return all;
    }

private:
    struct Found {
        Log_Part part;
        bool is_compressed = false;
    };

    // As the system names the folder, so that nothing comes twice.
    static std::string key_of(const fs::path& path, const Part_Name& name)
    {
        std::error_code error;
        const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
        const fs::path whole = fs::weakly_canonical(folder, error);
        return ((error ? folder : whole) / name.prefix).string();
    }

    std::map<std::string, std::map<std::pair<std::int64_t, std::uint64_t>, Found>> chains_;
};

// Every part in the folder that the condition takes.
template <typename Takes>
void add_folder(Collector& collector, const fs::path& folder, Takes takes)
{
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error)
        throw Failure("cannot read the folder '" + folder.string() + "': " + error.message());
    for (; entries != fs::directory_iterator(); entries.increment(error)) {
        const std::optional<Part_Name> name = parse_part_name(entries->path().filename().string());
        if (name && takes(*name))
            collector.add_part(entries->path(), *name);
        if (error)
            break;
    }
}

void add(Collector& collector, const std::string& argument, bool is_following)
{
    std::error_code error;
    if (argument == "-") {
        collector.add_file(argument);
        return;
    }
    const fs::path path = argument;
    if (fs::is_directory(path, error)) {
        add_folder(collector, path, [](const Part_Name&) { return true; });
        return;
    }
    const std::optional<Part_Name> name = parse_part_name(path.filename().string());
    const bool is_there = fs::exists(path, error);
    if (!is_there && !(is_following && name))
        throw Failure("cannot open '" + argument +
                      "': " + (error ? error.message() : std::string("No such file or directory")));
    if (!name) {
        collector.add_file(argument);
        return;
    }
    if (is_there)
        collector.add_part(path, *name);
    if (is_following)
        add_folder(collector, path.has_parent_path() ? path.parent_path() : fs::path("."),
                   [&name](const Part_Name& other) {
                       return other.prefix == name->prefix &&
                              std::make_pair(other.date, other.part) >
                                  std::make_pair(name->date, name->part);
                   });
}

} // namespace

std::int64_t local_now()
{
    const auto now = std::chrono::system_clock::now();
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
    return local_time(std::chrono::system_clock::to_time_t(now)) + micros % one_second;
}

std::vector<Log_Chain> find_logs(const std::vector<std::string>& arguments, bool is_following)
{
    Collector collector;
    for (const std::string& argument : arguments)
        add(collector, argument, is_following);
    return collector.result();
}

} // namespace krtool
