#include "Pages.h"

#include "Configuration_File.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace krtool {

using Json = nlohmann::ordered_json;

namespace {

// JSON has no infinite numbers. No colour tells 10 from them.
Json bound(float number)
{
    if (std::isnan(number))
        return nullptr;
    return std::isinf(number) ? (number < 0 ? -10.0 : 10.0) : decimal(number);
}

} // namespace

std::string page_with(std::string_view page, const Json& data)
{
    constexpr std::string_view place = "null/*DATA*/";
    std::string json = data.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (std::size_t at = 0; (at = json.find('<', at)) != std::string::npos;)
        json.replace(at, 1, "\\u003c"); // "</script>" ends a script, in a string too
    std::string text(page);
    return text.replace(text.find(place), place.size(), json);
}

Json ranges_json(const KR_Configuration_Report& report)
{
    Json list = Json::array();
    for (const KR_Configured_Range& range : report.ranges)
        list.push_back({{"preset", static_cast<int>(range.preset)},
                        {"rgb", rgb_text(range.rgb)},
                        {"line", place_of(report.text, range.begin).line},
                        {"hue", {range.hue_from, range.hue_to}},
                        {"sat", {bound(range.sat_from), bound(range.sat_to)}},
                        {"val", {bound(range.val_from), bound(range.val_to)}}});
    return list;
}

} // namespace krtool
