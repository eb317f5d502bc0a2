#include "Sender.h"

#include "../host/Host.h"
#include "Cluster_Tables.h"
#include "Row_Binary.h"

#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <exception>

namespace video_search {

namespace {

// Why a batch is to be sent again. What a shard has certainly not stored it has refused.
class Send_Failure : public Failure {
public:
    Send_Failure(const std::string& text, bool is_certain) : Failure(text), is_certain_(is_certain)
    {
    }
    [[nodiscard]] bool is_certain() const noexcept { return is_certain_; }

private:
    bool is_certain_;
};

} // namespace

Sender::Sender(const Cluster_Address& address, Spool& spool)
    : cluster_(address), spool_(spool), shards_(cluster_.size())
{
    if (shards_.size() != spool.shards())
        throw Failure(address.text() + ": the number of its shards has just changed");
    thread_ = std::thread([this] { run(); });
}

Sender::~Sender()
{
    is_stopping_ = true;
    spool_.wake();
    thread_.join();
}

std::size_t Sender::flush()
{
    constexpr std::chrono::milliseconds step(50);
    is_stuck_ = false;
    is_urgent_ = true;
    spool_.wake();
    while (spool_.count() > 0 && !is_stuck_)
        spool_.wait_until_empty(step);
    is_urgent_ = false;
    return spool_.count();
}

void Sender::run() noexcept
{
    constexpr std::chrono::milliseconds pause(100);
    while (!is_stopping_) {
        try {
            remove_old();
            if (!send_next() && !is_stopping_)
                spool_.wait(pause);
        } catch (const std::exception& error) { // of the spool: a full disk, say
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR store: %s\n", error.what());
            is_stuck_ = true;
            spool_.wait(std::chrono::seconds(1));
        }
    }
}

std::vector<bool> Sender::shards_to_try() const
{
    std::vector<bool> wanted;
    for (const Shard& shard : shards_)
        wanted.push_back(Clock::now() >= shard.next_try);
    return wanted;
}

// Whether there was something to send.
bool Sender::send_next()
{
    const bool is_urgent = is_urgent_; // as long as this takes
    const std::vector<bool> wanted = shards_to_try();
    const bool is_any = std::find(wanted.begin(), wanted.end(), true) != wanted.end();
    const std::optional<Batch> batch =
        is_any ? spool_.take(wanted, is_urgent) : std::optional<Batch>();
    if (!batch) {
        const bool is_pausing = std::find(wanted.begin(), wanted.end(), false) != wanted.end();
        is_stuck_ = is_pausing && is_urgent;
        return false;
    }
    try {
        send(*batch);
    } catch (const Send_Failure& failure) {
        if (failure.is_certain() && !batch->was_sent)
            spool_.put_back(*batch);
        failed(batch->shard, failure.what());
        return true;
    } catch (const Failure& failure) { // of an answer that makes no sense
        failed(batch->shard, cluster_.name_of(batch->shard) + ": " + failure.what());
        return true;
    }
    spool_.remove(*batch);
    succeeded(batch->shard);
    return true;
}

void Sender::send(const Batch& batch)
{
    if (!shards_[batch.shard].is_prepared)
        prepare(batch.shard);
    if (batch.rows.empty() || (batch.was_sent && is_stored(batch)))
        return;
    insert(batch);
}

std::string Sender::ask(std::size_t shard, const std::string& sql)
{
    Cluster::Answer answer = cluster_.ask({shard, sql, "", ""});
    if (!answer.is_there())
        throw Send_Failure(answer.failure, true);
    return std::move(answer.bytes);
}

void Sender::prepare(std::size_t shard)
{
    const Cluster_Address& address = cluster_.address();
    for (const std::string& statement : version_statements(address.database))
        ask(shard, statement);
    const std::string version = ask(shard, query_of_version(address.database));
    if (Row_Reader(version).number<std::uint32_t>() > cluster_version)
        throw Send_Failure(cluster_.name_of(shard) + ": its tables are of a later version", true);
    for (const std::string& statement : table_statements(address.database, address.cluster))
        ask(shard, statement);
    shards_[shard].is_prepared = true;
}

// Recordings and pictures take each other's place, so that they may come twice. A shard that still
// works on the batch is waited for.
bool Sender::is_stored(const Batch& batch)
{
    if (batch.kind != Row_Kind::object)
        return false;
    const std::string& database = cluster_.address().database;
    const std::string running = "SELECT count() FROM system.processes WHERE query_id = 'kr" +
                                std::to_string(batch.number) + "' FORMAT RowBinary";
    if (Row_Reader(ask(batch.shard, running)).number<std::uint64_t>() > 0)
        throw Send_Failure(cluster_.name_of(batch.shard) + ": still works on what it was sent",
                           false);
    const std::string count = ask(batch.shard, search_of_batch(database, batch.number, batch.day));
    if (Row_Reader(count).number<std::uint64_t>() == 0)
        return false;
    for (const std::string& statement : repairs_of(database, batch.number, batch.day))
        ask(batch.shard, statement);
    return true;
}

void Sender::insert(const Batch& batch)
{
    Row_Writer number;
    number.number(batch.number);
    Cluster::Question question;
    question.shard = batch.shard;
    question.sql = insertion_of(batch.kind, cluster_.address().database);
    question.query_id = "kr" + std::to_string(batch.number);
    for (const std::string& row : batch.rows)
        question.rows += batch.kind == Row_Kind::object ? number.bytes() + row : row;
    const Cluster::Answer answer = cluster_.ask(question);
    if (!answer.is_there())
        throw Send_Failure(answer.failure, false);
}

void Sender::succeeded(std::size_t shard)
{
    Shard& state = shards_[shard];
    if (state.failures > 0)
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF store: %s takes objects again\n",
               cluster_.name_of(shard));
    state.failures = 0;
    state.pause = {};
}

void Sender::failed(std::size_t shard, const std::string& why)
{
    constexpr Clock::duration shortest = std::chrono::milliseconds(250);
    constexpr Clock::duration longest = std::chrono::seconds(10);
    Shard& state = shards_[shard];
    state.is_prepared = false; // it may come back with an empty disk, or with other tables
    if (state.failures++ == 0)
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR store: %s; what is for it waits in '%s'\n", why,
               spool_.path());
    state.pause = std::clamp(2 * state.pause, shortest, longest);
    state.next_try = Clock::now() + state.pause;
}

// Late rows make the partition of their day anew; it goes with the next removal, and until then no
// search shows it.
void Sender::remove_old()
{
    constexpr std::chrono::minutes between(60);
    const Cluster_Address& address = cluster_.address();
    if (!address.keep_days || Clock::now() < next_removal_)
        return;
    next_removal_ = Clock::now() + between;
    for (std::size_t shard = 0; shard < shards_.size(); ++shard) {
        try {
            remove_old(shard);
        } catch (const Failure& failure) {
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR store: old objects are not removed: %s\n",
                   failure.what());
            next_removal_ = Clock::now() + between / 60;
        }
    }
}

// A server keeps the order to delete rows, even if there are none: it is given for some alone.
void Sender::remove_old(std::size_t shard)
{
    if (!shards_[shard].is_prepared)
        prepare(shard);
    const std::string in = cluster_.address().database + '.';
    const std::string today = ask(shard, query_of_day());
    const std::int64_t first =
        first_day_kept(*cluster_.address().keep_days, Row_Reader(today).number<std::int64_t>());
    const std::string days = ask(shard, old_partitions(cluster_.address().database, first));
    for (Row_Reader row(days); !row.is_at_end();) {
        const std::string table(row.text());
        ask(shard, std::string("ALTER TABLE ")
                       .append(in)
                       .append(table)
                       .append(" DROP PARTITION ")
                       .append(row.text()));
    }
    const std::string old = " WHERE end_us < " + std::to_string(times_of_days(first, first).first);
    const std::string count =
        ask(shard, "SELECT count() FROM " + in + "recording_local" + old + " FORMAT RowBinary");
    if (Row_Reader(count).number<std::uint64_t>() > 0)
        ask(shard, "ALTER TABLE " + in + "recording_local DELETE" + old);
}

} // namespace video_search
