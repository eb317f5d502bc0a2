#pragma once

/// \file
/// How the log file is, as the log itself notes it and KR_LOG_MANAGER::status() tells it.

#include <KRCommon/frame/Log_Status.h>

#include <ace/Thread_Mutex.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace kr_internal {

/// Where the file in use belongs.
struct Log_Place {
    std::string file;
    std::string directory;
    std::string prefix;
    std::uint32_t part = 0;
};

/// Nobody who asks waits for the log: whoever holds the log lock may hang in a write.
///
/// Threads: everything may be called from any thread at any time.
class Log_Health {
public:
    /// That of the process's log. Never destroyed.
    static Log_Health& of_process();

    /// Fewer than 0 take back what was counted before.
    void count_written(std::int64_t lines) noexcept { written_ += lines; }
    void count_lost(std::int64_t lines) noexcept { lost_ += lines; }

    std::int64_t lost() const noexcept { return lost_; }

    /// Whether the log stream is in the failed state, in which it swallows lines before the buffer
    /// sees them.
    bool has_stream_failed() const noexcept { return has_stream_failed_; }
    void set_stream_failed(bool has_failed) noexcept { has_stream_failed_ = has_failed; }
    void set_good(bool is_good) noexcept { is_good_ = is_good; }
    void set_level(unsigned level) noexcept { level_ = level <= 4 ? static_cast<int>(level) : 0; }
    void set_place(Log_Place place) noexcept;

    /// code  one of std::system_category()
    void set_error(int code) noexcept;

    /// Without the bytes on disk.
    KR_Log_Status status() const;
    Log_Place place() const;

    /// Around a fork, see Log_Fork.h.
    void lock() noexcept { mutex_.acquire(); }
    void unlock() noexcept { mutex_.release(); }

private:
    std::atomic<std::int64_t> written_{0};
    std::atomic<std::int64_t> lost_{0};
    std::atomic<bool> is_good_{false};
    std::atomic<bool> has_stream_failed_{false};
    std::atomic<int> level_{-1};
    mutable ACE_Thread_Mutex mutex_; // for the rest; held for a moment only
    Log_Place place_;
    int error_ = 0;
    std::int64_t error_time_ = 0; // us since 1970 UTC
};

} // namespace kr_internal
