#include "Connections.h"

#include <ace/OS_NS_sys_socket.h>

namespace video_search {

Connections::Place::Place(Connections& all, ACE_HANDLE handle) : all_(all)
{
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    entry_ = all_.entries_.insert(all_.entries_.end(), {handle});
    if (all_.is_over_)
        end(*entry_);
}

Connections::Place::~Place()
{
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    all_.entries_.erase(entry_);
}

void Connections::Place::set(Wait wait)
{
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    entry_->wait = wait;
    entry_->since = Clock::now();
}

bool Connections::Place::is_ended() const
{
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    return entry_->is_ended;
}

// The client sees the connection end.
void Connections::end(Entry& entry)
{
    entry.is_ended = true;
    ACE_OS::shutdown(entry.handle, ACE_SHUTDOWN_BOTH);
}

bool Connections::end_one()
{
    constexpr std::chrono::seconds patience(1);
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    Entry* chosen = nullptr;
    for (Entry& entry : entries_) {
        const bool may_end =
            !entry.is_ended && (entry.wait == Wait::request ||
                                (entry.wait == Wait::client && now - entry.since >= patience));
        const bool is_better = chosen == nullptr || entry.wait < chosen->wait ||
                               (entry.wait == chosen->wait && entry.since < chosen->since);
        if (may_end && is_better)
            chosen = &entry;
    }
    if (chosen == nullptr)
        return false;
    end(*chosen);
    ++ended_;
    return true;
}

void Connections::end_all()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    is_over_ = true;
    for (Entry& entry : entries_)
        if (!entry.is_ended)
            end(entry);
}

std::size_t Connections::count() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
}

std::size_t Connections::ended() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return ended_;
}

} // namespace video_search
