#pragma once

/// \file
/// The last lines that the priority mask dropped, kept until something goes wrong.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace kr_internal {

/// A ring of lines. Nobody waits for anybody: a line whose place is being used is dropped.
///
/// Threads: any at any time.
class Log_Ring {
public:
    static constexpr std::size_t line_room = 1000; ///< bytes of a line, with the zero at its end
    using Text = std::array<char, line_room>;

    /// For so many lines, at least 1. Throws std::bad_alloc.
    explicit Log_Ring(std::size_t lines);

    /// Has the function write a line into the ring: it gets the text, and returns its size.
    template <typename Write>
    void keep(Write write) noexcept
    {
        const std::uint64_t number = ++last_;
        Slot& slot = slot_of(number);
        if (slot.is_in_use.exchange(true, std::memory_order_acquire))
            return;
        slot.size = write(slot.text);
        slot.number = number;
        slot.is_in_use.store(false, std::memory_order_release);
    }

    /// Gives the lines to the function, the oldest first, and forgets them.
    template <typename Take>
    void take(Take take) noexcept
    {
        const std::uint64_t last = last_;
        taken_ = last;
        for (std::uint64_t number = last >= size_ ? last - size_ + 1 : 1; number <= last;
             ++number) {
            Slot& slot = slot_of(number);
            if (slot.is_in_use.exchange(true, std::memory_order_acquire))
                continue;
            if (slot.number == number)
                take(std::string_view(slot.text.data(), slot.size));
            slot.number = slot.number <= number ? 0 : slot.number;
            slot.is_in_use.store(false, std::memory_order_release);
        }
    }

    /// False when there may be lines.
    bool is_empty() const noexcept { return taken_ == last_; }

    /// For the child of a fork, in which nobody else uses it: what other threads were writing is gone.
    void forget_other_threads() noexcept;

    std::size_t size() const noexcept { return size_; }

private:
    struct Slot {
        std::atomic<bool> is_in_use{false};
        std::uint64_t number = 0; // counts from 1; 0: empty
        std::size_t size = 0;
        Text text;
    };

    Slot& slot_of(std::uint64_t number) noexcept
    {
        return slots_[static_cast<std::size_t>(number % size_)];
    }

    std::size_t size_;
    std::unique_ptr<Slot[]> slots_;
    std::atomic<std::uint64_t> last_{0};
    std::atomic<std::uint64_t> taken_{0};
};

extern std::atomic<Log_Ring*> ring_in_use; // log_ring()

/// The process's ring; null while there is none. One load.
inline Log_Ring* log_ring() noexcept
{
    return ring_in_use.load(std::memory_order_acquire);
}

/// Gives the process a ring of so many lines, 0: none. Rings of other sizes stay in memory, for threads
/// may be using them. Throws std::bad_alloc; then everything is as it was.
/// REQUIRES: the log lock is held.
void set_log_ring(std::size_t lines);

} // namespace kr_internal
