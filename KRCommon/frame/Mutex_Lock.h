#pragma once

/// \file
/// The lock behind KR_Mutex_Ex: fair, timed, and passed on when its thread ends.
///
/// A lock is one word, kr_internal::Process_Lock::word: the token of the thread that holds it, or 0,
/// and two bits about those who wait. A free lock is taken, and one for which nobody waits is
/// released, by one exchange of that word and nothing else. Tokens are never given twice, so a thread
/// that has ended while it held a lock is not taken for a later one.
///
/// Who cannot have the lock queues in order of arrival and sleeps, the first one until it is woken
/// by a release. Meanwhile others may take the free lock: a thread that is running makes use of it
/// sooner than one that has to wake up. But once the first in the queue has waited for a
/// millisecond, a release hands the lock over to it, and nobody comes between.
///
/// A thread that waits looks now and then, after 2 ms first and every 64 ms in the end, whether the
/// lock's holder, or the first in the queue, has ended meanwhile; then it passes the lock on.
///
/// Queues and what is known of threads lie in tables of the library. In the child of a fork they
/// start anew: the forking thread still holds what it held, and all other threads have ended.
///
/// Threads: any, at any time, without fear of each other. A thread that is killed within the few
/// instructions that change a queue leaves it locked: such is the nature of killing threads.

#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/Thread_Locks.h>

#include <cstdint>
#include <functional>

namespace kr_internal {

// A lock's word: the holder's token and two bits.
constexpr std::uint64_t is_queued = 1; // somebody waits
constexpr std::uint64_t is_awake = 2;  // the first of them has been woken and will see for itself
constexpr std::uint64_t queue_bits = is_queued | is_awake;

constexpr std::uint64_t holder(std::uint64_t word) noexcept
{
    return word & ~queue_bits;
}

/// What the library knows of the calling thread.
struct Own_Thread {
    std::uint64_t token; ///< 0 until it has asked for a lock
    Thread_Locks* locks; ///< what it holds and waits for; null while there is no token
};

/// Not thread_local, which would be asked each time whether it needs to be constructed, and at a fixed
/// distance from the thread's own pointer where the system has such places: finding it is no call.
extern __thread Own_Thread own_thread __attribute__((tls_model("initial-exec")));

/// Gives the calling thread its token; 0 when there is no memory, or no handle, for what is kept of
/// a thread.
std::uint64_t make_own_token() noexcept;

void release_to_queue(Process_Lock& lock) noexcept;

enum class Attempt {
    taken, ///< the lock was free and is the caller's now
    own,   ///< the caller holds it already
    busy,  ///< somebody else holds it, or the caller has no token; acquire_for() tells
};

/// Never waits.
inline Attempt try_acquire(Process_Lock& lock) noexcept
{
    std::uint64_t token = own_thread.token;
    if (token == 0)
        token = make_own_token();
    if (token == 0)
        return Attempt::busy;
    std::uint64_t word = lock.word.load(std::memory_order_relaxed);
    while (holder(word) == 0)
        if (lock.word.compare_exchange_weak(word, word | token, std::memory_order_acquire,
                                            std::memory_order_relaxed))
            return Attempt::taken;
    return holder(word) == token ? Attempt::own : Attempt::busy;
}

/// Waits at most so long, not at all for 0 and less. For a lock that the caller does not hold.
///
/// arrival  since when the caller has been waiting (kr_platform::steady_microseconds()): its place
///          in the queue, so that one who comes back has not lost it
/// returns  0, or -1 with errno: ETIME when the time is over, ENOMEM when the caller has no token
int acquire_for(Process_Lock& lock, std::int64_t milliseconds, std::int64_t arrival) noexcept;

/// True when the calling thread holds the lock.
inline bool is_own(const Process_Lock& lock) noexcept
{
    const std::uint64_t token = own_thread.token;
    return token != 0 && holder(lock.word.load(std::memory_order_relaxed)) == token;
}

/// Shows what each living thread holds and waits for, one after the other. Takes no lock, so it cannot
/// wait; what a thread that has ended held is free and not shown. For any thread, at any time, in the
/// child of a fork too.
void for_each_thread(const std::function<void(const Thread_Locks::State&)>& show);

/// Gives back a lock that the caller holds.
inline void release(Process_Lock& lock) noexcept
{
    std::uint64_t word = lock.word.load(std::memory_order_relaxed);
    while ((word & queue_bits) != is_queued)
        if (lock.word.compare_exchange_weak(word, word & queue_bits, std::memory_order_release,
                                            std::memory_order_relaxed))
            return;
    release_to_queue(lock);
}

} // namespace kr_internal
