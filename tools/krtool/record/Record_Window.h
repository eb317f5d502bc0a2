#pragma once

/// \file
/// The bytes of an input that are looked at just now: a window that slides over it and grows when more
/// are needed at once. Threads: one at a time.

#include "../host/Input.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace krtool {

class Record_Window {
public:
    /// `input` is the caller's and outlives the object.
    explicit Record_Window(Input& input);

    /// The bytes; they move whenever the window slides.
    [[nodiscard]] const unsigned char* data() const noexcept { return buffer_.get() + begin_; }
    [[nodiscard]] std::size_t size() const noexcept { return end_ - begin_; }
    /// Of data() in the input.
    [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }

    /// Whether the window holds so many bytes, after reading on where it held fewer: if not, it holds
    /// all that are left. Throws Failure when the system cannot read on.
    [[nodiscard]] bool reach(std::size_t size) { return size <= this->size() || read_on(size); }

    /// Whether nothing follows the bytes of the window.
    [[nodiscard]] bool is_last() { return !reach(size() + 1); }

    /// Slides over so many bytes, at most size().
    void pass(std::size_t size) noexcept
    {
        begin_ += size;
        offset_ += size;
    }

private:
    bool read_on(std::size_t size);
    void make_room(std::size_t size);

    Input& input_;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t offset_ = 0;
    bool has_ended_ = false;
};

} // namespace krtool
