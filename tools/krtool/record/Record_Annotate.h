#pragma once

/// \file
/// The byte map of records: each byte with the field that it belongs to, the value and what it means.
/// Threads: no state.

#include "../host/Output.h"
#include "Record_Source.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>

namespace krtool {

/// Writes the map of a record as text. Of damage the parts that can be told apart, then the bytes that
/// cannot, with what is wrong at its place. Throws Output_Lost.
///
/// most_bytes  of auxiliary data and of damage; of the rest it is said how many they are
void annotate(const Record_Item& item, std::size_t most_bytes, Output& output);

/// The same as an object with a list "fields", each with place, type, value and bytes.
[[nodiscard]] nlohmann::ordered_json annotation(const Record_Item& item, std::size_t most_bytes);

} // namespace krtool
