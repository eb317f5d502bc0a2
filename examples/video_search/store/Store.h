#pragma once

/// \file
/// The store: one SQLite file of recordings and of the objects that were found in them. A record is
/// a blob in the library's binary form; sensor, object id and first-seen time stand beside it, and
/// its traits (Traits.h), from which searches are answered.
///
/// Every change is one transaction: it is in the file whole, or not at all.
///
/// The file is a SQLite database of the application id 0x4B525653 ("KRVS") and the user version 2,
/// with a rollback journal beside it while it is being written. Times are microseconds since 1970 in
/// 64 bits; what lies beyond, some 292,000 years away, counts as the first or last second of these.
///
/// Versions: version 1 had no traits. Such a file is read as it is, record by record. Opening it for
/// writing makes it one of version 2, which programs of version 1 refuse; index() gives the objects
/// in it their traits. Until that is done searches give the same answers, only slower. The index of
/// durations came later; older programs of version 2 keep it true without knowing of it, and a store
/// without it gets it by index(), with its traits made anew.
///
/// Threads: a store belongs to one thread at a time. Several processes may read a file while one
/// writes it; one that has to wait longer than 5 seconds for another gives up.
/// Failure: each operation throws Failure (Host.h) with a sentence that names the file and says what
/// is wrong; the file is then as it was before the operation.

#include "Object_Store.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace SQLite {
class Database;
}

namespace video_search {

class Store final : public Object_Store {
public:
    /// Opens a store. Failure for a file that is no store of this program (another SQLite database
    /// or no database at all), for one of a later version, for one that is cut short, and where the
    /// file cannot be opened or, with Access::write, not be written. A file of others is left alone.
    /// With Access::write the file is made when it is missing, in a folder that exists; it may be empty.
    ///
    /// path  as to_path() (Host.h) takes it
    Store(const std::string& path, Access access);
    ~Store() override;

    /// A number above those of all objects of the sensor in the store; 1 for the first. Failure when
    /// the last one, 2^63-1, is taken.
    std::uint64_t next_object_id(const ns__SensorId& sensor) override;

    /// Adds a recording, or replaces the one of the same run.
    void put(const Recording& recording) override;
    /// A second picture of the same run and time is a Failure.
    void add(const std::string& run, const Picture& picture) override;
    /// object gives the sensor, the id and the first-seen time; record is its encoded form. A second
    /// object of the same sensor and id is a Failure, and so is an id above 2^63-1.
    void add(const std::string& run, const KR_ObjectBase& object, const Bytes& record) override;

    /// In the order of their start, then of their run.
    std::vector<Recording> recordings() override;
    /// In time order.
    std::vector<Picture> pictures(const std::string& run) override;
    /// From the traits, when each object has them, else in time order from all records of the time,
    /// the sensors and the hours. Colours are left to the record where the traits are of a classifier
    /// with other presets. By duration the longest are sought first: that grows with what is shown and
    /// passed over, until some thousand have been passed over and the rest is sorted. Nothing is copied. Other processes cannot write until it has returned.
    void visit(const Filter& filter, const Visitor& visitor) override;
    std::size_t count(const ACE_Time_Value& from, const ACE_Time_Value& to) override;

    /// The record of one object, if there is one.
    std::optional<Stored_Record> find(const ns__SensorId& sensor, std::uint64_t object_id) override;
    /// The number of the last row of objects: 0 for none. Later objects have higher numbers.
    std::int64_t last_row() override;
    /// The first so many of the objects that were stored behind a row, in the order of storing.
    std::vector<Stored_Row> rows_after(std::int64_t row, std::size_t most) override;
    /// How many objects each recording has, by its run, of those behind one row up to another.
    std::map<std::string, std::size_t> counts_between(std::int64_t row,
                                                      std::int64_t last_row) override;
    /// Of the objects first seen from `from` on, how many fall into each of so many equal parts of
    /// the time up to `to`, which is later. Costs a walk over the index of these objects.
    std::vector<std::size_t> density(const ACE_Time_Value& from, const ACE_Time_Value& to,
                                     std::size_t buckets) override;

    /// Whether each object has its traits, of a classifier with this process' presets, and the traits
    /// have all their indexes.
    bool is_indexed() override;

    /// Gives each object its traits where it has none yet, some at a time and each time in a
    /// transaction: what was done stays done when this ends early, by a Failure, by `progress` or by
    /// the end of the process. Other processes may read, write and do the same meanwhile. Traits of
    /// a classifier with other presets, and those without an index of durations, are made anew.
    ///
    /// returns  whether all are done
    bool index(const Progress& progress) override;

    /// On Windows always: a file that is open cannot be removed there.
    [[nodiscard]] bool is_current() const noexcept override;

private:
    bool index_some(std::int64_t& last_row);

    const std::string path_;
    std::unique_ptr<SQLite::Database> database_;
};

} // namespace video_search
