#include "Store.h"

#include "Store_File.h"
#include "Store_Query.h"
#include "Traits.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <thread>
#include <utility>
#include <variant>

namespace video_search {

// Records

Bytes encode(const KR_ObjectBase& object, unsigned budget)
{
    constexpr unsigned least = 4; // that serialize() keeps to: it writes the count in any case
    const unsigned limit = std::max(budget, least);
    Bytes record(object.serialize_size(limit));
    record.resize(object.serialize(record.data(), limit));
    return record;
}

std::optional<KR_ObjectBase> decode(const Bytes& record)
{
    KR_ObjectBase object;
    if (object.decode(record.data(), record.size()).state != KR_Record_State::whole)
        return std::nullopt;
    return object;
}

namespace {

bool is_constraint(const SQLite::Exception& error)
{
    return (error.getErrorCode() & 0xFF) == SQLITE_CONSTRAINT;
}

// Executes a statement that may meet its like in the store.
void insert(SQLite::Statement& statement, const std::string& failure)
{
    try {
        statement.exec();
    } catch (const SQLite::Exception& error) {
        if (is_constraint(error))
            throw Failure(failure);
        throw;
    }
}

} // namespace

Store::Store(const std::string& path, Access access)
    : path_(path), database_(guarded(path, [&] {
          return access == Access::write ? make_or_open(path) : open_for_reading(path);
      }))
{
}

Store::~Store() = default;

bool Store::is_current() const noexcept
{
    int has_moved = 0; // stays so where the system cannot tell
    sqlite3_file_control(database_->getHandle(), "main", SQLITE_FCNTL_HAS_MOVED, &has_moved);
    return has_moved == 0;
}

// Values

namespace {

constexpr std::int64_t second = 1'000'000; // microseconds

ACE_Time_Value to_time(std::int64_t microseconds)
{
    return ACE_Time_Value(static_cast<time_t>(microseconds / second),
                          static_cast<suseconds_t>(microseconds % second));
}

void bind_bytes(SQLite::Statement& statement, int index, const Bytes& bytes)
{
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw SQLite::Exception(sqlite3_errstr(SQLITE_TOOBIG), SQLITE_TOOBIG);
    statement.bindNoCopy(index, bytes.data(), static_cast<int>(bytes.size()));
}

Bytes get_bytes(const SQLite::Column& column)
{
    const auto* const first = static_cast<const unsigned char*>(column.getBlob());
    const int size = column.getBytes();
    return first != nullptr ? Bytes(first, first + size) : Bytes();
}

Recording get_recording(const SQLite::Statement& row)
{
    Recording recording;
    recording.run = row.getColumn(0).getString();
    recording.video = row.getColumn(1).getString();
    recording.sensor.word1 = row.getColumn(2).getInt();
    recording.sensor.word2 = row.getColumn(3).getInt();
    recording.start = to_time(row.getColumn(4).getInt64());
    recording.end = to_time(row.getColumn(5).getInt64());
    recording.width = row.getColumn(6).getInt();
    recording.height = row.getColumn(7).getInt();
    recording.frames = row.getColumn(8).getInt();
    recording.state = row.getColumn(9).getString();
    recording.background = get_bytes(row.getColumn(10));
    return recording;
}

std::string object_text(const KR_ObjectBase& object)
{
    return "object " + std::to_string(object.ObjectId) + " of sensor " +
           std::to_string(object.SensorId.word1) + ", " + std::to_string(object.SensorId.word2);
}

constexpr auto last_object_id =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

// Longer than kr_serve lets a search go on: whoever has analysed for hours does not give up for that.
void be_patient(SQLite::Database& database)
{
    constexpr int milliseconds = 30'000;
    database.setBusyTimeout(milliseconds);
}

} // namespace

// Operations

std::uint64_t Store::next_object_id(const ns__SensorId& sensor)
{
    const std::int64_t highest = guarded(path_, [&] {
        SQLite::Statement statement(*database_, "SELECT COALESCE(MAX(object_id), 0) FROM object "
                                                "WHERE sensor1 = ? AND sensor2 = ?");
        statement.bind(1, sensor.word1);
        statement.bind(2, sensor.word2);
        statement.executeStep();
        return statement.getColumn(0).getInt64();
    });
    if (static_cast<std::uint64_t>(highest) == last_object_id)
        throw Failure(path_ + ": no object id is left");
    return static_cast<std::uint64_t>(highest) + 1;
}

void Store::put(const Recording& recording)
{
    guarded(path_, [&] {
        be_patient(*database_);
        SQLite::Statement statement(
            *database_, "INSERT OR REPLACE INTO recording (run, video, sensor1, sensor2, start_us, "
                        "end_us, width, height, frames, state, background) "
                        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
        statement.bind(1, recording.run);
        statement.bind(2, recording.video);
        statement.bind(3, recording.sensor.word1);
        statement.bind(4, recording.sensor.word2);
        statement.bind(5, to_microseconds(recording.start));
        statement.bind(6, to_microseconds(recording.end));
        statement.bind(7, recording.width);
        statement.bind(8, recording.height);
        statement.bind(9, recording.frames);
        statement.bind(10, recording.state);
        bind_bytes(statement, 11, recording.background);
        statement.exec();
    });
}

void Store::add(const std::string& run, const Picture& picture)
{
    guarded(path_, [&] {
        be_patient(*database_);
        SQLite::Statement statement(*database_,
                                    "INSERT INTO picture (run, time_us, jpeg) VALUES (?, ?, ?)");
        statement.bind(1, run);
        statement.bind(2, to_microseconds(picture.time));
        bind_bytes(statement, 3, picture.jpeg);
        insert(statement, path_ + ": the picture is there already");
    });
}

namespace {

struct Trait_State {
    bool is_there = false; ///< whether the version has traits
    bool is_whole = false; ///< whether each object has its traits
    std::int64_t fingerprint = 0;
};

Trait_State trait_state(SQLite::Database& database)
{
    Trait_State state;
    if (version_of(database) < version_with_traits)
        return state;
    SQLite::Statement row(database, "SELECT fingerprint, is_whole FROM trait_state");
    state.is_there = row.executeStep();
    if (state.is_there) {
        state.fingerprint = row.getColumn(0).getInt64();
        state.is_whole = row.getColumn(1).getInt() != 0;
    }
    return state;
}

constexpr int share_count = static_cast<int>(Traits::preset_count);

std::string traits_insertion()
{
    std::string columns = "first_seen_us, sensor1, sensor2, object_id, duration, person, vehicle, "
                          "object, min_x, min_y, max_x, max_y";
    std::string values = "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?";
    for (const char* const color : trait_colors) {
        columns += std::string(", ") + color;
        values += ", ?";
    }
    return "INSERT INTO trait (" + columns + ") VALUES (" + values + ")";
}

struct Object_Key {
    std::int64_t first_seen = 0; ///< microseconds
    int sensor1 = 0;
    int sensor2 = 0;
    std::int64_t object_id = 0;
};

// What is not bound is NULL.
void bind_traits(SQLite::Statement& statement, const Object_Key& key, const Traits& traits)
{
    statement.bind(1, key.first_seen);
    statement.bind(2, key.sensor1);
    statement.bind(3, key.sensor2);
    statement.bind(4, key.object_id);
    if (traits.duration)
        statement.bind(5, std::int64_t{*traits.duration});
    for (int k = 0; k < 3; ++k) // a NaN becomes NULL
        statement.bind(6 + k, double{traits.scores[static_cast<std::size_t>(k)]});
    if (traits.place) {
        statement.bind(9, traits.place->min_x);
        statement.bind(10, traits.place->min_y);
        statement.bind(11, traits.place->max_x);
        statement.bind(12, traits.place->max_y);
    }
    for (int k = 0; k < share_count; ++k)
        if (const int share = traits.shares[static_cast<std::size_t>(k)]; share > 0)
            statement.bind(13 + k, share);
}

// For a store whose shares are of another classifier, such that every search finds them.
Traits traits_for(SQLite::Database& database, const Bytes& record)
{
    const KR_Object_View view(record.data(), record.size());
    const Traits traits = traits_of(view, *KR_Colors::instance());
    const bool is_ours = trait_state(database).fingerprint == own_fingerprint();
    return is_ours ? traits : with_any_color(traits);
}

} // namespace

void Store::add(const std::string& run, const KR_ObjectBase& object, const Bytes& record)
{
    if (object.ObjectId > last_object_id)
        throw Failure(path_ + ": " + object_text(object) + " has too high an id");
    const std::string is_there = path_ + ": " + object_text(object) + " is there already";
    const Object_Key key{to_microseconds(object.FirstSeenTime), object.SensorId.word1,
                         object.SensorId.word2, static_cast<std::int64_t>(object.ObjectId)};
    guarded(path_, [&] {
        be_patient(*database_);
        SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement traits(*database_, traits_insertion());
        bind_traits(traits, key, traits_for(*database_, record));
        insert(traits, is_there);
        SQLite::Statement statement(*database_, "INSERT INTO object (sensor1, sensor2, object_id, "
                                                "run, first_seen_us, record) "
                                                "VALUES (?, ?, ?, ?, ?, ?)");
        statement.bind(1, key.sensor1);
        statement.bind(2, key.sensor2);
        statement.bind(3, key.object_id);
        statement.bind(4, run);
        statement.bind(5, key.first_seen);
        bind_bytes(statement, 6, record);
        insert(statement, is_there);
        transaction.commit();
    });
}

std::vector<Recording> Store::recordings()
{
    return guarded(path_, [&] {
        std::vector<Recording> result;
        SQLite::Statement statement(
            *database_, "SELECT run, video, sensor1, sensor2, start_us, end_us, width, height, "
                        "frames, state, background FROM recording ORDER BY start_us, run");
        while (statement.executeStep())
            result.push_back(get_recording(statement));
        return result;
    });
}

std::vector<Picture> Store::pictures(const std::string& run)
{
    return guarded(path_, [&] {
        std::vector<Picture> result;
        SQLite::Statement statement(
            *database_, "SELECT time_us, jpeg FROM picture WHERE run = ? ORDER BY time_us");
        statement.bind(1, run);
        while (statement.executeStep())
            result.push_back(
                {to_time(statement.getColumn(0).getInt64()), get_bytes(statement.getColumn(1))});
        return result;
    });
}

namespace {

// Both are good until the next step.
KR_Object_View get_record(const SQLite::Column& column)
{
    const auto* const bytes = static_cast<const unsigned char*>(column.getBlob());
    return {bytes, static_cast<std::size_t>(column.getBytes())};
}

std::string_view get_text(const SQLite::Column& column)
{
    const char* const text = column.getText();
    return {text, static_cast<std::size_t>(column.getBytes())};
}

} // namespace

namespace {

void bind(SQLite::Statement& statement, const Sql_Query& query)
{
    int index = 0;
    for (const auto& value : query.values)
        std::visit([&](auto number) { statement.bind(++index, number); }, value);
}

// Shows the records of objects.
class Presenter {
public:
    Presenter(SQLite::Database& database, bool is_in_order, const Visitor& visitor)
        : object_(database, "SELECT run, record FROM object "
                            "WHERE sensor1 = ? AND sensor2 = ? AND object_id = ?"),
          is_in_order_(is_in_order), visitor_(visitor)
    {
    }

    // Of the object whose sensor1, sensor2 and object_id the row begins with. Whether the visitor
    // wants to see the next one.
    bool show(const SQLite::Statement& row)
    {
        const std::int64_t object_id = row.getColumn(2).getInt64();
        object_.reset();
        object_.bind(1, row.getColumn(0).getInt());
        object_.bind(2, row.getColumn(1).getInt());
        object_.bind(3, object_id);
        return !object_.executeStep() ||
               visitor_({get_text(object_.getColumn(0)), static_cast<std::uint64_t>(object_id),
                         get_record(object_.getColumn(1)), is_in_order_});
    }

private:
    SQLite::Statement object_;
    const bool is_in_order_;
    const Visitor& visitor_;
};

// Those that the query names.
void show(SQLite::Database& database, const Sql_Query& query, Presenter& presenter)
{
    SQLite::Statement objects(database, query.text);
    bind(objects, query);
    while (objects.executeStep() && presenter.show(objects)) {
    }
}

// Shows the longest objects first: goes from one duration to the next shorter one, and to the objects
// of each that were first seen in the time. What that costs grows with what is shown, but also with
// what is passed over; when that is much the walk ends, since to sort the few that may pass is cheaper.
class Duration_Walk {
public:
    Duration_Walk(SQLite::Database& database, const Filter& filter, const Sql_Query& objects,
                  Presenter& presenter)
        : range_(durations_of(filter)), presenter_(presenter),
          next_(database, "SELECT duration FROM trait INDEXED BY trait_duration "
                          "WHERE duration >= ? AND duration < ? ORDER BY duration DESC LIMIT 1"),
          objects_(database, objects.text),
          duration_parameter_(static_cast<int>(objects.values.size()) + 1)
    {
        bind(objects_, objects);
    }

    // Where it ended, if there is more to be shown.
    std::optional<Duration_Place> run()
    {
        for (auto each = next_below(range_.below); each; each = next_below(*each))
            if (!show(*each))
                return end_;
        show_unknown();
        return std::nullopt;
    }

private:
    std::optional<std::int64_t> next_below(std::int64_t duration)
    {
        next_.reset();
        next_.bind(1, range_.least);
        next_.bind(2, duration);
        return next_.executeStep() ? std::optional(next_.getColumn(0).getInt64()) : std::nullopt;
    }

    bool may_pass() const { return objects_.getColumn(4).getInt() != 0; }

    // Whether to go on.
    bool show(std::int64_t duration)
    {
        objects_.reset();
        objects_.bind(duration_parameter_, duration);
        while (objects_.executeStep()) {
            if (may_pass() && !presenter_.show(objects_))
                return false;
            if (!may_pass() &&
                has_passed_over({duration, objects_.getColumn(3).getInt64(),
                                 objects_.getColumn(0).getInt64(), objects_.getColumn(1).getInt64(),
                                 objects_.getColumn(2).getInt64()}))
                return false;
        }
        // A duration that no object of the time has costs as much as an object.
        return !has_passed_over({duration, std::numeric_limits<std::int64_t>::max(), 0, 0, 0});
    }

    // Whether that was enough.
    bool has_passed_over(const Duration_Place& place)
    {
        constexpr int most = 5000;
        if (++passed_over_ < most)
            return false;
        end_ = place;
        return true;
    }

    // Comes last, as in a sorted query.
    void show_unknown()
    {
        objects_.reset();
        objects_.bind(duration_parameter_); // NULL
        while (objects_.executeStep())
            if (may_pass() && !presenter_.show(objects_))
                return;
    }

    const Duration_Range range_;
    Presenter& presenter_;
    SQLite::Statement next_;
    SQLite::Statement objects_; // of a duration
    const int duration_parameter_;
    int passed_over_ = 0;
    std::optional<Duration_Place> end_;
};

void show_longest(SQLite::Database& database, const Filter& filter, bool has_shares,
                  Presenter& presenter)
{
    Duration_Walk walk(database, filter, query_of_a_duration(filter, has_shares), presenter);
    if (const std::optional<Duration_Place> end = walk.run())
        show(database, query_of_shorter(filter, has_shares, *end), presenter);
}

} // namespace

// Within a transaction, so that the traits stay as they were found.
void Store::visit(const Filter& filter, const Visitor& visitor)
{
    guarded(path_, [&] {
        const SQLite::Transaction no_change_meanwhile(*database_);
        const Trait_State state = trait_state(*database_);
        const bool has_shares = state.fingerprint == own_fingerprint();
        const bool is_in_order =
            state.is_whole || filter.order == Order::time || filter.order == Order::latest;
        Presenter presenter(*database_, is_in_order, visitor);
        if (!state.is_whole)
            show(*database_, query_of_objects(filter), presenter);
        else if (filter.order == Order::duration && has_durations(*database_))
            show_longest(*database_, filter, has_shares, presenter);
        else
            show(*database_, query_of_traits(filter, has_shares), presenter);
    });
}

namespace {

std::int64_t count_of(SQLite::Database& database, const std::string& table, std::int64_t from,
                      std::int64_t to)
{
    SQLite::Statement statement(database, "SELECT count(*) FROM " + table +
                                              " WHERE first_seen_us BETWEEN ? AND ?");
    statement.bind(1, from);
    statement.bind(2, to);
    statement.executeStep();
    return statement.getColumn(0).getInt64();
}

// The hour from a moment on, and how many hours are to come; rounded down.
std::int64_t hour_of(std::int64_t microseconds)
{
    constexpr std::int64_t hour = 3600 * second;
    return (microseconds - (microseconds % hour + hour) % hour) / hour;
}

// Whole hours are counted already; the rows of the first and of the last are counted now.
std::int64_t count_by_hours(SQLite::Database& database, std::int64_t from, std::int64_t to)
{
    constexpr std::int64_t hour = 3600 * second;
    const std::int64_t first = hour_of(from) + 1; // of the whole hours
    const std::int64_t last = hour_of(to) - 1;
    if (first > last)
        return count_of(database, "trait", from, to);
    SQLite::Statement hours(
        database, "SELECT coalesce(sum(objects), 0) FROM tally WHERE hour BETWEEN ? AND ?");
    hours.bind(1, first);
    hours.bind(2, last);
    hours.executeStep();
    return hours.getColumn(0).getInt64() + count_of(database, "trait", from, first * hour - 1) +
           count_of(database, "trait", (last + 1) * hour, to);
}

} // namespace

std::size_t Store::count(const ACE_Time_Value& from, const ACE_Time_Value& to)
{
    return guarded(path_, [&] {
        const SQLite::Transaction no_change_meanwhile(*database_);
        const bool is_whole = trait_state(*database_).is_whole;
        const std::int64_t first = to_microseconds(from);
        const std::int64_t last = to_microseconds(to);
        const std::int64_t count = is_whole ? count_by_hours(*database_, first, last)
                                            : count_of(*database_, "object", first, last);
        return static_cast<std::size_t>(count);
    });
}

namespace {

Bytes copy_of(const KR_Object_View& record)
{
    const KR_Byte_Span bytes = record.bytes();
    return {bytes.begin(), bytes.end()};
}

} // namespace

std::vector<Stored_Record> Object_Store::select(const ACE_Time_Value& from,
                                                const ACE_Time_Value& to)
{
    Filter filter;
    filter.from = from;
    filter.to = to;
    std::vector<Stored_Record> result;
    visit(filter, [&](const Found_Record& found) {
        result.push_back({std::string(found.run), found.object_id, copy_of(found.record)});
        return true;
    });
    return result;
}

std::optional<Stored_Record> Store::find(const ns__SensorId& sensor, std::uint64_t object_id)
{
    if (object_id > last_object_id)
        return std::nullopt;
    return guarded(path_, [&]() -> std::optional<Stored_Record> {
        SQLite::Statement object(*database_, "SELECT run, record FROM object WHERE sensor1 = ? "
                                             "AND sensor2 = ? AND object_id = ?");
        object.bind(1, sensor.word1);
        object.bind(2, sensor.word2);
        object.bind(3, static_cast<std::int64_t>(object_id));
        if (!object.executeStep())
            return std::nullopt;
        return Stored_Record{std::string(get_text(object.getColumn(0))), object_id,
                             get_bytes(object.getColumn(1))};
    });
}

std::int64_t Store::last_row()
{
    return guarded(path_, [&] {
        return database_->execAndGet("SELECT coalesce(max(rowid), 0) FROM object").getInt64();
    });
}

std::vector<Stored_Row> Store::rows_after(std::int64_t row, std::size_t most)
{
    return guarded(path_, [&] {
        SQLite::Statement objects(*database_, "SELECT rowid, run, object_id, record FROM object "
                                              "WHERE rowid > ? ORDER BY rowid LIMIT ?");
        objects.bind(1, row);
        objects.bind(2, static_cast<std::int64_t>(most));
        std::vector<Stored_Row> rows;
        while (objects.executeStep())
            rows.push_back({objects.getColumn(0).getInt64(),
                            {std::string(get_text(objects.getColumn(1))),
                             static_cast<std::uint64_t>(objects.getColumn(2).getInt64()),
                             get_bytes(objects.getColumn(3))}});
        return rows;
    });
}

std::map<std::string, std::size_t> Store::counts_between(std::int64_t row, std::int64_t last_row)
{
    return guarded(path_, [&] {
        SQLite::Statement runs(
            *database_,
            "SELECT run, count(*) FROM object WHERE rowid > ? AND rowid <= ? GROUP BY run");
        runs.bind(1, row);
        runs.bind(2, last_row);
        std::map<std::string, std::size_t> counts;
        while (runs.executeStep())
            counts[std::string(get_text(runs.getColumn(0)))] =
                static_cast<std::size_t>(runs.getColumn(1).getInt64());
        return counts;
    });
}

std::size_t bucket_of(std::int64_t time, std::int64_t from, std::int64_t to,
                      std::size_t buckets) noexcept
{
    const auto count = static_cast<double>(buckets);
    const double part = static_cast<double>(time - from) / static_cast<double>(to - from) * count;
    return static_cast<std::size_t>(std::clamp(part, 0.0, count - 1));
}

std::vector<std::size_t> Store::density(const ACE_Time_Value& from, const ACE_Time_Value& to,
                                        std::size_t buckets)
{
    const std::int64_t first = to_microseconds(from);
    const std::int64_t last = to_microseconds(to);
    std::vector<std::size_t> counts(buckets);
    guarded(path_, [&] {
        const SQLite::Transaction no_change_meanwhile(*database_);
        const char* const table = trait_state(*database_).is_whole ? "trait" : "object";
        SQLite::Statement times(*database_, std::string("SELECT first_seen_us FROM ") + table +
                                                " WHERE first_seen_us BETWEEN ? AND ?");
        times.bind(1, first);
        times.bind(2, last);
        while (times.executeStep())
            ++counts[bucket_of(times.getColumn(0).getInt64(), first, last, buckets)];
    });
    return counts;
}

// Traits of all objects

bool Store::is_indexed()
{
    return guarded(path_, [&] {
        const SQLite::Transaction no_change_meanwhile(*database_);
        const Trait_State state = trait_state(*database_);
        return state.is_whole && state.fingerprint == own_fingerprint() &&
               has_durations(*database_);
    });
}

namespace {

std::size_t number_of(SQLite::Database& database, const char* sql)
{
    return static_cast<std::size_t>(database.execAndGet(sql).getInt64());
}

// Gives traits to objects behind a row that have none, to so many. The last row that it has seen,
// or 0 when there is none behind it.
std::int64_t add_traits(SQLite::Database& database, std::int64_t row, int most)
{
    SQLite::Statement objects(
        database, "SELECT rowid, first_seen_us, sensor1, sensor2, object_id, record FROM object "
                  "WHERE rowid > ? AND NOT EXISTS (SELECT 1 FROM trait WHERE "
                  "trait.first_seen_us = object.first_seen_us AND trait.sensor1 = object.sensor1 "
                  "AND trait.sensor2 = object.sensor2 AND trait.object_id = object.object_id) "
                  "ORDER BY rowid LIMIT ?");
    objects.bind(1, row);
    objects.bind(2, most);
    SQLite::Statement insertion(database, traits_insertion());
    std::int64_t last = 0;
    while (objects.executeStep()) {
        last = objects.getColumn(0).getInt64();
        const Object_Key key{objects.getColumn(1).getInt64(), objects.getColumn(2).getInt(),
                             objects.getColumn(3).getInt(), objects.getColumn(4).getInt64()};
        insertion.reset();
        insertion.clearBindings();
        bind_traits(insertion, key,
                    traits_of(get_record(objects.getColumn(5)), *KR_Colors::instance()));
        insertion.exec();
    }
    return last;
}

} // namespace

// One transaction. last_row is where the next one goes on, 0 after the last object: an object may
// have come, or lost its traits, before it, so that the end is a search from 0 that finds none.
bool Store::index_some(std::int64_t& last_row)
{
    constexpr int most = 2000; // objects
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    const Trait_State state = trait_state(*database_);
    const bool is_of_today = state.fingerprint == own_fingerprint() && has_durations(*database_);
    if (is_of_today && state.is_whole)
        return true;
    if (!is_of_today) {
        remake_traits(*database_);
        last_row = 0;
    }
    const bool is_from_the_begin = last_row == 0;
    last_row = add_traits(*database_, last_row, most);
    const bool is_done = is_from_the_begin && last_row == 0;
    if (is_done)
        database_->exec("UPDATE trait_state SET is_whole = 1");
    transaction.commit();
    return is_done;
}

bool Store::index(const Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    return guarded(path_, [&] {
        if (is_indexed())
            return true;
        const std::size_t total = number_of(*database_, "SELECT count(*) FROM object");
        std::int64_t last_row = 0;
        Clock::time_point begin = Clock::now();
        while (!index_some(last_row)) {
            if (!progress(number_of(*database_, "SELECT coalesce(sum(objects), 0) FROM tally"),
                          total))
                return false;
            // Others who want to write look now and then whether they may, and give up at last.
            std::this_thread::sleep_for((Clock::now() - begin) / 4);
            begin = Clock::now();
        }
        return true;
    });
}

} // namespace video_search
