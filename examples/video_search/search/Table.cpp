#include "Table.h"

#include "Color_Names.h"
#include "Format.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace video_search {

namespace {

constexpr std::size_t column_count = 8;
using Row = std::array<std::string, column_count>;
using Widths = std::array<std::size_t, column_count>;

// Numbers stand to the right.
constexpr std::array<bool, column_count> is_number{true,  true, false, true,
                                                   false, true, false, true};

std::string main_colors(const std::vector<Color_Share>& shares)
{
    constexpr std::size_t most = 3;
    constexpr float least_percent = 10;
    std::string names;
    for (std::size_t k = 0; k < std::min(most, shares.size()); ++k)
        if (shares[k].percent >= least_percent)
            names += (names.empty() ? "" : " ") + color_name(shares[k].preset);
    return names.empty() ? "-" : names;
}

Row row_of(const Hit& hit)
{
    return {std::to_string(hit.result.objectId),
            sensor_text(hit.sensor),
            time_text(hit.first_seen),
            std::to_string(hit.result.duration) + " s",
            name_of(hit.object_class),
            reached(hit.score, 2),
            main_colors(hit.colors),
            std::to_string(hit.instance_count)};
}

Widths widths_of(const std::vector<Row>& rows)
{
    Widths widths{};
    for (const Row& row : rows)
        for (std::size_t k = 0; k < column_count; ++k)
            widths[k] = std::max(widths[k], row[k].size());
    return widths;
}

std::string padded(const std::string& cell, std::size_t width, bool is_right)
{
    const std::string blanks(width - cell.size(), ' ');
    return is_right ? blanks + cell : cell + blanks;
}

std::string line_of(const Row& row, const Widths& widths)
{
    std::string line;
    for (std::size_t k = 0; k < column_count; ++k)
        line += (k == 0 ? "" : "  ") + padded(row[k], widths[k], is_number[k]);
    return line + "\n";
}

} // namespace

std::string table_of(const Result& result)
{
    std::vector<Row> rows{{"id", "sensor", "first seen (UTC)", "duration", "class", "score",
                           "main colours", "instances"}};
    for (const Hit& hit : result.hits)
        rows.push_back(row_of(hit));
    const Widths widths = widths_of(rows);
    std::string text;
    if (!result.hits.empty())
        for (const Row& row : rows)
            text += line_of(row, widths);
    return text + summary_of(result) + "\n";
}

namespace {

// A search that ended at its limit has seen that there are more than these.
std::size_t shown_or_counted(const Result& result)
{
    return result.has_all_matches ? result.matches : result.hits.size();
}

} // namespace

std::string summary_of(const Result& result)
{
    std::string text = (result.has_all_matches ? "" : "more than ") +
                       std::to_string(shown_or_counted(result)) + " of " +
                       std::to_string(result.objects) +
                       (result.objects == 1 ? " object matches" : " objects match");
    if (result.hits.size() < result.matches)
        text += ", " + std::to_string(result.hits.size()) + " shown";
    if (result.damaged > 0)
        text += ", " + std::to_string(result.damaged) +
                (result.damaged == 1 ? " damaged record left out" : " damaged records left out");
    for (const std::string& part : result.unanswered)
        text += "; without " + part;
    return text;
}

} // namespace video_search
