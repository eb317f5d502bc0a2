#include "Store_File.h"

#include "Traits.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace video_search {

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

// Some relative names mean something else to SQLite.
std::string sqlite_name(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(to_path(path), error);
    if (error)
        throw Failure(path + ": " + error.message());
    return absolute.u8string();
}

namespace {

constexpr int application_id = 0x4B525653; // "KRVS"
constexpr int version = 2;
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

// What is asked for lies beside the records, a row for each object in time order. Triggers keep it
// true whoever writes: a program of an earlier version that still has the file open, or SQL by hand.
constexpr const char* traits_schema = R"(
    CREATE TABLE trait (
        first_seen_us INTEGER NOT NULL,
        sensor1 INTEGER NOT NULL,
        sensor2 INTEGER NOT NULL,
        object_id INTEGER NOT NULL,
        duration INTEGER,
        person REAL, vehicle REAL, object REAL,
        min_x INTEGER, min_y INTEGER, max_x INTEGER, max_y INTEGER,
        white INTEGER, black INTEGER, gray INTEGER, light_blue INTEGER, dark_blue INTEGER,
        brown INTEGER, light_green INTEGER, dark_green INTEGER, yellow INTEGER, orange INTEGER,
        red INTEGER, pink INTEGER, purple INTEGER,
        PRIMARY KEY (first_seen_us, sensor1, sensor2, object_id)) WITHOUT ROWID;
    CREATE INDEX trait_sensor ON trait (sensor1, sensor2, first_seen_us, object_id);
    CREATE INDEX trait_duration ON trait (duration DESC, first_seen_us, sensor1, sensor2, object_id);
    CREATE TABLE trait_state (fingerprint INTEGER NOT NULL, is_whole INTEGER NOT NULL);
    CREATE TABLE tally (hour INTEGER PRIMARY KEY, objects INTEGER NOT NULL);

    CREATE TRIGGER trait_added AFTER INSERT ON trait BEGIN
        INSERT INTO tally (hour, objects) VALUES ((NEW.first_seen_us -
            (NEW.first_seen_us % 3600000000 + 3600000000) % 3600000000) / 3600000000, 1)
            ON CONFLICT (hour) DO UPDATE SET objects = objects + 1;
    END;
    CREATE TRIGGER trait_removed AFTER DELETE ON trait BEGIN
        UPDATE tally SET objects = objects - 1 WHERE hour = (OLD.first_seen_us -
            (OLD.first_seen_us % 3600000000 + 3600000000) % 3600000000) / 3600000000;
    END;
    CREATE TRIGGER object_added AFTER INSERT ON object
        WHEN NOT EXISTS (SELECT 1 FROM trait WHERE first_seen_us = NEW.first_seen_us
            AND sensor1 = NEW.sensor1 AND sensor2 = NEW.sensor2 AND object_id = NEW.object_id)
    BEGIN
        UPDATE trait_state SET is_whole = 0;
    END;
    CREATE TRIGGER object_changed AFTER UPDATE ON object BEGIN
        DELETE FROM trait WHERE first_seen_us = OLD.first_seen_us AND sensor1 = OLD.sensor1
            AND sensor2 = OLD.sensor2 AND object_id = OLD.object_id;
        UPDATE trait_state SET is_whole = 0;
    END;
    CREATE TRIGGER object_removed AFTER DELETE ON object BEGIN
        DELETE FROM trait WHERE first_seen_us = OLD.first_seen_us AND sensor1 = OLD.sensor1
            AND sensor2 = OLD.sensor2 AND object_id = OLD.object_id;
    END;)";

// An index for each colour, of the objects that have more of it than the edges of anything have.
std::string color_indexes()
{
    std::string sql;
    for (const char* const color : trait_colors)
        sql += std::string("CREATE INDEX trait_") + color +
               " ON trait (first_seen_us, sensor1, sensor2, object_id, " + color + ") WHERE " +
               color + " >= " + std::to_string(least_indexed_share) + ";";
    return sql;
}

constexpr const char* traits_removal = R"(
    DROP TRIGGER object_added;
    DROP TRIGGER object_changed;
    DROP TRIGGER object_removed;
    DROP TABLE trait;
    DROP TABLE trait_state;
    DROP TABLE tally;)";

void make_traits(SQLite::Database& database)
{
    database.exec(traits_schema);
    database.exec(color_indexes());
    SQLite::Statement state(
        database, "INSERT INTO trait_state VALUES (?, NOT EXISTS (SELECT 1 FROM object))");
    state.bind(1, own_fingerprint());
    state.exec();
}

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
    if (header.user_version() < 1)
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
    make_traits(database);
    database.exec("PRAGMA application_id = " + std::to_string(application_id));
    database.exec("PRAGMA user_version = " + std::to_string(version));
    transaction.commit();
}

// Of two processes that do it at once the second finds nothing to do.
void upgrade_schema(SQLite::Database& database)
{
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (version_of(database) >= version_with_traits)
        return;
    make_traits(database);
    database.exec("PRAGMA user_version = " + std::to_string(version));
    transaction.commit();
}

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

Database_Ptr open_for_writing(const std::string& path)
{
    Database_Ptr database = open_database(path, SQLite::OPEN_CREATE);
    if (sqlite3_db_readonly(database->getHandle(), "main") != 0)
        throw Failure(path + " cannot be written: the file is read-only");
    if (Header(path, *database).is_empty())
        make_schema(path, *database);
    check_store(path, *database);
    if (version_of(*database) < version_with_traits)
        upgrade_schema(*database);
    return database;
}

void remove_empty_file(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path file = to_path(path);
    if (std::filesystem::file_size(file, error) == 0 && !error)
        std::filesystem::remove(file, error);
}

} // namespace

Database_Ptr open_for_reading(const std::string& path)
{
    if (!is_file(path))
        throw Failure(path + ": no such file");
    Database_Ptr database = open_database(path, 0);
    check_store(path, *database);
    database->exec("PRAGMA query_only = 1");
    return database;
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

int version_of(SQLite::Database& database)
{
    return static_cast<int>(pragma(database, "user_version"));
}

bool has_durations(SQLite::Database& database)
{
    return database
               .execAndGet("SELECT count(*) FROM sqlite_master WHERE type = 'index' AND "
                           "name = 'trait_duration'")
               .getInt() > 0;
}

std::int64_t own_fingerprint()
{
    static const std::int64_t fingerprint = fingerprint_of(*KR_Colors::instance());
    return fingerprint;
}

void remake_traits(SQLite::Database& database)
{
    database.exec(traits_removal);
    make_traits(database);
}

} // namespace video_search
