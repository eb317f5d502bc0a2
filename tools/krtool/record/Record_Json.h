#pragma once

/// \file
/// Records as JSON, one object each, and back: the bytes come back as they were, those of damage too.
/// Threads: no state.

#include "Record_Source.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>

namespace krtool {

/// The object of a record: where it lies, then its fields by the names of the byte map, instances with
/// their colours, auxiliary data as Base64. Times are ISO 8601 texts, or {"seconds", "microseconds"}
/// where a text could not say the same. Floats that are no finite number are their bits, "0x7FC00000".
/// Reserved bytes are there when they are not zero. Of damage: its code, and "bytes" as Base64.
[[nodiscard]] nlohmann::ordered_json to_json(const Record_Item& item, const std::string& file);

/// What of the object above is no record; the text says which member.
class Json_Mistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The bytes of such an object, with their length in front where it has the member "length", whatever
/// that says but for damage. Members that are missing are zero; one that is unknown is a mistake.
/// Throws Json_Mistake.
[[nodiscard]] std::string to_bytes(const nlohmann::ordered_json& record);

} // namespace krtool
