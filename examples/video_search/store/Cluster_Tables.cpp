#include "Cluster_Tables.h"

#include "Row_Binary.h"
#include "Store_File.h"
#include "Store_Query.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/objects/Object_View.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>

namespace video_search {

namespace {

constexpr const char* day_in_sql = "toUInt32(intDiv(greatest(first_seen_us, 0), 86400000000))";

// That of place_of().
constexpr const char* place_in_sql = "toUInt64(toUInt32(sensor1)) * 7919 + toUInt32(sensor2)";

// The columns of an object, without what the server adds. Names, and names with types.
std::string columns(bool has_types)
{
    const auto column = [&](const char* name, const char* type) {
        return std::string(name) + (has_types ? ' ' + std::string(type) : "") + ", ";
    };
    std::string text =
        column("sensor1", "Int32") + column("sensor2", "Int32") + column("object_id", "UInt64") +
        column("first_seen_us", "Int64") + column("run", "String") + column("detector", "Int32") +
        column("person", "Float32") + column("vehicle", "Float32") + column("object", "Float32") +
        column("duration", "Int64") + column("min_x", "Int32") + column("min_y", "Int32") +
        column("max_x", "Int32") + column("max_y", "Int32") + column("presets", "Int64");
    for (const char* const color : trait_colors)
        text += column(color, "UInt8");
    return text + (has_types ? "record String" : "record");
}

// Everything of an object but its bytes.
std::string sample_columns(bool has_types)
{
    const std::string all = columns(has_types);
    return all.substr(0, all.rfind(", record"));
}

constexpr const char* object_order = "(first_seen_us, sensor1, sensor2, object_id)";

// What a sample has of the objects: always the same ones.
std::string sampled(int percent)
{
    return "cityHash64(sensor1, sensor2, object_id) % 100 < " + std::to_string(percent);
}

std::string sample_name(int percent)
{
    return "sample_" + std::to_string(percent) + "_local";
}

constexpr std::array sample_percents{1, 10};

std::string by_day(const std::string& order)
{
    return std::string(" PARTITION BY ") + day_in_sql + " ORDER BY " + order;
}

// A view that goes on into a table of its own.
std::string view(const std::string& name, const std::string& to, const std::string& query)
{
    return "CREATE MATERIALIZED VIEW IF NOT EXISTS " + name + " TO " + to + " AS " + query;
}

std::string sample_table(const std::string& in, int percent)
{
    return "CREATE TABLE IF NOT EXISTS " + in + sample_name(percent) + " (" + sample_columns(true) +
           ") ENGINE = ReplacingMergeTree" + by_day(object_order);
}

std::string sample_view(const std::string& in, int percent)
{
    const std::string name = sample_name(percent);
    return view(in + "to_" + name, in + name,
                "SELECT " + sample_columns(false) + " FROM " + in + "object_local WHERE " +
                    sampled(percent));
}

// For people with SQL.
std::string distributed_table(const std::string& database, const std::string& cluster,
                              const std::string& name)
{
    const std::string in = database + '.';
    return "CREATE TABLE IF NOT EXISTS " + in + name + " AS " + in + name +
           "_local ENGINE = Distributed(" + cluster + ", " + database + ", " + name + "_local, " +
           place_in_sql + ")";
}

} // namespace

std::vector<std::string> version_statements(const std::string& database)
{
    return {"CREATE DATABASE IF NOT EXISTS " + database,
            "CREATE TABLE IF NOT EXISTS " + database +
                ".version_local (version UInt32) ENGINE = ReplacingMergeTree ORDER BY version"};
}

std::string query_of_version(const std::string& database)
{
    return "SELECT max(version) FROM " + database + ".version_local FORMAT RowBinary";
}

std::vector<std::string> table_statements(const std::string& database, const std::string& cluster)
{
    const std::string in = database + '.';
    const std::string create = "CREATE TABLE IF NOT EXISTS " + in;
    const std::string key = "sensor1, sensor2, object_id, first_seen_us";
    std::vector<std::string> all{
        create + "object_local (" + columns(true) +
            ", batch UInt64, stored_s UInt32 DEFAULT toUInt32(now())) ENGINE = ReplacingMergeTree" +
            by_day(object_order) + " SETTINGS index_granularity = 1024",
        create +
            "key_local (sensor1 Int32, sensor2 Int32, object_id UInt64, first_seen_us Int64) "
            "ENGINE = ReplacingMergeTree" +
            by_day("(sensor1, sensor2, object_id)") + " SETTINGS index_granularity = 1024",
        view(in + "to_key", in + "key_local", "SELECT " + key + " FROM " + in + "object_local"),
        create +
            "recording_local (run String, video String, sensor1 Int32, sensor2 Int32, start_us "
            "Int64, end_us Int64, width Int32, height Int32, frames Int32, state String, "
            "background String, version UInt64) ENGINE = ReplacingMergeTree(version) ORDER BY "
            "run",
        create +
            "picture_local (run String, first_seen_us Int64, jpeg String) "
            "ENGINE = ReplacingMergeTree" +
            by_day("(run, first_seen_us)"),
        create + "claim_local (sensor1 Int32, sensor2 Int32, first UInt64, last UInt64, owner "
                 "UInt64, version UInt64) ENGINE = ReplacingMergeTree(version) ORDER BY (sensor1, "
                 "sensor2, first, owner)"};
    for (const int percent : sample_percents) {
        all.push_back(sample_table(in, percent));
        all.push_back(sample_view(in, percent));
    }
    if (!cluster.empty())
        for (const char* const name : {"object", "sample_1", "sample_10"})
            all.push_back(distributed_table(database, cluster, name));
    all.push_back("INSERT INTO " + in + "version_local VALUES (" + std::to_string(cluster_version) +
                  ")");
    return all;
}

std::string insertion_of(Row_Kind kind, const std::string& database)
{
    const std::string into = "INSERT INTO " + database + '.';
    switch (kind) {
    case Row_Kind::recording: return into + "recording_local FORMAT RowBinary";
    case Row_Kind::picture: return into + "picture_local FORMAT RowBinary";
    case Row_Kind::object: break;
    }
    return into + "object_local (batch, " + columns(false) + ") FORMAT RowBinary";
}

namespace {

std::string of_batch(std::uint64_t batch, std::int64_t day)
{
    const Time_Range range = times_of_days(day, day);
    return "batch = " + std::to_string(batch) + " AND first_seen_us BETWEEN " +
           std::to_string(range.first) + " AND " + std::to_string(range.last);
}

std::string sample_repair(const std::string& in, const std::string& from, int percent)
{
    return "INSERT INTO " + in + sample_name(percent) + " SELECT " + sample_columns(false) + from +
           " AND " + sampled(percent);
}

} // namespace

std::vector<std::string> repairs_of(const std::string& database, std::uint64_t batch,
                                    std::int64_t day)
{
    const std::string in = database + '.';
    const std::string from = " FROM " + in + "object_local WHERE " + of_batch(batch, day);
    std::vector<std::string> all{
        "INSERT INTO " + in + "key_local SELECT sensor1, sensor2, object_id, first_seen_us" + from};
    for (const int percent : sample_percents)
        all.push_back(sample_repair(in, from, percent));
    return all;
}

std::string search_of_batch(const std::string& database, std::uint64_t batch, std::int64_t day)
{
    return "SELECT count() FROM " + database + ".object_local WHERE " + of_batch(batch, day) +
           " FORMAT RowBinary";
}

std::string old_partitions(const std::string& database, std::int64_t first_day)
{
    return "SELECT DISTINCT table, partition FROM system.parts WHERE active AND database = '" +
           database + "' AND table IN ('object_local', 'key_local', 'picture_local', '" +
           sample_name(1) + "', '" + sample_name(10) + "') AND toInt64OrZero(partition) < " +
           std::to_string(first_day) + " FORMAT RowBinary";
}

std::int64_t first_day_kept(unsigned days)
{
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    const auto today = std::chrono::duration_cast<std::chrono::hours>(since).count() / 24;
    return std::max<std::int64_t>(today - days, 0);
}

std::int64_t first_day_kept(unsigned days, std::int64_t other_day)
{
    return std::max<std::int64_t>(std::min(first_day_kept(days), other_day - days), 0);
}

std::string query_of_day()
{
    return "SELECT intDiv(toInt64(now()), 86400) FORMAT RowBinary";
}

std::string query_of_strange_claims(const std::string& database, std::size_t shard,
                                    std::size_t shards)
{
    return "SELECT count() FROM " + database + ".claim_local WHERE (" + place_in_sql + ") % " +
           std::to_string(shards) + " != " + std::to_string(shard) + " FORMAT RowBinary";
}

std::int64_t day_of(std::int64_t microseconds) noexcept
{
    return std::max<std::int64_t>(microseconds, 0) / day_length;
}

// The first day has all that is before it, and the last one does not end.
Time_Range times_of_days(std::int64_t first, std::int64_t last) noexcept
{
    using Limits = std::numeric_limits<std::int64_t>;
    return {first <= 0 ? -Limits::max() : first * day_length, // the lowest is no number in SQL
            last >= Limits::max() / day_length ? Limits::max() : (last + 1) * day_length - 1};
}

// Rows

namespace {

std::string_view text_of(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void write(Row_Writer& row, const Traits& traits)
{
    for (const float score : traits.scores)
        row.number(score);
    row.number(traits.duration ? std::int64_t{*traits.duration} : no_duration);
    constexpr std::int64_t high = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t low = std::numeric_limits<std::int32_t>::min();
    const Place nowhere{high, high, low, low};
    const Place place = traits.place.value_or(nowhere);
    for (const std::int64_t edge : {place.min_x, place.min_y, place.max_x, place.max_y})
        row.number(static_cast<std::int32_t>(edge));
    row.number(own_fingerprint());
    for (const int share : traits.shares)
        row.number(static_cast<std::uint8_t>(std::clamp(share, 0, most_share)));
}

} // namespace

std::string row_of(const std::string& run, const KR_ObjectBase& object, const Bytes& record,
                   std::int64_t first_seen)
{
    const KR_Object_View view(record.data(), record.size());
    const bool is_whole = view.check().state == KR_Record_State::whole;
    Row_Writer row;
    row.number(std::int32_t{object.SensorId.word1});
    row.number(std::int32_t{object.SensorId.word2});
    row.number(std::uint64_t{object.ObjectId});
    row.number(first_seen);
    row.text(run);
    row.number(is_whole ? static_cast<std::int32_t>(view.detector_type()) : any_detector);
    write(row, traits_of(view, *KR_Colors::instance()));
    row.text(text_of(record));
    return row.bytes();
}

std::string row_of(const Recording& recording, std::uint64_t version)
{
    Row_Writer row;
    row.text(recording.run);
    row.text(recording.video);
    row.number(std::int32_t{recording.sensor.word1});
    row.number(std::int32_t{recording.sensor.word2});
    row.number(to_microseconds(recording.start));
    row.number(to_microseconds(recording.end));
    row.number(std::int32_t{recording.width});
    row.number(std::int32_t{recording.height});
    row.number(std::int32_t{recording.frames});
    row.text(recording.state);
    row.text(text_of(recording.background));
    row.number(version);
    return row.bytes();
}

std::string row_of(const std::string& run, const Picture& picture)
{
    Row_Writer row;
    row.text(run);
    row.number(to_microseconds(picture.time));
    row.text(text_of(picture.jpeg));
    return row.bytes();
}

} // namespace video_search
