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

/// The file version (not the product version) of a program or library for Windows, 32- or 64-bit;
/// nothing when there is no such file, it has no version resource or the resource is damaged.
///
/// path  in the ANSI code page on Windows, bytes on Linux; up to its first zero
///
/// Windows asks the system, which looks for a bare name along the search path of libraries too.
/// It is the one to judge a damaged file, too. Linux reads the file itself (Pe_Version.h) and is
/// strict; what is no regular file has no version.
///
/// Threads: no state, any thread at any time. Reads from disk. Never throws, does not log.
[[nodiscard]] std::optional<File_Version> file_version(const std::string& path) noexcept;

} // namespace kr_platform
