// The Linux side of Version_Info.h; its twin is ../windows/Version_Info.cpp.

#include <KRCommon/platform/Version_Info.h>

#include <KRCommon/platform/Pe_Version.h>
#include <KRCommon/platform/linux/Descriptor.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kr_platform {

namespace {

class Regular_File {
public:
    // Without waiting: the path may lead to a pipe that nobody writes to.
    explicit Regular_File(const char* path) noexcept
        : file_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
    }

    bool is_open() const noexcept
    {
        struct stat status {};
        return file_.is_open() && fstat(file_.number(), &status) == 0 && S_ISREG(status.st_mode);
    }

    bool read_at(std::uint64_t offset, unsigned char* out, std::size_t count) const noexcept
    {
        while (count > 0) {
            const ssize_t got = pread(file_.number(), out, count, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false;
            out += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
        return true;
    }

private:
    Descriptor file_;
};

} // namespace

std::optional<File_Version> file_version(const std::string& path) noexcept
{
    const Regular_File file(path.c_str());
    if (!file.is_open())
        return std::nullopt;
    return pe_file_version([&file](std::uint64_t offset, unsigned char* out, std::size_t count) {
        return file.read_at(offset, out, count);
    });
}

} // namespace kr_platform
