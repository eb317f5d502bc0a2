#pragma once

/// \file
/// Whether a record begins at some byte. Records have no mark; what gives them away are the bytes that
/// every writer leaves zero, 40 in the fixed block and 5 in each instance, and counts that fit.
/// Threads: no state.

#include <KRCommon/objects/Object_View.h>

#include <cstddef>

namespace krtool {

/// Of a fixed block: the bytes in front of the first instance.
constexpr std::size_t fixed_block_size = 132;
/// A record with one instance has at least so many.
constexpr std::size_t least_record_size = 208;
/// As many bytes as begins_record() looks at.
constexpr std::size_t begin_size = 16 * 1024;

/// Whether the reserved bytes of a fixed block are zero. Those of the pending instances do not count:
/// older writers left something there.
[[nodiscard]] bool has_clean_fixed_block(const unsigned char* block) noexcept;

/// Whether a record with instances begins at the first of the bytes, as far as its first instances
/// tell. `longest` is the most that a record may have.
///
/// is_end  whether nothing follows the bytes; else there are begin_size of them at least
[[nodiscard]] bool begins_record(KR_Byte_Span bytes, bool is_end, std::size_t longest) noexcept;

} // namespace krtool
