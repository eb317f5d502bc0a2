#pragma once

/// \file
/// What the tests need of the operating system beyond Platform.h. Not part of the library.

#include <cstdint>
#include <functional>
#include <string>

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

/// True where a file that is open can be deleted.
bool can_delete_open_files();

/// Loads a dynamic library, and lets go of it. A null pointer or false: it failed.
void* load_library(const std::string& path);
bool unload_library(void* library);

/// What a loaded library exports under this name; null when there is no such thing.
void* find_symbol(void* library, const char* name);

/// True where a library is told of each thread that starts.
bool are_thread_starts_reported();

/// Runs the function on a thread of the system's own making, not of the C++ library's, and waits
/// for its end.
void run_on_system_thread(const std::function<void()>& function);

/// The same on a thread of the C runtime's making.
void run_on_runtime_thread(const std::function<void()>& function);

/// Has the system, not the C++ library, call the function when the calling thread ends. A thread's
/// second call replaces the first.
void call_at_thread_end(void (*function)());

/// Gives stderr a pipe that nobody reads: sooner or later who writes to it waits for ever.
void block_stderr();

} // namespace kr_platform_testing
