// The Linux side of Files.h; its twin is ../windows/Files.cpp.

#include <KRCommon/platform/File_Buffer.h>
#include <KRCommon/platform/linux/Descriptor.h>

namespace kr_platform {

bool open_for_writing(std::filebuf& file, const std::string& path, Write_Mode mode)
{
    const int flags = mode == Write_Mode::append ? O_APPEND : O_TRUNC;
    const int descriptor =
        above_standard(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666));
    return descriptor != -1 && put_behind(file, descriptor, mode, &close);
}

} // namespace kr_platform
