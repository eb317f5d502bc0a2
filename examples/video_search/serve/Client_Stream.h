#pragma once

/// \file
/// The bytes of a connection, with bounds: how many a request may have, and how long client and service
/// may take. Threads: one at a time.

#include "Connections.h"
#include "Limits.h"

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

namespace video_search {

class Client_Stream final : public httplib::Stream {
public:
    /// All must live longer; the socket is the caller's.
    Client_Stream(socket_t socket, const Limits& limits, Connections::Place& place);

    /// Waits for the first byte of the next request. False when none comes.
    [[nodiscard]] bool await_request();
    /// The request may have so many bytes more.
    void allow(std::size_t bytes) noexcept { allowed_ += bytes; }
    /// Whether a line that was read ended without a carriage return. httplib passes over such headers,
    /// which others may have read.
    [[nodiscard]] bool has_bare_line_feed() const noexcept { return has_bare_line_feed_; }
    /// The request has been read as far as it will be. The time for the response to be taken begins
    /// with its first byte, however long it takes to make.
    void begin_response();
    /// The response goes on for as long as it likes; each piece has the usual time.
    void begin_events();
    /// Whether the request went beyond its bounds.
    [[nodiscard]] bool is_refused() const noexcept { return is_refused_; }

    /// Whether the client has closed its side, or the connection is broken. At once.
    [[nodiscard]] bool is_gone() const;

    /// Reads what the client still sends, for a second at most, so that it sees the response. The last
    /// thing to be done.
    void drain();

    bool is_readable() const override { return true; }
    bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return socket_; }

private:
    using Clock = std::chrono::steady_clock;

    bool fill(Clock::time_point end);
    std::size_t send(const char* data, std::size_t size);
    [[nodiscard]] ACE_HANDLE handle() const noexcept;
    [[nodiscard]] bool may_wait(Clock::time_point end) const;

    const socket_t socket_;
    const Limits& limits_;
    Connections::Place& place_;
    std::array<char, 8192> buffer_{};
    std::size_t begin_ = 0; // of what is in the buffer and was not handed out
    std::size_t end_ = 0;
    std::size_t allowed_ = 0;
    Clock::time_point deadline_;
    char last_read_ = 0;
    bool has_bare_line_feed_ = false;
    bool is_first_write_ = false; // of the response
    bool has_end_ = true;
    bool is_refused_ = false;
    bool is_broken_ = false;
};

} // namespace video_search
