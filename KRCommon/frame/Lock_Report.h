#pragma once

/// \file
/// Who holds which mutex, since when, and who waits for it: of all KR_Mutex_Ex of the process at once.
/// And what a host wants to happen before a guard ends the process over a dead lock.
///
///     kr_report_locks();                    // at an operator's wish: lines in the log
///     for (const KR_Lock_State& lock : kr_locks())
///         if (lock.held_milliseconds > 5'000) ...
///
///     KR_Lock_End end;
///     end.reports_locks = true;             // the report, after the guard's last line
///     end.hook = &write_dump;               // then the host's own, within 10 seconds
///     kr_set_lock_end(end);
///
/// The library keeps what each thread holds with the thread, not with the mutex, and reads it without a
/// lock: asking waits for nobody and holds up nobody, may be done while mutexes are made and destroyed,
/// and in a forked child, which holds what the forking thread held. What a thread that has ended held
/// is free, as Mutex.h says, and not shown. A lock that changes hands while it is looked at may appear
/// with its old or its new holder, or with none. A thread shows the first 8 mutexes that it holds at a
/// time and counts the others.
///
/// Times are measured on a clock that nobody sets, in steps of up to 16 ms.
///
/// Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Log.h>

#include <cstdint>
#include <string>
#include <vector>

/// A guard that waits.
struct KR_Lock_Waiter {
    unsigned thread = 0;   ///< as log lines show it
    std::string name;      ///< the mutex as the guarding site writes it, cut to 47 characters
    const char* file = ""; ///< of the guarding site, its bare name
    int line = -1;         ///< its line
    std::int64_t milliseconds = 0; ///< so long it has been waiting
};

/// A mutex that is held, or waited for, or both.
struct KR_Lock_State {
    const void* mutex = nullptr; ///< its address, for telling mutexes apart: it may be gone
    unsigned owner = 0;          ///< the thread that holds it; 0: none that is known
    const char* file = "";       ///< where that one has taken it, a bare name; "" without one
    int line = -1;               ///< -1 without one
    std::int64_t held_milliseconds = 0;  ///< so long it has been held
    std::vector<KR_Lock_Waiter> waiters; ///< longest wait first
};

/// The mutexes that are held or waited for: those that somebody waits for first, and of these, as of
/// the others, those held for longest first.
///
/// unlisted  when not null: gets the number of held mutexes that are not among them, since their
///           threads hold more than 8
KRCOMMON_EXPORT std::vector<KR_Lock_State> kr_locks(unsigned* unlisted = nullptr);

/// Logs what kr_locks() tells, a line for each mutex after one with the sums, and returns the number
/// of mutexes:
///
///     ... INF KR_GUARD: Locks: 2 held, 1 waiting.
///     ... INF KR_GUARD: Lock 0x55d0c8 held by T1234 for 12.345 seconds at B.cpp:7, 1 waiting: T0042 for mutex_ at A.cpp:42 for 3.210 seconds.
///     ... INF KR_GUARD: Lock 0x55d0f0 held by T0042 for 9.876 seconds at A.cpp:40.
///
/// "held by nobody known" where there are only waiters; "Locks: 12 held (3 not listed), ...". A line that
/// has too many waiters for its length is cut and ends in "...", their number stands before them.
///
/// priority  LM_DEBUG, LM_INFO, LM_ERROR or LM_EMERGENCY, with the severity to match; anything else
///           counts as LM_INFO. The log's mask decides, so ask for LM_ERROR to be heard at level 1
///
/// Waits for the log as every line does, and for nothing else. Never throws: when memory runs out
/// nothing is logged, and the result is 0.
KRCOMMON_EXPORT unsigned kr_report_locks(ACE_Log_Priority priority = LM_INFO) noexcept;

/// What happens before a guard ends the process, after 130 seconds ("Lock acquire failed") or a "Lock
/// panic", besides its line. Nothing at first.
struct KR_Lock_End {
    /// kr_report_locks(LM_ERROR), right after the line.
    bool reports_locks = false;

    /// A function of the host's, to write a dump for example; null: none. It is called once, on a thread
    /// of its own, when the line and the report are written, or a second after the guard has begun to
    /// write them, when the log is stuck; at once when already the line about the delay is. The other
    /// threads run on, and still hold what they hold: what waits for one of their locks waits for ever.
    void (*hook)(void* argument) = nullptr;
    void* argument = nullptr; ///< handed to the hook

    /// So long the hook has; then the process ends all the same. At most 600,000 count.
    ///
    /// The process ends with exit code 1 as soon as the hook has returned, and in any case a second
    /// after this time. Without the hook where no thread can be started for it (memory; Windows: somebody
    /// holds the loader's lock).
    std::uint32_t hook_milliseconds = 10'000;
};

/// Sets what happens from now on, in place of what was set before. Each call keeps some bytes for the
/// rest of the process's life: call it when the host starts. False when there is no memory for them;
/// then all stays as it was. Threads: any, at any time.
KRCOMMON_EXPORT bool kr_set_lock_end(const KR_Lock_End& end) noexcept;
