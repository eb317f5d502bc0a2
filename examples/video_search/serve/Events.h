#pragma once

/// \file
/// Objects as they are stored, as server-sent events: "event: object", its JSON as data, and the number
/// of its row as id, from which a client goes on after a break.
///
/// Threads: all functions may be called from any at once.

#include "Limits.h"
#include "Search_Api.h"

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace video_search {

class Events {
public:
    /// Both must live longer.
    Events(Search_Api& api, const Limits& limits) : api_(api), limits_(limits) {}
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    /// Answers with events from now on, or from behind the Last-Event-ID of the request. Throws
    /// Api_Error for one that is none and when too many follow.
    void answer(const httplib::Request& request, httplib::Response& response);

    /// Ends all streams soon.
    void stop() noexcept { is_stopping_ = true; }

    [[nodiscard]] std::size_t clients() const noexcept { return clients_; }

private:
    class Follower;

    Search_Api& api_;
    const Limits& limits_;
    std::atomic<std::size_t> clients_{0};
    std::atomic<bool> is_stopping_{false};
};

} // namespace video_search
