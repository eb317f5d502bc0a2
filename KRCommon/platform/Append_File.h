#pragma once

/// \file
/// A file to which several processes append whole texts: what the log writes to.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kr_platform {

/// Owns a file that is open for appending, or none. No child process inherits the file, and it takes
/// none of the descriptors 0 to 2. Nothing of it throws, logs or takes memory.
///
/// Threads: one at a time. Other processes may write and read the file meanwhile.
class Append_File {
public:
    /// May others delete and rename the file while it is open? Linux lets them in either case.
    enum class Sharing { keep_name, give_name };

    Append_File() noexcept = default;
    Append_File(Append_File&& other) noexcept;
    Append_File& operator=(Append_File&& other) noexcept;
    ~Append_File() { close(); }

    /// Opens the file in place of the previous one, which is closed, and makes it if need be. False:
    /// it cannot be opened, error() tells why, and there is none.
    bool open(const std::string& path, Sharing sharing = Sharing::keep_name) noexcept;
    void close() noexcept;
    bool is_open() const noexcept { return file_ != no_file; }

    /// Appends the text after what the file holds by then, in one piece, with the system's line ends,
    /// and tells how many of its characters are in the file now: all of them, or fewer when error()
    /// tells why.
    std::size_t write(std::string_view text) noexcept;

    /// Bytes of the file, whoever wrote them; -1 when there is none.
    std::int64_t size() const noexcept;

    /// Whether the path leads to this very file: not once it was deleted or renamed, whatever stands
    /// there instead. Wine keeps a deleted file's name until the file is closed.
    bool is_at(const std::string& path) const noexcept;

    /// The system's number of the last failure: of errno on Linux, of GetLastError() on Windows. It
    /// is one of std::system_category().
    int error() const noexcept { return error_; }

private:
    static constexpr std::intptr_t no_file = -1;

    std::intptr_t file_ = no_file; // a descriptor or a handle
    int error_ = 0;
};

} // namespace kr_platform
