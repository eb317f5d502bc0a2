#include "Search_Api.h"

#include "After_Source.h"
#include "Api_Error.h"
#include "store/Store_Query.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>

namespace video_search {

Search_Api::Search_Api(const std::string& store, const Limits& limits, ProfileHelper& profile)
    : limits_(limits), profile_(profile), stores_(store, limits.searches)
{
}

// The end of the time that a request has.
class Search_Api::Deadline {
public:
    Deadline(std::chrono::milliseconds length, const std::atomic<bool>& is_stopping)
        : time_(std::chrono::steady_clock::now() + length), is_stopping_(is_stopping)
    {
    }

    [[nodiscard]] std::chrono::steady_clock::time_point time() const noexcept { return time_; }

    [[nodiscard]] bool is_over() const noexcept
    {
        return is_stopping_ || std::chrono::steady_clock::now() >= time_;
    }

    void check() const
    {
        if (is_stopping_)
            throw Api_Error(503, "stopping", "the service is being stopped");
        if (is_over())
            throw Api_Error(503, "too_slow", "the search takes too long; ask for less time");
    }

private:
    const std::chrono::steady_clock::time_point time_;
    const std::atomic<bool>& is_stopping_;
};

namespace {

// Without where they are and what is wrong there, which is no client's affair.
std::vector<std::string> names_of(std::vector<std::string> parts)
{
    for (std::string& part : parts)
        part.resize(std::min(part.size(), part.find(" (")));
    return parts;
}

std::vector<std::string> united(std::vector<std::string> one, const std::vector<std::string>& other)
{
    for (const std::string& each : other)
        if (std::find(one.begin(), one.end(), each) == one.end())
            one.push_back(each);
    return one;
}

// A page does not tell how many objects were looked at; to count them is a sixth of a short search.
class Uncounted final : public Object_Source {
public:
    explicit Uncounted(Object_Source& source) : source_(source) {}

    void visit(const Filter& filter, const Visitor& visitor) override
    {
        source_.visit(filter, visitor);
    }
    std::size_t count(const ACE_Time_Value& /*from*/, const ACE_Time_Value& /*to*/) override
    {
        return 0;
    }

private:
    Object_Source& source_;
};

} // namespace

Hit_Page Search_Api::search(const Search_Request& request)
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Store_Pool::Lease store = stores_.lend(deadline.time());
    const std::function<bool()> is_over = [&] { return deadline.is_over(); };
    std::optional<After_Source> rest;
    if (request.after)
        rest.emplace(*store, request.criteria, *request.after, is_over);
    Uncounted source(rest ? static_cast<Object_Source&>(*rest) : *store);
    Result result = video_search::search(source, request.criteria, profile_, is_over);
    deadline.check();
    Hit_Page page;
    page.hits = std::move(result.hits);
    page.unanswered = names_of(store->unanswered());
    if (!page.hits.empty() && (!result.has_all_matches || result.matches > page.hits.size()))
        page.next = to_text(cursor_of(page.hits.back()), request.criteria);
    return page;
}

namespace {

bool restricts_time_alone(const Criteria& criteria)
{
    return !criteria.hours && criteria.sensors.empty() &&
           criteria.object_class == ns__ObjectClass__unknown && !(criteria.min_score > 0) &&
           criteria.colors.empty() && !(criteria.min_duration > 0) && !criteria.max_duration &&
           !criteria.area;
}

} // namespace

Density Search_Api::density(const Density_Request& request)
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Store_Pool::Lease store = stores_.lend(deadline.time());
    Density density;
    density.counts =
        restricts_time_alone(request.criteria)
            ? store->density(*request.criteria.from, *request.criteria.to, request.buckets)
            : matching_density(*store, request, deadline);
    density.unanswered = names_of(store->unanswered());
    return density;
}

std::vector<std::size_t> Search_Api::matching_density(Object_Store& store,
                                                      const Density_Request& request,
                                                      const Deadline& deadline)
{
    const Criteria& criteria = request.criteria;
    const std::int64_t from = to_microseconds(*criteria.from);
    const std::int64_t to = to_microseconds(*criteria.to);
    Filter filter = filter_of(criteria);
    filter.order = Order::time;
    std::vector<std::size_t> counts(request.buckets);
    store.visit(filter, [&](const Found_Record& found) {
        if (found.record.check().state == KR_Record_State::whole &&
            is_match(found.record, criteria))
            ++counts[bucket_of(to_microseconds(found.record.first_seen_time()), from, to,
                               request.buckets)];
        return !deadline.is_over();
    });
    deadline.check();
    return counts;
}

// Only what is new is counted, and once all parts of the store have told theirs. Whoever removes objects
// restarts the service.
std::map<std::string, std::size_t> Search_Api::object_counts(const Store_Pool::Lease& store)
{
    const std::lock_guard<std::mutex> lock(counts_mutex_);
    if (store.edition() != counted_edition_) {
        counts_.clear();
        counted_row_ = 0;
        counted_edition_ = store.edition();
    }
    const std::int64_t last = store->last_row();
    bool is_whole = store->unanswered().empty();
    std::map<std::string, std::size_t> counts = counts_;
    for (const auto& [run, count] : store->counts_between(counted_row_, last))
        counts[run] += count;
    is_whole = is_whole && store->unanswered().empty();
    if (is_whole) {
        counts_ = counts;
        counted_row_ = last;
    }
    return counts;
}

Recording_List Search_Api::recordings()
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Store_Pool::Lease store = stores_.lend(deadline.time());
    const std::map<std::string, std::size_t> counts = object_counts(store);
    std::vector<std::string> missing = names_of(store->unanswered());
    Recording_List result;
    for (Recording& recording : store->recordings()) {
        const auto count = counts.find(recording.run);
        result.recordings.push_back(
            {std::move(recording), count != counts.end() ? count->second : 0});
    }
    result.unanswered = united(std::move(missing), names_of(store->unanswered()));
    return result;
}

namespace {

std::optional<Recording> find_recording(Object_Store& store, const std::string& run)
{
    std::vector<Recording> all = store.recordings();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Recording& each) { return each.run == run; });
    return found != all.end() ? std::optional(std::move(*found)) : std::nullopt;
}

} // namespace

Recording Search_Api::recording(const std::string& run)
{
    const Deadline deadline(limits_.search, is_stopping_);
    std::optional<Recording> recording = find_recording(*stores_.lend(deadline.time()), run);
    if (!recording)
        throw not_found("there is no recording of this run");
    return std::move(*recording);
}

namespace {

Stored_Record find_record(Object_Store& store, const ns__SensorId& sensor, std::uint64_t id)
{
    std::optional<Stored_Record> record = store.find(sensor, id);
    if (!record)
        throw not_found("there is no such object");
    return std::move(*record);
}

[[noreturn]] void tell_damage()
{
    throw Api_Error(500, "damaged", "the object's record is damaged");
}

} // namespace

Found_Object Search_Api::object(const ns__SensorId& sensor, std::uint64_t id)
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Store_Pool::Lease store = stores_.lend(deadline.time());
    const Stored_Record record = find_record(*store, sensor, id);
    Criteria all;
    all.window = -1;
    all.detail = Detail::path;
    std::optional<Hit> hit = hit_of(record, all);
    std::optional<KR_ObjectBase> object = decode(record.record);
    if (!hit || !object)
        tell_damage();
    return {std::move(*hit), std::move(*object), find_recording(*store, record.run)};
}

Bytes Search_Api::thumbnail(const ns__SensorId& sensor, std::uint64_t id)
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Stored_Record record = find_record(*stores_.lend(deadline.time()), sensor, id);
    const std::optional<KR_ObjectBase> object = decode(record.record);
    if (!object)
        tell_damage();
    if (!object->AuxiliaryData || object->AuxiliaryData->empty())
        throw not_found("the object has no picture");
    return *object->AuxiliaryData;
}

std::int64_t Search_Api::last_row()
{
    const Deadline deadline(limits_.search, is_stopping_);
    return stores_.lend(deadline.time())->last_row();
}

std::int64_t Search_Api::resumed_at(std::int64_t row)
{
    const Deadline deadline(limits_.search, is_stopping_);
    const Store_Pool::Lease store = stores_.lend(deadline.time());
    const std::int64_t last = store->last_row();
    return store->unanswered().empty() ? std::min(row, last) : row;
}

Stored_Rows Search_Api::stored_after(std::int64_t row, std::size_t most)
{
    const Deadline deadline(limits_.search, is_stopping_);
    Stored_Rows stored;
    std::vector<Stored_Row> rows;
    {
        const Store_Pool::Lease store = stores_.lend(deadline.time());
        rows = store->rows_after(row, most);
        stored.edition = store.edition();
        stored.unanswered = names_of(store->unanswered());
    }
    Criteria shown;
    shown.window = 0;
    shown.detail = Detail::path;
    for (const Stored_Row& each : rows)
        stored.rows.push_back({each.number, hit_of(each.stored, shown)});
    return stored;
}

void Search_Api::check()
{
    const Deadline deadline(limits_.search, is_stopping_);
    stores_.lend(deadline.time())->last_row();
}

} // namespace video_search
