#pragma once

/// \file
/// The servers that a cluster's store lies on, and how they are asked: each by itself, all at once,
/// with an end to the time that is kept here, since a server that hangs keeps no time itself.
///
/// The shards are those of the cluster that the address names, as system.clusters has them, the first
/// replica of each. That table has the ports of the servers' own protocol; the ports of HTTP are those
/// of a second cluster, whose name has "_http" at its end, if there is one, else the port of the
/// address. Shards are counted from 0 here and from 1 in sentences.
///
/// Threads: one at a time. Failure where nothing can be asked at all; a server that does not answer is
/// an answer too.

#include "Cluster_Address.h"
#include "Http_Client.h"

#include <krsoap/krsoap.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace video_search {

/// What decides in which shard the objects of a sensor lie: this modulo the number of shards.
[[nodiscard]] std::uint64_t place_of(const ns__SensorId& sensor) noexcept;

/// The same for what belongs to a run: FNV-1a.
[[nodiscard]] std::uint64_t place_of(const std::string& run) noexcept;

/// A text as SQL.
[[nodiscard]] std::string quoted_sql(const std::string& text);

class Cluster {
public:
    /// Asks the servers of the address, one after the other, for the shards. Failure when none answers,
    /// or when there is no such cluster.
    explicit Cluster(Cluster_Address address);

    [[nodiscard]] std::size_t size() const noexcept { return shards_.size(); }
    [[nodiscard]] std::size_t shard_of(std::uint64_t place) const noexcept
    {
        return static_cast<std::size_t>(place % shards_.size());
    }
    /// "shard 2 (10.0.0.2:8123)".
    [[nodiscard]] std::string name_of(std::size_t shard) const;
    [[nodiscard]] const Cluster_Address& address() const noexcept { return address_; }

    struct Question {
        std::size_t shard = 0;
        std::string sql;
        std::string rows;     ///< what an INSERT inserts
        std::string query_id; ///< by which the server knows it while it works on it; empty for any
    };

    struct Answer {
        std::string bytes;
        std::string failure; ///< a sentence that names the shard; empty when the answer is there
        bool is_refusal = false; ///< whether the server itself said no
        [[nodiscard]] bool is_there() const noexcept { return failure.empty(); }
    };

    /// The answers stand in the order of the questions. A shard that hung is not asked again for some
    /// seconds, so that a search that asks several times waits for it once.
    [[nodiscard]] std::vector<Answer> ask(const std::vector<Question>& questions);
    [[nodiscard]] Answer ask(const Question& question);

private:
    struct Shard {
        Cluster_Address::Server server;
        std::chrono::steady_clock::time_point hangs_until;
    };

    std::vector<Cluster_Address::Server> ask_for_shards(const Cluster_Address::Server& server);
    [[nodiscard]] Http_Request request_of(const Cluster_Address::Server& server,
                                          const Question& question) const;

    const Cluster_Address address_;
    Http_Client client_;
    std::vector<Shard> shards_;
};

} // namespace video_search
