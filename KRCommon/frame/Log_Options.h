#pragma once

/// \file
/// What the log does only when the host asks for it, KR_Log_Options.

#include <cstdint>

/// What the log does only when the host asks for it. Without it, a file that fails stays silent until
/// the next day, and nobody is told.
///
///     KR_Log_Options options;
///     options.retries = options.reports_failures = options.finds_lost_file = true;
///     options.keeps_file_in_use = options.writes_header = true;
///     KR_LOG_MANAGER::instance()->set_options(options);
///     KR_LOG_MANAGER::instance()->open(reactor, "/var/log/server", "server");
///
/// docs/log_format.md has the lines that come of it.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
struct KR_Log_Options {
    /// A file that cannot be opened or written is tried again at each tick. Until then its lines are
    /// lost, but counted. A rotation or reopen() whose new file cannot be opened goes on with the old
    /// one. The log stream itself is never in the failed state then: ask status().is_good.
    bool retries = false;

    /// One "*ERR" line on stderr when the file fails, whatever the flags and the level are, and one in
    /// the file when it is back, with the number of lines lost.
    bool reports_failures = false;

    /// A tick that finds the file in use deleted or renamed opens a new one under its name. Windows:
    /// others may delete and rename the file in use from the next open on, which they cannot
    /// otherwise.
    bool finds_lost_file = false;

    /// Pruning passes over the file in use. Its bytes count all the same.
    bool keeps_file_in_use = false;

    /// Each opening of a file begins with a line that names host, program, process, date and offset
    /// from UTC, whatever the level is.
    bool writes_header = false;

    /// open() switches stderr off instead of on.
    bool silences_stderr = false;

    /// So many bytes of lines that are logged before the first open() go into its file, 1,048,576 at
    /// most; what does not fit is lost, and counted. 0: none. It counts from set_options() on, and
    /// for threads that have logged by kr_log() or that the library saw starting.
    std::uint32_t early_bytes = 0;

    /// So many lines of kr_log() that the level dropped are kept, the last ones, 10,000 at most, each cut
    /// at 1,000 characters. A line at LM_ERROR or above that kr_log() lets through writes them into the
    /// file before itself, between two marker lines. Lines of kr_log_limited() are not kept. A line
    /// that is kept costs what its formatting costs; memory is 1 KB a line, for the process's life.
    std::uint32_t ring_lines = 0;

    /// Lines of kr_log() are formatted by the library instead of ACE, which takes about half the time,
    /// and handed to ACE's sinks as finished records: callbacks, flags, streams and stderr work as
    /// before, and the bytes are the same. Where the file is the only sink (silences_stderr) lines go
    /// straight there, in about a third of the time; unlike ACE's, they keep no signal away meanwhile.
    /// What the library does not format goes ACE's way, "%p" for one; and all lines do while ACE
    /// prefixes them (flag VERBOSE, environment variable ACE_LOG_TIMESTAMP).
    bool fast_lines = false;

    /// The host's promise that priority masks, of the process and of its threads, are set by
    /// KR_LOG_MANAGER::set_debug_level() alone while this is on. Then a line of kr_log() that the level
    /// drops costs a look at one word, where it asks ACE for the thread's log otherwise. A mask that is
    /// set past the manager lets no line through that the level drops. Without effect while ring_lines
    /// keeps such lines.
    bool only_manager_sets_level = false;
};
