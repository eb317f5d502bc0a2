#pragma once

/// \file
/// The hits as plain text. Threads: no state.

#include "Query.h"

#include <string>

namespace video_search {

/// One row per hit, columns as wide as their widest cell and two blanks apart, then a line like
/// "2 of 40 objects match". Without hits that line alone. Times are UTC.
[[nodiscard]] std::string table_of(const Result& result);

/// "2 of 40 objects match", and how many are shown and how many records are damaged, if any. After a
/// search that ended at its limit: "more than 100 of 5000 objects match, 100 shown".
[[nodiscard]] std::string summary_of(const Result& result);

} // namespace video_search
