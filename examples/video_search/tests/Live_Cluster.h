#pragma once

// A cluster of real servers on this machine, started and ended by setup/cluster.sh, for tests.

#include "host/Host.h"
#include "store/Cluster.h"
#include "store/Object_Store.h"
#include "store/Row_Binary.h"

#include "Search_Testing.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

namespace video_search {

// What a command prints; Failure when it fails.
inline std::string output_of(const std::string& command)
{
    FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        throw Failure("cannot run " + command);
    std::string text;
    std::array<char, 256> part{};
    while (std::fgets(part.data(), static_cast<int>(part.size()), pipe) != nullptr)
        text += part.data();
    if (pclose(pipe) != 0)
        throw Failure(command + " failed");
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

inline bool has_server()
{
    return std::system("command -v clickhouse-server >/dev/null") == 0;
}

#define SKIP_WITHOUT_SERVER()                                                                      \
    if (!has_server())                                                                             \
    GTEST_SKIP() << "clickhouse-server is not installed (setup/setup.sh cluster)"

class Live_Cluster {
public:
    explicit Live_Cluster(int servers, std::string folder = fresh_folder())
        : folder_(std::move(folder)), servers_(servers),
          address_(output_of(script("start " + std::to_string(servers))))
    {
    }
    ~Live_Cluster()
    {
        for (int k = 1; k <= servers_; ++k)
            kill(k);
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Live_Cluster(const Live_Cluster&) = delete;
    Live_Cluster& operator=(const Live_Cluster&) = delete;

    [[nodiscard]] std::string address() const { return address_ + "&wait=2"; }
    [[nodiscard]] const std::string& folder() const { return folder_; }

    void kill(int server) const { output_of(script("kill " + std::to_string(server))); }
    void start(int server) const { output_of(script("start-one " + std::to_string(server))); }
    // A server that takes connections and says nothing.
    void hang(int server) const { signal(server, "STOP"); }
    void go_on(int server) const { signal(server, "CONT"); }

    [[nodiscard]] std::unique_ptr<Object_Store> open(Object_Store::Access access,
                                                     const std::string& more = "") const
    {
        return open_store(address() + more, access, folder_);
    }

    // Asks one server by itself.
    [[nodiscard]] std::uint64_t number(std::size_t shard, const std::string& sql) const
    {
        Cluster cluster(parse_cluster_address(address()));
        const Cluster::Answer answer = cluster.ask({shard, sql + " FORMAT RowBinary", "", ""});
        if (!answer.is_there())
            throw Failure(answer.failure);
        return Row_Reader(answer.bytes).number<std::uint64_t>();
    }

private:
    [[nodiscard]] std::string script(const std::string& action) const
    {
        return "'" VIDEO_SEARCH_CLUSTER_SCRIPT "' '" + folder_ + "' " + action;
    }
    void signal(int server, const std::string& name) const
    {
        output_of("kill -" + name + " $(cat '" + folder_ + "/s" + std::to_string(server) +
                  "/pid')");
    }

    const std::string folder_;
    const int servers_;
    const std::string address_;
};

inline ns__SensorId sensor_of(int number)
{
    ns__SensorId sensor;
    sensor.word1 = number;
    return sensor;
}

inline KR_ObjectBase object_of(int sensor, std::uint64_t id, int time)
{
    KR_ObjectBase object = test_object(id, time, 2);
    object.SensorId = sensor_of(sensor);
    return object;
}

inline void add(Object_Store& store, const KR_ObjectBase& object)
{
    store.add("run", object, encode(object, 1'000'000));
}

} // namespace video_search
