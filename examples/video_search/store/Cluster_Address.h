#pragma once

/// \file
/// The address of a store on a cluster of ClickHouse servers (docs/cluster.md):
///
///     clickhouse://HOST:PORT[,HOST:PORT]/DATABASE[?NAME=VALUE[&NAME=VALUE]]
///
/// Threads: values.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

struct Cluster_Address {
    struct Server {
        std::string host; ///< name, IPv4, or IPv6 in square brackets
        int port = 8123;  ///< of HTTP
        [[nodiscard]] std::string text() const { return host + ':' + std::to_string(port); }
    };

    std::vector<Server>
        servers; ///< any of these knows the cluster; asked one after the other; without a cluster one alone
    std::string database; ///< a name of letters, digits and _
    std::string cluster;  ///< likewise; empty: the first server alone
    std::string spool;    ///< file of additions that are on their way; empty for the usual one
    std::size_t spool_megabytes = 1024;
    std::chrono::seconds batch{1};     ///< for which an addition waits for more at most
    std::chrono::seconds wait{10};     ///< for an answer
    std::optional<unsigned> keep_days; ///< what was first seen earlier is removed; none: nothing is
    std::string user;                  ///< empty for the servers' default user
    std::string password;

    /// For sentences and log lines: without parameters and credentials.
    [[nodiscard]] std::string text() const;
};

/// Failure for what is no such address, and for one with a user or a password in it, which would stand
/// in lists of processes and in log lines. The credentials are the two lines of the file that the
/// parameter `credentials` names, else the environment's KR_CLICKHOUSE_USER and
/// KR_CLICKHOUSE_PASSWORD.
[[nodiscard]] Cluster_Address parse_cluster_address(const std::string& text);

} // namespace video_search
