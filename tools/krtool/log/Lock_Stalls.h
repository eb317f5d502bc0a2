#pragma once

/// \file
/// What the lines of the guard (KRCommon/frame/Mutex.h) tell, put together. Threads: one at a time.

#include "Log_Line.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace krtool {

/// How a wait came to its end.
enum class Stall_End {
    acquired, ///< the lock came after all
    failed,   ///< it did not, and the process ended
    panic,    ///< the lock itself failed, and the process ended
    open,     ///< no line tells: the log ends, or the process ended otherwise
    order,    ///< no wait: a debug build saw locks taken in two orders
};

[[nodiscard]] const char* end_text(Stall_End end) noexcept;

/// One wait. What no line told is 0 or empty.
struct Lock_Stall {
    Stall_End end = Stall_End::open;
    std::string source;   ///< the log's
    Local_Time begin = 0; ///< of the wait: the first line's time less the seconds that it tells
    Local_Time last_line = 0;
    std::uint64_t seconds = 0; ///< as the last line tells it
    std::string mutex;         ///< as the waiting place names it
    std::uint64_t waiter = 0;
    std::string waiter_site; ///< "A.cpp:42"
    std::uint64_t holder = 0;
    std::string holder_site;
    std::string holder_since; ///< "12:30:01.250000"
    std::uint64_t holder_depth = 0;
    std::string detail;             ///< the error of a panic; of an order the other one
    std::vector<std::string> locks; ///< all locks as the process has reported them at its end
};

/// Pairs the lines of one wait: same log, thread, mutex and place.
class Lock_Stalls {
public:
    /// So many waits may be open at a time; beyond, the oldest is given up as open.
    static constexpr std::size_t open_limit = 10'000;

    /// Takes a line; those that are not the guard's are passed over. Stalls that are over come out of
    /// take_over().
    void add(std::string_view source, const Line_Head& head, std::string_view message,
             Local_Time time);

    /// Stalls that ended since the last call, in the order of their ends.
    [[nodiscard]] std::vector<Lock_Stall> take_over();

    /// Those whose end no line has told, in the order of their begin.
    [[nodiscard]] std::vector<Lock_Stall> take_open();

private:
    using Key = std::tuple<std::string, std::uint64_t, std::string, std::string>;

    void end(const Key& key, Lock_Stall stall);
    void bound_open();

    std::map<Key, Lock_Stall> open_;
    std::vector<Lock_Stall> over_;
    std::map<std::pair<std::string, std::uint64_t>, Lock_Stall> ending_; // until its report is over
};

} // namespace krtool
