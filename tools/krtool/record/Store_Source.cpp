#include "Store_Source.h"

#include "../host/Program.h"

#include <sqlite3.h>

#include <filesystem>

namespace krtool {

namespace {

constexpr int application_id = 0x4B525653; // "KRVS"
constexpr int newest_version = 2; // which keeps more beside the objects, and these as before

class Store_Source : public Record_Source {
public:
    Store_Source(const std::string& path, std::string name) : name_(std::move(name))
    {
        // An absolute name means a file to SQLite, whatever it looks like.
        const std::string file = std::filesystem::absolute(path).u8string();
        sqlite3* database = nullptr;
        const int result = sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
        database_.reset(database);
        check(result);
        sqlite3_busy_timeout(database, busy_milliseconds);
        if (number("PRAGMA application_id") != application_id)
            throw Failure(name_ + " is no store of the video search but another SQLite database");
        if (number("PRAGMA user_version") > newest_version)
            throw Failure(name_ + " was written by a later version of the video search");
        rows_ = prepare("SELECT run, sensor1, sensor2, object_id, first_seen_us, record "
                        "FROM object ORDER BY first_seen_us, sensor1, sensor2, object_id");
    }

    bool next(Record_Item& item) override
    {
        item = Record_Item();
        const int result = sqlite3_step(rows_.get());
        if (result == SQLITE_DONE)
            return false;
        if (result != SQLITE_ROW)
            fail();
        read_key();
        item.number = number_++;
        item.key = &key_;
        const void* const blob = sqlite3_column_blob(rows_.get(), 5);
        const int size = sqlite3_column_bytes(rows_.get(), 5);
        item.bytes = {static_cast<const unsigned char*>(blob),
                      blob != nullptr ? static_cast<std::size_t>(size) : 0};
        judge(item);
        return true;
    }
    Form form() const noexcept override { return Form::store; }
    const std::string& name() const noexcept override { return name_; }

private:
    struct Close {
        void operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
        void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Close>;
    static constexpr int busy_milliseconds = 5000;

    [[noreturn]] void fail() const
    {
        throw Failure("cannot read the store " + name_ + ": " + sqlite3_errmsg(database_.get()));
    }
    void check(int result) const
    {
        if (result != SQLITE_OK)
            fail();
    }
    [[nodiscard]] Statement prepare(const char* sql) const
    {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr));
        return Statement(statement);
    }
    [[nodiscard]] std::int64_t number(const char* sql) const
    {
        const Statement statement = prepare(sql);
        if (sqlite3_step(statement.get()) != SQLITE_ROW)
            fail();
        return sqlite3_column_int64(statement.get(), 0);
    }

    void read_key()
    {
        const unsigned char* const run = sqlite3_column_text(rows_.get(), 0);
        key_.run = run != nullptr ? reinterpret_cast<const char*>(run) : "";
        key_.sensor1 = sqlite3_column_int64(rows_.get(), 1);
        key_.sensor2 = sqlite3_column_int64(rows_.get(), 2);
        key_.object_id = sqlite3_column_int64(rows_.get(), 3);
        key_.first_seen_us = sqlite3_column_int64(rows_.get(), 4);
    }

    [[nodiscard]] bool has_key(const KR_Object_View& record) const
    {
        return record.sensor_id().word1 == key_.sensor1 &&
               record.sensor_id().word2 == key_.sensor2 &&
               record.object_id() == static_cast<std::uint64_t>(key_.object_id);
    }

    void judge(Record_Item& item) const
    {
        const KR_Object_View record(item.bytes.data, item.bytes.size);
        item.status = record.check();
        switch (item.status.state) {
        case KR_Record_State::cut_in_fixed_block: item.damage = Damage::cut_in_fixed_block; break;
        case KR_Record_State::bad_color_count: item.damage = Damage::bad_color_count; break;
        case KR_Record_State::cut_in_instances: item.damage = Damage::cut_in_instances; break;
        case KR_Record_State::cut_in_auxiliary_data:
            item.damage = Damage::cut_in_auxiliary_data;
            break;
        case KR_Record_State::no_instances:
        case KR_Record_State::trailing_bytes:
        case KR_Record_State::whole:
            if (item.status.consumed < item.bytes.size)
                item.damage = Damage::trailing_bytes;
            else if (!has_key(record))
                item.damage = Damage::wrong_key;
            break;
        }
        item.damage_size = item.damage != Damage::none ? item.bytes.size : 0;
    }

    std::string name_;
    std::unique_ptr<sqlite3, Close> database_;
    Statement rows_;
    std::uint64_t number_ = 0;
    Store_Key key_;
};

} // namespace

std::unique_ptr<Record_Source> open_store(const std::string& path, const std::string& name)
{
    return std::make_unique<Store_Source>(path, name);
}

} // namespace krtool
