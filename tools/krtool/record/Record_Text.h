#pragma once

/// \file
/// Sentences about records and damage that several commands say. Threads: no state.

#include "Record_Source.h"

#include <cstdint>
#include <string>

namespace krtool {

/// "record 3 at byte 867, 289 bytes"; in a store "record 3, 289 bytes".
[[nodiscard]] std::string place_of(const Record_Item& item);

/// What is wrong with the first piece of damage: "the bytes end within instance 1". Without a full stop.
[[nodiscard]] std::string sentence_of(const Record_Item& item);

/// Where it is wrong, in the file; in a store in the record.
[[nodiscard]] std::uint64_t damage_offset(const Record_Item& item);

/// The bytes of the record itself, of damage as far as the piece has them.
[[nodiscard]] KR_Byte_Span record_bytes(const Record_Item& item);

/// "1 record", "2 records".
[[nodiscard]] std::string counted(std::uint64_t number, const char* noun);

} // namespace krtool
