#pragma once

/// \file
/// What the tests need of the operating system beyond Platform.h. Not part of the library.

#include <cstdint>
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

} // namespace kr_platform_testing
