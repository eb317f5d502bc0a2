#pragma once

/// \file
/// Who is inside ACE's logging. Where threads run on while the process ends, ACE destroys its log
/// lock under them. So every line and every timer upcall passes a gate, which the process's end
/// closes: it waits for those inside, for a limited time, and lets nobody in but its own thread.

#include <KRCommon/frame/Log.h>

#include <array>
#include <atomic>

namespace kr_internal {

/// Threads: everything may be called from any thread at any time.
class Log_Gate {
public:
    using Counter = std::atomic<int>;

    /// The gate of all lines.
    static Log_Gate& of_process() noexcept;

    constexpr Log_Gate() noexcept = default;

    /// Counts the caller in; `where` is an address on its stack. Null when the gate is closed for
    /// it. Who has entered leaves by the same counter.
    Counter* enter(const void* where) noexcept;
    static void leave(Counter& counter) noexcept { counter.fetch_sub(1); }

    /// Closes the gate for all threads but the calling one and waits, at most so long, until
    /// nobody is inside. False when somebody stays inside, holding the log lock maybe: then the
    /// gate is closed for the calling thread too. The caller must not be inside.
    bool close(int milliseconds) noexcept;

    /// Whether the gate is closed for the calling thread: one load while it is open.
    bool is_closed_for_caller() const noexcept
    {
        const unsigned ending_thread = ending_thread_;
        return ending_thread != 0 && is_closed_by(ending_thread);
    }

    /// For the child of a fork, which has the calling thread alone: nobody else is inside.
    void forget_other_threads() noexcept;

private:
    struct alignas(64) Padded_Counter { // in a cache line of its own
        Counter inside{0};
    };

    bool is_anybody_inside() const noexcept;
    bool is_closed_by(unsigned ending_thread) const noexcept;

    std::array<Padded_Counter, 16> counters_{}; // threads share them, so that lines of many threads
                                                // do not meet at one
    std::atomic<unsigned> ending_thread_{0};    // 0: open
    std::atomic<bool> is_somebody_stuck_{false};
};

extern Log_Gate process_gate; // of_process()

/// The way through the process's gate for as long as the object lives. While the process ends it is
/// closed to all threads but the one that ends it: ACE's log is no longer there for them.
class Log_Passage {
public:
    Log_Passage() noexcept;
    ~Log_Passage();
    Log_Passage(const Log_Passage&) = delete;
    Log_Passage& operator=(const Log_Passage&) = delete;

    /// False: closed. ACE's log must not be touched.
    explicit operator bool() const noexcept { return counter_ != nullptr; }

private:
    Log_Gate::Counter* counter_;
};

/// Whether a passage would be closed to the calling thread. One load while the process lives.
inline bool is_log_closed() noexcept
{
    return process_gate.is_closed_for_caller();
}

} // namespace kr_internal
