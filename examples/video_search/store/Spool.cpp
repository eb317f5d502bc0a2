#include "Spool.h"

#include "Store_File.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <random>

namespace video_search {

namespace {

using Clock = std::chrono::system_clock; // ages outlive the process

constexpr int application_id = 0x4B525350; // "KRSP"
constexpr int version = 1;                 // of the file and of what its rows hold

// shard: modulo the number of shards, the one that a row goes to; of a batch the one that it was sent
// to, whatever their number is now.
constexpr const char* schema = R"(
CREATE TABLE IF NOT EXISTS target (store TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS batch (
    number INTEGER PRIMARY KEY, kind INTEGER NOT NULL, shard INTEGER NOT NULL, day INTEGER NOT NULL,
    was_sent INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS waiting (
    number INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL, shard INTEGER NOT NULL,
    day INTEGER NOT NULL, since INTEGER NOT NULL, size INTEGER NOT NULL, batch INTEGER,
    row BLOB NOT NULL);
CREATE INDEX IF NOT EXISTS waiting_batch ON waiting (batch, kind, shard, day, since, size);
)";

std::int64_t now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch())
        .count();
}

std::int64_t new_number()
{
    std::random_device random;
    const std::uint64_t high = random();
    return static_cast<std::int64_t>((high << 32U | random()) >> 1U | 1U);
}

std::string failure_of(SQLite::Database& database)
{
    const int application = database.execAndGet("PRAGMA application_id").getInt();
    const int tables = database.execAndGet("SELECT count(*) FROM sqlite_master").getInt();
    if (application != application_id && tables > 0)
        return " is no spool but another SQLite database";
    if (application == application_id &&
        database.execAndGet("PRAGMA user_version").getInt() > version)
        return " was written by a later version of this program";
    return "";
}

std::size_t number_of(SQLite::Database& database, const char* sql)
{
    return static_cast<std::size_t>(database.execAndGet(sql).getInt64());
}

} // namespace

Spool::Spool(std::string path, const std::string& store, std::size_t shards,
             std::size_t most_waiting, std::chrono::milliseconds longest)
    : path_(std::move(path)), shards_(shards), most_waiting_(most_waiting), longest_(longest)
{
    try {
        guarded(path_, [&] { open(store); });
    } catch (const Failure& failure) {
        throw Failure(std::string(failure.what()) +
                      " (what is on its way into the store; another file is given as spool=FILE)");
    }
}

Spool::~Spool() = default;

// A transaction that writes takes the file for good.
void Spool::open(const std::string& store)
{
    database_ = std::make_unique<SQLite::Database>(sqlite_name(path_),
                                                   SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 0);
    database_->exec("PRAGMA locking_mode = EXCLUSIVE");
    if (const std::string failure = failure_of(*database_); !failure.empty())
        throw Failure(path_ + failure);
    database_->exec("PRAGMA journal_mode = WAL");
    database_->exec("PRAGMA synchronous = FULL");
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    database_->exec(schema);
    database_->exec("PRAGMA application_id = " + std::to_string(application_id));
    database_->exec("PRAGMA user_version = " + std::to_string(version));
    SQLite::Statement target(*database_, "SELECT store FROM target");
    if (target.executeStep()) {
        const std::string other = target.getColumn(0).getString();
        if (other != store && number_of(*database_, "SELECT count(*) FROM waiting") > 0)
            throw Failure(path_ + " has rows for " + other);
    }
    target.reset();
    database_->exec("DELETE FROM target");
    SQLite::Statement own(*database_, "INSERT INTO target VALUES (?)");
    own.bind(1, store);
    own.exec();
    transaction.commit();
    waiting_rows_ = number_of(*database_, "SELECT count(*) FROM waiting");
    waiting_bytes_ = number_of(*database_, "SELECT coalesce(sum(size), 0) FROM waiting");
    tally_all();
}

void Spool::tally_all()
{
    SQLite::Statement groups(*database_, "SELECT DISTINCT kind, shard, day FROM waiting "
                                         "WHERE batch IS NULL");
    while (groups.executeStep())
        tally({static_cast<Row_Kind>(groups.getColumn(0).getInt()), groups.getColumn(1).getInt64(),
               groups.getColumn(2).getInt64()});
}

void Spool::tally(const Group& group)
{
    const auto& [kind, shard, day] = group;
    SQLite::Statement rows(*database_,
                           "SELECT count(*), coalesce(sum(size), 0), coalesce(min(since), 0) FROM "
                           "waiting WHERE batch IS NULL AND kind = ? AND shard = ? AND day = ?");
    rows.bind(1, static_cast<int>(kind));
    rows.bind(2, shard);
    rows.bind(3, day);
    rows.executeStep();
    const auto count = static_cast<std::size_t>(rows.getColumn(0).getInt64());
    if (count == 0)
        groups_.erase(group);
    else
        groups_[group] = {count, static_cast<std::size_t>(rows.getColumn(1).getInt64()),
                          rows.getColumn(2).getInt64()};
}

void Spool::make_room(std::unique_lock<std::mutex>& lock, std::size_t size)
{
    constexpr std::chrono::seconds patience(8);
    const auto has_room = [&] {
        return waiting_rows_ == 0 || waiting_bytes_ + size <= most_waiting_;
    };
    if (!has_changed_.wait_for(lock, patience, has_room))
        throw Failure(path_ + " is full: " + std::to_string(waiting_rows_) +
                      " rows wait for the store");
}

void Spool::add(Row_Kind kind, std::uint64_t place, std::int64_t day, const std::string& row)
{
    std::unique_lock<std::mutex> lock(mutex_);
    make_room(lock, row.size());
    const auto shard = static_cast<std::int64_t>(place % shards_);
    const std::int64_t since = now();
    guarded(path_, [&] {
        SQLite::Statement insertion(*database_,
                                    "INSERT INTO waiting (kind, shard, day, since, size, "
                                    "row) VALUES (?, ?, ?, ?, ?, ?)");
        insertion.bind(1, static_cast<int>(kind));
        insertion.bind(2, shard);
        insertion.bind(3, day);
        insertion.bind(4, since);
        insertion.bind(5, static_cast<std::int64_t>(row.size()));
        insertion.bindNoCopy(6, row.data(), static_cast<int>(row.size()));
        insertion.exec();
    });
    Tally& group = groups_[{kind, shard, day}];
    if (group.rows++ == 0)
        group.since = since;
    group.bytes += row.size();
    waiting_bytes_ += row.size();
    ++waiting_rows_;
    has_changed_.notify_all();
}

void Spool::read_rows(Batch& batch)
{
    SQLite::Statement rows(*database_, "SELECT row FROM waiting WHERE batch = ? ORDER BY number");
    rows.bind(1, static_cast<std::int64_t>(batch.number));
    while (rows.executeStep())
        batch.rows.push_back(rows.getColumn(0).getString());
}

// One that a shard has not answered for, perhaps in an earlier life.
std::optional<Batch> Spool::begun(const std::vector<bool>& is_wanted)
{
    SQLite::Statement batches(
        *database_, "SELECT number, kind, shard, day, was_sent FROM batch ORDER BY rowid");
    while (batches.executeStep()) {
        const auto shard = static_cast<std::size_t>(batches.getColumn(2).getInt64()) % shards_;
        if (!is_wanted[shard])
            continue;
        Batch batch;
        batch.number = static_cast<std::uint64_t>(batches.getColumn(0).getInt64());
        batch.kind = static_cast<Row_Kind>(batches.getColumn(1).getInt());
        batch.shard = shard;
        batch.day = batches.getColumn(3).getInt64();
        batch.was_sent = batches.getColumn(4).getInt() != 0;
        return batch;
    }
    return std::nullopt;
}

// Of the groups that a batch can be made of, the one whose first row has waited for longest.
std::optional<Spool::Group> Spool::due(const std::vector<bool>& is_wanted, bool is_urgent) const
{
    std::optional<Group> first;
    std::int64_t first_since = 0;
    for (const auto& [group, tally] : groups_) {
        const std::int64_t age = now() - tally.since;
        const bool is_full = tally.rows >= most_rows || tally.bytes >= most_bytes;
        const bool is_due =
            is_urgent || is_full || age >= longest_.count() || age < 0; // clocks are set, too
        const auto shard = static_cast<std::size_t>(std::get<1>(group)) % shards_;
        if (!is_wanted[shard] || !is_due || (first && tally.since >= first_since))
            continue;
        first = group;
        first_since = tally.since;
    }
    return first;
}

// Numbers are given to the rows of a batch, so that those that come later are not of it.
Batch Spool::begin(const Group& group)
{
    const auto& [kind, shard, day] = group;
    Batch batch;
    batch.number = static_cast<std::uint64_t>(new_number());
    batch.kind = kind;
    batch.shard = static_cast<std::size_t>(shard) % shards_;
    batch.day = day;
    SQLite::Statement rows(*database_,
                           "UPDATE waiting SET batch = ? WHERE number IN (SELECT number FROM "
                           "(SELECT number, sum(size) OVER (ORDER BY number) - size "
                           "AS before FROM waiting WHERE batch IS NULL AND kind = ? AND shard = "
                           "? AND day = ? ORDER BY number LIMIT ?) WHERE before < ?)");
    rows.bind(1, static_cast<std::int64_t>(batch.number));
    rows.bind(2, static_cast<int>(kind));
    rows.bind(3, shard);
    rows.bind(4, day);
    rows.bind(5, static_cast<std::int64_t>(most_rows));
    rows.bind(6, static_cast<std::int64_t>(most_bytes));
    rows.exec();
    SQLite::Statement insertion(*database_, "INSERT INTO batch VALUES (?, ?, ?, ?, 0)");
    insertion.bind(1, static_cast<std::int64_t>(batch.number));
    insertion.bind(2, static_cast<int>(kind));
    insertion.bind(3, static_cast<std::int64_t>(batch.shard));
    insertion.bind(4, day);
    insertion.exec();
    return batch;
}

std::optional<Batch> Spool::take(const std::vector<bool>& is_wanted, bool is_urgent)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (waiting_rows_ == 0)
        return std::nullopt;
    return guarded(path_, [&] {
        std::optional<Batch> batch = begun(is_wanted);
        const std::optional<Group> group =
            batch ? std::optional<Group>() : due(is_wanted, is_urgent);
        if (!batch && !group)
            return batch;
        SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
        if (group)
            batch = begin(*group);
        read_rows(*batch);
        SQLite::Statement mark(*database_, "UPDATE batch SET was_sent = 1 WHERE number = ?");
        mark.bind(1, static_cast<std::int64_t>(batch->number));
        mark.exec();
        transaction.commit();
        if (group)
            tally(*group);
        return batch;
    });
}

void Spool::remove(const Batch& batch)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    guarded(path_, [&] {
        SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
        for (const char* const sql :
             {"DELETE FROM waiting WHERE batch = ?", "DELETE FROM batch WHERE number = ?"}) {
            SQLite::Statement removal(*database_, sql);
            removal.bind(1, static_cast<std::int64_t>(batch.number));
            removal.exec();
        }
        transaction.commit();
    });
    for (const std::string& row : batch.rows)
        waiting_bytes_ -= row.size();
    waiting_rows_ -= batch.rows.size();
    has_changed_.notify_all();
}

void Spool::put_back(const Batch& batch)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    guarded(path_, [&] {
        SQLite::Statement mark(*database_, "UPDATE batch SET was_sent = 0 WHERE number = ?");
        mark.bind(1, static_cast<std::int64_t>(batch.number));
        mark.exec();
    });
}

void Spool::wait(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t before = waiting_rows_;
    has_changed_.wait_for(lock, limit, [&] { return is_woken_ || waiting_rows_ > before; });
    is_woken_ = false;
}

void Spool::wait_until_empty(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex_);
    has_changed_.wait_for(lock, limit, [&] { return waiting_rows_ == 0; });
}

void Spool::wake() noexcept
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        is_woken_ = true;
    }
    has_changed_.notify_all();
}

std::size_t Spool::count()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return waiting_rows_;
}

} // namespace video_search
