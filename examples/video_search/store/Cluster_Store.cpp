#include "Cluster_Store.h"

#include "../host/Host.h"
#include "Row_Binary.h"
#include "Store_Query.h"

#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>
#include <thread>
#include <tuple>

namespace video_search {

namespace {

constexpr std::int64_t second = 1'000'000;   // microseconds
constexpr std::uint64_t claim_size = 65'536; // ids
constexpr auto last_object_id =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

ACE_Time_Value to_time(std::int64_t microseconds)
{
    return ACE_Time_Value(static_cast<time_t>(microseconds / second),
                          static_cast<suseconds_t>(microseconds % second));
}

Bytes to_bytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::uint64_t random_number()
{
    std::random_device random;
    return std::uint64_t{random()} << 32U | random();
}

std::string of_sensor(const ns__SensorId& sensor)
{
    return "sensor1 = " + std::to_string(sensor.word1) +
           " AND sensor2 = " + std::to_string(sensor.word2);
}

std::string between(const Time_Range& range)
{
    return "first_seen_us BETWEEN " + std::to_string(range.first) + " AND " +
           std::to_string(range.last);
}

} // namespace

Cluster_Store::Cluster_Store(const Cluster_Address& address, Access access,
                             const std::string& folder)
    : cluster_(address), name_(address.text()), owner_(random_number())
{
    if (access == Access::write) {
        open_for_writing(folder);
    } else {
        check_version(true);
        check_shards();
    }
}

Cluster_Store::~Cluster_Store()
{
    if (!sender_)
        return;
    try {
        flush();
        release_claims();
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR store: %s\n", error.what());
    }
}

// Tables are made where a shard answers; elsewhere the sender makes them when it does.
void Cluster_Store::open_for_writing(const std::string& folder)
{
    const Cluster_Address& address = cluster_.address();
    for (const std::string& statement : version_statements(address.database))
        ask_all(statement);
    check_version(false);
    for (const std::string& statement : table_statements(address.database, address.cluster))
        ask_all(statement);
    check_shards();
    const std::string path =
        address.spool.empty() ? (to_path(folder) / "kr_store.spool").string() : address.spool;
    constexpr std::size_t megabyte = std::size_t{1} << 20U;
    spool_ = std::make_unique<Spool>(path, name_, cluster_.size(),
                                     address.spool_megabytes * megabyte, address.batch);
    sender_ = std::make_unique<Sender>(address, *spool_);
}

void Cluster_Store::check_version(bool must_be_there)
{
    for (const Cluster::Answer& answer : ask_all(query_of_version(cluster_.address().database))) {
        if (!answer.is_there())
            continue;
        const auto version = Row_Reader(answer.bytes).number<std::uint32_t>();
        if (version > cluster_version)
            throw Failure(name_ + " is of a later version, " + std::to_string(version) +
                          ", than this program knows");
        if (version == 0 && must_be_there)
            throw Failure("there is no store '" + name_ + "'");
    }
}

// With other shards, or in another order, ids would be given again and objects not be found.
void Cluster_Store::check_shards()
{
    std::vector<Cluster::Question> questions;
    for (std::size_t shard = 0; shard < cluster_.size(); ++shard)
        questions.push_back(
            {shard, query_of_strange_claims(cluster_.address().database, shard, cluster_.size()),
             "", ""});
    const std::vector<Cluster::Answer> answers = ask_some(questions);
    for (std::size_t shard = 0; shard < answers.size(); ++shard)
        if (answers[shard].is_there() &&
            Row_Reader(answers[shard].bytes).number<std::uint64_t>() > 0)
            throw Failure(name_ + ": " + cluster_.name_of(shard) +
                          " has sensors of another shard: the cluster '" +
                          cluster_.address().cluster +
                          "' has other shards, or in another order, than when they were stored");
}

Spool& Cluster_Store::spool()
{
    if (!spool_)
        throw Failure(name_ + " is open for reading");
    return *spool_;
}

std::string Cluster_Store::table(const char* name) const
{
    return cluster_.address().database + '.' + name;
}

std::int64_t Cluster_Store::first_kept() const
{
    const std::optional<unsigned> days = cluster_.address().keep_days;
    const std::int64_t first = days ? first_day_kept(*days) : 0;
    return times_of_days(first, first).first;
}

Time_Range Cluster_Store::kept(const ACE_Time_Value& from, const ACE_Time_Value& to) const
{
    return {std::max(to_microseconds(from), first_kept()), to_microseconds(to)};
}

// Asking

// Where no shard has an answer there is none; else it is known who had none.
std::vector<Cluster::Answer>
Cluster_Store::ask_some(const std::vector<Cluster::Question>& questions)
{
    std::vector<Cluster::Answer> answers = cluster_.ask(questions);
    for (std::size_t k = 0; k < answers.size(); ++k)
        if (!answers[k].is_there())
            unanswered_[questions[k].shard] = answers[k].failure;
    if (unanswered_.size() == cluster_.size())
        throw Failure(name_ + ": " + unanswered_.begin()->second);
    return answers;
}

std::vector<Cluster::Answer> Cluster_Store::ask_all(const std::string& sql)
{
    unanswered_.clear();
    std::vector<Cluster::Question> questions;
    for (std::size_t shard = 0; shard < cluster_.size(); ++shard)
        questions.push_back({shard, sql, "", ""});
    return ask_some(questions);
}

// What only this shard can tell.
std::string Cluster_Store::ask_one(std::size_t shard, const std::string& sql)
{
    Cluster::Answer answer = cluster_.ask({shard, sql, "", ""});
    if (!answer.is_there())
        throw Failure(name_ + ": " + answer.failure);
    return std::move(answer.bytes);
}

std::vector<std::string> Cluster_Store::unanswered() const
{
    std::vector<std::string> all;
    for (const auto& each : unanswered_)
        all.push_back(each.second);
    return all;
}

// Ids

void Cluster_Store::write_claim(const ns__SensorId& sensor, std::uint64_t first, std::uint64_t last)
{
    ask_one(cluster_.shard_of(place_of(sensor)),
            "INSERT INTO " + table("claim_local") + " VALUES (" + std::to_string(sensor.word1) +
                ", " + std::to_string(sensor.word2) + ", " + std::to_string(first) + ", " +
                std::to_string(last) + ", " + std::to_string(owner_) + ", " +
                std::to_string(++version_) + ")");
}

// Of two writers who claim the same the one who looks later sees the other: each has written before it
// looks, and the shard has one order of things.
bool Cluster_Store::is_alone(const ns__SensorId& sensor, std::uint64_t first, std::uint64_t last)
{
    const std::string others = ask_one(
        cluster_.shard_of(place_of(sensor)),
        "SELECT count() FROM " + table("claim_local") + " FINAL WHERE " + of_sensor(sensor) +
            " AND owner != " + std::to_string(owner_) + " AND first <= " + std::to_string(last) +
            " AND last >= " + std::to_string(first) + " FORMAT RowBinary");
    return Row_Reader(others).number<std::uint64_t>() == 0;
}

// A claim that met another is given back, up to before its first; the next try begins behind both.
Cluster_Store::Claim Cluster_Store::claim_ids(const ns__SensorId& sensor)
{
    constexpr int tries = 20;
    const std::size_t shard = cluster_.shard_of(place_of(sensor));
    for (int k = 0; k < tries; ++k) {
        const std::string highest =
            ask_one(shard, "SELECT max(last) FROM " + table("claim_local") + " FINAL WHERE " +
                               of_sensor(sensor) + " FORMAT RowBinary");
        const auto taken = Row_Reader(highest).number<std::uint64_t>();
        if (taken >= last_object_id)
            throw Failure(name_ + ": no object id is left");
        const std::uint64_t first = taken + 1;
        const std::uint64_t last = first + std::min(claim_size - 1, last_object_id - first);
        write_claim(sensor, first, last);
        if (is_alone(sensor, first, last))
            return {first, last, first};
        write_claim(sensor, first, first - 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(random_number() % 50));
    }
    throw Failure(name_ + ": too many writers want ids of the same sensor at once");
}

// Well before the ids at hand end. Where it fails there is time to try again.
void Cluster_Store::claim_spare(const ns__SensorId& sensor, Claim& spare)
{
    constexpr std::chrono::minutes pause(10);
    if (spare.has_any() || std::chrono::steady_clock::now() < next_spare_)
        return;
    try {
        spare = claim_ids(sensor);
    } catch (const Failure&) {
        next_spare_ = std::chrono::steady_clock::now() + pause;
    }
}

// Of ids that somebody else has chosen.
void Cluster_Store::claim_highest(const ns__SensorId& sensor)
{
    const auto highest = highest_.find({sensor.word1, sensor.word2});
    if (highest == highest_.end())
        return;
    write_claim(sensor, highest->second, highest->second);
    claims_[highest->first].next = claims_[highest->first].last + 1; // what is left is too low
    spares_.erase(highest->first);
    highest_.erase(highest);
}

void Cluster_Store::release_claims()
{
    const auto sensor_of = [](const Sensor_Key& key) {
        ns__SensorId sensor;
        sensor.word1 = key.first;
        sensor.word2 = key.second;
        return sensor;
    };
    while (!highest_.empty())
        claim_highest(sensor_of(highest_.begin()->first));
    for (const auto& [key, claim] : claims_)
        if (claim.first != 0)
            write_claim(sensor_of(key), claim.first, claim.next - 1);
    for (const auto& [key, spare] : spares_)
        if (spare.has_any())
            write_claim(sensor_of(key), spare.first, 0); // below what is left of the claim
}

std::uint64_t Cluster_Store::next_object_id(const ns__SensorId& sensor)
{
    spool();
    claim_highest(sensor);
    Claim& claim = claims_[{sensor.word1, sensor.word2}];
    Claim& spare = spares_[{sensor.word1, sensor.word2}];
    if (!claim.has_any())
        claim = spare.has_any() ? std::exchange(spare, Claim()) : claim_ids(sensor);
    if (claim.last - claim.next < claim_size / 2)
        claim_spare(sensor, spare);
    return claim.next;
}

// Writing

void Cluster_Store::put(const Recording& recording)
{
    next_object_id(recording.sensor); // while the servers are there; they may go away later
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    version_ = std::max(version_ + 1,
                        static_cast<std::uint64_t>(
                            std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
    spool().add(Row_Kind::recording, place_of(recording.run), 0, row_of(recording, version_));
}

void Cluster_Store::add(const std::string& run, const Picture& picture)
{
    spool().add(Row_Kind::picture, place_of(run), day_of(to_microseconds(picture.time)),
                row_of(run, picture));
}

void Cluster_Store::add(const std::string& run, const KR_ObjectBase& object, const Bytes& record)
{
    if (object.ObjectId > last_object_id)
        throw Failure(name_ + ": object " + std::to_string(object.ObjectId) +
                      " has too high an id");
    const std::int64_t first_seen = to_microseconds(object.FirstSeenTime);
    spool().add(Row_Kind::object, place_of(object.SensorId), day_of(first_seen),
                row_of(run, object, record, first_seen));
    const Sensor_Key key{object.SensorId.word1, object.SensorId.word2};
    Claim& claim = claims_[key];
    if (claim.first <= object.ObjectId && object.ObjectId <= claim.last)
        claim.next = std::max(claim.next, object.ObjectId + 1);
    else
        highest_[key] = std::max(highest_[key], object.ObjectId);
}

std::size_t Cluster_Store::flush()
{
    const std::size_t waiting = sender_ ? sender_->flush() : 0;
    if (waiting > 0)
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR store: %Q additions wait in '%s'\n",
               std::uint64_t{waiting}, spool_->path());
    return waiting;
}

// Recordings and pictures

std::vector<Recording> Cluster_Store::recordings()
{
    std::vector<Recording> all;
    for (const Cluster::Answer& answer :
         ask_all("SELECT run, video, sensor1, sensor2, start_us, end_us, width, height, frames, "
                 "state, background FROM " +
                 table("recording_local") + " FINAL FORMAT RowBinary")) {
        for (Row_Reader row(answer.bytes); !row.is_at_end();) {
            Recording& recording = all.emplace_back();
            recording.run = row.text();
            recording.video = row.text();
            recording.sensor.word1 = row.number<std::int32_t>();
            recording.sensor.word2 = row.number<std::int32_t>();
            recording.start = to_time(row.number<std::int64_t>());
            recording.end = to_time(row.number<std::int64_t>());
            recording.width = row.number<std::int32_t>();
            recording.height = row.number<std::int32_t>();
            recording.frames = row.number<std::int32_t>();
            recording.state = row.text();
            recording.background = to_bytes(row.text());
        }
    }
    std::sort(all.begin(), all.end(), [](const Recording& one, const Recording& other) {
        return std::tie(one.start, one.run) < std::tie(other.start, other.run);
    });
    return all;
}

std::vector<Picture> Cluster_Store::pictures(const std::string& run)
{
    std::vector<Picture> all;
    for (const Cluster::Answer& answer :
         ask_all("SELECT first_seen_us, jpeg FROM " + table("picture_local") +
                 " WHERE run = " + quoted_sql(run) +
                 " ORDER BY first_seen_us LIMIT 1 BY first_seen_us "
                 "FORMAT RowBinary")) {
        for (Row_Reader row(answer.bytes); !row.is_at_end();) {
            const ACE_Time_Value time = to_time(row.number<std::int64_t>());
            all.push_back({time, to_bytes(row.text())});
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const Picture& one, const Picture& other) {
        return one.time < other.time;
    });
    return all;
}

// Searching

namespace {

// The days that a shard has objects of, as spans of times that a search goes through one after the
// other: what is asked for is mostly in the first ones. Each is larger than the one before.
std::vector<Time_Range> spans_of(std::vector<std::int64_t> days, const Time_Range& range,
                                 Order order)
{
    std::sort(days.begin(), days.end());
    days.erase(std::remove_if(days.begin(), days.end(),
                              [&](std::int64_t day) {
                                  return day < day_of(range.first) || day > day_of(range.last);
                              }),
               days.end());
    if (order == Order::latest)
        std::reverse(days.begin(), days.end());
    const bool is_by_time = order == Order::time || order == Order::latest;
    std::vector<Time_Range> spans;
    std::size_t size = is_by_time ? 1 : days.size();
    for (std::size_t k = 0; k < days.size(); k += std::exchange(size, 2 * size)) {
        const std::size_t end = std::min(k + size, days.size()) - 1;
        const Time_Range span =
            times_of_days(std::min(days[k], days[end]), std::max(days[k], days[end]));
        spans.push_back({std::max(span.first, range.first), std::min(span.last, range.last)});
    }
    return spans;
}

// What a shard has, from its next span on.
struct Shard_Places {
    std::vector<Time_Range> spans; // of those to come
    std::size_t span = 0;          // of these, the one that is being read
    std::vector<Object_Place> places;
    std::size_t next = 0; // of the places
    std::optional<Object_Place> last;

    [[nodiscard]] bool is_at_end() const { return span == spans.size() && is_to_be_filled(); }
    [[nodiscard]] bool is_to_be_filled() const { return next == places.size(); }
    [[nodiscard]] const Object_Place& front() const { return places[next]; }
};

std::vector<Object_Place> places_in(const std::string& bytes)
{
    std::vector<Object_Place> places;
    for (Row_Reader row(bytes); !row.is_at_end();) {
        Object_Place& place = places.emplace_back();
        place.first_seen = row.number<std::int64_t>();
        place.sensor1 = row.number<std::int32_t>();
        place.sensor2 = row.number<std::int32_t>();
        place.object_id = row.number<std::uint64_t>();
        place.duration = row.number<std::int64_t>();
        place.score = row.number<float>();
    }
    return places;
}

struct Kept_Record {
    std::string run;
    std::string record;
};

using Record_Key = std::tuple<std::int64_t, std::int32_t, std::int32_t, std::uint64_t>;

Record_Key key_of(const Object_Place& place)
{
    return {place.first_seen, place.sensor1, place.sensor2, place.object_id};
}

} // namespace

// One walk over all shards.
class Cluster_Store::Search {
public:
    Search(Cluster_Store& store, const Filter& filter) : store_(store), filter_(filter) {}

    void run(const Visitor& visitor)
    {
        ask_for_days();
        for (std::size_t page = least_page;; page = std::min(2 * page, most_page)) {
            const std::vector<Object_Place> places = take(page);
            if (places.empty() || !show(places, visitor))
                return;
        }
    }

    // The records of these, as far as their shards answer.
    std::map<Record_Key, Kept_Record> records_of(const std::vector<Object_Place>& places)
    {
        std::map<std::size_t, std::vector<Object_Place>> by_shard;
        for (const Object_Place& place : places) {
            ns__SensorId sensor;
            sensor.word1 = place.sensor1;
            sensor.word2 = place.sensor2;
            by_shard[store_.cluster_.shard_of(place_of(sensor))].push_back(place);
        }
        std::vector<Cluster::Question> questions;
        questions.reserve(by_shard.size());
        for (const auto& [shard, wanted] : by_shard)
            questions.push_back({shard, query_of_records(database(), wanted), "", ""});
        std::map<Record_Key, Kept_Record> records;
        for (const Cluster::Answer& answer : store_.ask_some(questions))
            for (Row_Reader row(answer.bytes); !row.is_at_end();) {
                const auto first_seen = row.number<std::int64_t>();
                const auto sensor1 = row.number<std::int32_t>();
                const auto sensor2 = row.number<std::int32_t>();
                const auto object_id = row.number<std::uint64_t>();
                Kept_Record& kept = records[{first_seen, sensor1, sensor2, object_id}];
                kept.run = row.text();
                kept.record = row.text();
            }
        return records;
    }

private:
    static constexpr std::size_t least_page = 128;
    static constexpr std::size_t most_page = 512; // records that are in memory at once

    [[nodiscard]] const std::string& database() const { return store_.cluster_.address().database; }

    // The shards of the sensors that are asked for; all, when none are.
    std::vector<std::size_t> shards_in_question() const
    {
        std::set<std::size_t> shards;
        for (const ns__SensorId& sensor : filter_.sensors)
            shards.insert(store_.cluster_.shard_of(place_of(sensor)));
        for (std::size_t k = 0; filter_.sensors.empty() && k < store_.cluster_.size(); ++k)
            shards.insert(k);
        return {shards.begin(), shards.end()};
    }

    void ask_for_days()
    {
        const std::string sql = "SELECT DISTINCT toInt64OrZero(partition) FROM system.parts WHERE "
                                "active AND database = '" +
                                database() + "' AND table = 'object_local' FORMAT RowBinary";
        std::vector<Cluster::Question> questions;
        for (const std::size_t shard : shards_in_question())
            questions.push_back({shard, sql, "", ""});
        store_.unanswered_.clear();
        const std::vector<Cluster::Answer> answers = store_.ask_some(questions);
        const Time_Range range = store_.kept(filter_.from, filter_.to);
        shards_.resize(store_.cluster_.size());
        for (std::size_t k = 0; k < answers.size(); ++k) {
            std::vector<std::int64_t> days;
            for (Row_Reader row(answers[k].bytes); !row.is_at_end();)
                days.push_back(row.number<std::int64_t>());
            shards_[questions[k].shard].spans = spans_of(std::move(days), range, filter_.order);
        }
    }

    // The next places of all shards that have none at hand, until each has one or is at its end.
    void fill(std::size_t most)
    {
        for (;;) {
            std::vector<Cluster::Question> questions;
            for (std::size_t k = 0; k < shards_.size(); ++k) {
                const Shard_Places& shard = shards_[k];
                if (shard.is_to_be_filled() && !shard.is_at_end())
                    questions.push_back(
                        {k,
                         query_of_places(database(), filter_, shard.spans[shard.span],
                                         shard.last ? &*shard.last : nullptr, most),
                         "", ""});
            }
            if (questions.empty())
                return;
            const std::vector<Cluster::Answer> answers = store_.ask_some(questions);
            for (std::size_t k = 0; k < answers.size(); ++k)
                take_in(shards_[questions[k].shard], answers[k], most);
        }
    }

    // A shard that does not answer has come to its end.
    static void take_in(Shard_Places& shard, const Cluster::Answer& answer, std::size_t most)
    {
        shard.places = places_in(answer.bytes);
        shard.next = 0;
        if (!shard.places.empty())
            shard.last = shard.places.back();
        if (!answer.is_there())
            shard.span = shard.spans.size();
        else if (shard.places.size() < most)
            ++shard.span;
    }

    // The next places of all shards together, each once: a batch that was sent twice stands in its
    // shard twice, one row behind the other.
    std::vector<Object_Place> take(std::size_t most)
    {
        std::vector<Object_Place> taken;
        while (taken.size() < most) {
            fill(most);
            Shard_Places* first = nullptr;
            for (Shard_Places& shard : shards_)
                if (!shard.is_at_end() &&
                    (first == nullptr || is_before(shard.front(), first->front(), filter_.order)))
                    first = &shard;
            if (first == nullptr)
                break;
            if (!last_ || !(*last_ == first->front()))
                taken.push_back(first->front());
            last_ = first->front();
            ++first->next;
        }
        return taken;
    }

    // Whether the visitor wants more.
    bool show(const std::vector<Object_Place>& places, const Visitor& visitor)
    {
        const std::map<Record_Key, Kept_Record> records = records_of(places);
        for (const Object_Place& place : places) {
            const auto found = records.find(key_of(place));
            if (found == records.end()) // removed meanwhile, or its shard has gone
                continue;
            const Kept_Record& kept = found->second;
            const auto* const bytes = reinterpret_cast<const unsigned char*>(kept.record.data());
            if (!visitor({kept.run, place.object_id, {bytes, kept.record.size()}, true}))
                return false;
        }
        return true;
    }

    Cluster_Store& store_;
    const Filter& filter_;
    std::vector<Shard_Places> shards_;
    std::optional<Object_Place> last_;
};

void Cluster_Store::visit(const Filter& filter, const Visitor& visitor)
{
    Search(*this, filter).run(visitor);
}

// Whole days are counted by the parts of their partitions, without a look at the rows.
std::size_t Cluster_Store::count(const ACE_Time_Value& from, const ACE_Time_Value& to)
{
    const Time_Range range = kept(from, to);
    if (range.first > range.last)
        return 0;
    const std::int64_t first = day_of(range.first) + 1; // of the whole days
    const std::int64_t last = day_of(range.last) - 1;
    const std::string rows = "SELECT count() FROM " + table("object_local") + " WHERE ";
    std::string sql = rows + between(range);
    if (first <= last)
        sql = "SELECT toUInt64(sum(rows)) FROM system.parts WHERE active AND database = '" +
              cluster_.address().database +
              "' AND table = 'object_local' AND toInt64OrZero(partition) BETWEEN " +
              std::to_string(first) + " AND " + std::to_string(last) + " UNION ALL " + rows +
              between({range.first, times_of_days(first, first).first - 1}) + " UNION ALL " + rows +
              between({times_of_days(last, last).last + 1, range.last});
    const std::map<std::size_t, std::string> before = unanswered_;
    std::size_t count = 0;
    for (const Cluster::Answer& answer : ask_all(sql + " FORMAT RowBinary"))
        for (Row_Reader row(answer.bytes); !row.is_at_end();)
            count += row.number<std::uint64_t>();
    unanswered_.insert(before.begin(), before.end());
    return count;
}

std::optional<Stored_Record> Cluster_Store::find(const ns__SensorId& sensor,
                                                 std::uint64_t object_id)
{
    const std::string times =
        ask_one(cluster_.shard_of(place_of(sensor)),
                "SELECT first_seen_us FROM " + table("key_local") + " WHERE " + of_sensor(sensor) +
                    " AND object_id = " + std::to_string(object_id) + " AND first_seen_us >= " +
                    std::to_string(first_kept()) + " LIMIT 1 FORMAT RowBinary");
    if (times.empty())
        return std::nullopt;
    Object_Place place;
    place.first_seen = Row_Reader(times).number<std::int64_t>();
    place.sensor1 = sensor.word1;
    place.sensor2 = sensor.word2;
    place.object_id = object_id;
    unanswered_.clear();
    const auto records = Search(*this, Filter()).records_of({place});
    if (!unanswered_.empty())
        throw Failure(name_ + ": " + unanswered_.begin()->second);
    if (records.empty())
        return std::nullopt;
    return Stored_Record{records.begin()->second.run, object_id,
                         to_bytes(records.begin()->second.record)};
}

// Rows: the second in the higher bits, the place in it below. A whole second is all of its places.

namespace {

constexpr unsigned place_bits = 20;
constexpr std::int64_t most_places = (std::int64_t{1} << place_bits) - 1;

} // namespace

struct Cluster_Store::New_Place {
    std::uint32_t second = 0; ///< of its storing
    Object_Place place;

    bool operator<(const New_Place& other) const noexcept
    {
        return second != other.second ? second < other.second
                                      : is_before(place, other.place, Order::time);
    }
};

// The last second that is over for all shards that answer.
std::int64_t Cluster_Store::last_row()
{
    constexpr std::int64_t settling = 3;
    std::int64_t last = std::numeric_limits<std::int64_t>::max();
    bool is_empty = true;
    for (const Cluster::Answer& answer :
         ask_all("SELECT toInt64(now()), toUInt64(sum(rows)) FROM system.parts WHERE active AND "
                 "database = '" +
                 cluster_.address().database + "' AND table = 'object_local' FORMAT RowBinary")) {
        if (!answer.is_there())
            continue;
        Row_Reader row(answer.bytes);
        last = std::min(last, row.number<std::int64_t>() - settling);
        is_empty = row.number<std::uint64_t>() == 0 && is_empty;
    }
    return is_empty ? 0 : last << place_bits | most_places;
}

// Those of the seconds from one to another, in their order; so many from the begin at least. Whatever
// was stored since changed the parts of its day.
std::vector<Cluster_Store::New_Place> Cluster_Store::new_places(std::int64_t first,
                                                                std::int64_t last, std::size_t most)
{
    const std::string sql =
        "SELECT stored_s, first_seen_us, sensor1, sensor2, object_id FROM " +
        table("object_local") +
        " WHERE intDiv(greatest(first_seen_us, 0), 86400000000) IN (SELECT "
        "toInt64OrZero(partition) FROM system.parts WHERE active AND database = '" +
        cluster_.address().database +
        "' AND table = 'object_local' AND modification_time >= toDateTime(" +
        std::to_string(first) + ")) AND stored_s BETWEEN " + std::to_string(first) + " AND " +
        std::to_string(last) + " AND " +
        between({first_kept(), std::numeric_limits<std::int64_t>::max()}) +
        " ORDER BY stored_s, first_seen_us, sensor1, sensor2, object_id LIMIT " +
        std::to_string(most) + " FORMAT RowBinary";
    std::vector<New_Place> places;
    for (const Cluster::Answer& answer : ask_all(sql))
        for (Row_Reader reader(answer.bytes); !reader.is_at_end();) {
            New_Place& next = places.emplace_back();
            next.second = reader.number<std::uint32_t>();
            next.place.first_seen = reader.number<std::int64_t>();
            next.place.sensor1 = reader.number<std::int32_t>();
            next.place.sensor2 = reader.number<std::int32_t>();
            next.place.object_id = reader.number<std::uint64_t>();
        }
    std::sort(places.begin(), places.end());
    return places;
}

std::vector<Stored_Row> Cluster_Store::rows_after(std::int64_t row, std::size_t most)
{
    const std::int64_t last = last_row() >> place_bits;
    const bool is_whole_second = (row & most_places) == most_places;
    const std::int64_t first = (row >> place_bits) + (is_whole_second ? 1 : 0);
    const std::size_t skipped = is_whole_second ? 0 : static_cast<std::size_t>(row & most_places);
    if (last < first)
        return {};
    std::vector<std::pair<std::int64_t, Object_Place>> numbered;
    std::vector<Object_Place> wanted;
    std::int64_t number = 0;
    for (const New_Place& each : new_places(first, last, most + skipped)) {
        const std::int64_t begin = std::int64_t{each.second} << place_bits;
        number = number >> place_bits == each.second ? number + 1 : begin + 1;
        if (number > row && numbered.size() < most) {
            numbered.emplace_back(number, each.place);
            wanted.push_back(each.place);
        }
    }
    if (numbered.empty())
        return {};
    const auto records = Search(*this, Filter()).records_of(wanted);
    std::vector<Stored_Row> rows;
    for (const auto& [each, place] : numbered)
        if (const auto found = records.find(key_of(place)); found != records.end())
            rows.push_back(
                {each, {found->second.run, place.object_id, to_bytes(found->second.record)}});
    return rows;
}

std::map<std::string, std::size_t> Cluster_Store::counts_between(std::int64_t row,
                                                                 std::int64_t last_row)
{
    std::map<std::string, std::size_t> counts;
    for (const Cluster::Answer& answer :
         ask_all("SELECT run, count() FROM " + table("object_local") + " WHERE stored_s > " +
                 std::to_string(row >> place_bits) +
                 " AND stored_s <= " + std::to_string(last_row >> place_bits) +
                 " AND first_seen_us >= " + std::to_string(first_kept()) +
                 " GROUP BY run FORMAT RowBinary"))
        for (Row_Reader reader(answer.bytes); !reader.is_at_end();) {
            const std::string run(reader.text());
            counts[run] += reader.number<std::uint64_t>();
        }
    return counts;
}

// The arithmetic is that of bucket_of().
std::vector<std::size_t> Cluster_Store::density(const ACE_Time_Value& from,
                                                const ACE_Time_Value& to, std::size_t buckets)
{
    const std::string first = "(" + std::to_string(to_microseconds(from)) + ")";
    const std::string last = "(" + std::to_string(to_microseconds(to)) + ")";
    const std::string most = "toFloat64(" + std::to_string(buckets) + ")";
    const std::string part = "toFloat64(first_seen_us - " + first + ") / toFloat64(" + last +
                             " - " + first + ") * " + most;
    const std::string sql = "SELECT toUInt64(least(greatest(" + part + ", toFloat64(0)), " + most +
                            " - 1)) AS bucket, count() FROM " + table("object_local") + " WHERE " +
                            between(kept(from, to)) + " GROUP BY bucket FORMAT RowBinary";
    std::vector<std::size_t> counts(buckets);
    for (const Cluster::Answer& answer : ask_all(sql))
        for (Row_Reader reader(answer.bytes); !reader.is_at_end();) {
            const auto bucket = reader.number<std::uint64_t>();
            const auto objects = reader.number<std::uint64_t>();
            if (bucket < buckets)
                counts[bucket] += objects;
        }
    return counts;
}

} // namespace video_search
