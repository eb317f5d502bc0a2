// The Windows side of Regular_File.h; its twin is ../linux/Regular_File.cpp.

#include <KRCommon/platform/Regular_File.h>

#include <algorithm>
#include <windows.h>

namespace kr_platform {

namespace {

HANDLE handle(std::intptr_t file) noexcept
{
    return reinterpret_cast<HANDLE>(file);
}

// Volumes are of type FILE_TYPE_DISK too, but have no such information.
bool is_regular(std::intptr_t file) noexcept
{
    BY_HANDLE_FILE_INFORMATION information;
    return GetFileType(handle(file)) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(handle(file), &information) != 0 &&
           (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

} // namespace

// Anonymous: the server of a pipe must not act in our name.
Regular_File::Regular_File(const std::string& path) noexcept
    : file_(reinterpret_cast<std::intptr_t>(CreateFileA(
          path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
          nullptr, OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr)))
{
    if (!is_open() || is_regular(file_))
        return;
    CloseHandle(handle(file_));
    file_ = no_file;
}

Regular_File::~Regular_File()
{
    if (is_open())
        CloseHandle(handle(file_));
}

std::optional<std::uint64_t> Regular_File::size() const noexcept
{
    LARGE_INTEGER size;
    if (!is_open() || !GetFileSizeEx(handle(file_), &size))
        return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::optional<std::size_t> Regular_File::read_at(std::uint64_t offset, void* out,
                                                 std::size_t count) const noexcept
{
    constexpr std::size_t most = 1u << 30; // ReadFile counts in 32 bits
    std::size_t size = 0;
    while (size < count) {
        const std::uint64_t from = offset + size;
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(from);
        place.OffsetHigh = static_cast<DWORD>(from >> 32);
        DWORD got = 0;
        if (!ReadFile(handle(file_), static_cast<char*>(out) + size,
                      static_cast<DWORD>(std::min(count - size, most)), &got, &place)) {
            if (GetLastError() == ERROR_HANDLE_EOF)
                break;
            return std::nullopt;
        }
        if (got == 0)
            break;
        size += got;
    }
    return size;
}

} // namespace kr_platform
