#pragma once

/// \file
/// What became of the configuration file: kr_configuration_status().

#include <KRCommon/KRCommon_Export.h>

#include <string>

/// What became of the configuration file KRCommon.xml. It is read while the library is loaded, when
/// no log is open: the line "Failed to read ..." goes where ACE's lines go then, to stderr, and a
/// Windows service has none. A host asks here once its log is open, and says it in its own words:
///
///     const KR_Configuration_Status& configuration = kr_configuration_status();
///     if (!configuration.is_read)
///         kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR server: no named colours: '%s': %s\n",
///                configuration.path, configuration.error);
///
/// Threads: the status is set while the library is loaded, before any host can ask, and never again:
/// any thread may ask and read at any time. Same on Windows and Linux.
/// Exceptions: std::bad_alloc where a status is copied, see KRCommon_Export.h.
struct KR_Configuration_Status {
    /// The file was accepted, and its presets are those of KR_Colors.
    bool is_read = false;

    /// The file's full path, in the system's own narrow encoding, whether there is such a file or
    /// not. Empty when memory ran out while the library was loaded; then nothing was read.
    std::string path;

    /// Why the file is not used, as docs/configuration.md lists it: "line:7-'color'-Value does not
    /// match enumerations". Empty when it was read. It may quote the file: control characters too.
    std::string error;
};

/// The status since the library was loaded into the process. The reference is good until the library
/// is unloaded or the process's static objects end. Never fails, does not log.
KRCOMMON_EXPORT const KR_Configuration_Status& kr_configuration_status() noexcept;
