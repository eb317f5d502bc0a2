#pragma once

/// \file
/// A lock that explains itself. KR_Mutex_Ex records who holds it, since when and from which source
/// line; KR_Mutex_Guard acquires it with limits: a wait of 10 seconds is reported with the holder's
/// details, and after a further 120 seconds the lock is dead and the process ends.
///
///     KR_Mutex_Ex<ACE_Process_Mutex> mutex_;
///     ...
///     KR_GUARD(mutex_);                 // until the end of the scope
///
/// Threads: guards are for locking, so any thread may build one on a shared mutex; one guard belongs
/// to one thread. The mutex's record may be read by any thread at any time; its fields are read one
/// by one, so a reader may see a record that is being changed.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Log.h>

#include <ace/Process_Mutex.h>
#include <ace/Time_Value.h>

#include <atomic>
#include <cstdint>
#include <type_traits>

class KR_Mutex_Guard;

namespace kr_internal {

/// The lock behind KR_Mutex_Ex, see frame/Mutex_Lock.h.
struct Process_Lock {
    std::atomic<std::uint64_t> word{0};
};

} // namespace kr_internal

/// A mutex with a record of its holder. The record is written when a thread's first guard takes
/// the mutex and cleared when the last one releases it; a free mutex has an empty record.
///
/// The lock behind it is of this process alone, recursive for its thread and fair: it may be taken
/// by whoever asks for it until the first of those who wait has waited for a millisecond; then it is
/// handed over in order of arrival. It holds nothing of the system's: a mutex costs its 48 bytes and
/// nothing else, and a thread, with its first guard, a record that a later thread inherits.
///
/// A mutex is free when it is destroyed. When a thread ends while it holds one, in whatever way, the
/// mutex passes to the next guard as if released, with a fresh record. In the child of a fork the
/// forking thread still holds what it held and can release it; what other threads held passes to the
/// next guard, as those threads do not exist there, and may guard what is half changed.
template <class LOCK>
class KR_Mutex_Ex {
    static_assert(std::is_same_v<LOCK, ACE_Process_Mutex>,
                  "there is KR_Mutex_Ex<ACE_Process_Mutex> only");

public:
    KR_Mutex_Ex() = default;
    virtual ~KR_Mutex_Ex() = default;
    KR_Mutex_Ex(const KR_Mutex_Ex&) = delete;
    KR_Mutex_Ex& operator=(const KR_Mutex_Ex&) = delete;

    /// Source file of the first guard; null when free.
    const char* first_locker_file() const noexcept { return first_locker_file_; }
    /// Its source line; -1 when free.
    int first_locker_line() const noexcept { return first_locker_line_; }
    /// Number of its thread, as log lines show it; 0 when free.
    unsigned owner() const noexcept { return owner_; }
    /// When it took the mutex, to about 16 ms; zero when free.
    ACE_Time_Value first_lock_time() const
    {
        const std::int64_t time = first_lock_time_;
        return ACE_Time_Value(static_cast<time_t>(time / 1'000'000),
                              static_cast<suseconds_t>(time % 1'000'000));
    }
    /// How many guards of the owning thread hold the mutex now; 0 when free.
    int depth() const noexcept { return dbg_depth_; }

private:
    friend class KR_Mutex_Guard;

    kr_internal::Process_Lock lock_;
    std::atomic<const char*> first_locker_file_{nullptr};
    std::atomic<int> first_locker_line_{-1};
    std::atomic<unsigned> owner_{0};
    std::atomic<std::int64_t> first_lock_time_{0}; // microseconds since 1970 UTC
    std::atomic<int> dbg_depth_{0};
    std::atomic<std::uint32_t> note_{0}; // for reports of all locks; its holder's to write
};

/// Holds a mutex from construction to destruction or release(). Guards of one thread nest: the
/// inner ones succeed at once.
///
/// The lines that a guard logs, as from "Mutex.h" (tag "KR_GUARD"):
/// - after 10 seconds of waiting, once: "*ERR ... Lock acquire delay", with the holder's record;
/// - when the lock then comes: "*ERR ... Lock eventually acquired";
/// - after 130 seconds: "*EMR ... Lock acquire failed", and the process ends with exit code 1;
/// - on any other error of the lock: "*EMR ... Lock panic", and the process ends likewise.
/// The time waited is measured on a clock that nobody sets. A line about a delay that is stuck in the log
/// does not keep the process: when one thread holds the mutex for 120 seconds more, the process ends
/// without a line. Lock_Report.h has what a host may want to happen besides before the process ends, and
/// a report of all locks at any time.
///
/// A debug build of the library remembers which mutexes were taken while others were held, and tells
/// once when two of them, or several in a ring, are taken the other way round than before, since threads
/// may then wait for each other: "*ERR KR_GUARD:[0] mutex_ - Lock order: ...". A release build does not.
class KRCOMMON_EXPORT KR_Mutex_Guard {
public:
    /// Acquires at once.
    ///
    /// lock  must live longer than the guard
    /// name  the mutex as written at the guarding site, "mutex_"; read by the constructor alone
    /// file  bare name of the guarding site's source file; must live as long as the process
    /// line  its line
    KR_Mutex_Guard(KR_Mutex_Ex<ACE_Process_Mutex>& lock, const char* name, const char* file,
                   int line);

    /// Releases, when held.
    ~KR_Mutex_Guard();
    KR_Mutex_Guard(const KR_Mutex_Guard&) = delete;
    KR_Mutex_Guard& operator=(const KR_Mutex_Guard&) = delete;

    /// Gives the mutex back. 0; -1 when the guard does not hold it (any more), and on another
    /// thread than the guard's, where nothing changes (errno EPERM). A depth below zero is a failed
    /// assertion: the process ends.
    int release();

private:
    void acquire_slowly(const char* name);
    int attempt(std::int64_t seconds, std::int64_t arrival);
    void take();
    void take_again();

    // The name is not among these: it is for reports, and they come while the guard is constructed.
    KR_Mutex_Ex<ACE_Process_Mutex>& lock_;
    int result_ = -1; // 0 held, -1 not held
    const char* file_;
    int line_;
    int acquisitions_ = 0;
};

/// Joins two names; for KR_GUARD alone.
#define KR_GUARD_JOIN2(a, b) a##b
/// Joins two names, expanded before; for KR_GUARD alone.
#define KR_GUARD_JOIN(a, b) KR_GUARD_JOIN2(a, b)

/// Guards the mutex until the end of the scope, with the mutex's name, the file and the line of
/// the place where it is written.
#define KR_GUARD(mutex)                                                                            \
    const KR_Mutex_Guard KR_GUARD_JOIN(kr_guard_, __LINE__)(                                       \
        (mutex), #mutex, kr_internal::bare_file_name(__FILE__), __LINE__)
