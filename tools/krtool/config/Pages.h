#pragma once

/// \file
/// The pages that krtool writes: self-contained, with their data inside. Threads: no state.

#include <KRCommon/colors/Configuration_Check.h>

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace krtool {

extern const std::string_view swatch_page; ///< swatch_page.html
extern const std::string_view diff_page;   ///< diff_page.html

/// The page with the data in the place of its "null/*DATA*/".
std::string page_with(std::string_view page, const nlohmann::ordered_json& data);

/// What the pages' scripts need of a file: per range its preset, bounds, rgb and line.
nlohmann::ordered_json ranges_json(const KR_Configuration_Report& report);

} // namespace krtool
