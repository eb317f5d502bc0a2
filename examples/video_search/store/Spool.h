#pragma once

/// \file
/// What is on its way into a cluster: a SQLite file of rows, which are there until a shard has taken
/// them. A row is in the file when add() has returned, whatever becomes of the process. Rows of the
/// same kind, place and day are sent together, as a batch that keeps its number until it is stored, so
/// that it can be told whether it is.
///
/// The file belongs to one process and to one store; a second one is refused.
/// Threads: any. Failure names the file.

#include "Cluster_Tables.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace SQLite {
class Database;
}

namespace video_search {

/// What is sent as one.
struct Batch {
    std::uint64_t number = 0; ///< not 0
    Row_Kind kind = Row_Kind::object;
    std::size_t shard = 0;
    std::int64_t day = 0;
    bool was_sent = false;         ///< whether it may be stored already
    std::vector<std::string> rows; ///< in the order of their coming
};

class Spool {
public:
    static constexpr std::size_t most_rows = 10'000;                  ///< of a batch
    static constexpr std::size_t most_bytes = std::size_t{32} << 20U; ///< of a batch, about

    /// Makes the file when it is missing, and goes on with what it has. Failure when it is of another
    /// store, of a later version or in use, or no spool.
    ///
    /// store       that the rows are for, as text
    /// shards      how many there are
    /// most_waiting  bytes of rows that the file may hold
    /// longest     that a row waits for others of its batch
    Spool(std::string path, const std::string& store, std::size_t shards, std::size_t most_waiting,
          std::chrono::milliseconds longest = std::chrono::seconds(1));
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    /// Takes a row. Failure when the file is full and does not get room for some seconds.
    void add(Row_Kind kind, std::uint64_t place, std::int64_t day, const std::string& row);

    /// The next batch for one of the shards: one that was begun, else one of rows that have waited for
    /// long enough, or of so many that they fill a batch, or else of any when there is no time to lose. It
    /// is marked as sent before it is given.
    ///
    /// is_wanted  which shards can be sent to
    [[nodiscard]] std::optional<Batch> take(const std::vector<bool>& is_wanted, bool is_urgent);
    /// The batch is stored.
    void remove(const Batch& batch);
    /// The batch is certainly not stored.
    void put_back(const Batch& batch);

    /// Waits until a row comes, or for so long.
    void wait(std::chrono::milliseconds limit);
    /// Waits until all rows are stored, or for so long.
    void wait_until_empty(std::chrono::milliseconds limit);
    void wake() noexcept;

    [[nodiscard]] std::size_t count();
    [[nodiscard]] std::size_t shards() const noexcept { return shards_; }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    using Group =
        std::tuple<Row_Kind, std::int64_t, std::int64_t>; // kind, shard as in the file, day

    // Of the rows of a group that are in no batch yet. Kept here, since a spool that fills up while a
    // shard is away has very many.
    struct Tally {
        std::size_t rows = 0;
        std::size_t bytes = 0;
        std::int64_t since = 0; // of the first
    };

    void open(const std::string& store);
    void make_room(std::unique_lock<std::mutex>& lock, std::size_t size);
    std::optional<Batch> begun(const std::vector<bool>& is_wanted);
    std::optional<Group> due(const std::vector<bool>& is_wanted, bool is_urgent) const;
    Batch begin(const Group& group);
    void tally(const Group& group);
    void tally_all();
    void read_rows(Batch& batch);

    const std::string path_;
    const std::size_t shards_;
    const std::size_t most_waiting_;
    const std::chrono::milliseconds longest_;
    std::mutex mutex_; // guards all that follows
    std::condition_variable has_changed_;
    std::unique_ptr<SQLite::Database> database_;
    std::map<Group, Tally> groups_;
    std::size_t waiting_bytes_ = 0;
    std::size_t waiting_rows_ = 0;
    bool is_woken_ = false;
};

} // namespace video_search
