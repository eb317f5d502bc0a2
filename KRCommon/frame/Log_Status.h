#pragma once

/// \file
/// How the log file is, KR_Log_Status.

#include <cstdint>
#include <string>

/// How the log file is: what a host reports to those who operate it. KR_LOG_MANAGER::status() fills it.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
struct KR_Log_Status {
    /// Path of the file in use, or of the one that lines should go to when is_good is false. Empty
    /// before the first KR_LOG_MANAGER::open().
    std::string file;

    /// Number of the file's part.
    std::uint32_t part = 0;

    /// True when lines go into the file. False before the first open(), and from a failure on until a
    /// file is open again.
    bool is_good = false;

    /// Bytes of the file now, whoever wrote them. 0 when there is none under its name.
    std::uint64_t file_bytes = 0;

    /// Bytes of all files whose name begins with the prefix, as pruning counts them, but in 64 bits.
    std::uint64_t total_bytes = 0;

    /// Lines that this process has written into its files since it started. A text with several line
    /// feeds counts as several.
    std::uint64_t lines = 0;

    /// Lines since the process started that no file has got. Those that the priority mask stops do not
    /// count, nor those that were logged before the first open() without KR_Log_Options::early_bytes. While a file has failed, the lines
    /// of kr_log() count; those of ACE's own macros only with KR_Log_Options::retries.
    std::uint64_t lines_lost = 0;

    /// The system's number of the last failure to open or to write a file, and its text: errno on
    /// Linux, GetLastError() on Windows. 0 and empty when there was none. It stays when all is well
    /// again.
    int last_error = 0;
    std::string last_error_text; ///< the system's text; empty when there was none

    /// When that was, in microseconds since 1970-01-01 UTC; 0 when there was none.
    std::int64_t last_error_time = 0;

    /// What KR_LOG_MANAGER::set_debug_level() was last told, 0 for each value above 4. -1: it was never
    /// called, and ACE's own mask holds.
    int level = -1;
};
