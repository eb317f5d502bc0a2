#pragma once

/// \file
/// What the tests need of the operating system beyond Platform.h. Not part of the library.

#include <cstdint>
#include <functional>
#include <string>

namespace kr_platform_testing {

/// How many descriptors (Linux) or handles (Windows) the process has open.
unsigned open_handle_count();

/// A folder that exists or not, but in which nobody, root included, can make a file.
std::string unwritable_folder();

/// Sets a file's last-write time, and on Windows its creation time too, in seconds since 1970
/// UTC. False when it cannot.
bool set_file_times(const std::string& path, std::int64_t seconds);

/// Sets the calling thread's last system error: errno, and on Windows GetLastError() as well.
void set_last_errors(int runtime_error, int system_error);

/// True where a file that is open can be deleted.
bool can_delete_open_files();

/// Makes a pipe with a name in a folder, to which nobody writes. False where folders hold none.
bool make_pipe(const std::string& path);

/// A regular file that can be opened and not be read, from its begin on. Empty where there is none.
std::string unreadable_file();

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

/// A loaded library's function; null when it has none of that name.
void (*find_function(void* library, const std::string& name))();

/// True where a library is told of each thread that starts.
bool are_thread_starts_reported();

/// Runs the function on a thread of the system's own making, not of the C++ library's, and waits
/// for its end.
void run_on_system_thread(const std::function<void()>& function);

} // namespace kr_platform_testing
