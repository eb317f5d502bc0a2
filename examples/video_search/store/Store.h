#pragma once

/// \file
/// The store: one SQLite file of recordings and of the objects that were found in them. A record is
/// a blob in the library's binary form; sensor, object id and first-seen time stand beside it.
///
/// Every change is one transaction: it is in the file whole, or not at all.
///
/// The file is a SQLite database of the application id 0x4B525653 ("KRVS") and the user version 1,
/// with a rollback journal beside it while it is being written. Times are microseconds since 1970 in
/// 64 bits; what lies beyond, some 292,000 years away, counts as the first or last second of these.
///
/// Threads: a store belongs to one thread at a time. Several processes may read a file while one
/// writes it; one that has to wait longer than 5 seconds for another gives up.
/// Failure: each operation throws Failure (Host.h) with a sentence that names the file and says what
/// is wrong; the file is then as it was before the operation.

#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Objects.h>

#include <ace/Time_Value.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SQLite {
class Database;
}

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

/// A record that is looked at where it lies, for as long as a Visitor runs.
struct Found_Record {
    std::string_view run; ///< of the recording
    std::uint64_t object_id = 0;
    KR_Object_View record;
};

/// Looks at a record, and says whether it wants to see the next one.
using Visitor = std::function<bool(const Found_Record&)>;

/// The record of an object, its instance list limited to so many bytes (KR_ObjectBase::serialize).
/// An instance may have up to 127 colours.
[[nodiscard]] Bytes encode(const KR_ObjectBase& object, unsigned budget);

/// The object of a record. Nothing for bytes that are no whole record of an object with at least
/// one instance, from the first byte to the last. Values are not looked at.
[[nodiscard]] std::optional<KR_ObjectBase> decode(const Bytes& record);

class Store {
public:
    enum class Access {
        read,  ///< the file must exist; adding fails
        write, ///< the file is made when it is missing, in a folder that exists; it may be empty
    };

    /// Opens a store. Failure for a file that is no store of this program (another SQLite database
    /// or no database at all), for one of a later version, for one that is cut short, and where the
    /// file cannot be opened or, with Access::write, not be written. A file of others is left alone.
    ///
    /// path  as to_path() (Host.h) takes it
    Store(const std::string& path, Access access);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// A number above those of all objects of the sensor in the store; 1 for the first. Failure when
    /// the last one, 2^63-1, is taken.
    std::uint64_t next_object_id(const ns__SensorId& sensor);

    /// Adds a recording, or replaces the one of the same run.
    void put(const Recording& recording);
    /// A second picture of the same run and time is a Failure.
    void add(const std::string& run, const Picture& picture);
    /// object gives the sensor, the id and the first-seen time; record is its encoded form. A second
    /// object of the same sensor and id is a Failure, and so is an id above 2^63-1.
    void add(const std::string& run, const KR_ObjectBase& object, const Bytes& record);

    /// In the order of their start, then of their run.
    std::vector<Recording> recordings();
    /// In time order.
    std::vector<Picture> pictures(const std::string& run);
    /// Shows the records first seen from `from` to `to`, both inclusive, in the order of that time,
    /// then of sensor and id. Nothing is copied. Other processes cannot write until it has returned.
    /// What the visitor throws passes through.
    void visit(const ACE_Time_Value& from, const ACE_Time_Value& to, const Visitor& visitor);
    /// Copies of the same records.
    std::vector<Stored_Record> select(const ACE_Time_Value& from, const ACE_Time_Value& to);

private:
    const std::string path_;
    std::unique_ptr<SQLite::Database> database_;
};

} // namespace video_search
