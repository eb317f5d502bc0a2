// The Linux side of Version_Info.h; its twin is ../windows/Version_Info.cpp.

#include <KRCommon/platform/Version_Info.h>

#include <KRCommon/platform/Pe_Version.h>
#include <KRCommon/platform/Regular_File.h>

namespace kr_platform {

std::optional<File_Version> file_version(const std::string& path) noexcept
{
    const Regular_File file(path);
    if (!file.is_open())
        return std::nullopt;
    return pe_file_version([&file](std::uint64_t offset, unsigned char* out, std::size_t count) {
        return file.read_at(offset, out, count) == count;
    });
}

} // namespace kr_platform
