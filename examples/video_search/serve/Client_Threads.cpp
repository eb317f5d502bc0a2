#include "Client_Threads.h"

#include <utility>

namespace video_search {

namespace {

thread_local bool is_refusing = false;

} // namespace

bool Client_Threads::refuses() noexcept
{
    return is_refusing;
}

Client_Threads::Client_Threads(std::size_t count, Connections& connections)
    : connections_(connections)
{
    threads_.reserve(count);
    while (threads_.size() < count)
        threads_.emplace_back([this] { run(); });
}

Client_Threads::~Client_Threads()
{
    shutdown();
}

void Client_Threads::enqueue(std::function<void()> work)
{
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const bool has_thread = busy_ + queue_.size() < threads_.size();
        const bool has_place = queue_.size() < threads_.size();
        if (has_thread || (has_place && connections_.end_one())) {
            queue_.push_back(std::move(work));
            has_work_.notify_one();
            return;
        }
    }
    is_refusing = true;
    work();
    is_refusing = false;
}

void Client_Threads::shutdown()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        is_over_ = true;
    }
    has_work_.notify_all();
    for (std::thread& thread : threads_)
        if (thread.joinable())
            thread.join();
}

void Client_Threads::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        has_work_.wait(lock, [this] { return is_over_ || !queue_.empty(); });
        if (queue_.empty())
            return;
        const std::function<void()> work = std::move(queue_.front());
        queue_.pop_front();
        ++busy_;
        lock.unlock();
        work();
        lock.lock();
        --busy_;
    }
}

} // namespace video_search
