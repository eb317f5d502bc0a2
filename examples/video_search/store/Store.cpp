#include "Store.h"

#include "../host/Host.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

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

// Failures

namespace {

std::string describe(const SQLite::Exception& error)
{
    const std::string text = error.what();
    switch (error.getErrorCode() & 0xFF) { // the higher bits go into detail
    case SQLITE_FULL: return ": the disk is full";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return " is damaged: " + text;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return " is in use by another program";
    case SQLITE_READONLY:
    case SQLITE_PERM: return " cannot be written: " + text;
    case SQLITE_CANTOPEN: return " cannot be opened: " + text;
    default: return ": " + text;
    }
}

// Calls the function, and makes a Failure of what SQLite throws.
template <class Function>
auto guarded(const std::string& path, Function function)
{
    try {
        return function();
    } catch (const SQLite::Exception& error) {
        throw Failure(path + describe(error));
    }
}

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

// Opening

namespace {

constexpr int application_id = 0x4B525653; // "KRVS"
constexpr int version = 1;
constexpr int busy_milliseconds = 5000;

constexpr const char* schema = R"(
    CREATE TABLE recording (
        run TEXT PRIMARY KEY NOT NULL,
        video TEXT NOT NULL,
        sensor1 INTEGER NOT NULL,
        sensor2 INTEGER NOT NULL,
        start_us INTEGER NOT NULL,
        end_us INTEGER NOT NULL,
        width INTEGER NOT NULL,
        height INTEGER NOT NULL,
        frames INTEGER NOT NULL,
        state TEXT NOT NULL,
        background BLOB);
    CREATE TABLE picture (
        run TEXT NOT NULL,
        time_us INTEGER NOT NULL,
        jpeg BLOB,
        PRIMARY KEY (run, time_us));
    CREATE TABLE object (
        sensor1 INTEGER NOT NULL,
        sensor2 INTEGER NOT NULL,
        object_id INTEGER NOT NULL,
        run TEXT NOT NULL,
        first_seen_us INTEGER NOT NULL,
        record BLOB,
        PRIMARY KEY (sensor1, sensor2, object_id));
    CREATE INDEX object_first_seen ON object (first_seen_us);)";

std::string quoted(const std::filesystem::path& path)
{
    return '\'' + path.string() + '\'';
}

// Whether there is a file. Failure where none can be.
bool is_file(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path file = to_path(path);
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    switch (status.type()) {
    case std::filesystem::file_type::regular: return true;
    case std::filesystem::file_type::not_found: return false;
    case std::filesystem::file_type::none: throw Failure(path + ": " + error.message());
    case std::filesystem::file_type::directory: throw Failure(path + " is a folder");
    default: throw Failure(path + " is no regular file");
    }
}

void check_folder(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path folder = to_path(path).parent_path();
    if (!folder.empty() && !std::filesystem::is_directory(folder, error))
        throw Failure(path + ": there is no folder " + quoted(folder));
}

// SQLite takes absolute names in UTF-8 as they are; some relative ones mean something else to it.
std::string sqlite_name(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(to_path(path), error);
    if (error)
        throw Failure(path + ": " + error.message());
    return absolute.u8string();
}

std::uintmax_t size_of(const std::string& path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(to_path(path), error);
    if (error)
        throw Failure(path + ": " + error.message());
    return size;
}

// What a file begins with. Read through SQLite, since closing a file of one's own would release the
// locks that this process has on it; but takes no lock itself, and so neither waits nor writes. The
// size is the system's: SQLite takes a file of one byte for an empty one.
class Header {
public:
    Header(const std::string& path, SQLite::Database& database);

    bool is_empty() const { return file_size_ == 0; }
    bool is_sqlite() const { return std::memcmp(bytes_.data(), magic, sizeof magic) == 0; }
    bool is_whole() const { return file_size_ >= bytes_.size(); }
    int user_version() const { return number(60); }
    int application() const { return number(68); }

private:
    static constexpr char magic[16] = "SQLite format 3";

    int number(std::size_t offset) const;

    std::uintmax_t file_size_;
    std::array<unsigned char, 100> bytes_{}; // zeros after the end of the file
};

Header::Header(const std::string& path, SQLite::Database& database) : file_size_(size_of(path))
{
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database.getHandle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (file == nullptr || file->pMethods == nullptr)
        throw Failure(path + " cannot be opened");
    const int result =
        file->pMethods->xRead(file, bytes_.data(), static_cast<int>(bytes_.size()), 0);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) // which has filled with zeros
        throw Failure(path + " cannot be read: " + sqlite3_errstr(result));
}

int Header::number(std::size_t offset) const
{
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < 4; ++i)
        result = result << 8 | bytes_[offset + i];
    return static_cast<int>(result);
}

// Failure for a file that is not a store.
void check_identity(const std::string& path, const Header& header)
{
    if (header.is_empty())
        throw Failure(path + " is no video search store but an empty file");
    if (!header.is_sqlite())
        throw Failure(path + " is no video search store");
    if (!header.is_whole())
        throw Failure(path + " is damaged: the file ends within its header");
    if (header.application() != application_id)
        throw Failure(path + " is no video search store but another SQLite database");
    if (header.user_version() > version)
        throw Failure(path + " was written by a later version of this program (store version " +
                      std::to_string(header.user_version()) + ")");
    if (header.user_version() != version)
        throw Failure(path + " is damaged: store version " + std::to_string(header.user_version()));
}

std::int64_t pragma(SQLite::Database& database, const char* name)
{
    return database.execAndGet(std::string("PRAGMA ") + name).getInt64();
}

// SQLite itself does not notice when a part of the last page is missing.
void check_size(const std::string& path, SQLite::Database& database)
{
    const SQLite::Transaction no_writer_meanwhile(database);
    database.execAndGet("SELECT count(*) FROM sqlite_master");
    const std::int64_t size = pragma(database, "page_count") * pragma(database, "page_size");
    if (size_of(path) < static_cast<std::uintmax_t>(size))
        throw Failure(path + " is damaged: the file is cut short");
}

bool is_store(SQLite::Database& database)
{
    return pragma(database, "application_id") == application_id;
}

bool has_tables(SQLite::Database& database)
{
    return database.execAndGet("SELECT count(*) FROM sqlite_master").getInt() > 0;
}

// Makes a store of an empty file, unless another process was faster.
void make_schema(const std::string& path, SQLite::Database& database)
{
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (is_store(database))
        return;
    if (has_tables(database))
        throw Failure(path + " is no video search store but another SQLite database");
    database.exec(schema);
    database.exec("PRAGMA application_id = " + std::to_string(application_id));
    database.exec("PRAGMA user_version = " + std::to_string(version));
    transaction.commit();
}

using Database_Ptr = std::unique_ptr<SQLite::Database>;

// Failure for all that cannot be used as a store.
void check_store(const std::string& path, SQLite::Database& database)
{
    check_identity(path, Header(path, database));
    check_size(path, database); // reads, which first takes back what a crashed writer has left
    check_identity(path, Header(path, database));
}

// For reading too it is opened for writing where the system allows: after a crash of the writer the
// next one to open the file, whoever it is, has to take the unfinished transaction back.
Database_Ptr open_database(const std::string& path, int flags)
{
    return std::make_unique<SQLite::Database>(sqlite_name(path), SQLite::OPEN_READWRITE | flags,
                                              busy_milliseconds);
}

Database_Ptr open_for_reading(const std::string& path)
{
    if (!is_file(path))
        throw Failure(path + ": no such file");
    Database_Ptr database = open_database(path, 0);
    check_store(path, *database);
    database->exec("PRAGMA query_only = 1");
    return database;
}

Database_Ptr open_for_writing(const std::string& path)
{
    Database_Ptr database = open_database(path, SQLite::OPEN_CREATE);
    if (sqlite3_db_readonly(database->getHandle(), "main") != 0)
        throw Failure(path + " cannot be written: the file is read-only");
    if (Header(path, *database).is_empty())
        make_schema(path, *database);
    check_store(path, *database);
    return database;
}

void remove_empty_file(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path file = to_path(path);
    if (std::filesystem::file_size(file, error) == 0 && !error)
        std::filesystem::remove(file, error);
}

// A file that was made for nothing does not stay.
Database_Ptr make_or_open(const std::string& path)
{
    const bool is_new = !is_file(path);
    if (is_new)
        check_folder(path);
    try {
        return open_for_writing(path);
    } catch (...) {
        if (is_new)
            remove_empty_file(path);
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

// Values

namespace {

constexpr std::int64_t second = 1'000'000;              // microseconds
constexpr std::int64_t last_second = 9'223'372'000'000; // leaves room for microseconds above one

std::int64_t to_microseconds(const ACE_Time_Value& time)
{
    const std::int64_t seconds = std::clamp<std::int64_t>(time.sec(), -last_second, last_second);
    return seconds * second + time.usec();
}

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
        SQLite::Statement statement(*database_,
                                    "INSERT INTO picture (run, time_us, jpeg) VALUES (?, ?, ?)");
        statement.bind(1, run);
        statement.bind(2, to_microseconds(picture.time));
        bind_bytes(statement, 3, picture.jpeg);
        insert(statement, path_ + ": the picture is there already");
    });
}

void Store::add(const std::string& run, const KR_ObjectBase& object, const Bytes& record)
{
    if (object.ObjectId > last_object_id)
        throw Failure(path_ + ": " + object_text(object) + " has too high an id");
    guarded(path_, [&] {
        SQLite::Statement statement(*database_, "INSERT INTO object (sensor1, sensor2, object_id, "
                                                "run, first_seen_us, record) "
                                                "VALUES (?, ?, ?, ?, ?, ?)");
        statement.bind(1, object.SensorId.word1);
        statement.bind(2, object.SensorId.word2);
        statement.bind(3, static_cast<std::int64_t>(object.ObjectId));
        statement.bind(4, run);
        statement.bind(5, to_microseconds(object.FirstSeenTime));
        bind_bytes(statement, 6, record);
        insert(statement, path_ + ": " + object_text(object) + " is there already");
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

void Store::visit(const ACE_Time_Value& from, const ACE_Time_Value& to, const Visitor& visitor)
{
    guarded(path_, [&] {
        SQLite::Statement statement(*database_,
                                    "SELECT run, object_id, record FROM object "
                                    "WHERE first_seen_us BETWEEN ? AND ? "
                                    "ORDER BY first_seen_us, sensor1, sensor2, object_id");
        statement.bind(1, to_microseconds(from));
        statement.bind(2, to_microseconds(to));
        bool goes_on = true;
        while (goes_on && statement.executeStep())
            goes_on = visitor({get_text(statement.getColumn(0)),
                               static_cast<std::uint64_t>(statement.getColumn(1).getInt64()),
                               get_record(statement.getColumn(2))});
    });
}

std::vector<Stored_Record> Store::select(const ACE_Time_Value& from, const ACE_Time_Value& to)
{
    std::vector<Stored_Record> result;
    visit(from, to, [&](const Found_Record& found) {
        const KR_Byte_Span bytes = found.record.bytes();
        result.push_back({std::string(found.run), found.object_id, {bytes.begin(), bytes.end()}});
        return true;
    });
    return result;
}

} // namespace video_search
