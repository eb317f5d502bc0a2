#include "Profile_Data.h"

#include "../host/Input.h"
#include "../host/Program.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <sstream>

namespace krtool {

namespace {

constexpr std::string_view rows_header = "tag,timeStamp,totalMs,count,averageMs,highMs";
constexpr std::string_view percentiles_header = "tag,timeStamp,count,p50Ms,p90Ms,p99Ms";
constexpr std::string_view percentiles_mark = "_percentiles";

bool ends_with(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::string stem_of(const std::string& path)
{
    return path == "-" ? path : std::filesystem::path(path).stem().string();
}

// A finite number of at most 32 characters, with a point whatever the locale.
bool read_number(std::string_view text, double& out)
{
    const bool is_number = !text.empty() && text.size() <= 32 &&
                           text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
    if (!is_number)
        return false;
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    stream >> out;
    return !stream.fail() && stream.peek() == std::istringstream::traits_type::eof() &&
           std::isfinite(out) && out >= 0;
}

// Calls for each line of the input, without its end; of one that is too long for the begin.
template <typename Look>
void for_each_line(Input& input, Look look)
{
    constexpr std::size_t block = std::size_t{64} * 1024;
    std::string text;
    std::size_t got = block;
    while (got == block) {
        const std::size_t kept = text.size();
        text.resize(kept + block);
        got = input.read(&text[kept], block);
        text.resize(kept + got);
        std::size_t begin = 0;
        for (std::size_t feed = text.find('\n', kept); feed != std::string::npos;
             feed = text.find('\n', begin)) {
            std::string_view line(&text[begin], feed - begin);
            if (!line.empty() && line.back() == '\r')
                line.remove_suffix(1);
            look(line);
            begin = feed + 1;
        }
        text.erase(0, begin);
        if (text.size() > block)
            text.resize(block); // no row is as long
    }
    if (!text.empty())
        look(text);
}

} // namespace

std::optional<Profile_Row> parse_profile_row(std::string_view line)
{
    Profile_Row row;
    std::array<double, 5> numbers{};
    for (std::size_t i = numbers.size(); i-- > 0;) {
        const std::size_t comma = line.rfind(',');
        if (comma == std::string_view::npos || !read_number(line.substr(comma + 1), numbers[i]))
            return std::nullopt;
        line = line.substr(0, comma);
    }
    constexpr double latest = 253'402'300'800'000; // the year 10000
    if (numbers[0] >= latest)
        return std::nullopt;
    row.tag = line;
    row.time = static_cast<std::int64_t>(numbers[0]);
    std::copy(numbers.begin() + 1, numbers.end(), row.values.begin());
    return row;
}

void join(Profile_Point& into, const Profile_Point& later)
{
    into.time = later.time;
    into.calls += later.calls;
    into.total_ms += later.total_ms;
    into.high_ms = std::max(into.high_ms, later.high_ms);
}

void join(Profile_Percentiles& into, const Profile_Percentiles& later)
{
    into.time = later.time;
    into.p50_ms = std::max(into.p50_ms, later.p50_ms);
    into.p90_ms = std::max(into.p90_ms, later.p90_ms);
    into.p99_ms = std::max(into.p99_ms, later.p99_ms);
}

std::string profile_host(const std::string& path)
{
    std::string name = stem_of(path);
    if (ends_with(name, percentiles_mark))
        name.resize(name.size() - percentiles_mark.size());
    const std::size_t stamp = name.find_last_not_of("0123456789");
    if (stamp != std::string::npos && stamp + 1 < name.size() && name[stamp] == '_' && stamp > 0)
        name.resize(stamp);
    return name;
}

Profile_Tag& Profile_Data::tag_of(const std::string& host, std::string_view tag)
{
    Tag_Name name{host, tag};
    const auto place = tags_.find(name);
    if (place != tags_.end())
        return place->second;
    if (tags_.size() == most_tags)
        throw Failure("the files have more than " + std::to_string(most_tags) + " tags");
    return tags_[std::move(name)];
}

// A row's figures count since the last reset; the points what came since the row before. Nothing tells of a reset
// but figures that fell, and a total that had little room left has wrapped.
void Profile_Data::add_row(Profile_Tag& tag, const Profile_Row& row, Sums& before)
{
    constexpr double wrap = 4'294'967'296.0; // the total is 32-bit
    const double total = row.values[0];
    const double count = row.values[1];
    const double high = row.values[3];
    const bool may_wrap = before.total >= wrap / 2;
    if (count < before.count || high < before.high || (total < before.total && !may_wrap)) {
        ++tag.resets;
        before = {};
    }
    Profile_Point point;
    point.time = row.time;
    point.calls = count - before.count;
    point.total_ms = total - before.total;
    if (point.total_ms < 0)
        point.total_ms += wrap;
    point.high_ms = high;
    before = {total, count, high};
    ++tag.reports;
    tag.calls += point.calls;
    tag.total_ms += point.total_ms;
    tag.high_ms = std::max(tag.high_ms, point.high_ms);
    tag.first = tag.reports == 1 ? row.time : std::min(tag.first, row.time);
    tag.last = std::max(tag.last, row.time);
    tag.points.add(point);
}

void Profile_Data::read(const std::string& path, const Warn& warn)
{
    Input input(path);
    const std::string host = profile_host(path);
    bool has_percentiles = ends_with(stem_of(path), percentiles_mark); // where there is no header
    Last_Sums sums;
    std::uint64_t number = 0;
    std::uint64_t strange = 0;
    std::uint64_t first_strange = 0;
    for_each_line(input, [&](std::string_view line) {
        ++number;
        if (line == rows_header || line == percentiles_header) {
            has_percentiles = line == percentiles_header;
            return;
        }
        const std::optional<Profile_Row> row = parse_profile_row(line);
        if (!row) {
            ++strange;
            first_strange = first_strange == 0 ? number : first_strange;
            return;
        }
        Profile_Tag& tag = tag_of(host, row->tag);
        if (has_percentiles)
            tag.percentiles.add({row->time, row->values[1], row->values[2], row->values[3]});
        else
            add_row(tag, *row, sums[std::string(row->tag)]);
    });
    if (strange != 0)
        warn(input.name() + " has " + std::to_string(strange) +
             (strange == 1 ? " line that is no row" : " lines that are no rows") +
             ", the first is line " + std::to_string(first_strange));
}

} // namespace krtool
