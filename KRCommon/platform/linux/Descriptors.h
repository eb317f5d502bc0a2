#pragma once

/// \file
/// Descriptors that are none of the standard three. A daemon has closed those, and the system gives the
/// lowest free number to what is opened next.

#include <fcntl.h>
#include <unistd.h>

namespace kr_platform {

/// What the descriptor stands for under a number from 3 on, close-on-exec; the given one is closed where
/// it is lower. -1 stays -1, and comes when there is no other number (errno).
inline int above_standard(int descriptor) noexcept
{
    constexpr int first = 3;
    if (descriptor == -1 || descriptor >= first)
        return descriptor;
    const int higher = fcntl(descriptor, F_DUPFD_CLOEXEC, first);
    close(descriptor);
    return higher;
}

} // namespace kr_platform
