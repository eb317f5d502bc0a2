#pragma once

/// \file
/// Requests to several HTTP servers at once, each with an end to its time, over connections that are
/// kept. By libcurl; proxies of the environment are not used.
///
/// Threads: one at a time.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace video_search {

struct Http_Request {
    std::string url;
    std::string body; ///< posted
    /// Over a connection of its own: on one that was kept, and that the server closes meanwhile, curl
    /// sends a request a second time by itself.
    bool is_sent_once = false;
};

struct Http_Answer {
    long status = 0;     ///< 0: there was none
    std::string headers; ///< as they came, a line each
    std::string body;    ///< may be of a cut answer when there was no status
    std::string failure; ///< why there was none
};

class Http_Client {
public:
    /// The user is empty for none. Failure when there is no memory for it.
    Http_Client(std::string user, std::string password);
    ~Http_Client();
    Http_Client(const Http_Client&) = delete;
    Http_Client& operator=(const Http_Client&) = delete;

    /// Posts all of them, and waits until each has its answer or the time is over. The answers stand in
    /// the order of the requests.
    [[nodiscard]] std::vector<Http_Answer> post(const std::vector<Http_Request>& requests,
                                                std::chrono::milliseconds limit);

private:
    struct Handles;

    const std::string user_;
    const std::string password_;
    const std::unique_ptr<Handles> handles_;
};

} // namespace video_search
