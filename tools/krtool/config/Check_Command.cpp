#include "Check_Command.h"

#include "../host/Output.h"
#include "../host/Program.h"
#include "Configuration_File.h"
#include "Explain.h"
#include "Lint.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

const char* name_of(Level level) noexcept
{
    switch (level) {
    case Level::error: return "error";
    case Level::warning: return "warning";
    case Level::note: return "note";
    }
    return "";
}

Paint paint_of(Level level) noexcept
{
    return level == Level::error     ? Paint::red
           : level == Level::warning ? Paint::yellow
                                     : Paint::blue;
}

struct Findings {
    std::vector<Finding> list;
    Coverage coverage;
    bool has_coverage = false; ///< false where mistakes left ranges out
};

Findings findings_in(const KR_Configuration_Report& report)
{
    Findings found;
    for (const KR_Configuration_Error& error : report.errors)
        found.list.push_back(explained(error, report));
    for (Finding& finding : lint_ranges(report))
        found.list.push_back(std::move(finding));
    found.has_coverage = report.errors.empty();
    if (found.has_coverage) {
        found.coverage = coverage_of(*report.colors);
        for (Finding& finding : lint_coverage(report, found.coverage))
            found.list.push_back(std::move(finding));
    }
    return found;
}

std::size_t count(const std::vector<Finding>& found, Level level)
{
    return static_cast<std::size_t>(
        std::count_if(found.begin(), found.end(), [=](const auto& f) { return f.level == level; }));
}

Json json_of(const Finding& finding, const std::string& text)
{
    Json json = {{"code", finding.code}, {"level", name_of(finding.level)}};
    if (finding.has_place) {
        const Text_Place begin = place_of(text, finding.begin);
        const Text_Place end = place_of(text, finding.end);
        json.update({{"line", begin.line},
                     {"column", begin.column},
                     {"end_line", end.line},
                     {"end_column", end.column}});
    }
    json["message"] = finding.message;
    if (!finding.reader_text.empty())
        json["reader"] = {{"text", finding.reader_text}, {"line", finding.reader_line}};
    return json;
}

Json json_of(const Coverage& coverage)
{
    Json overlaps = Json::array();
    for (const Color_Overlap& overlap : coverage.overlaps)
        overlaps.push_back({{"colors", {preset_text(overlap.first), preset_text(overlap.second)}},
                            {"share", overlap.share}});
    Json shares = Json::object();
    for (std::int32_t n = ns__ColorPreset__white; n <= ns__ColorPreset__purple; ++n)
        shares[preset_text(static_cast<ns__ColorPreset>(n))] =
            coverage.shares[static_cast<std::size_t>(n)];
    return {{"without_name", coverage.unnamed},
            {"with_several", coverage.several},
            {"colors", shares},
            {"overlaps", overlaps}};
}

void print_json(Output& out, const Configuration_File& file, const Findings& found)
{
    Json list = Json::array();
    for (const Finding& finding : found.list)
        list.push_back(json_of(finding, file.report.text));
    Json json = {{"command", "config check"},
                 {"file", file.path},
                 {"accepted", file.report.errors.empty()},
                 {"verdict", file.verdict()},
                 {"read_to_the_end", file.report.is_complete},
                 {"ranges", file.report.ranges.size()},
                 {"findings", list}};
    if (found.has_coverage)
        json["shares"] = json_of(found.coverage);
    out.json(json);
}

void print(Output& out, const Configuration_File& file, const Finding& finding)
{
    const std::string& text = file.report.text;
    const Text_Place place = place_of(text, finding.begin);
    std::string where = file.path == "-" ? "standard input" : file.path;
    if (finding.has_place)
        where += ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
    out.text(out.painted(Paint::bold, where + ": ") +
             out.painted(paint_of(finding.level), std::string(name_of(finding.level)) + ": ") +
             finding.message + out.painted(Paint::dim, " [" + finding.code + "]") + "\n");
    if (finding.has_place) {
        const Marked_Line line = marked_line(text, finding.begin, finding.end);
        std::string number = std::to_string(place.line);
        number.insert(0, 5 - std::min<std::size_t>(number.size(), 5), ' ');
        out.text(number + " | " + line.text + "\n      | " +
                 out.painted(paint_of(finding.level), line.mark) + "\n");
    }
    if (!finding.reader_text.empty())
        out.text("      = the library says: " + printable(finding.reader_text) + "\n");
}

std::string counted(std::size_t number, const std::string& what)
{
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void print_text(Output& out, const Configuration_File& file, const Findings& found)
{
    for (const Finding& finding : found.list)
        print(out, file, finding);
    const KR_Configuration_Report& report = file.report;
    const std::string name = printable(file.name);
    if (report.errors.empty())
        out.text(out.painted(Paint::bold, "The library accepts " + name) + ": " +
                 counted(report.ranges.size(), "range") + ".\n");
    else
        out.text(out.painted(Paint::bold, "The library refuses " + name) + ": " +
                 printable(file.verdict()) + "\n");
    if (!report.errors.empty())
        out.text(report.is_complete
                     ? "What all colours are named is not looked at while ranges are left out.\n"
                     : "What comes after the last of these errors could not be checked.\n");
    out.text(counted(count(found.list, Level::error), "error") + ", " +
             counted(count(found.list, Level::warning), "warning") + ", " +
             counted(count(found.list, Level::note), "note") + "\n");
}

} // namespace

int check_configuration(Output& out, const std::string& path)
{
    const Configuration_File file = read_configuration_file(path);
    const Findings found = findings_in(file.report);
    if (out.is_json())
        print_json(out, file, found);
    else
        print_text(out, file, found);
    return count(found.list, Level::error) == 0 ? good : krtool::findings;
}

} // namespace krtool
