#include "Log_Merge.h"

#include "../host/Program.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace krtool {

namespace {

bool exists(const std::string& path)
{
    std::error_code ignored;
    return path == "-" || std::filesystem::exists(path, ignored);
}

} // namespace

void Log_Merge::update(const std::vector<Log_Chain>& found)
{
    for (const Log_Chain& one : found) {
        Chain& chain = chains_[one.key];
        add_parts(chain, one.parts);
        if (!chain.is_newest_in_heap)
            open_next(one.key);
    }
    is_first_update_ = false;
}

// Of a chain's parts those behind the last known one.
void Log_Merge::add_parts(Chain& chain, std::vector<Log_Part> parts) const
{
    const auto is_known = [&chain](const Log_Part& part) {
        return chain.last && !(*chain.last < part);
    };
    parts.erase(std::remove_if(parts.begin(), parts.end(), is_known), parts.end());
    if (parts.empty())
        return;
    chain.last = parts.back();
    if (options_.is_at_end && is_first_update_)
        parts.erase(parts.begin(), parts.end() - 1);
    drop_parts_out_of_time(parts);
    chain.waiting.insert(chain.waiting.begin(), parts.rbegin(), parts.rend());
}

// A part ends where the next one begins. Two hours more, because a clock may have been set back.
void Log_Merge::drop_parts_out_of_time(std::vector<Log_Part>& parts) const
{
    constexpr Local_Time step = 2 * one_hour;
    if (options_.until)
        parts.erase(std::remove_if(parts.begin(), parts.end(),
                                   [this](const Log_Part& part) {
                                       return part.has_name &&
                                              part.date * one_day > *options_.until + step;
                                   }),
                    parts.end());
    if (!options_.since)
        return;
    std::size_t first = 0;
    for (std::size_t i = 1; i < parts.size(); ++i)
        if (parts[i].has_name && (parts[i].date + 1) * one_day < *options_.since - step)
            first = i;
    parts.erase(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(first));
}

// Opens the chain's next part that there is; false when there is none.
bool Log_Merge::open_next(const std::string& key)
{
    Chain& chain = chains_[key];
    const bool is_at_end = options_.is_at_end && is_first_update_;
    while (!chain.waiting.empty()) {
        const Log_Part part = chain.waiting.back();
        chain.waiting.pop_back();
        Stream stream = open(key, part, is_at_end);
        if (stream == nullptr)
            continue;
        stream->awaits_overlap = !chain.waiting.empty() && part.has_name &&
                                 do_overlap(part.path, chain.waiting.back().path);
        queue(std::move(stream));
        return true;
    }
    return false;
}

// A part that was pruned since it was found is passed over.
Log_Merge::Stream Log_Merge::open(const std::string& key, const Log_Part& part, bool is_at_end)
{
    Chain& chain = chains_[key];
    auto stream = std::make_unique<Log_Stream>();
    stream->part = part;
    stream->chain = key;
    stream->order = ++opened_;
    stream->is_finished = !options_.is_growing;
    Part_Reader::Begin begin;
    begin.clock = chain.clock;
    begin.date = part.date;
    begin.is_exact = part.has_name;
    begin.is_at_end = is_at_end;
    begin.is_growing = options_.is_growing;
    begin.gives_lines = options_.gives_runs;
    try {
        stream->reader = std::make_unique<Part_Reader>(part.path, begin);
    } catch (const Failure&) {
        if (exists(part.path))
            throw;
        warn_("'" + part.path + "' was deleted meanwhile");
        return nullptr;
    }
    chain.newest = stream->order;
    return stream;
}

bool Log_Merge::comes_later(const Waiting& a, const Waiting& b) noexcept
{
    if (a.place != b.place)
        return a.place > b.place;
    const Local_Time one = a.stream->reader->record().place.time;
    const Local_Time other = b.stream->reader->record().place.time;
    return one != other ? one > other : a.stream->order > b.stream->order;
}

// Into the heap when it has a record.
void Log_Merge::queue(Stream stream)
{
    if (!stream->reader->next()) {
        end(std::move(stream));
        return;
    }
    Chain& chain = chains_[stream->chain];
    chain.is_newest_in_heap = chain.is_newest_in_heap || stream->order == chain.newest;
    heap_.push_back({stream->reader->record().place.place, std::move(stream)});
    std::push_heap(heap_.begin(), heap_.end(), comes_later);
}

Log_Merge::Stream Log_Merge::remove_first()
{
    std::pop_heap(heap_.begin(), heap_.end(), comes_later);
    Stream stream = std::move(heap_.back().stream);
    heap_.pop_back();
    return stream;
}

// The first one has got its next record.
void Log_Merge::put_first_in_place() noexcept
{
    Waiting* parent = &heap_.front();
    parent->place = parent->stream->reader->record().place.place;
    for (std::size_t next = 1; next < heap_.size();) {
        if (next + 1 < heap_.size() && comes_later(heap_[next], heap_[next + 1]))
            ++next;
        Waiting& child = heap_[next];
        if (!comes_later(*parent, child))
            return;
        std::swap(parent->place, child.place);
        std::swap(parent->stream, child.stream);
        parent = &child;
        next = 2 * next + 1;
    }
}

// Part_Reader::no_limit when there is none.
Local_Time Log_Merge::place_of_second() const noexcept
{
    Local_Time place = Part_Reader::no_limit;
    for (std::size_t i = 1; i < std::min<std::size_t>(heap_.size(), 3); ++i)
        place = std::min(place, heap_[i].place);
    return place;
}

// The stream is at its end: on with the chain's next part, unless that has begun already.
void Log_Merge::end(Stream stream)
{
    const std::string key = stream->chain;
    Chain& chain = chains_[key];
    const bool is_newest = stream->order == chain.newest;
    if (is_newest) {
        chain.clock = stream->reader->clock();
        chain.is_newest_in_heap = false;
    }
    if (const std::string flaw = stream->reader->source().flaw(); !flaw.empty())
        warn_(flaw);
    else if (!stream->is_finished && chain.waiting.size() <= 1)
        idle_.push_back(std::move(stream));
    if (is_newest)
        open_next(key);
}

// Another process may go on with the part before the last one for a while.
void Log_Merge::wake_idle()
{
    std::vector<Stream> idle;
    idle.swap(idle_);
    for (Stream& stream : idle) {
        const auto newer = std::count_if(idle.begin(), idle.end(), [&stream](const Stream& other) {
            return other != nullptr && other->chain == stream->chain &&
                   other->order > stream->order;
        });
        if (newer > 1) {
            stream->is_finished = true;
            stream->reader->stop_growing();
        }
    }
    for (Stream& stream : idle)
        queue(std::move(stream));
}

void Log_Merge::find_replaced()
{
    for (auto& [key, chain] : chains_)
        if (chain.lost && facts_of(chain.lost->path)) {
            if (Stream next = open(key, *chain.lost, false))
                queue(std::move(next));
            chain.lost.reset();
        }
    std::vector<Stream> idle;
    idle.swap(idle_);
    for (Stream& stream : idle)
        look_for_replacement(std::move(stream));
}

void Log_Merge::look_for_replacement(Stream stream)
{
    const std::optional<File_Facts> own = stream->reader->source().facts();
    const std::optional<File_Facts> named = facts_of(stream->part.path);
    const bool is_gone = own && (!named || !named->is_same_file(*own));
    const bool is_cut = own && own->size < stream->reader->source().bytes_read();
    if (!is_gone && !is_cut) {
        idle_.push_back(std::move(stream));
        return;
    }
    const Log_Part part = stream->part;
    const std::string key = stream->chain;
    stream->is_finished = true;
    stream->reader->stop_growing();
    queue(std::move(stream)); // what is left, without its line end perhaps
    Chain& chain = chains_[key];
    if (chain.last && *chain.last < part)
        return;
    if (!named)
        chain.lost = part;
    else if (Stream next = open(key, part, false))
        queue(std::move(next));
}

// The next part of the stream's chain, when it is time for it.
void Log_Merge::open_overlapping(Log_Stream& stream)
{
    if (!stream.awaits_overlap || !stream.reader->is_near_end())
        return;
    stream.awaits_overlap = false;
    chains_[stream.chain].clock = stream.reader->clock();
    open_next(stream.chain);
}

void Log_Merge::run(const Take& take)
{
    wake_idle();
    while (!heap_.empty()) {
        Log_Stream& stream = *heap_.front().stream;
        open_overlapping(stream);
        if (heap_.front().stream.get() != &stream)
            continue;
        if (options_.gives_runs)
            stream.reader->extend(place_of_second());
        take(stream.reader->record(), stream);
        if (stream.reader->next())
            put_first_in_place();
        else
            end(remove_first());
    }
}

} // namespace krtool
