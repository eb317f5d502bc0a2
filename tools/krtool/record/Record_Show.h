#pragma once

/// \file
/// Records as text for people. Threads: no state.

#include "../host/Output.h"
#include "Record_Source.h"

#include <cstddef>

namespace krtool {

/// Writes a record: headline, fields, the first instances; of damage what can be read of it, and what
/// is wrong where. Throws Output_Lost.
void show(const Record_Item& item, std::size_t most_instances, Output& output);

} // namespace krtool
