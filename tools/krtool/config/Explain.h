#pragma once

/// \file
/// The reader's errors in words for those who edit the file.

#include "Finding.h"

#include <KRCommon/colors/Configuration_Check.h>

#include <string>
#include <string_view>
#include <vector>

namespace krtool {

/// One of the errors of a report, as a finding "refused-<code>".
Finding explained(const KR_Configuration_Error& error, const KR_Configuration_Report& report);

/// The one of the words that was probably meant; empty when none is near.
std::string_view nearest_word(std::string_view text, const std::vector<std::string_view>& words);

/// The names of the thirteen colours, and of the eight attributes.
std::vector<std::string_view> color_names();
std::vector<std::string_view> attribute_names();

} // namespace krtool
