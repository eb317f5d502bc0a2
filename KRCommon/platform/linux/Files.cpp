// The Linux side of Files.h; its twin is ../windows/Files.cpp.

#include <KRCommon/platform/File_Buffer.h>

#include <fcntl.h>
#include <unistd.h>

namespace kr_platform {

namespace {

constexpr int first_free_descriptor = 3;

// The same file under a descriptor that is none of the standard three; -1: there is none.
int moved_up(int descriptor) noexcept
{
    if (descriptor == -1 || descriptor >= first_free_descriptor)
        return descriptor;
    const int higher = fcntl(descriptor, F_DUPFD_CLOEXEC, first_free_descriptor);
    close(descriptor);
    return higher;
}

} // namespace

bool open_for_writing(std::filebuf& file, const std::string& path, Write_Mode mode)
{
    const int flags = mode == Write_Mode::append ? O_APPEND : O_TRUNC;
    const int descriptor =
        moved_up(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666));
    return descriptor != -1 && put_behind(file, descriptor, mode, &close);
}

// The system appends what one write() has, whole.
std::unique_ptr<std::filebuf> make_shared_buffer()
{
    return std::make_unique<std::filebuf>();
}

} // namespace kr_platform
