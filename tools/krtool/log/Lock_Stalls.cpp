#include "Lock_Stalls.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace krtool {

namespace {

// Takes texts off the front of a message.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool skip(std::string_view text)
    {
        if (rest_.substr(0, text.size()) != text)
            return false;
        rest_.remove_prefix(text.size());
        return true;
    }

    bool number(std::uint64_t& out)
    {
        const auto result = std::from_chars(rest_.data(), rest_.data() + rest_.size(), out);
        if (result.ec != std::errc())
            return false;
        rest_.remove_prefix(static_cast<std::size_t>(result.ptr - rest_.data()));
        return true;
    }

    bool until(std::string_view mark, std::string& out)
    {
        const std::size_t place = rest_.find(mark);
        if (place == std::string_view::npos)
            return false;
        out = rest_.substr(0, place);
        rest_.remove_prefix(place + mark.size());
        return true;
    }

    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

// " (locked 2 time(s) by T1234 first on 12:30:01.250000 at B.cpp:7)."
bool read_holder(Scanner& line, Lock_Stall& stall)
{
    return line.skip("(locked ") && line.number(stall.holder_depth) && line.skip(" time(s) by T") &&
           line.number(stall.holder) && line.skip(" first on ") &&
           line.until(" at ", stall.holder_since) && line.until(").", stall.holder_site);
}

// "delay (10 seconds passed) at A.cpp:42 (locked ...", "failed (130 seconds passed) at ..."
bool read_wait(Scanner& line, Lock_Stall& stall)
{
    if (line.skip("delay ("))
        stall.end = Stall_End::open;
    else if (line.skip("failed ("))
        stall.end = Stall_End::failed;
    else
        return false;
    return line.number(stall.seconds) && line.skip(" seconds passed) at ") &&
           line.until(" ", stall.waiter_site) && read_holder(line, stall);
}

// "Lock eventually acquired after 15 seconds at A.cpp:42."
bool read_acquired(Scanner& line, Lock_Stall& stall)
{
    stall.end = Stall_End::acquired;
    if (!line.number(stall.seconds) || !line.skip(" seconds at "))
        return false;
    stall.waiter_site = line.rest().substr(0, line.rest().rfind('.'));
    return true;
}

// "Lock panic at A.cpp:42, ace error 22, OS: Invalid argument."
bool read_panic(Scanner& line, Lock_Stall& stall)
{
    stall.end = Stall_End::panic;
    stall.waiter_site.clear();
    if (!line.until(", ", stall.waiter_site))
        return false;
    stall.detail = line.rest();
    return true;
}

// "Lock order: acquired at A.cpp:42 while holding the lock of A.cpp:40, but before it was the other way
// round: at ..."
bool read_order(Scanner& line, Lock_Stall& stall)
{
    stall.end = Stall_End::order;
    if (!line.until(" while holding the lock of ", stall.waiter_site) ||
        !line.until(", but before it was the other way round: ", stall.holder_site))
        return false;
    stall.detail = line.rest();
    return true;
}

// A line of the guard about one lock: "KR_GUARD:[0] mutex_ - Lock ...".
std::optional<Lock_Stall> read_line(std::string_view message)
{
    Scanner line(message);
    Lock_Stall stall;
    std::string depth;
    if (!line.skip("KR_GUARD:[") || !line.until("] ", depth) ||
        !line.until(" - Lock ", stall.mutex))
        return std::nullopt;
    bool is_whole = false;
    if (line.skip("acquire "))
        is_whole = read_wait(line, stall);
    else if (line.skip("eventually acquired after "))
        is_whole = read_acquired(line, stall);
    else if (line.skip("panic at "))
        is_whole = read_panic(line, stall);
    else if (line.skip("order: acquired at "))
        is_whole = read_order(line, stall);
    if (!is_whole)
        return std::nullopt;
    return stall;
}

// What the lines before have told of the same wait.
Lock_Stall joined(const Lock_Stall& before, Lock_Stall stall)
{
    stall.begin = before.begin;
    if (stall.holder_site.empty()) {
        stall.holder = before.holder;
        stall.holder_site = before.holder_site;
        stall.holder_since = before.holder_since;
        stall.holder_depth = before.holder_depth;
    }
    if (stall.end == Stall_End::panic)
        stall.seconds = static_cast<std::uint64_t>(
            std::max<Local_Time>(stall.last_line - before.begin, 0) / one_second);
    return stall;
}

bool begins_earlier(const Lock_Stall& a, const Lock_Stall& b) noexcept
{
    return a.begin < b.begin;
}

} // namespace

const char* end_text(Stall_End end) noexcept
{
    switch (end) {
    case Stall_End::acquired: return "acquired";
    case Stall_End::failed: return "failed";
    case Stall_End::panic: return "panic";
    case Stall_End::open: return "open";
    case Stall_End::order: return "order";
    }
    return "";
}

void Lock_Stalls::add(std::string_view source, const Line_Head& head, std::string_view message,
                      Local_Time time)
{
    constexpr std::string_view ours = "KR_GUARD:";
    if (message.substr(0, ours.size()) != ours)
        return;
    message = without_end(message.substr(0, message.find('\n')));
    const std::pair<std::string, std::uint64_t> thread{source, head.thread};
    const auto ending = ending_.find(thread);
    if (ending != ending_.end() && message.substr(0, 15) == "KR_GUARD: Lock ") {
        constexpr std::size_t most = 1000;
        if (ending->second.locks.size() < most)
            ending->second.locks.emplace_back(message.substr(10));
        return;
    }
    std::optional<Lock_Stall> stall = read_line(message);
    if (!stall)
        return;
    if (ending != ending_.end()) { // the number is another process's by now
        over_.push_back(std::move(ending->second));
        ending_.erase(ending);
    }
    stall->source = source;
    stall->waiter = head.thread;
    stall->last_line = time;
    stall->begin =
        time -
        static_cast<Local_Time>(std::min<std::uint64_t>(stall->seconds, 1'000'000)) * one_second;
    const Key key{stall->source, stall->waiter, stall->mutex, stall->waiter_site};
    if (stall->end != Stall_End::open) {
        end(key, std::move(*stall));
        return;
    }
    if (const auto before = open_.find(key); before != open_.end()) { // whose end is missing
        over_.push_back(before->second);
        open_.erase(before);
    }
    open_.insert({key, std::move(*stall)});
    bound_open();
}

void Lock_Stalls::end(const Key& key, Lock_Stall stall)
{
    const auto before = open_.find(key);
    if (before != open_.end() && stall.end != Stall_End::order) {
        stall = joined(before->second, std::move(stall));
        open_.erase(before);
    }
    const bool ends_process = stall.end == Stall_End::failed || stall.end == Stall_End::panic;
    if (ends_process && ending_.size() < open_limit)
        ending_[{stall.source, stall.waiter}] = std::move(stall);
    else
        over_.push_back(std::move(stall));
}

void Lock_Stalls::bound_open()
{
    if (open_.size() <= open_limit)
        return;
    const auto oldest = std::min_element(open_.begin(), open_.end(), [](auto& a, auto& b) {
        return begins_earlier(a.second, b.second);
    });
    over_.push_back(oldest->second);
    open_.erase(oldest);
}

std::vector<Lock_Stall> Lock_Stalls::take_over()
{
    return std::exchange(over_, {});
}

std::vector<Lock_Stall> Lock_Stalls::take_open()
{
    std::vector<Lock_Stall> all;
    for (auto& [thread, stall] : ending_)
        all.push_back(std::move(stall));
    ending_.clear();
    for (auto& [key, stall] : open_)
        all.push_back(std::move(stall));
    open_.clear();
    std::stable_sort(all.begin(), all.end(), begins_earlier);
    return all;
}

} // namespace krtool
