#pragma once

/// \file
/// The records of a store of the video search, which is an SQLite database. Threads: one at a time.

#include "Record_Source.h"

namespace krtool {

/// The records in the order of their first-seen times. The store is never changed, and is to be read
/// while no other program writes. Throws Failure when it is no store or cannot be read.
///
/// name  as a sentence names it
[[nodiscard]] std::unique_ptr<Record_Source> open_store(const std::string& path,
                                                        const std::string& name);

} // namespace krtool
