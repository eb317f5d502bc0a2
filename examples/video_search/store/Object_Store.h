#pragma once

/// \file
/// A store of recordings and of the objects that were found in them, whatever it is made of: one file
/// (Store.h), or the servers of a cluster (Cluster_Store.h). A record is kept in the library's binary
/// form, byte for byte.
///
/// Threads: a store belongs to one thread at a time.
/// Failure: each operation throws Failure (Host.h) with a sentence that names the store and says what
/// is wrong.

#include "Object_Source.h"

#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Objects.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

using Bytes = std::vector<unsigned char>;

/// One analysis of one recording.
struct Recording {
    std::string run;   ///< GUID of the run that analysed it
    std::string video; ///< the file as it was given
    ns__SensorId sensor;
    ACE_Time_Value start; ///< time of the first frame
    ACE_Time_Value end;   ///< time after the last frame that was analysed
    int width = 0;        ///< pixels; boxes of objects are in pixels too
    int height = 0;
    int frames = 0;    ///< analysed
    std::string state; ///< "running", "complete", "stopped" (Ctrl-C), "truncated", "failed"
    Bytes background;  ///< JPEG of the scene without moving objects; may be empty
};

/// A picture of the whole scene, for the time line.
struct Picture {
    ACE_Time_Value time;
    Bytes jpeg;
};

/// A record as it lies in the store.
struct Stored_Record {
    std::string run; ///< of the recording
    std::uint64_t object_id = 0;
    Bytes record;
};

/// An object as it was stored.
struct Stored_Row {
    std::int64_t number = 0; ///< above 0; that of a later one is higher
    Stored_Record stored;
};

/// The part of the time from `from` to `to` that a time between them falls into, 0 for the first;
/// `to` itself is in the last. Microseconds.
[[nodiscard]] std::size_t bucket_of(std::int64_t time, std::int64_t from, std::int64_t to,
                                    std::size_t buckets) noexcept;

/// The record of an object, its instance list limited to so many bytes (KR_ObjectBase::serialize).
/// An instance may have up to 127 colours.
[[nodiscard]] Bytes encode(const KR_ObjectBase& object, unsigned budget);

/// The object of a record. Nothing for bytes that are no whole record of an object with at least
/// one instance, from the first byte to the last. Values are not looked at.
[[nodiscard]] std::optional<KR_ObjectBase> decode(const Bytes& record);

class Object_Store : public Object_Source {
public:
    enum class Access {
        read,  ///< the store must exist; adding and index() fail
        write, ///< the store is made when it is missing
    };

    /// A number above those of all objects of the sensor in the store; 1 for the first. Failure when
    /// the last one, 2^63-1, is taken. It stays the same until an object has taken it.
    virtual std::uint64_t next_object_id(const ns__SensorId& sensor) = 0;

    /// Adds a recording, or replaces the one of the same run.
    virtual void put(const Recording& recording) = 0;
    /// Of a run and a time there is one picture.
    virtual void add(const std::string& run, const Picture& picture) = 0;
    /// object gives the sensor, the id and the first-seen time; record is its encoded form. The id is
    /// one that next_object_id() gave, or else one that no other object of the sensor has.
    virtual void add(const std::string& run, const KR_ObjectBase& object, const Bytes& record) = 0;

    /// In the order of their start, then of their run.
    virtual std::vector<Recording> recordings() = 0;
    /// In time order.
    virtual std::vector<Picture> pictures(const std::string& run) = 0;
    /// Copies of the records first seen from `from` to `to`, in time order.
    std::vector<Stored_Record> select(const ACE_Time_Value& from, const ACE_Time_Value& to);

    /// The record of one object, if there is one.
    virtual std::optional<Stored_Record> find(const ns__SensorId& sensor,
                                              std::uint64_t object_id) = 0;
    /// The number of the last row of objects: 0 for none. Later objects have higher numbers.
    virtual std::int64_t last_row() = 0;
    /// The first so many of the objects that were stored behind a row, in the order of storing.
    virtual std::vector<Stored_Row> rows_after(std::int64_t row, std::size_t most) = 0;
    /// How many objects each recording has, by its run, of those behind one row up to another. Both
    /// are what last_row() gave, or 0.
    virtual std::map<std::string, std::size_t> counts_between(std::int64_t row,
                                                              std::int64_t last_row) = 0;
    /// Of the objects first seen from `from` on, how many fall into each of so many equal parts of
    /// the time up to `to`, which is later.
    virtual std::vector<std::size_t> density(const ACE_Time_Value& from, const ACE_Time_Value& to,
                                             std::size_t buckets) = 0;

    /// Whether each object has its traits, of a classifier with this process' presets.
    virtual bool is_indexed() = 0;

    /// Told how many objects of how many have their traits; says whether to go on.
    using Progress = std::function<bool(std::size_t done, std::size_t total)>;

    /// Gives each object its traits where it has none yet.
    ///
    /// returns  whether all are done
    virtual bool index(const Progress& progress) = 0;

    /// The parts of the store that have not answered the last visit() or other question, a phrase
    /// each, like "shard 2 (10.0.0.2:8123): timed out": what they hold is missing in the answers.
    /// None of a file.
    [[nodiscard]] virtual std::vector<std::string> unanswered() const { return {}; }

    /// Whether what was opened is still what the store's name leads to: not when a file was removed or
    /// another one has taken its place.
    [[nodiscard]] virtual bool is_current() const noexcept { return true; }

    /// Waits until all that was added is stored for others to see, or until it is clear that this is
    /// to come later. How many additions are kept for later.
    virtual std::size_t flush() { return 0; }
};

/// Whether a store's name is the address of a cluster, "clickhouse://...", and no file's.
[[nodiscard]] bool is_cluster(const std::string& store);

/// Opens a file, or a cluster by its address. Failure as Store() and Cluster_Store() tell, and for an
/// address where the program was built without clusters.
///
/// folder  where additions to a cluster are kept until they are stored
[[nodiscard]] std::unique_ptr<Object_Store>
open_store(const std::string& store, Object_Store::Access access, const std::string& folder = ".");

} // namespace video_search
