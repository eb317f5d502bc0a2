// The Windows side of Version_Info.h; its twin is ../linux/Version_Info.cpp.

#include <KRCommon/platform/Version_Info.h>

#include <limits>
#include <memory>
#include <new>
#include <windows.h>

namespace kr_platform {

std::optional<File_Version> file_version(const std::string& path) noexcept
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(path.c_str(), &ignored);
    if (size == 0 || size > std::numeric_limits<int>::max())
        return std::nullopt;
    const std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[size + 10]());
    if (!block || !GetFileVersionInfoA(path.c_str(), 0, size, block.get()))
        return std::nullopt;

    void* root = nullptr;
    UINT length = 0;
    if (!VerQueryValueA(block.get(), "\\", &root, &length) || root == nullptr ||
        length != sizeof(VS_FIXEDFILEINFO))
        return std::nullopt;
    static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
    const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    return File_Version{HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                        HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS)};
}

} // namespace kr_platform
