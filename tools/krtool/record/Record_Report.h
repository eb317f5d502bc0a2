#pragma once

/// \file
/// What "krtool record verify" says of a file. Threads: one at a time.

#include "../host/Output.h"
#include "Record_Source.h"

#include <string>

namespace krtool {

/// Writes the findings of a file and a summary: text the first ten of each code, or all; JSON all, a
/// line each. Whether there are records and no errors. Throws Failure when the file cannot be read.
[[nodiscard]] bool verify_file(const std::string& file, const Source_Options& options,
                               bool shows_all, Output& output);

} // namespace krtool
