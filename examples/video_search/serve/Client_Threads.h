#pragma once

/// \file
/// The threads that serve clients, a connection each. When all have one, a connection that waits is
/// ended in favour of the new one; where none waits the new one is refused.
///
/// Threads: enqueue() and shutdown() on the thread that accepts.

#include "Connections.h"

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace video_search {

class Client_Threads final : public httplib::TaskQueue {
public:
    /// The connections must live longer.
    Client_Threads(std::size_t count, Connections& connections);
    ~Client_Threads() override;
    Client_Threads(const Client_Threads&) = delete;
    Client_Threads& operator=(const Client_Threads&) = delete;

    void enqueue(std::function<void()> work) override;
    /// Runs what is queued, and waits until all have ended.
    void shutdown() override;

    /// Whether what runs on this thread is to be refused.
    [[nodiscard]] static bool refuses() noexcept;

private:
    void run();

    Connections& connections_;
    std::mutex mutex_; // guards the next four
    std::condition_variable has_work_;
    std::deque<std::function<void()>> queue_;
    std::size_t busy_ = 0;
    bool is_over_ = false;
    std::vector<std::thread> threads_;
};

} // namespace video_search
