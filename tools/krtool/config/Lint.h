#pragma once

/// \file
/// What a file that the library may well accept does otherwise than was probably meant.

#include "Coverage.h"
#include "Finding.h"

#include <KRCommon/colors/Configuration_Check.h>

#include <vector>

namespace krtool {

/// Findings about single ranges and pairs of them, in the document's order.
std::vector<Finding> lint_ranges(const KR_Configuration_Report& report);

/// Findings about all ranges together: the share of colours without a name and with several, which
/// presets overlap and how much, colours without ranges.
std::vector<Finding> lint_coverage(const KR_Configuration_Report& report, const Coverage& coverage);

} // namespace krtool
