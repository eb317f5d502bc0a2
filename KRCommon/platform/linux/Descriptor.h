#pragma once

/// \file
/// A descriptor and its end.

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kr_platform {

/// Owns a descriptor that was opened close-on-exec, or none. Never one below 3: where the host has
/// closed its standard streams, a new descriptor gets such a number, and what somebody else prints
/// would go there.
class Descriptor {
public:
    /// Takes what open() or socket() gave; errno tells why there is none.
    explicit Descriptor(int number) noexcept : number_(number)
    {
        if (number < 0 || number > STDERR_FILENO)
            return;
        number_ = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int error = errno;
        ::close(number);
        errno = error;
    }

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
