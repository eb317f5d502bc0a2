// The Windows side of Version_Info.h; its twin is ../linux/Version_Info.cpp.

#include <KRCommon/platform/Version_Info.h>

#include <KRCommon/platform/Pe_Version.h>

#include <windows.h>

namespace kr_platform {

namespace {

class Disk_File {
public:
    explicit Disk_File(const char* path) noexcept
        : file_(CreateFileA(path, GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
    }

    ~Disk_File()
    {
        if (file_ != INVALID_HANDLE_VALUE)
            CloseHandle(file_);
    }

    Disk_File(const Disk_File&) = delete;
    Disk_File& operator=(const Disk_File&) = delete;

    bool is_open() const noexcept
    {
        return file_ != INVALID_HANDLE_VALUE && GetFileType(file_) == FILE_TYPE_DISK;
    }

    bool read_at(std::uint64_t offset, unsigned char* out, std::size_t count) const noexcept
    {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(offset);
        place.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD got = 0;
        return ReadFile(file_, out, static_cast<DWORD>(count), &got, &place) != 0 && got == count;
    }

private:
    HANDLE file_;
};

std::optional<File_Version> version_of(const char* path) noexcept
{
    const Disk_File file(path);
    if (!file.is_open())
        return std::nullopt;
    return pe_file_version([&file](std::uint64_t offset, unsigned char* out, std::size_t count) {
        return file.read_at(offset, out, count);
    });
}

// Of the file that a library's loader would find.
std::optional<File_Version> version_along_path(const char* name, const char* extension) noexcept
{
    char path[1024];
    const DWORD length = SearchPathA(nullptr, name, extension, sizeof path, path, nullptr);
    return length > 0 && length < sizeof path ? version_of(path) : std::nullopt;
}

} // namespace

// As the system's own reader looks for a file.
std::optional<File_Version> file_version(const std::string& path) noexcept
{
    if (auto version = version_along_path(path.c_str(), ".dll"))
        return version;
    if (auto version = version_along_path(path.c_str(), nullptr))
        return version;
    return version_of(path.c_str());
}

} // namespace kr_platform
