#pragma once

/// \file
/// JSON lines back to records. Threads: one at a time.

#include "../host/Output.h"

#include <string>
#include <vector>

namespace krtool {

/// Writes the bytes of the records that the lines of the files are (Record_Json.h), one behind the
/// other, to the file `path` or, where that is empty, to the output. Whether there was a line. Throws
/// Failure, which names the line of a mistake; what was written by then remains.
[[nodiscard]] bool write_bytes(const std::vector<std::string>& files, const std::string& path,
                               Output& output);

} // namespace krtool
