#pragma once

/// \file
/// What the tests need of the operating system beyond Platform.h. Not part of the library.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kr_platform_testing {

/// How many descriptors (Linux) or handles (Windows) the process has open.
unsigned open_handle_count();

/// Bytes of memory that belong to this process alone.
std::uint64_t private_memory();

/// A folder that exists or not, but in which nobody, root included, can make a file.
std::string unwritable_folder();

/// Sets a file's last-write time, and on Windows its creation time too, in seconds since 1970
/// UTC. False when it cannot.
bool set_file_times(const std::string& path, std::int64_t seconds);

/// Sets the calling thread's last system error: errno, and on Windows GetLastError() as well.
void set_last_errors(int runtime_error, int system_error);

/// The process's time zone, in the form of the environment variable TZ, until the object ends.
class Time_Zone {
public:
    explicit Time_Zone(const std::string& zone);
    ~Time_Zone();
    Time_Zone(const Time_Zone&) = delete;
    Time_Zone& operator=(const Time_Zone&) = delete;

    /// Sets another one, as a host does.
    void set(const std::string& zone);

    /// True where a zone may say when it changes, "CET-1CEST,M3.5.0,M10.5.0/3". Windows has one rule for
    /// all, and knows its name and hours alone.
    static bool has_rules();

private:
    std::optional<std::string> previous_;
};

/// True where a file that is open can be deleted.
bool can_delete_open_files();

/// Makes a pipe with a name in a folder, to which nobody writes. False where folders hold none.
bool make_pipe(const std::string& path);

/// A regular file that can be opened and not be read, from its begin on. Empty where there is none.
std::string unreadable_file();

/// Paths at which something stands that is no file and no folder; some of it may lie in the folder.
/// It is there until the object ends.
class Irregular_Files {
public:
    explicit Irregular_Files(const std::string& folder);
    ~Irregular_Files();
    Irregular_Files(const Irregular_Files&) = delete;
    Irregular_Files& operator=(const Irregular_Files&) = delete;

    const std::vector<std::string>& paths() const { return paths_; }

private:
    std::vector<std::string> paths_;
    std::intptr_t open_; // a socket or the server's end of a pipe
};

/// True where a file keeps the time of its creation when it is written. Under Wine it does not.
bool keeps_creation_time(const std::string& path);

/// Loads a dynamic library, and lets go of it. A null pointer or false: it failed.
void* load_library(const std::string& path);
bool unload_library(void* library);

/// Whether a library is in memory, by the name that it was loaded under.
bool is_library_loaded(const std::string& path);

/// A library of the system that no test program needs, and the name of a function in it.
struct Spare_Library {
    std::string path;
    std::string function;
};
Spare_Library spare_library();

/// A function that the library exports, by its name in the file. A null pointer: it does not, or the
/// library is a null pointer.
void (*find_function(void* library, const std::string& name))();

/// True where a library is told of each thread that starts.
bool are_thread_starts_reported();

/// Runs the function on a thread of the system's own making, not of the C++ library's, and waits
/// for its end.
void run_on_system_thread(const std::function<void()>& function);

/// A reading of calendar and clock in UTC.
struct Calendar_Time {
    int year = 0;    ///< 1970 ...
    int month = 0;   ///< 1 to 12
    int day = 0;     ///< 1 to 31
    int hour = 0;    ///< 0 to 23
    int minute = 0;  ///< 0 to 59
    int second = 0;  ///< 0 to 59
    int weekday = 0; ///< 0 (Sunday) to 6
};

/// The C library's conversions of instants up to the year 3000: gmtime and its inverse, which
/// carries fields outside their ranges and gives -1 for what is before 1970.
std::optional<Calendar_Time> system_breakdown(std::int64_t seconds);
std::int64_t system_seconds(const Calendar_Time& time);

/// Which end of a Guarded_Memory touches the guard page there.
enum class Guarded_End { last, first };

/// Memory between two pages that nobody may touch: its last byte stands right before the one behind
/// it, or its first byte right after the one before it. At the other end there may be some bytes up
/// to the guard page.
class Guarded_Memory {
public:
    /// Throws std::bad_alloc.
    explicit Guarded_Memory(std::size_t size, Guarded_End end = Guarded_End::last);
    ~Guarded_Memory();
    Guarded_Memory(const Guarded_Memory&) = delete;
    Guarded_Memory& operator=(const Guarded_Memory&) = delete;

    /// `size` bytes, not null even when there are none.
    unsigned char* data() const { return data_; }

private:
    void* pages_;
    std::size_t pages_size_;
    unsigned char* data_;
};

/// Calls the function on a stack that is so many bytes, a multiple of 4, off the alignment that the
/// compiler gives it: 32-bit programs may come with any. Elsewhere on the stack as it is. No
/// exception may leave the function.
void call_on_shifted_stack(unsigned bytes, void (*function)(void* argument), void* argument);

/// Both ends of a pipe as binary files; null ones when it cannot be made. Who gets them closes them.
struct Pipe_Files {
    std::FILE* reader = nullptr;
    std::FILE* writer = nullptr;
};
Pipe_Files open_pipe();

/// True where the system has a reader of version resources of its own.
bool has_version_reader();

/// What that reader says of an intact file: "6.3.2.15", or empty when there is no version.
std::string system_file_version(const std::string& path);
/// The same on a thread of the C runtime's making.
void run_on_runtime_thread(const std::function<void()>& function);

/// Has the system, not the C++ library, call the function when the calling thread ends. A thread's
/// second call replaces the first.
void call_at_thread_end(void (*function)());

/// Gives stderr a pipe that nobody reads: sooner or later who writes to it waits for ever.
void block_stderr();

} // namespace kr_platform_testing
