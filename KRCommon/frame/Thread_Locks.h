#pragma once

/// \file
/// What one thread holds and waits for, as reports show it: written by the thread itself and read by
/// any other at any time, both without a lock.
///
/// Mutexes appear by their addresses, which nobody follows: a mutex may be destroyed while a reader
/// looks. Each field is whole by itself. A lock that changes hands in the very moment in which it is
/// read may show some of before and some of after; one that is stuck is shown as it is.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kr_internal {

class Thread_Locks {
public:
    static constexpr int slots = 8;

    struct Held {
        const void* mutex = nullptr; ///< null: nothing
        const char* file = nullptr;
        int line = -1;
        std::int64_t since = 0;  ///< coarse_steady_milliseconds()
        std::uint32_t order = 0; ///< the mutex's number in the order of locks, see Lock_Order.h
    };

    struct Wait {
        const void* mutex = nullptr; ///< null: none
        const char* file = nullptr;
        int line = -1;
        std::int64_t since = 0;
        char name[48] = {}; ///< as the guarding site writes it, cut to what fits
    };

    struct State {
        std::uint64_t token = 0; ///< of the thread, see Mutex_Lock.h
        unsigned thread = 0;     ///< its number, as log lines show it
        unsigned unlisted = 0;   ///< how many mutexes it holds beyond those in the slots
        std::array<Held, slots> held;
        Wait wait;
    };

    // For the thread itself:

    /// Begins a thread's record: nothing is held.
    void reset(unsigned thread, std::uint64_t token) noexcept
    {
        thread_.store(thread, relaxed);
        for (Slot& slot : held_)
            slot.mutex.store(nullptr, relaxed);
        used_.store(0, relaxed);
        unlisted_.store(0, relaxed);
        wait_.mutex.store(nullptr, relaxed);
        token_.store(token, std::memory_order_release);
    }

    void set_thread(unsigned thread) noexcept { thread_.store(thread, relaxed); }

    /// The slot that shows it from now on, from 1 to `slots`; 0 when there is none left: then it is
    /// only counted.
    unsigned add(const Held& held) noexcept
    {
        const unsigned used = used_.load(relaxed);
        if (used == all_used) {
            unlisted_.store(unlisted_.load(relaxed) + 1, relaxed);
            return 0;
        }
        const int number = __builtin_ctz(~used);
        Slot& slot = held_[static_cast<std::size_t>(number)];
        slot.file.store(held.file, relaxed);
        slot.line.store(held.line, relaxed);
        slot.since.store(held.since, relaxed);
        slot.order.store(held.order, relaxed);
        slot.mutex.store(held.mutex, std::memory_order_release);
        used_.store(used | 1u << number, relaxed);
        return static_cast<unsigned>(number) + 1;
    }

    /// What add() has given.
    void remove(unsigned slot) noexcept
    {
        if (slot == 0) {
            unlisted_.store(unlisted_.load(relaxed) - 1, relaxed);
            return;
        }
        held_[slot - 1].mutex.store(nullptr, relaxed);
        used_.store(used_.load(relaxed) & ~(1u << (slot - 1)), relaxed);
    }

    void begin_wait(const void* mutex, const char* name, const char* file, int line,
                    std::int64_t since) noexcept
    {
        std::size_t i = 0;
        for (; name != nullptr && name[i] != '\0' && i + 1 < wait_.name.size(); ++i)
            wait_.name[i].store(name[i], relaxed);
        wait_.name[i].store('\0', relaxed);
        wait_.file.store(file, relaxed);
        wait_.line.store(line, relaxed);
        wait_.since.store(since, relaxed);
        wait_.mutex.store(mutex, std::memory_order_release);
    }

    void end_wait() noexcept { wait_.mutex.store(nullptr, relaxed); }

    // For any thread:

    State state() const noexcept
    {
        State state;
        state.token = token_.load(acquire);
        state.thread = thread();
        state.unlisted = unlisted_.load(acquire);
        for (int slot = 0; slot < slots; ++slot)
            state.held[static_cast<std::size_t>(slot)] = held(slot);
        state.wait = wait();
        return state;
    }

    unsigned thread() const noexcept { return thread_.load(relaxed); }

    Held held(int slot) const noexcept
    {
        const Slot& from = held_[static_cast<std::size_t>(slot)];
        Held held;
        held.mutex = from.mutex.load(acquire);
        held.file = from.file.load(acquire);
        held.line = from.line.load(acquire);
        held.since = from.since.load(acquire);
        held.order = from.order.load(acquire);
        return from.mutex.load(relaxed) == held.mutex ? held : Held();
    }

    Wait wait() const noexcept
    {
        Wait wait;
        wait.mutex = wait_.mutex.load(acquire);
        wait.file = wait_.file.load(acquire);
        wait.line = wait_.line.load(acquire);
        wait.since = wait_.since.load(acquire);
        for (std::size_t i = 0; i + 1 < wait_.name.size(); ++i)
            wait.name[i] = wait_.name[i].load(acquire);
        return wait_.mutex.load(relaxed) == wait.mutex ? wait : Wait();
    }

private:
    static constexpr std::memory_order relaxed = std::memory_order_relaxed;
    static constexpr std::memory_order acquire = std::memory_order_acquire;
    static constexpr unsigned all_used = (1u << slots) - 1;

    struct Slot {
        std::atomic<const void*> mutex{nullptr};
        std::atomic<const char*> file{nullptr};
        std::atomic<int> line{-1};
        std::atomic<std::uint32_t> order{0};
        std::atomic<std::int64_t> since{0};
    };

    struct Waiting {
        std::atomic<const void*> mutex{nullptr};
        std::atomic<const char*> file{nullptr};
        std::atomic<int> line{-1};
        std::atomic<std::int64_t> since{0};
        std::array<std::atomic<char>, sizeof(Wait::name)> name{};
    };

    std::array<Slot, slots> held_;
    std::atomic<unsigned> used_{0}; // a bit for each slot
    std::atomic<unsigned> unlisted_{0};
    std::atomic<unsigned> thread_{0};
    std::atomic<std::uint64_t> token_{0};
    Waiting wait_;
};

} // namespace kr_internal
