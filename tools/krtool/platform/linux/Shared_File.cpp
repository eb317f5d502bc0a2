#include "../Shared_File.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace krtool {

Shared_File::~Shared_File()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

int Shared_File::open(const std::string& path) noexcept
{
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0)
        return errno;
    posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL);
    return 0;
}

std::ptrdiff_t Shared_File::read(void* out, std::size_t size) noexcept
{
    for (;;) {
        const ssize_t got = ::read(descriptor_, out, size);
        if (got >= 0 || errno != EINTR)
            return got;
    }
}

int Shared_File::seek(std::uint64_t place) noexcept
{
    return ::lseek(descriptor_, static_cast<off_t>(place), SEEK_SET) < 0 ? errno : 0;
}

int Shared_File::facts(File_Facts& out) const noexcept
{
    struct stat status = {};
    if (::fstat(descriptor_, &status) != 0)
        return errno;
    out = {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size)};
    return 0;
}

} // namespace krtool
