// The Linux side of Regular_File.h; its twin is ../windows/Regular_File.cpp.

#include <KRCommon/platform/Regular_File.h>
#include <KRCommon/platform/linux/Descriptor.h>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace kr_platform {

namespace {

int descriptor(std::intptr_t file) noexcept
{
    return static_cast<int>(file);
}

bool is_regular(std::intptr_t file) noexcept
{
    struct stat status {};
    return fstat(descriptor(file), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

// Without waiting: a pipe is opened at once, and known for one when it is open.
Regular_File::Regular_File(const std::string& path) noexcept
    : file_(above_standard(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)))
{
    if (!is_open() || is_regular(file_))
        return;
    close(descriptor(file_));
    file_ = no_file;
}

Regular_File::~Regular_File()
{
    if (is_open())
        close(descriptor(file_));
}

std::optional<std::uint64_t> Regular_File::size() const noexcept
{
    struct stat status {};
    if (fstat(descriptor(file_), &status) != 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

std::optional<std::size_t> Regular_File::read_at(std::uint64_t offset, void* out,
                                                 std::size_t count) const noexcept
{
    std::size_t size = 0;
    while (size < count) {
        const ssize_t got = pread(descriptor(file_), static_cast<char*>(out) + size, count - size,
                                  static_cast<off_t>(offset + size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    return size;
}

} // namespace kr_platform
