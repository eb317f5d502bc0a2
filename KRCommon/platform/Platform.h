#pragma once

/// \file
/// What the library needs from the operating system: the contract that windows/ and linux/
/// fulfil. Nothing else of the library calls the system directly, and no system header is
/// included here.
///
/// Paths are narrow texts: in the ANSI code page on Windows, bytes (UTF-8 by custom) on Linux.
/// Every function may be called from any thread at any time; none of them logs or throws
/// anything but std::bad_alloc.

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace kr_platform {

/// The character between the parts of a path: '\' on Windows, '/' on Linux.
char path_separator() noexcept;

/// Full path of the file that holds the library's code: the DLL or shared object, or the
/// program when the code is linked into it. Windows: at most 255 characters, a longer path is cut.
/// Linux: never cut, and links are resolved. Empty when the system does not tell.
std::string module_path();

/// Full path of the running program's file. Empty when the system does not tell.
std::string program_path();

/// Keeps the DLL or shared object that holds this code in memory until the process ends, however
/// often it is let go of.
void keep_loaded(void (*code)()) noexcept;

/// The calling thread's number as logs and debuggers show it: GetCurrentThreadId() on
/// Windows, the kernel's thread id on Linux (there the first thread's number is the process's).
unsigned thread_id() noexcept;

/// The process's number, asked of the system once. Right in a forked child too.
int process_id() noexcept;

/// A note on the calling thread, whatever started the thread: 0 at first. It takes no memory and no
/// handle, and may be read and set while the system starts or ends the thread.
unsigned char thread_note() noexcept;
void set_thread_note(unsigned char note) noexcept;

/// Has the function called on this thread when the thread begins to end, before ACE destroys what it
/// keeps for the thread. Only the first call of a thread counts, and one function for all threads.
void at_thread_end(void (*function)() noexcept) noexcept;

/// For the end of a process in which a thread is stuck writing to stderr: whoever flushes stderr
/// from now on does not wait for that thread. Windows: does nothing, the thread is gone.
void abandon_stderr_lock() noexcept;

/// True where other threads run on while the static objects of a library are destroyed at exit.
bool do_threads_outlive_exit() noexcept;

/// Ends the process at once with the given exit code (0 to 255 on Linux): no destructor, no
/// exit routine and no detach notification runs, unwritten stdio buffers are lost.
[[noreturn]] void end_process(int exit_code) noexcept;

/// The calling thread's last error: errno when it is not 0, else GetLastError() on Windows.
int last_error() noexcept;

/// What last_error() gives while errno is 0.
int system_error() noexcept;

/// Sets both errno and, on Windows, the thread's last error to 0, so that last_error() tells
/// of what follows only.
void clear_last_error() noexcept;

/// Makes one folder; its parent must exist. True when the folder was made by this call, false
/// when it was there already or cannot be made. Linux: mode 0777 less the process's umask.
bool make_folder(const std::string& path) noexcept;

struct File_Info {
    std::uint64_t size = 0;   ///< bytes; 0 for a folder
    std::int64_t created = 0; ///< whole seconds since 1970-01-01 UTC
    bool is_folder = false;
};

/// Size and creation time of a file or folder (links are followed); nothing when there is no
/// such entry. The creation time is the system's own where the file system keeps one, else the
/// time of the last status change (Linux) or of the last write (Wine).
std::optional<File_Info> file_info(const std::string& path) noexcept;

/// Deletes a file. False when it cannot be deleted: missing, a folder, not permitted, or, on
/// Windows, open or read-only. Linux deletes open files too; who has one open keeps it.
bool remove_file(const std::string& path) noexcept;

/// The process's working folder, without a separator at its end unless it is a root.
/// Empty when it cannot be told.
std::string working_folder();

/// Milliseconds of a clock that is never set: for measuring, and equal on all threads. Its zero is
/// of no meaning.
std::int64_t steady_milliseconds() noexcept;

/// The wall clock as it costs least: microseconds since 1970-01-01 UTC, in steps of up to 16 ms
/// on Windows and 4 ms on Linux.
std::int64_t coarse_wall_microseconds() noexcept;

/// How many bytes a file still has after its position; 0 where the system does not know it: of a
/// pipe, a terminal and the like. A file opened as text on Windows may give fewer when it is read.
/// Changes nothing.
std::uint64_t bytes_left(std::FILE* file) noexcept;

/// 3000-12-31 23:59:59 UTC, the last instant that both systems convert.
constexpr std::int64_t last_second = 32'535'215'999;

/// "hh:mm:ss" of an instant in local time, 24 hours. Empty for instants before 1970 or after the
/// year 3000, with errno set to EINVAL.
std::string local_clock_text(std::int64_t seconds);

/// A number that is another one once tzset() has set a time zone of another name or offset for the process.
/// It costs a few loads, takes no lock and may be read while another thread sets the zone.
std::uint32_t time_zone_mark() noexcept;

/// A day of local time, and how far local time is from UTC.
struct Local_Date {
    int year = 0;
    int month = 0;          ///< 1 to 12
    int day = 0;            ///< 1 to 31
    int offset_minutes = 0; ///< positive east of Greenwich
};

/// Of an instant. All 0 for instants before 1970 or after the year 3000.
Local_Date local_date(std::int64_t seconds) noexcept;

} // namespace kr_platform
