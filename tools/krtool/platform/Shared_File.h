#pragma once

/// \file
/// A file that others write, rename and delete meanwhile. Errors are numbers as of errno. Threads: one
/// at a time.

#include <cstddef>
#include <cstdint>
#include <string>

namespace krtool {

/// Which file it is, whatever its name, and how many bytes it has.
struct File_Facts {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;

    [[nodiscard]] bool is_same_file(const File_Facts& other) const noexcept
    {
        return device == other.device && number == other.number;
    }
};

class Shared_File {
public:
    Shared_File() = default;
    ~Shared_File();
    Shared_File(const Shared_File&) = delete;
    Shared_File& operator=(const Shared_File&) = delete;

    /// Opens for reading, and lets others delete and rename it. 0, or the error.
    [[nodiscard]] int open(const std::string& path) noexcept;

    /// Bytes that were read, 0 at the end, which may move on; negative with errno set.
    [[nodiscard]] std::ptrdiff_t read(void* out, std::size_t size) noexcept;

    /// From where the next read() reads. 0, or the error.
    [[nodiscard]] int seek(std::uint64_t place) noexcept;

    /// 0, or the error.
    [[nodiscard]] int facts(File_Facts& out) const noexcept;

private:
    std::intptr_t file_ = -1; // the system's; -1: none
};

} // namespace krtool
