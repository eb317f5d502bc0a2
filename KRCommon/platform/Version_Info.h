#pragma once

/// \file
/// The version that the resources of a program or library file tell.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace kr_platform {

/// Major, minor, build and private part, each 0 to 65535: {6, 3, 2, 15} is 6.3.2.15.
using File_Version = std::array<std::uint16_t, 4>;

/// The file version (not the product version) of a program or library for Windows, 16-, 32- or
/// 64-bit; nothing when there is no such file, it has no version resource or the resource is
/// damaged (Pe_Version.h). What is no regular file has no version.
///
/// path  in the ANSI code page on Windows, bytes on Linux; up to its first zero. Windows looks for a
///       bare name along the search path of libraries too, with ".dll" behind it when it has no
///       extension.
///
/// The same reader answers on both systems. Windows' own, asked for a damaged file, may end the
/// process: it takes sizes in the file for granted.
///
/// Threads: no state, any thread at any time. Reads from disk. Never throws, does not log.
[[nodiscard]] std::optional<File_Version> file_version(const std::string& path) noexcept;

} // namespace kr_platform
