#include "Profile_Commands.h"

#include "../host/Number_Text.h"
#include "../host/Program.h"
#include "../log/Log_Line.h"
#include "Profile_Data.h"
#include "Profile_Page.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace krtool {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

struct Profile_Call {
    std::vector<std::string> files;
    std::string page;
};

// "2014-03-05T12:30:01.250Z"
std::string utc_text(std::int64_t milliseconds)
{
    return time_text(milliseconds * 1000).substr(0, 23) + "Z";
}

// The files that are meant: of a folder each CSV file, and with a CSV file that of its percentiles.
std::vector<std::string> find_files(const std::vector<std::string>& arguments)
{
    std::vector<std::string> files;
    std::set<std::string> known;
    const auto add = [&](const std::string& path) {
        if (known.insert(path == "-" ? path : fs::path(path).lexically_normal().string()).second)
            files.push_back(path);
    };
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (argument == "-" || !fs::is_directory(argument, error)) {
            add(argument);
            const fs::path path(argument);
            const fs::path beside =
                path.parent_path() / (path.stem().string() + "_percentiles.csv");
            if (argument != "-" && fs::exists(beside, error))
                add(beside.string());
            continue;
        }
        std::vector<std::string> found;
        fs::directory_iterator entries(argument, error);
        if (error)
            throw Failure("cannot read the folder '" + argument + "': " + error.message());
        for (; entries != fs::directory_iterator(); entries.increment(error)) {
            if (entries->path().extension() == ".csv")
                found.push_back(entries->path().string());
            if (error)
                break;
        }
        std::sort(found.begin(), found.end());
        for (const std::string& path : found)
            add(path);
    }
    return files;
}

void write_page(const std::string& path, const std::string& page)
{
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        throw Failure("cannot write '" + path + "': " + std::strerror(errno));
    const bool is_written = std::fwrite(page.data(), 1, page.size(), file) == page.size();
    const int error = errno;
    if ((std::fclose(file) != 0) || !is_written)
        throw Failure("cannot write '" + path + "': " + std::strerror(is_written ? errno : error));
}

std::string number_text(double number, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

// At most three decimals, and none where there is nothing to tell.
std::string milliseconds_text(double number)
{
    std::string text = number_text(number, number < 100 ? 3 : 1);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text;
}

double average_of(const Profile_Tag& tag)
{
    return tag.calls > 0 ? tag.total_ms / tag.calls : 0;
}

using Row = std::vector<std::string>;

std::string visible(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", code);
        result += code < 0x20 || code == 0x7f ? std::string(escape) : std::string(1, c);
    }
    return result;
}

Row row_of(const Profile_Data::Tag_Name& name, const Profile_Tag& tag, bool has_host)
{
    Row row{visible(has_host ? name.first + ": " + name.second : name.second),
            number_text(tag.calls, 0), number_text(tag.total_ms, 0),
            milliseconds_text(average_of(tag)), number_text(tag.high_ms, 0)};
    if (!tag.percentiles.points().empty()) {
        const Profile_Percentiles& last = tag.percentiles.points().back();
        for (const double value : {last.p50_ms, last.p90_ms, last.p99_ms})
            row.push_back(milliseconds_text(value));
    } else {
        row.insert(row.end(), 3, "-");
    }
    row.push_back(std::to_string(tag.reports));
    return row;
}

bool has_several_hosts(const Profile_Data& data)
{
    const auto& tags = data.tags();
    return !tags.empty() && tags.begin()->first.first != tags.rbegin()->first.first;
}

// Where most of the time goes comes first.
std::vector<const std::pair<const Profile_Data::Tag_Name, Profile_Tag>*>
in_order(const Profile_Data& data)
{
    std::vector<const std::pair<const Profile_Data::Tag_Name, Profile_Tag>*> all;
    for (const auto& tag : data.tags())
        all.push_back(&tag);
    std::stable_sort(all.begin(), all.end(), [](const auto* a, const auto* b) {
        return a->second.total_ms > b->second.total_ms;
    });
    return all;
}

void tell_table(const Profile_Data& data, Output& output)
{
    std::vector<Row> rows{{"tag", "count", "total ms", "average ms", "high ms", "p50 ms", "p90 ms",
                           "p99 ms", "reports"}};
    std::int64_t first = INT64_MAX;
    std::int64_t last = 0;
    for (const auto* tag : in_order(data)) {
        rows.push_back(row_of(tag->first, tag->second, has_several_hosts(data)));
        if (tag->second.reports == 0)
            continue;
        first = std::min(first, tag->second.first);
        last = std::max(last, tag->second.last);
    }
    std::vector<std::size_t> widths(rows[0].size());
    for (const Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::string line = rows[i][0] + std::string(widths[0] - rows[i][0].size(), ' ');
        for (std::size_t column = 1; column < rows[i].size(); ++column)
            line +=
                "  " + std::string(widths[column] - rows[i][column].size(), ' ') + rows[i][column];
        output.text(output.painted(i == 0 ? Paint::bold : Paint::plain, line) + "\n");
    }
    if (first <= last)
        output.text("Reports from " + utc_text(first) + " to " + utc_text(last) + ".\n");
}

void tell_json(const Profile_Data& data, Output& output)
{
    for (const auto* entry : in_order(data)) {
        const auto& [name, tag] = *entry;
        Json json = {{"kind", "tag"},
                     {"host", name.first},
                     {"tag", name.second},
                     {"count", std::llround(tag.calls)},
                     {"total_ms", std::llround(tag.total_ms)},
                     {"average_ms", average_of(tag)},
                     {"high_ms", std::llround(tag.high_ms)},
                     {"reports", tag.reports},
                     {"resets", tag.resets}};
        if (tag.reports != 0) {
            json["first"] = utc_text(tag.first);
            json["last"] = utc_text(tag.last);
        }
        if (!tag.percentiles.points().empty()) {
            const Profile_Percentiles& last = tag.percentiles.points().back();
            json["p50_ms"] = last.p50_ms;
            json["p90_ms"] = last.p90_ms;
            json["p99_ms"] = last.p99_ms;
        }
        output.json(json);
    }
}

int show_profile(const Profile_Call& call, Output& output)
{
    Profile_Data data;
    const auto warn = [&output](const std::string& sentence) {
        if (output.is_json())
            output.json({{"kind", "warning"}, {"text", sentence}});
        else
            std::fputs(("krtool: warning: " + sentence + "\n").c_str(), stderr);
    };
    for (const std::string& file : find_files(call.files))
        data.read(file, warn);
    if (!call.page.empty())
        write_page(call.page, profile_page(data));
    if (output.is_json())
        tell_json(data, output);
    else if (!data.tags().empty())
        tell_table(data, output);
    return data.tags().empty() ? findings : good;
}

} // namespace

void add_profile_commands(CLI::App& app, Program& program)
{
    const auto call = std::make_shared<Profile_Call>();
    CLI::App& profile = *app.add_subcommand(
        "profile", "Shows where the time went, of the CSV files that a ProfileHelper writes");
    profile
        .add_option("CSV", call->files,
                    "CSV files, folders with some, or - for standard input; the file of a file's "
                    "percentiles is found beside it")
        ->required();
    profile.add_option("--html", call->page, "Writes a page with plots over time to this file");
    program.on(profile, [call](Output& output) { return show_profile(*call, output); });
}

} // namespace krtool
