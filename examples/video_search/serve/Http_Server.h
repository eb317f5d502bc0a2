#pragma once

/// \file
/// The HTTP server with the bounds that httplib has not: of a whole request in bytes and in time, of
/// connections, of what may be in a request at all. One handler answers everything.
///
/// Threads: bind(), serve() and stop() as said there; the handler runs on any thread.

#include "Client_Stream.h"
#include "Client_Threads.h"
#include "Connections.h"
#include "Limits.h"

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace video_search {

class Http_Server final : private httplib::Server {
public:
    /// Fills the response; throws nothing.
    using Answer = std::function<void(const httplib::Request&, httplib::Response&)>;

    /// soap_path  the one path that takes a body, by POST
    Http_Server(const Limits& limits, std::string soap_path, Answer answer);
    ~Http_Server() override;
    Http_Server(const Http_Server&) = delete;
    Http_Server& operator=(const Http_Server&) = delete;

    /// Takes the address, 0 for any free port. The port, or 0 where that is impossible. Connections wait
    /// until serve().
    [[nodiscard]] int bind(const std::string& address, int port);

    /// Serves until stop(), on the calling thread. False when accepting failed.
    bool serve();

    /// From any other thread, once serve() has been called or will be: ends it, and all connections.
    void stop();

    [[nodiscard]] const Connections& connections() const noexcept { return connections_; }
    /// Connections for which there was no place.
    [[nodiscard]] std::size_t refused() const noexcept { return refused_; }

    /// Whether a request is one whose body is read: XML by POST, whole and as it is.
    [[nodiscard]] bool takes_body(const httplib::Request& request) const;

    /// The connection whose request the calling thread answers.
    [[nodiscard]] static Client_Stream& stream();

private:
    bool process_and_close_socket(socket_t socket) override;
    void serve_connection(socket_t socket);
    bool serve_request(Client_Stream& stream, bool is_last);
    void prepare(httplib::Request& request, Client_Stream& stream) const;
    HandlerResponse route(const httplib::Request& request, httplib::Response& response);

    const Limits limits_;
    const std::string soap_path_;
    const Answer answer_;
    Connections connections_;
    std::atomic<std::size_t> refused_{0};
    std::atomic<bool> is_stopping_{false};
    std::atomic<bool> has_ended_{false};
};

} // namespace video_search
