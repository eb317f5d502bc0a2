#pragma once

/// \file
/// Which locks were taken while others were held. Two threads that take two locks in different orders
/// will one day wait for each other; that the orders differ can be told long before. Debug builds of
/// the library keep one such memory.

#include <KRCommon/platform/Lock.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kr_internal {

/// Remembers the last so many orders of two locks. Locks appear by numbers that are never given twice,
/// so that what was known of a lock is no mistake about one that is made in its place.
///
/// Threads: any, at any time.
class Lock_Order {
public:
    static constexpr std::size_t capacity = 2048;

    struct Taken {
        std::uint32_t lock = 0; ///< 0: none
        const char* file = nullptr;
        int line = -1;
    };

    /// How the lock `second` was once taken before `first`, directly or by way of others, when that is
    /// so: "at B.cpp:7 while holding the lock of B.cpp:5", more such steps after commas. Empty when it
    /// never was, and when `second` after `first` is nothing new. May throw std::bad_alloc.
    std::string reverse(std::uint32_t first, std::uint32_t second);

    /// Remembers that `second` was taken while `first` was held, in place of the oldest when it is full.
    void add(const Taken& first, const Taken& second) noexcept;

    /// Forgets everything, whoever may be using it: for the child of a fork.
    void forget() noexcept;

private:
    struct Order {
        Taken first;
        Taken second;
    };
    bool is_known(std::uint32_t first, std::uint32_t second) const noexcept;
    std::size_t find_way(std::uint32_t from, std::uint32_t to) noexcept;
    void search_from(std::uint32_t lock, std::size_t came_by) noexcept;

    kr_platform::Short_Lock lock_; // guards all of the following
    std::array<Order, capacity> orders_;
    std::size_t next_ = 0;

    // Of a search: the orders that were found so far, and by which of them each was found.
    std::array<std::size_t, capacity> found_{};
    std::array<std::size_t, capacity> came_by_{};
    std::size_t found_count_ = 0;
};

} // namespace kr_internal
