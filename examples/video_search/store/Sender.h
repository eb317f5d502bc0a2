#pragma once

/// \file
/// Sends what waits in a spool to its shards, on a thread of its own. While a shard does not answer its
/// rows wait, with pauses that grow to ten seconds, and those of the others go on; the log tells of the
/// begin and of the end of that. Before a batch is sent a second time the shard is asked whether it has
/// the first one, so that it is stored once.
///
/// Threads: construct, flush() and destroy on one.

#include "Cluster.h"
#include "Spool.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace video_search {

class Sender {
public:
    /// Failure when the cluster cannot be opened, or has not as many shards as the spool.
    ///
    /// address  of the cluster, which is opened again for the thread
    Sender(const Cluster_Address& address, Spool& spool);
    /// What is not stored yet stays in the spool.
    ~Sender();
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    /// Waits until the spool is empty, or until no shard that has rows left answers. How many are left.
    std::size_t flush();

private:
    using Clock = std::chrono::steady_clock;

    struct Shard {
        bool is_prepared = false;
        Clock::duration pause{};
        Clock::time_point next_try;
        std::size_t failures = 0;
    };

    void run() noexcept;
    bool send_next();
    std::vector<bool> shards_to_try() const;
    void send(const Batch& batch);
    void prepare(std::size_t shard);
    bool is_stored(const Batch& batch);
    void insert(const Batch& batch);
    std::string ask(std::size_t shard, const std::string& sql);
    void succeeded(std::size_t shard);
    void failed(std::size_t shard, const std::string& why);
    void remove_old();
    void remove_old(std::size_t shard);

    Cluster cluster_;
    Spool& spool_;
    std::vector<Shard> shards_;
    Clock::time_point next_removal_;
    std::atomic<bool> is_stopping_{false};
    std::atomic<bool> is_urgent_{false};
    std::atomic<bool> is_stuck_{false};
    std::thread thread_;
};

} // namespace video_search
