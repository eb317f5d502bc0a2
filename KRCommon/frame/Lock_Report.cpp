#include <KRCommon/frame/Lock_Report.h>

#include <KRCommon/frame/Mutex_Lock.h>
#include <KRCommon/frame/Mutex_World.h>

#include <algorithm>
#include <map>
#include <tuple>

namespace {

using kr_internal::Thread_Locks;

// What the threads tell, put together by mutexes.
class Collector {
public:
    Collector() : now_(kr_internal::guard_world_in_use().coarse_steady_milliseconds()) {}

    void add(const Thread_Locks::State& thread)
    {
        for (const Thread_Locks::Held& held : thread.held)
            if (held.mutex != nullptr)
                add_holder(held, thread.thread);
        if (thread.wait.mutex != nullptr)
            add_waiter(thread.wait, thread.thread);
        unlisted_ += thread.unlisted;
    }

    unsigned unlisted() const noexcept { return unlisted_; }

    std::vector<KR_Lock_State> result()
    {
        std::vector<KR_Lock_State> all;
        for (auto& [mutex, lock] : locks_) {
            std::sort(lock.waiters.begin(), lock.waiters.end(),
                      [](const KR_Lock_Waiter& a, const KR_Lock_Waiter& b) {
                          return a.milliseconds > b.milliseconds;
                      });
            all.push_back(std::move(lock));
        }
        std::stable_sort(all.begin(), all.end(),
                         [](const KR_Lock_State& a, const KR_Lock_State& b) {
                             return std::make_tuple(a.waiters.empty(), -a.held_milliseconds) <
                                    std::make_tuple(b.waiters.empty(), -b.held_milliseconds);
                         });
        return all;
    }

private:
    void add_holder(const Thread_Locks::Held& held, unsigned thread)
    {
        KR_Lock_State& lock = at(held.mutex);
        lock.owner = thread;
        lock.file = held.file != nullptr ? held.file : "";
        lock.line = held.line;
        lock.held_milliseconds = passed_since(held.since);
    }

    void add_waiter(const Thread_Locks::Wait& wait, unsigned thread)
    {
        at(wait.mutex)
            .waiters.push_back({thread, wait.name, wait.file != nullptr ? wait.file : "", wait.line,
                                passed_since(wait.since)});
    }

    KR_Lock_State& at(const void* mutex)
    {
        KR_Lock_State& lock = locks_[mutex];
        lock.mutex = mutex;
        return lock;
    }

    // Who has come meanwhile has come now.
    std::int64_t passed_since(std::int64_t time) const
    {
        return std::max<std::int64_t>(now_ - time, 0);
    }

    const std::int64_t now_;
    std::map<const void*, KR_Lock_State> locks_;
    unsigned unlisted_ = 0;
};

std::string address_text(const void* address)
{
    auto left = reinterpret_cast<std::uintptr_t>(address);
    std::string text;
    for (; left != 0 || text.empty(); left /= 16)
        text.insert(text.begin(), "0123456789abcdef"[left % 16]);
    return "0x" + text;
}

// "12.345 seconds"
std::string seconds_text(std::int64_t milliseconds)
{
    const std::string fraction = std::to_string(1000 + milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + '.' + fraction.substr(1) + " seconds";
}

// "T0042"
std::string thread_text(unsigned thread)
{
    const std::string number = std::to_string(thread);
    return 'T' + std::string(number.size() < 4 ? 4 - number.size() : 0, '0') + number;
}

std::string site_text(const char* file, int line)
{
    return file + (':' + std::to_string(line));
}

std::string holder_text(const KR_Lock_State& lock)
{
    if (lock.owner == 0)
        return "nobody known";
    return thread_text(lock.owner) + " for " + seconds_text(lock.held_milliseconds) + " at " +
           site_text(lock.file, lock.line);
}

std::string waiters_text(const std::vector<KR_Lock_Waiter>& waiters)
{
    if (waiters.empty())
        return {};
    const char* separator = " ";
    std::string text = ", " + std::to_string(waiters.size()) + " waiting:";
    for (const KR_Lock_Waiter& waiter : waiters) {
        text += separator + thread_text(waiter.thread) + " for " + waiter.name + " at " +
                site_text(waiter.file, waiter.line) + " for " + seconds_text(waiter.milliseconds);
        separator = ", ";
    }
    return text;
}

const char* severity_of(ACE_Log_Priority priority) noexcept
{
    switch (priority) {
    case LM_DEBUG: return " DBG";
    case LM_ERROR: return "*ERR";
    case LM_EMERGENCY: return "*EMR";
    default: return " INF";
    }
}

unsigned report_locks(ACE_Log_Priority priority)
{
    unsigned unlisted = 0;
    const std::vector<KR_Lock_State> locks = kr_locks(&unlisted);
    std::size_t held = unlisted;
    std::size_t waiting = 0;
    for (const KR_Lock_State& lock : locks) {
        held += lock.owner != 0 ? 1 : 0;
        waiting += lock.waiters.size();
    }
    const std::string not_listed =
        unlisted != 0 ? " (" + std::to_string(unlisted) + " not listed)" : "";
    const char* const severity = severity_of(priority);
    kr_log(KR_LOG_SITE(priority), "%T T%04t%s KR_GUARD: Locks: %B held%s, %B waiting.\n", severity,
           held, not_listed, waiting);
    for (const KR_Lock_State& lock : locks)
        kr_log(KR_LOG_SITE(priority), "%T T%04t%s KR_GUARD: Lock %s held by %s%s.\n", severity,
               address_text(lock.mutex), holder_text(lock), waiters_text(lock.waiters));
    return static_cast<unsigned>(locks.size());
}

} // namespace

std::vector<KR_Lock_State> kr_locks(unsigned* unlisted)
{
    Collector collector;
    kr_internal::for_each_thread(
        [&collector](const Thread_Locks::State& thread) { collector.add(thread); });
    if (unlisted != nullptr)
        *unlisted = collector.unlisted();
    return collector.result();
}

unsigned kr_report_locks(ACE_Log_Priority priority) noexcept
{
    const bool is_ours = priority == LM_DEBUG || priority == LM_INFO || priority == LM_ERROR ||
                         priority == LM_EMERGENCY;
    try {
        return report_locks(is_ours ? priority : LM_INFO);
    } catch (...) { // no memory
        return 0;
    }
}
