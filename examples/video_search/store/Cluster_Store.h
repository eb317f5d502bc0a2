#pragma once

/// \file
/// A store on the servers of a ClickHouse cluster (docs/cluster.md): the objects of a sensor lie in one
/// shard. Each shard is asked by itself, for the ids of what may match first and then for the records of
/// those that are looked at, and its answers are merged in the order of the search; the answers are
/// those that a file with the same objects gives, to the byte.
///
/// Additions go through a file of this machine (Spool.h) and are seen by others a second or so later; a
/// store that is written does not wait for servers that are away. Reading goes on without them too, and
/// unanswered() tells what is missing; where none answers it is a Failure.
///
/// An object id is given to one writer alone: writers claim ranges of ids, in the shard of the sensor.
/// What a claim has left is free again when the writer ends in order, and lost when it is killed.
///
/// Rows (last_row(), rows_after()) are numbered by the second at which their shard took them, and
/// within it by the order of time; a second is over, and shown, two seconds later. A batch that was
/// taken twice after all is shown once by searches, but counted twice until the server has merged it.
///
/// Threads: a store belongs to one thread at a time.

#include "Cluster.h"
#include "Cluster_Address.h"
#include "Cluster_Query.h"
#include "Object_Store.h"
#include "Sender.h"
#include "Spool.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace video_search {

class Cluster_Store final : public Object_Store {
public:
    /// Failure when no server of the address answers, and, with Access::read, when it has no store or
    /// one of a later version.
    ///
    /// folder  of the spool, where the address names none: kr_store.spool
    Cluster_Store(const Cluster_Address& address, Access access, const std::string& folder);
    /// Waits for what is on its way as flush() does.
    ~Cluster_Store() override;

    std::uint64_t next_object_id(const ns__SensorId& sensor) override;
    void put(const Recording& recording) override;
    void add(const std::string& run, const Picture& picture) override;
    void add(const std::string& run, const KR_ObjectBase& object, const Bytes& record) override;
    std::vector<Recording> recordings() override;
    std::vector<Picture> pictures(const std::string& run) override;
    void visit(const Filter& filter, const Visitor& visitor) override;
    std::size_t count(const ACE_Time_Value& from, const ACE_Time_Value& to) override;
    std::optional<Stored_Record> find(const ns__SensorId& sensor, std::uint64_t object_id) override;
    std::int64_t last_row() override;
    std::vector<Stored_Row> rows_after(std::int64_t row, std::size_t most) override;
    std::map<std::string, std::size_t> counts_between(std::int64_t row,
                                                      std::int64_t last_row) override;
    std::vector<std::size_t> density(const ACE_Time_Value& from, const ACE_Time_Value& to,
                                     std::size_t buckets) override;
    bool is_indexed() override { return true; }
    bool index(const Progress&) override { return true; }
    [[nodiscard]] std::vector<std::string> unanswered() const override;
    std::size_t flush() override;

private:
    using Sensor_Key = std::pair<std::int32_t, std::int32_t>;

    // Ids that belong to this writer, from `next` to `last`.
    struct Claim {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        std::uint64_t next = 0;
        [[nodiscard]] bool has_any() const noexcept { return first != 0 && next <= last; }
    };

    class Search;
    struct New_Place;

    void check_version(bool must_be_there);
    void check_shards();
    void open_for_writing(const std::string& folder);
    Spool& spool();
    [[nodiscard]] std::string table(const char* name) const;
    [[nodiscard]] std::int64_t first_kept() const;
    [[nodiscard]] Time_Range kept(const ACE_Time_Value& from, const ACE_Time_Value& to) const;

    std::vector<Cluster::Answer> ask_all(const std::string& sql);
    std::vector<Cluster::Answer> ask_some(const std::vector<Cluster::Question>& questions);
    std::string ask_one(std::size_t shard, const std::string& sql);

    std::vector<New_Place> new_places(std::int64_t first, std::int64_t last, std::size_t most);

    [[nodiscard]] Claim claim_ids(const ns__SensorId& sensor);
    void claim_spare(const ns__SensorId& sensor, Claim& spare);
    void write_claim(const ns__SensorId& sensor, std::uint64_t first, std::uint64_t last);
    [[nodiscard]] bool is_alone(const ns__SensorId& sensor, std::uint64_t first,
                                std::uint64_t last);
    void claim_highest(const ns__SensorId& sensor);
    void release_claims();

    Cluster cluster_;
    const std::string name_;
    std::map<std::size_t, std::string> unanswered_; // by shard
    const std::uint64_t owner_;
    std::uint64_t version_ = 0; // of the last row that was written here
    std::map<Sensor_Key, Claim> claims_;
    std::map<Sensor_Key, Claim> spares_; // for when a claim ends and its shard is away
    std::chrono::steady_clock::time_point next_spare_;
    std::map<Sensor_Key, std::uint64_t> highest_; // of ids that were not claimed before
    std::unique_ptr<Spool> spool_;
    std::unique_ptr<Sender> sender_;
};

} // namespace video_search
