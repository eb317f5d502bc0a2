#pragma once

/// \file
/// What the event log writer needs from the operating system: keys of the registry below the
/// machine's root, and a source of events. windows/ hands each call on to the system; linux/ has
/// no registry, and its event log is syslog. Tests put a system of their own in its place.
///
/// Every call leaves its outcome in last_error() (Platform.h): 0 after success, the reason after
/// failure. The registry's functions of Windows only return theirs; it is put there for them.
///
/// Texts go to the system up to their first zero byte: in the ANSI code page on Windows, as bytes
/// on Linux.
///
/// Threads: calls on different keys and sources may be made at once; one key or source belongs to
/// one thread at a time, but for report(), which may be called at once. Throws nothing but
/// std::bad_alloc.

#include <cstdint>
#include <string>

namespace kr_platform {

struct Registry_Key; ///< a handle; never looked into
struct Event_Source; ///< a handle; never looked into

class Event_System {
public:
    struct Opened_Key {
        Registry_Key* key = nullptr; ///< null: neither opened nor made
        bool existed = false;        ///< it was there before this call
    };

    /// Opens the key "<parent>\<name>" below HKEY_LOCAL_MACHINE for all access, and makes it, and
    /// its parents, when it is not there. Who gets a key closes it.
    ///
    /// name  one level, at most 255 characters. Empty, with a backslash or a zero byte it is
    ///       refused with ERROR_INVALID_NAME (123) before the registry is asked, which would
    ///       take it for the parent itself, a path of several keys, or a shorter name
    ///
    /// Linux: always fails with ENOTSUP, as all functions of keys do.
    [[nodiscard]] virtual Opened_Key create_key(const std::string& parent,
                                                const std::string& name) = 0;

    /// Writes a REG_DWORD.
    [[nodiscard]] virtual bool set_dword(Registry_Key* key, const char* name,
                                         std::uint32_t value) = 0;

    /// Writes a REG_SZ. The length that the system is told is the text's without its terminating
    /// zero; Windows itself stores the zero that it finds after the text.
    [[nodiscard]] virtual bool set_text(Registry_Key* key, const char* name,
                                        const std::string& text) = 0;

    /// The key must not be used again, whatever the result.
    virtual bool close_key(Registry_Key* key) = 0;

    /// Registers as source of events on this machine; null when refused. Linux: never refused,
    /// opens nothing.
    [[nodiscard]] virtual Event_Source* register_source(const std::string& name) = 0;

    /// Reports one event of category 0, without user and data, with `text` as its one insertion.
    ///
    /// type  as Windows numbers them: 0 success, 1 error, 2 warning, 4 information, 8 audit
    ///       success, 16 audit failure; the low 16 bits count
    ///
    /// Linux: sends "<name>: event <id>: <text>" to syslog's daemon under the program's name, as of
    /// the facility "user", at LOG_ERR for errors, LOG_WARNING for warnings and audit failures,
    /// LOG_NOTICE for audit successes, LOG_INFO for everything else. openlog() does not matter;
    /// setlogmask() does. Fails with ENOENT or ECONNREFUSED where no daemon is, with EMSGSIZE for
    /// a text that is too long (Syslog.h) and with ETIMEDOUT when the daemon has not read for a
    /// second; then at once until an event got through again.
    [[nodiscard]] virtual bool report(Event_Source* source, int type, int id,
                                      const std::string& text) = 0;

    /// The source must not be used again, whatever the result.
    [[nodiscard]] virtual bool deregister_source(Event_Source* source) = 0;

protected:
    ~Event_System() = default; // never owned by way of this class
};

/// The operating system's own.
Event_System& event_system() noexcept;

} // namespace kr_platform
