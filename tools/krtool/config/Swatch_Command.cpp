#include "Swatch_Command.h"

#include "../host/Output.h"
#include "../host/Program.h"
#include "Configuration_File.h"
#include "Coverage.h"
#include "Pages.h"
#include "Picture.h"

#include <nlohmann/json.hpp>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

Json data_of(const Configuration_File& file, const Coverage& coverage)
{
    Json overlaps = Json::array();
    for (const Color_Overlap& overlap : coverage.overlaps)
        overlaps.push_back({overlap.first, overlap.second, overlap.share});
    return {{"file", file.path},           {"ranges", ranges_json(file.report)},
            {"shares", coverage.shares},   {"unnamed", coverage.unnamed},
            {"several", coverage.several}, {"overlaps", overlaps}};
}

} // namespace

int show_swatches(Output& out, const Swatch_Options& options)
{
    const Configuration_File file = read_accepted_configuration(options.file);
    const Coverage coverage = coverage_of(*file.report.colors);
    if (!options.html.empty())
        write_file(options.html, page_with(swatch_page, data_of(file, coverage)));
    if (!options.png.empty())
        write_file(options.png, picture_of(file, coverage));
    if (out.is_json()) {
        Json written = Json::array();
        for (const std::string& path : {options.html, options.png})
            if (!path.empty())
                written.push_back(path);
        out.json({{"command", "config swatch"}, {"file", file.path}, {"written", written}});
        return good;
    }
    for (const std::string& path : {options.html, options.png})
        if (!path.empty())
            out.text("wrote " + path + "\n");
    return good;
}

} // namespace krtool
