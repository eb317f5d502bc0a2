#pragma once

/// \file
/// Profiles as a page to look at. Threads: no state.

#include "Profile_Data.h"

#include <string>

namespace krtool {

/// One HTML page that needs nothing else: per tag its calls, average, high and percentiles over time.
/// What is no UTF-8 in a tag appears as U+FFFD.
[[nodiscard]] std::string profile_page(const Profile_Data& data);

} // namespace krtool
