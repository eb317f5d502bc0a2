#pragma once

/// \file
/// A file, or the standard input, read from front to back. Threads: one at a time.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace krtool {

class Input {
public:
    /// The file, or the standard input for "-". Throws Failure when it is a folder or cannot be
    /// opened.
    explicit Input(const std::string& path);

    /// Up to so many bytes; less only at the end. Throws Failure when the system cannot read on.
    [[nodiscard]] std::size_t read(void* out, std::size_t size);

    /// All that is left, at most `limit` bytes. Throws Failure when there is more.
    [[nodiscard]] std::string rest(std::size_t limit);

    /// As a sentence names it: the path in quotes, or "the standard input".
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept;
    };

    std::string name_;
    std::unique_ptr<std::FILE, Close> file_;
};

} // namespace krtool
