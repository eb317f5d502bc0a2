#pragma once

/// \file
/// The version of a program or library file, KR_Program_Version.

#include <KRCommon/KRCommon_Export.h>

#include <cstdint>
#include <string>

/// What runs: versions of programs and libraries, on Windows and Linux, for the first line of a log.
///
///     kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s on %s\n",
///            kr_to_string(kr_running_program_version()), kr_to_string(kr_library_version()));
///     // kr_server 2.1.0 (build 14b693e3e38e) on libKRCommon.so.1.0.0 1.0.0 (build 9f86d081884c)
///
/// Threads: no state; all functions may run on any thread at once. They do not log. They open the file
/// and block for as long as reading some hundred bytes of it takes.
/// Failure: none is reported but by empty texts. Same on Windows and Linux: either reads the other's files.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
struct KR_Program_Version {
    /// Where a version was found.
    enum class Source : std::uint8_t {
        none,     ///< no version is told
        resource, ///< of a file for Windows: the file version in its resources
        note,     ///< of a file for Linux: its version note
        soname,   ///< of a library for Linux without a note: the name that programs ask for it by
    };

    std::string path;             ///< of the file
    std::string version;          ///< "6.3.2.15"; empty when none is told
    Source source = Source::none; ///< where the version stands
    std::string soname;           ///< "libcamera.so.1"; of libraries for Linux alone
    std::string build_id; ///< the linker's number of the build, lower-case hexadecimal; Linux alone
};

/// Of a program or library file for Windows (as KR_Version_Retriever reads it) or Linux (ELF, 32- or
/// 64-bit, either order of bytes).
///
/// A file for Linux has a version note when it was built with kr_version_note(), which comes with this
/// library's CMake package (docs/using.md). Else the numbers in its SONAME are taken, behind ".so." or
/// between "-" and ".so": "libcamera.so.1.2" tells 1.2, "libACE-7.0.8.so" 7.0.8, "libcamera.so" none.
///
/// path  in the ANSI code page on Windows, bytes on Linux; up to its first zero. What is no regular file
///       has no version. A file that is cut or damaged tells none.
[[nodiscard]] KRCOMMON_EXPORT KR_Program_Version kr_program_version(const std::string& path);

/// Of the program that is running.
[[nodiscard]] KRCOMMON_EXPORT KR_Program_Version kr_running_program_version();

/// Of the file that has this library's code.
[[nodiscard]] KRCOMMON_EXPORT KR_Program_Version kr_library_version();

/// For a log: the file's name, its version or "of unknown version", and the first twelve digits of its
/// build id, if it has one: "kr_server 2.1.0 (build 14b693e3e38e)".
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const KR_Program_Version& version);

namespace kr_internal {

/// The numbers in a library's SONAME, see kr_program_version().
[[nodiscard]] std::string version_in_soname(const std::string& soname);

} // namespace kr_internal
