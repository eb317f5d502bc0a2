#pragma once

/// \file
/// The tables of a store on a cluster, and its rows (docs/cluster.md has the schema). For the store's
/// own sources. Threads: no state.

#include "Object_Store.h"
#include "Traits.h"

#include <cstdint>
#include <string>
#include <vector>

namespace video_search {

/// Of the tables; higher than that of a program that cannot use them.
constexpr std::uint32_t cluster_version = 1;

constexpr std::int64_t day_length = 86'400'000'000; // microseconds

/// What a row is of.
enum class Row_Kind { object = 0, recording = 1, picture = 2 };

/// Makes the table of the version where it is missing, on one shard; each is a statement of its own.
[[nodiscard]] std::vector<std::string> version_statements(const std::string& database);
/// Selects the version, 32 bits: 0 for tables that are not whole yet.
[[nodiscard]] std::string query_of_version(const std::string& database);

/// Makes what else is missing, likewise, and tells the version. Not for tables of a later version.
///
/// cluster  that the tables over all shards are of; empty for none
[[nodiscard]] std::vector<std::string> table_statements(const std::string& database,
                                                        const std::string& cluster);

/// Inserts rows of a kind; what the columns hold stands in the same order in a row.
/// Before the row of an object stands the number of its batch, 64 bits.
[[nodiscard]] std::string insertion_of(Row_Kind kind, const std::string& database);

/// Puts what depends on the objects of a batch beside them once more: where the server went away in the
/// middle of the batch it may lack.
[[nodiscard]] std::vector<std::string> repairs_of(const std::string& database, std::uint64_t batch,
                                                  std::int64_t day);

/// Whether the objects of a batch are there, as one number.
[[nodiscard]] std::string search_of_batch(const std::string& database, std::uint64_t batch,
                                          std::int64_t day);

/// The partitions of days before this one, as the names of their tables and their own.
[[nodiscard]] std::string old_partitions(const std::string& database, std::int64_t first_day);
/// The first day of those that are kept today.
[[nodiscard]] std::int64_t first_day_kept(unsigned days);
/// The same where another clock, of which this is the day, has to agree before anything is removed: a
/// clock that is ahead would take all.
[[nodiscard]] std::int64_t first_day_kept(unsigned days, std::int64_t other_day);
/// Selects the day of the server's clock, 64 bits.
[[nodiscard]] std::string query_of_day();

/// Which of the claims of a shard are of sensors of another one, as their number.
[[nodiscard]] std::string query_of_strange_claims(const std::string& database, std::size_t shard,
                                                  std::size_t shards);

/// The number of the day since 1970, 0 for what is before: the partition of a time.
[[nodiscard]] std::int64_t day_of(std::int64_t microseconds) noexcept;
/// The times of a day, both inclusive.
struct Time_Range {
    std::int64_t first = 0;
    std::int64_t last = 0;
};
[[nodiscard]] Time_Range times_of_days(std::int64_t first, std::int64_t last) noexcept;

[[nodiscard]] std::string row_of(const std::string& run, const KR_ObjectBase& object,
                                 const Bytes& record, std::int64_t first_seen);
[[nodiscard]] std::string row_of(const Recording& recording, std::uint64_t version);
[[nodiscard]] std::string row_of(const std::string& run, const Picture& picture);

/// In the detector's place, of a record that every search finds.
constexpr std::int32_t any_detector = INT32_MIN;
/// In the duration's place, of one that is not known.
constexpr std::int64_t no_duration = -1;
/// A share of this or more.
constexpr int most_share = 255;

} // namespace video_search
