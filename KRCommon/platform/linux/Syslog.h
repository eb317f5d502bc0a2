#pragma once

/// \file
/// Sends records to the system's log. Unlike the C library's syslog() it tells when a record could
/// not be sent, and waits for a daemon that does not read no longer than it is told.

#include <atomic>
#include <string>

namespace kr_platform {

/// The socket of a daemon. Threads: any number at once; a child of fork() may go on with it. Holds
/// no descriptor between two calls.
class Syslog {
public:
    /// path      of the daemon's socket, of datagrams or a stream; must live as long as the object
    /// patience  milliseconds for which send() waits at most
    Syslog(const char* path, int patience) noexcept : path_(path), patience_(patience) {}
    Syslog(const Syslog&) = delete;
    Syslog& operator=(const Syslog&) = delete;

    /// Sends "<priority>Mmm dd hh:mm:ss program: text", in local time, as syslog() does for a host
    /// that has not called openlog(). The program is its file's name.
    ///
    /// returns  0, or the error: ENOENT where no daemon is, ECONNREFUSED where it has ended,
    ///          EMSGSIZE for a record that no datagram holds (by default some 212,900 bytes),
    ///          ETIMEDOUT for a daemon that does not read
    ///
    /// After a time-out nobody waits until a record got through again, so that a daemon that hangs
    /// costs the wait once and not for each record. Throws nothing but std::bad_alloc.
    int send(int priority, const std::string& text);

private:
    const char* const path_;
    const int patience_;
    std::atomic<bool> is_stuck_{false}; // no record got through since a time-out
};

} // namespace kr_platform
