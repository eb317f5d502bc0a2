#include <KRCommon/capi/Handles.h>

#include <mutex>

namespace kr_internal::c {

Handles& Handles::instance()
{
    static Handles& handles = *new Handles; // threads may call until the process is gone
    return handles;
}

std::uintptr_t Handles::add(const void* kind, std::shared_ptr<Held> held)
{
    const std::unique_lock lock(mutex_);
    while (entries_.count(next_) != 0) // all numbers have been given once
        next_ += 2;
    const std::uintptr_t number = next_;
    entries_.emplace(number, Entry{kind, std::move(held)});
    next_ += 2;
    return number;
}

std::shared_ptr<Held> Handles::find(const void* kind, std::uintptr_t number) const
{
    const std::shared_lock lock(mutex_);
    const auto entry = entries_.find(number);
    return entry != entries_.end() && entry->second.kind == kind ? entry->second.held : nullptr;
}

std::shared_ptr<Held> Handles::take(const void* kind, std::uintptr_t number)
{
    const std::unique_lock lock(mutex_);
    const auto entry = entries_.find(number);
    if (entry == entries_.end() || entry->second.kind != kind)
        return nullptr;
    std::shared_ptr<Held> held = std::move(entry->second.held);
    entries_.erase(entry);
    return held;
}

} // namespace kr_internal::c
