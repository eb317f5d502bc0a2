#include "Record_Window.h"

#include <algorithm>
#include <cstring>

namespace krtool {

namespace {

// What is read stays in the processor's second cache until it has been looked at.
constexpr std::size_t first_capacity = std::size_t{256} * 1024;

} // namespace

// Not as a vector, which would be filled with zeros first.
Record_Window::Record_Window(Input& input)
    : input_(input), buffer_(new unsigned char[first_capacity]), capacity_(first_capacity)
{
}

bool Record_Window::read_on(std::size_t size)
{
    if (has_ended_)
        return false;
    make_room(size);
    const std::size_t room = capacity_ - end_;
    const std::size_t got = input_.read(buffer_.get() + end_, room);
    end_ += got;
    has_ended_ = got < room;
    return this->size() >= size;
}

// For so many bytes behind begin_, which then is 0.
void Record_Window::make_room(std::size_t size)
{
    const std::size_t held = this->size();
    // Moves no more bytes than it has passed over, or many small steps would move all of them each time.
    if (size <= capacity_ && held <= begin_) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, held);
    } else {
        const std::size_t capacity = std::max(size, 2 * capacity_);
        std::unique_ptr<unsigned char[]> larger(new unsigned char[capacity]);
        std::memcpy(larger.get(), data(), held);
        buffer_ = std::move(larger);
        capacity_ = capacity;
    }
    begin_ = 0;
    end_ = held;
}

} // namespace krtool
