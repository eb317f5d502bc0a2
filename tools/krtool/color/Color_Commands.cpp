#include "Color_Commands.h"

#include "../config/Configuration_File.h"
#include "../config/Coverage.h"
#include "../host/Number_Text.h"
#include "../host/Program.h"
#include "Color_Text.h"

#include <KRCommon/frame/Configuration_Status.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

struct Color_Options {
    std::vector<std::string> colors;
    std::string config;
};

// The file that the library itself has read, unless another one was named.
Configuration_File configuration_for(const Color_Options& options)
{
    if (!options.config.empty())
        return read_accepted_configuration(options.config);
    const KR_Configuration_Status& status = kr_configuration_status();
    if (!status.is_read)
        throw Failure("the library has no named colours, for '" + status.path + "' is not used: " +
                      printable(status.error) + " (name another file by --config)");
    return read_accepted_configuration(status.path);
}

struct Answer {
    Given_Color color;
    std::uint32_t presets = 0;
    std::vector<const KR_Configured_Range*> deciding; ///< those that hold it
    const KR_Configured_Range* nearest = nullptr; ///< of those that do not; null if there is none
};

Answer answer_for(const Given_Color& color, const KR_Configuration_Report& report)
{
    Answer answer;
    answer.color = color;
    report.colors->get_color_preset_masks(KR_Hsv_Source::of(&color.hsv), 1, &answer.presets);
    double least = 0;
    for (const KR_Configured_Range& range : report.ranges) {
        if (range.holds(color.hsv)) {
            answer.deciding.push_back(&range);
            continue;
        }
        const bool is_other =
            (answer.presets >> static_cast<std::uint32_t>(range.preset) & 1U) == 0;
        const double whole = distance_of(range, color.hsv).whole;
        if (is_other && (!answer.nearest || whole < least)) {
            least = whole;
            answer.nearest = &range;
        }
    }
    return answer;
}

std::size_t line_of(const KR_Configured_Range& range, const KR_Configuration_Report& report)
{
    return place_of(report.text, range.begin).line;
}

std::string short_number(float number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", static_cast<double>(number));
    return text;
}

std::string hsv_text(const ns__HsvColor& hsv)
{
    return std::to_string(hsv.hue) + "," + short_number(hsv.saturation) + "," +
           short_number(hsv.value);
}

// A block of the colour itself, on terminals that show colours.
std::string block(const Output& out, const ns__RgbColor& color)
{
    if (!out.is_colored())
        return "";
    char text[48];
    std::snprintf(text, sizeof text, "\033[48;2;%d;%d;%dm    \033[0m ", color.red, color.green,
                  color.blue);
    return text;
}

std::string range_line(const KR_Configured_Range& range, const KR_Configuration_Report& report)
{
    std::string name = preset_text(range.preset);
    name.resize(std::max<std::size_t>(name.size(), 11), ' ');
    return "  " + name + " line " + std::to_string(line_of(range, report)) + ": " +
           bounds_text(range);
}

void print(Output& out, const Answer& answer, const KR_Configuration_Report& report)
{
    const ns__RgbColor& rgb = answer.color.rgb;
    const std::string names = names_text(answer.presets);
    out.text(block(out, rgb) + out.painted(Paint::bold, rgb_text(rgb)) + "  rgb " +
             std::to_string(rgb.red) + "," + std::to_string(rgb.green) + "," +
             std::to_string(rgb.blue) + "  hsv " + hsv_text(answer.color.hsv) + "  " +
             out.painted(Paint::bold, names) + "\n");
    for (const KR_Configured_Range* range : answer.deciding)
        out.text(range_line(*range, report) + "\n");
    if (answer.nearest)
        out.text(out.painted(Paint::dim,
                             (answer.presets == 0 ? "  nearest is " : "  next is ") +
                                 preset_text(answer.nearest->preset) + " in line " +
                                 std::to_string(line_of(*answer.nearest, report)) + ": " +
                                 distance_text(distance_of(*answer.nearest, answer.color.hsv))) +
                 "\n");
}

// JSON has no numbers that are not finite: their names then.
Json json_number(float number)
{
    return std::isfinite(number) ? Json(decimal(number)) : Json(number_text(number));
}

Json json_of(const KR_Configured_Range& range, const KR_Configuration_Report& report)
{
    return {{"color", preset_text(range.preset)},
            {"line", line_of(range, report)},
            {"hue_from", range.hue_from},
            {"hue_to", range.hue_to},
            {"sat_from", json_number(range.sat_from)},
            {"sat_to", json_number(range.sat_to)},
            {"val_from", json_number(range.val_from)},
            {"val_to", json_number(range.val_to)}};
}

Json json_of(const Answer& answer, const KR_Configuration_Report& report)
{
    const ns__RgbColor& rgb = answer.color.rgb;
    const ns__HsvColor& hsv = answer.color.hsv;
    Json presets = Json::array();
    for (std::uint32_t n = 1; n < 14; ++n)
        if ((answer.presets >> n & 1U) != 0)
            presets.push_back(preset_text(static_cast<ns__ColorPreset>(n)));
    Json deciding = Json::array();
    for (const KR_Configured_Range* range : answer.deciding)
        deciding.push_back(json_of(*range, report));
    Json json = {{"given", answer.color.text},
                 {"rgb", {rgb.red, rgb.green, rgb.blue}},
                 {"hex", rgb_text(rgb)},
                 {"hsv",
                  {{"hue", hsv.hue},
                   {"saturation", decimal(hsv.saturation)},
                   {"value", decimal(hsv.value)}}},
                 {"presets", presets},
                 {"ranges", deciding}};
    if (answer.nearest) {
        const Range_Distance distance = distance_of(*answer.nearest, hsv);
        json["nearest_other"] = json_of(*answer.nearest, report);
        json["nearest_other"]["distance"] = {{"hue", distance.hue},
                                             {"saturation", decimal(distance.saturation)},
                                             {"value", decimal(distance.value)}};
    }
    return json;
}

int tell_colors(Output& out, const Color_Options& options)
{
    std::vector<Given_Color> colors;
    for (const std::string& text : options.colors)
        colors.push_back(read_color(text)); // all of them first: a wrong one prints nothing
    const Configuration_File file = configuration_for(options);
    bool has_nameless = false;
    Json list = Json::array();
    for (const Given_Color& color : colors) {
        const Answer answer = answer_for(color, file.report);
        has_nameless = has_nameless || answer.presets == 0;
        if (out.is_json())
            list.push_back(json_of(answer, file.report));
        else
            print(out, answer, file.report);
    }
    if (out.is_json())
        out.json({{"command", "color"}, {"config", file.path}, {"colors", list}});
    return has_nameless ? findings : good;
}

} // namespace

void add_color_commands(CLI::App& app, Program& program)
{
    CLI::App* const color =
        app.add_subcommand("color", "Converts colours and tells by which ranges they are named");
    const auto options = std::make_shared<Color_Options>();
    color
        ->add_option("COLOR", options->colors,
                     "#A52A2A, R,G,B of 0 to 255, or H,S,V with decimals; hsv: before it says so")
        ->required();
    color->add_option("--config", options->config,
                      "Another configuration file than the library's own");
    program.on(*color, [options](Output& out) { return tell_colors(out, *options); });
}

} // namespace krtool
