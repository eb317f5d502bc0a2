#pragma once

/// \file
/// Reads what a program or library file for Linux (the ELF format) tells about its version, from its
/// bytes. Needs nothing of the system, so it is the same everywhere: tests and the fuzzer feed it from
/// memory.

#include <KRCommon/platform/Pe_Version.h>

#include <optional>
#include <string>

namespace kr_platform {

/// Each is empty when the file does not have it.
struct Elf_Version {
    std::string note;     ///< the text of the version note that cmake/KRVersionNote.cmake writes
    std::string soname;   ///< of a shared library, DT_SONAME
    std::string build_id; ///< the linker's, as bytes; mostly 20
};

/// Of files with 32 or 64 bits and either order of bytes, as their program headers lead to it; sections,
/// which can be stripped, are not looked at. The version note has the owner "KRCommon", the type 1 and a
/// text of 1 to 63 printable characters.
///
/// returns  nothing when it is no such file, read_at fails, or a header leads out of its place: a file
///          that is cut never tells another version than the whole one. At most 1,024 program headers,
///          1,024 notes and 4,096 dynamic entries are accepted, so that the time is bounded.
///
/// Never throws unless read_at does, or std::bad_alloc.
[[nodiscard]] std::optional<Elf_Version> elf_version(const Read_At& read_at);

} // namespace kr_platform
