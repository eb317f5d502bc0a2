#include "../Shared_File.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace krtool {

namespace {

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
    if (descriptor_ >= 0)
        _close(descriptor_);
}

int Shared_File::open(const std::string& path) noexcept
{
    // Without the right to delete the log manager could not prune the file while it is looked at.
    const HANDLE file = CreateFileA(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return error_of(GetLastError());
    descriptor_ = _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_RDONLY | _O_BINARY);
    if (descriptor_ >= 0)
        return 0;
    CloseHandle(file);
    return EMFILE;
}

std::ptrdiff_t Shared_File::read(void* out, std::size_t size) noexcept
{
    return _read(descriptor_, out, size < INT_MAX ? static_cast<unsigned>(size) : INT_MAX);
}

int Shared_File::seek(std::uint64_t place) noexcept
{
    return _lseeki64(descriptor_, static_cast<long long>(place), SEEK_SET) < 0 ? errno : 0;
}

int Shared_File::facts(File_Facts& out) const noexcept
{
    BY_HANDLE_FILE_INFORMATION info = {};
    const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_));
    if (!GetFileInformationByHandle(file, &info))
        return error_of(GetLastError());
    const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    out = {info.dwVolumeSerialNumber, joined(info.nFileIndexHigh, info.nFileIndexLow),
           joined(info.nFileSizeHigh, info.nFileSizeLow)};
    return 0;
}

} // namespace krtool
