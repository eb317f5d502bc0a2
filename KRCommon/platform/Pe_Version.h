#pragma once

/// \file
/// Reads the version resource of a program or library file for Windows (the PE format; NE, for
/// 16-bit Windows, too) from its bytes. Needs nothing of the system, so it is the same everywhere:
/// file_version() answers by it, tests and the fuzzer feed it from memory.

#include <KRCommon/platform/Version_Info.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace kr_platform {

/// Copies `count` bytes, at most 64, from `offset` on. False when the file does not have them all
/// or cannot be read; the offset may lie far past the end (up to 2^33).
using Read_At = std::function<bool(std::uint64_t offset, unsigned char* out, std::size_t count)>;

/// The file version in the first language of the version resource 1, or of the first one where none
/// has that number.
///
/// returns  nothing when read_at fails, when there is no version resource, and when an offset leads
///          out of its place. The fixed block must have its 52 bytes, be within the resource and in
///          the file. The rest of the resource need not: its section or the file may end before.
///
/// Strict where Windows or Wine may be lenient: the block's key "VS_VERSION_INFO", its lengths and
/// the signature of the fixed block must be right.
///
/// Reads some hundred bytes in pieces of at most 64 and keeps none of them; at most 65,535 sections
/// and, of resources, kinds and names are looked at, so the time is bounded for any input. Never
/// throws unless read_at does.
[[nodiscard]] std::optional<File_Version> pe_file_version(const Read_At& read_at);

} // namespace kr_platform
