#pragma once

/// \file
/// Reading of a file that must be a file: a path that the host does not choose may lead to a pipe
/// that nobody writes to, and reading that would never end.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kr_platform {

/// A regular file, open for reading. What else may stand under a name is refused: a folder, a pipe,
/// a device, a socket. Opening and reading never wait for another process, and child processes
/// do not inherit the file.
///
/// Threads: any thread at any time. Never throws, does not log.
class Regular_File {
public:
    /// path  in the ANSI code page on Windows, bytes on Linux; up to its first zero. Links are
    ///       followed. Windows: other processes may read, write and delete the file meanwhile
    explicit Regular_File(const std::string& path) noexcept;
    ~Regular_File();
    Regular_File(const Regular_File&) = delete;
    Regular_File& operator=(const Regular_File&) = delete;

    /// False when there is no such file, it is no regular one, or it may not be read.
    bool is_open() const noexcept { return file_ != no_file; }

    /// How many bytes the file has by now. Nothing when it is not open.
    [[nodiscard]] std::optional<std::uint64_t> size() const noexcept;

    /// Copies `count` bytes from `offset` on, and tells how many there were: fewer at the end of the
    /// file alone. Nothing when the file is not open or cannot be read; `out` may be changed then.
    [[nodiscard]] std::optional<std::size_t> read_at(std::uint64_t offset, void* out,
                                                     std::size_t count) const noexcept;

private:
    static constexpr std::intptr_t no_file = -1;

    std::intptr_t file_; // a descriptor or a handle
};

} // namespace kr_platform
