#include "../Shared_File.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace krtool {

namespace {

int descriptor(std::intptr_t file) noexcept
{
    return static_cast<int>(file);
}

} // namespace

Shared_File::~Shared_File()
{
    if (file_ >= 0)
        ::close(descriptor(file_));
}

int Shared_File::open(const std::string& path) noexcept
{
    file_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file_ < 0)
        return errno;
    posix_fadvise(descriptor(file_), 0, 0, POSIX_FADV_SEQUENTIAL);
    return 0;
}

std::ptrdiff_t Shared_File::read(void* out, std::size_t size) noexcept
{
    for (;;) {
        const ssize_t got = ::read(descriptor(file_), out, size);
        if (got >= 0 || errno != EINTR)
            return got;
    }
}

int Shared_File::seek(std::uint64_t place) noexcept
{
    return ::lseek(descriptor(file_), static_cast<off_t>(place), SEEK_SET) < 0 ? errno : 0;
}

int Shared_File::facts(File_Facts& out) const noexcept
{
    struct stat status = {};
    if (::fstat(descriptor(file_), &status) != 0)
        return errno;
    out = {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size)};
    return 0;
}

} // namespace krtool
