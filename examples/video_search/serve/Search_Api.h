#pragma once

/// \file
/// What the service answers, whatever the form of question and answer. Threads: all functions may be
/// called from any at once.
/// Failure: Api_Error for what is not there and for searches that take too long, Failure of the store.

#include "Limits.h"
#include "Search_Request.h"
#include "Store_Pool.h"
#include "search/Query.h"

#include <KRCommon/frame/ProfileHelper.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

/// A part of a search's hits.
struct Hit_Page {
    std::vector<Hit> hits;
    std::optional<std::string> next;     ///< the cursor of the next page; none behind the last
    std::vector<std::string> unanswered; ///< parts of the store that are missing: "shard 2"
};

/// How many objects are first seen in each part of a time.
struct Density {
    std::vector<std::size_t> counts;
    std::vector<std::string> unanswered;
};

struct Counted_Recording {
    Recording recording;
    std::size_t objects = 0;
};

struct Recording_List {
    std::vector<Counted_Recording> recordings;
    std::vector<std::string> unanswered;
};

/// What was stored behind a row.
struct Stored_Rows {
    struct Row {
        std::int64_t number = 0;
        std::optional<Hit> hit; ///< none of a damaged record
    };
    std::vector<Row> rows;
    std::vector<std::string> unanswered;
    std::size_t edition = 0; ///< another number after the store was replaced: rows count anew
};

/// An object with all its instances.
struct Found_Object {
    Hit hit;
    KR_ObjectBase object;
    std::optional<Recording> recording;
};

class Search_Api {
public:
    /// The profile must live longer. Failure when the store cannot be opened.
    Search_Api(const std::string& store, const Limits& limits, ProfileHelper& profile);

    [[nodiscard]] Hit_Page search(const Search_Request& request);
    [[nodiscard]] Density density(const Density_Request& request);
    [[nodiscard]] Recording_List recordings();
    /// Throws Api_Error with status 404, as the next two.
    [[nodiscard]] Recording recording(const std::string& run);
    [[nodiscard]] Found_Object object(const ns__SensorId& sensor, std::uint64_t id);
    /// JPEG.
    [[nodiscard]] Bytes thumbnail(const ns__SensorId& sensor, std::uint64_t id);

    /// Of the last object that was stored; 0 for none.
    [[nodiscard]] std::int64_t last_row();
    /// Where one goes on who has seen all up to a row: there, or behind the last row of a store that has
    /// not so many, since it is another one.
    [[nodiscard]] std::int64_t resumed_at(std::int64_t row);
    [[nodiscard]] Stored_Rows stored_after(std::int64_t row, std::size_t most);

    /// Whether the store can be read: throws where not.
    void check();

    /// Searches that run end soon, with Api_Error.
    void stop() noexcept { is_stopping_ = true; }

private:
    class Deadline;

    Stored_Record record_of(const ns__SensorId& sensor, std::uint64_t id);
    std::map<std::string, std::size_t> object_counts(const Store_Pool::Lease& store);
    std::vector<std::size_t> matching_density(Object_Store& store, const Density_Request& request,
                                              const Deadline& deadline);

    const Limits limits_;
    ProfileHelper& profile_;
    std::atomic<bool> is_stopping_{false};
    Store_Pool stores_;
    std::mutex counts_mutex_; // guards the next three
    std::size_t counted_edition_ = 0;
    std::int64_t counted_row_ = 0;
    std::map<std::string, std::size_t> counts_;
};

} // namespace video_search
