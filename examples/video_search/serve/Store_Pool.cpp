#include "Store_Pool.h"

#include "Api_Error.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace video_search {

Store_Pool::Store_Pool(std::string path, std::size_t most) : path_(std::move(path)), unopened_(most)
{
    free_.reserve(most); // giving back needs no memory
    free_.push_back({open_store(path_, Object_Store::Access::read), edition_});
    --unopened_;
}

// Whoever takes or leaves tells the next one, for whom something may be left.
void Store_Pool::tell_next()
{
    if (!waiting_.empty() && (!free_.empty() || unopened_ > 0))
        waiting_.front().may_be_turn.notify_one();
}

void Store_Pool::wait_for_turn(std::unique_lock<std::mutex>& lock,
                               std::chrono::steady_clock::time_point deadline)
{
    const auto own = waiting_.emplace(waiting_.end());
    const bool is_turn = own->may_be_turn.wait_until(lock, deadline, [&] {
        return own == waiting_.begin() && (!free_.empty() || unopened_ > 0);
    });
    waiting_.erase(own);
    if (is_turn)
        return;
    tell_next();
    throw Api_Error(503, "busy", "too many searches are waiting; try again");
}

// Empty when there is none but one may be opened.
Store_Pool::Opened Store_Pool::take_free()
{
    Opened opened;
    if (!free_.empty()) {
        opened = std::move(free_.back());
        free_.pop_back();
    } else {
        --unopened_;
    }
    tell_next();
    return opened;
}

Store_Pool::Lease Store_Pool::lend(std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock<std::mutex> lock(mutex_);
    wait_for_turn(lock, deadline);
    Opened opened = take_free();
    if (!opened.store)
        opened.edition = edition_;
    lock.unlock();
    if (opened.store && opened.store->is_current())
        return {*this, std::move(opened)};
    return open(std::move(opened));
}

// In the place of one that is no longer current, or that was not opened yet.
Store_Pool::Lease Store_Pool::open(Opened last)
{
    try {
        const std::size_t edition = last.store ? edition_after(last.edition) : last.edition;
        last.store.reset();
        return {*this, {open_store(path_, Object_Store::Access::read), edition}};
    } catch (...) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++unopened_;
        tell_next();
        throw;
    }
}

// The first who sees that an edition is over begins the next one and closes all that nobody uses.
std::size_t Store_Pool::edition_after(std::size_t edition)
{
    std::vector<Opened> old; // closed without the lock
    const std::lock_guard<std::mutex> lock(mutex_);
    if (edition == edition_) {
        old.reserve(free_.size());
        std::move(free_.begin(), free_.end(), std::back_inserter(old));
        unopened_ += free_.size();
        free_.clear();
        ++edition_;
        tell_next();
    }
    return edition_;
}

// One of an edition that is over is closed, without the lock.
void Store_Pool::give_back(Opened opened) noexcept
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (opened.edition == edition_)
        free_.push_back(std::move(opened)); // there is room
    else
        ++unopened_;
    tell_next();
}

} // namespace video_search
