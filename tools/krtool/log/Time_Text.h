#pragma once

/// \file
/// Points in time as people write them. Pure functions.

#include "Log_Line.h"

#include <optional>
#include <string>
#include <string_view>

namespace krtool {

/// "now", "today", "yesterday", "30 min ago", "2 hours ago", "05:00" or "05:00:30" of today, a date as
/// "2026/11/22" or "2026-11-22", or a date and a time of day, with a blank or 'T' between them. Seconds
/// may have a fraction of up to six digits. Case does not matter. Nothing for anything else.
[[nodiscard]] std::optional<Local_Time> parse_time(std::string_view text, Local_Time now);

} // namespace krtool
