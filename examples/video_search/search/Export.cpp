#include "Export.h"

#include "Color_Names.h"
#include "Format.h"
#include "Json_Text.h"
#include "Page_Data.h"

#include <KRCommon/util/Time_Text.h>

#include <cmath>
#include <vector>

namespace video_search {

namespace {

std::string last_seen_of(const Hit& hit)
{
    return kr_to_string(
        ACE_Time_Value(static_cast<time_t>(hit.result.endTimeSeconds),
                       static_cast<suseconds_t>(hit.result.endTimeMilliseconds) * 1000));
}

// CSV

std::string cell_of(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string cell = "\"";
    for (const char c : text)
        cell += c == '"' ? "\"\"" : std::string(1, c);
    return cell + '"';
}

std::string line_of(const std::vector<std::string>& cells)
{
    std::string line;
    for (const std::string& cell : cells)
        line += (line.empty() ? "" : ",") + cell_of(cell);
    return line + "\r\n";
}

std::string number_cell(float value)
{
    return std::isfinite(value) ? shortest(value) : "";
}

std::string colors_cell(const std::vector<Color_Share>& colors)
{
    std::string cell;
    for (const Color_Share& share : colors)
        cell +=
            (cell.empty() ? "" : ";") + color_name(share.preset) + " " + shortest(share.percent);
    return cell;
}

// JSON

std::string json_of(const Color_Share& share)
{
    return "{\"name\": " + quoted(color_name(share.preset)) +
           ", \"percent\": " + number(share.percent) +
           ", \"rgb\": " + quoted(css_color(share.color)) + "}";
}

std::string json_of(const ns__Geom_Point2D_Float& point)
{
    return "[" + number(point.x) + ", " + number(point.y) + "]";
}

std::string json_of(const Hit& hit)
{
    const auto json_of_each = [](const auto& each) { return json_of(each); };
    return "{\"id\": " + std::to_string(hit.result.objectId) +
           ", \"sensor\": " + quoted(sensor_text(hit.sensor)) +
           ", \"run\": " + quoted(stored_text(hit.run)) +
           ", \"first_seen\": " + quoted(kr_to_string(hit.first_seen)) +
           ", \"last_seen\": " + quoted(last_seen_of(hit)) +
           ", \"duration\": " + std::to_string(hit.result.duration) +
           ", \"class\": " + quoted(name_of(hit.object_class)) +
           ", \"score\": " + number(hit.score) +
           ", \"scores\": {\"person\": " + number(hit.scores[0]) +
           ", \"vehicle\": " + number(hit.scores[1]) + ", \"object\": " + number(hit.scores[2]) +
           "}, \"colors\": " + array_of(hit.colors, json_of_each) +
           ", \"instances\": " + std::to_string(hit.instance_count) +
           ", \"path\": " + array_of(hit.path, json_of_each) + "}";
}

} // namespace

std::string csv_of(const Result& result)
{
    std::string csv =
        line_of({"id", "sensor", "run", "first_seen", "last_seen", "duration", "class", "score",
                 "person", "vehicle", "object", "colors", "instances"});
    for (const Hit& hit : result.hits)
        csv += line_of({std::to_string(hit.result.objectId), sensor_text(hit.sensor),
                        stored_text(hit.run), kr_to_string(hit.first_seen), last_seen_of(hit),
                        std::to_string(hit.result.duration), name_of(hit.object_class),
                        number_cell(hit.score), number_cell(hit.scores[0]),
                        number_cell(hit.scores[1]), number_cell(hit.scores[2]),
                        colors_cell(hit.colors), std::to_string(hit.instance_count)});
    return csv;
}

std::string json_of(const Result& result)
{
    std::string json;
    for (const Hit& hit : result.hits)
        json += (json.empty() ? "" : ",\n") + json_of(hit);
    return "[" + (json.empty() ? "" : "\n" + json + "\n") + "]\n";
}

} // namespace video_search
