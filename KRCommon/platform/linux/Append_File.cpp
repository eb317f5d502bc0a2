// The Linux side of Append_File.h; its twin is ../windows/Append_File.cpp.

#include <KRCommon/platform/Append_File.h>

#include <KRCommon/platform/linux/Descriptor.h>

#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace kr_platform {

Append_File::Append_File(Append_File&& other) noexcept
    : file_(std::exchange(other.file_, no_file)), error_(other.error_)
{
}

Append_File& Append_File::operator=(Append_File&& other) noexcept
{
    if (this != &other) {
        close();
        file_ = std::exchange(other.file_, no_file);
        error_ = other.error_;
    }
    return *this;
}

bool Append_File::open(const std::string& path, Sharing) noexcept
{
    close();
    file_ = above_standard(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0666));
    if (is_open())
        return true;
    error_ = errno;
    return false;
}

void Append_File::close() noexcept
{
    if (is_open())
        ::close(static_cast<int>(std::exchange(file_, no_file)));
}

// The system appends what one write() has, whole.
std::size_t Append_File::write(std::string_view text) noexcept
{
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count =
            ::write(static_cast<int>(file_), text.data() + written, text.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            error_ = count == 0 ? ENOSPC : errno;
            break;
        }
    }
    return written;
}

std::int64_t Append_File::size() const noexcept
{
    struct stat status;
    return is_open() && fstat(static_cast<int>(file_), &status) == 0 ? status.st_size : -1;
}

bool Append_File::is_at(const std::string& path) const noexcept
{
    struct stat own;
    struct stat there;
    return is_open() && fstat(static_cast<int>(file_), &own) == 0 &&
           stat(path.c_str(), &there) == 0 && own.st_dev == there.st_dev &&
           own.st_ino == there.st_ino;
}

} // namespace kr_platform
