#pragma once

/// \file
/// Descriptors: where they may lie, and their end.

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kr_platform {

/// What open() or socket() gave, or the same under a number that is none of the standard three: where
/// the host has closed its standard streams, a new descriptor gets such a number, and what somebody
/// else prints would go there. -1: there is none, and errno tells why.
inline int above_standard(int number) noexcept
{
    if (number < 0 || number > STDERR_FILENO)
        return number;
    const int higher = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(number);
    errno = error;
    return higher;
}

/// Owns a descriptor that was opened close-on-exec, or none. Never one below 3.
class Descriptor {
public:
    /// Takes what open() or socket() gave; errno tells why there is none.
    explicit Descriptor(int number) noexcept : number_(above_standard(number)) {}

    ~Descriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool is_open() const noexcept { return number_ >= 0; }
    int number() const noexcept { return number_; }

private:
    int number_;
};

} // namespace kr_platform
