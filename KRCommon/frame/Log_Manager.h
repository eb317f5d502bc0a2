#pragma once

/// \file
/// The log manager KR_LOG_MANAGER.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Log_Options.h>
#include <KRCommon/frame/Log_Status.h>

#include <ace/Date_Time.h>
#include <ace/Event_Handler.h>
#include <ace/Log_Msg.h>
#include <ace/Thread_Mutex.h>

#include <cstdint>
#include <memory>
#include <string>

class ACE_Reactor;

namespace kr_internal {
class Saved_Log_Attributes;
}

/// The owner of the process's log file: dated, numbered files that are rotated by size and day
/// and pruned to a total size, and the debug level.
///
///     KR_LOG_MANAGER* logs = KR_LOG_MANAGER::instance();
///     logs->set_debug_level(3);
///     logs->open(ACE_Reactor::instance(), "C:\\Logs", "server");
///     ...                    // the reactor's event loop runs, lines go into the files
///     logs->close();         // before the reactor ends
///
/// Files are named `<directory>\<prefix>_<year>_<month>_<day>_part_<number>.log` (on Linux with
/// '/'), in local time: `C:\Logs\server_2014_03_05_part_03.log`. docs/log_format.md tells more.
///
/// Nothing here reports an error or logs one: a folder that cannot be made, a file that cannot be
/// opened or deleted is passed over, and logging goes on as well as it can. What status() tells, and
/// what KR_Log_Options add, is for those who want to know.
///
/// Files: no child process inherits the log file, and it never takes one of the descriptors 0 to 2,
/// closed though they may be. Several processes may have one directory and prefix: lines stay whole and
/// none is lost. Each process rotates by itself.
///
/// Forks (Linux): a child goes on with the same file, and its first thread with its settings. It has no
/// timer: open() again, with a reactor and better a prefix of its own, starts one. A process forks
/// when no line is being written: fork() waits for those under way. What the library cannot
/// make good are the C library's own locks: a stamp that ACE or the host makes ("%T" in ACE's macros,
/// localtime()) may wait for ever in the child when another thread was making one. Lines of kr_log() do
/// not. A reactor of the parent's must not be touched: end the child by _exit() or exec().
///
/// Threads: every operation may be called from any thread at any time; ACE's log lock guards
/// what they share. No operation may be called while the caller holds that lock.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_LOG_MANAGER : public ACE_Event_Handler {
public:
    /// The process's log manager, built on the first call. At process exit it cancels its timer,
    /// when the host did not close it, so its reactor must be alive then or closed before. A reactor
    /// that another thread is in at that moment is left alone, and nothing is waited for: the
    /// manager itself stays until the process is gone, and its upcalls do nothing any more.
    static KR_LOG_MANAGER* instance();

    /// A copy has the same settings, date, part and open flag, but no timer and no reactor: these
    /// belong to the manager that was opened. An assignment leaves the timer of its target alone.
    KR_LOG_MANAGER(const KR_LOG_MANAGER& other);
    /// As the copy constructor.
    KR_LOG_MANAGER& operator=(const KR_LOG_MANAGER& other);
    ~KR_LOG_MANAGER() override;

    /// Starts logging into files: makes the directory (its last level only), goes on with today's
    /// highest part or starts part 00, prunes, and looks after the files every 5 seconds on the
    /// reactor's thread. Lines go to stderr as well. When already open, the previous timer is
    /// cancelled and everything starts afresh.
    ///
    /// reactor    runs the timer; not owned, must live until close(). Null: no timer, so no
    ///            rotation and no pruning beyond this call
    /// directory  folder of the files, relative or absolute; null counts as empty, and an empty
    ///            one is the root folder, since the separator follows it. Use "." for the
    ///            working folder
    /// prefix     stem of every file name; null counts as empty. It must not hold "_part_". Files
    ///            of another prefix that begins with this one are pruned with it
    ///
    /// When memory runs out (std::bad_alloc) the manager is closed and without a timer.
    void open(ACE_Reactor* reactor, const char* directory, const char* prefix);

    /// Cancels the timer and forgets the reactor; handle_close() is not called. The log file stays
    /// open: lines keep going into it, but it no longer rotates. Nothing happens when not open. A
    /// timer upcall that is under way on another thread may still finish.
    void close();

    /// Sets the priority mask of the whole process, for threads old and new:
    ///
    /// | level           | mask | lets through                           |
    /// |-----------------|------|----------------------------------------|
    /// | 0 and any other | 1024 | LM_EMERGENCY                           |
    /// | 1               | 1152 | LM_EMERGENCY, LM_ERROR                 |
    /// | 2               | 1156 | the same and LM_DEBUG                  |
    /// | 3               | 1164 | the same and LM_INFO                   |
    /// | 4               | 1180 | the same and LM_NOTICE                 |
    ///
    /// Quirk: debug lines come before informational ones. A thread mask that the host has set
    /// lets more through on that thread.
    void set_debug_level(unsigned level);

    /// Sets the limits, in bytes; any value is taken. A file is rotated at the first tick at which
    /// it has max_file_size bytes or more (6,291,456 at first), so with 0 at every tick; the oldest
    /// files go while all together have more than max_total_size (104,857,600 at first).
    void set_file_max_sizes(unsigned max_file_size, unsigned max_total_size);

    /// Reads the limits; a null pointer is passed over.
    void get_file_max_sizes(unsigned* max_file_size, unsigned* max_total_size);

    /// What the log does beyond what is described here; everything is off at first. The options take
    /// effect at once, those that concern the opening of a file with the next one. Those of the
    /// manager that was opened last hold for the process.
    void set_options(const KR_Log_Options& options);
    /// The options as they were set last.
    KR_Log_Options options() const;

    /// Closes the file in use and opens the file of its name anew: for a host that is told, by SIGHUP as
    /// a rule, that somebody has renamed it. Nothing else changes; the timer goes on. Returns whether
    /// lines go into a file. False, and nothing is done, before the first open(). Not for signal
    /// handlers.
    bool reopen();

    /// Has the next tick call reopen(). It may be called from a signal handler.
    static void request_reopen() noexcept;

    /// How the log file is: of the whole process, whichever manager is asked. It waits for no line that
    /// is being written, stuck though it may be, and reads the directory for its bytes. All that it
    /// tells is true of some moment during the call, not necessarily of the same.
    KR_Log_Status status() const;

    /// Gives the calling thread the log settings in use: for threads that neither ACE nor the
    /// library saw starting. A thread that logs through kr_log() does not need it. A stream of its
    /// own that the thread had is given up. Nothing happens before the first open().
    void non_ace_thread_init_log();

    /// The timer's upcall: starts the next file when `now` is on another day (its first part) or
    /// the file has reached its size limit (the next part), and prunes. `now` decides alone; it is
    /// read in local time. Quirk: the day of the month alone tells the days apart. Does nothing on
    /// a thread that has no output stream. `act` is not used. Returns 0: the timer stays. Never
    /// throws: when memory runs out the file in use stays, and the next tick tries again.
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

protected:
    /// Opens log_file_name() for appending and makes it the file of all threads.
    void set_current_file();

    /// Deletes the oldest files of the prefix until all together are within the total limit.
    void del_old_files();

    /// Makes the directory each time it is called.
    std::string log_file_name_left();
    /// The name behind the day: "_part_", the file's number and ".log".
    std::string log_file_name_right();
    /// The path of the file in use: both sides joined.
    std::string log_file_name();

private:
    struct Timer {
        ACE_Reactor* reactor = nullptr; ///< null: no timer
        long id = -1;
        unsigned opening = 0; ///< the value of openings_ that it belongs to
    };
    class Of_Process;

    KR_LOG_MANAGER();
    void copy_settings(const KR_LOG_MANAGER& other);
    void install_first_file();
    Timer take_timer();
    static void cancel(const Timer& timer);
    void start_timer(ACE_Reactor* reactor, unsigned opening);
    bool rotate(const ACE_Time_Value& now);
    void look_after_file();
    bool change_file();
    bool open_current_file(bool may_keep_old);
    void apply_options();
    void leave_reactor();

    ACE_Date_Time current_date_;
    std::uint32_t part_number_ = 0;
    std::uint32_t max_total_size_ = 104'857'600;
    std::uint32_t max_file_size_ = 6'291'456;
    std::string file_name_prefix_;
    std::string log_directory_;
    KR_Log_Options options_;
    std::unique_ptr<kr_internal::Saved_Log_Attributes> saved_attributes_;
    ACE_Thread_Mutex timer_mutex_; ///< for the rest; held for a moment only, unlike the log lock
    Timer timer_;
    unsigned openings_ = 0; ///< counts open() and close(), so that a late timer finds out
};
