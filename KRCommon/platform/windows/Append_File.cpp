// The Windows side of Append_File.h; its twin is ../linux/Append_File.cpp.

#include <KRCommon/platform/Append_File.h>

#include <algorithm>
#include <array>
#include <utility>
#include <windows.h>

namespace kr_platform {

namespace {

HANDLE handle_of(std::intptr_t file) noexcept
{
    return reinterpret_cast<HANDLE>(file);
}

// Wine appends in two steps, and a long text is written in pieces: so the file is locked meanwhile,
// by a byte far behind its end, which stands for the whole: no reader is stopped. A file that cannot
// be locked is written all the same.
class File_Lock {
public:
    explicit File_Lock(HANDLE file) noexcept : file_(file)
    {
        place_.OffsetHigh = 0x4000'0000;
        is_locked_ = LockFileEx(file_, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place_) != 0;
    }
    ~File_Lock()
    {
        if (is_locked_)
            UnlockFileEx(file_, 0, 1, 0, &place_);
    }
    File_Lock(const File_Lock&) = delete;
    File_Lock& operator=(const File_Lock&) = delete;

private:
    HANDLE file_;
    OVERLAPPED place_{};
    bool is_locked_ = false;
};

// A part of a text as it stands in the file: with a carriage return before each line feed.
class Piece {
public:
    explicit Piece(std::string_view text) noexcept
    {
        for (const char c : text.substr(0, bytes_.size() / 2)) {
            if (c == '\n')
                bytes_[size_++] = '\r';
            bytes_[size_++] = c;
            ++characters_;
        }
    }

    const char* bytes() const noexcept { return bytes_.data(); }
    DWORD size() const noexcept { return size_; }
    std::size_t characters() const noexcept { return characters_; }

    // How many of its characters so many bytes are; a carriage return alone is none.
    std::size_t characters_in(DWORD bytes) const noexcept
    {
        return bytes -
               static_cast<std::size_t>(std::count(bytes_.begin(), bytes_.begin() + bytes, '\r'));
    }

private:
    std::array<char, 8192> bytes_;
    DWORD size_ = 0;
    std::size_t characters_ = 0;
};

} // namespace

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

// The right to append alone: the system itself puts each write at the file's end. Reading is for
// locking.
bool Append_File::open(const std::string& path, Sharing sharing) noexcept
{
    close();
    const DWORD names = sharing == Sharing::give_name ? FILE_SHARE_DELETE : 0;
    const HANDLE handle = CreateFileA(path.c_str(), FILE_APPEND_DATA | GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | names,
                                      nullptr, // not inheritable
                                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    file_ = reinterpret_cast<std::intptr_t>(handle);
    if (is_open())
        return true;
    error_ = static_cast<int>(GetLastError());
    return false;
}

void Append_File::close() noexcept
{
    if (is_open())
        CloseHandle(handle_of(std::exchange(file_, no_file)));
}

std::size_t Append_File::write(std::string_view text) noexcept
{
    const File_Lock lock(handle_of(file_));
    std::size_t written = 0;
    while (written < text.size()) {
        const Piece piece(text.substr(written));
        DWORD bytes = 0;
        const bool is_written =
            WriteFile(handle_of(file_), piece.bytes(), piece.size(), &bytes, nullptr) != 0;
        if (!is_written || bytes < piece.size()) {
            error_ = is_written ? ERROR_DISK_FULL : static_cast<int>(GetLastError());
            return written + piece.characters_in(bytes);
        }
        written += piece.characters();
    }
    return written;
}

std::int64_t Append_File::size() const noexcept
{
    LARGE_INTEGER size;
    return is_open() && GetFileSizeEx(handle_of(file_), &size) != 0 ? size.QuadPart : -1;
}

bool Append_File::is_at(const std::string& path) const noexcept
{
    const HANDLE there =
        CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (there == INVALID_HANDLE_VALUE)
        return false;
    BY_HANDLE_FILE_INFORMATION own{};
    BY_HANDLE_FILE_INFORMATION other{};
    const bool is_known = is_open() && GetFileInformationByHandle(handle_of(file_), &own) != 0 &&
                          GetFileInformationByHandle(there, &other) != 0;
    CloseHandle(there);
    // Wine does not know the volume of a file that was renamed.
    const bool is_same_volume = own.dwVolumeSerialNumber == other.dwVolumeSerialNumber ||
                                own.dwVolumeSerialNumber == 0 || other.dwVolumeSerialNumber == 0;
    return is_known && is_same_volume && own.nFileIndexHigh == other.nFileIndexHigh &&
           own.nFileIndexLow == other.nFileIndexLow;
}

} // namespace kr_platform
