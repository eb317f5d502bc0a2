#include "../Shared_File.h"

#include <algorithm>
#include <cerrno>
#include <windows.h>

namespace krtool {

namespace {

// The system's own file: a descriptor of the C library's stays at the end that it has seen once.
HANDLE handle(std::intptr_t file) noexcept
{
    return reinterpret_cast<HANDLE>(file);
}

int error_of(DWORD code) noexcept
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME: return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION: return EACCES;
    case ERROR_TOO_MANY_OPEN_FILES: return EMFILE;
    default: return EIO;
    }
}

} // namespace

Shared_File::~Shared_File()
{
    if (handle(file_) != INVALID_HANDLE_VALUE)
        CloseHandle(handle(file_));
}

int Shared_File::open(const std::string& path) noexcept
{
    // Without the right to delete the log manager could not prune the file while it is looked at.
    file_ = reinterpret_cast<std::intptr_t>(CreateFileA(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    return handle(file_) != INVALID_HANDLE_VALUE ? 0 : error_of(GetLastError());
}

std::ptrdiff_t Shared_File::read(void* out, std::size_t size) noexcept
{
    constexpr std::size_t most = 1u << 30; // ReadFile counts in 32 bits
    DWORD got = 0;
    if (ReadFile(handle(file_), out, static_cast<DWORD>(std::min(size, most)), &got, nullptr))
        return static_cast<std::ptrdiff_t>(got);
    const DWORD code = GetLastError();
    if (code == ERROR_HANDLE_EOF)
        return 0;
    errno = error_of(code);
    return -1;
}

int Shared_File::seek(std::uint64_t place) noexcept
{
    LARGE_INTEGER where;
    where.QuadPart = static_cast<LONGLONG>(place);
    return SetFilePointerEx(handle(file_), where, nullptr, FILE_BEGIN) ? 0
                                                                       : error_of(GetLastError());
}

int Shared_File::facts(File_Facts& out) const noexcept
{
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!GetFileInformationByHandle(handle(file_), &info))
        return error_of(GetLastError());
    const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    out = {info.dwVolumeSerialNumber, joined(info.nFileIndexHigh, info.nFileIndexLow),
           joined(info.nFileSizeHigh, info.nFileSizeLow)};
    return 0;
}

} // namespace krtool
