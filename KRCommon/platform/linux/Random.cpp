// The Linux side of Random.h; its twin is ../windows/Random.cpp.

#include <KRCommon/platform/Random.h>

#include <cerrno>
#include <sys/random.h>

namespace kr_platform {

bool random_bytes(void* out, std::size_t size) noexcept
{
    auto* at = static_cast<unsigned char*>(out);
    while (size > 0) {
        const ssize_t count = getrandom(at, size, 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        at += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace kr_platform
