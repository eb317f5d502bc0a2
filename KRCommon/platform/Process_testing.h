#pragma once

/// \file
/// What the tests need of the operating system where several processes meet. Not part of the library.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kr_platform_testing {

/// How many of the process's descriptors (Linux) or handles (Windows) a child process inherits.
unsigned inheritable_handle_count();

/// The files that another process has open. Empty on Windows, which does not tell.
std::vector<std::string> files_open_in(std::int64_t process);

/// Closes one of the descriptors 0 to 2, as a daemon does.
void close_standard_file(int descriptor);

/// Writes a text to descriptors 0 to 2, without any buffer, whatever they are.
void write_to_standard_files(const std::string& text);

/// Both ends as the system's own descriptors or handles; the write end can be inherited.
struct Pipe {
    std::intptr_t read = -1;
    std::intptr_t write = -1;
};

void make_pipe(Pipe& pipe);
void close_pipe(const Pipe& pipe);

/// Has every write to a file fail, as on a full disk, until it is called off: for the whole process.
/// False where the system has nothing like it (Windows).
bool forbid_file_growth(bool is_forbidden);

/// True where a process can be forked.
bool can_fork();

/// Forks; the child runs the function and ends at once with its result. The child's id, -1 when
/// there is none.
std::int64_t fork_process(const std::function<int()>& child);

/// The exit code of a forked child, or -1: it had to be killed when the time was over.
int wait_for_process(std::int64_t process, int milliseconds);

/// Forks, runs the function in the child, which ends with what it returns as its exit code, and
/// gives this code; -1 when the child does not end within a minute.
inline int run_in_fork(const std::function<int()>& function)
{
    return wait_for_process(fork_process(function), 60'000);
}

} // namespace kr_platform_testing
