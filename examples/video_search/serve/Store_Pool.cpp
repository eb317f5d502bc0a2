#include "Store_Pool.h"

#include "Api_Error.h"

#include <utility>

namespace video_search {

Store_Pool::Store_Pool(std::string path, std::size_t most) : path_(std::move(path)), unopened_(most)
{
    free_.reserve(most); // giving back needs no memory
    free_.push_back(open_store(path_, Object_Store::Access::read));
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

Store_Pool::Lease Store_Pool::lend(std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock<std::mutex> lock(mutex_);
    wait_for_turn(lock, deadline);
    if (!free_.empty()) {
        std::unique_ptr<Object_Store> store = std::move(free_.back());
        free_.pop_back();
        tell_next();
        return {*this, std::move(store)};
    }
    --unopened_;
    tell_next();
    lock.unlock();
    try {
        return {*this, open_store(path_, Object_Store::Access::read)};
    } catch (...) {
        lock.lock();
        ++unopened_;
        tell_next();
        throw;
    }
}

void Store_Pool::give_back(std::unique_ptr<Object_Store> store)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(std::move(store));
    tell_next();
}

} // namespace video_search
