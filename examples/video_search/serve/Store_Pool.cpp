#include "Store_Pool.h"

#include "Api_Error.h"

#include <utility>

namespace video_search {

Store_Pool::Store_Pool(std::string path, std::size_t most) : path_(std::move(path)), unopened_(most)
{
    free_.reserve(most); // giving back needs no memory
    free_.push_back(std::make_unique<Store>(path_, Store::Access::read));
    --unopened_;
}

Store_Pool::Lease Store_Pool::lend(std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!is_given_back_.wait_until(lock, deadline,
                                   [this] { return !free_.empty() || unopened_ > 0; }))
        throw Api_Error(503, "busy", "too many searches are waiting; try again");
    if (!free_.empty()) {
        std::unique_ptr<Store> store = std::move(free_.back());
        free_.pop_back();
        return {*this, std::move(store)};
    }
    --unopened_;
    lock.unlock();
    try {
        return {*this, std::make_unique<Store>(path_, Store::Access::read)};
    } catch (...) {
        lock.lock();
        ++unopened_;
        throw;
    }
}

void Store_Pool::give_back(std::unique_ptr<Store> store)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        free_.push_back(std::move(store));
    }
    is_given_back_.notify_one();
}

} // namespace video_search
