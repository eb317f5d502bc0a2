#pragma once

/// \file
/// The one output stream behind all log files. ACE's own counting of a shared stream destroys
/// it while threads still use it when its attributes are captured once and inherited often;
/// so every thread gets this immortal stream, which ACE never owns, and a rotation exchanges
/// the file behind it. Every thread's lines follow at once, and the previous file is closed.
///
/// Threads: as said at each operation. The log lock is ACE's, taken by Log_Lock.

#include <KRCommon/frame/Log_Buffer.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Log_Msg.h>
#include <ace/OS_Log_Msg_Attributes.h>

#include <new>
#include <string>
#include <string_view>

namespace kr_internal {

/// The calling thread's log object. Throws std::bad_alloc when there is no memory for its first use.
inline ACE_Log_Msg& own_log()
{
    if (ACE_Log_Msg* const log = ACE_Log_Msg::instance())
        return *log;
    throw std::bad_alloc();
}

/// Holds ACE's log lock, which is recursive. All output of all threads waits meanwhile, so
/// nothing that waits for another thread belongs inside: no reactor call above all, since a
/// reactor's thread may be about to log.
class Log_Lock {
public:
    /// Throws std::bad_alloc as own_log() does.
    Log_Lock() : log_(own_log()) { log_.acquire(); }
    ~Log_Lock() { log_.release(); }
    Log_Lock(const Log_Lock&) = delete;
    Log_Lock& operator=(const Log_Lock&) = delete;

    /// The calling thread's log object.
    ACE_Log_Msg& log() const noexcept { return log_; }

private:
    ACE_Log_Msg& log_;
};

/// Opens the file for appending (text mode, shared with readers), puts it behind the log stream
/// in place of the previous one, which is closed, and gives the stream to the calling thread. If
/// the file cannot be opened the stream is in the failed state, unless the policy is to try again:
/// its write position is -1, and lines are lost until the next call. False when the old file stays in
/// use instead. When it throws, which is for lack of memory, everything is as it was.
/// REQUIRES: the log lock is held.
bool open_log_file(ACE_Log_Msg& log, const std::string& path,
                   Log_Buffer::Old_File old_file = Log_Buffer::Old_File::goes);

/// What becomes of failures from now on, and of lines before the first open_log_file(): so many bytes
/// are kept for its file, which needs the stream. Throws std::bad_alloc; then everything is as it was.
/// REQUIRES: the log lock is held.
void set_log_policy(ACE_Log_Msg& log, Log_Policy policy, std::size_t early_bytes);

/// The buffer behind the stream; null before the first of the two.
/// REQUIRES: the log lock is held.
const Log_Buffer* log_buffer() noexcept;

/// Gives the log stream to a thread that has no stream of its own, once in the thread's life:
/// a thread whose stream somebody took away later stays without. While a thread ends, ACE may make
/// it new log objects: each gets the stream if the thread had it last. Does nothing while there is
/// no stream. `log` is the calling thread's; no lock is needed.
void join_log_stream(ACE_Log_Msg& log) noexcept;

/// Counts the line that the thread is about to log as lost, when its stream has failed: no buffer is
/// told of it then.
void count_line(ACE_Log_Msg& log) noexcept;

/// Writes a finished line into the file, as ACE does when there is no other sink for it. False, and
/// nothing is done, when the thread's stream is another, or has failed. `log` is the calling thread's.
bool write_line(ACE_Log_Msg& log, std::string_view line) noexcept;

/// Writes the lines that the ring has kept into the file, between two marker lines, and forgets them.
/// Nothing while there is no ring, no line in it or no file. `log` is the calling thread's.
void write_kept_lines(ACE_Log_Msg& log) noexcept;

/// What a thread's note says while has_joined_log() is true.
constexpr unsigned char note_of_joined = 1;

/// True for a thread that has joined and is not ending: ACE has its log object.
inline bool has_joined_log() noexcept
{
    return kr_platform::thread_note() == note_of_joined;
}

/// The log settings that new threads inherit: ACE's record, which never holds a share in a
/// counted stream here and so can be captured and handed on any number of times.
class Saved_Log_Attributes : public ACE_OS_Log_Msg_Attributes {
public:
    /// Takes over the calling thread's settings; the stream is the log stream once there is one.
    /// REQUIRES: the log lock is held.
    void capture();

    /// Gives the settings to the calling thread; nothing while they hold no stream. A stream of
    /// the thread's own is given up as ACE does on any exchange.
    /// REQUIRES: the log lock is held.
    void inherit(ACE_Log_Msg& log);
};

} // namespace kr_internal
