#pragma once

/// \file
/// The bytes of a log file, unpacked when they are gzip's. Threads: one at a time.

#include "../platform/Shared_File.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace krtool {

class Input;

/// The sentence's end for an error number: "No such file or directory".
[[nodiscard]] std::string error_text(int error);

class Log_Source {
public:
    /// The file, or the standard input for "-". Throws Failure when it is a folder or cannot be opened.
    explicit Log_Source(const std::string& path);
    ~Log_Source();

    /// Up to so many bytes; 0 at the end, beyond which a growing file goes on. Compressed data, of one
    /// member or several, come unpacked. Throws Failure when the system cannot read on.
    [[nodiscard]] std::size_t read(char* out, std::size_t size);

    /// At the end: what is wrong with the compressed data, as a sentence; empty when all is well.
    [[nodiscard]] std::string flaw() const;

    /// Bytes of the file that were not read yet; nothing for the standard input and compressed data.
    [[nodiscard]] std::optional<std::uint64_t> left() const;

    /// Goes to the end of a file that is not compressed.
    void skip_to_end();

    /// Which file it is; nothing for the standard input.
    [[nodiscard]] std::optional<File_Facts> facts() const;

    [[nodiscard]] std::uint64_t bytes_read() const noexcept { return bytes_read_; }

private:
    class Unpacker;

    std::size_t read_raw(char* out, std::size_t size);

    std::string path_;
    std::unique_ptr<Input> input_; // the standard input; else file_
    Shared_File file_;
    std::uint64_t bytes_read_ = 0;
    std::unique_ptr<Unpacker> unpacker_;
};

/// The file's facts; nothing when there is none that can be opened.
[[nodiscard]] std::optional<File_Facts> facts_of(const std::string& path);

} // namespace krtool
